#include "audiofiles/KelSampleConversion.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <type_traits>

#include "audiofiles/KelFiniteFloatRows.h"

#if defined(__SSE2__) || defined(_M_X64)
#define KEL_HAVE_SSE2 1
#include <emmintrin.h>
#else
#define KEL_HAVE_SSE2 0
#endif

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

// Frames arrive interleaved and leave as one array per channel. The work
// goes in tiles of 16 frames by up to 64 channels: first each frame's
// samples become words side by side in the tile (a contiguous loop the
// compiler vectorises), then 4 x 4 transposes hand every channel its 16
// values as four adjacent 16-byte stores. Writing a channel's values in one
// burst matters: channel arrays a power of two apart share cache sets, and
// values scattered one by one over 64 of them would evict each other's lines
// between writes.
constexpr std::uint32_t tileChannels = 64;
constexpr std::int32_t tileFrames = 16;

template <typename Layout>
void FillTile(std::uint32_t (&tile)[tileFrames][tileChannels], const std::uint8_t* frames, std::size_t stride,
              std::int32_t numFrames, std::uint32_t numChannels)
{
    for (std::int32_t i = 0; i < numFrames; ++i)
    {
        const std::uint8_t* in = frames + std::size_t(i) * stride;
        if constexpr (std::is_same_v<Layout, Int24LE> && std::endian::native == std::endian::little)
        {
            // A 24-bit sample is the top three bytes of the 32-bit word that
            // ends with it: one load and a mask instead of three loads. The
            // first sample has no byte before it inside the frame.
            if (numChannels == 0)
                continue;
            tile[i][0] = Layout::get(in);
            for (std::uint32_t c = 1; c < numChannels; ++c)
            {
                std::uint32_t word;
                std::memcpy(&word, in + std::size_t(c) * 3 - 1, 4);
                tile[i][c] = word & 0xFFFFFF00u;
            }
        }
        else
        {
            for (std::uint32_t c = 0; c < numChannels; ++c)
                tile[i][c] = Layout::get(in + std::size_t(c) * Layout::width);
        }
    }
}

/** Reads the native 32-bit word at p. */
std::uint32_t WordAt(const std::uint8_t* p)
{
    std::uint32_t word;
    std::memcpy(&word, p, 4);
    return word;
}

/** Hands out rows of native 32-bit words, one row per frame and rowBytes
    apart, to the channels: word c of row f goes to out[c][at + f]. Returns
    false: integers are never replaced (the signature is the float one's). */
bool StoreRows(const std::uint8_t* rows, std::size_t rowBytes, std::int32_t numFrames, std::uint32_t numChannels,
               SampleWord* const* out, std::int64_t at) noexcept
{
    std::uint32_t c = 0;
#if KEL_HAVE_SSE2
    for (; c + 4 <= numChannels; c += 4)
    {
        // Held in locals: the stores may alias memory, so pointers read from
        // the array would be read again after every store.
        SampleWord* const out0 = out[c] + at;
        SampleWord* const out1 = out[c + 1] + at;
        SampleWord* const out2 = out[c + 2] + at;
        SampleWord* const out3 = out[c + 3] + at;
        const std::uint8_t* in = rows + std::size_t(c) * 4;
        std::int32_t f = 0;
        for (; f + 4 <= numFrames; f += 4, in += 4 * rowBytes)
        {
            const auto r0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
            const auto r1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + rowBytes));
            const auto r2 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 2 * rowBytes));
            const auto r3 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 3 * rowBytes));
            const auto t0 = _mm_unpacklo_epi32(r0, r1);
            const auto t1 = _mm_unpacklo_epi32(r2, r3);
            const auto t2 = _mm_unpackhi_epi32(r0, r1);
            const auto t3 = _mm_unpackhi_epi32(r2, r3);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out0 + f), _mm_unpacklo_epi64(t0, t1));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out1 + f), _mm_unpackhi_epi64(t0, t1));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out2 + f), _mm_unpacklo_epi64(t2, t3));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out3 + f), _mm_unpackhi_epi64(t2, t3));
        }
        for (; f < numFrames; ++f, in += rowBytes)
        {
            out0[f] = SampleWord(WordAt(in));
            out1[f] = SampleWord(WordAt(in + 4));
            out2[f] = SampleWord(WordAt(in + 8));
            out3[f] = SampleWord(WordAt(in + 12));
        }
    }
#endif
    for (; c < numChannels; ++c)
    {
        SampleWord* const channel = out[c] + at;
        for (std::int32_t f = 0; f < numFrames; ++f)
            channel[f] = SampleWord(WordAt(rows + std::size_t(f) * rowBytes + std::size_t(c) * 4));
    }
    return false;
}

/** Integer words pass as they are; with finiteOnly the words are float bits
    and the non-finite ones become 0 (32-bit integers and floats share a
    layout). Returns whether any did. */
template <typename Layout, bool finiteOnly = false>
bool ConvertFrames(const std::uint8_t* source, std::int32_t bytesPerFrame, std::int32_t numFrames,
                   SampleWord* const* destinations, std::uint32_t numChannels, std::int64_t offset)
{
    const auto store = finiteOnly ? &StoreFiniteFloatRows : &StoreRows;
    bool replaced = false;
    const auto stride = std::size_t(bytesPerFrame);
    // Little-endian 32-bit words need no conversion: the frames themselves
    // are the rows to hand out.
    if constexpr (std::is_same_v<Layout, Word32LE> && std::endian::native == std::endian::little)
    {
        for (std::int32_t f = 0; f < numFrames; f += tileFrames)
            replaced |= store(source + std::size_t(f) * stride, stride, std::min(tileFrames, numFrames - f),
                              numChannels, destinations, offset + f);
        return replaced;
    }
    alignas(16) std::uint32_t tile[tileFrames][tileChannels];
    for (std::int32_t f = 0; f < numFrames; f += tileFrames)
    {
        const auto frames = std::min(tileFrames, numFrames - f);
        for (std::uint32_t first = 0; first < numChannels; first += tileChannels)
        {
            const auto channels = std::min(tileChannels, numChannels - first);
            FillTile<Layout>(tile, source + std::size_t(f) * stride + std::size_t(first) * Layout::width, stride,
                             frames, channels);
            replaced |= store(reinterpret_cast<const std::uint8_t*>(tile), sizeof(tile[0]), frames, channels,
                              destinations + first, offset + f);
        }
    }
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
            return little ? &ConvertFrames<Word32LE, true> : &ConvertFrames<Word32BE, true>;
        if (bitsPerSample == 64)
            return little ? &ConvertFrames<Double64<SampleByteOrder::littleEndian>, true>
                          : &ConvertFrames<Double64<SampleByteOrder::bigEndian>, true>;
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
