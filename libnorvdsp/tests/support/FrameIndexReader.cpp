#include "support/FrameIndexReader.h"

#include <cmath>

namespace kel::test {

std::int64_t FrameFromSamples(double low, double high)
{
    if (!(low >= 0.0 && low < double(frameIndexLowSpan) && high >= 0.0 && high < 2147483648.0)
        || low != std::floor(low) || high != std::floor(high))
        return -1;
    return std::int64_t(high) * frameIndexLowSpan + std::int64_t(low);
}

FrameIndexReader::FrameIndexReader(const std::string& path, std::int64_t lengthInFrames, double sampleRate,
                                   std::uint32_t numChannels, const std::vector<SyntheticMarker>& markers)
    : AudioFileReader(File(path), nullptr)  // no stream: readSamples computes its frames
{
    metadata.sampleRate = sampleRate;
    metadata.bitsPerSample = 32;
    metadata.lengthInSamples = lengthInFrames;
    metadata.numChannels = numChannels;
    metadata.usesFloatingPointData = true;
    metadata.formatName = AudioFilesMetadata::wavFormatName;
    for (const auto& marker : markers)
        metadata.AddMarker(marker.identifier, marker.position, marker.label);
}

bool FrameIndexReader::readSamples(float* const* destinations, std::int64_t numFrames, std::int64_t startFrame)
{
    const std::int64_t length = metadata.lengthInSamples;
    for (std::uint32_t c = 0; destinations[c] != nullptr; ++c)
    {
        float* out = destinations[c];
        for (std::int64_t i = 0; i < numFrames; ++i)
        {
            const std::int64_t frame = startFrame + i;
            float value = 0.0f;  // before the start, past the end, beyond the two index channels
            if (frame >= 0 && frame < length && c < metadata.numChannels)
                value = c == 0 ? FrameIndexLow(frame) : c == 1 ? FrameIndexHigh(frame) : 0.0f;
            out[i] = value;
        }
    }
    return true;
}

} // namespace kel::test
