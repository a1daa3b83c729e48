// The main-thread queue (defer, defer_medium, defer_low) and the clocks.
// Time is the scheduler's: the audio position during `run`, real time during
// `wait`, still between commands. Queued work and due clocks run on the main
// thread when it serves them.
#pragma once

#include <functional>

namespace maxsim
{

// The calling thread becomes Max's main thread.
void SetMainThread();
bool IsMainThread();

// Main thread: runs queued calls and due clocks until none is left.
void ServeAll();
// Main thread: serves while `busy` holds, waking when work arrives or Wake() is called.
void ServeWhile(const std::function<bool()>& busy);
// Main thread: serves while MS milliseconds of real time pass (time advances with it).
void ServeFor(double ms);
// Any thread: sets the scheduler time (ms) and wakes the main thread.
void AdvanceTime(double ms);
double SchedulerTime();
void Wake();

}  // namespace maxsim
