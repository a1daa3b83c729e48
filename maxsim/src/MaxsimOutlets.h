// Outlets. Max creates them right to left: the last one created is outlet 0.
// Any thread may send out of an outlet; the lines are serialised by the
// output lock, which also guards each object's outlet table.
#pragma once

#include <vector>

#include "MaxsimObjects.h"

namespace maxsim
{

struct Outlet
{
    ObjectInfo* owner;
    t_object* object;
    t_symbol* type;  // nullptr for a message outlet, else "signal", "multichannelsignal", ...
};

// Index from the left.
long OutletIndex(const Outlet* outlet);
bool IsSignalOutlet(const Outlet* outlet);
// The object's outlets from left to right.
std::vector<Outlet*> OutletsLeftToRight(ObjectInfo& info);
void ReleaseOutlets(ObjectInfo& info);
// Prints "out BOX OUTLET SELECTOR ATOMS".
void SendOut(Outlet* outlet, t_symbol* selector, long argc, const t_atom* argv);

}  // namespace maxsim
