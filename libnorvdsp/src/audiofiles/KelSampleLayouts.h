// How the bytes of one sample of each layout become a 32-bit word:
// integers left-justified, floats as 32-bit float bits (doubles narrowed).
// Shared by the conversion's tile kernels (KelSampleConversion.cpp,
// KelIntegerTiles.cpp); nothing else needs them.
//
// Any thread; nothing here allocates or blocks.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "audiofiles/KelSampleConversion.h"

namespace kel::layouts {

/** The bytes of a word in the other order (C++20 has no std::byteswap;
    compilers turn this into one instruction). */
inline std::uint32_t ByteSwap(std::uint32_t w)
{
    return (w >> 24) | ((w >> 8) & 0xFF00u) | ((w << 8) & 0xFF0000u) | (w << 24);
}

/** The native 32-bit word at p. */
inline std::uint32_t WordAt(const std::uint8_t* p)
{
    std::uint32_t word;
    std::memcpy(&word, p, 4);
    return word;
}

inline std::uint32_t LittleEndianWordAt(const std::uint8_t* p)
{
    const auto word = WordAt(p);
    return std::endian::native == std::endian::little ? word : ByteSwap(word);
}

inline std::uint32_t BigEndianWordAt(const std::uint8_t* p)
{
    const auto word = WordAt(p);
    return std::endian::native == std::endian::big ? word : ByteSwap(word);
}

// get(s) reads the sample's own bytes only. A layout with readsByteBefore
// also has getWide(s), which reads the byte before the sample as well (one
// load instead of three): valid for every channel but the first.
struct Unsigned8
{
    static constexpr int width = 1;
    static constexpr bool readsByteBefore = false;
    static std::uint32_t get(const std::uint8_t* s) { return (std::uint32_t(s[0]) << 24) ^ 0x80000000u; }
};
struct Signed8
{
    static constexpr int width = 1;
    static constexpr bool readsByteBefore = false;
    static std::uint32_t get(const std::uint8_t* s) { return std::uint32_t(s[0]) << 24; }
};
struct Int16LE
{
    static constexpr int width = 2;
    static constexpr bool readsByteBefore = false;
    static std::uint32_t get(const std::uint8_t* s)
    {
        return (std::uint32_t(s[0]) << 16) | (std::uint32_t(s[1]) << 24);
    }
};
struct Int16BE
{
    static constexpr int width = 2;
    static constexpr bool readsByteBefore = false;
    static std::uint32_t get(const std::uint8_t* s)
    {
        return (std::uint32_t(s[1]) << 16) | (std::uint32_t(s[0]) << 24);
    }
};
struct Int24LE
{
    static constexpr int width = 3;
    static constexpr bool readsByteBefore = true;
    static std::uint32_t get(const std::uint8_t* s)
    {
        return (std::uint32_t(s[0]) << 8) | (std::uint32_t(s[1]) << 16) | (std::uint32_t(s[2]) << 24);
    }
    /** The sample is the top three bytes of the word that ends with it. */
    static std::uint32_t getWide(const std::uint8_t* s) { return LittleEndianWordAt(s - 1) & 0xFFFFFF00u; }
};
struct Int24BE
{
    static constexpr int width = 3;
    static constexpr bool readsByteBefore = true;
    static std::uint32_t get(const std::uint8_t* s)
    {
        return (std::uint32_t(s[2]) << 8) | (std::uint32_t(s[1]) << 16) | (std::uint32_t(s[0]) << 24);
    }
    static std::uint32_t getWide(const std::uint8_t* s) { return BigEndianWordAt(s - 1) << 8; }
};
struct Word32LE  // 32-bit integers and 32-bit float bits alike
{
    static constexpr int width = 4;
    static constexpr bool readsByteBefore = false;
    static std::uint32_t get(const std::uint8_t* s) { return LittleEndianWordAt(s); }
};
struct Word32BE
{
    static constexpr int width = 4;
    static constexpr bool readsByteBefore = false;
    static std::uint32_t get(const std::uint8_t* s) { return BigEndianWordAt(s); }
};
template <SampleByteOrder order>
struct Double64
{
    static constexpr int width = 8;
    static constexpr bool readsByteBefore = false;
    static std::uint32_t get(const std::uint8_t* s)
    {
        std::uint64_t bits;
        std::memcpy(&bits, s, 8);
        const bool swap = (order == SampleByteOrder::littleEndian) != (std::endian::native == std::endian::little);
        if (swap)
            bits = (std::uint64_t(ByteSwap(std::uint32_t(bits))) << 32) | ByteSwap(std::uint32_t(bits >> 32));
        return std::bit_cast<std::uint32_t>(float(std::bit_cast<double>(bits)));
    }
};

} // namespace kel::layouts
