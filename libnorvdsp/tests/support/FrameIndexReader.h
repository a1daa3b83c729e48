// A synthetic reader whose samples name their own frame: channel 0 carries
// float(frame mod 2^24) and channel 1 float(frame >> 24), both exact in a
// float, so a test can tell from any output sample which file frame the
// player delivered, for files far longer than 2^24 frames. It needs no file
// on disk (its path is only a name) and reads nothing but arithmetic, so its
// reads take no time unless a test holds them up (StallingReader).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "audiofiles/KelAudioFileReader.h"

namespace kel::test {

/** The two samples of a frame, and the frame back from them. */
constexpr std::int64_t frameIndexLowSpan = std::int64_t(1) << 24;
inline float FrameIndexLow(std::int64_t frame) { return float(frame % frameIndexLowSpan); }
inline float FrameIndexHigh(std::int64_t frame) { return float(frame >> 24); }
/** -1 when the samples are not a frame index (negative, fractional or out
    of range). */
std::int64_t FrameFromSamples(double low, double high);

struct SyntheticMarker
{
    std::int32_t identifier;
    std::int32_t position;
    std::string label;
};

class FrameIndexReader : public AudioFileReader
{
public:
    /** A "WAV File" of 32-bit float frames named path (nothing is opened),
        lengthInFrames long; channels beyond the first two are silent. */
    FrameIndexReader(const std::string& path, std::int64_t lengthInFrames, double sampleRate = 48000.0,
                     std::uint32_t numChannels = 2, const std::vector<SyntheticMarker>& markers = {});

    String getDefaultExtension() const override { return ".wav"; }
    bool readSamples(float* const* destinations, std::int64_t numFrames, std::int64_t startFrame) override;
};

} // namespace kel::test
