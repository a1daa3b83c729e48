#include "audiofiles/KelAudioFilesMetadata.h"

namespace kel {

AudioFilesMetadata::AudioFilesMetadata(const AudioFilesMetadata& other)
    : sampleRate(other.sampleRate),
      bitsPerSample(other.bitsPerSample),
      lengthInSamples(other.lengthInSamples),
      declaredLengthInSamples(other.declaredLengthInSamples),
      numChannels(other.numChannels),
      usesFloatingPointData(other.usesFloatingPointData),
      formatName(other.formatName),
      isRF64(other.isRF64),
      hasBwfChunk(other.hasBwfChunk),
      isWave64(other.isWave64),
      bwfKeys(other.bwfKeys),
      bwfValues(other.bwfValues)
{
    markers.Reserve(other.markers.size());
    for (const auto& marker : other.markers)
        markers.PushBack(std::make_unique<Marker>(*marker));
}

AudioFilesMetadata& AudioFilesMetadata::operator=(const AudioFilesMetadata& other)
{
    if (this != &other)
    {
        AudioFilesMetadata copy(other);
        *this = std::move(copy);
    }
    return *this;
}

void AudioFilesMetadata::AddMarker(std::int32_t identifier, std::int32_t position, String label)
{
    markers.PushBack(std::make_unique<Marker>(Marker{identifier, position, std::move(label)}));
}

} // namespace kel
