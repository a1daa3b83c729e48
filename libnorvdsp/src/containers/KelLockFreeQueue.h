// kel::LockFreeQueue<T>: a bounded first-in first-out queue that any number of
// threads push to and pop from without a lock (Dmitry Vyukov's bounded
// queue: each slot carries a sequence number that says whose turn it is).
// Pushing and popping never allocate and never wait for another thread; a
// full queue refuses the push, an empty one the pop.
//
// Slots are written and read in place (TryPush's fill, TryPop's take), so a
// large T is not copied twice. Keep fill and take short: a slot being filled
// or taken holds up the slots behind it (a pop stops there; a push that comes
// round to it finds the queue full).
//
// Threads: construction and destruction on one thread, while no other uses
// the queue; TryPush and TryPop from any thread.
#pragma once

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace kel {

template <typename T>
class LockFreeQueue
{
public:
    /** Room for capacity items, rounded up to a power of two. Allocates. */
    explicit LockFreeQueue(std::size_t capacity)
        : mask(std::bit_ceil(capacity < 2 ? std::size_t(2) : capacity) - 1), cells(new Cell[mask + 1])
    {
        for (std::size_t i = 0; i <= mask; ++i)
            cells[i].sequence.store(i, std::memory_order_relaxed);
    }

    LockFreeQueue(const LockFreeQueue&) = delete;
    LockFreeQueue& operator=(const LockFreeQueue&) = delete;

    std::size_t getCapacity() const noexcept { return mask + 1; }

    /** fill(T&) writes the item into its slot; false (fill not called) when
        the queue is full. Any thread; never blocks. */
    template <typename Fill>
    bool TryPush(Fill&& fill) noexcept(noexcept(fill(std::declval<T&>())))
    {
        std::size_t position = pushPosition.load(std::memory_order_relaxed);
        for (;;)
        {
            Cell& cell = cells[position & mask];
            const std::size_t sequence = cell.sequence.load(std::memory_order_acquire);
            const auto lead = std::intptr_t(sequence) - std::intptr_t(position);
            if (lead == 0)
            {
                if (pushPosition.compare_exchange_weak(position, position + 1, std::memory_order_relaxed))
                {
                    fill(cell.item);
                    cell.sequence.store(position + 1, std::memory_order_release);
                    return true;
                }
            }
            else if (lead < 0)
                return false;
            else
                position = pushPosition.load(std::memory_order_relaxed);
        }
    }

    /** take(T&) reads (or moves) the oldest item out of its slot; false
        (take not called) when the queue is empty. Any thread; never blocks. */
    template <typename Take>
    bool TryPop(Take&& take) noexcept(noexcept(take(std::declval<T&>())))
    {
        std::size_t position = popPosition.load(std::memory_order_relaxed);
        for (;;)
        {
            Cell& cell = cells[position & mask];
            const std::size_t sequence = cell.sequence.load(std::memory_order_acquire);
            const auto lead = std::intptr_t(sequence) - std::intptr_t(position + 1);
            if (lead == 0)
            {
                if (popPosition.compare_exchange_weak(position, position + 1, std::memory_order_relaxed))
                {
                    take(cell.item);
                    cell.sequence.store(position + mask + 1, std::memory_order_release);
                    return true;
                }
            }
            else if (lead < 0)
                return false;
            else
                position = popPosition.load(std::memory_order_relaxed);
        }
    }

private:
    struct Cell
    {
        std::atomic<std::size_t> sequence{0};
        T item{};
    };

    const std::size_t mask;
    std::unique_ptr<Cell[]> cells;
    // Apart, so that producers and the consumer do not share a cache line.
    alignas(64) std::atomic<std::size_t> pushPosition{0};
    alignas(64) std::atomic<std::size_t> popPosition{0};
};

} // namespace kel
