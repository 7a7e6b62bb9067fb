#include "platform/update/Download.h"

#include "platform/Error.h"

#include <QHostAddress>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

constexpr int wholeContent = 200;
constexpr int partialContent = 206;
constexpr int firstRefusal = 400;
constexpr int rangeNotSatisfiable = 416;
constexpr int mostRedirects = 5;
constexpr qint64 readBlockBytes = 1LL << 18U;

const QString unreachable = u"Le serveur de mises à jour est injoignable."_s;
const QString badAnswer = u"La réponse du serveur de mises à jour n’est pas valide."_s;

void writeAll(int file, const QByteArray &bytes, const std::filesystem::path &path)
{
    for (qsizetype done = 0; done < bytes.size();) {
        const ssize_t count =
            ::write(file, bytes.constData() + done, static_cast<std::size_t>(bytes.size() - done));
        if (count < 0 && errno != EINTR)
            throw FileError(errno, path);
        done += count > 0 ? count : 0;
    }
}

int statusOf(const QNetworkReply &reply)
{
    return reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

bool hasContent(const QNetworkReply &reply)
{
    const int status = statusOf(reply);
    return status == wholeContent || status == partialContent;
}

/// The first byte that a "Content-Range: bytes 5-9/10" holds, or -1.
qint64 rangeStart(const QNetworkReply &reply)
{
    const QByteArray range = reply.rawHeader("Content-Range");
    bool valid = false;
    const qint64 start = range.startsWith("bytes ") ? range.mid(6).split('-').first().toLongLong(&valid) : -1;
    return valid ? start : -1;
}

bool isThisMachine(const QUrl &address)
{
    return QHostAddress(address.host()).isLoopback();
}

} // namespace

Download::Download(QNetworkAccessManager &network, Request request, DownloadLimits limits, Finish finish)
    : m_network(network)
    , m_request(std::move(request))
    , m_limits(std::move(limits))
    , m_finish(std::move(finish))
    , m_deadline(m_limits.total, [this] { fail(UpdateError::Kind::Unreachable, unreachable); })
    // Even a failure at once is told after the constructor.
    , m_resumption(std::chrono::milliseconds(0), [this] { begin(); })
{}

Download::~Download()
{
    dropReply();
}

bool Download::isTrusted(const QUrl &address)
{
    if (!address.isValid() || address.host().isEmpty())
        return false;
    if (address.scheme() == "https"_L1)
        return true;
    return address.scheme() == "http"_L1 && isThisMachine(address);
}

bool Download::mayLead(const QUrl &from, const QUrl &target)
{
    return isTrusted(target) && (isThisMachine(from) || !isThisMachine(target));
}

void Download::begin()
{
    if (!isTrusted(m_request.address)) {
        fail(UpdateError::Kind::BadFeed, badAnswer);
        return;
    }
    if (isThisMachine(m_request.address)) {
        send(QNetworkProxy::NoProxy);
        return;
    }
    // The answer may have to be fetched and computed first, which must not hold up the windows.
    try {
        postToBackground([self = QPointer(this), query = QNetworkProxyQuery(m_request.address)] {
            const QNetworkProxy proxy = QNetworkProxyFactory::systemProxyForQuery(query).value(0);
            postToMain([self, proxy] {
                if (self && self->m_finish)
                    self->send(proxy);
            });
        });
    } catch (const FileError &noThread) {
        fail(UpdateError::Kind::Failed, noThread.errorDescription());
    }
}

void Download::send(const QNetworkProxy &proxy)
{
    m_network.setProxy(proxy);
    QNetworkRequest request(m_request.address);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::UserVerifiedRedirectPolicy);
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    request.setTransferTimeout(static_cast<int>(m_limits.silence.count()));
    // What is signed is the file itself, and a range counts its bytes.
    request.setRawHeader("Accept-Encoding", "identity");
    if (m_receivedBytes > 0)
        request.setRawHeader("Range", "bytes=" + QByteArray::number(m_receivedBytes) + '-');

    m_hasHeader = false;
    m_redirects = 0;
    m_stretchStart = m_limits.now();
    m_stretchStartBytes = m_receivedBytes;
    m_reply = m_network.get(request);
    m_reply->setReadBufferSize(4 * readBlockBytes);
    connect(m_reply, &QNetworkReply::redirected, this, [this](const QUrl &target) {
        m_wasReached = true;
        // Counted here, because Qt's own limit is an error like a lost connection from 6.5 on, and none
        // before.
        if (++m_redirects <= mostRedirects && mayLead(m_request.address, target))
            Q_EMIT m_reply->redirectAllowed();
        else
            fail(UpdateError::Kind::Unreachable, badAnswer);
    });
    connect(m_reply, &QNetworkReply::readyRead, this, [this] {
        readContent();
        keepPace();
    });
    connect(m_reply, &QNetworkReply::finished, this, &Download::endOfReply);
}

void Download::readHeader()
{
    m_hasHeader = true;
    m_wasReached = true;
    const int status = statusOf(*m_reply);
    m_replyStartBytes = m_receivedBytes;
    if (m_receivedBytes == 0 || (status == partialContent && rangeStart(*m_reply) == m_receivedBytes))
        return;
    // The server begins anew, and so do we.
    m_receivedBytes = 0;
    m_replyStartBytes = 0;
    m_stretchStartBytes = 0;
    if (::ftruncate(m_request.file.get(), 0) != 0 || ::lseek(m_request.file.get(), 0, SEEK_SET) != 0)
        fail(UpdateError::Kind::Failed, FileError(errno, m_request.path).errorDescription());
}

void Download::readContent()
{
    if (m_reply->error() != QNetworkReply::NoError || !hasContent(*m_reply))
        return; // the text of an error page
    if (!m_hasHeader)
        readHeader();
    while (m_reply != nullptr && m_reply->bytesAvailable() > 0) {
        const QByteArray block = m_reply->read(readBlockBytes);
        if (m_receivedBytes + block.size() > m_request.largestBytes) {
            fail(UpdateError::Kind::BadArchive, badAnswer);
            return;
        }
        try {
            writeAll(m_request.file.get(), block, m_request.path);
        } catch (const FileError &failure) {
            fail(UpdateError::Kind::Failed, failure.errorDescription());
            return;
        }
        m_receivedBytes += block.size();
    }
    if (m_reply != nullptr) {
        const QVariant rest = m_reply->header(QNetworkRequest::ContentLengthHeader);
        const qint64 total = rest.isValid() ? std::max(rest.toLongLong(), m_receivedBytes) : -1;
        Q_EMIT progressed(m_receivedBytes, total);
    }
}

void Download::keepPace()
{
    const auto now = m_limits.now();
    if (m_reply == nullptr || now - m_stretchStart < m_limits.stretch)
        return;
    if (m_receivedBytes - m_stretchStartBytes < m_limits.leastBytes) {
        resumeOrFail();
        return;
    }
    m_stretchStart = now;
    m_stretchStartBytes = m_receivedBytes;
}

void Download::endOfReply()
{
    if (m_reply->error() == QNetworkReply::NoError) {
        if (!hasContent(*m_reply)) {
            fail(UpdateError::Kind::Unreachable, badAnswer);
            return;
        }
        readContent();
        if (m_reply == nullptr)
            return;
        // A connection that ends together with its first bytes can pass for a complete answer.
        const QVariant length = m_reply->header(QNetworkRequest::ContentLengthHeader);
        if (length.isValid() && m_receivedBytes - m_replyStartBytes < length.toLongLong())
            resumeOrFail();
        else
            finish(std::nullopt);
        return;
    }
    const int status = statusOf(*m_reply);
    if (status == rangeNotSatisfiable && m_receivedBytes > 0) {
        finish(std::nullopt); // all of it was there already
        return;
    }
    const bool isBroken = status < firstRefusal;
    if (isBroken && (m_wasReached || m_request.isPatient))
        resumeOrFail();
    else
        fail(UpdateError::Kind::Unreachable, unreachable);
}

void Download::resumeOrFail()
{
    if (m_resumptions == m_limits.resumptions) {
        fail(UpdateError::Kind::Unreachable, unreachable);
        return;
    }
    dropReply();
    const auto pause = m_limits.pause * (1LL << m_resumptions++);
    m_resumption = DelayedTask(pause, [this] { begin(); });
}

void Download::fail(UpdateError::Kind kind, const QString &sentence)
{
    finish(UpdateError(kind, sentence));
}

void Download::finish(const std::optional<UpdateError> &error)
{
    dropReply();
    m_deadline.cancel();
    m_resumption.cancel();
    m_request.file.close();
    // From the event loop, because the answer may destroy this object.
    if (Finish answer = std::exchange(m_finish, nullptr))
        m_resumption =
            DelayedTask(std::chrono::milliseconds(0), [answer = std::move(answer), error] { answer(error); });
}

void Download::dropReply()
{
    if (m_reply == nullptr)
        return;
    QNetworkReply *reply = std::exchange(m_reply, nullptr);
    reply->disconnect(this);
    reply->abort();
    reply->deleteLater();
}

} // namespace quorvalent
