#pragma once

#include "core/Preferences.h"
#include "core/RenameJob.h"
#include "model/DesktopServices.h"
#include "model/JobQueue.h"
#include "model/ModelServices.h"
#include "platform/Dispatch.h"
#include "platform/LocaleObserver.h"

#include <QList>
#include <QObject>
#include <QRect>
#include <QString>

#include <chrono>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace quorvalent {

/// A question that must be answered before the program goes on, in French source texts.
struct ConsentQuestion
{
    QString title;
    QString text;
    QString accept; ///< label of the button that agrees
    QString refuse;
};

/// The one observable state behind every view: the queue that turns reported renames into conversions, in the
/// order of their report, and the settings with what follows from them. Everything here
/// lives on the main thread; conversions run in the background and outlive a model that is destroyed
/// meanwhile. Texts are French source texts, which views translate each time they show them.
class AppModel : public QObject
{
    Q_OBJECT

public:
    /// A model in preview mode shows and changes everything in the running program, but watches nothing,
    /// stores nothing and leaves the login item and the file manager alone.
    enum class Mode { Normal, Preview };
    enum class Appearance { System, Light, Dark };
    using ConversionState = quorvalent::ConversionState;

    /// With the choices that the user's desktop has stored.
    AppModel(ModelServices services, DesktopServices desktop, Mode mode);
    /// With these preferences and no desktop.
    AppModel(Preferences preferences, ModelServices services);
    ~AppModel() override;

    // The queue

    [[nodiscard]] bool isConverting() const { return status().isConverting; }
    /// Jobs that wait; the running ones do not count.
    [[nodiscard]] int queued() const { return m_queue.waiting(); }
    /// Jobs that run. What is shown of a running job is of the oldest.
    [[nodiscard]] int running() const { return m_queue.running(); }
    /// One of several jobs has ended, and the next ones follow without a stop.
    [[nodiscard]] bool isInsideBatch() const { return status().batch && !isIdle(); }
    /// Nothing runs and nothing waits.
    [[nodiscard]] bool isIdle() const { return m_queue.isIdle(); }
    /// 0 to 1, or nothing while unknown. 1.0 after a success, nothing after a failure.
    [[nodiscard]] std::optional<double> progress() const { return status().progress; }
    [[nodiscard]] const QString &currentName() const { return status().currentName; }
    [[nodiscard]] const QString &currentDetail() const { return status().currentDetail; }
    /// Newest first, at most 30.
    [[nodiscard]] const QList<Activity> &activities() const { return status().activities; }
    [[nodiscard]] const QString &warningTitle() const { return status().warningTitle; }
    [[nodiscard]] const QString &warningMessage() const { return status().warningMessage; }
    [[nodiscard]] int warningCount() const { return status().warningCount; }
    /// The files of the warnings that are counted, newest first.
    [[nodiscard]] const QList<WarnedFile> &warnedFiles() const { return status().warnedFiles; }

    /// Offers a job to the queue. A refused one is released at once; its file stays as it is.
    void enqueue(const RenameJob &job);
    /// Starts the oldest waiting job, unless it has to wait for those that run; cuts the pause between two
    /// jobs short.
    void runNext() { m_queue.runNext(); }
    /// Releases every waiting job unconverted, for a program that must end, and returns them, oldest first.
    /// What runs goes on.
    [[nodiscard]] std::deque<RenameJob> dropWaitingJobs() { return m_queue.dropWaiting(); }
    /// Gives the conversions that run a few seconds more, then ends them.
    void stopConversionsSoon();
    /// The user has seen the warnings.
    /// Ends the conversion that is shown, or drops those that wait; the files get their former names back.
    void cancelConversion() { m_queue.cancelShown(); }
    void cancelWaiting() { m_queue.cancelWaiting(); }
    void clearWarnings() { m_queue.clearWarnings(); }

    // Answers that the views show

    [[nodiscard]] ConversionState conversionState() const { return status().state(); }
    /// One line on what the program is doing while nothing converts.
    [[nodiscard]] QString statusText() const;
    /// Headline of the progress display.
    [[nodiscard]] QString progressTitle() const { return status().progressTitle(); }
    /// "42 %", or empty unless a job with known progress runs.
    [[nodiscard]] QString percentageText() const { return status().percentageText(); }
    /// The short label at the end of the banner.
    [[nodiscard]] QString bannerLabel() const { return status().bannerLabel(); }
    /// "2 en attente", or empty when nothing waits.
    [[nodiscard]] QString queuedText() const;
    /// Label of the button that pauses and resumes.
    [[nodiscard]] QString pauseActionText() const;
    /// What the user should know about the login item; empty when all is well.
    [[nodiscard]] QString loginNotice() const;
    /// Ending the program now would leave accepted work undone.
    [[nodiscard]] bool canQuit() const { return isIdle(); }

    // Settings; a setter stores its value at once unless the model is a preview

    [[nodiscard]] bool preview() const { return m_mode == Mode::Preview; }
    /// "system" or a language code.
    [[nodiscard]] const QString &language() const { return m_language; }
    void setLanguage(const QString &language);
    /// "system", "light" or "dark"; anything else is taken as "system".
    [[nodiscard]] const QString &appearance() const { return m_appearance; }
    void setAppearance(const QString &appearance);
    /// Has onAppearance follow the present choice.
    void applyAppearance() const;
    /// The section that the settings window shows, by its French name.
    [[nodiscard]] const QString &selectedTab() const { return m_selectedTab; }
    void setSelectedTab(const QString &name);
    /// Where the settings window was left: the corner of its frame and its size without the frame. Nothing
    /// until it was.
    [[nodiscard]] std::optional<QRect> settingsPlace() const { return m_settingsPlace; }
    void setSettingsPlace(const QRect &place);

    [[nodiscard]] const Preferences &preferences() const { return m_preferences; }
    /// Takes effect for jobs that start later, for the folders at restartWatcher().
    void setPreferences(Preferences preferences);
    /// The same with a part of them changed.
    void changePreferences(const std::function<void(Preferences &)> &change);
    /// Writes the preferences to the user defaults.
    void save();
    /// Watches more folders, with links resolved; those already covered add nothing.
    void addFolders(const std::vector<std::filesystem::path> &chosen);
    /// No longer watches this entry of the preferences' folders.
    void removeFolder(const std::filesystem::path &folder);
    /// The folder that was removed last, for the ten seconds in which that can be undone.
    [[nodiscard]] std::optional<std::filesystem::path> removedFolder() const { return m_removedFolder; }
    /// Watches it again.
    void restoreFolder();

    /// How long removed originals are kept for a rename that takes a conversion back; 0 keeps none and
    /// removes those that are kept.
    void setUndoSpan(std::chrono::minutes span);
    /// Some removed original is kept.
    [[nodiscard]] bool hasKeptOriginals() const { return m_expiry.isPending(); }
    /// Removes all that are kept.
    void clearKeptOriginals() { expireOriginals(std::chrono::minutes(0)); }

    /// Stores the choice and registers or unregisters the login item.
    void setLaunchAtLogin(bool launch);
    /// Has the login item follow the preferences.
    void configureLogin();
    void updateLoginStatus();
    /// Status of the login item. A failure's own sentence in it is in the language shown, because a composed
    /// message is translated without its parts.
    [[nodiscard]] QString loginMessage() const;

    // The file manager's warning before a rename changes an extension

    /// Whether the file manager has such a setting; without it, the switch is hidden.
    [[nodiscard]] bool hasFinderSetting() const { return m_desktop.fileManager != nullptr; }
    [[nodiscard]] bool renameWithoutConfirmation() const { return m_renameWithoutConfirmation; }
    /// An administrator imposes the setting; the switch is disabled.
    [[nodiscard]] bool finderSettingManaged() const { return m_finderSettingManaged; }
    /// Outcome of the last change, or empty.
    [[nodiscard]] const QString &finderSettingMessage() const { return m_finderSettingMessage; }
    /// Reads what the file manager has now.
    void refreshFinderSetting();
    /// Asks for consent before the warning goes off for the first time, which blocks until it is answered.
    void setRenameWithoutConfirmation(bool enabled);

    // Watching

    [[nodiscard]] bool paused() const { return m_paused; }
    [[nodiscard]] bool installingUpdate() const { return m_installingUpdate; }
    /// Nothing is observed in this watched folder, because it is missing or cannot be read.
    [[nodiscard]] bool isMissing(const std::filesystem::path &folder) const;
    /// Not every folder that should be observed is.
    [[nodiscard]] bool isFolderMissing() const { return !m_missing.empty(); }
    /// The last problem of the watcher, or empty.
    [[nodiscard]] const QString &watchMessage() const { return m_watchMessage; }
    /// New jobs are refused while one of these is set; restartWatcher() ends or resumes the watching.
    void setPaused(bool paused);
    void setInstallingUpdate(bool installing);
    /// Pauses, or resumes from a fresh listing.
    void togglePause();
    /// Puts interrupted work right, then watches the folders of the preferences; on the first launch,
    /// registers the login item. Called once; Error when the system has no thread for that.
    void start();
    /// Watches the present folders from a fresh listing, or nothing while new jobs are refused.
    void restartWatcher();
    /// Refuses new jobs and watches nothing until the update has replaced the program or was given up.
    void prepareForUpdate();
    /// Refuses new jobs and watches nothing from now on, whatever else is asked for, because the program is
    /// about to end.
    void prepareToEnd();
    [[nodiscard]] bool isEnding() const { return m_isEnding; }

    /// Shows the file of an activity in the file manager, and opens a folder.
    void showFile(const std::filesystem::path &file) const { m_desktop.showFile(file); }
    void openFolder(const std::filesystem::path &folder) const { m_desktop.openFile(folder); }

    // Texts of the application

    /// Opens the help page in the language shown, else in English, with the user's program for it.
    void openHelp() const;
    /// Opens a licence text of the application's resources; nothing happens when it is missing.
    void openLicense(const QString &name, const QString &subdirectory = {}) const;

    /// Shows this instead of what the jobs left, for pictures and demonstrations.
    void showSample(const ConversionStatus &sample) { m_queue.setStatus(sample); }

    // Installed by the shell; each may be empty

    std::function<void()> onToast;     ///< a job that can be converted has started
    std::function<void()> onFinished;  ///< a job has succeeded
    std::function<void()> onCancelled; ///< the user took the rename of the running job back
    std::function<void()> onWarning;   ///< a job has failed, or interrupted work has been put right
    std::function<void()> onDrained;   ///< a job is over, and none runs or waits
    std::function<void(Appearance)> onAppearance;
    /// Shows the question, waits, and says whether the user agreed. Without it, nobody agrees.
    std::function<bool(const ConsentQuestion &)> askConsent;

Q_SIGNALS:
    /// Some field has another value, or texts have to be translated anew.
    void changed();
    /// Texts are to be shown in another language: another one was chosen, or the system's is another. Before
    /// changed().
    void languageChanged();
    /// Later renames in the folders are reported.
    void watchingStarted(const std::vector<std::filesystem::path> &folders);
    void watchProblem(const QString &message);
    void jobAccepted(const quorvalent::RenameJob &job);
    /// A waiting job is not wanted any more, or not as it was accepted: then it is accepted anew.
    void jobDropped(const quorvalent::RenameJob &job);
    void jobStarted(const quorvalent::RenameJob &job);
    void jobProgressed(const quorvalent::RenameJob &job, std::optional<double> fraction);
    /// After the fields and the activity have been set, before the callbacks.
    void jobFinished(const quorvalent::RenameJob &job, const quorvalent::JobOutcome &outcome);

private:
    [[nodiscard]] const ConversionStatus &status() const { return m_queue.status(); }
    [[nodiscard]] bool refusesJobs() const { return m_paused || m_installingUpdate || m_isEnding; }
    void announceQueue();
    void announceLanguage();
    void configureLoginOnce();
    [[nodiscard]] bool hasFinderConsent() const;
    void switchFinderWarning(bool enabled);
    void startWatcher();
    void finishReading(const std::vector<std::filesystem::path> &folders);
    void observePresence();
    void setMissing(const std::vector<std::filesystem::path> &missing);
    void tellInterruption(const InterruptedConversion &conversion);
    void reportProblem(const QString &message);
    void expireOriginals(std::optional<std::chrono::minutes> most = {});
    void scheduleExpiry(std::optional<std::chrono::seconds> next);

    ModelServices m_services;
    DesktopServices m_desktop;
    Mode m_mode;
    LocaleObserver m_localeObserver;
    std::shared_ptr<void> m_presence;
    std::vector<std::filesystem::path> m_missing; ///< of the folders that are watched
    std::shared_ptr<JobSource> m_watcher;         ///< the running job releases its file there
    bool m_isReading = false;     ///< the watched folders, before all later renames are reported
    std::uint64_t m_watchRun = 0; ///< tells late answers of an earlier watching

    bool m_installingUpdate = false;
    bool m_isEnding = false;
    QString m_language;
    QString m_appearance;
    Preferences m_preferences;
    QString m_selectedTab;
    std::optional<QRect> m_settingsPlace;
    bool m_paused = false;
    QString m_loginMessage;
    QString m_loginFailure; ///< why the last change of the login item failed, or empty
    QString m_watchMessage;
    bool m_renameWithoutConfirmation = false;
    bool m_finderSettingManaged = false;
    QString m_finderSettingMessage;
    std::optional<std::filesystem::path> m_removedFolder;
    std::vector<std::filesystem::path> m_foldersBefore; ///< it was removed
    DelayedTask m_removalEnd;
    DelayedTask m_expiry; ///< of the next kept original; pending while any is kept
    JobQueue m_queue;
};

} // namespace quorvalent
