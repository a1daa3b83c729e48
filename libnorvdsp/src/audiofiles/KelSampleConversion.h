// The sample layouts the WAV and AIFF readers share: interleaved frames of
// integers or floats in either byte order become floats in per-channel
// arrays, in one pass over cache-sized tiles (no integers are stored on the
// way). An integer becomes float(the integer left-justified in 32 bits)
// / 2^31, exactly as libsndfile's sf_read_float scales it.
// Floats that are not finite (NaN, +-inf, and doubles beyond the float range,
// which become inf when narrowed) are written as 0: one such sample in a
// file would otherwise poison every filter after the player.
//
// Any thread; nothing here allocates or blocks.
#pragma once

#include <cstdint>

namespace kel {

enum class SampleByteOrder
{
    littleEndian,
    bigEndian
};

enum class EightBitSamples
{
    unsignedOffset,  // WAV: 0..255 around 128
    signedTwos       // AIFF: -128..127
};

/** Converts numFrames interleaved frames (bytesPerFrame apart, reading each
    one's bytes no further than its own) into floats in the first
    numChannels destination arrays, at index offset onwards. numChannels may
    be fewer than the frame holds: the other samples are skipped, never
    converted. Returns true when it wrote 0 for a non-finite float (never for
    integers). */
using FrameConverter = bool (*)(const std::uint8_t* source, std::int32_t bytesPerFrame, std::int32_t numFrames,
                                float* const* destinations, std::uint32_t numChannels, std::int64_t offset);

/** The converter for a sample layout, or nullptr for a layout that is not
    read (then nothing is written): 8, 16, 24 and 32-bit integers, 32 and
    64-bit floats (64-bit floats are narrowed to 32 bits; non-finite floats
    become 0). */
FrameConverter ChooseFrameConverter(std::uint32_t bitsPerSample, bool isFloat, SampleByteOrder order,
                                    EightBitSamples eightBit);

/** The scale from a left-justified 32-bit integer to float: 1 / 2^31. */
inline constexpr float integerToFloatScale = 0x1p-31f;

} // namespace kel
