#include "osc/KelPooledHashedStringArray.h"

namespace kel {

bool HoldsOscWildcard(std::string_view text) noexcept
{
    return text.find_first_of("*?{}[]") != std::string_view::npos;
}

std::uint64_t PooledHashedStringArray::hashOf(std::string_view text) noexcept
{
    // FNV-1a: parts are short, so a byte loop beats anything cleverer.
    std::uint64_t hash = 14695981039346656037ull;
    for (const char c : text)
    {
        hash ^= std::uint8_t(c);
        hash *= 1099511628211ull;
    }
    return hash;
}

void PooledHashedStringArray::Add(std::string_view part)
{
    Entry entry;
    entry.offset = pool.size();
    entry.length = part.size();
    entry.hash = hashOf(part);
    entry.wildcard = HoldsOscWildcard(part);
    // Pool first: should the entry fail to fit, the pool only holds unused bytes.
    pool.append(part);
    entries.PushBack(entry);
}

void PooledHashedStringArray::RemoveFirst()
{
    if (entries.empty())
        return;
    entries.Erase(0);
    if (entries.empty())
        pool.clear();
}

void PooledHashedStringArray::Clear() noexcept
{
    entries.Clear();
    pool.clear();
}

bool PooledHashedStringArray::partEquals(std::size_t index, const PooledHashedStringArray& other,
                                         std::size_t otherIndex) const noexcept
{
    return entries[index].hash == other.entries[otherIndex].hash && (*this)[index] == other[otherIndex];
}

bool PooledHashedStringArray::operator==(const PooledHashedStringArray& other) const noexcept
{
    if (size() != other.size())
        return false;
    for (std::size_t i = 0; i < size(); ++i)
        if (!partEquals(i, other, i))
            return false;
    return true;
}

} // namespace kel
