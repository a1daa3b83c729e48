// The sample layouts the WAV and AIFF readers share: interleaved frames of
// integers or floats in either byte order become one 32-bit word per sample
// in per-channel arrays (integers left-justified, floats as 32-bit float
// bits), and the integer words become floats in place afterwards.
// Floats that are not finite (NaN, +-inf, and doubles beyond the float range,
// which become inf when narrowed) are written as 0: one such sample in a
// file would otherwise poison every filter after the player.
//
// Any thread; nothing here allocates or blocks.
#pragma once

#include <cstdint>

namespace kel {

// The destination arrays of a reader hold integer words first and floats
// afterwards, in the same memory; may_alias tells the optimiser so.
#if defined(__GNUC__) || defined(__clang__)
using SampleWord [[gnu::may_alias]] = std::int32_t;
using FloatWord [[gnu::may_alias]] = float;
#else
using SampleWord = std::int32_t;
using FloatWord = float;
#endif

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

/** Converts numFrames interleaved frames (bytesPerFrame apart) into the
    first numChannels destination arrays, at index offset onwards. Returns
    true when it wrote 0 for a non-finite float (never for integers). */
using FrameConverter = bool (*)(const std::uint8_t* source, std::int32_t bytesPerFrame, std::int32_t numFrames,
                                SampleWord* const* destinations, std::uint32_t numChannels, std::int64_t offset);

/** The converter for a sample layout, or nullptr for a layout that is not
    read (then nothing is written): 8, 16, 24 and 32-bit integers, 32 and
    64-bit floats (64-bit floats are narrowed to 32 bits; non-finite floats
    become 0). */
FrameConverter ChooseFrameConverter(std::uint32_t bitsPerSample, bool isFloat, SampleByteOrder order,
                                    EightBitSamples eightBit);

/** The scale from a left-justified 32-bit integer to float: 1 / 2^31. */
inline constexpr float integerToFloatScale = 4.656613e-10f;

/** Turns numValues left-justified integers into floats in place. */
void ConvertIntegersToFloats(SampleWord* values, std::int64_t numValues) noexcept;

} // namespace kel
