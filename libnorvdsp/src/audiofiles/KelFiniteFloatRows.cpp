#include "audiofiles/KelFiniteFloatRows.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "audiofiles/KelLineStage.h"

#if defined(__SSE2__) || defined(_M_X64)
#define KEL_FINITE_ROWS_SSE2 1
#include <emmintrin.h>
#else
#define KEL_FINITE_ROWS_SSE2 0
#endif

namespace kel {

namespace {

// A float is finite unless its exponent bits are all ones (inf and NaN).
constexpr std::uint32_t exponentBits = 0x7F800000u;

std::uint32_t WordAt(const std::uint8_t* p)
{
    std::uint32_t word;
    std::memcpy(&word, p, 4);
    return word;
}

/** The word, or 0 for non-finite float bits; replaced collects the mask.
    A mask, not a branch, so that loops of it vectorise. */
std::uint32_t FiniteWord(std::uint32_t word, std::uint32_t& replaced)
{
    const std::uint32_t bad = (word & exponentBits) == exponentBits ? ~0u : 0u;
    replaced |= bad;
    return word & ~bad;
}

} // namespace

bool ZeroNonFiniteFloats(float* const* out, std::uint32_t numChannels, std::int64_t at,
                         std::int32_t numFrames) noexcept
{
    std::uint32_t replaced = 0;
    for (std::uint32_t c = 0; c < numChannels; ++c)
    {
        float* const channel = out[c] + at;
        for (std::int32_t f = 0; f < numFrames; ++f)
            channel[f] = std::bit_cast<float>(FiniteWord(std::bit_cast<std::uint32_t>(channel[f]), replaced));
    }
    return replaced != 0;
}

#if KEL_FINITE_ROWS_SSE2

// The words travel as they are, in integer registers. Beside them, the
// vector loops add every value into one float sum: NaN or an infinity
// anywhere makes it NaN or infinite, and then the written values are scanned
// and fixed. One addition per four values mostly fits in the transposition's
// spare cycles (a few per cent, measured by bench/ConversionBench.cpp), where
// a full check of every value slowed the whole conversion down by more than
// half; a sum that overflows from huge finite values only costs a scan that
// finds nothing. The frames that do not fill a vector (after the last
// multiple of 4) get the full check instead.
bool StoreFiniteFloatRows(const std::uint8_t* rows, std::size_t rowBytes, std::int32_t numFrames,
                          std::uint32_t numChannels, float* const* out, std::int64_t at) noexcept
{
    const auto load = [](const std::uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); };
    const auto loadPair = [](const std::uint8_t* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); };
    const auto store = [](float* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); };
    const auto asFloats = [](__m128i v) { return _mm_castsi128_ps(v); };

    const std::int32_t vectorFrames = numFrames & ~3;
    const std::size_t step = 4 * rowBytes;
    __m128 sum0 = _mm_setzero_ps();
    __m128 sum1 = _mm_setzero_ps();
    __m128 sum2 = _mm_setzero_ps();
    __m128 sum3 = _mm_setzero_ps();
    // Four channels at a time, straight to their arrays or through a stage
    // (audiofiles/KelLineStage.h).
    const auto transpose = [&](float* out0, float* out1, float* out2, float* out3, const std::uint8_t* in,
                               std::int32_t count) {
        for (std::int32_t f = 0; f < count; f += 4, in += step)
        {
            const auto r0 = load(in);
            const auto r1 = load(in + rowBytes);
            const auto r2 = load(in + 2 * rowBytes);
            const auto r3 = load(in + 3 * rowBytes);
            // Four sums, so that no addition waits for another and none
            // needs a copy of its operand.
            sum0 = _mm_add_ps(sum0, asFloats(r0));
            sum1 = _mm_add_ps(sum1, asFloats(r1));
            sum2 = _mm_add_ps(sum2, asFloats(r2));
            sum3 = _mm_add_ps(sum3, asFloats(r3));
            const auto t0 = _mm_unpacklo_epi32(r0, r1);
            const auto t1 = _mm_unpacklo_epi32(r2, r3);
            const auto t2 = _mm_unpackhi_epi32(r0, r1);
            const auto t3 = _mm_unpackhi_epi32(r2, r3);
            store(out0 + f, _mm_unpacklo_epi64(t0, t1));
            store(out1 + f, _mm_unpackhi_epi64(t0, t1));
            store(out2 + f, _mm_unpacklo_epi64(t2, t3));
            store(out3 + f, _mm_unpackhi_epi64(t2, t3));
        }
    };
    LineStage<4> stage;
    std::uint32_t c = 0;
    for (; c + 4 <= numChannels; c += 4)
    {
        const std::uint8_t* in = rows + std::size_t(c) * 4;
        if (!SharePageOffsets<4>(out + c, at))
        {
            transpose(out[c] + at, out[c + 1] + at, out[c + 2] + at, out[c + 3] + at, in, vectorFrames);
            continue;
        }
        for (std::int32_t first = 0; first < vectorFrames; first += lineFrames)
        {
            const auto count = std::min(lineFrames, vectorFrames - first);
            auto& v = stage.values;
            transpose(v[0], v[1], v[2], v[3], in + std::size_t(first) * rowBytes, count);
            stage.flush(out + c, at + first, count);
        }
    }
    if (c + 2 <= numChannels)
    {
        // Two channels (a stereo file, or what the groups of four leave):
        // two frames per vector, split by two shuffles.
        float* const out0 = out[c] + at;
        float* const out1 = out[c + 1] + at;
        const std::uint8_t* in = rows + std::size_t(c) * 4;
        for (std::int32_t f = 0; f < vectorFrames; f += 4, in += step)
        {
            const auto a = asFloats(_mm_unpacklo_epi64(loadPair(in), loadPair(in + rowBytes)));
            const auto b = asFloats(_mm_unpacklo_epi64(loadPair(in + 2 * rowBytes), loadPair(in + 3 * rowBytes)));
            sum0 = _mm_add_ps(sum0, _mm_add_ps(a, b));
            store(out0 + f, _mm_castps_si128(_mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0))));
            store(out1 + f, _mm_castps_si128(_mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1))));
        }
        c += 2;
    }
    if (c < numChannels)
    {
        float* const out0 = out[c] + at;
        const std::uint8_t* in = rows + std::size_t(c) * 4;
        for (std::int32_t f = 0; f < vectorFrames; f += 4, in += step)
        {
            const auto v = _mm_setr_epi32(std::int32_t(WordAt(in)), std::int32_t(WordAt(in + rowBytes)),
                                          std::int32_t(WordAt(in + 2 * rowBytes)),
                                          std::int32_t(WordAt(in + 3 * rowBytes)));
            sum0 = _mm_add_ps(sum0, asFloats(v));
            store(out0 + f, v);
        }
    }

    std::uint32_t replaced = 0;
    if (vectorFrames < numFrames)
        for (c = 0; c < numChannels; ++c)
        {
            float* const channel = out[c] + at;
            const std::uint8_t* in = rows + std::size_t(vectorFrames) * rowBytes + std::size_t(c) * 4;
            for (std::int32_t f = vectorFrames; f < numFrames; ++f, in += rowBytes)
                channel[f] = std::bit_cast<float>(FiniteWord(WordAt(in), replaced));
        }
    const __m128 sum = _mm_add_ps(_mm_add_ps(sum0, sum1), _mm_add_ps(sum2, sum3));
    // sum - sum is NaN exactly when the sum is not finite.
    const __m128 difference = _mm_sub_ps(sum, sum);
    if (_mm_movemask_ps(_mm_cmpunord_ps(difference, difference)) != 0
        && ZeroNonFiniteFloats(out, numChannels, at, vectorFrames))
        replaced = 1;
    return replaced != 0;
}

#else

bool StoreFiniteFloatRows(const std::uint8_t* rows, std::size_t rowBytes, std::int32_t numFrames,
                          std::uint32_t numChannels, float* const* out, std::int64_t at) noexcept
{
    std::uint32_t replaced = 0;
    for (std::uint32_t c = 0; c < numChannels; ++c)
    {
        float* const channel = out[c] + at;
        for (std::int32_t f = 0; f < numFrames; ++f)
        {
            const std::uint8_t* in = rows + std::size_t(f) * rowBytes + std::size_t(c) * 4;
            channel[f] = std::bit_cast<float>(FiniteWord(WordAt(in), replaced));
        }
    }
    return replaced != 0;
}

#endif

} // namespace kel
