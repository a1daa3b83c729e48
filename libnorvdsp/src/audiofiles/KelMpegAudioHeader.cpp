#include "audiofiles/KelMpegAudioHeader.h"

namespace kel {

namespace {

// kbit/s by bitrate index 1 to 14.
constexpr int mpeg1Bitrates[3][14] = {
    {32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},  // Layer I
    {32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},     // Layer II
    {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},      // Layer III
};
constexpr int mpeg2Bitrates[2][14] = {
    {32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},  // Layer I
    {8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},       // Layers II and III
};
constexpr int mpeg1Rates[3] = {44100, 48000, 32000};

} // namespace

bool ParseMpegAudioHeader(const std::uint8_t* bytes, MpegAudioHeader& header) noexcept
{
    if (bytes[0] != 0xFF || (bytes[1] & 0xE0) != 0xE0)
        return false;
    const int versionBits = (bytes[1] >> 3) & 3;
    const int layerBits = (bytes[1] >> 1) & 3;
    const int bitrateIndex = bytes[2] >> 4;
    const int rateIndex = (bytes[2] >> 2) & 3;
    const int padding = (bytes[2] >> 1) & 1;
    const int emphasis = bytes[3] & 3;
    if (versionBits == 1 || layerBits == 0 || bitrateIndex == 0 || bitrateIndex == 15 || rateIndex == 3
        || emphasis == 2)
        return false;

    MpegAudioHeader h;
    h.version = versionBits == 3 ? 1 : versionBits == 2 ? 2 : 25;
    h.layer = 4 - layerBits;
    h.sampleRate = mpeg1Rates[rateIndex] / (h.version == 1 ? 1 : h.version == 2 ? 2 : 4);
    const int kbps = h.version == 1 ? mpeg1Bitrates[h.layer - 1][bitrateIndex - 1]
                                    : mpeg2Bitrates[h.layer == 1 ? 0 : 1][bitrateIndex - 1];
    const std::int32_t bitrate = kbps * 1000;
    if (h.layer == 1)
        h.frameBytes = (12 * bitrate / h.sampleRate + padding) * 4;
    else if (h.layer == 3 && h.version != 1)
        h.frameBytes = 72 * bitrate / h.sampleRate + padding;  // one granule per frame
    else
        h.frameBytes = 144 * bitrate / h.sampleRate + padding;
    header = h;
    return true;
}

} // namespace kel
