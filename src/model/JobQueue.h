#pragma once

#include "core/Preferences.h"
#include "core/RenameJob.h"
#include "model/ConversionStatus.h"
#include "model/ModelServices.h"

#include <QObject>

#include <deque>
#include <functional>
#include <memory>

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
    /// A job is over and none waits.
    void drained();

private:
    void convertInBackground(const RenameJob &job);
    void setProgress(const RenameJob &job, std::uint64_t run, std::optional<double> fraction);
    void finish(const RenameJob &job, const JobOutcome &outcome);

    const ModelServices &m_services;
    std::function<Preferences()> m_preferences;
    std::weak_ptr<JobSource> m_watcher;
    std::deque<RenameJob> m_jobs;
    ConversionStatus m_status;
    std::uint64_t m_run = 0; ///< tells late progress of an earlier job
};

} // namespace quorvalent
