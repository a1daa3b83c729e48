// auvo5-sfplay render FILE OUT.wav [options]
// Drives a real kel::AudioFilePlayer, buffering thread included, as a host
// would: prepare with a sample rate and a block size, hand it messages, call
// its block entry block after block, and keep what it outputs (a 32-bit float
// WAV, RF64 past 4 GB; 64-bit float with the position, through the 64-bit
// entry, as Max's signals carry it). Every report to the player's listeners is printed on
// stdout, one line per message: the rendered time in milliseconds, a blank,
// the report in the OSC text form ("bang" for the end of playback). Console
// texts go to stderr as the host's console would show them.
//
// --freewheel (the default) sends the player "/freewheel 1": each block waits
// until the disk has delivered it, so the output is exact and repeatable
// however slow the disk; --realtime paces the blocks at the sample rate as a
// sound card would, and lets the disk fall behind as it may.
//
// A file that changes on disk or fails to read while it plays ends playback
// early: the error is on stderr, and the render exits with status 1.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "CliVerbs.h"
#include "audiofiles/KelWavFileWriter.h"
#include "common/KelException.h"
#include "dsp/KelAudioFilePlayer.h"

namespace cli {

namespace {

using Clock = std::chrono::steady_clock;

constexpr double renderCapSeconds = 3600.0;
constexpr std::uint64_t defaultBufferSize = 480000;
constexpr std::uint32_t defaultBlockSize = 64;

const char* const usage =
    "usage: auvo5-sfplay render FILE OUT.wav [--channels N] [--buffersize FRAMES] [--samplerate HZ]\n"
    "           [--blocksize FRAMES] [--at MS \"OSC message\"]... [--seconds S] [--position]\n"
    "           [--freewheel | --realtime]\n";

struct ScheduledMessage
{
    double milliseconds = 0.0;
    kel::OscMessage message;
};

struct Options
{
    std::string input, output;
    std::uint32_t channels = 0;  // 0: the file's
    std::uint64_t bufferSize = defaultBufferSize;
    double sampleRate = 0.0;     // 0: the file's
    std::uint32_t blockSize = defaultBlockSize;
    std::vector<ScheduledMessage> schedule;
    double seconds = -1.0;       // negative: until playback ends
    bool position = false;
    bool realtime = false;
};

const kel::OscAddressPattern& OpenAddress()
{
    static const kel::OscAddressPattern address("/open");
    return address;
}
const kel::OscAddressPattern& StartAddress()
{
    static const kel::OscAddressPattern address("/start");
    return address;
}
const kel::OscAddressPattern& FreewheelAddress()
{
    static const kel::OscAddressPattern address("/freewheel");
    return address;
}

/** Prints the player's reports with the rendered time; shows the console on
    stderr and, on a terminal, a progress bar. Called from the rendering
    thread, the buffering thread and the player's message handling. */
class Reporter : public kel::AudioFilePlayer::Listener, public kel::HostNotifier::Listener, public kel::OscObserver
{
public:
    explicit Reporter(double rate) : sampleRate(rate), showBar(::isatty(STDERR_FILENO) == 1) {}

    void setRenderedFrames(std::uint64_t frames) { rendered.store(frames, std::memory_order_relaxed); }
    bool hasEnded() const { return ended.load(); }

    void OnPlaybackEnded() override
    {
        ended.store(true);
        printLine("bang");
    }
    void OnProgress(double percent) override
    {
        lastProgress.store(percent, std::memory_order_relaxed);
        printLine(kel::OscMessage(kel::AudioFilePlayer::ProgressAddress()).AddFloat64(percent).toString());
    }
    void OnBuffering(double percent) override
    {
        printLine(kel::OscMessage(kel::AudioFilePlayer::BufferingAddress()).AddFloat64(percent).toString());
    }
    void OnOscMessage(const kel::OscBundle& report) override
    {
        report.ForEachMessage([this](const kel::OscMessage& m) { printLine(m.toString()); });
    }
    void OnOscReport(const kel::OscInterface&, const kel::OscBundle& report) override { OnOscMessage(report); }

    void Report(const kel::String& text, kel::HostNotifier::Level level) override
    {
        const std::lock_guard lock(mutex);
        hideBar();
        std::fflush(stdout);
        const auto line = kel::HostNotifier::ComposeConsoleText(text, level);
        std::fwrite(line.data(), 1, line.size(), stderr);
        std::fputc('\n', stderr);
    }

    /** Redraws the bar at most ten times a second. */
    void updateBar(bool force = false)
    {
        if (!showBar)
            return;
        const auto now = Clock::now();
        const std::lock_guard lock(mutex);
        if (!force && now - lastBar < std::chrono::milliseconds(100))
            return;
        lastBar = now;
        const double percent = std::clamp(lastProgress.load(std::memory_order_relaxed), 0.0, 100.0);
        const int filled = int(percent / 100.0 * 30.0);
        std::fprintf(stderr, "\r[%.*s%.*s] %5.1f %%  %.1f s", filled, "##############################", 30 - filled,
                     "                              ", percent, milliseconds() / 1000.0);
        std::fflush(stderr);
        barVisible = true;
    }

    void finishBar()
    {
        const std::lock_guard lock(mutex);
        hideBar();
    }

private:
    double milliseconds() const { return double(rendered.load(std::memory_order_relaxed)) * 1000.0 / sampleRate; }

    void printLine(const std::string& report)
    {
        const std::lock_guard lock(mutex);
        if (isatty(STDOUT_FILENO) == 1)
            hideBar();
        std::fprintf(stdout, "%.3f %s\n", milliseconds(), report.c_str());
    }

    void hideBar()
    {
        if (!barVisible)
            return;
        std::fputs("\r\033[K", stderr);
        barVisible = false;
    }

    const double sampleRate;
    const bool showBar;
    std::atomic<std::uint64_t> rendered{0};
    std::atomic<bool> ended{false};
    std::atomic<double> lastProgress{0.0};
    std::mutex mutex;
    Clock::time_point lastBar{};
    bool barVisible = false;
};

[[noreturn]] void UsageError(const std::string& what)
{
    std::fprintf(stderr, "auvo5-sfplay render: %s\n%s", what.c_str(), usage);
    std::exit(2);
}

double NumberArgument(const char* option, const char* text, double low, double high)
{
    char* end = nullptr;
    const double value = std::strtod(text, &end);
    if (end == text || *end != '\0' || !std::isfinite(value) || value < low || value > high)
        UsageError(std::string(option) + " wants a number from " + kel::ToString(low) + " to " + kel::ToString(high)
                   + ", not \"" + text + "\"");
    return value;
}

Options ParseOptions(int argc, char** argv)
{
    Options options;
    std::vector<std::string> positional;
    for (int i = 0; i < argc; ++i)
    {
        const std::string arg = argv[i];
        auto value = [&](int count = 1)
        {
            if (i + count >= argc)
                UsageError(arg + " needs " + (count == 1 ? "a value" : "two values"));
            return argv[i + 1];
        };
        if (arg == "--channels")
            options.channels = std::uint32_t(NumberArgument("--channels", value(), 1, 65535)), ++i;
        else if (arg == "--buffersize")
            options.bufferSize = std::uint64_t(NumberArgument("--buffersize", value(), 1, 1e12)), ++i;
        else if (arg == "--samplerate")
            options.sampleRate = NumberArgument("--samplerate", value(), kel::AudioProcessorBase::minSampleRate,
                                                kel::AudioProcessorBase::maxSampleRate), ++i;
        else if (arg == "--blocksize")
            options.blockSize = std::uint32_t(NumberArgument("--blocksize", value(), 1,
                                                             kel::AudioProcessorBase::maxBlockSize)), ++i;
        else if (arg == "--at")
        {
            value(2);
            ScheduledMessage scheduled;
            scheduled.milliseconds = NumberArgument("--at", argv[i + 1], 0, 1e12);
            scheduled.message = kel::OscMessage::CreateFromText(argv[i + 2]);
            options.schedule.push_back(std::move(scheduled));
            i += 2;
        }
        else if (arg == "--seconds")
            options.seconds = NumberArgument("--seconds", value(), 0, 1e9), ++i;
        else if (arg == "--position")
            options.position = true;
        else if (arg == "--freewheel")
            options.realtime = false;
        else if (arg == "--realtime")
            options.realtime = true;
        else if (arg.starts_with("--"))
            UsageError("unknown option " + arg);
        else
            positional.push_back(arg);
    }
    if (positional.size() != 2)
        UsageError("FILE and OUT.wav are needed");
    options.input = positional[0];
    options.output = positional[1];
    if (options.schedule.empty())
        options.schedule.push_back({0.0, kel::OscMessage(StartAddress())});
    std::stable_sort(options.schedule.begin(), options.schedule.end(),
                     [](const ScheduledMessage& a, const ScheduledMessage& b)
                     { return a.milliseconds < b.milliseconds; });
    return options;
}

} // namespace

int RunRender(int argc, char** argv)
{
    const Options options = ParseOptions(argc, argv);
    const kel::File input(options.input);
    // A live render's reports come out as they happen, also into a pipe, for
    // whoever watches or reacts to them.
    if (options.realtime)
        std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);

    std::uint32_t channels = options.channels;
    double sampleRate = options.sampleRate;
    {
        const auto probe = kel::AudioFileReader::CreateReaderFor(input);
        if (probe == nullptr)
            throw kel::exceptions::NoSuchFile(input, KEL_HERE);
        if (channels == 0)
            channels = probe->getNumChannels();
        if (sampleRate <= 0.0)
            sampleRate = probe->getSampleRate();
    }

    kel::AudioFilePlayer player(channels, options.bufferSize);
    if (!options.realtime)
        player.ProcessMessage(kel::OscMessage(FreewheelAddress()).AddInt32(1));
    player.Prepare(sampleRate, options.blockSize);
    sampleRate = player.getSampleRate();
    const std::uint32_t blockSize = player.getBlockSize();

    Reporter reporter(sampleRate);
    player.AddHostListener(&reporter);
    player.AddObserver(&reporter);
    player.AddListener(&reporter);
    struct Unregister
    {
        kel::AudioFilePlayer& player;
        Reporter& reporter;
        ~Unregister()
        {
            player.RemoveListener(&reporter);
            player.RemoveObserver(&reporter);
            player.RemoveHostListener(&reporter);
        }
    } unregister{player, reporter};

    // Every audio output is connected; the position only when asked for.
    player.getConnections().SetAllOutletsStatus(1);
    player.getConnections().SetOutletStatus(channels, options.position ? 1 : 0);
    const std::uint32_t outputChannels = channels + (options.position ? 1 : 0);

    player.ProcessMessage(kel::OscMessage(OpenAddress()).AddString(input.getFullPathName()));

    // With the position, as a 64-bit host gets it: a float cannot tell one
    // frame's time from the next a few minutes into a file.
    kel::WavFileWriter writer = options.position
                                  ? kel::WavFileWriter::Double(kel::File(options.output), outputChannels, sampleRate)
                                  : kel::WavFileWriter(kel::File(options.output), outputChannels, sampleRate);
    kel::AudioBuffer<float> block(outputChannels, blockSize);
    float* const* outputs = block.getArrayOfWritePointers();
    std::vector<std::vector<double>> wideBlock(options.position ? outputChannels : 0, std::vector<double>(blockSize));
    std::vector<double*> wideOutputs;
    for (auto& channel : wideBlock)
        wideOutputs.push_back(channel.data());

    const double capSeconds = options.seconds >= 0.0 ? options.seconds : renderCapSeconds;
    const auto totalFrames = std::uint64_t(std::llround(capSeconds * sampleRate));
    std::size_t next = 0;
    std::uint64_t frames = 0;
    const auto start = Clock::now();

    while (frames < totalFrames)
    {
        const double now = double(frames) * 1000.0 / sampleRate;
        reporter.setRenderedFrames(frames);
        for (; next < options.schedule.size() && options.schedule[next].milliseconds <= now; ++next)
        {
            const kel::OscMessage& message = options.schedule[next].message;
            try
            {
                player.ProcessMessage(message);
            }
            catch (const std::exception& failure)
            {
                // As a host would: post it and go on.
                player.ReportFailure(message, failure);
            }
        }
        if (options.seconds < 0.0 && !player.isPlaying() && next == options.schedule.size())
            break;

        const auto n = std::uint32_t(std::min<std::uint64_t>(blockSize, totalFrames - frames));
        if (options.realtime)
            std::this_thread::sleep_until(start + std::chrono::duration_cast<Clock::duration>(
                                                      std::chrono::duration<double>(double(frames) / sampleRate)));

        if (options.position)
        {
            player.ProcessBlock(static_cast<const double* const*>(nullptr), 0, wideOutputs.data(), outputChannels, n);
            writer.WritePlanar(wideOutputs.data(), n);
        }
        else
        {
            player.ProcessBlock(nullptr, 0, outputs, outputChannels, n);
            writer.WritePlanar(outputs, n);
        }
        frames += n;
        reporter.updateBar();
    }
    reporter.setRenderedFrames(frames);
    // The buffering thread warns after its passes, and the last one may have
    // come too late for it. Its reports are no longer printed: they would
    // come after the end of what was rendered.
    player.RemoveListener(&reporter);
    player.ReportNonFiniteSamples();
    reporter.updateBar(true);
    reporter.finishBar();
    writer.Finalise();
    std::fflush(stdout);
    // The player posts its error before it lets playback end: it is on
    // stderr already.
    return player.hasDiskFailure() ? 1 : 0;
}

} // namespace cli
