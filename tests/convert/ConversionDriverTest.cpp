#include "convert/ConversionDriver.h"

#include "convert/ConversionWorld.h"
#include "convert/InterruptedWork.h"
#include "core/ConversionError.h"
#include "platform/FileDescriptor.h"
#include "support/ChildProcess.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <gmock/gmock.h>

#include <fstream>
#include <new>

namespace quorvalent {
namespace {

using test::ConversionWorld;
using test::Step;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

// ---- what a success leaves ------------------------------------------------------------------------------

struct SuccessCase
{
    std::string title;
    const char *oldName;
    const char *newName;
    bool keepsOriginal;
    bool isOldNameTaken;
    Lines contents;
};
void PrintTo(const SuccessCase &row, std::ostream *out)
{
    *out << row.title;
}

class SuccessfulConversion : public testing::TestWithParam<SuccessCase>
{};

TEST_P(SuccessfulConversion, leavesTheResultUnderTheNewName)
{
    ConversionWorld world;
    const RenameJob job = world.renamed(GetParam().oldName, GetParam().newName);
    world.preferences.keepOriginal = GetParam().keepsOriginal;
    if (GetParam().isOldNameTaken)
        world.folder.write(GetParam().oldName, "other");

    EXPECT_EQ(world.convert(job), "done");
    EXPECT_EQ(world.contents(), GetParam().contents);
    EXPECT_THAT(world.progress, ElementsAre(0.5, 1.0));
}

INSTANTIATE_TEST_SUITE_P(
    Each, SuccessfulConversion,
    testing::Values(
        SuccessCase{"plain", "photo.png", "photo.jpg", false, false, {"photo.jpg=converted"}},
        SuccessCase{
            "kept", "photo.png", "photo.jpg", true, false, {"photo.jpg=converted", "photo.png=original"}},
        SuccessCase{"capitals", "A.PNG", "A.JPG", true, false, {"A.JPG=converted", "A.PNG=original"}},
        SuccessCase{"oldNameTaken",
                    "photo.png",
                    "photo.jpg",
                    false,
                    true,
                    {"photo.jpg=converted", "photo.png=other"}},
        SuccessCase{"keptOldNameTaken",
                    "photo.png",
                    "photo.jpg",
                    true,
                    true,
                    {"photo.jpg=converted", "photo.original-########.png=original", "photo.png=other"}},
        SuccessCase{"oddBytes",
                    "-\xFF %1\n[.png",
                    "-\xFF %1\n[.jpg",
                    true,
                    false,
                    {"-\xFF %1\n[.jpg=converted", "-\xFF %1\n[.png=original"}}),
    [](const auto &row) { return row.param.title; });

TEST(ConversionDriverTest, shortensACollisionNameThatWouldNotFit)
{
    ConversionWorld world;
    std::string stem;
    while (stem.size() < 250)
        stem += "é";
    const RenameJob job = world.renamed(stem + ".png", stem + ".jpg");
    world.folder.write(stem + ".png", "other");
    world.preferences.keepOriginal = true;

    EXPECT_EQ(world.convert(job), "done");
    const std::string shortStem = stem.substr(0, 232); // 255 − 22 is odd, and an é is two bytes
    EXPECT_THAT(world.contents(), ElementsAre(shortStem + ".original-########.png=original",
                                              stem + ".jpg=converted", stem + ".png=other"));
}

TEST(ConversionDriverTest, carriesTheOriginalsModeAndTimeOver)
{
    ConversionWorld world;
    RenameJob job = world.renamed("photo.png", "photo.jpg");
    const std::array<timespec, 2> times = {timespec{1, 0}, timespec{1'000'000'000, 123'456'789}};
    ASSERT_EQ(::utimensat(AT_FDCWD, job.newURL.c_str(), times.data(), 0), 0);
    ASSERT_EQ(::chmod(job.newURL.c_str(), 0640), 0);
    job.stamp = FileStamp::read(job.newURL);

    EXPECT_EQ(world.convert(job), "done");
    struct stat result = {};
    ASSERT_EQ(::stat(job.newURL.c_str(), &result), 0);
    EXPECT_EQ(result.st_mode & 07777U, 0640U);
    EXPECT_EQ(result.st_mtim.tv_sec, 1'000'000'000);
    EXPECT_EQ(result.st_mtim.tv_nsec, 123'456'789);
}

// ---- which engine works ---------------------------------------------------------------------------------

struct EngineCase
{
    const char *oldName;
    const char *newName;
    const char *firstEngine; ///< what it does: "works", "fails", or "" where there is none
    bool hasExternal;
    Lines enginesRun;
    const char *outcome;
};
void PrintTo(const EngineCase &row, std::ostream *out)
{
    *out << row.oldName << " to " << row.newName << ", first engine " << row.firstEngine;
}

class EngineChoice : public testing::TestWithParam<EngineCase>
{};

TEST_P(EngineChoice, followsTheTable)
{
    const EngineCase &row = GetParam();
    ConversionWorld world;
    if (*row.firstEngine != '\0') {
        world.engines.audio = [&](const fs::path &, const fs::path &output, const Preferences &,
                                  const Progress &) {
            world.enginesRun.emplace_back("first");
            if (std::string(row.firstEngine) == "fails") {
                fs::create_directory(output); // half a result, in the way of the second engine
                throw ConversionError(QStringLiteral("Premier échec."));
            }
            std::ofstream(output) << "converted";
        };
        world.engines.video = world.engines.audio;
    }
    world.engines.hasExternal = [&] { return row.hasExternal; };

    EXPECT_EQ(world.convert(world.renamed(row.oldName, row.newName)), row.outcome);
    EXPECT_EQ(world.enginesRun, row.enginesRun);
}

INSTANTIATE_TEST_SUITE_P(
    Each, EngineChoice,
    testing::Values(
        EngineCase{"a.PNG", "a.JPG", "", true, {"image source.PNG → output.jpg"}, "done"},
        EngineCase{"a.png", "a.webp", "", true, {"external source.png → output.webp"}, "done"},
        EngineCase{"a.mp3", "a.wav", "", true, {"external source.mp3 → output.wav"}, "done"},
        EngineCase{"a.mp3", "a.wav", "works", true, {"first"}, "done"},
        EngineCase{"a.flac", "a.m4a", "fails", true, {"first", "external source.flac → output.m4a"}, "done"},
        EngineCase{
            "a.aif", "a.aiff", "fails", false, {"first"}, "Premier échec. Extension d’origine rétablie."},
        EngineCase{"a.wav", "a.flac", "works", true, {"external source.wav → output.flac"}, "done"},
        EngineCase{"a.mkv", "a.mp4", "works", true, {"first"}, "done"},
        EngineCase{"a.avi", "a.m4v", "fails", true, {"first", "external source.avi → output.m4v"}, "done"},
        EngineCase{"a.mov", "a.webm", "works", true, {"external source.mov → output.webm"}, "done"}));

// ---- each step failing in turn --------------------------------------------------------------------------

constexpr char nameBack[] = "« seeded » est introuvable. Extension d’origine rétablie.";
const Lines originalBack = {"photo.png=original"};

struct FailureCase
{
    std::string title;
    Step step;
    int count; ///< which one of its kind fails, from 1; 0 means all
    const char *outcome;
    Lines contents;
};
void PrintTo(const FailureCase &row, std::ostream *out)
{
    *out << row.title;
}

class FailingStep : public testing::TestWithParam<FailureCase>
{};

TEST_P(FailingStep, leavesTheOriginalWhereTheSentenceSays)
{
    const FailureCase &row = GetParam();
    ConversionWorld world;
    const RenameJob job = world.renamed("photo.png", "photo.jpg");
    world.files.before = [&](Step step, int count) {
        if (step == row.step && (row.count == 0 || count == row.count))
            throw FileError(ENOENT, "seeded");
    };

    EXPECT_EQ(world.convert(job), row.outcome);
    EXPECT_EQ(world.contents(), row.contents);
}

INSTANTIATE_TEST_SUITE_P(
    Each, FailingStep,
    testing::Values(
        FailureCase{"workFolder", Step::CreateFolder, 0, nameBack, originalBack},
        FailureCase{"copy", Step::Copy, 1, nameBack, originalBack},
        FailureCase{"output", Step::Attributes, 1, nameBack, originalBack},
        FailureCase{"attributes", Step::CarryOver, 1, nameBack, originalBack},
        FailureCase{"flushOfOutput", Step::Flush, 1, nameBack, originalBack},
        FailureCase{"flushOfJournal", Step::Flush, 2, nameBack, originalBack},
        FailureCase{"moveAside", Step::Move, 1, nameBack, originalBack},
        FailureCase{"moveIn", Step::Move, 2, "Échec du remplacement. Original intact : …/photo.png",
                    originalBack},
        FailureCase{"allMoves",
                    Step::Move,
                    0,
                    "Conversion impossible. Original intact sous photo.jpg ; rétablissez .png.",
                    {"photo.jpg=original"}},
        FailureCase{"flushOfFolder", Step::Flush, 3, "done", {"photo.jpg=converted", "photo.png=original"}},
        FailureCase{"removal", Step::Remove, 1, "done", {"photo.jpg=converted", "photo.png=original"}}),
    [](const auto &row) { return row.param.title; });

TEST(ConversionDriverTest, refusesWhatTheEnginesGetWrong)
{
    const auto failing = [](const std::function<void(ConversionWorld &)> &spoil) {
        ConversionWorld world;
        spoil(world);
        const std::string outcome = world.convert(world.renamed("photo.png", "photo.jpg"));
        EXPECT_THAT(world.contents(), ElementsAre("photo.png=original"));
        return outcome;
    };
    const auto outputIs = [](const std::function<void(const fs::path &)> &make) {
        return [make](ConversionWorld &world) {
            world.engines.image = [make](const fs::path &, const fs::path &output, const Preferences &,
                                         const Progress &) { make(output); };
        };
    };
    const std::string invalid = "Le moteur n’a produit aucun fichier valide. Extension d’origine rétablie.";

    EXPECT_EQ(failing(outputIs([](const fs::path &) {})),
              "« output.jpg » est introuvable. Extension d’origine rétablie.");
    EXPECT_EQ(failing(outputIs([](const fs::path &output) { std::ofstream(output).flush(); })), invalid);
    EXPECT_EQ(failing(outputIs([](const fs::path &output) { fs::create_directory(output); })), invalid);
    EXPECT_EQ(failing(outputIs([](const fs::path &) { throw std::bad_alloc(); })),
              "Mémoire insuffisante pour convertir ce fichier. Extension d’origine rétablie.");
    EXPECT_EQ(failing([](ConversionWorld &world) {
                  world.engines.imageMatches = [](const fs::path &, const fs::path &) { return false; };
              }),
              invalid);
}

TEST(ConversionDriverTest, asksForTheRoomThatPlainSamplesNeedBeforeTheEngineStarts)
{
    class NearlyFull : public Files
    {
        std::optional<std::uint64_t> freeBytes(const fs::path &) const override { return 7; }
    };
    ConversionWorld world;
    const NearlyFull files;
    const RenameJob job = world.renamed("song.flac", "song.wav");
    try {
        ConversionDriver(files, world.engines).convert(job, {}, [](std::optional<double>) {});
        ADD_FAILURE() << "converted";
    } catch (const ConversionError &failure) {
        EXPECT_STREQ(failure.what(), "Espace disque insuffisant. Extension d’origine rétablie.");
    }
    EXPECT_THAT(world.enginesRun, IsEmpty());
}

// ---- other programs at work on the file -----------------------------------------------------------------

using Act = std::function<void(const ConversionWorld &)>;

void edit(const ConversionWorld &world, const char *name)
{
    world.folder.write(name, "edited by another");
}

void saveOver(const ConversionWorld &world)
{
    edit(world, "saved");
    fs::rename(world.folder / "saved", world.folder / "photo.jpg");
}

Act putInPlace(const std::function<void(const fs::path &)> &make)
{
    return [make](const ConversionWorld &world) {
        fs::remove(world.folder / "photo.jpg");
        make(world.folder / "photo.jpg");
    };
}

struct MeddlingCase
{
    std::string title;
    Step step; ///< the act comes right before or after the `count`-th step of this kind
    int count;
    bool isAfter;
    Act act;
    const char *outcome;
    Lines contents;
};
void PrintTo(const MeddlingCase &row, std::ostream *out)
{
    *out << row.title;
}

class Meddling : public testing::TestWithParam<MeddlingCase>
{};

TEST_P(Meddling, losesNoByteOfAnybodys)
{
    const MeddlingCase &row = GetParam();
    ConversionWorld world;
    const RenameJob job = world.renamed("photo.png", "photo.jpg");
    (row.isAfter ? world.files.after : world.files.before) = [&](Step step, int count) {
        if (step == row.step && count == row.count)
            row.act(world);
    };

    EXPECT_EQ(world.convert(job), row.outcome);
    EXPECT_EQ(world.contents(), row.contents);
}

constexpr char changed[] = "Le fichier a été modifié pendant la conversion. Aucun remplacement effectué.";
constexpr char notRegular[] = "Ce fichier n’est pas un fichier ordinaire.";
const Act editNew = [](const ConversionWorld &world) { edit(world, "photo.jpg"); };
const Act editOld = [](const ConversionWorld &world) { edit(world, "photo.png"); };
const Lines editedNew = {"photo.jpg=edited by another"};

INSTANTIATE_TEST_SUITE_P(
    Each, Meddling,
    testing::Values(
        MeddlingCase{"editedWhileCopied", Step::Copy, 1, true, editNew,
                     "Le fichier est en cours de modification.", editedNew},
        MeddlingCase{"editedWhileConverted", Step::Attributes, 1, false, editNew, changed, editedNew},
        MeddlingCase{"savedOverWhileConverted", Step::Attributes, 1, false, saveOver, changed, editedNew},
        MeddlingCase{"editedWhileFlushed", Step::Flush, 2, true, editNew, changed, editedNew},
        MeddlingCase{"editedBeforeTheSwap", Step::Move, 1, false, editNew, changed, editedNew},
        MeddlingCase{"savedOverBeforeTheSwap", Step::Move, 1, false, saveOver, changed, editedNew},
        MeddlingCase{"editedOnceAside", Step::Move, 1, true, editOld, changed, editedNew},
        MeddlingCase{"newNameTakenInTheSwap",
                     Step::Move,
                     1,
                     true,
                     editNew,
                     "Échec du remplacement. Original intact : …/photo.png",
                     {"photo.jpg=edited by another", "photo.png=original"}},
        MeddlingCase{"editedAndNewNameTaken",
                     Step::Move,
                     1,
                     true,
                     [](const ConversionWorld &world) {
                         editOld(world);
                         world.folder.write("photo.jpg", "third");
                     },
                     "Échec du remplacement. Original intact : …/photo.png",
                     {"photo.jpg=third", "photo.png=edited by another"}},
        MeddlingCase{"editedBeforeTheRemoval",
                     Step::Move,
                     2,
                     true,
                     editOld,
                     "done",
                     {"photo.jpg=converted", "photo.png=edited by another"}},
        MeddlingCase{"oldNameTakenBeforeTheSwap",
                     Step::Move,
                     1,
                     false,
                     editOld,
                     "« photo.png » existe déjà.",
                     {"photo.jpg=original", "photo.png=edited by another"}},
        MeddlingCase{"removed",
                     Step::Attributes,
                     1,
                     false,
                     [](const ConversionWorld &world) { fs::remove(world.folder / "photo.jpg"); },
                     "« photo.jpg » est introuvable.",
                     {}},
        MeddlingCase{"becameALink",
                     Step::Copy,
                     1,
                     true,
                     putInPlace([](const fs::path &path) { fs::create_symlink("/etc/passwd", path); }),
                     notRegular,
                     {"photo.jpg"}},
        MeddlingCase{"becameAFolder",
                     Step::Attributes,
                     1,
                     false,
                     putInPlace([](const fs::path &path) { fs::create_directory(path); }),
                     notRegular,
                     {"photo.jpg/"}},
        MeddlingCase{"becameAPipeBeforeTheCopy",
                     Step::Copy,
                     1,
                     false,
                     putInPlace([](const fs::path &path) { ::mkfifo(path.c_str(), 0600); }),
                     "« photo.jpg » n’est pas un fichier ordinaire.",
                     {"photo.jpg"}},
        MeddlingCase{"becameAPipeBeforeTheSwap",
                     Step::Move,
                     1,
                     false,
                     putInPlace([](const fs::path &path) { ::mkfifo(path.c_str(), 0600); }),
                     changed,
                     {"photo.jpg"}}),
    [](const auto &row) { return row.param.title; });

TEST(ConversionDriverTest, refusesAFileThatChangedBeforeAnyWork)
{
    ConversionWorld world;
    const RenameJob job = world.renamed("photo.png", "photo.jpg");
    editNew(world);
    EXPECT_EQ(world.convert(job), "Le fichier a changé. Conversion annulée pour le protéger.");
    EXPECT_EQ(world.contents(), editedNew);
}

TEST(ConversionDriverTest, keepsAnOriginalThatAProgramMayStillWriteInto)
{
    ConversionWorld world;
    const RenameJob job = world.renamed("photo.png", "photo.jpg");
    const FileDescriptor writer(::open(job.newURL.c_str(), O_WRONLY));

    EXPECT_EQ(world.convert(job), "done");
    EXPECT_THAT(world.contents(), ElementsAre("photo.jpg=converted", "photo.png=original"));
}

TEST(ConversionDriverTest, findsItsWorkAgainWhenTheFolderWasMovedAway)
{
    ConversionWorld world;
    const RenameJob job = world.renamed("album/photo.png", "album/photo.jpg");
    world.duringEngine = [&] { fs::rename(world.folder / "album", world.folder / "moved"); };

    EXPECT_EQ(world.convert(job), "« output.jpg » est introuvable.");
    const QStringList told = restoreInterruptedWork({world.folder.path()}, [](auto) { return true; });
    EXPECT_THAT(world.contents(), ElementsAre("moved/", "moved/photo.png=original"));
    EXPECT_EQ(told.size(), 1);
}

TEST(ConversionDriverTest, saysThatAFolderIsReadOnly)
{
    ConversionWorld world;
    const RenameJob job = world.renamed("album/photo.png", "album/photo.jpg");
    ASSERT_EQ(::chmod((world.folder / "album").c_str(), 0555), 0);
    ASSERT_EQ(::chmod(world.folder.path().c_str(), 0755), 0);

    const auto child = test::runInChild(test::Rights::Nobody, [&] { return world.convert(job); });
    EXPECT_EQ(child.text, "Conversion impossible. Original intact sous photo.jpg ; rétablissez .png.");
    EXPECT_THAT(world.contents(), ElementsAre("album/", "album/photo.jpg=original"));
    ASSERT_EQ(::chmod((world.folder / "album").c_str(), 0755), 0);
}

} // namespace
} // namespace quorvalent
