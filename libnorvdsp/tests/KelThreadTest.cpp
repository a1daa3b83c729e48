// kel::Thread with real threads: wake-ups, the auto-reset event, stops that
// time out without ending the worker, hand-overs, restarts and names.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cwchar>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#if defined(_WIN32)
#include <windows.h>
#else
#include <pthread.h>
#endif

#include "common/KelThread.h"

namespace {

using namespace std::chrono_literals;

// The calling thread's name as the OS reports it; empty where it keeps none.
std::string CurrentThreadName()
{
#if defined(_WIN32)
    // Looked up like the setter: older Windows lacks it.
    using GetDescription = HRESULT(WINAPI*)(HANDLE, PWSTR*);
    const HMODULE kernel = ::GetModuleHandleW(L"kernel32.dll");
    const auto getDescription =
        kernel ? reinterpret_cast<GetDescription>(reinterpret_cast<void*>(::GetProcAddress(kernel, "GetThreadDescription")))
               : nullptr;
    PWSTR wide = nullptr;
    if (getDescription == nullptr || FAILED(getDescription(::GetCurrentThread(), &wide)))
        return {};
    std::string name(wide, wide + std::wcslen(wide)); // the names used here are ASCII
    ::LocalFree(wide);
    return name;
#else
    char name[32] = {};
    pthread_getname_np(pthread_self(), name, sizeof(name));
    return name;
#endif
}

class CountingThread : public kel::Thread
{
public:
    explicit CountingThread(double waitMs, kel::String name = "counting") : kel::Thread(std::move(name)), waitTime(waitMs) {}
    ~CountingThread() override { stop(1000.0); }

    std::atomic<int> wakeUps{0};
    std::atomic<int> passes{0};
    std::atomic<std::uint64_t> workerId{0};
    std::string observedName;

protected:
    void run() override
    {
        workerId = kel::CurrentThreadId();
        observedName = CurrentThreadName();
        while (!shouldExit())
        {
            ++passes;
            if (wait(waitTime))
                ++wakeUps;
        }
    }

private:
    double waitTime;
};

// Bounds only against hangs: generous, so that a slow sanitizer build passes.
template <typename Predicate>
bool Eventually(Predicate predicate)
{
    const auto deadline = std::chrono::steady_clock::now() + 60s;
    while (!predicate())
    {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

/** A worker that ignores its exit flag until released, as one stuck in a
    read that does not return; it counts its rounds meanwhile. */
class StuckThread : public kel::Thread
{
public:
    StuckThread() : kel::Thread("stuck") {}
    ~StuckThread() override
    {
        release();
        stop(-1.0);
    }

    /** Lets run() return. Shared, so that it can be given once the worker
        owns the object. */
    void release() { *released = true; }

    std::shared_ptr<std::atomic<bool>> released = std::make_shared<std::atomic<bool>>(false);
    std::atomic<bool> entered{false};
    std::atomic<long> rounds{0};
    std::atomic<bool> returned{false};  // run() reached its end: nothing cut it short
    std::atomic<std::uint64_t> workerId{0};

protected:
    void run() override
    {
        workerId = kel::CurrentThreadId();
        entered = true;
        while (!released->load())
        {
            ++rounds;
            std::this_thread::sleep_for(100us);
        }
        returned = true;
    }
};

TEST(Thread, NotifyWakesTheWorkerAndStopEndsAWaitForever)
{
    CountingThread worker(-1.0);
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(Eventually([&] { return worker.passes.load() == 1; }));
    EXPECT_TRUE(worker.isRunning());
    EXPECT_NE(worker.workerId.load(), 0u);
    EXPECT_NE(worker.workerId.load(), kel::CurrentThreadId());

    worker.notify();
    ASSERT_TRUE(Eventually([&] { return worker.wakeUps.load() == 1; }));
    // Waiting for ever, the worker only ends because stop() notifies it.
    EXPECT_TRUE(worker.stop(-1.0));
    EXPECT_FALSE(worker.isRunning());
    EXPECT_TRUE(worker.stop(100.0)) << "stopping a stopped thread succeeds";
}

// The audio thread asks for a pass every block while the ring is low, from
// another thread than the worker's; a request that comes while one is under
// way must still bring a pass after it. A lost one would leave the worker
// waiting for ever (its wait has no time-out here).
TEST(Thread, EveryNotifyAfterAWakeUpBringsAnother)
{
    CountingThread worker(-1.0);
    ASSERT_TRUE(worker.start());
    std::atomic<bool> storming{true};
    std::thread storm(
        [&]
        {
            while (storming.load())
                worker.notify();
        });
    bool allWoke = true;
    for (int i = 0; i < 500 && allWoke; ++i)
    {
        const int before = worker.wakeUps.load();
        worker.notify();
        allWoke = Eventually([&] { return worker.wakeUps.load() > before; });
    }
    storming.store(false);
    storm.join();
    EXPECT_TRUE(allWoke) << "a notify was lost";
    EXPECT_TRUE(worker.stop(-1.0));
}

TEST(Thread, WakeUpEventResetsItself)
{
    // Driven from this thread: wait() is an ordinary member.
    struct Idle : kel::Thread
    {
        Idle() : kel::Thread("idle") {}
        void run() override {}
    } idle;
    idle.notify();
    EXPECT_TRUE(idle.wait(-1.0)) << "a notify before the wait is not lost";
    EXPECT_FALSE(idle.wait(10.0)) << "and is consumed by one wait";
    idle.notify();
    idle.notify();
    EXPECT_TRUE(idle.wait(0.0));
    EXPECT_FALSE(idle.wait(0.0)) << "notifications do not count up";
}

TEST(Thread, RestartsAfterStopAndNamesItself)
{
    CountingThread worker(1.0, "kel::AudioFilePlayer::BufferingThread");
    for (int round = 0; round < 3; ++round)
    {
        ASSERT_TRUE(worker.start());
        EXPECT_TRUE(worker.start()) << "starting a running thread does nothing";
        ASSERT_TRUE(Eventually([&] { return worker.passes.load() > 3 * round + 2; }));
        EXPECT_TRUE(worker.stop(3000.0));
    }
#if defined(_WIN32)
    EXPECT_EQ(worker.observedName, "kel::AudioFilePlayer::BufferingThread");
#else
    // Linux keeps 15 characters of a thread's name.
    EXPECT_EQ(worker.observedName, "kel::AudioFileP");
#endif
}

TEST(Thread, AStopThatTimesOutLeavesTheWorkerRunning)
{
    for (const double timeout : {0.0, 20.0})
    {
        SCOPED_TRACE(timeout);
        StuckThread stuck;
        ASSERT_TRUE(stuck.start());
        ASSERT_TRUE(Eventually([&] { return stuck.entered.load(); }));
        EXPECT_FALSE(stuck.stop(timeout));
        EXPECT_TRUE(stuck.isRunning());
        EXPECT_TRUE(stuck.shouldExit()) << "the exit flag stays set";
        const long rounds = stuck.rounds.load();
        EXPECT_TRUE(Eventually([&] { return stuck.rounds.load() > rounds + 3; })) << "the worker was not ended";

        stuck.release();
        EXPECT_TRUE(stuck.stop(-1.0));
        EXPECT_FALSE(stuck.isRunning());
        EXPECT_TRUE(stuck.returned.load()) << "run() ended on its own";
    }
}

// What a handed-over worker did, kept alive by whoever is last.
struct HandOverRecord
{
    std::atomic<int> calls{0};
    std::atomic<std::uint64_t> callingThread{0};
    std::atomic<std::uint64_t> destroyingThread{0};
};

class RecordedStuckThread : public StuckThread
{
public:
    explicit RecordedStuckThread(std::shared_ptr<HandOverRecord> r) : record(std::move(r)) {}
    ~RecordedStuckThread() override { record->destroyingThread = kel::CurrentThreadId(); }

private:
    std::shared_ptr<HandOverRecord> record;
};

TEST(Thread, HandOverGivesTheOwnersRestToAWorkerStillRunning)
{
    enum class Worker
    {
        neverStarted,
        ended,
        stuck
    };
    for (const Worker state : {Worker::neverStarted, Worker::ended, Worker::stuck})
    {
        SCOPED_TRACE(int(state));
        const auto record = std::make_shared<HandOverRecord>();
        auto* owner = new RecordedStuckThread(record);
        if (state != Worker::neverStarted)
        {
            if (state == Worker::ended)
                owner->release();
            ASSERT_TRUE(owner->start());
            ASSERT_TRUE(Eventually([&] { return owner->entered.load(); }));
            if (state == Worker::ended)
            {
                ASSERT_TRUE(Eventually([&] { return !owner->isRunning(); }));
            }
            EXPECT_EQ(owner->stop(0.0), state == Worker::ended);
        }
        const std::uint64_t workerId = owner->workerId.load();
        const auto released = owner->released;

        const bool handedOver = owner->handOver([owner, record] {
            ++record->calls;
            record->callingThread = kel::CurrentThreadId();
            delete owner;
        });
        EXPECT_EQ(handedOver, state == Worker::stuck);
        if (!handedOver)
        {
            EXPECT_EQ(record->calls.load(), 0) << "nothing runs when there is no worker left";
            delete owner;
            EXPECT_EQ(record->destroyingThread.load(), kel::CurrentThreadId());
            continue;
        }
        EXPECT_EQ(record->calls.load(), 0) << "the worker has not finished yet";
        *released = true;
        ASSERT_TRUE(Eventually([&] { return record->destroyingThread.load() != 0; }));
        EXPECT_EQ(record->calls.load(), 1);
        EXPECT_EQ(record->callingThread.load(), workerId);
        EXPECT_EQ(record->destroyingThread.load(), workerId) << "the destructor ran on the worker itself";
    }
}

// A hand-over racing the worker's own end: each owner is deleted exactly
// once, by the worker (hand-over taken) or by the caller (refused). The
// pause between the stop and the hand-over follows the outcomes, so the
// rounds cluster where the worker ends just as it is handed over.
TEST(Thread, HandOverRacingTheWorkersEndFreesTheOwnerOnce)
{
    struct Quick : kel::Thread
    {
        explicit Quick(std::atomic<int>& count) : kel::Thread("quick"), destroyed(count) {}
        ~Quick() override
        {
            stop(-1.0);
            ++destroyed;
        }
        void run() override
        {
            while (!shouldExit())
                std::this_thread::yield();
        }
        std::atomic<int>& destroyed;
    };

    constexpr int owners = 400;
    // Static: a handed-over worker may still be inside its owner's
    // destructor when a failed expectation ends the test.
    static std::atomic<int> destroyed{0};
    destroyed = 0;
    int handedOver = 0;
    int refused = 0;
    int pause = 0;
    for (int i = 0; i < owners; ++i)
    {
        auto* owner = new Quick(destroyed);
        ASSERT_TRUE(owner->start());
        if (owner->stop(0.0))
        {
            delete owner;
            continue;
        }
        for (int p = 0; p < pause; ++p)
            std::this_thread::yield();
        if (owner->handOver([owner] { delete owner; }))
        {
            ++handedOver;
            pause = pause * 2 + 1;
        }
        else
        {
            ++refused;
            delete owner;
            pause /= 2;
        }
    }
    EXPECT_TRUE(Eventually([] { return destroyed.load() >= owners; }));
    EXPECT_EQ(destroyed.load(), owners);
    EXPECT_GT(handedOver, 0);
    EXPECT_GT(refused, 0) << "no worker ended before its hand-over";
}

TEST(Thread, ManyStartStopCyclesFromSeveralThreads)
{
    CountingThread worker(2.0);
    std::vector<std::thread> controllers;
    for (int t = 0; t < 3; ++t)
        controllers.emplace_back([&] {
            for (int i = 0; i < 40; ++i)
            {
                worker.start();
                worker.notify();
                if (i % 3 == 0)
                    worker.stop(1000.0);
            }
        });
    for (auto& c : controllers)
        c.join();
    EXPECT_TRUE(worker.stop(1000.0));
    EXPECT_FALSE(worker.isRunning());
}

} // namespace
