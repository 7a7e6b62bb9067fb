#include "platform/SettingsFile.h"

#include "support/TestFolder.h"

#include <gtest/gtest.h>

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;

class SettingsFileTest : public testing::Test
{
protected:
    [[nodiscard]] QString file() const
    {
        return QString::fromStdString((m_folder / "config/quorvalent.conf").native());
    }

    TestFolder m_folder;
};

TEST_F(SettingsFileTest, hasNothingAtFirst)
{
    const SettingsFile defaults(file());

    EXPECT_EQ(defaults.string(u"language"_s), std::nullopt);
    EXPECT_EQ(defaults.data(u"preferences"_s), std::nullopt);
    EXPECT_EQ(defaults.boolean(u"loginConfigured"_s), std::nullopt);
    EXPECT_TRUE(m_folder.listing().empty()) << "reading creates nothing";
}

TEST_F(SettingsFileTest, givesBackEveryTypeAfterALaterLaunch)
{
    const QByteArray json = "{\"folders\":[\"/a,b;c\",\"/\\n=\\\\é\"],\"x\":\"@(1)\"}\0\xff"_ba;
    SettingsFile writer(file());
    writer.set(u"language"_s, u"@zh-Hans, « % » ;\n"_s);
    writer.set(u"preferences"_s, json);
    writer.set(u"loginConfigured"_s, true);
    writer.set(u"finderWarningConsent"_s, false);

    // Asked while the first is still there: nothing waits for the end of the program.
    const SettingsFile reader(file());
    EXPECT_EQ(reader.string(u"language"_s), u"@zh-Hans, « % » ;\n"_s);
    EXPECT_EQ(reader.data(u"preferences"_s), json);
    EXPECT_EQ(reader.boolean(u"loginConfigured"_s), true);
    EXPECT_EQ(reader.boolean(u"finderWarningConsent"_s), false);
}

TEST_F(SettingsFileTest, doesNotTakeOneTypeForAnother)
{
    SettingsFile defaults(file());
    defaults.set(u"text"_s, u"system"_s);
    defaults.set(u"blob"_s, "true"_ba);

    EXPECT_EQ(defaults.data(u"text"_s), std::nullopt);
    EXPECT_EQ(defaults.boolean(u"text"_s), std::nullopt);
    EXPECT_EQ(defaults.string(u"blob"_s), std::nullopt);
}

TEST_F(SettingsFileTest, forgetsARemovedKey)
{
    SettingsFile defaults(file());
    defaults.set(u"language"_s, u"fr"_s);
    defaults.remove(u"language"_s);

    EXPECT_EQ(SettingsFile(file()).string(u"language"_s), std::nullopt);
}

TEST_F(SettingsFileTest, standsInTheUsersConfigurationFolder)
{
    const QByteArray before = qgetenv("XDG_CONFIG_HOME");
    qputenv("XDG_CONFIG_HOME", QByteArray::fromStdString(m_folder.path().native()));
    SettingsFile().set(u"language"_s, u"ja"_s);
    before.isNull() ? qunsetenv("XDG_CONFIG_HOME") : qputenv("XDG_CONFIG_HOME", before);

    EXPECT_NE(m_folder.read("quorvalent/quorvalent.conf").find("language=ja"), std::string::npos);
}

} // namespace

} // namespace quorvalent::test
