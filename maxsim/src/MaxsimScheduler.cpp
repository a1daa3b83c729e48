// Deferred calls and clocks. defer and defer_medium run at once on the main
// thread; from other threads defer queues at the front and defer_medium at
// the back; defer_low always queues at the back. Clocks may be set from any
// thread (the audio thread included) and fire on the main thread.
#include "MaxsimScheduler.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "MaxsimConsole.h"
#include "MaxsimHooks.h"
#include "MaxsimObjects.h"

namespace maxsim
{
namespace
{

using Clock = std::chrono::steady_clock;

struct Task
{
    void* object;
    method fn;
    t_symbol* selector;
    std::vector<t_atom> atoms;
};

struct ClockRecord
{
    t_object ob;
    void* owner = nullptr;
    method fn = nullptr;
    bool set = false;
    double due = 0.0;
    unsigned long long order = 0;
};

struct State
{
    std::mutex mutex;
    std::condition_variable wakeup;
    std::deque<Task> tasks;
    std::vector<ClockRecord*> clocks;
    double now = 0.0;
    unsigned long long order = 0;
    bool kicked = false;
    std::thread::id mainThread;
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

bool hasWork(State& s) { return !s.tasks.empty() || dueClock(s) || s.kicked; }

void removeClock(void* x)
{
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    std::erase(s.clocks, static_cast<ClockRecord*>(x));
}

ClassRecord* clockClass()
{
    static ClassRecord* cls = [] {
        ClassRecord* c = NewKernelClass("clock", [](t_object* o) { delete reinterpret_cast<ClockRecord*>(o); });
        c->c_freefun = reinterpret_cast<method>(+[](void* x) -> void* {
            removeClock(x);
            return nullptr;
        });
        return c;
    }();
    return cls;
}

bool serveOne()
{
    State& s = state();
    std::unique_lock<std::mutex> lock(s.mutex);
    if (!s.tasks.empty())
    {
        Task task = std::move(s.tasks.front());
        s.tasks.pop_front();
        lock.unlock();
        using Deferred = void (*)(void*, t_symbol*, short, t_atom*);
        reinterpret_cast<Deferred>(task.fn)(task.object, task.selector, static_cast<short>(task.atoms.size()),
                                            task.atoms.empty() ? nullptr : task.atoms.data());
        return true;
    }
    if (ClockRecord* c = dueClock(s))
    {
        c->set = false;
        void* owner = c->owner;
        method fn = c->fn;
        lock.unlock();
        if (fn)
            reinterpret_cast<void (*)(void*)>(fn)(owner);
        return true;
    }
    return false;
}

enum class Where
{
    NowOnMainElseFront,
    NowOnMainElseBack,
    Back
};

void* deferCall(void* object, method fn, t_symbol* s, short argc, t_atom* argv, Where where)
{
    if (!fn)
        return nullptr;
    if (where != Where::Back && IsMainThread())
    {
        reinterpret_cast<void (*)(void*, t_symbol*, short, t_atom*)>(fn)(object, s, argc, argv);
        return nullptr;
    }
    Task task {object, fn, s, std::vector<t_atom>(argv, argv + (argv ? std::max<short>(argc, 0) : 0))};
    State& st = state();
    {
        std::lock_guard<std::mutex> lock(st.mutex);
        if (where == Where::NowOnMainElseFront)
            st.tasks.push_front(std::move(task));
        else
            st.tasks.push_back(std::move(task));
    }
    st.wakeup.notify_all();
    return nullptr;
}

}  // namespace

void SetMainThread() { state().mainThread = std::this_thread::get_id(); }
bool IsMainThread() { return std::this_thread::get_id() == state().mainThread; }

void ServeAll()
{
    while (serveOne())
    {
    }
}

void ServeWhile(const std::function<bool()>& busy)
{
    State& s = state();
    while (busy())
    {
        ServeAll();
        std::unique_lock<std::mutex> lock(s.mutex);
        s.wakeup.wait_for(lock, std::chrono::milliseconds(20), [&] { return hasWork(s); });
        s.kicked = false;
    }
    ServeAll();
}

void ServeFor(double ms)
{
    State& s = state();
    const auto start = Clock::now();
    const auto end = start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double, std::milli>(ms));
    double base;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        base = s.now;
    }
    for (;;)
    {
        ServeAll();
        std::unique_lock<std::mutex> lock(s.mutex);
        const auto t = Clock::now();
        s.now = base + std::min(ms, std::chrono::duration<double, std::milli>(t - start).count());
        if (t >= end)
            break;
        auto until = end;
        const double next = nextDue(s);
        if (next >= 0.0)
            until = std::min(until, start + std::chrono::duration_cast<Clock::duration>(
                                                std::chrono::duration<double, std::milli>(next - base)));
        s.wakeup.wait_until(lock, until, [&] { return !s.tasks.empty() || s.kicked; });
        s.kicked = false;
    }
    ServeAll();
}

void AdvanceTime(double ms)
{
    State& s = state();
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.now = ms;
        s.kicked = true;
    }
    s.wakeup.notify_all();
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
    s.wakeup.notify_all();
}

void AfterObjectFree(t_object* object)
{
    State& s = state();
    std::size_t tasks = 0, clocks = 0;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        tasks = std::erase_if(s.tasks, [&](const Task& t) { return t.object == object; });
        for (ClockRecord* c : s.clocks)
            if (c->set && c->owner == object)
            {
                c->set = false;
                ++clocks;
            }
    }
    if (tasks || clocks)
        Emit("bug", object,
             "maxsim: freed with " + std::to_string(tasks) + " deferred calls and " + std::to_string(clocks) +
                 " set clocks pending (dropped)");
}

}  // namespace maxsim

using namespace maxsim;

extern "C" {

void* defer(void* x, method fn, t_symbol* s, short argc, t_atom* argv)
{
    return deferCall(x, fn, s, argc, argv, Where::NowOnMainElseFront);
}

void* defer_medium(void* x, method fn, t_symbol* s, short argc, t_atom* argv)
{
    return deferCall(x, fn, s, argc, argv, Where::NowOnMainElseBack);
}

void* defer_low(void* x, method fn, t_symbol* s, short argc, t_atom* argv)
{
    return deferCall(x, fn, s, argc, argv, Where::Back);
}

t_clock* clock_new(void* x, method fn)
{
    auto* c = new ClockRecord {};
    c->owner = x;
    c->fn = fn;
    AdoptObject(&c->ob, clockClass());
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.clocks.push_back(c);
    return c;
}

void clock_delay(t_clock* x, long ms)
{
    if (!x)
        return;
    auto* c = static_cast<ClockRecord*>(x);
    State& s = state();
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        c->set = true;
        c->due = s.now + static_cast<double>(std::max(0L, ms));
        c->order = ++s.order;
    }
    s.wakeup.notify_all();
}

void clock_unset(t_clock* x)
{
    if (!x)
        return;
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    static_cast<ClockRecord*>(x)->set = false;
}

}  // extern "C"
