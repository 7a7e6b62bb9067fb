#include "convert/InterruptedWork.h"

#include "convert/ConversionWorld.h"
#include "convert/WorkFolder.h"
#include "support/ChildProcess.h"

#include <sys/stat.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <set>

namespace quorvalent {
namespace {

using test::ConversionWorld;
using test::runInChild;
using test::Step;
using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

constexpr char workName[] = ".quorvalent-0F8E6A12-30C2-4B5E-9D2F-1C3B5A7E9D0C";

Lines restored(const ConversionWorld &world)
{
    Lines sentences;
    const auto isEntered = [](std::string_view name) {
        return !name.starts_with('.') && !name.ends_with(".app");
    };
    for (const QString &sentence : restoreInterruptedWork({world.folder.path()}, isEntered))
        sentences.push_back(world.shortened(sentence.toStdString()));
    return sentences;
}

bool holds(const Lines &lines, const std::string &line)
{
    return std::ranges::find(lines, line) != lines.end();
}

// ---- killed at every operation ----------------------------------------------------------------------------

struct KillCase
{
    bool keepsOriginal;
    bool isOldNameTaken;
};
void PrintTo(const KillCase &row, std::ostream *out)
{
    *out << (row.keepsOriginal ? "original kept" : "original removed")
         << (row.isOldNameTaken ? ", old name taken" : "");
}

class KilledConversion : public testing::TestWithParam<KillCase>
{};

// Runs a conversion in a child that kills itself at the n-th moment, before or after an operation; false when
// it came to its end before that.
bool isKilledAt(int moment, ConversionWorld &world, const RenameJob &job)
{
    int passed = 0;
    const auto die = [&](Step, int) {
        if (++passed == moment)
            std::raise(SIGKILL);
    };
    world.files.before = die;
    world.files.after = die;
    return runInChild(test::Rights::Same, [&] { return world.convert(job); }).signal == SIGKILL;
}

TEST_P(KilledConversion, leavesTheOriginalOrTheResultAtEveryMoment)
{
    std::set<Lines> outcomes;
    bool wasKilled = true;
    for (int moment = 1; wasKilled; ++moment) {
        SCOPED_TRACE(moment);
        ConversionWorld world;
        const RenameJob job = world.renamed("photo.png", "photo.jpg");
        world.preferences.keepOriginal = GetParam().keepsOriginal;
        if (GetParam().isOldNameTaken)
            world.folder.write("photo.png", "other");

        wasKilled = isKilledAt(moment, world, job);
        Lines outcome = restored(world);

        const Lines contents = world.contents();
        EXPECT_EQ(holds(contents, "photo.png=other"), GetParam().isOldNameTaken);
        outcome.insert(outcome.end(), contents.begin(), contents.end());
        outcomes.insert(outcome);
        EXPECT_THAT(restored(world), IsEmpty()) << "the second start has nothing left to do";
    }

    const std::string told = "La conversion de « photo.jpg » a été interrompue. Original intact : …/photo.";
    const bool keeps = GetParam().keepsOriginal;
    std::set<Lines> expected;
    if (GetParam().isOldNameTaken) {
        const std::string aside = "photo.original-########.png=original";
        expected = {{"photo.jpg=original", "photo.png=other"}, // the work had not begun
                    {told + "jpg", "photo.jpg=original", "photo.png=other"}};
        if (keeps)
            expected.insert({"photo.jpg=converted", aside, "photo.png=other"});
        else
            expected.merge(std::set<Lines>{
                {told + "original-########.png", "photo.jpg=converted", aside, "photo.png=other"},
                {"photo.jpg=converted", "photo.png=other"}});
    } else {
        expected = {{"photo.jpg=original"}, {told + "png", "photo.png=original"}};
        if (keeps)
            expected.insert({"photo.jpg=converted", "photo.png=original"});
        else
            expected.merge(std::set<Lines>{{told + "png", "photo.jpg=converted", "photo.png=original"},
                                           {"photo.jpg=converted"}});
    }
    EXPECT_EQ(outcomes, expected);
}

INSTANTIATE_TEST_SUITE_P(Each, KilledConversion,
                         testing::Values(KillCase{false, false}, KillCase{false, true}, KillCase{true, false},
                                         KillCase{true, true}));

// ---- what is found at the start ---------------------------------------------------------------------------

struct LeftOverCase
{
    std::string title;
    const char *originalName; ///< where the journal's original stands, or "" when it is nowhere
    Lines others;             ///< names of further files
    const char *copy;         ///< content of the source copy
    Lines sentences;
    Lines contents;
};
void PrintTo(const LeftOverCase &row, std::ostream *out)
{
    *out << row.title;
}

class LeftOver : public testing::TestWithParam<LeftOverCase>
{};

TEST_P(LeftOver, isPutRightOnce)
{
    const LeftOverCase &row = GetParam();
    const ConversionWorld world;
    RenameJob job = world.renamed("a.png", "a.jpg");
    fs::create_directory(world.folder / workName);
    world.folder.write(fs::path(workName) / "journal", SwapJournal::of(job, "aside.png", false).encoded());
    world.folder.write(fs::path(workName) / "source.png", row.copy);
    if (*row.originalName == '\0')
        fs::remove(job.newURL);
    else
        fs::rename(job.newURL, world.folder / row.originalName);
    for (const std::string &name : row.others)
        world.folder.write(name, "other");

    EXPECT_EQ(restored(world), row.sentences);
    EXPECT_EQ(world.contents(), row.contents);
}

const std::string interrupted = "La conversion de « a.jpg » a été interrompue. Original intact : …/";
const std::string copied = "La conversion de « a.jpg » a été interrompue. Copie de l’original : …/";

INSTANTIATE_TEST_SUITE_P(
    Each, LeftOver,
    testing::Values(
        LeftOverCase{"asideBothNamesFree", "aside.png", {}, "", {interrupted + "a.png"}, {"a.png=original"}},
        LeftOverCase{"asideOldNameTaken",
                     "aside.png",
                     {"a.png"},
                     "",
                     {interrupted + "a.jpg"},
                     {"a.jpg=original", "a.png=other"}},
        LeftOverCase{"movedAwayByTheUser", "elsewhere.png", {}, "part", {}, {"elsewhere.png=original"}},
        LeftOverCase{"onlyTheCopyIsLeft", "", {}, "original", {copied + "a.png"}, {"a.png=original"}},
        LeftOverCase{"onlyTheCopyAndTheOldNameTaken",
                     "",
                     {"a.png"},
                     "original",
                     {copied + "aside.png"},
                     {"a.png=other", "aside.png=original"}},
        LeftOverCase{"onlyTheCopyAndEveryNameTaken",
                     "",
                     {"a.png", "aside.png"},
                     "original",
                     {copied + workName + "/source.png"},
                     {std::string(workName) + "/", std::string(workName) + "/journal",
                      std::string(workName) + "/source.png=original", "a.png=other", "aside.png=other"}},
        LeftOverCase{"replacedByTheUser", "", {"a.jpg"}, "original", {}, {"a.jpg=other"}}),
    [](const auto &row) { return row.param.title; });

TEST(InterruptedWorkTest, leavesAloneWhatIsNotItsOwn)
{
    const ConversionWorld world;
    const RenameJob job = world.renamed("a.png", "a.jpg");
    const std::string journal = SwapJournal::of(job, "aside.png", false).encoded();
    for (const char *folder : {".hidden", "Tool.app"})
        world.folder.write(fs::path(folder) / workName / "journal", journal);
    world.folder.write(".quorvalent-notes/journal", journal);
    world.folder.write("b/.quorvalent-11111111-30C2-4B5E-9D2F-1C3B5A7E9D0C/letter.txt", "mine");
    fs::create_directory_symlink(".quorvalent-notes", world.folder / workName);
    if (::geteuid() == 0) {
        const fs::path foreign = world.folder / ".quorvalent-22222222-30C2-4B5E-9D2F-1C3B5A7E9D0C";
        world.folder.write(foreign / "journal", journal);
        ASSERT_EQ(::chown(foreign.c_str(), 1234, 1234), 0);
    }
    const Lines before = world.contents();

    EXPECT_THAT(restored(world), IsEmpty());
    EXPECT_EQ(world.contents(), before);
}

TEST(InterruptedWorkTest, leavesARunningConversionAlone)
{
    ConversionWorld world;
    const RenameJob job = world.renamed("a.png", "a.jpg");
    std::string seen;
    world.duringEngine = [&] {
        seen =
            runInChild(test::Rights::Same, [&] { return restored(world).empty() ? "silent" : "told"; }).text;
    };
    EXPECT_EQ(world.convert(job), "done");
    EXPECT_EQ(seen, "silent");
    EXPECT_THAT(world.contents(), ElementsAre("a.jpg=converted"));
}

TEST(InterruptedWorkTest, followsNoJournalThatLeadsElsewhereOrIsCutShort)
{
    const ConversionWorld world;
    const RenameJob job = world.renamed("album/a.png", "album/a.jpg");
    const std::string sound = SwapJournal::of(job, "aside.png", false).encoded();
    RenameJob leadingOut = job;
    leadingOut.oldURL = world.folder / "album/..";
    for (const std::string &journal :
         {SwapJournal::of(leadingOut, "aside.png", false).encoded(),
          SwapJournal::of(job, "../aside.png", false).encoded(), sound.substr(0, sound.size() - 1),
          std::string("junk"), std::string()}) {
        fs::create_directory(world.folder / "album" / workName);
        world.folder.write(fs::path("album") / workName / "journal", journal);
        EXPECT_THAT(restored(world), IsEmpty());
        EXPECT_THAT(world.contents(), ElementsAre("album/", "album/a.jpg=original"));
    }
}

} // namespace
} // namespace quorvalent
