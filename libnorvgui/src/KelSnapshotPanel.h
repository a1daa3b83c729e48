// kel::gui::SnapshotPanel: the snapshot window's content. The object's
// snapshots in order with their names; buttons that add, store, recall,
// rename, delete, export and import; an interpolation between two chosen
// snapshots. Every action is sent to the object as the message a patch
// would send, so that errors are posted as for that message; the list
// follows every change of the snapshots, whoever made it.
//
// Main thread only.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <juce_gui_basics/juce_gui_basics.h>

#include "KelGuiPanel.h"
#include "KelPanelLook.h"
#include "KelWindowHost.h"

namespace kel::gui {

class SnapshotPanel : public Panel, private OscSnapshotManager::Listener, private juce::ListBoxModel
{
public:
    /** Registers with the object's snapshot manager until destroyed: the
        panel must not outlive the host's interface. */
    explicit SnapshotPanel(WindowHost& host);
    ~SnapshotPanel() override;

    /** Sets every text's size (clamped to minFontSize..maxFontSize) and
        scales the panel's size with it. */
    void setFontSize(float points) override;

    /** What the list shows, one text per row: "1  name". */
    juce::StringArray getListedSnapshots() const;
    /** The snapshot selected in the list (from 1), 0 when none is. */
    int getSelectedSnapshot() const;
    void selectSnapshot(int index);

    /** Asks for a file to export to (forSaving) or import from, and calls
        chosen with it unless the user cancels. JUCE's asynchronous file
        chooser unless replaced (a test has no one to answer a dialog). */
    using FileRequest = std::function<void(bool forSaving, std::function<void(const juce::File&)> chosen)>;
    void setFileRequest(FileRequest request) { fileRequest = std::move(request); }

    void paint(juce::Graphics& g) override;
    void resized() override;

private:
    // OscSnapshotManager::Listener
    void OnSnapshotsChanged(const OscSnapshotManager& manager) override;
    // juce::ListBoxModel
    int getNumRows() override;
    void paintListBoxItem(int row, juce::Graphics& g, int width, int height, bool selected) override;
    void selectedRowsChanged(int lastRowSelected) override;
    void listBoxItemDoubleClicked(int row, const juce::MouseEvent&) override;

    void rebuild();
    void refillChoice(juce::ComboBox& box, int fallback);
    void updateEnablement();
    void showSelectedName();
    void sendForSelected(const char* action, const String* argument = nullptr);
    void requestFile(bool forSaving, std::function<void(const juce::File&)> chosen);
    void interpolate();

    WindowHost& host;
    OscSnapshotManager& manager;
    PanelLook look;
    std::vector<juce::String> rows;

    juce::ListBox list;
    juce::Label nameCaption;
    juce::TextEditor name;
    juce::TextButton add{"add"}, store{"store"}, recall{"recall"}, rename{"rename"}, remove{"delete"},
        exportAll{"export"}, importFile{"import"};
    juce::Label interpolationCaption, fromCaption, toCaption;
    juce::ComboBox from, to;
    juce::Slider amount;

    FileRequest fileRequest;
    std::unique_ptr<juce::FileChooser> chooser;
};

} // namespace kel::gui
