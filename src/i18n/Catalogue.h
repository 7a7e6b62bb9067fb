#pragma once

#include <QByteArray>
#include <QHash>
#include <QRegularExpression>
#include <QString>

#include <vector>

namespace quorvalent {

/// A message that the program composes of fixed French pieces and variable parts: the text with {0}, {1} … in
/// the place of the parts, and the expression that finds them in a composed message.
struct MessageTemplate
{
    QString key;
    QRegularExpression expression;
};

/// The message catalogue: one table a language, from a French source text (or an identifier such as
/// "updates.ready") to the text to show. Immutable; any thread.
class Catalogue
{
public:
    using Table = QHash<QString, QString>;
    using Tables = QHash<QString, Table>; ///< by language code

    /// Empty: every text comes out as it went in.
    Catalogue() = default;
    explicit Catalogue(Tables tables);

    /// Reads an object of objects of texts. Anything else makes an empty catalogue.
    [[nodiscard]] static Catalogue fromJson(const QByteArray &json);

    [[nodiscard]] const Tables &tables() const { return m_tables; }
    /// The longest first, so that of two templates that match a message the more definite one is used.
    [[nodiscard]] const std::vector<MessageTemplate> &templates() const { return m_templates; }

    /// The text to show for a source text: its own entry, else through the template that it was composed
    /// with, else the source text itself. What a language lacks is shown in English. `depth` counts the
    /// messages around this one.
    [[nodiscard]] QString text(const QString &source, const QString &language, int depth = 0) const;

private:
    [[nodiscard]] const QString *entry(const QString &key, const QString &language) const;
    [[nodiscard]] QString filled(const MessageTemplate &found, const QRegularExpressionMatch &match,
                                 const QString &language, int depth) const;

    Tables m_tables;
    std::vector<MessageTemplate> m_templates;
};

} // namespace quorvalent
