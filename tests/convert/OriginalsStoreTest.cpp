#include "convert/OriginalsStore.h"

#include "convert/ConversionWorld.h"

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <fstream>

namespace quorvalent {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using test::ConversionWorld;

/// A world that keeps removed originals, with a.png converted to a.jpg.
struct Converted : ConversionWorld
{
    explicit Converted(const std::string &mode = {})
    {
        keepsRemoved = true;
        const RenameJob job = renamed("a.png", "a.jpg");
        original = FileStamp::read(job.newURL);
        if (!mode.empty())
            fs::permissions(job.newURL, fs::perms(std::stoi(mode, nullptr, 8)));
        EXPECT_EQ(convert(job), "done");
        EXPECT_EQ(contents(), "a.jpg=new");
        enginesRun.clear();
    }
    FileStamp original;
};

std::size_t entriesIn(const fs::path &folder)
{
    std::size_t count = 0;
    for (const auto &entry : fs::recursive_directory_iterator(folder))
        count += entry.path().filename() == "entry" ? 1U : 0U;
    return count;
}

TEST(OriginalsStoreTest, givesTheOriginalBackAsItWas)
{
    Converted world("0640");
    fs::permissions(world.folder / "a.jpg", fs::perms(0600));
    EXPECT_EQ(world.convert(world.renamedAgain("a.jpg", "a.png")), "returned");
    EXPECT_EQ(world.contents(), "a.png=old");
    EXPECT_EQ(FileStamp::read(world.folder / "a.png"), world.original);
    EXPECT_EQ(fs::status(world.folder / "a.png").permissions(), fs::perms(0640));
    EXPECT_EQ(world.enginesRun, "");
    EXPECT_EQ(entriesIn(world.state.path()), 0U);
}

TEST(OriginalsStoreTest, givesTheFirstOriginalOfAChainBackWhereverTheResultWent)
{
    Converted world;
    EXPECT_EQ(world.convert(world.renamedAgain("a.jpg", "a.webp")), "done");
    fs::create_directory(world.folder / "album");
    fs::rename(world.folder / "a.webp", world.folder / "album/b.webp");
    EXPECT_EQ(world.convert(world.renamedAgain("album/b.webp", "album/b.PNG")), "returned");
    EXPECT_EQ(world.contents(), "album/, album/b.PNG=old");
    EXPECT_EQ(entriesIn(world.state.path()), 0U) << "the step in between is nobody's";
}

TEST(OriginalsStoreTest, convertsWhatIsNotAReturn)
{
    struct Row
    {
        const char *title, *newName;
        std::function<void(Converted &)> act;
    };
    for (const Row &row : {Row{"edited", "a.png", [](auto &world) { world.folder.write("a.jpg", "edit"); }},
                           Row{"anotherFormat", "a.tiff", [](auto &) {}},
                           Row{"expired", "a.png",
                               [](auto &world) {
                                   world.now += 31min;
                                   EXPECT_FALSE(world.originals.expire());
                               }},
                           Row{"originalDamaged", "a.png", [](auto &world) {
                                   for (const auto &entry :
                                        fs::recursive_directory_iterator(world.state.path())) {
                                       if (entry.path().filename() == "a.png")
                                           std::ofstream(entry.path()) << "x";
                                   }
                               }}}) {
        SCOPED_TRACE(row.title);
        Converted world;
        row.act(world);
        EXPECT_EQ(world.convert(world.renamedAgain("a.jpg", row.newName)), "done");
        EXPECT_EQ(world.contents(), row.newName + std::string("=new"));
        EXPECT_NE(world.enginesRun, "");
    }
    ConversionWorld off;
    off.keepsRemoved = true;
    off.preferences.undoSpan = 0min;
    EXPECT_EQ(off.convert(off.renamed("a.png", "a.jpg")), "done");
    EXPECT_TRUE(off.state.listing().empty()) << "nothing is kept of what is never asked for";
}

TEST(OriginalsStoreTest, leavesTheResultUnderItsOldNameWhenTheReturnFails)
{
    for (const int move : {1, 2}) {
        Converted world;
        int moves = 0;
        world.files.before = [&](test::Step step, int) {
            if (step == test::Step::Move && ++moves == move)
                throw FileError(EIO, "x");
        };
        EXPECT_NE(world.convert(world.renamedAgain("a.jpg", "a.png")), "returned");
        EXPECT_EQ(world.contents(), "a.jpg=new");
        world.files.before = [](test::Step, int) {};
        EXPECT_EQ(world.convert(world.renamedAgain("a.jpg", "a.png")), "returned") << "nothing was lost";
        EXPECT_EQ(world.contents(), "a.png=old");
    }
}

TEST(OriginalsStoreTest, keepsForAWhileAndTellsWhenTheNextIsDue)
{
    Converted world;
    world.now += 10min;
    EXPECT_EQ(world.convert(world.renamed("b.png", "b.jpg")), "done");
    EXPECT_EQ(world.originals.expire(), 20min);
    world.now += 20min;
    EXPECT_EQ(world.originals.expire(), 10min);
    EXPECT_EQ(entriesIn(world.state.path()), 1U);
    world.now -= 100h; // the clock was set back
    EXPECT_EQ(world.originals.expire(), std::nullopt);
    EXPECT_EQ(entriesIn(world.state.path()), 0U);
    EXPECT_EQ(fs::status(world.state / "quorvalent/originals").permissions(), fs::perms(0700));
}

TEST(OriginalsStoreTest, takesNoMoreThanItsShareAndMakesRoom)
{
    struct Nearly : Files
    {
        std::uint64_t free = 100; // a tenth holds three originals of three bytes
        std::optional<std::uint64_t> freeBytes(const fs::path &) const override { return free; }
    };
    const test::TestFolder folder;
    const test::TestFolder state;
    Nearly files;
    KeptOriginal::Time now{1000h};
    const OriginalsStore store(files, state / "quorvalent/originals", [&] { return now; });
    const auto keep = [&](const std::string &name, const std::string &bytes) {
        const fs::path file = folder.write(name, bytes);
        now += 1s;
        return store.keep(file, name, FileStamp::read(file), FileStamp::read(file), 30min);
    };
    for (const char *name : {"1.png", "2.png", "3.png", "4.png"})
        EXPECT_TRUE(keep(name, "old"));
    EXPECT_EQ(entriesIn(state.path()), 3U);
    EXPECT_FALSE(keep("large.png", "more than a tenth"));
    EXPECT_EQ(folder.read("large.png"), "more than a tenth");
    EXPECT_EQ(entriesIn(state.path()), 3U);

    store.makeRoom(folder.path(), 100);
    EXPECT_EQ(entriesIn(state.path()), 3U);
    store.makeRoom(folder.path(), 101);
    EXPECT_EQ(entriesIn(state.path()), 0U);
}

TEST(OriginalsStoreTest, keepsOnTheVolumeWhereTheStateIsOnAnother)
{
    std::string pattern = "/dev/shm/quorvalent-test-XXXXXX";
    const test::TestFolder state;
    if (::mkdtemp(pattern.data()) == nullptr ||
        Files().attributes(pattern).device == Files().attributes(state.path()).device)
        GTEST_SKIP() << "one volume only";
    const fs::path folder = pattern;
    const fs::path kept = "/dev/shm/.quorvalent-originals-" + std::to_string(::geteuid());
    const Files files;
    KeptOriginal::Time now{1000h};
    const OriginalsStore store(files, state / "quorvalent/originals", [&] { return now; });
    const auto keep = [&] {
        std::ofstream(folder / "a.png") << "old";
        const FileStamp stamp = FileStamp::read(folder / "a.png");
        return store.keep(folder / "a.png", "a.png", stamp, stamp, 30min);
    };
    if (fs::exists(kept)) {
        fs::remove(folder);
        GTEST_SKIP() << "somebody's originals are kept there";
    }
    EXPECT_TRUE(keep());
    EXPECT_EQ(entriesIn(kept), 1U);
    EXPECT_EQ(fs::status(kept).permissions(), fs::perms(0700));
    EXPECT_EQ(store.expire(0min), std::nullopt);
    EXPECT_FALSE(fs::exists(kept)) << "an empty folder is no one's business";

    fs::create_directory(kept); // anybody's
    fs::permissions(kept, fs::perms(0777));
    EXPECT_FALSE(keep());
    EXPECT_TRUE(fs::exists(folder / "a.png"));
    fs::remove_all(kept);
    fs::remove_all(folder);
}

} // namespace
} // namespace quorvalent
