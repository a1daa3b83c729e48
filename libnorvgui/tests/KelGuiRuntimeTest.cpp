// The runtime: JUCE started by the first Acquire, shut down by the last
// Release, started again later; bound to one thread, which alone may
// acquire and dispatch; Linux's event dispatch.
#include <gtest/gtest.h>

#include <thread>

#include <juce_gui_basics/juce_gui_basics.h>

#include "KelGuiRuntime.h"

namespace {

using namespace kel::gui;

/** Text JUCE draws with the default look on a light background (fonts,
    colours): what a window needs, also after a restart. Returns how many
    pixels are dark. */
int DarkPixelsOfALabel()
{
    juce::Label label({}, "status of test~");
    label.setSize(200, 30);
    juce::Image image(juce::Image::RGB, 200, 30, true);
    juce::Graphics g(image);
    g.fillAll(juce::Colours::white);
    label.paintEntireComponent(g, true);
    int dark = 0;
    for (int y = 0; y < image.getHeight(); ++y)
        for (int x = 0; x < image.getWidth(); ++x)
            dark += image.getPixelAt(x, y).getPerceivedBrightness() < 0.3f ? 1 : 0;
    return dark;
}

TEST(GuiRuntime, CountsAcquiresAndStartsAgainAfterTheLastRelease)
{
    ASSERT_FALSE(IsRunning());
    struct Step
    {
        const char* what;
        int acquires;
        int releases;
        bool running;
    };
    const Step steps[] = {
        {"the first acquire starts JUCE", 1, 0, true},
        {"a second object acquires", 1, 0, true},
        {"one release leaves it running", 0, 1, true},
        {"the last release shuts it down", 0, 1, false},
        {"a release too many is ignored", 0, 1, false},
        {"a later object starts it again", 1, 0, true},
        {"and its release shuts it down", 0, 1, false},
    };
    for (const Step& step : steps)
    {
        SCOPED_TRACE(step.what);
        for (int i = 0; i < step.acquires; ++i)
            EXPECT_TRUE(Acquire());
        for (int i = 0; i < step.releases; ++i)
            Release();
        EXPECT_EQ(IsRunning(), step.running);
        EXPECT_EQ(juce::MessageManager::getInstanceWithoutCreating() != nullptr, step.running);
        if (!step.running)
            continue;
        EXPECT_TRUE(juce::MessageManager::getInstance()->isThisTheMessageThread());
        // The default look is the light one, also after a restart.
        EXPECT_GT(juce::LookAndFeel::getDefaultLookAndFeel()
                      .findColour(juce::ResizableWindow::backgroundColourId)
                      .getPerceivedBrightness(),
                  0.8f);
        EXPECT_GT(DarkPixelsOfALabel(), 30);
    }
}

TEST(GuiRuntime, BelongsToTheThreadThatFirstAcquiredIt)
{
    bool otherAcquired = true;
#if defined(__linux__)
    // A thread other than the process's main one is refused, first or not.
    std::thread([&] { otherAcquired = Acquire(); }).join();
    EXPECT_FALSE(otherAcquired);
    EXPECT_FALSE(IsRunning());
#endif

    ASSERT_TRUE(Acquire());
    int dispatchedElsewhere = -1;
    std::thread(
        [&]
        {
            otherAcquired = Acquire();
            dispatchedElsewhere = DispatchPendingEvents();
            Release(); // ignored: not its runtime
        })
        .join();
    EXPECT_FALSE(otherAcquired);
    EXPECT_EQ(dispatchedElsewhere, 0);
    EXPECT_TRUE(IsRunning());
    Release();
    EXPECT_FALSE(IsRunning());
}

#if defined(__linux__)
TEST(GuiRuntime, DispatchesWhatIsPendingWithoutWaiting)
{
    EXPECT_EQ(DispatchPendingEvents(), 0) << "nothing runs before JUCE does";
    ASSERT_TRUE(Acquire());

    int ran = 0;
    int nested = -1;
    ASSERT_TRUE(juce::MessageManager::callAsync(
        [&]
        {
            ++ran;
            nested = DispatchPendingEvents();
        }));
    // Posted from another thread too, as JUCE's timer thread posts.
    std::thread([&] { juce::MessageManager::callAsync([&] { ++ran; }); }).join();
    EXPECT_EQ(ran, 0) << "posted messages wait for the dispatch";
    EXPECT_GE(DispatchPendingEvents(), 1);
    EXPECT_EQ(ran, 2);
    EXPECT_EQ(nested, 0) << "a dispatch inside a dispatched message does nothing";
    EXPECT_EQ(DispatchPendingEvents(), 0) << "nothing left";

    Release();
    EXPECT_FALSE(juce::MessageManager::callAsync([&] { ++ran; }));
    EXPECT_EQ(DispatchPendingEvents(), 0);
    EXPECT_EQ(ran, 2);
}
#endif

} // namespace
