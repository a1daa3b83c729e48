// Loading an external as Max does: open the library with its symbols kept
// local, look up `ext_main`, else the older `main`, and call it once; on
// Linux also the optional `kel_dispatch_gui_events` (MaxsimGuiEvents.h).
#pragma once

#include <string>

namespace maxsim
{

// Opens the library and runs its entry; returns an error text, empty on success.
std::string LoadExternal(const std::string& path);

}  // namespace maxsim
