#include "model/AppModel.h"

#include "core/ConversionError.h"

#include "support/FakeWorld.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <ostream>
#include <stdexcept>

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;
using namespace std::string_literals;

using Lines = std::vector<std::string>;

/// A model that watches /folder, with each of its announcements in the world's log.
class AppModelTest : public testing::Test
{
protected:
    AppModelTest()
    {
        Preferences preferences;
        preferences.folders = {"/folder"};
        model = std::make_unique<AppModel>(preferences, world.services());
        model->onToast = [this] { world.log.emplace_back("toast"); };
        model->onFinished = [this] { world.log.emplace_back("onFinished"); };
        model->onWarning = [this] { world.log.emplace_back("onWarning"); };
        model->onDrained = [this] { world.log.emplace_back("drained"); };
        QObject::connect(model.get(), &AppModel::jobStarted, [this](const RenameJob &job) {
            world.log.push_back("started " + job.newURL.filename().native() + ", " +
                                std::to_string(model->queued()) + " wait");
        });
        QObject::connect(model.get(), &AppModel::jobFinished,
                         [this](const RenameJob &job, const JobOutcome &outcome) {
                             world.log.push_back("finished " + job.newURL.filename().native() +
                                                 (outcome.succeeded() ? "" : ", failed"));
                         });
    }

    void startWatching()
    {
        model->start();
        world.runBackground();
        world.log.clear();
    }

    FakeWorld world;
    std::unique_ptr<AppModel> model;
};

TEST_F(AppModelTest, pausesAfterASuccessWhileOneFileWaits)
{
    startWatching();
    world.handlers.onRename(renamed("a.png", "a.jpg", u"1-1"_s));
    world.handlers.onRename(renamed("b.png", "b.jpg", u"1-2"_s));
    runMain();
    EXPECT_EQ(world.takeLog(), Lines({"started a.jpg, 0 wait", "toast"}));
    EXPECT_EQ(model->queued(), 1);
    EXPECT_EQ(model->currentName(), u"a.jpg"_s);
    EXPECT_EQ(model->currentDetail(), u"PNG → JPG"_s);
    EXPECT_EQ(model->bannerLabel(), u"En cours"_s);

    world.runBackground();
    EXPECT_EQ(world.takeLog(),
              Lines({"complete 1-1", "finished a.jpg", "onFinished", "expect b.jpg", "later 1500"}));
    EXPECT_FALSE(model->isConverting());
    EXPECT_FALSE(model->isIdle()) << "a file waits in the pause between jobs";
    EXPECT_EQ(model->currentName(), u"a.jpg"_s) << "the finished file stays in sight";
    EXPECT_EQ(model->bannerLabel(), u"Terminé"_s);

    world.runLater();
    world.runBackground();
    EXPECT_EQ(world.takeLog(), Lines({"started b.jpg, 0 wait", "toast", "complete 1-2", "finished b.jpg",
                                      "onFinished", "drained"}));
    EXPECT_TRUE(model->isIdle());
}

TEST_F(AppModelTest, goesThroughABatchWithoutAPauseAndCountsItsFiles)
{
    startWatching();
    for (const char *name : {"a", "b", "c"})
        model->enqueue(renamed(name + ".png"s, name + ".jpg"s));
    EXPECT_EQ(world.takeLog(), Lines({"started a.jpg, 0 wait", "toast", "expect b.jpg"}));
    EXPECT_EQ(world.backgroundTasks(), 1U) << "one at a time while few wait";
    EXPECT_EQ(model->bannerLabel(), u"1 sur 3"_s);

    world.runBackground();
    EXPECT_EQ(world.takeLog(), Lines({"complete 1-1", "finished a.jpg", "onFinished", "started b.jpg, 1 wait",
                                      "toast", "expect c.jpg"}));
    EXPECT_EQ(model->bannerLabel(), u"2 sur 3"_s);
    world.runBackground();
    EXPECT_EQ(model->bannerLabel(), u"3 sur 3"_s);
    EXPECT_TRUE(model->isInsideBatch());
    world.runBackground();
    EXPECT_EQ(model->bannerLabel(), u"3 sur 3"_s);
    EXPECT_EQ(model->conversionState(), AppModel::ConversionState::Succeeded);
    EXPECT_EQ(world.takeLog().back(), "drained");
    EXPECT_EQ(world.laterTasks(), 0U);
    EXPECT_FALSE(model->isInsideBatch());

    model->enqueue(renamed("d.png", "d.jpg"));
    EXPECT_EQ(model->bannerLabel(), u"En cours"_s) << "the batch is over";
}

TEST_F(AppModelTest, convertsManySideBySideAndShowsTheOldest)
{
    startWatching();
    for (const char *name : {"a", "b", "c", "d"})
        model->enqueue(renamed(name + ".png"s, name + ".jpg"s, u"1-"_s + QString::fromUtf8(name)));
    EXPECT_EQ(model->running(), 1) << "three wait";
    model->enqueue(renamed("e.png", "e.jpg", u"1-e"_s));
    EXPECT_EQ(world.backgroundTasks(), 2U) << "as many as there are cores";
    EXPECT_EQ(model->queued(), 3);
    EXPECT_EQ(model->currentName(), u"a.jpg"_s);

    world.log.clear();
    world.convert = [](const RenameJob &, const Preferences &, const Progress &progress) { progress(0.5); };
    world.runBackground(1);
    EXPECT_EQ(world.takeLog(), Lines({"complete 1-b", "finished b.jpg", "onFinished", "started c.jpg, 2 wait",
                                      "toast", "expect d.jpg"}));
    EXPECT_EQ(model->activities()[0].name, u"b.jpg"_s);
    EXPECT_EQ(model->currentName(), u"a.jpg"_s);
    EXPECT_EQ(model->currentDetail(), u"PNG → JPG"_s);
    EXPECT_EQ(model->progress(), std::nullopt) << "that of the oldest, which tells none";
    EXPECT_EQ(model->bannerLabel(), u"2 sur 5"_s);

    EXPECT_EQ(model->dropWaitingJobs().size(), 2U);
    world.runBackground();
    EXPECT_EQ(model->currentName(), u"c.jpg"_s);
    EXPECT_FALSE(model->canQuit());
    EXPECT_NE(world.log.back(), "drained");
    world.runBackground();
    EXPECT_EQ(world.log.back(), "drained");
    EXPECT_EQ(model->bannerLabel(), u"3 sur 3"_s);
}

TEST_F(AppModelTest, letsAFilmRunAloneInTheOrderOfTheReport)
{
    for (const char *name : {"a.png", "b.mov", "c.png", "d.wav", "e.wav", "f.png"})
        model->enqueue(
            renamed(name, std::filesystem::path(name).stem().native() + (name[2] == 'p'   ? ".jpg"
                                                                         : name[2] == 'm' ? ".mp4"
                                                                                          : ".mp3")));
    EXPECT_EQ(model->running(), 1) << "the film waits for the picture";
    world.runBackground();
    EXPECT_EQ(model->currentName(), u"b.mp4"_s);
    EXPECT_EQ(model->running(), 1) << "and the others for the film";
    world.runBackground();
    EXPECT_EQ(model->currentName(), u"c.jpg"_s);
    EXPECT_EQ(model->running(), 2);
}

struct LanesCase
{
    const char *name;
    std::optional<int> asked;
    int cores;
    std::uint64_t availableMiB;
    std::uint64_t fileMiB;
    int running;
};

void PrintTo(const LanesCase &row, std::ostream *out)
{
    *out << row.name;
}

class LanesTest : public testing::TestWithParam<LanesCase>
{};

TEST_P(LanesTest, areAsManyAsTheMachineHasRoomFor)
{
    FakeWorld world;
    world.pacing = {.pauses = false, .lanes = GetParam().asked};
    world.machine = {.cores = GetParam().cores, .availableBytes = GetParam().availableMiB << 20};
    AppModel model({}, world.services());
    for (int number = 0; number < 14; ++number) {
        RenameJob job = renamed("a.tiff", "a.jpg");
        job.stamp.size = GetParam().fileMiB << 20;
        model.enqueue(job);
    }
    EXPECT_EQ(model.running(), GetParam().running);
}

INSTANTIATE_TEST_SUITE_P(Machines, LanesTest,
                         testing::Values(LanesCase{"oneCore", {}, 1, 4096, 1, 2},
                                         LanesCase{"fourCores", {}, 4, 4096, 1, 4},
                                         LanesCase{"manyCores", {}, 32, 65536, 1, 8},
                                         LanesCase{"largeFiles", {}, 8, 4096, 300, 3},
                                         LanesCase{"hardlyAnyMemory", {}, 8, 100, 1, 1},
                                         LanesCase{"askedForOne", 1, 8, 4096, 1, 1},
                                         LanesCase{"askedForTwelve", 12, 2, 65536, 1, 12}),
                         [](const auto &test) { return std::string(test.param.name); });

TEST_F(AppModelTest, cutsThePauseShortForANewJob)
{
    model->enqueue(renamed("a.png", "a.jpg"));
    model->enqueue(renamed("b.png", "b.jpg"));
    world.runBackground();
    world.log.clear();

    model->enqueue(renamed("c.png", "c.jpg"));
    EXPECT_EQ(world.log, Lines({"started b.jpg, 1 wait", "toast"}));

    world.runLater();
    EXPECT_EQ(model->queued(), 1) << "the pause that was cut short starts nothing more";
    EXPECT_EQ(world.backgroundTasks(), 1U);
}

TEST_F(AppModelTest, followsTheFilesOfJobsThatWait)
{
    startWatching();
    QObject::connect(model.get(), &AppModel::jobDropped, [this](const RenameJob &job) {
        world.log.push_back("dropped " + job.newURL.filename().native());
    });
    QObject::connect(model.get(), &AppModel::jobAccepted, [this](const RenameJob &job) {
        world.log.push_back("accepted " + job.oldURL.native() + " > " + job.newURL.native());
    });
    world.machine.availableBytes = 0; // nothing runs side by side
    model->enqueue(renamed("running.png", "running.jpg"));
    for (const char *name : {"a", "b", "c", "d"})
        model->enqueue(renamed(name + ".png"s, name + ".jpg"s, u"2-"_s + QString::fromUtf8(name)));
    world.log.clear();

    world.handlers.onMoved(u"2-a"_s, "/folder/sub/another.webp");
    world.handlers.onMoved(u"2-b"_s, "/folder/b.PNG"); // named back
    world.handlers.onMoved(u"2-c"_s, std::nullopt);
    world.handlers.onMoved(u"2-d"_s, "/folder/d.jpg"); // where it was
    runMain();
    EXPECT_EQ(world.takeLog(),
              Lines({"dropped a.jpg", "accepted /folder/sub/another.png > /folder/sub/another.webp",
                     "dropped b.jpg", "complete 2-b", "dropped c.jpg", "complete 2-c"}));
    EXPECT_EQ(model->queued(), 2);
    EXPECT_EQ(model->warningCount(), 0);
}

TEST_F(AppModelTest, cancelsWhatRunsAndWhatWaits)
{
    startWatching();
    QObject::connect(model.get(), &AppModel::jobAccepted, [this](const RenameJob &job) {
        world.log.push_back("accepted " + job.oldURL.native() + " > " + job.newURL.native());
    });
    world.convert = [this](const RenameJob &, const Preferences &, const Progress &) {
        if (world.run.cancellation.isRequested())
            throw ConversionCancelled(u"Conversion annulée."_s);
    };
    model->onCancelled = [this] { world.log.emplace_back("onCancelled"); };
    for (const char *name : {"a", "b", "c"})
        model->enqueue(renamed(name + ".mov"s, name + ".mp4"s, u"1-"_s + QString::fromUtf8(name)));
    world.log.clear();

    model->cancelWaiting(); // b beside a, which goes on, then c
    EXPECT_EQ(world.takeLog(), Lines({"started b.mp4, 1 wait", "toast"}));
    world.runBackground(1);
    world.runBackground(1);
    EXPECT_EQ(world.takeLog(),
              Lines({"complete 1-b", "finished b.mp4, failed", "onCancelled", "started c.mp4, 0 wait",
                     "toast", "complete 1-c", "finished c.mp4, failed", "onCancelled"}));
    EXPECT_EQ(model->currentName(), u"a.mp4"_s);
    EXPECT_EQ(model->activities()[0].state(), ActivityState::Cancelled);

    world.handlers.onMoved(u"1-a"_s, "/folder/sub/x.mkv"); // converted there, from what it was first
    runMain();
    world.runBackground();
    EXPECT_EQ(world.takeLog(),
              Lines({"accepted /folder/sub/x.mov > /folder/sub/x.mkv", "started x.mkv, 0 wait", "toast"}));
    model->cancelConversion();
    world.runBackground();
    EXPECT_EQ(world.takeLog(), Lines({"complete 1-a", "finished x.mkv, failed", "onCancelled", "drained"}));
    EXPECT_EQ(model->warningCount(), 0);
}

TEST_F(AppModelTest, asksWhereTheFileIsThatLeftJustBeforeItsJobBegan)
{
    startWatching();
    world.isInPlace = [](const RenameJob &job) { return job.newURL != "/folder/a.jpg"; };
    model->enqueue(renamed("a.png", "a.jpg"));
    world.log.clear();
    world.runBackground();
    EXPECT_EQ(world.takeLog(), Lines({"locate 1-1"}));
    EXPECT_FALSE(model->isConverting());
    EXPECT_FALSE(model->isIdle());

    world.handlers.onMoved(u"1-1"_s, "/folder/sub/a.jpg");
    runMain();
    world.runBackground();
    EXPECT_EQ(world.takeLog(), Lines({"started a.jpg, 0 wait", "toast", "complete 1-1", "finished a.jpg",
                                      "onFinished", "drained"}));
    model->enqueue(renamed("a.png", "a.jpg"));
    world.runBackground();
    world.handlers.onMoved(u"1-1"_s, std::nullopt);
    runMain();
    EXPECT_TRUE(model->isIdle());
    EXPECT_EQ(model->warningCount(), 0);
}

TEST_F(AppModelTest, refusesAtOnceAndWithoutTheBanner)
{
    startWatching();
    world.convert = [](const RenameJob &, const Preferences &, const Progress &) {
        throw UnsupportedRenameError(u"Refus."_s);
    };
    model->enqueue(renamed("a.mov", "a.mp4"));
    model->enqueue(renamed("b.mp3", "b.mkv", u"1-2"_s));
    world.log.clear();
    model->enqueue(renamed("c.mp3", "c.mkv", u"1-3"_s));
    EXPECT_EQ(world.takeLog(), Lines()) << "in order among themselves";
    world.runBackground(1);

    EXPECT_EQ(world.log,
              Lines({"complete 1-2", "finished b.mkv, failed", "onWarning", "started c.mkv, 0 wait"}));
    EXPECT_EQ(model->currentName(), u"a.mp4"_s);
    EXPECT_EQ(model->warningTitle(), u"Format non pris en charge"_s);
    EXPECT_EQ(model->warningMessage(), u"Refus."_s);
    EXPECT_EQ(model->warningCount(), 1);
}

struct Thrown
{
    const char *name;
    std::function<void()> raise;
    QString title;
    QString message;
};

void PrintTo(const Thrown &thrown, std::ostream *out)
{
    *out << thrown.name;
}

class FailureTest : public AppModelTest, public testing::WithParamInterface<Thrown>
{};

TEST_P(FailureTest, isRecordedAndStopsNothing)
{
    world.convert = [](const RenameJob &, const Preferences &, const Progress &progress) {
        progress(0.5);
        GetParam().raise();
    };
    model->enqueue(renamed("a.png", "a.jpg"));
    world.runBackground();

    EXPECT_EQ(model->progress(), std::nullopt);
    EXPECT_EQ(model->currentDetail(), GetParam().message);
    EXPECT_EQ(model->warningTitle(), GetParam().title);
    EXPECT_EQ(model->warningMessage(), GetParam().message);
    ASSERT_EQ(model->activities().size(), 1);
    EXPECT_EQ(model->activities()[0].name, u"a.jpg"_s);
    EXPECT_EQ(model->activities()[0].detail, GetParam().message);
    EXPECT_FALSE(model->activities()[0].success);

    world.convert = [](const RenameJob &, const Preferences &, const Progress &) {};
    model->enqueue(renamed("b.png", "b.jpg"));
    world.runBackground();
    EXPECT_TRUE(model->activities()[0].success);
    EXPECT_EQ(model->warningMessage(), GetParam().message) << "a success takes no warning back";
}

const Thrown failures[] = {
    {"conversion", [] { throw ConversionError(u"Lecture de l’image impossible."_s); },
     u"Conversion impossible"_s, u"Lecture de l’image impossible."_s},
    {"refusal", [] { throw UnsupportedRenameError(u"Refus."_s); }, u"Format non pris en charge"_s,
     u"Refus."_s},
    {"system", [] { throw FileError(ENOSPC, "/folder/a.jpg"); }, u"Conversion impossible"_s,
     u"Espace disque insuffisant."_s},
    {"memory", [] { throw std::bad_alloc(); }, u"Conversion impossible"_s,
     u"Mémoire insuffisante pour convertir ce fichier."_s},
    {"unknown", [] { throw std::runtime_error("no such é"); }, u"Conversion impossible"_s,
     u"Erreur inattendue : no such é"_s},
};

INSTANTIATE_TEST_SUITE_P(Errors, FailureTest, testing::ValuesIn(failures),
                         [](const auto &test) { return std::string(test.param.name); });

TEST_F(AppModelTest, runsAJobWithThePreferencesOfItsStart)
{
    Preferences keeping;
    keeping.keepOriginal = true;
    model->setPreferences(keeping);
    bool kept = false;
    world.convert = [&kept](const RenameJob &, const Preferences &preferences, const Progress &) {
        kept = preferences.keepOriginal;
    };
    model->enqueue(renamed("a.png", "a.jpg"));
    model->enqueue(renamed("b.png", "b.jpg"));
    model->setPreferences({});

    world.runBackground();
    EXPECT_TRUE(kept);
    EXPECT_EQ(model->currentDetail(), u"Terminé · original conservé"_s);
    EXPECT_EQ(model->activities()[0].detail, u"Terminé · original conservé"_s);

    world.runLater();
    world.runBackground();
    EXPECT_FALSE(kept);
    EXPECT_EQ(model->activities()[0].detail, u"Conversion terminée"_s);
}

TEST_F(AppModelTest, tellsWhatIsToBeKnownAboutASuccess)
{
    world.report = {{u"Piste 2 omise."_s}, "/folder/a.png"};
    model->enqueue(renamed("a.png", "a.jpg"));
    world.runBackground();
    EXPECT_EQ(model->activities()[0].state(), ActivityState::SucceededWithRemark);
    EXPECT_EQ(model->activities()[0].remarks, QStringList(u"Piste 2 omise."_s));
    EXPECT_EQ(model->activities()[0].detail, u"Terminé · original conservé"_s);
    EXPECT_EQ(model->bannerLabel(), u"Original conservé"_s);
    EXPECT_EQ(model->warningCount(), 0);

    world.report = {};
    model->enqueue(renamed("b.png", "b.jpg"));
    EXPECT_EQ(model->bannerLabel(), u"En cours"_s);
    world.runBackground();
    EXPECT_EQ(model->bannerLabel(), u"Terminé"_s);
}

TEST_F(AppModelTest, rememberTheLastThirtyOutcomes)
{
    for (int count = 1; count <= 31; ++count) {
        model->enqueue(renamed("a.png", std::to_string(count) + ".jpg"));
        world.runBackground();
    }

    ASSERT_EQ(model->activities().size(), 30);
    EXPECT_EQ(model->activities().first().name, u"31.jpg"_s);
    EXPECT_EQ(model->activities().last().name, u"2.jpg"_s);
}

TEST_F(AppModelTest, showsTheProgressOfTheRunningJobOnly)
{
    QStringList seen;
    QObject::connect(model.get(), &AppModel::jobProgressed,
                     [&seen](const RenameJob &, std::optional<double> fraction) {
                         seen.append(fraction ? QString::number(*fraction) : u"unknown"_s);
                     });
    Progress kept;
    world.convert = [&kept](const RenameJob &, const Preferences &, const Progress &progress) {
        progress(std::nullopt);
        for (int step = 0; step <= 100'000; ++step)
            progress(step / 100'000.0);
        kept = progress;
    };
    model->enqueue(renamed("a.png", "a.jpg"));
    EXPECT_EQ(model->progress(), std::nullopt);
    world.runBackground();
    EXPECT_EQ(seen, QStringList(u"1"_s)) << "one event at a time, with the newest progress";
    EXPECT_EQ(model->progress(), 1.0);

    kept(0.5);
    runMain();
    EXPECT_EQ(model->progress(), 1.0) << "a late report of a finished job";

    model->enqueue(renamed("b.png", "b.jpg"));
    kept(0.75);
    runMain();
    EXPECT_EQ(model->progress(), std::nullopt) << "a late report of the job before";
}

TEST_F(AppModelTest, failsAJobForWhichThereIsNoThreadAndGoesOn)
{
    startWatching();
    world.hasThreads = false;
    world.handlers.onRename(renamed("a.png", "a.jpg", u"1-1"_s));
    runMain();
    EXPECT_EQ(world.takeLog(), Lines({"started a.jpg, 0 wait", "toast", "give name back a.png",
                                      "complete 1-1", "finished a.jpg, failed", "onWarning", "drained"}));
    EXPECT_TRUE(model->warningMessage().contains(u"ulimit -u"_s));

    world.hasThreads = true;
    world.handlers.onRename(renamed("b.png", "b.jpg", u"1-2"_s));
    runMain();
    world.runBackground();
    EXPECT_FALSE(model->isConverting());
    EXPECT_EQ(world.log.at(3), "finished b.jpg");
}

TEST_F(AppModelTest, releasesAJobItRefuses)
{
    startWatching();
    model->setPaused(true);
    world.handlers.onRename(renamed("a.png", "a.jpg", u"1-8"_s));
    runMain();
    model->setPaused(false);
    model->setInstallingUpdate(true);
    model->enqueue(renamed("b.png", "b.jpg", u"1-9"_s));

    EXPECT_EQ(world.log, Lines({"complete 1-8", "complete 1-9"}));
    EXPECT_TRUE(model->isIdle());
    EXPECT_TRUE(model->activities().isEmpty());
}

TEST_F(AppModelTest, carriesAcceptedJobsThroughAPause)
{
    model->enqueue(renamed("a.png", "a.jpg"));
    model->enqueue(renamed("b.png", "b.jpg"));
    model->setPaused(true);
    world.runBackground();
    world.runLater();
    world.runBackground();

    EXPECT_EQ(model->activities().size(), 2);
}

TEST_F(AppModelTest, dropsWhatWaitsButNotWhatRuns)
{
    startWatching();
    model->enqueue(renamed("a.png", "a.jpg", u"1-1"_s));
    model->enqueue(renamed("b.png", "b.jpg", u"1-2"_s));
    model->enqueue(renamed("c.png", "c.jpg", u"1-3"_s));
    world.log.clear();
    EXPECT_EQ(model->dropWaitingJobs().size(), 2U);
    world.runBackground();

    EXPECT_EQ(world.log, Lines({"complete 1-2", "complete 1-3", "complete 1-1", "finished a.jpg",
                                "onFinished", "drained"}));
}

TEST_F(AppModelTest, tellsOfInterruptedWorkThatWasPutRight)
{
    startWatching();
    QStringList problems;
    QObject::connect(model.get(), &AppModel::watchProblem,
                     [&problems](const QString &message) { problems.append(message); });
    world.log.clear();
    world.handlers.onInterruption({"/folder/x/a.jpg", u"Restauré."_s});
    world.handlers.onInterruption({"/folder/y/a.jpg", u"Restauré aussi."_s});
    runMain();
    EXPECT_EQ(world.log, Lines({"onWarning", "onWarning"}));
    EXPECT_EQ(problems, QStringList({u"Restauré."_s, u"Restauré aussi."_s}));
    model->restartWatcher(); // a pause or a change of folders takes nothing of it away
    ASSERT_EQ(model->activities().size(), 2);
    EXPECT_EQ(model->activities()[1].name, u"a.jpg"_s);
    EXPECT_EQ(model->activities()[1].folder, u"/folder/x"_s);
    EXPECT_EQ(model->activities()[1].detail, u"Conversion interrompue"_s);
    EXPECT_EQ(model->activities()[1].remarks, QStringList(u"Restauré."_s));
    EXPECT_EQ(model->activities()[1].state(), ActivityState::Failed);
    EXPECT_EQ(model->warningTitle(), u"Conversion interrompue"_s);
    EXPECT_EQ(model->warnedFiles(), QList<WarnedFile>({{u"a.jpg"_s, u"/folder/y"_s, u"Restauré aussi."_s},
                                                       {u"a.jpg"_s, u"/folder/x"_s, u"Restauré."_s}}));
    EXPECT_EQ(model->warningCount(), 2);
    model->clearWarnings();
    EXPECT_TRUE(model->warnedFiles().isEmpty());
}

TEST_F(AppModelTest, watchesNothingWhileJobsAreRefused)
{
    startWatching();
    int announced = 0;
    QObject::connect(model.get(), &AppModel::watchingStarted, [&announced] { ++announced; });
    world.handlers.onProblem(u"Impossible de surveiller ces dossiers."_s);
    runMain();
    EXPECT_EQ(model->watchMessage(), u"Impossible de surveiller ces dossiers."_s);

    model->setPaused(true);
    model->restartWatcher();
    EXPECT_EQ(model->watchMessage(), QString());
    world.onWatching.at(0)();
    runMain();
    EXPECT_EQ(announced, 0) << "the answer of a watching that is over";

    model->setPaused(false);
    model->restartWatcher();
    world.onWatching.at(2)();
    runMain();
    EXPECT_EQ(announced, 1);
    EXPECT_EQ(world.log, Lines({"watch", "watch /folder"}));
}

TEST_F(AppModelTest, neverClaimsToListenToAFolderThatIsNotThere)
{
    startWatching();
    const QString missing = u"Dossier inaccessible : /folder"_s;
    EXPECT_EQ(model->statusText(), u"Lecture des dossiers en cours"_s);
    world.onWatching.at(0)();
    runMain();
    EXPECT_EQ(model->statusText(), u"À l’écoute des changements d’extension"_s);
    world.handlers.onProblem(missing);
    runMain();
    world.onMissing({"/folder"});
    EXPECT_EQ(model->statusText(), missing);
    EXPECT_TRUE(model->isMissing("/folder") && model->isFolderMissing());

    world.onMissing({});
    EXPECT_EQ(model->statusText(), u"À l’écoute des changements d’extension"_s) << "it is back by itself";
    EXPECT_EQ(model->watchMessage(), QString());
    world.onMissing({"/folder", "/other"});
    EXPECT_EQ(model->statusText(), u"Dossiers inaccessibles : 2"_s);
    model->togglePause();
    EXPECT_EQ(model->statusText(), u"En pause"_s);
    EXPECT_FALSE(model->isFolderMissing()) << "nothing is observed in a pause";
}

TEST_F(AppModelTest, keepsOneTimerForKeptOriginalsWhileThereAreAny)
{
    startWatching();
    EXPECT_EQ(world.expiries.size(), 1U) << "what is due goes at the start";
    EXPECT_FALSE(model->hasKeptOriginals());

    world.nextExpiry = std::chrono::minutes(30);
    world.report.canBeTakenBack = true;
    model->enqueue(renamed("a.png", "a.jpg"));
    world.runBackground();
    world.runBackground(); // looks when the first is due
    EXPECT_TRUE(model->hasKeptOriginals());
    EXPECT_EQ(world.backgroundTasks(), 0U);

    world.nextExpiry.reset();
    model->clearKeptOriginals();
    world.runBackground();
    EXPECT_EQ(world.expiries.back(), std::chrono::minutes(0));
    EXPECT_FALSE(model->hasKeptOriginals());
}

TEST_F(AppModelTest, tellsAReturnACancellationAndAFileThatStayedAsItIsApart)
{
    Preferences keeping;
    keeping.keepOriginal = true;
    model->setPreferences(keeping);
    world.report.isUnchanged = true;
    model->enqueue(renamed("c.jpeg", "c.jpg"));
    world.runBackground();
    EXPECT_EQ(model->activities()[0].detail, u"Conversion terminée"_s);

    world.report.isReturn = true;
    model->enqueue(renamed("a.jpg", "a.png"));
    world.runBackground();
    EXPECT_EQ(model->activities()[0].detail, u"Original rétabli."_s);
    EXPECT_EQ(model->activities()[0].state(), ActivityState::Succeeded);

    bool wasTold = false;
    model->onCancelled = [&wasTold] { wasTold = true; };
    world.convert = [](const RenameJob &, const Preferences &, const Progress &) {
        throw ConversionCancelled(u"Conversion annulée."_s);
    };
    world.log.clear();
    model->enqueue(renamed("b.png", "b.jpg"));
    world.runBackground();
    EXPECT_EQ(model->activities()[0].detail, u"Conversion annulée."_s);
    EXPECT_EQ(model->activities()[0].state(), ActivityState::Cancelled);
    EXPECT_TRUE(wasTold);
    EXPECT_EQ(model->warningCount(), 0);
    EXPECT_EQ(std::ranges::count(world.log, "onWarning"), 0);
}

TEST_F(AppModelTest, finishesTheConversionWithoutAModel)
{
    startWatching();
    model->enqueue(renamed("a.png", "a.jpg"));
    world.log.clear();
    world.convert = [this](const RenameJob &, const Preferences &, const Progress &progress) {
        progress(0.5);
        world.log.emplace_back("converted");
    };
    const JobSourceHandlers handlers = world.handlers;
    model.reset();
    world.runBackground();
    handlers.onRename(renamed("b.png", "b.jpg"));
    handlers.onProblem(u"Trop tard."_s);
    runMain();

    EXPECT_EQ(world.log, Lines({"converted"})) << "the watcher is gone with the model";
}

} // namespace

} // namespace quorvalent::test
