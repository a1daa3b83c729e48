#include "KelGuiWindow.h"

namespace kel::gui {

namespace {
constexpr int minimumWidth = 320;
constexpr int minimumHeight = 200;

#if defined(_WIN32)
// JUCE 7 on Windows hands a window's repaints to the system only at the
// display's vertical blank, which not every system reports (Wine's DXGI does
// not implement WaitForVBlank): such a window would keep its first paint
// forever. A timer on the main thread flushes them meanwhile.
class RepaintFlush final : public juce::Timer
{
public:
    explicit RepaintFlush(juce::Component& windowToFlush) : window(windowToFlush) { startTimerHz(30); }

private:
    void timerCallback() override
    {
        if (auto* peer = window.getPeer())
            peer->performAnyPendingRepaintsNow();
    }

    juce::Component& window;
};
#endif
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
#if defined(_WIN32)
    repaintFlush = std::make_unique<RepaintFlush>(*this);
#endif
}

GuiWindow::~GuiWindow()
{
    repaintFlush.reset();
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
