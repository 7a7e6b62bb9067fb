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
namespace fs = std::filesystem;

TEST(LockedFileTest, isHeldWhileItsOwnerLives)
{
    const test::TestFolder folder;
    const fs::path path = folder / "journal";
    const auto answer = [&] { return std::string(LockedFile::take(path) ? "taken" : "held"); };
    {
        const LockedFile file = LockedFile::create(path);
        file.write(std::string("bytes\0more", 10));
        EXPECT_EQ(runInChild(Rights::Same, answer).text, "held");
        EXPECT_THROW((void)LockedFile::create(path), FileError);
    }
    EXPECT_EQ(runInChild(Rights::Same, answer).text, "taken");
    EXPECT_EQ(LockedFile::take(path)->read(), std::string("bytes\0more", 10));
}

TEST(LockedFileTest, isFreeOnceItsOwnerWasKilled)
{
    const test::TestFolder folder;
    const auto child = runInChild(Rights::Same, [&]() -> std::string {
        const LockedFile file = LockedFile::create(folder / "journal");
        std::raise(SIGKILL);
        return {};
    });
    ASSERT_EQ(child.signal, SIGKILL);
    EXPECT_TRUE(LockedFile::take(folder / "journal").has_value());
}

TEST(LockedFileTest, takesNothingButThisUsersRegularFile)
{
    const test::TestFolder folder;
    folder.write("real", "x");
    fs::create_symlink("real", folder / "link");
    fs::create_directory(folder / "directory");
    ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
    for (const char *name : {"link", "directory", "fifo", "missing"})
        EXPECT_FALSE(LockedFile::take(folder / name)) << name;
    if (::geteuid() == 0) {
        ASSERT_EQ(::chown((folder / "real").c_str(), 1234, 1234), 0);
        EXPECT_FALSE(LockedFile::take(folder / "real"));
    }
}

} // namespace
} // namespace quorvalent
