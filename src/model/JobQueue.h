#pragma once

#include "core/Preferences.h"
#include "core/RenameJob.h"
#include "model/ConversionStatus.h"
#include "model/Lanes.h"
#include "model/ModelServices.h"

#include <QObject>

#include <chrono>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace quorvalent {

/// Starts accepted jobs in the order in which they were added, one at a time or, where many wait, several
/// side by side, and keeps what there is to show of them: of those that run, the oldest. Two or more that
/// wait make a batch, which is gone through without a pause. Lives on the main thread; a conversion runs in
/// the background and outlives a queue that is destroyed meanwhile.
class JobQueue : public QObject
{
    Q_OBJECT

public:
    /// A job runs with the preferences that it finds at its start. The services outlive the queue.
    JobQueue(const ModelServices &services, std::function<Preferences()> preferences);

    [[nodiscard]] const ConversionStatus &status() const { return m_status; }
    /// Shows something else than what the jobs left.
    void setStatus(const ConversionStatus &status);
    /// Tells of what a killed run left; nothing for none.
    void addInterruption(const InterruptedConversion &interrupted);
    /// The user has seen the warnings.
    void clearWarnings();
    /// Jobs that wait; the running ones do not count.
    [[nodiscard]] int waiting() const { return static_cast<int>(m_jobs.size()); }
    [[nodiscard]] int running() const { return static_cast<int>(m_running.size()); }
    [[nodiscard]] bool isIdle() const { return !m_status.isConverting && m_jobs.empty(); }

    /// Files of jobs that are over are released there.
    void setWatcher(const std::shared_ptr<JobSource> &watcher) { m_watcher = watcher; }

    void add(const RenameJob &job);
    /// The file of a reported job stands at `place` now, or in no watched folder. A job that waits goes on
    /// from there; it is dropped where nothing is left to convert: the file is gone, or bears its first
    /// extension again.
    /// One that runs is cancelled, and begun anew where there is still something to convert.
    void follow(const QString &identity, const std::optional<std::filesystem::path> &place);
    /// Ends the conversion that is shown; its file gets its former name back.
    void cancelShown();
    /// So do the files of all jobs that wait, without being converted.
    void cancelWaiting();
    /// Releases a job that will not be run.
    void release(const RenameJob &job);
    /// Starts the oldest waiting job unless one runs, or as many as may run side by side.
    void runNext();
    [[nodiscard]] std::deque<RenameJob> dropWaiting();

Q_SIGNALS:
    void changed();
    void accepted(const quorvalent::RenameJob &job);
    void started(const quorvalent::RenameJob &job);
    void progressed(const quorvalent::RenameJob &job, std::optional<double> fraction);
    void finished(const quorvalent::RenameJob &job, const quorvalent::JobOutcome &outcome);
    /// A job is no longer wanted as it was accepted; it may be accepted anew with another place.
    void dropped(const quorvalent::RenameJob &job);
    /// A job is over, and none runs or waits.
    void drained();

private:
    struct WaitingJob
    {
        RenameJob job;
        bool isQuick;          ///< it only gets its name back, which takes no time
        bool isSought = false; ///< its file was not in place; the watcher will tell where it is
        Cancellation cancellation;
    };

    struct RunningJob
    {
        std::uint64_t number; ///< tells late reports of an earlier job
        RenameJob job;
        LaneDemand demand;
        bool isQuick;
        Cancellation cancellation;
        std::optional<double> progress;
        std::optional<std::filesystem::path> place; ///< where the file was taken meanwhile
    };

    [[nodiscard]] bool mayConvert(const RenameJob &job) const;
    void start(std::deque<WaitingJob>::iterator waiting);
    void convertInBackground(const RunningJob &running);
    void refuse(const RunningJob &running, const Error &why);
    void setProgress(std::uint64_t number, std::optional<double> fraction);
    void finish(std::uint64_t number, const JobOutcome &outcome);
    void seek(std::uint64_t number);
    void goOn(std::chrono::milliseconds pause);
    /// The oldest waiting job of this kind whose file is known to be in place, or the end.
    [[nodiscard]] std::deque<WaitingJob>::iterator nextToRun(bool isQuick = false);
    [[nodiscard]] bool stopsBetweenJobs() const;
    /// Takes a job out of those that run.
    RunningJob takeRunning(std::uint64_t number);
    void followRunning(RunningJob &running, const std::optional<std::filesystem::path> &place);
    /// A cancelled job whose file was taken elsewhere waits again, from there; false where it is over.
    bool beginAnew(const RunningJob &ended);
    /// The oldest conversion of those that run, or a job that only gets its name back; null without any.
    [[nodiscard]] RunningJob *shown();
    void showOldest();
    /// After a job was taken out that is not over.
    void stopShowing();
    void countDropped(int jobs);

    const ModelServices &m_services;
    std::function<Preferences()> m_preferences;
    std::weak_ptr<JobSource> m_watcher;
    std::deque<WaitingJob> m_jobs;
    std::vector<RunningJob> m_running; ///< oldest first
    Lanes m_lanes;
    ConversionStatus m_status;
    std::uint64_t m_started = 0; ///< jobs, in all
};

} // namespace quorvalent
