#include "engine/AudioEngine.h"

#include "core/ConversionError.h"
#include "media/AudioReader.h"
#include "media/AudioWriter.h"

#include <algorithm>
#include <new>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

constexpr std::size_t bufferFrames = 16384;
constexpr qint64 largestKbps = 1'000'000; // far beyond any encoder; keeps a stored number from overflowing
constexpr double largestFraction = 0.98;  // the rest is the replacement's

AudioEncoding encodingFor(const std::filesystem::path &output, qint64 bitrateKbps)
{
    const std::filesystem::path extension = output.extension();
    if (extension == ".m4a")
        return {.container = AudioEncoding::Container::Mpeg4,
                .bitRate = static_cast<int>(std::clamp(bitrateKbps, qint64(1), largestKbps) * 1000)};
    return {.container =
                extension == ".wav" ? AudioEncoding::Container::Wave : AudioEncoding::Container::Aiff};
}

AudioBuffer transferBuffer(const AudioFormat &format)
{
    try {
        return {format, bufferFrames};
    } catch (const std::bad_alloc &) {
        throw ConversionError(u"Mémoire audio indisponible."_s);
    }
}

std::optional<double> fractionOf(const AudioReader &reader)
{
    const std::optional<std::int64_t> length = reader.length();
    if (!length)
        return std::nullopt;
    const double fraction =
        static_cast<double>(reader.position()) / static_cast<double>(std::max<std::int64_t>(*length, 1));
    return std::min(fraction, 1.0) * largestFraction;
}

} // namespace

void runAudioEngine(const std::filesystem::path &source, const std::filesystem::path &output,
                    qint64 bitrateKbps, const Progress &progress)
{
    const std::unique_ptr<AudioReader> reader = AudioReader::open(source);
    const std::unique_ptr<AudioWriter> writer =
        AudioWriter::create(output, encodingFor(output, bitrateKbps), reader->format(), reader->length());
    AudioBuffer buffer = transferBuffer(reader->format());
    while (!reader->isAtEnd()) {
        reader->read(buffer);
        if (buffer.frames() == 0)
            break;
        writer->write(buffer);
        report(progress, fractionOf(*reader));
    }
    writer->finish();
}

} // namespace quorvalent
