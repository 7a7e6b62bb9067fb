#include "support/HttpServer.h"

#include <QTcpSocket>

#include <stdexcept>

namespace quorvalent::test {

namespace {

QByteArray rangeIn(const QByteArray &header)
{
    for (const QByteArray &line : header.split('\n')) {
        if (line.toLower().startsWith("range:"))
            return line.mid(6).trimmed();
    }
    return {};
}

} // namespace

HttpServer::HttpServer()
{
    listen();
    QObject::connect(&m_server, &QTcpServer::newConnection, [this] {
        QTcpSocket *socket = m_server.nextPendingConnection();
        QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        QObject::connect(socket, &QTcpSocket::readyRead, [this, socket] {
            const QByteArray header = socket->peek(socket->bytesAvailable());
            if (!header.contains("\r\n\r\n"))
                return;
            (void)socket->readAll();
            answer(*socket, header);
        });
    });
}

void HttpServer::listen()
{
    if (!m_server.isListening() && !m_server.listen(QHostAddress::LocalHost, m_port))
        throw std::runtime_error("no server");
    m_port = m_server.serverPort();
}

QUrl HttpServer::url(const char *path) const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(m_port).arg(QLatin1StringView(path)));
}

void HttpServer::answer(QTcpSocket &socket, const QByteArray &header)
{
    const QByteArray path = header.split(' ').value(1);
    const QByteArray range = rangeIn(header);
    requests.push_back((range.isEmpty() ? path : path + ' ' + range).toStdString());
    if (!pages.contains(path)) {
        socket.write("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
        socket.disconnectFromHost();
        return;
    }
    Page &page = pages[path];
    if (page.isLast)
        stop();
    if (page.isSilent && page.cuts.empty())
        return;
    const qsizetype start = page.knowsRanges && !range.isEmpty() ? range.mid(6).chopped(1).toLongLong() : 0;
    QByteArray content = page.content.mid(start);
    QByteArray reply = "HTTP/1.1 " + QByteArray::number(start > 0 ? 206 : page.status) + " Here\r\n";
    reply += "Content-Length: " + QByteArray::number(content.size()) + "\r\nConnection: close\r\n";
    if (start > 0)
        reply += "Content-Range: bytes " + QByteArray::number(start) + '-' +
                 QByteArray::number(page.content.size() - 1) + '/' + QByteArray::number(page.content.size()) +
                 "\r\n";
    if (!page.location.isEmpty())
        reply += "Location: " + page.location + "\r\n";
    if (!page.cuts.empty()) {
        content.truncate(page.cuts.front());
        page.cuts.erase(page.cuts.begin());
    }
    socket.write(reply + "\r\n" + content);
    if (!page.isSilent)
        socket.disconnectFromHost();
}

} // namespace quorvalent::test
