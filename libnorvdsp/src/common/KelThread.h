// kel::Thread: a named worker thread with an auto-reset wake-up event and a
// polite, polled stop. Subclasses implement run() and poll shouldExit().
//
// Threads: start(), stop(), signalShouldExit() and notify() may be called
// from any thread but the worker itself (stop() from the worker would wait
// for its own end). wait() is for the worker. notify() and shouldExit()
// never block for long (notify takes the event's mutex briefly) and are safe
// on the audio thread.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "common/KelString.h"

namespace kel {

class Thread
{
public:
    explicit Thread(String threadName);
    /** Stops the thread (500 ms time-out) unless setSkipStopOnDestruction was
        called. Subclasses whose run() uses their own members must stop the
        thread in their own destructor, before those members go. */
    virtual ~Thread();

    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /** Starts the OS thread; does nothing when it already runs. Returns false
        when the OS refused to create it. Blocks briefly. */
    bool start();

    /** Asks run() to return; never blocks. */
    void signalShouldExit() noexcept;
    bool shouldExit() const noexcept { return exitFlag.load(std::memory_order_acquire); }

    /** Wakes a wait() now or, if none is in progress, makes the next one
        return at once. */
    void notify() noexcept;

    /** Worker only. Waits until notified or until the time passes (a
        negative time waits for ever); returns whether it was notified.
        The event resets itself. */
    bool wait(double milliseconds);

    /** Sets the exit flag, wakes the worker and polls every 5 ms until it has
        ended. A positive time-out allows timeout / 5 polls, a negative one
        waits for ever, zero does not wait. A thread still running after that
        is ended forcibly and false is returned. Blocks; never call it from
        the worker or the audio thread. */
    bool stop(double timeoutMilliseconds);

    bool isRunning() const noexcept { return running.load(std::memory_order_acquire); }
    const String& getName() const noexcept { return name; }

    void setSkipStopOnDestruction(bool skip) noexcept { skipStopOnDestruction = skip; }

    /** Kept for the host's scheduling hints; the OS default is used. */
    int getPriority() const noexcept { return priority; }
    void setPriority(int newPriority) noexcept { priority = newPriority; }
    /** An id of the worker while it runs, 0 otherwise. */
    std::uint64_t getThreadId() const noexcept { return threadId.load(std::memory_order_acquire); }

protected:
    /** The thread's work; return when shouldExit() turns true. */
    virtual void run() = 0;

private:
    struct Native;
    static void Entry(Thread* self);

    String name;
    Native* native = nullptr;             // the OS thread handle, owned
    std::atomic<bool> running{false};     // true from creation until run() has returned
    std::atomic<std::uint64_t> threadId{0};
    std::recursive_mutex startMutex;      // serialises start and stop

    std::mutex startedMutex;
    std::condition_variable startedCondition;
    bool started = false;

    std::mutex wakeMutex;
    std::condition_variable wakeCondition;
    bool signalled = false;

    std::atomic<bool> exitFlag{false};
    int priority = 2;
    bool skipStopOnDestruction = false;
};

} // namespace kel
