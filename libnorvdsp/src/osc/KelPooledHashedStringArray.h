// The parts of an OSC address, split once. The parts are slices of one
// pooled text (for an address, the address text itself); each entry keeps
// its slice, a hash and whether it holds a wildcard character, so that
// dispatch compares parts without re-scanning them: different hashes mean
// different parts, equal hashes are confirmed byte by byte. The first few
// entries live inside the object, so a short address costs no allocation
// beyond its text.
//
// A value type; not thread-safe for writing, any thread may read a const one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "common/KelString.h"
#include "containers/KelVector.h"

namespace kel {

class PooledHashedStringArray
{
public:
    std::size_t size() const noexcept { return count; }
    bool empty() const noexcept { return count == 0; }

    std::string_view operator[](std::size_t index) const noexcept
    {
        const Entry& e = entry(index);
        return std::string_view(pool.data() + e.offset, e.length);
    }
    std::uint32_t getHash(std::size_t index) const noexcept { return entry(index).hash; }
    /** True when the part holds any of "*?{}[]". */
    bool holdsWildcard(std::size_t index) const noexcept { return entry(index).wildcard; }

    /** The text the parts are slices of. */
    const String& getPool() const noexcept { return pool; }

    /** Appends a part, copying it into the pool. */
    void Add(std::string_view part);
    /** Replaces everything by an empty array over the given pool text. */
    void SetPool(String text) noexcept;
    /** Appends the part pool[offset, offset + length), whose hash and
        wildcard flag the caller has worked out already. */
    void AddSlice(std::size_t offset, std::size_t length, std::uint32_t hash, bool wildcard);
    /** Drops the first part; the others keep their order. */
    void RemoveFirst() noexcept;
    void Clear() noexcept;

    /** Part index of this equals part otherIndex of other, byte for byte. */
    bool partEquals(std::size_t index, const PooledHashedStringArray& other,
                    std::size_t otherIndex) const noexcept;
    bool operator==(const PooledHashedStringArray& other) const noexcept;

    /** FNV-1a, the hash kept for each part. */
    static constexpr std::uint32_t hashSeed = 2166136261u;
    static constexpr std::uint32_t HashStep(std::uint32_t hash, char c) noexcept
    {
        return (hash ^ std::uint8_t(c)) * 16777619u;
    }
    static std::uint32_t hashOf(std::string_view text) noexcept;

private:
    struct Entry
    {
        std::size_t offset = 0;
        std::size_t length = 0;
        std::uint32_t hash = 0;
        bool wildcard = false;
    };
    static constexpr std::size_t numLocal = 4;

    // While count <= numLocal the entries are in local, otherwise all in more.
    const Entry& entry(std::size_t i) const noexcept { return count <= numLocal ? local[i] : more[i]; }

    String pool;
    std::array<Entry, numLocal> local{};
    Vector<Entry> more;
    std::size_t count = 0;
};

/** True when the text holds any of the OSC wildcard characters "*?{}[]". */
bool HoldsOscWildcard(std::string_view text) noexcept;

} // namespace kel
