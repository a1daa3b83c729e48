// Compares a player's output, block by block, with what a TransportModel
// expects, for a frame-index file (FrameIndexReader): every playing sample
// carries its frame's two index samples and that frame's time as position;
// every other sample is silent and holds the expected time. Silence where a
// frame should play is a disk underrun: allowed only when the test forces
// underruns, and then collected as runs to compare with the player's reports.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/TransportModel.h"

namespace kel::test {

struct SilentRun
{
    std::int64_t firstFrame = 0;     // the file frame that should have played first
    std::int64_t frames = 0;
    std::uint64_t firstOutput = 0;   // its output sample index
    bool crossesLoopEnd = false;     // it spans the end of a pass and the start of the next
};

class FrameIndexCheck
{
public:
    /** stride: outputs per sample frame (audio channels, then the position
        last); wide: the output came through the 64-bit entry, so positions
        are compared as doubles, else as floats. */
    FrameIndexCheck(const TransportModel& model, std::size_t stride, bool wide, bool underrunsAllowed);

    /** Checks the next block; returns the first mismatch described, or an
        empty text. */
    std::string CheckBlock(const std::vector<double>& interleaved, const std::vector<ExpectedSample>& expected);

    /** The largest |position x rate / 1000 - frame| over the samples that
        met the check, frame being the one due (or held): what is left of
        the position's rounding, in frames. */
    double largestErrorInFrames() const { return largestError; }
    const std::vector<SilentRun>& silentRuns() const { return runs; }
    /** Whether the last sample checked lies in an underrun. */
    bool inUnderrun() const { return runOpen; }
    std::uint64_t samplesChecked() const { return outputIndex; }

private:
    std::string describe(std::uint64_t output, const std::string& what) const;

    const TransportModel& timeline;
    const std::size_t channels;
    const bool wideOutput;
    const bool allowUnderruns;
    std::uint64_t outputIndex = 0;
    double largestError = 0.0;
    std::vector<SilentRun> runs;
    bool runOpen = false;
    std::int64_t previousFrame = -1;
};

} // namespace kel::test
