#include "app/MenuBarProgram.h"

#include "model/AppModel.h"
#include "model/DesktopServices.h"
#include "model/SystemServices.h"
#include "platform/TerminationSignals.h"
#include "ui/AppDelegate.h"
#include "ui/Style.h"
#include "ui/desktop/ApplicationService.h"
#include "ui/desktop/FolderChooser.h"
#include "ui/icons/AppIcon.h"

#include <QApplication>
#include <QDesktopServices>
#include <QFile>
#include <QLockFile>
#include <QStandardPaths>
#include <QUrl>

#include <cstdio>
#include <cstdlib>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

// Windows can only be put in their place on X11, which a Wayland session offers too.
void preferX11()
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && !qEnvironmentVariableIsEmpty("DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "xcb;wayland");
}

bool hasDisplay()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") ||
           !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
}

void openFile(const std::filesystem::path &file)
{
    QDesktopServices::openUrl(QUrl::fromLocalFile(QFile::decodeName(file.c_str())));
}

/// Where no session bus tells whether another copy runs.
bool isOnlyCopy(QLockFile &lock)
{
    lock.setStaleLockTime(0); // a lock is as old as its process
    return lock.tryLock(0);
}

} // namespace

int runMenuBarProgram(int argc, char **argv)
{
    if (!hasDisplay()) {
        std::fputs("quorvalent: there is no display; quorvalent-watch does the work without one\n", stderr);
        return EXIT_FAILURE;
    }
    preferX11();
    const QApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"quorvalent"_s);
    QGuiApplication::setDesktopFileName(ApplicationService::name());
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QGuiApplication::setWindowIcon(appIcon());
    const QStringList arguments = QCoreApplication::arguments();
    const bool preview = LaunchOptions::wantsPreview(arguments);

    std::unique_ptr<AppDelegate> shell;
    AppModel *pausable = nullptr;
    QObject busObject;
    auto *service = new ApplicationService({.activate = [&shell] { shell->showSettings(); },
                                            .settings = [&shell] { shell->showSettings(); },
                                            .togglePause = [&pausable] { pausable->togglePause(); },
                                            .quit = [&shell] { shell->requestQuit(); }},
                                           &busObject);
    QLockFile lock(QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation) + u"/quorvalent.lock"_s);
    if (!preview) {
        const ApplicationService::Claim claim = service->claim();
        if (claim == ApplicationService::Claim::Running)
            return EXIT_SUCCESS;
        if (claim == ApplicationService::Claim::NoBus && !isOnlyCopy(lock)) {
            std::fputs("quorvalent: already running\n", stderr);
            return EXIT_FAILURE;
        }
    }

    auto *style = new Style;
    Appearance appearance(*style);
    QApplication::setStyle(style);
    appearance.followSession();
    AppModel model(systemServices(), systemDesktop(openFile),
                   preview ? AppModel::Mode::Preview : AppModel::Mode::Normal);
    pausable = &model;
    NoUpdates updates;
    shell = std::make_unique<AppDelegate>(AppDelegate::Services{.model = model,
                                                                .updater = updates,
                                                                .appearance = appearance,
                                                                .scheduler = systemScheduler(),
                                                                .chooseFolders = desktopFolderChooser(),
                                                                .quit = &QCoreApplication::quit},
                                          LaunchOptions::of(arguments));
    TerminationSignals termination;
    termination.onSignal = [&shell](int) { shell->finishAndQuit(); };
    shell->launch();
    const int status = QCoreApplication::exec();
    shell.reset();
    return status;
}

int renderPictures(int argc, char **argv, bool (*render)(const std::filesystem::path &),
                   const std::filesystem::path &output)
{
    if (!hasDisplay())
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    if (render(output))
        return EXIT_SUCCESS;
    std::fprintf(stderr, "quorvalent: cannot write %s\n", output.c_str());
    return EXIT_FAILURE;
}

} // namespace quorvalent
