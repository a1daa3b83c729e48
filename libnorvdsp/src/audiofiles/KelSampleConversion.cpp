#include "audiofiles/KelSampleConversion.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <type_traits>

#include "audiofiles/KelFiniteFloatRows.h"
#include "audiofiles/KelIntegerTiles.h"
#include "audiofiles/KelLineStage.h"
#include "audiofiles/KelSampleLayouts.h"

namespace kel {

namespace {

using namespace layouts;

// Frames arrive interleaved and leave as one array per channel, in tiles
// of a few cache lines' worth of frames (16 floats a line) across the
// channels: the frames' bytes are read while they are in the cache, and
// each channel's lines are written whole in one pass over the tile (arrays
// a power of two apart need more care: audiofiles/KelLineStage.h). The
// first tile ends where the first array's next line begins, so that the
// others start on line boundaries too (the arrays of an AudioBuffer are
// equally aligned).

/** Frames per tile: about a thousand samples, whole lines, at least one. */
std::int32_t TileFrames(std::uint32_t numChannels)
{
    constexpr std::uint32_t tileSamples = 1024;
    return std::int32_t(std::max(1u, tileSamples / numChannels / std::uint32_t(lineFrames))) * lineFrames;
}

/** Calls convertTile(first, count) for consecutive tiles of at most
    tileFrames frames covering [0, numFrames), aligned on the lines of
    firstDestination. */
template <typename Tile>
void ForEachTile(const float* firstDestination, std::int32_t numFrames, std::int32_t tileFrames, Tile&& convertTile)
{
    const auto misalignment =
        std::int32_t((reinterpret_cast<std::uintptr_t>(firstDestination) / sizeof(float)) % lineFrames);
    std::int32_t count = misalignment == 0 ? tileFrames : lineFrames - misalignment;
    for (std::int32_t f = 0; f < numFrames; f += count, count = tileFrames)
    {
        count = std::min(count, numFrames - f);
        convertTile(f, count);
    }
}

template <typename Layout>
bool ConvertIntegers(const std::uint8_t* source, std::int32_t bytesPerFrame, std::int32_t numFrames,
                     float* const* destinations, std::uint32_t numChannels, std::int64_t offset)
{
    if (numChannels == 0)
        return false;
    const auto stride = std::size_t(bytesPerFrame);
    ForEachTile(destinations[0] + offset, numFrames, TileFrames(numChannels), [&](std::int32_t f, std::int32_t count) {
        ConvertIntegerTile<Layout>(source + std::size_t(f) * stride, stride, count, destinations, numChannels,
                                   offset + f);
    });
    return false;
}

// Floats travel as bits: the frames' words, or a tile of words made from
// them, are handed out by StoreFiniteFloatRows, which zeroes the non-finite
// ones on the way.
constexpr std::uint32_t tileChannels = 64;

template <typename Layout>
void FillTile(std::uint32_t (&tile)[lineFrames][tileChannels], const std::uint8_t* frames, std::size_t stride,
              std::int32_t numFrames, std::uint32_t numChannels)
{
    for (std::int32_t i = 0; i < numFrames; ++i)
    {
        const std::uint8_t* in = frames + std::size_t(i) * stride;
        for (std::uint32_t c = 0; c < numChannels; ++c)
            tile[i][c] = Layout::get(in + std::size_t(c) * Layout::width);
    }
}

template <typename Layout>
bool ConvertFloats(const std::uint8_t* source, std::int32_t bytesPerFrame, std::int32_t numFrames,
                   float* const* destinations, std::uint32_t numChannels, std::int64_t offset)
{
    if (numChannels == 0)
        return false;
    bool replaced = false;
    const auto stride = std::size_t(bytesPerFrame);
    // Little-endian 32-bit floats need no conversion: the frames themselves
    // are the rows to hand out.
    if constexpr (std::is_same_v<Layout, Word32LE> && std::endian::native == std::endian::little)
    {
        const auto rows = [&](std::int32_t f, std::int32_t count) {
            replaced |= StoreFiniteFloatRows(source + std::size_t(f) * stride, stride, count, numChannels,
                                             destinations, offset + f);
        };
        ForEachTile(destinations[0] + offset, numFrames, TileFrames(numChannels), rows);
        return replaced;
    }
    alignas(16) std::uint32_t tile[lineFrames][tileChannels];
    ForEachTile(destinations[0] + offset, numFrames, lineFrames, [&](std::int32_t f, std::int32_t count) {
        for (std::uint32_t first = 0; first < numChannels; first += tileChannels)
        {
            const auto channels = std::min(tileChannels, numChannels - first);
            FillTile<Layout>(tile, source + std::size_t(f) * stride + std::size_t(first) * Layout::width, stride,
                             count, channels);
            replaced |= StoreFiniteFloatRows(reinterpret_cast<const std::uint8_t*>(tile), sizeof(tile[0]), count,
                                             channels, destinations + first, offset + f);
        }
    });
    return replaced;
}

} // namespace

FrameConverter ChooseFrameConverter(std::uint32_t bitsPerSample, bool isFloat, SampleByteOrder order,
                                    EightBitSamples eightBit)
{
    const bool little = order == SampleByteOrder::littleEndian;
    if (isFloat)
    {
        if (bitsPerSample == 32)
            return little ? &ConvertFloats<Word32LE> : &ConvertFloats<Word32BE>;
        if (bitsPerSample == 64)
            return little ? &ConvertFloats<Double64<SampleByteOrder::littleEndian>>
                          : &ConvertFloats<Double64<SampleByteOrder::bigEndian>>;
        return nullptr;
    }
    switch (bitsPerSample)
    {
    case 8:
        return eightBit == EightBitSamples::unsignedOffset ? &ConvertIntegers<Unsigned8> : &ConvertIntegers<Signed8>;
    case 16: return little ? &ConvertIntegers<Int16LE> : &ConvertIntegers<Int16BE>;
    case 24: return little ? &ConvertIntegers<Int24LE> : &ConvertIntegers<Int24BE>;
    case 32: return little ? &ConvertIntegers<Word32LE> : &ConvertIntegers<Word32BE>;
    default: return nullptr;
    }
}

} // namespace kel
