#include "media/ExportPlan.h"

#include "media/VideoFilters.h"
#include "platform/ComposedText.h"

#include <algorithm>
#include <array>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;
using Kind = SourceStream::Kind;

struct PresetValues
{
    int constantRateFactor;
    int audioKbps;
    PixelSize largest;
    bool passesThrough;
};

PresetValues valuesOf(ExportPreset preset)
{
    switch (preset) {
    case ExportPreset::HighestQuality:
        return {16, 256, {}, true};
    case ExportPreset::MediumQuality:
        return {23, 160, {1920, 1080}, false};
    case ExportPreset::LowQuality:
        break;
    }
    return {30, 128, {1280, 720}, false};
}

// What a file of the type can carry and its usual players play.
bool canCarry(MovieFileType type, const QString &codec)
{
    static const QStringList everywhere{u"h264"_s, u"hevc"_s, u"aac"_s, u"ac3"_s, u"mov_text"_s};
    static const QStringList outsideM4v{u"alac"_s, u"eac3"_s, u"mp3"_s};
    if (everywhere.contains(codec))
        return true;
    switch (type) {
    case MovieFileType::AppleM4V:
        return false;
    case MovieFileType::Mpeg4:
        return codec == "av1"_L1 || outsideM4v.contains(codec);
    case MovieFileType::QuickTimeMovie:
        break;
    }
    return codec == "prores"_L1 || codec == "mjpeg"_L1 || codec.startsWith("pcm_"_L1) ||
           outsideM4v.contains(codec);
}

bool isTextSubtitle(const QString &codec)
{
    static const QStringList codecs{u"ass"_s,     u"jacosub"_s,  u"microdvd"_s,  u"mov_text"_s,   u"mpl2"_s,
                                    u"pjs"_s,     u"realtext"_s, u"sami"_s,      u"ssa"_s,        u"stl"_s,
                                    u"subrip"_s,  u"srt"_s,      u"subviewer"_s, u"subviewer1"_s, u"text"_s,
                                    u"vplayer"_s, u"webvtt"_s};
    return codecs.contains(codec);
}

// The encoder's table ends at 7.1.
constexpr int mostAacChannels = 8;

class Planner
{
public:
    Planner(const SourceMedia &source, ExportPreset preset, MovieFileType type)
        : m_source(source)
        , m_values(valuesOf(preset))
        , m_type(type)
    {}

    std::optional<ExportPlan> plan()
    {
        bool hasContent = false;
        if (m_source.isTruncated)
            return std::nullopt;
        for (const SourceStream &stream : m_source.streams) {
            if (stream.isEncrypted || !add(stream))
                return std::nullopt;
            hasContent = hasContent || stream.kind == Kind::Video || stream.kind == Kind::Audio;
        }
        if (!hasContent)
            return std::nullopt;
        finish();
        return std::move(m_plan);
    }

private:
    // False when the stream can neither travel nor be left out.
    bool add(const SourceStream &stream)
    {
        switch (stream.kind) {
        case Kind::Video:
            return addVideo(stream);
        case Kind::Audio:
            return addAudio(stream);
        case Kind::Subtitle:
            addSubtitle(stream);
            return true;
        case Kind::CoverPicture:
            addCover(stream);
            return true;
        case Kind::Timecode: // FFmpeg writes both anew from what it read
        case Kind::Chapters:
            return true;
        case Kind::Other:
            break;
        }
        omit(stream, u"Piste {0} omise : données sans équivalent."_s);
        return true;
    }

    bool addVideo(const SourceStream &stream)
    {
        // AVI stores no presentation times, so the order of reordered frames is known to a decoder alone.
        const bool lacksTimes = m_source.format == "avi"_L1 && stream.hasReorderedFrames;
        if (m_values.passesThrough && canCarry(m_type, stream.codec) && !lacksTimes) {
            copy(stream);
            // Apple's players want the parameter sets in the description, and take this tag as the promise.
            if (stream.codec == "hevc"_L1)
                option("-tag", "hvc1");
            return true;
        }
        // Profile 5 has colours of its own, which only a Dolby Vision decoder turns into a picture.
        if (!stream.isDecodable || stream.dolbyVisionProfile == 5)
            return false;

        const EncodedPicture picture = encodedPicture(stream, m_values.largest);
        PlannedTrack &track = addTrack(stream, u"h264"_s);
        track.width = picture.size.width;
        track.height = picture.size.height;
        track.rotationDegrees = 0; // FFmpeg turns the pixels before it filters them
        option("-c", "libx264");
        option("-preset", "fast");
        option("-crf", std::to_string(m_values.constantRateFactor));
        option("-filter", picture.filters);
        // The source's own clock, so that frames of uneven length keep their times.
        option("-fps_mode", "vfr");
        option("-enc_time_base", "-1");
        return true;
    }

    bool addAudio(const SourceStream &stream)
    {
        const bool isLeanAac = stream.codec == "aac"_L1 && stream.profile == "LC"_L1 &&
                               stream.bitrateKbps > 0 && stream.bitrateKbps <= m_values.audioKbps;
        if (m_values.passesThrough ? canCarry(m_type, stream.codec) : isLeanAac) {
            copy(stream);
        } else {
            if (!stream.isDecodable || stream.channels > mostAacChannels)
                return false;
            addTrack(stream, u"aac"_s);
            option("-c", "aac");
            option("-b", std::to_string(m_values.audioKbps) + "k");
        }
        name(stream);
        return true;
    }

    void addSubtitle(const SourceStream &stream)
    {
        if (!isTextSubtitle(stream.codec)) {
            omit(stream, stream.codec.isEmpty() ? u"Piste {0} omise : sous-titres illisibles."_s
                                                : u"Piste {0} omise : sous-titres en images."_s);
            return;
        }
        const bool isCopied = stream.codec == "mov_text"_L1;
        addTrack(stream, u"mov_text"_s).isCopied = isCopied;
        option("-c", isCopied ? "copy" : "mov_text");
        name(stream);
    }

    void addCover(const SourceStream &stream)
    {
        if (m_type == MovieFileType::QuickTimeMovie ||
            (stream.codec != "mjpeg"_L1 && stream.codec != "png"_L1)) {
            omit(stream, u"Piste {0} omise : image de couverture."_s);
            return;
        }
        copy(stream);
        option("-disposition", "attached_pic");
    }

    PlannedTrack &addTrack(const SourceStream &stream, const QString &codec)
    {
        PlannedTrack track;
        track.sourceIndex = stream.index;
        track.kind = stream.kind;
        track.codec = codec;
        track.seconds = stream.seconds;
        track.startSeconds = stream.startSeconds;
        m_plan.tracks.push_back(track);
        m_plan.arguments.insert(m_plan.arguments.end(), {"-map", "0:" + std::to_string(stream.index)});
        return m_plan.tracks.back();
    }

    void copy(const SourceStream &stream)
    {
        PlannedTrack &track = addTrack(stream, stream.codec);
        track.isCopied = true;
        track.width = stream.width;
        track.height = stream.height;
        track.rotationDegrees = stream.rotationDegrees;
        option("-c", "copy");
        // A first frame that is no key frame is the source's too.
        option("-copyinkf");
    }

    // A track's title has no other place in these files that players show.
    void name(const SourceStream &stream)
    {
        if (stream.title.isEmpty())
            return;
        m_plan.arguments.push_back("-metadata:s:" + std::to_string(m_plan.tracks.size() - 1));
        m_plan.arguments.push_back("handler_name=" + stream.title.toStdString());
    }

    // An option of the track that was added last.
    void option(const std::string &name, const std::string &value = {})
    {
        m_plan.arguments.push_back(name + ":" + std::to_string(m_plan.tracks.size() - 1));
        if (!value.empty())
            m_plan.arguments.push_back(value);
    }

    void omit(const SourceStream &stream, const QString &sentence)
    {
        m_plan.omissions.append(composed(sentence, {QString::number(stream.index + 1)}));
    }

    void finish()
    {
        m_plan.seconds = m_source.seconds;
        std::vector<std::string> &arguments = m_plan.arguments;
        arguments.insert(arguments.end(), {"-map_metadata", "0", "-map_chapters", "0"});
        // With the maker's own keys, everything is written under keys, these of the source's file type too,
        // which would then contradict the new one.
        if (m_source.hasMakerTags)
            arguments.insert(arguments.end(), {"-metadata", "major_brand=", "-metadata", "minor_version=",
                                               "-metadata", "compatible_brands=", "-metadata", "encoder="});
        arguments.emplace_back("-movflags");
        arguments.emplace_back(m_source.hasMakerTags ? "+faststart+use_metadata_tags" : "+faststart");
        switch (m_type) {
        case MovieFileType::QuickTimeMovie:
            arguments.insert(arguments.end(), {"-f", "mov"});
            break;
        case MovieFileType::Mpeg4:
            arguments.insert(arguments.end(), {"-f", "mp4"});
            break;
        case MovieFileType::AppleM4V: // FFmpeg's own writer for it refuses HEVC
            arguments.insert(arguments.end(), {"-f", "mp4", "-brand", "M4V "});
            break;
        }
    }

    const SourceMedia &m_source;
    PresetValues m_values;
    MovieFileType m_type;
    ExportPlan m_plan;
};

} // namespace

std::optional<ExportPlan> planExport(const SourceMedia &source, ExportPreset preset, MovieFileType type)
{
    return Planner(source, preset, type).plan();
}

} // namespace quorvalent
