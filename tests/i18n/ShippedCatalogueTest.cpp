#include "i18n/Localization.h"

#include "platform/Bundle.h"

#include <QFile>
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
        uR"re(^(Quorvalent|FFmpeg|MIT|OK|Version|Pause|Audio|Photos|Qualité \{0\}|FFmpeg · GPLv3|macOS : \{0\}|)re"
        uR"re(\{0\} ?%|\{0\} kb/s|quorvalent-watch : \{0\}|✓ .*|✗ .*|– .*|30 minutes|Installer|Format|Maximale|Details)$)re"_s);
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
            const bool maySame = language.code == u"fr"_s || international().match(shown).hasMatch();
            const bool mustSame = language.code == u"fr"_s && !isIdentifier;
            EXPECT_TRUE(isSame ? maySame && !isIdentifier : !mustSame) << described(language.code, *entry);
        }
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
