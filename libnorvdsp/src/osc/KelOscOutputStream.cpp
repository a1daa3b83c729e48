#include "osc/KelOscOutputStream.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace kel {

std::size_t OscOutputStream::grow(std::size_t numBytes)
{
    // Geometric growth: the vector's own Resize reserves exactly.
    const std::size_t at = bytes.size();
    if (at + numBytes > bytes.capacity())
        bytes.Reserve(std::max(at + numBytes, 2 * bytes.capacity()));
    bytes.Resize(at + numBytes);
    return at;
}

void OscOutputStream::writeBigEndian(std::uint64_t value, int numBytes)
{
    const std::size_t at = grow(std::size_t(numBytes));
    for (int i = numBytes - 1; i >= 0; --i, value >>= 8)
        bytes[at + std::size_t(i)] = std::uint8_t(value);
}

void OscOutputStream::writePadding()
{
    const std::size_t extra = (4 - bytes.size() % 4) % 4;
    const std::size_t at = grow(extra);
    if (extra != 0)
        std::memset(bytes.data() + at, 0, extra);
}

void OscOutputStream::WriteInt32(std::int32_t v) { writeBigEndian(std::uint32_t(v), 4); }
void OscOutputStream::WriteInt64(std::int64_t v) { writeBigEndian(std::uint64_t(v), 8); }
void OscOutputStream::WriteFloat32(float v) { writeBigEndian(std::bit_cast<std::uint32_t>(v), 4); }
void OscOutputStream::WriteFloat64(double v) { writeBigEndian(std::bit_cast<std::uint64_t>(v), 8); }
void OscOutputStream::WriteTimeTag(OscTimeTag tag) { writeBigEndian(tag.value, 8); }

void OscOutputStream::WriteString(std::string_view text)
{
    text = text.substr(0, text.find('\0'));
    const std::size_t at = grow(text.size() + 1);
    if (!text.empty())
        std::memcpy(bytes.data() + at, text.data(), text.size());
    bytes[at + text.size()] = 0;
    writePadding();
}

void OscOutputStream::WriteBlob(const MemoryBlock& blob)
{
    WriteInt32(std::int32_t(blob.size()));
    const std::size_t at = grow(blob.size());
    if (!blob.empty())
        std::memcpy(bytes.data() + at, blob.data(), blob.size());
    writePadding();
}

void OscOutputStream::WriteTypeTagString(std::string_view tags)
{
    const std::size_t at = grow(tags.size() + 2);
    bytes[at] = ',';
    if (!tags.empty())
        std::memcpy(bytes.data() + at + 1, tags.data(), tags.size());
    bytes[at + 1 + tags.size()] = 0;
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
    WriteTypeTagString(message.getTypeTags());
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
    const auto size = std::uint32_t(bytes.size() - sizeAt - 4);
    for (int i = 0; i < 4; ++i)
        bytes[sizeAt + std::size_t(i)] = std::uint8_t(size >> (24 - 8 * i));
}

} // namespace kel
