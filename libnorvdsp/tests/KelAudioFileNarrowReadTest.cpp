// A buffer with fewer channels than the file (the player's ring is only as
// wide as its box) gets the file's first channels, sample for sample as
// libsndfile and libmpg123 decode them, wherever in the buffer and the file
// the frames go; a wider buffer's extra channels are left alone; and a
// channel that is not read is not converted, so a non-finite sample in it is
// neither replaced nor reported.
#include <algorithm>
#include <bit>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include "audiofiles/KelAudioFileReader.h"
#include "support/AudioFixtures.h"
#include "support/TestTemp.h"

namespace {

using kel::test::Decoded;
using kel::test::TempDir;

constexpr float untouched = 12345.0f;

/** Reads [start, start + n) into channels of a width-channel buffer of
    length frames at index, poisoned beforehand; returns whether read()
    succeeded and leaves the buffer for the caller to check. */
bool ReadInto(kel::AudioFileReader& reader, kel::AudioBuffer<float>& buffer, std::int64_t index, std::int64_t start,
              std::int64_t n)
{
    for (std::uint32_t c = 0; c < buffer.getNumChannels(); ++c)
        std::fill_n(buffer.getWritePointer(c), buffer.getNumSamples(), untouched);
    return reader.read(buffer, index, n, start);
}

/** The first difference between the buffer and the reference over the
    range, as text; empty when there is none. Channels the file lacks must
    hold the poison, and so must the buffer next to the range (a line of
    frames either side). */
std::string Compare(const kel::AudioBuffer<float>& buffer, const Decoded& reference, std::int64_t index,
                    std::int64_t start, std::int64_t n)
{
    for (std::uint32_t c = 0; c < buffer.getNumChannels(); ++c)
    {
        const float* values = buffer.getReadPointer(c);
        const auto first = std::max<std::int64_t>(0, index - 16);
        const auto end = std::min<std::int64_t>(std::int64_t(buffer.getNumSamples()), index + n + 16);
        for (std::int64_t i = first; i < end; ++i)
        {
            const auto frame = start + i - index;
            const bool inRange = i >= index && i < index + n && c < std::uint32_t(reference.channels);
            const float expected = !inRange ? untouched
                                 : frame < 0 || frame >= reference.frames ? 0.0f
                                                                          : reference.at(frame, int(c));
            if (std::bit_cast<std::uint32_t>(values[i]) != std::bit_cast<std::uint32_t>(expected))
                return "channel " + std::to_string(c) + " index " + std::to_string(i) + " (file frame "
                     + std::to_string(frame) + "): " + std::to_string(values[i]) + " instead of "
                     + std::to_string(expected);
        }
    }
    return {};
}

#if KEL_HAVE_SNDFILE

TEST(AudioFileNarrowRead, FirstChannelsOfEveryLayoutReadAsLibsndfileDecodesThem)
{
    TempDir dir;
    struct Layout
    {
        const char* name;
        int format;
    };
    const Layout layouts[] = {
        {"pcm16.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16},   {"pcm24.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24},
        {"pcm32.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_32},   {"u8.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_U8},
        {"float.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT},    {"double.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE},
        {"be16.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16},  {"be24.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_24},
        {"be32.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_32},  {"s8.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_S8},
        {"fl32.aiff", SF_FORMAT_AIFF | SF_FORMAT_FLOAT},
    };
    constexpr int fileChannels = 600;
    constexpr std::int64_t fileFrames = 700;
    // A power-of-two length puts the channels' values at the same place of
    // their 4 KB pages (they are written through a stage then), 1000 does
    // not; the random indices start the frames mid-line.
    for (const auto& layout : layouts)
    {
        SCOPED_TRACE(layout.name);
        const auto path = dir.file(layout.name);
        ASSERT_TRUE(kel::test::WriteWithSndfile(path, layout.format, fileChannels, fileFrames, 48000));
        const Decoded reference = kel::test::DecodeWithSndfile(path);
        ASSERT_EQ(reference.channels, fileChannels);
        ASSERT_EQ(reference.frames, fileFrames);
        const auto reader = kel::AudioFileReader::CreateReaderFor(kel::File(path));
        ASSERT_NE(reader, nullptr);

        std::mt19937 random(3);
        for (const std::int64_t bufferLength : {1024, 1000})
        {
            for (const std::uint32_t width : {1u, 2u, 3u, 8u, 17u, 64u, 600u, 601u})
            {
                kel::AudioBuffer<float> buffer(width, std::uint64_t(bufferLength));
                // The whole file in blocks of a few sizes at moving places, then
                // ranges that cross its start or end or lie beyond them.
                std::vector<std::pair<std::int64_t, std::int64_t>> ranges;
                for (std::int64_t start = 0; start < fileFrames;)
                {
                    const auto n = std::min<std::int64_t>(fileFrames - start, 1 + std::int64_t(random() % 300));
                    ranges.emplace_back(start, n);
                    start += n;
                }
                ranges.insert(ranges.end(), {{-20, 37}, {fileFrames - 5, 21}, {fileFrames + 3, 4}, {-9, 3}});
                for (const auto& [start, n] : ranges)
                {
                    const auto index = std::int64_t(random() % std::uint32_t(bufferLength - n + 1));
                    ASSERT_TRUE(ReadInto(*reader, buffer, index, start, n));
                    const auto difference = Compare(buffer, reference, index, start, n);
                    ASSERT_EQ(difference, "") << width << " channels " << bufferLength << " long, frames " << start
                                              << " + " << n << " at index " << index;
                }
            }
        }
    }
}

TEST(AudioFileNarrowRead, NonFiniteSamplesCountOnlyInTheChannelsRead)
{
    TempDir dir;
    const auto path = dir.file("nan.wav");
    constexpr int channels = 12;
    constexpr std::int64_t frames = 300;
    std::vector<float> samples(std::size_t(channels) * frames);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = 0.001f * float(i % 997) - 0.5f;
    samples[std::size_t(100) * channels + 10] = std::numeric_limits<float>::quiet_NaN();
    samples[std::size_t(200) * channels + 11] = -std::numeric_limits<float>::infinity();
    SF_INFO info{};
    info.samplerate = 48000;
    info.channels = channels;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(sf_writef_float(file, samples.data(), frames), frames);
    sf_close(file);

    const auto reader = kel::AudioFileReader::CreateReaderFor(kel::File(path));
    ASSERT_NE(reader, nullptr);
    kel::AudioBuffer<float> narrow(10, frames);
    ASSERT_TRUE(reader->read(narrow, 0, frames, 0));
    EXPECT_FALSE(reader->hasReplacedNonFiniteSamples());
    for (std::uint32_t c = 0; c < 10; ++c)
        for (std::int64_t f = 0; f < frames; ++f)
            ASSERT_EQ(narrow.getReadPointer(c)[f], samples[std::size_t(f) * channels + c]) << c << " " << f;

    kel::AudioBuffer<float> eleven(11, frames);
    ASSERT_TRUE(reader->read(eleven, 0, frames, 0));
    EXPECT_TRUE(reader->hasReplacedNonFiniteSamples());
    EXPECT_EQ(std::bit_cast<std::uint32_t>(eleven.getReadPointer(10)[100]), 0u);
    EXPECT_EQ(eleven.getReadPointer(10)[99], samples[std::size_t(99) * channels + 10]);
}

#endif

TEST(AudioFileNarrowRead, OneChannelOfAStereoMp3ReadsAsLibmpg123DecodesIt)
{
    KEL_SKIP_WITHOUT_SHELL();
    TempDir dir;
    const auto wav = dir.file("source.wav");
    const auto mp3 = dir.file("stereo.mp3");
    ASSERT_EQ(kel::test::RunCommand("sox -n -r 44100 -c 2 -b 16 " + kel::test::ShellQuoted(wav)
                                    + " synth 1.5 sine 200-3000 pinknoise remix - gain -3 channels 2 2>/dev/null"),
              0);
    ASSERT_EQ(kel::test::RunCommand("lame --quiet --nohist -b 128 " + kel::test::ShellQuoted(wav) + " "
                                    + kel::test::ShellQuoted(mp3) + " >/dev/null 2>&1"),
              0);
    const Decoded reference = kel::test::DecodeWithMpg123(mp3);
    ASSERT_EQ(reference.channels, 2);
    const auto reader = kel::AudioFileReader::CreateReaderFor(kel::File(mp3));
    ASSERT_NE(reader, nullptr);
    ASSERT_EQ(reader->getLengthInSamples(), reference.frames);

    kel::AudioBuffer<float> buffer(1, 4096);
    std::mt19937 random(9);
    for (int i = 0; i < 30; ++i)
    {
        const auto start = std::int64_t(random() % std::uint32_t(reference.frames + 2000)) - 1000;
        const auto n = 1 + std::int64_t(random() % 3000);
        const auto index = std::int64_t(random() % std::uint32_t(4096 - n + 1));
        ASSERT_TRUE(ReadInto(*reader, buffer, index, start, n));
        const auto difference = Compare(buffer, reference, index, start, n);
        ASSERT_EQ(difference, "") << "frames " << start << " + " << n << " at index " << index;
    }
}

} // namespace
