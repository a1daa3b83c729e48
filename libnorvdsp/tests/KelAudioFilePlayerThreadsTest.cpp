// The player's three threads at once: the buffering thread's life against the
// player's, transport changes while an audio thread runs blocks, and a
// bounded stress of random transport messages. Each ends with an exact
// render, so that a state left corrupt shows.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>

#include "support/AudioFixtures.h"
#include "support/PlayerTestSupport.h"
#include "support/TestTemp.h"

#if KEL_HAVE_SNDFILE

namespace {

using kel::test::PlayerHost;
using kel::test::TempDir;
using namespace std::chrono_literals;

constexpr int rate = 48000;

using Fixture = kel::test::PlayerFixture;

Fixture Write(const TempDir& dir, const std::string& name, int format, int channels, std::int64_t frames,
              bool withMarkers = false)
{
    return kel::test::WritePlayerFixture(dir.file(name), format, channels, frames, rate,
                                         withMarkers ? std::vector<kel::test::FixtureMarker>{{1, 10000, ""},
                                                                                             {2, 20000, ""}}
                                                     : std::vector<kel::test::FixtureMarker>{});
}

/** Plays the fixture from its start and compares every frame of its first
    `channels` channels. */
void ExpectExactPlayback(PlayerHost& host, const Fixture& fixture, std::uint32_t channels)
{
    host.Send("/loop 0");
    host.Send("/open \"" + fixture.path + "\"");
    host.Send("/start");
    const auto output = host.Render(std::uint64_t(fixture.reference.frames));
    const std::uint32_t stride = host.outputChannels();
    for (std::int64_t f = 0; f < fixture.reference.frames; ++f)
        for (std::uint32_t c = 0; c < channels; ++c)
        {
            const float expected = int(c) < fixture.reference.channels ? fixture.reference.at(f, int(c)) : 0.0f;
            ASSERT_EQ(output[std::size_t(f) * stride + c], expected) << "frame " << f << ", channel " << c;
        }
}

/** Runs blocks on its own thread, as a sound card would, until destroyed. */
class AudioThread
{
public:
    explicit AudioThread(PlayerHost& host, std::chrono::microseconds pause = 0us)
        : worker([this, &host, pause]
                 {
                     while (!stopping.load())
                     {
                         host.RunBlock();
                         blocks.fetch_add(1);
                         if (pause.count() > 0)
                             std::this_thread::sleep_for(pause);
                     }
                 })
    {
    }
    ~AudioThread()
    {
        stopping.store(true);
        worker.join();
    }
    long count() const { return blocks.load(); }

private:
    std::atomic<bool> stopping{false};
    std::atomic<long> blocks{0};
    std::thread worker;
};

TEST(BufferingThread, StartsOnTheHeadOfAFileAsSoonAsItOpens)
{
    TempDir dir;
    const Fixture wav = Write(dir, "a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 300000);
    PlayerHost host(2);
    EXPECT_EQ(host.player().getNumBufferedFrames(), 0u);
    host.Send("/open \"" + wav.path + "\"");
    // Without a start, the thread fills the ring from the head of the file
    // (a pass every 100 ms, as nobody plays).
    ASSERT_TRUE(kel::test::WaitUntil([&] { return host.player().getNumBufferedFrames() >= 16384; }));
    EXPECT_FALSE(host.player().isPlaying());
    // Starting keeps what is buffered rather than reading it again, so the
    // first blocks need no wait.
    const auto buffered = host.player().getNumBufferedFrames();
    host.Send("/start");
    EXPECT_GE(host.player().getNumBufferedFrames(), buffered);
    const auto output = host.Render(16384, false);
    for (std::int64_t f = 0; f < 16384; ++f)
        ASSERT_EQ(output[std::size_t(f) * 3], wav.reference.at(f, 0)) << f;
}

#if defined(__linux__)
/** How often the buffering threads of this process have gone to sleep so
    far (the kernel's voluntary context switches of every thread that bears
    the buffering thread's name). */
long BufferingThreadSleeps()
{
    const std::string name = std::string(kel::AudioFilePlayer::BufferingThread::threadName).substr(0, 15);
    long sleeps = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task"))
    {
        std::ifstream comm(task.path() / "comm");
        std::string taskName;
        if (!std::getline(comm, taskName) || taskName != name)
            continue;
        std::ifstream status(task.path() / "status");
        for (std::string line; std::getline(status, line);)
            if (line.rfind("voluntary_ctxt_switches:", 0) == 0)
                sleeps += std::stol(line.substr(line.find(':') + 1));
    }
    return sleeps;
}

TEST(BufferingThread, SleepsWhileThereIsNothingToDo)
{
    TempDir dir;
    // Shorter than the ring: once read, a stopped player has nothing to read.
    const Fixture wav = Write(dir, "a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 50000);
    PlayerHost host(2);
    const auto expectNoWakeUp = [](const char* when)
    {
        std::this_thread::sleep_for(50ms);
        const long before = BufferingThreadSleeps();
        std::this_thread::sleep_for(400ms);
        EXPECT_EQ(BufferingThreadSleeps(), before) << when;
    };
    expectNoWakeUp("without a file");
    host.Send("/open \"" + wav.path + "\"");
    ASSERT_TRUE(kel::test::WaitUntil([&] { return host.player().getNumBufferedFrames() == 50000; }));
    expectNoWakeUp("stopped, the whole file read");
    // Woken again by the audio side, whose ring has run low after a seek.
    host.Send("/seek 500");
    host.Render(4096, false);
    EXPECT_TRUE(kel::test::WaitUntil([&] { return host.player().getNumBufferedFrames() + 4096 >= 50000 - 24000; }));
    // The whole file is in memory: looping it, with an audio thread, reads
    // nothing and wakes no one.
    host.Send("/loop 1");
    host.Send("/start");
    const AudioThread audio(host, 100us);
    expectNoWakeUp("looping a file held whole");
    EXPECT_TRUE(host.player().isPlaying());
}
#endif

TEST(BufferingThread, EndsWithThePlayerWhateverItIsDoing)
{
    TempDir dir;
    const Fixture wide = Write(dir, "wide.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 96, 40000);

    // Destroyed while passes read the file: right after opening, and while
    // playing in a loop with an audio thread.
    for (const auto delay : {0us, 500us, 2000us, 5000us})
    {
        SCOPED_TRACE(delay.count());
        auto player = std::make_unique<kel::AudioFilePlayer>(96, 192000);
        player->Prepare(rate, 64);
        kel::test::RecordingConsole console;
        player->AddHostListener(&console);
        player->ProcessMessage(kel::OscMessage::CreateFromText("/open \"" + wide.path + "\""));
        player->ProcessMessage(kel::OscMessage::CreateFromText("/loop 1"));
        std::this_thread::sleep_for(delay);
        ASSERT_TRUE(kel::test::FinishesWithin(10.0, [&] { player.reset(); }));
        EXPECT_TRUE(console.reports.empty()) << console.lines().front();
    }

    // Destroyed while the thread is inside a listener at the end of a pass.
    std::atomic<bool> inside{false};
    auto host = std::make_unique<PlayerHost>(2);
    const auto main = std::this_thread::get_id();
    host->listener().onEvent = [&](const kel::test::RecordingPlayerListener::Event& e)
    {
        using Kind = kel::test::RecordingPlayerListener::Event::Kind;
        if (e.kind == Kind::buffering && std::this_thread::get_id() != main && !inside.exchange(true))
            std::this_thread::sleep_for(200ms);
    };
    host->Send("/open \"" + wide.path + "\"");
    host->Send("/start");
    ASSERT_TRUE(kel::test::WaitUntil([&] { return inside.load(); }));
    ASSERT_TRUE(kel::test::FinishesWithin(10.0, [&] { host->DestroyPlayer(); }));
    EXPECT_TRUE(host->console().reports.empty()) << host->console().lines().front();
}

/** Shared by a test and a player it disposes, which may outlive the test on
    its buffering thread. Its listener can hold up that thread's first
    report, standing for a disk read that hangs; it records on which thread
    the whole player was finally deleted. */
struct DisposalWatch : kel::AudioFilePlayer::Listener
{
    /** From now on the buffering thread's next report blocks until
        release: a disk pass that hangs. Armed only once the file is open,
        as the message thread's own reports wait for a blocked one. */
    void holdUp()
    {
        const std::lock_guard lock(mutex);
        holding = true;
    }

    void OnPlaybackEnded() override {}
    void OnProgress(double) override {}
    void OnOscMessage(const kel::OscBundle&) override {}
    void OnBuffering(double) override
    {
        if (kel::CurrentThreadId() == mainThread)
            return;
        std::unique_lock lock(mutex);
        bufferingThread = kel::CurrentThreadId();
        held = holding;
        changed.notify_all();
        changed.wait(lock, [this] { return !holding; });
    }

    void release()
    {
        const std::lock_guard lock(mutex);
        holding = false;
        changed.notify_all();
    }
    void recordDeletion()
    {
        const std::lock_guard lock(mutex);
        deletingThread = kel::CurrentThreadId();
        changed.notify_all();
    }
    /** Waits (bounded only against a hang) until predicate holds. */
    template <typename Predicate>
    bool waitFor(Predicate predicate)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, 60s, predicate);
    }

    const std::uint64_t mainThread = kel::CurrentThreadId();
    kel::test::RecordingConsole console;
    std::mutex mutex;
    std::condition_variable changed;
    bool holding = false;
    bool held = false;
    std::uint64_t bufferingThread = 0;
    std::uint64_t deletingThread = 0;  // 0 while the player lives
};

/** Records its deletion after everything of kel::AudioFilePlayer is gone
    (a base is destroyed after the classes derived from it). */
class DeletionWitness
{
public:
    explicit DeletionWitness(std::shared_ptr<DisposalWatch> w) : watch(std::move(w)) {}
    ~DeletionWitness() { watch->recordDeletion(); }

private:
    std::shared_ptr<DisposalWatch> watch;
};

/** The watch stays registered: the witness keeps it alive as long as the
    player, which is what removing the listeners gives a real host. */
class WitnessedPlayer : private DeletionWitness, public kel::AudioFilePlayer
{
public:
    explicit WitnessedPlayer(const std::shared_ptr<DisposalWatch>& watch)
        : DeletionWitness(watch), kel::AudioFilePlayer(2, 192000)
    {
        Prepare(rate, 64);
        AddHostListener(&watch->console);
        AddListener(watch.get());
    }
};

TEST(AudioFilePlayer, DisposeDeletesAtOnceOrHandsThePlayerToItsThread)
{
    TempDir dir;
    const Fixture wav = Write(dir, "a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 300000);
    for (const bool diskHeldUp : {false, true})
    {
        SCOPED_TRACE(diskHeldUp ? "a pass held up" : "between passes");
        const auto watch = std::make_shared<DisposalWatch>();
        // Whatever fails below, the buffering thread is let go in the end.
        const std::unique_ptr<DisposalWatch, void (*)(DisposalWatch*)> letGo(watch.get(),
                                                                             [](DisposalWatch* w) { w->release(); });
        auto* player = new WitnessedPlayer(watch);
        player->ProcessMessage(kel::OscMessage::CreateFromText("/open \"" + wav.path + "\""));
        if (diskHeldUp)
            watch->holdUp();
        ASSERT_TRUE(watch->waitFor([&] { return watch->bufferingThread != 0 && (watch->held || !diskHeldUp); }));

        const bool deleted = kel::AudioFilePlayer::Dispose(player);
        EXPECT_EQ(deleted, !diskHeldUp);
        if (!deleted)
        {
            {
                const std::lock_guard lock(watch->mutex);
                EXPECT_EQ(watch->deletingThread, 0u) << "deleted under its running thread";
                EXPECT_TRUE(watch->held) << "the pass went on";
            }
            watch->release();
            ASSERT_TRUE(watch->waitFor([&] { return watch->deletingThread != 0; })) << "the player was never deleted";
        }
        const std::lock_guard lock(watch->mutex);
        EXPECT_EQ(watch->deletingThread, deleted ? kel::CurrentThreadId() : watch->bufferingThread);
        EXPECT_TRUE(watch->console.reports.empty()) << watch->console.lines().front();
    }
}

TEST(AudioFilePlayer, OpensAnotherFileWhilePlaying)
{
    TempDir dir;
    const Fixture first = Write(dir, "first.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 3, 60000, true);
    const Fixture second = Write(dir, "second.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 4, 30000);
    PlayerHost host(3);
    host.Send("/open \"" + first.path + "\"");
    host.Send("/loop 1");
    host.Send("/start");
    {
        const AudioThread audio(host, 100us);
        ASSERT_TRUE(kel::test::WaitUntil([&] { return audio.count() > 50; }));
        host.Send("/open \"" + second.path + "\"");
        EXPECT_FALSE(host.player().isPlaying()) << "a new file stops playback";
        EXPECT_EQ(host.player().getRingNumChannels(), 3u) << "the ring holds only the channels played";
        EXPECT_EQ(host.player().getFileLength(), 30000u);
        host.Send("/start");
        const long before = audio.count();
        ASSERT_TRUE(kel::test::WaitUntil([&] { return audio.count() > before + 50; }));
    }
    EXPECT_TRUE(host.console().reports.empty());
    ExpectExactPlayback(host, second, 3);
}

TEST(AudioFilePlayer, StopsDuringSeeks)
{
    TempDir dir;
    const Fixture wav = Write(dir, "a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 8, 60000, true);
    PlayerHost host(8);
    host.Send("/open \"" + wav.path + "\"");
    {
        const AudioThread audio(host, 50us);
        std::atomic<bool> seeking{true};
        std::thread stopper(
            [&]
            {
                while (seeking.load())
                {
                    host.Send("/stop");
                    std::this_thread::yield();
                }
            });
        const bool finished = kel::test::FinishesWithin(30.0,
                                                        [&]
                                                        {
                                                            std::mt19937 random(5);
                                                            for (int i = 0; i < 300; ++i)
                                                            {
                                                                host.Send("/seek " + std::to_string(random() % 1300));
                                                                if (i % 3 == 0)
                                                                    host.Send("/seek/marker/byid 2");
                                                            }
                                                        });
        seeking.store(false);
        stopper.join();
        ASSERT_TRUE(finished) << "seeks and stops deadlocked";
    }
    ExpectExactPlayback(host, wav, 8);
}

// One thread sends random transport messages while another runs blocks as
// fast as it can (so the disk falls behind, and the ring runs dry); a third
// changes the listener list. Nothing may crash, deadlock or race.
TEST(PlayerStress, RandomTransportWhileBlocksRun)
{
    TempDir dir;
    const Fixture wav = Write(dir, "a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 3, 60000, true);
    const Fixture other = Write(dir, "b.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 5000);
    PlayerHost host(2, 192000, rate, 64);
    host.Send("/open \"" + wav.path + "\"");

    const char* fixed[] = {"/start", "/stop", "/pause", "/resume", "/switch", "/loop 0", "/loop 1", "/report",
                           "/dump/metadata", "/seek", "/seek/marker/byid 1", "/seek/marker/bylabel 2",
                           "/seek/marker/byid 7"};
    const auto duration = 2s;
    {
        const AudioThread audio(host);
        std::atomic<bool> running{true};
        std::thread listeners(
            [&]
            {
                kel::test::RecordingPlayerListener extra;
                while (running.load())
                {
                    host.player().AddListener(&extra);
                    std::this_thread::sleep_for(1ms);
                    host.player().RemoveListener(&extra);
                }
            });
        const bool finished = kel::test::FinishesWithin(
            60.0,
            [&]
            {
                std::mt19937 random(11);
                const auto end = std::chrono::steady_clock::now() + duration;
                while (std::chrono::steady_clock::now() < end)
                {
                    const auto pick = random() % 20;
                    std::string message;
                    if (pick < std::size(fixed))
                        message = fixed[pick];
                    else if (pick < 16)
                        message = "/seek " + std::to_string(int(random() % 1600) - 100);
                    else if (pick < 19)
                        message = "/seek " + std::to_string(random() % 1400) + " " + std::to_string(random() % 1400);
                    else
                        message = "/open \"" + (random() % 2 ? wav.path : other.path) + "\"";
                    try
                    {
                        host.Send(message);
                    }
                    catch (const kel::Exception&)
                    {
                        // "no marker with ID ..." and the like: expected.
                    }
                    (void)host.player().GetState();
                    std::this_thread::sleep_for(std::chrono::microseconds(random() % 2000));
                }
            });
        running.store(false);
        listeners.join();
        ASSERT_TRUE(finished) << "the message thread deadlocked";
        EXPECT_GT(audio.count(), 1000);
    }
    ExpectExactPlayback(host, wav, 2);
}

} // namespace

#endif
