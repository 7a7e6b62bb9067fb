#include "platform/AutostartEntry.h"

#include "platform/Error.h"

#include "support/TestFolder.h"

#include <gtest/gtest.h>

#include <ostream>

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;

using Status = LoginItem::Status;

class AutostartEntryTest : public testing::Test
{
protected:
    AutostartEntryTest()
    {
        folder.write(program, "#!/bin/sh\n");
        std::filesystem::permissions(folder / program, std::filesystem::perms::owner_all);
    }

    [[nodiscard]] AutostartEntry item() const { return {folder / name, folder / program}; }
    const std::string name = "autostart/quorvalent.desktop";
    const std::string program = "lib/bin/quorvalent";
    TestFolder folder;
};

TEST_F(AutostartEntryTest, startsTheProgramWithTheSession)
{
    EXPECT_EQ(item().status(), Status::NotRegistered);
    item().disable();

    item().enable();
    EXPECT_EQ(item().status(), Status::Enabled);
    const std::string path = (folder / program).native();
    EXPECT_EQ(folder.read(name),
              "[Desktop Entry]\nType=Application\nName=Quorvalent\nIcon=quorvalent\nExec=\"" + path +
                  "\"\nTryExec=" + path + "\nX-GNOME-Autostart-enabled=true\n");

    item().disable();
    EXPECT_EQ(item().status(), Status::NotRegistered);
    EXPECT_FALSE(std::filesystem::exists(folder / name));
}

TEST(ExecValue, isQuotedForTheCommandLineAndEscapedForTheFile)
{
    EXPECT_EQ(execValue("/usr/lib/q/bin/q"), R"("/usr/lib/q/bin/q")");
    EXPECT_EQ(execValue("/my apps/it's/q"), R"("/my apps/it's/q")");
    EXPECT_EQ(execValue("/100%/q"), R"("/100%%/q")");
    EXPECT_EQ(execValue("/a\"b`c$d/q"), R"("/a\\"b\\`c\\$d/q")");
    EXPECT_EQ(execValue("/a\\b/q"), R"("/a\\\\b/q")");
    EXPECT_EQ(execValue("/two\nlines/q"), R"("/two\nlines/q")");
    EXPECT_EQ(execValue("/\xff/q"), "\"/\xff/q\"");
}

struct EntryCase
{
    const char *name;
    std::string text;
    Status status;
};

void PrintTo(const EntryCase &entry, std::ostream *out)
{
    *out << entry.name;
}

class ForeignEntryTest : public AutostartEntryTest, public testing::WithParamInterface<EntryCase>
{};

TEST_P(ForeignEntryTest, isUnderstoodAndCanBeSwitchedOn)
{
    folder.write(name, GetParam().text);
    EXPECT_EQ(item().status(), GetParam().status);

    item().enable();
    EXPECT_EQ(item().status(), Status::Enabled);
}

const std::string head = "[Desktop Entry]\nType=Application\n";

const EntryCase entries[] = {
    {"hidden", head + "Exec=quorvalent\nHidden=true\n", Status::RequiresApproval},
    {"hiddenWithoutCommand", "[Desktop Entry]\nHidden=true\n", Status::RequiresApproval},
    {"gnomeOff", head + "Exec=quorvalent\nX-GNOME-Autostart-enabled = false \r\n", Status::RequiresApproval},
    {"otherGroup", head + "Exec=quorvalent\n[Desktop Action x]\nHidden=true\n", Status::Enabled},
    {"ownCommand", head + "Exec=env A=1 quorvalent\nHidden=false\n", Status::Enabled},
    {"removedCopy", head + "Exec=/nowhere/q\nTryExec=/nowhere/q\n", Status::NotRegistered},
    {"empty", "", Status::NotRegistered},
    {"garbage", std::string("\0\xff[[[\n=\n", 8), Status::NotRegistered},
};

INSTANTIATE_TEST_SUITE_P(Entries, ForeignEntryTest, testing::ValuesIn(entries),
                         [](const auto &test) { return std::string(test.param.name); });

TEST_F(AutostartEntryTest, keepsWhatTheUserAdded)
{
    folder.write(name, "# mine\n[Desktop Entry]\nName=Convertir\nHidden=true\nX-GNOME-Autostart-Delay=5\n\n"
                       "[Other]\nkey=1\n");
    item().enable();

    const std::string text = folder.read(name);
    EXPECT_EQ(text.rfind("# mine\n[Desktop Entry]\nName=Convertir\nX-GNOME-Autostart-Delay=5\n", 0), 0U);
    EXPECT_TRUE(text.ends_with("X-GNOME-Autostart-enabled=true\n\n[Other]\nkey=1\n")) << text;
}

TEST_F(AutostartEntryTest, replacesALinkAndNotItsTarget)
{
    folder.write("shared.desktop", head + "Exec=quorvalent\nHidden=true\n");
    std::filesystem::create_directory(folder / "autostart");
    std::filesystem::create_symlink(folder / "shared.desktop", folder / name);
    item().enable();

    EXPECT_EQ(folder.read("shared.desktop"), head + "Exec=quorvalent\nHidden=true\n");
    EXPECT_EQ(item().status(), Status::Enabled);
}

TEST_F(AutostartEntryTest, saysWhyItCannotBeWritten)
{
    folder.write("autostart", "a file where the folder should be");

    EXPECT_EQ(item().status(), Status::NotRegistered);
    try {
        item().enable();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const FileError &error) {
        EXPECT_EQ(error.errorDescription(), u"« autostart » est introuvable."_s);
    }
    EXPECT_EQ(folder.listing(), std::vector<std::string>({"autostart", "lib/", "lib/bin/", program}));
}

} // namespace

} // namespace quorvalent::test
