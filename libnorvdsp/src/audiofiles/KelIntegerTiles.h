// One tile of the integer conversion (KelSampleConversion.cpp): a few
// interleaved frames of integer samples become floats in per-channel arrays,
// converted in registers on their way from the frames to the arrays.
//
// Any thread; allocates nothing, never blocks.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kel {

/** Sample c of frame f (frames stride bytes apart) goes to out[c][at + f] as
    a float, for the first numChannels channels of numFrames frames. Channel
    by channel, so that a tile of 16 frames fills each channel's cache line
    at once. Instantiated for the integer layouts of KelSampleLayouts.h. */
template <typename Layout>
void ConvertIntegerTile(const std::uint8_t* frames, std::size_t stride, std::int32_t numFrames,
                        float* const* out, std::uint32_t numChannels, std::int64_t at) noexcept;

} // namespace kel
