#include "i18n/Localization.h"

#include "platform/Bundle.h"

#include <QFile>
#include <QHash>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <set>

// The catalogue and the help pages as they stand in the bundle.

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;

std::string described(const QString &code, const QString &key)
{
    return (code + u": "_s + key).toStdString();
}

std::set<QString> placeholdersOf(const QString &text)
{
    static const QRegularExpression placeholder(u"\\{[0-9]\\}"_s);
    std::set<QString> found;
    for (auto matches = placeholder.globalMatch(text); matches.hasNext();)
        found.insert(matches.next().captured());
    return found;
}

// The same in French and in some other language.
const QRegularExpression &international()
{
    static const QRegularExpression texts(
        uR"re(^(Quorvalent|FFmpeg|MIT|OK|Version|Pause|Audio|Photos|Qualité \{0\}|FFmpeg · GPLv3|)re"
        uR"re(\{0\} ?%|\{0\} kb/s|quorvalent-watch : \{0\}|✓ .*|✗ .*|– .*|30 minutes|Installer|Format|Maximale|Details)$)re"_s);
    return texts;
}

// What a French user reads in the place of texts that name another system; all others are shown as they are.
const QHash<QString, QString> &shownInFrench()
{
    static const QHash<QString, QString> texts{
        {u"Activé dans macOS"_s, u"Activé dans le système"_s},
        {u"Ce format d’image n’est pas disponible sur ce Mac."_s,
         u"Ce format d’image n’est pas disponible sur cet ordinateur."_s},
        {u"Ce réglage désactive l’avertissement pour TOUS les fichiers du Finder. Quorvalent protège uniquement les dossiers surveillés, lorsque l’app est ouverte et la surveillance active. Hors de ces dossiers, renommer une extension ne convertit pas le contenu. Vous pouvez rétablir l’avertissement ici à tout moment."_s,
         u"Ce réglage désactive l’avertissement pour TOUS les fichiers du gestionnaire de fichiers. Quorvalent protège uniquement les dossiers surveillés, lorsque l’app est ouverte et la surveillance active. Hors de ces dossiers, renommer une extension ne convertit pas le contenu. Vous pouvez rétablir l’avertissement ici à tout moment."_s},
        {u"Ce réglage est imposé par l’administrateur de ce Mac."_s,
         u"Ce réglage est imposé par l’administrateur de cet ordinateur."_s},
        {u"Conteneur vidéo non disponible avec le moteur Apple."_s,
         u"Conteneur vidéo non disponible avec le moteur du système."_s},
        {u"Dans Finder → Réglages → Options avancées, activez « Afficher toutes les extensions ». Le Finder peut demander de confirmer le changement d’extension."_s,
         u"Dans les réglages du gestionnaire de fichiers, activez l’affichage des extensions. Le gestionnaire de fichiers peut demander de confirmer le changement d’extension."_s},
        {u"Image non reconnue par macOS."_s, u"Image non reconnue par le système."_s},
        {u"Le moteur Apple utilise ses profils d’export, qui peuvent réduire la résolution. FFmpeg utilise H.264 ou VP9. Les sous-titres, pistes multiples et métadonnées ne sont pas garantis dans ce prototype."_s,
         u"Le moteur du système utilise ses profils d’export, qui peuvent réduire la résolution. FFmpeg utilise H.264 ou VP9. Les sous-titres et les pistes que le format cible accepte sont conservés ; pour les autres, un message le signale et l’original reste à côté du résultat."_s},
        {u"Le moteur externe accepte ici uniquement les images fixes reconnues par macOS."_s,
         u"Le moteur externe accepte ici uniquement les images fixes reconnues par le système."_s},
        {u"Non activé dans macOS. Installez l’app dans Applications, puis activez ce réglage."_s,
         u"Non activé dans le système. Installez l’application, puis activez ce réglage."_s},
        {u"Renommer sans confirmation du Finder"_s,
         u"Renommer sans confirmation du gestionnaire de fichiers"_s},
        {u"Renommer sans confirmation du Finder ?"_s,
         u"Renommer sans confirmation du gestionnaire de fichiers ?"_s},
        {u"Réglage enregistré. Si le Finder conserve l’ancien comportement, relancez-le ou modifiez l’option dans ses réglages avancés."_s,
         u"Réglage enregistré. Si le gestionnaire de fichiers conserve l’ancien comportement, relancez-le ou modifiez l’option dans ses réglages avancés."_s},
        {u"Réglage global : concerne tous les fichiers du Finder."_s,
         u"Réglage global : concerne tous les fichiers du gestionnaire de fichiers."_s},
        {u"Vidéo incompatible avec le moteur Apple. Le moteur intégré sera utilisé si disponible."_s,
         u"Vidéo incompatible avec le moteur du système. Le moteur intégré sera utilisé si disponible."_s},
        {u"macOS : {0}"_s, u"Système : {0}"_s},
        {u"macOS n’a pas enregistré le réglage. Utilisez Finder → Réglages → Options avancées → Avertir avant de modifier une extension."_s,
         u"Le système n’a pas enregistré le réglage. Dans les réglages du gestionnaire de fichiers, modifiez l’option qui avertit avant de modifier une extension."_s},
        {u"{0} Le fichier a changé ou a été déplacé ; son nom n’a pas été rétabli. Vérifiez-le dans le Finder."_s,
         u"{0} Le fichier a changé ou a été déplacé ; son nom n’a pas été rétabli. Vérifiez-le dans le gestionnaire de fichiers."_s}};
    return texts;
}

TEST(ShippedCatalogue, isCompleteInEveryLanguage)
{
    const Catalogue::Tables &tables = Localization::catalog();
    const Catalogue::Table english = tables.value(u"en"_s);
    ASSERT_FALSE(english.isEmpty());
    EXPECT_EQ(tables.size(), qsizetype(Localization::languages().size()));

    for (const Localization::Language &language : Localization::languages()) {
        const Catalogue::Table table = tables.value(language.code);
        EXPECT_EQ(table.size(), english.size()) << qPrintable(language.code);
        for (auto entry = english.keyBegin(); entry != english.keyEnd(); ++entry) {
            const QString shown = table.value(*entry);
            EXPECT_FALSE(shown.trimmed().isEmpty()) << described(language.code, *entry);
            EXPECT_EQ(placeholdersOf(shown), placeholdersOf(*entry)) << described(language.code, *entry);
            const bool isIdentifier = entry->startsWith(u"about."_s) || entry->startsWith(u"updates."_s);
            const bool isSame = shown == *entry;
            const bool isFrench = language.code == u"fr"_s;
            const bool maySame = isFrench || international().match(shown).hasMatch();
            if (isFrench && shownInFrench().contains(*entry)) {
                EXPECT_EQ(shown, shownInFrench().value(*entry)) << described(language.code, *entry);
                continue;
            }
            const bool mustSame = isFrench && !isIdentifier;
            EXPECT_TRUE(isSame ? maySame && !isIdentifier : !mustSame) << described(language.code, *entry);
        }
    }
}

TEST(ShippedCatalogue, namesNoOtherSystem)
{
    static const QRegularExpression foreign(u"macOS|Finder|\\bMac\\b|Apple"_s);
    EXPECT_EQ(shownInFrench().size(), 18);
    for (const Localization::Language &language : Localization::languages()) {
        const Catalogue::Table table = Localization::catalog().value(language.code);
        for (auto entry = table.begin(); entry != table.end(); ++entry)
            EXPECT_FALSE(foreign.match(*entry).hasMatch()) << described(language.code, *entry);
    }
}

TEST(ShippedCatalogue, keepsWhatAMessageNestsApart)
{
    for (const MessageTemplate &one : Localization::templates()) {
        for (int number = 0; number < 6; ++number) {
            const QString placeholder = u"{%1}"_s.arg(number);
            EXPECT_LE(one.key.count(placeholder), 1) << qPrintable(one.key);
            const bool isInOrder = number == 0 || !one.key.contains(placeholder) ||
                                   one.key.section(placeholder, 0, 0).contains(u"{%1}"_s.arg(number - 1));
            EXPECT_TRUE(isInOrder) << qPrintable(one.key);
        }
    }
}

TEST(ShippedCatalogue, hasNoFrenchInTheOtherLanguages)
{
    // Words and signs that none of the other languages writes.
    static const QRegularExpression french(
        uR"re(\b(fichier|fichiers|n’est|n’a|été|avec|vos|vous|déjà|qu’il|aucun|mise à jour|réglages)\b|\w ; )re"_s,
        QRegularExpression::UseUnicodePropertiesOption | QRegularExpression::CaseInsensitiveOption);
    for (const Localization::Language &language : Localization::languages()) {
        if (language.code == u"fr"_s)
            continue;
        const Catalogue::Table table = Localization::catalog().value(language.code);
        for (auto entry = table.begin(); entry != table.end(); ++entry)
            EXPECT_FALSE(french.match(*entry).hasMatch()) << described(language.code, *entry);
    }
}

TEST(ShippedCatalogue, comesWithAHelpPageForEveryLanguage)
{
    for (const Localization::Language &language : Localization::languages()) {
        const auto path = Bundle::resource(language.code + u".html"_s, u"Help"_s);
        ASSERT_TRUE(path) << qPrintable(language.code);
        QFile file(*path);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const QString page = QString::fromUtf8(file.readAll());
        EXPECT_TRUE(page.contains(u"lang=\"%1\""_s.arg(language.code))) << qPrintable(language.code);
        EXPECT_TRUE(page.contains(u"prefers-color-scheme"_s)) << qPrintable(language.code);
        for (const QString &reachingOut : {u"<script"_s, u"http:"_s, u"https:"_s, u"src="_s, u"@import"_s})
            EXPECT_FALSE(page.contains(reachingOut)) << qPrintable(language.code + u' ' + reachingOut);
    }
}

} // namespace

} // namespace quorvalent::test
