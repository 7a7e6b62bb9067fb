#include "platform/LockedFile.h"

#include "platform/Error.h"
#include "support/ChildProcess.h"
#include "support/TestFolder.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <csignal>

namespace quorvalent {
namespace {

using test::Rights;
using test::runInChild;

TEST(LockedFileTest, isHeldUntilItsOwnerEndsHoweverItEnds)
{
    const test::TestFolder folder;
    const std::filesystem::path path = folder / "journal";
    const std::string bytes("bytes\0more", 10);
    const auto answer = [&] { return std::string(LockedFile::take(path) ? "taken" : "held"); };
    const auto child = runInChild(Rights::Same, [&]() -> std::string {
        const LockedFile file = LockedFile::create(path);
        file.write(bytes);
        std::raise(runInChild(Rights::Same, answer).text == "held" ? SIGKILL : SIGTERM);
        return {};
    });
    EXPECT_EQ(child.signal, SIGKILL);
    EXPECT_THROW((void)LockedFile::create(path), FileError);
    EXPECT_EQ(LockedFile::take(path)->read(), bytes);
}

TEST(LockedFileTest, takesNothingButThisUsersRegularFile)
{
    const test::TestFolder folder;
    folder.write("real", "x");
    std::filesystem::create_symlink("real", folder / "link");
    ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
    for (const char *name : {"link", "fifo", "missing"})
        EXPECT_FALSE(LockedFile::take(folder / name)) << name;
}

} // namespace
} // namespace quorvalent
