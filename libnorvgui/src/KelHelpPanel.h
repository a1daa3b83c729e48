// kel::gui::HelpPanel: the help window's content. The object's documentation
// (the entries "/post/doc" posts), grouped by address prefix, each entry
// with its address, argument types, title and description; a search field
// that filters as one types; clicking an entry that takes no argument sends
// it to the object, as the patch would.
//
// Main thread only.
#pragma once

#include <vector>

#include "KelGuiPanel.h"
#include "KelHelpIndex.h"
#include "KelWindowHost.h"

namespace kel::gui {

class HelpPanel final : public Panel, private juce::ListBoxModel
{
public:
    /** host must outlive the panel. */
    explicit HelpPanel(WindowHost& host);
    ~HelpPanel() override;

    void setFontSize(float points) override;
    void resized() override;
    void paint(juce::Graphics& g) override;

    /** Shows at once the entries that hold every word of text, as typing
        it does once the editor's change message is dispatched. */
    void setSearchText(const juce::String& text);

    /** The rows shown: a group's heading (no entry) or an entry. */
    struct Row
    {
        String group;
        const OscDocumentation::Entry* entry = nullptr;
    };
    const std::vector<Row>& getRows() const noexcept { return rows; }
    juce::ListBox& getList() noexcept { return list; }
    juce::TextEditor& getSearchField() noexcept { return search; }

private:
    void refilter();
    void sendRow(int row);

    // juce::ListBoxModel
    int getNumRows() override;
    void paintListBoxItem(int row, juce::Graphics& g, int width, int height, bool selected) override;
    void listBoxItemClicked(int row, const juce::MouseEvent& event) override;
    void returnKeyPressed(int row) override;
    juce::String getTooltipForRow(int row) override;
    juce::MouseCursor getMouseCursorForRow(int row) override;

    WindowHost& host;
    HelpIndex index;
    std::vector<Row> rows;
    juce::Font font;
    juce::TextEditor search;
    juce::ListBox list;
    juce::TooltipWindow tooltips{this, 700};
};

} // namespace kel::gui
