#include "update/UpdateManager.h"

#include "model/AppModel.h"

#include <utility>

namespace quorvalent {

UpdateManager::UpdateManager(AppModel &model, std::unique_ptr<Updater> updater,
                             std::chrono::seconds checkInterval)
    : m_model(&model)
    , m_updater(std::move(updater))
    , m_checkInterval(checkInterval)
    , m_canCheck(model.preview())
    , m_message(QStringLiteral("updates.ready"))
{}

UpdateManager::~UpdateManager() = default;

bool UpdateManager::isActive() const
{
    return m_model && !m_model->preview() && !m_model->isEnding();
}

void UpdateManager::start()
{
    if (!isActive() || m_started)
        return;
    try {
        m_updater->start(*this);
    } catch (const UpdateError &) {
        setMessage("updates.unavailable"); // the sentence for every reason why
        return;
    }
    m_started = true;
    m_updater->setUpdateCheckInterval(m_checkInterval);
    m_automatic = m_updater->automaticallyChecksForUpdates();
    // Queued, so that nothing is read in the middle of the updater's own change.
    connect(m_updater.get(), &Updater::changed, this, &UpdateManager::followUpdater, Qt::QueuedConnection);
    if (m_automatic)
        m_updater->checkForUpdatesInBackground();
    followUpdater();
}

void UpdateManager::followUpdater()
{
    m_canCheck = m_updater->canCheckForUpdates();
    m_automatic = m_updater->automaticallyChecksForUpdates();
    Q_EMIT changed();
}

void UpdateManager::check()
{
    if (!isActive())
        return;
    start();
    if (!m_started || !m_updater->canCheckForUpdates())
        return;
    setMessage("updates.checking");
    m_updater->checkForUpdates();
}

void UpdateManager::setAutomatic(bool enabled)
{
    if (isActive()) {
        start();
        if (!m_started)
            return;
        m_updater->setAutomaticallyChecksForUpdates(enabled);
    }
    m_automatic = enabled;
    Q_EMIT changed();
}

bool UpdateManager::requestInstallation(std::function<void()> install)
{
    if (!m_model)
        return false;
    if (m_model->isEnding())
        return true; // for good: the next start finds the update again
    if (m_model->isIdle()) {
        m_model->prepareForUpdate();
        return false;
    }
    m_pendingInstall = std::move(install);
    setMessage("updates.waiting");
    return true;
}

void UpdateManager::installWhenIdle()
{
    if (!m_model || m_model->isEnding() || !m_model->isIdle() || !m_pendingInstall)
        return;
    const std::function<void()> install = std::exchange(m_pendingInstall, nullptr);
    m_model->prepareForUpdate();
    install();
}

bool UpdateManager::shouldPostponeRelaunch(std::function<void()> install)
{
    return requestInstallation(std::move(install));
}

void UpdateManager::didFinishUpdateCycle(const std::optional<UpdateError> &error)
{
    m_pendingInstall = nullptr;
    if (!error)
        setMessage("updates.ready");
    else
        setMessage(error->kind() == UpdateError::Kind::NoUpdate ? "updates.current" : "updates.unavailable");
    if (m_model && m_model->installingUpdate()) {
        m_model->setInstallingUpdate(false);
        m_model->restartWatcher();
    }
}

void UpdateManager::setMessage(const char *key)
{
    m_message = QString::fromLatin1(key);
    Q_EMIT changed();
}

} // namespace quorvalent
