// The help window's content: the documentation grouped and filtered, what a
// click sends, and what it looks like (dark text on a light background).
#include <gtest/gtest.h>

#include <juce_gui_basics/juce_gui_basics.h>

#include "KelGuiRuntime.h"
#include "KelHelpPanel.h"
#include "support/FakeHost.h"

namespace {

using namespace kel;
using namespace kel::gui;
using kel::gui::test::FakeHost;

class ScopedRuntime
{
public:
    ScopedRuntime() { acquired = Acquire(); }
    ~ScopedRuntime()
    {
        if (acquired)
            Release();
    }
    bool acquired = false;
};

/** "group: address(types) address(types)..." per group, as shown. */
std::vector<String> Shown(const std::vector<HelpGroup>& groups)
{
    std::vector<String> lines;
    for (const HelpGroup& group : groups)
    {
        String line = group.name + ":";
        for (const OscDocumentation::Entry* entry : group.entries)
            line.append(" ").append(entry->getAddress().getText()).append("(").append(entry->getArgumentTypes()).append(")");
        lines.push_back(line);
    }
    return lines;
}

TEST(HelpPanel, GroupsTheObjectsOwnMessagesFirstAndFiltersByEveryWord)
{
    FakeHost host;
    const HelpIndex index(host.object.getDocumentation());

    const std::vector<String> all = Shown(index.Filter(""));
    ASSERT_GE(all.size(), 6u);
    // The object's own groups, in registration order, each entry in its own.
    EXPECT_EQ(all[0], "/open: /open() /open(s)");
    EXPECT_EQ(all[1], "/start: /start()");
    EXPECT_EQ(all[2], "/seek: /seek(n)");
    EXPECT_EQ(all[3], "/source: /source/[index]/mute()");
    // Then those every object has, /post first as an interface registers it.
    EXPECT_EQ(all[4].substr(0, 6), "/post:");
    std::size_t entries = 0;
    for (const HelpGroup& group : index.Filter(" \t "))
        entries += group.entries.size();
    EXPECT_EQ(entries, host.object.getDocumentation().size()) << "blanks keep every entry";

    struct Case
    {
        const char* query;
        std::vector<String> shown;
    };
    const Case cases[] = {
        {"audio file", {"/open: /open() /open(s)"}},
        {"AN Audio FILE", {"/open: /open(s)"}},
        {"file name", {"/open: /open(s)", "/preset: /preset/load(s) /preset/export(s)",
                       "/snapshot: /snapshot/[index]/export(s) /snapshot/[index]/export/content(s) "
                       "/snapshot/export(s) /snapshot/import(s)"}},
        {"playback", {"/start: /start()"}},
        {"msec", {"/seek: /seek(n)"}},
        {"/source", {"/source: /source/[index]/mute()"}},
        {"snapshot window",
         {"/snapshot: /snapshot/open() /snapshot/close() /snapshot/openorclose() /snapshot/font/size(n) "
          "/snapshot/floating(i)"}},
        {"help font", {"/help: /help/font/size(n)"}},
        {"playback nothing", {}},
        {"zzz", {}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Shown(index.Filter(c.query)), c.shown) << "query \"" << c.query << "\"";
}

TEST(HelpPanel, SendsOnlyEntriesThatTakeNoArgument)
{
    struct Case
    {
        const char* address;
        const char* types;
        bool sendable;
    };
    const Case cases[] = {
        {"/start", "", true},
        {"/open", "", true},
        {"/open", "s", false},
        {"/seek", "n", false},
        {"/source/[index]/mute", "", false},
        {"/snapshot/[index]/store", "", false},
        {"/post/doc", "", true},
    };
    FakeHost host;
    for (const Case& c : cases)
    {
        const OscDocumentation::Entry entry(OscAddressPattern(c.address), "t", "d", c.types);
        EXPECT_EQ(HelpIndex::IsSendable(entry), c.sendable) << c.address << " (" << c.types << ")";
    }
}

/** A left click on the middle of a row, as the list's row component gets it. */
void Click(juce::Component& row)
{
    const juce::Point<float> middle = row.getLocalBounds().getCentre().toFloat();
    const juce::Time now = juce::Time::getCurrentTime();
    auto event = [&](juce::ModifierKeys mods)
    {
        return juce::MouseEvent(juce::Desktop::getInstance().getMainMouseSource(), middle, mods,
                                juce::MouseInputSource::defaultPressure, juce::MouseInputSource::defaultOrientation,
                                juce::MouseInputSource::defaultRotation, juce::MouseInputSource::defaultTiltX,
                                juce::MouseInputSource::defaultTiltY, &row, &row, now, middle, now, 1, false);
    };
    row.mouseDown(event(juce::ModifierKeys::leftButtonModifier));
    row.mouseUp(event(juce::ModifierKeys()));
}

/** The component the list shows row in, where a mouse would find it. */
juce::Component* RowComponent(HelpPanel& panel, int row)
{
    juce::ListBox& list = panel.getList();
    const juce::Rectangle<int> where = list.getRowPosition(row, true);
    juce::Component* found = list.getComponentAt(where.getCentre());
    return found != &list ? found : nullptr;
}

int RowOf(HelpPanel& panel, std::string_view address, std::string_view types)
{
    const auto& rows = panel.getRows();
    for (std::size_t i = 0; i < rows.size(); ++i)
        if (rows[i].entry != nullptr && rows[i].entry->getAddress().getText() == address
            && rows[i].entry->getArgumentTypes() == types)
            return int(i);
    return -1;
}

TEST(HelpPanel, TypingFiltersAndAClickSendsTheEntry)
{
    ScopedRuntime runtime;
    ASSERT_TRUE(runtime.acquired);
    FakeHost host;
    HelpPanel panel(host);
    panel.setSize(600, 500);

#if defined(__linux__)
    // Typed into the search field as a user would, one piece at a time:
    // the list follows when the editor's change message is dispatched.
    const std::size_t everything = panel.getRows().size();
    panel.getSearchField().insertTextAtCaret("pl");
    panel.getSearchField().insertTextAtCaret("ayback");
    EXPECT_EQ(panel.getRows().size(), everything);
    while (DispatchPendingEvents() > 0)
    {
    }
    ASSERT_EQ(panel.getRows().size(), 2u);
    EXPECT_EQ(panel.getRows()[0].entry, nullptr) << "a group's heading comes first";
    EXPECT_EQ(panel.getRows()[0].group, "/start");
    EXPECT_EQ(panel.getRows()[1].entry->getAddress().getText(), "/start");
#endif

    struct Case
    {
        const char* search;
        const char* address;
        const char* types;
        std::vector<String> sent;
    };
    const Case cases[] = {
        {"start", "/start", "", {"/start"}},
        {"audio file", "/open", "", {"/open"}},
        {"audio file", "/open", "s", {}},
        {"msec", "/seek", "n", {}},
        {"mute source", "/source/[index]/mute", "", {}},
        {"post documentation", "/post/doc", "", {"/post/doc"}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.search);
        host.sent.clear();
        panel.setSearchText(c.search);
        const int row = RowOf(panel, c.address, c.types);
        ASSERT_GE(row, 0);
        juce::Component* shown = RowComponent(panel, row);
        ASSERT_NE(shown, nullptr) << "row " << row << " is on screen";
        Click(*shown);
        EXPECT_EQ(host.sent, c.sent);
    }

    // A heading sends nothing.
    host.sent.clear();
    panel.setSearchText("start");
    ASSERT_NE(RowComponent(panel, 0), nullptr);
    Click(*RowComponent(panel, 0));
    EXPECT_TRUE(host.sent.empty());
}

TEST(HelpPanel, DrawsDarkTextOnALightBackgroundAtTheFontSizeGiven)
{
    ScopedRuntime runtime;
    ASSERT_TRUE(runtime.acquired);
    FakeHost host;
    HelpPanel panel(host);
    panel.setSize(640, 480);

    struct Case
    {
        float points;
    };
    int previousRowHeight = 0;
    for (const Case c : {Case{12.0f}, Case{15.0f}, Case{24.0f}})
    {
        SCOPED_TRACE(c.points);
        panel.setFontSize(c.points);
        EXPECT_GT(panel.getList().getRowHeight(), previousRowHeight) << "rows grow with the font";
        previousRowHeight = panel.getList().getRowHeight();

        const juce::Image image = panel.createComponentSnapshot(panel.getLocalBounds());
        int light = 0;
        int dark = 0;
        for (int y = 0; y < image.getHeight(); ++y)
            for (int x = 0; x < image.getWidth(); ++x)
            {
                const float brightness = image.getPixelAt(x, y).getPerceivedBrightness();
                light += brightness > 0.85f ? 1 : 0;
                dark += brightness < 0.3f ? 1 : 0;
            }
        const int pixels = image.getWidth() * image.getHeight();
        EXPECT_GT(light, pixels * 6 / 10) << "mostly light";
        EXPECT_GT(dark, pixels / 200) << "with dark text";
    }
    EXPECT_GE(juce::Font().withPointHeight(15.0f).getHeight(), 15.0f) << "the default size is at least 15 px";
}

} // namespace
