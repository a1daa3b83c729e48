// The help, status and snapshot "windows" of an object. This build has no
// GUI toolkit, so each one shows its content in the Max console: the help
// the object's description and documentation, the status its current state,
// the snapshot window the stored snapshots.
//
// Main thread.
#pragma once

#include "MaxWrapperApi.h"
#include "common/KelString.h"
#include "osc/KelOscInterface.h"

namespace maxmsp {

class MspWindows
{
public:
    MspWindows(t_object* owner, kel::OscInterface& processor, kel::String description);

    void ShowHelp();
    void ShowStatus();
    void ShowSnapshots();

    /** Serves "/help", "/status" and "/snapshot", alone or followed by
        "/open" or "/openorclose", without arguments. False for anything else
        (the processor answers it). */
    bool Process(const kel::OscMessage& message);

private:
    t_object* owner;
    kel::OscInterface* processor;
    kel::String description;
};

} // namespace maxmsp
