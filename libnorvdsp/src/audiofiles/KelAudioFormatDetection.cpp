#include "audiofiles/KelAudioFormatDetection.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "audiofiles/KelAudioFilesMetadata.h"
#include "audiofiles/KelMpegAudioHeader.h"

namespace kel {

namespace {

// The Wave64 "riff" chunk identifier in file byte order.
constexpr std::array<std::uint8_t, 16> wave64RiffGuid = {0x72, 0x69, 0x66, 0x66, 0x2E, 0x91, 0xCF, 0x11,
                                                         0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00};

// More than the longest MPEG audio frame (2881 bytes) and the header after it.
constexpr std::size_t headBytes = 4096;

bool StartsWith(const std::uint8_t* bytes, std::size_t size, const char* text)
{
    const auto length = std::strlen(text);
    return size >= length && std::memcmp(bytes, text, length) == 0;
}

/** A frame header at the start, and a compatible one where the first frame
    ends, unless the stream ends before that header would. */
bool StartsWithMpegFrames(const std::uint8_t* bytes, std::size_t size)
{
    MpegAudioHeader first, second;
    if (size < 4 || !ParseMpegAudioHeader(bytes, first))
        return false;
    const auto next = std::size_t(first.frameBytes);
    if (next + 4 > size)
        return true;  // the stream holds one frame or less: nothing more to check
    return ParseMpegAudioHeader(bytes + next, second) && first.isCompatibleWith(second);
}

const char* FormatByContent(const std::uint8_t* bytes, std::size_t size)
{
    if (StartsWith(bytes, size, "RIFF") || StartsWith(bytes, size, "RF64") || StartsWith(bytes, size, "BW64")
        || (size >= wave64RiffGuid.size() && std::equal(wave64RiffGuid.begin(), wave64RiffGuid.end(), bytes)))
        return AudioFilesMetadata::wavFormatName;
    if (StartsWith(bytes, size, "FORM"))
        return AudioFilesMetadata::aiffFormatName;
    // An ID3v2 tag: "ID3" and a version byte that is not 0xFF.
    if (StartsWith(bytes, size, "ID3") && size >= 4 && bytes[3] != 0xFF)
        return AudioFilesMetadata::mp3FormatName;
    if (StartsWithMpegFrames(bytes, size))
        return AudioFilesMetadata::mp3FormatName;
    return nullptr;
}

const char* FormatByExtension(const File& file)
{
    const auto extension = ToLowerAscii(file.getFileExtension());
    if (extension == ".aiff" || extension == ".aif")
        return AudioFilesMetadata::aiffFormatName;
    if (extension == ".wav" || extension == ".w64" || extension == ".bwf" || extension == ".bw64"
        || extension == ".amb" || extension == ".uhj")
        return AudioFilesMetadata::wavFormatName;
    if (extension == ".mp3")
        return AudioFilesMetadata::mp3FormatName;
    return AudioFilesMetadata::unknownFormatName;
}

} // namespace

String DetectAudioFormat(InputStream& stream, const File& file)
{
    std::array<std::uint8_t, headBytes> head{};
    stream.setPosition(0);
    const auto got = std::size_t(std::max<std::int64_t>(0, stream.Read(head.data(), std::int64_t(head.size()))));
    if (const char* format = FormatByContent(head.data(), got))
        return format;
    return FormatByExtension(file);
}

} // namespace kel
