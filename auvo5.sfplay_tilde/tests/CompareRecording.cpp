// sfplay-compare-recording RECORDING SOURCE: checks that a recording of an
// auvo5.sfplay~ box (its signal outlets, left to right: one channel per
// output, then the playback position in ms) holds the source file's samples,
// as libsndfile reads them. The recording starts with silence until
// playback begins; from its first non-silent frame on, every frame of the
// source must follow exactly, with the position signal counting the source
// frame in milliseconds beside it.
#include <sndfile.h>

#include <cmath>
#include <cstdio>
#include <vector>

namespace {

struct Sound
{
    SF_INFO info{};
    std::vector<float> samples;  // interleaved
};

bool Read(const char* path, Sound& sound)
{
    SNDFILE* file = sf_open(path, SFM_READ, &sound.info);
    if (file == nullptr)
    {
        std::fprintf(stderr, "cannot read %s: %s\n", path, sf_strerror(nullptr));
        return false;
    }
    sound.samples.resize(std::size_t(sound.info.frames) * std::size_t(sound.info.channels));
    const sf_count_t read = sf_readf_float(file, sound.samples.data(), sound.info.frames);
    sf_close(file);
    return read == sound.info.frames;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
    {
        std::fprintf(stderr, "usage: sfplay-compare-recording RECORDING SOURCE\n");
        return 2;
    }
    Sound recording, source;
    if (!Read(argv[1], recording) || !Read(argv[2], source))
        return 1;
    const int recorded = recording.info.channels;
    const int channels = source.info.channels;
    if (recorded != channels + 1)
    {
        std::fprintf(stderr, "the recording has %d channels, expected %d outputs and the position\n", recorded,
                     channels);
        return 1;
    }
    auto at = [](const Sound& s, sf_count_t frame, int channel)
    { return s.samples[std::size_t(frame) * std::size_t(s.info.channels) + std::size_t(channel)]; };

    sf_count_t first = 0;
    auto silent = [&](sf_count_t frame)
    {
        for (int c = 0; c < channels; ++c)
            if (at(recording, frame, c) != 0.0f)
                return false;
        return true;
    };
    while (first < recording.info.frames && silent(first))
        ++first;
    if (first == recording.info.frames)
    {
        std::fprintf(stderr, "the recording is silent\n");
        return 1;
    }
    if (recording.info.frames - first < source.info.frames)
    {
        std::fprintf(stderr, "the recording holds %lld frames after its start at %lld, the source %lld\n",
                     static_cast<long long>(recording.info.frames - first), static_cast<long long>(first),
                     static_cast<long long>(source.info.frames));
        return 1;
    }
    // The player plays at the host's rate (no resampling): the position
    // counts in the recording's milliseconds.
    const double rate = double(recording.info.samplerate);
    const double length = double(source.info.frames) * 1000.0 / rate;
    for (sf_count_t frame = 0; frame < source.info.frames; ++frame)
    {
        for (int c = 0; c < channels; ++c)
            if (at(recording, first + frame, c) != at(source, frame, c))
            {
                std::fprintf(stderr, "frame %lld channel %d: recorded %.9g, source %.9g\n",
                             static_cast<long long>(frame), c, double(at(recording, first + frame, c)),
                             double(at(source, frame, c)));
                return 1;
            }
        // The position ramps across each block towards the block's end (a
        // block that the file's end cuts short ramps over all of it), so it
        // only has to start at 0, never go back and stay within the file.
        const double position = at(recording, first + frame, channels);
        const double previous = frame == 0 ? 0.0 : at(recording, first + frame - 1, channels);
        const bool fits = frame == 0 ? position <= 1000.0 / rate * 1.01
                                     : position >= previous && position <= length + 1.0e-3;
        if (!fits)
        {
            std::fprintf(stderr, "frame %lld: position %.9g ms after %.9g ms\n", static_cast<long long>(frame),
                         position, previous);
            return 1;
        }
    }
    // After the file, playback has ended: silence on every output.
    for (sf_count_t frame = first + source.info.frames; frame < recording.info.frames; ++frame)
        if (!silent(frame))
        {
            std::fprintf(stderr, "sound after the end of the file at recorded frame %lld\n",
                         static_cast<long long>(frame));
            return 1;
        }
    std::printf("%lld frames of %d channels match from recorded frame %lld\n",
                static_cast<long long>(source.info.frames), channels, static_cast<long long>(first));
    return 0;
}
