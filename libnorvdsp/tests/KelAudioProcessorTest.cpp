// The audio processor frame: the clamps of the "/dsp" and "/verbose"
// messages, the gates in front of Process (mute, bypass, auto-mute), runs
// cut to the block size, the double entry, and messages arriving while an
// audio thread runs.
#include <atomic>
#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/TestText.h"
#include "support/TestProcessor.h"

namespace {

using kel::test::TestProcessor;
using kel::test::ThrownMessage;
using Strings = std::vector<std::string>;

struct CountingListener : kel::AudioProcessorBase::Listener, kel::AudioProcessorBase::LatencyListener
{
    int rates = 0, sizes = 0, clears = 0, verbosities = 0;
    std::vector<std::uint32_t> latencies;
    void OnSampleRateChanged(const kel::AudioProcessorBase&, double) override { ++rates; }
    void OnBlockSizeChanged(const kel::AudioProcessorBase&, std::uint32_t) override { ++sizes; }
    void OnCleared(const kel::AudioProcessorBase&) override { ++clears; }
    void OnVerbosityChanged(const kel::AudioProcessorBase&, kel::Verbosity) override { ++verbosities; }
    void OnLatency(const kel::AudioProcessorBase&, std::uint32_t latency) override { latencies.push_back(latency); }
};

TEST(AudioProcessorFrame, ClampsOfTheFrameMessages)
{
    struct Expect
    {
        double rate = 44100, previous = 44100;
        std::uint32_t block = 512;
        kel::Verbosity verbosity = kel::Verbosity::normal;
        bool autoMute = false;
        double attack = 1.0;
        bool mute = false, bypass = false;
        int rateCalls = 0, sizeCalls = 0, clears = 0;
    };
    struct Case
    {
        Strings messages;
        Expect expect;
    };
    using V = kel::Verbosity;
    const Case cases[] = {
        {{"/dsp/samplerate 1000"}, {.rate = 8000, .rateCalls = 1}},
        {{"/dsp/samplerate 1000000"}, {.rate = 768000, .rateCalls = 1}},
        {{"/dsp/samplerate 44100"}, {}},  // the current rate: nothing, nobody told
        {{"/dsp/samplerate 96000", "/dsp/samplerate 48000"}, {.rate = 48000, .previous = 96000, .rateCalls = 2}},
        {{"/dsp/samplerate 1", "/dsp/samplerate 2"}, {.rate = 8000, .rateCalls = 1}},
        {{"/samplerate 22050.5"}, {.rate = 22050.5, .rateCalls = 1}},
        {{"/dsp/buffersize 0"}, {.block = 1, .sizeCalls = 1}},
        {{"/dsp/buffersize -5"}, {.block = 1, .sizeCalls = 1}},
        {{"/dsp/buffersize 100000"}, {.block = 81920, .sizeCalls = 1}},
        {{"/dsp/buffersize 81920"}, {.block = 81920, .sizeCalls = 1}},
        {{"/dsp/buffersize 64.9"}, {.block = 64, .sizeCalls = 1}},
        {{"/dsp/buffersize 512"}, {}},
        {{"/verbose 1"}, {.verbosity = V::normal}},  // a number is a boolean here
        {{"/verbose 3"}, {.verbosity = V::normal}},
        {{"/verbose 0"}, {.verbosity = V::silent}},
        {{"/verbose true"}, {.verbosity = V::normal}},
        {{"/verbose false"}, {.verbosity = V::silent}},
        {{"/verbose \"detailed\""}, {.verbosity = V::detailed}},
        {{"/verbose \"MINIMAL\""}, {.verbosity = V::minimal}},
        {{"/dsp/automute 1"}, {.autoMute = true}},
        {{"/dsp/automute/active 1", "/dsp/automute 0"}, {.autoMute = false}},
        {{"/dsp/automute/active 1"}, {.autoMute = true}},
        {{"/dsp/automute 1", "/dsp/automute/attack 0"}, {.autoMute = false}},
        {{"/dsp/automute/attack 1000"}, {.autoMute = true, .attack = 500}},
        {{"/dsp/automute/attack 0.2"}, {.autoMute = true, .attack = 1}},
        {{"/dsp/automute/attack 12.5", "/dsp/automute/attack -3"}, {.autoMute = false, .attack = 12.5}},
        {{"/dsp/mute 1"}, {.mute = true}},
        {{"/dsp/mute 0.5"}, {.mute = false}},  // a float below 1 is false
        {{"/dsp/bypass true"}, {.bypass = true}},
        {{"/dsp/clear"}, {.clears = 1}},
        {{"/dsp/latency 5"}, {}},
    };
    for (const auto& c : cases)
    {
        TestProcessor p;
        CountingListener listener;
        p.AddProcessorListener(&listener);
        for (const auto& m : c.messages)
            EXPECT_TRUE(p.Send(m)) << m;
        const std::string what = c.messages.back();
        EXPECT_EQ(p.getSampleRate(), c.expect.rate) << what;
        EXPECT_EQ(p.getPreviousSampleRate(), c.expect.previous) << what;
        EXPECT_EQ(p.getBlockSize(), c.expect.block) << what;
        EXPECT_EQ(p.getVerbosity(), c.expect.verbosity) << what;
        EXPECT_EQ(p.getReportVerbosity(), c.expect.verbosity) << what;
        EXPECT_EQ(p.isAutoMuteOn(), c.expect.autoMute) << what;
        EXPECT_EQ(p.getAutoMuteAttack(), c.expect.attack) << what;
        EXPECT_EQ(p.isMuted(), c.expect.mute) << what;
        EXPECT_EQ(p.isBypassed(), c.expect.bypass) << what;
        EXPECT_EQ(listener.rates, c.expect.rateCalls) << what;
        EXPECT_EQ(listener.sizes, c.expect.sizeCalls) << what;
        EXPECT_EQ(listener.clears, c.expect.clears) << what;
        EXPECT_EQ(p.clearCalls, c.expect.clears) << what;
        p.RemoveProcessorListener(&listener);
    }

    TestProcessor p;
    EXPECT_EQ(ThrownMessage([&] { p.Send("/verbose \"loud\""); }), "invalid verbosity type : loud");
    EXPECT_EQ(ThrownMessage([&] { p.ProcessMessage(kel::OscMessage("/dsp/samplerate").AddFloat64(std::nan(""))); }),
              "invalid sample rate : nan");
    p.Prepare(44100, 256);
    p.Send("/dsp/automute/attack 1.5");
    EXPECT_EQ(p.getAutoMuteAttackInFrames(), 66150u);
    p.Send("/dsp/samplerate 22050");  // the attack keeps its time
    EXPECT_EQ(p.getAutoMuteAttackInFrames(), 33075u);

    CountingListener latency;
    p.AddLatencyListener(&latency);
    p.AddLatencyListener(&latency);
    p.NotifyLatencyListeners();
    EXPECT_EQ(latency.latencies, std::vector<std::uint32_t>{0});
}

TEST(AudioProcessorFrame, ConstructionLimitsAndDescriptions)
{
    EXPECT_EQ(ThrownMessage([] { TestProcessor p(65537, 1); }),
              "too many input channels : 65537. the maximum number of input channels is 65536.");
    EXPECT_EQ(ThrownMessage([] { TestProcessor p(1, 70000); }),
              "too many output channels : 70000. the maximum number of output channels is 65536.");
    TestProcessor p(3, 2);
    EXPECT_EQ(p.getInletDescription(0, false), "input #1");
    EXPECT_EQ(p.getInletDescription(2, false), "input #3");
    EXPECT_EQ(p.getInletDescription(0, true), "input (3)");
}

// Runs the float entry over one block; inputs and outputs as vectors.
struct Block
{
    std::vector<std::vector<float>> in, out;
    Block(std::size_t inputs, std::size_t outputs, std::size_t frames, float value)
        : in(inputs, std::vector<float>(frames, value)), out(outputs, std::vector<float>(frames, 9.0f))
    {
    }
    void run(kel::AudioProcessorBase& p)
    {
        std::vector<const float*> ins;
        std::vector<float*> outs;
        for (auto& c : in)
            ins.push_back(c.data());
        for (auto& c : out)
            outs.push_back(c.data());
        p.ProcessBlock(ins.data(), std::uint32_t(ins.size()), outs.data(), std::uint32_t(outs.size()),
                       std::uint32_t(out.empty() ? in[0].size() : out[0].size()));
    }
};

TEST(AudioProcessorFrame, MuteBypassAndMissingChannels)
{
    struct Case
    {
        Strings messages;
        std::size_t hostInputs, hostOutputs;
        std::vector<float> firstSampleOfEachOutput;
        int processCalls;
    };
    const Case cases[] = {
        {{}, 2, 2, {1.5f, 1.5f}, 1},
        {{"/dsp/mute 1"}, 2, 2, {0, 0}, 0},
        {{"/dsp/bypass 1"}, 2, 2, {0.5f, 0.5f}, 0},
        {{"/dsp/bypass 1", "/dsp/mute 1"}, 2, 2, {0, 0}, 0},  // mute wins
        {{}, 1, 2, {1.5f, 0}, 1},                           // a missing input reads silence
        {{}, 2, 3, {1.5f, 1.5f, 0}, 1},                     // an output beyond the processor's is cleared
        {{}, 2, 1, {1.5f}, 1},
    };
    for (const auto& c : cases)
    {
        TestProcessor p(2, 2);
        p.Send("/gain 3");
        for (const auto& m : c.messages)
            p.Send(m);
        Block block(c.hostInputs, c.hostOutputs, 64, 0.5f);
        block.run(p);
        std::vector<float> first;
        for (const auto& channel : block.out)
        {
            first.push_back(channel[0]);
            EXPECT_EQ(channel.back(), channel[0]);
        }
        EXPECT_EQ(first, c.firstSampleOfEachOutput);
        EXPECT_EQ(p.processCalls.load(), c.processCalls);
    }
}

TEST(AudioProcessorFrame, RunsNeverExceedTheBlockSizeAndTheDoubleEntryAgrees)
{
    TestProcessor p(1, 1);
    p.Prepare(48000, 64);
    p.Send("/gain 2");
    Block block(1, 1, 200, 0.25f);
    block.in[0][199] = 1.0f;
    block.run(p);
    EXPECT_EQ(p.processCalls.load(), 4);  // 64 + 64 + 64 + 8
    EXPECT_EQ(block.out[0][0], 0.5f);
    EXPECT_EQ(block.out[0][199], 2.0f);

    std::vector<double> in(200, 0.25), out(200, 9.0);
    in[199] = 1.0;
    const double* ins[] = {in.data()};
    double* outs[] = {out.data()};
    p.getConnections().SetAllOutletsStatus(1);  // the 64-bit entry writes what the host reads
    p.ProcessBlock(ins, 1, outs, 1, 200);
    for (std::size_t i = 0; i < out.size(); ++i)
        ASSERT_EQ(out[i], double(block.out[0][i])) << i;
}

// Output c of frame f carries c + 1 + (f mod 1024) / 1024, exact in float;
// the last output, the one refined in double, carries an hour into a file
// in ms, which a float cannot hold: 3600000 + f / 48 (f counted from the
// first block). Base is the frame it derives from: with auto-mute it knows
// its connections, without it every output is read.
template <typename Base>
class RampSource : public Base
{
public:
    explicit RampSource(std::uint32_t outputs) : Base(0, outputs) {}

    static float Sample(std::uint32_t channel, std::uint64_t frame)
    {
        return float(channel + 1) + float(frame % 1024) / 1024.0f;
    }
    static double Refined(std::uint64_t frame) { return 3600000.0 + double(frame) / 48.0; }

protected:
    void Process(const kel::AudioBufferBase<float>&, kel::AudioBufferBase<float>& outputs) noexcept override
    {
        runStart = frames;
        for (std::uint32_t c = 0; c < outputs.getNumChannels(); ++c)
            for (std::uint64_t i = 0; i < outputs.getNumSamples(); ++i)
                outputs.getWritePointer(c)[i] = Sample(c, frames + i);
        frames += outputs.getNumSamples();
    }

    void RefineDoubleOutputs(double* const* outputs, std::uint32_t numOutputs, std::uint32_t numFrames) noexcept override
    {
        const std::uint32_t last = this->getNumOutputs() - 1;
        if (last >= numOutputs || !this->isOutputRead(last))
            return;
        for (std::uint32_t i = 0; i < numFrames; ++i)
            outputs[last][i] = Refined(runStart + i);
    }

private:
    std::uint64_t frames = 0, runStart = 0;  // audio thread
};

struct Plain : kel::AudioProcessorBase
{
    Plain(std::uint32_t inputs, std::uint32_t outputs) : kel::AudioProcessorBase(inputs, outputs) {}
};

// The 64-bit entry as Max calls it: exact where the host reads (the refined
// output at double precision), untouched where it does not, zeros on host
// channels the processor lacks.
TEST(AudioProcessorFrame, DoubleEntryConvertsOnlyTheOutputsTheHostReads)
{
    constexpr double untouched = -7.25;  // what the host's vectors hold before the block
    enum class Expect { ramp, refined, untouched, zero };
    using E = Expect;
    struct Case
    {
        const char* what;
        std::uint32_t outputs, hostOutputs;
        std::vector<int> connected;  // per processor output
        std::vector<Expect> expect;  // per host output
        std::vector<std::string> messages = {};
        bool knowsConnections = true;
    };
    const Case cases[] = {
        {"all connected", 4, 4, {1, 1, 1, 1}, {E::ramp, E::ramp, E::ramp, E::refined}},
        {"half connected", 4, 4, {1, 0, 1, 0}, {E::ramp, E::untouched, E::ramp, E::untouched}},
        {"only the refined output", 4, 4, {0, 0, 0, 1}, {E::untouched, E::untouched, E::untouched, E::refined}},
        {"none connected", 3, 3, {0, 0, 0}, {E::untouched, E::untouched, E::untouched}},
        {"host outputs beyond the processor's", 2, 4, {0, 1}, {E::untouched, E::refined, E::zero, E::zero}},
        {"host gives fewer outputs", 4, 2, {1, 0, 1, 1}, {E::ramp, E::untouched}},
        {"muted", 4, 4, {1, 0, 0, 1}, {E::zero, E::untouched, E::untouched, E::zero}, {"/dsp/mute 1"}},
        {"bypassed without inputs", 3, 3, {0, 1, 1}, {E::untouched, E::zero, E::zero}, {"/dsp/bypass 1"}},
        {"connections unknown", 3, 3, {0, 0, 0}, {E::ramp, E::ramp, E::refined}, {}, false},
    };
    constexpr std::uint32_t frames = 300;  // runs of 64: 64 x 4 + 44
    for (const auto& c : cases)
    {
        std::unique_ptr<kel::AudioProcessorBase> processor;
        if (c.knowsConnections)
        {
            auto p = std::make_unique<RampSource<kel::test::TestProcessor>>(c.outputs);
            for (std::uint32_t o = 0; o < c.outputs; ++o)
                p->getConnections().SetOutletStatus(o, c.connected[o]);
            for (const auto& m : c.messages)
                p->Send(m);
            processor = std::move(p);
        }
        else
            processor = std::make_unique<RampSource<Plain>>(c.outputs);
        processor->Prepare(48000, 64);

        std::vector<std::vector<double>> out(c.hostOutputs, std::vector<double>(frames, untouched));
        std::vector<double*> outs;
        for (auto& channel : out)
            outs.push_back(channel.data());
        // Two blocks: the refined time goes on from one to the next.
        for (std::uint32_t block = 0; block < 2; ++block)
        {
            std::fill(out.begin(), out.end(), std::vector<double>(frames, untouched));
            for (std::size_t o = 0; o < outs.size(); ++o)
                outs[o] = out[o].data();
            processor->ProcessBlock(static_cast<const double* const*>(nullptr), 0, outs.data(), c.hostOutputs, frames);
            for (std::uint32_t o = 0; o < c.hostOutputs; ++o)
            {
                int wrong = 0;
                for (std::uint32_t i = 0; i < frames; ++i)
                {
                    const std::uint64_t frame = std::uint64_t(block) * frames + i;
                    double want = 0.0;
                    switch (c.expect[o])
                    {
                    case E::ramp: want = double(RampSource<Plain>::Sample(o, frame)); break;
                    case E::refined: want = RampSource<Plain>::Refined(frame); break;
                    case E::untouched: want = untouched; break;
                    case E::zero: want = 0.0; break;
                    }
                    if (out[o][i] != want && wrong++ == 0)
                        ADD_FAILURE() << c.what << ": output " << o << " frame " << frame << " is " << out[o][i]
                                      << ", expected " << want;
                }
            }
        }
    }
}

TEST(AudioProcessorFrame, AutoMuteAttackAndReleaseAcrossBlocks)
{
    constexpr std::size_t frames = 500;
    TestProcessor p(2, 2);
    p.Prepare(8000, frames);
    p.Send("/dsp/automute/attack 1");  // 8000 frames: exactly 16 blocks
    p.getConnections().SetInletStatus(0, 1);
    EXPECT_EQ(p.getAutoMuteAttackInFrames(), 8000u);

    Block sound(2, 2, frames, 0.25f);
    Block silence(2, 2, frames, 0.0f);
    sound.run(p);
    EXPECT_TRUE(p.getConnections().isInletActive(0));
    EXPECT_FALSE(p.getConnections().isInletActive(1));  // not connected

    for (int block = 1; block <= 15; ++block)
    {
        silence.run(p);
        ASSERT_TRUE(p.getConnections().isAnyInletActive()) << block;
    }
    EXPECT_EQ(p.processCalls.load(), 16);
    EXPECT_EQ(p.getConnections().getSilentFrames(0), 15u * frames);

    silence.out.assign(2, std::vector<float>(frames, 9.0f));
    silence.run(p);  // 8000 silent frames: the attack is reached
    EXPECT_FALSE(p.getConnections().isAnyInletActive());
    EXPECT_EQ(p.getConnections().getSilentFrames(0), 8000u);
    EXPECT_EQ(p.processCalls.load(), 16);
    EXPECT_EQ(silence.out[0][0], 0.0f);
    EXPECT_EQ(silence.out[1][frames - 1], 0.0f);

    silence.run(p);
    EXPECT_EQ(p.processCalls.load(), 16);

    // The first non-zero sample brings it back in the same block.
    Block click(2, 2, frames, 0.0f);
    click.in[0][frames - 1] = -1e-30f;
    click.run(p);
    EXPECT_TRUE(p.getConnections().isInletActive(0));
    EXPECT_EQ(p.processCalls.load(), 17);

    // Auto-mute off: a connected inlet is active whatever it carries.
    p.Send("/dsp/automute 0");
    silence.run(p);
    silence.run(p);
    EXPECT_EQ(p.getConnections().getNumActiveInlets(), 1u);
    EXPECT_EQ(p.processCalls.load(), 19);

    // No inlet connected and auto-mute on: nothing to listen to, no Process.
    p.Send("/dsp/automute 1");
    p.getConnections().SetAllInletsStatus(0);
    sound.run(p);
    EXPECT_EQ(p.processCalls.load(), 19);

    // A processor without inputs is never auto-muted.
    TestProcessor source(0, 1);
    source.Send("/dsp/automute 1");
    Block none(0, 1, frames, 0.0f);
    none.run(source);
    EXPECT_EQ(source.processCalls.load(), 1);
}

// The audio thread runs blocks while the main thread reconfigures the
// processor: every block must come out whole, as silence or as input x gain.
TEST(AudioProcessorThreads, MessagesWhileTheAudioThreadRuns)
{
    TestProcessor p(2, 2);
    p.Prepare(48000, 128);
    std::atomic<bool> stop{false};
    std::atomic<int> badBlocks{0};
    std::atomic<int> blocks{0};

    std::thread audio(
        [&]
        {
            Block block(2, 2, 300, 1.0f);
            while (!stop.load())
            {
                block.run(p);
                for (const auto& channel : block.out)
                    for (const float s : channel)
                        if (s != 0.0f && s != 1.0f && s != 2.0f)
                            badBlocks.fetch_add(1);
                blocks.fetch_add(1);
            }
        });

    const Strings messages = {"/dsp/buffersize 32", "/gain 2",         "/dsp/samplerate 96000", "/dsp/mute 1",
                              "/dsp/clear",         "/dsp/mute 0",     "/dsp/buffersize 1000",  "/gain 1",
                              "/dsp/bypass 1",      "/dsp/bypass 0",   "/dsp/automute/attack 2", "/dsp/automute 0",
                              "/dsp/buffersize 7",  "/dsp/samplerate 44100"};
    for (int round = 0; round < 40 || blocks.load() < 200; ++round)
        for (const auto& m : messages)
            p.Send(m);
    stop.store(true);
    audio.join();
    EXPECT_EQ(badBlocks.load(), 0);
    EXPECT_EQ(p.getBlockSize(), 7u);
}

} // namespace
