#include "model/JobQueue.h"

#include <QPointer>

#include <utility>

namespace quorvalent {

namespace {

using namespace std::chrono_literals;

// Lets the finished state of the banner be seen before the next file takes its place.
constexpr auto pauseAfterSuccess = 1500ms;
constexpr auto pauseAfterFailure = 0ms;

} // namespace

JobQueue::JobQueue(const ModelServices &services, std::function<Preferences()> preferences)
    : m_services(services)
    , m_preferences(std::move(preferences))
{}

void JobQueue::setStatus(const ConversionStatus &status)
{
    m_status = status;
    Q_EMIT changed();
}

void JobQueue::add(const RenameJob &job)
{
    m_jobs.push_back(job);
    Q_EMIT changed();
    Q_EMIT accepted(job);
    runNext();
}

void JobQueue::release(const RenameJob &job)
{
    if (const auto watcher = m_watcher.lock())
        watcher->complete(job.identity());
}

void JobQueue::runNext()
{
    if (m_status.isConverting || m_jobs.empty())
        return;

    const RenameJob job = std::move(m_jobs.front());
    m_jobs.pop_front();
    ++m_run;
    m_status.begin(job);
    Q_EMIT changed();
    Q_EMIT started(job);
    convertInBackground(job);
}

void JobQueue::convertInBackground(const RenameJob &job)
{
    const QPointer self(this);
    const Progress progress = [self, job, run = m_run](std::optional<double> fraction) {
        postToMain([self, job, run, fraction] {
            if (self)
                self->setProgress(job, run, fraction);
        });
    };
    m_services.inBackground([self, job, progress, convert = m_services.convert, preferences = m_preferences(),
                             watcher = m_watcher] {
        const JobOutcome outcome = outcomeOf(convert, job, preferences, progress);
        // Before the outcome is known to anyone: the watcher takes in the file's new state first.
        // Held for this call only, so that the watcher always ends with the model, on the main thread.
        if (const auto present = watcher.lock())
            present->complete(job.identity());
        postToMain([self, job, outcome] {
            if (self)
                self->finish(job, outcome);
        });
    });
}

void JobQueue::setProgress(const RenameJob &job, std::uint64_t run, std::optional<double> fraction)
{
    // Engines report from threads of their own, which may be late.
    if (!m_status.isConverting || run != m_run)
        return;
    m_status.progress = fraction;
    Q_EMIT changed();
    Q_EMIT progressed(job, fraction);
}

void JobQueue::finish(const RenameJob &job, const JobOutcome &outcome)
{
    m_status.end(job, outcome);
    Q_EMIT changed();
    Q_EMIT finished(job, outcome);

    if (!m_jobs.empty()) {
        m_services.expect(m_jobs.front());
        m_services.later(outcome.succeeded() ? pauseAfterSuccess : pauseAfterFailure,
                         [self = QPointer(this)] {
                             if (self)
                                 self->runNext();
                         });
    } else {
        Q_EMIT drained();
    }
}

std::deque<RenameJob> JobQueue::dropWaiting()
{
    std::deque<RenameJob> dropped = std::exchange(m_jobs, {});
    for (const RenameJob &job : dropped)
        release(job);
    Q_EMIT changed();
    return dropped;
}

} // namespace quorvalent
