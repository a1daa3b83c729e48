// The snapshot panel over a real object (a player): each button sends the
// message a patch would send, the slider sends the interpolation, and the
// list follows what messages do to the snapshots.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "KelSnapshotPanel.h"
#include "PanelTestSupport.h"
#include "dsp/KelAudioFilePlayer.h"

namespace {

using kel::test::RecordingWindowHost;

std::vector<std::string> Texts(const juce::StringArray& array)
{
    std::vector<std::string> texts;
    for (const auto& s : array)
        texts.push_back(s.toStdString());
    return texts;
}

std::vector<std::string> ItemTexts(const juce::ComboBox& box)
{
    std::vector<std::string> texts;
    for (int i = 0; i < box.getNumItems(); ++i)
        texts.push_back(box.getItemText(i).toStdString());
    return texts;
}

struct SnapshotPanel : testing::Test
{
    juce::ScopedJuceInitialiser_GUI juce;
    kel::AudioFilePlayer player{2, 192000};
    RecordingWindowHost host{player};
    std::filesystem::path folder = std::filesystem::temp_directory_path()
                                 / ("kel-snapshot-panel-"
                                    + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));

    SnapshotPanel() { std::filesystem::create_directories(folder); }
    ~SnapshotPanel() override { std::filesystem::remove_all(folder); }

    void Send(const std::string& text) { player.ProcessMessage(kel::OscMessage::CreateFromText(text)); }
    std::string File(const std::string& name) const { return (folder / name).string(); }
};

TEST_F(SnapshotPanel, EachButtonSendsItsMessage)
{
    for (const char* name : {"verse", "chorus", "bridge"})
        Send(std::string("/snapshot/add \"") + name + "\"");
    const std::string exportFile = File("all snapshots.txt");
    const std::string importFile = File("some.coll");

    struct Case
    {
        const char* button;
        int selected;               // 0: none
        const char* name;           // typed into the name field first, unless null
        const char* chosenFile;     // the file dialog's answer; null: cancelled
        std::vector<kel::OscMessage> sent;
    };
    // The file as JUCE names it (on Windows with its own separators).
    const auto named = [](const std::string& path)
    { return juce::File(juce::String::fromUTF8(path.c_str())).getFullPathName().toStdString(); };
    const auto message = [](const std::string& address, const char* argument = nullptr)
    {
        kel::OscMessage m{kel::OscAddressPattern(address)};
        if (argument != nullptr)
            m.AddString(argument);
        return m;
    };
    const std::string exported = named(exportFile), imported = named(importFile);
    const Case cases[] = {
        {"add", 0, nullptr, nullptr, {message("/snapshot/add")}},
        {"add", 2, nullptr, nullptr, {message("/snapshot/add")}},
        {"store", 2, nullptr, nullptr, {message("/snapshot/2/store")}},
        {"recall", 1, nullptr, nullptr, {message("/snapshot/1/recall")}},
        {"rename", 3, "outro", nullptr, {message("/snapshot/3/name", "outro")}},
        {"rename", 1, "coda \xC3\xA9t\xC3\xA9", nullptr, {message("/snapshot/1/name", "coda \xC3\xA9t\xC3\xA9")}},
        {"delete", 2, nullptr, nullptr, {message("/snapshot/2/delete")}},
        {"export", 0, nullptr, exportFile.c_str(), {message("/snapshot/export", exported.c_str())}},
        {"export", 1, nullptr, nullptr, {}},
        {"import", 0, nullptr, importFile.c_str(), {message("/snapshot/import", imported.c_str())}},
        {"import", 0, nullptr, nullptr, {}},
    };
    host.handOn = false;
    for (const auto& c : cases)
    {
        SCOPED_TRACE(std::string(c.button) + " " + std::to_string(c.selected));
        kel::gui::SnapshotPanel panel(host);
        std::vector<bool> asked;
        panel.setFileRequest(
            [&](bool forSaving, std::function<void(const juce::File&)> chosen)
            {
                asked.push_back(forSaving);
                if (c.chosenFile != nullptr)
                    chosen(juce::File(juce::String::fromUTF8(c.chosenFile)));
            });
        panel.selectSnapshot(c.selected);
        ASSERT_EQ(panel.getSelectedSnapshot(), c.selected);
        if (c.name != nullptr)
            kel::test::FindAll<juce::TextEditor>(panel).at(0)->setText(juce::String::fromUTF8(c.name));
        host.sent.clear();
        auto* button = kel::test::FindButton(panel, c.button);
        ASSERT_NE(button, nullptr);
        kel::test::Click(*button);
        ASSERT_EQ(host.sent.size(), c.sent.size());
        for (std::size_t i = 0; i < c.sent.size(); ++i)
        {
            EXPECT_EQ(host.sent[i].toString(), c.sent[i].toString());
            EXPECT_EQ(host.sent[i].getTypeTags(), c.sent[i].getTypeTags());
        }
        if (std::string(c.button) == "export" || std::string(c.button) == "import")
        {
            EXPECT_EQ(asked, std::vector<bool>{std::string(c.button) == "export"});
        }
    }

    // The name field's return key renames, as the button does.
    kel::gui::SnapshotPanel panel(host);
    panel.selectSnapshot(2);
    auto* field = kel::test::FindAll<juce::TextEditor>(panel).at(0);
    EXPECT_EQ(field->getText().toStdString(), "chorus") << "the selected snapshot's name";
    field->setText("refrain");
    host.sent.clear();
    ASSERT_TRUE(field->onReturnKey != nullptr);
    field->onReturnKey();
    EXPECT_EQ(host.sentTexts(), std::vector<std::string>{"/snapshot/2/name \"refrain\""});

    // Without a selection there is nothing to store, recall, rename or delete.
    panel.selectSnapshot(0);
    for (const char* button : {"store", "recall", "rename", "delete"})
        EXPECT_FALSE(kel::test::FindButton(panel, button)->isEnabled()) << button;
    for (const char* button : {"add", "export", "import"})
        EXPECT_TRUE(kel::test::FindButton(panel, button)->isEnabled()) << button;
}

TEST_F(SnapshotPanel, SliderSendsTheInterpolationBetweenTheChosenPair)
{
    for (const char* name : {"a", "b", "c"})
        Send(std::string("/snapshot/add \"") + name + "\"");
    struct Case
    {
        int from, to;
        double percent;
    };
    const Case cases[] = {{1, 2, 25.0}, {1, 3, 0.0}, {3, 1, 100.0}, {2, 2, 62.5}, {2, 3, 0.5}};
    kel::gui::SnapshotPanel panel(host);
    const auto boxes = kel::test::FindAll<juce::ComboBox>(panel);
    ASSERT_EQ(boxes.size(), 2u);
    // The pair starts as the first two.
    EXPECT_EQ(boxes[0]->getSelectedId(), 1);
    EXPECT_EQ(boxes[1]->getSelectedId(), 2);
    auto* slider = kel::test::FindAll<juce::Slider>(panel).at(0);
    EXPECT_EQ(slider->getMinimum(), 0.0);
    EXPECT_EQ(slider->getMaximum(), 100.0);
    for (const auto& c : cases)
    {
        SCOPED_TRACE(std::to_string(c.from) + " " + std::to_string(c.to) + " " + std::to_string(c.percent));
        boxes[0]->setSelectedId(c.from, juce::sendNotificationSync);
        boxes[1]->setSelectedId(c.to, juce::sendNotificationSync);
        host.sent.clear();
        host.errors.clear();
        slider->setValue(c.percent, juce::sendNotificationSync);
        ASSERT_EQ(host.sent.size(), 1u);
        const kel::OscMessage& m = host.sent[0];
        EXPECT_EQ(m.toString().substr(0, m.toString().find(' ')), "/snapshot/interpolate");
        EXPECT_EQ(m.getTypeTags(), "iif");
        EXPECT_EQ(m.getArgumentAsInt32(0), c.from);
        EXPECT_EQ(m.getArgumentAsInt32(1), c.to);
        EXPECT_EQ(m.getArgumentAsDouble(2), double(float(c.percent)));
        // The object takes it.
        EXPECT_TRUE(host.errors.empty()) << host.errors.front();
    }
}

TEST_F(SnapshotPanel, FollowsChangesMadeByMessages)
{
    kel::gui::SnapshotPanel panel(host);
    // A second window on the same object follows as well.
    auto second = std::make_unique<kel::gui::SnapshotPanel>(host);
    struct Step
    {
        const char* message;
        std::vector<std::string> rows;
        int selected;
    };
    const Step steps[] = {
        {"/snapshot/add \"verse\"", {"1  verse"}, 1},
        {"/snapshot/add \"chorus\"", {"1  verse", "2  chorus"}, 2},
        {"/snapshot/add", {"1  verse", "2  chorus", "3  snapshot 3"}, 3},
        {"/snapshot/2/name \"refrain\"", {"1  verse", "2  refrain", "3  snapshot 3"}, 3},
        {"/snapshot/3/delete", {"1  verse", "2  refrain"}, 2},
        {"/snapshot/1/delete", {"1  refrain"}, 1},
        {"/snapshot/clear", {}, 0},
        {"/snapshot/add \"again\"", {"1  again"}, 1},
    };
    for (const auto& step : steps)
    {
        SCOPED_TRACE(step.message);
        Send(step.message);
        EXPECT_EQ(Texts(panel.getListedSnapshots()), step.rows);
        EXPECT_EQ(Texts(second->getListedSnapshots()), step.rows);
        EXPECT_EQ(panel.getSelectedSnapshot(), step.selected);
        for (auto* box : kel::test::FindAll<juce::ComboBox>(panel))
            EXPECT_EQ(ItemTexts(*box), step.rows);
        const std::string name = step.selected > 0 ? step.rows[std::size_t(step.selected - 1)].substr(3) : "";
        EXPECT_EQ(kel::test::FindAll<juce::TextEditor>(panel).at(0)->getText().toStdString(), name);
    }
    // Gone, it hears nothing more: a change now reaches only the first.
    second.reset();
    Send("/snapshot/add \"last\"");
    EXPECT_EQ(Texts(panel.getListedSnapshots()), (std::vector<std::string>{"1  again", "2  last"}));
}

TEST_F(SnapshotPanel, ExportAndImportGoThroughTheObject)
{
    Send("/snapshot/add \"soft\"");
    Send("/loop 1");
    Send("/snapshot/add \"loud\"");
    kel::gui::SnapshotPanel panel(host);
    std::string answer;
    panel.setFileRequest([&](bool, std::function<void(const juce::File&)> chosen)
                         { chosen(juce::File(juce::String::fromUTF8(answer.c_str()))); });

    struct Step
    {
        const char* button;
        std::string file;
        std::vector<std::string> rows;
        bool fails;
    };
    const Step steps[] = {
        {"export", File("both.txt"), {"1  soft", "2  loud"}, false},
        {"import", File("both.txt"), {"1  soft", "2  loud", "3  soft", "4  loud"}, false},
        {"import", File("missing.txt"), {"1  soft", "2  loud", "3  soft", "4  loud"}, true},
        {"export", File("as coll.coll"), {"1  soft", "2  loud", "3  soft", "4  loud"}, false},
        {"import", File("as coll.coll"), {"1  soft", "2  loud", "3  soft", "4  loud", "5  soft", "6  loud",
                                          "7  soft", "8  loud"}, false},
    };
    for (const auto& step : steps)
    {
        SCOPED_TRACE(std::string(step.button) + " " + step.file);
        answer = step.file;
        host.errors.clear();
        kel::test::Click(*kel::test::FindButton(panel, step.button));
        EXPECT_EQ(Texts(panel.getListedSnapshots()), step.rows);
        // A failure is the object's, as for the message.
        EXPECT_EQ(host.errors.size(), step.fails ? 1u : 0u);
    }
    // What came back is what went out: the third recalls the first's state.
    EXPECT_EQ(player.getSnapshotManager().getSnapshot(3).getContent().toString(),
              player.getSnapshotManager().getSnapshot(1).getContent().toString());
    EXPECT_NE(player.getSnapshotManager().getSnapshot(2).getContent().toString(),
              player.getSnapshotManager().getSnapshot(1).getContent().toString());
}

} // namespace
