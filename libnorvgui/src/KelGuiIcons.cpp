#include "KelGuiIcons.h"

#include <cmath>

namespace kel::gui {

namespace {

// Each icon is drawn in a unit square, with the same margins, so that icons
// side by side look the same size.

juce::Path Play()
{
    juce::Path p;
    p.addTriangle(0.22f, 0.12f, 0.22f, 0.88f, 0.88f, 0.5f);
    return p;
}

juce::Path Pause()
{
    juce::Path p;
    p.addRectangle(0.2f, 0.12f, 0.22f, 0.76f);
    p.addRectangle(0.58f, 0.12f, 0.22f, 0.76f);
    return p;
}

juce::Path Stop()
{
    juce::Path p;
    p.addRectangle(0.16f, 0.16f, 0.68f, 0.68f);
    return p;
}

juce::Path Loop()
{
    // A clockwise arc with a gap at the top, an arrowhead at its end.
    constexpr float centre = 0.5f, radius = 0.32f, thickness = 0.11f;
    constexpr float from = 0.45f, to = 2.0f * juce::MathConstants<float>::pi - 0.45f;
    juce::Path arc;
    arc.addCentredArc(centre, centre, radius, radius, 0.0f, from, to, true);
    juce::Path p;
    juce::PathStrokeType(thickness, juce::PathStrokeType::curved, juce::PathStrokeType::butt)
        .createStrokedPath(p, arc);
    // JUCE's angles run clockwise from twelve o'clock.
    const juce::Point<float> end(centre + radius * std::sin(to), centre - radius * std::cos(to));
    const juce::Point<float> along(std::cos(to), std::sin(to));
    const juce::Point<float> outwards(std::sin(to), -std::cos(to));
    const auto tip = end + along * 0.16f;
    const auto outer = end + outwards * 0.14f;
    const auto inner = end - outwards * 0.14f;
    p.addTriangle(tip, outer, inner);
    return p;
}

juce::Path Marker()
{
    // A tag pointing down at its position.
    juce::Path p;
    p.startNewSubPath(0.26f, 0.1f);
    p.lineTo(0.74f, 0.1f);
    p.lineTo(0.74f, 0.6f);
    p.lineTo(0.5f, 0.9f);
    p.lineTo(0.26f, 0.6f);
    p.closeSubPath();
    return p;
}

juce::Path UnitIcon(Icon icon)
{
    switch (icon)
    {
        case Icon::play: return Play();
        case Icon::pause: return Pause();
        case Icon::stop: return Stop();
        case Icon::loop: return Loop();
        case Icon::marker: return Marker();
    }
    return {};
}

} // namespace

juce::Path MakeIcon(Icon icon, juce::Rectangle<float> area)
{
    const float side = std::min(area.getWidth(), area.getHeight());
    if (!(side > 0.0f))
        return {};
    juce::Path p = UnitIcon(icon);
    const auto square = area.withSizeKeepingCentre(side, side);
    p.applyTransform(juce::AffineTransform::scale(side).translated(square.getX(), square.getY()));
    return p;
}

void DrawIcon(juce::Graphics& g, Icon icon, juce::Rectangle<float> area, juce::Colour colour)
{
    g.setColour(colour);
    g.fillPath(MakeIcon(icon, area));
}

} // namespace kel::gui
