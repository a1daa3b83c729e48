// Planar channels to interleaved frames, the way back of the readers'
// conversion: what the WAV writer and the decode verb write out. The work
// goes in tiles of 16 frames by 64 channels, so that the channels' lines
// are read and the frames' lines written while they are in the cache,
// whatever the channels' arrays' spacing.
//
// Any thread; allocates nothing, never blocks.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kel {

/** Writes channels[c][firstFrame + f] to out[f * numChannels + c] for
    numFrames frames of the numChannels arrays, converted to the output's
    sample type. */
void Interleave(const float* const* channels, std::uint32_t numChannels, std::size_t firstFrame,
                std::size_t numFrames, float* out) noexcept;
void Interleave(const float* const* channels, std::uint32_t numChannels, std::size_t firstFrame,
                std::size_t numFrames, double* out) noexcept;
void Interleave(const double* const* channels, std::uint32_t numChannels, std::size_t firstFrame,
                std::size_t numFrames, float* out) noexcept;
void Interleave(const double* const* channels, std::uint32_t numChannels, std::size_t firstFrame,
                std::size_t numFrames, double* out) noexcept;

} // namespace kel
