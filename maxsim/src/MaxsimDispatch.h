// Max messages to an object, dispatched as Max does, on the calling thread
// (a script's send, a scheduler event, a patch cord).
#pragma once

#include "MaxsimApi.h"

namespace maxsim
{

// A method of that name (A_CANT ones refuse), else an attribute (set it, or
// "get<name>" it out of the dumpout outlet), else "anything", else an error.
void SendMessage(t_object* x, t_symbol* selector, long argc, t_atom* argv);

}  // namespace maxsim
