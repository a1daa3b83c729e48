// The player's timing, through the command-line renderer run as a program:
// a frame-index file (channel 0 = each frame's index, written by libsndfile
// with cue points) played as segments, once or looped, loop mode switched at
// random blocks, at block sizes from 1 to 4096, with and without the
// position output. Every output frame must carry the right file frame, the
// position its exact time, and the markers and the end of playback must be
// reported in the blocks that play them.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "support/AudioFixtures.h"
#include "support/FrameIndex.h"
#include "support/TestTemp.h"

#if KEL_HAVE_SNDFILE

namespace
{

using kel::test::FrameIndexMarker;
using kel::test::LoopPlaybackModel;
using kel::test::ShellQuoted;
using kel::test::TempDir;

constexpr int rate = 48000;
// Longer than the smallest buffer: with --buffersize 192000 the file streams
// through the ring, with the default buffer it is held whole.
constexpr std::int64_t fileFrames = 240000;
// At and around block and ring-pass edges, and at segment edges of the table.
const std::vector<FrameIndexMarker> fileMarkers = {{1, 0},      {2, 37},     {3, 63},     {4, 64},     {5, 100},
                                                   {6, 1000},   {7, 4095},   {8, 4096},   {9, 5000},   {10, 9999},
                                                   {11, 10000}, {12, 12001}, {13, 48000}, {14, 60000}, {15, 100000}};

enum class Loop
{
    off,        // "/seek a b" plays the segment once
    fromStart,  // "/loop 1" before "/seek a b"
    switched    // "/loop 1" and "/loop 0" at random blocks while it plays
};

struct Case
{
    const char* name;
    std::uint32_t blockSize;
    std::uint64_t start, end;
    Loop loop;
    double passes;  // fromStart: how many passes to render
};

/** A segment time in ms that a truncating or a rounding conversion both take
    to the frame: a quarter frame past it. */
std::string SegmentTime(std::uint64_t frame)
{
    char text[64];
    std::snprintf(text, sizeof(text), "%.9f", (double(frame) + 0.25) * 1000.0 / rate);
    return text;
}

/** A --at time that the renderer serves just before the block starting at
    blockStart: half a frame earlier than it, later than the block before. */
std::string BlockTime(std::uint64_t blockStart)
{
    char text[64];
    std::snprintf(text, sizeof(text), "%.9f", blockStart == 0 ? 0.0 : (double(blockStart) - 0.5) * 1000.0 / rate);
    return text;
}

/** What to render for a case and what the timing rules say comes out. */
struct Plan
{
    std::string messages;  // the --at arguments
    std::uint64_t frames = 0;
    std::uint64_t playedFrames = 0;
    bool ends = false;
};

Plan MakePlan(const Case& c, std::mt19937& random)
{
    const std::uint64_t length = c.end - c.start;
    const std::uint32_t block = c.blockSize;
    LoopPlaybackModel model(c.start, c.end, block, c.loop == Loop::fromStart);
    Plan plan;
    if (c.loop == Loop::fromStart)
        plan.messages += " --at 0 '/loop 1'";
    plan.messages += " --at 0 '/seek " + SegmentTime(c.start) + " " + SegmentTime(c.end) + "'";

    auto blocksDone = [&] { return model.renderedFrames() / block; };
    if (c.loop == Loop::switched)
    {
        // Switches about a pass apart, the first before the first pass ends;
        // none where a pass has just ended, which the timing rules leave open.
        bool on = false;
        for (int i = 0; i < 8; ++i)
        {
            const std::uint64_t most = i == 0 ? (length - 1) / block : (length + block - 1) / block + 1;
            std::uniform_int_distribution<std::uint64_t> gap(1, std::max<std::uint64_t>(1, most));
            const std::uint64_t target = blocksDone() + gap(random);
            while (blocksDone() < target)
                model.step();
            for (int shift = 0; shift < 8 && model.atPassBoundary(); ++shift)
                model.step();
            if (model.hasEnded() || model.atPassBoundary())
                break;
            on = !on;
            model.setLoop(on);
            plan.messages += " --at " + BlockTime(model.renderedFrames()) + " '/loop " + (on ? "1" : "0") + "'";
        }
        if (on)
            ADD_FAILURE() << "the switches leave the loop on";
    }
    if (c.loop == Loop::fromStart)
        while (double(model.renderedFrames()) < c.passes * double(length))
            model.step();
    else
    {
        for (std::uint64_t guard = 0; !model.hasEnded() && guard < 1000000; ++guard)
            model.step();
        // The end is held a while.
        for (int i = 0; i < 3; ++i)
            model.step();
    }
    plan.frames = model.renderedFrames();
    plan.playedFrames = model.playedFrames();
    plan.ends = model.hasEnded();
    return plan;
}

struct Rendered
{
    int status = -1;
    std::string out, err;
};

Rendered RunRender(const TempDir& dir, const std::string& arguments)
{
    Rendered run;
    const std::string errFile = dir.file("stderr.txt");
    run.status = kel::test::RunCommand(
        ShellQuoted(KEL_CLI_PATH) + " render " + arguments + " 2>" + ShellQuoted(errFile), &run.out);
    const auto bytes = kel::test::LoadBytes(errFile);
    run.err.assign(bytes.begin(), bytes.end());
    return run;
}

std::uint32_t Seed()
{
    if (const char* text = std::getenv("KEL_PLAYER_TIMING_SEED"))
        return std::uint32_t(std::strtoul(text, nullptr, 10));
    return std::random_device{}();
}

/** Renders the case, holds the output to the timing rules, and returns the
    largest position error in frames (negative without the position). */
double RenderAndCheck(const TempDir& dir, const std::string& input, const Case& c, bool position, bool streamed,
                      std::mt19937& random)
{
    const Plan plan = MakePlan(c, random);
    const std::string output = dir.file("out.wav");
    char seconds[64];
    std::snprintf(seconds, sizeof(seconds), "%.17g", double(plan.frames) / rate);
    const std::string arguments = ShellQuoted(input) + " " + ShellQuoted(output) + " --blocksize "
        + std::to_string(c.blockSize) + " --seconds " + seconds + (position ? " --position" : "")
        + (streamed ? " --buffersize 192000" : "") + plan.messages;
    SCOPED_TRACE(std::string(c.name) + (position ? ", position" : ", no position")
                 + (streamed ? ", streamed" : ", held whole") + ": render " + arguments);

    const Rendered rendered = RunRender(dir, arguments);
    EXPECT_EQ(rendered.status, 0) << rendered.err;
    for (const char* text : {"AudioFilePlayer::Process bug 1 ?", "AudioFilePlayer::Process bug 3 ?",
                             "AudioFilePlayer::getNumSamplesToReadFromDisk() : too fast ? "})
        EXPECT_EQ(rendered.err.find(text), std::string::npos) << rendered.err;

    kel::test::FrameIndexRun run = kel::test::ReadRenderOutput(output, position, c.blockSize);
    EXPECT_EQ(run.index.size(), plan.frames) << "frames rendered";
    std::vector<std::string> violations;
    kel::test::ParseRenderReports(rendered.out, run, violations);
    kel::test::FrameIndexExpectation expected;
    expected.segmentStart = c.start;
    expected.segmentEnd = c.end;
    expected.markers = fileMarkers;
    const auto verdict = kel::test::CheckFrameIndexRun(run, expected);
    violations.insert(violations.end(), verdict.violations.begin(), verdict.violations.end());

    std::string listed;
    for (const auto& v : violations)
        listed += "\n  " + v;
    EXPECT_TRUE(violations.empty()) << violations.size() << " violations:" << listed;
    EXPECT_EQ(verdict.playedFrames, plan.playedFrames) << "frames played";
    EXPECT_EQ(verdict.ended, plan.ends) << "whether playback ended";
    return position ? verdict.maxPositionErrorFrames : -1.0;
}

void PrintPositionError(const Case& c, bool position, double error)
{
    std::cout << "PlayerTiming " << c.name << " (block " << c.blockSize << ", "
              << (position ? "position" : "no position") << "): max position error: ";
    if (error < 0.0)
        std::cout << "n/a";
    else
        std::cout << error << " frames";
    std::cout << std::endl;
}

class PlayerTiming : public ::testing::Test
{
protected:
    void SetUp() override
    {
        KEL_SKIP_WITHOUT_SHELL();
        input = dir.file("frames.wav");
        const std::string failure = kel::test::WriteFrameIndexFile(input, fileFrames, rate, fileMarkers);
        ASSERT_EQ(failure, "");
    }

    TempDir dir;
    std::string input;
};

TEST_F(PlayerTiming, FramesPositionMarkersAndEndFollowTheAudio)
{
    const Case cases[] = {
        {"a segment once", 1, 60, 300, Loop::off, 0},
        {"37 frames looped", 1, 37, 74, Loop::fromStart, 4.5},
        {"one frame looped", 1, 64, 65, Loop::fromStart, 40},
        {"loop switched", 1, 90, 130, Loop::switched, 0},

        {"whole blocks once", 64, 0, 6400, Loop::off, 0},
        {"not whole blocks once", 64, 100, 6101, Loop::off, 0},
        {"shorter than a block looped", 64, 37, 74, Loop::fromStart, 20.5},
        {"a few frames looped", 64, 63, 66, Loop::fromStart, 100},
        {"one frame looped", 64, 9999, 10000, Loop::fromStart, 200},
        {"whole blocks looped", 64, 4096, 4736, Loop::fromStart, 3.5},
        {"loop switched", 64, 4000, 5001, Loop::switched, 0},

        {"shorter than a ring pass looped", 1000, 1000, 4096, Loop::fromStart, 3.5},
        {"whole blocks once", 1000, 0, 48000, Loop::off, 0},
        {"shorter than a block looped", 1000, 12001, 12501, Loop::fromStart, 10.5},
        {"loop switched", 1000, 9999, 12002, Loop::switched, 0},

        {"one ring pass looped", 4096, 4095, 8191, Loop::fromStart, 3.5},
        {"1000.3 ms looped", 4096, 1000, 49014, Loop::fromStart, 3.2},
        {"shorter than a block looped", 4096, 60000, 60100, Loop::fromStart, 100.5},
        {"a few frames looped", 4096, 1000, 1003, Loop::fromStart, 3000},
        {"not whole blocks once", 4096, 99990, 110001, Loop::off, 0},
        {"loop switched", 4096, 48000, 60001, Loop::switched, 0},
    };
    const std::uint32_t seed = Seed();
    SCOPED_TRACE("seed " + std::to_string(seed) + " (KEL_PLAYER_TIMING_SEED repeats it)");
    std::mt19937 random(seed);
    for (const Case& c : cases)
        for (const bool streamed : {true, false})
            for (const bool position : {true, false})
                PrintPositionError(c, position, RenderAndCheck(dir, input, c, position, streamed, random));
}

TEST_F(PlayerTiming, TenThousandPassesDoNotDrift)
{
    // 37 frames at 64-frame blocks: the pass boundary visits every offset in
    // the block, and the last pass must still carry its own frames and times.
    const Case c{"10000 passes of 37 frames", 64, 37, 74, Loop::fromStart, 10000.5};
    std::mt19937 random(0);
    for (const bool streamed : {true, false})
        for (const bool position : {true, false})
            PrintPositionError(c, position, RenderAndCheck(dir, input, c, position, streamed, random));
}

}  // namespace

#endif
