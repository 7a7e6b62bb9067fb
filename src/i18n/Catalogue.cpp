#include "i18n/Catalogue.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTextBoundaryFinder>

#include <algorithm>
#include <optional>
#include <utility>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

constexpr int placeholderCount = 6; // {0} to {5}
constexpr int deepestTemplate = 3;

// In characters as people count them: a letter with its accents is one.
int lengthOf(const QString &text)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    int length = 0;
    while (finder.toNextBoundary() != -1)
        ++length;
    return length;
}

QRegularExpression expressionOf(const QString &key)
{
    QString pattern = QRegularExpression::escape(key);
    for (int number = 0; number < placeholderCount; ++number)
        pattern.replace(QRegularExpression::escape(u"{%1}"_s.arg(number)), u"(.*?)"_s);
    return QRegularExpression(QRegularExpression::anchoredPattern(pattern),
                              QRegularExpression::DotMatchesEverythingOption);
}

std::vector<MessageTemplate> templatesOf(const Catalogue::Table &english)
{
    std::vector<std::pair<int, QString>> keys;
    for (auto entry = english.keyBegin(); entry != english.keyEnd(); ++entry) {
        if (entry->contains(u"{0}"_s))
            keys.emplace_back(lengthOf(*entry), *entry);
    }
    std::sort(keys.begin(), keys.end(),
              std::greater<>()); // of equal length by their letters: always the same

    std::vector<MessageTemplate> templates;
    for (const auto &[length, key] : keys) {
        QRegularExpression expression = expressionOf(key);
        if (expression.isValid())
            templates.push_back({key, std::move(expression)});
    }
    return templates;
}

// Where no space parts two sentences, the stop does, which the log of another program lacks at its end.
// `next` is what the template has after the text.
QString sentence(QString text, QStringView next)
{
    static const QRegularExpression stop(u"[.!?…。！？]$"_s);
    if (next.startsWith(u' ') || !stop.match(next).hasMatch())
        return text;
    while (!text.isEmpty() && text.back().isSpace())
        text.chop(1);
    return stop.match(text).hasMatch() ? text : text + u'。';
}

std::optional<Catalogue::Table> tableOf(const QJsonValue &value)
{
    if (!value.isObject())
        return std::nullopt;
    const QJsonObject object = value.toObject();
    Catalogue::Table table;
    table.reserve(object.size());
    for (auto entry = object.begin(); entry != object.end(); ++entry) {
        if (!entry->isString())
            return std::nullopt;
        table.insert(entry.key(), entry->toString());
    }
    return table;
}

} // namespace

Catalogue::Catalogue(Tables tables)
    : m_tables(std::move(tables))
    , m_templates(templatesOf(m_tables.value(u"en"_s)))
{}

Catalogue Catalogue::fromJson(const QByteArray &json)
{
    const QJsonObject object = QJsonDocument::fromJson(json).object();
    Tables tables;
    for (auto language = object.begin(); language != object.end(); ++language) {
        std::optional<Table> table = tableOf(*language);
        if (!table)
            return {};
        tables.insert(language.key(), *std::move(table));
    }
    return Catalogue(std::move(tables));
}

const QString *Catalogue::entry(const QString &key, const QString &language) const
{
    for (const QString &code : {language, u"en"_s}) {
        const auto table = m_tables.constFind(code);
        if (table == m_tables.cend())
            continue;
        if (const auto found = table->constFind(key); found != table->cend())
            return &*found;
    }
    return nullptr;
}

QString Catalogue::text(const QString &source, const QString &language, int depth) const
{
    if (const QString *exact = entry(source, language))
        return *exact;
    if (depth > deepestTemplate)
        return source;
    for (const MessageTemplate &candidate : m_templates) {
        const QRegularExpressionMatch match = candidate.expression.match(source);
        if (match.hasMatch())
            return filled(candidate, match, language, depth);
    }
    return source;
}

QString Catalogue::filled(const MessageTemplate &found, const QRegularExpressionMatch &match,
                          const QString &language, int depth) const
{
    static const QRegularExpression placeholder(u"\\{([0-5])\\}"_s);
    const QString *translated = entry(found.key, language);
    const QString &pattern = translated ? *translated : found.key;
    const bool nestsMessage = found.key.startsWith(u"{0} "_s);

    // From piece to piece, so that a part that looks like a placeholder is never taken for one.
    QString text;
    qsizetype done = 0;
    auto places = placeholder.globalMatch(pattern);
    while (places.hasNext()) {
        const QRegularExpressionMatch place = places.next();
        const int number = place.capturedView(1).toInt();
        if (!match.hasCaptured(number + 1))
            continue;
        const QString part = match.captured(number + 1);
        text += QStringView(pattern).sliced(done, place.capturedStart() - done);
        done = place.capturedEnd();
        if (!nestsMessage || number != 0)
            text += part;
        else
            text += sentence(this->text(part, language, depth + 1), QStringView(pattern).sliced(done));
    }
    text += QStringView(pattern).sliced(done);
    return text;
}

} // namespace quorvalent
