#include "platform/TerminationSignals.h"
#include "support/WaitFor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <vector>

namespace quorvalent::test {
namespace {

using testing::ElementsAre;

TEST(TerminationSignals, TellsAHangUpOnlyWhenItComesAlone)
{
    std::vector<int> told;
    {
        TerminationSignals signals;
        signals.onSignal = [&](int number) { told.push_back(number); };
        for (const int number : {SIGTERM, SIGHUP, SIGTERM})
            std::raise(number);
        EXPECT_TRUE(waitFor([&] { return told.size() >= 2; }));
        EXPECT_THAT(told, ElementsAre(SIGTERM, SIGTERM));
    }
    ::alarm(0); // of the second one
    TerminationSignals signals;
    signals.onSignal = [&](int number) { told.push_back(number); };
    std::raise(SIGHUP);
    EXPECT_TRUE(waitFor([&] { return told.size() >= 3; }));
    EXPECT_THAT(told, ElementsAre(SIGTERM, SIGTERM, SIGHUP));
}

TEST(TerminationSignals, LeavesAHangUpIgnoredThatWas)
{
    std::signal(SIGHUP, SIG_IGN);
    {
        const TerminationSignals signals;
        struct sigaction action = {};
        ::sigaction(SIGHUP, nullptr, &action);
        EXPECT_EQ(action.sa_handler, SIG_IGN);
    }
    EXPECT_EQ(std::signal(SIGHUP, SIG_DFL), SIG_IGN);
}

TEST(TerminationSignals, EndTheProgramAfterTheSecondOneWhateverItDoes)
{
    const auto hang = [] {
        const TerminationSignals signals(std::chrono::seconds(1));
        std::raise(SIGINT);
        std::raise(SIGTERM);
        while (true)
            ::pause();
    };
    EXPECT_EXIT(hang(), testing::ExitedWithCode(128 + SIGTERM), "");
}

} // namespace
} // namespace quorvalent::test
