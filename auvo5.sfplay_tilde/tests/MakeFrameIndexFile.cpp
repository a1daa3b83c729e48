// sfplay-make-frame-index OUT.wav: the file that lets a recording of the
// player say which frame it plays, written by libsndfile: 48 kHz 32-bit
// float, 3 seconds, channel 0 the frame's index (exact in float up to 2^24),
// channel 1 a 440 Hz cosine of amplitude 0.5 (so that no frame, not even
// frame 0, is silent), and cue markers at the frames below, IDs from 1 in
// that order: before the scripts' loop segment [4800, 28814), on its first
// and last frames, inside it, on its end (outside), inside the short loop
// [48000, 48014), and far beyond.
#include <sndfile.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <numbers>
#include <vector>

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::fprintf(stderr, "usage: sfplay-make-frame-index OUT.wav\n");
        return 2;
    }
    constexpr int rate = 48000;
    constexpr sf_count_t frames = 3 * rate;
    constexpr std::uint32_t markers[] = {2400, 4800, 12345, 28813, 28814, 48010, 100000};

    SF_INFO info{};
    info.samplerate = rate;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(argv[1], SFM_WRITE, &info);
    if (file == nullptr)
    {
        std::fprintf(stderr, "sfplay-make-frame-index: libsndfile cannot write %s: %s\n", argv[1],
                     sf_strerror(nullptr));
        return 1;
    }
    SF_CUES cues{};
    cues.cue_count = std::size(markers);
    for (std::uint32_t i = 0; i < cues.cue_count; ++i)
    {
        SF_CUE_POINT& point = cues.cue_points[i];
        point.indx = std::int32_t(i + 1);
        point.position = markers[i];
        point.fcc_chunk = 0x61746164;  // "data"
        point.sample_offset = markers[i];
    }
    const bool cuesSet = sf_command(file, SFC_SET_CUE, &cues, sizeof(cues)) == SF_TRUE;

    std::vector<float> samples(std::size_t(frames) * 2);
    for (sf_count_t frame = 0; frame < frames; ++frame)
    {
        const double phase = 2.0 * std::numbers::pi * 440.0 * double(frame) / double(rate);
        samples[std::size_t(frame) * 2] = float(frame);
        samples[std::size_t(frame) * 2 + 1] = float(0.5 * std::cos(phase));
    }
    const sf_count_t written = sf_writef_float(file, samples.data(), frames);
    sf_close(file);
    if (!cuesSet || written != frames)
    {
        std::fprintf(stderr, "sfplay-make-frame-index: libsndfile could not write all of %s\n", argv[1]);
        return 1;
    }
    return 0;
}
