#include "support/TransportModel.h"

#include <algorithm>
#include <cstdio>

namespace kel::test {

std::int64_t TransportModel::MillisecondsToFrames(double msec) const
{
    const double frames = std::max(0.0, msec) * 0.001 * rate;
    return frames < double(length) ? std::int64_t(frames) : length;
}

std::string TransportModel::SeekText(std::int64_t frame) const
{
    char text[64];
    std::snprintf(text, sizeof(text), "%.6f", (double(frame) + 0.5) * 1000.0 / rate);
    return text;
}

void TransportModel::playSegment(std::int64_t from, std::int64_t to)
{
    start = from;
    end = to;
    next = from;
    playing = true;
    pendingEnd = false;
    justWrapped = false;
}

void TransportModel::Start()
{
    playSegment(0, length);
}

void TransportModel::Seek(std::int64_t frame)
{
    playSegment(frame, length);
}

void TransportModel::Seek(std::int64_t a, std::int64_t b)
{
    playSegment(std::min(a, b), std::max(a, b));
}

void TransportModel::Resume()
{
    if (playing)
        return;
    if (next == start || next == end)
        Start();
    else
        playing = true;
}

void TransportModel::Switch()
{
    if (playing)
        Pause();
    else
        Resume();
}

bool TransportModel::resumeIsOpen() const
{
    return !playing && next == start && !(start == 0 && end == length);
}

std::vector<ExpectedSample> TransportModel::Block(std::uint32_t numFrames, EndReport& endReport)
{
    endReport = EndReport::none;
    pendingEnd = false;
    if (playing && justWrapped && !loop)
    {
        // The last block ended with a pass's last frame, and the loop is off
        // now: that pass was the last; its end comes with this block.
        playing = false;
        next = end;
        justWrapped = false;
        endReport = EndReport::inThisBlock;
    }
    std::vector<ExpectedSample> samples(numFrames);
    for (std::uint32_t i = 0; i < numFrames; ++i)
    {
        auto& sample = samples[i];
        if (!playing)
        {
            // min(segmentStart + played, segmentEnd): next never passes the
            // end. Right after a whole pass, "played" may count that pass.
            sample.heldFrame = next;
            if (justWrapped)
                sample.otherHeldFrame = end;
            continue;
        }
        sample.frame = next++;
        justWrapped = false;
        if (next == end)
        {
            if (loop)
            {
                next = start;
                justWrapped = true;
            }
            else
            {
                playing = false;
                pendingEnd = i + 1 == numFrames;
                endReport = pendingEnd ? EndReport::inThisOrNextBlock : EndReport::inThisBlock;
            }
        }
    }
    return samples;
}

} // namespace kel::test
