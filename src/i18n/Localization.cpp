#include "i18n/Localization.h"

#include "platform/Bundle.h"
#include "platform/SettingsFile.h"

#include <QFile>
#include <QLocale>

#include <algorithm>

namespace quorvalent {

namespace Localization {

namespace {

using namespace Qt::StringLiterals;

Catalogue readCatalogue()
{
    const auto path = Bundle::resource(u"Translations.json"_s, QString());
    if (!path)
        return {};
    QFile file(*path);
    return file.open(QIODevice::ReadOnly) ? Catalogue::fromJson(file.readAll()) : Catalogue();
}

const Catalogue &catalogue()
{
    static const Catalogue catalogue = readCatalogue();
    return catalogue;
}

bool isSupported(const QString &code)
{
    return std::any_of(languages().begin(), languages().end(),
                       [&](const Language &language) { return language.code == code; });
}

// An identifier is made of a language, perhaps a script, perhaps a region: "zh-Hans-CN", "pt-BR", "de".
QString withoutRegion(const QString &identifier)
{
    constexpr qsizetype scriptLength = 4;
    const QStringList tags = identifier.split(u'-');
    const bool hasScript = tags.size() > 1 && tags.at(1).size() == scriptLength;
    return hasScript ? tags.at(0) + u'-' + tags.at(1) : tags.at(0);
}

} // namespace

std::optional<QString> override;

const std::array<Language, 14> &languages()
{
    static const std::array<Language, 14> table{{
        {u"en"_s, u"English"_s},
        {u"fr"_s, u"Français"_s},
        {u"nl"_s, u"Nederlands"_s},
        {u"de"_s, u"Deutsch"_s},
        {u"it"_s, u"Italiano"_s},
        {u"es"_s, u"Español"_s},
        {u"pt"_s, u"Português"_s},
        {u"uk"_s, u"Українська"_s},
        {u"ru"_s, u"Русский"_s},
        {u"zh-Hans"_s, u"简体中文"_s},
        {u"ja"_s, u"日本語"_s},
        {u"ko"_s, u"한국어"_s},
        {u"hi"_s, u"हिन्दी"_s},
        {u"km"_s, u"ខ្មែរ"_s},
    }};
    return table;
}

const Catalogue::Tables &catalog()
{
    return catalogue().tables();
}

const std::vector<MessageTemplate> &templates()
{
    return catalogue().templates();
}

QString resolve(const QString &choice, const QStringList &preferred)
{
    if (isSupported(choice))
        return choice;
    for (const QString &identifier : preferred) {
        for (const QString &code : {identifier, withoutRegion(identifier), identifier.section(u'-', 0, 0)}) {
            if (isSupported(code))
                return code;
        }
    }
    return u"en"_s;
}

QString code()
{
    const QString choice = override ? *override : SettingsFile().string(u"language"_s).value_or(u"system"_s);
    // The system is asked only where its answer counts.
    return isSupported(choice) ? choice : resolve(choice, QLocale::system().uiLanguages());
}

QLocale dateLocale()
{
    for (const char *variable : {"LC_ALL", "LC_TIME", "LANG"}) {
        if (!qEnvironmentVariableIsEmpty(variable))
            return dateLocale(code(), qEnvironmentVariable(variable));
    }
    return QLocale(code());
}

QLocale dateLocale(const QString &language, const QString &system)
{
    const QLocale displayed(language);
    const QLocale regional(system);
    const bool isRead =
        regional.language() == displayed.language() && regional.script() == displayed.script();
    return isRead ? regional : displayed;
}

QString text(const QString &source, int depth)
{
    return catalogue().text(source, code(), depth);
}

} // namespace Localization

QString L(const QString &source)
{
    return Localization::text(source);
}

} // namespace quorvalent
