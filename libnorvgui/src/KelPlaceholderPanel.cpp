#include "KelPlaceholderPanel.h"

#include "KelGuiWindow.h"

namespace kel::gui {

PlaceholderPanel::PlaceholderPanel(juce::String shownText) : text(std::move(shownText))
{
    setFontSize(defaultFontSize);
}

void PlaceholderPanel::setFontSize(float points)
{
    font = juce::Font().withPointHeight(points);
    repaint();
}

void PlaceholderPanel::paint(juce::Graphics& g)
{
    g.fillAll(findColour(juce::ResizableWindow::backgroundColourId));
    g.setColour(juce::Colour(0xff111111));
    g.setFont(font);
    g.drawText(text, getLocalBounds().reduced(8), juce::Justification::centred, true);
}

} // namespace kel::gui
