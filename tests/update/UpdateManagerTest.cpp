#include "update/UpdateManager.h"

#include "model/AppModel.h"

#include "support/FakeDesktop.h"
#include "support/FakeWorld.h"

#include <gtest/gtest.h>

#include <optional>

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;
using Lines = std::vector<std::string>;

/// An updater that does nothing but write down what it is asked, and whose cycle the test ends.
class FakeUpdater : public Updater
{
public:
    explicit FakeUpdater(Lines &log)
        : m_log(log)
    {}

    void start(UpdaterDelegate &newDelegate) override
    {
        m_log.emplace_back("start");
        if (!hasFeed)
            throw UpdateError(UpdateError::Kind::Failed, u"no feed"_s);
        delegate = &newDelegate;
    }
    [[nodiscard]] bool canCheckForUpdates() const override { return canCheck; }
    [[nodiscard]] bool automaticallyChecksForUpdates() const override { return automatic; }
    void setAutomaticallyChecksForUpdates(bool enabled) override
    {
        m_log.push_back(enabled ? "automatic" : "manual");
        automatic = enabled;
        Q_EMIT changed();
    }
    void setUpdateCheckInterval(std::chrono::seconds interval) override
    {
        m_log.push_back("every " + std::to_string(interval.count()));
    }
    void checkForUpdatesInBackground() override { m_log.emplace_back("background check"); }
    void checkForUpdates() override { m_log.emplace_back("check"); }

    bool hasFeed = true;
    bool canCheck = true;
    bool automatic = true;
    UpdaterDelegate *delegate = nullptr;

private:
    Lines &m_log;
};

class UpdateManagerTest : public testing::Test
{
protected:
    UpdateManagerTest() { make(AppModel::Mode::Normal); }

    void make(AppModel::Mode mode)
    {
        manager.reset();
        model = std::make_unique<AppModel>(world.services(), desktop.services(), mode);
        auto fake = std::make_unique<FakeUpdater>(log);
        updater = fake.get();
        manager = std::make_unique<UpdateManager>(*model, std::move(fake));
    }

    void startWatching()
    {
        model->changePreferences([](Preferences &preferences) { preferences.folders = {"/folder"}; });
        model->start();
        world.runBackground();
        world.log.clear();
    }

    [[nodiscard]] std::string message() const { return manager->message().toStdString(); }
    [[nodiscard]] Lines takeLog() { return std::exchange(log, {}); }

    FakeWorld world;
    FakeDesktop desktop;
    Lines log;
    std::unique_ptr<AppModel> model;
    FakeUpdater *updater = nullptr;
    std::unique_ptr<UpdateManager> manager;
    std::function<void()> install = [this] { log.emplace_back("install"); };
};

TEST_F(UpdateManagerTest, startsOnceAndChecksEveryFourHours)
{
    EXPECT_FALSE(manager->canCheck());
    EXPECT_EQ(message(), "updates.ready");
    manager->start();
    manager->start();
    EXPECT_EQ(takeLog(), (Lines{"start", "every 14400", "background check"}));
    EXPECT_TRUE(manager->canCheck());

    updater->canCheck = false;
    updater->setAutomaticallyChecksForUpdates(false); // as another window would
    EXPECT_TRUE(manager->automatic());
    runMain();
    EXPECT_FALSE(manager->canCheck());
    EXPECT_FALSE(manager->automatic());
    log.clear();
    manager->check();
    EXPECT_EQ(log, Lines()) << "one check at a time";
    EXPECT_EQ(message(), "updates.ready");
}

TEST_F(UpdateManagerTest, checksOnlyWhenAskedIfSwitchedOff)
{
    updater->automatic = false;
    manager->start();
    EXPECT_FALSE(manager->automatic());
    EXPECT_EQ(takeLog(), (Lines{"start", "every 14400"}));
    manager->check();
    EXPECT_EQ(takeLog(), (Lines{"check"}));
    EXPECT_EQ(message(), "updates.checking");
}

TEST_F(UpdateManagerTest, isUnavailableUntilAStartSucceeds)
{
    updater->hasFeed = false;
    manager->start();
    EXPECT_EQ(message(), "updates.unavailable");
    manager->setAutomatic(false);
    EXPECT_TRUE(manager->automatic());
    manager->check();
    EXPECT_EQ(takeLog(), (Lines{"start", "start", "start"}));
    updater->hasFeed = true;
    manager->setAutomatic(false);
    EXPECT_FALSE(manager->automatic());
    EXPECT_EQ(takeLog(), (Lines{"start", "every 14400", "background check", "manual"}));
}

TEST_F(UpdateManagerTest, letsAnIdleProgramBeReplacedAtOnce)
{
    startWatching();
    EXPECT_FALSE(manager->requestInstallation(install));
    EXPECT_TRUE(model->installingUpdate());
    EXPECT_EQ(world.takeLog(), (Lines{"watch"})) << "nothing is watched";
    EXPECT_EQ(model->preferences().folders.size(), 1U);
    EXPECT_EQ(log, Lines());
}

TEST_F(UpdateManagerTest, waitsForTheLastJobAndInstallsOnce)
{
    startWatching();
    manager->start();
    log.clear();
    model->onDrained = [this] { manager->installWhenIdle(); };
    model->enqueue(renamed("a.png", "a.jpg", u"1-1"_s));
    model->enqueue(renamed("b.png", "b.jpg", u"1-2"_s));

    bool isDropped = false;
    EXPECT_TRUE(manager->requestInstallation([&isDropped] { isDropped = true; }));
    EXPECT_TRUE(updater->delegate->shouldPostponeRelaunch(install)) << "the later request counts";
    EXPECT_EQ(message(), "updates.waiting");
    EXPECT_FALSE(model->installingUpdate());
    manager->installWhenIdle();
    world.runBackground();
    manager->installWhenIdle();
    EXPECT_EQ(log, Lines()) << "one job still waits";

    world.runLater();
    world.runBackground();
    manager->installWhenIdle();
    EXPECT_EQ(log, (Lines{"install"}));
    EXPECT_FALSE(isDropped);
    EXPECT_TRUE(model->installingUpdate());
    model->enqueue(renamed("c.png", "c.jpg", u"1-3"_s));
    EXPECT_TRUE(model->isIdle()) << "no new job";
}

TEST_F(UpdateManagerTest, goesOnWatchingWhenTheProgramIsNotReplaced)
{
    using Kind = UpdateError::Kind;
    struct
    {
        std::optional<Kind> kind;
        const char *message;
    } const cases[] = {{std::nullopt, "updates.ready"},
                       {Kind::NoUpdate, "updates.current"},
                       {Kind::Unreachable, "updates.unavailable"},
                       {Kind::Failed, "updates.unavailable"}};
    startWatching();
    manager->start();
    for (const auto &[kind, expected] : cases) {
        ASSERT_FALSE(manager->requestInstallation(install));
        world.log.clear();
        updater->delegate->didFinishUpdateCycle(kind ? std::optional(UpdateError(*kind, u"sentence"_s))
                                                     : std::nullopt);
        EXPECT_EQ(message(), expected);
        EXPECT_FALSE(model->installingUpdate());
        EXPECT_EQ(world.takeLog(), (Lines{"watch /folder"}));
    }
}

TEST_F(UpdateManagerTest, startsNothingOnceTheProgramIsToEnd)
{
    startWatching();
    manager->start();
    ASSERT_FALSE(manager->requestInstallation(install));
    model->prepareToEnd();
    world.log.clear();
    log.clear();
    updater->delegate->didFinishUpdateCycle(std::nullopt);
    EXPECT_EQ(world.takeLog(), (Lines{"watch"})) << "no folder";
    manager->check();
    EXPECT_TRUE(updater->delegate->shouldPostponeRelaunch(install));
    manager->installWhenIdle();
    EXPECT_EQ(log, Lines());
    model->enqueue(renamed("a.png", "a.jpg"));
    EXPECT_TRUE(model->isIdle());
}

TEST_F(UpdateManagerTest, forgetsAPostponedInstallationWithItsCycle)
{
    startWatching();
    manager->start();
    model->enqueue(renamed("a.png", "a.jpg"));
    ASSERT_TRUE(manager->requestInstallation(install));
    updater->delegate->didFinishUpdateCycle(std::nullopt);
    world.runBackground();
    log.clear();
    manager->installWhenIdle();
    EXPECT_EQ(log, Lines());
}

TEST_F(UpdateManagerTest, leavesTheUpdaterAloneInAPreview)
{
    make(AppModel::Mode::Preview);
    EXPECT_TRUE(manager->canCheck());
    manager->start();
    manager->check();
    manager->setAutomatic(false);
    EXPECT_FALSE(manager->automatic());
    EXPECT_EQ(log, Lines());
}

TEST_F(UpdateManagerTest, doesNothingWithoutAModel)
{
    manager->start();
    model.reset();
    EXPECT_FALSE(manager->requestInstallation(install));
    manager->installWhenIdle();
    manager->check();
    updater->delegate->didFinishUpdateCycle(std::nullopt);
    EXPECT_EQ(takeLog(), (Lines{"start", "every 14400", "background check"}));
}

} // namespace

} // namespace quorvalent::test
