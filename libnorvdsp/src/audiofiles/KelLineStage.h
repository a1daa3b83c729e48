// A few channels' floats for up to a cache line of frames, collected in the
// order a transposition in registers yields them (four frames of every
// channel in turn) and then written out channel by channel, each channel's
// line in one burst. Written straight from the registers, the channels'
// lines would fill a quarter at a time, turn about; when the channel arrays
// are a power of two apart those lines share cache sets, and each was
// evicted before it was full: such arrays filled ten times slower
// (bench/ConversionBench.cpp, buffer:4096 against 4160).
//
// SSE2 only (KEL_LINE_STAGE); used by the conversion's kernels. Allocates
// nothing.
#pragma once

#include <cstdint>
#include <cstring>

#if defined(__SSE2__) || defined(_M_X64)
#define KEL_LINE_STAGE 1
#include <emmintrin.h>
#else
#define KEL_LINE_STAGE 0
#endif

namespace kel {

/** Floats in a 64-byte cache line: the frames of a tile. */
inline constexpr std::int32_t lineFrames = 16;

#if KEL_LINE_STAGE

template <std::uint32_t numChannels>
struct LineStage
{
    alignas(16) float values[numChannels][lineFrames];

    void put(std::uint32_t channel, std::int32_t frame, __m128 four) { _mm_store_ps(values[channel] + frame, four); }
    void put(std::uint32_t channel, std::int32_t frame, float one) { values[channel][frame] = one; }

    /** Writes the first numFrames values of each channel to out[c] + at. */
    void flush(float* const* out, std::int64_t at, std::int32_t numFrames) const
    {
        // A whole line is a copy of known size, which compilers inline.
        if (numFrames == lineFrames)
            for (std::uint32_t c = 0; c < numChannels; ++c)
                std::memcpy(out[c] + at, values[c], sizeof(values[c]));
        else
            for (std::uint32_t c = 0; c < numChannels; ++c)
                std::memcpy(out[c] + at, values[c], std::size_t(numFrames) * sizeof(float));
    }
};

#endif

} // namespace kel
