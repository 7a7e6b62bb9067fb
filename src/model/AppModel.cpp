#include "model/AppModel.h"

#include "core/RenamePolicy.h"
#include "platform/Error.h"

#include <QPointer>

#include <utility>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

constexpr qsizetype maximumActivities = 30;
// Lets the finished state of the banner be seen before the next file takes its place.
constexpr auto pauseAfterSuccess = 1500ms;
constexpr auto pauseAfterFailure = 0ms;

QString changeOfFormat(const RenameJob &job)
{
    return pathExtension(job.oldURL).toUpper() + u" → "_s + pathExtension(job.newURL).toUpper();
}

} // namespace

AppModel::AppModel(Preferences preferences, ModelServices services)
    : m_services(std::move(services))
    , m_preferences(std::move(preferences))
    , m_warningTitle(u"Format non pris en charge"_s)
{}

AppModel::~AppModel() = default;

void AppModel::setPreferences(Preferences preferences)
{
    m_preferences = std::move(preferences);
    Q_EMIT changed();
}

void AppModel::setPaused(bool paused)
{
    m_paused = paused;
    Q_EMIT changed();
}

void AppModel::setInstallingUpdate(bool installing)
{
    m_installingUpdate = installing;
    Q_EMIT changed();
}

void AppModel::start()
{
    const QPointer self(this);
    JobSourceHandlers handlers;
    handlers.onRename = [self](const RenameJob &job) {
        postToMain([self, job] {
            if (self)
                self->enqueue(job);
        });
    };
    handlers.onProblem = [self](const QString &message) {
        postToMain([self, message] {
            if (self)
                self->reportProblem(message);
        });
    };
    m_watcher = m_services.makeWatcher(std::move(handlers));

    m_isRecovering = true;
    const auto restore = m_services.restoreInterruptedWork;
    m_services.inBackground([self, restore, folders = m_preferences.folders] {
        QStringList messages;
        try {
            messages = restore(folders);
        } catch (const Error &error) {
            messages.append(error.errorDescription());
        } catch (const std::exception &error) {
            messages.append(u"Erreur inattendue : "_s + QString::fromUtf8(error.what()));
        }
        postToMain([self, messages] {
            if (self)
                self->finishRecovery(messages);
        });
    });
}

void AppModel::finishRecovery(const QStringList &messages)
{
    m_isRecovering = false;
    restartWatcher();
    for (const QString &message : messages)
        reportProblem(message);
}

void AppModel::restartWatcher()
{
    m_watchMessage.clear();
    Q_EMIT changed();
    // A listing made before interrupted work is put right would take its repairs for renames.
    if (!m_watcher || m_isRecovering)
        return;

    const std::uint64_t run = ++m_watchRun;
    if (refusesJobs()) {
        m_watcher->start({}, {});
        return;
    }
    m_watcher->start(m_preferences.folders, [self = QPointer(this), run, folders = m_preferences.folders] {
        postToMain([self, run, folders] {
            if (self && self->m_watchRun == run)
                Q_EMIT self->watchingStarted(folders);
        });
    });
}

void AppModel::reportProblem(const QString &message)
{
    m_watchMessage = message;
    Q_EMIT changed();
    Q_EMIT watchProblem(message);
}

void AppModel::enqueue(const RenameJob &job)
{
    if (refusesJobs()) {
        if (m_watcher)
            m_watcher->complete(job.identity());
        return;
    }
    m_jobs.push_back(job);
    Q_EMIT changed();
    Q_EMIT jobAccepted(job);
    runNext();
}

void AppModel::runNext()
{
    if (m_isConverting || m_jobs.empty())
        return;

    const RenameJob job = std::move(m_jobs.front());
    m_jobs.pop_front();
    m_isConverting = true;
    ++m_jobRun;
    m_progress.reset();
    m_currentName = displayName(job.newURL);
    m_currentDetail = changeOfFormat(job);
    Q_EMIT changed();
    Q_EMIT jobStarted(job);
    if (!RenameProtection::reason(job) && onToast)
        onToast();
    convertInBackground(job);
}

void AppModel::convertInBackground(const RenameJob &job)
{
    const QPointer self(this);
    const Progress progress = [self, job, run = m_jobRun](std::optional<double> fraction) {
        postToMain([self, job, run, fraction] {
            if (self)
                self->setProgress(job, run, fraction);
        });
    };
    m_services.inBackground([self, job, progress, convert = m_services.convert, preferences = m_preferences,
                             watcher = std::weak_ptr(m_watcher)] {
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

void AppModel::setProgress(const RenameJob &job, std::uint64_t run, std::optional<double> fraction)
{
    // Engines report from threads of their own, which may be late.
    if (!m_isConverting || run != m_jobRun)
        return;
    m_progress = fraction;
    Q_EMIT changed();
    Q_EMIT jobProgressed(job, fraction);
}

void AppModel::finish(const RenameJob &job, const JobOutcome &outcome)
{
    m_isConverting = false;
    record(job, outcome);
    Q_EMIT changed();
    Q_EMIT jobFinished(job, outcome);

    const std::function<void()> &told = outcome.succeeded() ? onFinished : onWarning;
    if (told)
        told();

    if (!m_jobs.empty()) {
        m_services.later(outcome.succeeded() ? pauseAfterSuccess : pauseAfterFailure,
                         [self = QPointer(this)] {
                             if (self)
                                 self->runNext();
                         });
    } else if (onDrained) {
        onDrained();
    }
}

void AppModel::record(const RenameJob &job, const JobOutcome &outcome)
{
    m_progress = outcome.succeeded() ? std::optional(1.0) : std::nullopt;
    m_currentDetail = outcome.detail;
    m_activities.prepend(Activity(displayName(job.newURL), outcome.detail, outcome.succeeded()));
    if (m_activities.size() > maximumActivities)
        m_activities.removeLast();
    if (outcome.failure) {
        m_warningTitle = outcome.failure->title;
        m_warningMessage = outcome.failure->message;
        ++m_warningCount;
    }
}

std::deque<RenameJob> AppModel::dropWaitingJobs()
{
    std::deque<RenameJob> dropped = std::exchange(m_jobs, {});
    for (const RenameJob &job : dropped) {
        if (m_watcher)
            m_watcher->complete(job.identity());
    }
    Q_EMIT changed();
    return dropped;
}

} // namespace quorvalent
