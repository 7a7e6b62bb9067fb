#include "platform/FolderWalk.h"

#include "platform/FolderRules.h"
#include "support/FreshProcess.h"
#include "support/TestFolder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <thread>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using test::TestFolder;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

std::vector<TreeReader::Folder> read(
    const fs::path &root,
    const TreeReader::Enter &enter = [](const std::string &, TreeReader::Place) { return 0; })
{
    TreeReader reader(enter, 0ms);
    reader.add(root.native(), TreeReader::Place::Root);
    std::vector<TreeReader::Folder> folders;
    while (reader.isBusy())
        reader.step(1ms, [&](TreeReader::Folder &&folder) { folders.push_back(std::move(folder)); });
    return folders;
}

std::vector<std::string> pathsBelow(const fs::path &root)
{
    std::vector<std::string> paths;
    for (const TreeReader::Folder &folder : read(root)) {
        EXPECT_EQ(folder.failure, 0);
        for (const FoundFile &file : folder.contents.files)
            paths.push_back((fs::path(folder.contents.path) / folder.contents.nameOf(file))
                                .lexically_relative(root)
                                .native());
    }
    return paths;
}

TEST(FolderWalk, findsRegularFilesThatTheOwnerSees)
{
    const TestFolder folder;
    folder.write("photo.png", "12345");
    folder.write("a/b/c/deep", "");
    folder.write("\xff\n\"%d'[", "");
    folder.write(".hidden", "");
    folder.write(".git/inside", "");
    folder.write("My Photos.PhotosLibrary/original.jpg", "");
    folder.write("plain.photos/kept.jpg", "");
    folder.write("document.app", "a file, not a package");
    fs::create_symlink("photo.png", folder / "link.png");
    fs::create_directory_symlink("a", folder / "linked folder");
    fs::create_directory_symlink("..", folder / "a/loop");
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);

    EXPECT_THAT(pathsBelow(folder.path()), UnorderedElementsAre("photo.png", "a/b/c/deep", "\xff\n\"%d'[",
                                                                "plain.photos/kept.jpg", "document.app"));
}

TEST(FolderWalk, tellsWhatStatTells)
{
    const TestFolder folder;
    const fs::path path = folder.write("photo.png", "12345");
    const timespec times[2] = {{1, 0}, {1'500'000'000, 123'456'789}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    struct stat status = {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);

    const std::vector<TreeReader::Folder> found = read(folder.path());
    ASSERT_EQ(found.front().contents.files.size(), 1);
    const FoundFile &file = found.front().contents.files.front();
    EXPECT_EQ(file.inode, status.st_ino);
    EXPECT_EQ(file.device, Files().attributes(path).device);
    EXPECT_EQ(file.sizeBytes, 5);
    EXPECT_EQ(file.modified.time_since_epoch(), 1'500'000'000'123'456'789ns);
}

TEST(FolderWalk, followsARootThatIsALink)
{
    const TestFolder folder;
    folder.write("real/photo.png", "");
    fs::create_directory_symlink("real", folder / "link");
    EXPECT_THAT(pathsBelow(folder / "link"), ElementsAre("photo.png"));
}

TEST(FolderWalk, findsEveryFileOfManyFoldersAndOfALargeOne)
{
    const TestFolder folder;
    std::vector<std::string> expected;
    for (int number = 0; number < 300; ++number)
        expected.push_back("folder " + std::to_string(number % 10) + "/" + std::to_string(number) + "/file");
    for (int number = 0; number < 5000; ++number)
        expected.push_back("large/" + std::string(40, 'n') + std::to_string(number));
    for (const std::string &path : expected)
        folder.write(path, "");
    std::vector<std::string> paths = pathsBelow(folder.path());
    std::ranges::sort(paths);
    std::ranges::sort(expected);
    EXPECT_EQ(paths, expected);
}

TEST(FolderWalk, findsAFileThatIsBeingRenamedUnderOneOfItsNames)
{
    const TestFolder folder;
    for (int number = 0; number < 100; ++number)
        folder.write(std::to_string(number), "");
    fs::rename(folder / "99", folder / "photo.png");
    std::atomic<bool> isOver = false;
    std::jthread renamer([&] {
        for (bool isPng = true; !isOver; isPng = !isPng) {
            fs::rename(folder / (isPng ? "photo.png" : "photo.jpg"),
                       folder / (isPng ? "photo.jpg" : "photo.png"));
            std::this_thread::sleep_for(1ms);
        }
    });
    for (int walk = 0; walk < 500; ++walk)
        EXPECT_EQ(read(folder.path()).front().contents.files.size(), 100);
    isOver = true;
}

TEST(FolderWalk, namesFoldersThatCannotBeReadAndGoesOn)
{
    EXPECT_TRUE(test::holdsWithoutRights([] {
        const TestFolder folder;
        folder.write("closed/lost", "");
        folder.write("open/found", "");
        fs::permissions(folder / "closed", fs::perms::none);
        const std::vector<TreeReader::Folder> found = read(folder.path());
        fs::permissions(folder / "closed", fs::perms::owner_all);
        return std::ranges::count(found, EACCES, &TreeReader::Folder::failure) == 1 && found.size() == 3;
    }));
}

TEST(FolderWalk, refusesARootThatIsMissingOrNoFolder)
{
    const TestFolder folder;
    const fs::path file = folder.write("file", "");
    for (const fs::path &root : {folder / "missing", file, fs::path()})
        EXPECT_TRUE(isVanished(read(root).front().failure)) << root;
}

TEST(FolderWalk, namesFoldersBeforeWhatIsInThem)
{
    const TestFolder folder;
    folder.write("a/b/c/file", "");
    folder.write("left out/inside/file", "");
    folder.write(".hidden/file", "");
    std::vector<std::string> seen;
    const auto enter = [&](const std::string &path, TreeReader::Place) {
        seen.push_back(fs::path(path).lexically_relative(folder.path()).native());
        return path.ends_with("left out") ? std::nullopt : std::optional(7);
    };
    EXPECT_EQ(read(folder.path(), enter).back().watch, 7);
    EXPECT_THAT(seen, UnorderedElementsAre(".", "a", "a/b", "a/b/c", "left out"));
    EXPECT_EQ(seen.front(), ".");
}

TEST(FolderRules, knowPackagesByTheirExtensionInAnyCase)
{
    for (const char *name : {"Fotos.photoslibrary", "Film.IMOVIELIBRARY", "a.b.app"})
        EXPECT_TRUE(FolderRules::isPackage(name)) << name;
    for (const char *name : {"app", ".app", "holiday.apps", "app.png", ""})
        EXPECT_FALSE(FolderRules::isPackage(name)) << name;
}

} // namespace

} // namespace quorvalent
