// A file that changes on disk or stops being readable while the player plays
// it, with the real buffering thread: the frames read after the change never
// reach the outputs, the player plays what its ring holds and ends there
// (one error, the usual end of playback, the position held at the last good
// frame), and no later start plays anything of that file until it is opened
// again.
#include <gtest/gtest.h>

#include <memory>
#include <mutex>

#include "support/FaultyReader.h"
#include "support/PlayerTestSupport.h"
#include "support/TestText.h"

namespace {

using kel::test::FileFault;
using kel::test::PlayerHost;

constexpr std::int64_t fileLength = 600000;
constexpr double rate = 48000.0;
const std::string path = "/synthetic/played.wav";
const std::string changedText = "file changed on disk while playing: \"" + path + "\"";

/** The console, safe to read while the buffering thread posts to it. */
class LockedConsole : public kel::HostNotifier::Listener
{
public:
    void Report(const kel::String& text, kel::HostNotifier::Level level) override
    {
        const std::lock_guard lock(mutex);
        reports.emplace_back(level, text);
    }
    std::vector<std::pair<kel::HostNotifier::Level, std::string>> all() const
    {
        const std::lock_guard lock(mutex);
        return reports;
    }

private:
    mutable std::mutex mutex;
    std::vector<std::pair<kel::HostNotifier::Level, std::string>> reports;
};

double Milliseconds(std::int64_t frame) { return double(frame) * 1000.0 / rate; }

/** Whether text is pattern with its "{last}", if any, standing for a frame
    number from low to high. */
bool MatchesWithLastFrame(const std::string& text, const std::string& pattern, std::int64_t low, std::int64_t high)
{
    const auto at = pattern.find("{last}");
    if (at == std::string::npos)
        return text == pattern;
    const std::string before = pattern.substr(0, at), after = pattern.substr(at + 6);
    if (text.size() <= before.size() + after.size() || !text.starts_with(before) || !text.ends_with(after))
        return false;
    const std::string number = text.substr(before.size(), text.size() - before.size() - after.size());
    if (number.find_first_not_of("0123456789") != std::string::npos)
        return false;
    const std::int64_t frame = std::stoll(number);
    return frame >= low && frame <= high;
}

/** What playback must deliver: the frame at each output frame while it
    plays. */
struct Segment
{
    std::int64_t start = 0;
    std::int64_t end = fileLength;
    bool loops = false;

    std::int64_t frameAt(std::int64_t i) const { return loops ? start + i % (end - start) : start + i; }
};

struct Case
{
    std::string what;
    std::function<void(FileFault&)> armBeforeOpen;
    std::vector<std::string> messages;
    std::function<void(PlayerHost&, FileFault&)> armAfterMessages;
    Segment segment;
    // The frames played before the end: exactly, or within bounds where the
    // disk passes' boundaries decide.
    std::int64_t fewestPlayed, mostPlayed;
    // The one error posted ({last}: the last frame the failed read missed,
    // which the pass decides); empty: none, the start finds the change.
    std::string error;
};

TEST(AudioFilePlayerFileChanges, PlaysOnlyGoodFramesEndsOnceAndStaysStopped)
{
    constexpr std::int64_t pass = kel::AudioFilePlayer::maxFramesPerDiskPass;
    constexpr std::int64_t ring = 192000;
    const std::string quotedPath = "\"" + path + "\"";
    const std::vector<Case> cases{
        // The pass that reads frame 300000 finds the change and publishes
        // nothing: playback ends where that pass began.
        {"rewritten while the whole file plays", [](FileFault& f) { f.changeAtFrame = 300000; }, {"/start"}, {},
         {}, 300000 - pass + 1, 300000, "file changed on disk while playing: " + quotedPath},
        // Many passes of the loop in the ring when it changes: they play
        // once each, then playback ends rather than going round the ring.
        {"rewritten while a segment loops", {}, {"/loop 1", "/seek 100 200"},
         [](PlayerHost&, FileFault& f) { f.changeAfterFrames = 250000; }, {4800, 9600, true}, 250000 - pass + 1,
         250000 + ring, "file changed on disk while playing: " + quotedPath},
        // A file cut at frame 250000: everything before it plays.
        {"unreadable from a frame while the whole file plays", [](FileFault& f) { f.failFromFrame = 250000; },
         {"/start"}, {}, {}, 250000, 250000, "read error in " + quotedPath + " at frames 250000 to {last}"},
        {"unreadable from a frame of a looping segment", [](FileFault& f) { f.failFromFrame = 300000; },
         {"/loop 1", "/seek 5000 7000"}, {}, {240000, 336000, true}, 60000, 60000,
         "read error in " + quotedPath + " at frames 300000 to {last}"},
        // Rewritten while the ring holds its head and nobody plays: the start
        // asks, says why it does not play, and plays nothing.
        {"rewritten before it starts", {}, {},
         [](PlayerHost& host, FileFault& f)
         {
             ASSERT_TRUE(kel::test::WaitUntil([&] { return host.player().getNumBufferedFrames() == ring; }));
             f.changed = true;
         },
         {}, 0, 0, ""},
    };

    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        PlayerHost host(2, ring, rate);
        LockedConsole console;
        host.player().AddHostListener(&console);
        auto fault = std::make_shared<FileFault>();
        if (c.armBeforeOpen)
            c.armBeforeOpen(*fault);
        host.player().OpenAudioFile(std::make_unique<kel::test::FaultyReader>(path, fileLength, fault));
        for (const auto& message : c.messages)
            host.Send(message);
        if (c.armAfterMessages)
            c.armAfterMessages(host, *fault);

        // Long enough for every case to end.
        const auto output = host.Render(500000);
        const std::size_t stride = host.outputChannels();
        std::int64_t played = 0;
        const auto frames = std::int64_t(output.size() / stride);
        auto frameOf = [&](std::int64_t i)
        { return kel::test::FrameFromSamples(output[std::size_t(i) * stride], output[std::size_t(i) * stride + 1]); };
        // (Silence reads as frame 0: a player that never starts plays none.)
        const bool starts = !c.messages.empty();
        while (starts && played < frames && frameOf(played) == c.segment.frameAt(played))
            ++played;
        EXPECT_GE(played, c.fewestPlayed);
        EXPECT_LE(played, c.mostPlayed);
        // Then silence, nothing of the rewritten file, and the position held
        // right after the last frame played.
        const double held = played == 0 ? 0.0 : Milliseconds(c.segment.frameAt(played - 1) + 1);
        for (std::int64_t i = 0; i < frames; ++i)
        {
            const float* frame = output.data() + std::size_t(i) * stride;
            const double position = i < played ? Milliseconds(c.segment.frameAt(i)) : held;
            ASSERT_EQ(frame[2], float(position)) << "output frame " << i;
            if (i >= played)
            {
                ASSERT_TRUE(frame[0] == 0.0f && frame[1] == 0.0f) << "output frame " << i << ": " << frame[0];
            }
        }
        EXPECT_EQ(host.listener().countEnded(), played > 0 ? 1 : 0);
        EXPECT_FALSE(host.player().isPlaying());
        EXPECT_EQ(host.player().hasDiskFailure(), !c.error.empty());

        const auto reports = console.all();
        std::string error = changedText;
        EXPECT_EQ(reports.size(), c.error.empty() ? 0u : 1u);
        if (!c.error.empty() && !reports.empty())
        {
            EXPECT_EQ(reports[0].first, kel::HostNotifier::Level::error);
            // The read that failed held the first frame missed.
            const std::int64_t firstMissed = c.segment.frameAt(played);
            EXPECT_TRUE(MatchesWithLastFrame(reports[0].second, c.error, firstMissed, firstMissed + pass - 1))
                << reports[0].second;
            error = reports[0].second;
        }

        // Whatever asks for playback again gets the same error and nothing
        // plays, loop mode or not.
        for (const char* message : {"/start", "/seek 100", "/seek 100 200", "/resume", "/switch",
                                    "/seek/marker/byid 1"})
            EXPECT_EQ(kel::test::ThrownMessage([&] { host.Send(message); }), error) << message;
        host.Send("/loop 1");
        const int endedBefore = host.listener().countEnded();
        const auto after = host.Render(20000);
        for (std::size_t i = 0; i < after.size(); i += stride)
            ASSERT_TRUE(after[i] == 0.0f && after[i + 1] == 0.0f) << "after, frame " << i / stride;
        EXPECT_FALSE(host.player().isPlaying());
        EXPECT_EQ(host.listener().countEnded(), endedBefore);
        EXPECT_EQ(console.all().size(), reports.size()) << "posted once";

        // Opening the file again reads it as it is now.
        host.Send("/loop 0");
        host.player().OpenAudioFile(std::make_unique<kel::test::FrameIndexReader>(path, 48000));
        EXPECT_FALSE(host.player().hasDiskFailure());
        host.Send("/start");
        const auto reopened = host.Render(48000);
        for (std::int64_t i = 0; i < 48000; ++i)
            ASSERT_EQ(kel::test::FrameFromSamples(reopened[std::size_t(i) * stride],
                                                  reopened[std::size_t(i) * stride + 1]),
                      i);
        host.player().RemoveHostListener(&console);
    }
}

} // namespace
