// kel::InputStream: the byte stream every audio file reader takes its bytes
// from, so that a reader can be fed from a file (kel::FileReader) or from
// memory (kel::MemoryInputStream) alike.
//
// Positions and lengths are 64-bit everywhere. The position never leaves
// [0, length] when the length is known. Reads past the end never throw:
// block reads return short counts, typed reads deliver zeros for the missing
// bytes.
//
// Not thread-safe: one thread at a time. The file-backed stream blocks on the
// disk; none of them allocates after construction.
#pragma once

#include <cstdint>

#include "containers/KelMemoryBlock.h"

namespace kel {

class InputStream
{
public:
    virtual ~InputStream() = default;

    /** Reads up to numBytes into dest; returns how many were read (0 at the
        end, or for numBytes of 0 or below). */
    virtual std::int64_t Read(void* dest, std::int64_t numBytes) = 0;

    /** The absolute position of the next byte to be read. */
    virtual std::int64_t getPosition() const = 0;

    /** Moves to an absolute position. A position below 0 becomes 0 and, when
        the length is known, one past the end becomes the end. Returns true
        when the stream now stands exactly where it was asked to. */
    virtual bool setPosition(std::int64_t newPosition) = 0;

    /** The length in bytes; 0 when unknown. */
    virtual std::int64_t getTotalLength() const = 0;

    /** True when nothing more can be read. */
    virtual bool isExhausted() const = 0;

    /** One byte; 0 past the end. */
    std::uint8_t ReadByte();
    std::int16_t ReadInt16LittleEndian();
    std::int16_t ReadInt16BigEndian();
    std::int32_t ReadInt32LittleEndian();
    std::int32_t ReadInt32BigEndian();
    std::int64_t ReadInt64LittleEndian();

    /** Moves numBytes forward (no further than the end); 0 or below does
        nothing. */
    void SkipNextBytes(std::int64_t numBytes);

    /** Reads up to maxBytes and returns what was read. The block grows with
        the bytes that actually arrive, so a size field claiming gigabytes
        costs no more memory than the stream really holds. */
    MemoryBlock ReadIntoMemory(std::int64_t maxBytes);

protected:
    /** Reads exactly n bytes when possible and zero-fills the rest. */
    void readOrZero(void* dest, int n);
};

/** A stream over a copy of a block of bytes. */
class MemoryInputStream final : public InputStream
{
public:
    MemoryInputStream(const void* data, std::size_t numBytes);
    explicit MemoryInputStream(MemoryBlock block) : bytes(std::move(block)) {}

    std::int64_t Read(void* dest, std::int64_t numBytes) override;
    std::int64_t getPosition() const override { return position; }
    bool setPosition(std::int64_t newPosition) override;
    std::int64_t getTotalLength() const override { return std::int64_t(bytes.size()); }
    bool isExhausted() const override { return position >= std::int64_t(bytes.size()); }

private:
    MemoryBlock bytes;
    std::int64_t position = 0;
};

} // namespace kel
