// The parts of an OSC address, split once. The parts are slices of one
// pooled text (for an address, the address text itself); each entry keeps
// its slice, a hash and whether it holds a wildcard character, so that
// dispatch compares parts without re-scanning them: different hashes mean
// different parts, equal hashes are confirmed byte by byte. The first few
// entries and a short text live inside the object, so a short address of a
// few parts costs no allocation at all.
//
// A value type; not thread-safe for writing, any thread may read a const one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "containers/KelSmallString.h"
#include "containers/KelSmallVector.h"

namespace kel {

class PooledHashedStringArray
{
public:
    std::size_t size() const noexcept { return entries.size(); }
    bool empty() const noexcept { return entries.empty(); }

    std::string_view operator[](std::size_t index) const noexcept
    {
        const Entry& e = entries[index];
        return std::string_view(pool.data() + e.offset, e.length);
    }
    std::uint32_t getHash(std::size_t index) const noexcept { return entries[index].hash; }
    /** True when the part holds any of "*?{}[]". */
    bool holdsWildcard(std::size_t index) const noexcept { return entries[index].wildcard; }

    /** The text the parts are slices of. */
    const SmallString& getPool() const noexcept { return pool; }
    /** True while neither the text nor the entries needed the heap. */
    bool isInline() const noexcept { return pool.isInline() && entries.isInline(); }

    /** Appends a part, copying it into the pool. */
    void Add(std::string_view part);
    /** Replaces everything by an empty array over the given pool text. */
    void SetPool(std::string_view text);
    /** Replaces the pool text and keeps the parts, which the caller has
        added as slices of the new text already. */
    void ReplacePool(std::string_view text) { pool.assign(text); }
    /** Appends the part pool[offset, offset + length), whose hash and
        wildcard flag the caller has worked out already. */
    void AddSlice(std::size_t offset, std::size_t length, std::uint32_t hash, bool wildcard)
    {
        entries.PushBack(Entry{offset, length, hash, wildcard});
    }
    /** Drops the first part; the others keep their order. */
    void RemoveFirst() noexcept;
    void Clear() noexcept
    {
        entries.Clear();
        pool.clear();
    }

    /** Part index of this equals part otherIndex of other, byte for byte. */
    bool partEquals(std::size_t index, const PooledHashedStringArray& other,
                    std::size_t otherIndex) const noexcept;
    bool operator==(const PooledHashedStringArray& other) const noexcept;

    /** The hash kept for each part: its length and its first and last four
        bytes, mixed. It only has to tell most unequal parts apart cheaply
        (equal hashes are confirmed byte by byte), and working it out from
        the part's ends keeps splitting an address one light pass; parts are
        short, so the bytes it skips cost little to compare. */
    static std::uint32_t hashOf(std::string_view text) noexcept
    {
        const std::size_t n = text.size();
        std::uint32_t head = 0, tail = 0;
        if (n >= 4)
        {
            std::memcpy(&head, text.data(), 4);
            std::memcpy(&tail, text.data() + n - 4, 4);
        }
        else
        {
            for (const char c : text)
                head = (head << 8) | std::uint8_t(c);
        }
        std::uint64_t mixed = ((std::uint64_t(head) << 32) | tail) ^ (std::uint64_t(n) * 0x9E3779B97F4A7C15u);
        mixed *= 0xFF51AFD7ED558CCDu;
        return std::uint32_t(mixed >> 32);
    }

private:
    struct Entry
    {
        std::size_t offset = 0;
        std::size_t length = 0;
        std::uint32_t hash = 0;
        bool wildcard = false;
    };

    SmallString pool;
    SmallVector<Entry, 4> entries;
};

/** True when the text holds any of the OSC wildcard characters "*?{}[]". */
bool HoldsOscWildcard(std::string_view text) noexcept;

} // namespace kel
