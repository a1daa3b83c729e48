// kel::gui::GuiWindow: the frame of one of an object's windows. It owns its
// panel; the object owns the window. Closing it by its button only hides
// it, so that reopening finds it as it was.
//
// Main thread only (JUCE's message thread).
#pragma once

#include <memory>

#include <juce_gui_basics/juce_gui_basics.h>

#include "KelGuiPanel.h"

namespace kel::gui {

/** Every window's font size until "/<window>/font/size" says otherwise. */
inline constexpr float defaultFontSize = 15.0f;

class GuiWindow final : public juce::DocumentWindow
{
public:
    /** A hidden window titled title, holding panel, at bounds (screen
        coordinates), resizable. */
    GuiWindow(const juce::String& title, std::unique_ptr<Panel> panel, juce::Rectangle<int> bounds);
    ~GuiWindow() override;

    /** Shows the window and brings it to front. */
    void open();
    /** Hides the window. */
    void close();
    bool isOpen() const noexcept { return isVisible(); }

    /** Always on top of other windows, or not. */
    void setFloating(bool shouldFloat);
    bool isFloating() const noexcept { return isAlwaysOnTop(); }

    /** Forwards the size, in points, to the panel. */
    void setFontSize(float points);
    float getFontSize() const noexcept { return fontSize; }

    Panel& getPanel() noexcept { return *panel; }

    void closeButtonPressed() override;

private:
    Panel* panel; // owned through the content component
    float fontSize = defaultFontSize;
    // Windows: hands pending repaints to the system (see the .cpp); none elsewhere.
    std::unique_ptr<juce::Timer> repaintFlush;
};

} // namespace kel::gui
