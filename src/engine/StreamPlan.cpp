#include "engine/StreamPlan.h"

#include "core/MediaFamilies.h"
#include "platform/ComposedText.h"

#include <algorithm>
#include <array>
#include <optional>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;
using Kind = MediaStream::Kind;

// What a target holds beside one picture and one sound.
struct Holds
{
    bool severalPictures = false;
    bool severalSounds = false;
    const char *textSubtitles = nullptr; ///< the codec that text becomes
    bool otherSubtitles = false;         ///< the codecs that are stored as they are
    bool attachments = false;
    bool timecode = false;
    bool chapters = false;
};

Holds holdsOf(const QString &target)
{
    if (target == "mkv"_L1)
        return {true, true, "ass", true, true, true, true};
    if (target == "webm"_L1)
        return {true, true, "webvtt", false, false, true, true};
    if (target == "avi"_L1)
        return {.severalSounds = true};
    if (videoExtensions().contains(target)) // mp4, mov, m4v
        return {true, true, "mov_text", false, false, true, true};
    return {.chapters = target == "mp3"_L1}; // of sounds, the only one that FFmpeg and TagLib leave them in
}

bool isTextSubtitle(const QString &codec)
{
    static const QStringList codecs{
        u"ass"_s,      u"jacosub"_s,   u"microdvd"_s, u"mov_text"_s,   u"mpl2"_s,   u"pjs"_s,
        u"realtext"_s, u"sami"_s,      u"ssa"_s,      u"stl"_s,        u"subrip"_s, u"srt"_s,
        u"text"_s,     u"subviewer"_s, u"vplayer"_s,  u"subviewer1"_s, u"webvtt"_s, u"hdmv_text_subtitle"_s};
    return codecs.contains(codec);
}

bool isStoredInMatroska(const QString &codec)
{
    static const QStringList codecs{u"ass"_s,
                                    u"ssa"_s,
                                    u"subrip"_s,
                                    u"webvtt"_s,
                                    u"dvb_subtitle"_s,
                                    u"dvd_subtitle"_s,
                                    u"hdmv_pgs_subtitle"_s,
                                    u"hdmv_text_subtitle"_s};
    return codecs.contains(codec);
}

// FFmpeg's H.264 encoder takes 4:2:0 pictures of even sides alone; VP9 takes any.
std::optional<std::string> pictureFilter(const MediaStream &stream, const QString &target)
{
    if (target == "webm"_L1 || (stream.width % 2 == 0 && stream.height % 2 == 0))
        return std::nullopt;
    return "crop=floor(iw/2)*2:floor(ih/2)*2:0:0";
}

// Of the encoders: eight for each but Vorbis and MP3, of which the latter mixes down by itself.
int mostChannels(const QString &target)
{
    static const QStringList unlimited{u"mp3"_s, u"ogg"_s, u"wav"_s, u"aif"_s, u"aiff"_s};
    return unlimited.contains(target) ? 255 : 8;
}

// Eight of more channels: mixed where their places are known, else the first eight.
std::string eightOf(const MediaStream &stream)
{
    if (!stream.channelLayout.isEmpty() && !stream.channelLayout.endsWith(" channels"_L1))
        return "aformat=channel_layouts=7.1";
    std::string filter = "pan=7.1";
    for (int channel = 0; channel < 8; ++channel)
        filter += "|c" + std::to_string(channel) + "=c" + std::to_string(channel);
    return filter;
}

// libopus knows Vorbis' layouts; any other goes into the next one that has all of its places.
std::optional<std::string> opusFilter(const MediaStream &stream)
{
    static const QStringList known{u"mono"_s, u"stereo"_s, u"3.0"_s, u"quad"_s,
                                   u"5.0"_s,  u"5.1"_s,    u"6.1"_s, u"7.1"_s};
    const QString &layout = stream.channelLayout;
    if (layout.isEmpty() || known.contains(layout))
        return std::nullopt;
    if (layout.endsWith("(side)"_L1) && known.contains(layout.chopped(6)))
        return "aformat=channel_layouts=" + layout.chopped(6).toStdString();
    const bool needsEight = stream.channels > 6 || layout == "6.0"_L1 || layout == "hexagonal"_L1;
    return needsEight ? "aformat=channel_layouts=7.1" : "aformat=channel_layouts=5.1";
}

class Planner
{
public:
    Planner(const MediaAsset &source, const QString &target)
        : m_source(source)
        , m_target(target)
        , m_isAudio(audioExtensions().contains(target))
        , m_holds(holdsOf(target))
    {}

    StreamPlan plan()
    {
        m_picture = chosenStream(m_source, Kind::Video);
        m_sound = chosenStream(m_source, Kind::Audio);
        for (std::size_t index = 0; index < m_source.streams.size(); ++index)
            add(index, m_source.streams[index]);
        if (m_source.chapters > 0 && !m_holds.chapters)
            m_plan.omissions.append(u"Chapitres omis."_s);
        if (m_isMapped)
            m_plan.arguments.insert(m_plan.arguments.begin(), m_maps.begin(), m_maps.end());
        attachCovers();
        return std::move(m_plan);
    }

private:
    void add(std::size_t index, const MediaStream &stream)
    {
        switch (stream.kind) {
        case Kind::Video:
            addPicture(index, stream);
            return;
        case Kind::Audio:
            addSound(index, stream);
            return;
        case Kind::Subtitle:
            addSubtitle(index, stream);
            return;
        case Kind::AttachedPicture:
            addCover(index, stream);
            return;
        case Kind::Attachment:
            if (m_holds.attachments)
                mapBeyondTheFixed(index);
            else
                omit(index, u"Piste {0} omise : fichier joint."_s);
            m_attachments += m_holds.attachments ? 1 : 0;
            return;
        case Kind::Timecode: // FFmpeg writes both anew from what it read
            if (!m_holds.timecode)
                omit(index, u"Piste {0} omise : données sans équivalent."_s);
            return;
        case Kind::Chapters:
            return;
        case Kind::Data:
            break;
        }
        omit(index, u"Piste {0} omise : données sans équivalent."_s);
    }

    void addPicture(std::size_t index, const MediaStream &stream)
    {
        const bool isChosen = !m_isAudio && m_picture == index;
        if (!isChosen && !m_holds.severalPictures) {
            omit(index, u"Piste {0} omise : vidéo."_s);
            return;
        }
        const std::string place = std::to_string(m_pictures++);
        track(index, isChosen);
        if (const auto filter = pictureFilter(stream, m_target))
            option("-filter:v:" + place, *filter);
    }

    void addSound(std::size_t index, const MediaStream &stream)
    {
        const bool isChosen = m_sound == index;
        if (!isChosen && !m_holds.severalSounds) {
            omit(index, u"Piste {0} omise : son."_s);
            return;
        }
        const std::string place = std::to_string(m_sounds++);
        track(index, isChosen);
        if (stream.channels > mostChannels(m_target)) {
            option("-filter:a:" + place, eightOf(stream));
            m_plan.omissions.append(composed(u"Piste {0} : {1} canaux réduits à 8."_s,
                                             {number(index), QString::number(stream.channels)}));
        } else if (m_target == "webm"_L1) {
            if (const auto filter = opusFilter(stream))
                option("-filter:a:" + place, *filter);
        }
    }

    void addSubtitle(std::size_t index, const MediaStream &stream)
    {
        const bool isText = isTextSubtitle(stream.codec);
        const bool isStored = m_holds.otherSubtitles && isStoredInMatroska(stream.codec);
        if (!isStored && (!isText || m_holds.textSubtitles == nullptr)) {
            omit(index, isText                   ? u"Piste {0} omise : sous-titres."_s
                        : stream.codec.isEmpty() ? u"Piste {0} omise : sous-titres illisibles."_s
                                                 : u"Piste {0} omise : sous-titres en images."_s);
            return;
        }
        // The fixed arguments take the first of the subtitles, where it is text; for M4V, none.
        if (m_plan.subtitles > 0 || !isText || m_target == "m4v"_L1)
            m_isMapped = true;
        map(index);
        m_subtitleCodecs.push_back(isStored || stream.codec == QLatin1String(m_holds.textSubtitles)
                                       ? "copy"
                                       : m_holds.textSubtitles);
        ++m_plan.subtitles;
    }

    void addCover(std::size_t index, const MediaStream &stream)
    {
        if (m_isAudio) // TagLib carries it
            return;
        const bool isFile = stream.codec == "mjpeg"_L1 || stream.codec == "png"_L1;
        if (!m_holds.attachments || !isFile) {
            omit(index, u"Piste {0} omise : image de couverture."_s);
            return;
        }
        const std::string number = m_plan.covers.empty() ? "" : std::to_string(m_plan.covers.size() + 1);
        m_plan.covers.push_back({index, "cover" + number + (stream.codec == "png"_L1 ? ".png" : ".jpg")});
    }

    void track(std::size_t index, bool isFixed)
    {
        m_isMapped = m_isMapped || !isFixed;
        map(index);
        m_plan.tracks.push_back(index);
    }

    void mapBeyondTheFixed(std::size_t index)
    {
        m_isMapped = true;
        map(index);
    }

    void map(std::size_t index) { m_maps.insert(m_maps.end(), {"-map", "0:" + std::to_string(index)}); }

    void option(const std::string &name, const std::string &value)
    {
        m_plan.arguments.insert(m_plan.arguments.end(), {name, value});
    }

    // A cover in Matroska is an attachment of this name.
    void attachCovers()
    {
        if (m_isMapped)
            for (std::size_t i = 0; i < m_subtitleCodecs.size(); ++i)
                option("-c:s:" + std::to_string(i), m_subtitleCodecs[i]);
        for (const CoverFile &cover : m_plan.covers) {
            const std::string place = "-metadata:s:t:" + std::to_string(m_attachments++);
            option("-attach", cover.name);
            option(place, cover.name.ends_with("png") ? "mimetype=image/png" : "mimetype=image/jpeg");
            option(place, "filename=" + cover.name);
        }
    }

    void omit(std::size_t index, const QString &sentence)
    {
        m_plan.omissions.append(composed(sentence, {number(index)}));
    }

    static QString number(std::size_t index) { return QString::number(index + 1); }

    const MediaAsset &m_source;
    const QString &m_target;
    bool m_isAudio;
    Holds m_holds;
    StreamPlan m_plan;
    bool m_isMapped = false; ///< the fixed arguments would leave something behind
    std::vector<std::string> m_maps;
    std::vector<std::string> m_subtitleCodecs;
    std::optional<std::size_t> m_picture;
    std::optional<std::size_t> m_sound;
    int m_pictures = 0;
    int m_sounds = 0;
    int m_attachments = 0;
};

} // namespace

std::optional<std::size_t> chosenStream(const MediaAsset &asset, MediaStream::Kind kind)
{
    std::optional<std::size_t> chosen;
    qint64 best = -1;
    for (std::size_t index = 0; index < asset.streams.size(); ++index) {
        const MediaStream &stream = asset.streams[index];
        const qint64 size = kind == Kind::Video ? qint64(stream.width) * stream.height : stream.channels;
        const qint64 score = size + (stream.isDefault ? 5'000'000 : 0);
        if (stream.kind == kind && score > best) {
            best = score;
            chosen = index;
        }
    }
    return chosen;
}

StreamPlan planStreams(const MediaAsset &source, const QString &target)
{
    return Planner(source, target).plan();
}

bool needsProbe(const MediaAsset &source, const QString &target)
{
    if (audioExtensions().contains(target))
        return false;
    const bool lacksLayouts =
        std::any_of(source.streams.begin(), source.streams.end(), [](const MediaStream &stream) {
            return stream.kind == Kind::Audio && stream.channels == 0;
        });
    return source.hasUnlistedCover || (target == "webm"_L1 && lacksLayouts);
}

} // namespace quorvalent
