#pragma once

#include <QByteArray>
#include <QMap>
#include <QTcpServer>
#include <QUrl>

#include <string>
#include <vector>

namespace quorvalent::test {

/// A web server on this machine's loopback interface, for files and for misbehaving.
class HttpServer
{
public:
    struct Page
    {
        QByteArray content;
        int status = 200;
        QByteArray location = {};         ///< where a redirection leads
        std::vector<qsizetype> cuts = {}; ///< the n-th connection breaks off after so many bytes of content
        bool isSilent = false;            ///< accepts, and says nothing, or nothing after the cut, and stays
        bool isLast = false;              ///< who asks once more finds no one
        bool knowsRanges = true;
    };

    HttpServer();

    /// At the same port as before.
    void listen();
    [[nodiscard]] QUrl url(const char *path) const;
    /// Later requests find no one.
    void stop() { m_server.close(); }

    QMap<QByteArray, Page> pages;      ///< by path
    std::vector<std::string> requests; ///< path, and the range if one was asked for: "/a bytes=5-"

private:
    void answer(QTcpSocket &socket, const QByteArray &header);

    QTcpServer m_server;
    quint16 m_port = 0; ///< any, at first
};

} // namespace quorvalent::test
