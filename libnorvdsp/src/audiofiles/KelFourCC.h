// Four-character chunk codes as the little-endian 32-bit numbers that
// kel::InputStream::ReadInt32LittleEndian gives for them (big-endian files
// read their codes with ReadInt32BigEndian and compare with FourCCBigEndian).
#pragma once

#include <cstdint>

namespace kel {

constexpr std::uint32_t FourCC(const char (&code)[5]) noexcept
{
    return std::uint32_t(std::uint8_t(code[0])) | (std::uint32_t(std::uint8_t(code[1])) << 8)
         | (std::uint32_t(std::uint8_t(code[2])) << 16) | (std::uint32_t(std::uint8_t(code[3])) << 24);
}

constexpr std::uint32_t FourCCBigEndian(const char (&code)[5]) noexcept
{
    return std::uint32_t(std::uint8_t(code[3])) | (std::uint32_t(std::uint8_t(code[2])) << 8)
         | (std::uint32_t(std::uint8_t(code[1])) << 16) | (std::uint32_t(std::uint8_t(code[0])) << 24);
}

} // namespace kel
