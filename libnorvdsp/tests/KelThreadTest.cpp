// kel::Thread with real threads: wake-ups, the auto-reset event, polite and
// forced stops, restarts and names.
#include <atomic>
#include <chrono>
#include <cwchar>
#include <string>
#include <thread>

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
    std::string observedName;

protected:
    void run() override
    {
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

template <typename Predicate>
bool Eventually(Predicate predicate)
{
    for (int i = 0; i < 1000; ++i)
    {
        if (predicate())
            return true;
        std::this_thread::sleep_for(5ms);
    }
    return predicate();
}

TEST(Thread, NotifyWakesTheWorkerAndStopEndsAWaitForever)
{
    CountingThread worker(-1.0);
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(Eventually([&] { return worker.passes.load() == 1; }));
    EXPECT_TRUE(worker.isRunning());
    EXPECT_NE(worker.getThreadId(), 0u);

    worker.notify();
    ASSERT_TRUE(Eventually([&] { return worker.wakeUps.load() == 1; }));
    // Waiting for ever, the worker only ends because stop() notifies it.
    EXPECT_TRUE(worker.stop(-1.0));
    EXPECT_FALSE(worker.isRunning());
    EXPECT_EQ(worker.getThreadId(), 0u);
    EXPECT_TRUE(worker.stop(100.0)) << "stopping a stopped thread succeeds";
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

// The sanitizers' runtimes do not follow a cancelled thread's forced unwind
// (false reports), so the forced end is checked in the plain build only.
#if !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__)
TEST(Thread, AWorkerThatIgnoresStopIsEndedForcibly)
{
    struct Stubborn : kel::Thread
    {
        Stubborn() : kel::Thread("stubborn") {}
        std::atomic<bool> entered{false};
        void run() override
        {
            entered = true;
            for (;;)
                std::this_thread::sleep_for(1ms);
        }
    } stubborn;
    ASSERT_TRUE(stubborn.start());
    ASSERT_TRUE(Eventually([&] { return stubborn.entered.load(); }));
    EXPECT_FALSE(stubborn.stop(50.0));
    EXPECT_FALSE(stubborn.isRunning());
}
#endif

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
