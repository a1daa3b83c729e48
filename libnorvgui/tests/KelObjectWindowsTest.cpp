// One object's windows driven by the window messages, on a real display:
// each message's effect on the windows as JUCE (and X) hold them, wrong
// arguments refused, double-click, a click that goes through the window
// system to the help panel, and deletion.
#include <gtest/gtest.h>

#include <juce_gui_basics/juce_gui_basics.h>

#include "KelGuiRuntime.h"
#include "KelHelpPanel.h"
#include "KelObjectWindows.h"
#include "support/FakeHost.h"
#include "support/TestDisplay.h"

namespace {

using namespace kel;
using namespace kel::gui;
using kel::gui::test::FakeHost;
using Window = ObjectWindows::Window;
using Outcome = ObjectWindows::Outcome;

class ObjectWindowsTest : public testing::Test
{
protected:
    void SetUp() override
    {
        KEL_SKIP_WITHOUT_DISPLAY();
        ASSERT_TRUE(Acquire());
        acquired = true;
        windows = std::make_unique<ObjectWindows>(host);
    }
    void TearDown() override
    {
        windows.reset();
        if (acquired)
            Release();
        EXPECT_FALSE(IsRunning());
    }

    /** Lets X and JUCE deliver what the windows caused (Linux). */
    static void Pump()
    {
        for (int i = 0; i < 8 && DispatchPendingEvents() > 0; ++i)
        {
        }
    }

    FakeHost host;
    std::unique_ptr<ObjectWindows> windows;
    bool acquired = false;
};

/** What one window looks like: "absent", or "open|closed floating|- SIZE". */
String StateOf(const ObjectWindows& windows, Window window)
{
    const GuiWindow* shown = windows.getWindow(window);
    if (shown == nullptr)
        return "absent";
    String state = shown->isOpen() ? "open" : "closed";
    state += shown->isFloating() ? " floating " : " - ";
    state += ToString(double(shown->getFontSize()));
    // The peer (the system's window) agrees with the component.
    if (shown->isOpen() != (shown->getPeer() != nullptr && shown->getPeer()->getComponent().isShowing()))
        state += " (peer disagrees)";
    return state;
}

TEST_F(ObjectWindowsTest, EachMessageChangesItsWindowAndWrongArgumentsChangeNothing)
{
    struct Step
    {
        const char* message;
        Outcome outcome;
        const char* help;
        const char* status;
        const char* snapshot;
    };
    const Step steps[] = {
        // Settings given before a window exists wait for it; closing one
        // that does not exist makes none.
        {"/help/close", Outcome::done, "absent", "absent", "absent"},
        {"/help/font/size 20", Outcome::done, "absent", "absent", "absent"},
        {"/help/floating 1", Outcome::done, "absent", "absent", "absent"},
        {"/help", Outcome::done, "open floating 20", "absent", "absent"},
        {"/help/openorclose", Outcome::done, "closed floating 20", "absent", "absent"},
        {"/help/openorclose", Outcome::done, "open floating 20", "absent", "absent"},
        {"/help/floating 0", Outcome::done, "open - 20", "absent", "absent"},
        {"/help/close", Outcome::done, "closed - 20", "absent", "absent"},
        {"/help/open", Outcome::done, "open - 20", "absent", "absent"},
        {"/status/openorclose", Outcome::done, "open - 20", "open - 15", "absent"},
        {"/status/font/size 12.5", Outcome::done, "open - 20", "open - 12.5", "absent"},
        {"/status/floating 1", Outcome::done, "open - 20", "open floating 12.5", "absent"},
        {"/snapshot", Outcome::done, "open - 20", "open floating 12.5", "open - 15"},
        {"/snapshot/open", Outcome::done, "open - 20", "open floating 12.5", "open - 15"},
        {"/snapshot/close", Outcome::done, "open - 20", "open floating 12.5", "closed - 15"},
        {"/status/close", Outcome::done, "open - 20", "closed floating 12.5", "closed - 15"},
        // Wrong arguments: refused, nothing changes.
        {"/help/font/size", Outcome::invalid, "open - 20", "closed floating 12.5", "closed - 15"},
        {"/help/font/size \"big\"", Outcome::invalid, "open - 20", "closed floating 12.5", "closed - 15"},
        {"/help/font/size 0", Outcome::invalid, "open - 20", "closed floating 12.5", "closed - 15"},
        {"/help/font/size 500", Outcome::invalid, "open - 20", "closed floating 12.5", "closed - 15"},
        {"/help/font/size 12 14", Outcome::invalid, "open - 20", "closed floating 12.5", "closed - 15"},
        {"/status/floating \"foo\"", Outcome::invalid, "open - 20", "closed floating 12.5", "closed - 15"},
        {"/status/floating 2", Outcome::invalid, "open - 20", "closed floating 12.5", "closed - 15"},
        {"/status/floating 0.5", Outcome::invalid, "open - 20", "closed floating 12.5", "closed - 15"},
        {"/status/floating", Outcome::invalid, "open - 20", "closed floating 12.5", "closed - 15"},
        {"/help/close 1", Outcome::invalid, "open - 20", "closed floating 12.5", "closed - 15"},
        {"/snapshot/open \"now\"", Outcome::invalid, "open - 20", "closed floating 12.5", "closed - 15"},
        {"/status 1", Outcome::invalid, "open - 20", "closed floating 12.5", "closed - 15"},
        // Not for the windows: the object's own.
        {"/snapshot/add", Outcome::notWindowMessage, "open - 20", "closed floating 12.5", "closed - 15"},
        {"/help/*", Outcome::notWindowMessage, "open - 20", "closed floating 12.5", "closed - 15"},
        {"/help/open/now", Outcome::notWindowMessage, "open - 20", "closed floating 12.5", "closed - 15"},
        {"/helper", Outcome::notWindowMessage, "open - 20", "closed floating 12.5", "closed - 15"},
    };
    for (const Step& step : steps)
    {
        SCOPED_TRACE(step.message);
        EXPECT_EQ(windows->Process(OscMessage::CreateFromText(step.message)), step.outcome);
        Pump();
        EXPECT_EQ(StateOf(*windows, Window::help), step.help);
        EXPECT_EQ(StateOf(*windows, Window::status), step.status);
        EXPECT_EQ(StateOf(*windows, Window::snapshot), step.snapshot);
    }
    EXPECT_EQ(windows->getWindow(Window::help)->getName(), "test~ : help");
    EXPECT_EQ(windows->getWindow(Window::status)->getName(), "test~ : status");
    EXPECT_EQ(windows->getWindow(Window::snapshot)->getName(), "test~ : snapshot");
    EXPECT_TRUE(host.sent.empty());
}

TEST_F(ObjectWindowsTest, DoubleClickMakesHelpAndStatusAndShowsHelp)
{
    windows->OnDoubleClick();
    Pump();
    EXPECT_EQ(StateOf(*windows, Window::help), "open - 15");
    EXPECT_EQ(StateOf(*windows, Window::status), "closed - 15");
    EXPECT_EQ(StateOf(*windows, Window::snapshot), "absent");
    // Again after the user closed help: it shows again, nothing else moves.
    windows->getWindow(Window::help)->closeButtonPressed();
    windows->OnDoubleClick();
    EXPECT_EQ(StateOf(*windows, Window::help), "open - 15");
    EXPECT_EQ(StateOf(*windows, Window::status), "closed - 15");
}

TEST_F(ObjectWindowsTest, AClickThroughTheWindowSystemSendsTheHelpEntry)
{
    ASSERT_EQ(windows->Process(OscMessage("/help/open")), Outcome::done);
    GuiWindow& help = *windows->getWindow(Window::help);
    auto& panel = dynamic_cast<HelpPanel&>(help.getPanel());
    panel.setSearchText("start playback");
    Pump();
    ASSERT_EQ(panel.getRows().size(), 2u);
    juce::ListBox& list = panel.getList();
    juce::Component* row = list.getComponentAt(list.getRowPosition(1, true).getCentre());
    ASSERT_TRUE(row != nullptr && row != &list);
    juce::ComponentPeer* peer = help.getPeer();
    ASSERT_NE(peer, nullptr);

    // Into the peer as the window system delivers it: JUCE finds the row.
    const juce::Point<float> where = help.getLocalPoint(row, row->getLocalBounds().getCentre()).toFloat();
    const auto mouse = juce::MouseInputSource::InputSourceType::mouse;
    const juce::int64 now = juce::Time::currentTimeMillis();
    peer->handleMouseEvent(mouse, where, {}, juce::MouseInputSource::defaultPressure, 0.0f, now);
    peer->handleMouseEvent(mouse, where, juce::ModifierKeys::leftButtonModifier,
                           juce::MouseInputSource::defaultPressure, 0.0f, now + 1);
    peer->handleMouseEvent(mouse, where, {}, juce::MouseInputSource::defaultPressure, 0.0f, now + 2);
    Pump();
    EXPECT_EQ(host.sent, std::vector<String>{"/start"});
}

TEST_F(ObjectWindowsTest, GoingAwayClosesAndDeletesEveryWindow)
{
    for (const char* message : {"/help", "/status", "/snapshot", "/status/floating 1"})
        ASSERT_EQ(windows->Process(OscMessage::CreateFromText(message)), Outcome::done);
    Pump();
    juce::Component::SafePointer<juce::Component> help(windows->getWindow(Window::help));
    juce::Component::SafePointer<juce::Component> status(windows->getWindow(Window::status));
    juce::Component::SafePointer<juce::Component> snapshot(windows->getWindow(Window::snapshot));
    EXPECT_EQ(juce::Desktop::getInstance().getNumComponents(), 3);
    windows.reset();
    EXPECT_EQ(help.getComponent(), nullptr);
    EXPECT_EQ(status.getComponent(), nullptr);
    EXPECT_EQ(snapshot.getComponent(), nullptr);
    EXPECT_EQ(juce::Desktop::getInstance().getNumComponents(), 0);
    Pump();
}

} // namespace
