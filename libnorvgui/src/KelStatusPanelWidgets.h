// The status panel's own widgets: a meter (progress, buffer fill), an icon
// and the marker list. Each repaints only when what it shows changed.
//
// Main thread only.
#pragma once

#include <vector>

#include <juce_gui_basics/juce_gui_basics.h>

#include "KelGuiIcons.h"
#include "KelPanelLook.h"
#include "dsp/KelPlayerStatus.h"

namespace kel::gui {

/** A horizontal bar filled to a percentage, with a text over it. */
class MeterBar : public juce::Component
{
public:
    void setValue(double percent, const juce::String& text);
    void setFontHeight(float height);
    double getValue() const noexcept { return value; }
    const juce::String& getText() const noexcept { return shown; }
    void paint(juce::Graphics& g) override;

private:
    double value = 0.0;
    juce::String shown;
    float fontHeight = 15.0f;
};

/** One icon, drawn to fit. */
class IconView : public juce::Component
{
public:
    void setIcon(Icon newIcon);
    Icon getIcon() const noexcept { return icon; }
    void paint(juce::Graphics& g) override;

private:
    Icon icon = Icon::stop;
};

/** The file's markers, one row each (icon, label, time), the last one
    passed highlighted and kept in view. */
class MarkerList : public juce::Component, private juce::ListBoxModel
{
public:
    MarkerList();
    ~MarkerList() override;
    void setMarkers(const std::vector<PlayerStatus::Marker>& newMarkers, int lastPassed);
    void setFontHeight(float height);
    int getHighlighted() const noexcept { return highlighted; }
    void resized() override;

private:
    int getNumRows() override;
    void paintListBoxItem(int row, juce::Graphics& g, int width, int height, bool selected) override;

    // Before the list, which reads them through the model.
    std::vector<PlayerStatus::Marker> markers;
    int highlighted = -1;
    float fontHeight = 15.0f;
    juce::ListBox list;
};

} // namespace kel::gui
