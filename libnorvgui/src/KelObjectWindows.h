// kel::gui::ObjectWindows: the help, status and snapshot windows of one
// object, each made the first time it is opened, and the window messages
// that drive them ("/w", "/w/open", "/w/close", "/w/openorclose",
// "/w/font/size n", "/w/floating i" for w in help, status, snapshot).
// A font size or floating setting given to a window not yet made is kept
// for it.
//
// Main thread only (JUCE's message thread, acquired through
// KelGuiRuntime.h for as long as the windows live).
#pragma once

#include <array>
#include <memory>

#include "KelGuiWindow.h"
#include "KelWindowHost.h"
#include "osc/KelOscMessage.h"
#include "osc/KelWindowMessages.h"

namespace kel::gui {

class ObjectWindows
{
public:
    using Window = WindowCommand::Window;

    enum class Outcome
    {
        notWindowMessage, // for the object itself
        done,
        invalid // a window message with arguments it does not take: nothing changed
    };

    /** host must outlive the windows. */
    explicit ObjectWindows(WindowHost& host);
    /** Closes and deletes the snapshot, status and help windows, in that
        order. */
    ~ObjectWindows();
    ObjectWindows(const ObjectWindows&) = delete;
    ObjectWindows& operator=(const ObjectWindows&) = delete;

    Outcome Process(const OscMessage& message);
    /** A valid command (WindowCommand::valid). */
    void Run(const WindowCommand& command);
    /** The box was double-clicked: the help and status windows exist
        afterwards, the help window open and in front. */
    void OnDoubleClick();

    /** Null while the window was never opened. */
    GuiWindow* getWindow(Window window) const noexcept;
    bool isOpen(Window window) const noexcept;
    bool isFloating(Window window) const noexcept;
    float getFontSize(Window window) const noexcept;

private:
    struct Slot
    {
        std::unique_ptr<GuiWindow> window;
        float fontSize = defaultFontSize;
        bool floating = false;
    };

    Slot& slot(Window window) noexcept { return slots[std::size_t(window)]; }
    const Slot& slot(Window window) const noexcept { return slots[std::size_t(window)]; }
    GuiWindow& make(Window window);

    WindowHost& host;
    std::array<Slot, 3> slots;
};

} // namespace kel::gui
