// MP3 files written by lame and ffmpeg must read exactly as libmpg123
// decodes them from the start with gapless trimming off: their length, and
// every sample also after random jumps, backward steps and past the end.
#include <random>

#include <gtest/gtest.h>

#include "audiofiles/KelMP3FileReader.h"
#include "support/AudioFixtures.h"
#include "support/TestTemp.h"

namespace {

using kel::test::Decoded;
using kel::test::RunCommand;
using kel::test::ShellQuoted;
using kel::test::TempDir;

struct Mp3Fixture
{
    std::string name;
    std::string source;   // sox arguments making the source signal
    std::string encoder;  // {in} and {out} stand for the source and the fixture
    double rate;
    std::uint32_t channels;
    int samplesPerFrame;
};

const std::string lame = "lame --quiet --nohist ";
const std::string ffmpeg = "ffmpeg -nostdin -hide_banner -loglevel error -y -i {in} ";

// Music-like material: tones that move, and noise that empties the bit
// reservoir of low bitrates.
std::string Signal(int rate, int channels, double seconds)
{
    return "-n -r " + std::to_string(rate) + " -c " + std::to_string(channels) + " -b 16 {src} synth "
         + std::to_string(seconds) + " sine 200-3000 pinknoise sine 440 remix - "
         + (channels == 2 ? "gain -3 channels 2" : "gain -3");
}

std::vector<Mp3Fixture> Fixtures()
{
    return {
        {"mpeg1-cbr.mp3", Signal(44100, 2, 2.0), lame + "-b 128 {in} {out}", 44100, 2, 1152},
        {"mpeg1-vbr.mp3", Signal(48000, 2, 2.0), lame + "-V 2 {in} {out}", 48000, 2, 1152},
        {"mpeg1-32k.mp3", Signal(32000, 1, 2.0), lame + "-b 32 --resample 32 {in} {out}", 32000, 1, 1152},
        {"mpeg1-ffmpeg.mp3", Signal(48000, 1, 1.5), ffmpeg + "-c:a libmp3lame -b:a 96k {out}", 48000, 1, 1152},
        {"mpeg1-no-info.mp3", Signal(44100, 2, 1.5), lame + "-t -b 160 {in} {out}", 44100, 2, 1152},
        {"mpeg2-22k.mp3", Signal(22050, 1, 2.0), lame + "-b 32 {in} {out}", 22050, 1, 576},
        {"mpeg2-24k.mp3", Signal(24000, 2, 2.0), ffmpeg + "-c:a libmp3lame -b:a 48k {out}", 24000, 2, 576},
        {"mpeg2-16k-8kbps.mp3", Signal(16000, 1, 2.0), lame + "-b 8 --resample 16 {in} {out}", 16000, 1, 576},
        {"mpeg25-11k.mp3", Signal(11025, 2, 2.0), lame + "-b 24 --resample 11.025 {in} {out}", 11025, 2, 576},
        {"mpeg25-8k-no-info.mp3", Signal(8000, 1, 2.0), lame + "-t -b 8 --resample 8 {in} {out}", 8000, 1, 576},
        {"layer2.mp3", Signal(44100, 2, 1.5), ffmpeg + "-c:a mp2 -b:a 192k -f mp2 {out}", 44100, 2, 1152},
        {"layer2-mpeg2.mp3", Signal(22050, 1, 1.5), ffmpeg + "-c:a mp2 -b:a 64k -f mp2 {out}", 22050, 1, 1152},
        {"id3v2.mp3", Signal(44100, 1, 1.0),
         lame + "-b 64 --add-id3v2 --pad-id3v2-size 3000 --tt Title --ta Artist {in} {out}", 44100, 1, 1152},
        {"id3v1.mp3", Signal(44100, 2, 1.0), lame + "-b 96 --resample 44.1 --id3v1-only --tt Title {in} {out}", 44100, 2, 1152},
    };
}

std::string Expand(std::string text, const std::string& key, const std::string& value)
{
    for (auto at = text.find(key); at != std::string::npos; at = text.find(key, at + value.size()))
        text.replace(at, key.size(), ShellQuoted(value));
    return text;
}

bool Make(const TempDir& dir, const Mp3Fixture& fixture, const std::string& path)
{
    const auto source = dir.file(fixture.name + ".wav");
    return RunCommand(Expand("sox " + fixture.source, "{src}", source) + " 2>/dev/null") == 0
        && RunCommand(Expand(Expand(fixture.encoder, "{in}", source), "{out}", path) + " >/dev/null 2>&1") == 0;
}

/** Whether the file's first frame is an info frame declaring the frame
    count ("Xing" or "Info" near its start), looked up in the raw bytes. */
bool HasInfoFrame(const std::string& path)
{
    const auto bytes = kel::test::LoadBytes(path);
    std::size_t start = 0;
    if (bytes.size() > 10 && bytes[0] == 'I' && bytes[1] == 'D' && bytes[2] == '3')
        start = 10 + ((std::size_t(bytes[6]) << 21) | (std::size_t(bytes[7]) << 14) | (std::size_t(bytes[8]) << 7)
                      | bytes[9]);
    const std::string head(bytes.begin() + std::ptrdiff_t(std::min(start, bytes.size())),
                           bytes.begin() + std::ptrdiff_t(std::min(start + 60, bytes.size())));
    return head.find("Xing") != std::string::npos || head.find("Info") != std::string::npos;
}

/** Every sample our reader gives for the ranges matches libmpg123's. */
void ExpectRangesMatch(kel::AudioFileReader& reader, const Decoded& reference,
                       const std::vector<std::pair<std::int64_t, std::int64_t>>& ranges, const char* what)
{
    for (const auto& [start, n] : ranges)
    {
        const auto at = kel::test::FirstDifference(kel::test::ReadRange(reader, start, n),
                                                   kel::test::ReferenceRange(reference, start, n));
        EXPECT_EQ(at, -1) << what << " " << start << " + " << n << ": first difference at value " << at;
    }
}

void CheckAgainstMpg123(kel::MP3FileReader& reader, const Decoded& reference, const Mp3Fixture& fixture,
                        bool declaresLength)
{
    EXPECT_EQ(reader.getLengthInSamples(), reference.frames);
    EXPECT_EQ(reader.getSampleRate(), fixture.rate);
    EXPECT_EQ(reader.getNumChannels(), fixture.channels);
    EXPECT_EQ(reader.getSamplesPerFrame(), fixture.samplesPerFrame);
    EXPECT_EQ(reader.hasDeclaredLength(), declaresLength);
    EXPECT_EQ(reader.getBitsPerSample(), 32u);
    EXPECT_TRUE(reader.usesFloatingPointData());

    // Straight through, in two block sizes (the second forces a seek back to 0).
    for (const std::int64_t block : {std::int64_t(4096), std::int64_t(1000)})
    {
        const auto at = kel::test::FirstDifference(kel::test::ReadAllWithReader(reader, block).samples,
                                                   reference.samples);
        EXPECT_EQ(at, -1) << "block " << block << ": first difference at value " << at;
    }

    const auto length = reference.frames;
    std::vector<std::pair<std::int64_t, std::int64_t>> ranges;
    std::mt19937 random(5);
    for (int i = 0; i < 40; ++i)
        ranges.emplace_back(std::int64_t(random() % std::uint32_t(length + 3000)) - 1000,
                            std::int64_t(random() % 3000) + 1);
    ExpectRangesMatch(reader, reference, ranges, "random range");

    // Backward steps through the whole file, each re-decoding from the index.
    ranges.clear();
    for (std::int64_t end = length; end > 0; end -= 700)
        ranges.emplace_back(std::max<std::int64_t>(0, end - 700), std::min<std::int64_t>(700, end));
    ExpectRangesMatch(reader, reference, ranges, "backward step");

    // Across the end and wholly beyond it: the tail and then silence.
    ExpectRangesMatch(reader, reference, {{length - 100, 300}, {length, 50}, {length + 100000, 10}, {-50, 100}},
                      "past the ends");
}

TEST(MP3Reader, EveryFixtureReadsAsLibmpg123DecodesIt)
{
    KEL_SKIP_WITHOUT_SHELL();
    TempDir dir;
    for (const auto& fixture : Fixtures())
    {
        SCOPED_TRACE(fixture.name);
        const auto path = dir.file(fixture.name);
        ASSERT_TRUE(Make(dir, fixture, path)) << "could not make the fixture";
        const auto reference = kel::test::DecodeWithMpg123(path);
        ASSERT_GT(reference.frames, 0);
        ASSERT_EQ(reference.channels, int(fixture.channels));

        auto reader = kel::AudioFileReader::CreateReaderFor(kel::File(path));
        ASSERT_NE(dynamic_cast<kel::MP3FileReader*>(reader.get()), nullptr);
        CheckAgainstMpg123(static_cast<kel::MP3FileReader&>(*reader), reference, fixture, HasInfoFrame(path));
    }
}

TEST(MP3Reader, UntrustworthyId3SizeIsNotSkipped)
{
    KEL_SKIP_WITHOUT_SHELL();
    // Hand-made from a lame file: a top bit set in the tag's size bytes (no
    // tool writes that). The reader starts at the file's beginning and the
    // decoder finds its way through the tag, as libmpg123 does on its own.
    TempDir dir;
    const Mp3Fixture fixture{"tagged.mp3", Signal(44100, 2, 1.0), lame + "-b 128 --add-id3v2 --tt T {in} {out}",
                             44100, 2, 1152};
    const auto path = dir.file(fixture.name);
    ASSERT_TRUE(Make(dir, fixture, path));
    auto bytes = kel::test::LoadBytes(path);
    ASSERT_EQ(std::string(bytes.begin(), bytes.begin() + 3), "ID3");
    ASSERT_EQ(bytes[6] | bytes[7], 0);  // a tag below 16 KiB
    bytes[7] = 0x80;
    kel::test::SaveBytes(path, bytes);

    const auto reference = kel::test::DecodeWithMpg123(path);
    ASSERT_GT(reference.frames, 0);
    kel::MP3FileReader reader{kel::File(path)};
    CheckAgainstMpg123(reader, reference, fixture, true);
}

TEST(MP3Reader, ReadsFromMemoryAsFromTheFile)
{
    KEL_SKIP_WITHOUT_SHELL();
    TempDir dir;
    const Mp3Fixture fixture{"m.mp3", Signal(22050, 2, 1.0), lame + "-b 48 {in} {out}", 22050, 2, 576};
    const auto path = dir.file(fixture.name);
    ASSERT_TRUE(Make(dir, fixture, path));
    const auto bytes = kel::test::LoadBytes(path);
    kel::MP3FileReader reader(std::make_unique<kel::MemoryInputStream>(bytes.data(), bytes.size()),
                              kel::File("memory.mp3"));
    CheckAgainstMpg123(reader, kel::test::DecodeWithMpg123(path), fixture, HasInfoFrame(path));
}

TEST(MP3Reader, FilesWithoutFramesAreNotValid)
{
    TempDir dir;
    const std::vector<std::pair<std::string, std::vector<std::uint8_t>>> cases = {
        {"empty.mp3", {}},
        {"text.mp3", std::vector<std::uint8_t>(5000, 'a')},
        {"tag-only.mp3", {'I', 'D', '3', 3, 0, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"tag-past-end.mp3", {'I', 'D', '3', 3, 0, 0, 0x7F, 0x7F, 0x7F, 0x7F, 0xFF, 0xFB, 0x90, 0x00}},
        {"lone-header.mp3", {0xFF, 0xFB, 0x90, 0x64}},
    };
    for (const auto& [name, bytes] : cases)
    {
        SCOPED_TRACE(name);
        const auto path = dir.file(name);
        kel::test::SaveBytes(path, bytes);
        try
        {
            kel::MP3FileReader reader{kel::File(path)};
            ADD_FAILURE() << "accepted with " << reader.getLengthInSamples() << " frames";
        }
        catch (const kel::Exception& e)
        {
            EXPECT_EQ(e.getMessage(), "file \"" + path + "\" is not a valid MP3 file");
        }
    }
}

} // namespace
