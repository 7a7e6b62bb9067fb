#include "app/MenuBarProgram.h"

#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "model/DesktopServices.h"
#include "model/SystemServices.h"
#include "platform/ComposedText.h"
#include "platform/ControlCharacters.h"
#include "platform/Dispatch.h"
#include "platform/Error.h"
#include "platform/TerminationSignals.h"
#include "platform/update/FeedUpdater.h"
#include "platform/update/StartNotice.h"
#include "ui/Accessibility.h"
#include "ui/AppDelegate.h"
#include "ui/Style.h"
#include "ui/UpdateWindow.h"
#include "ui/desktop/ApplicationService.h"
#include "ui/desktop/FileManager.h"
#include "ui/desktop/FolderChooser.h"
#include "ui/desktop/SessionInhibitor.h"
#include "ui/icons/AppIcon.h"
#include "update/UpdateManager.h"

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

// `sentence` is in French.
void complain(const QString &sentence)
{
    std::fprintf(stderr, "quorvalent: %s\n", qUtf8Printable(withEscapedControls(L(sentence))));
}

void openFile(const std::filesystem::path &file)
{
    QDesktopServices::openUrl(QUrl::fromLocalFile(QFile::decodeName(file.c_str())));
}

std::vector<std::string> wordsOf(const QStringList &arguments)
{
    std::vector<std::string> words;
    for (const QString &argument : arguments)
        words.push_back(argument.toStdString());
    return words;
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
    StartNotice startNotice;
    if (!hasDisplay()) {
        complain(
            u"Aucun affichage n’est disponible. quorvalent-watch fait le même travail sans affichage."_s);
        return EXIT_FAILURE;
    }
    // Without them, windows and session bus wait for ever, and nobody can be shown why.
    constexpr int threadsOfTheProgram = 8;
    try {
        requireThreads(threadsOfTheProgram);
    } catch (const Error &failure) {
        complain(failure.errorDescription());
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
    const auto claim = [&service, &lock] {
        const ApplicationService::Claim claimed = service->claim();
        return claimed == ApplicationService::Claim::NoBus && isOnlyCopy(lock)
                   ? ApplicationService::Claim::First
                   : claimed;
    };
    if (!preview) {
        const ApplicationService::Claim claimed = claim();
        if (claimed == ApplicationService::Claim::Running)
            return EXIT_SUCCESS;
        if (claimed == ApplicationService::Claim::NoBus) {
            complain(u"Quorvalent est déjà ouvert."_s);
            return EXIT_FAILURE;
        }
    }

    describeToAssistiveTechnology();
    auto *style = new Style;
    Appearance appearance(*style);
    QApplication::setStyle(style);
    appearance.followSession();
    DesktopServices desktop = systemDesktop(openFile, showInFileManager);
    UserDefaults &defaults = *desktop.defaults;
    AppModel model(systemServices(), std::move(desktop),
                   preview ? AppModel::Mode::Preview : AppModel::Mode::Normal);
    pausable = &model;
    UpdateWindow updateWindow(model);
    const RelaunchActions relaunch{.prepare =
                                       [&] {
                                           service->release();
                                           lock.unlock();
                                           return wordsOf(shell->present().arguments());
                                       },
                                   .goOn = [&claim] { static_cast<void>(claim()); },
                                   .quit = &QCoreApplication::quit};
    const std::optional<UpdateSource> source = UpdateSource::ofRunningBundle();
    UpdateManager updates(model, std::make_unique<FeedUpdater>(source, defaults, updateWindow, relaunch),
                          source ? source->checkInterval : std::chrono::hours(4));
    SessionInhibitor inhibitor;
    const auto holdSession = [&inhibitor, preview](bool isBusy) {
        if (isBusy && !preview)
            inhibitor.hold(L(u"Des conversions ne sont pas terminées."_s));
        else
            inhibitor.release();
    };
    shell = std::make_unique<AppDelegate>(AppDelegate::Services{.model = model,
                                                                .updater = updates,
                                                                .appearance = appearance,
                                                                .scheduler = systemScheduler(),
                                                                .chooseFolders = desktopFolderChooser(),
                                                                .holdSession = holdSession,
                                                                .quit = &QCoreApplication::quit},
                                          LaunchOptions::of(arguments));
    TerminationSignals termination;
    termination.onSignal = [&shell](int) { shell->finishAndQuit(); };
    shell->launch();
    postToMain([&startNotice] { startNotice.send(); }); // model and windows are there, and events are handled
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
    complain(composed(u"Impossible d’écrire dans « {0} »."_s, {displayText(output)}));
    return EXIT_FAILURE;
}

} // namespace quorvalent
