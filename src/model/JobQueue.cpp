#include "model/JobQueue.h"

#include <QPointer>

#include <algorithm>
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
    m_jobs.push_back({job});
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
    const auto next = std::ranges::find(m_jobs, false, &WaitingJob::isSought);
    if (m_status.isConverting || next == m_jobs.end())
        return;

    const RenameJob job = std::move(next->job);
    m_jobs.erase(next);
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
    m_services.inBackground([self, job, progress, convert = m_services.convert,
                             isInPlace = m_services.isInPlace, preferences = m_preferences(),
                             watcher = m_watcher] {
        if (!isInPlace(job)) {
            postToMain([self, job] {
                if (self)
                    self->seek(job);
            });
            return;
        }
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
    goOn(outcome.succeeded() ? pauseAfterSuccess : pauseAfterFailure);
}

void JobQueue::goOn(std::chrono::milliseconds pause)
{
    const auto next = std::ranges::find(m_jobs, false, &WaitingJob::isSought);
    if (next != m_jobs.end()) {
        m_services.expect(next->job);
        m_services.later(pause, [self = QPointer(this)] {
            if (self)
                self->runNext();
        });
    } else if (m_jobs.empty()) {
        Q_EMIT drained();
    }
}

void JobQueue::follow(const QString &identity, const std::optional<std::filesystem::path> &place)
{
    const auto isOfFile = [&](const WaitingJob &waiting) { return waiting.job.identity() == identity; };
    const auto waiting = std::ranges::find_if(m_jobs, isOfFile);
    if (waiting == m_jobs.end())
        return;
    const RenameJob former = waiting->job;
    const bool wasSought = std::exchange(waiting->isSought, false);
    if (place == former.newURL && !wasSought)
        return;
    if (!wasSought)
        Q_EMIT dropped(former);
    if (place && former.movedTo(*place).changesExtension()) {
        waiting->job = former.movedTo(*place);
        Q_EMIT changed();
        Q_EMIT accepted(waiting->job);
        if (wasSought)
            runNext();
        return;
    }
    m_jobs.erase(waiting);
    release(former);
    Q_EMIT changed();
    if (isIdle())
        Q_EMIT drained();
}

// The file was renamed or moved in the moment before its job began: the watcher has not told yet.
void JobQueue::seek(const RenameJob &job)
{
    m_status.isConverting = false;
    m_status.progress.reset();
    m_jobs.push_front({.job = job, .isSought = true});
    Q_EMIT changed();
    Q_EMIT dropped(job);
    if (const auto watcher = m_watcher.lock())
        watcher->locate(job.identity());
    else
        follow(job.identity(), std::nullopt);
    goOn(pauseAfterFailure);
}

std::deque<RenameJob> JobQueue::dropWaiting()
{
    std::deque<RenameJob> left;
    for (WaitingJob &waiting : std::exchange(m_jobs, {})) {
        release(waiting.job);
        left.push_back(std::move(waiting.job));
    }
    Q_EMIT changed();
    return left;
}

} // namespace quorvalent
