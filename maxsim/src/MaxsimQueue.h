// The main thread's queue: deferred calls (defer, defer_medium, defer_low)
// and qelems, run in order when the main thread serves it. Any thread may add
// to it (a violation where Max forbids).
//   defer         at once, except where scheduler events run: then to the front
//   defer_medium  at once on the main thread, else to the back
//   defer_low     to the back
//   qelem_set     to the back, once until it has run
#pragma once

namespace maxsim
{

// Main thread: runs the first queued call; false when there was none.
bool RunQueued();
bool QueueIsEmpty();

}  // namespace maxsim
