// The help, status and snapshot windows of an object, and its clipboard.
// Where windows can be shown (a build with them, a display), the window
// messages drive them (libnorvgui's kel::gui::ObjectWindows; JUCE stays
// inside the .cpp); everywhere else each window shows its content in the
// Max console as text (the help the object's description and
// documentation, the status its current state, the snapshot window the
// stored snapshots), and the first window message posts once why.
//
// Main thread only: Max's main thread, which is also JUCE's message
// thread. Nothing here runs on the audio or the buffering thread.
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "MaxWrapperApi.h"
#include "common/KelString.h"
#include "dsp/KelPlayerStatus.h"
#include "osc/KelHostNotifier.h"
#include "osc/KelOscInterface.h"

namespace maxmsp {

/** What the windows need of their object, without its type. */
struct MspWindowAccess
{
    /** Takes a message as if the patch had sent it (MspObject::Dispatch). */
    std::function<void(const kel::OscMessage&)> send;
    /** The player's live status; nothing for a processor without one. */
    std::function<std::optional<kel::PlayerStatus>()> status;
};

/** The object's windows; also the host listener that gives its processor
    the system clipboard ("/status/copytoclipboard"). */
class MspWindows final : public kel::HostNotifier::Listener
{
public:
    MspWindows(t_object* owner, kel::OscInterface& processor, kel::String description, MspWindowAccess access);
    /** Closes and deletes the windows (snapshot, status, help), then lets
        go of the toolkit (the last object to go shuts it down). */
    ~MspWindows() override;
    MspWindows(const MspWindows&) = delete;
    MspWindows& operator=(const MspWindows&) = delete;

    /** Serves the window messages (kel::ParseWindowMessage): true when it
        took the message. A window message whose arguments do not fit posts
        "invalid message: " and the message, and changes nothing. Without
        windows: "/help", "/status", "/snapshot", alone or with "/open" or
        "/openorclose", post to the console; the others are left to the
        processor (false), as before windows existed. */
    bool Process(const kel::OscMessage& message);

    /** "dblclick": the help and status windows made, help shown; without
        windows, the help in the console. */
    void OnDoubleClick();

    /** The console forms. */
    void ShowHelp();
    void ShowStatus();
    void ShowSnapshots();

    // kel::HostNotifier::Listener
    void Report(const kel::String& /*text*/, kel::HostNotifier::Level /*level*/) override {}
    /** The system clipboard through the toolkit, started for it if need
        be; false where there are no windows. */
    bool CopyToClipboard(const kel::String& text) override;

private:
    struct Gui;

    /** Whether windows can be shown; starts the toolkit the first time. */
    bool startGui();
    /** The console's text for the three windows; false for the others. */
    bool processInConsole(const kel::OscMessage& message);
    void warnOnce();

    t_object* owner;
    kel::OscInterface* processor;
    kel::String description;
    MspWindowAccess access;
    std::unique_ptr<Gui> gui;
    kel::String noWindowsReason; // set once windows were found impossible
    bool warned = false;
};

} // namespace maxmsp
