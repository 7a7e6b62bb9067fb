#pragma once

#include "core/Preferences.h"
#include "core/RenameJob.h"
#include "model/ConversionStatus.h"
#include "model/ModelServices.h"

#include <QObject>

#include <chrono>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

namespace quorvalent {

/// Runs accepted jobs one at a time, in the order in which they were added, and keeps what there is to show
/// of them. Lives on the main thread; a conversion runs in the background and outlives a queue that is
/// destroyed meanwhile.
class JobQueue : public QObject
{
    Q_OBJECT

public:
    /// A job runs with the preferences that it finds at its start. The services outlive the queue.
    JobQueue(const ModelServices &services, std::function<Preferences()> preferences);

    [[nodiscard]] const ConversionStatus &status() const { return m_status; }
    /// Shows something else than what the jobs left.
    void setStatus(const ConversionStatus &status);
    /// Jobs that wait; the running one does not count.
    [[nodiscard]] int waiting() const { return static_cast<int>(m_jobs.size()); }
    [[nodiscard]] bool isIdle() const { return !m_status.isConverting && m_jobs.empty(); }

    /// Files of jobs that are over are released there.
    void setWatcher(const std::shared_ptr<JobSource> &watcher) { m_watcher = watcher; }

    void add(const RenameJob &job);
    /// The file of a reported job stands at `place` now, or in no watched folder. A job that waits goes on
    /// from there; it is dropped where nothing is left to convert: the file is gone, or bears its first
    /// extension again.
    void follow(const QString &identity, const std::optional<std::filesystem::path> &place);
    /// Releases a job that will not be run.
    void release(const RenameJob &job);
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
    /// A job is over and none waits.
    void drained();

private:
    struct WaitingJob
    {
        RenameJob job;
        bool isSought = false; ///< its file was not in place; the watcher will tell where it is
    };

    void convertInBackground(const RenameJob &job);
    void setProgress(const RenameJob &job, std::uint64_t run, std::optional<double> fraction);
    void finish(const RenameJob &job, const JobOutcome &outcome);
    void seek(const RenameJob &job);
    void goOn(std::chrono::milliseconds pause);

    const ModelServices &m_services;
    std::function<Preferences()> m_preferences;
    std::weak_ptr<JobSource> m_watcher;
    std::deque<WaitingJob> m_jobs;
    ConversionStatus m_status;
    std::uint64_t m_run = 0; ///< tells late progress of an earlier job
};

} // namespace quorvalent
