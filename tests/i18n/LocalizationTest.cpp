#include "i18n/Localization.h"

#include "platform/SettingsFile.h"
#include "support/TestFolder.h"

#include <gtest/gtest.h>

#include <QTime>
#include <QtGlobal>

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;

TEST(Localization, writesTimesAsTheRegionDoes)
{
    struct Row
    {
        QString language;
        QString system;
        QString time;
    };
    const Row rows[] = {
        {u"en"_s, u"en_GB.UTF-8"_s, u"20:41"_s},      {u"en"_s, u"en_US.UTF-8"_s, u"8:41 PM"_s},
        {u"de"_s, u"en_US.UTF-8"_s, u"20:41"_s},      {u"en"_s, u"C.UTF-8"_s, u"8:41 PM"_s},
        {u"zh-Hans"_s, u"zh_TW.UTF-8"_s, u"20:41"_s}, // written in other characters there
    };
    for (const Row &row : rows) {
        const QLocale locale = Localization::dateLocale(row.language, row.system);
        EXPECT_EQ(locale.toString(QTime(20, 41), QLocale::ShortFormat).replace(u'\u202f', u' '), row.time)
            << qPrintable(row.language + u' ' + row.system);
    }
    EXPECT_EQ(Localization::dateLocale(u"en"_s, u"en_GB.UTF-8"_s).bcp47Name(), u"en-GB"_s);
}

TEST(Localization, resolvesTheLanguage)
{
    struct Row
    {
        QString choice;
        QStringList preferred;
        QString code;
    };
    const Row rows[] = {
        {u"system"_s, {u"fr-BE"_s}, u"fr"_s},
        {u"system"_s, {u"pt-BR"_s}, u"pt"_s},
        {u"system"_s, {u"zh-Hans-CN"_s}, u"zh-Hans"_s},
        {u"system"_s, {u"zh-Hant-TW"_s, u"ko-KR"_s}, u"ko"_s},
        {u"system"_s, {u"xx-ZZ"_s}, u"en"_s},
        {u"system"_s, {u"xx-ZZ"_s, u"ja-JP"_s, u"de"_s}, u"ja"_s},
        {u"system"_s, {u"es-419"_s}, u"es"_s},
        {u"system"_s, {u"C"_s}, u"en"_s},
        {u"system"_s, {}, u"en"_s},
        {u"de"_s, {u"fr-BE"_s}, u"de"_s},
        {u"DE"_s, {u"fr-BE"_s}, u"fr"_s}, // unknown choices are like "system"
        {u"tlh"_s, {u"fr-BE"_s}, u"fr"_s},
        {u"zh-Hans"_s, {}, u"zh-Hans"_s},
    };
    for (const Row &row : rows) {
        EXPECT_EQ(Localization::resolve(row.choice, row.preferred), row.code)
            << qPrintable(row.choice) << " " << qPrintable(row.preferred.join(u' '));
    }
}

class DisplayLanguage : public testing::Test
{
protected:
    void SetUp() override
    {
        qputenv("XDG_CONFIG_HOME", QByteArray::fromStdString(m_folder.path().native()));
        qputenv("LANGUAGE", "nl_BE:fr");
    }
    void TearDown() override
    {
        Localization::override.reset();
        qputenv("XDG_CONFIG_HOME", m_configHome);
        qputenv("LANGUAGE", m_language);
    }

    TestFolder m_folder;

private:
    QByteArray m_configHome = qgetenv("XDG_CONFIG_HOME");
    QByteArray m_language = qgetenv("LANGUAGE");
};

TEST_F(DisplayLanguage, isTheSessionsThenTheStoredThenTheChosenOne)
{
    EXPECT_EQ(Localization::code(), u"nl"_s);
    SettingsFile().set(u"language"_s, u"ru"_s);
    EXPECT_EQ(Localization::code(), u"ru"_s);
    Localization::override = u"km"_s;
    EXPECT_EQ(Localization::code(), u"km"_s);
    Localization::override = u"system"_s;
    EXPECT_EQ(Localization::code(), u"nl"_s);
}

} // namespace

} // namespace quorvalent::test
