// The parts of an OSC address, split once. All parts live in one pooled text
// buffer; each entry keeps its slice, a 64-bit hash and whether it holds a
// wildcard character, so that dispatch compares parts without re-scanning
// them: different hashes mean different parts, equal hashes are confirmed
// byte by byte.
//
// A value type; not thread-safe for writing, any thread may read a const one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "common/KelString.h"
#include "containers/KelVector.h"

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
    std::uint64_t getHash(std::size_t index) const noexcept { return entries[index].hash; }
    /** True when the part holds any of "*?{}[]". */
    bool holdsWildcard(std::size_t index) const noexcept { return entries[index].wildcard; }

    void Add(std::string_view part);
    /** Drops the first part; the others keep their order. */
    void RemoveFirst();
    void Clear() noexcept;

    /** Part index of this equals part otherIndex of other, byte for byte. */
    bool partEquals(std::size_t index, const PooledHashedStringArray& other,
                    std::size_t otherIndex) const noexcept;
    bool operator==(const PooledHashedStringArray& other) const noexcept;

    static std::uint64_t hashOf(std::string_view text) noexcept;

private:
    struct Entry
    {
        std::size_t offset = 0;
        std::size_t length = 0;
        std::uint64_t hash = 0;
        bool wildcard = false;
    };

    String pool;
    Vector<Entry> entries;
};

/** True when the text holds any of the OSC wildcard characters "*?{}[]". */
bool HoldsOscWildcard(std::string_view text) noexcept;

} // namespace kel
