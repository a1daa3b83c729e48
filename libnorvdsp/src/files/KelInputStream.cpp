#include "files/KelInputStream.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace kel {

void InputStream::readOrZero(void* dest, int n)
{
    const auto got = std::max<std::int64_t>(0, Read(dest, n));
    if (got < n)
        std::memset(static_cast<std::uint8_t*>(dest) + got, 0, std::size_t(n - got));
}

std::uint8_t InputStream::ReadByte()
{
    std::uint8_t b = 0;
    readOrZero(&b, 1);
    return b;
}

std::int16_t InputStream::ReadInt16LittleEndian()
{
    std::uint8_t b[2];
    readOrZero(b, 2);
    return std::int16_t(std::uint16_t(b[0] | (b[1] << 8)));
}

std::int16_t InputStream::ReadInt16BigEndian()
{
    std::uint8_t b[2];
    readOrZero(b, 2);
    return std::int16_t(std::uint16_t(b[1] | (b[0] << 8)));
}

std::int32_t InputStream::ReadInt32LittleEndian()
{
    std::uint8_t b[4];
    readOrZero(b, 4);
    return std::int32_t(std::uint32_t(b[0]) | (std::uint32_t(b[1]) << 8) | (std::uint32_t(b[2]) << 16)
                        | (std::uint32_t(b[3]) << 24));
}

std::int32_t InputStream::ReadInt32BigEndian()
{
    std::uint8_t b[4];
    readOrZero(b, 4);
    return std::int32_t(std::uint32_t(b[3]) | (std::uint32_t(b[2]) << 8) | (std::uint32_t(b[1]) << 16)
                        | (std::uint32_t(b[0]) << 24));
}

std::int64_t InputStream::ReadInt64LittleEndian()
{
    const auto low = std::uint32_t(ReadInt32LittleEndian());
    const auto high = std::uint32_t(ReadInt32LittleEndian());
    return std::int64_t((std::uint64_t(high) << 32) | low);
}

void InputStream::SkipNextBytes(std::int64_t numBytes)
{
    if (numBytes <= 0)
        return;
    const auto length = getTotalLength();
    if (length > 0)
    {
        const auto position = getPosition();
        setPosition(numBytes >= length - position ? length : position + numBytes);
        return;
    }
    // Length unknown: read and discard.
    std::array<std::uint8_t, 4096> sink{};
    while (numBytes > 0)
    {
        const auto got = Read(sink.data(), std::min<std::int64_t>(numBytes, std::int64_t(sink.size())));
        if (got <= 0)
            break;
        numBytes -= got;
    }
}

MemoryBlock InputStream::ReadIntoMemory(std::int64_t maxBytes)
{
    MemoryBlock block;
    if (maxBytes <= 0)
        return block;
    const auto length = getTotalLength();
    if (length > 0)
        block.Reserve(std::size_t(std::clamp<std::int64_t>(length - getPosition(), 0, maxBytes)));
    constexpr std::int64_t step = 1 << 16;
    while (maxBytes > 0)
    {
        const auto want = std::min(step, maxBytes);
        const auto old = block.size();
        if (old + std::size_t(want) > block.capacity())
            block.Reserve(std::max(old + std::size_t(want), block.capacity() * 2));
        block.Resize(old + std::size_t(want));
        const auto got = std::max<std::int64_t>(0, Read(block.data() + old, want));
        block.Resize(old + std::size_t(got));
        if (got < want)
            break;
        maxBytes -= got;
    }
    return block;
}

MemoryInputStream::MemoryInputStream(const void* data, std::size_t numBytes)
{
    bytes.Resize(numBytes);
    if (numBytes > 0)
        std::memcpy(bytes.data(), data, numBytes);
}

std::int64_t MemoryInputStream::Read(void* dest, std::int64_t numBytes)
{
    const auto available = std::int64_t(bytes.size()) - position;
    const auto n = std::clamp<std::int64_t>(numBytes, 0, std::max<std::int64_t>(0, available));
    if (n > 0)
        std::memcpy(dest, bytes.data() + position, std::size_t(n));
    position += n;
    return n;
}

bool MemoryInputStream::setPosition(std::int64_t newPosition)
{
    position = std::clamp<std::int64_t>(newPosition, 0, std::int64_t(bytes.size()));
    return position == newPosition;
}

} // namespace kel
