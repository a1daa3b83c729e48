// The last step of the float conversions (KelSampleConversion.cpp): rows of
// native float bits, one row per frame, handed out to per-channel arrays,
// with every non-finite value (exponent bits all ones: NaN, +-inf) written
// as 0.
//
// Any thread; allocates nothing, never blocks.
#pragma once

#include <cstddef>
#include <cstdint>


namespace kel {

/** Word c of row f (rows rowBytes apart) goes to out[c][at + f], 0 when it
    is not a finite float. Returns whether any was replaced. */
bool StoreFiniteFloatRows(const std::uint8_t* rows, std::size_t rowBytes, std::int32_t numFrames,
                          std::uint32_t numChannels, float* const* out, std::int64_t at) noexcept;

/** Writes 0 over the non-finite floats among out[c][at .. at + numFrames)
    for each of the numChannels arrays; returns whether there were any. */
bool ZeroNonFiniteFloats(float* const* out, std::uint32_t numChannels, std::int64_t at,
                         std::int32_t numFrames) noexcept;

} // namespace kel
