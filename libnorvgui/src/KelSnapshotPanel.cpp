#include "KelSnapshotPanel.h"

#include <algorithm>
#include <cmath>

namespace kel::gui {

namespace {

juce::String Utf8(const String& text)
{
    return juce::String::fromUTF8(text.data(), int(text.size()));
}

String Utf8(const juce::String& text)
{
    return text.toStdString();
}

juce::String RowText(std::size_t index, const String& name)
{
    return juce::String(index) + "  " + Utf8(name);
}

// The formats the snapshot files come in, named by their extension.
constexpr const char* snapshotFilePatterns = "*.txt;*.osc;*.coll";

} // namespace

SnapshotPanel::SnapshotPanel(WindowHost& windowHost)
    : host(windowHost), manager(windowHost.getInterface().getSnapshotManager()), list("snapshots", this)
{
    setLookAndFeel(&look);
    list.setColour(juce::ListBox::outlineColourId, PanelColours::trough());
    list.setOutlineThickness(1);
    for (juce::Label* label : {&nameCaption, &interpolationCaption, &fromCaption, &toCaption})
        PanelLook::styleLabel(*label);
    nameCaption.setText("name", juce::dontSendNotification);
    interpolationCaption.setText("interpolate", juce::dontSendNotification);
    fromCaption.setText("from", juce::dontSendNotification);
    toCaption.setText("to", juce::dontSendNotification);
    name.setColour(juce::TextEditor::textColourId, PanelColours::text());
    name.setColour(juce::TextEditor::backgroundColourId, PanelColours::field());
    name.onReturnKey = [this]
    {
        if (rename.isEnabled())
            rename.onClick();
    };

    add.onClick = [this] { host.Send(OscMessage(OscAddressPattern("/snapshot/add"))); };
    store.onClick = [this] { sendForSelected("store"); };
    recall.onClick = [this] { sendForSelected("recall"); };
    rename.onClick = [this]
    {
        const String newName = Utf8(name.getText());
        sendForSelected("name", &newName);
    };
    remove.onClick = [this] { sendForSelected("delete"); };
    exportAll.onClick = [this]
    {
        requestFile(true,
                    [this](const juce::File& file)
                    {
                        host.Send(OscMessage(OscAddressPattern("/snapshot/export"))
                                      .AddString(Utf8(file.getFullPathName())));
                    });
    };
    importFile.onClick = [this]
    {
        requestFile(false,
                    [this](const juce::File& file)
                    {
                        host.Send(OscMessage(OscAddressPattern("/snapshot/import"))
                                      .AddString(Utf8(file.getFullPathName())));
                    });
    };

    amount.setSliderStyle(juce::Slider::LinearHorizontal);
    amount.setRange(0.0, 100.0);
    amount.setNumDecimalPlacesToDisplay(1);
    amount.setTextValueSuffix(" %");
    amount.onValueChange = [this] { interpolate(); };

    for (juce::Component* widget : std::initializer_list<juce::Component*>{
             &list, &nameCaption, &name, &add, &store, &recall, &rename, &remove, &exportAll, &importFile,
             &interpolationCaption, &fromCaption, &from, &toCaption, &to, &amount})
        addAndMakeVisible(widget);

    manager.AddListener(this);
    rebuild();
    setFontSize(look.getFontHeight());
    setSize(560, 520);
}

SnapshotPanel::~SnapshotPanel()
{
    manager.RemoveListener(this);
    list.setModel(nullptr);
    setLookAndFeel(nullptr);
}

void SnapshotPanel::setFontSize(float requested)
{
    if (!look.changeFontHeight(*this, requested))
        return;
    const float points = look.getFontHeight();
    const juce::Font plain(points);
    for (juce::Label* label : {&nameCaption, &interpolationCaption, &fromCaption, &toCaption})
        label->setFont(plain);
    name.setFont(plain);
    name.applyFontToAllText(plain);
    list.setRowHeight(std::max(1, juce::roundToInt(points * 1.6f)));
    // The slider's value box takes the font when it is made again.
    amount.setTextBoxStyle(juce::Slider::TextBoxRight, false, juce::roundToInt(points * 5.0f), look.getLineHeight());
    amount.lookAndFeelChanged();
    resized();
    repaint();
}

juce::StringArray SnapshotPanel::getListedSnapshots() const
{
    juce::StringArray texts;
    for (const auto& row : rows)
        texts.add(row);
    return texts;
}

int SnapshotPanel::getSelectedSnapshot() const
{
    const int row = list.getSelectedRow();
    return row >= 0 && std::size_t(row) < rows.size() ? row + 1 : 0;
}

void SnapshotPanel::selectSnapshot(int index)
{
    if (index >= 1 && std::size_t(index) <= rows.size())
        list.selectRow(index - 1);
    else
        list.deselectAllRows();
}

void SnapshotPanel::OnSnapshotsChanged(const OscSnapshotManager&)
{
    rebuild();
}

void SnapshotPanel::rebuild()
{
    const std::size_t before = rows.size();
    const int selectedBefore = list.getSelectedRow();
    rows.clear();
    for (std::size_t i = 1; i <= manager.getNumSnapshots(); ++i)
        rows.push_back(RowText(i, manager.getSnapshot(std::int64_t(i)).getName()));
    // The list drops a selection beyond its new end by itself.
    list.updateContent();
    list.repaint();
    // A snapshot just added (by the button, a message or an import) is the
    // one the user will act on next; after a deletion at the end, the new
    // last one.
    if (rows.size() > before)
        list.selectRow(int(rows.size()) - 1);
    else if (selectedBefore >= int(rows.size()))
        selectSnapshot(int(rows.size()));
    refillChoice(from, 1);
    refillChoice(to, 2);
    showSelectedName();
    updateEnablement();
}

void SnapshotPanel::refillChoice(juce::ComboBox& box, int fallback)
{
    // Kept by index when it still exists; else the fallback, or the last.
    int chosen = box.getSelectedId();
    box.clear(juce::dontSendNotification);
    for (std::size_t i = 0; i < rows.size(); ++i)
        box.addItem(rows[i], int(i) + 1);
    const int count = int(rows.size());
    if (chosen < 1 || chosen > count)
        chosen = std::min(fallback, count);
    if (chosen >= 1)
        box.setSelectedId(chosen, juce::dontSendNotification);
}

void SnapshotPanel::updateEnablement()
{
    const bool selected = getSelectedSnapshot() > 0;
    for (juce::Button* button : {&store, &recall, &rename, &remove})
        button->setEnabled(selected);
    exportAll.setEnabled(!rows.empty());
    amount.setEnabled(from.getSelectedId() > 0 && to.getSelectedId() > 0);
}

void SnapshotPanel::showSelectedName()
{
    // Not under the user's fingers while they type a new name.
    if (name.hasKeyboardFocus(true))
        return;
    const int index = getSelectedSnapshot();
    name.setText(index > 0 ? Utf8(manager.getSnapshot(index).getName()) : juce::String(), false);
}

void SnapshotPanel::sendForSelected(const char* action, const String* argument)
{
    const int index = getSelectedSnapshot();
    if (index == 0)
        return;
    OscMessage message(OscAddressPattern("/snapshot/" + ToString(index) + "/" + action));
    if (argument != nullptr)
        message.AddString(*argument);
    host.Send(message);
}

void SnapshotPanel::requestFile(bool forSaving, std::function<void(const juce::File&)> chosen)
{
    if (fileRequest)
    {
        fileRequest(forSaving, std::move(chosen));
        return;
    }
    chooser = std::make_unique<juce::FileChooser>(forSaving ? "export snapshots" : "import snapshots", juce::File(),
                                                  snapshotFilePatterns);
    const int flags = forSaving ? juce::FileBrowserComponent::saveMode | juce::FileBrowserComponent::canSelectFiles
                                      | juce::FileBrowserComponent::warnAboutOverwriting
                                : juce::FileBrowserComponent::openMode | juce::FileBrowserComponent::canSelectFiles;
    // The dialog may answer after the window closed: the panel is looked
    // for, not assumed.
    chooser->launchAsync(flags,
                         [safe = juce::Component::SafePointer<SnapshotPanel>(this),
                          chosen = std::move(chosen)](const juce::FileChooser& dialog)
                         {
                             const juce::File file = dialog.getResult();
                             if (safe != nullptr && file != juce::File())
                                 chosen(file);
                         });
}

void SnapshotPanel::interpolate()
{
    const int first = from.getSelectedId();
    const int second = to.getSelectedId();
    if (first < 1 || second < 1)
        return;
    host.Send(OscMessage(OscAddressPattern("/snapshot/interpolate"))
                  .AddInt32(first)
                  .AddInt32(second)
                  .AddFloat32(float(amount.getValue())));
}

int SnapshotPanel::getNumRows()
{
    return int(rows.size());
}

void SnapshotPanel::paintListBoxItem(int row, juce::Graphics& g, int width, int height, bool selected)
{
    if (row < 0 || std::size_t(row) >= rows.size())
        return;
    if (selected)
        g.fillAll(PanelColours::highlight());
    g.setColour(PanelColours::text());
    g.setFont(juce::Font(look.getFontHeight()));
    g.drawText(rows[std::size_t(row)], juce::Rectangle<int>(0, 0, width, height).reduced(6, 0),
               juce::Justification::centredLeft, true);
}

void SnapshotPanel::selectedRowsChanged(int)
{
    showSelectedName();
    updateEnablement();
}

void SnapshotPanel::listBoxItemDoubleClicked(int, const juce::MouseEvent&)
{
    sendForSelected("recall");
}

void SnapshotPanel::paint(juce::Graphics& g)
{
    g.fillAll(PanelColours::background());
}

void SnapshotPanel::resized()
{
    const float points = look.getFontHeight();
    const int line = look.getLineHeight();
    const int gap = std::max(4, int(points * 0.4f));
    auto area = getLocalBounds().reduced(gap * 2);
    const auto textWidth = [points](const char* text) { return juce::Font(points).getStringWidth(text); };

    // From the bottom: interpolation, the file buttons, the snapshot
    // buttons, the name; the list takes the rest.
    amount.setBounds(area.removeFromBottom(line));
    area.removeFromBottom(gap);
    auto pair = area.removeFromBottom(line);
    const int captionWidth = std::max(textWidth("from"), textWidth("to")) + gap * 2;
    const int boxWidth = (pair.getWidth() - 2 * captionWidth - gap) / 2;
    fromCaption.setBounds(pair.removeFromLeft(captionWidth));
    from.setBounds(pair.removeFromLeft(boxWidth));
    pair.removeFromLeft(gap);
    toCaption.setBounds(pair.removeFromLeft(captionWidth));
    to.setBounds(pair);
    interpolationCaption.setBounds(area.removeFromBottom(line));
    area.removeFromBottom(gap);

    const auto layOutButtons = [&](juce::Rectangle<int> row, std::initializer_list<juce::Button*> buttons)
    {
        const int width = (row.getWidth() - gap * (int(buttons.size()) - 1)) / int(buttons.size());
        for (juce::Button* button : buttons)
        {
            button->setBounds(row.removeFromLeft(width));
            row.removeFromLeft(gap);
        }
    };
    layOutButtons(area.removeFromBottom(line), {&exportAll, &importFile});
    area.removeFromBottom(gap);
    layOutButtons(area.removeFromBottom(line), {&add, &store, &recall, &rename, &remove});
    area.removeFromBottom(gap);
    auto nameRow = area.removeFromBottom(line);
    nameCaption.setBounds(nameRow.removeFromLeft(textWidth("name") + gap * 2));
    name.setBounds(nameRow);
    area.removeFromBottom(gap);
    list.setBounds(area);
}

} // namespace kel::gui
