#include "media/SourceMedia.h"

#include "media/MediaPrograms.h"
#include "media/MovieIndex.h"
#include "platform/ChildProcess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <array>
#include <cmath>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;
using Kind = SourceStream::Kind;

std::optional<double> secondsOf(const QJsonValue &text)
{
    bool isNumber = false;
    const double value = text.toString().toDouble(&isNumber);
    return isNumber && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

// Matroska's statistics: HH:MM:SS.nnnnnnnnn
std::optional<double> clockTime(const QString &text)
{
    const QStringList parts = text.split(u':');
    if (parts.size() != 3)
        return std::nullopt;
    double total = 0;
    for (const QString &part : parts) {
        bool isNumber = false;
        total = total * 60 + part.toDouble(&isNumber);
        if (!isNumber)
            return std::nullopt;
    }
    return total;
}

// Tag names keep the case that the file gave them, and some writers add the language: "DURATION-eng".
QString tagOf(const QJsonObject &object, QLatin1StringView name)
{
    const QJsonObject tags = object["tags"_L1].toObject();
    for (auto tag = tags.begin(); tag != tags.end(); ++tag)
        if (tag.key().section(u'-', 0, 0).compare(name, Qt::CaseInsensitive) == 0)
            return tag.value().toString();
    return {};
}

QString knownOnly(const QString &name)
{
    return name == "unknown"_L1 || name == "unspecified"_L1 || name == "none"_L1 ? QString() : name;
}

Kind kindOf(const QJsonObject &stream)
{
    const QString type = stream["codec_type"_L1].toString();
    if (stream["disposition"_L1]["attached_pic"_L1].toInt() != 0)
        return Kind::CoverPicture;
    if (type == "video"_L1)
        return Kind::Video;
    if (type == "audio"_L1)
        return Kind::Audio;
    if (type == "subtitle"_L1)
        return Kind::Subtitle;
    const QString tag = stream["codec_tag_string"_L1].toString();
    if (type == "data"_L1 && tag == "tmcd"_L1)
        return Kind::Timecode;
    // The chapters themselves come with the file's description; this is the track that they were read from.
    if (type == "data"_L1 && tag == "text"_L1)
        return Kind::Chapters;
    return Kind::Other;
}

bool isEncryptedTag(const QString &tag)
{
    return tag == "encv"_L1 || tag == "enca"_L1 || tag == "drmi"_L1 || tag == "drms"_L1 || tag == "p608"_L1;
}

double ratioOf(const QString &text)
{
    const QStringList parts = text.split(u':');
    const double over = parts.size() == 2 ? parts[0].toDouble() : 0;
    const double under = parts.size() == 2 ? parts[1].toDouble() : 0;
    return over > 0 && under > 0 ? over / under : 1;
}

int clockwise(int counterClockwise)
{
    const int quarters = (360 - counterClockwise % 360 + 45) / 90;
    return quarters % 4 * 90;
}

void readPicture(const QJsonObject &object, SourceStream &stream)
{
    stream.width = object["width"_L1].toInt();
    stream.height = object["height"_L1].toInt();
    stream.pixelAspect = ratioOf(object["sample_aspect_ratio"_L1].toString());
    const QString order = object["field_order"_L1].toString();
    stream.isInterlaced = order.size() == 2; // "tt", "bb", "tb", "bt"; else "progressive" or "unknown"
    const QString pixels = knownOnly(object["pix_fmt"_L1].toString());
    stream.isRgb = pixels.contains("rgb"_L1) || pixels.contains("bgr"_L1) || pixels.startsWith("gbr"_L1) ||
                   pixels.startsWith("pal"_L1);
    stream.isFullRange = pixels.startsWith("yuvj"_L1) || object["color_range"_L1].toString() == "pc"_L1;
    stream.hasReorderedFrames = object["has_b_frames"_L1].toInt() > 0;
    stream.transfer = knownOnly(object["color_transfer"_L1].toString());
    stream.primaries = knownOnly(object["color_primaries"_L1].toString());
    stream.matrix = knownOnly(object["color_space"_L1].toString());
    stream.isDecodable = stream.width > 0 && stream.height > 0 && !pixels.isEmpty();
}

void readSideData(const QJsonObject &object, SourceStream &stream)
{
    for (const QJsonValue sideData : object["side_data_list"_L1].toArray()) {
        if (sideData["rotation"_L1].isDouble())
            stream.rotationDegrees = clockwise(sideData["rotation"_L1].toInt());
        stream.dolbyVisionProfile = std::max(stream.dolbyVisionProfile, sideData["dv_profile"_L1].toInt());
        const QString type = sideData["side_data_type"_L1].toString();
        stream.isEncrypted = stream.isEncrypted || type.startsWith("Encryption"_L1);
    }
}

SourceStream streamOf(const QJsonObject &object)
{
    SourceStream stream;
    stream.index = object["index"_L1].toInt();
    stream.kind = kindOf(object);
    stream.codec = knownOnly(object["codec_name"_L1].toString());
    stream.profile = knownOnly(object["profile"_L1].toString());
    stream.title = tagOf(object, "title"_L1);
    stream.seconds = secondsOf(object["duration"_L1]);
    if (!stream.seconds)
        stream.seconds = clockTime(tagOf(object, "DURATION"_L1));
    stream.startSeconds = std::max(0.0, secondsOf(object["start_time"_L1]).value_or(0));
    stream.isEncrypted = isEncryptedTag(object["codec_tag_string"_L1].toString());
    stream.bitrateKbps = object["bit_rate"_L1].toString().toInt() / 1000;
    if (stream.kind == Kind::Video || stream.kind == Kind::CoverPicture) {
        readPicture(object, stream);
    } else if (stream.kind == Kind::Audio) {
        stream.channels = object["channels"_L1].toInt();
        stream.isDecodable = stream.channels > 0 && object["sample_rate"_L1].toString().toInt() > 0;
    } else {
        stream.isDecodable = !stream.codec.isEmpty();
    }
    readSideData(object, stream);
    return stream;
}

// Lists of other files go by these names; following one would read what the user never renamed.
bool isPlaylist(const QString &format)
{
    static const std::array lists{"hls"_L1, "concat"_L1, "dash"_L1, "imf"_L1, "sdp"_L1};
    return std::find(lists.begin(), lists.end(), format) != lists.end();
}

struct NamedCodec
{
    QLatin1StringView sampleFormat;
    QLatin1StringView codec;
};

constexpr std::array pictureCodecs{
    NamedCodec{"avc1"_L1, "h264"_L1},   NamedCodec{"avc3"_L1, "h264"_L1},
    NamedCodec{"hvc1"_L1, "hevc"_L1},   NamedCodec{"hev1"_L1, "hevc"_L1},
    NamedCodec{"av01"_L1, "av1"_L1},    NamedCodec{"apch"_L1, "prores"_L1},
    NamedCodec{"apcn"_L1, "prores"_L1}, NamedCodec{"apcs"_L1, "prores"_L1},
    NamedCodec{"apco"_L1, "prores"_L1}, NamedCodec{"ap4h"_L1, "prores"_L1},
    NamedCodec{"ap4x"_L1, "prores"_L1},
};
constexpr std::array soundCodecs{
    NamedCodec{"ac-3"_L1, "ac3"_L1},       NamedCodec{"ec-3"_L1, "eac3"_L1},
    NamedCodec{"alac"_L1, "alac"_L1},      NamedCodec{".mp3"_L1, "mp3"_L1},
    NamedCodec{"sowt"_L1, "pcm_s16le"_L1}, NamedCodec{"twos"_L1, "pcm_s16be"_L1},
    NamedCodec{"in24"_L1, "pcm_s24be"_L1},
};

template <typename Table>
QString lookUp(const Table &table, const std::string &sampleFormat)
{
    const QString name =
        QString::fromLatin1(sampleFormat.data(), static_cast<qsizetype>(sampleFormat.size()));
    for (const NamedCodec &entry : table)
        if (name == entry.sampleFormat)
            return entry.codec;
    return {};
}

// Object types of MPEG-4's registry: 0x40 and 0x66 to 0x68 are AAC, 0x69 and 0x6B MPEG audio.
QString soundCodec(const MovieTrack &track)
{
    if (track.sampleFormat != "mp4a")
        return lookUp(soundCodecs, track.sampleFormat);
    switch (track.objectType) {
    case 0x40:
    case 0x66:
    case 0x67:
    case 0x68:
        return "aac"_L1;
    case 0x69:
    case 0x6B:
        return "mp3"_L1;
    default:
        return {};
    }
}

// The track's codec is empty where the probe has to have a look.
SourceStream streamOf(const MovieTrack &track)
{
    SourceStream stream;
    stream.seconds = track.seconds;
    if (track.handler == "vide") {
        stream.kind = Kind::Video;
        stream.codec = lookUp(pictureCodecs, track.sampleFormat);
        stream.width = track.width;
        stream.height = track.height;
        stream.rotationDegrees = track.rotationDegrees;
    } else if (track.handler == "soun") {
        stream.kind = Kind::Audio;
        stream.codec = soundCodec(track);
    } else if (track.handler == "tmcd") {
        stream.kind = Kind::Timecode;
        stream.codec = "tmcd"_L1;
    } else if (track.handler == "text" && track.isChapterList) {
        stream.kind = Kind::Chapters;
        stream.codec = "text"_L1;
    } else if (track.handler == "meta" && track.sampleFormat == "mebx") {
        stream.codec = "mebx"_L1;
    }
    return stream;
}

} // namespace

bool SourceStream::isHighDynamicRange() const
{
    return transfer == "smpte2084"_L1 || transfer == "arib-std-b67"_L1;
}

std::optional<SourceMedia> SourceMedia::fromProbe(const QByteArray &json)
{
    const QJsonObject object = QJsonDocument::fromJson(json).object();
    const QJsonObject format = object["format"_L1].toObject();
    SourceMedia media;
    media.format = format["format_name"_L1].toString();
    if (media.format.isEmpty() || isPlaylist(media.format))
        return std::nullopt;
    media.seconds = secondsOf(format["duration"_L1]);
    const QStringList tags = format["tags"_L1].toObject().keys();
    media.hasMakerTags =
        std::any_of(tags.begin(), tags.end(), [](const QString &tag) { return tag.startsWith("com."_L1); });
    for (const QJsonValue stream : object["streams"_L1].toArray())
        media.streams.push_back(streamOf(stream.toObject()));
    return media;
}

std::optional<SourceMedia> SourceMedia::fromIndex(const MovieIndex &index)
{
    if (index.hasFragments || index.isTruncated || index.isEncrypted || index.hasCoverPicture ||
        index.tracks.empty())
        return std::nullopt;
    SourceMedia media;
    media.format = "mov,mp4,m4a,3gp,3g2,mj2"_L1;
    media.seconds = index.seconds;
    media.hasMakerTags = index.hasMakerTags;
    for (const MovieTrack &track : index.tracks) {
        SourceStream stream = streamOf(track);
        const bool isChapterPicture = track.handler == "vide" && track.isChapterList;
        if (stream.codec.isEmpty() || isChapterPicture || track.samples == 0)
            return std::nullopt;
        stream.index = static_cast<int>(media.streams.size());
        media.streams.push_back(std::move(stream));
    }
    return media;
}

std::optional<SourceMedia> SourceMedia::read(const std::filesystem::path &path)
{
    ChildCommand command;
    command.program = MediaPrograms::ffprobe();
    // Only local files, and the name is a name whatever it looks like.
    command.arguments = {"-loglevel",
                         "quiet",
                         "-print_format",
                         "json",
                         "-show_format",
                         "-show_streams",
                         "-protocol_whitelist",
                         "file",
                         "-i",
                         "file:" + path.native()};
    command.environment = {"LC_ALL=C.UTF-8"};
    ChildProcess probe(command);
    QByteArray json;
    for (QByteArray chunk = probe.readAvailable(); !chunk.isEmpty(); chunk = probe.readAvailable())
        json += chunk;
    if (!probe.wait().isSuccess())
        return std::nullopt;
    std::optional<SourceMedia> media = fromProbe(json);
    if (!media)
        return std::nullopt;
    if (const std::optional<MovieIndex> index = MovieIndex::read(path)) {
        media->isTruncated = index->isTruncated;
        for (SourceStream &stream : media->streams)
            stream.isEncrypted = stream.isEncrypted || index->isEncrypted;
    }
    return media;
}

} // namespace quorvalent
