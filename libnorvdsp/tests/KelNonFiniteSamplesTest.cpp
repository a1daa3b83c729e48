// Float files holding NaN, infinities and doubles beyond the float range,
// written by libsndfile (and one converted by ffmpeg): the reader writes 0
// where libsndfile's own decode of the file is not finite and exactly
// libsndfile's value everywhere else, and says that it replaced something;
// the player plays them as silence and warns once per file, whatever its
// loop does; the command-line tool's verbs print the same warning.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "audiofiles/KelAudioFileReader.h"
#include "support/AudioFixtures.h"
#include "support/PlayerTestSupport.h"
#include "support/TestTemp.h"
#include "support/TestText.h"
#include "support/TimingReports.h"

#if KEL_HAVE_SNDFILE

namespace {

using kel::test::Decoded;
using kel::test::PlayerHost;
using kel::test::ShellQuoted;
using kel::test::TempDir;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double floatMax = std::numeric_limits<float>::max();

enum class Content
{
    nonFinite,        // noise with NaN, +-inf, +-1e300 and finite extremes among it
    sparse,           // noise with one of NaN, +-inf, 1e300 every 16 frames, at a frame and a channel that move
    finiteExtremes,   // noise with +-FLT_MAX, -0 and denormals among it, nothing else
    integerLookalikes // 32-bit integers whose bits are those of NaN and infinities
};

/** Interleaved samples of the content: deterministic noise in [-1.5, 1.5]
    with special values at positions spread over frames and channels. */
std::vector<double> Samples(Content content, int channels, std::int64_t frames)
{
    std::mt19937 random(std::uint32_t(channels * 7919 + frames));
    std::uniform_real_distribution<double> noise(-1.5, 1.5);
    std::vector<double> samples(std::size_t(frames) * std::size_t(channels));
    for (std::size_t i = 0; i < samples.size(); ++i)
    {
        double v = noise(random);
        if (content == Content::nonFinite)
            v = i % 37 == 0 ? nan : i % 41 == 3 ? inf : i % 43 == 5 ? -inf : i % 47 == 7 ? 1e300
              : i % 53 == 11 ? -1e300 : i % 59 == 13 ? floatMax : v;
        else if (content == Content::sparse)
        {
            // Alone in the 16 frames the conversion handles at a time, it
            // must be found wherever it sits among the frames and channels.
            const std::size_t frame = i / std::size_t(channels), channel = i % std::size_t(channels);
            const std::size_t tile = frame / 16;
            const double specials[] = {nan, inf, -inf, 1e300};
            if (frame % 16 == tile % 16 && channel == tile * 5 % std::size_t(channels))
                v = specials[tile % 4];
        }
        else if (content == Content::finiteExtremes)
            // Enough of them that a running sum overflows.
            v = i % 3 == 0 ? floatMax : i % 5 == 1 ? -floatMax : i % 7 == 2 ? -0.0 : i % 11 == 4 ? 1e-40 : v;
        samples[i] = v;
    }
    return samples;
}

bool WriteFixture(const std::string& path, int format, Content content, int channels, std::int64_t frames)
{
    SF_INFO info{};
    info.samplerate = 48000;
    info.channels = channels;
    info.format = format;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr)
        return false;
    sf_count_t written = 0;
    const auto samples = Samples(content, channels, frames);
    if (content == Content::integerLookalikes)
    {
        std::vector<int> words(samples.size());
        const std::uint32_t lookalikes[] = {0x7F800000u, 0xFF800000u, 0x7FC00000u, 0xFFFFFFFFu, 0x7FFFFFFFu};
        for (std::size_t i = 0; i < words.size(); ++i)
        {
            const auto noise = std::uint32_t(std::int64_t(samples[i] * 1e9));
            words[i] = std::bit_cast<int>(i % 2 == 0 ? lookalikes[(i / 2) % 5] : noise);
        }
        written = sf_writef_int(file, words.data(), frames);
    }
    else
    {
        written = sf_writef_double(file, samples.data(), frames);
    }
    sf_close(file);
    return written == frames;
}

/** libsndfile's decode with its non-finite values as 0: what our reader
    must deliver. */
std::vector<float> FiniteOnly(const Decoded& reference)
{
    std::vector<float> expected = reference.samples;
    for (auto& v : expected)
        if (!std::isfinite(v))
            v = 0.0f;
    return expected;
}

std::int64_t CountNonFinite(const std::vector<float>& values)
{
    return std::count_if(values.begin(), values.end(), [](float v) { return !std::isfinite(v); });
}

/** Index of the first value whose bits differ (-0 is not 0 here), or -1. */
std::int64_t FirstBitDifference(const std::vector<float>& a, const std::vector<float>& b)
{
    if (a.size() != b.size())
        return std::int64_t(std::min(a.size(), b.size()));
    for (std::size_t i = 0; i < a.size(); ++i)
        if (std::bit_cast<std::uint32_t>(a[i]) != std::bit_cast<std::uint32_t>(b[i]))
            return std::int64_t(i);
    return -1;
}

struct ReaderCase
{
    std::string name;
    std::function<bool(const TempDir&, const std::string& path)> make;
    bool replaces;
};

std::function<bool(const TempDir&, const std::string&)> Sndfile(int format, int channels, std::int64_t frames,
                                                                 Content content = Content::nonFinite)
{
    return [=](const TempDir&, const std::string& path) {
        return WriteFixture(path, format, content, channels, frames);
    };
}

TEST(NonFiniteSamples, ReaderWritesZeroWhereLibsndfileReadsNoNumber)
{
    TempDir dir;
    const ReaderCase cases[] = {
        {"f32-1ch.wav", Sndfile(SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1, 1001), true},
        {"f32-2ch.wav", Sndfile(SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 999), true},
        {"f32-3ch.wav", Sndfile(SF_FORMAT_WAV | SF_FORMAT_FLOAT, 3, 998), true},
        {"f32-6ch-wavex.wav", Sndfile(SF_FORMAT_WAVEX | SF_FORMAT_FLOAT, 6, 997), true},
        {"f32-64ch.wav", Sndfile(SF_FORMAT_WAV | SF_FORMAT_FLOAT, 64, 301), true},
        {"f32-67ch-rf64.wav", Sndfile(SF_FORMAT_RF64 | SF_FORMAT_FLOAT, 67, 203), true},
        {"f64-1ch.wav", Sndfile(SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 1, 1003), true},
        {"f64-2ch.wav", Sndfile(SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 2, 1000), true},
        {"f64-5ch-rf64.wav", Sndfile(SF_FORMAT_RF64 | SF_FORMAT_DOUBLE, 5, 777), true},
        {"f64-64ch.w64", Sndfile(SF_FORMAT_W64 | SF_FORMAT_DOUBLE, 64, 150), true},
        {"f32-2ch.aiff", Sndfile(SF_FORMAT_AIFF | SF_FORMAT_FLOAT, 2, 1000), true},
        {"sparse-f32-1ch.wav", Sndfile(SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1, 1601, Content::sparse), true},
        {"sparse-f32-2ch.wav", Sndfile(SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 1601, Content::sparse), true},
        {"sparse-f32-7ch.wav", Sndfile(SF_FORMAT_WAV | SF_FORMAT_FLOAT, 7, 1601, Content::sparse), true},
        {"sparse-f32-64ch.wav", Sndfile(SF_FORMAT_WAV | SF_FORMAT_FLOAT, 64, 1601, Content::sparse), true},
        {"sparse-f64-7ch.wav", Sndfile(SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 7, 1601, Content::sparse), true},
        {"sparse-f32-3ch.aiff", Sndfile(SF_FORMAT_AIFF | SF_FORMAT_FLOAT, 3, 1601, Content::sparse), true},
        {"ffmpeg-fl32-3ch.aiff",
         [](const TempDir& dir, const std::string& path) {
             if (!kel::test::HaveShell())
                 return false;
             const auto source = dir.file("ffmpeg-source.wav");
             return WriteFixture(source, SF_FORMAT_WAV | SF_FORMAT_DOUBLE, Content::nonFinite, 3, 1000)
                 && kel::test::RunCommand("ffmpeg -nostdin -hide_banner -loglevel error -y -i " + ShellQuoted(source)
                                          + " -c:a pcm_f32be -f aiff " + ShellQuoted(path) + " >/dev/null 2>&1")
                        == 0;
         },
         true},
        // Nothing to replace: huge finite values (their sum is not finite),
        // -0 and denormals come back as they are.
        {"f32-extremes-4ch.wav", Sndfile(SF_FORMAT_WAV | SF_FORMAT_FLOAT, 4, 1000, Content::finiteExtremes), false},
        {"f32-extremes-2ch.wav", Sndfile(SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 1000, Content::finiteExtremes), false},
        {"f64-extremes-3ch.wav", Sndfile(SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 3, 1000, Content::finiteExtremes), false},
        // Integers are never floats, whatever their bits look like.
        {"s32-lookalikes.wav", Sndfile(SF_FORMAT_WAV | SF_FORMAT_PCM_32, 2, 1000, Content::integerLookalikes), false},
        {"s32-lookalikes.aiff", Sndfile(SF_FORMAT_AIFF | SF_FORMAT_PCM_32, 5, 1000, Content::integerLookalikes), false},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.name);
        if (c.name.starts_with("ffmpeg") && !kel::test::HaveShell())
            continue;  // no ffmpeg without a shell (Wine)
        const auto path = dir.file(c.name);
        ASSERT_TRUE(c.make(dir, path)) << "could not write the fixture";
        const Decoded reference = kel::test::DecodeWithSndfile(path);
        ASSERT_GT(reference.frames, 0);
        // The fixture holds what it should, as libsndfile reads it.
        if (c.replaces)
            ASSERT_GE(CountNonFinite(reference.samples), reference.frames / 16);
        else
            ASSERT_EQ(CountNonFinite(reference.samples), 0);
        const auto expected = FiniteOnly(reference);

        // Whole passes in blocks of several sizes, and a range that starts
        // off the conversion's groups of four frames and runs past the end.
        for (const std::int64_t block : {4096, 16, 7})
        {
            SCOPED_TRACE("blocks of " + std::to_string(block));
            const auto reader = kel::AudioFileReader::CreateReaderFor(kel::File(path));
            EXPECT_FALSE(reader->hasReplacedNonFiniteSamples()) << "before any read";
            const Decoded ours = kel::test::ReadAllWithReader(*reader, block);
            EXPECT_EQ(FirstBitDifference(ours.samples, expected), -1);
            EXPECT_EQ(reader->hasReplacedNonFiniteSamples(), c.replaces);
        }
        const auto reader = kel::AudioFileReader::CreateReaderFor(kel::File(path));
        const std::int64_t start = 3, n = reference.frames;
        auto expectedRange = kel::test::ReferenceRange(reference, start, n);
        for (auto& v : expectedRange)
            v = std::isfinite(v) ? v : 0.0f;
        EXPECT_EQ(FirstBitDifference(kel::test::ReadRange(*reader, start, n), expectedRange), -1);
    }
}

/** What the player of `channels` channels must output for frames [first,
    first + count) of the reference, interleaved, audio channels only. */
std::vector<float> ExpectedAudio(const std::vector<float>& finite, int channels, std::int64_t length,
                                 std::int64_t first, std::int64_t count)
{
    std::vector<float> out;
    for (std::int64_t f = 0; f < count; ++f)
        for (int c = 0; c < channels; ++c)
            out.push_back(finite[std::size_t(((first + f) % length) * channels + c)]);
    return out;
}

TEST(AudioFilePlayer, NonFiniteSamplesPlayAsSilenceAndWarnOncePerFile)
{
    TempDir dir;
    struct Case
    {
        std::string name;
        int format;
        int channels;
    };
    const Case cases[] = {
        {"loop-f32.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2},
        {"loop-f64.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 3},
    };
    const std::string clean = dir.file("clean.wav");
    ASSERT_TRUE(kel::test::WriteWithSndfile(clean, SF_FORMAT_WAV | SF_FORMAT_FLOAT, 3, 2000, 48000));
    constexpr std::int64_t length = 3000;
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.name);
        const auto path = dir.file(c.name);
        ASSERT_TRUE(WriteFixture(path, c.format, Content::nonFinite, c.channels, length));
        const auto finite = FiniteOnly(kel::test::DecodeWithSndfile(path));
        const std::string warning = "non-finite samples replaced by silence in \"" + path + "\"";

        // The buffering thread reports: a console that takes reports from
        // any thread instead of the host's.
        kel::test::LockedConsole console;
        PlayerHost host(std::uint32_t(c.channels));
        host.player().RemoveHostListener(&host.console());
        host.player().AddHostListener(&console);
        const auto warnings = [&] { return console.texts(kel::HostNotifier::Level::warning); };

        host.Send("/open \"" + path + "\"");
        host.Send("/loop 1");
        host.Send("/start");
        // Seven passes over the loop, the ring refilled from the file by the
        // buffering thread again and again.
        const std::int64_t frames = 7 * length;
        const auto output = host.Render(std::uint64_t(frames));
        const auto stride = host.outputChannels();
        std::vector<float> audio;
        for (std::int64_t f = 0; f < frames; ++f)
            for (int ch = 0; ch <= c.channels; ++ch)
            {
                const float v = output[std::size_t(f) * stride + std::size_t(ch)];
                ASSERT_TRUE(std::isfinite(v)) << "frame " << f << ", output " << ch;
                if (ch < c.channels)
                    audio.push_back(v);
            }
        EXPECT_EQ(FirstBitDifference(audio, ExpectedAudio(finite, c.channels, length, 0, frames)), -1);
        ASSERT_TRUE(kel::test::WaitUntil([&] { return !warnings().empty(); })) << "no warning";
        host.Render(std::uint64_t(3 * length));

        // Another file and back: once per opened file.
        host.Send("/open \"" + clean + "\"");
        host.Send("/start");
        host.Render(2000);
        host.Send("/open \"" + path + "\"");
        host.Send("/loop 1");
        host.Send("/seek 10");  // from frame 480: read by the message thread first
        host.Render(std::uint64_t(3 * length));
        ASSERT_TRUE(kel::test::WaitUntil([&] { return warnings().size() >= 2; })) << "no second warning";
        host.Render(std::uint64_t(2 * length));
        host.DestroyPlayer();
        EXPECT_EQ(warnings(), (std::vector<std::string>{warning, warning}));
        EXPECT_EQ(console.all().size(), 2u);
    }
}

struct CliRun
{
    int status = -1;
    std::string out;
    std::string err;
};

CliRun RunCli(const TempDir& dir, const std::string& arguments)
{
    CliRun run;
    const std::string errFile = dir.file("stderr.txt");
    run.status = kel::test::RunCommand(ShellQuoted(KEL_CLI_PATH) + " " + arguments + " 2>" + ShellQuoted(errFile),
                                       &run.out);
    const auto bytes = kel::test::LoadBytes(errFile);
    run.err.assign(bytes.begin(), bytes.end());
    return run;
}

TEST(NonFiniteSamples, CommandLineVerbsWarnOnce)
{
    KEL_SKIP_WITHOUT_SHELL();
    TempDir dir;
    const std::string bad = dir.file("bad.wav"), clean = dir.file("clean.wav");
    ASSERT_TRUE(WriteFixture(bad, SF_FORMAT_WAV | SF_FORMAT_DOUBLE, Content::nonFinite, 2, 1500));
    ASSERT_TRUE(WriteFixture(clean, SF_FORMAT_WAV | SF_FORMAT_FLOAT, Content::finiteExtremes, 2, 1500));
    const auto line = [](const std::string& path) {
        return "warning occurred: non-finite samples replaced by silence in \"" + path + "\"\n";
    };
    const std::string raw = dir.file("out.raw"), wav = dir.file("out.wav");
    struct Case
    {
        std::string what;
        std::string arguments;
        std::string input;
        std::string output;
        std::int64_t loops;  // passes over the file in the output
        std::string err;
    };
    const Case cases[] = {
        {"decode", "decode " + ShellQuoted(bad) + " " + ShellQuoted(raw), bad, raw, 1, line(bad)},
        {"render", "render " + ShellQuoted(bad) + " " + ShellQuoted(wav) + " --blocksize 100", bad, wav, 1, line(bad)},
        {"render, looped four times",
         "render " + ShellQuoted(bad) + " " + ShellQuoted(wav) + " --at 0 '/loop 1' --at 0 /start --seconds 0.125",
         bad, wav, 4, line(bad)},
        {"decode of a file with nothing to replace", "decode " + ShellQuoted(clean) + " " + ShellQuoted(raw), clean,
         raw, 1, ""},
        {"render of a file with nothing to replace",
         "render " + ShellQuoted(clean) + " " + ShellQuoted(wav) + " --blocksize 100", clean, wav, 1, ""},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        const CliRun run = RunCli(dir, c.arguments);
        ASSERT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.err, c.err);

        const auto finite = FiniteOnly(kel::test::DecodeWithSndfile(c.input));
        const std::int64_t length = std::int64_t(finite.size()) / 2;
        std::vector<float> got;
        if (c.output == raw)
        {
            const auto bytes = kel::test::LoadBytes(raw);
            got.resize(bytes.size() / 4);
            std::memcpy(got.data(), bytes.data(), got.size() * 4);  // little-endian, as this machine
        }
        else
        {
            got = kel::test::DecodeWithSndfile(wav).samples;
        }
        EXPECT_EQ(FirstBitDifference(got, ExpectedAudio(finite, 2, length, 0, length * c.loops)), -1);
    }
}

} // namespace

#endif
