// Scheduler time, clocks and where scheduler events (clocks and `sched`
// messages) run: on the main thread (overdrive off), on the scheduler thread
// (on), on the audio thread after each signal vector while it runs (audio;
// the scheduler thread otherwise). Time is the audio position while audio
// runs, real time during `wait`, still between commands. Whenever the main
// thread serves or waits, it also serves the window system (MaxsimGuiEvents.h).
#pragma once

#include <functional>

#include "MaxsimThreads.h"

namespace maxsim
{

// The scheduler thread lives from StartScheduler to StopScheduler (main thread).
void StartScheduler(Overdrive mode);
void StopScheduler();
// Main thread, between commands.
void SetOverdrive(Overdrive mode);

// Main thread: runs queued calls (and, overdrive off, due scheduler events) until none is left.
void ServeAll();
// Main thread: serves while `busy` holds.
void ServeWhile(const std::function<bool()>& busy);
// Main thread: serves while MS milliseconds of real time pass (time advances
// with them unless audio runs).
void ServeFor(double ms);
// Main thread: the same, ending early once `done` holds (checked on every
// turn); true when it did.
bool ServeUntil(double ms, const std::function<bool()>& done);
// Main thread, after each command: serves until the main queue is empty and
// no scheduler event is due or running (with audio running, a few rounds).
void Settle();
// Main thread: runs fn where scheduler events run now, and returns once it has run.
void RunScheduled(const std::function<void()>& fn);

// The audio thread: it starts and stops (drives the scheduler in overdrive audio);
// continuous audio (`dsp start`) keeps time itself.
void AudioBegins(bool continuous);
void AudioEnds();
// The audio thread after each block: in overdrive audio, runs the due events.
void SchedulerTick();

// Any thread: sets the scheduler time (ms) and wakes the threads serving it.
void AdvanceTime(double ms);
double SchedulerTime();
// Any thread: the main thread has work.
void Wake();

}  // namespace maxsim
