// kel::gui::PlaceholderPanel: a window's content until its real panel is
// built (KelWindowPanels.cpp picks the real one when its header exists).
//
// Main thread only.
#pragma once

#include "KelGuiPanel.h"

namespace kel::gui {

class PlaceholderPanel final : public Panel
{
public:
    explicit PlaceholderPanel(juce::String text);

    void setFontSize(float points) override;
    void paint(juce::Graphics& g) override;

private:
    juce::String text;
    juce::Font font;
};

} // namespace kel::gui
