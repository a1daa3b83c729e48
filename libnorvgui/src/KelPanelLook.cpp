#include "KelPanelLook.h"

#include <algorithm>
#include <cmath>

namespace kel::gui {

bool PanelLook::changeFontHeight(juce::Component& panel, float points)
{
    if (!std::isfinite(points))
        return false;
    // Beyond these a panel is either unreadable or larger than any screen.
    points = std::clamp(points, minFontSize, maxFontSize);
    const float previous = fontHeight;
    fontHeight = points;
    // The panel grows with its text, so that a window sized to it keeps
    // showing as much.
    if (points != previous && !panel.getLocalBounds().isEmpty())
        panel.setSize(juce::roundToInt(float(panel.getWidth()) * points / previous),
                      juce::roundToInt(float(panel.getHeight()) * points / previous));
    return true;
}

PanelLook::PanelLook() : juce::LookAndFeel_V4(juce::LookAndFeel_V4::getLightColourScheme())
{
    setColour(juce::ResizableWindow::backgroundColourId, PanelColours::background());
    setColour(juce::Label::textColourId, PanelColours::text());
    setColour(juce::TextEditor::textColourId, PanelColours::text());
    setColour(juce::TextEditor::backgroundColourId, PanelColours::field());
    setColour(juce::ListBox::backgroundColourId, PanelColours::field());
    setColour(juce::ListBox::textColourId, PanelColours::text());
    setColour(juce::TextButton::textColourOffId, PanelColours::text());
    setColour(juce::ComboBox::textColourId, PanelColours::text());
    setColour(juce::Slider::textBoxTextColourId, PanelColours::text());
}

int PanelLook::getLineHeight() const noexcept
{
    return int(std::ceil(fontHeight * 1.7f));
}

juce::Font PanelLook::getTextButtonFont(juce::TextButton&, int)
{
    return juce::Font(fontHeight);
}

juce::Font PanelLook::getComboBoxFont(juce::ComboBox&)
{
    return juce::Font(fontHeight);
}

juce::Font PanelLook::getPopupMenuFont()
{
    return juce::Font(fontHeight);
}

juce::Font PanelLook::getLabelFont(juce::Label& label)
{
    // A slider's value box is JUCE's label: it gets the panel's size too.
    if (dynamic_cast<juce::Slider*>(label.getParentComponent()) != nullptr)
        return juce::Font(fontHeight);
    return label.getFont();
}

void PanelLook::styleLabel(juce::Label& label)
{
    label.setColour(juce::Label::textColourId, PanelColours::text());
    label.setJustificationType(juce::Justification::centredLeft);
    label.setMinimumHorizontalScale(1.0f);
}

void PanelLook::styleReadOnlyText(juce::TextEditor& editor)
{
    editor.setMultiLine(true, true);
    editor.setReadOnly(true);
    editor.setScrollbarsShown(true);
    editor.setCaretVisible(false);
    editor.setColour(juce::TextEditor::textColourId, PanelColours::text());
    editor.setColour(juce::TextEditor::backgroundColourId, PanelColours::field());
    editor.setColour(juce::TextEditor::outlineColourId, PanelColours::trough());
}

} // namespace kel::gui
