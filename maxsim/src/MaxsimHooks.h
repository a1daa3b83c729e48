// What other parts of the kernel do around object_free.
#pragma once

#include "MaxsimApi.h"

namespace maxsim
{

// Takes the object's perform routines out of the DSP chain (between blocks).
void BeforeObjectFree(t_object* object);
// Drops deferred calls and set clocks that still name the freed object: Max
// would call them on freed memory; the simulator says so on a "bug" line.
void AfterObjectFree(t_object* object);

}  // namespace maxsim
