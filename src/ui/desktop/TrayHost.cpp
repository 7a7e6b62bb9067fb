#include "ui/desktop/TrayHost.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

const QString watcherService = u"org.kde.StatusNotifierWatcher"_s;
const QString watcherPath = u"/StatusNotifierWatcher"_s;

} // namespace

TrayHost::TrayHost(QObject *parent)
    : QObject(parent)
{}

void TrayHost::start()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected()) {
        auto *services =
            new QDBusServiceWatcher(watcherService, bus, QDBusServiceWatcher::WatchForRegistration, this);
        connect(services, &QDBusServiceWatcher::serviceRegistered, this, &TrayHost::askBus);
        bus.connect(watcherService, watcherPath, watcherService, u"StatusNotifierHostRegistered"_s, this,
                    SLOT(setReady()));
        askBus();
    }
    if (X11Desktop::hasTray())
        setReady();
    else
        m_windows = std::make_unique<X11Desktop::TrayWatch>([this] { setReady(); });
}

void TrayHost::askBus()
{
    QDBusMessage call = QDBusMessage::createMethodCall(watcherService, watcherPath,
                                                       u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
    call << watcherService << u"IsStatusNotifierHostRegistered"_s;
    call.setAutoStartService(false);
    auto *pending = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending] {
        const QDBusPendingReply<QDBusVariant> reply = *pending;
        if (reply.isValid() && reply.value().variant().toBool())
            setReady();
        pending->deleteLater();
    });
}

void TrayHost::setReady()
{
    if (m_ready)
        return;
    m_ready = true;
    // Not at once: this may run inside the watch.
    QMetaObject::invokeMethod(
        this, [this] { m_windows.reset(); }, Qt::QueuedConnection);
    Q_EMIT ready();
}

} // namespace quorvalent
