// Outlets. Max creates them right to left: the last one created is outlet 0.
// A message sent out of an outlet is printed, then travels every patch cord
// from it, on the calling thread. Outlets may be called on the threads Max
// allows (a violation elsewhere, the message still goes out). The output
// lock guards each object's outlet table.
#pragma once

#include <string>
#include <vector>

#include "MaxsimObjects.h"

namespace maxsim
{

struct Outlet
{
    ObjectInfo* owner;  // nullptr once the object is freed
    t_object* object;
    t_symbol* type;       // nullptr for a message outlet, else "signal", "multichannelsignal", ...
    std::string freedAs;  // the owner's subject, once it is freed
};

// Index from the left.
long OutletIndex(const Outlet* outlet);
bool IsSignalOutlet(const Outlet* outlet);
// The object's outlets from left to right.
std::vector<Outlet*> OutletsLeftToRight(ObjectInfo& info);
// The object is being freed: its outlets stay allocated, so that a late call
// is reported instead of reading freed memory.
void ReleaseOutlets(ObjectInfo& info, const std::string& subject);
// Prints "out BOX OUTLET SELECTOR ATOMS" and sends the message along the cords;
// `function` names the API call for a violation report.
void SendOut(Outlet* outlet, const char* function, t_symbol* selector, long argc, const t_atom* argv);

}  // namespace maxsim
