#include "osc/KelOscOutputStream.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace kel {

OscOutputStream::OscOutputStream(std::size_t maxBytes) : bound(maxBytes)
{
    bytes.Reserve(maxBytes);
}

std::uint8_t* OscOutputStream::grow(std::size_t numBytes)
{
    const std::size_t at = bytes.size();
    if (bound != 0)
    {
        if (overflowed || at + numBytes > bound)
        {
            overflowed = true;
            return nullptr;
        }
    }
    else if (at + numBytes > bytes.capacity())
    {
        // Geometric growth: the vector's own Resize reserves exactly.
        bytes.Reserve(std::max(at + numBytes, 2 * bytes.capacity()));
    }
    bytes.Resize(at + numBytes);
    return bytes.data() + at;
}

void OscOutputStream::writeBigEndian(std::uint64_t value, int numBytes)
{
    std::uint8_t* at = grow(std::size_t(numBytes));
    if (at == nullptr)
        return;
    for (int i = numBytes - 1; i >= 0; --i, value >>= 8)
        at[i] = std::uint8_t(value);
}

void OscOutputStream::writePadding()
{
    const std::size_t extra = (4 - bytes.size() % 4) % 4;
    if (std::uint8_t* at = grow(extra); at != nullptr && extra != 0)
        std::memset(at, 0, extra);
}

void OscOutputStream::WriteInt32(std::int32_t v) { writeBigEndian(std::uint32_t(v), 4); }
void OscOutputStream::WriteInt64(std::int64_t v) { writeBigEndian(std::uint64_t(v), 8); }
void OscOutputStream::WriteFloat32(float v) { writeBigEndian(std::bit_cast<std::uint32_t>(v), 4); }
void OscOutputStream::WriteFloat64(double v) { writeBigEndian(std::bit_cast<std::uint64_t>(v), 8); }
void OscOutputStream::WriteTimeTag(OscTimeTag tag) { writeBigEndian(tag.value, 8); }

void OscOutputStream::WriteString(std::string_view text)
{
    text = text.substr(0, text.find('\0'));
    std::uint8_t* at = grow(text.size() + 1);
    if (at == nullptr)
        return;
    if (!text.empty())
        std::memcpy(at, text.data(), text.size());
    at[text.size()] = 0;
    writePadding();
}

void OscOutputStream::WriteBlob(const MemoryBlock& blob)
{
    WriteInt32(std::int32_t(blob.size()));
    std::uint8_t* at = grow(blob.size());
    if (overflowed)
        return;
    if (!blob.empty())
        std::memcpy(at, blob.data(), blob.size());
    writePadding();
}

void OscOutputStream::WriteArgument(const OscArgument& a)
{
    switch (a.getTypeTag())
    {
        case 'i': WriteInt32(a.getInt32()); break;
        case 'h': WriteInt64(a.getInt64()); break;
        case 'f': WriteFloat32(a.getFloat32()); break;
        case 'd': WriteFloat64(a.getFloat64()); break;
        case 's': WriteString(a.getString()); break;
        case 'b': WriteBlob(a.getBlob()); break;
        default: break; // T and F have no payload
    }
}

void OscOutputStream::WriteMessage(const OscMessage& message)
{
    WriteString(message.getAddressPattern().getText());
    // "," then the tags, a zero and padding; written one by one, as building
    // them as a text could allocate.
    const std::size_t numArguments = message.getNumArguments();
    if (std::uint8_t* at = grow(numArguments + 2); at != nullptr)
    {
        at[0] = ',';
        for (std::size_t i = 0; i < numArguments; ++i)
            at[1 + i] = std::uint8_t(message[i].getTypeTag());
        at[1 + numArguments] = 0;
        writePadding();
    }
    for (std::size_t i = 0; i < message.getNumArguments(); ++i)
        WriteArgument(message[i]);
}

void OscOutputStream::WriteBundle(const OscBundle& bundle)
{
    WriteString("#bundle");
    WriteTimeTag(bundle.getTimeTag());
    for (const auto& element : bundle)
        WriteElement(element);
}

void OscOutputStream::WriteElement(const OscBundle::Element& element)
{
    // The size is known once the content is written: reserve it, then patch.
    const std::size_t sizeAt = bytes.size();
    WriteInt32(0);
    if (element.isMessage())
        WriteMessage(element.getMessage());
    else
        WriteBundle(element.getBundle());
    if (overflowed)
        return;
    const auto size = std::uint32_t(bytes.size() - sizeAt - 4);
    for (int i = 0; i < 4; ++i)
        bytes[sizeAt + std::size_t(i)] = std::uint8_t(size >> (24 - 8 * i));
}

} // namespace kel
