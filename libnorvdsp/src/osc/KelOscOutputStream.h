// Writes OSC 1.0 binary packets into memory: big-endian items, each padded
// with zero bytes to a multiple of 4. Writes exactly the layout that
// kel::OscInputStream reads. OSC strings cannot hold a zero byte, so a text
// is written up to its first one.
//
// Not thread-safe. Allocates as it grows, unless it is bounded: a bounded
// stream reserves its bytes once and drops a write that would go beyond them,
// so that a thread which must not allocate (the audio thread) can still
// encode a report.
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
    /** Unbounded: grows as it writes. */
    OscOutputStream() = default;
    /** Bounded to maxBytes, reserved here; writing never allocates after. */
    explicit OscOutputStream(std::size_t maxBytes);

    void WriteInt32(std::int32_t value);
    void WriteInt64(std::int64_t value);
    void WriteFloat32(float value);
    void WriteFloat64(double value);
    void WriteString(std::string_view text);
    void WriteBlob(const MemoryBlock& bytes);
    void WriteArgument(const OscArgument& argument);
    void WriteTimeTag(OscTimeTag tag);
    void WriteMessage(const OscMessage& message);
    void WriteBundle(const OscBundle& bundle);
    /** The element's 4-byte size, then the message or bundle. */
    void WriteElement(const OscBundle::Element& element);

    const MemoryBlock& getData() const noexcept { return bytes; }
    std::size_t getSize() const noexcept { return bytes.size(); }
    /** A bounded stream dropped a write: what it holds is incomplete. */
    bool hasOverflowed() const noexcept { return overflowed; }
    void Clear() noexcept
    {
        bytes.Clear();
        overflowed = false;
    }

private:
    /** Appends numBytes (unset) bytes; returns where they start, or null
        when a bounded stream has no room for them. */
    std::uint8_t* grow(std::size_t numBytes);
    void writeBigEndian(std::uint64_t value, int numBytes);
    void writePadding();

    MemoryBlock bytes;
    std::size_t bound = 0;  // 0: unbounded
    bool overflowed = false;
};

} // namespace kel
