// What other parts of the kernel do around object_free (main thread).
#pragma once

#include <string>

#include "MaxsimApi.h"

namespace maxsim
{

struct ObjectInfo;

// Before the free method: the box's patch cords go, as when Max deletes a box.
void ForgetCords(const void* object);
// After the free method: a DSP object must have left the chain by z_dsp_free
// (a violation otherwise, and the chain lets go of it); recordings stop.
void DspAfterFree(t_object* object, ObjectInfo& info, const std::string& subject);
// After the free method: deferred calls, qelems and clocks the object still
// has pending are violations (Max would call them on freed memory); dropped.
void QueueAfterFree(unsigned long long serial, const std::string& subject);
void ClocksAfterFree(unsigned long long serial, const std::string& subject);

}  // namespace maxsim
