#pragma once

#include "i18n/Catalogue.h"

#include <QLocale>
#include <QString>
#include <QStringList>

#include <array>
#include <optional>
#include <vector>

namespace quorvalent {

/// The language of everything people read. State keeps French source texts; whoever shows one translates it
/// with L() at that moment, so that a change of language reaches earlier messages too. User-interface thread.
namespace Localization {

struct Language
{
    QString code;
    QString name; ///< in the language itself
};

/// The supported languages, in the order in which they are offered.
[[nodiscard]] const std::array<Language, 14> &languages();

/// The language that was chosen while the program runs, "system" or a code; absent until then. Takes the
/// place of the stored choice.
extern std::optional<QString> override; // NOLINT: process-wide like the catalogue

/// The tables of the program's own catalogue, read from the bundle at first use; empty where they cannot be
/// read.
[[nodiscard]] const Catalogue::Tables &catalog();
[[nodiscard]] const std::vector<MessageTemplate> &templates();

/// The code for a choice, "system" or a code, and the system's languages, the preferred one first.
[[nodiscard]] QString resolve(const QString &choice, const QStringList &preferred);

/// The code of the present display language, found anew by every call.
[[nodiscard]] QString code();

/// How dates and times are written: as in the system's region where people there read the display language,
/// else as that language does.
[[nodiscard]] QLocale dateLocale();
/// The same for a language and the name of a system's locale, "en_GB.UTF-8".
[[nodiscard]] QLocale dateLocale(const QString &language, const QString &system);

/// `source` in the present display language; `depth` counts the messages around this one.
[[nodiscard]] QString text(const QString &source, int depth = 0);

} // namespace Localization

/// The text to show for a French source text or an identifier key.
[[nodiscard]] QString L(const QString &source);

} // namespace quorvalent
