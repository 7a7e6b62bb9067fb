#include "app/LaunchMode.h"
#include "app/SelfCheck.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>

int main(int argc, char **argv)
{
    using namespace quorvalent;
    using Action = LaunchMode::Action;

    const LaunchMode mode = LaunchMode::of({argv + (argc > 0 ? 1 : 0), argv + argc});
    switch (mode.action) {
    case Action::UpdateTest:
    case Action::LocalizationTest:
    case Action::SelfTest: {
        const QCoreApplication application(argc, argv);
        return runChecks(mode.action);
    }
    case Action::RenderBanner:
    case Action::RenderWarning:
    case Action::RenderUi:
    case Action::Normal:
        break;
    }
    std::fputs("quorvalent: this build has no windows; quorvalent-watch does the work without them\n",
               stderr);
    return EXIT_FAILURE;
}
