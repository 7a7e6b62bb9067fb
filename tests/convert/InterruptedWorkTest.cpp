#include "convert/InterruptedWork.h"

#include "convert/ConversionWorld.h"
#include "convert/WorkFolder.h"
#include "support/ChildProcess.h"

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <set>

namespace quorvalent {
namespace {

namespace fs = std::filesystem;
using test::ConversionWorld;
using test::Rights;

const std::string workName = ".quorvalent-0F8E6A12-30C2-4B5E-9D2F-1C3B5A7E9D0C";
const std::string told = "La conversion de « a.jpg » a été interrompue. Original intact : …/";
const std::string toldCopy = "La conversion de « a.jpg » a été interrompue. Copie de l’original : …/";

std::string restored(const ConversionWorld &world, const Files &files = Files())
{
    QStringList sentences;
    for (const std::string &item : world.folder.listing()) {
        const fs::path path = world.folder / (item.ends_with('/') ? item.substr(0, item.size() - 1) : item);
        if (!WorkFolder::isWorkFolderName(path.filename()))
            continue;
        if (const auto interrupted = restoreInterruptedWork(path, files)) {
            const fs::path name = interrupted->file.filename();
            EXPECT_TRUE(name == "a.jpg" || name == "a.png" || WorkFolder::isWorkFolderName(name));
            sentences.append(interrupted->sentence);
        }
    }
    return world.shortened(sentences.join(QLatin1Char(' ')).toStdString());
}

// Everything that a start may find and say, wherever before or after a file operation the kill came.
std::set<std::string> outcomesOfKills(bool keepsOriginal, bool isOldNameTaken)
{
    std::set<std::string> outcomes;
    bool wasKilled = true;
    for (int moment = 1; wasKilled; ++moment) {
        ConversionWorld world;
        const RenameJob job = world.renamed("a.png", "a.jpg");
        world.preferences.keepOriginal = keepsOriginal;
        if (isOldNameTaken)
            world.folder.write("a.png", "other");
        int passed = 0;
        world.files.before = world.files.after = [&](test::Step, int) {
            if (++passed == moment)
                std::raise(SIGKILL);
        };
        wasKilled = test::runInChild(Rights::Same, [&] { return world.convert(job); }).signal == SIGKILL;
        const std::string sentences = restored(world);
        outcomes.insert(sentences + " | " + world.contents());
        EXPECT_EQ(restored(world), "") << "the second start has nothing left to do";
    }
    return outcomes;
}

bool isKept(const ConversionWorld &world)
{
    for (const std::string &name : world.state.listing()) {
        if (name.ends_with("/a.png") && world.state.read(name) == "old")
            return true;
    }
    return false;
}

// The same for a conversion whose original is kept, and for the rename that takes it back; and whether the
// original is among the kept ones then.
std::set<std::string> outcomesOfKillsWithKept(bool isReturn)
{
    std::set<std::string> outcomes;
    bool wasKilled = true;
    for (int moment = 1; wasKilled; ++moment) {
        ConversionWorld world;
        world.keepsRemoved = true;
        RenameJob job = world.renamed("a.png", "a.jpg");
        if (isReturn) {
            EXPECT_EQ(world.convert(job), "done");
            job = world.renamedAgain("a.jpg", "a.png");
        }
        int passed = 0;
        world.files.before = world.files.after = [&](test::Step, int) {
            if (++passed == moment)
                std::raise(SIGKILL);
        };
        wasKilled = test::runInChild(Rights::Same, [&] { return world.convert(job); }).signal == SIGKILL;
        const std::string sentences = restored(world);
        outcomes.insert(sentences + " | " + world.contents() + (isKept(world) ? ", kept" : ""));
        EXPECT_EQ(restored(world), "") << "the second start has nothing left to do";
    }
    return outcomes;
}

TEST(InterruptedWorkTest, losesNoOriginalOnItsWayIntoTheKeptOnesOrBack)
{
    using Outcomes = std::set<std::string>;
    EXPECT_EQ(outcomesOfKillsWithKept(false),
              (Outcomes{" | a.jpg=old", told + "a.png | a.png=old", told + "a.png | a.jpg=new, a.png=old",
                        " | a.jpg=new, kept"}));
    const std::string back = "La conversion de « a.png » a été interrompue. Original intact : …/a.jpg";
    EXPECT_EQ(outcomesOfKillsWithKept(true), (Outcomes{" | a.png=new, kept", back + " | a.jpg=new, kept",
                                                       back + " | a.jpg=new, a.png=old", " | a.png=old"}));
}

TEST(InterruptedWorkTest, findsTheOriginalOrTheResultWheneverTheProgramWasKilled)
{
    using Outcomes = std::set<std::string>;
    // The first of each: killed before the journal was there, so that nothing had begun.
    EXPECT_EQ(outcomesOfKills(false, false),
              (Outcomes{" | a.jpg=old", told + "a.png | a.png=old", told + "a.png | a.jpg=new, a.png=old",
                        " | a.jpg=new"}));
    EXPECT_EQ(outcomesOfKills(true, false),
              (Outcomes{" | a.jpg=old", told + "a.png | a.png=old", " | a.jpg=new, a.png=old"}));
    const std::string aside = "a.original-########.png";
    EXPECT_EQ(outcomesOfKills(false, true),
              (Outcomes{" | a.jpg=old, a.png=other", told + "a.jpg | a.jpg=old, a.png=other",
                        told + aside + " | a.jpg=new, " + aside + "=old, a.png=other",
                        " | a.jpg=new, a.png=other"}));
    EXPECT_EQ(outcomesOfKills(true, true),
              (Outcomes{" | a.jpg=old, a.png=other", told + "a.jpg | a.jpg=old, a.png=other",
                        " | a.jpg=new, " + aside + "=old, a.png=other"}));
}

TEST(InterruptedWorkTest, putsRightWhatItFinds)
{
    const std::string stays = workName + "/, " + workName + "/journal, " + workName + "/media/, " + workName +
                              "/media/source.png=old, ";
    struct Row
    {
        std::string original; ///< where the journal's original stands, empty when it is nowhere
        std::vector<std::string> others;
        std::string copy, sentences, contents;
    };
    for (const Row &row :
         {Row{"aside.png", {}, "", told + "a.png", "a.png=old"},
          Row{"aside.png", {"a.png"}, "", told + "a.jpg", "a.jpg=old, a.png=other"},
          Row{"elsewhere.png", {}, "o", "", "elsewhere.png=old"},
          Row{"", {"a.jpg"}, "old", "", "a.jpg=other"}, Row{"", {}, "old", toldCopy + "a.png", "a.png=old"},
          Row{"", {"a.png"}, "old", toldCopy + "aside.png", "a.png=other, aside.png=old"},
          Row{"",
              {"a.png", "aside.png"},
              "old",
              toldCopy + workName + "/media/source.png",
              stays + "a.png=other, aside.png=other"}}) {
        SCOPED_TRACE(row.contents);
        const ConversionWorld world;
        const RenameJob job = world.renamed("a.png", "a.jpg");
        world.folder.write(workName + "/journal", SwapJournal::of(job, "aside.png", false).encoded());
        world.folder.write(workName + "/media/source.png", row.copy);
        if (row.original.empty())
            fs::remove(job.newURL);
        else
            fs::rename(job.newURL, world.folder / row.original);
        for (const std::string &name : row.others)
            world.folder.write(name, "other");

        EXPECT_EQ(restored(world), row.sentences);
        EXPECT_EQ(world.contents(), row.contents);
    }
}

TEST(InterruptedWorkTest, removesNothingWhereItCannotTellWhatIsThere)
{
    for (const std::string place : {"a.jpg", "aside.png"}) {
        bool hasFailed = true;
        for (int moment = 1; hasFailed; ++moment) {
            SCOPED_TRACE(place + ", look " + std::to_string(moment));
            ConversionWorld world;
            const RenameJob job = world.renamed("a.png", "a.jpg");
            world.folder.write(workName + "/journal", SwapJournal::of(job, "aside.png", false).encoded());
            world.folder.write(workName + "/media/source.png", "old");
            fs::rename(job.newURL, world.folder / place);
            hasFailed = false;
            world.files.before = [&](test::Step step, int count) {
                hasFailed = hasFailed || (step == test::Step::Attributes && count == moment);
                if (step == test::Step::Attributes && count == moment)
                    throw FileError(EIO, job.newURL);
            };

            const std::string sentences = restored(world, world.files);
            if (hasFailed) {
                EXPECT_EQ(sentences,
                          "Erreur du disque sur « a.jpg ». Une conversion interrompue n’a pas pu être "
                          "réparée : …/" +
                              workName + " reste en place jusqu’au prochain démarrage.");
                EXPECT_TRUE(fs::exists(world.folder / workName / "media/source.png"));
            }
            restored(world);
            EXPECT_EQ(world.contents(), "a.png=old") << "the next start tries again";
        }
    }
}

TEST(InterruptedWorkTest, leavesAloneWhatIsNotItsOwn)
{
    const ConversionWorld world;
    const std::string journal =
        SwapJournal::of(world.renamed("a.png", "a.jpg"), "aside.png", false).encoded();
    world.folder.write(".quorvalent-notes/journal", journal);
    world.folder.write("b/" + workName + "/letter.txt", "mine");
    fs::create_directory_symlink(".quorvalent-notes", world.folder / workName);
    if (::geteuid() == 0) {
        world.folder.write("c/" + workName + "/journal", journal);
        ASSERT_EQ(::chown((world.folder / ("c/" + workName)).c_str(), 1234, 1234), 0);
    }
    const std::string before = world.contents();

    EXPECT_EQ(restored(world), "");
    EXPECT_EQ(world.contents(), before);
}

TEST(InterruptedWorkTest, leavesARunningConversionAlone)
{
    ConversionWorld world;
    const RenameJob job = world.renamed("a.png", "a.jpg");
    world.duringEngine = [&] {
        EXPECT_EQ(test::runInChild(Rights::Same, [&] { return restored(world); }).text, "");
    };
    EXPECT_EQ(world.convert(job), "done");
    EXPECT_EQ(world.contents(), "a.jpg=new");
}

TEST(InterruptedWorkTest, followsNoJournalThatLeadsElsewhereOrIsCutShort)
{
    const ConversionWorld world;
    const RenameJob job = world.renamed("album/a.png", "album/a.jpg");
    const std::string sound = SwapJournal::of(job, "aside.png", false).encoded();
    RenameJob leadingOut = job;
    leadingOut.oldURL = "..";
    for (const std::string &journal : {SwapJournal::of(leadingOut, "aside.png", false).encoded(),
                                       SwapJournal::of(job, "../aside.png", false).encoded(),
                                       sound.substr(0, sound.size() - 1), std::string()}) {
        world.folder.write("album/" + workName + "/journal", journal);
        EXPECT_EQ(restored(world), "");
        EXPECT_EQ(world.contents(), "album/, album/a.jpg=old");
    }
}

} // namespace
} // namespace quorvalent
