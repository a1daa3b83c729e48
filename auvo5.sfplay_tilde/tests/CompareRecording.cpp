// sfplay-compare-recording RECORDING SOURCE: checks that a recording of an
// auvo5.sfplay~ box (its signal outlets, left to right: one channel per
// output, then the playback position in ms) holds the source file's samples,
// as libsndfile reads them. The recording starts with silence until
// playback begins; from its first non-silent frame on, every frame of the
// source must follow exactly, with the position signal carrying the time of
// each frame exactly beside it (frame x 1000 / rate, in double).
//
// sfplay-compare-recording --frame-index START END [--loop] [--passes N] RECORDING SOURCE:
// the same for a recording of the frame-index file (sfplay-make-frame-index)
// played over the segment [START, END) of frames (FrameIndexCheck.h); the
// position channel may be left out of the recording.
//
// sfplay-compare-recording --ended-early RECORDING SOURCE: the recording of a
// SOURCE that changed on disk while it played (EndedEarlyCheck.h).
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "EndedEarlyCheck.h"
#include "FrameIndexCheck.h"
#include "RecordedSound.h"

namespace {

int Usage()
{
    std::fprintf(stderr, "usage: sfplay-compare-recording RECORDING SOURCE\n"
                         "       sfplay-compare-recording --ended-early RECORDING SOURCE\n"
                         "       sfplay-compare-recording --frame-index START END [--loop] [--passes N]"
                         " RECORDING SOURCE\n");
    return 2;
}

bool Count(const char* text, long long& value)
{
    char* rest = nullptr;
    value = std::strtoll(text, &rest, 10);
    return rest != text && *rest == '\0' && value >= 0;
}

int CompareWholeFile(const RecordedSound& recording, const RecordedSound& source)
{
    const int recorded = recording.info.channels;
    const int channels = source.info.channels;
    if (recorded != channels + 1)
    {
        std::fprintf(stderr, "the recording has %d channels, expected %d outputs and the position\n", recorded,
                     channels);
        return 1;
    }
    auto at = [](const RecordedSound& s, sf_count_t frame, int channel) { return s.at(frame, channel); };
    auto silent = [&](sf_count_t frame) { return recording.silent(frame, channels); };

    sf_count_t first = 0;
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
    // counts in the recording's milliseconds, each sample the time of the
    // frame its audio carries; before playback it holds the first frame's
    // time (0), after it the end's.
    const double rate = double(recording.info.samplerate);
    auto timeOf = [rate](sf_count_t frame) { return double(frame) * 1000.0 / rate; };
    auto positionIs = [&](sf_count_t recorded, double want, const char* what)
    {
        const double position = at(recording, recorded, channels);
        if (position == want)
            return true;
        std::fprintf(stderr, "recorded frame %lld (%s): position %.17g ms, expected %.17g ms\n",
                     static_cast<long long>(recorded), what, position, want);
        return false;
    };
    for (sf_count_t frame = 0; frame < first; ++frame)
        if (!positionIs(frame, 0.0, "before playback"))
            return 1;
    for (sf_count_t frame = 0; frame < source.info.frames; ++frame)
    {
        for (int c = 0; c < channels; ++c)
            if (at(recording, first + frame, c) != at(source, frame, c))
            {
                std::fprintf(stderr, "frame %lld channel %d: recorded %.17g, source %.17g\n",
                             static_cast<long long>(frame), c, at(recording, first + frame, c), at(source, frame, c));
                return 1;
            }
        if (!positionIs(first + frame, timeOf(frame), "playing"))
            return 1;
    }
    // After the file, playback has ended: silence on every output.
    for (sf_count_t frame = first + source.info.frames; frame < recording.info.frames; ++frame)
    {
        if (!silent(frame))
        {
            std::fprintf(stderr, "sound after the end of the file at recorded frame %lld\n",
                         static_cast<long long>(frame));
            return 1;
        }
        if (!positionIs(frame, timeOf(source.info.frames), "after the end"))
            return 1;
    }
    std::printf("%lld frames of %d channels match from recorded frame %lld\n",
                static_cast<long long>(source.info.frames), channels, static_cast<long long>(first));
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    FrameIndexSegment segment;
    bool frameIndex = false;
    bool endedEarly = false;
    int arg = 1;
    for (; arg < argc && std::strncmp(argv[arg], "--", 2) == 0; ++arg)
    {
        long long a = 0, b = 0;
        if (std::strcmp(argv[arg], "--frame-index") == 0 && arg + 2 < argc && Count(argv[arg + 1], a)
            && Count(argv[arg + 2], b))
        {
            frameIndex = true;
            segment.start = a;
            segment.end = b;
            arg += 2;
        }
        else if (std::strcmp(argv[arg], "--ended-early") == 0)
            endedEarly = true;
        else if (std::strcmp(argv[arg], "--loop") == 0)
            segment.loop = true;
        else if (std::strcmp(argv[arg], "--passes") == 0 && arg + 1 < argc && Count(argv[arg + 1], a))
        {
            segment.passes = long(a);
            ++arg;
        }
        else
            return Usage();
    }
    if (argc - arg != 2 || (!frameIndex && (segment.loop || segment.passes >= 0)) || (frameIndex && endedEarly))
        return Usage();
    RecordedSound recording, source;
    if (!ReadRecordedSound(argv[arg], recording) || !ReadRecordedSound(argv[arg + 1], source))
        return 1;
    if (frameIndex)
        return CheckFrameIndex(recording, source, segment) ? 0 : 1;
    if (endedEarly)
        return CheckEndedEarly(recording, source) ? 0 : 1;
    return CompareWholeFile(recording, source);
}
