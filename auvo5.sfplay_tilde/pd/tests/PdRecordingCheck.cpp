#include "PdRecordingCheck.h"

#include <cstdio>

namespace {

long long Ll(sf_count_t value)
{
    return static_cast<long long>(value);
}

// The recording's view of the expectation: which columns carry which
// source channel, which must stay silent, where the position is.
struct Columns
{
    std::vector<int> audible;  // recording columns
    std::vector<int> channelOf;  // source channel per audible column
    std::vector<int> silent;   // columns of outlets the source has no channel for
    int position = -1;         // column, or -1
};

} // namespace

bool CheckPdRecording(const RecordedSound& recording, const RecordedSound& source, const PdRecording& expected)
{
    if (int(expected.outlets.size()) != recording.info.channels)
    {
        std::fprintf(stderr, "the recording has %d channels, %zu outlets were said to be recorded\n",
                     recording.info.channels, expected.outlets.size());
        return false;
    }
    if (recording.info.samplerate != source.info.samplerate)
    {
        std::fprintf(stderr, "the recording runs at %d Hz, the source at %d Hz\n", recording.info.samplerate,
                     source.info.samplerate);
        return false;
    }
    if (expected.start < 0 || expected.start >= expected.end || expected.end > source.info.frames)
    {
        std::fprintf(stderr, "the segment [%lld, %lld) is not in the source's %lld frames\n", Ll(expected.start),
                     Ll(expected.end), Ll(source.info.frames));
        return false;
    }
    Columns columns;
    for (int column = 0; column < recording.info.channels; ++column)
    {
        const int outlet = expected.outlets[std::size_t(column)];
        if (outlet == PdRecording::position)
            columns.position = column;
        else if (outlet < source.info.channels)
        {
            columns.audible.push_back(column);
            columns.channelOf.push_back(outlet);
        }
        else
            columns.silent.push_back(column);
    }
    if (columns.audible.empty())
    {
        std::fprintf(stderr, "no recorded outlet plays one of the source's %d channels\n", source.info.channels);
        return false;
    }

    // Pd's signals are 32-bit floats: the box writes each time computed in
    // double as the nearest float.
    const double rate = double(recording.info.samplerate);
    auto timeOf = [rate](sf_count_t frame) { return double(float(double(frame) * 1000.0 / rate)); };
    auto positionAt = [&](sf_count_t frame) { return recording.at(frame, columns.position); };
    auto quiet = [&](sf_count_t frame)
    {
        for (const int column : columns.audible)
            if (recording.at(frame, column) != 0.0)
                return false;
        return true;
    };
    auto plays = [&](sf_count_t frame, sf_count_t sourceFrame)
    {
        for (std::size_t i = 0; i < columns.audible.size(); ++i)
            if (recording.at(frame, columns.audible[i]) != source.at(sourceFrame, columns.channelOf[i]))
                return false;
        return columns.position < 0 || positionAt(frame) == timeOf(sourceFrame);
    };

    // Outlets without a channel of the file stay silent all along.
    for (sf_count_t frame = 0; frame < recording.info.frames; ++frame)
        for (const int column : columns.silent)
            if (recording.at(frame, column) != 0.0)
            {
                std::fprintf(stderr, "recorded frame %lld: outlet %d plays %.9g, but the source has %d channels\n",
                             Ll(frame), expected.outlets[std::size_t(column)], recording.at(frame, column),
                             source.info.channels);
                return false;
            }

    // Before playback: silence, the position at the start of the file
    // (nothing seeked yet) or at the segment's start.
    sf_count_t frame = 0;
    for (; frame < recording.info.frames && quiet(frame); ++frame)
        if (columns.position >= 0 && positionAt(frame) != 0.0 && positionAt(frame) != timeOf(expected.start))
        {
            std::fprintf(stderr, "recorded frame %lld before playback: position %.9g ms, expected 0 or %.9g ms\n",
                         Ll(frame), positionAt(frame), timeOf(expected.start));
            return false;
        }
    const sf_count_t first = frame;
    if (first == recording.info.frames)
    {
        std::fprintf(stderr, "the recording is silent\n");
        return false;
    }

    // Playback: the segment's frames in order, pass after pass.
    long passes = 0;
    sf_count_t want = expected.start;
    bool ended = false;
    for (; frame < recording.info.frames; ++frame)
    {
        if (!plays(frame, want))
        {
            if (want == expected.start && passes > 0)
            {
                ended = true;
                break;
            }
            std::fprintf(stderr, "recorded frame %lld (pass %ld): expected the source's frame %lld", Ll(frame),
                         passes + 1, Ll(want));
            for (std::size_t i = 0; i < columns.audible.size(); ++i)
                std::fprintf(stderr, "%s outlet %d %.9g (source %.9g)", i == 0 ? ":" : ",",
                             columns.channelOf[i], recording.at(frame, columns.audible[i]),
                             source.at(want, columns.channelOf[i]));
            if (columns.position >= 0)
                std::fprintf(stderr, ", position %.9g ms (expected %.9g)", positionAt(frame), timeOf(want));
            std::fprintf(stderr, "\n");
            return false;
        }
        if (++want == expected.end)
        {
            ++passes;
            want = expected.start;
            if (!expected.loop)
            {
                ++frame;
                ended = true;
                break;
            }
        }
    }
    if (!ended && !expected.loop)
    {
        std::fprintf(stderr, "the recording ends inside the segment, at the source's frame %lld\n", Ll(want));
        return false;
    }
    // Playback has ended: silence, the position at the segment's end.
    const sf_count_t endedAt = frame;
    for (; ended && frame < recording.info.frames; ++frame)
    {
        if (!quiet(frame))
        {
            std::fprintf(stderr, "sound at recorded frame %lld after playback ended at recorded frame %lld\n",
                         Ll(frame), Ll(endedAt));
            return false;
        }
        if (columns.position >= 0 && positionAt(frame) != timeOf(expected.end))
        {
            std::fprintf(stderr, "recorded frame %lld after the end: position %.9g ms, expected %.9g ms\n",
                         Ll(frame), positionAt(frame), timeOf(expected.end));
            return false;
        }
    }
    const long required = expected.passes >= 0 ? expected.passes : (expected.loop ? -1 : 1);
    std::printf("[%lld, %lld) played from recorded frame %lld: %ld complete passes, %s\n", Ll(expected.start),
                Ll(expected.end), Ll(first), passes,
                ended ? "then silence" : "still playing when the recording ends");
    if (required >= 0 && passes != required)
    {
        std::fprintf(stderr, "%ld complete passes, expected %ld\n", passes, required);
        return false;
    }
    return true;
}
