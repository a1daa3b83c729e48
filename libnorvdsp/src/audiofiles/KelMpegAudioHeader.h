// The four-byte header of an MPEG audio frame (MPEG-1, 2 and 2.5, Layers I
// to III), read only as far as telling whether bytes begin a frame and how
// long that frame is: enough to recognise MP3 data by its content. Free-
// format frames (no bitrate in the header) have no length here and are not
// recognised.
//
// Any thread; pure.
#pragma once

#include <cstdint>

namespace kel {

struct MpegAudioHeader
{
    int version = 0;        // 1 (MPEG-1), 2 (MPEG-2) or 25 (MPEG-2.5)
    int layer = 0;          // 1 to 3
    int sampleRate = 0;
    std::int32_t frameBytes = 0;

    /** True when the two headers could belong to one stream. */
    bool isCompatibleWith(const MpegAudioHeader& other) const noexcept
    {
        return version == other.version && layer == other.layer && sampleRate == other.sampleRate;
    }
};

/** Parses the header at bytes[0..3]; false when they are no valid header
    with a known frame length. */
bool ParseMpegAudioHeader(const std::uint8_t* bytes, MpegAudioHeader& header) noexcept;

} // namespace kel
