// Applying some attributes before the others at creation: the attributes
// that size a processor must be known before it is built, the rest only
// once it exists.
//
// Main thread (an object's new routine).
#pragma once

#include <initializer_list>

#include "MaxWrapperApi.h"

namespace maxmsp {

/** Sets each named attribute, in the order given, from "@name values" in the
    box's arguments and then from the box's dictionary (found among the
    arguments with object_dictionaryarg), so that its setter sees the value.
    Other attributes are left alone. Throws "error parsing dictionary" when an
    entry cannot be read and "couldnt process dictionnary" when setting it
    fails. */
void dictionary_process_partial(t_object* x, long argc, t_atom* argv, std::initializer_list<const char*> names);

/** The box's arguments without the dictionary Max appends for classes that
    take one (the last atom, an object), for attr_args_process. */
long CountArgumentsWithoutDictionary(long argc, const t_atom* argv) noexcept;

} // namespace maxmsp
