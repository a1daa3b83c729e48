// kel::gui icons: the transport and marker symbols as vector paths, so that
// they stay sharp at every font size and on every display scale.
//
// Any thread (pure geometry); allocates.
#pragma once

#include <juce_graphics/juce_graphics.h>

namespace kel::gui {

enum class Icon
{
    play,
    pause,
    stop,
    loop,
    marker
};

/** The icon as a filled path, centred in area and as large as fits while
    keeping its proportions; empty for an empty area. */
juce::Path MakeIcon(Icon icon, juce::Rectangle<float> area);

/** Fills MakeIcon(icon, area) with colour. Main thread (a Graphics context
    belongs to a paint call). */
void DrawIcon(juce::Graphics& g, Icon icon, juce::Rectangle<float> area, juce::Colour colour);

} // namespace kel::gui
