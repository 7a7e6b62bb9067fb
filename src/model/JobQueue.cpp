#include "model/JobQueue.h"

#include "core/ConversionError.h"
#include "core/RenamePolicy.h"

#include <QPointer>

#include <algorithm>
#include <atomic>
#include <utility>

namespace quorvalent {

namespace {

using namespace std::chrono_literals;

// Lets the finished state of the banner be seen before the next file takes its place.
constexpr auto pauseAfterSuccess = 1500ms;
constexpr auto pauseAfterFailure = 0ms;

// From as many that wait on, nobody looks at each file singly.
constexpr std::size_t waitingOfABatch = 2;

bool isRefused(const RenameJob &job)
{
    return RenameProtection::reason(job).has_value();
}

/// Carries progress to the main thread with one event at a time, so that a helper that reports without end
/// fills no memory: what comes meanwhile takes the place of what was to be told.
class LatestProgress
{
public:
    /// The converting thread; whether an event has to be sent.
    bool put(std::optional<double> fraction)
    {
        m_fraction = fraction.value_or(unknown);
        return !m_isUnderWay.exchange(true);
    }
    /// The main thread, at the event.
    std::optional<double> take()
    {
        m_isUnderWay = false; // first: what is put from now on is told by another event
        const double fraction = m_fraction;
        return fraction == unknown ? std::nullopt : std::optional(fraction);
    }

private:
    static constexpr double unknown = -1;
    std::atomic<double> m_fraction = unknown;
    std::atomic<bool> m_isUnderWay = false;
};

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

void JobQueue::addInterruption(const InterruptedConversion &interrupted)
{
    m_status.addInterruption(interrupted);
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
    m_jobs.push_back({.job = job, .isQuick = isRefused(job), .cancellation = {}});
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
        watcher->complete(job.identity(), std::nullopt);
}

std::deque<JobQueue::WaitingJob>::iterator JobQueue::nextToRun(bool isQuick)
{
    return std::ranges::find_if(m_jobs, [isQuick](const WaitingJob &waiting) {
        return !waiting.isSought && waiting.isQuick == isQuick;
    });
}

bool JobQueue::mayConvert(const RenameJob &job) const
{
    if (m_running.empty() && m_status.isConverting)
        return false; // something else is shown
    std::vector<LaneDemand> demands;
    for (const RunningJob &running : m_running) {
        if (!running.isQuick)
            demands.push_back(running.demand);
    }
    return m_lanes.admit(LaneDemand::of(job), demands, m_services.machine());
}

void JobQueue::runNext()
{
    m_lanes.update(m_jobs.size());
    const auto isBusy = std::ranges::any_of(m_running, &RunningJob::isQuick);
    if (const auto next = nextToRun(true); next != m_jobs.end() && !isBusy)
        start(next);
    for (auto next = nextToRun(); next != m_jobs.end() && mayConvert(next->job); next = nextToRun())
        start(next);
    m_lanes.update(m_jobs.size());
}

void JobQueue::start(std::deque<WaitingJob>::iterator waiting)
{
    const RenameJob job = waiting->job;
    m_running.push_back({.number = ++m_started,
                         .job = job,
                         .demand = LaneDemand::of(job),
                         .isQuick = waiting->isQuick,
                         .cancellation = waiting->cancellation,
                         .progress = {},
                         .place = {}});
    m_jobs.erase(waiting);
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
    const Progress progress = [self, number = running.number,
                               latest = std::make_shared<LatestProgress>()](std::optional<double> fraction) {
        if (!latest->put(fraction))
            return;
        postToMain([self, number, latest] {
            const std::optional<double> newest = latest->take();
            if (self)
                self->setProgress(number, newest);
        });
    };
    const ConversionRun run{.progress = progress,
                            .threads =
                                m_lanes.threadsFor(m_running.size() + m_jobs.size(), m_services.machine()),
                            .cancellation = running.cancellation};
    const auto convert = [self, job, number = running.number, run, convert = m_services.convert,
                          isInPlace = m_services.isInPlace, preferences = m_preferences(),
                          watcher = m_watcher] {
        JobOutcome outcome;
        if (isInPlace(job))
            outcome = outcomeOf(convert, job, preferences, run);
        else
            outcome.isElsewhere = true;
        if (outcome.isElsewhere) {
            postToMain([self, number] {
                if (self)
                    self->seek(number);
            });
            return;
        }
        // Held for this call only, so that the watcher always ends with the model, on the main thread.
        // What was cancelled may go on from elsewhere.
        if (const auto present = watcher.lock(); present && !outcome.isCancelled)
            present->complete(job.identity(), outcome.result);
        postToMain([self, number, outcome] {
            if (self)
                self->finish(number, outcome);
        });
    };
    try {
        m_services.inBackground(convert);
    } catch (const Error &failure) {
        refuse(running, failure);
    }
}

// As the end of a conversion is told, with an event, because a queue that starts jobs is not to be started
// again inside.
void JobQueue::refuse(const RunningJob &running, const Error &why)
{
    const auto giveNameBack = [&](const RenameJob &job, const Preferences &,
                                  const ConversionRun &) -> ConversionReport {
        m_services.refuse(job, why);
        throw ConversionError(why.errorDescription());
    };
    const JobOutcome outcome = outcomeOf(giveNameBack, running.job, m_preferences(), {});
    release(running.job);
    postToMain([self = QPointer(this), number = running.number, outcome] {
        if (self)
            self->finish(number, outcome);
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
    if (&*running == shown()) {
        m_status.progress = fraction;
        Q_EMIT changed();
    }
    Q_EMIT progressed(job, fraction);
}

JobQueue::RunningJob JobQueue::takeRunning(std::uint64_t number)
{
    const auto running = std::ranges::find(m_running, number, &RunningJob::number);
    RunningJob taken = std::move(*running);
    m_running.erase(running);
    return taken;
}

JobQueue::RunningJob *JobQueue::shown()
{
    if (m_running.empty())
        return nullptr;
    const auto oldest = std::ranges::find(m_running, false, &RunningJob::isQuick);
    return oldest == m_running.end() ? m_running.data() : &*oldest;
}

void JobQueue::showOldest()
{
    if (const RunningJob *const running = shown())
        m_status.show(running->job, running->progress);
}

void JobQueue::stopShowing()
{
    if (m_running.empty()) {
        m_status.isConverting = false;
        m_status.progress.reset();
    }
    showOldest();
}

void JobQueue::finish(std::uint64_t number, const JobOutcome &outcome)
{
    const RunningJob ended = takeRunning(number);
    if (outcome.isCancelled) {
        if (beginAnew(ended))
            return;
        release(ended.job);
    }
    m_status.end(ended.job, outcome);
    showOldest();
    Q_EMIT changed();
    Q_EMIT finished(ended.job, outcome);
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
    auto next = nextToRun(true);
    if (next == m_jobs.end())
        next = nextToRun();
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
    const auto isOfFile = [&](const auto &known) { return known.job.identity() == identity; };
    if (const auto running = std::ranges::find_if(m_running, isOfFile); running != m_running.end()) {
        followRunning(*running, place);
        return;
    }
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
        waiting->isQuick = waiting->cancellation.isRequested() || isRefused(waiting->job);
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

// A swap moves the file as well; by then the driver does not look at the request any more.
void JobQueue::followRunning(RunningJob &running, const std::optional<std::filesystem::path> &place)
{
    if (place == running.job.newURL)
        return;
    running.place = place;
    running.cancellation.request();
}

bool JobQueue::beginAnew(const RunningJob &ended)
{
    if (!ended.place || !ended.job.movedTo(*ended.place).changesExtension())
        return false;
    stopShowing();
    const RenameJob moved = ended.job.movedTo(*ended.place);
    m_jobs.push_front({.job = moved, .isQuick = isRefused(moved), .cancellation = {}});
    Q_EMIT changed();
    Q_EMIT dropped(ended.job);
    Q_EMIT accepted(moved);
    runNext();
    return true;
}

void JobQueue::cancelShown()
{
    if (RunningJob *const running = shown())
        running->cancellation.request();
}

void JobQueue::cancelWaiting()
{
    for (WaitingJob &waiting : m_jobs) {
        waiting.cancellation.request();
        waiting.isQuick = true;
    }
    runNext();
}

// The file was renamed or moved in the moment before its job began: the watcher has not told yet.
void JobQueue::seek(std::uint64_t number)
{
    const RunningJob taken = takeRunning(number);
    const RenameJob &job = taken.job;
    stopShowing();
    m_jobs.push_front(
        {.job = job, .isQuick = taken.isQuick, .isSought = true, .cancellation = taken.cancellation});
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
