#include "osc/KelPooledHashedStringArray.h"

namespace kel {

bool HoldsOscWildcard(std::string_view text) noexcept
{
    for (const char c : text)
        if (c == '*' || c == '?' || c == '{' || c == '}' || c == '[' || c == ']')
            return true;
    return false;
}

void PooledHashedStringArray::Add(std::string_view part)
{
    const std::size_t offset = pool.size();
    // Pool first: should the entry fail to fit, the pool only holds unused bytes.
    pool.append(part);
    AddSlice(offset, part.size(), hashOf(part), HoldsOscWildcard(part));
}

void PooledHashedStringArray::SetPool(std::string_view text)
{
    Clear();
    pool.assign(text);
}

void PooledHashedStringArray::RemoveFirst() noexcept
{
    if (entries.empty())
        return;
    entries.Erase(0);
    if (entries.empty())
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
