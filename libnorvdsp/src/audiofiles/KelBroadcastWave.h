// The broadcast-wave ("bext") chunk: its fixed fields decoded into named
// texts, and the time reference translated into hours, minutes, seconds and
// milliseconds.
//
// Any thread; allocates; blocks on the stream it reads.
#pragma once

#include <cstdint>

#include "common/KelString.h"
#include "containers/KelVector.h"
#include "files/KelInputStream.h"

namespace kel {

/** The size of the chunk's fixed part, before the coding history. */
inline constexpr std::int64_t broadcastWaveFixedSize = 602;

/** Reads a "bext" payload of chunkSize bytes from the stream's position and
    appends its named fields to keys and values ("bwav description" and on);
    the translated time reference only when sampleRate is above 0. A chunk
    too short for the fixed fields yields nothing. */
void DecodeBroadcastWaveChunk(InputStream& input, std::int64_t chunkSize, double sampleRate, Vector<String>& keys,
                              Vector<String>& values);

/** "HH:MM:SS.mmm" for a time reference in frames at a sample rate. */
String TranslateTimeReference(std::uint64_t timeReference, double sampleRate);

} // namespace kel
