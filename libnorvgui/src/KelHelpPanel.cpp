#include "KelHelpPanel.h"

#include <cmath>

#include "KelGuiWindow.h"

namespace kel::gui {

namespace {

constexpr int margin = 8;
constexpr int indent = 16; // text well clear of the list's edge
const juce::Colour headingBackground(0xffdde4ee);
const juce::Colour selectedBackground(0xffcfe0f7);
const juce::Colour sendMark(0xff2f6fc0);
const juce::Colour plainText(0xff111111);
const juce::Colour secondaryText(0xff3a3a3a);

juce::String Text(const String& text)
{
    return juce::String::fromUTF8(text.data(), int(text.size()));
}

juce::String ArgumentsText(const OscDocumentation::Entry& entry)
{
    if (entry.getArgumentTypes().empty())
        return {};
    juce::String text = "(" + Text(entry.getArgumentTypes());
    if (!entry.getArgumentDescription().empty())
        text << " " << Text(entry.getArgumentDescription());
    return text + ")";
}

juce::String SummaryText(const OscDocumentation::Entry& entry)
{
    if (entry.getDescription().empty() || entry.getDescription() == entry.getTitle())
        return Text(entry.getTitle());
    return Text(entry.getTitle()) + " - " + Text(entry.getDescription());
}

} // namespace

HelpPanel::HelpPanel(WindowHost& windowHost)
    : host(windowHost), index(windowHost.getInterface().getDocumentation())
{
    search.setTextToShowWhenEmpty("search", juce::Colours::grey);
    search.onTextChange = [this] { refilter(); };
    search.onEscapeKey = [this] { search.clear(); refilter(); };
    addAndMakeVisible(search);

    list.setModel(this);
    list.setColour(juce::ListBox::backgroundColourId, juce::Colours::white);
    list.setColour(juce::ListBox::outlineColourId, juce::Colour(0xffc8c8c8));
    list.setOutlineThickness(1);
    addAndMakeVisible(list);

    setFontSize(defaultFontSize);
    refilter();
}

HelpPanel::~HelpPanel()
{
    list.setModel(nullptr);
}

void HelpPanel::setFontSize(float points)
{
    font = juce::Font().withPointHeight(points);
    search.applyFontToAllText(font);
    list.setRowHeight(int(std::ceil(font.getHeight() * 2.0f)) + margin);
    resized();
    repaint();
}

void HelpPanel::resized()
{
    auto area = getLocalBounds().reduced(margin);
    search.setBounds(area.removeFromTop(int(std::ceil(font.getHeight())) + 2 * margin));
    area.removeFromTop(margin);
    list.setBounds(area);
}

void HelpPanel::paint(juce::Graphics& g)
{
    g.fillAll(findColour(juce::ResizableWindow::backgroundColourId));
}

void HelpPanel::setSearchText(const juce::String& text)
{
    // Typing filters when the editor's change message arrives; this at once.
    search.setText(text, false);
    refilter();
}

void HelpPanel::refilter()
{
    rows.clear();
    for (const HelpGroup& group : index.Filter(search.getText().toStdString()))
    {
        rows.push_back({group.name, nullptr});
        for (const OscDocumentation::Entry* entry : group.entries)
            rows.push_back({group.name, entry});
    }
    list.deselectAllRows();
    list.updateContent();
    list.setVerticalPosition(0.0);
    list.repaint();
}

void HelpPanel::sendRow(int row)
{
    if (row < 0 || row >= int(rows.size()))
        return;
    const OscDocumentation::Entry* entry = rows[std::size_t(row)].entry;
    if (entry != nullptr && HelpIndex::IsSendable(*entry))
        host.Send(OscMessage(entry->getAddress()));
}

int HelpPanel::getNumRows()
{
    return int(rows.size());
}

void HelpPanel::paintListBoxItem(int row, juce::Graphics& g, int width, int height, bool selected)
{
    if (row < 0 || row >= int(rows.size()))
        return;
    const Row& shown = rows[std::size_t(row)];
    const float lineHeight = font.getHeight();
    const int textWidth = width - indent - margin;
    if (shown.entry == nullptr)
    {
        g.fillAll(headingBackground);
        g.setColour(plainText);
        g.setFont(font.withHeight(lineHeight * 1.1f));
        g.drawText(Text(shown.group), indent, 0, textWidth, height, juce::Justification::centredLeft, true);
        return;
    }
    const OscDocumentation::Entry& entry = *shown.entry;
    if (selected)
        g.fillAll(selectedBackground);
    const int top = margin / 2;
    const int lineTop = top + int(lineHeight);

    // Plain black addresses: OCR (the windows' tests) misreads a leading
    // "/" in bold or coloured text.
    const juce::String address = Text(entry.getAddress().getText());
    g.setFont(font);
    g.setColour(plainText);
    g.drawText(address, indent, top, textWidth, int(lineHeight), juce::Justification::centredLeft, true);
    const int addressWidth = int(std::ceil(font.getStringWidthFloat(address + " ")));
    g.setFont(font);
    g.setColour(secondaryText);
    g.drawText(ArgumentsText(entry), indent + addressWidth, top, textWidth - addressWidth, int(lineHeight),
               juce::Justification::centredLeft, true);

    if (HelpIndex::IsSendable(entry))
    {
        // A triangle in the left gutter: this row sends when clicked.
        const float size = lineHeight * 0.45f;
        const float x = float(indent) - size - 3.0f;
        const float y = float(top) + (lineHeight - size) / 2.0f;
        juce::Path mark;
        mark.addTriangle(x, y, x, y + size, x + size * 0.8f, y + size / 2.0f);
        g.setColour(sendMark);
        g.fillPath(mark);
    }

    g.setColour(plainText);
    g.drawText(SummaryText(entry), indent, lineTop, textWidth, int(lineHeight), juce::Justification::centredLeft,
               true);
}

void HelpPanel::listBoxItemClicked(int row, const juce::MouseEvent& event)
{
    // A right click (a context menu elsewhere) sends nothing.
    if (!event.mods.isPopupMenu())
        sendRow(row);
}

void HelpPanel::returnKeyPressed(int row)
{
    sendRow(row);
}

juce::String HelpPanel::getTooltipForRow(int row)
{
    if (row < 0 || row >= int(rows.size()) || rows[std::size_t(row)].entry == nullptr)
        return {};
    const OscDocumentation::Entry& entry = *rows[std::size_t(row)].entry;
    juce::String tip = Text(entry.getAddress().getText()) + " " + ArgumentsText(entry) + "\n" + SummaryText(entry);
    if (HelpIndex::IsSendable(entry))
        tip << "\n(click to send)";
    return tip;
}

juce::MouseCursor HelpPanel::getMouseCursorForRow(int row)
{
    if (row >= 0 && row < int(rows.size()) && rows[std::size_t(row)].entry != nullptr
        && HelpIndex::IsSendable(*rows[std::size_t(row)].entry))
        return juce::MouseCursor::PointingHandCursor;
    return juce::MouseCursor::NormalCursor;
}

} // namespace kel::gui
