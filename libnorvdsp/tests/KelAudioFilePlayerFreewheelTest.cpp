// The player's "/freewheel" mode with its real buffering thread, blocks run as
// fast as this thread can run them and the host never waiting itself: on a
// disk slower than that, freewheel plays libsndfile's decode of the file to
// the sample where real time underruns; a disk that stalls costs one
// patience and one warning; other threads stop or change the player while a
// block waits; the message's forms, its documentation and its absence from
// the state.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/FaultyReader.h"
#include "support/FrameIndexReader.h"
#include "support/PlayerTestSupport.h"
#include "support/SlowReader.h"
#include "support/StallingReader.h"
#include "support/TestTemp.h"
#include "support/TimingReports.h"
#include "support/TransportModel.h"

namespace {

using kel::test::FrameIndexReader;
using kel::test::LockedConsole;
using kel::test::PlayerHost;
using Level = kel::HostNotifier::Level;

constexpr double rate = 48000.0;
constexpr std::uint32_t channels = 2;

struct LetGo
{
    kel::test::ReadStall& stall;
    ~LetGo() { stall.Release(); }
};

/** Output frame k of a frame-index file played from its start carries
    frame k; every output is silent where nothing plays. */
std::string CheckFrames(const std::vector<float>& out, std::uint32_t outputChannels, std::uint64_t from,
                        std::uint64_t to, bool silent)
{
    for (std::uint64_t k = from; k < to; ++k)
    {
        const float low = out[std::size_t(k) * outputChannels];
        const float high = out[std::size_t(k) * outputChannels + 1];
        const float wantLow = silent ? 0.0f : kel::test::FrameIndexLow(std::int64_t(k));
        const float wantHigh = silent ? 0.0f : kel::test::FrameIndexHigh(std::int64_t(k));
        if (low != wantLow || high != wantHigh)
            return "output frame " + std::to_string(k) + ": " + std::to_string(low) + " " + std::to_string(high)
                 + (silent ? ", expected silence" : ", expected its own frame");
    }
    return {};
}

// ---------------------------------------------------------------------------

#if KEL_HAVE_SNDFILE

struct Step
{
    enum class Kind
    {
        start,
        loopOn,
        loopOff,
        seekTo,
        seekSegment
    };
    std::uint64_t at;  // sent before the first block that starts at or after this output frame
    Kind kind;
    std::int64_t a = 0, b = 0;
};

struct SlowDiskCase
{
    const char* name;
    std::int64_t fileFrames;  // beyond 192000: streamed; else held whole
    std::uint32_t blockSize;
    std::vector<Step> steps;
    std::uint64_t framesToRender;
};

void Apply(const Step& step, PlayerHost& host, kel::test::TransportModel& model)
{
    using Kind = Step::Kind;
    switch (step.kind)
    {
        case Kind::start:
            host.Send("/start");
            model.Start();
            break;
        case Kind::loopOn:
        case Kind::loopOff:
            host.Send(step.kind == Kind::loopOn ? "/loop 1" : "/loop 0");
            model.SetLoop(step.kind == Kind::loopOn);
            break;
        case Kind::seekTo:
            host.Send("/seek " + model.SeekText(step.a));
            model.Seek(step.a);
            break;
        case Kind::seekSegment:
            host.Send("/seek " + model.SeekText(step.a) + " " + model.SeekText(step.b));
            model.Seek(step.a, step.b);
            break;
    }
}

struct SlowDiskRun
{
    std::uint64_t mismatches = 0;
    std::string firstMismatch;
    std::size_t underruns = 0;
    std::vector<std::string> warnings;
};

SlowDiskRun RenderFromASlowDisk(const SlowDiskCase& c, const kel::test::PlayerFixture& fixture, bool freewheel)
{
    LockedConsole console;
    kel::test::UnderrunLog underruns;
    PlayerHost host(channels, 192000, rate, c.blockSize);
    host.player().AddHostListener(&console);
    host.player().AddListener(&underruns);
    host.Send(freewheel ? "/freewheel 1" : "/freewheel 0");
    host.player().OpenAudioFile(std::make_unique<kel::test::SlowReader>(
        kel::AudioFileReader::CreateReaderFor(kel::File(fixture.path)), std::chrono::milliseconds(2)));
    EXPECT_EQ(host.player().isRingResident(), c.fileFrames <= 192000);

    kel::test::TransportModel model(c.fileFrames, rate);
    const std::uint32_t outputChannels = host.outputChannels();
    SlowDiskRun run;
    std::size_t next = 0;
    for (std::uint64_t done = 0; done < c.framesToRender;)
    {
        for (; next < c.steps.size() && c.steps[next].at <= done; ++next)
            Apply(c.steps[next], host, model);
        const auto n = std::uint32_t(std::min<std::uint64_t>(c.blockSize, c.framesToRender - done));
        // As fast as this thread goes: the host never waits for the ring.
        const std::vector<float> out = host.Render(n, false);
        kel::test::EndReport end{};
        const auto expected = model.Block(n, end);
        for (std::uint32_t i = 0; i < n; ++i)
            for (std::uint32_t ch = 0; ch < channels; ++ch)
            {
                const std::int64_t frame = expected[i].frame;
                const float want = frame >= 0 ? fixture.reference.at(frame, int(ch)) : 0.0f;
                const float got = out[std::size_t(i) * outputChannels + ch];
                if (got == want)
                    continue;
                if (run.mismatches++ == 0)
                    run.firstMismatch = "output frame " + std::to_string(done + i) + " channel "
                                      + std::to_string(ch) + " (file frame " + std::to_string(frame)
                                      + "): " + std::to_string(got) + ", expected " + std::to_string(want);
            }
        done += n;
    }
    if (!freewheel)
    {
        // Reported by the buffering thread after its next pass.
        kel::test::WaitUntil(
            [&]
            {
                host.player().RequestBuffering();
                return !underruns.reports().empty();
            });
    }
    run.underruns = underruns.reports().size();
    run.warnings = console.texts(Level::warning);
    host.DestroyPlayer();
    return run;
}

TEST(AudioFilePlayerFreewheel, PlaysEveryFrameFromASlowDiskWhereRealTimeUnderruns)
{
    using Kind = Step::Kind;
    constexpr std::int64_t streamed = 299999;  // beyond the 192000-frame ring; no block size divides it
    constexpr std::int64_t heldWhole = 150001;
    const SlowDiskCase cases[] = {
        {"streamed: a loop far ahead, a seek back, to the file's end",
         streamed,
         64,
         {{0, Kind::start},
          {40000, Kind::loopOn},
          {40000, Kind::seekSegment, 250000, 262345},
          {140000, Kind::loopOff},
          {170000, Kind::seekTo, 150000}},
         340000},
        {"streamed in blocks of 1000, to the file's end", streamed, 1000, {{0, Kind::start}}, 310000},
        {"held whole: a loop from its middle, then from near its end to the end",
         heldWhole,
         64,
         {{0, Kind::loopOn},
          {0, Kind::seekSegment, 90000, 140000},
          {130000, Kind::loopOff},
          {150000, Kind::seekTo, 120000}},
         200000},
    };
    kel::test::TempDir dir;
    for (const auto& c : cases)
    {
        const auto fixture = kel::test::WritePlayerFixture(dir.file("slow.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_24,
                                                           int(channels), c.fileFrames, int(rate));
        ASSERT_EQ(fixture.reference.frames, c.fileFrames);
        {
            SCOPED_TRACE(std::string(c.name) + ", freewheel");
            const SlowDiskRun run = RenderFromASlowDisk(c, fixture, true);
            EXPECT_EQ(run.mismatches, 0u) << run.firstMismatch;
            EXPECT_EQ(run.underruns, 0u);
            EXPECT_TRUE(run.warnings.empty()) << run.warnings.front();
        }
        {
            SCOPED_TRACE(std::string(c.name) + ", real time");
            const SlowDiskRun run = RenderFromASlowDisk(c, fixture, false);
            EXPECT_GT(run.mismatches, 0u) << "the disk never fell behind";
            EXPECT_GT(run.underruns, 0u);
            for (const auto& warning : run.warnings)
                EXPECT_TRUE(warning.starts_with("disk underrun: ")) << warning;
        }
    }
}

#endif

// ---------------------------------------------------------------------------

/** The warnings but those of underruns, which the buffering thread posts
    when the disk is back. */
std::vector<std::string> FreewheelWarnings(const LockedConsole& console)
{
    std::vector<std::string> warnings;
    for (const auto& text : console.texts(Level::warning))
        if (!text.starts_with("disk underrun: "))
            warnings.push_back(text);
    return warnings;
}

TEST(AudioFilePlayerFreewheel, AStalledDiskWarnsOnceAndPlaybackGoesOn)
{
    // The patience shortened to 1 s: the text says so.
    constexpr std::int64_t length = 20 * 48000;
    LockedConsole console;
    kel::test::UnderrunLog underruns;
    const auto stall = std::make_shared<kel::test::ReadStall>();
    PlayerHost host(channels, 192000, rate, 64, true, 1.0);
    const LetGo letGo{*stall};
    host.player().AddHostListener(&console);
    host.player().AddListener(&underruns);
    stall->HoldReadCovering(50000);
    host.player().OpenAudioFile(std::make_unique<kel::test::StallingReader>(
        std::make_unique<FrameIndexReader>("/synthetic/stalled.wav", length), stall));
    host.Send("/freewheel 1");
    host.Send("/start");
    const std::uint32_t outputChannels = host.outputChannels();

    // Held far longer than the ring: the frames owed then fill it when the
    // disk comes back.
    std::vector<float> out = host.Render(300000, false);
    ASSERT_TRUE(stall->isHeld());
    const auto heldFrom = std::uint64_t(stall->heldStartFrame());
    ASSERT_LE(heldFrom, 50000u);
    EXPECT_EQ(CheckFrames(out, outputChannels, 0, heldFrom, false), "");
    EXPECT_EQ(CheckFrames(out, outputChannels, heldFrom, 300000, true), "");
    const std::vector<std::string> once{"freewheel: the disk did not deliver within 1 s; playing what the buffer holds"};
    EXPECT_EQ(FreewheelWarnings(console), once);
    EXPECT_TRUE(host.player().isPlaying());

    // Back: once the disk has delivered again (here, filled the ring with
    // the frames owed), blocks wait for it again and play in time. Until
    // then they go on without waiting, as fast as this thread runs them.
    stall->Release();
    ASSERT_TRUE(kel::test::WaitUntil([&] { return host.player().getNumBufferedFrames() == 192000; }));
    const std::vector<float> after = host.Render(300000, false);
    out.insert(out.end(), after.begin(), after.end());
    EXPECT_EQ(CheckFrames(out, outputChannels, 500000, 600000, false), "");
    EXPECT_EQ(FreewheelWarnings(console), once);
    EXPECT_TRUE(kel::test::WaitUntil(
        [&]
        {
            host.player().RequestBuffering();
            return !underruns.reports().empty();
        }))
        << "the silence was not reported as an underrun";
    host.DestroyPlayer();
}

// ---------------------------------------------------------------------------

struct EndCase
{
    const char* name;
    std::int64_t fileFrames;
    std::uint32_t blockSize;
    std::int64_t failFromFrame;       // -1: the file reads whole
    std::vector<const char*> messages;
    std::int64_t framesPlayed;        // in time from frame 0, then silence; -1: none
};

TEST(AudioFilePlayerFreewheel, TheEndOfPlaybackIsNeverWaitedFor)
{
    // Blocks whose frames the ring will never hold: were they waited for,
    // the patience would run out and warn.
    const EndCase cases[] = {
        {"the file's end inside a block", 250001, 1000, -1, {"/start"}, 250001},
        {"an empty segment in loop mode", 20 * 48000, 64, -1, {"/loop 1", "/seek 1000 1000"}, -1},
        {"a read that fails", 20 * 48000, 64, 100000, {"/start"}, 100000},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.name);
        LockedConsole console;
        PlayerHost host(channels, 192000, rate, c.blockSize, true, 20.0);
        host.player().AddHostListener(&console);
        const auto fault = std::make_shared<kel::test::FileFault>();
        fault->failFromFrame = c.failFromFrame;
        host.player().OpenAudioFile(
            std::make_unique<kel::test::FaultyReader>("/synthetic/ends.wav", c.fileFrames, fault));
        host.Send("/freewheel 1");
        for (const char* message : c.messages)
            host.Send(message);
        const std::uint32_t outputChannels = host.outputChannels();
        std::vector<float> out;
        for (int blocks = 0; host.player().isPlaying() && blocks < 10000; ++blocks)
        {
            const std::vector<float> block = host.Render(c.blockSize, false);
            out.insert(out.end(), block.begin(), block.end());
        }
        EXPECT_FALSE(host.player().isPlaying());
        EXPECT_TRUE(FreewheelWarnings(console).empty()) << FreewheelWarnings(console).front();
        const std::uint64_t rendered = out.size() / outputChannels;
        const auto played = std::uint64_t(std::max<std::int64_t>(c.framesPlayed, 0));
        ASSERT_GE(rendered, played);
        EXPECT_LE(rendered - played, c.blockSize);
        EXPECT_EQ(CheckFrames(out, outputChannels, 0, played, false), "");
        EXPECT_EQ(CheckFrames(out, outputChannels, played, rendered, true), "");
        const auto errors = console.texts(Level::error);
        if (c.failFromFrame >= 0)
        {
            ASSERT_EQ(errors.size(), 1u);
            EXPECT_TRUE(errors[0].starts_with("read error in \"/synthetic/ends.wav\"")) << errors[0];
        }
        else
        {
            EXPECT_TRUE(errors.empty()) << errors.front();
        }
        host.DestroyPlayer();
    }
}

// ---------------------------------------------------------------------------

struct WhileWaitingCase
{
    const char* name;
    std::function<void(PlayerHost&)> action;  // on this thread, while the audio thread waits
    bool endsTheWait;
    bool playsOn;  // still playing once the audio thread is done
};

TEST(AudioFilePlayerFreewheel, OtherThreadsActWhileABlockWaits)
{
    // The patience is longer than any test wait but shorter than the stall's
    // own safety limit: a wait that ended for want of patience warns.
    constexpr std::int64_t length = 20 * 48000;
    constexpr double patience = 20.0;
    static_assert(patience < kel::test::ReadStall::safetyLimitSeconds);
    kel::test::RecordingPlayerListener extra;
    const WhileWaitingCase cases[] = {
        {"\"/stop\" ends the wait", [](PlayerHost& host) { host.Send("/stop"); }, true, false},
        {"\"/freewheel 0\" ends the wait; the block plays what the ring holds",
         [](PlayerHost& host) { host.Send("/freewheel 0"); }, true, true},
        {"a listener added and removed while the block waits",
         [&extra](PlayerHost& host)
         {
             host.player().AddListener(&extra);
             host.player().RemoveListener(&extra);
         },
         false, true},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.name);
        LockedConsole console;
        const auto stall = std::make_shared<kel::test::ReadStall>();
        PlayerHost host(channels, 192000, rate, 64, true, patience);
        const LetGo letGo{*stall};
        host.player().AddHostListener(&console);
        stall->HoldReadCovering(30000);
        host.player().OpenAudioFile(std::make_unique<kel::test::StallingReader>(
            std::make_unique<FrameIndexReader>("/synthetic/waiting.wav", length), stall));
        host.Send("/freewheel 1");
        host.Send("/start");
        const std::uint32_t outputChannels = host.outputChannels();

        constexpr std::uint64_t limit = 64 * 1000;
        std::vector<float> out;
        std::thread audio(
            [&]
            {
                for (std::uint64_t done = 0; done < limit && host.player().isPlaying(); done += 64)
                {
                    const std::vector<float> block = host.Render(64, false);
                    out.insert(out.end(), block.begin(), block.end());
                }
            });
        // Waiting for the held read: everything before it played.
        const bool waited = kel::test::WaitUntil(
            [&]
            {
                return stall->isHeld() && host.player().isWaitingForTheDisk()
                    && host.player().getPlayed() == std::uint64_t(stall->heldStartFrame());
            });
        EXPECT_TRUE(waited) << "the audio thread never waited for the held read";
        c.action(host);
        if (!c.endsTheWait)
        {
            EXPECT_TRUE(host.player().isWaitingForTheDisk()) << "the action needed the block to end";
            stall->Release();
        }
        audio.join();
        const bool stillHeld = stall->isHeld();
        stall->Release();

        EXPECT_TRUE(console.texts(Level::warning).empty()) << console.texts(Level::warning).front();
        EXPECT_EQ(host.player().isPlaying(), c.playsOn);
        const std::uint64_t rendered = out.size() / outputChannels;
        const auto heldFrom = std::uint64_t(stall->heldStartFrame());
        ASSERT_LE(heldFrom, 30000u);
        if (c.endsTheWait)
        {
            // Without a frame from the disk: the block after the wait, and
            // any after it, are silent.
            EXPECT_TRUE(stillHeld);
            EXPECT_EQ(rendered, c.playsOn ? limit : heldFrom + 64);
            EXPECT_EQ(CheckFrames(out, outputChannels, 0, heldFrom, false), "");
            EXPECT_EQ(CheckFrames(out, outputChannels, heldFrom, rendered, true), "");
        }
        else
        {
            EXPECT_EQ(rendered, limit);
            EXPECT_EQ(CheckFrames(out, outputChannels, 0, rendered, false), "");
        }
        host.DestroyPlayer();
    }
}

// ---------------------------------------------------------------------------

struct FormCase
{
    const char* name;
    std::function<void(kel::OscMessage&)> arguments;
    bool taken;
    bool freewheelAfter;  // starting from on
};

TEST(AudioFilePlayerFreewheel, MessageFormsDocumentationAndState)
{
    const FormCase cases[] = {
        {"int 0", [](kel::OscMessage& m) { m.AddInt32(0); }, true, false},
        {"int 1", [](kel::OscMessage& m) { m.AddInt32(1); }, true, true},
        {"F", [](kel::OscMessage& m) { m.AddBool(false); }, true, false},
        {"T", [](kel::OscMessage& m) { m.AddBool(true); }, true, true},
        {"float 0", [](kel::OscMessage& m) { m.AddFloat32(0.0f); }, true, false},
        {"no argument", [](kel::OscMessage&) {}, false, true},
        {"a string", [](kel::OscMessage& m) { m.AddString("yes"); }, false, true},
        {"two arguments", [](kel::OscMessage& m) { m.AddInt32(0).AddInt32(0); }, false, true},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.name);
        PlayerHost host(channels);
        ASSERT_FALSE(host.player().isFreewheeling()) << "off by default";
        ASSERT_TRUE(host.Send("/freewheel 1"));
        ASSERT_TRUE(host.player().isFreewheeling());
        kel::OscMessage message("/freewheel");
        c.arguments(message);
        host.console().reports.clear();
        EXPECT_EQ(host.player().ProcessMessage(message), c.taken);
        EXPECT_EQ(host.player().isFreewheeling(), c.freewheelAfter);
        if (c.taken)
        {
            EXPECT_TRUE(host.console().reports.empty());
        }
        else
        {
            EXPECT_EQ(host.console().lines(),
                      std::vector<std::string>{"error occurred when processing \"" + message.toString()
                                               + "\". Reason: unsupported message ?"});
        }
    }

    PlayerHost host(channels);
    std::size_t entries = 0;
    const kel::OscDocumentation& documentation = host.player().getDocumentation();
    for (std::size_t i = 0; i < documentation.size(); ++i)
    {
        if (documentation[i].getAddress().getText() != "/freewheel")
            continue;
        ++entries;
        EXPECT_EQ(documentation[i].getDescription(),
                  "1: offline rendering: each audio block waits until the disk has delivered it, so that a render "
                  "faster than real time is exact (for Pd's -batch mode and Max's non-real-time driver); 0 (the "
                  "default): the audio thread never waits for the disk.");
        EXPECT_EQ(documentation[i].getArgumentTypes(), "i");
    }
    EXPECT_EQ(entries, 1u);

    // A mode of the host, not of the music: neither in the state nor taken
    // back from it.
    host.Send("/freewheel 1");
    const kel::OscBundle state = host.player().GetState();
    EXPECT_EQ(state.toString().find("/freewheel"), std::string::npos) << state.toString();
    host.Send("/freewheel 0");
    EXPECT_TRUE(host.player().ProcessBundle(state, kel::MessageFlag::fromPreset));
    EXPECT_FALSE(host.player().isFreewheeling());
}

} // namespace
