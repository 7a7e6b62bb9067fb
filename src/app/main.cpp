#include "app/LaunchMode.h"
#include "app/MenuBarProgram.h"
#include "app/SelfCheck.h"
#include "ui/RenderPictures.h"

#include <QCoreApplication>

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
        return renderPictures(argc, argv, &RenderPictures::banner, mode.output);
    case Action::RenderWarning:
        return renderPictures(argc, argv, &RenderPictures::warning, mode.output);
    case Action::RenderUi:
        return renderPictures(argc, argv, &RenderPictures::everything, mode.output);
    case Action::Normal:
        break;
    }
    return runMenuBarProgram(argc, argv);
}
