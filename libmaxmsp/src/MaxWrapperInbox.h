// Work that reaches an object on a thread other than Max's main thread (the
// scheduler thread with Overdrive, the audio thread with Scheduler in Audio
// Interrupt) and must run on the main thread: opening files, moving the
// transport and reading the disk would hold up Max's timing there.
//
// A qelem of the object's own rather than defer: what arrives keeps its
// order (also against work that arrives later on the main thread, which
// runs after what waits), and freeing the object cancels what still waits
// instead of leaving a deferred call to a freed object.
//
// Threads: construction and destruction on the main thread; Run on any of
// Max's threads (it allocates, so never in a perform routine).
#pragma once

#include <deque>
#include <functional>
#include <mutex>

#include "MaxWrapperApi.h"

namespace maxmsp {

class MainThreadInbox
{
public:
    MainThreadInbox();
    /** Drops what still waits. */
    ~MainThreadInbox();
    MainThreadInbox(const MainThreadInbox&) = delete;
    MainThreadInbox& operator=(const MainThreadInbox&) = delete;

    /** On the main thread: runs what waits, then work. Elsewhere: queues
        work for the main thread. work must not throw. */
    void Run(std::function<void()> work);

private:
    /** Main thread: runs what waits, in order, without the lock. */
    void serve();
    static void qelemTick(MainThreadInbox* self);

    std::mutex mutex;  // held only to push or pop
    std::deque<std::function<void()>> waiting;
    void* qelem = nullptr;
};

} // namespace maxmsp
