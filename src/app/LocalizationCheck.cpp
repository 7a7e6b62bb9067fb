#include "app/LocalizationCheck.h"

#include "app/CheckFailure.h"
#include "core/RenamePolicy.h"
#include "i18n/Localization.h"
#include "platform/Bundle.h"
#include "platform/ComposedText.h"

#include <optional>
#include <utility>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

// The keys of the catalogue that this program was built with.
const QStringList &builtKeys()
{
    static const QStringList keys{
#include "CatalogueKeys.inc"
    };
    return keys;
}

void checkTables()
{
    for (const Localization::Language &language : Localization::languages()) {
        const Catalogue::Table table = Localization::catalog().value(language.code);
        require(!table.isEmpty(), u"no table for "_s + language.code);
        for (const QString &key : builtKeys())
            require(!table.value(key).isEmpty(), language.code + u" lacks the text: "_s + key);
        require(table.size() == builtKeys().size(),
                language.code + u" has a text that no other language has"_s);
        require(Bundle::resource(language.code + u".html"_s, u"Help"_s).has_value(),
                u"no help page for "_s + language.code);
    }
}

void checkResolution()
{
    const std::pair<QString, QString> systems[] = {
        {u"fr-BE"_s, u"fr"_s}, {u"pt-BR"_s, u"pt"_s}, {u"zh-Hans-CN"_s, u"zh-Hans"_s}, {u"xx-ZZ"_s, u"en"_s}};
    for (const auto &[system, code] : systems)
        require(Localization::resolve(u"system"_s, {system}) == code, system + u" does not give "_s + code);
    require(Localization::resolve(u"de"_s, {u"fr-BE"_s}) == u"de"_s, u"the chosen language is not used"_s);
}

// A refusal inside the outcome of its rename: two templates, with parts that no language may touch.
void checkComposedMessages()
{
    const std::optional<QString> reason = RenameProtection::rejectionReason(u"mp3"_s, u"mkv"_s);
    require(reason.has_value(), u"a change of family is not refused"_s);
    const QString outcome = u"{0} Nom d’origine rétabli : « {1} ». Le contenu n’a pas été modifié."_s;
    const QString message = composed(outcome, {*reason, u"musique {0}.mp3"_s});
    for (const Localization::Language &language : Localization::languages()) {
        Localization::override = language.code;
        const QString family = u"Le passage de .{0} vers .{1} n’est pas pris en charge : photos, audios et "
                               u"vidéos doivent rester dans leur propre famille."_s;
        const QString expected =
            composed(L(outcome), {composed(L(family), {u"mp3"_s, u"mkv"_s}), u"musique {0}.mp3"_s});
        require(L(message) == expected, language.code + u" gives: "_s + L(message));
        require((L(message) == message) == (language.code == u"fr"_s),
                language.code + u" is not translated"_s);
    }
}

} // namespace

void checkLocalization()
{
    const std::optional<QString> chosen = Localization::override;
    checkTables();
    checkResolution();
    checkComposedMessages();
    Localization::override = chosen;
}

} // namespace quorvalent
