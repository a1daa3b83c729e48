// Random transport messages between blocks, on a frame-index file, with the
// frame-index rule checked after every block: each playing sample's position
// is the time of the frame its audio carries, and that frame is the one the
// transport should be playing; otherwise the output is silent and holds the
// time the timing rules give. Blocks run on the test thread, which is also the
// message thread, so a seed replays exactly.
#include <gtest/gtest.h>

#include <deque>
#include <iostream>
#include <memory>
#include <random>
#include <string>

#include "support/FrameIndexReader.h"
#include "support/PlayerTestSupport.h"
#include "support/TimingReports.h"
#include "support/TimingRun.h"
#include "support/TransportModel.h"

namespace {

using kel::test::TransportModel;

constexpr double rate = 48000.0;
constexpr std::int64_t length = 400000;

/** Picks a message the model can predict, sends it to both. */
std::string SendRandomMessage(std::mt19937& random, kel::test::PlayerHost& host, TransportModel& model)
{
    for (;;)
    {
        const auto pick = random() % 10;
        std::string message;
        if (pick == 0)
        {
            message = "/start";
            model.Start();
        }
        else if (pick <= 2)
        {
            const std::int64_t frame = std::int64_t(random() % std::uint64_t(length));
            message = "/seek " + model.SeekText(frame);
            model.Seek(frame);
        }
        else if (pick <= 5)
        {
            // Segments shorter than a block, than a disk pass, and long ones.
            const std::int64_t a = std::int64_t(random() % std::uint64_t(length));
            const std::uint32_t kind = random() % 3;
            const std::int64_t span = kind == 0   ? 1 + random() % 64
                                      : kind == 1 ? 65 + random() % 5000
                                                  : 5000 + random() % 200000;
            const std::int64_t b = std::min(length, a + span);
            const bool reversed = random() % 2 == 1;
            message = "/seek " + model.SeekText(reversed ? b : a) + " " + model.SeekText(reversed ? a : b);
            model.Seek(a, b);
        }
        else if (pick == 6)
        {
            const bool loop = random() % 2 == 1;
            message = loop ? "/loop 1" : "/loop 0";
            model.SetLoop(loop);
        }
        else if (pick == 7)
        {
            message = "/pause";
            model.Pause();
        }
        else if (pick == 8)
        {
            if (model.resumeIsOpen())
                continue;
            message = "/resume";
            model.Resume();
        }
        else
        {
            if (!model.isPlaying() && model.resumeIsOpen())
                continue;
            message = "/switch";
            model.Switch();
        }
        host.Send(message);
        return message;
    }
}

struct StressCase
{
    unsigned seed;
    std::uint32_t blockSize;
    bool wide;  // the 64-bit entry
};

TEST(PlayerStress, FrameIndexHoldsThroughRandomTransport)
{
    const StressCase cases[] = {{1, 64, true}, {2, 100, true}, {3, 1000, true}, {4, 64, false}, {5, 37, true}};
    constexpr int steps = 300;
    for (const auto& c : cases)
    {
        const std::string name = "seed " + std::to_string(c.seed) + ", blocks of " + std::to_string(c.blockSize)
                               + (c.wide ? ", 64-bit entry" : ", 32-bit entry");
        SCOPED_TRACE(name);
        kel::test::LockedConsole console;
        kel::test::PlayerHost host(2, 192000, rate, c.blockSize);
        host.player().AddHostListener(&console);
        host.player().OpenAudioFile(
            std::make_unique<kel::test::FrameIndexReader>("/synthetic/stress.wav", length));
        TransportModel model(length, rate);
        kel::test::TimingRun run(host, model, c.wide, false);

        std::mt19937 random(c.seed);
        std::deque<std::string> recent;  // the last messages, with the frame they came before
        std::string failure;
        for (int step = 0; step < steps && failure.empty(); ++step)
        {
            // A message before the block that reports an end is a case the
            // timing rules leave open.
            if (!model.endIsPending() && random() % 4 != 0)
            {
                const std::string message = SendRandomMessage(random, host, model);
                recent.push_back(std::to_string(host.framesRendered()) + ": " + message);
                if (recent.size() > 12)
                    recent.pop_front();
            }
            // Mostly a few blocks; now and then long enough for segments, or
            // even a part of the file, to reach their end.
            const std::uint32_t runKind = random() % 32;
            const std::uint64_t frames = runKind == 0  ? 1 + random() % 100000
                                         : runKind < 5 ? 1 + random() % 20000
                                                       : (1 + random() % 6) * std::uint64_t(c.blockSize);
            for (std::uint64_t done = 0; done < frames && failure.empty(); done += c.blockSize)
                failure = run.Block();
        }
        std::string history;
        for (const auto& line : recent)
            history += "\n  " + line;
        EXPECT_EQ(failure, "") << "seed " << c.seed << ", last messages:" << history;
        EXPECT_EQ(run.CompareEnds(), "") << "seed " << c.seed;
        for (const auto& text : console.all())
        {
            EXPECT_EQ(text.find("AudioFilePlayer::Process bug"), std::string::npos) << "seed " << c.seed << ": "
                                                                                     << text;
            EXPECT_EQ(text.find("too fast"), std::string::npos) << "seed " << c.seed << ": " << text;
        }
        EXPECT_TRUE(console.all().empty()) << "seed " << c.seed << ": " << console.all().front();
        std::cout << "[ timing   ] " << name << ": " << run.check().samplesChecked()
                  << " samples, largest position error " << run.check().largestErrorInFrames() << " frames"
                  << std::endl;
        host.DestroyPlayer();
    }
}

} // namespace
