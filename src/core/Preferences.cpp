#include "core/Preferences.h"

#include "platform/Bundle.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

template <typename Number>
QJsonObject objectOf(const QMap<QString, Number> &map)
{
    QJsonObject object;
    for (auto entry = map.cbegin(); entry != map.cend(); ++entry)
        object.insert(entry.key(), QJsonValue(entry.value()));
    return object;
}

bool read(const QJsonValue &value, bool &into)
{
    into = value.toBool();
    return value.isBool();
}

bool read(const QJsonValue &value, QString &into)
{
    into = value.toString();
    return value.isString();
}

bool read(const QJsonValue &value, double &into)
{
    into = value.toDouble();
    return value.isDouble();
}

bool read(const QJsonValue &value, qint64 &into)
{
    // toInteger() answers the default for a fraction or a number beyond 64 bits: two defaults tell.
    into = value.toInteger(0);
    return value.isDouble() && into == value.toInteger(1);
}

// JSON holds text and a path is bytes: a path that is no valid UTF-8 is stored as a file URL, which no
// absolute path can be mistaken for.
constexpr QLatin1String fileScheme("file://");

QString storedText(const std::filesystem::path &path)
{
    const auto bytes = QByteArray::fromStdString(path.native());
    if (bytes.isValidUtf8())
        return QString::fromUtf8(bytes);
    return fileScheme + QString::fromLatin1(bytes.toPercentEncoding("/"));
}

std::filesystem::path pathFromStored(const QString &text)
{
    if (!text.startsWith(fileScheme))
        return text.toStdString();
    return QByteArray::fromPercentEncoding(text.mid(fileScheme.size()).toLatin1()).toStdString();
}

bool read(const QJsonValue &value, std::vector<std::filesystem::path> &into)
{
    const QJsonArray array = value.toArray();
    for (const QJsonValue &item : array) {
        if (!item.isString())
            return false;
        into.push_back(pathFromStored(item.toString()));
    }
    return value.isArray();
}

template <typename Number>
bool read(const QJsonValue &value, QMap<QString, Number> &into)
{
    const QJsonObject object = value.toObject();
    for (auto member = object.begin(); member != object.end(); ++member) {
        if (!read(member.value(), into[member.key()]))
            return false;
    }
    return value.isObject();
}

} // namespace

std::optional<std::filesystem::path> Preferences::ffmpeg()
{
    const std::filesystem::path program = Bundle::helper("ffmpeg");
    if (!Bundle::isExecutableFile(program))
        return std::nullopt;
    return program;
}

std::optional<QByteArray> Preferences::encoded() const
{
    if (!std::all_of(imageQuality.begin(), imageQuality.end(),
                     [](double value) { return std::isfinite(value); }))
        return std::nullopt;
    QJsonArray folderTexts;
    for (const std::filesystem::path &folder : folders)
        folderTexts.append(storedText(folder));
    const QJsonObject object{
        {u"keepOriginal"_s, keepOriginal},
        {u"launchAtLogin"_s, launchAtLogin},
        {u"folders"_s, folderTexts},
        {u"imageQuality"_s, objectOf(imageQuality)},
        {u"audioBitrate"_s, objectOf(audioBitrate)},
        {u"videoQuality"_s, objectOf(videoQuality)},
        {u"ffmpegPath"_s, ffmpegPath},
    };
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

std::optional<Preferences> Preferences::decoded(const QByteArray &json)
{
    const QJsonDocument document = QJsonDocument::fromJson(json);
    const QJsonObject object = document.object();
    Preferences preferences;
    const bool complete = document.isObject() && read(object[u"keepOriginal"_s], preferences.keepOriginal) &&
                          read(object[u"launchAtLogin"_s], preferences.launchAtLogin) &&
                          read(object[u"folders"_s], preferences.folders) &&
                          read(object[u"imageQuality"_s], preferences.imageQuality) &&
                          read(object[u"audioBitrate"_s], preferences.audioBitrate) &&
                          read(object[u"videoQuality"_s], preferences.videoQuality) &&
                          read(object[u"ffmpegPath"_s], preferences.ffmpegPath);
    if (!complete)
        return std::nullopt;
    return preferences;
}

} // namespace quorvalent
