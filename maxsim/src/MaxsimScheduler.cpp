#include "MaxsimScheduler.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "MaxsimGuiEvents.h"
#include "MaxsimHooks.h"
#include "MaxsimObjects.h"
#include "MaxsimQueue.h"

namespace maxsim
{
namespace
{

using SteadyClock = std::chrono::steady_clock;

struct ClockRecord
{
    t_object ob;
    void* arg = nullptr;
    method fn = nullptr;
    const void* owner = nullptr;
    unsigned long long ownerSerial = 0;
    std::string ownerSubject;
    bool set = false;
    bool freed = false;
    double due = 0.0;
    unsigned long long order = 0;

    bool ownerFreed() const { return ownerSerial && !IsLive(owner, ownerSerial); }
    std::string ownerName() const { return ownerSerial && !ownerFreed() ? Subject(owner) : ownerSubject; }
};

struct SchedTask
{
    std::function<void()> fn;
    bool done = false;
};

struct State
{
    std::mutex mutex;  // guards everything below
    std::condition_variable changed;
    std::vector<ClockRecord*> clocks;  // never released: see the clock class
    std::deque<std::shared_ptr<SchedTask>> schedTasks;
    double now = 0.0;
    unsigned long long order = 0;
    bool kicked = false;
    bool audioRunning = false;
    bool continuousAudio = false;
    bool schedulerBusy = false;
    bool tickBusy = false;
    bool quit = false;
    std::thread thread;
    // Held by whichever thread runs scheduler events, so that two never do.
    std::mutex events;
};

State& state()
{
    static State* instance = new State;
    return *instance;
}

ClockRecord* dueClock(State& s)
{
    ClockRecord* best = nullptr;
    for (ClockRecord* c : s.clocks)
        if (c->set && c->due <= s.now && (!best || c->due < best->due || (c->due == best->due && c->order < best->order)))
            best = c;
    return best;
}

double nextDue(State& s)
{
    double next = -1.0;
    for (ClockRecord* c : s.clocks)
        if (c->set && (next < 0.0 || c->due < next))
            next = c->due;
    return next;
}

bool hasEvents(State& s) { return dueClock(s) || !s.schedTasks.empty(); }

// Overdrive on or audio: an event is due or running on the thread that runs them.
bool eventsPending(State& s)
{
    return GetOverdrive() != Overdrive::Off && (s.schedulerBusy || s.tickBusy || hasEvents(s));
}

bool schedulerThreadDrives(State& s)
{
    const Overdrive mode = GetOverdrive();
    return mode == Overdrive::On || (mode == Overdrive::Audio && !s.audioRunning);
}

// Runs due clocks, then `sched` messages, until none is left. The caller holds `events`.
void runEvents(State& s)
{
    std::unique_lock<std::mutex> lock(s.mutex);
    for (;;)
    {
        if (ClockRecord* c = dueClock(s))
        {
            c->set = false;
            void* arg = c->arg;
            method fn = c->fn;
            // Entered before the lock goes, so that a free of the owner meanwhile waits for the call.
            std::optional<CallScope> scope;
            scope.emplace(c->owner);
            const bool ownerFreed = c->ownerFreed();
            lock.unlock();
            if (ownerFreed)
                // Set while its object was being freed, after the check at free.
                Violation(c->ownerName(), "a clock set while it was freed fired (not called)");
            else if (fn)
                reinterpret_cast<void (*)(void*)>(fn)(arg);
            scope.reset();
            lock.lock();
            continue;
        }
        if (!s.schedTasks.empty())
        {
            std::shared_ptr<SchedTask> task = s.schedTasks.front();
            s.schedTasks.pop_front();
            lock.unlock();
            task->fn();
            lock.lock();
            task->done = true;
            s.changed.notify_all();
            continue;
        }
        return;
    }
}

void schedulerLoop()
{
    SetRole(Role::Scheduler);
    State& s = state();
    std::unique_lock<std::mutex> lock(s.mutex);
    for (;;)
    {
        s.changed.wait(lock, [&] { return s.quit || (schedulerThreadDrives(s) && hasEvents(s)); });
        if (s.quit)
            return;
        s.schedulerBusy = true;
        lock.unlock();
        {
            std::lock_guard<std::mutex> events(s.events);
            // The audio thread may have taken over while this thread waited.
            std::unique_lock<std::mutex> check(s.mutex);
            const bool drives = schedulerThreadDrives(s);
            check.unlock();
            if (drives)
                runEvents(s);
        }
        lock.lock();
        s.schedulerBusy = false;
        s.changed.notify_all();
    }
}

// Main thread, the lock held: waits until `ready`, serving the window system
// at least every kGuiEventPeriod meanwhile (without the lock).
template <typename Ready>
void waitServingGui(std::unique_lock<std::mutex>& lock, Ready ready)
{
    State& s = state();
    while (!s.changed.wait_for(lock, kGuiEventPeriod, ready))
    {
        lock.unlock();
        ServeGuiEvents();
        lock.lock();
    }
}

// Clocks stay allocated after freeobject, so that a late call is reported
// instead of reading freed memory.
ClassRecord* clockClass()
{
    static ClassRecord* cls = [] {
        ClassRecord* c = NewKernelClass("clock", [](t_object*) {});
        c->c_freefun = reinterpret_cast<method>(+[](void* x) -> void* {
            State& s = state();
            std::lock_guard<std::mutex> lock(s.mutex);
            auto* clock = static_cast<ClockRecord*>(x);
            clock->set = false;
            clock->freed = true;
            return nullptr;
        });
        return c;
    }();
    return cls;
}

// Checks a clock call; false when the clock may not be touched.
bool usable(ClockRecord* c, const char* function)
{
    bool freed = false;
    {
        State& s = state();
        std::lock_guard<std::mutex> lock(s.mutex);
        freed = c->freed;
    }
    if (freed)
    {
        Violation(c->ownerName(), std::string("called ") + function + " on a freed clock");
        return false;
    }
    if (c->ownerFreed())
    {
        Violation(c->ownerName(), std::string("called ") + function + " on a clock of the freed object");
        return false;
    }
    // Clocks are for Max's threads; a thread of one's own goes through a qelem.
    if (CurrentRole() == Role::Foreign)
        Violation(c->ownerName(), std::string("called ") + function);
    return true;
}

}  // namespace

void StartScheduler(Overdrive mode)
{
    SetOverdriveMode(mode);
    State& s = state();
    s.quit = false;
    s.thread = std::thread(schedulerLoop);
}

void StopScheduler()
{
    State& s = state();
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.quit = true;
    }
    s.changed.notify_all();
    if (s.thread.joinable())
        s.thread.join();
}

void SetOverdrive(Overdrive mode)
{
    State& s = state();
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        SetOverdriveMode(mode);
    }
    s.changed.notify_all();
}

void ServeAll()
{
    State& s = state();
    ServeGuiEvents();
    for (;;)
    {
        if (RunQueued())
            continue;
        if (GetOverdrive() != Overdrive::Off)
            return;
        std::lock_guard<std::mutex> events(s.events);
        {
            std::lock_guard<std::mutex> lock(s.mutex);
            if (!hasEvents(s))
                return;
        }
        runEvents(s);
    }
}

void ServeWhile(const std::function<bool()>& busy)
{
    State& s = state();
    while (busy())
    {
        ServeAll();
        std::unique_lock<std::mutex> lock(s.mutex);
        s.changed.wait_for(lock, kGuiEventPeriod, [&] { return s.kicked; });
        s.kicked = false;
    }
    ServeAll();
}

void ServeFor(double ms) { ServeUntil(ms, nullptr); }

bool ServeUntil(double ms, const std::function<bool()>& done)
{
    State& s = state();
    const auto start = SteadyClock::now();
    const auto end = start + std::chrono::duration_cast<SteadyClock::duration>(std::chrono::duration<double, std::milli>(ms));
    double base;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        base = s.now;
    }
    bool reached = false;
    for (;;)
    {
        ServeAll();
        if (done && done())
        {
            reached = true;
            break;
        }
        std::unique_lock<std::mutex> lock(s.mutex);
        const auto t = SteadyClock::now();
        if (!s.continuousAudio)
        {
            s.now = std::max(s.now, base + std::min(ms, std::chrono::duration<double, std::milli>(t - start).count()));
            s.changed.notify_all();
        }
        if (t >= end)
            break;
        auto until = std::min(end, t + kGuiEventPeriod);
        const double next = nextDue(s);
        if (next >= 0.0 && !s.continuousAudio)
            until = std::min(until, start + std::chrono::duration_cast<SteadyClock::duration>(
                                                std::chrono::duration<double, std::milli>(next - base)));
        s.changed.wait_until(lock, until, [&] { return s.kicked; });
        s.kicked = false;
    }
    ServeAll();
    return reached || (done && done());
}

void Settle()
{
    State& s = state();
    for (int round = 0;; ++round)
    {
        ServeAll();
        bool continuous;
        {
            std::unique_lock<std::mutex> lock(s.mutex);
            waitServingGui(lock, [&] { return !eventsPending(s); });
            continuous = s.continuousAudio;
        }
        if (QueueIsEmpty())
        {
            if (GetOverdrive() != Overdrive::Off)
                break;
            std::lock_guard<std::mutex> lock(s.mutex);
            if (!hasEvents(s))
                break;
        }
        // Running audio keeps adding work: the state at the command's end is enough.
        if (continuous && round >= 3)
            break;
    }
}

void RunScheduled(const std::function<void()>& fn)
{
    if (GetOverdrive() == Overdrive::Off)
        return fn();
    State& s = state();
    auto task = std::make_shared<SchedTask>();
    task->fn = fn;
    std::unique_lock<std::mutex> lock(s.mutex);
    s.schedTasks.push_back(task);
    s.changed.notify_all();
    waitServingGui(lock, [&] { return task->done; });
}

void AudioBegins(bool continuous)
{
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.audioRunning = true;
    s.continuousAudio = continuous;
}

void AudioEnds()
{
    State& s = state();
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.audioRunning = false;
        s.continuousAudio = false;
        s.kicked = true;
    }
    s.changed.notify_all();
}

void SchedulerTick()
{
    if (GetOverdrive() != Overdrive::Audio)
        return;
    State& s = state();
    RoleScope role(Role::AudioTick);
    std::lock_guard<std::mutex> events(s.events);
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.tickBusy = true;
    }
    runEvents(s);
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.tickBusy = false;
    }
    s.changed.notify_all();
}

void AdvanceTime(double ms)
{
    State& s = state();
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.now = ms;
        s.kicked = true;
    }
    s.changed.notify_all();
}

double SchedulerTime()
{
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.now;
}

void Wake()
{
    State& s = state();
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.kicked = true;
    }
    s.changed.notify_all();
}

void ClocksAfterFree(unsigned long long serial, const std::string& subject)
{
    State& s = state();
    std::size_t set = 0;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        for (ClockRecord* c : s.clocks)
            if (c->ownerSerial == serial && c->set && !c->freed)
            {
                c->set = false;
                ++set;
            }
    }
    if (set)
        Violation(subject, "a clock still set when it was freed (unset)");
}

}  // namespace maxsim

using namespace maxsim;

extern "C" {

t_clock* clock_new(void* x, method fn)
{
    auto* c = new ClockRecord {};
    c->arg = x;
    c->fn = fn;
    c->owner = SerialOf(x) ? x : CurrentObject();
    c->ownerSerial = SerialOf(c->owner);
    c->ownerSubject = Subject(c->owner);
    if (CurrentRole() != Role::Main)
        Violation(c->ownerSubject, "called clock_new");
    AdoptObject(&c->ob, clockClass());
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.clocks.push_back(c);
    return c;
}

void clock_delay(t_clock* x, long ms)
{
    auto* c = static_cast<ClockRecord*>(x);
    if (!c || !usable(c, "clock_delay"))
        return;
    State& s = state();
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        if (c->freed)
            return;
        c->set = true;
        c->due = s.now + static_cast<double>(std::max(0L, ms));
        c->order = ++s.order;
    }
    s.changed.notify_all();
}

void clock_unset(t_clock* x)
{
    auto* c = static_cast<ClockRecord*>(x);
    if (!c || !usable(c, "clock_unset"))
        return;
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    c->set = false;
}

}  // extern "C"
