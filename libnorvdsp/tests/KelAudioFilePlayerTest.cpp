// The player with its real buffering thread, rendered block by block as a
// host would and compared sample for sample with libsndfile's decode of the
// same file; the position signal, the reports and their rate limits, the
// console texts and the state report.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "support/AudioFixtures.h"
#include "support/TestText.h"
#include "support/PlayerTestSupport.h"
#include "support/TestTemp.h"

#if KEL_HAVE_SNDFILE

namespace {

using kel::test::Decoded;
using kel::test::PlayerHost;
using kel::test::TempDir;
using Kind = kel::test::RecordingPlayerListener::Event::Kind;

constexpr int rate = 48000;

// The WAV fixture: 3 channels of 24-bit noise, cue points 1, 2 and 3 (WAV
// labels unnamed markers with their IDs). The AIFF fixture: 2 channels of
// 16-bit noise, named markers; the one labelled "7" has another ID.
constexpr std::int64_t wavFrames = 60000;
constexpr int wavChannels = 3;
constexpr std::int64_t aiffFrames = 30000;

using Fixture = kel::test::PlayerFixture;

Fixture WriteWav(const TempDir& dir, const std::string& name, int channels, std::int64_t frames, int sampleRate,
                 bool withMarkers)
{
    return kel::test::WritePlayerFixture(dir.file(name), SF_FORMAT_WAV | SF_FORMAT_PCM_24, channels, frames,
                                         sampleRate,
                                         withMarkers ? std::vector<kel::test::FixtureMarker>{{1, 6000, ""},
                                                                                             {2, 20000, ""},
                                                                                             {3, 41000, ""}}
                                                     : std::vector<kel::test::FixtureMarker>{});
}

Fixture WriteAiff(const TempDir& dir)
{
    return kel::test::WritePlayerFixture(dir.file("named.aiff"), SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 2, aiffFrames,
                                         rate, {{7, 3000, "intro"}, {3, 12345, "7"}, {9, 25000, "coda"}});
}

/** A piece of the expected output: frames of the file from start, or
    silence when start is negative. */
struct Piece
{
    std::int64_t start;
    std::int64_t count;
};
constexpr std::int64_t silence = -1;

/** The audio channels a player of `channels` outputs for the pieces:
    the file's first channels, silent beyond the file's. Interleaved. */
std::vector<float> Expected(const Decoded& reference, std::uint32_t channels, const std::vector<Piece>& pieces)
{
    std::vector<float> out;
    for (const Piece& piece : pieces)
        for (std::int64_t f = 0; f < piece.count; ++f)
            for (std::uint32_t c = 0; c < channels; ++c)
            {
                const std::int64_t frame = piece.start + f;
                const bool inFile = piece.start >= 0 && frame < reference.frames && int(c) < reference.channels;
                out.push_back(inFile ? reference.at(frame, int(c)) : 0.0f);
            }
    return out;
}

/** The first `channels` channels of interleaved output of `stride` channels. */
std::vector<float> AudioChannels(const std::vector<float>& output, std::uint32_t stride, std::uint32_t channels)
{
    std::vector<float> audio;
    for (std::size_t frame = 0; frame * stride < output.size(); ++frame)
        for (std::uint32_t c = 0; c < channels; ++c)
            audio.push_back(output[frame * stride + c]);
    return audio;
}

std::vector<float> PositionChannel(const std::vector<float>& output, std::uint32_t stride)
{
    std::vector<float> position;
    for (std::size_t i = stride - 1; i < output.size(); i += stride)
        position.push_back(output[i]);
    return position;
}

std::string DescribeDifference(const std::vector<float>& actual, const std::vector<float>& expected,
                               std::uint32_t channels)
{
    if (actual.size() != expected.size())
        return "sizes differ: " + std::to_string(actual.size()) + " vs " + std::to_string(expected.size());
    const auto at = kel::test::FirstDifference(actual, expected);
    if (at < 0)
        return {};
    return "first difference at frame " + std::to_string(at / channels) + ", channel " + std::to_string(at % channels)
         + ": " + std::to_string(actual[std::size_t(at)]) + " instead of " + std::to_string(expected[std::size_t(at)]);
}

struct Step
{
    std::string message;  // sent first, unless empty
    std::uint64_t frames; // then rendered
};

struct CrossCheck
{
    const char* name;
    bool aiff;
    std::uint32_t playerChannels;
    std::uint32_t blockSize;
    std::vector<Step> steps;
    std::vector<Piece> expected;
};

TEST(AudioFilePlayer, OutputMatchesLibsndfileDecode)
{
    TempDir dir;
    const Fixture wav = WriteWav(dir, "cues.wav", wavChannels, wavFrames, rate, true);
    const Fixture aiff = WriteAiff(dir);
    const std::uint64_t L = wavFrames;
    const std::uint64_t tail = 128;  // the block that ends the segment, and one more

    // Loop over [4800, 50400): 45600 frames, repeated across the ring's end
    // (192000) and the segment's end, neither aligned with the 37-frame blocks.
    std::vector<Piece> longLoop;
    for (std::int64_t done = 0; done < 200000; done += 45600)
        longLoop.push_back({4800, std::min<std::int64_t>(45600, 200000 - done)});
    // Loop over [4800, 5760): 960 frames, less than one disk pass.
    std::vector<Piece> shortLoop;
    for (std::int64_t done = 0; done < 10000; done += 960)
        shortLoop.push_back({4800, std::min<std::int64_t>(960, 10000 - done)});

    const CrossCheck cases[] = {
        {"the whole file", false, 3, 64, {{"/start", L + tail}}, {{0, std::int64_t(L)}, {silence, tail}}},
        {"the whole file in blocks of 100", false, 3, 100, {{"/start", L + 200}}, {{0, std::int64_t(L)}, {silence, 200}}},
        {"a seek", false, 3, 64, {{"/seek 250", L - 12000 + tail}}, {{12000, std::int64_t(L) - 12000}, {silence, tail}}},
        {"a segment", false, 3, 64, {{"/seek 100 300", 9600 + tail}}, {{4800, 9600}, {silence, tail}}},
        {"a reversed segment", false, 3, 64, {{"/seek 300 100", 9600 + tail}}, {{4800, 9600}, {silence, tail}}},
        {"a segment shorter than one disk pass", false, 3, 64, {{"/seek 100 120", 960 + tail}},
         {{4800, 960}, {silence, tail}}},
        {"a loop across the ring's end", false, 3, 37, {{"/loop 1", 0}, {"/seek 100 1050", 200000}},
         longLoop},
        {"a loop shorter than one disk pass", false, 3, 64, {{"/loop 1", 0}, {"/seek 100 120", 10000}}, shortLoop},
        {"a marker by ID", false, 3, 64, {{"/seek/marker/byid 2", L - 20000 + tail}},
         {{20000, std::int64_t(L) - 20000}, {silence, tail}}},
        {"a marker by label", true, 2, 64, {{"/seek/marker/bylabel coda", aiffFrames - 25000 + tail}},
         {{25000, aiffFrames - 25000}, {silence, tail}}},
        {"a number names a label, not an ID", true, 2, 64, {{"/seek/marker/bylabel 7", aiffFrames - 12345 + tail}},
         {{12345, aiffFrames - 12345}, {silence, tail}}},
        {"pause and resume", false, 3, 64, {{"/start", 6400}, {"/pause", 640}, {"/resume", L - 6400 + tail}},
         {{0, 6400}, {silence, 640}, {6400, std::int64_t(L) - 6400}, {silence, tail}}},
        {"resume right after opening plays the whole file", false, 3, 64, {{"/resume", L + tail}},
         {{0, std::int64_t(L)}, {silence, tail}}},
        {"resume after the end plays it again", false, 3, 64,
         {{"/seek 1000", 12000 + tail}, {"/resume", L + tail}},
         {{48000, 12000}, {silence, tail}, {0, std::int64_t(L)}, {silence, tail}}},
        {"switch pauses and resumes", false, 3, 64, {{"/start", 640}, {"/switch", 64}, {"/switch", 640}},
         {{0, 640}, {silence, 64}, {640, 640}}},
        {"a file with more channels than the player", false, 2, 64, {{"/start", L + tail}},
         {{0, std::int64_t(L)}, {silence, tail}}},
        {"a file with fewer channels than the player", false, 5, 64, {{"/start", L + tail}},
         {{0, std::int64_t(L)}, {silence, tail}}},
    };

    for (const CrossCheck& c : cases)
    {
        SCOPED_TRACE(c.name);
        const Fixture& fixture = c.aiff ? aiff : wav;
        PlayerHost host(c.playerChannels, 192000, rate, c.blockSize);
        host.Send("/open \"" + fixture.path + "\"");
        std::vector<float> output;
        for (const Step& step : c.steps)
        {
            if (!step.message.empty())
                host.Send(step.message);
            const auto block = host.Render(step.frames);
            output.insert(output.end(), block.begin(), block.end());
        }
        const auto audio = AudioChannels(output, host.outputChannels(), c.playerChannels);
        const auto expected = Expected(fixture.reference, c.playerChannels, c.expected);
        EXPECT_EQ(DescribeDifference(audio, expected, c.playerChannels), "");
        EXPECT_TRUE(host.console().reports.empty()) << host.console().lines().front();
    }
}

TEST(AudioFilePlayer, FileAtAnotherRatePlaysItsFramesAndWarns)
{
    TempDir dir;
    struct Case
    {
        int fileRate;
        double hostRate;
        const char* fileText;
        const char* hostText;
    };
    const Case cases[] = {
        {44100, 48000, "44.1 kHz", "48 kHz"},
        {22050, 96000, "22.05 kHz", "96 kHz"},
        {12345, 44100, "12345 Hz", "44.1 kHz"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.fileText);
        const Fixture fixture = WriteWav(dir, "rate" + std::to_string(c.fileRate) + ".wav", 1, 3000, c.fileRate, false);
        PlayerHost host(1, 192000, c.hostRate);
        host.Send("/open \"" + fixture.path + "\"");
        ASSERT_EQ(host.console().lines().size(), 1u);
        EXPECT_EQ(host.console().lines()[0], "warning occurred: sampling rate in \"" + fixture.path + "\" ("
                                                 + c.fileText + ") differs from the host current samplerate  ("
                                                 + c.hostText + ")");
        host.Send("/start");
        const auto audio = AudioChannels(host.Render(3000), host.outputChannels(), 1);
        EXPECT_EQ(DescribeDifference(audio, Expected(fixture.reference, 1, {{0, 3000}}), 1), "");
    }
    // The same rate says nothing.
    const Fixture same = WriteWav(dir, "same.wav", 1, 100, rate, false);
    PlayerHost host(1, 192000, rate);
    host.Send("/open \"" + same.path + "\"");
    EXPECT_TRUE(host.console().reports.empty());
}

// The position signal: a ramp from where the previous block ended to where
// this one ends, holding the segment's end afterwards; in loop mode the
// segment's time frame by frame, and the segment start's time for the rest
// of the block in which the segment ends.
TEST(AudioFilePlayer, PositionSignalFollowsTheFramesAndHolds)
{
    TempDir dir;
    const Fixture wav = WriteWav(dir, "plain.wav", 1, 20000, rate, false);
    auto ms = [](double frames) { return float(frames * 1000.0 / rate); };

    {
        SCOPED_TRACE("stopped after opening: the start of the file");
        PlayerHost host(1);
        host.Send("/open \"" + wav.path + "\"");
        for (const float v : PositionChannel(host.Render(64), host.outputChannels()))
            ASSERT_EQ(v, 0.0f);
    }
    {
        SCOPED_TRACE("a segment, then paused, then ended");
        PlayerHost host(1);
        host.Send("/open \"" + wav.path + "\"");
        host.Send("/seek 100 110");  // [4800, 5280): 480 frames, 7.5 blocks
        const auto first = PositionChannel(host.Render(128), host.outputChannels());
        for (int i = 0; i < 128; ++i)
            ASSERT_EQ(first[std::size_t(i)], ms(4800 + i)) << i;
        host.Send("/pause");
        for (const float v : PositionChannel(host.Render(64), host.outputChannels()))
            ASSERT_EQ(v, ms(4928)) << "held while paused: the next frame";
        host.Send("/resume");
        const auto rest = PositionChannel(host.Render(64 * 7), host.outputChannels());
        // Frames 4928 to 5279 in 5.5 blocks; the end is held from there on.
        for (int i = 0; i < 64 * 7; ++i)
            ASSERT_EQ(rest[std::size_t(i)], i < 352 ? ms(4928 + i) : ms(5280)) << i;
        EXPECT_FALSE(host.player().isPlaying());
        for (const float v : PositionChannel(host.Render(64), host.outputChannels()))
            ASSERT_EQ(v, 110.0f) << "ended: the segment's end";
        EXPECT_EQ(host.listener().countEnded(), 1);
    }
    {
        SCOPED_TRACE("a loop: every pass 480 frames, whatever the block");
        PlayerHost host(1);
        host.Send("/open \"" + wav.path + "\"");
        host.Send("/loop 1");
        host.Send("/seek 100 110");
        const auto position = PositionChannel(host.Render(64 * 20), host.outputChannels());
        for (int i = 0; i < 64 * 20; ++i)
            ASSERT_EQ(position[std::size_t(i)], ms(4800 + i % 480)) << i;
        EXPECT_EQ(host.listener().countEnded(), 0);
    }
}

TEST(AudioFilePlayer, ReportsAreRateLimited)
{
    TempDir dir;
    const Fixture wav = WriteWav(dir, "cues.wav", wavChannels, wavFrames, rate, true);
    PlayerHost host(3);
    host.Send("/open \"" + wav.path + "\"");
    host.Send("/loop 1");
    host.Send("/seek 0 1250");
    // Let the ring fill with the loop, then drain part of it: the fill goes
    // down and up again.
    ASSERT_TRUE(kel::test::WaitUntil(
        [&]
        {
            host.player().RequestBuffering();
            return host.player().getFillPercentage() >= kel::AudioFilePlayer::topUpFillPercent;
        }));
    host.Render(100000);
    host.Send("/loop 0");
    host.Send("/start");
    host.Render(wavFrames + 128);

    const auto progress = host.listener().values(Kind::progress);
    ASSERT_GE(progress.size(), 4u);
    EXPECT_EQ(progress.front(), 0.0);
    EXPECT_EQ(progress.back(), 100.0);
    for (std::size_t i = 1; i < progress.size(); ++i)
    {
        const double now = progress[i], before = progress[i - 1];
        if (now == 0.0 || now == 100.0)
            continue;  // 0 and 100 always go out, repeated or not
        else
            EXPECT_GE(now - before, 0.5) << "at " << i;
    }
    const auto fill = host.listener().values(Kind::buffering);
    ASSERT_GE(fill.size(), 4u);
    for (std::size_t i = 1; i < fill.size(); ++i)
    {
        // 0 and 100 go out whatever came before, and the disk and audio
        // threads both report: a value claimed just before an always-sent
        // 100 may reach the listener just after it.
        const double now = fill[i], before = fill[i - 1];
        if (now == 0.0 || now == 100.0 || before == 0.0 || before == 100.0)
            continue;
        EXPECT_GE(std::abs(now - before), 2.0) << "at " << i;
    }
    EXPECT_TRUE(std::any_of(fill.begin(), fill.end(), [](double v) { return v > 90.0; }));
    // Each marker passed is reported once per pass over it, in order.
    const auto markers = host.listener().messages("/marker");
    ASSERT_GE(markers.size(), 6u);
    EXPECT_EQ(markers[0], "/marker 1 6000 \"1\"");
    EXPECT_EQ(markers[1], "/marker 2 20000 \"2\"");
    EXPECT_EQ(markers[2], "/marker 3 41000 \"3\"");
    EXPECT_EQ(markers[markers.size() - 3], "/marker 1 6000 \"1\"");
    EXPECT_EQ(markers.back(), "/marker 3 41000 \"3\"");
    EXPECT_EQ(host.listener().countEnded(), 1);
}

TEST(AudioFilePlayer, ReportsOnRequest)
{
    TempDir dir;
    const Fixture wav = WriteWav(dir, "cues.wav", wavChannels, wavFrames, rate, true);
    PlayerHost host(3);
    host.Send("/open \"" + wav.path + "\"");
    // Opening reports the metadata.
    const auto dump = host.listener().messages();
    ASSERT_GE(dump.size(), 10u);
    EXPECT_EQ(dump[0], "/filename \"" + wav.path + "\"");
    EXPECT_EQ(dump[1], "/length 1250");
    EXPECT_EQ(dump.back(), "/chunk/mark/marker/3 3 41000 \"3\"");
    host.listener().clear();
    host.Send("/dump/metadata");
    EXPECT_EQ(host.listener().messages(), dump);

    // Played time counts frames output since the last whole-file start,
    // not jumps.
    host.Send("/start");
    host.Render(4800);
    host.Send("/seek 1000");
    host.Render(2400);
    host.Send("/report");
    EXPECT_EQ(host.listener().messages("/played/total"), std::vector<std::string>{"/played/total 150"});

    host.Send("/info");
    const auto lines = host.console().lines();
    ASSERT_EQ(lines.size(), 9u);
    EXPECT_EQ(lines[0], wav.path);
    EXPECT_EQ(lines[1], "/length 1250");
    EXPECT_EQ(lines[8], "/float 0");
}

TEST(AudioFilePlayer, ConsoleTexts)
{
    TempDir dir;
    const Fixture plain = WriteWav(dir, "plain.wav", 1, 1000, rate, false);
    const Fixture cues = WriteWav(dir, "cues.wav", wavChannels, wavFrames, rate, true);
    using kel::test::ThrownMessage;

    PlayerHost host(2);
    for (const char* message : {"/start", "/seek 100", "/seek", "/seek 1 2", "/resume", "/switch",
                                "/seek/marker/bylabel intro", "/seek/marker/byid 1", "/getmetadata", "/dump/metadata"})
    {
        SCOPED_TRACE(message);
        EXPECT_EQ(ThrownMessage([&] { host.Send(message); }), "No open file");
        EXPECT_FALSE(host.player().isPlaying());
    }
    host.Send("/info");
    EXPECT_EQ(host.console().lines(), std::vector<std::string>{"no audio file"});
    EXPECT_EQ(ThrownMessage([&] { host.Send("/open nowhere.wav"); }), "Could not find file \"nowhere.wav\"");
    EXPECT_FALSE(host.player().hasOpenFile());
    EXPECT_EQ(ThrownMessage([&] { host.Send("/open"); }),
              "there is no file dialog in this host: please give a file name");

    host.Send("/open \"" + plain.path + "\"");
    EXPECT_EQ(ThrownMessage([&] { host.Send("/seek/marker/bylabel intro"); }), "there is no marker");
    EXPECT_EQ(ThrownMessage([&] { host.Send("/seek/marker/byid 1"); }), "there is no marker");

    host.Send("/open \"" + cues.path + "\"");
    host.Send("/start");
    host.Render(640);
    EXPECT_EQ(ThrownMessage([&] { host.Send("/seek/marker/bylabel nope"); }), "no marker with label \"nope\"");
    EXPECT_EQ(ThrownMessage([&] { host.Send("/seek/marker/byid 42"); }), "no marker with ID \"42\"");
    EXPECT_TRUE(host.player().isPlaying()) << "a failed marker seek leaves playback alone";

    // A file that cannot be read leaves the open one playing.
    const std::string notAudio = dir.file("not-audio.txt");
    kel::test::SaveBytes(notAudio, {'h', 'e', 'l', 'l', 'o'});
    EXPECT_EQ(ThrownMessage([&] { host.Send("/open \"" + notAudio + "\""); }),
              "File \"" + notAudio + "\" is not a valid audio file.");
    EXPECT_TRUE(host.player().isPlaying());
    EXPECT_EQ(host.player().getOpenFile().getFullPathName(), cues.path);

    // Malformed forms are not taken.
    host.console().reports.clear();
    EXPECT_FALSE(host.Send("/seek/marker/byid -1"));
    EXPECT_FALSE(host.Send("/loop \"yes\""));
    EXPECT_EQ(host.console().lines().size(), 2u);
}

TEST(AudioFilePlayer, StateIsReportedAndRecalled)
{
    TempDir dir;
    const Fixture wav = WriteWav(dir, "cues.wav", wavChannels, wavFrames, rate, true);
    kel::OscBundle state;
    {
        PlayerHost host(2);
        const std::string empty = host.player().GetState().toString();
        EXPECT_NE(empty.find("/filename \"\"\n/loop 0\n"), std::string::npos) << empty;
        EXPECT_EQ(empty.find("/channel/number"), std::string::npos);
        host.Send("/open \"" + wav.path + "\"");
        host.Send("/loop 1");
        state = host.player().GetState();
        const std::string text = state.toString();
        EXPECT_NE(text.find("/filename \"" + wav.path + "\"\n/loop 1\n/channel/number 3\n/length 1250\n"),
                  std::string::npos)
            << text;
    }
    {
        PlayerHost host(2);
        EXPECT_TRUE(host.player().ProcessBundle(state, kel::MessageFlag::fromPreset));
        EXPECT_TRUE(host.console().reports.empty());
        EXPECT_EQ(host.player().getOpenFile().getFullPathName(), wav.path);
        EXPECT_TRUE(host.player().isLooping());
        // Recalling the same file again keeps it playing.
        host.Send("/start");
        EXPECT_TRUE(host.player().ProcessBundle(state, kel::MessageFlag::fromSnapshot));
        EXPECT_TRUE(host.player().isPlaying());
    }
    {
        PlayerHost host(2);
        kel::OscBundle none;
        none.AddMessage(kel::OscMessage::CreateFromText("/filename \"\""));
        EXPECT_TRUE(host.player().ProcessBundle(none, kel::MessageFlag::fromPreset));
        EXPECT_TRUE(host.console().reports.empty());
        EXPECT_FALSE(host.player().hasOpenFile());
    }
}

TEST(AudioFilePlayer, RingCapacityIsClamped)
{
    const std::pair<std::uint64_t, std::uint64_t> cases[] = {
        {100, 192000}, {192000, 192000}, {480000, 480000}, {5000000, 2880000}};
    for (const auto& [requested, capacity] : cases)
    {
        kel::AudioFilePlayer player(1, requested);
        EXPECT_EQ(player.getRingCapacity(), capacity) << requested;
    }
}

} // namespace

#endif
