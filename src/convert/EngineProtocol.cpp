#include "convert/EngineProtocol.h"

#include <QDataStream>
#include <QIODevice>

#include <algorithm>
#include <cmath>

namespace quorvalent::EngineProtocol {

namespace {

constexpr QDataStream::Version version = QDataStream::Qt_6_4;
constexpr quint32 longestBody = 128 * 1024; // bytes
constexpr qint32 mostThreads = 1024;
constexpr qsizetype longestSentence = 2048; // characters: the end of FFmpeg's log and a name, several times
constexpr qsizetype longestRemark = 512;    // characters; all of them together fit into a body
constexpr qsizetype mostRemarks = 64;
constexpr std::size_t longestName = 255; // bytes, as everywhere in Linux
constexpr std::size_t longestExtension = 8;

enum class Kind : quint8 {
    Conversion = 1,
    Check,
    Begin,
    Look,
    Progress = 16,
    Done,
    Verdict,
    Failure,
    OutOfMemory
};

void require(bool keepsTheProtocol)
{
    if (!keepsTheProtocol)
        throw ProtocolError();
}

bool isPlainName(const std::string &name)
{
    return !name.empty() && name.size() <= longestName && name != "." && name != ".." &&
           name.find('/') == std::string::npos && name.find('\0') == std::string::npos;
}

bool isAbsolutePath(const std::string &path)
{
    return path.starts_with('/') && path.find('\0') == std::string::npos;
}

bool isPlainExtension(const std::string &extension)
{
    return !extension.empty() && extension.size() <= longestExtension &&
           std::ranges::all_of(extension, [](char sign) {
               return (sign >= 'a' && sign <= 'z') || (sign >= '0' && sign <= '9');
           });
}

// A line feed is part of what FFmpeg says; any other control character is there to fool a terminal.
bool isControl(QChar character)
{
    return character.category() == QChar::Other_Control && character != u'\n';
}

bool isFraction(double value)
{
    return std::isfinite(value) && value >= 0.0 && value <= 1.0;
}

// Bodies, to be written and read: the fields in order, bytes and texts with their length in front.

bool readFlag(QDataStream &body)
{
    quint8 flag = 0;
    body >> flag;
    require(flag <= 1);
    return flag == 1;
}

void writeText(QDataStream &body, const QString &text, qsizetype longest)
{
    QString fit = text.left(longest);
    std::replace_if(fit.begin(), fit.end(), isControl, u' ');
    body << fit.toUtf8();
}

QString readText(QDataStream &body, qsizetype longest)
{
    QByteArray utf8;
    body >> utf8;
    require(utf8.isValidUtf8());
    const QString text = QString::fromUtf8(utf8);
    require(!text.isEmpty() && text.size() <= longest && std::none_of(text.cbegin(), text.cend(), isControl));
    return text;
}

QDataStream &operator<<(QDataStream &stream, const WorkFiles &files)
{
    return stream << QByteArray::fromStdString(files.source) << QByteArray::fromStdString(files.output);
}

QDataStream &operator>>(QDataStream &stream, WorkFiles &files)
{
    QByteArray source;
    QByteArray output;
    stream >> source >> output;
    files = {source.toStdString(), output.toStdString()};
    require(isPlainName(files.source) && isPlainName(files.output) && files.source != files.output);
    return stream;
}

void write(QDataStream &body, const Begin &begin)
{
    body << QByteArray::fromStdString(begin.workFolder) << QByteArray::fromStdString(begin.original)
         << begin.threads;
}

void read(QDataStream &body, Begin &begin)
{
    QByteArray workFolder;
    QByteArray original;
    body >> workFolder >> original >> begin.threads;
    begin.workFolder = workFolder.toStdString();
    begin.original = original.toStdString();
    const auto isPathOrEmpty = [](const std::string &path) { return path.empty() || isAbsolutePath(path); };
    require(isPathOrEmpty(begin.workFolder) && isPathOrEmpty(begin.original));
    require(!begin.workFolder.empty() || !begin.original.empty());
    require(begin.threads >= 0 && begin.threads <= mostThreads);
}

void write(QDataStream &body, const Look &look)
{
    body << QByteArray::fromStdString(look.extension);
}

void read(QDataStream &body, Look &look)
{
    QByteArray extension;
    body >> extension;
    look.extension = extension.toStdString();
    require(isPlainExtension(look.extension));
}

void write(QDataStream &body, const Conversion &conversion)
{
    body << quint8(conversion.engine) << conversion.files << conversion.imageQuality << conversion.bitrateKbps
         << conversion.videoLevel << quint8(conversion.keepsOriginal);
}

void read(QDataStream &body, Conversion &conversion)
{
    quint8 engine = 0;
    body >> engine >> conversion.files >> conversion.imageQuality >> conversion.bitrateKbps >>
        conversion.videoLevel;
    conversion.keepsOriginal = readFlag(body);
    require(engine <= quint8(EngineKind::External) && std::isfinite(conversion.imageQuality));
    conversion.engine = static_cast<EngineKind>(engine);
}

void write(QDataStream &body, const Check &check)
{
    body << check.files;
}

void read(QDataStream &body, Check &check)
{
    body >> check.files;
}

void write(QDataStream &body, const ProgressReport &progress)
{
    body << quint8(progress.fraction.has_value()) << progress.fraction.value_or(0.0);
}

void read(QDataStream &body, ProgressReport &progress)
{
    const bool isKnown = readFlag(body);
    double fraction = 0;
    body >> fraction;
    require(isFraction(fraction));
    if (isKnown)
        progress.fraction = fraction;
}

void write(QDataStream &body, const Verdict &verdict)
{
    body << quint8(verdict.matches);
}

void read(QDataStream &body, Verdict &verdict)
{
    verdict.matches = readFlag(body);
}

void write(QDataStream &body, const Failure &failure)
{
    writeText(body, failure.sentence, longestSentence);
}

void read(QDataStream &body, Failure &failure)
{
    failure.sentence = readText(body, longestSentence);
}

void write(QDataStream &body, const Done &done)
{
    const QStringList remarks = done.report.remarks.first(std::min(done.report.remarks.size(), mostRemarks));
    body << quint8(done.report.keepsOriginal) << quint8(remarks.size());
    for (const QString &remark : remarks)
        writeText(body, remark, longestRemark);
}

void read(QDataStream &body, Done &done)
{
    done.report.keepsOriginal = readFlag(body);
    quint8 count = 0;
    body >> count;
    require(count <= mostRemarks);
    for (int i = 0; i < count; ++i)
        done.report.remarks.append(readText(body, longestRemark));
}

template <typename Empty>
void write(QDataStream &, const Empty &)
{}

template <typename Empty>
void read(QDataStream &, Empty &)
{}

template <typename Message>
constexpr Kind kindOf()
{
    if constexpr (std::is_same_v<Message, Begin>)
        return Kind::Begin;
    else if constexpr (std::is_same_v<Message, Look>)
        return Kind::Look;
    else if constexpr (std::is_same_v<Message, Conversion>)
        return Kind::Conversion;
    else if constexpr (std::is_same_v<Message, Check>)
        return Kind::Check;
    else if constexpr (std::is_same_v<Message, ProgressReport>)
        return Kind::Progress;
    else if constexpr (std::is_same_v<Message, Done>)
        return Kind::Done;
    else if constexpr (std::is_same_v<Message, Verdict>)
        return Kind::Verdict;
    else if constexpr (std::is_same_v<Message, Failure>)
        return Kind::Failure;
    else
        return Kind::OutOfMemory;
}

template <typename... Messages>
QByteArray encodedMessage(const std::variant<Messages...> &message)
{
    QByteArray body;
    QDataStream bodyStream(&body, QIODevice::WriteOnly);
    bodyStream.setVersion(version);
    const Kind kind = std::visit(
        [&](const auto &value) {
            write(bodyStream, value);
            return kindOf<std::decay_t<decltype(value)>>();
        },
        message);
    QByteArray bytes;
    QDataStream(&bytes, QIODevice::WriteOnly) << quint8(kind) << quint32(body.size());
    return bytes + body;
}

template <typename Message, typename Variant>
bool readAs(Kind kind, const QByteArray &body, Variant &into)
{
    if (kind != kindOf<Message>())
        return false;
    QDataStream stream(body);
    stream.setVersion(version);
    Message message;
    read(stream, message);
    require(stream.status() == QDataStream::Ok && stream.atEnd());
    into = std::move(message);
    return true;
}

template <typename... Messages>
std::optional<std::variant<Messages...>> takeMessage(QByteArray &received)
{
    constexpr qsizetype headBytes = 5;
    if (received.size() < headBytes)
        return std::nullopt;
    quint8 kind = 0;
    quint32 length = 0;
    QDataStream(received) >> kind >> length;
    require(((Kind(kind) == kindOf<Messages>()) || ...) && length <= longestBody);
    if (received.size() - headBytes < qsizetype(length))
        return std::nullopt;
    const QByteArray body = received.sliced(headBytes, qsizetype(length));
    received.remove(0, headBytes + qsizetype(length));
    std::variant<Messages...> message;
    require((readAs<Messages>(Kind(kind), body, message) || ...));
    return message;
}

} // namespace

QByteArray encoded(const Request &request)
{
    return encodedMessage(request);
}

QByteArray encoded(const Reply &reply)
{
    return encodedMessage(reply);
}

std::optional<Request> takeRequest(QByteArray &received)
{
    return takeMessage<Begin, Look, Conversion, Check>(received);
}

std::optional<Reply> takeReply(QByteArray &received)
{
    return takeMessage<ProgressReport, Done, Verdict, Failure, OutOfMemory>(received);
}

} // namespace quorvalent::EngineProtocol
