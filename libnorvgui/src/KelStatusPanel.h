// kel::gui::StatusPanel: the status window's content. For a player: the
// file's name and format, the transport (icon, word, position and length),
// a progress bar, the buffer fill, the markers with the last one passed
// highlighted; for every object: its state and its "/dsp" settings, and a
// button that copies the status ("/status/copytoclipboard").
//
// Refreshed a few times a second by a timer while it shows; each widget
// repaints only when what it shows changed. Main thread only.
#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include "KelGuiPanel.h"
#include "KelPanelLook.h"
#include "KelStatusPanelWidgets.h"
#include "KelWindowHost.h"

namespace kel::gui {

class StatusPanel : public Panel, private juce::Timer
{
public:
    static constexpr int refreshesPerSecond = 5;

    explicit StatusPanel(WindowHost& host);
    ~StatusPanel() override;

    /** Sets every text's size (clamped to minFontSize..maxFontSize) and
        scales the panel's size with it. */
    void setFontSize(float points) override;
    /** Reads the object's status and state now and updates what changed
        (the timer calls it while the panel shows). */
    void refresh();

    void paint(juce::Graphics& g) override;
    void resized() override;

private:
    void timerCallback() override;
    void showPlayerWidgets(bool show);
    static void setLabelText(juce::Label& label, const juce::String& text);
    static void setEditorText(juce::TextEditor& editor, const juce::String& text);

    WindowHost& host;
    PanelLook look;
    bool playerWidgetsShown = true;

    juce::Label fileName, formatLine;
    IconView transportIcon;
    juce::Label transportWord, position;
    MeterBar progress;
    juce::Label fillCaption;
    MeterBar fill;
    juce::Label markersCaption;
    MarkerList markers;
    juce::Label stateCaption;
    juce::TextEditor state;
    juce::Label dspCaption;
    juce::TextEditor dsp;
    juce::TextButton copy{"copy status"};
};

} // namespace kel::gui
