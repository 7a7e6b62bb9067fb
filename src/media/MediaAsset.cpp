#include "media/MediaAsset.h"

#include "media/MediaPrograms.h"
#include "platform/Error.h"
#include "platform/NamelessFile.h"

#include <QHash>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <map>

namespace quorvalent {

namespace {

using Fields = QHash<QByteArray, QByteArray>;

ChildCommand probeCommand(const std::filesystem::path &path, std::optional<MediaSeconds> packetsFrom,
                          const FileDescriptor &warnings)
{
    std::string entries = "format=format_name,start_time,duration"
                          ":stream=codec_type,codec_name,width,height,sample_rate,channels,"
                          "channel_layout,codec_tag_string,start_time,duration"
                          ":stream_disposition=default,attached_pic"
                          ":stream_tags=DURATION"
                          ":stream_side_data=rotation"
                          ":chapter=id";
    ChildCommand command;
    command.program = MediaPrograms::ffprobe();
    command.arguments = {"-loglevel", "warning", "-print_format", "compact"};
    if (packetsFrom) {
        entries += ":packet=stream_index,pts_time,dts_time,duration_time";
        if (*packetsFrom > MediaSeconds(0))
            command.arguments.insert(command.arguments.end(),
                                     {"-read_intervals", std::to_string(packetsFrom->count()) + "%"});
    }
    // A playlist that goes by a media file's name must not make us open what it lists on the network, and the
    // prefix keeps a name such as "concat:a|b" or "-x" from being anything but a name.
    command.arguments.insert(command.arguments.end(), {"-show_entries", entries, "-protocol_whitelist",
                                                       "file", "-i", "file:" + path.native()});
    command.environment = {"LC_ALL=C.UTF-8"};
    command.standardError = warnings.get();
    return command;
}

bool contains(const FileDescriptor &file, const char *text)
{
    QByteArray content;
    QByteArray block(16384, Qt::Uninitialized);
    ssize_t count = 0;
    while ((count = ::pread(file.get(), block.data(), static_cast<std::size_t>(block.size()),
                            content.size())) > 0)
        content.append(block.constData(), count);
    return content.contains(text);
}

// "section|name=value|name=value". The values asked for hold no separator, but for a tag, which is only
// used when it reads as a time.
Fields fieldsOf(const QByteArray &line)
{
    Fields fields;
    for (const QByteArray &field : line.split('|')) {
        const qsizetype sign = field.indexOf('=');
        if (sign <= 0)
            continue;
        QByteArray name = field.first(sign);
        // FFmpeg 7 says "side_datum/display_matrix:rotation" where FFmpeg 5 says "rotation".
        if (name.startsWith("side_datum/"))
            name = name.sliced(name.indexOf(':') + 1);
        fields.insert(name, field.sliced(sign + 1));
    }
    return fields;
}

// Nothing for "N/A", as for anything else that is no number.
std::optional<MediaSeconds> secondsOf(const QByteArray &text)
{
    bool isNumber = false;
    const double value = text.toDouble(&isNumber);
    if (!isNumber || !std::isfinite(value))
        return std::nullopt;
    return MediaSeconds(value);
}

// HH:MM:SS.nnnnnnnnn
std::optional<MediaSeconds> clockTime(const QByteArray &text)
{
    const QList<QByteArray> parts = text.split(':');
    if (parts.size() != 3)
        return std::nullopt;
    double total = 0;
    for (const QByteArray &part : parts) {
        bool isNumber = false;
        total = total * 60 + part.toDouble(&isNumber);
        if (!isNumber)
            return std::nullopt;
    }
    return MediaSeconds(total);
}

// Writers of Matroska disagree whether a length counts from the first packet or from zero: it is taken only
// where that is nearly the same.
bool startsLate(const Fields &formatOrStream)
{
    return secondsOf(formatOrStream["start_time"]).value_or(MediaSeconds(0)) > MediaSeconds(0.25);
}

std::optional<MediaSeconds> streamDuration(const Fields &stream)
{
    if (const auto stated = secondsOf(stream["duration"]))
        return stated;
    return startsLate(stream) ? std::nullopt : clockTime(stream["tag:DURATION"]);
}

MediaStream::Kind kindOf(const Fields &stream)
{
    if (stream["disposition:attached_pic"] == "1")
        return MediaStream::Kind::AttachedPicture;
    const QByteArray type = stream["codec_type"];
    if (type == "video")
        return MediaStream::Kind::Video;
    if (type == "audio")
        return MediaStream::Kind::Audio;
    if (type == "subtitle")
        return MediaStream::Kind::Subtitle;
    if (type == "attachment")
        return MediaStream::Kind::Attachment;
    if (stream["codec_tag_string"] == "tmcd")
        return MediaStream::Kind::Timecode;
    // The chapters themselves come with the file's description; this is the track that they were read from.
    return stream["codec_tag_string"] == "text" ? MediaStream::Kind::Chapters : MediaStream::Kind::Data;
}

MediaStream streamOf(const Fields &fields)
{
    MediaStream stream;
    stream.kind = kindOf(fields);
    if (fields["codec_name"] != "unknown")
        stream.codec = QString::fromUtf8(fields["codec_name"]);
    stream.width = fields["width"].toInt();
    stream.height = fields["height"].toInt();
    stream.rotationDegrees = fields["rotation"].toInt();
    stream.sampleRate = fields["sample_rate"].toInt();
    stream.channels = fields["channels"].toInt();
    if (fields["channel_layout"] != "unknown")
        stream.channelLayout = QString::fromUtf8(fields["channel_layout"]);
    stream.isDefault = fields["disposition:default"] == "1";
    stream.duration = streamDuration(fields);
    return stream;
}

// The packets of one stream.
struct Packets
{
    std::optional<MediaExtent> extent;
    MediaSeconds total{0};
};

void addPacket(const Fields &packet, std::map<std::size_t, Packets> &streams)
{
    Packets &packets = streams[packet["stream_index"].toUInt()];
    const MediaSeconds length = secondsOf(packet["duration_time"]).value_or(MediaSeconds(0));
    packets.total += length;
    auto start = secondsOf(packet["pts_time"]);
    if (!start)
        start = secondsOf(packet["dts_time"]);
    if (!start)
        return;
    const MediaSeconds end = *start + length;
    if (!packets.extent)
        packets.extent = MediaExtent{.first = *start, .last = *start, .end = end};
    MediaExtent &extent = *packets.extent;
    extent.first = std::min(extent.first, *start);
    extent.last = std::max(extent.last, *start);
    extent.end = std::max(extent.end, end);
}

} // namespace

MediaProbe::MediaProbe(const std::filesystem::path &path, std::optional<MediaSeconds> packetsFrom)
    : m_warnings(createNamelessFile(std::filesystem::temp_directory_path()))
    , m_child(probeCommand(path, packetsFrom, m_warnings))
{}

std::optional<MediaAsset> MediaProbe::result()
{
    MediaAsset asset;
    std::map<std::size_t, Packets> packets;
    m_child.readLines([&](const QByteArray &line) {
        const Fields fields = fieldsOf(line);
        if (line.startsWith("packet|")) {
            addPacket(fields, packets);
        } else if (line.startsWith("stream|")) {
            asset.streams.push_back(streamOf(fields));
        } else if (line.startsWith("chapter|")) {
            ++asset.chapters;
        } else if (line.startsWith("format|")) {
            asset.format = QString::fromUtf8(fields["format_name"]);
            if (!asset.format.startsWith(QLatin1String("matroska")) || !startsLate(fields))
                asset.duration = secondsOf(fields["duration"]);
        }
    });
    if (!m_child.wait().isSuccess() || asset.format.isEmpty())
        return std::nullopt;

    for (const auto &[index, found] : packets) {
        if (index >= asset.streams.size())
            continue;
        asset.streams[index].packets = found.extent;
        asset.streams[index].packetSeconds = found.total;
    }
    // The values themselves do not tell a guessed length from a stated one; this warning does.
    asset.isDurationEstimated = contains(m_warnings, "Estimating duration from bitrate");
    return asset;
}

std::optional<MediaAsset> MediaAsset::read(const std::filesystem::path &path,
                                           std::optional<MediaSeconds> packetsFrom)
{
    return MediaProbe(path, packetsFrom).result();
}

} // namespace quorvalent
