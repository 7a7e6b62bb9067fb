#include "core/SetAsideNames.h"

#include "core/MediaFamilies.h"
#include "core/RenameJob.h"

#include <QMimeDatabase>
#include <QRegularExpression>

#include <algorithm>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

QString nameOf(const std::filesystem::path &path)
{
    return QString::fromStdString(path.filename().native());
}

/// Backups of editors and of cp, mv, install and rsync; ExifTool's original and result; unfinished files.
bool bearsMark(const QString &name)
{
    static const QRegularExpression mark(
        u"(?:~|_original|_exiftool_tmp|\\.(?:tmp|temp|part|partial|!qb|bak\\d+|~\\d+~))\\z"_s,
        QRegularExpression::CaseInsensitiveOption);
    return mark.match(name).hasMatch();
}

bool isNumber(const QString &suffix)
{
    return std::ranges::all_of(suffix, [](QChar sign) { return sign.isDigit(); });
}

/// Whether the suffix is the extension of some real format.
bool namesAFormat(const QString &suffix)
{
    if (mediaExtensions().contains(suffix))
        return true;
    // Rotated and numbered copies; the database takes some for pages of the manual.
    if (isNumber(suffix))
        return false;
    static const QStringList common{u"txt"_s, u"pdf"_s,  u"doc"_s, u"docx"_s, u"odt"_s,  u"xls"_s, u"xlsx"_s,
                                    u"ppt"_s, u"pptx"_s, u"csv"_s, u"rtf"_s,  u"html"_s, u"xml"_s, u"zip"_s,
                                    u"gz"_s,  u"7z"_s,   u"rar"_s, u"tar"_s,  u"svg"_s,  u"psd"_s, u"avif"_s,
                                    u"jxl"_s, u"opus"_s, u"wma"_s, u"wmv"_s,  u"flv"_s,  u"exe"_s, u"iso"_s};
    if (common.contains(suffix))
        return true;
    const QString type =
        QMimeDatabase().mimeTypeForFile(QString(u'x') + u'.' + suffix, QMimeDatabase::MatchExtension).name();
    return type != u"application/octet-stream"_s && type != u"application/x-trash"_s &&
           type != u"application/x-partial-download"_s;
}

} // namespace

bool setsAsideOrBack(const std::filesystem::path &from, const std::filesystem::path &to)
{
    const QString before = nameOf(from);
    const QString after = nameOf(to);
    if (bearsMark(before) || bearsMark(after))
        return true;
    const QString &longer = before.size() > after.size() ? before : after;
    const QString &whole = before.size() > after.size() ? after : before;
    if (!longer.startsWith(whole + u'.') || pathExtension(whole.toStdString()).isEmpty())
        return false;
    return !namesAFormat(longer.sliced(whole.size() + 1).toLower());
}

} // namespace quorvalent
