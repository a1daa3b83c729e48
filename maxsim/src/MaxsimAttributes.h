// Attributes stored at an offset in the object's record, their filters and
// properties, and setting them from messages, arguments and dictionaries.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "MaxsimApi.h"

namespace maxsim
{

// Begins with the fields of the SDK's t_attr, so it is a real kernel object.
struct AttrRecord
{
    t_object ob;
    t_symbol* name;
    t_symbol* type;
    long flags;
    method get;
    method set;
    method filterget;
    method filterset;
    void* reserved;
    // The kernel's own.
    long offset = 0;
    bool clipMin = false, clipMax = false, clipOnGet = false, clipOnSet = false;
    double min = 0.0, max = 0.0;
    std::vector<std::pair<std::string, std::string>> properties;  // name, text, in the order given
};

// Sets the attribute from atoms through the clip filter and its setter.
t_max_err SetAttribute(t_object* object, AttrRecord* attr, long argc, t_atom* argv);
// The attribute's value (through its getter and filter).
std::vector<t_atom> GetAttribute(t_object* object, AttrRecord* attr);
// One "attr ..." line of classinfo.
std::string DescribeAttribute(const AttrRecord* attr);

}  // namespace maxsim
