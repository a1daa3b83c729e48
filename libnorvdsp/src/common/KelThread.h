// kel::Thread: a named worker thread with an auto-reset wake-up event and a
// polite, polled stop. Subclasses implement run() and poll shouldExit().
//
// A worker is never ended forcibly: a thread killed while it holds a lock of
// the C runtime (the heap's) hangs the whole process. A worker that does not
// end in time keeps running with its exit flag set; its owner either waits
// again or hands itself over to it (handOver), and the worker then frees the
// owner when run() returns.
//
// Threads: start(), stop(), signalShouldExit() and notify() may be called
// from any thread but the worker itself (stop() from the worker would wait
// for its own end). wait() is for the worker. notify() and shouldExit()
// never block for long (notify takes the event's mutex briefly, once per
// wake-up) and are safe on the audio thread. handOver() is the owner's last
// call.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

#include "common/KelString.h"

namespace kel {

/** The calling thread's id: never 0, distinct among the threads alive at
    once. Any thread, also one the library did not create (the host's audio
    thread): allocates nothing and never blocks. */
std::uint64_t CurrentThreadId() noexcept;

class Thread
{
public:
    explicit Thread(String threadName);
    /** Waits for the worker to end, without a time-out. Subclasses whose
        run() uses their own members must stop the thread in their own
        destructor, before those members go. Inside handOver's whenFinished
        (on the worker itself) there is nothing left to wait for. */
    virtual ~Thread();

    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /** Starts the OS thread; does nothing (but clear the exit flag) when it
        already runs. Returns false when the OS refused to create it. Blocks
        briefly. */
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

    /** Sets the exit flag, wakes the worker and waits up to the time-out
        (negative: for ever, zero: not at all) for run() to return. Returns
        whether the worker has ended; one that has not keeps running, its
        exit flag set. Blocks; never call it from the worker or the audio
        thread. */
    bool stop(double timeoutMilliseconds);

    /** For a worker that did not end in time (after stop returned false):
        hands the rest of the owner's life to the worker. Returns false and
        does nothing when the worker has already ended (or never started):
        the caller cleans up as usual. Otherwise returns true, and the worker
        calls whenFinished on its own thread right after run() returns;
        whenFinished may delete this Thread and whatever owns it. After true
        the caller must not touch the Thread again, nor may any other thread.
        Never blocks. */
    bool handOver(std::function<void()> whenFinished);

    /** True from start() until run() has returned. */
    bool isRunning() const noexcept;
    const String& getName() const noexcept { return name; }

protected:
    /** The thread's work; return when shouldExit() turns true. */
    virtual void run() = 0;

private:
    // One atomic word settles who finishes the worker: the worker's single
    // exchange at its end either sees handedOver (and owns everything) or
    // tells the owner it has finished (and touches nothing more).
    enum class Life : int
    {
        idle,        // no OS thread to wait for
        running,     // run() has not returned
        finished,    // run() has returned; the OS thread is not joined yet
        handedOver   // run() has not returned; the worker calls whenFinished
    };

    struct Native;
    static void Entry(Thread* self) noexcept;
    /** Joins (or closes) the OS thread of a finished worker; control held. */
    void reap() noexcept;

    String name;
    Native* native = nullptr;                  // the OS thread handle, owned
    std::atomic<Life> life{Life::idle};
    std::function<void()> whenFinished;        // written before handedOver, read by the worker after
    std::mutex controlMutex;                   // serialises start and stop

    std::mutex wakeMutex;
    std::condition_variable wakeCondition;
    bool signalled = false;
    std::atomic<bool> wakePending{false};  // a notify has signalled, or is about to, and wait has not consumed it

    std::atomic<bool> exitFlag{false};
};

} // namespace kel
