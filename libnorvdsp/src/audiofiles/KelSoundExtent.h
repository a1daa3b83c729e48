// How much sound a file holds, against what its header declares.
//
// The formats say a declared size is to be taken as given. Here a size that
// is a streaming placeholder, or that reaches beyond the end of the file,
// gives way to what the file really holds: files written to a pipe carry
// placeholders because their writer could not go back to fill the size in
// (ffmpeg writes 0xFFFFFFFF into a WAV, 0 into AIFF and RF64), and a
// half-copied file declares sound that never arrived. Taken at their word,
// the first reports hours for seconds of sound, the second plays silence
// for what is missing, and a loop over either never wraps.
//
// Any thread; pure.
#pragma once

#include <algorithm>
#include <cstdint>

namespace kel {

/** The bytes of sound from start on: the declared size, or all that the
    stream (streamLength bytes, 0 when unknown) holds from start when the
    declared size is a placeholder or reaches beyond the end. A stream of
    unknown length leaves the declared size. */
constexpr std::int64_t SoundBytesHeld(std::int64_t streamLength, std::int64_t start, std::int64_t declared,
                                      bool placeholder) noexcept
{
    if (streamLength <= 0)
        return declared;
    const std::int64_t held = std::max<std::int64_t>(0, streamLength - start);
    return placeholder || declared > held ? held : declared;
}

} // namespace kel
