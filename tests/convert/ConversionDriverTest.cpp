#include "convert/ConversionDriver.h"

#include "convert/ConversionWorld.h"
#include "convert/InterruptedWork.h"
#include "core/ConversionError.h"
#include "platform/FileDescriptor.h"
#include "support/ChildProcess.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <new>
#include <set>
#include <stdexcept>

namespace quorvalent {
namespace {

namespace fs = std::filesystem;
using test::ConversionWorld;
using enum test::Step;

// ---- one step fails, or another program acts right before or after it -----------------------------------

struct When
{
    test::Step step;
    int count; ///< which one of its kind, from 1; 0 means each
    bool isAfter;
};

When before(test::Step step, int count = 1)
{
    return {step, count, false};
}

When after(test::Step step, int count = 1)
{
    return {step, count, true};
}

struct Case
{
    std::string title;
    When when;
    std::function<void(const ConversionWorld &)> act;
    std::string outcome;
    std::string contents;
};
void PrintTo(const Case &row, std::ostream *out)
{
    *out << row.title;
}

class Replacement : public testing::TestWithParam<Case>
{};

TEST_P(Replacement, losesNoByteOfAnybodys)
{
    const Case &row = GetParam();
    ConversionWorld world;
    const RenameJob job = world.renamed("a.png", "a.jpg");
    (row.when.isAfter ? world.files.after : world.files.before) = [&](test::Step step, int count) {
        if (step == row.when.step && (row.when.count == 0 || row.when.count == count))
            row.act(world);
    };

    EXPECT_EQ(world.convert(job), row.outcome);
    EXPECT_EQ(world.contents(), row.contents);
}

void fail(const ConversionWorld &)
{
    throw FileError(ENOENT, "x");
}

void editOld(const ConversionWorld &world)
{
    world.folder.write("a.png", "edit");
}

void editNew(const ConversionWorld &world)
{
    world.folder.write("a.jpg", "edit");
}

void saveOver(const ConversionWorld &world)
{
    fs::rename(world.folder.write("saved", "edit"), world.folder / "a.jpg");
}

void editOldTakeNew(const ConversionWorld &world)
{
    editOld(world);
    world.folder.write("a.jpg", "other");
}

void removeNew(const ConversionWorld &world)
{
    fs::remove(world.folder / "a.jpg");
}

void makeLink(const ConversionWorld &world)
{
    removeNew(world);
    fs::create_symlink("/etc/passwd", world.folder / "a.jpg");
}

void makeFolder(const ConversionWorld &world)
{
    removeNew(world);
    fs::create_directory(world.folder / "a.jpg");
}

void makePipe(const ConversionWorld &world)
{
    removeNew(world);
    ASSERT_EQ(::mkfifo((world.folder / "a.jpg").c_str(), 0600), 0);
}

const std::string nameBack = "« x » est introuvable. Extension d’origine rétablie.";
const std::string noName = "Conversion impossible. Original intact sous a.jpg ; rétablissez .png.";
const std::string moveFailed = "Échec du remplacement. Original intact : …/a.png";
const std::string changing = "Le fichier est en cours de modification.";
const std::string changed = "Le fichier a été modifié pendant la conversion. Aucun remplacement effectué.";
const std::string unflushed = "done \"L’enregistrement du dossier sur le disque a échoué ; l’original reste "
                              "sous « a.png ».\", original at …/a.png";
const std::string unremoved =
    "done \"La suppression de l’original a échoué ; il reste sous « a.png ».\", original at …/a.png";
const std::string editedLate = "done \"L’original a été modifié pendant son remplacement ; il reste sous "
                               "« a.png ».\", original at …/a.png";
const std::string noFile = "Ce fichier n’est pas un fichier ordinaire.";

INSTANTIATE_TEST_SUITE_P(
    Each, Replacement,
    testing::Values(
        Case{"folderFails", before(CreateFolder, 0), fail, nameBack, "a.png=old"},
        Case{"copyFails", before(Copy), fail, nameBack, "a.png=old"},
        Case{"outputMissing", before(Attributes, 2), fail, nameBack, "a.png=old"},
        Case{"attributesFail", before(CarryOver), fail, nameBack, "a.png=old"},
        Case{"flushOfOutputFails", before(Flush, 1), fail, nameBack, "a.png=old"},
        Case{"flushOfJournalFails", before(Flush, 2), fail, nameBack, "a.png=old"},
        Case{"firstMoveFails", before(Move, 1), fail, nameBack, "a.png=old"},
        Case{"secondMoveFails", before(Move, 2), fail, moveFailed, "a.png=old"},
        Case{"allMovesFail", before(Move, 0), fail, noName, "a.jpg=old"},
        Case{"flushOfFolderFails", before(Flush, 3), fail, unflushed, "a.jpg=new, a.png=old"},
        Case{"removalFails", before(Remove), fail, unremoved, "a.jpg=new, a.png=old"},
        Case{"folderStaysWhileItsJournalIsOpen", before(Remove, 2), fail, "done", "a.jpg=new"},
        Case{"editedWhileCopied", after(Copy), editNew, changing, "a.jpg=edit"},
        Case{"editedWhileConverted", before(Attributes, 2), editNew, changed, "a.jpg=edit"},
        Case{"savedOverWhileConverted", before(Attributes, 2), saveOver, changed, "a.jpg=edit"},
        Case{"editedWhileFlushed", after(Flush, 2), editNew, changed, "a.jpg=edit"},
        Case{"editedBeforeTheSwap", before(Move), editNew, changed, "a.jpg=edit"},
        Case{"savedOverBeforeTheSwap", before(Move), saveOver, changed, "a.jpg=edit"},
        Case{"editedOnceAside", after(Move), editOld, changed, "a.jpg=edit"},
        Case{"newNameTaken", after(Move), editNew, moveFailed, "a.jpg=edit, a.png=old"},
        Case{"editedAndTaken", after(Move), editOldTakeNew, moveFailed, "a.jpg=other, a.png=edit"},
        Case{"editedBeforeRemoval", after(Move, 2), editOld, editedLate, "a.jpg=new, a.png=edit"},
        Case{"oldNameTaken", before(Move), editOld, "« a.png » existe déjà.", "a.jpg=old, a.png=edit"},
        Case{"removed", before(Attributes, 2), removeNew, "« a.jpg » est introuvable.", ""},
        Case{"becameALink", after(Copy), makeLink, noFile, "a.jpg"},
        Case{"becameAFolder", before(Attributes, 2), makeFolder, noFile, "a.jpg/"},
        Case{"becameAPipe", before(Copy), makePipe, "« a.jpg » n’est pas un fichier ordinaire.", "a.jpg"},
        Case{"becameAPipeInTheSwap", before(Move), makePipe, changed, "a.jpg"}),
    [](const auto &row) { return row.param.title; });

// ---- the rest, with nobody in the way -------------------------------------------------------------------

TEST(ConversionDriverTest, leavesTheResultUnderTheNewNameAndAKeptOriginalBesideIt)
{
    std::string longStem;
    while (longStem.size() < 250)
        longStem += "é";
    const std::string cutStem = longStem.substr(0, 232); // 255 less the mark is 233, in the middle of an é
    struct Row
    {
        std::string stem, oldExtension, newExtension, original; ///< where the original is kept
        bool isOldNameTaken;
    };
    for (const Row &row : {Row{"a", ".png", ".jpg", "a.png", false}, Row{"A", ".PNG", ".JPG", "A.PNG", false},
                           Row{"-\xFF %1\n[", ".png", ".jpg", "-\xFF %1\n[.png", false},
                           Row{"a", ".png", ".jpg", "a.original-########.png", true},
                           Row{longStem, ".png", ".jpg", cutStem + ".original-########.png", true}}) {
        enum class Kept { No, AsPreferred, AsTheEngineWants };
        for (const Kept wanted : {Kept::No, Kept::AsPreferred, Kept::AsTheEngineWants}) {
            SCOPED_TRACE(row.original);
            const bool keepsOriginal = wanted != Kept::No;
            ConversionWorld world;
            if (keepsOriginal)
                world.learnt = {{QStringLiteral("Piste 2 omise.")}, wanted == Kept::AsTheEngineWants};
            const RenameJob job = world.renamed(row.stem + row.oldExtension, row.stem + row.newExtension);
            world.preferences.keepOriginal = wanted == Kept::AsPreferred;
            std::set<std::string> expected{row.stem + row.newExtension + "=new"};
            if (row.isOldNameTaken) {
                world.folder.write(job.oldURL.filename(), "other");
                expected.insert(job.oldURL.filename().native() + "=other");
            }
            if (keepsOriginal)
                expected.insert(row.original + "=old");

            std::string outcome = keepsOriginal ? "done \"Piste 2 omise.\"" : "done";
            if (wanted == Kept::AsTheEngineWants)
                outcome += " \"L’original reste à côté du résultat, sous « " +
                           displayName(row.original).toStdString() + " ».\"";
            EXPECT_EQ(world.convert(job),
                      keepsOriginal ? outcome + ", original at …/" + row.original : outcome);
            std::string contents;
            for (const std::string &line : expected)
                contents += (contents.empty() ? "" : ", ") + line;
            EXPECT_EQ(world.contents(), contents);
            EXPECT_EQ(world.progress, "0.500000 1.000000 ");
        }
    }
}

TEST(ConversionDriverTest, choosesTheEngineByFamilyAndTarget)
{
    const char *const noSecond = "Premier échec. Extension d’origine rétablie.";
    struct Row
    {
        const char *oldName, *newName, *first; ///< the first engine is "" (missing), "works" or "fails"
        bool hasExternal;
        const char *enginesRun, *outcome;
    };
    for (const Row &row :
         {Row{"a.PNG", "a.JPG", "", true, "image source.PNG output.jpg", "done"},
          Row{"a.png", "a.webp", "", true, "external source.png output.webp", "done"},
          Row{"a.mp3", "a.wav", "", true, "external source.mp3 output.wav", "done"},
          Row{"a.mp3", "a.wav", "works", true, "first ", "done"},
          Row{"a.wav", "a.m4a", "fails", true, "first external source.wav output.m4a", "done"},
          Row{"a.aif", "a.aiff", "fails", false, "first ", noSecond},
          Row{"a.wav", "a.flac", "works", true, "external source.wav output.flac", "done"},
          Row{"a.mkv", "a.mp4", "works", true, "first ", "done"},
          Row{"a.avi", "a.m4v", "fails", true, "first external source.avi output.m4v", "done"},
          Row{"a.mov", "a.webm", "works", true, "external source.mov output.webm", "done"}}) {
        SCOPED_TRACE(row.newName);
        ConversionWorld world;
        const bool fails = *row.first == 'f';
        const Engine first = [&](const fs::path &, const fs::path &output, const Preferences &,
                                 const Progress &) -> EngineReport {
            world.enginesRun += "first ";
            if (fails)
                fs::create_directory(output); // half a result, in the way of the second engine
            if (fails)
                throw ConversionError(QStringLiteral("Premier échec."));
            std::ofstream(output) << "new";
            return {};
        };
        if (*row.first != '\0')
            world.engines.audio = world.engines.video = first;
        world.engines.hasExternal = [&] { return row.hasExternal; };

        EXPECT_EQ(world.convert(world.renamed(row.oldName, row.newName)), row.outcome);
        EXPECT_EQ(world.enginesRun, row.enginesRun);
    }
}

TEST(ConversionDriverTest, leavesAFileThatAlreadyIsWhatItsNewNameSays)
{
    ConversionWorld world;
    world.isAlready = QStringLiteral("jpg");
    world.preferences.keepOriginal = true;
    const RenameJob job = world.renamed("a.jpeg", "a.JPG");
    EXPECT_EQ(world.convert(job), "done");
    EXPECT_EQ(world.enginesRun, "");
    EXPECT_EQ(world.progress, "1.000000 ");
    EXPECT_TRUE(job.stamp.isAt(job.newURL));
    EXPECT_EQ(world.contents(), "a.JPG=old");

    // A look that fails says nothing of the file.
    world.engines.isOriginalOf = [](auto &) -> bool { throw ConversionError(QStringLiteral("Arrêté.")); };
    EXPECT_EQ(world.convert(world.renamed("b.jpeg", "b.jpg")), "done, original at …/b.jpeg");
}

TEST(ConversionDriverTest, refusesWhatTheEnginesGetWrong)
{
    using Make = std::function<void(const fs::path &output)>;
    const std::string back = " Extension d’origine rétablie.";
    const std::string invalid = "Le moteur n’a produit aucun fichier valide." + back;
    const auto outcome = [](const Make &engine, bool matches = true) {
        ConversionWorld world;
        world.engines.image = [&](auto &, const fs::path &output, auto &, auto &) -> EngineReport {
            engine(output);
            return {};
        };
        world.engines.matches = [&](auto &, auto &) { return matches; };
        std::string text = world.convert(world.renamed("a.png", "a.jpg"));
        EXPECT_EQ(world.contents(), "a.png=old");
        return text;
    };

    EXPECT_EQ(outcome([](auto &) {}), "« output.jpg » est introuvable." + back);
    EXPECT_EQ(outcome([](auto &output) { std::ofstream(output).flush(); }), invalid);
    EXPECT_EQ(outcome([](auto &output) { fs::create_directory(output); }), invalid);
    EXPECT_EQ(outcome([](auto &output) { std::ofstream(output) << "new"; }, false), invalid);
    EXPECT_EQ(outcome([](auto &) { throw std::runtime_error("no thread"); }),
              "Erreur inattendue : no thread" + back);
    EXPECT_EQ(outcome([](auto &) { throw std::bad_alloc(); }),
              "Mémoire insuffisante pour convertir ce fichier." + back);
}

TEST(ConversionDriverTest, asksForTheRoomThatPlainSamplesNeedBeforeTheEngineStarts)
{
    struct NearlyFull : Files
    {
        std::optional<std::uint64_t> freeBytes(const fs::path &) const override { return 2; }
    };
    ConversionWorld world;
    const NearlyFull files{};
    const RenameJob job = world.renamed("a.flac", "a.wav");
    EXPECT_THROW(ConversionDriver(files, world.engines).convert(job, {}), ConversionError);
    EXPECT_EQ(world.enginesRun, "");
    EXPECT_EQ(world.contents(), "a.flac=old");
}

TEST(ConversionDriverTest, namesAFullDiskWhicheverEngineMetIt)
{
    struct FillingUp : Files
    {
        mutable int looks = 0;
        std::optional<std::uint64_t> freeBytes(const fs::path &) const override
        {
            return looks++ == 0 ? 1U << 30U : 4096U;
        }
    };
    for (const auto &[oldName, newName] : {std::pair("a.png", "a.tiff"), std::pair("a.png", "a.webp"),
                                           std::pair("a.wav", "a.m4a"), std::pair("a.mov", "a.mkv")}) {
        ConversionWorld world;
        world.duringEngine = [] { throw ConversionError(QStringLiteral("FFmpeg : ")); };
        const FillingUp files{};
        const RenameJob job = world.renamed(oldName, newName);
        try {
            ConversionDriver(files, world.engines).convert(job, {});
            ADD_FAILURE() << "converted";
        } catch (const ConversionError &failure) {
            EXPECT_EQ(failure.message(),
                      QStringLiteral("Espace disque insuffisant. Extension d’origine rétablie."));
        }
        EXPECT_EQ(world.contents(), std::string(oldName) + "=old");
    }
}

TEST(ConversionDriverTest, refusesAFileThatChangedBeforeAnyWork)
{
    ConversionWorld world;
    const RenameJob job = world.renamed("a.png", "a.jpg");
    editNew(world);
    EXPECT_EQ(world.convert(job), "Le fichier a changé. Conversion annulée pour le protéger.");
    EXPECT_EQ(world.contents(), "a.jpg=edit");
}

TEST(ConversionDriverTest, keepsAnOriginalThatAProgramMayStillWriteInto)
{
    ConversionWorld world;
    const RenameJob job = world.renamed("a.png", "a.jpg");
    const FileDescriptor writer(::open(job.newURL.c_str(), O_WRONLY));
    EXPECT_EQ(world.convert(job),
              "done \"L’original est encore ouvert en écriture dans un programme ; il reste "
              "sous « a.png ».\", original at …/a.png");
    EXPECT_EQ(world.contents(), "a.jpg=new, a.png=old");
}

TEST(ConversionDriverTest, flushesTheFolderThatALinkLeadsTo)
{
    ConversionWorld world;
    world.folder.write("real/a.jpg", "old");
    fs::create_directory_symlink("real", world.folder / "link");
    const fs::path newURL = world.folder / "link/a.jpg";
    EXPECT_EQ(world.convert({world.folder / "link/a.png", newURL, FileStamp::read(newURL)}), "done");
    EXPECT_EQ(world.contents(), "link, real/, real/a.jpg=new");
}

TEST(ConversionDriverTest, findsItsWorkAgainWhenTheFolderWasMovedAway)
{
    ConversionWorld world;
    const RenameJob job = world.renamed("album/a.png", "album/a.jpg");
    world.duringEngine = [&] { fs::rename(world.folder / "album", world.folder / "moved"); };

    EXPECT_EQ(world.convert(job), "« output.jpg » est introuvable.");
    const std::string workFolder = world.folder.listing().at(1);
    EXPECT_TRUE(restoreInterruptedWork(world.folder / workFolder.substr(0, workFolder.size() - 1)));
    EXPECT_EQ(world.contents(), "moved/, moved/a.png=old");
}

TEST(ConversionDriverTest, endsWhenTheRenameIsTakenBack)
{
    ConversionWorld world;
    const RenameJob job = world.renamed("a.wav", "a.m4a");
    world.engines.audio = [&](auto &, auto &, auto &, const Progress &progress) -> EngineReport {
        fs::rename(job.newURL, job.oldURL);
        report(progress, 0.1);
        throw ConversionError(QStringLiteral("Trop tard.")); // no other engine is tried either
    };
    EXPECT_THROW(ConversionDriver(world.files, world.engines).convert(job, {}), ConversionCancelled);
    EXPECT_EQ(world.enginesRun, "");
    EXPECT_EQ(world.contents(), "a.wav=old");

    const RenameJob again = world.renamedAgain("a.wav", "a.flac");
    world.duringEngine = [&] { fs::rename(again.newURL, again.oldURL); }; // after the last report
    EXPECT_EQ(world.convert(again), "Conversion annulée.");
    EXPECT_EQ(world.contents(), "a.wav=old");
}

TEST(ConversionDriverTest, endsWhenItIsCancelled)
{
    struct Row
    {
        const char *moment;
        std::string engines;
        std::string contents;
    };
    for (const Row &row : {Row{"before", "", "a.png=old"}, Row{"meanwhile", "image ", "a.png=old"},
                           Row{"as it is taken away", "image ", "b.jpg=old"}}) {
        SCOPED_TRACE(row.moment);
        ConversionWorld world;
        const RenameJob job = world.renamed("a.png", "a.jpg");
        if (row.engines.empty())
            world.cancellation.request();
        world.duringEngine = [&] {
            if (row.contents.starts_with('b'))
                fs::rename(job.newURL, world.folder / "b.jpg");
            world.cancellation.request();
        };
        EXPECT_EQ(world.convert(job), "Conversion annulée.");
        EXPECT_EQ(world.enginesRun.empty(), row.engines.empty());
        EXPECT_EQ(world.contents(), row.contents);
    }
}

TEST(ConversionDriverTest, touchesNothingInAReadOnlyFolder)
{
    ConversionWorld world;
    const RenameJob job = world.renamed("album/a.png", "album/a.jpg");
    fs::permissions(world.folder / "album", fs::perms(0555));
    fs::permissions(world.folder.path(), fs::perms(0755));

    EXPECT_EQ(test::runInChild(test::Rights::Nobody, [&] { return world.convert(job); }).text, noName);
    EXPECT_EQ(world.contents(), "album/, album/a.jpg=old");
    fs::permissions(world.folder / "album", fs::perms(0755));
}

TEST(ConversionDriverTest, measuresTheOutputByAFileThatNoEngineReaches)
{
    ConversionWorld world;
    const RenameJob job = world.renamed("a.png", "a.jpg");
    const fs::path diary = world.folder.write("diary", "private");
    world.files.after = [&](test::Step step, int) {
        if (step != test::Step::Copy)
            return;
        for (const std::string &name : world.folder.listing()) {
            if (name.ends_with("/source.png")) // now it has as many names as the diary will have
                fs::create_hard_link(world.folder / name, world.folder / (name + "2"));
        }
    };
    world.duringEngine = [&] {
        for (const std::string &name : world.folder.listing()) {
            if (!name.ends_with("/output.jpg"))
                continue;
            fs::remove(world.folder / name);
            fs::create_hard_link(diary, world.folder / name);
        }
    };

    EXPECT_EQ(world.convert(job),
              "Le moteur n’a produit aucun fichier valide. Extension d’origine rétablie.");
    EXPECT_EQ(world.contents(), "a.png=old, diary=private");
}

} // namespace
} // namespace quorvalent
