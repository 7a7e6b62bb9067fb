#include "ui/desktop/ApplicationService.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

const QString objectPath =
    u"/org/quorvalent/Quorvalent"_s; // the bus name with slashes, as the interface wants

} // namespace

QString ApplicationService::name()
{
    return u"org.quorvalent.Quorvalent"_s;
}

ApplicationService::ApplicationService(Actions actions, QObject *parent)
    : QDBusAbstractAdaptor(parent)
    , m_actions(std::move(actions))
{}

ApplicationService::Claim ApplicationService::claim()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return Claim::NoBus;
    // The object before the name, so that no activation comes too early.
    bus.registerObject(objectPath, parent());
    const auto reply = bus.interface()->registerService(name(), QDBusConnectionInterface::DontQueueService,
                                                        QDBusConnectionInterface::DontAllowReplacement);
    if (reply.value() == QDBusConnectionInterface::ServiceRegistered)
        return Claim::First;
    bus.unregisterObject(objectPath);
    QDBusMessage call =
        QDBusMessage::createMethodCall(name(), objectPath, u"org.freedesktop.Application"_s, u"Activate"_s);
    call << QVariantMap{{u"desktop-startup-id"_s, qEnvironmentVariable("DESKTOP_STARTUP_ID")}};
    bus.call(call);
    return Claim::Running;
}

void ApplicationService::release()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.unregisterService(name());
    bus.unregisterObject(objectPath);
}

void ApplicationService::Activate(const QVariantMap & /*platformData*/)
{
    m_actions.activate();
}

void ApplicationService::Open(const QStringList & /*uris*/, const QVariantMap & /*platformData*/)
{
    m_actions.activate();
}

void ApplicationService::ActivateAction(const QString &action, const QVariantList & /*parameter*/,
                                        const QVariantMap & /*platformData*/)
{
    if (action == u"settings"_s)
        m_actions.settings();
    else if (action == u"pause"_s)
        m_actions.togglePause();
    else if (action == u"quit"_s)
        m_actions.quit();
}

} // namespace quorvalent
