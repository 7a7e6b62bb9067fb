#include "platform/KeyFileDomain.h"

#include "support/TestFolder.h"

#include <gtest/gtest.h>

#include <ostream>

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;

/// A domain between a user's folder of settings and two of an administrator's.
class KeyFileDomainTest : public testing::Test
{
protected:
    KeyFileDomainTest()
    {
        qputenv("XDG_CONFIG_HOME", encoded(folder / "user"));
        qputenv("XDG_CONFIG_DIRS", encoded(folder / "first") + ':' + encoded(folder / "second"));
    }
    ~KeyFileDomainTest() override
    {
        restore("XDG_CONFIG_HOME", formerHome);
        restore("XDG_CONFIG_DIRS", formerDirs);
    }

    static QByteArray encoded(const std::filesystem::path &path)
    {
        return QByteArray::fromStdString(path.native());
    }
    static void restore(const char *variable, const QByteArray &former)
    {
        former.isNull() ? qunsetenv(variable) : qputenv(variable, former);
    }

    const QByteArray formerHome = qgetenv("XDG_CONFIG_HOME");
    const QByteArray formerDirs = qgetenv("XDG_CONFIG_DIRS");
    const QString key = u"warn"_s;
    TestFolder folder;
};

TEST_F(KeyFileDomainTest, storesOneValueAndLeavesTheRestAlone)
{
    KeyFileDomain domain("files/domain.conf", "General");
    EXPECT_EQ(domain.boolean(key), std::nullopt);
    EXPECT_TRUE(domain.set(key, false));
    EXPECT_EQ(domain.boolean(key), false);
    EXPECT_FALSE(domain.isForced(key));

    const std::string before =
        "; mine\nstray line\n[Other]\nwarn=keep\n[General]\n# why\nunrelated = preserved\n";
    folder.write("user/files/domain.conf", before + "warn=false\n\n[Last]\nx=\xff\n");
    EXPECT_TRUE(domain.set(key, true));
    EXPECT_EQ(folder.read("user/files/domain.conf"), before + "warn=true\n\n[Last]\nx=\xff\n");

    folder.write("user/files/domain.conf", before + "\n[Last]\nx=1\n");
    EXPECT_TRUE(domain.set(key, true));
    EXPECT_EQ(folder.read("user/files/domain.conf"), before + "warn=true\n\n[Last]\nx=1\n");
}

TEST_F(KeyFileDomainTest, letsAnAdministratorWin)
{
    KeyFileDomain domain("domain.conf", "General");
    folder.write("second/domain.conf", "[General]\nwarn=true\n");
    folder.write("user/domain.conf", "[General]\nwarn=false\n");
    EXPECT_TRUE(domain.isForced(key));
    EXPECT_EQ(domain.boolean(key), true);
    EXPECT_FALSE(domain.isForced(u"other"_s));

    folder.write("first/domain.conf", "[General]\nwarn=false\n");
    EXPECT_EQ(domain.boolean(key), false) << "the more important folder";
}

TEST_F(KeyFileDomainTest, writesWhereALinkLeads)
{
    folder.write("elsewhere/kept.conf", "[General]\nwarn=true\n");
    std::filesystem::permissions(folder / "elsewhere/kept.conf", std::filesystem::perms(0640));
    std::filesystem::create_directory(folder / "user");
    std::filesystem::create_symlink(folder / "elsewhere/kept.conf", folder / "user/domain.conf");

    EXPECT_TRUE(KeyFileDomain("domain.conf", "General").set(key, false));
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "user/domain.conf"));
    EXPECT_EQ(folder.read("elsewhere/kept.conf"), "[General]\nwarn=false\n");
    EXPECT_EQ(std::filesystem::status(folder / "elsewhere/kept.conf").permissions(),
              std::filesystem::perms(0640));
    EXPECT_EQ(folder.listing().size(), 4U) << "nothing else is left";
}

TEST_F(KeyFileDomainTest, saysThatItCouldNotStore)
{
    folder.write("user", "a file where the folder should be");

    EXPECT_FALSE(KeyFileDomain("domain.conf", "General").set(key, false));
}

struct StoredValue
{
    const char *name;
    std::string text;
    std::optional<bool> value;
};

void PrintTo(const StoredValue &stored, std::ostream *out)
{
    *out << stored.name;
}

class StoredValueTest : public KeyFileDomainTest, public testing::WithParamInterface<StoredValue>
{};

TEST_P(StoredValueTest, isReadAsABoolean)
{
    folder.write("user/domain.conf", "[General]\n" + GetParam().text + "\n");
    EXPECT_EQ(KeyFileDomain("domain.conf", "General").boolean(key), GetParam().value);
}

const StoredValue storedValues[] = {
    {"yes", "warn=true", true},
    {"no", "warn=false", false},
    {"blanks", "\t warn \t=  false \r", false},
    {"zero", "warn=0", false},
    {"number", "warn=2", true},
    {"text", "warn=perhaps", std::nullopt},
    {"nothing", "warn=", std::nullopt},
    {"noSign", "warn", std::nullopt},
    {"comment", "#warn=false", std::nullopt},
    {"longerKey", "warned=false", std::nullopt},
    {"lastOfTwo", "warn=true\nwarn=false", false},
    {"otherGroup", "[Other]\nwarn=false", std::nullopt},
};

INSTANTIATE_TEST_SUITE_P(Values, StoredValueTest, testing::ValuesIn(storedValues),
                         [](const auto &test) { return std::string(test.param.name); });

} // namespace

} // namespace quorvalent::test
