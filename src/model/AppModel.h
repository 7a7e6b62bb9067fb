#pragma once

#include "core/Activity.h"
#include "core/Preferences.h"
#include "core/RenameJob.h"
#include "model/ModelServices.h"

#include <QList>
#include <QObject>
#include <QString>

#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace quorvalent {

/// The one observable state behind every view, and the queue that turns reported renames into conversions,
/// one at a time in the order of their report. Everything here lives on the main thread; conversions run in
/// the background and outlive a model that is destroyed meanwhile. Texts are French source texts.
class AppModel : public QObject
{
    Q_OBJECT

public:
    AppModel(Preferences preferences, ModelServices services);
    ~AppModel() override;

    [[nodiscard]] const Preferences &preferences() const { return m_preferences; }
    [[nodiscard]] bool paused() const { return m_paused; }
    [[nodiscard]] bool installingUpdate() const { return m_installingUpdate; }
    [[nodiscard]] bool isConverting() const { return m_isConverting; }
    /// Jobs that wait; the running one does not count.
    [[nodiscard]] int queued() const { return static_cast<int>(m_jobs.size()); }
    /// Nothing runs and nothing waits: the program may end.
    [[nodiscard]] bool isIdle() const { return !m_isConverting && m_jobs.empty(); }
    /// 0 to 1, or nothing while unknown. 1.0 after a success, nothing after a failure.
    [[nodiscard]] std::optional<double> progress() const { return m_progress; }
    [[nodiscard]] const QString &currentName() const { return m_currentName; }
    [[nodiscard]] const QString &currentDetail() const { return m_currentDetail; }
    /// Newest first, at most 30.
    [[nodiscard]] const QList<Activity> &activities() const { return m_activities; }
    [[nodiscard]] const QString &warningTitle() const { return m_warningTitle; }
    [[nodiscard]] const QString &warningMessage() const { return m_warningMessage; }
    [[nodiscard]] int warningCount() const { return m_warningCount; }
    /// The last problem of the watcher, or empty.
    [[nodiscard]] const QString &watchMessage() const { return m_watchMessage; }

    /// Takes effect for jobs that start later, for the folders at restartWatcher().
    void setPreferences(Preferences preferences);
    /// New jobs are refused while one of these is set; restartWatcher() ends or resumes the watching.
    void setPaused(bool paused);
    void setInstallingUpdate(bool installing);

    /// Puts interrupted work right, then watches the folders of the preferences. Called once.
    void start();
    /// Watches the present folders from a fresh listing, or nothing while new jobs are refused.
    void restartWatcher();

    /// Offers a job to the queue. A refused one is released at once; its file stays as it is.
    void enqueue(const RenameJob &job);
    /// Starts the oldest waiting job unless one runs; cuts the pause between two jobs short.
    void runNext();
    /// Releases every waiting job unconverted, for a program that must end, and returns them, oldest first.
    /// The running job goes on.
    [[nodiscard]] std::deque<RenameJob> dropWaitingJobs();

    std::function<void()> onToast;    ///< a job that can be converted has started
    std::function<void()> onFinished; ///< a job has succeeded
    std::function<void()> onWarning;  ///< a job has failed
    std::function<void()> onDrained;  ///< a job is over and none waits

Q_SIGNALS:
    /// Some field has another value.
    void changed();
    /// Later renames in the folders are reported.
    void watchingStarted(const std::vector<std::filesystem::path> &folders);
    void watchProblem(const QString &message);
    void jobAccepted(const quorvalent::RenameJob &job);
    void jobStarted(const quorvalent::RenameJob &job);
    void jobProgressed(const quorvalent::RenameJob &job, std::optional<double> fraction);
    /// After the fields and the activity have been set, before the callbacks.
    void jobFinished(const quorvalent::RenameJob &job, const quorvalent::JobOutcome &outcome);

private:
    [[nodiscard]] bool refusesJobs() const { return m_paused || m_installingUpdate; }
    void finishRecovery(const QStringList &messages);
    void reportProblem(const QString &message);
    void convertInBackground(const RenameJob &job);
    void setProgress(const RenameJob &job, std::uint64_t run, std::optional<double> fraction);
    void finish(const RenameJob &job, const JobOutcome &outcome);
    void record(const RenameJob &job, const JobOutcome &outcome);

    ModelServices m_services;
    std::shared_ptr<JobSource> m_watcher; ///< the running job releases its file there
    bool m_isRecovering = false;
    std::uint64_t m_watchRun = 0; ///< tells late answers of an earlier watching
    std::uint64_t m_jobRun = 0;   ///< tells late progress of an earlier job

    Preferences m_preferences;
    bool m_paused = false;
    bool m_installingUpdate = false;
    std::deque<RenameJob> m_jobs;
    bool m_isConverting = false;
    std::optional<double> m_progress;
    QString m_currentName;
    QString m_currentDetail;
    QList<Activity> m_activities;
    QString m_warningTitle;
    QString m_warningMessage;
    int m_warningCount = 0;
    QString m_watchMessage;
};

} // namespace quorvalent
