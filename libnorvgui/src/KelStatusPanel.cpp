#include "KelStatusPanel.h"

#include <algorithm>
#include <cmath>
#include <exception>

#include "KelStatusPanelText.h"

namespace kel::gui {

namespace {

juce::String Utf8(const String& text)
{
    return juce::String::fromUTF8(text.data(), int(text.size()));
}

Icon TransportIcon(PlayerStatus::Transport transport)
{
    switch (transport)
    {
        case PlayerStatus::Transport::stopped: return Icon::stop;
        case PlayerStatus::Transport::playing: return Icon::play;
        case PlayerStatus::Transport::paused: return Icon::pause;
        case PlayerStatus::Transport::looping: return Icon::loop;
    }
    return Icon::stop;
}

// The file name and the transport word are the larger texts: they are what
// one looks for from across the room.
constexpr float largeScale = 1.4f;

} // namespace

StatusPanel::StatusPanel(WindowHost& windowHost) : host(windowHost)
{
    setLookAndFeel(&look);
    for (juce::Label* label : {&fileName, &formatLine, &transportWord, &position, &fillCaption, &markersCaption,
                               &stateCaption, &dspCaption})
        PanelLook::styleLabel(*label);
    PanelLook::styleReadOnlyText(state);
    PanelLook::styleReadOnlyText(dsp);
    fillCaption.setText("buffer", juce::dontSendNotification);
    markersCaption.setText("markers", juce::dontSendNotification);
    stateCaption.setText("state", juce::dontSendNotification);
    dspCaption.setText("/dsp", juce::dontSendNotification);
    copy.onClick = [this] { host.Send(OscMessage(OscAddressPattern("/status/copytoclipboard"))); };

    for (juce::Component* widget : std::initializer_list<juce::Component*>{
             &fileName, &formatLine, &transportIcon, &transportWord, &position, &progress, &fillCaption, &fill,
             &markersCaption, &markers, &stateCaption, &state, &dspCaption, &dsp, &copy})
        addAndMakeVisible(widget);

    setFontSize(look.getFontHeight());
    setSize(560, 680);
    refresh();
    startTimerHz(refreshesPerSecond);
}

StatusPanel::~StatusPanel()
{
    stopTimer();
    setLookAndFeel(nullptr);
}

void StatusPanel::setFontSize(float requested)
{
    if (!look.changeFontHeight(*this, requested))
        return;
    const float points = look.getFontHeight();
    const juce::Font plain(points);
    const juce::Font large(points * largeScale, juce::Font::bold);
    for (juce::Label* label : {&formatLine, &position, &fillCaption, &markersCaption, &stateCaption, &dspCaption})
        label->setFont(plain);
    fileName.setFont(large);
    transportWord.setFont(large);
    progress.setFontHeight(points);
    fill.setFontHeight(points);
    markers.setFontHeight(points);
    for (juce::TextEditor* editor : {&state, &dsp})
    {
        editor->setFont(plain);
        editor->applyFontToAllText(plain);
    }
    resized();
    repaint();
}

void StatusPanel::setLabelText(juce::Label& label, const juce::String& text)
{
    if (label.getText() != text)
        label.setText(text, juce::dontSendNotification);
}

void StatusPanel::setEditorText(juce::TextEditor& editor, const juce::String& text)
{
    // Setting the text scrolls back to the top: only when it changed.
    if (editor.getText() != text)
        editor.setText(text, false);
}

void StatusPanel::showPlayerWidgets(bool show)
{
    if (show == playerWidgetsShown)
        return;
    playerWidgetsShown = show;
    for (juce::Component* widget : std::initializer_list<juce::Component*>{
             &fileName, &formatLine, &transportIcon, &transportWord, &position, &progress, &fillCaption, &fill,
             &markersCaption, &markers})
        widget->setVisible(show);
    resized();
}

void StatusPanel::refresh()
{
    const std::optional<PlayerStatus> status = host.GetPlayerStatus();
    showPlayerWidgets(status.has_value());
    if (status)
    {
        setLabelText(fileName, Utf8(FileNameText(*status)));
        setLabelText(formatLine, Utf8(status->formatLine));
        transportIcon.setIcon(TransportIcon(status->transport));
        setLabelText(transportWord, Utf8(TransportWord(status->transport)));
        setLabelText(position, Utf8(PositionText(*status)));
        progress.setValue(status->progressPercent, Utf8(PercentText(status->progressPercent)));
        fill.setValue(status->fillPercent, Utf8(PercentText(status->fillPercent)));
        setLabelText(markersCaption, status->markers.empty() ? "no markers" : "markers");
        markers.setMarkers(status->markers, status->lastPassedMarker);
    }
    String stateText, dspText;
    try
    {
        const OscInterface& object = host.getInterface();
        stateText = object.GetState().toString("\n");
        dspText = object.GetStateWithPrefixes({"/dsp"}).toString("\n");
    }
    catch (const std::exception& failure)
    {
        // Shown where the state would be: a timer has no caller to throw to.
        stateText = failure.what();
    }
    setEditorText(state, Utf8(stateText));
    setEditorText(dsp, Utf8(dspText));
}

void StatusPanel::timerCallback()
{
    if (isShowing())
        refresh();
}

void StatusPanel::paint(juce::Graphics& g)
{
    g.fillAll(PanelColours::background());
}

void StatusPanel::resized()
{
    const float points = look.getFontHeight();
    const int line = look.getLineHeight();
    const int largeLine = int(std::ceil(points * largeScale * 1.6f));
    const int gap = std::max(4, int(points * 0.4f));
    auto area = getLocalBounds().reduced(gap * 2);

    auto buttons = area.removeFromBottom(line + gap);
    const int copyWidth = juce::Font(points).getStringWidth(copy.getButtonText()) + 2 * line;
    copy.setBounds(buttons.removeFromRight(copyWidth).withTrimmedTop(gap));

    if (playerWidgetsShown)
    {
        fileName.setBounds(area.removeFromTop(largeLine));
        formatLine.setBounds(area.removeFromTop(line));
        auto transport = area.removeFromTop(largeLine);
        transportIcon.setBounds(transport.removeFromLeft(largeLine));
        transport.removeFromLeft(gap);
        // As wide as the widest of the four words.
        const int wordWidth = juce::Font(points * largeScale, juce::Font::bold).getStringWidth("looping") + line;
        transportWord.setBounds(transport.removeFromLeft(wordWidth));
        position.setBounds(transport);
        area.removeFromTop(gap);
        progress.setBounds(area.removeFromTop(line));
        area.removeFromTop(gap);
        auto buffer = area.removeFromTop(line);
        fillCaption.setBounds(buffer.removeFromLeft(juce::Font(points).getStringWidth("buffer") + line));
        fill.setBounds(buffer);
        area.removeFromTop(gap);
        markersCaption.setBounds(area.removeFromTop(line));
        // Four rows in view; the list scrolls to the last marker passed.
        markers.setBounds(area.removeFromTop(4 * int(std::round(points * 1.5f)) + 2));
        area.removeFromTop(gap);
    }
    stateCaption.setBounds(area.removeFromTop(line));
    // The state gets two thirds of what is left, the "/dsp" settings one.
    const int dspHeight = std::max(0, (area.getHeight() - line) / 3);
    dsp.setBounds(area.removeFromBottom(dspHeight));
    dspCaption.setBounds(area.removeFromBottom(line));
    state.setBounds(area);
}

} // namespace kel::gui
