#include "console/WatchSession.h"

#include <cstdlib>
#include <utility>

namespace quorvalent {

namespace {

// What a shell reports for a program that a signal ended.
constexpr int signalStatusBase = 128;

} // namespace

WatchSession::WatchSession(AppModel &model, Reporter &reporter, std::function<void(int)> end)
    : m_model(model)
    , m_reporter(reporter)
    , m_end(std::move(end))
{
    connect(&model, &AppModel::watchingStarted, this,
            [this](const std::vector<std::filesystem::path> &folders) { m_reporter.watching(folders); });
    connect(&model, &AppModel::watchProblem, this,
            [this](const QString &message) { m_reporter.problem(message); });
    connect(&model, &AppModel::jobAccepted, this, [this](const RenameJob &job) { m_reporter.detected(job); });
    connect(&model, &AppModel::jobDropped, this, [this](const RenameJob &job) {
        m_reporter.dropped(job);
        if (m_status)
            QMetaObject::invokeMethod(this, &WatchSession::endWhenIdle, Qt::QueuedConnection);
    });
    m_model.onDrained = [this] {
        if (m_status)
            QMetaObject::invokeMethod(this, &WatchSession::endWhenIdle, Qt::QueuedConnection);
    };
    connect(&model, &AppModel::jobStarted, this,
            [this](const RenameJob &job) { m_reporter.started(job, changeOfFormat(job), m_model.queued()); });
    connect(&model, &AppModel::jobProgressed, this,
            [this](const RenameJob &job, std::optional<double> fraction) {
                m_reporter.progressed(job, fraction);
            });
    connect(&model, &AppModel::jobFinished, this, [this](const RenameJob &job, const JobOutcome &outcome) {
        m_reporter.finished(job, outcome);
        // Once the model has settled its queue.
        if (m_status)
            QMetaObject::invokeMethod(this, &WatchSession::endWhenIdle, Qt::QueuedConnection);
    });
}

void WatchSession::start()
{
    m_model.start();
}

void WatchSession::stop(int signalNumber)
{
    if (m_status) {
        if (!m_model.isIdle())
            m_model.stopConversionsSoon();
        finishRunningJobsOnly(signalStatusBase + signalNumber);
        return;
    }
    refuseNewJobs();
    m_status = EXIT_SUCCESS;
    m_reporter.stopping(m_model.queued() + m_model.running());
    endWhenIdle();
}

void WatchSession::stopForBrokenOutput()
{
    if (!m_status)
        refuseNewJobs();
    finishRunningJobsOnly(EXIT_FAILURE);
}

void WatchSession::refuseNewJobs()
{
    m_model.prepareToEnd();
}

void WatchSession::finishRunningJobsOnly(int status)
{
    if (std::exchange(m_dropsWaiting, true))
        return;
    m_status = status;
    m_abandoned = m_model.dropWaitingJobs();
    endWhenIdle();
}

void WatchSession::endWhenIdle()
{
    if (m_model.isIdle() && !std::exchange(m_hasEnded, true))
        m_end(*m_status);
}

} // namespace quorvalent
