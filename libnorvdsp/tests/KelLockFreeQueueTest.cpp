// The report queue's ring: order, refusal when full or empty, and several
// producers against one consumer on real threads (also run under TSan).
#include <array>
#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "containers/KelLockFreeQueue.h"

namespace {

using Queue = kel::LockFreeQueue<std::uint64_t>;

bool Push(Queue& queue, std::uint64_t value)
{
    return queue.TryPush([value](std::uint64_t& slot) noexcept { slot = value; });
}

bool Pop(Queue& queue, std::uint64_t& value)
{
    return queue.TryPop([&value](std::uint64_t& slot) noexcept { value = slot; });
}

TEST(LockFreeQueue, KeepsOrderAndRefusesWhenFullOrEmpty)
{
    Queue queue(6);  // rounded up to 8
    ASSERT_EQ(queue.getCapacity(), 8u);
    std::uint64_t value = 0;
    EXPECT_FALSE(Pop(queue, value));
    // Several laps round the ring, with the fill going up and down.
    std::uint64_t next = 0, expected = 0;
    for (int lap = 0; lap < 5; ++lap)
    {
        while (Push(queue, next))
            ++next;
        EXPECT_EQ(next - expected, 8u);
        for (int i = 0; i < 3 + lap % 4; ++i)
        {
            ASSERT_TRUE(Pop(queue, value));
            EXPECT_EQ(value, expected++);
        }
    }
    while (Pop(queue, value))
        EXPECT_EQ(value, expected++);
    EXPECT_EQ(expected, next);
}

// Three producers (the audio, buffering and scheduler threads) push numbered
// items while one consumer (the main thread) pops: each producer's items
// arrive once, in its order, none lost but those refused as full.
TEST(LockFreeQueueThreads, ProducersAgainstOneConsumer)
{
    constexpr int numProducers = 3;
    constexpr std::uint64_t perProducer = 20000;
    Queue queue(64);
    std::array<std::atomic<std::uint64_t>, numProducers> refused{};
    std::atomic<int> running{numProducers};
    std::vector<std::thread> producers;
    for (int p = 0; p < numProducers; ++p)
        producers.emplace_back(
            [&, p]
            {
                for (std::uint64_t i = 0; i < perProducer; ++i)
                    while (!Push(queue, (std::uint64_t(p) << 32) | i))
                    {
                        refused[std::size_t(p)].fetch_add(1, std::memory_order_relaxed);
                        std::this_thread::yield();
                    }
                running.fetch_sub(1);
            });
    std::array<std::uint64_t, numProducers> nextOf{};
    std::uint64_t value = 0;
    bool ordered = true;
    for (;;)
    {
        const bool done = running.load() == 0;
        while (Pop(queue, value))
        {
            const auto p = std::size_t(value >> 32);
            ordered = ordered && p < numProducers && (value & 0xffffffffu) == nextOf[p];
            if (p < numProducers)
                ++nextOf[p];
        }
        if (done)
            break;
        std::this_thread::yield();
    }
    for (std::thread& t : producers)
        t.join();
    EXPECT_TRUE(ordered);
    for (int p = 0; p < numProducers; ++p)
        EXPECT_EQ(nextOf[std::size_t(p)], perProducer) << "producer " << p;
}

} // namespace
