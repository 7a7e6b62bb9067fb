#include "platform/Dispatch.h"

#include "platform/Error.h"
#include "support/NoThreads.h"
#include "support/WaitFor.h"

#include <sys/resource.h>
#include <unistd.h>

#include <QCoreApplication>

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <functional>
#include <latch>
#include <thread>

namespace quorvalent {

namespace {

using namespace std::chrono_literals;
using test::waitFor;

TEST(SerialQueue, runsTasksOfManyThreadsOneAtATimeAndInTheOrderOfEach)
{
    std::vector<int> lastOf(4, -1);
    bool isInOrder = true;
    SerialQueue queue(QStringLiteral("test"));
    {
        std::vector<std::jthread> posters;
        for (std::size_t poster = 0; poster < lastOf.size(); ++poster) {
            posters.emplace_back([&, poster] {
                for (int task = 0; task < 1000; ++task) {
                    queue.post([&, poster, task] {
                        isInOrder = isInOrder && queue.isCurrent() && lastOf[poster] == task - 1;
                        lastOf[poster] = task;
                    });
                }
            });
        }
    }
    queue.sync([] {});
    EXPECT_TRUE(isInOrder);
    EXPECT_THAT(lastOf, testing::Each(999));
}

TEST(SerialQueue, closingDropsWaitingTasksAndEndsWithTheLastOne)
{
    std::vector<int> ran;
    std::latch isRunning(1);
    SerialQueue queue(QStringLiteral("test"));
    queue.post([&] {
        ran.push_back(1);
        isRunning.count_down();
        while (!queue.isClosing())
            std::this_thread::yield();
    });
    queue.post([&] { ran.push_back(2); });
    isRunning.wait();
    queue.close([&] { ran.push_back(3); });
    EXPECT_THAT(ran, testing::ElementsAre(1, 3));
}

TEST(SerialQueue, isDestroyedWithATimerStillPendingOnIt)
{
    bool hasFired = false;
    DelayedTask task;
    {
        SerialQueue queue(QStringLiteral("test"));
        queue.sync([&] { task = DelayedTask(1h, [&] { hasFired = true; }); });
        queue.close([&] { task.cancel(); });
    }
    EXPECT_FALSE(hasFired);
}

// Events are delivered no more then; what is in the background at the end of the program may own a queue.
TEST(SerialQueue, isClosedWithoutAnApplication)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto outlive = [] {
        ::alarm(30); // seconds; ends what would wait for ever
        SerialQueue queue(QStringLiteral("test"));
        DelayedTask task;
        queue.sync([&] { task = DelayedTask(1h, [] {}); });
        QCoreApplication::instance()->~QCoreApplication();
        bool hasRunThere = false;
        queue.close([&] {
            hasRunThere = queue.isCurrent();
            task.cancel();
        });
        ::_exit(hasRunThere ? 0 : 1);
    };
    EXPECT_EXIT(outlive(), testing::ExitedWithCode(0), "");
}

TEST(SerialQueue, onlyAUtilityQueueIsNice)
{
    const auto nicenessOn = [](SerialQueue &queue) {
        int niceness = -1;
        queue.sync([&] { niceness = ::getpriority(PRIO_PROCESS, 0); });
        return niceness;
    };
    const int own = ::getpriority(PRIO_PROCESS, 0);
    SerialQueue ordinary(QStringLiteral("test"));
    SerialQueue utility(QStringLiteral("test"), SerialQueue::Priority::Utility);
    EXPECT_EQ(nicenessOn(ordinary), own);
    EXPECT_EQ(nicenessOn(utility), std::max(own, 10)) << "a program that is nice already stays as nice";
    EXPECT_EQ(::getpriority(PRIO_PROCESS, 0), own);
}

TEST(Dispatch, saysWhatIsMissingWhereThereIsNoThread)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto attempt = [] {
        ::alarm(30); // seconds; ends what would wait for ever
        test::refuseThreads();
        int refused = 0;
        const std::array<std::function<void()>, 3> attempts{
            [] { const SerialQueue queue(QStringLiteral("test")); }, [] { postToBackground([] {}); },
            [] { requireThreads(2); }};
        for (const auto &start : attempts) {
            try {
                start();
            } catch (const FileError &failure) {
                refused += failure.errorDescription().contains(QStringLiteral("ulimit -u")) ? 1 : 0;
            }
        }
        ::_exit(refused);
    };
    EXPECT_EXIT(attempt(), testing::ExitedWithCode(3), "");
    requireThreads(2);
}

TEST(DelayedTask, runsOnceAndMayReplaceItself)
{
    int runs = 0;
    DelayedTask task;
    task = DelayedTask(1ms, [&] {
        ++runs;
        task = DelayedTask(1ms, [&] { ++runs; });
    });
    EXPECT_TRUE(task.isPending());
    ASSERT_TRUE(waitFor([&] { return runs == 2; }));
    EXPECT_FALSE(task.isPending());
}

TEST(DelayedTask, replacingCancels)
{
    bool hasFormerRun = false;
    bool hasRun = false;
    DelayedTask task(1ms, [&] { hasFormerRun = true; });
    task = DelayedTask(20ms, [&] { hasRun = true; });
    ASSERT_TRUE(waitFor([&] { return hasRun; }));
    EXPECT_FALSE(hasFormerRun);
}

TEST(Dispatch, carriesWorkToThePoolAndItsResultToTheMainThread)
{
    QThread *worker = nullptr;
    QThread *receiver = nullptr;
    postToBackground([&] {
        postToMain([&, here = QThread::currentThread()] {
            worker = here;
            receiver = QThread::currentThread();
        });
    });
    ASSERT_TRUE(waitFor([&] { return receiver != nullptr; }));
    EXPECT_EQ(receiver, QThread::currentThread());
    EXPECT_NE(worker, receiver);
}

} // namespace

} // namespace quorvalent
