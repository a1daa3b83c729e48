#include "EndedEarlyCheck.h"

#include <cmath>
#include <cstdio>

namespace {

double Peak(const RecordedSound& sound, int channels)
{
    double peak = 0.0;
    for (sf_count_t frame = 0; frame < sound.info.frames; ++frame)
        for (int c = 0; c < channels; ++c)
            peak = std::fmax(peak, std::fabs(sound.at(frame, c)));
    return peak;
}

} // namespace

bool CheckEndedEarly(const RecordedSound& recording, const RecordedSound& source)
{
    const int channels = source.info.channels;
    if (recording.info.channels != channels + 1)
    {
        std::fprintf(stderr, "the recording has %d channels, expected %d outputs and the position\n",
                     recording.info.channels, channels);
        return false;
    }
    // Every sample first: what a rewritten file read through the old header
    // gives is noise far louder than the file.
    const double peak = Peak(source, channels);
    for (sf_count_t frame = 0; frame < recording.info.frames; ++frame)
        for (int c = 0; c < channels; ++c)
            if (std::fabs(recording.at(frame, c)) > peak)
            {
                std::fprintf(stderr, "recorded frame %lld channel %d: %.17g, louder than the file's peak %.17g\n",
                             static_cast<long long>(frame), c, recording.at(frame, c), peak);
                return false;
            }

    const double rate = double(recording.info.samplerate);
    auto timeOf = [rate](sf_count_t frame) { return double(frame) * 1000.0 / rate; };
    auto sourceFrameIs = [&](sf_count_t recorded, sf_count_t frame)
    {
        for (int c = 0; c < channels; ++c)
            if (recording.at(recorded, c) != source.at(frame, c))
                return false;
        return recording.at(recorded, channels) == timeOf(frame);
    };

    sf_count_t first = 0;
    while (first < recording.info.frames && recording.silent(first, channels))
    {
        if (recording.at(first, channels) != 0.0)
        {
            std::fprintf(stderr, "recorded frame %lld, before playback: position %.17g ms, expected 0\n",
                         static_cast<long long>(first), recording.at(first, channels));
            return false;
        }
        ++first;
    }
    sf_count_t played = 0;
    while (first + played < recording.info.frames && played < source.info.frames && sourceFrameIs(first + played, played))
        ++played;
    if (played == 0)
    {
        std::fprintf(stderr, "the recording does not begin with the file's first frame\n");
        return false;
    }
    if (played == source.info.frames)
    {
        std::fprintf(stderr, "all %lld frames of the file were played: playback did not end early\n",
                     static_cast<long long>(played));
        return false;
    }
    for (sf_count_t frame = first + played; frame < recording.info.frames; ++frame)
        if (!recording.silent(frame, channels) || recording.at(frame, channels) != timeOf(played))
        {
            std::fprintf(stderr,
                         "recorded frame %lld: %.17g with the position at %.17g ms; expected silence with the "
                         "position held at %.17g ms after %lld frames of the file\n",
                         static_cast<long long>(frame), recording.at(frame, 0), recording.at(frame, channels),
                         timeOf(played), static_cast<long long>(played));
            return false;
        }
    std::printf("%lld of %lld frames of %d channels match from recorded frame %lld, then silence with the position "
                "held at %.17g ms; nothing above the file's peak %.17g\n",
                static_cast<long long>(played), static_cast<long long>(source.info.frames), channels,
                static_cast<long long>(first), timeOf(played), peak);
    return true;
}
