#include "media/audio/SndfileReader.h"

#include "media/SourceEnd.h"

#include <algorithm>
#include <array>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

bool isOurContainer(int format)
{
    constexpr std::array containers{SF_FORMAT_WAV,  SF_FORMAT_WAVEX, SF_FORMAT_RF64, SF_FORMAT_AIFF,
                                    SF_FORMAT_FLAC, SF_FORMAT_OGG,   SF_FORMAT_MPEG};
    return std::find(containers.begin(), containers.end(), format & SF_FORMAT_TYPEMASK) != containers.end();
}

// Whether every value that the codec can produce is a 16-bit integer.
bool fitsInt16(int format)
{
    constexpr std::array codings{SF_FORMAT_PCM_S8, SF_FORMAT_PCM_U8,    SF_FORMAT_PCM_16,   SF_FORMAT_ULAW,
                                 SF_FORMAT_ALAW,   SF_FORMAT_IMA_ADPCM, SF_FORMAT_MS_ADPCM, SF_FORMAT_GSM610};
    return std::find(codings.begin(), codings.end(), format & SF_FORMAT_SUBMASK) != codings.end();
}

// Vorbis and Opus have the centre second and the low frequencies last.
std::vector<std::size_t> oggChannels(int channels)
{
    switch (channels) {
    case 3:
        return {0, 2, 1};
    case 5:
        return {0, 2, 1, 3, 4};
    case 6:
        return {0, 2, 1, 5, 3, 4};
    case 7:
        return {0, 2, 1, 6, 5, 3, 4};
    case 8:
        return {0, 2, 1, 7, 5, 6, 3, 4};
    default:
        return {};
    }
}

Speakers speakerOf(int mapped)
{
    constexpr std::array<std::pair<int, Speakers>, 16> table{{
        {SF_CHANNEL_MAP_MONO, 0x4},
        {SF_CHANNEL_MAP_LEFT, 0x1},
        {SF_CHANNEL_MAP_FRONT_LEFT, 0x1},
        {SF_CHANNEL_MAP_RIGHT, 0x2},
        {SF_CHANNEL_MAP_FRONT_RIGHT, 0x2},
        {SF_CHANNEL_MAP_CENTER, 0x4},
        {SF_CHANNEL_MAP_FRONT_CENTER, 0x4},
        {SF_CHANNEL_MAP_LFE, 0x8},
        {SF_CHANNEL_MAP_REAR_LEFT, 0x10},
        {SF_CHANNEL_MAP_REAR_RIGHT, 0x20},
        {SF_CHANNEL_MAP_FRONT_LEFT_OF_CENTER, 0x40},
        {SF_CHANNEL_MAP_FRONT_RIGHT_OF_CENTER, 0x80},
        {SF_CHANNEL_MAP_REAR_CENTER, 0x100},
        {SF_CHANNEL_MAP_SIDE_LEFT, 0x200},
        {SF_CHANNEL_MAP_SIDE_RIGHT, 0x400},
        {SF_CHANNEL_MAP_TOP_CENTER, 0x800},
    }};
    for (const auto &[place, speaker] : table) {
        if (place == mapped)
            return speaker;
    }
    return 0;
}

// The file's own description, where it has one and its channels are in the usual order.
Speakers speakersOf(SNDFILE *file, int channels)
{
    std::vector<int> map(static_cast<std::size_t>(channels));
    const int bytes = static_cast<int>(map.size() * sizeof(int));
    if (sf_command(file, SFC_GET_CHANNEL_MAP_INFO, map.data(), bytes) != SF_TRUE)
        return usualSpeakers(channels);
    Speakers speakers = 0;
    for (const int place : map) {
        const Speakers speaker = speakerOf(place);
        if (speaker <= speakers)
            return usualSpeakers(channels);
        speakers |= speaker;
        if (speaker != (speakers & ~(speaker - 1)))
            return usualSpeakers(channels);
    }
    return speakers;
}

} // namespace

std::unique_ptr<AudioReader> SndfileReader::open(const std::filesystem::path &path,
                                                 const DeclaredLength &declared)
{
    ByteSource source(path);
    SF_INFO info = {};
    SndfileHandle file(sf_open_fd(source.descriptor(), SFM_READ, &info, SF_FALSE));
    if (!file || !isOurContainer(info.format) || info.channels <= 0 || info.samplerate <= 0)
        return nullptr;
    // Without a total nothing would tell whether all of it was read at one rate.
    if (info.frames == SF_COUNT_MAX && (info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_FLAC)
        return nullptr;
    // An Ogg file's length stands in its last page. libsndfile 1.2.2 takes the last one that is there for it,
    // where 1.2.0 knows no length.
    if ((info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_OGG &&
        (info.frames == SF_COUNT_MAX || SourceEnd::of(path).state == SourceEnd::State::BreaksOff))
        throw AudioError(u"Le fichier audio est incomplet."_s);
    return std::unique_ptr<AudioReader>(
        new SndfileReader(std::move(source), std::move(file), info, declared));
}

SndfileReader::SndfileReader(ByteSource source, SndfileHandle file, const SF_INFO &info,
                             const DeclaredLength &declared)
    : m_source(std::move(source))
    , m_file(std::move(file))
    , m_isFlac((info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_FLAC)
{
    m_format.sampleRate = info.samplerate;
    m_format.channels = info.channels;
    m_format.samples = fitsInt16(info.format) ? SampleKind::Int16 : SampleKind::Float32;
    m_format.speakers = speakersOf(m_file.get(), info.channels);
    if ((info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_OGG)
        m_fileChannels = oggChannels(info.channels);
    if (info.frames != SF_COUNT_MAX)
        m_length = info.frames;
    if ((info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_MPEG) {
        constexpr std::int64_t packetFrames = 1152;
        m_toleranceFrames = packetFrames;
        m_isLengthExact = declared.frames.has_value();
    }
}

std::size_t SndfileReader::decode(AudioBuffer &buffer)
{
    const auto capacity = static_cast<sf_count_t>(buffer.capacityFrames());
    const sf_count_t count = buffer.kind() == SampleKind::Int16
                                 ? sf_readf_short(m_file.get(), buffer.integers().data(), capacity)
                                 : sf_readf_float(m_file.get(), buffer.floats().data(), capacity);
    if (sf_error(m_file.get()) != SF_ERR_NO_ERROR)
        throw AudioError(u"Le fichier audio est endommagé."_s);
    const auto frames = static_cast<std::size_t>(count);
    if (!m_fileChannels.empty()) {
        buffer.setFrames(frames);
        reorderChannels(buffer);
    }
    if (m_isFlac && m_length && position() + count >= *m_length)
        requireNothingLeft();
    return frames;
}

void SndfileReader::reorderChannels(AudioBuffer &buffer) const
{
    const std::span<float> samples = buffer.floats().first(buffer.frames() * buffer.channels());
    std::array<float, 8> frame{};
    for (std::size_t start = 0; start < samples.size(); start += m_fileChannels.size()) {
        const auto place = samples.subspan(start, m_fileChannels.size());
        std::copy(place.begin(), place.end(), frame.begin());
        for (std::size_t channel = 0; channel < m_fileChannels.size(); ++channel)
            place[channel] = frame.at(m_fileChannels[channel]);
    }
}

// The library stops at the total in the header without a word, however much sound follows.
void SndfileReader::requireNothingLeft() const
{
    constexpr std::int64_t readAheadAndTags = 32L * 1024;
    const off_t consumed = ::lseek(m_source.descriptor(), 0, SEEK_CUR);
    if (consumed >= 0 && consumed + readAheadAndTags < m_source.size())
        throw AudioError(u"Le fichier audio annonce une durée fausse."_s);
}

} // namespace quorvalent
