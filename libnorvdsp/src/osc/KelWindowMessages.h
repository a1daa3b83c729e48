// The messages that drive an object's windows: for each window w in help,
// status and snapshot, "/w" and "/w/open" (open and bring to front),
// "/w/close", "/w/openorclose", "/w/font/size n" (points) and
// "/w/floating i" (1 always on top, 0 not). Read the same way by the
// windows and by a host that has none (which only needs to recognise them).
//
// Pure functions; any thread.
#pragma once

#include <optional>

#include "osc/KelOscMessage.h"

namespace kel {

struct WindowCommand
{
    enum class Window { help, status, snapshot };
    enum class Action { open, close, openOrClose, fontSize, floating };

    /** The font sizes a window takes, in points. */
    static constexpr double minimumFontSize = 6.0;
    static constexpr double maximumFontSize = 72.0;

    Window window = Window::help;
    Action action = Action::open;
    /** False: a window's address with arguments it does not take; nothing
        else is meaningful then. */
    bool valid = true;
    double fontSize = 0.0; // fontSize only
    bool floating = false; // floating only
};

/** The command a message names, or nothing when its address is not one of
    the window messages (an address with a wildcard never is). */
std::optional<WindowCommand> ParseWindowMessage(const OscMessage& message);

/** "help", "status" or "snapshot". */
const char* WindowName(WindowCommand::Window window) noexcept;

} // namespace kel
