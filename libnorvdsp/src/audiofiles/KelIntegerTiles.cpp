#include "audiofiles/KelIntegerTiles.h"

#include <algorithm>
#include <type_traits>

#include "audiofiles/KelLineStage.h"
#include "audiofiles/KelSampleLayouts.h"

#if defined(__SSE2__) || defined(_M_X64)
#define KEL_INTEGER_TILES_SSE2 1
#include <emmintrin.h>
#else
#define KEL_INTEGER_TILES_SSE2 0
#endif

namespace kel {

namespace {

using namespace layouts;

inline float ToFloat(std::uint32_t word)
{
    return float(std::int32_t(word)) * integerToFloatScale;
}

#if KEL_INTEGER_TILES_SSE2
inline __m128 ToFloats(__m128i words)
{
    return _mm_mul_ps(_mm_cvtepi32_ps(words), _mm_set1_ps(integerToFloatScale));
}
#endif

/** One channel's samples of the tile: each frame's word picked out, four
    frames put side by side, converted and stored together. */
template <std::uint32_t (*word)(const std::uint8_t*)>
void GatherChannel(const std::uint8_t* in, std::size_t stride, std::int32_t numFrames, float* dest) noexcept
{
    std::int32_t f = 0;
#if KEL_INTEGER_TILES_SSE2
    for (; f + 4 <= numFrames; f += 4, in += 4 * stride)
        _mm_storeu_ps(dest + f, ToFloats(_mm_setr_epi32(std::int32_t(word(in)), std::int32_t(word(in + stride)),
                                                        std::int32_t(word(in + 2 * stride)),
                                                        std::int32_t(word(in + 3 * stride)))));
#endif
    for (; f < numFrames; ++f, in += stride)
        dest[f] = ToFloat(word(in));
}

#if KEL_INTEGER_TILES_SSE2

/** Little-endian 32-bit integers: four channels of four frames are four
    loads and a 4 x 4 transposition. Returns the channels done. */
std::uint32_t Word32LEChannels(const std::uint8_t* frames, std::size_t stride, std::int32_t numFrames,
                               float* const* out, std::uint32_t numChannels, std::int64_t at) noexcept
{
    const auto load = [](const std::uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); };
    const auto transpose = [&](float* out0, float* out1, float* out2, float* out3, const std::uint8_t* in,
                               std::int32_t count) {
        std::int32_t f = 0;
        for (; f + 4 <= count; f += 4, in += 4 * stride)
        {
            const auto r0 = load(in);
            const auto r1 = load(in + stride);
            const auto r2 = load(in + 2 * stride);
            const auto r3 = load(in + 3 * stride);
            const auto t0 = _mm_unpacklo_epi32(r0, r1);
            const auto t1 = _mm_unpacklo_epi32(r2, r3);
            const auto t2 = _mm_unpackhi_epi32(r0, r1);
            const auto t3 = _mm_unpackhi_epi32(r2, r3);
            _mm_storeu_ps(out0 + f, ToFloats(_mm_unpacklo_epi64(t0, t1)));
            _mm_storeu_ps(out1 + f, ToFloats(_mm_unpackhi_epi64(t0, t1)));
            _mm_storeu_ps(out2 + f, ToFloats(_mm_unpacklo_epi64(t2, t3)));
            _mm_storeu_ps(out3 + f, ToFloats(_mm_unpackhi_epi64(t2, t3)));
        }
        for (; f < count; ++f, in += stride)
        {
            out0[f] = ToFloat(WordAt(in));
            out1[f] = ToFloat(WordAt(in + 4));
            out2[f] = ToFloat(WordAt(in + 8));
            out3[f] = ToFloat(WordAt(in + 12));
        }
    };
    LineStage<4> stage;
    std::uint32_t c = 0;
    for (; c + 4 <= numChannels; c += 4)
    {
        const std::uint8_t* in = frames + std::size_t(c) * 4;
        if (!SharePageOffsets<4>(out + c, at))
        {
            transpose(out[c] + at, out[c + 1] + at, out[c + 2] + at, out[c + 3] + at, in, numFrames);
            continue;
        }
        for (std::int32_t first = 0; first < numFrames; first += lineFrames)
        {
            const auto count = std::min(lineFrames, numFrames - first);
            auto& v = stage.values;
            transpose(v[0], v[1], v[2], v[3], in + std::size_t(first) * stride, count);
            stage.flush(out + c, at + first, count);
        }
    }
    return c;
}

/** Little-endian 16-bit integers, pairs of channels from channel first on:
    one 32-bit word holds both samples of a frame, the first in its low half.
    Four frames of a stereo file are one load. Returns the channels done. */
std::uint32_t Int16LEPairs(const std::uint8_t* frames, std::size_t stride, std::int32_t numFrames,
                           float* const* out, std::uint32_t first, std::uint32_t numChannels,
                           std::int64_t at) noexcept
{
    const auto load = [](const std::uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); };
    std::uint32_t c = first;
    for (; c + 2 <= numChannels; c += 2)
    {
        float* const out0 = out[c] + at;
        float* const out1 = out[c + 1] + at;
        const std::uint8_t* in = frames + std::size_t(c) * 2;
        const __m128i highHalves = _mm_set1_epi32(std::int32_t(0xFFFF0000u));
        std::int32_t f = 0;
        for (; f + 4 <= numFrames; f += 4, in += 4 * stride)
        {
            const __m128i words = stride == 4 ? load(in)
                                              : _mm_setr_epi32(std::int32_t(WordAt(in)),
                                                               std::int32_t(WordAt(in + stride)),
                                                               std::int32_t(WordAt(in + 2 * stride)),
                                                               std::int32_t(WordAt(in + 3 * stride)));
            _mm_storeu_ps(out0 + f, ToFloats(_mm_slli_epi32(words, 16)));
            _mm_storeu_ps(out1 + f, ToFloats(_mm_and_si128(words, highHalves)));
        }
        for (; f < numFrames; ++f, in += stride)
        {
            out0[f] = ToFloat(Int16LE::get(in));
            out1[f] = ToFloat(Int16LE::get(in + 2));
        }
    }
    return c;
}

/** Little-endian 16 or 24-bit integers from the second channel on: each
    sample is the top bytes of the word that ends with it, loaded straight
    into a vector lane (through the general registers, one transfer per
    sample limited the whole conversion) and masked there. Returns the
    channels done. */
template <int width>
std::uint32_t WordTopChannels(const std::uint8_t* frames, std::size_t stride, std::int32_t numFrames,
                              float* const* out, std::uint32_t first, std::uint32_t numChannels,
                              std::int64_t at) noexcept
{
    static_assert(width == 2 || width == 3);
    constexpr std::uint32_t topBits = width == 3 ? 0xFFFFFF00u : 0xFFFF0000u;
    const __m128i mask = _mm_set1_epi32(std::int32_t(topBits));
    const auto load = [](const std::uint8_t* p) { return _mm_loadu_si32(p); };
    const auto four = [&](const std::uint8_t* in, float* dest) {
        const auto low = _mm_unpacklo_epi32(load(in), load(in + stride));
        const auto high = _mm_unpacklo_epi32(load(in + 2 * stride), load(in + 3 * stride));
        _mm_storeu_ps(dest, ToFloats(_mm_and_si128(_mm_unpacklo_epi64(low, high), mask)));
    };
    std::uint32_t c = first;
    if (numFrames == lineFrames && !(c + 2 <= numChannels && SharePageOffsets<2>(out + c, at)))
    {
        // A whole line per channel, without a loop: with 16 frames a tile
        // is as wide as a few dozen channels, and a loop of four rounds per
        // channel cost a sixth of the time. Not when the channels' values
        // share their place in their pages: then the loop's pauses between
        // channels made it faster (bench/ConversionBench.cpp).
        const std::size_t quad = 4 * stride;
        for (; c < numChannels; ++c)
        {
            float* const dest = out[c] + at;
            const std::uint8_t* in = frames + std::size_t(c) * width - (4 - width);
            four(in, dest);
            four(in + quad, dest + 4);
            four(in + 2 * quad, dest + 8);
            four(in + 3 * quad, dest + 12);
        }
        return c;
    }
    for (; c < numChannels; ++c)
    {
        float* const dest = out[c] + at;
        const std::uint8_t* in = frames + std::size_t(c) * width - (4 - width);
        std::int32_t f = 0;
        for (; f + 4 <= numFrames; f += 4, in += 4 * stride)
            four(in, dest + f);
        for (; f < numFrames; ++f, in += stride)
            dest[f] = ToFloat(WordAt(in) & topBits);
    }
    return c;
}

#endif

} // namespace

template <typename Layout>
void ConvertIntegerTile(const std::uint8_t* frames, std::size_t stride, std::int32_t numFrames, float* const* out,
                        std::uint32_t numChannels, std::int64_t at) noexcept
{
    std::uint32_t c = 0;
#if KEL_INTEGER_TILES_SSE2
    if constexpr (std::endian::native == std::endian::little)
    {
        if constexpr (std::is_same_v<Layout, Word32LE>)
            c = Word32LEChannels(frames, stride, numFrames, out, numChannels, at);
        else if constexpr (std::is_same_v<Layout, Int16LE>)
        {
            // Stereo goes by pairs, one load a frame; wider files a channel
            // at a time, as 24-bit files do.
            if (numChannels == 2)
                c = Int16LEPairs(frames, stride, numFrames, out, 0, numChannels, at);
            else
            {
                if (numChannels > 0)
                    GatherChannel<&Layout::get>(frames, stride, numFrames, out[0] + at);
                c = WordTopChannels<2>(frames, stride, numFrames, out, 1, numChannels, at);
            }
        }
        else if constexpr (std::is_same_v<Layout, Int24LE>)
        {
            if (numChannels > 0)
                GatherChannel<&Layout::get>(frames, stride, numFrames, out[0] + at);
            c = WordTopChannels<3>(frames, stride, numFrames, out, 1, numChannels, at);
        }
    }
#endif
    for (; c < numChannels; ++c)
    {
        const std::uint8_t* in = frames + std::size_t(c) * Layout::width;
        if constexpr (Layout::readsByteBefore)
        {
            if (c > 0)
            {
                GatherChannel<&Layout::getWide>(in, stride, numFrames, out[c] + at);
                continue;
            }
        }
        GatherChannel<&Layout::get>(in, stride, numFrames, out[c] + at);
    }
}

template void ConvertIntegerTile<layouts::Unsigned8>(const std::uint8_t*, std::size_t, std::int32_t, float* const*,
                                                     std::uint32_t, std::int64_t) noexcept;
template void ConvertIntegerTile<layouts::Signed8>(const std::uint8_t*, std::size_t, std::int32_t, float* const*,
                                                   std::uint32_t, std::int64_t) noexcept;
template void ConvertIntegerTile<layouts::Int16LE>(const std::uint8_t*, std::size_t, std::int32_t, float* const*,
                                                   std::uint32_t, std::int64_t) noexcept;
template void ConvertIntegerTile<layouts::Int16BE>(const std::uint8_t*, std::size_t, std::int32_t, float* const*,
                                                   std::uint32_t, std::int64_t) noexcept;
template void ConvertIntegerTile<layouts::Int24LE>(const std::uint8_t*, std::size_t, std::int32_t, float* const*,
                                                   std::uint32_t, std::int64_t) noexcept;
template void ConvertIntegerTile<layouts::Int24BE>(const std::uint8_t*, std::size_t, std::int32_t, float* const*,
                                                   std::uint32_t, std::int64_t) noexcept;
template void ConvertIntegerTile<layouts::Word32LE>(const std::uint8_t*, std::size_t, std::int32_t, float* const*,
                                                    std::uint32_t, std::int64_t) noexcept;
template void ConvertIntegerTile<layouts::Word32BE>(const std::uint8_t*, std::size_t, std::int32_t, float* const*,
                                                    std::uint32_t, std::int64_t) noexcept;

} // namespace kel
