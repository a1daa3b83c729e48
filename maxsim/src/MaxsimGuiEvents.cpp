#include "MaxsimGuiEvents.h"

#include <string>

#include "MaxsimObjects.h"
#include "MaxsimThreads.h"

#if defined(_WIN32)
#include <windows.h>
#endif

namespace maxsim
{
namespace
{

// Set and read on the main thread only.
GuiEventDispatcher dispatcher = nullptr;

#if defined(_WIN32)
// A window that keeps posting to itself must not keep the loop from the
// queue and the scheduler: the rest waits for the next turn.
constexpr int kMaxMessagesPerTurn = 256;

void serveMessageQueue()
{
    MSG msg;
    for (int n = 0; n < kMaxMessagesPerTurn && PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE); ++n)
    {
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
    }
}
#endif

}  // namespace

void SetGuiEventDispatcher(GuiEventDispatcher fn) { dispatcher = fn; }

void ServeGuiEvents()
{
    if (CurrentRole() != Role::Main)
        return;
#if defined(_WIN32)
    serveMessageQueue();
#endif
    if (!dispatcher)
        return;
    const int dispatched = dispatcher();
    if (dispatched < 0)
        Violation("kel_dispatch_gui_events", "returned " + std::to_string(dispatched) + ", not a count of events");
    // The windows belong to the objects: with none left, nothing of theirs may still run.
    else if (dispatched > 0 && CountExternalObjects() == 0)
        Violation("kel_dispatch_gui_events", "dispatched events with no object of the external alive");
}

}  // namespace maxsim
