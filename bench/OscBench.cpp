// Decoding OSC packets with our reader beside liblo's lo_message_deserialise
// on the same bytes, and matching patterns beside liblo's lo_pattern_match.
//
// Each reference runs first and leaves its time per item; the subject that
// follows reports "vs_liblo", its items per second divided by liblo's (above
// 1 means faster than liblo). Both sides are timed the same way, in CPU
// time around the whole loop (so that other work on the machine does not
// tilt the ratio), and both produce a usable message per packet and free it:
// liblo copies the type tags and the arguments (checking the address, which
// it leaves in the packet's bytes); ours also copies the address and splits
// it into parts for dispatch.
#include <ctime>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "osc/KelOscInputStream.h"
#include "osc/KelOscOutputStream.h"

#if KEL_HAVE_LIBLO
#include <lo/lo.h>
#endif

namespace {

// Process CPU time; the benchmarks run on one thread.
struct Clock
{
    using time_point = std::clock_t;
    static time_point now() noexcept { return std::clock(); }
};

// Seconds per item of each reference, by name, as measured in this run.
std::map<std::string, double>& ReferenceTimes()
{
    static std::map<std::string, double> times;
    return times;
}

void Report(benchmark::State& state, const std::string& reference, Clock::time_point start, double itemsPerIteration,
            bool isReference)
{
    const double seconds = double(Clock::now() - start) / double(CLOCKS_PER_SEC);
    const double items = double(state.iterations()) * itemsPerIteration;
    state.SetItemsProcessed(std::int64_t(items));
    if (isReference)
    {
        ReferenceTimes()[reference] = seconds / items;
    }
    else if (const auto found = ReferenceTimes().find(reference); found != ReferenceTimes().end())
    {
        state.counters["vs_liblo"] = found->second / (seconds / items);
    }
}

// A typical report: an address of three parts and three floats.
kel::OscMessage TypicalMessage(int index)
{
    kel::OscMessage m("/source/" + std::to_string(index) + "/xyz");
    m.AddFloat32(0.25f * float(index)).AddFloat32(-1.5f).AddFloat32(3.0f);
    return m;
}

std::vector<std::uint8_t> MessagePacket()
{
    kel::OscOutputStream out;
    out.WriteMessage(TypicalMessage(12));
    return out.getData().asStdVector();
}

std::vector<std::uint8_t> BundlePacket(int count)
{
    kel::OscBundle bundle;
    for (int i = 0; i < count; ++i)
        bundle.AddMessage(TypicalMessage(i + 1));
    kel::OscOutputStream out;
    out.WriteBundle(bundle);
    return out.getData().asStdVector();
}

#if KEL_HAVE_LIBLO

void DecodeMessage_liblo(benchmark::State& state)
{
    auto packet = MessagePacket();
    const auto start = Clock::now();
    for (auto _ : state)
    {
        int result = 0;
        lo_message m = lo_message_deserialise(packet.data(), packet.size(), &result);
        benchmark::DoNotOptimize(m);
        lo_message_free(m);
    }
    Report(state, "message", start, 1, true);
}
BENCHMARK(DecodeMessage_liblo);

#endif

void DecodeMessage_ours(benchmark::State& state)
{
    const auto packet = MessagePacket();
    const auto start = Clock::now();
    for (auto _ : state)
    {
        kel::OscInputStream in(packet.data(), packet.size());
        auto element = in.ReadPacket();
        benchmark::DoNotOptimize(element);
    }
    Report(state, "message", start, 1, false);
}
BENCHMARK(DecodeMessage_ours);

#if KEL_HAVE_LIBLO

// liblo has no public bundle decoder: walk the elements as its server does
// and deserialise each message.
void DecodeBundle_liblo(benchmark::State& state)
{
    const int count = int(state.range(0));
    auto packet = BundlePacket(count);
    const auto start = Clock::now();
    for (auto _ : state)
    {
        std::size_t at = 16;
        while (at + 4 <= packet.size())
        {
            const std::size_t n = (std::size_t(packet[at]) << 24) | (std::size_t(packet[at + 1]) << 16) |
                                  (std::size_t(packet[at + 2]) << 8) | packet[at + 3];
            int result = 0;
            lo_message m = lo_message_deserialise(packet.data() + at + 4, n, &result);
            benchmark::DoNotOptimize(m);
            lo_message_free(m);
            at += 4 + n;
        }
    }
    Report(state, "bundle" + std::to_string(count), start, count, true);
}
BENCHMARK(DecodeBundle_liblo)->Arg(64)->Arg(100);

#endif

void DecodeBundle_ours(benchmark::State& state)
{
    const int count = int(state.range(0));
    const auto packet = BundlePacket(count);
    const auto start = Clock::now();
    for (auto _ : state)
    {
        kel::OscInputStream in(packet.data(), packet.size());
        auto element = in.ReadPacket();
        benchmark::DoNotOptimize(element);
    }
    Report(state, "bundle" + std::to_string(count), start, count, false);
}
BENCHMARK(DecodeBundle_ours)->Arg(64)->Arg(100);

// Dispatch: one pattern against 1000 concrete addresses.
std::vector<std::string> Addresses()
{
    std::vector<std::string> all;
    for (int i = 1; i <= 1000; ++i)
        all.push_back("/source/" + std::to_string(i) + "/gain");
    return all;
}

void MatchIndexRange_ours(benchmark::State& state)
{
    const kel::OscAddressPattern pattern("/source/[1-64]/gain");
    std::vector<kel::OscAddress> addresses;
    for (const auto& text : Addresses())
        addresses.emplace_back(text);
    std::int64_t matched = 0;
    for (auto _ : state)
        for (const auto& address : addresses)
            matched += pattern.Matches(address) ? 1 : 0;
    benchmark::DoNotOptimize(matched);
    state.SetItemsProcessed(std::int64_t(state.iterations()) * std::int64_t(addresses.size()));
    state.counters["matching"] = double(matched) / double(state.iterations());
}
BENCHMARK(MatchIndexRange_ours);

#if KEL_HAVE_LIBLO

// "*" means the same to both, so this pair compares like with like.
void MatchStar_liblo(benchmark::State& state)
{
    const auto addresses = Addresses();
    const auto start = Clock::now();
    std::int64_t matched = 0;
    for (auto _ : state)
        for (const auto& address : addresses)
            matched += lo_pattern_match(address.c_str(), "/source/*/gain") ? 1 : 0;
    benchmark::DoNotOptimize(matched);
    Report(state, "star", start, double(addresses.size()), true);
}
BENCHMARK(MatchStar_liblo);

#endif

void MatchStar_ours(benchmark::State& state)
{
    const kel::OscAddressPattern pattern("/source/*/gain");
    std::vector<kel::OscAddress> addresses;
    for (const auto& text : Addresses())
        addresses.emplace_back(text);
    const auto start = Clock::now();
    std::int64_t matched = 0;
    for (auto _ : state)
        for (const auto& address : addresses)
            matched += pattern.Matches(address) ? 1 : 0;
    benchmark::DoNotOptimize(matched);
    Report(state, "star", start, double(addresses.size()), false);
}
BENCHMARK(MatchStar_ours);

} // namespace
