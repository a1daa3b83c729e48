// The recording starts with silence until playback begins (its first frame
// must be the segment start); from there every sample is the source's frame
// a, then a + 1, or the segment start after its last frame in loop mode,
// with no silence between; after the last frame of a pass the recording may
// fall silent for good (playback has ended), the position then holding the
// segment end's time.
#include "FrameIndexCheck.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

// Counts every fault; only the first few are worth printing.
struct Faults
{
    long count = 0;

    bool take() { return ++count <= 5; }
};

long long Ll(sf_count_t value)
{
    return static_cast<long long>(value);
}

} // namespace

bool CheckFrameIndex(const RecordedSound& recording, const RecordedSound& source, const FrameIndexSegment& segment)
{
    const int channels = source.info.channels;
    const int recorded = recording.info.channels;
    if (channels != 2 || (recorded != channels && recorded != channels + 1))
    {
        std::fprintf(stderr, "the source has %d channels (a frame-index file has 2), the recording %d\n", channels,
                     recorded);
        return false;
    }
    if (recording.info.samplerate != source.info.samplerate)
    {
        std::fprintf(stderr, "the recording runs at %d Hz, the source at %d Hz\n", recording.info.samplerate,
                     source.info.samplerate);
        return false;
    }
    if (segment.start < 0 || segment.start >= segment.end || segment.end > source.info.frames)
    {
        std::fprintf(stderr, "the segment [%lld, %lld) is not in the source's %lld frames\n", Ll(segment.start),
                     Ll(segment.end), Ll(source.info.frames));
        return false;
    }
    const bool hasPosition = recorded == channels + 1;
    // The player plays at the host's rate: positions count in its milliseconds.
    const double rate = double(recording.info.samplerate);
    const bool toFloat = segment.floatPositions;
    auto timeOf = [rate, toFloat](sf_count_t frame)
    {
        const double time = double(frame) * 1000.0 / rate;
        return toFloat ? double(float(time)) : time;
    };

    sf_count_t first = 0;
    while (first < recording.info.frames && recording.silent(first, channels))
        ++first;
    if (first == recording.info.frames)
    {
        std::fprintf(stderr, "the recording is silent\n");
        return false;
    }

    // Positions apart, so that a wrong time everywhere hides no jump or silence.
    Faults faults, positionFaults;
    double largestError = 0.0;  // in frames
    long completePasses = 0;
    sf_count_t played = 0;
    sf_count_t expected = segment.start;
    sf_count_t frame = first;
    bool ended = false;
    for (; frame < recording.info.frames; ++frame)
    {
        if (recording.silent(frame, channels))
        {
            if (expected != segment.start && faults.take())
                std::fprintf(stderr, "silence at recorded frame %lld inside a pass, where frame %lld should play\n",
                             Ll(frame), Ll(expected));
            ended = true;
            break;
        }
        const double index = recording.at(frame, 0);
        if (index != double(expected))
        {
            if (faults.take())
                std::fprintf(stderr, "recorded frame %lld plays frame %.17g, expected %lld\n", Ll(frame), index,
                             Ll(expected));
            // Follow what plays, so that one jump is one fault.
            if (!(index >= double(segment.start) && index < double(segment.end) && index == std::floor(index)))
            {
                std::fprintf(stderr, "frame %.17g is not one of the segment's\n", index);
                return false;
            }
            expected = sf_count_t(index);
        }
        if (recording.at(frame, 1) != source.at(expected, 1) && faults.take())
            std::fprintf(stderr, "recorded frame %lld (frame %lld): channel 1 is %.17g, the source's %.17g\n",
                         Ll(frame), Ll(expected), recording.at(frame, 1), source.at(expected, 1));
        if (hasPosition)
        {
            const double position = recording.at(frame, channels);
            const double want = timeOf(expected);
            largestError = std::max(largestError, std::abs(position - want) * rate / 1000.0);
            if (position != want && positionFaults.take())
                std::fprintf(stderr, "recorded frame %lld (frame %lld): position %.17g ms, expected %.17g ms\n",
                             Ll(frame), Ll(expected), position, want);
        }
        ++played;
        if (++expected == segment.end)
        {
            ++completePasses;
            expected = segment.start;
            if (!segment.loop)
            {
                ++frame;
                ended = true;
                break;
            }
        }
    }
    // Playback has ended: silence, and the position holds the segment's end.
    const sf_count_t endedAt = frame;
    for (; ended && frame < recording.info.frames; ++frame)
    {
        if (!recording.silent(frame, channels))
        {
            if (faults.take())
                std::fprintf(stderr, "sound at recorded frame %lld after playback ended at recorded frame %lld\n",
                             Ll(frame), Ll(endedAt));
            break;
        }
        if (hasPosition && recording.at(frame, channels) != timeOf(segment.end))
        {
            if (positionFaults.take())
                std::fprintf(stderr, "recorded frame %lld after the end: position %.17g ms, expected %.17g ms\n",
                             Ll(frame), recording.at(frame, channels), timeOf(segment.end));
            break;
        }
    }
    if (faults.count > 5 || positionFaults.count > 5)
        std::fprintf(stderr, "... %ld faults of frames and %ld of positions in all\n", faults.count,
                     positionFaults.count);
    // Said whatever came before: a pass too many or too few is the summary.
    if (segment.passes >= 0 && completePasses != segment.passes)
    {
        ++faults.count;
        std::fprintf(stderr, "%ld complete passes, expected %ld\n", completePasses, segment.passes);
    }

    std::printf("%lld frames of [%lld, %lld) played from recorded frame %lld: %ld complete passes, %s\n", Ll(played),
                Ll(segment.start), Ll(segment.end), Ll(first), completePasses,
                ended ? "then silence" : "still playing when the recording ends");
    if (hasPosition)
        std::printf("largest position error: %.17g frames\n", largestError);
    else
        std::printf("no position recorded\n");
    return faults.count == 0 && positionFaults.count == 0;
}
