#include "ui/Appearance.h"

#include "ui/Style.h"
#include "ui/Theme.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QToolTip>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

const QString portal = u"org.freedesktop.portal.Desktop"_s;
const QString portalPath = u"/org/freedesktop/portal/desktop"_s;
const QString settings = u"org.freedesktop.portal.Settings"_s;

const QString appearanceGroup = u"org.freedesktop.appearance"_s;
const QString colourScheme = u"color-scheme"_s; // 0 no preference, 1 dark, 2 light
const QString reducedMotion = u"reduced-motion"_s;
const QString gnomeGroup = u"org.gnome.desktop.interface"_s;
const QString enableAnimations = u"enable-animations"_s;

// The portal wraps a value in one variant or in two, depending on its version and on the call.
QVariant unwrapped(QVariant value)
{
    while (value.metaType() == QMetaType::fromType<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

} // namespace

Appearance::Appearance(Style &style, QObject *parent)
    : QObject(parent)
    , m_style(style)
    , m_paletteIsDark(Theme::isDarkPalette(QApplication::palette()))
{
    apply();
}

void Appearance::followSession()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    // Qt D-Bus makes the type known by its name from a thread of its own, too late for the slot to be found.
    qRegisterMetaType<QDBusVariant>();
    bus.connect(portal, portalPath, settings, u"SettingChanged"_s, this,
                SLOT(onSettingChanged(QString, QString, QDBusVariant)));
    // A portal that comes later, or again.
    auto *watcher = new QDBusServiceWatcher(portal, bus, QDBusServiceWatcher::WatchForRegistration, this);
    connect(watcher, &QDBusServiceWatcher::serviceRegistered, this, &Appearance::askAll);
    askAll();
}

void Appearance::askAll()
{
    ask(appearanceGroup, colourScheme);
    ask(appearanceGroup, reducedMotion);
    ask(gnomeGroup, enableAnimations);
}

void Appearance::ask(const QString &group, const QString &key)
{
    QDBusMessage call = QDBusMessage::createMethodCall(portal, portalPath, settings, u"Read"_s);
    call << group << key;
    auto *pending = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending, group, key] {
        const QDBusPendingReply<QDBusVariant> reply = *pending;
        if (reply.isValid())
            take(group, key, unwrapped(reply.value().variant()));
        pending->deleteLater();
    });
}

void Appearance::onSettingChanged(const QString &group, const QString &key, const QDBusVariant &value)
{
    take(group, key, unwrapped(value.variant()));
}

void Appearance::take(const QString &group, const QString &key, const QVariant &value)
{
    if (group == appearanceGroup && key == colourScheme) {
        const uint scheme = value.toUInt();
        m_sessionIsDark = scheme == 1   ? std::optional(true)
                          : scheme == 2 ? std::optional(false)
                                        : std::nullopt;
        apply();
    } else if (group == appearanceGroup && key == reducedMotion) {
        m_wantsReducedMotion = value.toUInt() == 1;
    } else if (group == gnomeGroup && key == enableAnimations) {
        m_hasAnimations = value.toBool();
    }
    m_style.setReducedMotion(m_wantsReducedMotion || !m_hasAnimations);
}

void Appearance::setChoice(AppModel::Appearance choice)
{
    m_choice = choice;
    apply();
}

void Appearance::apply()
{
    const bool dark = m_choice == AppModel::Appearance::System ? m_sessionIsDark.value_or(m_paletteIsDark)
                                                               : m_choice == AppModel::Appearance::Dark;
    const QPalette palette = (dark ? Theme::dark() : Theme::light()).palette();
    QApplication::setPalette(palette);
    QToolTip::setPalette(palette);
}

} // namespace quorvalent
