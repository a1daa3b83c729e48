// kel::AudioFilesMetadata: what a reader learned from a file's header, shared
// by every format: the sound's shape, the format's name and flags, the
// broadcast-wave fields and the markers. A plain value: copying it copies
// every marker.
//
// Written by a reader's constructor only; read from any thread afterwards.
#pragma once

#include <cstdint>

#include "common/KelString.h"
#include "containers/KelScopedPointer.h"
#include "containers/KelVector.h"

namespace kel {

struct AudioFilesMetadata
{
    struct Marker
    {
        std::int32_t identifier = 0;
        std::int32_t position = 0;  // frame index from the start of the sound data
        String label;
    };

    AudioFilesMetadata() = default;
    AudioFilesMetadata(const AudioFilesMetadata& other);
    AudioFilesMetadata& operator=(const AudioFilesMetadata& other);
    AudioFilesMetadata(AudioFilesMetadata&&) noexcept = default;
    AudioFilesMetadata& operator=(AudioFilesMetadata&&) noexcept = default;

    /** The format keys of the factory and the readers. */
    static constexpr const char* unknownFormatName = "unknown";
    static constexpr const char* aiffFormatName = "AIFF File";
    static constexpr const char* wavFormatName = "WAV File";
    static constexpr const char* mp3FormatName = "MP3 File";

    void AddMarker(std::int32_t identifier, std::int32_t position, String label);

    double sampleRate = 0.0;
    std::uint32_t bitsPerSample = 0;
    std::int64_t lengthInSamples = 0;          // the whole frames the file holds
    std::int64_t declaredLengthInSamples = -1; // what the header says; -1: the same
    std::uint32_t numChannels = 0;
    bool usesFloatingPointData = false;
    String formatName = unknownFormatName;
    bool isRF64 = false;
    bool hasBwfChunk = false;
    bool isWave64 = false;
    Vector<String> bwfKeys;
    Vector<String> bwfValues;
    Vector<ScopedPointer<Marker>> markers;
};

} // namespace kel
