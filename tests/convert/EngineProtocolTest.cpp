#include "convert/EngineProtocol.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>

namespace quorvalent::EngineProtocol {

namespace {

using namespace Qt::StringLiterals;
using namespace std::string_literals;

const Conversion conversion{.engine = EngineKind::External,
                            .files = {"source.PNG", "output.webp"},
                            .imageQuality = 0.29,
                            .bitrateKbps = -1,
                            .videoLevel = 2};

// Bytes as they would come from the other end.
QByteArray message(quint8 kind, const QByteArray &body, qsizetype length = -1)
{
    const auto told = static_cast<quint32>(length < 0 ? body.size() : length);
    QByteArray bytes(1, static_cast<char>(kind));
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(told >> shift);
    return bytes + body;
}

QByteArray bytes(std::initializer_list<int> values)
{
    QByteArray result;
    for (const int value : values)
        result += static_cast<char>(value);
    return result;
}

QByteArray sentence(const QByteArray &utf8)
{
    return message(19, message(0, utf8).sliced(1)); // a text has its length in front, as a message has
}

TEST(EngineProtocol, carriesEveryMessageInPiecesOfAnySize)
{
    const std::vector<Reply> replies{
        ProgressReport{0.25}, ProgressReport{},       Done{},       Done{{{u"a"_s, u"« b »"_s}, true}},
        Verdict{true},        Failure{u"« a » \n"_s}, OutOfMemory{}};
    QByteArray stream;
    for (const Reply &reply : replies)
        stream += encoded(reply);
    QByteArray received;
    std::vector<Reply> taken;
    for (const char byte : stream) {
        received += byte;
        if (const std::optional<Reply> reply = takeReply(received))
            taken.push_back(*reply);
    }
    EXPECT_EQ(taken, replies);
    EXPECT_TRUE(received.isEmpty());

    for (const Request &request :
         {Request(Begin{"/a folder", "/photo.jpg", 3}), Request(Begin{"", "/photo.jpg"}),
          Request(Look{"m4a"}), Request(conversion), Request(Check{conversion.files})}) {
        received = encoded(request);
        EXPECT_EQ(takeRequest(received), request);
    }
}

TEST(EngineProtocol, refusesEverythingElse)
{
    const QByteArray one = bytes({0x3f, 0xf0, 0, 0, 0, 0, 0, 0});
    const std::vector<std::pair<const char *, QByteArray>> wrong{
        {"no such kind", message(99, {})},
        {"a request", encoded(Request(conversion))},
        {"a length without end", message(19, {}, 0xffffffff)},
        {"a length beyond the limit", message(19, {}, 128 * 1024 + 1)},
        {"something behind the message", encoded(Reply(ProgressReport{})).replace(4, 1, "\x0a") + "x"},
        {"fewer remarks than announced", message(17, bytes({0, 1}))},
        {"more remarks than anybody reads", message(17, bytes({0, 65}) + QByteArray(65, 0))},
        {"a remark without a word", message(17, bytes({0, 1, 0, 0, 0, 0}))},
        {"an original neither kept nor not", message(17, bytes({2, 0}))},
        {"a progress cut short", message(16, bytes({1, 0}))},
        {"progress above 1", message(16, bytes({1, 0x3f, 0xf0, 0, 0, 0, 0, 0, 1}))},
        {"progress below 0", message(16, bytes({1, 0xbf, 0xf0, 0, 0, 0, 0, 0, 0}))},
        {"progress that is no number", message(16, bytes({1, 0x7f, 0xf8, 0, 0, 0, 0, 0, 0}))},
        {"infinite progress", message(16, bytes({1, 0x7f, 0xf0, 0, 0, 0, 0, 0, 0}))},
        {"neither known nor unknown", message(16, bytes({2}) + one)},
        {"neither yes nor no", message(18, bytes({2}))},
        {"no sentence", sentence({})},
        {"no UTF-8", sentence("\xff")},
        {"a terminal's command", sentence("\x1b[2J")},
        {"too long a sentence", sentence(QByteArray(2049, 'a'))},
        {"a text longer than its message", message(19, bytes({0, 0, 0, 9, 'a'}))},
    };
    for (const auto &[what, stream] : wrong) {
        QByteArray received = stream;
        EXPECT_THROW((void)takeReply(received), ProtocolError) << what;
    }

    for (const std::string name : {"", ".", "..", "/etc/passwd", "../journal", "a/b"}) {
        Conversion elsewhere = conversion;
        elsewhere.files.output = name;
        QByteArray received = encoded(Request(elsewhere));
        EXPECT_THROW((void)takeRequest(received), ProtocolError) << name;
    }
    for (const std::string &path : std::array{""s, "media"s, "/nul\0inside"s}) {
        for (const Begin &begin : {Begin{path}, Begin{"", path}}) {
            QByteArray received = encoded(Request(begin));
            EXPECT_THROW((void)takeRequest(received), ProtocolError) << path;
        }
    }
    for (const std::string extension : {"", "JPG", "../x", "ninechars"}) {
        QByteArray received = encoded(Request(Look{extension}));
        EXPECT_THROW((void)takeRequest(received), ProtocolError) << extension;
    }
    Conversion impossible = conversion;
    impossible.imageQuality = std::numeric_limits<double>::quiet_NaN();
    QByteArray received = encoded(Request(impossible));
    EXPECT_THROW((void)takeRequest(received), ProtocolError);
    received = encoded(Reply(Done{}));
    EXPECT_THROW((void)takeRequest(received), ProtocolError);
}

TEST(EngineProtocol, makesASentenceFitForTheOtherEnd)
{
    QByteArray received = encoded(Reply(Failure{u"FFmpeg : \x1b[1ma\nb\u0085"_s + QString(3000, u'c')}));
    const std::optional<Reply> reply = takeReply(received);
    ASSERT_TRUE(reply);
    const QString text = std::get<Failure>(*reply).sentence;
    EXPECT_TRUE(text.startsWith(u"FFmpeg :  [1ma\nb c"_s)) << text.left(30).toStdString();
    EXPECT_EQ(text.size(), 2048);

    received = encoded(Reply(Done{{QStringList(100, QString(3000, u'€')), true}}));
    const std::optional<Reply> done = takeReply(received);
    ASSERT_TRUE(done);
    EXPECT_EQ(std::get<Done>(*done).report.remarks, QStringList(64, QString(512, u'€')));
}

} // namespace

} // namespace quorvalent::EngineProtocol
