#pragma once

#include "platform/update/UpdateError.h"

#include <QObject>

#include <chrono>
#include <functional>
#include <optional>

namespace quorvalent {

/// Whom an updater asks and tells. Main thread.
class UpdaterDelegate
{
public:
    UpdaterDelegate() = default;
    UpdaterDelegate(const UpdaterDelegate &) = delete;
    UpdaterDelegate &operator=(const UpdaterDelegate &) = delete;
    virtual ~UpdaterDelegate() = default;

    /// Everything is ready to replace the program. True keeps `install` for later: the installation then goes
    /// on when it is called. False lets the updater proceed at once.
    [[nodiscard]] virtual bool shouldPostponeRelaunch(std::function<void()> install) = 0;

    /// A check, with whatever followed from it, is over and the program still runs. Kind::NoUpdate is the
    /// answer when there is nothing newer.
    virtual void didFinishUpdateCycle(const std::optional<UpdateError> &error) = 0;
};

/// Finds, fetches and installs new versions of the program. Main thread.
class Updater : public QObject
{
    Q_OBJECT

public:
    /// Must come before everything else, and may be repeated after it has thrown UpdateError: this copy has
    /// no feed to look at. The delegate outlives the updater or hears nothing any more.
    virtual void start(UpdaterDelegate &delegate) = 0;

    /// No check is under way.
    [[nodiscard]] virtual bool canCheckForUpdates() const = 0;
    [[nodiscard]] virtual bool automaticallyChecksForUpdates() const = 0;
    /// Stored for later launches.
    virtual void setAutomaticallyChecksForUpdates(bool enabled) = 0;
    virtual void setUpdateCheckInterval(std::chrono::seconds interval) = 0;

    /// Shows something only when there is an update.
    virtual void checkForUpdatesInBackground() = 0;
    /// The user asked: shows its progress and every outcome.
    virtual void checkForUpdates() = 0;

Q_SIGNALS:
    /// canCheckForUpdates() or automaticallyChecksForUpdates() may have another value.
    void changed();
};

} // namespace quorvalent
