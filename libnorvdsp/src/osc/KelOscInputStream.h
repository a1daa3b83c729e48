// Decodes OSC 1.0 binary packets from bytes in memory: messages with the
// tags i h f d s b T F, and bundles, nested ones included. The tags N, I and
// r are accepted in a type-tag string, but reading such an argument fails
// (no argument can hold them). Everything is checked while reading; a bad
// packet ends in a kel::Exception naming what was wrong, and nothing
// partially read is returned. Bundles nested deeper than maxBundleDepth are
// refused, so that a hostile packet cannot exhaust the stack.
//
// After a failure, getFailureOffset tells where: the first byte of the
// innermost message or bundle being read (or of the element size being
// read), so that an error can point into a file. RecordMessageOffsets keeps
// where each message read begins.
//
// Each message is decoded in place, in one pass over its bytes; a bundle's
// elements go into one array, sized once. A message packet of a typical
// message (see KelOscMessage.h) decodes without allocating, so the audio
// thread may read one (ReadPacket, then Element::ForEachMessage); a bundle
// allocates its array.
//
// Does not own the bytes: they must outlive the stream. Not thread-safe;
// never blocks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "common/KelString.h"
#include "containers/KelMemoryBlock.h"
#include "containers/KelVector.h"
#include "osc/KelOscBundle.h"
#include "osc/KelOscMessage.h"

namespace kel {

class OscInputStream
{
public:
    static constexpr int maxBundleDepth = 64;

    OscInputStream(const void* data, std::size_t size) noexcept;
    explicit OscInputStream(const MemoryBlock& bytes) noexcept;

    std::size_t getPosition() const noexcept { return position; }
    std::size_t getTotalSize() const noexcept { return size; }
    std::size_t getNumBytesRemaining() const noexcept { return size - position; }
    bool isExhausted() const noexcept { return position >= size; }

    /** Where the read that threw last stood (see above); 0 before any. */
    std::size_t getFailureOffset() const noexcept { return failureOffset; }
    /** From now on, appends the offset of each message read to offsets
        (in reading order: depth first); nullptr stops. */
    void RecordMessageOffsets(Vector<std::size_t>* offsets) noexcept { messageOffsets = offsets; }

    std::int32_t ReadInt32();
    std::int64_t ReadInt64();
    float ReadFloat32();
    double ReadFloat64();
    /** A zero-terminated string and its padding. */
    String ReadString();
    /** A 4-byte length, the bytes and their padding. */
    MemoryBlock ReadBlob();
    /** The tags after the ",", without it; then the padding. */
    String ReadTypeTagString();
    /** One argument of the given tag. */
    OscArgument ReadArgument(char tag);
    OscTimeTag ReadTimeTag();
    /** A message taking exactly size bytes. */
    OscMessage ReadMessage(std::size_t size);
    /** A bundle of size bytes, its "#bundle" header included. */
    OscBundle ReadBundle(std::size_t size);
    /** One bundle element: its 4-byte size, then its content. */
    OscBundle::Element ReadElement();
    /** An element's content (a message or a bundle) of the given size. */
    OscBundle::Element ReadElementWithKnownSize(std::size_t size);
    /** Checks the zero bytes that pad an item of itemSize bytes to a
        multiple of 4. */
    void ReadPadding(std::size_t itemSize);

    /** The rest of the stream as one packet: a message or a bundle. */
    OscBundle::Element ReadPacket();
    /** The same; a message packet comes back as a bundle of one message. */
    OscBundle ReadPacketAsBundle();

private:
    std::string_view readStringView();
    /** ReadPadding's work. */
    void skipPadding(std::size_t itemSize);
    /** Reads one argument of the given tag and appends it to message. */
    void readArgumentInto(OscMessage& message, char tag);
    std::string_view readTypeTags();
    /** Checks what every element's content must satisfy; true for a message,
        false for a bundle. */
    bool checkElementContent(std::size_t size);
    void readElementContentInto(OscBundle::Element& element, std::size_t size);
    void readMessageInto(OscMessage& message, std::size_t size);
    void readBundleInto(OscBundle& bundle, std::size_t size);
    /** One element of a bundle, appended to it (ReadElement's work). */
    void readElementInto(OscBundle& bundle);
    /** An element's 4-byte size, checked. */
    std::size_t readElementSize();
    void readAddressInto(OscAddressPattern& address);
    /** How many elements the sizes from here to end chain through; stops
        at the first size that cannot be right (the reading reports it). */
    std::size_t countElements(std::size_t end) const noexcept;
    /** The next 4 or 8 bytes as a big-endian number; the caller has checked
        that they are there. */
    template <typename UInt>
    UInt readBigEndian() noexcept;
    /** Keeps offset as the failure's place unless a deeper read kept its own. */
    void noteFailure(std::size_t offset) noexcept;

    const std::uint8_t* data;
    std::size_t size;
    std::size_t position = 0;
    int bundleDepth = 0;
    std::size_t failureOffset = 0;
    bool failureNoted = false;
    Vector<std::size_t>* messageOffsets = nullptr;
};

} // namespace kel
