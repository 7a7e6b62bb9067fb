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

// From as many that wait on, nobody looks at each file singly.
constexpr std::size_t waitingOfABatch = 2;

} // namespace

JobQueue::JobQueue(const ModelServices &services, std::function<Preferences()> preferences)
    : m_services(services)
    , m_preferences(std::move(preferences))
    , m_lanes(services.pacing.lanes)
{}

void JobQueue::setStatus(const ConversionStatus &status)
{
    m_status = status;
    Q_EMIT changed();
}

void JobQueue::addInterruptions(const std::vector<InterruptedConversion> &interrupted)
{
    for (const InterruptedConversion &conversion : interrupted)
        m_status.addInterruption(conversion);
    Q_EMIT changed();
}

void JobQueue::clearWarnings()
{
    m_status.clearWarnings();
    Q_EMIT changed();
}

void JobQueue::add(const RenameJob &job)
{
    if (isIdle())
        m_status.batch.reset();
    m_jobs.push_back({job});
    if (m_status.batch)
        ++m_status.batch->total;
    Q_EMIT changed();
    Q_EMIT accepted(job);
    runNext();
    if (!m_status.batch && m_jobs.size() >= waitingOfABatch) {
        m_status.batch = Batch{.total = running() + waiting()};
        Q_EMIT changed();
        m_services.expect(m_jobs.front().job);
    }
}

void JobQueue::release(const RenameJob &job)
{
    if (const auto watcher = m_watcher.lock())
        watcher->complete(job.identity());
}

std::deque<JobQueue::WaitingJob>::iterator JobQueue::nextToRun()
{
    return std::ranges::find(m_jobs, false, &WaitingJob::isSought);
}

bool JobQueue::mayStart(const RenameJob &job) const
{
    if (m_running.empty())
        return !m_status.isConverting;
    if (!m_lanes.isOpen())
        return false;
    std::vector<LaneDemand> demands;
    for (const RunningJob &running : m_running)
        demands.push_back(running.demand);
    return m_lanes.admit(LaneDemand::of(job), demands, m_services.machine());
}

void JobQueue::runNext()
{
    m_lanes.update(m_jobs.size());
    for (auto next = nextToRun(); next != m_jobs.end() && mayStart(next->job); next = nextToRun()) {
        const RenameJob job = std::move(next->job);
        m_jobs.erase(next);
        start(job);
    }
    m_lanes.update(m_jobs.size());
}

void JobQueue::start(const RenameJob &job)
{
    m_running.push_back({.number = ++m_started, .job = job, .demand = LaneDemand::of(job), .progress = {}});
    const RunningJob running = m_running.back();
    showOldest();
    Q_EMIT changed();
    Q_EMIT started(job);
    convertInBackground(running);
    if (const auto next = nextToRun(); next != m_jobs.end() && (m_lanes.isOpen() || !stopsBetweenJobs()))
        m_services.expect(next->job);
}

void JobQueue::convertInBackground(const RunningJob &running)
{
    const QPointer self(this);
    const RenameJob &job = running.job;
    const Progress progress = [self, number = running.number](std::optional<double> fraction) {
        postToMain([self, number, fraction] {
            if (self)
                self->setProgress(number, fraction);
        });
    };
    m_services.inBackground([self, job, number = running.number, progress, convert = m_services.convert,
                             isInPlace = m_services.isInPlace, preferences = m_preferences(),
                             watcher = m_watcher] {
        if (!isInPlace(job)) {
            postToMain([self, number] {
                if (self)
                    self->seek(number);
            });
            return;
        }
        const JobOutcome outcome = outcomeOf(convert, job, preferences, progress);
        // Before the outcome is known to anyone: the watcher takes in the file's new state first.
        // Held for this call only, so that the watcher always ends with the model, on the main thread.
        if (const auto present = watcher.lock())
            present->complete(job.identity());
        postToMain([self, number, outcome] {
            if (self)
                self->finish(number, outcome);
        });
    });
}

void JobQueue::setProgress(std::uint64_t number, std::optional<double> fraction)
{
    // Engines report from threads of their own, which may be late.
    const auto running = std::ranges::find(m_running, number, &RunningJob::number);
    if (running == m_running.end())
        return;
    running->progress = fraction;
    const RenameJob job = running->job;
    if (running == m_running.begin()) {
        m_status.progress = fraction;
        Q_EMIT changed();
    }
    Q_EMIT progressed(job, fraction);
}

RenameJob JobQueue::takeRunning(std::uint64_t number)
{
    const auto running = std::ranges::find(m_running, number, &RunningJob::number);
    RenameJob job = std::move(running->job);
    m_running.erase(running);
    return job;
}

void JobQueue::showOldest()
{
    if (!m_running.empty())
        m_status.show(m_running.front().job, m_running.front().progress);
}

void JobQueue::finish(std::uint64_t number, const JobOutcome &outcome)
{
    const RenameJob job = takeRunning(number);
    m_status.end(job, outcome);
    showOldest();
    Q_EMIT changed();
    Q_EMIT finished(job, outcome);
    goOn(outcome.succeeded() ? pauseAfterSuccess : pauseAfterFailure);
}

bool JobQueue::stopsBetweenJobs() const
{
    return m_services.pacing.pauses && !m_status.batch;
}

void JobQueue::goOn(std::chrono::milliseconds pause)
{
    if (m_jobs.empty() && m_running.empty())
        Q_EMIT drained();
    const auto next = nextToRun();
    if (next == m_jobs.end())
        return;
    if (!m_running.empty() || !stopsBetweenJobs()) {
        runNext();
        return;
    }
    m_services.expect(next->job);
    m_services.later(pause, [self = QPointer(this)] {
        if (self)
            self->runNext();
    });
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
    countDropped(1);
    release(former);
    Q_EMIT changed();
    if (isIdle())
        Q_EMIT drained();
}

// The file was renamed or moved in the moment before its job began: the watcher has not told yet.
void JobQueue::seek(std::uint64_t number)
{
    const RenameJob job = takeRunning(number);
    if (m_running.empty()) {
        m_status.isConverting = false;
        m_status.progress.reset();
    }
    showOldest();
    m_jobs.push_front({.job = job, .isSought = true});
    Q_EMIT changed();
    Q_EMIT dropped(job);
    if (const auto watcher = m_watcher.lock())
        watcher->locate(job.identity());
    else
        follow(job.identity(), std::nullopt);
    goOn(pauseAfterFailure);
}

void JobQueue::countDropped(int jobs)
{
    if (m_status.batch)
        m_status.batch->total -= jobs;
}

std::deque<RenameJob> JobQueue::dropWaiting()
{
    std::deque<RenameJob> left;
    countDropped(waiting());
    for (WaitingJob &waiting : std::exchange(m_jobs, {})) {
        release(waiting.job);
        left.push_back(std::move(waiting.job));
    }
    Q_EMIT changed();
    return left;
}

} // namespace quorvalent
