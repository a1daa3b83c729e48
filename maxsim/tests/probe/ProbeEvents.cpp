#include "ProbeEvents.h"

#include <chrono>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace
{

using SteadyClock = std::chrono::steady_clock;

// Main thread only (messages and the host's event serving).
struct Pending
{
    t_object* box = nullptr;
    SteadyClock::time_point armed;
    SteadyClock::time_point due;
#if defined(_WIN32)
    UINT_PTR timer = 0;
#endif
} pending;

bool stray = false;  // main thread

void serve()
{
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(SteadyClock::now() - pending.armed).count();
    object_post(pending.box, "events served on the main thread %d %ld ms after arming",
                static_cast<int>(systhread_ismainthread()), static_cast<long>(ms));
    pending.box = nullptr;
}

#if defined(_WIN32)
void CALLBACK onTimer(HWND, UINT, UINT_PTR id, DWORD)
{
    KillTimer(nullptr, id);
    if (pending.box && pending.timer == id)
        serve();
}
#endif

void eventsAfter(t_object* x, t_atom_long ms)
{
    ForgetEvents(pending.box);
    pending.box = x;
    pending.armed = SteadyClock::now();
    pending.due = pending.armed + std::chrono::milliseconds(ms);
#if defined(_WIN32)
    pending.timer = SetTimer(nullptr, 0, static_cast<UINT>(ms), &onTimer);
#endif
}

void strayEvents(t_object*) { stray = true; }

}  // namespace

void AddEventMethods(t_class* c)
{
    class_addmethod(c, reinterpret_cast<method>(&eventsAfter), "eventsafter", A_LONG, 0);
    class_addmethod(c, reinterpret_cast<method>(&strayEvents), "strayevents", 0);
}

void ForgetEvents(t_object* x)
{
    if (!x || pending.box != x)
        return;
#if defined(_WIN32)
    KillTimer(nullptr, pending.timer);
#endif
    pending.box = nullptr;
}

#if !defined(_WIN32)
// What an external with windows exports on Linux; the host calls it from its
// main loop. Never blocks; returns how many events it dispatched.
extern "C" C74_EXPORT int kel_dispatch_gui_events(void)
{
    if (!pending.box || SteadyClock::now() < pending.due)
        return stray ? 1 : 0;
    serve();
    return 1;
}
#endif
