// probe~'s window-system events: "eventsafter MS" makes one event due MS
// milliseconds later; when the host's main loop serves it, the box posts
// "events served on the main thread N ms after arming". On Linux the event
// is found by the exported dispatcher the host calls, on Windows it is a
// thread timer, delivered only by the host's message loop.
// "strayevents" (Linux) makes the dispatcher report an event on every call
// from then on, also once the box is freed: windows that outlive their object.
#pragma once

#include "MaxWrapperOwnApi.h"

void AddEventMethods(t_class* c);
// At free: an event still due is dropped.
void ForgetEvents(t_object* x);
