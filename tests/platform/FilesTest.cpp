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

namespace quorvalent {
namespace {

using test::ChildResult;
using test::Rights;
using test::runInChild;
using testing::ElementsAre;
namespace fs = std::filesystem;

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

// The sentence that an operation fails with, or "done".
std::string outcomeOf(const std::function<void()> &operation)
{
    try {
        operation();
        return "done";
    } catch (const FileError &failure) {
        return failure.what();
    }
}

class FilesTest : public testing::Test
{
protected:
    test::TestFolder folder;
    const Files files;
};

TEST_F(FilesTest, copiesBytesIntoAPrivateFile)
{
    const fs::path from = folder.write("song.wav", std::string(3'000'001, 'x') + "end");
    ASSERT_EQ(::chmod(from.c_str(), 0644), 0);

    files.copy(from, folder / "copy");

    EXPECT_EQ(folder.read("copy"), folder.read("song.wav"));
    EXPECT_EQ(statusOf(folder / "copy").st_mode & 07777U, 0600U);
}

TEST_F(FilesTest, copiesASparseFileBeyondFourGigabytesAsASparseOne)
{
    const fs::path from = folder.write("film.mov", "begin");
    constexpr off_t size = 5'000'000'000;
    const FileDescriptor file(::open(from.c_str(), O_WRONLY));
    ASSERT_EQ(::pwrite(file.get(), "middle", 6, 4'500'000'000), 6);
    ASSERT_EQ(::ftruncate(file.get(), size), 0);

    files.copy(from, folder / "copy");

    EXPECT_EQ(statusOf(folder / "copy").st_size, size);
    EXPECT_LT(statusOf(folder / "copy").st_blocks, 4096);
    const FileDescriptor copy(::open((folder / "copy").c_str(), O_RDONLY));
    std::array<char, 6> bytes = {};
    ASSERT_EQ(::pread(copy.get(), bytes.data(), 6, 4'500'000'000), 6);
    EXPECT_EQ(std::string(bytes.data(), 6), "middle");
    ASSERT_EQ(::pread(copy.get(), bytes.data(), 5, 0), 5);
    EXPECT_EQ(std::string(bytes.data(), 5), "begin");
}

TEST_F(FilesTest, copiesNothingThatIsNoRegularFileAndReplacesNothing)
{
    folder.write("photo.png", "bytes");
    fs::create_symlink("photo.png", folder / "link");
    fs::create_directory(folder / "album");
    ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
    const auto copying = [&](const char *from, const char *to) {
        return outcomeOf([&] { files.copy(folder / from, folder / to); });
    };

    EXPECT_EQ(copying("link", "new"), "« link » n’est pas un fichier ordinaire.");
    EXPECT_EQ(copying("album", "new"), "« album » n’est pas un fichier ordinaire.");
    EXPECT_EQ(copying("fifo", "new"), "« fifo » n’est pas un fichier ordinaire.");
    EXPECT_EQ(copying("missing", "new"), "« missing » est introuvable.");
    EXPECT_EQ(copying("photo.png", "link"), "« link » existe déjà.");
    EXPECT_EQ(copying("photo.png", "no/new"), "« new » est introuvable.");
    EXPECT_THAT(folder.listing(), ElementsAre("album/", "fifo", "link", "photo.png"));
}

TEST_F(FilesTest, tellsAFullVolumeBeforeTheFirstByte)
{
    folder.write("photo.tif", std::string(3'000'000, 'x'));
    fs::create_directory(folder / "small");
    const ChildResult child = runInChild(Rights::OwnMounts, [&]() -> std::string {
        const fs::path small = folder / "small";
        if (::mount("none", small.c_str(), "tmpfs", 0, "size=2m") != 0)
            return "no mount";
        const std::string outcome = outcomeOf([&] { files.copy(folder / "photo.tif", small / "copy"); });
        const bool isEmpty = fs::is_empty(small) && files.freeBytes(small) == 2U * 1024 * 1024;
        return outcome + (isEmpty ? " empty" : " something left");
    });
    EXPECT_EQ(child.text, "Espace disque insuffisant. empty");
}

TEST_F(FilesTest, movesOnlyToAFreeName)
{
    const fs::path photo = folder.write("photo.png", "mine");
    folder.write("taken.png", "other");
    fs::create_directory(folder / "album.png");
    fs::create_symlink("nowhere", folder / "dangling.png");
    fs::create_hard_link(photo, folder / "twin.png");

    for (const char *taken : {"taken.png", "album.png", "dangling.png", "twin.png", "photo.png"}) {
        EXPECT_EQ(outcomeOf([&] { files.moveNoReplace(photo, folder / taken); }),
                  "« " + std::string(taken) + " » existe déjà.");
    }
    EXPECT_EQ(folder.read("taken.png"), "other");
    files.moveNoReplace(photo, folder / "-\n%1 \xFF.png");
    EXPECT_EQ(folder.read("-\n%1 \xFF.png"), "mine");
    EXPECT_FALSE(files.exists(photo));
}

TEST_F(FilesTest, carriesOverWhatIsTheUsersOwn)
{
    const fs::path original = folder.write("photo.jpg", "old");
    const fs::path result = folder.write("output.jpg", "new");
    // Version 2; owner rw, user 4711 r, group r, mask r, others none: as setfacl would store it.
    const std::string list("\x02\0\0\0"
                           "\x01\0\x06\0\xFF\xFF\xFF\xFF"
                           "\x02\0\x04\0\x67\x12\0\0"
                           "\x04\0\x04\0\xFF\xFF\xFF\xFF"
                           "\x10\0\x04\0\xFF\xFF\xFF\xFF"
                           "\x20\0\0\0\xFF\xFF\xFF\xFF",
                           44);
    ASSERT_EQ(::setxattr(original.c_str(), "system.posix_acl_access", list.data(), list.size(), 0), 0);
    ASSERT_EQ(::setxattr(original.c_str(), "user.rating", "4", 1, 0), 0);
    if (::geteuid() == 0) {
        ASSERT_EQ(::chown(original.c_str(), 1234, 4321), 0);
    }
    const std::array<timespec, 2> times = {timespec{1, 2}, timespec{1'234'567'890, 123'456'789}};
    ASSERT_EQ(::utimensat(AT_FDCWD, original.c_str(), times.data(), 0), 0);

    files.carryOverAttributes(original, result);

    EXPECT_EQ(folder.read("output.jpg"), "new");
    EXPECT_EQ(attributeOf(result, "system.posix_acl_access"), list);
    EXPECT_EQ(attributeOf(result, "user.rating"), "4");
    EXPECT_EQ(statusOf(result).st_mode, statusOf(original).st_mode);
    EXPECT_EQ(statusOf(result).st_uid, statusOf(original).st_uid);
    EXPECT_EQ(statusOf(result).st_gid, statusOf(original).st_gid);
    EXPECT_EQ(statusOf(result).st_mtim.tv_sec, 1'234'567'890);
    EXPECT_EQ(statusOf(result).st_mtim.tv_nsec, 123'456'789);
}

TEST_F(FilesTest, takesAwayAnInheritedAccessListThatTheOriginalDoesNotHave)
{
    const fs::path original = folder.write("photo.jpg", "old");
    ASSERT_EQ(::chmod(original.c_str(), 0640), 0);
    fs::create_directory(folder / "work");
    const std::string list("\x02\0\0\0"
                           "\x01\0\x07\0\xFF\xFF\xFF\xFF"
                           "\x02\0\x07\0\x67\x12\0\0"
                           "\x04\0\x05\0\xFF\xFF\xFF\xFF"
                           "\x10\0\x07\0\xFF\xFF\xFF\xFF"
                           "\x20\0\0\0\xFF\xFF\xFF\xFF",
                           44);
    ASSERT_EQ(::setxattr((folder / "work").c_str(), "system.posix_acl_default", list.data(), list.size(), 0),
              0);
    const fs::path result = folder.write("work/output.jpg", "new");
    ASSERT_NE(attributeOf(result, "system.posix_acl_access"), "none");

    files.carryOverAttributes(original, result);

    EXPECT_EQ(attributeOf(result, "system.posix_acl_access"), "none");
    EXPECT_EQ(statusOf(result).st_mode & 07777U, 0640U);
}

TEST_F(FilesTest, keepsAForeignFilesResultReadableWithoutItsSetIdBits)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can make another owner's file";
    const fs::path original = folder.write("photo.jpg", "old");
    ASSERT_EQ(::chmod(original.c_str(), 06074), 0); // readable through the bits for others only
    ASSERT_EQ(::chmod(folder.path().c_str(), 0777), 0);

    const ChildResult child = runInChild(Rights::Nobody, [&]() -> std::string {
        const fs::path result = folder.write("output.jpg", "new");
        files.carryOverAttributes(original, result);
        files.flush(result);
        return std::to_string(statusOf(result).st_mode & 07777U);
    });

    EXPECT_EQ(child.text, std::to_string(0474));
}

TEST_F(FilesTest, seesWhoHasAFileOpenForWriting)
{
    const fs::path photo = folder.write("photo.png", "bytes");
    EXPECT_FALSE(files.isOpenForWriting(photo));
    {
        const FileDescriptor reader(::open(photo.c_str(), O_RDONLY));
        EXPECT_FALSE(files.isOpenForWriting(photo));
        const FileDescriptor writer(::open(photo.c_str(), O_WRONLY));
        EXPECT_TRUE(files.isOpenForWriting(photo));
    }
    EXPECT_FALSE(files.isOpenForWriting(photo));
    EXPECT_FALSE(files.isOpenForWriting(folder / "missing"));
    ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
    EXPECT_FALSE(files.isOpenForWriting(folder / "fifo"));
}

TEST_F(FilesTest, removesATreeWithoutFollowingItsLinks)
{
    folder.write("keep/mine.png", "bytes");
    folder.write("tree/deep/er/file", "x");
    fs::create_directory_symlink(folder / "keep", folder / "tree/link");
    ASSERT_EQ(::mkfifo((folder / "tree/fifo").c_str(), 0600), 0);

    files.removeTree(folder / "tree");
    files.removeTree(folder / "tree");

    EXPECT_THAT(folder.listing(), ElementsAre("keep/", "keep/mine.png"));
    EXPECT_EQ(outcomeOf([&] { files.remove(folder / "keep"); }), "« keep » existe déjà.");
    EXPECT_EQ(outcomeOf([&] { files.remove(folder / "missing"); }), "« missing » est introuvable.");
}

TEST_F(FilesTest, describesItemsWithoutFollowingLinks)
{
    const fs::path photo = folder.write("photo.png", "12345");
    fs::create_symlink("photo.png", folder / "link");
    fs::create_hard_link(photo, folder / "twin.png");

    const FileAttributes attributes = files.attributes(photo);
    EXPECT_EQ(attributes.type, FileType::Regular);
    EXPECT_EQ(attributes.sizeBytes, 5U);
    EXPECT_EQ(attributes.inode, statusOf(photo).st_ino);
    EXPECT_TRUE(attributes.isOwn);
    EXPECT_EQ(files.attributes(folder / "twin.png"), attributes);
    EXPECT_EQ(files.attributes(folder / "link").type, FileType::SymbolicLink);
    EXPECT_EQ(files.attributes(folder.path()).type, FileType::Folder);
    EXPECT_FALSE(runInChild(Rights::Nobody, [&] {
                     return files.attributes("/proc/1").isOwn ? "own" : std::string();
                 }).text == "own");
}

TEST_F(FilesTest, flushesFilesAndFoldersAndMakesPrivateOnes)
{
    files.createPrivateFolder(folder / "work");
    EXPECT_EQ(statusOf(folder / "work").st_mode & 07777U, 0700U);
    EXPECT_EQ(outcomeOf([&] { files.createPrivateFolder(folder / "work"); }), "« work » existe déjà.");
    EXPECT_EQ(outcomeOf([&] { files.createPrivateFolder(folder / "gone/work"); }),
              "« gone » est introuvable.");
    files.flush(folder / "work");
    files.flush(folder.write("work/file", "bytes"));
    EXPECT_EQ(outcomeOf([&] { files.flush(folder / "work/missing"); }), "« missing » est introuvable.");
}

} // namespace
} // namespace quorvalent
