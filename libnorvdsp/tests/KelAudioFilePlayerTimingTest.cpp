// The player's time-keeping with its real buffering thread, on synthetic
// frame-index files (each sample names its frame): positions exact to the
// frame two hours into a file, disk underruns that stay silent and keep
// time, and the sample-rate warning at each of its moments. Each case prints
// the largest position error it measured, in frames.
#include <gtest/gtest.h>

#include <chrono>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/FrameIndexReader.h"
#include "support/PlayerTestSupport.h"
#include "support/SlowReader.h"
#include "support/StallingReader.h"
#include "support/TimingReports.h"
#include "support/TimingRun.h"
#include "support/TransportModel.h"

namespace {

using kel::test::FrameIndexReader;
using kel::test::LockedConsole;
using kel::test::PlayerHost;
using kel::test::TimingRun;
using kel::test::TransportModel;
using Level = kel::HostNotifier::Level;

constexpr double rate = 48000.0;

void ExpectNoFaultTexts(const LockedConsole& console)
{
    for (const auto& text : console.all())
    {
        EXPECT_EQ(text.find("AudioFilePlayer::Process bug"), std::string::npos) << text;
        EXPECT_EQ(text.find("too fast"), std::string::npos) << text;
    }
    EXPECT_TRUE(console.texts(Level::error).empty()) << console.texts(Level::error).front();
}

void PrintLargestError(const std::string& name, double frames)
{
    std::cout << "[ timing   ] " << name << ": largest position error " << frames << " frames" << std::endl;
}

// ---------------------------------------------------------------------------

struct LongFileCase
{
    const char* name;
    double startMs;
    double endMs;  // negative: to the end of the file
    bool loop;
    std::uint32_t blockSize;
    std::uint64_t framesToCheck;
    bool wide;     // the 64-bit entry
};

TEST(AudioFilePlayerTiming, PositionTwoHoursInIsExactToTheFrame)
{
    // 2 h 10 min at 48 kHz: frame indices far beyond a float's 2^24.
    constexpr std::int64_t length = std::int64_t(130) * 60 * 48000;
    const LongFileCase cases[] = {
        {"2 h, 64-bit entry", 7200000, -1, false, 64, 8192, true},
        {"2 h, a segment's end held, 64-bit entry", 7200000, 7200050, false, 64, 3000, true},
        {"2 h, a loop of 960 frames in blocks of 1000, 64-bit entry", 7199990, 7200010, true, 1000, 6000, true},
        {"2 h, one frame before the file's end, 64-bit entry", 7800000 - 0.02, -1, false, 64, 256, true},
        {"2 h, 32-bit entry", 7200000, -1, false, 64, 4096, false},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.name);
        LockedConsole console;
        PlayerHost host(2, 192000, rate, c.blockSize);
        host.player().AddHostListener(&console);
        host.player().OpenAudioFile(std::make_unique<FrameIndexReader>("/synthetic/two-hours-ten.wav", length));

        TransportModel model(length, rate);
        host.Send(c.loop ? "/loop 1" : "/loop 0");
        model.SetLoop(c.loop);
        // 64-bit arguments, as Max sends a float: the text form's decimals
        // are 32-bit, too coarse two hours in.
        kel::OscMessage seek("/seek");
        seek.AddFloat64(c.startMs);
        if (c.endMs < 0)
        {
            model.Seek(model.MillisecondsToFrames(c.startMs));
        }
        else
        {
            seek.AddFloat64(c.endMs);
            model.Seek(model.MillisecondsToFrames(c.startMs), model.MillisecondsToFrames(c.endMs));
        }
        host.player().ProcessMessage(seek);

        TimingRun run(host, model, c.wide, false);
        const std::string failure = run.Blocks(c.framesToCheck);
        EXPECT_EQ(failure, "");
        EXPECT_EQ(run.CompareEnds(), "");
        ExpectNoFaultTexts(console);
        PrintLargestError(c.name, run.check().largestErrorInFrames());
        host.DestroyPlayer();
    }
}

// ---------------------------------------------------------------------------

struct Hold
{
    std::int64_t fileFrame;  // the read that covers it waits
    std::int64_t silence;    // until at least this many frames were silent
};

struct UnderrunCase
{
    const char* name;
    std::uint32_t blockSize;
    bool loop;
    std::int64_t segmentStart, segmentEnd;
    std::vector<Hold> holds;
    std::uint64_t loopFramesAfter;  // with loop: frames played after the last underrun before "/loop 0"
    // Longer than the ring: a file held whole loads ahead of playback
    // without bound, so a hold could not be placed in time.
    std::int64_t fileLength = 20 * 48000;
};

struct LetGo
{
    kel::test::ReadStall& stall;
    ~LetGo() { stall.Release(); }
};

std::string UnderrunText(std::int64_t frames, double ms, const std::string& path)
{
    return "disk underrun: " + std::to_string(frames) + " frames of silence at " + kel::ToString(ms) + " ms in \""
         + path + "\"";
}

/** One case: plays the segment, holds the disk as the case says, checks
    every sample and the reports. */
void PlayWithUnderruns(const UnderrunCase& c)
{
    const std::int64_t length = c.fileLength;
    const std::string path = "/synthetic/frame-index.wav";
    LockedConsole console;
    kel::test::UnderrunLog underruns;
    const auto stall = std::make_shared<kel::test::ReadStall>();
    PlayerHost host(2, 192000, rate, c.blockSize);
    // Whatever fails, a held read is let go before the player is destroyed.
    const LetGo letGo{*stall};
    host.player().AddHostListener(&console);
    host.player().AddListener(&underruns);
    host.player().OpenAudioFile(
        std::make_unique<kel::test::StallingReader>(std::make_unique<FrameIndexReader>(path, length), stall));

    TransportModel model(length, rate);
    host.Send(c.loop ? "/loop 1" : "/loop 0");
    model.SetLoop(c.loop);
    host.Send("/seek " + model.SeekText(c.segmentStart) + " " + model.SeekText(c.segmentEnd));
    model.Seek(c.segmentStart, c.segmentEnd);
    ASSERT_EQ(host.player().getSegmentStart(), std::uint64_t(c.segmentStart));
    ASSERT_EQ(host.player().getSegmentEnd(), std::uint64_t(c.segmentEnd));

    std::size_t nextHold = 0;
    stall->HoldReadCovering(c.holds[0].fileFrame);
    std::uint64_t releasedAt = 0;
    std::vector<std::int64_t> heldFrom;  // the first frame of each held read
    bool loopEnded = !c.loop;
    TimingRun run(host, model, true, true);
    std::string failure;
    for (int blocks = 0; failure.empty() && (model.isPlaying() || model.endIsPending()); ++blocks)
    {
        ASSERT_LT(blocks, 100000) << "playback never ended";
        const auto& runs = run.check().silentRuns();
        if (nextHold < c.holds.size() && stall->isHeld() && run.check().inUnderrun()
            && runs.back().frames >= c.holds[nextHold].silence)
        {
            heldFrom.push_back(stall->heldStartFrame());
            stall->Release();
            releasedAt = run.check().samplesChecked();
            if (++nextHold < c.holds.size())
                stall->HoldReadCovering(c.holds[nextHold].fileFrame);
        }
        if (!loopEnded && nextHold == c.holds.size() && run.check().samplesChecked() >= releasedAt + c.loopFramesAfter)
        {
            host.Send("/loop 0");
            model.SetLoop(false);
            loopEnded = true;
        }
        failure = run.Block([&] { return stall->isHeld(); });
    }
    // The end holds its time.
    if (failure.empty())
        failure = run.Blocks(2 * c.blockSize);
    EXPECT_EQ(failure, "");
    EXPECT_EQ(nextHold, c.holds.size()) << "a held read never came";

    // Each hold made a run of silence from the start of the disk pass it
    // held up (at most a pass before the held read's first frame, in the
    // order frames play). A host that waits for the ring may still meet
    // more underruns after a release; every underrun must be reported.
    const auto& runs = run.check().silentRuns();
    const std::int64_t segmentLength = c.segmentEnd - c.segmentStart;
    std::size_t searched = 0;
    for (std::size_t i = 0; i < heldFrom.size(); ++i)
    {
        const auto isForced = [&](const kel::test::SilentRun& r)
        {
            std::int64_t ahead = heldFrom[i] - r.firstFrame;
            if (c.loop)
                ahead = (ahead % segmentLength + segmentLength) % segmentLength;
            return ahead >= 0 && ahead < std::int64_t(kel::AudioFilePlayer::maxFramesPerDiskPass);
        };
        while (searched < runs.size() && !isForced(runs[searched]))
            ++searched;
        ASSERT_LT(searched, runs.size()) << "no underrun where read " << i << " was held, from frame " << heldFrom[i];
        EXPECT_GE(runs[searched].frames, c.holds[i].silence) << i;
        if (c.loop)
        {
            EXPECT_TRUE(runs[searched].crossesLoopEnd) << "the underrun did not span a loop's end";
        }
        ++searched;
    }

    // Reported from the buffering thread, at its next pass.
    ASSERT_TRUE(kel::test::WaitUntil(
        [&]
        {
            host.player().RequestBuffering();
            return underruns.reports().size() >= runs.size() && console.texts(Level::warning).size() >= runs.size();
        },
        10.0))
        << underruns.reports().size() << " reports of " << runs.size() << " underruns";
    const auto reports = underruns.reports();
    const auto warnings = console.texts(Level::warning);
    ASSERT_EQ(reports.size(), runs.size());
    ASSERT_EQ(warnings.size(), runs.size());
    std::vector<std::uint64_t> reportedAt;
    for (const auto& event : host.listener().events())
        if (event.text.starts_with("/underrun"))
            reportedAt.push_back(event.frame);
    ASSERT_EQ(reportedAt.size(), runs.size());
    for (std::size_t i = 0; i < runs.size(); ++i)
    {
        SCOPED_TRACE("underrun " + std::to_string(i));
        const double ms = model.Time(runs[i].firstFrame);
        EXPECT_TRUE(reports[i].typeTags == "id" || reports[i].typeTags == "hd") << reports[i].typeTags;
        EXPECT_EQ(reports[i].frames, runs[i].frames);
        EXPECT_EQ(reports[i].milliseconds, ms);
        EXPECT_EQ(warnings[i], UnderrunText(runs[i].frames, ms, path));
        // Reported when it is over: not before the block in which the
        // sound came back.
        const std::uint64_t over = runs[i].firstOutput + std::uint64_t(runs[i].frames);
        EXPECT_GE(reportedAt[i], over / c.blockSize * c.blockSize);
        std::cout << "[ timing   ] " << c.name << ": underrun of " << runs[i].frames << " frames from frame "
                  << runs[i].firstFrame << std::endl;
    }
    EXPECT_EQ(run.CompareEnds(), "");
    ExpectNoFaultTexts(console);
    PrintLargestError(c.name, run.check().largestErrorInFrames());
    stall->Release();
    host.DestroyPlayer();
}

TEST(AudioFilePlayerTiming, UnderrunsAreSilentAndKeepTime)
{
    // A hold beyond the ring's reach from where playback starts (192000
    // frames) fires on the buffering thread, never on the message thread.
    const UnderrunCase cases[] = {
        {"one underrun", 64, false, 48000, 348000, {{48000 + 250000, 3000}}, 0},
        {"two underruns in blocks of 1000", 1000, false, 10000, 610000,
         {{10000 + 250000, 5000}, {10000 + 500000, 777}}, 0},
        {"across a loop's end", 64, true, 100000, 150000, {{150000 - 10, 6000}}, 120000},
        {"across several passes of a 3000-frame loop, blocks of 1000", 1000, true, 30000, 33000,
         {{31500, 7000}}, 20000},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.name);
        PlayWithUnderruns(c);
    }
}

/** Two channels of one value that is no frame index. */
class ConstantReader : public kel::AudioFileReader
{
public:
    explicit ConstantReader(std::int64_t length) : AudioFileReader(kel::File("/synthetic/constant.wav"), nullptr)
    {
        metadata.formatName = "WAV File";
        metadata.sampleRate = 48000.0;
        metadata.bitsPerSample = 32;
        metadata.numChannels = 2;
        metadata.usesFloatingPointData = true;
        metadata.lengthInSamples = length;
    }
    kel::String getDefaultExtension() const override { return ".wav"; }
    bool readSamples(float* const* destinations, std::int64_t numFrames, std::int64_t) override
    {
        for (int c = 0; destinations[c] != nullptr; ++c)
            std::fill_n(destinations[c], numFrames, 0.25f);
        return true;
    }
};

TEST(AudioFilePlayerTiming, AFileHeldWholeLoadsFromWherePlaybackWaits)
{
    // Held whole (shorter than the ring), loading behind blocks that never
    // wait: whatever is not loaded yet is silent and counts as played, and
    // loading goes on from the frame playback waits for, so what plays is
    // in time. A segment looped from the middle of the file, started before
    // the loader can have reached it.
    constexpr std::int64_t length = 150000;
    LockedConsole console;
    kel::test::UnderrunLog underruns;
    PlayerHost host(2, 192000, rate, 4096);
    host.player().AddHostListener(&console);
    host.player().AddListener(&underruns);
    // The ring is reused by a file of the same shape: what the first file
    // left in it must never play as the second one's.
    host.player().OpenAudioFile(std::make_unique<ConstantReader>(length));
    ASSERT_TRUE(kel::test::WaitUntil([&] { return host.player().getNumBufferedFrames() == std::uint64_t(length); }));
    host.player().OpenAudioFile(std::make_unique<kel::test::SlowReader>(
        std::make_unique<FrameIndexReader>("/synthetic/held-whole.wav", length), std::chrono::milliseconds(3)));
    ASSERT_TRUE(host.player().isRingResident());
    TransportModel model(length, rate);
    host.Send("/loop 1");
    model.SetLoop(true);
    host.Send("/seek " + model.SeekText(90000) + " " + model.SeekText(140000));
    model.Seek(90000, 140000);

    TimingRun run(host, model, true, true);
    std::string failure;
    for (int block = 0; failure.empty() && block < 60; ++block)
        failure = run.Block([] { return true; });
    EXPECT_FALSE(run.check().silentRuns().empty()) << "the disk never fell behind";
    // Then blocks that wait for the ring: the loop plays whole, in time.
    const std::size_t silentRuns = run.check().silentRuns().size();
    if (failure.empty())
        failure = run.Blocks(40 * 4096);
    EXPECT_EQ(failure, "");
    EXPECT_EQ(run.check().silentRuns().size(), silentRuns);
    EXPECT_EQ(run.CompareEnds(), "");
    // Each underrun is reported.
    EXPECT_TRUE(kel::test::WaitUntil(
        [&]
        {
            host.player().RequestBuffering();
            return underruns.reports().size() == run.check().silentRuns().size();
        }))
        << underruns.reports().size() << " reports of " << run.check().silentRuns().size() << " underruns";
    ExpectNoFaultTexts(console);
    PrintLargestError("held whole, loading behind", run.check().largestErrorInFrames());
    host.DestroyPlayer();
}

// ---------------------------------------------------------------------------

struct RateStep
{
    const char* what;
    const char* openPath;  // null: the host prepares the player at hostRate instead
    double rate;           // the file's, or the host's
    const char* warning;   // the warning expected, or null
};

TEST(AudioFilePlayerTiming, SampleRateWarningAtEachMoment)
{
    const RateStep steps[] = {
        {"open a file at another rate", "/synthetic/a.wav", 48000,
         "sampling rate in \"/synthetic/a.wav\" (48 kHz) differs from the host current samplerate  (44.1 kHz)"},
        {"DSP starts at the rate warned about", nullptr, 44100, nullptr},
        {"the host's rate changes", nullptr, 96000,
         "sampling rate in \"/synthetic/a.wav\" (48 kHz) differs from the host current samplerate  (96 kHz)"},
        {"DSP starts again at the same rate", nullptr, 96000, nullptr},
        {"the host comes to the file's rate", nullptr, 48000, nullptr},
        {"a second file at an unusual rate", "/synthetic/b.wav", 12345,
         "sampling rate in \"/synthetic/b.wav\" (12345 Hz) differs from the host current samplerate  (48 kHz)"},
        {"a third file at the host's rate", "/synthetic/c.wav", 48000, nullptr},
        {"the host's rate changes under it", nullptr, 22050,
         "sampling rate in \"/synthetic/c.wav\" (48 kHz) differs from the host current samplerate  (22.05 kHz)"},
        {"a fourth file", "/synthetic/d.aif", 96000,
         "sampling rate in \"/synthetic/d.aif\" (96 kHz) differs from the host current samplerate  (22.05 kHz)"},
        {"DSP starts again", nullptr, 22050, nullptr},
    };
    LockedConsole console;
    PlayerHost host(2, 192000, 44100.0, 64);
    host.player().AddHostListener(&console);
    std::size_t seen = 0;
    for (const auto& step : steps)
    {
        SCOPED_TRACE(step.what);
        if (step.openPath != nullptr)
            host.player().OpenAudioFile(std::make_unique<FrameIndexReader>(step.openPath, 48000, step.rate));
        else
            host.player().Prepare(step.rate, 64);
        // A warning posted at the next block counts as well.
        host.RunBlock();
        const auto all = console.all();
        const auto warnings = console.texts(Level::warning);
        const std::vector<std::string> added(all.begin() + std::ptrdiff_t(seen), all.end());
        seen = all.size();
        if (step.warning == nullptr)
        {
            EXPECT_TRUE(added.empty()) << added.front();
        }
        else
        {
            ASSERT_EQ(added.size(), 1u);
            EXPECT_EQ(added[0], step.warning);
            ASSERT_FALSE(warnings.empty());
            EXPECT_EQ(warnings.back(), step.warning) << "not posted as a warning";
        }
    }
    ExpectNoFaultTexts(console);
}

} // namespace
