#include "i18n/SourceLiterals.h"

#include <QFile>
#include <QRegularExpression>

#include <algorithm>
#include <utility>

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;

// What matters between two literals, in the order in which it is tried at each place.
const QRegularExpression &tokens()
{
    static const QRegularExpression expression(
        uR"re(//[^\n]*|/\*.*?\*/|^[ \t]*\#[ \t]*include[^\n]*)re"                   // nothing to see
        uR"re(|(?:u8|[uUL])?R"(?<mark>[^(\s]*)\((?<raw>.*?)\)\k<mark>"(?:_\w+)?)re" // R"(text)"
        uR"re(|(?:u8|[uUL])?"(?<plain>(?:[^"\\\n]|\\.)*)"(?:_\w+)?)re"              // "text"
        uR"re(|(?:u8|[uUL])?'(?:[^'\\\n]|\\.)+')re"                                 // 'c'
        uR"re(|(?<word>\w+)|(?<sign>\S))re"_s,
        QRegularExpression::DotMatchesEverythingOption | QRegularExpression::MultilineOption |
            QRegularExpression::UseUnicodePropertiesOption);
    return expression;
}

QString unescaped(const QString &literal)
{
    static const QRegularExpression escape(uR"re(\\(?:u([0-9A-Fa-f]{4})|x[0-9A-Fa-f]+|[0-7]{1,3}|(.)))re"_s,
                                           QRegularExpression::DotMatchesEverythingOption);
    QString text;
    qsizetype done = 0;
    for (auto matches = escape.globalMatch(literal); matches.hasNext();) {
        const QRegularExpressionMatch match = matches.next();
        text += QStringView(literal).sliced(done, match.capturedStart() - done);
        if (match.hasCaptured(2)) {
            const QChar letter = match.capturedView(2).front();
            text += letter == u'n' ? u'\n' : letter == u't' ? u'\t' : letter == u'r' ? u'\r' : letter;
        } else {
            // A byte given by its number is no letter of a text; four digits are.
            text += QChar(match.capturedView(1).toUShort(nullptr, 16));
        }
        done = match.capturedEnd();
    }
    return text + literal.sliced(done);
}

} // namespace

std::vector<SourceLiteral> literalsOf(const QString &source, const std::string &file)
{
    std::vector<SourceLiteral> literals;
    std::string word;   // the last token, where it was a word
    std::string callee; // that a parenthesis has just opened after
    bool joins = false; // the last token was a literal
    qsizetype counted = 0;
    int line = 1;
    for (auto matches = tokens().globalMatch(source); matches.hasNext();) {
        const QRegularExpressionMatch match = matches.next();
        const bool isRaw = match.hasCaptured(u"raw"_s);
        if (isRaw || match.hasCaptured(u"plain"_s)) {
            const QString text = isRaw ? match.captured(u"raw"_s) : unescaped(match.captured(u"plain"_s));
            line += static_cast<int>(
                QStringView(source).sliced(counted, match.capturedStart() - counted).count(u'\n'));
            counted = match.capturedStart();
            if (!joins)
                literals.push_back({file, line, QString(), callee, callee == "QStringLiteral"});
            const QStringView token = match.capturedView();
            literals.back().text += text;
            literals.back().isText |=
                token.startsWith(u'u') || token.endsWith(u"_s") || token.endsWith(u"_L1");
            joins = true;
        } else if (match.hasCaptured(u"word"_s)) {
            word = match.captured(u"word"_s).toStdString();
            callee.clear();
            joins = false;
        } else if (match.hasCaptured(u"sign"_s)) {
            callee = match.captured(u"sign"_s) == u"("_s ? word : std::string();
            word.clear();
            joins = false;
        }
    }
    return literals;
}

std::vector<SourceLiteral> literalsBelow(const std::filesystem::path &folder)
{
    std::vector<std::filesystem::path> paths;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.path().extension() == ".cpp" || entry.path().extension() == ".h")
            paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end());

    std::vector<SourceLiteral> literals;
    for (const std::filesystem::path &path : paths) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            throw std::filesystem::filesystem_error("unreadable source", path, std::error_code());
        const auto found =
            literalsOf(QString::fromUtf8(file.readAll()), path.lexically_relative(folder).native());
        literals.insert(literals.end(), found.begin(), found.end());
    }
    return literals;
}

} // namespace quorvalent::test
