// The vector icons: each fills a fair share of the area it is given, never
// strays outside it, sits in its middle and scales with it.
#include <gtest/gtest.h>

#include "KelGuiIcons.h"

namespace {

using kel::gui::Icon;

TEST(GuiIcons, FitTheAreaTheyAreGiven)
{
    const Icon icons[] = {Icon::play, Icon::pause, Icon::stop, Icon::loop, Icon::marker};
    const juce::Rectangle<float> areas[] = {
        {0.0f, 0.0f, 16.0f, 16.0f},
        {10.0f, 20.0f, 48.0f, 48.0f},
        // Not square: the icon keeps its proportions in the middle.
        {5.0f, 5.0f, 120.0f, 30.0f},
        {-40.0f, 300.0f, 22.0f, 90.0f},
    };
    for (const Icon icon : icons)
        for (const auto& area : areas)
        {
            SCOPED_TRACE(std::to_string(int(icon)) + " in " + area.toString().toStdString());
            const juce::Path path = kel::gui::MakeIcon(icon, area);
            ASSERT_FALSE(path.isEmpty());
            const auto bounds = path.getBounds();
            const float side = std::min(area.getWidth(), area.getHeight());
            const float tolerance = side * 1.0e-4f;
            EXPECT_TRUE(area.expanded(tolerance).contains(bounds)) << bounds.toString();
            EXPECT_GE(std::max(bounds.getWidth(), bounds.getHeight()), side * 0.6f);
            EXPECT_NEAR(bounds.getCentreX(), area.getCentreX(), side * 0.1f);
            EXPECT_NEAR(bounds.getCentreY(), area.getCentreY(), side * 0.1f);
            // Twice the area, twice the icon.
            const auto twice = kel::gui::MakeIcon(icon, area.withSizeKeepingCentre(area.getWidth() * 2.0f,
                                                                                    area.getHeight() * 2.0f))
                                   .getBounds();
            EXPECT_NEAR(twice.getWidth(), bounds.getWidth() * 2.0f, tolerance * 4.0f);
            EXPECT_NEAR(twice.getHeight(), bounds.getHeight() * 2.0f, tolerance * 4.0f);
        }
    for (const Icon icon : icons)
    {
        EXPECT_TRUE(kel::gui::MakeIcon(icon, {}).isEmpty());
        EXPECT_TRUE(kel::gui::MakeIcon(icon, {0.0f, 0.0f, 30.0f, 0.0f}).isEmpty());
    }
}

} // namespace
