// kel::gui::PanelLook: the look of the status and snapshot panels: JUCE's
// light scheme (dark text on a light background, which the eye and OCR read
// alike), and every widget's text at the panel's font size, which JUCE's
// own look caps or derives from the widget's height.
//
// Main thread only.
#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace kel::gui {

struct PanelColours
{
    static juce::Colour text() { return juce::Colour(0xff1a1a1a); }
    static juce::Colour background() { return juce::Colour(0xfff7f7f7); }
    static juce::Colour field() { return juce::Colours::white; }
    static juce::Colour accent() { return juce::Colour(0xff3d7ebf); }
    static juce::Colour highlight() { return juce::Colour(0xffcfe2f5); }
    static juce::Colour trough() { return juce::Colour(0xffdedede); }
};

/** The font sizes a panel takes (points); others are clamped to them. */
inline constexpr float minFontSize = 6.0f;
inline constexpr float maxFontSize = 72.0f;

class PanelLook : public juce::LookAndFeel_V4
{
public:
    PanelLook();

    float getFontHeight() const noexcept { return fontHeight; }
    /** Takes a panel's font size ("/<window>/font/size"): false, changing
        nothing, for a NaN or an infinity; others are clamped to the limits,
        and the panel is scaled by the change. The panel then sets its
        widgets' fonts from getFontHeight(). */
    bool changeFontHeight(juce::Component& panel, float points);
    /** The height of a line of widgets (a button, a field) at this size. */
    int getLineHeight() const noexcept;

    juce::Font getTextButtonFont(juce::TextButton&, int buttonHeight) override;
    juce::Font getComboBoxFont(juce::ComboBox&) override;
    juce::Font getPopupMenuFont() override;
    juce::Font getLabelFont(juce::Label& label) override;

    /** Dark text on a light field, for a caption or a value. */
    static void styleLabel(juce::Label& label);
    /** A read-only, scrollable, multi-line text. */
    static void styleReadOnlyText(juce::TextEditor& editor);

private:
    float fontHeight = 16.0f;
};

} // namespace kel::gui
