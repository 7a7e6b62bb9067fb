#pragma once

#include "platform/Dispatch.h"
#include "platform/FileDescriptor.h"
#include "platform/update/UpdateError.h"

#include <QObject>
#include <QUrl>

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>

class QNetworkAccessManager;
class QNetworkProxy;
class QNetworkReply;

namespace quorvalent {

/// How long a download waits, and how often it takes up a broken connection.
struct DownloadLimits
{
    std::chrono::milliseconds silence =
        std::chrono::seconds(30); ///< without a byte, the connection counts as broken
    /// A connection that brings less than `leastBytes` in a stretch counts as broken, too: a server that
    /// sends a byte now and then is not silent. The slowest that is good enough takes `total` for a whole
    /// bundle.
    std::chrono::milliseconds stretch = std::chrono::minutes(1);
    qint64 leastBytes = 64LL << 10U;
    std::function<std::chrono::steady_clock::time_point()> now = &std::chrono::steady_clock::now;
    std::chrono::milliseconds total = std::chrono::hours(6);
    int resumptions = 5;
    std::chrono::milliseconds pause =
        std::chrono::seconds(2); ///< before the first resumption; doubles each time
};

/// Fetches one file over https, through the proxy that the system names; plain http is good enough within
/// this machine alone. Main thread; destroying it ends the transfer without a call.
class Download : public QObject
{
    Q_OBJECT

public:
    struct Request
    {
        QUrl address;
        FileDescriptor file;        ///< empty, open for writing
        std::filesystem::path path; ///< of the file, for the sentence when it cannot be written
        qint64 largestBytes = 0;
        bool isPatient = true; ///< a server that never answered is asked again, too
    };
    /// Nothing after a success.
    using Finish = std::function<void(const std::optional<UpdateError> &)>;

    Download(QNetworkAccessManager &network, Request request, DownloadLimits limits, Finish finish);
    ~Download() override;

    /// An address that may be asked: https, or http to this machine itself.
    [[nodiscard]] static bool isTrusted(const QUrl &address);
    /// Whether an answer may lead there. No server elsewhere sends us to this machine's own services.
    [[nodiscard]] static bool mayLead(const QUrl &from, const QUrl &target);

Q_SIGNALS:
    /// `totalBytes` is -1 while the server has not said.
    void progressed(qint64 receivedBytes, qint64 totalBytes);

private:
    void begin();
    void send(const QNetworkProxy &proxy);
    void readHeader();
    void readContent();
    void keepPace();
    void endOfReply();
    void resumeOrFail();
    void fail(UpdateError::Kind kind, const QString &sentence);
    void finish(const std::optional<UpdateError> &error);
    void dropReply();

    QNetworkAccessManager &m_network;
    Request m_request;
    DownloadLimits m_limits;
    Finish m_finish;
    qint64 m_receivedBytes = 0;
    QNetworkReply *m_reply = nullptr;
    std::chrono::steady_clock::time_point m_stretchStart; ///< of this connection's latest stretch
    qint64 m_replyStartBytes = 0; ///< what was there when the answer that comes in began
    qint64 m_stretchStartBytes = 0;
    bool m_hasHeader = false;
    bool m_wasReached = false; ///< the server has answered at least once
    int m_redirects = 0;       ///< of the present reply
    int m_resumptions = 0;
    DelayedTask m_deadline;
    DelayedTask m_resumption;
};

} // namespace quorvalent
