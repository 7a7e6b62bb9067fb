#include "engine/AudioEngine.h"

#include "media/AudioFormat.h"
#include "media/MediaAsset.h"

#include "support/TestFolder.h"
#include "support/TestMedia.h"
#include "support/TestSound.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace quorvalent::test {

namespace {

namespace fs = std::filesystem;
using Arguments = std::vector<std::string>;

const Progress ignored = [](std::optional<double>) {};

fs::path converted(const fs::path &source, const fs::path &output, int bitrate = 256)
{
    runAudioEngine(source, output, bitrate, ignored);
    return output;
}

std::string failureOf(const fs::path &source, const fs::path &output)
{
    try {
        runAudioEngine(source, output, 256, ignored);
    } catch (const AudioError &error) {
        return error.what();
    }
    return "no failure";
}

// The mean distance from zero of each channel.
std::vector<double> loudness(const std::vector<std::int16_t> &samples, std::size_t channels)
{
    std::vector<double> sums(channels);
    for (std::size_t i = 0; i < samples.size(); ++i)
        sums[i % channels] += std::abs(samples[i]);
    for (double &sum : sums)
        sum /= static_cast<double>(samples.size()) / static_cast<double>(channels);
    return sums;
}

} // namespace

struct LosslessCase
{
    std::string name;
    fs::path source;
    Arguments arguments; ///< how FFmpeg makes it of a WAVE file
    int sampleRate;
    int channels;
};

void PrintTo(const LosslessCase &row, std::ostream *out)
{
    *out << row.name;
}

class LosslessSource : public testing::TestWithParam<LosslessCase>
{};

TEST_P(LosslessSource, comesOutBitForBit)
{
    const TestFolder folder;
    constexpr int frames = 20011; // more than one buffer, and no multiple of anything
    const auto original =
        writeWave(folder / "original.wav", noise(GetParam().sampleRate, GetParam().channels, frames));
    Arguments arguments = {"-i", "file:" + original.native()};
    arguments.insert(arguments.end(), GetParam().arguments.begin(), GetParam().arguments.end());
    const auto source = makeMedia(folder / GetParam().source, arguments);

    const std::vector<std::int16_t> expected = decoded(original);
    ASSERT_EQ(expected.size(), static_cast<std::size_t>(frames * GetParam().channels));
    for (const char *target : {"output.wav", "output.aif", "output.aiff"}) {
        const auto output = converted(source, folder / target);
        EXPECT_TRUE(decoded(output) == expected) << target;
        const auto asset = MediaAsset::read(output);
        ASSERT_TRUE(asset) << target;
        EXPECT_EQ(asset->streams.at(0).sampleRate, GetParam().sampleRate);
        EXPECT_EQ(asset->streams.at(0).channels, GetParam().channels);
        EXPECT_EQ(asset->streams.at(0).codec, target == std::string("output.wav")
                                                  ? QStringLiteral("pcm_s16le")
                                                  : QStringLiteral("pcm_s16be"));
    }
}

INSTANTIATE_TEST_SUITE_P(
    OfEachKind, LosslessSource,
    testing::Values(LosslessCase{"wav", "s.wav", {}, 44100, 2},
                    LosslessCase{"slowMono", "s.wav", {}, 8000, 1},
                    LosslessCase{"wav24", "s.wav", {"-c:a", "pcm_s24le"}, 44100, 2},
                    LosslessCase{"aiff", "s.aif", {}, 48000, 2},
                    LosslessCase{"flac", "s.flac", {}, 192000, 2},
                    LosslessCase{"surroundFlac", "s.flac", {}, 44100, 6},
                    LosslessCase{"eightChannels", "s.wav", {}, 48000, 8},
                    LosslessCase{"alac", "s.m4a", {"-c:a", "alac"}, 44100, 2},
                    LosslessCase{"strangeName", "-s%d[.m4a", {"-c:a", "alac"}, 44100, 1},
                    LosslessCase{"pipedWave", "s.wav", {"-f", "wav", "-write_bext", "1"}, 44100, 2}),
    [](const auto &row) { return row.param.name; });

TEST(AudioEngine, keepsTheStartAndTheLengthThroughAac)
{
    const TestFolder folder;
    constexpr std::size_t frames = 50001;
    constexpr std::size_t click = 20000;
    WaveContent content{
        .sampleRate = 44100, .channels = 1, .bits = 16, .samples = std::vector<double>(frames)};
    content.samples[click] = 0.9;
    const auto original = writeWave(folder / "original.wav", content);

    const auto encoded = converted(original, folder / "output.m4a");
    EXPECT_NEAR(MediaAsset::read(encoded)->streams.at(0).duration.value().count(), frames / 44100.0, 1e-5);
    // FFmpeg's own decoding hands over the padding of the last packet, ours does not.
    const auto again = decoded(converted(encoded, folder / "again.wav"));
    EXPECT_EQ(again.size(), frames);
    for (const auto &samples : {decoded(encoded), again}) {
        const auto loudest = std::max_element(samples.begin(), samples.end());
        EXPECT_EQ(static_cast<std::size_t>(loudest - samples.begin()), click);
    }
}

TEST(AudioEngine, keepsTheChannelsOfEverySourceInTheirPlaces)
{
    const TestFolder folder;
    WaveContent content{.sampleRate = 48000, .channels = 6, .bits = 16, .samples = {}};
    for (int i = 0; i < 48000 * content.channels; ++i) // each channel much louder than the one before
        content.samples.push_back(std::pow(1.5, i % 6) * 0.1 * std::sin((i - i % 6) / 6.0 * 0.02));
    const auto original = writeWave(folder / "original.wav", content);

    for (const Arguments &kind : {Arguments{"vorbis.ogg", "libvorbis"},
                                  {"opus.ogg", "libopus"},
                                  {"s.flac", "flac"},
                                  {"s.m4a", "aac"}}) {
        const auto source =
            makeMedia(folder / kind[0], {"-channel_layout", "5.1", "-i", "file:" + original.native(), "-c:a",
                                         kind[1], "-b:a", "512k"});
        const std::vector<double> expected = loudness(decoded(source), 6);
        for (const char *target : {"output.wav", "output.aiff", "output.m4a"}) {
            const std::vector<double> found = loudness(decoded(converted(source, folder / target, 512)), 6);
            for (std::size_t channel = 0; channel < 6; ++channel)
                EXPECT_NEAR(found[channel] / expected[channel], 1, 0.1)
                    << kind[0] << " to " << target << channel;
        }
    }
}

TEST(AudioEngine, clipsDeepSamplesInsteadOfWrappingThem)
{
    const TestFolder folder;
    const auto source = writeWave(
        folder / "s.wav",
        {.sampleRate = 44100, .channels = 1, .bits = 32, .samples = {1.5, -1.5, 1.0, -1.0, NAN, 0.3}});
    const auto samples = decoded(converted(source, folder / "output.aiff"));
    ASSERT_EQ(samples.size(), 6U);
    EXPECT_EQ(samples[0], 32767);
    EXPECT_EQ(samples[1], -32768);
    EXPECT_NEAR(samples[2], 32767, 1);
    EXPECT_NEAR(samples[3], -32768, 1);
    EXPECT_NEAR(samples[4], 0, 1);
    EXPECT_NEAR(samples[5], 9830, 2);
}

TEST(AudioEngine, spendsTheBitRateThatWasAskedFor)
{
    const TestFolder folder;
    const auto source = writeWave(folder / "s.wav", noise(44100, 2, 5 * 44100));
    const auto rate = [&](int kbps) {
        return static_cast<double>(fs::file_size(converted(source, folder / "output.m4a", kbps))) * 8 / 5000;
    };
    EXPECT_NEAR(rate(256), 256, 20);
    EXPECT_NEAR(rate(96), 96, 10);
}

TEST(AudioEngine, reportsProgressByFrames)
{
    const TestFolder folder;
    const auto source = writeWave(folder / "s.wav", noise(44100, 1, 40000));
    std::vector<double> fractions;
    runAudioEngine(source, folder / "output.aiff", 256,
                   [&](std::optional<double> fraction) { fractions.push_back(fraction.value()); });
    using testing::DoubleNear;
    EXPECT_THAT(fractions, testing::ElementsAre(DoubleNear(0.4014, 1e-4), DoubleNear(0.8028, 1e-4), 0.98));
}

TEST(AudioEngine, writesAnEmptySoundWithoutProgress)
{
    const TestFolder folder;
    const auto source = writeWave(folder / "s.wav", noise(44100, 1, 0));
    runAudioEngine(source, folder / "output.aiff", 256, [](auto) { ADD_FAILURE() << "progress"; });
    EXPECT_EQ(folder.read("output.aiff").substr(0, 4), "FORM");
    EXPECT_EQ(MediaAsset::read(folder / "output.aiff")->streams.at(0).codec, QStringLiteral("pcm_s16be"));
}

TEST(AudioEngine, refusesASourceThatWasCutShort)
{
    const TestFolder folder;
    const auto original = writeWave(folder / "original.wav", noise(44100, 2, 3 * 44100));
    const std::vector<Arguments> kinds = {{"s.wav"},
                                          {"s.aif"},
                                          {"s.flac"},
                                          {"s.mp3"},
                                          {"s.ogg"},
                                          {"s.aac"},
                                          {"s.m4a"},
                                          {"s.m4a", "-c:a", "alac"},
                                          {"s.m4a", "-movflags", "+faststart"}};
    for (const Arguments &kind : kinds) {
        Arguments arguments = {"-i", "file:" + original.native()};
        arguments.insert(arguments.end(), kind.begin() + 1, kind.end());
        const auto source = makeMedia(folder / kind[0], arguments);
        EXPECT_EQ(failureOf(source, folder / "whole.wav"), "no failure") << kind[0];
        truncate(source, 0.6);
        EXPECT_THAT(failureOf(source, folder / "output.wav"),
                    testing::AnyOf("Le fichier audio est incomplet.", "Le fichier audio est endommagé."))
            << kind[0] << " " << kind.back();
    }
}

TEST(AudioEngine, refusesWhatAacCannotHoldBeforeWriting)
{
    const TestFolder folder;
    const auto fast = writeWave(folder / "fast.wav", noise(192000, 2, 1000));
    EXPECT_EQ(failureOf(fast, folder / "output.m4a"), "Le format AAC n’admet pas la fréquence de 192000 Hz.");
    const auto wide = writeWave(folder / "wide.wav", noise(44100, 7, 1000));
    EXPECT_EQ(failureOf(wide, folder / "output.m4a"),
              "Le format AAC n’admet pas cette disposition de 7 canaux.");
    EXPECT_FALSE(fs::exists(folder / "output.m4a"));
}

TEST(AudioEngine, refusesWhatIsNoSound)
{
    const TestFolder folder;
    EXPECT_EQ(failureOf(folder.write("s.m4a", "no sound at all"), folder / "output.wav"),
              "Lecture de l’audio impossible.");
    const auto playlist = folder.write("s.aac", "#EXTM3U\n#EXTINF:1,\nfile:///etc/hostname\n");
    EXPECT_EQ(failureOf(playlist, folder / "output.wav"), "Lecture de l’audio impossible.");
    EXPECT_THROW(converted(folder / "missing.wav", folder / "output.wav"), FileError);
}

} // namespace quorvalent::test
