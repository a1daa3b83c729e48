// Where the conversion's transpositions put a few channels' floats. A
// transposition in registers yields four frames of every channel in turn,
// so the channels' cache lines fill a quarter at a time, turn about. That is
// the fastest way unless the arrays' next values lie at (nearly) the same
// place within a 4 KB page, as they do when the arrays are a power of two
// apart (a ring of 4096 or 16384 frames per channel): then such interleaved
// stores filled the arrays up to ten times slower (bench/ConversionBench.cpp,
// buffer:4096 against 4160), the processor apparently taking the stores for
// ones the following loads depend on. For those arrays the values go through
// a stage and leave channel by channel, each channel's line in one burst, at
// the cost of one more store and load per value.
//
// Kernels hold the arrays' or the stage's pointers in local variables:
// stores of vectors may alias anything, so pointers read from memory would
// be read again after each.
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

/** Whether another of the numChannels arrays, at index at, lies less than a
    cache line from the first within a 4 KB page. Compared with the first
    only: arrays equally far apart (an AudioBuffer's) are then all compared,
    and for others the choice only costs speed. */
template <std::uint32_t numChannels>
bool SharePageOffsets(float* const* out, std::int64_t at) noexcept
{
    constexpr std::uintptr_t page = 4096, line = 64;
    const auto first = reinterpret_cast<std::uintptr_t>(out[0] + at);
    for (std::uint32_t c = 1; c < numChannels; ++c)
    {
        const auto distance = (reinterpret_cast<std::uintptr_t>(out[c] + at) - first) % page;
        if (distance < line || distance > page - line)
            return true;
    }
    return false;
}

/** A line of frames of a few channels, written out channel by channel. */
template <std::uint32_t numChannels>
struct LineStage
{
    alignas(16) float values[numChannels][lineFrames];

    /** Writes the first numFrames values of each channel to out[c] + at. */
    void flush(float* const* out, std::int64_t at, std::int32_t numFrames) const noexcept
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
