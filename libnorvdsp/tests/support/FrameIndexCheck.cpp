#include "support/FrameIndexCheck.h"

#include <cmath>
#include <sstream>

#include "support/FrameIndexReader.h"

namespace kel::test {

FrameIndexCheck::FrameIndexCheck(const TransportModel& model, std::size_t stride, bool wide, bool underrunsAllowed)
    : timeline(model), channels(stride), wideOutput(wide), allowUnderruns(underrunsAllowed)
{
}

std::string FrameIndexCheck::describe(std::uint64_t output, const std::string& what) const
{
    std::ostringstream text;
    text.precision(17);
    text << "output sample " << output << ": " << what;
    return text.str();
}

std::string FrameIndexCheck::CheckBlock(const std::vector<double>& interleaved,
                                        const std::vector<ExpectedSample>& expected)
{
    const double rate = timeline.sampleRate();
    if (interleaved.size() != expected.size() * channels)
        return describe(outputIndex, "block of " + std::to_string(interleaved.size() / channels) + " samples, "
                                         + std::to_string(expected.size()) + " expected");
    // The position as the host received it.
    const auto asReceived = [this](double ms) { return wideOutput ? ms : double(float(ms)); };
    for (std::size_t i = 0; i < expected.size(); ++i, ++outputIndex)
    {
        const double low = interleaved[i * channels];
        const double high = interleaved[i * channels + 1];
        const double position = interleaved[i * channels + channels - 1];
        const bool silent = low == 0.0 && high == 0.0;
        for (std::size_t c = 2; c + 1 < channels; ++c)
            if (interleaved[i * channels + c] != 0.0)
                return describe(outputIndex, "channel " + std::to_string(c) + " is not silent");
        const ExpectedSample& e = expected[i];
        // Composed only for a failure: this runs for every sample.
        const auto got = [&]
        {
            std::ostringstream text;
            text.precision(17);
            text << "(got position " << position << " ms, audio frame " << FrameFromSamples(low, high)
                 << (silent ? ", silent" : "") << ")";
            return text.str();
        };

        if (e.frame < 0)
        {
            // Not playing: silence, and the held time.
            const double held = asReceived(timeline.Time(e.heldFrame));
            const bool other = e.otherHeldFrame >= 0 && position == asReceived(timeline.Time(e.otherHeldFrame));
            if (!silent || (position != held && !other))
                return describe(outputIndex, "not playing: expected silence and the time of frame "
                                                 + std::to_string(e.heldFrame) + " " + got());
            const double heldFrame = double(other ? e.otherHeldFrame : e.heldFrame);
            largestError = std::max(largestError, std::abs(position * rate / 1000.0 - heldFrame));
            runOpen = false;
            previousFrame = -1;
            continue;
        }

        const double time = asReceived(timeline.Time(e.frame));
        if (position != time)
            return describe(outputIndex, "frame " + std::to_string(e.frame) + " should carry its time " + got());

        const bool frameLooksSilent = FrameIndexLow(e.frame) == 0.0f && FrameIndexHigh(e.frame) == 0.0f;
        if (silent && !frameLooksSilent)
        {
            if (!allowUnderruns)
                return describe(outputIndex, "frame " + std::to_string(e.frame) + " is silent " + got());
            if (!runOpen)
                runs.push_back({e.frame, 0, outputIndex, false});
            else if (e.frame != previousFrame + 1)
                runs.back().crossesLoopEnd = true;
            ++runs.back().frames;
            runOpen = true;
        }
        else
        {
            if (low != double(FrameIndexLow(e.frame)) || high != double(FrameIndexHigh(e.frame)))
                return describe(outputIndex, "expected frame " + std::to_string(e.frame) + " " + got());
            runOpen = false;
        }
        largestError = std::max(largestError, std::abs(position * rate / 1000.0 - double(e.frame)));
        previousFrame = e.frame;
    }
    return {};
}

} // namespace kel::test
