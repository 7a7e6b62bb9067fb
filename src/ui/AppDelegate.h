#pragma once

#include "ui/Appearance.h"
#include "ui/Popover.h"
#include "ui/Scheduler.h"
#include "ui/SettingsWindow.h"
#include "ui/StatusItem.h"
#include "ui/Toast.h"
#include "ui/desktop/TrayHost.h"

#include <QFont>
#include <QObject>

#include <memory>

class QSessionManager;
class QTranslator;

namespace quorvalent {

class UpdateManager;

/// What the command line asks of the shell.
struct LaunchOptions
{
    bool settings = false;      ///< opens the settings window
    bool paused = false;        ///< watches nothing until the user resumes
    bool previewBanner = false; ///< shows the banner's life once, and ends

    [[nodiscard]] static LaunchOptions of(const QStringList &arguments);
    /// The arguments that these options are read from.
    [[nodiscard]] QStringList arguments() const;
    /// The model is to be a preview.
    [[nodiscard]] static bool wantsPreview(const QStringList &arguments);
};

/// The shell: owns every window, and decides when each of them comes and goes. Main thread; the model, the
/// updater and the appearance outlive it.
class AppDelegate : public QObject
{
    Q_OBJECT

public:
    struct Services
    {
        AppModel &model;
        UpdateManager &updater;
        Appearance &appearance;
        Scheduler scheduler;
        ChooseFolders chooseFolders;
        /// Told that conversions run, which the session's end would interrupt, and that none does any more.
        std::function<void(bool isBusy)> holdSession;
        std::function<void()> quit; ///< ends the program
    };

    AppDelegate(Services services, LaunchOptions options);
    ~AppDelegate() override;

    /// Shows what is to be seen at the start, and starts model and updater. Called once.
    void launch();
    void showSettings();
    void toggleMenu(const QRect &item);
    void dismissWarning();
    /// Ends the program, unless work is pending; then nothing happens.
    void requestQuit();
    /// With what options another copy would go on as this one.
    [[nodiscard]] LaunchOptions present() const;
    /// The program has to end: what runs and waits is finished first, and nothing new begins. Asked again,
    /// only what runs is finished.
    void finishAndQuit();

    [[nodiscard]] const Toast &toast() const { return m_toast; }
    [[nodiscard]] const FloatingCard *warningPanel() const { return m_warningPanel.get(); }
    [[nodiscard]] const SettingsWindow *settingsWindow() const { return m_settingsWindow.get(); }
    [[nodiscard]] const Popover &popover() const { return m_popover; }

private:
    void connectModel();
    void showWarning();
    void showDetails();
    void showStatusItem();
    void applyLanguage();
    void playPreviewBanner();
    void onSessionEnd(QSessionManager &session);
    void onModelChange();
    /// Opening the list of activities, which says more than the warning, dismisses the warning.
    void seeActivity(bool isOpened);

    Services m_services;
    LaunchOptions m_options;
    AppModel &m_model;
    QFont m_systemFont;
    std::unique_ptr<QTranslator> m_dialogTexts;
    TrayHost m_trayHost;
    std::unique_ptr<StatusItem> m_statusItem; ///< where the desktop shows status items
    Popover m_popover;
    Toast m_toast;
    std::unique_ptr<FloatingCard> m_warningPanel;     ///< made when first shown
    std::unique_ptr<SettingsWindow> m_settingsWindow; ///< made when first shown
    std::vector<std::unique_ptr<PendingTask>> m_previewTasks;
    std::unique_ptr<PendingTask> m_sessionHold; ///< while work is pending
    bool m_isEnding = false;
    bool m_seesActivity = false;
};

} // namespace quorvalent
