#include "console/WatchSession.h"

#include "support/FakeWorld.h"

#include <gtest/gtest.h>

#include <csignal>

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;

using Lines = std::vector<std::string>;

class RecordingReporter : public Reporter
{
public:
    explicit RecordingReporter(Lines &log)
        : m_log(log)
    {}
    void watching(const std::vector<std::filesystem::path> &folders) override
    {
        m_log.push_back("watching " + folders.at(0).native());
    }
    void detected(const RenameJob &job) override { add("detected", job); }
    void dropped(const RenameJob &job) override { add("dropped", job); }
    void started(const RenameJob &job, const QString &detail, int queued) override
    {
        add("started", job, " " + detail.toStdString() + " " + std::to_string(queued));
    }
    void progressed(const RenameJob &job, std::optional<double> fraction) override
    {
        add("progress", job, " " + std::to_string(fraction.value_or(-1)));
    }
    void finished(const RenameJob &job, const JobOutcome &outcome) override
    {
        add("finished", job, outcome.succeeded() ? "" : " failed");
    }
    void problem(const QString &message) override { m_log.push_back("problem " + message.toStdString()); }
    void stopping(int remaining) override { m_log.push_back("stopping " + std::to_string(remaining)); }

private:
    void add(const std::string &event, const RenameJob &job, const std::string &rest = {})
    {
        m_log.push_back(event + " " + job.newURL.filename().native() + rest);
    }

    Lines &m_log;
};

class WatchSessionTest : public testing::Test
{
protected:
    WatchSessionTest()
    {
        session.start();
        world.runBackground();
        world.onWatching.at(0)();
        runMain();
    }

    void rename(const std::string &name)
    {
        world.handlers.onRename(renamed(name + ".png", name + ".jpg"));
        runMain();
    }

    static FakeWorld console()
    {
        FakeWorld world;
        world.pacing.pauses = false;
        return world;
    }

    static Preferences preferences()
    {
        Preferences preferences;
        preferences.folders = {"/folder"};
        return preferences;
    }

    FakeWorld world = console();
    Lines told;
    RecordingReporter reporter{told};
    AppModel model{preferences(), world.services()};
    std::vector<int> ends;
    WatchSession session{model, reporter, [this](int status) { ends.push_back(status); }};
};

TEST_F(WatchSessionTest, tellsWhatHappensInOrder)
{
    world.convert = [](const RenameJob &, const Preferences &, const Progress &progress) { progress(1.0); };
    rename("a");
    rename("b");
    world.handlers.onProblem(u"Non."_s);
    world.runBackground();

    EXPECT_EQ(told, Lines({"watching /folder", "detected a.jpg", "started a.jpg PNG → JPG 0",
                           "detected b.jpg", "problem Non.", "progress a.jpg 1.000000", "finished a.jpg",
                           "started b.jpg PNG → JPG 0"}));
    EXPECT_TRUE(ends.empty());
}

TEST_F(WatchSessionTest, endsAtOnceWhenNothingRuns)
{
    session.stop(SIGTERM);
    session.stop(SIGTERM);

    EXPECT_EQ(ends, std::vector<int>({0}));
    EXPECT_EQ(world.log.back(), "watch") << "still watching";
}

TEST_F(WatchSessionTest, finishesTheQueueAfterOneSignalWithoutAnyPause)
{
    rename("a");
    rename("b");
    rename("c");
    session.stop(SIGINT);
    rename("late");
    EXPECT_EQ(told.back(), "stopping 3") << "a new rename is no longer taken";

    world.runBackground();
    EXPECT_EQ(told.back(), "started b.jpg PNG → JPG 1") << "at once";
    world.runBackground();
    EXPECT_TRUE(ends.empty());
    world.runBackground();
    EXPECT_EQ(ends, std::vector<int>({0}));
    EXPECT_TRUE(session.abandoned().empty());
}

TEST_F(WatchSessionTest, finishesOnlyTheRunningConversionAfterTwoSignals)
{
    rename("a");
    rename("b");
    session.stop(SIGINT);
    session.stop(SIGTERM);
    session.stop(SIGINT);
    EXPECT_TRUE(ends.empty()) << "the running conversion is waited for";

    EXPECT_EQ(world.log.back(), "later 3000");
    world.runLater();
    EXPECT_EQ(world.log.back(), "stop") << "but not for ever";
    world.runBackground();
    EXPECT_EQ(ends, std::vector<int>({128 + SIGTERM}));
    EXPECT_EQ(told.back(), "finished a.jpg");
    ASSERT_EQ(session.abandoned().size(), 1U);
    EXPECT_EQ(session.abandoned()[0].newURL, "/folder/b.jpg");
    EXPECT_EQ(world.backgroundTasks(), 0U);
}

TEST_F(WatchSessionTest, waitsForEveryRunningConversionAfterTwoSignals)
{
    for (const char *name : {"a", "b", "c", "d", "e"})
        rename(name);
    session.stop(SIGINT);
    EXPECT_EQ(told.back(), "stopping 5");
    session.stop(SIGTERM);
    world.runBackground(1);
    EXPECT_TRUE(ends.empty());
    world.runBackground();
    EXPECT_EQ(ends, std::vector<int>({128 + SIGTERM}));
    EXPECT_EQ(session.abandoned().size(), 3U);
}

TEST_F(WatchSessionTest, finishesTheRunningConversionWhenNobodyReads)
{
    rename("a");
    rename("b");
    session.stopForBrokenOutput();
    session.stop(SIGINT);
    EXPECT_TRUE(ends.empty());
    world.runBackground();

    EXPECT_EQ(ends, std::vector<int>({1}));
    EXPECT_EQ(session.abandoned().size(), 1U);
}

} // namespace

} // namespace quorvalent::test
