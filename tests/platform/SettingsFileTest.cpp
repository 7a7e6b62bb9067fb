#include "platform/SettingsFile.h"

#include "support/ChildProcess.h"
#include "support/TestFolder.h"

#include <gtest/gtest.h>

#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

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

TEST_F(SettingsFileTest, givesBackEveryTypeAfterALaterLaunchButNoRemovedKey)
{
    const QByteArray json = "{\"folders\":[\"/a,b;c\",\"/\\n=\\\\é\"],\"x\":\"@(1)\"}\0\xff"_ba;
    SettingsFile writer(file());
    writer.set(u"language"_s, u"@zh-Hans, « % » ;\n"_s);
    writer.set(u"preferences"_s, json);
    writer.set(u"loginConfigured"_s, true);
    writer.set(u"finderWarningConsent"_s, false);
    writer.set(u"appearance"_s, u"dark"_s);
    writer.remove(u"appearance"_s);

    // Asked while the first is still there: nothing waits for the end of the program.
    const SettingsFile reader(file());
    EXPECT_EQ(reader.string(u"language"_s), u"@zh-Hans, « % » ;\n"_s);
    EXPECT_EQ(reader.data(u"preferences"_s), json);
    EXPECT_EQ(reader.boolean(u"loginConfigured"_s), true);
    EXPECT_EQ(reader.boolean(u"finderWarningConsent"_s), false);
    EXPECT_EQ(reader.string(u"appearance"_s), std::nullopt);
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

TEST_F(SettingsFileTest, standsInTheUsersConfigurationFolder)
{
    const QByteArray before = qgetenv("XDG_CONFIG_HOME");
    qputenv("XDG_CONFIG_HOME", QByteArray::fromStdString(m_folder.path().native()));
    SettingsFile().set(u"language"_s, u"ja"_s);
    before.isNull() ? qunsetenv("XDG_CONFIG_HOME") : qputenv("XDG_CONFIG_HOME", before);

    EXPECT_NE(m_folder.read("quorvalent/quorvalent.conf").find("language=ja"), std::string::npos);
}

TEST_F(SettingsFileTest, holdsForThisRunWhatCannotBeWritten)
{
    m_folder.write("config", "a file where the folder should be");
    SettingsFile defaults(file());
    defaults.set(u"language"_s, u"fr"_s);
    defaults.set(u"loginConfigured"_s, true);
    defaults.remove(u"loginConfigured"_s);

    EXPECT_EQ(defaults.string(u"language"_s), u"fr"_s);
    EXPECT_EQ(defaults.boolean(u"loginConfigured"_s), std::nullopt);
    EXPECT_EQ(m_folder.listing(), std::vector<std::string>({"config"}));
}

TEST_F(SettingsFileTest, leavesTheFileAsItWasOnAFullDisk)
{
    std::filesystem::create_directory(m_folder / "config");
    const ChildResult child = runInChild(Rights::OwnMounts, [&]() -> std::string {
        if (::mount("none", (m_folder / "config").c_str(), "tmpfs", 0, "size=16k") != 0)
            return "no mount";
        SettingsFile defaults(file());
        defaults.set(u"language"_s, u"fr"_s);
        m_folder.write("config/filler", std::string(16384, 'x'));
        defaults.set(u"language"_s, QString(9000, u'x'));
        const std::string held =
            defaults.string(u"language"_s).value_or(u""_s).size() == 9000 ? "held, " : "";
        std::filesystem::remove(m_folder / "config/filler");
        return held + m_folder.read("config/quorvalent.conf");
    });
    EXPECT_EQ(child.text, "held, [General]\nlanguage=fr\n");
}

TEST_F(SettingsFileTest, keepsADamagedFileAsideBeforeItWrites)
{
    const std::string damaged = "[General]\nlanguage=de\n\xff\xfe no value\n[broken\n";
    m_folder.write("elsewhere/kept.conf", damaged);
    m_folder.write("elsewhere/kept.conf.damaged-1", "of an earlier day");
    std::filesystem::create_directory(m_folder / "config");
    std::filesystem::create_symlink(m_folder / "elsewhere/kept.conf", m_folder / "config/quorvalent.conf");

    SettingsFile defaults(file());
    EXPECT_EQ(defaults.string(u"language"_s), u"de"_s) << "what can be read still counts";
    EXPECT_EQ(m_folder.read("elsewhere/kept.conf"), damaged);

    defaults.set(u"appearance"_s, u"dark"_s);
    defaults.set(u"appearance"_s, u"light"_s);
    EXPECT_EQ(m_folder.read("elsewhere/kept.conf.damaged-1"), "of an earlier day");
    EXPECT_EQ(m_folder.read("elsewhere/kept.conf.damaged-2"), damaged);
    EXPECT_FALSE(std::filesystem::exists(m_folder / "elsewhere/kept.conf.damaged-3"));
    EXPECT_TRUE(std::filesystem::is_symlink(m_folder / "config/quorvalent.conf"));
    const SettingsFile later(file());
    EXPECT_EQ(later.string(u"language"_s), u"de"_s);
    EXPECT_EQ(later.string(u"appearance"_s), u"light"_s);
}

TEST_F(SettingsFileTest, losesNothingToAnotherProcess)
{
    constexpr int changes = 30;
    // Values of one length: the size of the file does not tell one state from the other.
    const auto write = [this](const QString &name) {
        SettingsFile defaults(file());
        for (int change = 0; change < changes; ++change)
            defaults.set(name + QString::number(change % 3), QString::number(100 + change));
    };
    const pid_t other = ::fork();
    if (other == 0) {
        write(u"other"_s);
        std::_Exit(0);
    }
    write(u"own"_s);
    int status = -1;
    ASSERT_EQ(::waitpid(other, &status, 0), other);
    ASSERT_EQ(status, 0);

    const SettingsFile defaults(file());
    for (const QString &name : {u"own"_s, u"other"_s}) {
        for (int key = 0; key < 3; ++key)
            EXPECT_EQ(defaults.string(name + QString::number(key)), QString::number(127 + key));
    }
}

TEST_F(SettingsFileTest, givesEachStateOfTheFileATimeOfItsOwn)
{
    SettingsFile defaults(file());
    defaults.set(u"language"_s, u"aa"_s);
    for (const QString &language : {u"bb"_s, u"cc"_s, u"dd"_s}) {
        // A clock that stands still, or was put back.
        const auto before = std::filesystem::last_write_time(m_folder / "config/quorvalent.conf") + 1h;
        std::filesystem::last_write_time(m_folder / "config/quorvalent.conf", before);
        defaults.set(u"language"_s, language);
        EXPECT_GE(std::filesystem::last_write_time(m_folder / "config/quorvalent.conf") - before, 1ms);
    }
}

} // namespace

} // namespace quorvalent::test
