#pragma once

#include "platform/Updater.h"

#include <QObject>
#include <QPointer>
#include <QString>

#include <chrono>
#include <functional>
#include <memory>

namespace quorvalent {

class AppModel;

/// Decides when an update may be installed: never while a conversion runs or waits, and then exactly once.
/// Main thread. The model may end first; nothing is postponed or installed from then on.
class UpdateManager : public QObject, private UpdaterDelegate
{
    Q_OBJECT

public:
    /// A preview never asks its updater for anything, and needs none.
    UpdateManager(AppModel &model, std::unique_ptr<Updater> updater,
                  std::chrono::seconds checkInterval = std::chrono::hours(4));
    ~UpdateManager() override;

    /// Whether the user can ask for a check now.
    [[nodiscard]] bool canCheck() const { return m_canCheck; }
    [[nodiscard]] bool automatic() const { return m_automatic; }
    /// Key of the text on the state of the last check.
    [[nodiscard]] const QString &message() const { return m_message; }

    /// Starts the updater once, and checks at once when automatic checks are on. A start that failed is tried
    /// again by the next call, check() or setAutomatic().
    void start();
    /// The user's own check, with its dialogs.
    void check();
    void setAutomatic(bool enabled);

    /// Whether the installation has to wait; `install` then runs once nothing converts and nothing waits.
    /// When it need not wait, the model has been prepared for the update.
    [[nodiscard]] bool requestInstallation(std::function<void()> install);
    /// A job is over: installs what waits for that, if nothing converts or waits.
    void installWhenIdle();

Q_SIGNALS:
    void changed();

private:
    [[nodiscard]] bool isActive() const;
    void setMessage(const char *key);
    void followUpdater();
    [[nodiscard]] bool shouldPostponeRelaunch(std::function<void()> install) override;
    void didFinishUpdateCycle(const std::optional<UpdateError> &error) override;

    QPointer<AppModel> m_model;
    std::unique_ptr<Updater> m_updater;
    std::chrono::seconds m_checkInterval;
    bool m_started = false;
    bool m_canCheck;
    bool m_automatic = true;
    QString m_message;
    std::function<void()> m_pendingInstall;
};

} // namespace quorvalent
