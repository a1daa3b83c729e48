// The status a window shows, read from a player driven as a host drives it,
// with its real buffering thread: files written by libsndfile, lengths and
// cue points as libsndfile reads them back.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "support/AudioFixtures.h"
#include "support/PlayerTestSupport.h"
#include "support/TestTemp.h"

#if KEL_HAVE_SNDFILE

namespace {

using kel::test::PlayerHost;
using kel::test::TempDir;
using Transport = kel::PlayerStatus::Transport;

constexpr double hostRate = 48000.0;
constexpr std::uint32_t block = 512;

double Ms(std::int64_t frames)
{
    return double(frames) * 1000.0 / hostRate;
}

const char* Name(Transport transport)
{
    switch (transport)
    {
        case Transport::stopped: return "stopped";
        case Transport::playing: return "playing";
        case Transport::paused: return "paused";
        case Transport::looping: return "looping";
    }
    return "?";
}

struct Step
{
    std::string message;  // sent first, unless empty
    std::uint64_t frames; // then rendered
};

/** A marker as libsndfile reads the cue back: the label our reader gives
    it (the cue's name, or its ID where WAV has none) and its frame. */
struct CueBack
{
    std::string label;
    std::int64_t frame;
};

std::vector<CueBack> CuesAsLibsndfileReadsThem(const std::string& path)
{
    SF_CUES cues{};
    std::vector<CueBack> result;
    if (!kel::test::ReadBackWithSndfile(path, SFC_GET_CUE, cues))
        return result;
    for (std::uint32_t i = 0; i < cues.cue_count; ++i)
    {
        const auto& point = cues.cue_points[i];
        const std::string name(point.name, strnlen(point.name, sizeof(point.name)));
        result.push_back({name.empty() ? std::to_string(point.indx) : name, std::int64_t(point.sample_offset)});
    }
    return result;
}

std::int64_t FramesAsLibsndfileCountsThem(const std::string& path)
{
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr)
        return -1;
    sf_close(file);
    return info.frames;
}

struct Fixtures
{
    TempDir dir;
    // 2 channels of 24-bit noise at the host's rate, held whole, cue points
    // 1, 2, 3 at 6000, 20000, 41000.
    kel::test::PlayerFixture cues = kel::test::WritePlayerFixture(
        dir.file("cues.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2, 60000, 48000,
        {{1, 6000, ""}, {2, 20000, ""}, {3, 41000, ""}});
    // Longer than the ring: streamed.
    kel::test::PlayerFixture longer =
        kel::test::WritePlayerFixture(dir.file("long.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 200000, 48000);
    // At another rate than the host's: it plays at the host's.
    kel::test::PlayerFixture other =
        kel::test::WritePlayerFixture(dir.file("other rate.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 44100, 44100);
    // Named markers, not in the order of their positions.
    kel::test::PlayerFixture named = kel::test::WritePlayerFixture(
        dir.file("named.aiff"), SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 2, 30000, 48000,
        {{7, 25000, "coda"}, {3, 3000, "intro"}, {9, 12345, "7"}});
};

TEST(AudioFilePlayerStatus, FollowsTheTransport)
{
    const Fixtures files;
    const std::int64_t cuesLength = FramesAsLibsndfileCountsThem(files.cues.path);
    const std::int64_t longLength = FramesAsLibsndfileCountsThem(files.longer.path);
    const std::int64_t otherLength = FramesAsLibsndfileCountsThem(files.other.path);
    ASSERT_EQ(cuesLength, 60000);
    ASSERT_EQ(longLength, 200000);
    ASSERT_EQ(otherLength, 44100);

    struct Case
    {
        const char* what;
        const std::string* file;  // null: none opened
        std::vector<Step> steps;
        Transport transport;
        std::int64_t positionFrame;
        double progress;
        int lastPassed;
    };
    const std::string* cues = &files.cues.path;
    const std::string* longer = &files.longer.path;
    const std::string* other = &files.other.path;
    const Case cases[] = {
        {"no file", nullptr, {}, Transport::stopped, 0, 0.0, -1},
        {"open, stopped", cues, {}, Transport::stopped, 0, 0.0, -1},
        {"playing", cues, {{"/start", 4800}}, Transport::playing, 4800, 8.0, -1},
        {"playing past a marker", cues, {{"/start", 6400}}, Transport::playing, 6400, 6400 * 100.0 / 60000, 0},
        {"paused", cues, {{"/start", 9600}, {"/pause", 512}}, Transport::paused, 9600, 16.0, 0},
        // The engine's "/stop" keeps the position as "/pause" does, and
        // "/resume" goes on from it.
        {"stopped mid-file", cues, {{"/start", 9600}, {"/stop", 0}}, Transport::paused, 9600, 16.0, 0},
        {"resumed", cues, {{"/start", 9600}, {"/pause", 1024}, {"/resume", 1024}}, Transport::playing, 10624,
         10624 * 100.0 / 60000, 0},
        {"played to its end", cues, {{"/start", 60000 + 1024}}, Transport::stopped, 60000, 100.0, 2},
        {"looping, after the wrap", cues, {{"/loop 1", 0}, {"/start", 60000 + 4800}}, Transport::looping, 4800, 8.0,
         -1},
        {"paused while looping", cues, {{"/loop 1", 0}, {"/start", 60000 + 9600}, {"/pause", 0}}, Transport::paused,
         9600, 16.0, 0},
        {"a segment", cues, {{"/seek 250 500", 2400}}, Transport::playing, 14400, 20.0, 0},
        {"a seek past every marker", cues, {{"/seek 1000", 0}}, Transport::playing, 48000, 0.0, 2},
        {"streamed, looping after the wrap", longer, {{"/loop 1", 0}, {"/start", 200000 + 9600}}, Transport::looping,
         9600, 4.8, -1},
        {"streamed, paused", longer, {{"/start", 100000}, {"/pause", 0}}, Transport::paused, 100000, 50.0, -1},
        {"another rate, played to its end", other, {{"/start", 44100 + 512}}, Transport::stopped, 44100, 100.0, -1},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.what);
        PlayerHost host(2, 192000, hostRate, block);
        if (c.file != nullptr)
            host.Send("/open \"" + *c.file + "\"");
        for (const Step& step : c.steps)
        {
            if (!step.message.empty())
                host.Send(step.message);
            host.Render(step.frames);
        }
        const kel::PlayerStatus status = host.player().GetPlayerStatus();
        EXPECT_STREQ(Name(status.transport), Name(c.transport));
        EXPECT_EQ(status.positionMs, Ms(c.positionFrame));
        EXPECT_DOUBLE_EQ(status.progressPercent, c.progress);
        EXPECT_EQ(status.lastPassedMarker, c.lastPassed);
        EXPECT_GE(status.fillPercent, 0.0);
        EXPECT_LE(status.fillPercent, 100.0);
        if (c.file == nullptr)
        {
            EXPECT_EQ(status.fileName, "");
            EXPECT_EQ(status.formatLine, "");
            EXPECT_EQ(status.lengthMs, 0.0);
            EXPECT_TRUE(status.markers.empty());
            continue;
        }
        // The length as libsndfile counts the frames, played at the host's
        // rate as the position is: a file played to its end is at its length.
        EXPECT_EQ(status.lengthMs, Ms(FramesAsLibsndfileCountsThem(*c.file)));
        EXPECT_EQ(status.fileName, kel::File(*c.file).getFileName());
        EXPECT_EQ(status.markers.size(), CuesAsLibsndfileReadsThem(*c.file).size());
    }
}

TEST(AudioFilePlayerStatus, NamesTheFileAndItsFormatAsTheInformationDoes)
{
    const Fixtures files;
    struct Case
    {
        const std::string* file;
        const char* name;
        const char* formatLine;
    };
    const Case cases[] = {
        {&files.cues.path, "cues.wav", "WAV File, 2 channels, 48 kHz, 60000 samples, 1.25 sec, 24 bits"},
        {&files.longer.path, "long.wav", "WAV File, 1 channel, 48 kHz, 200000 samples, 4.17 sec, 16 bits"},
        {&files.other.path, "other rate.wav", "WAV File, 2 channels, 44.1 kHz, 44100 samples, 1.00 sec, 32 bits"},
        {&files.named.path, "named.aiff", "AIFF File, 2 channels, 48 kHz, 30000 samples, 625 ms, 16 bits"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        PlayerHost host(2, 192000, hostRate, block);
        host.Send("/open \"" + *c.file + "\"");
        const kel::PlayerStatus status = host.player().GetPlayerStatus();
        EXPECT_EQ(status.fileName, c.name);
        EXPECT_EQ(status.formatLine, c.formatLine);
        // The same words "/info" posts.
        const auto info = host.player().getInformation();
        ASSERT_GE(info.size(), 1u);
        EXPECT_EQ(info[0], *c.file);
        // A file held whole is loaded by the buffering thread while stopped.
        if (host.player().isRingResident())
        {
            EXPECT_TRUE(kel::test::WaitUntil([&] { return host.player().GetPlayerStatus().fillPercent == 100.0; }));
        }
    }
}

TEST(AudioFilePlayerStatus, MarkersAndTheLastOnePassed)
{
    const Fixtures files;
    for (const std::string* file : {&files.cues.path, &files.named.path})
    {
        SCOPED_TRACE(*file);
        const std::vector<CueBack> cues = CuesAsLibsndfileReadsThem(*file);
        ASSERT_EQ(cues.size(), 3u);
        PlayerHost host(2, 192000, hostRate, block);
        host.Send("/open \"" + *file + "\"");
        kel::PlayerStatus status = host.player().GetPlayerStatus();
        ASSERT_EQ(status.markers.size(), cues.size());
        for (std::size_t i = 0; i < cues.size(); ++i)
        {
            EXPECT_EQ(status.markers[i].label, cues[i].label) << i;
            EXPECT_EQ(status.markers[i].positionMs, Ms(cues[i].frame)) << i;
        }
        EXPECT_EQ(status.lastPassedMarker, -1);

        // Each marker in the order of their positions: just before it, the
        // one before is the last passed; at it and just after, it is.
        std::vector<std::size_t> byPosition{0, 1, 2};
        std::sort(byPosition.begin(), byPosition.end(),
                  [&](std::size_t a, std::size_t b) { return cues[a].frame < cues[b].frame; });
        int before = -1;
        for (const std::size_t i : byPosition)
        {
            SCOPED_TRACE(cues[i].label);
            host.Send("/seek " + std::to_string(Ms(cues[i].frame) - 1.0));
            EXPECT_EQ(host.player().GetPlayerStatus().lastPassedMarker, before);
            host.Send("/seek/marker/bylabel \"" + cues[i].label + "\"");
            status = host.player().GetPlayerStatus();
            EXPECT_EQ(status.positionMs, Ms(cues[i].frame));
            EXPECT_EQ(status.lastPassedMarker, int(i));
            // Played past it, up to just before the next.
            host.Render(block);
            EXPECT_EQ(host.player().GetPlayerStatus().lastPassedMarker, int(i));
            before = int(i);
        }
    }
}


// The window reads on the main thread while the audio thread plays a
// streamed file: every status read is whole (position, progress and the
// marker passed agree), and the position never goes back.
TEST(AudioFilePlayerStatus, ReadWhileTheAudioThreadPlays)
{
    TempDir dir;
    constexpr std::int64_t length = 240000;
    const auto fixture = kel::test::WritePlayerFixture(dir.file("streamed.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1,
                                                       length, 48000,
                                                       {{1, 50000, ""}, {2, 100000, ""}, {3, 150000, ""}});
    PlayerHost host(1, 192000, hostRate, block);
    host.Send("/open \"" + fixture.path + "\"");
    ASSERT_FALSE(host.player().isRingResident());
    host.Send("/start");
    constexpr std::uint64_t played = 180000;
    std::atomic<bool> done{false};
    std::thread audio(
        [&]
        {
            host.Render(played);
            done.store(true);
        });
    double lastPosition = 0.0;
    int reads = 0;
    bool whole = true;
    while (!done.load())
    {
        const kel::PlayerStatus status = host.player().GetPlayerStatus();
        ++reads;
        const double frame = std::round(status.positionMs * hostRate / 1000.0);
        const int passed = (frame >= 50000) + (frame >= 100000) + (frame >= 150000) - 1;
        const double progress = frame * 100.0 / double(length);
        whole = whole && status.transport == Transport::playing && status.positionMs >= lastPosition
             && status.positionMs <= Ms(played) && std::abs(status.progressPercent - progress) < 1e-9
             && status.lastPassedMarker == passed && status.fillPercent >= 0.0 && status.fillPercent <= 100.0
             && status.markers.size() == 3;
        lastPosition = status.positionMs;
    }
    audio.join();
    EXPECT_TRUE(whole) << "after " << reads << " reads, the last at " << lastPosition << " ms";
    const kel::PlayerStatus status = host.player().GetPlayerStatus();
    EXPECT_EQ(status.positionMs, Ms(played));
    EXPECT_EQ(status.lastPassedMarker, 2);
    EXPECT_STREQ(Name(status.transport), "playing");
}

} // namespace

#endif
