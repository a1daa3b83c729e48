// "/<window>/font/size" as the panels take it: every text at the size
// asked for (within the panels' range), the panel scaled with it, and every
// widget laid out inside the panel.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

#include "KelSnapshotPanel.h"
#include "KelStatusPanel.h"
#include "PanelTestSupport.h"
#include "dsp/KelAudioFilePlayer.h"

namespace {

struct PanelFontSize : testing::Test
{
    juce::ScopedJuceInitialiser_GUI juce;
    kel::AudioFilePlayer player{2, 192000};
    kel::test::RecordingWindowHost host{player};
};

/** The label showing text, or null. */
juce::Label* FindLabel(juce::Component& root, const std::string& text)
{
    for (auto* label : kel::test::FindAll<juce::Label>(root))
        if (label->getText().toStdString() == text)
            return label;
    return nullptr;
}

TEST_F(PanelFontSize, TextsTakeTheSizeAndThePanelScales)
{
    player.ProcessMessage(kel::OscMessage::CreateFromText("/snapshot/add \"one\""));
    host.statusSource = [] { return std::optional<kel::PlayerStatus>(kel::PlayerStatus{}); };
    struct Case
    {
        float asked;
        float applied;  // 0: unchanged
    };
    const Case cases[] = {{16.0f, 16.0f}, {24.0f, 24.0f}, {11.5f, 11.5f}, {200.0f, 72.0f},
                          {2.0f, 6.0f},   {-3.0f, 6.0f},  {std::numeric_limits<float>::quiet_NaN(), 0.0f},
                          {30.0f, 30.0f}};
    struct Subject
    {
        const char* what;
        std::unique_ptr<kel::gui::Panel> panel;
        const char* caption;  // a plain-sized label it shows
    };
    Subject subjects[] = {{"status", std::make_unique<kel::gui::StatusPanel>(host), "state"},
                          {"snapshot", std::make_unique<kel::gui::SnapshotPanel>(host), "name"}};
    for (auto& subject : subjects)
    {
        kel::gui::Panel& panel = *subject.panel;
        float current = 16.0f;
        for (const auto& c : cases)
        {
            SCOPED_TRACE(std::string(subject.what) + " " + std::to_string(c.asked));
            const auto before = panel.getBounds();
            panel.setFontSize(c.asked);
            const float now = c.applied > 0.0f ? c.applied : current;
            juce::Label* caption = FindLabel(panel, subject.caption);
            ASSERT_NE(caption, nullptr);
            EXPECT_FLOAT_EQ(caption->getFont().getHeight(), now);
            EXPECT_EQ(panel.getWidth(), juce::roundToInt(float(before.getWidth()) * now / current));
            EXPECT_EQ(panel.getHeight(), juce::roundToInt(float(before.getHeight()) * now / current));
            for (auto* child : kel::test::FindAll<juce::Component>(panel))
                if (child->getParentComponent() == &panel && child->isVisible())
                {
                    EXPECT_TRUE(panel.getLocalBounds().contains(child->getBounds()))
                        << child->getName() << " " << child->getBounds().toString();
                    EXPECT_FALSE(child->getBounds().isEmpty()) << child->getName();
                }
            current = now;
        }
    }
}

} // namespace
