// Writes OSC 1.0 binary packets into memory: big-endian items, each padded
// with zero bytes to a multiple of 4. Writes exactly the layout that
// kel::OscInputStream reads. OSC strings cannot hold a zero byte, so a text
// is written up to its first one.
//
// Not thread-safe; allocates as it grows.
#pragma once

#include <cstdint>
#include <string_view>

#include "containers/KelMemoryBlock.h"
#include "osc/KelOscBundle.h"
#include "osc/KelOscMessage.h"

namespace kel {

class OscOutputStream
{
public:
    void WriteInt32(std::int32_t value);
    void WriteInt64(std::int64_t value);
    void WriteFloat32(float value);
    void WriteFloat64(double value);
    void WriteString(std::string_view text);
    void WriteBlob(const MemoryBlock& bytes);
    /** "," then the tags, a zero and padding. */
    void WriteTypeTagString(std::string_view tags);
    void WriteArgument(const OscArgument& argument);
    void WriteTimeTag(OscTimeTag tag);
    void WriteMessage(const OscMessage& message);
    void WriteBundle(const OscBundle& bundle);
    /** The element's 4-byte size, then the message or bundle. */
    void WriteElement(const OscBundle::Element& element);

    const MemoryBlock& getData() const noexcept { return bytes; }
    std::size_t getSize() const noexcept { return bytes.size(); }
    void Clear() noexcept { bytes.Clear(); }

private:
    /** Appends numBytes (unset) bytes; returns where they start. */
    std::size_t grow(std::size_t numBytes);
    void writeBigEndian(std::uint64_t value, int numBytes);
    void writePadding();

    MemoryBlock bytes;
};

} // namespace kel
