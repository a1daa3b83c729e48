#include "KelGuiWindow.h"

namespace kel::gui {

namespace {
constexpr int minimumWidth = 320;
constexpr int minimumHeight = 200;
} // namespace

GuiWindow::GuiWindow(const juce::String& title, std::unique_ptr<Panel> content, juce::Rectangle<int> bounds)
    : juce::DocumentWindow(title,
                           juce::LookAndFeel::getDefaultLookAndFeel().findColour(
                               juce::ResizableWindow::backgroundColourId),
                           juce::DocumentWindow::closeButton | juce::DocumentWindow::minimiseButton),
      panel(content.get())
{
    panel->setFontSize(fontSize);
    setContentOwned(content.release(), false);
    setResizable(true, false);
    setResizeLimits(minimumWidth, minimumHeight, 16384, 16384);
    setBounds(bounds);
}

GuiWindow::~GuiWindow()
{
    clearContentComponent();
}

void GuiWindow::open()
{
    setVisible(true);
    toFront(true);
}

void GuiWindow::close()
{
    setVisible(false);
}

void GuiWindow::setFloating(bool shouldFloat)
{
    setAlwaysOnTop(shouldFloat);
}

void GuiWindow::setFontSize(float points)
{
    fontSize = points;
    panel->setFontSize(points);
}

void GuiWindow::closeButtonPressed()
{
    close();
}

} // namespace kel::gui
