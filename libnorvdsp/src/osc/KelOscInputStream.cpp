#include "osc/KelOscInputStream.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "common/KelException.h"

// The throw sites share one function, out of line, so that the checks stay
// small enough for the decoding loop to take them inline; the place an error
// names is still the check's own.
#if defined(__GNUC__)
#define KEL_OSC_COLD __attribute__((cold, noinline))
#else
#define KEL_OSC_COLD
#endif
#define KEL_OSC_FAIL(text) Fail(text, __LINE__, KEL_FUNCTION_SIGNATURE)

namespace kel {

namespace {

[[noreturn]] KEL_OSC_COLD void Fail(const char* text, std::uint64_t line, const char* function)
{
    throw Exception(text, SourceLocation{String(detail::RelativeSourcePath(__FILE__)), line, function});
}

[[noreturn]] KEL_OSC_COLD void FailOnTag(char tag, std::uint64_t line, const char* function)
{
    Fail((String("OSC input stream format error: encountered unsupported type tag : ") + tag).c_str(), line,
         function);
}

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
        KEL_OSC_FAIL("OSC input stream exhausted while reading int32");
    return std::int32_t(readBigEndian<std::uint32_t>());
}

std::int64_t OscInputStream::ReadInt64()
{
    if (getNumBytesRemaining() < 8)
        KEL_OSC_FAIL("OSC input stream exhausted while reading int64");
    return std::int64_t(readBigEndian<std::uint64_t>());
}

float OscInputStream::ReadFloat32()
{
    if (getNumBytesRemaining() < 4)
        KEL_OSC_FAIL("OSC input stream exhausted while reading float");
    return std::bit_cast<float>(readBigEndian<std::uint32_t>());
}

double OscInputStream::ReadFloat64()
{
    if (getNumBytesRemaining() < 8)
        KEL_OSC_FAIL("OSC input stream exhausted while reading double");
    return std::bit_cast<double>(readBigEndian<std::uint64_t>());
}

OscTimeTag OscInputStream::ReadTimeTag()
{
    if (getNumBytesRemaining() < 8)
        KEL_OSC_FAIL("OSC input stream exhausted while reading time tag");
    return OscTimeTag{readBigEndian<std::uint64_t>()};
}

void OscInputStream::skipPadding(std::size_t itemSize)
{
    const std::size_t n = (4 - itemSize % 4) % 4;
    const std::uint8_t* at = data + position;
    if (n > getNumBytesRemaining() || (n > 0 && at[0] != 0) || (n > 1 && at[1] != 0) || (n > 2 && at[2] != 0))
        KEL_OSC_FAIL("OSC input stream format error: missing padding zeros");
    position += n;
}

void OscInputStream::ReadPadding(std::size_t itemSize)
{
    skipPadding(itemSize);
}

std::string_view OscInputStream::readStringView()
{
    if (isExhausted())
        KEL_OSC_FAIL("OSC input stream exhausted while reading string");
    const void* zero = std::memchr(data + position, 0, getNumBytesRemaining());
    if (zero == nullptr)
        KEL_OSC_FAIL("OSC input stream exhausted before finding null terminator of string");
    const std::string_view text(reinterpret_cast<const char*>(data + position),
                                std::size_t(static_cast<const std::uint8_t*>(zero) - (data + position)));
    position += text.size() + 1;
    skipPadding(text.size() + 1);
    return text;
}

String OscInputStream::ReadString()
{
    return String(readStringView());
}

MemoryBlock OscInputStream::ReadBlob()
{
    if (getNumBytesRemaining() < 4)
        KEL_OSC_FAIL("OSC input stream exhausted while reading blob");
    const auto length = std::size_t(readBigEndian<std::uint32_t>());
    if (getNumBytesRemaining() < length)
        KEL_OSC_FAIL("OSC input stream exhausted before reaching end of blob");
    MemoryBlock bytes(length);
    if (length != 0)
        std::memcpy(bytes.data(), data + position, length);
    position += length;
    skipPadding(length);
    return bytes;
}

std::string_view OscInputStream::readTypeTags()
{
    if (isExhausted())
        KEL_OSC_FAIL("OSC input stream exhausted while reading type tag string");
    if (data[position] != ',')
        KEL_OSC_FAIL("OSC input stream format error: expected type tag string");
    const std::size_t start = ++position;
    for (;;)
    {
        if (isExhausted())
            KEL_OSC_FAIL("OSC input stream exhausted while reading type tag string");
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
                FailOnTag(tag, __LINE__, KEL_FUNCTION_SIGNATURE);
        }
    }
    const std::string_view tags(reinterpret_cast<const char*>(data + start), position - start);
    ++position; // the terminating zero
    skipPadding(tags.size() + 2);
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
        default: KEL_OSC_FAIL("OSC input stream: internal error while reading message argument");
    }
}

void OscInputStream::readArgumentInto(OscMessage& message, char tag)
{
    // As ReadArgument, with the same checks and texts, built in place.
    auto& arguments = message.arguments;
    switch (tag)
    {
        case 'i':
            if (getNumBytesRemaining() < 4)
                KEL_OSC_FAIL("OSC input stream exhausted while reading int32");
            arguments.EmplaceBack(OscArgument::fromInt32(std::int32_t(readBigEndian<std::uint32_t>())));
            return;
        case 'h':
            if (getNumBytesRemaining() < 8)
                KEL_OSC_FAIL("OSC input stream exhausted while reading int64");
            arguments.EmplaceBack(OscArgument::fromInt64(std::int64_t(readBigEndian<std::uint64_t>())));
            return;
        case 'f':
            if (getNumBytesRemaining() < 4)
                KEL_OSC_FAIL("OSC input stream exhausted while reading float");
            arguments.EmplaceBack(OscArgument::fromFloat32(std::bit_cast<float>(readBigEndian<std::uint32_t>())));
            return;
        case 'd':
            if (getNumBytesRemaining() < 8)
                KEL_OSC_FAIL("OSC input stream exhausted while reading double");
            arguments.EmplaceBack(OscArgument::fromFloat64(std::bit_cast<double>(readBigEndian<std::uint64_t>())));
            return;
        case 's': arguments.EmplaceBack(OscArgument::fromString(readStringView())); return;
        case 'b': arguments.EmplaceBack(OscArgument::fromBlob(ReadBlob())); return;
        case 'T':
        case 'F': arguments.EmplaceBack(OscArgument::fromBool(tag == 'T')); return;
        default: KEL_OSC_FAIL("OSC input stream: internal error while reading message argument");
    }
}

void OscInputStream::readAddressInto(OscAddressPattern& address)
{
    if (isExhausted())
        KEL_OSC_FAIL("OSC input stream exhausted while reading string");
    const auto* text = reinterpret_cast<const char*>(data + position);
    bool complete = true;
    const std::size_t length =
        OscAddressTokeniser::TokeniseUpToZero(text, getNumBytesRemaining(), address, complete);
    if (length == std::string_view::npos)
        KEL_OSC_FAIL("OSC input stream exhausted before finding null terminator of string");
    position += length + 1;
    skipPadding(length + 1);
    if (!complete)
        OscAddressTokeniser::Tokenise(std::string_view(text, length), address);
}

void OscInputStream::readMessageInto(OscMessage& message, std::size_t messageSize)
{
    const std::size_t start = position;
    if (messageOffsets != nullptr)
        messageOffsets->PushBack(start);
    readAddressInto(message.address);
    const std::string_view tags = readTypeTags();
    // Room for all at once, unless the bytes left could not hold them (a
    // hostile tag string must not reserve far more than the packet's size).
    if (tags.size() <= getNumBytesRemaining() / 4)
        message.arguments.Reserve(tags.size());
    for (const char tag : tags)
        readArgumentInto(message, tag);
    if (position - start != messageSize)
        KEL_OSC_FAIL("OSC input stream format error: wrong element content size encountered while reading message");
}

OscMessage OscInputStream::ReadMessage(std::size_t messageSize)
{
    OscMessage message;
    readMessageInto(message, messageSize);
    return message;
}

std::size_t OscInputStream::countElements(std::size_t end) const noexcept
{
    std::size_t count = 0;
    for (std::size_t at = position; at < end && end - at >= 4; ++count)
    {
        const std::size_t n = (std::size_t(data[at]) << 24) | (std::size_t(data[at + 1]) << 16) |
                              (std::size_t(data[at + 2]) << 8) | data[at + 3];
        if (n < 4 || n > end - at - 4)
            break;
        at += 4 + n;
    }
    return count;
}

void OscInputStream::readBundleInto(OscBundle& bundle, std::size_t bundleSize)
{
    if (bundleSize < 4)
        KEL_OSC_FAIL("OSC input stream format error: invalid size");
    const std::size_t start = position;
    if (getNumBytesRemaining() < 16)
        KEL_OSC_FAIL("OSC input stream exhausted while reading bundle");
    if (readStringView() != "#bundle")
        KEL_OSC_FAIL("OSC input stream format error: bundle does not start with string '#bundle'");
    if (getNumBytesRemaining() < 8)
        KEL_OSC_FAIL("OSC input stream exhausted while reading time tag");
    bundle.setTimeTag(ReadTimeTag());
    // The elements' array is sized once: moving whole messages as it grows would cost more than this walk.
    bundle.ReserveElements(countElements(std::min(start + bundleSize, size)));
    while (!isExhausted() && position - start < bundleSize)
        readElementInto(bundle);
}

OscBundle OscInputStream::ReadBundle(std::size_t bundleSize)
{
    OscBundle bundle;
    readBundleInto(bundle, bundleSize);
    return bundle;
}

std::size_t OscInputStream::readElementSize()
{
    const std::size_t start = position;
    try
    {
        if (getNumBytesRemaining() < 4)
            KEL_OSC_FAIL("OSC input stream exhausted while reading bundle element size");
        const std::int32_t elementSize = ReadInt32();
        if (elementSize >= 0 && elementSize < 4)
            KEL_OSC_FAIL("OSC input stream format error: invalid bundle element size");
        // A negative size reads as a huge one, which no stream holds.
        return std::size_t(std::uint32_t(elementSize));
    }
    catch (...)
    {
        noteFailure(start);
        throw;
    }
}

OscBundle::Element OscInputStream::ReadElement()
{
    return ReadElementWithKnownSize(readElementSize());
}

void OscInputStream::readElementInto(OscBundle& bundle)
{
    const std::size_t contentSize = readElementSize();
    const std::size_t start = position;
    try
    {
        if (checkElementContent(contentSize))
            bundle.elements.EmplaceBack();
        else
            bundle.elements.EmplaceBack(OscBundle());
        readElementContentInto(bundle.elements.Back(), contentSize);
    }
    catch (...)
    {
        noteFailure(start);
        throw;
    }
}

OscBundle::Element OscInputStream::ReadElementWithKnownSize(std::size_t elementSize)
{
    const std::size_t start = position;
    // Declared outside the try block, so that it is built where the caller wants it, not moved there.
    OscBundle::Element element;
    try
    {
        if (!checkElementContent(elementSize))
            element = OscBundle::Element(OscBundle());
        readElementContentInto(element, elementSize);
    }
    catch (...)
    {
        noteFailure(start);
        throw;
    }
    return element;
}

bool OscInputStream::checkElementContent(std::size_t elementSize)
{
    if (getNumBytesRemaining() < elementSize)
        KEL_OSC_FAIL("OSC input stream exhausted while reading bundle element content");
    if (isExhausted())
        KEL_OSC_FAIL("OSC input stream: invalid bundle element content");

    const char first = char(data[position]);
    if (first == '/')
        return true;
    if (first == '#')
    {
        if (bundleDepth >= maxBundleDepth)
            throw Exception("OSC input stream format error: bundles nested more than " +
                                std::to_string(maxBundleDepth) + " deep",
                            KEL_HERE);
        return false;
    }
    throw Exception(String("OSC input stream: invalid bundle element content (starting with ") + first + ")",
                    KEL_HERE);
}

void OscInputStream::readElementContentInto(OscBundle::Element& element, std::size_t elementSize)
{
    if (element.isMessage())
    {
        readMessageInto(element.getMessage(), elementSize);
        return;
    }
    const std::size_t start = position;
    ++bundleDepth;
    struct DepthGuard
    {
        int& depth;
        ~DepthGuard() { --depth; }
    } guard{bundleDepth};
    readBundleInto(element.getBundle(), elementSize);
    if (position - start != elementSize)
        KEL_OSC_FAIL("OSC input stream format error: wrong element content size encountered while reading bundle");
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
