// Patch cords between boxes, and two box classes of Max's own: the message
// box and route. A message sent out of an outlet reaches every inlet
// connected to it, depth first, in the order the cords were made, on the
// sending thread. Cords are made and removed on the main thread; messages
// travel them from any thread.
#pragma once

#include <string>
#include <vector>

#include "MaxsimApi.h"

namespace maxsim
{

// Registers "message" and "route" in the box namespace.
void RegisterKernelBoxes();

long InletCount(const void* box);
// Both return an error text, empty when done.
std::string Connect(t_object* src, long outlet, t_object* dst, long inlet);
std::string Disconnect(t_object* src, long outlet, t_object* dst, long inlet);
// Whether the cord is a signal cord (its outlet is a signal outlet).
bool IsSignalCord(t_object* src, long outlet);

void DeliverThroughCords(const void* src, long outlet, t_symbol* selector, long argc, const t_atom* argv);
bool OutletHasCords(const void* src, long outlet);

struct SignalSource
{
    t_object* src;
    long outlet;  // index from the left among all of src's outlets
    long inlet;
};
std::vector<SignalSource> SignalCordsInto(const void* dst);

}  // namespace maxsim
