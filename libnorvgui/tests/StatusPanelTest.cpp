// The status panel: the texts it shows for given statuses, the texts'
// formatting itself, and the panel over a real player that plays a file
// written by libsndfile.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <limits>
#include <sstream>
#include <thread>

#include "KelStatusPanel.h"
#include "KelStatusPanelText.h"
#include "PanelTestSupport.h"
#include "dsp/KelAudioFilePlayer.h"

#if KEL_HAVE_SNDFILE
#include <sndfile.h>
#endif

namespace {

using kel::PlayerStatus;
using Transport = PlayerStatus::Transport;

bool Contains(const std::vector<std::string>& texts, const std::string& text)
{
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

TEST(StatusPanelText, ClockTransportAndPercentTexts)
{
    struct Clock
    {
        double ms;
        const char* text;
    };
    const Clock clocks[] = {
        {0.0, "0:00.000"},
        {3000.0, "0:03.000"},
        {754567.0, "12:34.567"},
        {59999.9, "0:59.999"},
        {60000.0, "1:00.000"},
        {3599999.0, "59:59.999"},
        {3600000.0, "1:00:00.000"},
        {3723004.0, "1:02:03.004"},
        {36000000.0 * 3 + 1, "30:00:00.001"},
        // Frames at the host's rate: 44100 frames at 48 kHz, 1 frame.
        {44100 * 1000.0 / 48000.0, "0:00.918"},
        {1000.0 / 48000.0, "0:00.000"},
        // 0.3 s of frames at 44.1 kHz lands a hair below 300 ms.
        {13230 * (1000.0 / 44100.0), "0:00.300"},
        {-5.0, "0:00.000"},
        {std::numeric_limits<double>::quiet_NaN(), "0:00.000"},
        {std::numeric_limits<double>::infinity(), "0:00.000"},
    };
    for (const auto& c : clocks)
        EXPECT_EQ(kel::gui::ClockText(c.ms), c.text) << c.ms;

    EXPECT_EQ(kel::gui::TransportWord(Transport::stopped), "stopped");
    EXPECT_EQ(kel::gui::TransportWord(Transport::playing), "playing");
    EXPECT_EQ(kel::gui::TransportWord(Transport::paused), "paused");
    EXPECT_EQ(kel::gui::TransportWord(Transport::looping), "looping");

    struct Percent
    {
        double value;
        const char* text;
    };
    const Percent percents[] = {{0.0, "0 %"},     {42.4, "42 %"},  {62.5, "63 %"}, {99.6, "100 %"},
                                {150.0, "100 %"}, {-3.0, "0 %"},   {std::nan(""), "0 %"}};
    for (const auto& p : percents)
        EXPECT_EQ(kel::gui::PercentText(p.value), p.text) << p.value;
}

/** A player without a file: the object behind the panel's state texts. */
struct PanelFixture : testing::Test
{
    juce::ScopedJuceInitialiser_GUI juce;
    kel::AudioFilePlayer player{2, 192000};
    kel::test::RecordingWindowHost host{player};
};

using StatusPanel = PanelFixture;

TEST_F(StatusPanel, ShowsTheStatusItIsGiven)
{
    struct Case
    {
        const char* what;
        std::optional<PlayerStatus> status;
        std::vector<std::string> shown;     // label texts that show
        std::vector<std::string> meters;    // progress, fill
        kel::gui::Icon icon;
        int highlighted;                    // in the marker list
    };
    PlayerStatus playing;
    playing.fileName = "a.wav";
    playing.formatLine = "WAV File, 2 channels, 48 kHz, 96000 samples, 2.00 sec, 24 bits";
    playing.transport = Transport::playing;
    playing.positionMs = 1250.0;
    playing.lengthMs = 2000.0;
    playing.progressPercent = 62.5;
    playing.fillPercent = 97.2;
    PlayerStatus paused = playing;
    paused.transport = Transport::paused;
    paused.fileName = "long take.aiff";
    paused.positionMs = 3723004.0;
    paused.lengthMs = 7200000.0;
    PlayerStatus looping = playing;
    looping.transport = Transport::looping;
    looping.markers = {{"intro", 100.0}, {"verse", 200.0}, {"coda", 1900.0}};
    looping.lastPassedMarker = 1;

    const Case cases[] = {
        {"no file", PlayerStatus{}, {"no audio file", "stopped", "0:00.000 / 0:00.000", "no markers"},
         {"0 %", "0 %"}, kel::gui::Icon::stop, -1},
        {"playing", playing, {"a.wav", playing.formatLine, "playing", "0:01.250 / 0:02.000", "no markers"},
         {"63 %", "97 %"}, kel::gui::Icon::play, -1},
        {"paused, beyond an hour", paused, {"long take.aiff", "paused", "1:02:03.004 / 2:00:00.000"},
         {"63 %", "97 %"}, kel::gui::Icon::pause, -1},
        {"looping, past the second marker", looping, {"a.wav", "looping", "markers"}, {"63 %", "97 %"},
         kel::gui::Icon::loop, 1},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        host.statusSource = [&] { return c.status; };
        kel::gui::StatusPanel panel(host);
        const auto shown = kel::test::ShownLabelTexts(panel);
        for (const auto& text : c.shown)
            EXPECT_TRUE(Contains(shown, text)) << text;
        const auto meters = kel::test::FindAll<kel::gui::MeterBar>(panel);
        ASSERT_EQ(meters.size(), 2u);
        EXPECT_EQ(meters[0]->getText().toStdString(), c.meters[0]);
        EXPECT_EQ(meters[1]->getText().toStdString(), c.meters[1]);
        EXPECT_EQ(kel::test::FindAll<kel::gui::IconView>(panel).at(0)->getIcon(), c.icon);
        EXPECT_EQ(kel::test::FindAll<kel::gui::MarkerList>(panel).at(0)->getHighlighted(), c.highlighted);

        // The status moves on: what changed shows at the next refresh.
        PlayerStatus later = c.status.value();
        later.transport = Transport::stopped;
        later.positionMs = 0.0;
        later.lastPassedMarker = -1;
        host.statusSource = [&] { return later; };
        panel.refresh();
        const auto after = kel::test::ShownLabelTexts(panel);
        EXPECT_TRUE(Contains(after, "stopped"));
        EXPECT_FALSE(Contains(after, "playing"));
        EXPECT_TRUE(Contains(after, "0:00.000 / " + kel::gui::ClockText(later.lengthMs)));
        EXPECT_EQ(kel::test::FindAll<kel::gui::MarkerList>(panel).at(0)->getHighlighted(), -1);
    }
}

TEST_F(StatusPanel, WithoutAPlayerShowsOnlyTheStateAndTheDspSettings)
{
    host.statusSource = [] { return std::nullopt; };
    kel::gui::StatusPanel panel(host);
    const auto shown = kel::test::ShownLabelTexts(panel);
    for (const char* playerText : {"no audio file", "stopped", "buffer", "markers", "no markers"})
        EXPECT_FALSE(Contains(shown, playerText)) << playerText;
    EXPECT_TRUE(Contains(shown, "state"));
    EXPECT_TRUE(Contains(shown, "/dsp"));
    for (auto* widget : kel::test::FindAll<kel::gui::MeterBar>(panel))
        EXPECT_FALSE(kel::test::ShowsUnder(panel, *widget));

    const auto editors = kel::test::FindAll<juce::TextEditor>(panel);
    ASSERT_EQ(editors.size(), 2u);
    const std::string state = editors[0]->getText().toStdString();
    const std::string dsp = editors[1]->getText().toStdString();
    EXPECT_EQ(state, player.GetState().toString("\n"));
    EXPECT_NE(state.find("/loop"), std::string::npos) << state;
    // Only the "/dsp" settings, every one of them from the state.
    ASSERT_FALSE(dsp.empty());
    std::istringstream lines(dsp);
    for (std::string line; std::getline(lines, line);)
    {
        EXPECT_EQ(line.rfind("/dsp/", 0), 0u) << line;
        EXPECT_NE(state.find(line), std::string::npos) << line;
    }

    // A setting changed by a message shows at the next refresh.
    player.ProcessMessage(kel::OscMessage::CreateFromText("/loop 1"));
    panel.refresh();
    EXPECT_EQ(editors[0]->getText().toStdString(), player.GetState().toString("\n"));
    EXPECT_NE(editors[0]->getText().toStdString(), state);
}

TEST_F(StatusPanel, CopyButtonSendsTheCopyMessage)
{
    host.handOn = false;
    kel::gui::StatusPanel panel(host);
    auto* copy = kel::test::FindButton(panel, "copy status");
    ASSERT_NE(copy, nullptr);
    kel::test::Click(*copy);
    ASSERT_EQ(host.sent.size(), 1u);
    EXPECT_EQ(host.sent[0].toString(), "/status/copytoclipboard");
    EXPECT_EQ(host.sent[0].getNumArguments(), 0u);
}

#if KEL_HAVE_SNDFILE

/** One second of a 2-channel sine at 48 kHz, written by libsndfile. */
std::string WriteTone(const std::filesystem::path& folder)
{
    const std::string path = (folder / "tone.wav").generic_string();
    SF_INFO info{};
    info.samplerate = 48000;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr)
        return {};
    std::vector<float> frames(48000 * 2);
    for (std::size_t i = 0; i < frames.size(); ++i)
        frames[i] = 0.5f * float(std::sin(double(i / 2) * 440.0 * 2.0 * 3.141592653589793 / 48000.0));
    sf_writef_float(file, frames.data(), 48000);
    sf_close(file);
    return path;
}

TEST_F(StatusPanel, FollowsARealPlayer)
{
    const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    const auto folder = std::filesystem::temp_directory_path() / ("kel-status-panel-" + std::to_string(stamp));
    std::filesystem::create_directories(folder);
    const std::string path = WriteTone(folder);
    ASSERT_FALSE(path.empty());

    constexpr std::uint32_t block = 480;
    player.Prepare(48000.0, block);
    player.getConnections().SetAllOutletsStatus(1);
    std::vector<std::vector<float>> outputs(player.getNumOutputs(), std::vector<float>(block));
    std::vector<float*> pointers;
    for (auto& channel : outputs)
        pointers.push_back(channel.data());
    // Blocks as the host runs them, each once the ring holds it.
    const auto play = [&](int blocks)
    {
        for (int i = 0; i < blocks; ++i)
        {
            for (int tries = 0; !player.isReadyFor(block) && tries < 100000; ++tries)
            {
                player.RequestBuffering();
                std::this_thread::sleep_for(std::chrono::microseconds(50));
            }
            player.ProcessBlock(static_cast<const float* const*>(nullptr), 0, pointers.data(),
                                std::uint32_t(pointers.size()), block);
        }
    };
    host.statusSource = [this] { return std::optional<PlayerStatus>(player.GetPlayerStatus()); };
    kel::gui::StatusPanel panel(host);

    struct Step
    {
        const char* message;
        int blocks;
        std::vector<std::string> shown;
    };
    const Step steps[] = {
        {"", 0, {"no audio file", "stopped", "0:00.000 / 0:00.000"}},
        {"/open", 0, {"tone.wav", "WAV File, 2 channels, 48 kHz, 48000 samples, 1.00 sec, 16 bits", "stopped",
                      "0:00.000 / 0:01.000"}},
        {"/start", 50, {"tone.wav", "playing", "0:00.500 / 0:01.000"}},
        {"/pause", 10, {"paused", "0:00.500 / 0:01.000"}},
        {"/loop 1", 0, {"paused"}},
        {"/resume", 75, {"looping", "0:00.250 / 0:01.000"}},
    };
    for (const auto& step : steps)
    {
        SCOPED_TRACE(step.message);
        if (std::string(step.message) == "/open")
            host.Send(kel::OscMessage(kel::OscAddressPattern("/open")).AddString(path));
        else if (*step.message != '\0')
            host.Send(kel::OscMessage::CreateFromText(step.message));
        EXPECT_TRUE(host.errors.empty()) << host.errors.front();
        play(step.blocks);
        panel.refresh();
        const auto shown = kel::test::ShownLabelTexts(panel);
        for (const auto& text : step.shown)
            EXPECT_TRUE(Contains(shown, text)) << text;
    }
    // The state names the file the player holds.
    const auto editors = kel::test::FindAll<juce::TextEditor>(panel);
    EXPECT_NE(editors.at(0)->getText().toStdString().find(path), std::string::npos);
    std::filesystem::remove_all(folder);
}

#endif

} // namespace
