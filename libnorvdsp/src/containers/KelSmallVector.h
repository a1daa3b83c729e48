// kel::SmallVector<T, N>: a growable array whose first N elements live inside
// the object, so that a short list costs no allocation. Beyond N it moves
// everything to the heap, growing geometrically under the same 6 GB guard as
// kel::Vector. Used where a value is built often and is usually small (an OSC
// message's arguments, an address's parts), including on the audio thread.
//
// Not thread-safe; an instance that stays within N never allocates, so a
// thread that must not allocate may build, copy and destroy one.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "containers/KelVector.h"

namespace kel {

template <typename T, std::size_t N>
class SmallVector
{
    static_assert(N > 0, "a small vector holds at least one element inside");
    static_assert(std::is_nothrow_move_constructible_v<T>, "elements move between storages without failing");

public:
    using value_type = T;
    using iterator = T*;
    using const_iterator = const T*;

    static constexpr std::size_t inlineCapacity = N;

    // User-provided, so that SmallVector() does not zero the inline storage first.
    SmallVector() noexcept {}
    SmallVector(const SmallVector& other) : SmallVector() { appendCopies(other); }
    SmallVector(SmallVector&& other) noexcept : SmallVector() { takeFrom(other); }
    SmallVector& operator=(const SmallVector& other)
    {
        if (this != &other)
        {
            Clear();
            appendCopies(other);
        }
        return *this;
    }
    SmallVector& operator=(SmallVector&& other) noexcept
    {
        if (this != &other)
        {
            Clear();
            releaseHeap();
            takeFrom(other);
        }
        return *this;
    }
    ~SmallVector()
    {
        Clear();
        releaseHeap();
    }

    std::size_t size() const noexcept { return count; }
    std::size_t capacity() const noexcept { return heap != nullptr ? heapCapacity : N; }
    bool empty() const noexcept { return count == 0; }
    /** True while the elements live inside the object. */
    bool isInline() const noexcept { return heap == nullptr; }

    T& operator[](std::size_t i) noexcept { return data()[i]; }
    const T& operator[](std::size_t i) const noexcept { return data()[i]; }
    T& Back() noexcept { return data()[count - 1]; }
    const T& Back() const noexcept { return data()[count - 1]; }
    T* data() noexcept { return heap != nullptr ? heap : local(); }
    const T* data() const noexcept { return heap != nullptr ? heap : local(); }

    iterator begin() noexcept { return data(); }
    iterator end() noexcept { return data() + count; }
    const_iterator begin() const noexcept { return data(); }
    const_iterator end() const noexcept { return data() + count; }

    template <typename... Args>
    T& EmplaceBack(Args&&... args)
    {
        if (count == capacity())
            grow(count + 1);
        T* slot = data() + count;
        std::construct_at(slot, std::forward<Args>(args)...);
        ++count;
        return *slot;
    }
    void PushBack(const T& value) { EmplaceBack(value); }
    void PushBack(T&& value) { EmplaceBack(std::move(value)); }
    /** Appends copies of n elements (which must not be this vector's own). */
    void Append(const T* items, std::size_t n)
    {
        Reserve(count + n);
        T* at = data() + count;
        if constexpr (std::is_trivially_copyable_v<T>)
        {
            if (n != 0)
                std::memcpy(static_cast<void*>(at), items, n * sizeof(T));
            count += n;
        }
        else
        {
            for (std::size_t i = 0; i < n; ++i, ++count)
                std::construct_at(at + i, items[i]);
        }
    }
    void PopBack() noexcept { std::destroy_at(data() + --count); }
    /** Removes the element at index; those after it move down one place. */
    void Erase(std::size_t index) noexcept
    {
        T* items = data();
        std::move(items + index + 1, items + count, items + index);
        PopBack();
    }

    /** Shrinks to n elements or grows to n with copies of value (which
        must not be one of this vector's own elements). */
    void Resize(std::size_t n, const T& value)
    {
        if (n <= count)
        {
            std::destroy(data() + n, data() + count);
            count = n;
            return;
        }
        Reserve(n);
        if constexpr (std::is_trivially_copyable_v<T>)
        {
            std::uninitialized_fill(data() + count, data() + n, value);
            count = n;
        }
        else
        {
            for (T* at = data(); count < n; ++count)
                std::construct_at(at + count, value);
        }
    }
    /** Makes room for n elements in all; allocates only beyond N. */
    void Reserve(std::size_t n)
    {
        if (n > capacity())
            grow(n);
    }
    /** Destroys the elements and keeps the storage. */
    void Clear() noexcept
    {
        std::destroy(begin(), end());
        count = 0;
    }

    bool operator==(const SmallVector& other) const
    {
        return std::equal(begin(), end(), other.begin(), other.end());
    }

private:
    T* local() noexcept { return std::launder(reinterpret_cast<T*>(storage)); }
    const T* local() const noexcept { return std::launder(reinterpret_cast<const T*>(storage)); }

    // Counted one by one (Append), so that a copy that throws leaves only whole elements.
    void appendCopies(const SmallVector& other) { Append(other.data(), other.count); }

    // Empties other into this, which must be empty and inline.
    void takeFrom(SmallVector& other) noexcept
    {
        if (other.heap != nullptr)
        {
            heap = std::exchange(other.heap, nullptr);
            heapCapacity = std::exchange(other.heapCapacity, 0);
            count = std::exchange(other.count, 0);
            return;
        }
        relocate(other.local(), other.count, local());
        count = std::exchange(other.count, 0);
    }

    // Moves n elements from source into raw storage at target and destroys the originals.
    static void relocate(T* source, std::size_t n, T* target) noexcept
    {
        if constexpr (std::is_trivially_copyable_v<T>)
        {
            if (n != 0)
                std::memcpy(static_cast<void*>(target), source, n * sizeof(T));
        }
        else
        {
            std::uninitialized_move(source, source + n, target);
            std::destroy(source, source + n);
        }
    }

    void grow(std::size_t needed)
    {
        const std::size_t doubled = 2 * capacity();
        const std::size_t newCapacity =
            std::max(needed, std::min(doubled, Vector<T>::maxElements));
        Vector<T>::ensureReasonableAllocation(newCapacity);
        T* bigger = std::allocator<T>().allocate(newCapacity);
        relocate(data(), count, bigger);
        releaseHeap();
        heap = bigger;
        heapCapacity = newCapacity;
    }

    void releaseHeap() noexcept
    {
        if (heap != nullptr)
            std::allocator<T>().deallocate(heap, heapCapacity);
        heap = nullptr;
        heapCapacity = 0;
    }

    alignas(T) std::byte storage[N * sizeof(T)];
    T* heap = nullptr; // null while the elements are inline
    std::size_t heapCapacity = 0;
    std::size_t count = 0;
};

} // namespace kel
