#pragma once

#include <QDBusConnection>
#include <QDBusUnixFileDescriptor>
#include <QObject>

#include <functional>
#include <optional>

namespace quorvalent {

/// Asks the desktop not to end the session, and the system not to shut down, while there is a reason. Both
/// tell the user the reason and let him overrule it. Where one of them cannot be asked, nothing happens:
/// then it is the termination signal that the program answers. Main thread; never blocks.
class SessionInhibitor : public QObject
{
    Q_OBJECT

public:
    /// The buses are connected to when they are first needed.
    struct Buses
    {
        std::function<QDBusConnection()> session;
        std::function<QDBusConnection()> system;
    };

    SessionInhibitor();
    explicit SessionInhibitor(Buses buses);
    ~SessionInhibitor() override;

    /// From now on there is a reason, one sentence for the user; while it is held, nothing more happens.
    void hold(const QString &reason);
    /// There is none any more.
    void release();

private:
    void askSystem(const QString &mode);
    void askSession();
    void takeBack(uint cookie) const;

    Buses m_buses;
    std::optional<QString> m_reason;
    QDBusUnixFileDescriptor m_systemLock; ///< the system waits as long as this is open
    std::optional<uint> m_sessionCookie;
};

} // namespace quorvalent
