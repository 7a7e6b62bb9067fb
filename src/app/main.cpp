#include "app/LaunchMode.h"
#include "app/MenuBarProgram.h"
#include "app/SelfCheck.h"
#include "ui/RenderPictures.h"

#include <QCoreApplication>

#include <filesystem>
#include <system_error>

int main(int argc, char **argv)
{
    using namespace quorvalent;
    using Action = LaunchMode::Action;

    const LaunchMode mode = LaunchMode::of({argv + (argc > 0 ? 1 : 0), argv + argc});
    // No relative path may ever lead into the folder that the program happens to be started in.
    std::error_code
        ignored; // of a mode without output, or in a folder that is gone: nothing can be written then
    const std::filesystem::path output = std::filesystem::absolute(mode.output, ignored);
    std::filesystem::current_path("/");
    switch (mode.action) {
    case Action::UpdateTest:
    case Action::LocalizationTest:
    case Action::SelfTest: {
        const QCoreApplication application(argc, argv);
        return runChecks(mode.action);
    }
    case Action::RenderBanner:
        return renderPictures(argc, argv, &RenderPictures::banner, output);
    case Action::RenderWarning:
        return renderPictures(argc, argv, &RenderPictures::warning, output);
    case Action::RenderUi:
        return renderPictures(argc, argv, &RenderPictures::everything, output);
    case Action::Normal:
        break;
    }
    return runMenuBarProgram(argc, argv);
}
