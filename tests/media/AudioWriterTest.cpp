#include "media/AudioWriter.h"

#include "media/audio/BackgroundWriter.h"
#include "media/audio/Quantizer.h"

#include "support/TestFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

namespace quorvalent::test {

namespace {

constexpr AudioFormat stereo{
    .sampleRate = 44100, .channels = 2, .samples = SampleKind::Int16, .speakers = 0x3};
constexpr std::int64_t framesOfFiveGigabytes = 5'000'000'000 / 4;

} // namespace

TEST(AudioWriter, refusesAnAiffFileBeyondFourGigabytesBeforeWriting)
{
    const TestFolder folder;
    const AudioEncoding aiff{.container = AudioEncoding::Container::Aiff};
    EXPECT_THROW((void)AudioWriter::create(folder / "long.aiff", aiff, stereo, framesOfFiveGigabytes),
                 AudioError);
    EXPECT_TRUE(folder.listing().empty());
}

TEST(AudioWriter, makesALongWaveFileAnRf64)
{
    const TestFolder folder;
    AudioBuffer silence(stereo, 100);
    silence.setFrames(100);
    const AudioEncoding wave{.container = AudioEncoding::Container::Wave};
    for (const auto &[length, head] :
         {std::pair(framesOfFiveGigabytes, "RF64"), {std::int64_t{100}, "RIFF"}}) {
        const auto writer = AudioWriter::create(folder / "s.wav", wave, stereo, length);
        writer->write(silence);
        writer->finish();
        EXPECT_EQ(folder.read("s.wav").substr(0, 4), head);
    }
}

TEST(AudioWriter, saysThatTheDiskIsFull)
{
    const AudioEncoding wave{.container = AudioEncoding::Container::Wave};
    // Every write to this device finds no space; a small file may notice only at its end.
    EXPECT_THROW(
        {
            const auto writer = AudioWriter::create("/dev/full", wave, stereo, 100);
            AudioBuffer sound(stereo, 100);
            sound.setFrames(100);
            writer->write(sound);
            writer->finish();
        },
        Error);
}

namespace {

/// Keeps the first sample of each buffer, and fails at one of them.
class FailingWriter : public AudioWriter
{
public:
    FailingWriter(std::vector<int> &written, int failing)
        : m_written(written)
        , m_failing(failing)
    {}

    void write(const AudioBuffer &buffer) override
    {
        if (buffer.integerSound()[0] == m_failing)
            throw AudioError(QStringLiteral("full"));
        m_written.push_back(buffer.integerSound()[0]);
    }
    void finish() override { m_written.push_back(-1); }

private:
    std::vector<int> &m_written;
    int m_failing;
};

} // namespace

TEST(BackgroundWriter, writesInOrderAndReportsAFailureOnce)
{
    constexpr int buffers = 50;
    for (const int failing : {0, 20, buffers - 1, buffers}) {
        std::vector<int> written;
        BackgroundWriter writer(std::make_unique<FailingWriter>(written, failing));
        AudioBuffer sound(stereo, 1);
        sound.setFrames(1);
        int failures = 0;
        try {
            for (int number = 0; number < buffers; ++number) {
                sound.integers()[0] = static_cast<std::int16_t>(number);
                writer.write(sound);
            }
            writer.finish();
        } catch (const AudioError &) {
            ++failures;
        }
        std::vector<int> expected(static_cast<std::size_t>(failing));
        std::iota(expected.begin(), expected.end(), 0);
        if (failing == buffers)
            expected.push_back(-1);
        EXPECT_EQ(written, expected);
        EXPECT_EQ(failures, failing == buffers ? 0 : 1);
    }
}

TEST(BackgroundWriter, canBeGivenUpInTheMiddle)
{
    std::vector<int> written;
    {
        BackgroundWriter writer(std::make_unique<FailingWriter>(written, -2));
        AudioBuffer sound(stereo, 1);
        sound.setFrames(1);
        for (int buffer = 0; buffer < 5; ++buffer)
            writer.write(sound);
    }
    EXPECT_EQ(written.size(), 5U) << "what was handed over is written, and the file is not completed";
}

TEST(Quantizer, keepsTheMeanBelowOneStepWithoutPattern)
{
    // A quarter of a step would be lost by plain rounding.
    const std::vector<float> faint(100'000, 0.25F / 32768);
    std::vector<std::int16_t> integers(faint.size());
    Quantizer().quantize(faint, integers);
    const double mean =
        std::accumulate(integers.begin(), integers.end(), 0.0) / static_cast<double>(faint.size());
    EXPECT_NEAR(mean, 0.25, 0.01);
    // Triangular dither never adds more than one step to the rounding.
    EXPECT_GE(*std::min_element(integers.begin(), integers.end()), -1);
    EXPECT_LE(*std::max_element(integers.begin(), integers.end()), 1);
    // Its noise has the power of a quarter of a square step, with the rounding, whatever the value.
    double power = 0;
    for (const std::int16_t value : integers)
        power += (value - 0.25) * (value - 0.25);
    EXPECT_NEAR(power / static_cast<double>(faint.size()), 0.25, 0.01);
}

TEST(Quantizer, leavesSilenceSilent)
{
    std::vector<float> samples(2000);
    std::fill(samples.begin() + 1500, samples.end(), 0.1F);
    std::vector<std::int16_t> integers(samples.size(), 99);
    Quantizer().quantize(samples, integers);
    EXPECT_TRUE(
        std::all_of(integers.begin(), integers.begin() + 1000, [](auto value) { return value == 0; }));
}

} // namespace quorvalent::test
