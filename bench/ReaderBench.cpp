// Reading sound files, each beside its reference in the same run:
// - a 64-channel 48 kHz WAV (16-bit, 24-bit, float) read in blocks of 4096
//   frames into a planar float buffer by our reader, against libsndfile's
//   sf_readf_float of the same file into its interleaved buffer. The buffer
//   argument is the planar buffer's length per channel: 4096 puts the
//   channels exactly 16 KB apart, where they share cache sets; 4160 shows
//   what a padded layout would gain;
// - the same 24-bit file read into a ring of 480000 frames per channel (the
//   player's default, 123 MB: far larger than the caches) or of 16384 (4 MB,
//   channels a power of two apart), block after block at advancing places,
//   as the buffering thread fills it, against libsndfile reading into its
//   interleaved buffer;
// - a 600-channel 24-bit WAV read into 8 channels (a box narrower than the
//   file: only those are converted) and into all 600, against libsndfile
//   reading every channel;
// - a stereo MP3 decoded by our reader against libmpg123 decoding the same
//   file on its own, as real-time factors.
// The files are written once into a temporary folder and read many times, so
// they sit in the page cache. Each side is timed by the CPU time of this
// thread (the kernel's copying from the page cache included), which other
// work on the machine disturbs far less than the wall clock.
#include <algorithm>
#include <ctime>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "BenchScratch.h"
#include <mpg123.h>
#include <sndfile.h>

#include "audiofiles/KelAudioFileReader.h"

namespace {

namespace fs = std::filesystem;

/** The CPU time this thread has used, in seconds. */
double ThreadSeconds()
{
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

constexpr int channels = 64;
constexpr int sampleRate = 48000;
constexpr std::int64_t frames = sampleRate * 4;
constexpr std::int64_t blockFrames = 4096;

using bench::TheScratch;

std::string WavFile(int subtype, int fileChannels = channels, std::int64_t fileFrames = frames)
{
    const auto path = (TheScratch().folder
                       / ("bench-" + std::to_string(subtype) + "-" + std::to_string(fileChannels) + ".wav"))
                          .string();
    if (fs::exists(path))
        return path;
    SF_INFO info{};
    info.samplerate = sampleRate;
    info.channels = fileChannels;
    info.format = SF_FORMAT_WAV | subtype;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr)
        return {};
    std::mt19937 random(1);
    std::uniform_real_distribution<float> value(-0.9f, 0.9f);
    std::vector<float> block(std::size_t(blockFrames) * std::size_t(fileChannels));
    for (std::int64_t done = 0; done < fileFrames; done += blockFrames)
    {
        for (auto& v : block)
            v = value(random);
        sf_writef_float(file, block.data(), std::min(blockFrames, fileFrames - done));
    }
    sf_close(file);
    return path;
}

/** Reads the whole file once, into the buffer's start, or with ring at
    advancing places around it; returns the seconds it took. */
double ReadWithOurs(kel::AudioFileReader& reader, kel::AudioBuffer<float>& buffer, bool ring = false)
{
    const auto start = ThreadSeconds();
    const auto length = reader.getLengthInSamples();
    const auto capacity = std::int64_t(buffer.getNumSamples());
    std::int64_t index = 0;
    for (std::int64_t position = 0; position < length;)
    {
        const auto n = std::min({blockFrames, length - position, ring ? capacity - index : blockFrames});
        reader.read(buffer, ring ? index : 0, n, position);
        position += n;
        index = (index + n) % capacity;
    }
    benchmark::DoNotOptimize(buffer.getReadPointer(0)[0]);
    return ThreadSeconds() - start;
}

double ReadWithSndfile(SNDFILE* file, std::vector<float>& interleaved)
{
    const auto start = ThreadSeconds();
    sf_seek(file, 0, SEEK_SET);
    while (sf_readf_float(file, interleaved.data(), blockFrames) > 0)
        benchmark::DoNotOptimize(interleaved[0]);
    return ThreadSeconds() - start;
}

void WavRead(benchmark::State& state, int subtype, bool ring)
{
    const auto path = WavFile(subtype);
    if (path.empty())
    {
        state.SkipWithError("libsndfile could not write the file");
        return;
    }
    const auto reader = kel::AudioFileReader::CreateReaderFor(kel::File(path));
    kel::AudioBuffer<float> buffer(channels, std::uint64_t(state.range(0)));
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    std::vector<float> interleaved(std::size_t(blockFrames) * channels);
    double ours = 0.0, theirs = 0.0;
    for (auto _ : state)
    {
        const double seconds = ReadWithOurs(*reader, buffer, ring);
        ours += seconds;
        theirs += ReadWithSndfile(file, interleaved);
        state.SetIterationTime(seconds);
    }
    sf_close(file);
    const double total = double(frames) * double(state.iterations());
    state.SetItemsProcessed(std::int64_t(total));
    state.counters["ours_Mframes_per_s"] = total / ours / 1e6;
    state.counters["sndfile_Mframes_per_s"] = total / theirs / 1e6;
    state.counters["ratio"] = theirs / ours;
}

BENCHMARK_CAPTURE(WavRead, pcm16_64ch, SF_FORMAT_PCM_16, false)
    ->ArgName("buffer")->Arg(4096)->Arg(4160)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(WavRead, pcm24_64ch, SF_FORMAT_PCM_24, false)
    ->ArgName("buffer")->Arg(4096)->Arg(4160)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(WavRead, float32_64ch, SF_FORMAT_FLOAT, false)
    ->ArgName("buffer")->Arg(4096)->Arg(4160)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(WavRead, pcm24_64ch_ring, SF_FORMAT_PCM_24, true)
    ->ArgName("ring")->Arg(16384)->Arg(480000)->UseManualTime()->Unit(benchmark::kMillisecond);

void WavReadNarrow(benchmark::State& state)
{
    constexpr int fileChannels = 600;
    const auto path = WavFile(SF_FORMAT_PCM_24, fileChannels, sampleRate / 3);
    if (path.empty())
    {
        state.SkipWithError("libsndfile could not write the file");
        return;
    }
    const auto reader = kel::AudioFileReader::CreateReaderFor(kel::File(path));
    kel::AudioBuffer<float> buffer(std::uint32_t(state.range(0)), blockFrames + 16);
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    std::vector<float> interleaved(std::size_t(blockFrames) * fileChannels);
    double ours = 0.0, theirs = 0.0;
    for (auto _ : state)
    {
        const double seconds = ReadWithOurs(*reader, buffer);
        ours += seconds;
        theirs += ReadWithSndfile(file, interleaved);
        state.SetIterationTime(seconds);
    }
    sf_close(file);
    const double total = double(reader->getLengthInSamples()) * double(state.iterations());
    state.counters["ours_Mframes_per_s"] = total / ours / 1e6;
    state.counters["sndfile_Mframes_per_s"] = total / theirs / 1e6;
    state.counters["ratio"] = theirs / ours;
}

BENCHMARK(WavReadNarrow)->Name("WavRead/pcm24_600ch")->ArgName("channels_read")->Arg(8)->Arg(600)
    ->UseManualTime()->Unit(benchmark::kMillisecond);

std::string Mp3File()
{
    const auto wav = (TheScratch().folder / "music.wav").string();
    const auto mp3 = (TheScratch().folder / "music.mp3").string();
    if (fs::exists(mp3))
        return mp3;
    const auto command = "sox -n -r 44100 -c 2 -b 16 '" + wav + "' synth 30 sine 200-3000 pinknoise sine 440 "
                       + "remix - gain -3 channels 2 2>/dev/null && lame --quiet -b 192 '" + wav + "' '" + mp3 + "'";
    return std::system(command.c_str()) == 0 ? mp3 : std::string();
}

double DecodeWithMpg123(const std::string& path)
{
    const auto start = ThreadSeconds();
    mpg123_handle* handle = mpg123_new(nullptr, nullptr);
    mpg123_param(handle, MPG123_FLAGS, MPG123_FORCE_FLOAT | MPG123_QUIET, 0.0);
    mpg123_format_none(handle);
    mpg123_format(handle, 44100, MPG123_STEREO, MPG123_ENC_FLOAT_32);
    mpg123_open(handle, path.c_str());
    for (;;)
    {
        off_t number = 0;
        unsigned char* audio = nullptr;
        size_t bytes = 0;
        const int result = mpg123_decode_frame(handle, &number, &audio, &bytes);
        if (result != MPG123_OK && result != MPG123_NEW_FORMAT)
            break;
        benchmark::DoNotOptimize(audio);
    }
    mpg123_delete(handle);
    return ThreadSeconds() - start;
}

void Mp3Decode(benchmark::State& state)
{
    const auto path = Mp3File();
    if (path.empty())
    {
        state.SkipWithError("sox and lame are needed to make the MP3");
        return;
    }
    double ours = 0.0, theirs = 0.0, audioSeconds = 0.0;
    for (auto _ : state)
    {
        const auto start = ThreadSeconds();
        const auto reader = kel::AudioFileReader::CreateReaderFor(kel::File(path));
        kel::AudioBuffer<float> buffer(reader->getNumChannels(), blockFrames);
        ReadWithOurs(*reader, buffer);
        const double seconds = ThreadSeconds() - start;
        ours += seconds;
        theirs += DecodeWithMpg123(path);
        audioSeconds += double(reader->getLengthInSamples()) / reader->getSampleRate();
        state.SetIterationTime(seconds);
    }
    state.counters["ours_realtime_factor"] = audioSeconds / ours;
    state.counters["mpg123_realtime_factor"] = audioSeconds / theirs;
    state.counters["ratio"] = theirs / ours;
}

BENCHMARK(Mp3Decode)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace
