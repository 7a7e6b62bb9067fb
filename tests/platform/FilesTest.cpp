#include "platform/Files.h"

#include "platform/Error.h"
#include "platform/FileDescriptor.h"
#include "support/ChildProcess.h"
#include "support/TestFolder.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <gmock/gmock.h>

#include <array>
#include <thread>

namespace quorvalent {
namespace {

namespace fs = std::filesystem;
using test::Rights;
using test::runInChild;
using testing::ElementsAre;

struct stat statusOf(const fs::path &path)
{
    struct stat status = {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0);
    return status;
}

std::string attributeOf(const fs::path &path, const char *name)
{
    std::array<char, 256> value = {};
    const ssize_t size = ::getxattr(path.c_str(), name, value.data(), value.size());
    return size < 0 ? "none" : std::string(value.data(), static_cast<std::size_t>(size));
}

// An access list as the kernel stores it: owner rw, user 4711 r, group r, mask r, others nothing.
const std::string accessList("\2\0\0\0\1\0\6\0\xFF\xFF\xFF\xFF\2\0\4\0\x67\x12\0\0\4\0\4\0\xFF\xFF\xFF\xFF"
                             "\x10\0\4\0\xFF\xFF\xFF\xFF\x20\0\0\0\xFF\xFF\xFF\xFF",
                             44);

class FilesTest : public testing::Test
{
protected:
    /// "done", or the sentence of the error.
    static std::string outcomeOf(const std::function<void()> &operation)
    {
        try {
            operation();
            return "done";
        } catch (const FileError &failure) {
            return failure.what();
        }
    }

    test::TestFolder folder;
    const Files files{};
};

TEST_F(FilesTest, copiesASparseFileBeyondFourGigabytesIntoAPrivateSparseOne)
{
    const fs::path from = folder.write("film.mov", std::string(3'000'001, 'x') + "begin");
    const FileDescriptor file(::open(from.c_str(), O_WRONLY));
    ASSERT_EQ(::pwrite(file.get(), "middle", 6, 4'500'000'000), 6);
    ASSERT_EQ(::ftruncate(file.get(), 5'000'000'000), 0);

    files.copy(from, folder / "copy");

    EXPECT_EQ(statusOf(folder / "copy").st_size, 5'000'000'000);
    EXPECT_LT(statusOf(folder / "copy").st_blocks, 20'000);
    EXPECT_EQ(statusOf(folder / "copy").st_mode & 07777U, 0600U);
    const FileDescriptor copy(::open((folder / "copy").c_str(), O_RDONLY));
    std::string bytes(3'000'006, '\0');
    ASSERT_EQ(::pread(copy.get(), bytes.data(), bytes.size(), 0), 3'000'006);
    EXPECT_TRUE(bytes == std::string(3'000'001, 'x') + "begin");
    ASSERT_EQ(::pread(copy.get(), bytes.data(), 6, 4'500'000'000), 6);
    EXPECT_EQ(bytes.substr(0, 6), "middle");
}

TEST_F(FilesTest, copiesNothingThatIsNoRegularFileAndReplacesNothing)
{
    folder.write("photo", "bytes");
    fs::create_symlink("photo", folder / "link");
    fs::create_directory(folder / "album");
    ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
    const auto copying = [&](const char *from, const char *to) {
        return outcomeOf([&] { files.copy(folder / from, folder / to); });
    };

    EXPECT_EQ(copying("link", "new"), "« link » n’est pas un fichier ordinaire.");
    EXPECT_EQ(copying("album", "new"), "« album » n’est pas un fichier ordinaire.");
    EXPECT_EQ(copying("fifo", "new"), "« fifo » n’est pas un fichier ordinaire.");
    EXPECT_EQ(copying("missing", "new"), "« missing » est introuvable.");
    EXPECT_EQ(copying("photo", "link"), "« link » existe déjà.");
    EXPECT_THAT(folder.listing(), ElementsAre("album/", "fifo", "link", "photo"));
}

TEST_F(FilesTest, tellsAFullVolumeBeforeTheFirstByte)
{
    folder.write("photo", std::string(3'000'000, 'x'));
    const fs::path small = folder / "small";
    fs::create_directory(small);
    const auto child = runInChild(Rights::OwnMounts, [&]() -> std::string {
        if (::mount("none", small.c_str(), "tmpfs", 0, "size=2m") != 0)
            return "no mount";
        const std::string outcome = outcomeOf([&] { files.copy(folder / "photo", small / "copy"); });
        return outcome + (fs::is_empty(small) && files.freeBytes(small) == 2U << 20U ? " empty" : "");
    });
    EXPECT_EQ(child.text, "Espace disque insuffisant. empty");
}

TEST_F(FilesTest, movesOnlyToAFreeName)
{
    const fs::path photo = folder.write("photo", "mine");
    folder.write("taken", "other");
    fs::create_directory(folder / "album");
    fs::create_symlink("nowhere", folder / "dangling");
    fs::create_hard_link(photo, folder / "twin");

    for (const std::string name : {"taken", "album", "dangling", "twin"}) {
        EXPECT_EQ(outcomeOf([&] { files.moveNoReplace(photo, folder / name); }),
                  "« " + name + " » existe déjà.");
        EXPECT_TRUE(files.exists(folder / name));
    }
    files.moveNoReplace(photo, folder / "-\n%1 \xFF");
    EXPECT_EQ(folder.read("-\n%1 \xFF"), "mine");
    EXPECT_EQ(folder.read("taken"), "other");
    EXPECT_FALSE(files.exists(photo));
}

TEST_F(FilesTest, carriesOverWhatIsTheUsersOwn)
{
    const fs::path original = folder.write("photo", "old");
    const fs::path result = folder.write("output", "new");
    const std::array<timespec, 2> times = {timespec{1, 2}, timespec{1'234'567'890, 123'456'789}};
    ASSERT_EQ(::setxattr(original.c_str(), "system.posix_acl_access", accessList.data(), 44, 0), 0);
    ASSERT_EQ(::setxattr(original.c_str(), "user.rating", "4", 1, 0), 0);
    ASSERT_EQ(::chown(original.c_str(), ::geteuid() == 0 ? 1234 : ::geteuid(), static_cast<gid_t>(-1)), 0);
    ASSERT_EQ(::utimensat(AT_FDCWD, original.c_str(), times.data(), 0), 0);

    files.carryOverAttributes(original, result);

    EXPECT_EQ(folder.read("output"), "new");
    EXPECT_EQ(attributeOf(result, "system.posix_acl_access"), accessList);
    EXPECT_EQ(attributeOf(result, "user.rating"), "4");
    EXPECT_EQ(statusOf(result).st_mode, statusOf(original).st_mode);
    EXPECT_EQ(statusOf(result).st_uid, statusOf(original).st_uid);
    EXPECT_EQ(statusOf(result).st_mtim.tv_sec, 1'234'567'890);
    EXPECT_EQ(statusOf(result).st_mtim.tv_nsec, 123'456'789);
}

TEST_F(FilesTest, takesAwayAnInheritedAccessList)
{
    const fs::path original = folder.write("photo", "old");
    ASSERT_EQ(::chmod(original.c_str(), 0640), 0);
    ASSERT_EQ(::setxattr(folder.path().c_str(), "system.posix_acl_default", accessList.data(), 44, 0), 0);
    const fs::path result = folder.write("output", "new");
    ASSERT_NE(attributeOf(result, "system.posix_acl_access"), "none");

    files.carryOverAttributes(original, result);

    EXPECT_EQ(attributeOf(result, "system.posix_acl_access"), "none");
    EXPECT_EQ(statusOf(result).st_mode & 07777U, 0640U);
}

TEST_F(FilesTest, keepsTheResultOfAForeignFileReadableWithoutItsSetIdBits)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can make another owner's file";
    const fs::path original = folder.write("photo", "old");
    ASSERT_EQ(::chmod(original.c_str(), 06074), 0); // readable by the bits for others alone
    ASSERT_EQ(::chmod(folder.path().c_str(), 0777), 0);
    const auto child = runInChild(Rights::Nobody, [&]() -> std::string {
        files.carryOverAttributes(original, folder.write("output", "new"));
        files.flush(folder / "output");
        return {};
    });
    EXPECT_EQ(child.text, "");
    EXPECT_EQ(statusOf(folder / "output").st_mode & 07777U, 0474U);
}

TEST_F(FilesTest, seesWhoHasAFileOpen)
{
    const fs::path photo = folder.write("photo", "bytes");
    EXPECT_FALSE(files.isOpen(photo));
    const FileDescriptor reader(::open(photo.c_str(), O_RDONLY));
    EXPECT_TRUE(files.isOpen(photo));
    EXPECT_FALSE(files.isOpenForWriting(photo));
    {
        const FileDescriptor writer(::open(photo.c_str(), O_WRONLY));
        EXPECT_TRUE(files.isOpenForWriting(photo));
    }
    EXPECT_FALSE(files.isOpenForWriting(photo));
}

TEST_F(FilesTest, removesATreeWithoutFollowingItsLinks)
{
    folder.write("keep/mine", "bytes");
    folder.write("tree/deep/er/file", "x");
    fs::create_directory_symlink(folder / "keep", folder / "tree/link");

    files.removeTree(folder / "tree");
    files.removeTree(folder / "tree");

    EXPECT_THAT(folder.listing(), ElementsAre("keep/", "keep/mine"));
    EXPECT_EQ(outcomeOf([&] { files.remove(folder / "keep"); }), "« keep » existe déjà.");
}

TEST_F(FilesTest, removesAnOrdinaryUsersTreeWhateverItsRightsAndDepth)
{
    folder.write("keep/mine", "bytes");
    ASSERT_EQ(::chmod(folder.path().c_str(), 0777), 0);
    const auto child = runInChild(Rights::Nobody, [&]() -> std::string {
        for (const mode_t mode : {0U, 0300U, 0500U, 0600U}) {
            const fs::path closed = folder / "tree/closed" / std::to_string(mode);
            folder.write(closed / "file", "x");
            fs::create_directory_symlink(folder / "keep", closed / "link");
            if (::chmod(closed.c_str(), mode) != 0)
                return "no rights to take";
        }
        // More levels than a path can name or descriptors can be open.
        fs::current_path(folder / "tree");
        for (int level = 0; level < 3000; ++level) {
            if (::mkdir("inner", 0700) != 0 || ::chdir("inner") != 0)
                return "no depth";
        }
        fs::current_path("/");
        if (::chmod((folder / "tree").c_str(), 0) != 0)
            return "no rights to take";
        return outcomeOf([&] { files.removeTree(folder / "tree"); });
    });
    EXPECT_EQ(child.text, "done");
    EXPECT_THAT(folder.listing(), ElementsAre("keep/", "keep/mine"));
}

TEST_F(FilesTest, staysInATreeWhoseFoldersAreMovedMeanwhile)
{
    folder.write("outer/outer/mine", "bytes"); // as far up as a way back by the depth alone could lead
    const fs::path tree = folder / "outer/outer/tree";
    const fs::path moved = tree / "a/tree/c"; // a folder of the name that the whole has
    constexpr int entries = 120;
    std::string outcome = "done";
    while (outcome == "done") { // until it was moved in time
        for (int i = 0; i < entries; ++i)
            folder.write(moved / std::to_string(i) / "file", "x");
        const std::jthread mover([&] {
            std::error_code failure;
            while (std::distance(fs::directory_iterator(moved, failure), {}) == entries) {
            }
            fs::rename(moved, tree / "c", failure);
        });
        outcome = outcomeOf([&] { files.removeTree(tree); });
    }
    EXPECT_EQ(outcomeOf([&] { files.removeTree(tree); }), "done");
    EXPECT_THAT(folder.listing(), ElementsAre("outer/", "outer/outer/", "outer/outer/mine"));
}

} // namespace
} // namespace quorvalent
