// The sample conversion, beside its references in the same run:
// - floats: the reader's converter (kel::ChooseFrameConverter for
//   little-endian 32-bit and 64-bit floats, which writes 0 for non-finite
//   samples) against the plain conversion it replaced, kept below as the
//   REFERENCE (its float paths as they were), which passes every value
//   through; at 2 and 64 channels; with ordinary data ("nonfinite:0") and
//   with one sample in 61 a NaN or an infinity ("nonfinite:1": every tile
//   then holds one, and is scanned and fixed after the transposition, so
//   this costs more);
// - integers (16 and 24-bit little-endian): the one-pass converter, which
//   turns each sample into a float on its way to its channel, against the
//   two passes it replaced (integer words written to the channels, then
//   turned into floats in place, piece by piece), at 2 and 64 channels, into
//   arrays 4096 frames apart (a power of two: their lines share cache sets)
//   and 4160 frames apart.
// Each converts the same 4096 interleaved frames, in pieces of the reader's
// 64 KB scratch, into planar arrays, as a reader's read() does. Each side is
// timed by this thread's CPU time, in alternating runs of 32 conversions.
// time_ratio = ours / reference (goal for ordinary floats: at most 1.05).
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <limits>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#endif

#include "audiofiles/KelSampleConversion.h"

namespace {

double ThreadSeconds()
{
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

// ---------------------------------------------------------------------------
// REFERENCE: the conversion as it was before non-finite samples were
// replaced and before integers became floats in the same pass: its
// little-endian float and 16/24-bit integer paths, copied without a change
// in what they do.
namespace reference {

// The channel arrays held integer words first and floats afterwards.
#if defined(__GNUC__) || defined(__clang__)
using SampleWord [[gnu::may_alias]] = std::int32_t;
using FloatWord [[gnu::may_alias]] = float;
#else
using SampleWord = std::int32_t;
using FloatWord = float;
#endif

struct Int16LE
{
    static constexpr int width = 2;
    static std::uint32_t get(const std::uint8_t* s)
    {
        return (std::uint32_t(s[0]) << 16) | (std::uint32_t(s[1]) << 24);
    }
};
struct Int24LE
{
    static constexpr int width = 3;
    static std::uint32_t get(const std::uint8_t* s)
    {
        return (std::uint32_t(s[0]) << 8) | (std::uint32_t(s[1]) << 16) | (std::uint32_t(s[2]) << 24);
    }
};

struct Word32LE
{
    static constexpr int width = 4;
    static std::uint32_t get(const std::uint8_t* s)
    {
        return std::uint32_t(s[0]) | (std::uint32_t(s[1]) << 8) | (std::uint32_t(s[2]) << 16)
             | (std::uint32_t(s[3]) << 24);
    }
};
struct Double64LE
{
    static constexpr int width = 8;
    static std::uint32_t get(const std::uint8_t* s)
    {
        std::uint64_t bits = 0;
        for (int i = 0; i < 8; ++i)
            bits |= std::uint64_t(s[i]) << (8 * i);
        return std::bit_cast<std::uint32_t>(float(std::bit_cast<double>(bits)));
    }
};

constexpr std::uint32_t tileChannels = 64;
constexpr std::int32_t tileFrames = 16;

template <typename Layout>
void FillTile(std::uint32_t (&tile)[tileFrames][tileChannels], const std::uint8_t* frames, std::size_t stride,
              std::int32_t numFrames, std::uint32_t numChannels)
{
    for (std::int32_t i = 0; i < numFrames; ++i)
    {
        const std::uint8_t* in = frames + std::size_t(i) * stride;
        if constexpr (std::is_same_v<Layout, Int24LE>)
        {
            if (numChannels == 0)
                continue;
            tile[i][0] = Layout::get(in);
            for (std::uint32_t c = 1; c < numChannels; ++c)
            {
                std::uint32_t word;
                std::memcpy(&word, in + std::size_t(c) * 3 - 1, 4);
                tile[i][c] = word & 0xFFFFFF00u;
            }
        }
        else
        {
            for (std::uint32_t c = 0; c < numChannels; ++c)
                tile[i][c] = Layout::get(in + std::size_t(c) * Layout::width);
        }
    }
}

std::uint32_t WordAt(const std::uint8_t* p)
{
    std::uint32_t word;
    std::memcpy(&word, p, 4);
    return word;
}

void StoreRows(const std::uint8_t* rows, std::size_t rowBytes, std::int32_t numFrames, std::uint32_t numChannels,
               SampleWord* const* out, std::int64_t at)
{
    std::uint32_t c = 0;
#if defined(__SSE2__) || defined(_M_X64)
    for (; c + 4 <= numChannels; c += 4)
    {
        SampleWord* const out0 = out[c] + at;
        SampleWord* const out1 = out[c + 1] + at;
        SampleWord* const out2 = out[c + 2] + at;
        SampleWord* const out3 = out[c + 3] + at;
        const std::uint8_t* in = rows + std::size_t(c) * 4;
        std::int32_t f = 0;
        for (; f + 4 <= numFrames; f += 4, in += 4 * rowBytes)
        {
            const auto r0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
            const auto r1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + rowBytes));
            const auto r2 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 2 * rowBytes));
            const auto r3 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 3 * rowBytes));
            const auto t0 = _mm_unpacklo_epi32(r0, r1);
            const auto t1 = _mm_unpacklo_epi32(r2, r3);
            const auto t2 = _mm_unpackhi_epi32(r0, r1);
            const auto t3 = _mm_unpackhi_epi32(r2, r3);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out0 + f), _mm_unpacklo_epi64(t0, t1));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out1 + f), _mm_unpackhi_epi64(t0, t1));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out2 + f), _mm_unpacklo_epi64(t2, t3));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out3 + f), _mm_unpackhi_epi64(t2, t3));
        }
        for (; f < numFrames; ++f, in += rowBytes)
        {
            out0[f] = SampleWord(WordAt(in));
            out1[f] = SampleWord(WordAt(in + 4));
            out2[f] = SampleWord(WordAt(in + 8));
            out3[f] = SampleWord(WordAt(in + 12));
        }
    }
#endif
    for (; c < numChannels; ++c)
    {
        SampleWord* const channel = out[c] + at;
        for (std::int32_t f = 0; f < numFrames; ++f)
            channel[f] = SampleWord(WordAt(rows + std::size_t(f) * rowBytes + std::size_t(c) * 4));
    }
}

template <typename Layout>
void ConvertFrames(const std::uint8_t* source, std::int32_t bytesPerFrame, std::int32_t numFrames,
                   SampleWord* const* destinations, std::uint32_t numChannels, std::int64_t offset)
{
    const auto stride = std::size_t(bytesPerFrame);
    if constexpr (std::is_same_v<Layout, Word32LE> && std::endian::native == std::endian::little)
    {
        for (std::int32_t f = 0; f < numFrames; f += tileFrames)
            StoreRows(source + std::size_t(f) * stride, stride, std::min(tileFrames, numFrames - f), numChannels,
                      destinations, offset + f);
        return;
    }
    alignas(16) std::uint32_t tile[tileFrames][tileChannels];
    for (std::int32_t f = 0; f < numFrames; f += tileFrames)
    {
        const auto frames = std::min(tileFrames, numFrames - f);
        for (std::uint32_t first = 0; first < numChannels; first += tileChannels)
        {
            const auto channels = std::min(tileChannels, numChannels - first);
            FillTile<Layout>(tile, source + std::size_t(f) * stride + std::size_t(first) * Layout::width, stride,
                             frames, channels);
            StoreRows(reinterpret_cast<const std::uint8_t*>(tile), sizeof(tile[0]), frames, channels,
                      destinations + first, offset + f);
        }
    }
}

/** The second pass: left-justified integers become floats in place. */
void ConvertIntegersToFloats(SampleWord* values, std::int64_t numValues) noexcept
{
    auto* out = reinterpret_cast<FloatWord*>(values);
    std::int64_t i = 0;
    for (; i + 16 <= numValues; i += 16)
        for (int k = 0; k < 16; ++k)
            out[i + k] = float(values[i + k]) * kel::integerToFloatScale;
    for (; i + 4 <= numValues; i += 4)
        for (int k = 0; k < 4; ++k)
            out[i + k] = float(values[i + k]) * kel::integerToFloatScale;
    for (; i < numValues; ++i)
        out[i] = float(values[i]) * kel::integerToFloatScale;
}

} // namespace reference
// END OF REFERENCE
// ---------------------------------------------------------------------------

constexpr std::int64_t blockFrames = 4096;
constexpr std::int64_t scratchBytes = 1 << 16;  // the reader's scratch
constexpr int conversionsPerRun = 32;

/** A read() of blockFrames frames: the scratch converted piece after piece
    into the planar arrays (the scratch is the same memory each time, as the
    reader refills it). */
template <typename Convert>
void ConvertBlock(Convert&& convert, const std::vector<std::uint8_t>& scratch, std::int32_t bytesPerFrame,
                  float* const* planar, std::uint32_t channels)
{
    const std::int64_t framesPerPiece = scratchBytes / bytesPerFrame;
    for (std::int64_t done = 0; done < blockFrames; done += framesPerPiece)
        convert(scratch.data(), bytesPerFrame, std::int32_t(std::min(framesPerPiece, blockFrames - done)), planar,
                channels, done);
}

/** The reference's view of the same arrays: integer words. */
reference::SampleWord* const* AsWords(float* const* planar)
{
    return reinterpret_cast<reference::SampleWord* const*>(planar);
}

/** Interleaved samples for the scratch: uniform in [-1, 1], and with
    nonFinite one sample in 61 NaN, +inf or -inf in turn. */
template <typename Sample>
std::vector<std::uint8_t> ScratchBytes(std::uint32_t channels, bool nonFinite)
{
    const std::size_t count = std::size_t(scratchBytes) / sizeof(Sample);
    std::vector<Sample> samples(count - count % channels);
    std::mt19937 random(7);
    std::uniform_real_distribution<Sample> value(-1, 1);
    const Sample specials[] = {std::numeric_limits<Sample>::quiet_NaN(), std::numeric_limits<Sample>::infinity(),
                               -std::numeric_limits<Sample>::infinity()};
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = nonFinite && i % 61 == 0 ? specials[(i / 61) % 3] : value(random);
    std::vector<std::uint8_t> bytes(std::size_t(scratchBytes), 0);
    std::memcpy(bytes.data(), samples.data(), samples.size() * sizeof(Sample));
    return bytes;
}

/** Planar arrays, length floats apart in one allocation, as in an
    AudioBuffer. */
struct Planar
{
    Planar(std::uint32_t channels, std::int64_t length) : storage(std::size_t(channels) * std::size_t(length))
    {
        for (std::uint32_t c = 0; c < channels; ++c)
            pointers.push_back(storage.data() + std::size_t(c) * std::size_t(length));
    }
    std::vector<float> storage;
    std::vector<float*> pointers;
};

template <typename Sample>
void FloatConversion(benchmark::State& state)
{
    const auto channels = std::uint32_t(state.range(0));
    const bool nonFinite = state.range(1) != 0;
    const auto bytesPerFrame = std::int32_t(channels * sizeof(Sample));
    const auto scratch = ScratchBytes<Sample>(channels, nonFinite);
    Planar arrays(channels, blockFrames);
    float* const* planar = arrays.pointers.data();

    const kel::FrameConverter ours = kel::ChooseFrameConverter(
        sizeof(Sample) * 8, true, kel::SampleByteOrder::littleEndian, kel::EightBitSamples::unsignedOffset);
    using Layout = std::conditional_t<sizeof(Sample) == 4, reference::Word32LE, reference::Double64LE>;

    double oursSeconds = 0.0, referenceSeconds = 0.0;
    bool replaced = false;
    for (auto _ : state)
    {
        auto start = ThreadSeconds();
        for (int i = 0; i < conversionsPerRun; ++i)
            ConvertBlock([&](auto source, auto stride, auto frames, auto out, auto count, auto at) {
                reference::ConvertFrames<Layout>(source, stride, frames, AsWords(out), count, at);
            }, scratch, bytesPerFrame, planar, channels);
        benchmark::DoNotOptimize(arrays.storage[0]);
        referenceSeconds += ThreadSeconds() - start;

        start = ThreadSeconds();
        for (int i = 0; i < conversionsPerRun; ++i)
            ConvertBlock([&](auto&&... arguments) { replaced |= ours(arguments...); }, scratch, bytesPerFrame,
                         planar, channels);
        benchmark::DoNotOptimize(arrays.storage[0]);
        const double seconds = ThreadSeconds() - start;
        oursSeconds += seconds;
        state.SetIterationTime(seconds);
    }
    if (replaced != nonFinite)
        state.SkipWithError("the converter's report does not match the data");
    const double samples = double(blockFrames) * channels * conversionsPerRun * double(state.iterations());
    state.counters["ours_Msamples_per_s"] = samples / oursSeconds / 1e6;
    state.counters["reference_Msamples_per_s"] = samples / referenceSeconds / 1e6;
    state.counters["time_ratio"] = oursSeconds / referenceSeconds;
}

void FloatArguments(benchmark::internal::Benchmark* b)
{
    b->ArgNames({"channels", "nonfinite"});
    for (const int channels : {2, 64})
        for (const int nonFinite : {0, 1})
            b->Args({channels, nonFinite});
    b->UseManualTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK_TEMPLATE(FloatConversion, float)->Name("FloatConversion/float32")->Apply(FloatArguments);
BENCHMARK_TEMPLATE(FloatConversion, double)->Name("FloatConversion/float64")->Apply(FloatArguments);

/** The reference's read(): each piece of the scratch converted to integer
    words, then those words turned into floats in place. */
template <typename Layout>
void TwoPasses(const std::uint8_t* source, std::int32_t bytesPerFrame, std::int32_t numFrames,
               float* const* planar, std::uint32_t channels, std::int64_t at)
{
    reference::ConvertFrames<Layout>(source, bytesPerFrame, numFrames, AsWords(planar), channels, at);
    for (std::uint32_t c = 0; c < channels; ++c)
        reference::ConvertIntegersToFloats(AsWords(planar)[c] + at, numFrames);
}

template <int bits>
void IntegerConversion(benchmark::State& state)
{
    const auto channels = std::uint32_t(state.range(0));
    const auto length = state.range(1);
    const auto bytesPerFrame = std::int32_t(channels * bits / 8);
    std::vector<std::uint8_t> scratch(static_cast<std::size_t>(scratchBytes));
    std::mt19937 random(5);
    for (auto& byte : scratch)
        byte = std::uint8_t(random());
    Planar arrays(channels, length);
    float* const* planar = arrays.pointers.data();

    const kel::FrameConverter ours = kel::ChooseFrameConverter(bits, false, kel::SampleByteOrder::littleEndian,
                                                               kel::EightBitSamples::unsignedOffset);
    using Layout = std::conditional_t<bits == 16, reference::Int16LE, reference::Int24LE>;

    double oursSeconds = 0.0, referenceSeconds = 0.0;
    bool same = true;
    for (auto _ : state)
    {
        auto start = ThreadSeconds();
        for (int i = 0; i < conversionsPerRun; ++i)
            ConvertBlock(&TwoPasses<Layout>, scratch, bytesPerFrame, planar, channels);
        benchmark::DoNotOptimize(arrays.storage[0]);
        referenceSeconds += ThreadSeconds() - start;
        const auto expected = arrays.storage;

        start = ThreadSeconds();
        for (int i = 0; i < conversionsPerRun; ++i)
            ConvertBlock(ours, scratch, bytesPerFrame, planar, channels);
        benchmark::DoNotOptimize(arrays.storage[0]);
        const double seconds = ThreadSeconds() - start;
        oursSeconds += seconds;
        state.SetIterationTime(seconds);
        same = same && expected == arrays.storage;
    }
    if (!same)
        state.SkipWithError("the two conversions disagree");
    const double samples = double(blockFrames) * channels * conversionsPerRun * double(state.iterations());
    state.counters["ours_Msamples_per_s"] = samples / oursSeconds / 1e6;
    state.counters["reference_Msamples_per_s"] = samples / referenceSeconds / 1e6;
    state.counters["time_ratio"] = oursSeconds / referenceSeconds;
}

void IntegerArguments(benchmark::internal::Benchmark* b)
{
    b->ArgNames({"channels", "buffer"});
    for (const int channels : {2, 64})
        for (const int length : {4096, 4160})
            b->Args({channels, length});
    b->UseManualTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK_TEMPLATE(IntegerConversion, 16)->Name("IntegerConversion/pcm16")->Apply(IntegerArguments);
BENCHMARK_TEMPLATE(IntegerConversion, 24)->Name("IntegerConversion/pcm24")->Apply(IntegerArguments);

} // namespace
