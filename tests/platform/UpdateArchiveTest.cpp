#include "platform/update/UpdateArchive.h"
#include "platform/Files.h"
#include "platform/update/BundleExchange.h"
#include "platform/update/UpdateError.h"
#include "support/FreshProcess.h"
#include "support/TestArchive.h"
#include "support/TestFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <vector>

namespace quorvalent::test {

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

std::string modeOf(const fs::path &path)
{
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0 ? std::to_string(status.st_mode & 07777U) : "missing";
}

TEST(UpdateArchive, unpacksABundleWithItsLinksAndRights)
{
    const TestFolder folder;
    const fs::path archive = folder / "update.tar.zst";
    writeArchive(archive,
                 {{.name = "quorvalent/", .type = EntryType::Folder},
                  {.name = "quorvalent/lib/name", .content = "library"},
                  {.name = "quorvalent/bin/quorvalent", .content = "program", .mode = 06755},
                  {.name = "./quorvalent/bin/link", .type = EntryType::Link, .content = "../lib/name"}});

    UpdateArchive::unpack(archive, folder / "new");

    EXPECT_THAT(folder.listing(), ElementsAre("new/", "new/bin/", "new/bin/link", "new/bin/quorvalent",
                                              "new/lib/", "new/lib/name", "update.tar.zst"));
    EXPECT_EQ(folder.read("new/bin/link"), "library");
    EXPECT_EQ(folder.read("new/bin/quorvalent"), "program");
    EXPECT_EQ(modeOf(folder / "new/bin/quorvalent"), std::to_string(0755))
        << "no set-user-ID bit comes from outside";
}

struct HostileArchive
{
    const char *name;
    std::vector<ArchiveEntry> entries;
};
void PrintTo(const HostileArchive &archive, std::ostream *stream)
{
    *stream << archive.name;
}

class HostileArchives : public testing::TestWithParam<HostileArchive>
{};

TEST_P(HostileArchives, reachNothingOutside)
{
    const TestFolder folder;
    (void)folder.write("victim", "untouched");
    (void)fs::create_directory(folder / "outside");
    const fs::path archive = folder / "archive.tar";
    writeArchive(archive, GetParam().entries);

    try {
        UpdateArchive::unpack(archive, folder / "place/bundle");
        ADD_FAILURE() << "the parent does not exist";
    } catch (const FileError &) {
        (void)fs::create_directory(folder / "place");
    }
    try {
        UpdateArchive::unpack(archive, folder / "place/bundle");
        ADD_FAILURE() << "it was taken";
    } catch (const UpdateError &refusal) {
        EXPECT_EQ(refusal.kind(), UpdateError::Kind::BadArchive);
    }
    EXPECT_EQ(folder.read("victim"), "untouched");
    EXPECT_TRUE(fs::is_empty(folder / "outside"));
    fs::remove_all(folder / "place/bundle");
    EXPECT_TRUE(fs::is_empty(folder / "place"));
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, HostileArchives,
    testing::Values(
        HostileArchive{"climbs", {{.name = "top/../../../victim", .content = "hit"}}},
        HostileArchive{"absolute", {{.name = "/tmp/quorvalent-hit", .content = "hit"}}},
        HostileArchive{"linkOut",
                       {{.name = "top/a", .type = EntryType::Link, .content = "../../../outside"}}},
        HostileArchive{"linkOutThroughALink",
                       {{.name = "top/b", .type = EntryType::Link, .content = "."},
                        {.name = "top/a", .type = EntryType::Link, .content = "b/.."}}},
        HostileArchive{"linkToNothing", {{.name = "top/a", .type = EntryType::Link, .content = "b"}}},
        HostileArchive{"linkAbsolute", {{.name = "top/a", .type = EntryType::Link, .content = "/etc"}}},
        HostileArchive{"throughALink",
                       {{.name = "top/in/x", .content = "x"},
                        {.name = "top/a", .type = EntryType::Link, .content = "in"},
                        {.name = "top/a/hit", .content = "hit"}}},
        HostileArchive{"hardLink",
                       {{.name = "top/a", .type = EntryType::HardLink, .content = "/etc/passwd"}}},
        HostileArchive{"device", {{.name = "top/a", .type = EntryType::Device}}},
        HostileArchive{"twoTops", {{.name = "top/a", .content = "a"}, {.name = "other/b", .content = "b"}}},
        HostileArchive{"topIsAFile", {{.name = "top", .content = "a"}}}, HostileArchive{"empty", {}}));

TEST(UpdateArchive, refusesWhatIsTruncatedAndStopsWhenTold)
{
    const TestFolder folder;
    const fs::path archive = folder / "update.tar.zst";
    writeArchive(archive, {{.name = "top/a", .content = std::string(300'000, 'a')}});
    EXPECT_THROW(UpdateArchive::unpack(archive, folder / "cancelled", [] { return true; }), UpdateError);
    fs::resize_file(archive, fs::file_size(archive) / 2);
    EXPECT_THROW(UpdateArchive::unpack(archive, folder / "truncated"), UpdateError);
}

TEST(UpdateArchive, isReadOnlyWhenLengthChecksumAndSignatureHold)
{
    const TestFolder folder;
    const SigningKey key = SigningKey::generate();
    const fs::path archive = folder.write("archive", "content of an archive");
    const UpdateRelease release = signedRelease(key, "2.0", archive);
    EXPECT_NO_THROW(UpdateArchive::verify(archive, release, key.publicKey()));

    UpdateRelease longer = release;
    ++longer.lengthBytes;
    UpdateRelease otherSum = release;
    otherSum.sha256[0] = static_cast<char>(otherSum.sha256[0] ^ 1);
    for (const UpdateRelease &wrong :
         {longer, otherSum, signedRelease(SigningKey::generate(), "2.0", archive)})
        EXPECT_THROW(UpdateArchive::verify(archive, wrong, key.publicKey()), UpdateError);
    (void)folder.write("archive", "Content of an archive");
    EXPECT_THROW(UpdateArchive::verify(archive, release, key.publicKey()), UpdateError);
    EXPECT_THROW(UpdateArchive::verify(folder / "missing", release, key.publicKey()), UpdateError);
}

TEST(BundleExchange, replacesAsAWholeAndCanBeUndone)
{
    const TestFolder folder;
    const fs::path bundle = folder / "app";
    (void)folder.write("app/version", "1");
    ASSERT_EQ(ownerOf(bundle), BundleOwner::User);
    {
        std::optional<BundleExchange> exchange = BundleExchange::begin(bundle);
        ASSERT_TRUE(exchange);
        EXPECT_FALSE(BundleExchange::begin(bundle)) << "the place is claimed";
        fs::create_directory(exchange->candidate());
        (void)folder.write(".app.update/bundle/version", "2");

        exchange->exchange();
        EXPECT_EQ(folder.read("app/version"), "2");
        exchange->undo();
        EXPECT_EQ(folder.read("app/version"), "1");
        exchange->exchange();
        exchange->commit();
    }
    EXPECT_EQ(folder.read("app/version"), "2");
    EXPECT_FALSE(fs::exists(folder / ".app.update")) << "the old bundle is gone with the private folder";
}

TEST(BundleExchange, keepsTheOldBundleUntilTheNewOneIsKnownToRun)
{
    const TestFolder folder;
    (void)folder.write("app/version", "1");
    for (const bool isPossible : {true, false}) {
        {
            std::optional<BundleExchange> exchange = BundleExchange::begin(folder / "app");
            ASSERT_TRUE(exchange);
            (void)folder.write(".app.update/bundle/version", "2");
            exchange->exchange();
            if (!isPossible)
                fs::rename(folder / "app", folder / "elsewhere");
        }
        EXPECT_EQ(folder.read(isPossible ? "app/version" : ".app.update/bundle/version"), "1");
    }
}

TEST(BundleExchange, clearsWhatAnInterruptedUpdateLeft)
{
    const TestFolder folder;
    (void)folder.write("app/version", "1");
    (void)folder.write(".app.update/bundle/half", "x");
    (void)folder.write(".app.update/claim", "");
    const std::optional<BundleExchange> exchange = BundleExchange::begin(folder / "app");
    ASSERT_TRUE(exchange);
    EXPECT_FALSE(fs::exists(exchange->candidate()));
    EXPECT_EQ(folder.read("app/version"), "1");
}

TEST(BundleExchange, leavesABundleThatTheUserMayNotReplace)
{
    EXPECT_TRUE(holdsWithoutRights([] {
        const TestFolder folder;
        const fs::path bundle = folder / "place/app";
        fs::create_directories(bundle);
        const auto ownerWith = [&bundle](fs::perms ofPlace, fs::perms ofBundle) {
            fs::permissions(bundle, ofBundle);
            fs::permissions(bundle.parent_path(), ofPlace);
            const BundleOwner owner = ownerOf(bundle);
            fs::permissions(bundle.parent_path(), fs::perms::owner_all);
            fs::permissions(bundle, fs::perms::owner_all);
            return owner;
        };
        const auto readOnly = fs::perms::owner_read | fs::perms::owner_exec;
        return ownerWith(fs::perms::owner_all, fs::perms::owner_all) == BundleOwner::User &&
               ownerWith(readOnly, fs::perms::owner_all) == BundleOwner::SomeoneElse &&
               ownerWith(fs::perms::owner_all, readOnly) == BundleOwner::SomeoneElse &&
               ownerOf("/tmp") == BundleOwner::SomeoneElse;
    }));
}

TEST(BundleExchange, knowsWhoseTheBundleIs)
{
    const TestFolder folder;
    (void)folder.write("packaged/Contents/Info.json", R"({"QuorvalentPackage": "deb"})");
    EXPECT_EQ(ownerOf("/usr/lib/quorvalent"), BundleOwner::PackageManager);
    EXPECT_EQ(ownerOf(folder / "packaged"), BundleOwner::PackageManager);
    EXPECT_EQ(ownerOf(folder / "missing"), BundleOwner::SomeoneElse);
}

} // namespace

} // namespace quorvalent::test
