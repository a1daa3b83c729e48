// WAV, RF64, Wave64 and AIFF files written by libsndfile, sox, ffmpeg and
// sndfile-convert must read sample for sample as libsndfile decodes them,
// in whole passes and at random positions, across the end and before the
// start.
#include <random>

#include <gtest/gtest.h>

#include "audiofiles/KelAudioFileReader.h"
#include "support/AudioFixtures.h"
#include "support/TestTemp.h"

#if KEL_HAVE_SNDFILE

namespace {

using kel::test::Decoded;
using kel::test::RunCommand;
using kel::test::ShellQuoted;
using kel::test::TempDir;

struct Fixture
{
    std::string name;  // file name; its extension matters to the tools
    std::string tool;  // what writes it, for the messages
    std::function<bool(const TempDir&, const std::string& path)> make;
    std::string formatName;
    std::uint32_t bits;
    bool isFloat;
    bool isRF64 = false;
    bool isWave64 = false;
};

std::function<bool(const TempDir&, const std::string&)> Sndfile(int format, int channels, int frames,
                                                                 int rate = 48000)
{
    return [=](const TempDir&, const std::string& path) {
        return kel::test::WriteWithSndfile(path, format, channels, frames, rate);
    };
}

/** Runs a command whose {in} is replaced by a libsndfile-written source of
    the given shape and {out} by the fixture's path. */
std::function<bool(const TempDir&, const std::string&)> Tool(std::string command, int channels = 2,
                                                              int sourceFormat = SF_FORMAT_WAV | SF_FORMAT_PCM_24)
{
    return [=](const TempDir& dir, const std::string& path) {
        const auto source = dir.file("source-" + std::to_string(channels) + ".wav");
        if (!kel::test::WriteWithSndfile(source, sourceFormat, channels, 2000, 44100))
            return false;
        auto text = command;
        for (const auto& [key, value] : {std::pair<std::string, std::string>{"{in}", source}, {"{out}", path}})
            for (auto at = text.find(key); at != std::string::npos; at = text.find(key))
                text.replace(at, key.size(), ShellQuoted(value));
        return RunCommand(text + " >/dev/null 2>&1") == 0;
    };
}

const char* const ffmpeg = "ffmpeg -nostdin -hide_banner -loglevel error -y -i {in} ";

std::vector<Fixture> Fixtures()
{
    const std::string wav = "WAV File", aiff = "AIFF File";
    return {
        // libsndfile through its API: every width, 1 to 256 channels.
        {"u8.wav", "libsndfile", Sndfile(SF_FORMAT_WAV | SF_FORMAT_PCM_U8, 1, 3001), wav, 8, false},
        {"s16.wav", "libsndfile", Sndfile(SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 3001), wav, 16, false},
        {"s24.wav", "libsndfile", Sndfile(SF_FORMAT_WAV | SF_FORMAT_PCM_24, 5, 2999), wav, 24, false},
        {"s32.wav", "libsndfile", Sndfile(SF_FORMAT_WAV | SF_FORMAT_PCM_32, 3, 2000), wav, 32, false},
        {"f32.wav", "libsndfile", Sndfile(SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 2000), wav, 32, true},
        {"f64.wav", "libsndfile", Sndfile(SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 2, 2000), wav, 64, true},
        {"x24x64.wav", "libsndfile WAVEX", Sndfile(SF_FORMAT_WAVEX | SF_FORMAT_PCM_24, 64, 1500), wav, 24, false},
        {"x16x256.wav", "libsndfile WAVEX", Sndfile(SF_FORMAT_WAVEX | SF_FORMAT_PCM_16, 256, 700), wav, 16, false},
        {"xf32.wav", "libsndfile WAVEX", Sndfile(SF_FORMAT_WAVEX | SF_FORMAT_FLOAT, 8, 1200), wav, 32, true},
        {"r24.wav", "libsndfile RF64", Sndfile(SF_FORMAT_RF64 | SF_FORMAT_PCM_24, 4, 2500), wav, 24, false, true},
        {"rf32.wav", "libsndfile RF64", Sndfile(SF_FORMAT_RF64 | SF_FORMAT_FLOAT, 2, 1000), wav, 32, true, true},
        {"w16.w64", "libsndfile W64", Sndfile(SF_FORMAT_W64 | SF_FORMAT_PCM_16, 2, 2001), wav, 16, false, false, true},
        {"w24.w64", "libsndfile W64", Sndfile(SF_FORMAT_W64 | SF_FORMAT_PCM_24, 1, 1999), wav, 24, false, false, true},
        {"w64f.w64", "libsndfile W64", Sndfile(SF_FORMAT_W64 | SF_FORMAT_DOUBLE, 3, 1000), wav, 64, true, false, true},
        {"s8.aiff", "libsndfile", Sndfile(SF_FORMAT_AIFF | SF_FORMAT_PCM_S8, 1, 3001), aiff, 8, false},
        {"a16.aiff", "libsndfile", Sndfile(SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 2, 3001), aiff, 16, false},
        {"a24.aiff", "libsndfile", Sndfile(SF_FORMAT_AIFF | SF_FORMAT_PCM_24, 3, 2000, 96000), aiff, 24, false},
        {"a32.aiff", "libsndfile", Sndfile(SF_FORMAT_AIFF | SF_FORMAT_PCM_32, 2, 2000, 22050), aiff, 32, false},
        {"af32.aiff", "libsndfile AIFF-C fl32", Sndfile(SF_FORMAT_AIFF | SF_FORMAT_FLOAT, 2, 2000), aiff, 32, true},
        {"sowt.aiff", "libsndfile AIFF-C sowt",
         Sndfile(SF_FORMAT_AIFF | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE, 2, 2000, 44100), aiff, 16, false},
        // sox
        {"sox24.wav", "sox", Tool("sox {in} -b 24 {out}"), wav, 24, false},
        {"soxf32.wav", "sox", Tool("sox {in} -e floating-point -b 32 {out}", 1), wav, 32, true},
        {"sox16.aiff", "sox", Tool("sox {in} -b 16 {out}", 6), aiff, 16, false},
        {"sox.aifc", "sox AIFF-C", Tool("sox {in} -b 24 {out}"), aiff, 24, false},
        {"soxu8.wav", "sox", Tool("sox {in} -b 8 -e unsigned-integer {out}", 2), wav, 8, false},
        // ffmpeg
        {"ff-sowt.aiff", "ffmpeg AIFF-C sowt", Tool(std::string(ffmpeg) + "-c:a pcm_s16le -f aiff {out}"), aiff, 16,
         false},
        {"ff-fl32.aiff", "ffmpeg AIFF-C fl32", Tool(std::string(ffmpeg) + "-c:a pcm_f32be -f aiff {out}"), aiff, 32,
         true},
        {"ff-s8.aiff", "ffmpeg", Tool(std::string(ffmpeg) + "-c:a pcm_s8 -f aiff {out}", 1), aiff, 8, false},
        {"ff-rf64.wav", "ffmpeg RF64", Tool(std::string(ffmpeg) + "-c:a pcm_s24le -rf64 always {out}", 3), wav, 24,
         false, true},
        {"ff.w64", "ffmpeg W64", Tool(std::string(ffmpeg) + "-c:a pcm_s32le -f w64 {out}"), wav, 32, false, false,
         true},
        {"ff-f64.wav", "ffmpeg", Tool(std::string(ffmpeg) + "-c:a pcm_f64le {out}", 2), wav, 64, true},
        {"ff-u8.wav", "ffmpeg", Tool(std::string(ffmpeg) + "-c:a pcm_u8 {out}", 1), wav, 8, false},
        // sndfile-convert
        {"sc24.aiff", "sndfile-convert", Tool("sndfile-convert -pcm24 {in} {out}"), aiff, 24, false},
        {"sc32.wav", "sndfile-convert", Tool("sndfile-convert -pcm32 {in} {out}", 4), wav, 32, false},
        {"scu8.wav", "sndfile-convert", Tool("sndfile-convert -pcmu8 {in} {out}"), wav, 8, false},
    };
}

TEST(AudioFileCrossCheck, EveryFixtureReadsAsLibsndfileDecodesIt)
{
    TempDir dir;
    for (const auto& fixture : Fixtures())
    {
        SCOPED_TRACE(fixture.name + " (" + fixture.tool + ")");
        const auto path = dir.file(fixture.name);
        ASSERT_TRUE(fixture.make(dir, path)) << "could not write the fixture";
        const Decoded reference = kel::test::DecodeWithSndfile(path);
        ASSERT_GT(reference.frames, 0);

        const auto reader = kel::AudioFileReader::CreateReaderFor(kel::File(path));
        ASSERT_NE(reader, nullptr);
        EXPECT_EQ(reader->getFormatName(), fixture.formatName);
        EXPECT_EQ(reader->getNumChannels(), std::uint32_t(reference.channels));
        EXPECT_EQ(reader->getSampleRate(), reference.sampleRate);
        EXPECT_EQ(reader->getLengthInSamples(), reference.frames);
        EXPECT_EQ(reader->getBitsPerSample(), fixture.bits);
        EXPECT_EQ(reader->usesFloatingPointData(), fixture.isFloat);
        EXPECT_EQ(reader->isRF64(), fixture.isRF64);
        EXPECT_EQ(reader->isWave64(), fixture.isWave64);

        // Whole passes in two block sizes.
        for (const std::int64_t block : {std::int64_t(4096), std::int64_t(333)})
        {
            const auto ours = kel::test::ReadAllWithReader(*reader, block);
            const auto at = kel::test::FirstDifference(ours.samples, reference.samples);
            EXPECT_EQ(at, -1) << "block " << block << ": first difference at value " << at;
        }

        // Random ranges, some reaching past the end or starting before 0.
        std::mt19937 random(11);
        const auto length = reference.frames;
        for (int i = 0; i < 25; ++i)
        {
            const auto start = std::int64_t(random() % std::uint32_t(length + 600)) - 300;
            const auto n = std::int64_t(random() % 900) + 1;
            const auto at = kel::test::FirstDifference(kel::test::ReadRange(*reader, start, n),
                                                       kel::test::ReferenceRange(reference, start, n));
            EXPECT_EQ(at, -1) << "range " << start << " + " << n << ": first difference at value " << at;
        }
    }
}

TEST(AudioFileCrossCheck, DecodeVerbWritesInterleavedLittleEndianFloats)
{
    TempDir dir;
    const auto out = dir.file("out.raw");
    // Few and many channels: the blocks hold fewer frames the more channels
    // there are, and frames are interleaved in tiles of channels.
    struct Case
    {
        int format;
        int channels;
        std::int64_t frames;
    };
    for (const auto& c : {Case{SF_FORMAT_WAV | SF_FORMAT_PCM_24, 3, 9001},
                          Case{SF_FORMAT_WAV | SF_FORMAT_PCM_16, 600, 777},
                          Case{SF_FORMAT_WAV | SF_FORMAT_FLOAT, 67, 2001}})
    {
        SCOPED_TRACE(std::to_string(c.channels) + " channels");
        const auto path = dir.file("in" + std::to_string(c.channels) + ".wav");
        ASSERT_TRUE(kel::test::WriteWithSndfile(path, c.format, c.channels, c.frames, 48000));
        ASSERT_EQ(RunCommand(ShellQuoted(KEL_CLI_PATH) + " decode " + ShellQuoted(path) + " " + ShellQuoted(out)), 0);
        const auto bytes = kel::test::LoadBytes(out);
        const auto reference = kel::test::DecodeWithSndfile(path);
        ASSERT_EQ(bytes.size(), reference.samples.size() * 4);
        std::vector<float> values(reference.samples.size());
        for (std::size_t i = 0; i < values.size(); ++i)
        {
            const std::uint32_t bits = std::uint32_t(bytes[4 * i]) | (std::uint32_t(bytes[4 * i + 1]) << 8)
                                     | (std::uint32_t(bytes[4 * i + 2]) << 16)
                                     | (std::uint32_t(bytes[4 * i + 3]) << 24);
            values[i] = std::bit_cast<float>(bits);
        }
        EXPECT_EQ(kel::test::FirstDifference(values, reference.samples), -1);
    }

    // A failure prints the error's full text and exits with 1.
    std::string output;
    const auto missing = dir.file("missing.wav");
    EXPECT_EQ(RunCommand(ShellQuoted(KEL_CLI_PATH) + " decode " + ShellQuoted(missing) + " " + ShellQuoted(out)
                             + " 2>&1",
                         &output),
              1);
    EXPECT_EQ(output.rfind("Exception occurred in [libnorvdsp/src/audiofiles/KelAudioFileReader:", 0), 0u) << output;
    EXPECT_NE(output.find("Could not find file \"" + missing + "\""), std::string::npos) << output;
}

} // namespace

#endif
