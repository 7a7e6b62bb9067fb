#pragma once

#include "convert/ConversionReport.h"

#include <QByteArray>
#include <QString>

#include <optional>
#include <string>
#include <variant>

namespace quorvalent {

/// What the program and its engine helper say to each other over two pipes: messages of one byte for the
/// kind, four for the length of the rest, and the rest. Each end takes nothing from the other on trust: what
/// is not exactly a message of the right kind and within its bounds is a ProtocolError.
namespace EngineProtocol {

/// The other end does not keep to the protocol.
class ProtocolError
{};

enum class EngineKind : quint8 { Image, Audio, Video, External };

/// Where to work: the first request, made once, and the only one that is not answered.
struct Begin
{
    std::string workFolder;    ///< an absolute path; empty for a helper that only looks at the original
    std::string original = {}; ///< the user's file, to be read and no more; an absolute path or empty
    qint32 threads = 0;        ///< that the image library may use, up to 1024; 0 leaves it to the library

    bool operator==(const Begin &) const = default;
};

/// Files by their plain names in the work folder.
struct WorkFiles
{
    std::string source;
    std::string output;

    bool operator==(const WorkFiles &) const = default;
};

/// Run an engine. Answered by any number of ProgressReport, then Done, Failure or OutOfMemory. Of the three
/// choices of quality, each engine reads its own.
struct Conversion
{
    EngineKind engine = EngineKind::Image;
    WorkFiles files;
    double imageQuality = 1.0; ///< finite
    qint64 bitrateKbps = 0;
    qint64 videoLevel = 0;
    /// The original stays: a source that breaks off may be converted as far as it goes.
    bool keepsOriginal = false;

    bool operator==(const Conversion &) const = default;
};

/// Is the original of the format that this extension names, whatever it is called? Answered by Verdict,
/// Failure or OutOfMemory.
struct Look
{
    std::string extension; ///< lower-case letters and digits, without the dot

    bool operator==(const Look &) const = default;
};

/// Does the output hold what the source holds? Answered by Verdict, Failure or OutOfMemory.
struct Check
{
    WorkFiles files;

    bool operator==(const Check &) const = default;
};

using Request = std::variant<Begin, Look, Conversion, Check>;

struct ProgressReport
{
    std::optional<double> fraction; ///< 0 to 1; nothing while it is unknown

    bool operator==(const ProgressReport &) const = default;
};

/// The output is complete.
struct Done
{
    EngineReport report;

    bool operator==(const Done &) const = default;
};

struct Verdict
{
    bool matches = false;

    bool operator==(const Verdict &) const = default;
};

/// The engine's own sentence.
struct Failure
{
    QString sentence;

    bool operator==(const Failure &) const = default;
};

struct OutOfMemory
{
    bool operator==(const OutOfMemory &) const = default;
};

using Reply = std::variant<ProgressReport, Done, Verdict, Failure, OutOfMemory>;

[[nodiscard]] QByteArray encoded(const Request &request);
/// Sentences are cut and cleaned until the other end can take them; remarks beyond the 64th are dropped.
[[nodiscard]] QByteArray encoded(const Reply &reply);

/// Takes the first message out of the bytes received so far; nothing while it is incomplete.
[[nodiscard]] std::optional<Request> takeRequest(QByteArray &received);
[[nodiscard]] std::optional<Reply> takeReply(QByteArray &received);

/// How a helper ends that got no memory where it could not say so.
constexpr int outOfMemoryExitCode = 12;

} // namespace EngineProtocol

} // namespace quorvalent
