#include "audiofiles/KelSampleConversion.h"

#include <bit>
#include <cstring>

namespace kel {

namespace {

// Each layout turns the bytes of one sample into the word written for it.
struct Unsigned8
{
    static constexpr int width = 1;
    static std::uint32_t get(const std::uint8_t* s) { return (std::uint32_t(s[0]) << 24) ^ 0x80000000u; }
};
struct Signed8
{
    static constexpr int width = 1;
    static std::uint32_t get(const std::uint8_t* s) { return std::uint32_t(s[0]) << 24; }
};
struct Int16LE
{
    static constexpr int width = 2;
    static std::uint32_t get(const std::uint8_t* s) { return (std::uint32_t(s[0]) << 16) | (std::uint32_t(s[1]) << 24); }
};
struct Int16BE
{
    static constexpr int width = 2;
    static std::uint32_t get(const std::uint8_t* s) { return (std::uint32_t(s[1]) << 16) | (std::uint32_t(s[0]) << 24); }
};
struct Int24LE
{
    static constexpr int width = 3;
    static std::uint32_t get(const std::uint8_t* s)
    {
        return (std::uint32_t(s[0]) << 8) | (std::uint32_t(s[1]) << 16) | (std::uint32_t(s[2]) << 24);
    }
};
struct Int24BE
{
    static constexpr int width = 3;
    static std::uint32_t get(const std::uint8_t* s)
    {
        return (std::uint32_t(s[2]) << 8) | (std::uint32_t(s[1]) << 16) | (std::uint32_t(s[0]) << 24);
    }
};
struct Word32LE  // 32-bit integers and 32-bit float bits alike
{
    static constexpr int width = 4;
    static std::uint32_t get(const std::uint8_t* s)
    {
        return std::uint32_t(s[0]) | (std::uint32_t(s[1]) << 8) | (std::uint32_t(s[2]) << 16)
             | (std::uint32_t(s[3]) << 24);
    }
};
struct Word32BE
{
    static constexpr int width = 4;
    static std::uint32_t get(const std::uint8_t* s)
    {
        return std::uint32_t(s[3]) | (std::uint32_t(s[2]) << 8) | (std::uint32_t(s[1]) << 16)
             | (std::uint32_t(s[0]) << 24);
    }
};
template <SampleByteOrder order>
struct Double64
{
    static constexpr int width = 8;
    static std::uint32_t get(const std::uint8_t* s)
    {
        std::uint64_t bits = 0;
        for (int i = 0; i < 8; ++i)
            bits |= std::uint64_t(s[order == SampleByteOrder::littleEndian ? i : 7 - i]) << (8 * i);
        return std::bit_cast<std::uint32_t>(float(std::bit_cast<double>(bits)));
    }
};

// Channel by channel: the source is read with the frame's stride (it sits
// in a small scratch block, in cache) and each destination is written
// contiguously.
template <typename Layout>
void ConvertFrames(const std::uint8_t* source, std::int32_t bytesPerFrame, std::int32_t numFrames,
                   SampleWord* const* destinations, std::uint32_t numChannels, std::int64_t offset)
{
    for (std::uint32_t c = 0; c < numChannels; ++c)
    {
        SampleWord* out = destinations[c] + offset;
        const std::uint8_t* in = source + std::size_t(c) * Layout::width;
        for (std::int32_t f = 0; f < numFrames; ++f, in += bytesPerFrame)
            out[f] = SampleWord(Layout::get(in));
    }
}

} // namespace

FrameConverter ChooseFrameConverter(std::uint32_t bitsPerSample, bool isFloat, SampleByteOrder order,
                                    EightBitSamples eightBit)
{
    const bool little = order == SampleByteOrder::littleEndian;
    if (isFloat)
    {
        if (bitsPerSample == 32)
            return little ? &ConvertFrames<Word32LE> : &ConvertFrames<Word32BE>;
        if (bitsPerSample == 64)
            return little ? &ConvertFrames<Double64<SampleByteOrder::littleEndian>>
                          : &ConvertFrames<Double64<SampleByteOrder::bigEndian>>;
        return nullptr;
    }
    switch (bitsPerSample)
    {
    case 8: return eightBit == EightBitSamples::unsignedOffset ? &ConvertFrames<Unsigned8> : &ConvertFrames<Signed8>;
    case 16: return little ? &ConvertFrames<Int16LE> : &ConvertFrames<Int16BE>;
    case 24: return little ? &ConvertFrames<Int24LE> : &ConvertFrames<Int24BE>;
    case 32: return little ? &ConvertFrames<Word32LE> : &ConvertFrames<Word32BE>;
    default: return nullptr;
    }
}

void ConvertIntegersToFloats(SampleWord* values, std::int64_t numValues) noexcept
{
    // Written as fixed-size groups so that the compiler emits vector code for
    // the bulk (16 at a time), then 4, then single values.
    auto* out = reinterpret_cast<FloatWord*>(values);
    std::int64_t i = 0;
    for (; i + 16 <= numValues; i += 16)
        for (int k = 0; k < 16; ++k)
            out[i + k] = float(values[i + k]) * integerToFloatScale;
    for (; i + 4 <= numValues; i += 4)
        for (int k = 0; k < 4; ++k)
            out[i + k] = float(values[i + k]) * integerToFloatScale;
    for (; i < numValues; ++i)
        out[i] = float(values[i]) * integerToFloatScale;
}

} // namespace kel
