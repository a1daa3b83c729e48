#include "osc/KelOscInputStream.h"

#include <bit>
#include <cstring>

#include "common/KelException.h"

namespace kel {

namespace {

std::uint32_t ByteSwap(std::uint32_t v) noexcept
{
    return (v >> 24) | ((v >> 8) & 0xFF00u) | ((v << 8) & 0xFF0000u) | (v << 24);
}

std::uint64_t ByteSwap(std::uint64_t v) noexcept
{
    return (std::uint64_t(ByteSwap(std::uint32_t(v))) << 32) | ByteSwap(std::uint32_t(v >> 32));
}

} // namespace

OscInputStream::OscInputStream(const void* bytes, std::size_t numBytes) noexcept
    : data(static_cast<const std::uint8_t*>(bytes)), size(bytes == nullptr ? 0 : numBytes)
{
}

OscInputStream::OscInputStream(const MemoryBlock& bytes) noexcept : OscInputStream(bytes.data(), bytes.size()) {}

template <typename UInt>
UInt OscInputStream::readBigEndian() noexcept
{
    UInt value = 0;
    std::memcpy(&value, data + position, sizeof value);
    position += sizeof value;
    if constexpr (std::endian::native == std::endian::little)
        value = ByteSwap(value);
    return value;
}

void OscInputStream::noteFailure(std::size_t offset) noexcept
{
    // The innermost read notes first, as the exception leaves it.
    if (!failureNoted)
    {
        failureOffset = offset;
        failureNoted = true;
    }
}

std::int32_t OscInputStream::ReadInt32()
{
    if (getNumBytesRemaining() < 4)
        throw Exception("OSC input stream exhausted while reading int32", KEL_HERE);
    return std::int32_t(readBigEndian<std::uint32_t>());
}

std::int64_t OscInputStream::ReadInt64()
{
    if (getNumBytesRemaining() < 8)
        throw Exception("OSC input stream exhausted while reading int64", KEL_HERE);
    return std::int64_t(readBigEndian<std::uint64_t>());
}

float OscInputStream::ReadFloat32()
{
    if (getNumBytesRemaining() < 4)
        throw Exception("OSC input stream exhausted while reading float", KEL_HERE);
    return std::bit_cast<float>(readBigEndian<std::uint32_t>());
}

double OscInputStream::ReadFloat64()
{
    if (getNumBytesRemaining() < 8)
        throw Exception("OSC input stream exhausted while reading double", KEL_HERE);
    return std::bit_cast<double>(readBigEndian<std::uint64_t>());
}

OscTimeTag OscInputStream::ReadTimeTag()
{
    if (getNumBytesRemaining() < 8)
        throw Exception("OSC input stream exhausted while reading time tag", KEL_HERE);
    return OscTimeTag{readBigEndian<std::uint64_t>()};
}

void OscInputStream::ReadPadding(std::size_t itemSize)
{
    for (std::size_t n = (4 - itemSize % 4) % 4; n > 0; --n)
        if (isExhausted() || data[position++] != 0)
            throw Exception("OSC input stream format error: missing padding zeros", KEL_HERE);
}

std::string_view OscInputStream::readStringView()
{
    if (isExhausted())
        throw Exception("OSC input stream exhausted while reading string", KEL_HERE);
    const void* zero = std::memchr(data + position, 0, getNumBytesRemaining());
    if (zero == nullptr)
        throw Exception("OSC input stream exhausted before finding null terminator of string", KEL_HERE);
    const std::string_view text(reinterpret_cast<const char*>(data + position),
                                std::size_t(static_cast<const std::uint8_t*>(zero) - (data + position)));
    position += text.size() + 1;
    ReadPadding(text.size() + 1);
    return text;
}

String OscInputStream::ReadString()
{
    return String(readStringView());
}

MemoryBlock OscInputStream::ReadBlob()
{
    if (getNumBytesRemaining() < 4)
        throw Exception("OSC input stream exhausted while reading blob", KEL_HERE);
    const auto length = std::size_t(readBigEndian<std::uint32_t>());
    if (getNumBytesRemaining() < length)
        throw Exception("OSC input stream exhausted before reaching end of blob", KEL_HERE);
    MemoryBlock bytes(length);
    if (length != 0)
        std::memcpy(bytes.data(), data + position, length);
    position += length;
    ReadPadding(length);
    return bytes;
}

std::string_view OscInputStream::readTypeTags()
{
    if (isExhausted())
        throw Exception("OSC input stream exhausted while reading type tag string", KEL_HERE);
    if (data[position] != ',')
        throw Exception("OSC input stream format error: expected type tag string", KEL_HERE);
    const std::size_t start = ++position;
    for (;;)
    {
        if (isExhausted())
            throw Exception("OSC input stream exhausted while reading type tag string", KEL_HERE);
        const char tag = char(data[position]);
        if (tag == 0)
            break;
        switch (tag)
        {
            case 'i': case 'h': case 'f': case 'd': case 's': case 'b':
            case 'T': case 'F': case 'N': case 'I': case 'r':
                ++position;
                break;
            default:
                throw Exception(String("OSC input stream format error: encountered unsupported type tag : ") + tag,
                                KEL_HERE);
        }
    }
    const std::string_view tags(reinterpret_cast<const char*>(data + start), position - start);
    ++position; // the terminating zero
    ReadPadding(tags.size() + 2);
    return tags;
}

String OscInputStream::ReadTypeTagString()
{
    return String(readTypeTags());
}

OscArgument OscInputStream::ReadArgument(char tag)
{
    switch (tag)
    {
        case 'i': return OscArgument::fromInt32(ReadInt32());
        case 'h': return OscArgument::fromInt64(ReadInt64());
        case 'f': return OscArgument::fromFloat32(ReadFloat32());
        case 'd': return OscArgument::fromFloat64(ReadFloat64());
        case 's': return OscArgument::fromString(readStringView());
        case 'b': return OscArgument::fromBlob(ReadBlob());
        case 'T': return OscArgument::fromBool(true);
        case 'F': return OscArgument::fromBool(false);
        default: throw Exception("OSC input stream: internal error while reading message argument", KEL_HERE);
    }
}

OscMessage OscInputStream::ReadMessage(std::size_t messageSize)
{
    const std::size_t start = position;
    if (messageOffsets != nullptr)
        messageOffsets->PushBack(start);
    OscMessage message{OscAddressPattern(readStringView())};
    const std::string_view tags = readTypeTags();
    message.ReserveArguments(tags.size());
    for (const char tag : tags)
        message.AddArgument(ReadArgument(tag));
    if (position - start != messageSize)
        throw Exception("OSC input stream format error: wrong element content size encountered while reading message",
                        KEL_HERE);
    return message;
}

OscBundle OscInputStream::ReadBundle(std::size_t bundleSize)
{
    if (bundleSize < 4)
        throw Exception("OSC input stream format error: invalid size", KEL_HERE);
    const std::size_t start = position;
    if (getNumBytesRemaining() < 16)
        throw Exception("OSC input stream exhausted while reading bundle", KEL_HERE);
    if (readStringView() != "#bundle")
        throw Exception("OSC input stream format error: bundle does not start with string '#bundle'", KEL_HERE);
    if (getNumBytesRemaining() < 8)
        throw Exception("OSC input stream exhausted while reading time tag", KEL_HERE);
    OscBundle bundle(ReadTimeTag());
    while (!isExhausted() && position - start < bundleSize)
        bundle.AddElement(ReadElement());
    return bundle;
}

OscBundle::Element OscInputStream::ReadElement()
{
    const std::size_t start = position;
    std::int32_t elementSize = 0;
    try
    {
        if (getNumBytesRemaining() < 4)
            throw Exception("OSC input stream exhausted while reading bundle element size", KEL_HERE);
        elementSize = ReadInt32();
        if (elementSize >= 0 && elementSize < 4)
            throw Exception("OSC input stream format error: invalid bundle element size", KEL_HERE);
    }
    catch (...)
    {
        noteFailure(start);
        throw;
    }
    // A negative size reads as a huge one, which no stream holds.
    return ReadElementWithKnownSize(std::size_t(std::uint32_t(elementSize)));
}

OscBundle::Element OscInputStream::ReadElementWithKnownSize(std::size_t elementSize)
{
    const std::size_t start = position;
    try
    {
        return readElementContent(elementSize);
    }
    catch (...)
    {
        noteFailure(start);
        throw;
    }
}

OscBundle::Element OscInputStream::readElementContent(std::size_t elementSize)
{
    if (getNumBytesRemaining() < elementSize)
        throw Exception("OSC input stream exhausted while reading bundle element content", KEL_HERE);
    if (isExhausted())
        throw Exception("OSC input stream: invalid bundle element content", KEL_HERE);

    const char first = char(data[position]);
    if (first == '/')
        return OscBundle::Element(ReadMessage(elementSize));
    if (first == '#')
    {
        if (bundleDepth >= maxBundleDepth)
            throw Exception("OSC input stream format error: bundles nested more than " +
                                std::to_string(maxBundleDepth) + " deep",
                            KEL_HERE);
        const std::size_t start = position;
        ++bundleDepth;
        struct DepthGuard
        {
            int& depth;
            ~DepthGuard() { --depth; }
        } guard{bundleDepth};
        OscBundle bundle = ReadBundle(elementSize);
        if (position - start != elementSize)
            throw Exception(
                "OSC input stream format error: wrong element content size encountered while reading bundle",
                KEL_HERE);
        return OscBundle::Element(std::move(bundle));
    }
    throw Exception(String("OSC input stream: invalid bundle element content (starting with ") + first + ")",
                    KEL_HERE);
}

OscBundle::Element OscInputStream::ReadPacket()
{
    failureNoted = false;
    return ReadElementWithKnownSize(getNumBytesRemaining());
}

OscBundle OscInputStream::ReadPacketAsBundle()
{
    OscBundle::Element element = ReadPacket();
    if (element.isBundle())
        return std::move(element.getBundle());
    OscBundle bundle;
    bundle.AddMessage(std::move(element.getMessage()));
    return bundle;
}

} // namespace kel
