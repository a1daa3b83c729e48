// sfplay-compare-pd-recording [--outlets LIST] [--segment START END] [--loop] [--passes N] [--padding N]
//     RECORDING SOURCE:
// checks a recording that Pd's [writesf~] made of an [auvo5.sfplay~] box
// against its source as libsndfile reads it (PdRecordingCheck.h). LIST
// names the box's outlet in each recorded channel, comma-separated, "p" for
// the position (default: the outlets from 0, the last channel the
// position); the segment is in frames (default: the whole source).
//
// sfplay-compare-pd-recording --frame-index START END [--loop] [--passes N] [--padding N] RECORDING SOURCE:
// the recording of the frame-index file (sfplay-make-frame-index) over the
// segment [START, END), as the Max tests check theirs (FrameIndexCheck.h),
// its position signal in 32-bit floats.
//
// --padding N: the recording's last N channels are inlets of the recorder
// that nothing feeds; they must be silent. (Pd 0.53's [writesf~] counts the
// frames it wrote a disk write at a time, rounding down, so its header
// loses frames unless a frame's size divides the write's: recordings are
// padded to a power of two of channels.)
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "FrameIndexCheck.h"
#include "PdRecordingCheck.h"

namespace {

int Usage()
{
    std::fprintf(stderr, "usage: sfplay-compare-pd-recording [--outlets LIST] [--segment START END] [--loop]"
                         " [--passes N] [--padding N] RECORDING SOURCE\n"
                         "       sfplay-compare-pd-recording --frame-index START END [--loop] [--passes N]"
                         " [--padding N] RECORDING SOURCE\n");
    return 2;
}

/** Checks that the last `padding` channels are silent and takes them out. */
bool StripPadding(RecordedSound& recording, int padding)
{
    const int kept = recording.info.channels - padding;
    if (padding == 0)
        return true;
    if (kept < 1)
    {
        std::fprintf(stderr, "the recording has %d channels, %d of them padding\n", recording.info.channels, padding);
        return false;
    }
    std::vector<double> samples;
    samples.reserve(std::size_t(recording.info.frames) * std::size_t(kept));
    for (sf_count_t frame = 0; frame < recording.info.frames; ++frame)
    {
        for (int c = 0; c < recording.info.channels; ++c)
        {
            if (c < kept)
                samples.push_back(recording.at(frame, c));
            else if (recording.at(frame, c) != 0.0)
            {
                std::fprintf(stderr, "recorded frame %lld: padding channel %d is not silent\n",
                             static_cast<long long>(frame), c);
                return false;
            }
        }
    }
    recording.samples = std::move(samples);
    recording.info.channels = kept;
    return true;
}

bool Count(const char* text, long long& value)
{
    char* rest = nullptr;
    value = std::strtoll(text, &rest, 10);
    return rest != text && *rest == '\0' && value >= 0;
}

bool ParseOutlets(const char* text, std::vector<int>& outlets)
{
    std::string list(text);
    std::size_t start = 0;
    while (start <= list.size())
    {
        const std::size_t comma = std::min(list.find(',', start), list.size());
        const std::string item = list.substr(start, comma - start);
        long long outlet = 0;
        if (item == "p")
            outlets.push_back(PdRecording::position);
        else if (Count(item.c_str(), outlet) && outlet < 65536)
            outlets.push_back(int(outlet));
        else
            return false;
        start = comma + 1;
    }
    return !outlets.empty();
}

} // namespace

int main(int argc, char** argv)
{
    PdRecording expected;
    FrameIndexSegment frameIndex;
    frameIndex.floatPositions = true;
    bool isFrameIndex = false, hasSegment = false;
    long long padding = 0;
    int arg = 1;
    for (; arg < argc && std::strncmp(argv[arg], "--", 2) == 0; ++arg)
    {
        long long a = 0, b = 0;
        const bool pair = arg + 2 < argc && Count(argv[arg + 1], a) && Count(argv[arg + 2], b);
        if ((std::strcmp(argv[arg], "--frame-index") == 0 || std::strcmp(argv[arg], "--segment") == 0) && pair)
        {
            isFrameIndex = isFrameIndex || std::strcmp(argv[arg], "--frame-index") == 0;
            hasSegment = true;
            expected.start = frameIndex.start = a;
            expected.end = frameIndex.end = b;
            arg += 2;
        }
        else if (std::strcmp(argv[arg], "--outlets") == 0 && arg + 1 < argc && ParseOutlets(argv[arg + 1], expected.outlets))
            ++arg;
        else if (std::strcmp(argv[arg], "--padding") == 0 && arg + 1 < argc && Count(argv[arg + 1], padding)
                 && padding < 65536)
            ++arg;
        else if (std::strcmp(argv[arg], "--loop") == 0)
            expected.loop = frameIndex.loop = true;
        else if (std::strcmp(argv[arg], "--passes") == 0 && arg + 1 < argc && Count(argv[arg + 1], a))
        {
            expected.passes = frameIndex.passes = long(a);
            ++arg;
        }
        else
            return Usage();
    }
    if (argc - arg != 2 || (isFrameIndex && !expected.outlets.empty()))
        return Usage();
    RecordedSound recording, source;
    if (!ReadRecordedSound(argv[arg], recording) || !ReadRecordedSound(argv[arg + 1], source)
        || !StripPadding(recording, int(padding)))
        return 1;
    if (isFrameIndex)
        return CheckFrameIndex(recording, source, frameIndex) ? 0 : 1;
    if (!hasSegment)
        expected.end = source.info.frames;
    if (expected.outlets.empty())
    {
        for (int outlet = 0; outlet + 1 < recording.info.channels; ++outlet)
            expected.outlets.push_back(outlet);
        expected.outlets.push_back(PdRecording::position);
    }
    return CheckPdRecording(recording, source, expected) ? 0 : 1;
}
