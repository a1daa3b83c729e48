#include "KelStatusPanelWidgets.h"

#include <algorithm>
#include <cmath>

#include "KelStatusPanelText.h"

namespace kel::gui {

// ---------------------------------------------------------------------------
// MeterBar

void MeterBar::setValue(double percent, const juce::String& text)
{
    const double clamped = std::isfinite(percent) ? std::clamp(percent, 0.0, 100.0) : 0.0;
    // A tenth of a per cent is less than a pixel on any bar this panel
    // lays out: no repaint for it.
    if (std::abs(clamped - value) < 0.1 && text == shown)
        return;
    value = clamped;
    shown = text;
    repaint();
}

void MeterBar::setFontHeight(float height)
{
    fontHeight = height;
    repaint();
}

void MeterBar::paint(juce::Graphics& g)
{
    const auto area = getLocalBounds().toFloat();
    g.setColour(PanelColours::trough());
    g.fillRoundedRectangle(area, 3.0f);
    g.setColour(PanelColours::accent().withAlpha(0.45f));
    g.fillRoundedRectangle(area.withWidth(area.getWidth() * float(value / 100.0)), 3.0f);
    g.setColour(PanelColours::text());
    g.setFont(juce::Font(fontHeight));
    g.drawText(shown, getLocalBounds(), juce::Justification::centred, false);
}

// ---------------------------------------------------------------------------
// IconView

void IconView::setIcon(Icon newIcon)
{
    if (newIcon == icon)
        return;
    icon = newIcon;
    repaint();
}

void IconView::paint(juce::Graphics& g)
{
    DrawIcon(g, icon, getLocalBounds().toFloat().reduced(2.0f), PanelColours::text());
}

// ---------------------------------------------------------------------------
// MarkerList

MarkerList::MarkerList() : list("markers", this)
{
    list.setColour(juce::ListBox::backgroundColourId, PanelColours::field());
    list.setColour(juce::ListBox::outlineColourId, PanelColours::trough());
    list.setOutlineThickness(1);
    addAndMakeVisible(list);
}

MarkerList::~MarkerList()
{
    list.setModel(nullptr);
}

void MarkerList::setMarkers(const std::vector<PlayerStatus::Marker>& newMarkers, int lastPassed)
{
    const bool same = newMarkers.size() == markers.size()
                   && std::equal(newMarkers.begin(), newMarkers.end(), markers.begin(),
                                 [](const PlayerStatus::Marker& a, const PlayerStatus::Marker& b)
                                 { return a.label == b.label && a.positionMs == b.positionMs; });
    if (!same)
    {
        markers = newMarkers;
        list.updateContent();
        list.repaint();
    }
    const int newHighlight = lastPassed >= 0 && std::size_t(lastPassed) < markers.size() ? lastPassed : -1;
    if (newHighlight == highlighted && same)
        return;
    if (same)
    {
        for (const int row : {highlighted, newHighlight})
            if (row >= 0)
                list.repaintRow(row);
    }
    highlighted = newHighlight;
    if (highlighted >= 0)
        list.scrollToEnsureRowIsOnscreen(highlighted);
}

void MarkerList::setFontHeight(float height)
{
    fontHeight = height;
    list.setRowHeight(std::max(1, juce::roundToInt(height * 1.5f)));
    list.repaint();
}

void MarkerList::resized()
{
    list.setBounds(getLocalBounds());
}

int MarkerList::getNumRows()
{
    return int(markers.size());
}

void MarkerList::paintListBoxItem(int row, juce::Graphics& g, int width, int height, bool /*selected*/)
{
    if (row < 0 || std::size_t(row) >= markers.size())
        return;
    const bool passed = row == highlighted;
    if (passed)
        g.fillAll(PanelColours::highlight());
    auto area = juce::Rectangle<int>(0, 0, width, height).reduced(4, 0);
    const auto icon = area.removeFromLeft(height).toFloat().reduced(float(height) * 0.15f);
    DrawIcon(g, Icon::marker, icon, passed ? PanelColours::accent() : PanelColours::text().withAlpha(0.6f));
    area.removeFromLeft(4);
    g.setColour(PanelColours::text());
    g.setFont(juce::Font(fontHeight, passed ? juce::Font::bold : juce::Font::plain));
    const auto& marker = markers[std::size_t(row)];
    const juce::String time(ClockText(marker.positionMs));
    const int timeWidth = juce::roundToInt(fontHeight * 6.0f);
    g.drawText(time, area.removeFromRight(timeWidth), juce::Justification::centredRight, false);
    g.drawText(juce::String::fromUTF8(marker.label.c_str()), area, juce::Justification::centredLeft, true);
}

} // namespace kel::gui
