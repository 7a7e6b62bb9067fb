#include "ui/desktop/SessionInhibitor.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include <utility>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

const QString programName = u"Quorvalent"_s;

QDBusMessage loginCall(const QString &method)
{
    return QDBusMessage::createMethodCall(u"org.freedesktop.login1"_s, u"/org/freedesktop/login1"_s,
                                          u"org.freedesktop.login1.Manager"_s, method);
}

// GNOME, MATE and Cinnamon; the others ask their programs themselves, through the X session protocol.
QDBusMessage sessionCall(const QString &method)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        u"org.gnome.SessionManager"_s, u"/org/gnome/SessionManager"_s, u"org.gnome.SessionManager"_s, method);
    call.setAutoStartService(false);
    return call;
}

} // namespace

SessionInhibitor::SessionInhibitor()
    : SessionInhibitor({.session = &QDBusConnection::sessionBus, .system = &QDBusConnection::systemBus})
{}

SessionInhibitor::SessionInhibitor(Buses buses)
    : m_buses(std::move(buses))
{}

SessionInhibitor::~SessionInhibitor()
{
    release();
}

void SessionInhibitor::hold(const QString &reason)
{
    if (m_reason)
        return;
    m_reason = reason;
    askSystem(u"block"_s);
    askSession();
}

void SessionInhibitor::release()
{
    m_reason.reset();
    m_systemLock = {};
    if (const std::optional<uint> cookie = std::exchange(m_sessionCookie, std::nullopt))
        takeBack(*cookie);
}

void SessionInhibitor::askSystem(const QString &mode)
{
    QDBusMessage call = loginCall(u"Inhibit"_s);
    call.setAutoStartService(false);
    call << u"shutdown"_s << programName << *m_reason << mode;
    auto *pending = new QDBusPendingCallWatcher(m_buses.system().asyncCall(call), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending, mode] {
        pending->deleteLater();
        const QDBusPendingReply<QDBusUnixFileDescriptor> reply = *pending;
        if (!m_reason)
            return; // the lock, if we were given one, closes with the reply
        if (reply.isValid())
            m_systemLock = reply.value();
        else if (mode == u"block"_s)
            askSystem(u"delay"_s); // some systems let a user only ask for a few seconds
    });
}

void SessionInhibitor::askSession()
{
    constexpr uint noWindow = 0;
    constexpr uint againstLogout = 1;
    QDBusMessage call = sessionCall(u"Inhibit"_s);
    call << programName << noWindow << *m_reason << againstLogout;
    auto *pending = new QDBusPendingCallWatcher(m_buses.session().asyncCall(call), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending] {
        pending->deleteLater();
        const QDBusPendingReply<uint> reply = *pending;
        if (!reply.isValid())
            return;
        // An answer may come when its reason is gone, or a later question was answered already.
        if (m_reason && !m_sessionCookie)
            m_sessionCookie = reply.value();
        else
            takeBack(reply.value());
    });
}

void SessionInhibitor::takeBack(uint cookie) const
{
    QDBusMessage call = sessionCall(u"Uninhibit"_s);
    call << cookie;
    static_cast<void>(m_buses.session().send(call));
}

} // namespace quorvalent
