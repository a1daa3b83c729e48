// The 64-bit block entry (Max's perform routine) of a processor with 64
// outputs, half of them connected, beside the same processor with all of
// them connected (every output converted from float to double, as the entry
// did for connected and unconnected outputs alike). Process writes every
// output in both, so only the conversion differs. 64-frame blocks, timed by
// this thread's CPU time in alternating runs of 256 blocks;
// time_ratio = half / all.
#include <ctime>
#include <vector>

#include <benchmark/benchmark.h>

#include "dsp/KelAudioProcessorWithAutoMute.h"

namespace {

class Source : public kel::AudioProcessorWithAutoMute
{
public:
    explicit Source(std::uint32_t outputs) : kel::AudioProcessorWithAutoMute(0, outputs) {}

protected:
    void Process(const kel::AudioBufferBase<float>&, kel::AudioBufferBase<float>& outputs) noexcept override
    {
        for (std::uint32_t c = 0; c < outputs.getNumChannels(); ++c)
        {
            float* out = outputs.getWritePointer(c);
            for (std::uint64_t i = 0; i < outputs.getNumSamples(); ++i)
                out[i] = float(c) + float(i) * 1e-3f;
        }
    }
};

double ThreadSeconds()
{
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

void DoubleEntry(benchmark::State& state)
{
    const auto channels = std::uint32_t(state.range(0));
    constexpr std::uint32_t blockFrames = 64;
    constexpr int blocksPerRun = 256;

    Source half(channels), all(channels);
    for (Source* p : {&half, &all})
        p->Prepare(48000.0, blockFrames);
    all.getConnections().SetAllOutletsStatus(1);
    for (std::uint32_t c = 0; c < channels; c += 2)
        half.getConnections().SetOutletStatus(c, 1);

    std::vector<std::vector<double>> vectors(channels, std::vector<double>(blockFrames, 0.0));
    std::vector<double*> outputs;
    for (auto& v : vectors)
        outputs.push_back(v.data());

    auto run = [&](Source& p)
    {
        const double start = ThreadSeconds();
        for (int b = 0; b < blocksPerRun; ++b)
        {
            p.ProcessBlock(static_cast<const double* const*>(nullptr), 0, outputs.data(), channels, blockFrames);
            benchmark::ClobberMemory();
        }
        return ThreadSeconds() - start;
    };

    double subject = 0.0, reference = 0.0;
    bool halfFirst = true;
    for (auto _ : state)
    {
        double ours = 0.0, theirs = 0.0;
        if (halfFirst)
        {
            ours = run(half);
            theirs = run(all);
        }
        else
        {
            theirs = run(all);
            ours = run(half);
        }
        halfFirst = !halfFirst;
        subject += ours;
        reference += theirs;
        state.SetIterationTime(ours);
    }
    const double blocks = double(state.iterations()) * blocksPerRun;
    state.counters["half_us_per_block"] = subject / blocks * 1e6;
    state.counters["all_us_per_block"] = reference / blocks * 1e6;
    state.counters["time_ratio"] = subject / reference;
}

BENCHMARK(DoubleEntry)->ArgName("channels")->Arg(64)->UseManualTime()->Unit(benchmark::kMicrosecond)->MinTime(0.5);

} // namespace
