// kel::gui's runtime: JUCE's GUI initialised once for every object of the
// process on the host's main thread (JUCE's message thread IS Max's main
// thread), counted by Acquire/Release so that the last object to go shuts it
// down and a later one can start it again; whether a display exists at all;
// and the event dispatch a host without its own message loop calls.
//
// Threads: Acquire, Release and DispatchPendingEvents belong to the thread
// of the first Acquire in the process (Max's main thread) and never block;
// other threads are refused. CheckDisplay and HasDisplay may be called from
// any thread (the first call may block briefly while an X connection is
// tried).
#pragma once

#include "common/KelString.h"

namespace kel::gui {

struct DisplayCheck
{
    bool available = false;
    String reason; // why not, e.g. "DISPLAY is not set"; empty when available
};

/** Linux: whether an X display can be opened (DISPLAY set, libX11 loads,
    the server answers), tried once per process without JUCE. Windows:
    whether a top-level window can be created (Wine without X cannot). */
const DisplayCheck& CheckDisplay();
bool HasDisplay();

/** Starts JUCE's GUI for the calling thread on the first call, counts the
    others. False, with nothing changed, on any thread but the one JUCE was
    first bound to. Throws (nothing changed) only when memory runs out. */
bool Acquire();
/** Undoes one Acquire; the last one deletes every JUCE object it owns and
    shuts JUCE down. Ignored on another thread or without an Acquire. */
void Release();
/** Whether JUCE's GUI runs (some Acquire not yet released). */
bool IsRunning() noexcept;

/** Linux: dispatches the JUCE events that are pending (X events, posted
    messages, timers due) without waiting, and returns how many dispatch
    rounds ran; 0 and nothing done while JUCE does not run, on another
    thread, or when called again from inside a dispatched event. Elsewhere
    (Windows: the host's message loop dispatches) always 0. */
int DispatchPendingEvents() noexcept;

} // namespace kel::gui
