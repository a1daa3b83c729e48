// Hand-made file bytes for the cases no tool writes (chunk order, zero-length
// chunks, truncation, absurd sizes, rare sub-formats).
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace kel::test {

class ByteBuilder
{
public:
    ByteBuilder& text(const std::string& s)
    {
        bytes.insert(bytes.end(), s.begin(), s.end());
        return *this;
    }
    ByteBuilder& u8(std::uint32_t v)
    {
        bytes.push_back(std::uint8_t(v));
        return *this;
    }
    ByteBuilder& raw(std::initializer_list<std::uint8_t> values)
    {
        bytes.insert(bytes.end(), values.begin(), values.end());
        return *this;
    }
    ByteBuilder& le16(std::uint32_t v) { return u8(v).u8(v >> 8); }
    ByteBuilder& le32(std::uint32_t v) { return le16(v).le16(v >> 16); }
    ByteBuilder& le64(std::uint64_t v) { return le32(std::uint32_t(v)).le32(std::uint32_t(v >> 32)); }
    ByteBuilder& be16(std::uint32_t v) { return u8(v >> 8).u8(v); }
    ByteBuilder& be32(std::uint32_t v) { return be16(v >> 16).be16(v); }
    ByteBuilder& zeros(std::size_t n)
    {
        bytes.insert(bytes.end(), n, 0);
        return *this;
    }
    ByteBuilder& append(const ByteBuilder& other)
    {
        bytes.insert(bytes.end(), other.bytes.begin(), other.bytes.end());
        return *this;
    }
    /** A RIFF chunk: code, 32-bit size, payload, pad byte for odd sizes. */
    ByteBuilder& riffChunk(const std::string& code, const ByteBuilder& payload)
    {
        text(code).le32(std::uint32_t(payload.size())).append(payload);
        if (payload.size() % 2 == 1)
            u8(0);
        return *this;
    }
    /** An AIFF chunk: code, 32-bit big-endian size, payload, pad byte. */
    ByteBuilder& aiffChunk(const std::string& code, const ByteBuilder& payload)
    {
        text(code).be32(std::uint32_t(payload.size())).append(payload);
        if (payload.size() % 2 == 1)
            u8(0);
        return *this;
    }

    std::size_t size() const { return bytes.size(); }

    std::vector<std::uint8_t> bytes;
};

/** A "fmt " payload: tag, channels, rate, byte rate, block align, bits. */
inline ByteBuilder WavFormat(std::uint32_t tag, std::uint32_t channels, std::uint32_t rate, std::uint32_t bits,
                             std::uint32_t bytesPerSecond = 0)
{
    const std::uint32_t align = channels * bits / 8;
    return ByteBuilder().le16(tag).le16(channels).le32(rate).le32(bytesPerSecond ? bytesPerSecond : rate * align)
        .le16(align).le16(bits);
}

/** A whole RIFF/WAVE file around the given chunks. */
inline ByteBuilder RiffWave(const ByteBuilder& chunks)
{
    return ByteBuilder().text("RIFF").le32(std::uint32_t(chunks.size() + 4)).text("WAVE").append(chunks);
}

/** An 80-bit extended float of a whole sample rate, as AIFF's "COMM" holds it. */
inline ByteBuilder ExtendedRate(std::uint32_t rate)
{
    int exponent = 16383 + 31;
    std::uint32_t mantissa = rate;
    while ((mantissa & 0x80000000u) == 0 && mantissa != 0)
    {
        mantissa <<= 1;
        --exponent;
    }
    return ByteBuilder().be16(std::uint32_t(exponent)).be32(mantissa).be32(0);
}

} // namespace kel::test
