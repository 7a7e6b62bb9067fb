#include "ui/desktop/FileManager.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QFile>
#include <QUrl>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

QUrl urlOf(const std::filesystem::path &file)
{
    return QUrl::fromLocalFile(QFile::decodeName(file.c_str()));
}

} // namespace

void showInFileManager(const std::filesystem::path &file)
{
    const QUrl folder = urlOf(file.parent_path());
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        QDesktopServices::openUrl(folder);
        return;
    }
    QDBusMessage call =
        QDBusMessage::createMethodCall(u"org.freedesktop.FileManager1"_s, u"/org/freedesktop/FileManager1"_s,
                                       u"org.freedesktop.FileManager1"_s, u"ShowItems"_s);
    call << QStringList(QString::fromLatin1(urlOf(file).toEncoded())) << QString();
    auto *pending = new QDBusPendingCallWatcher(bus.asyncCall(call), qApp);
    QObject::connect(pending, &QDBusPendingCallWatcher::finished, pending, [pending, folder] {
        if (pending->isError())
            QDesktopServices::openUrl(folder);
        pending->deleteLater();
    });
}

} // namespace quorvalent
