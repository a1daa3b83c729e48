// kel::gui::WindowHost: what an object's windows see of it. The host binding
// implements it; the windows never hold the processor themselves, so that a
// window can neither outlive nor bypass the object's own dispatch.
//
// Main thread only (Max's main thread, which is also JUCE's message thread).
#pragma once

#include <optional>

#include "dsp/KelPlayerStatus.h"
#include "osc/KelOscInterface.h"

namespace kel::gui {

class WindowHost
{
public:
    virtual ~WindowHost() = default;

    /** Documentation, state and snapshots of the object. */
    virtual OscInterface& getInterface() = 0;

    /** The player's live status; nothing for a processor that plays no file. */
    virtual std::optional<PlayerStatus> GetPlayerStatus() const = 0;

    /** Hands a message to the object as if the patch had sent it: errors are
        posted by the host, replies leave by its dump outlet. */
    virtual void Send(const OscMessage& message) = 0;
};

} // namespace kel::gui
