// kel::Vector<T>: the growable array used throughout the engine. It is a thin
// layer over std::vector whose one addition is the allocation guard: no
// allocation may exceed 6 GB, so a corrupt header or a mistyped attribute
// ends in a clear error instead of exhausting the host's memory.
//
// Not thread-safe; growth allocates, so the audio thread only reads.
#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <utility>
#include <vector>

#include "common/KelException.h"

namespace kel {

namespace detail {
/** Throws the "Overly large array allocation" error when n elements of
    elementSize bytes exceed 6 GB. */
void EnsureReasonableArrayAllocation(std::size_t n, std::size_t elementSize);
} // namespace detail

template <typename T>
class Vector
{
public:
    using value_type = T;
    using iterator = typename std::vector<T>::iterator;
    using const_iterator = typename std::vector<T>::const_iterator;

    /** The most elements the guard lets one allocation hold. */
    static constexpr std::size_t maxElements = std::size_t(6000000000.0 / double(sizeof(T)));

    Vector() = default;
    explicit Vector(std::size_t n) { Resize(n); }
    Vector(std::size_t n, const T& value) { Resize(n, value); }
    Vector(std::initializer_list<T> values)
    {
        ensureReasonableAllocation(values.size());
        items.assign(values);
    }

    /** Called before every allocation for n elements; throws a kel::Exception
        ("Overly large array allocation ...") beyond 6 GB. */
    static void ensureReasonableAllocation(std::size_t n)
    {
        detail::EnsureReasonableArrayAllocation(n, sizeof(T));
    }

    std::size_t size() const noexcept { return items.size(); }
    std::size_t Size() const noexcept { return items.size(); }
    std::size_t capacity() const noexcept { return items.capacity(); }
    bool IsEmpty() const noexcept { return items.empty(); }
    bool empty() const noexcept { return items.empty(); }

    T& operator[](std::size_t i) noexcept { return items[i]; }
    const T& operator[](std::size_t i) const noexcept { return items[i]; }
    T& Back() noexcept { return items.back(); }
    const T& Back() const noexcept { return items.back(); }
    T* data() noexcept { return items.data(); }
    const T* data() const noexcept { return items.data(); }

    iterator begin() noexcept { return items.begin(); }
    iterator end() noexcept { return items.end(); }
    const_iterator begin() const noexcept { return items.begin(); }
    const_iterator end() const noexcept { return items.end(); }

    void PushBack(const T& value)
    {
        growForOneMore();
        items.push_back(value);
    }
    void PushBack(T&& value)
    {
        growForOneMore();
        items.push_back(std::move(value));
    }
    template <typename... Args>
    T& EmplaceBack(Args&&... args)
    {
        growForOneMore();
        return items.emplace_back(std::forward<Args>(args)...);
    }

    void Insert(std::size_t index, T value)
    {
        growForOneMore();
        items.insert(items.begin() + std::ptrdiff_t(index), std::move(value));
    }
    void Erase(std::size_t index) { items.erase(items.begin() + std::ptrdiff_t(index)); }
    void PopBack() { items.pop_back(); }

    void Reserve(std::size_t n)
    {
        if (n > items.capacity())
        {
            ensureReasonableAllocation(n);
            items.reserve(n);
        }
    }
    void Resize(std::size_t n)
    {
        growFor(n);
        items.resize(n);
    }
    void Resize(std::size_t n, const T& value)
    {
        growFor(n);
        items.resize(n, value);
    }
    /** Empties the vector and keeps its storage. */
    void Clear() noexcept { items.clear(); }
    /** Empties the vector and frees its storage. */
    void ClearAndFree() noexcept { std::vector<T>().swap(items); }

    bool operator==(const Vector& other) const { return items == other.items; }

    const std::vector<T>& asStdVector() const noexcept { return items; }

private:
    void growForOneMore() { growFor(items.size() + 1); }

    /** Geometric growth, so that repeated appends stay linear, but never
        past what the guard allows, so that a vector the guard accepts can
        always be filled. A first allocation is exact. */
    void growFor(std::size_t needed)
    {
        if (needed <= items.capacity())
            return;
        const std::size_t doubled = items.capacity() == 0 ? needed : items.capacity() * 2;
        Reserve(std::max(needed, std::min(doubled, maxElements)));
    }

    std::vector<T> items;
};

} // namespace kel
