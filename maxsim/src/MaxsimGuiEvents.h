// The window system's events, served by the main thread's loop as Max's own
// loop serves them: on Windows the thread's message queue (the external's
// windows live there); on Linux, where Max has no loop of its own, an
// external with windows exports `int kel_dispatch_gui_events(void)`, which
// dispatches what is pending without blocking.
#pragma once

#include <chrono>

namespace maxsim
{

// The longest the main thread sleeps while idle, so that windows stay live.
constexpr std::chrono::milliseconds kGuiEventPeriod {10};

using GuiEventDispatcher = int (*)();

// Main thread, once the external is loaded: its dispatcher, if it exports
// one (Linux; on Windows the message queue is served without it).
void SetGuiEventDispatcher(GuiEventDispatcher dispatcher);

// Main thread only, on every turn of its loop and while it is idle: serves
// what the window system has pending. Never blocks (unless a window's
// handler does).
void ServeGuiEvents();

}  // namespace maxsim
