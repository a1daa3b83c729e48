// Linux: the external's entry through which a host without a message loop
// of ours (maxsim) pumps the windows' events from its main loop. Compiled
// into the module itself, not into libnorvgui: the module exports nothing
// of the static libraries it links.
//
// Main thread only; never blocks; returns how many dispatch rounds ran, 0
// while JUCE does not run (kel::gui::DispatchPendingEvents).
#include "KelGuiRuntime.h"

extern "C" __attribute__((visibility("default"))) int kel_dispatch_gui_events(void);

extern "C" int kel_dispatch_gui_events(void)
{
    return kel::gui::DispatchPendingEvents();
}
