#include "osc/KelPooledHashedStringArray.h"

namespace kel {

bool HoldsOscWildcard(std::string_view text) noexcept
{
    for (const char c : text)
        if (c == '*' || c == '?' || c == '{' || c == '}' || c == '[' || c == ']')
            return true;
    return false;
}

std::uint32_t PooledHashedStringArray::hashOf(std::string_view text) noexcept
{
    std::uint32_t hash = hashSeed;
    for (const char c : text)
        hash = HashStep(hash, c);
    return hash;
}

void PooledHashedStringArray::Add(std::string_view part)
{
    const std::size_t offset = pool.size();
    // Pool first: should the entry fail to fit, the pool only holds unused bytes.
    pool.append(part);
    AddSlice(offset, part.size(), hashOf(part), HoldsOscWildcard(part));
}

void PooledHashedStringArray::SetPool(String text) noexcept
{
    Clear();
    pool = std::move(text);
}

void PooledHashedStringArray::AddSlice(std::size_t offset, std::size_t length, std::uint32_t hash, bool wildcard)
{
    const Entry e{offset, length, hash, wildcard};
    if (count < numLocal)
    {
        local[count++] = e;
        return;
    }
    if (count == numLocal)
    {
        more.Reserve(2 * numLocal);
        for (const Entry& moved : local)
            more.PushBack(moved);
    }
    more.PushBack(e);
    ++count;
}

void PooledHashedStringArray::RemoveFirst() noexcept
{
    if (count == 0)
        return;
    if (count <= numLocal)
    {
        for (std::size_t i = 1; i < count; ++i)
            local[i - 1] = local[i];
    }
    else
    {
        more.Erase(0);
        if (count - 1 == numLocal)
        {
            for (std::size_t i = 0; i < numLocal; ++i)
                local[i] = more[i];
            more.Clear();
        }
    }
    if (--count == 0)
        pool.clear();
}

void PooledHashedStringArray::Clear() noexcept
{
    count = 0;
    more.Clear();
    pool.clear();
}

bool PooledHashedStringArray::partEquals(std::size_t index, const PooledHashedStringArray& other,
                                         std::size_t otherIndex) const noexcept
{
    return entry(index).hash == other.entry(otherIndex).hash && (*this)[index] == other[otherIndex];
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
