// Drives a kel::AudioFilePlayer as a host would, with its real buffering
// thread: prepared with a rate and a block size, all outputs connected, fed
// messages in the text form, run block by block. Freewheel rendering waits
// before each block until the ring holds it, so the output is exact: the
// host waits, as hosts did before the player's own "/freewheel" mode.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "dsp/KelAudioFilePlayer.h"
#include "support/AudioFixtures.h"
#include "support/TestProcessor.h"

namespace kel::test {

#if KEL_HAVE_SNDFILE
/** A file the player plays, and libsndfile's decode of it. */
struct PlayerFixture
{
    std::string path;
    Decoded reference;
};

struct FixtureMarker
{
    int id;
    std::uint32_t position;
    std::string name;  // AIFF keeps names; libsndfile writes none to WAV (labelled with IDs)
};

/** Noise written by libsndfile (WriteWithSndfile) with cue markers, then
    decoded back by it. */
PlayerFixture WritePlayerFixture(const std::string& path, int format, int channels, std::int64_t frames,
                                 int sampleRate, const std::vector<FixtureMarker>& markers = {});
#endif

/** Keeps every report of a player, from any thread. */
class RecordingPlayerListener : public AudioFilePlayer::Listener
{
public:
    struct Event
    {
        enum class Kind
        {
            ended,
            progress,
            buffering,
            message
        };
        Kind kind;
        double value = 0.0;
        std::string text;           // a message's text form
        std::uint64_t frame = 0;    // frames rendered when it came
    };

    void OnPlaybackEnded() override { add({Event::Kind::ended, 0.0, "bang"}); }
    void OnProgress(double percent) override { add({Event::Kind::progress, percent, {}}); }
    void OnBuffering(double percent) override { add({Event::Kind::buffering, percent, {}}); }
    void OnOscMessage(const OscBundle& report) override
    {
        report.ForEachMessage([this](const OscMessage& m) { add({Event::Kind::message, 0.0, m.toString()}); });
    }

    void setFrame(std::uint64_t frame) { currentFrame.store(frame); }
    std::vector<Event> events() const;
    std::vector<double> values(Event::Kind kind) const;
    /** The messages whose text begins with prefix. */
    std::vector<std::string> messages(const std::string& prefix = {}) const;
    int countEnded() const;
    void clear();

    /** Called (outside the recorder's lock) for each report, on whichever
        thread made it. */
    std::function<void(const Event&)> onEvent;

private:
    void add(Event event);

    mutable std::mutex mutex;
    std::vector<Event> recorded;
    std::atomic<std::uint64_t> currentFrame{0};
};

/** A player with a console, a listener and block rendering. */
class PlayerHost
{
public:
    PlayerHost(std::uint32_t channels, std::uint64_t bufferSize = 192000, double sampleRate = 48000.0,
               std::uint32_t blockSize = 64, bool positionConnected = true,
               double freewheelPatienceSeconds = AudioFilePlayer::freewheelPatienceSeconds);
    ~PlayerHost();

    AudioFilePlayer& player() { return *subject; }
    RecordingPlayerListener& listener() { return reports; }
    RecordingConsole& console() { return consoleReports; }
    std::uint32_t outputChannels() const { return subject->getNumOutputs(); }

    /** Hands a message in text form to the player's OSC entry (failures are
        thrown, as to a host). */
    bool Send(const std::string& text);

    /** Runs blocks for numFrames frames (the last block may be shorter) and
        returns the outputs interleaved, the position channel last. With
        freewheel, the host waits before each block until the ring holds it
        (the player's own "/freewheel" mode aside). */
    std::vector<float> Render(std::uint64_t numFrames, bool freewheel = true);
    /** The same through the 64-bit block entry (Max's perform64), so that
        the position arrives as the double the player computed. */
    std::vector<double> Render64(std::uint64_t numFrames, bool freewheel = true);
    /** One block of blockSize frames without waiting for the ring. */
    void RunBlock();
    /** Wakes the buffering thread until the player is ready for a block of
        frames (AudioFilePlayer::isReadyFor), at most seconds; whether it is. */
    bool WaitForRing(std::uint64_t frames, double seconds = 20.0);

    /** Removes the listener and destroys the player; the console and the
        listener stay. Nothing else may be called afterwards. */
    void DestroyPlayer();

    std::uint64_t framesRendered() const { return rendered; }
    std::uint32_t blockSize() const { return block; }

private:
    void runBlock(std::uint32_t frames, bool freewheel, bool wide);

    std::unique_ptr<AudioFilePlayer> subject;
    RecordingPlayerListener reports;
    RecordingConsole consoleReports;
    std::uint32_t block;
    std::vector<std::vector<float>> outputs;
    std::vector<float*> outputPointers;
    std::vector<std::vector<double>> wideOutputs;
    std::vector<double*> wideOutputPointers;
    std::uint64_t rendered = 0;
};

/** Polls predicate every millisecond for at most seconds; whether it held. */
bool WaitUntil(const std::function<bool()>& predicate, double seconds = 20.0);

/** Runs action on another thread and waits for it at most seconds; false
    when it did not finish (a deadlock: the thread is left behind). */
bool FinishesWithin(double seconds, std::function<void()> action);

} // namespace kel::test
