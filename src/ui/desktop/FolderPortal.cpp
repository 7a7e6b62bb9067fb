#include "ui/desktop/FolderPortal.h"

#include "i18n/Localization.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QRandomGenerator>
#include <QUrl>
#include <QWidget>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

const QString portal = u"org.freedesktop.portal.Desktop"_s;
const QString portalPath = u"/org/freedesktop/portal/desktop"_s;
const QString chooser = u"org.freedesktop.portal.FileChooser"_s;
constexpr uint firstWithFolders = 3;

} // namespace

FolderPortal::FolderPortal(QWidget &window, Answer answer)
    : QObject(&window)
    , m_window(window)
    , m_answer(std::move(answer))
{
    askVersion();
}

void FolderPortal::giveUp()
{
    m_answer.unavailable();
    deleteLater();
}

void FolderPortal::askVersion()
{
    QDBusMessage call =
        QDBusMessage::createMethodCall(portal, portalPath, u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
    call << chooser << u"version"_s;
    auto *pending = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending] {
        const QDBusPendingReply<QDBusVariant> reply = *pending;
        if (reply.isValid() && reply.value().variant().toUInt() >= firstWithFolders)
            open();
        else
            giveUp();
    });
}

void FolderPortal::open()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    const QString token = u"quorvalent%1"_s.arg(QRandomGenerator::global()->generate());
    // Where the answer will come from is known before the question, so that it cannot be missed.
    const QString sender = bus.baseService().mid(1).replace(u'.', u'_');
    bus.connect(portal, u"/org/freedesktop/portal/desktop/request/%1/%2"_s.arg(sender, token),
                u"org.freedesktop.portal.Request"_s, u"Response"_s, this,
                SLOT(onResponse(uint, QVariantMap)));
    const QString parent = QGuiApplication::platformName() == u"xcb"_s
                               ? u"x11:%1"_s.arg(m_window.window()->winId(), 0, 16)
                               : QString();
    QDBusMessage call = QDBusMessage::createMethodCall(portal, portalPath, chooser, u"OpenFile"_s);
    call << parent << L(u"Les changements d’extension dans ces dossiers déclencheront une conversion."_s)
         << QVariantMap{{u"handle_token"_s, token},
                        {u"accept_label"_s, L(u"Ajouter"_s)},
                        {u"multiple"_s, true},
                        {u"directory"_s, true},
                        {u"modal"_s, true}};
    auto *pending = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending] {
        const QDBusPendingReply<QDBusObjectPath> reply = *pending;
        if (reply.isError())
            giveUp();
    });
}

void FolderPortal::onResponse(uint response, const QVariantMap &results)
{
    constexpr uint accepted = 0;
    std::vector<std::filesystem::path> folders;
    if (response == accepted) {
        for (const QString &uri : results.value(u"uris"_s).toStringList()) {
            const QUrl url(uri);
            if (url.isLocalFile())
                // Names are bytes; a detour over text would lose those that are no UTF-8.
                folders.emplace_back(
                    QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1()).toStdString());
        }
    }
    if (!folders.empty())
        m_answer.chosen(folders);
    deleteLater();
}

} // namespace quorvalent
