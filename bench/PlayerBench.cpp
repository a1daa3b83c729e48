// The player, each figure beside its reference in the same run:
// - the audio side: Process (through the host's block entry) for 64-frame
//   blocks at 64, 512 and 2048 channels from a full ring, against a plain
//   per-channel copy of the same frames out of a buffer of the ring's shape
//   into the same outputs. Timed by this thread's CPU time, in alternating
//   runs of 256 blocks; the ring is topped up, untimed, whenever it falls
//   below 80 per cent, so the audio side never waits for the disk and never
//   wakes it. time_ratio = player / copy (goal: at most 1.3);
// - streaming: a freewheeling render (the player with its buffering thread,
//   "/freewheel 1": each block waiting for the disk) of a 4-second 256-channel 24-bit 48 kHz
//   file, as a real-time factor beside our reader decoding the same file in
//   4096-frame blocks; speed_ratio = player / reader (goal: at least 0.8).
//   Wall clock for both: the render uses two threads;
// - ring fill: from "/open" of a 64-channel 24-bit file in the page cache
//   until its 192000-frame ring is full (the buffering thread alone),
//   beside libsndfile reading the same 192000 frames as floats
//   (goal: full within 100 ms); fill_ratio = player / libsndfile;
// - memory: auvo5-sfplay render of the same file run as a child process;
//   its peak resident memory beside the size of its ring (default 480000
//   frames x 256 channels of float). The file stays in the page cache.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include "BenchScratch.h"
#include <sndfile.h>

#include "audiofiles/KelWavFileWriter.h"
#include "dsp/KelAudioFilePlayer.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

double ThreadSeconds()
{
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

double WallSeconds()
{
    return std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
}

using bench::TheScratch;

/** A WAV of random full-scale integers, written once by libsndfile. */
std::string NoiseFile(const std::string& name, int channels, std::int64_t frames, int subtype)
{
    const auto path = (TheScratch().folder / name).string();
    if (fs::exists(path))
        return path;
    SF_INFO info{};
    info.samplerate = 48000;
    info.channels = channels;
    info.format = SF_FORMAT_WAV | subtype;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr)
        return {};
    std::mt19937 random{std::uint32_t(channels)};
    constexpr std::int64_t block = 1024;
    std::vector<int> samples(std::size_t(block) * std::size_t(channels));
    for (std::int64_t done = 0; done < frames; done += block)
    {
        for (auto& s : samples)
            s = int(random());
        sf_writef_int(file, samples.data(), std::min(block, frames - done));
    }
    sf_close(file);
    return path;
}

/** A float WAV written by our writer: libsndfile stops at 1024 channels. */
std::string FloatFile(const std::string& name, std::uint32_t channels, std::uint32_t frames)
{
    const auto path = (TheScratch().folder / name).string();
    if (fs::exists(path))
        return path;
    kel::WavFileWriter writer(kel::File(path), channels, 48000.0);
    std::vector<float> frame(std::size_t(channels) * frames);
    std::mt19937 random{channels};
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    for (auto& v : frame)
        v = value(random);
    writer.WriteInterleaved(frame.data(), frames);
    writer.Finalise();
    return path;
}

kel::OscMessage Message(const std::string& text)
{
    return kel::OscMessage::CreateFromText(text);
}

void WaitForFill(kel::AudioFilePlayer& player, double percent)
{
    while (player.getFillPercentage() < percent)
    {
        player.RequestBuffering();
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
}

/** Host-side output vectors: one per player output. */
struct Outputs
{
    std::vector<std::vector<float>> channels;
    std::vector<float*> pointers;
    Outputs(std::uint32_t count, std::uint32_t frames) : channels(count, std::vector<float>(frames, 0.0f))
    {
        for (auto& c : channels)
            pointers.push_back(c.data());
    }
};

// ---------------------------------------------------------------------------
// The audio side

void Process(benchmark::State& state)
{
    const auto channels = std::uint32_t(state.range(0));
    constexpr std::uint32_t blockFrames = 64;
    constexpr int blocksPerRun = 256;
    const auto path = FloatFile("loop-" + std::to_string(channels) + ".wav", channels, 8192);

    kel::AudioFilePlayer player(channels, kel::AudioFilePlayer::minRingCapacity);
    player.Prepare(48000.0, blockFrames);
    player.getConnections().SetAllOutletsStatus(1);
    player.ProcessMessage(Message("/open \"" + path + "\""));
    player.ProcessMessage(Message("/loop 1"));
    player.ProcessMessage(Message("/start"));
    WaitForFill(player, kel::AudioFilePlayer::topUpFillPercent);

    Outputs outputs(channels + 1, blockFrames);
    // A source as large as the player's ring, so that both copy from the same cache level.
    const std::uint64_t ringFrames = player.getRingLength();
    kel::AudioBuffer<float> source(channels, ringFrames);
    for (std::uint32_t c = 0; c < channels; ++c)
        std::fill_n(source.getWritePointer(c), ringFrames, float(c) * 1e-4f);
    std::uint64_t sourceIndex = 0;
    // The block size as a host gives it: known only at run time.
    std::size_t copyBytes = blockFrames * sizeof(float);
    benchmark::DoNotOptimize(copyBytes);

    auto runPlayer = [&]
    {
        const double start = ThreadSeconds();
        for (int b = 0; b < blocksPerRun; ++b)
            player.ProcessBlock(nullptr, 0, outputs.pointers.data(), channels + 1, blockFrames);
        benchmark::DoNotOptimize(outputs.pointers[0][0]);
        return ThreadSeconds() - start;
    };
    auto runCopy = [&]
    {
        const double start = ThreadSeconds();
        for (int b = 0; b < blocksPerRun; ++b)
        {
            for (std::uint32_t c = 0; c < channels; ++c)
                std::memcpy(outputs.pointers[c], source.getReadPointer(c) + sourceIndex, copyBytes);
            benchmark::ClobberMemory();
            sourceIndex = (sourceIndex + blockFrames) % (ringFrames - blockFrames);
        }
        benchmark::DoNotOptimize(outputs.pointers[0][0]);
        return ThreadSeconds() - start;
    };

    double subject = 0.0, reference = 0.0;
    bool playerFirst = true;
    for (auto _ : state)
    {
        if (player.getFillPercentage() < 80.0)
        {
            state.PauseTiming();
            WaitForFill(player, kel::AudioFilePlayer::topUpFillPercent);
            state.ResumeTiming();
        }
        // Alternating which runs first, so that neither always follows the
        // buffering thread's top-up.
        double ours = 0.0, theirs = 0.0;
        if (playerFirst)
        {
            ours = runPlayer();
            theirs = runCopy();
        }
        else
        {
            theirs = runCopy();
            ours = runPlayer();
        }
        playerFirst = !playerFirst;
        subject += ours;
        reference += theirs;
        state.SetIterationTime(ours);
    }
    const double blocks = double(state.iterations()) * blocksPerRun;
    state.counters["player_us_per_block"] = subject / blocks * 1e6;
    state.counters["copy_us_per_block"] = reference / blocks * 1e6;
    state.counters["time_ratio"] = subject / reference;
}

BENCHMARK(Process)->ArgName("channels")->Arg(64)->Arg(512)->Arg(2048)->UseManualTime()->Unit(benchmark::kMicrosecond)
    ->MinTime(1.0);

// ---------------------------------------------------------------------------
// Streaming and memory

constexpr int streamChannels = 256;
constexpr std::int64_t streamFrames = 48000 * 4;

std::string StreamFile()
{
    return NoiseFile("stream-256ch-24bit.wav", streamChannels, streamFrames, SF_FORMAT_PCM_24);
}

double DecodeWithReader(const std::string& path)
{
    const double start = WallSeconds();
    const auto reader = kel::AudioFileReader::CreateReaderFor(kel::File(path));
    kel::AudioBuffer<float> buffer(reader->getNumChannels(), 4096);
    const auto length = reader->getLengthInSamples();
    for (std::int64_t position = 0; position < length; position += 4096)
        reader->read(buffer, 0, std::min<std::int64_t>(4096, length - position), position);
    benchmark::DoNotOptimize(buffer.getReadPointer(0)[0]);
    return WallSeconds() - start;
}

/** A thread's time on a CPU and runnable but waiting for one, in seconds
    (the kernel's scheduler statistics). */
struct SchedulerTimes
{
    double running = 0.0;
    double waiting = 0.0;
};

SchedulerTimes ThreadTimes(const std::string& namePrefix)
{
    for (const auto& task : fs::directory_iterator("/proc/self/task"))
    {
        std::ifstream comm(task.path() / "comm");
        std::string name;
        std::getline(comm, name);
        if (namePrefix.empty() ? task.path().filename() != std::to_string(::gettid()) : !name.starts_with(namePrefix))
            continue;
        std::ifstream stat(task.path() / "schedstat");
        double running = 0.0, waiting = 0.0;
        stat >> running >> waiting;
        return {running * 1e-9, waiting * 1e-9};
    }
    return {};
}

struct PlayerRun
{
    double seconds = 0.0;
    SchedulerTimes buffering, audio;
};

/** The render verb's freewheel loop in this process, output discarded. */
PlayerRun RenderWithPlayer(const std::string& path, std::uint64_t bufferSize)
{
    constexpr std::uint32_t blockFrames = 64;
    kel::AudioFilePlayer player(streamChannels, bufferSize);
    player.Prepare(48000.0, blockFrames);
    player.getConnections().SetAllOutletsStatus(1);
    Outputs outputs(streamChannels + 1, blockFrames);
    // Linux shows the first 15 characters of the thread's name.
    const std::string bufferingThread = std::string(kel::AudioFilePlayer::BufferingThread::threadName).substr(0, 15);

    const SchedulerTimes buffering0 = ThreadTimes(bufferingThread), audio0 = ThreadTimes({});
    const double start = WallSeconds();
    player.ProcessMessage(Message("/freewheel 1"));
    player.ProcessMessage(Message("/open \"" + path + "\""));
    player.ProcessMessage(Message("/start"));
    while (player.isPlaying())
        player.ProcessBlock(nullptr, 0, outputs.pointers.data(), streamChannels + 1, blockFrames);
    PlayerRun run;
    run.seconds = WallSeconds() - start;
    const SchedulerTimes buffering1 = ThreadTimes(bufferingThread), audio1 = ThreadTimes({});
    run.buffering = {buffering1.running - buffering0.running, buffering1.waiting - buffering0.waiting};
    run.audio = {audio1.running - audio0.running, audio1.waiting - audio0.waiting};
    return run;
}

struct ChildRun
{
    double seconds = 0.0;
    long maxResidentKB = 0;
    int status = -1;
};

ChildRun RenderWithCli(const std::string& in, const std::string& out)
{
    ChildRun run;
    const double start = WallSeconds();
    const pid_t pid = ::fork();
    if (pid == 0)
    {
        std::freopen("/dev/null", "w", stdout);
        ::execl(KEL_CLI_PATH, KEL_CLI_PATH, "render", in.c_str(), out.c_str(), "--freewheel", nullptr);
        std::_Exit(127);
    }
    rusage usage{};
    int status = 0;
    ::wait4(pid, &status, 0, &usage);
    run.seconds = WallSeconds() - start;
    run.maxResidentKB = usage.ru_maxrss;
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

void Streaming(benchmark::State& state)
{
    const auto path = StreamFile();
    if (path.empty())
    {
        state.SkipWithError("libsndfile could not write the file");
        return;
    }
    DecodeWithReader(path);  // into the page cache
    const double audioSeconds = double(streamFrames) / 48000.0;
    double reader = 0.0, player = 0.0;
    SchedulerTimes buffering, audio;
    for (auto _ : state)
    {
        const double theirs = DecodeWithReader(path);
        const PlayerRun ours = RenderWithPlayer(path, kel::AudioFilePlayer::minRingCapacity);
        reader += theirs;
        player += ours.seconds;
        buffering.running += ours.buffering.running;
        buffering.waiting += ours.buffering.waiting;
        audio.running += ours.audio.running;
        audio.waiting += ours.audio.waiting;
        state.SetIterationTime(ours.seconds);
    }
    const double n = double(state.iterations());
    state.counters["player_realtime_factor"] = audioSeconds * n / player;
    state.counters["reader_realtime_factor"] = audioSeconds * n / reader;
    state.counters["speed_ratio"] = reader / player;
    // Where the render's time went, per run: each thread's time on a CPU,
    // and runnable but waiting for one (other work on the machine).
    state.counters["buffering_cpu_ms"] = buffering.running / n * 1e3;
    state.counters["buffering_runqueue_ms"] = buffering.waiting / n * 1e3;
    state.counters["audio_cpu_ms"] = audio.running / n * 1e3;
    state.counters["audio_runqueue_ms"] = audio.waiting / n * 1e3;
}

BENCHMARK(Streaming)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

// ---------------------------------------------------------------------------
// The ring's fill after an open

double ReadHeadWithSndfile(const std::string& path, std::int64_t frames)
{
    const double start = WallSeconds();
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr)
        return 0.0;
    std::vector<float> samples(std::size_t(frames) * std::size_t(info.channels));
    sf_readf_float(file, samples.data(), frames);
    sf_close(file);
    benchmark::DoNotOptimize(samples.data());
    return WallSeconds() - start;
}

void RingFill(benchmark::State& state)
{
    constexpr int channels = 64;
    constexpr auto capacity = kel::AudioFilePlayer::minRingCapacity;
    const auto path = NoiseFile("fill-64.wav", channels, std::int64_t(capacity) + 48000, SF_FORMAT_PCM_24);
    if (path.empty())
    {
        state.SkipWithError("libsndfile could not write the file");
        return;
    }
    ReadHeadWithSndfile(path, std::int64_t(capacity));  // into the page cache
    double ours = 0.0, theirs = 0.0;
    for (auto _ : state)
    {
        theirs += ReadHeadWithSndfile(path, std::int64_t(capacity));
        kel::AudioFilePlayer player(channels, capacity);
        player.Prepare(48000.0, 64);
        const double start = WallSeconds();
        player.ProcessMessage(Message("/open \"" + path + "\""));
        while (player.getNumBufferedFrames() < capacity)
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        const double seconds = WallSeconds() - start;
        ours += seconds;
        state.SetIterationTime(seconds);
    }
    const double n = double(state.iterations());
    state.counters["player_fill_ms"] = ours / n * 1e3;
    state.counters["sndfile_read_ms"] = theirs / n * 1e3;
    state.counters["fill_ratio"] = ours / theirs;
}

BENCHMARK(RingFill)->Iterations(5)->UseManualTime()->Unit(benchmark::kMillisecond);

void RenderMemory(benchmark::State& state)
{
    const auto path = StreamFile();
    if (path.empty())
    {
        state.SkipWithError("libsndfile could not write the file");
        return;
    }
    const auto out = (TheScratch().folder / "render-out.wav").string();
    const double audioSeconds = double(streamFrames) / 48000.0;
    // The render's ring with the default buffer size.
    const double ringMB = 480000.0 * streamChannels * sizeof(float) / 1048576.0;
    double seconds = 0.0;
    long peakKB = 0;
    for (auto _ : state)
    {
        const ChildRun run = RenderWithCli(path, out);
        if (run.status != 0)
        {
            state.SkipWithError("auvo5-sfplay render failed");
            return;
        }
        seconds += run.seconds;
        peakKB = std::max(peakKB, run.maxResidentKB);
        state.SetIterationTime(run.seconds);
    }
    state.counters["render_realtime_factor"] = audioSeconds * double(state.iterations()) / seconds;
    state.counters["ring_MB"] = ringMB;
    state.counters["peak_resident_MB"] = double(peakKB) / 1024.0;
    state.counters["peak_over_ring"] = double(peakKB) / 1024.0 / ringMB;
}

BENCHMARK(RenderMemory)->Iterations(2)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace
