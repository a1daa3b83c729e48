// Audio fixtures written and decoded by third-party code, so that our readers
// are checked against libsndfile and libmpg123 rather than against
// themselves.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "audiofiles/KelAudioFileReader.h"

#if KEL_HAVE_SNDFILE
#include <sndfile.h>
#endif

namespace kel::test {

/** Interleaved float frames as a reference decoder delivers them. */
struct Decoded
{
    int channels = 0;
    std::int64_t frames = 0;
    double sampleRate = 0.0;
    std::vector<float> samples;  // frames x channels, interleaved

    float at(std::int64_t frame, int channel) const { return samples[std::size_t(frame * channels + channel)]; }
};

#if KEL_HAVE_SNDFILE
/** Writes frames of deterministic noise across the whole range with
    libsndfile (full-scale integers for integer encodings, values beyond
    +-1 for float ones); configure may send commands (cues, broadcast info)
    before the samples. Returns false when libsndfile refuses. */
bool WriteWithSndfile(const std::string& path, int format, int channels, std::int64_t frames, int sampleRate,
                      const std::function<void(SNDFILE*)>& configure = {});

/** libsndfile's float decode (sf_readf_float) of a whole file. */
Decoded DecodeWithSndfile(const std::string& path);
#endif

/** libmpg123's decode of a whole file opened by name: float output, gapless
    off, the stream's own rate. */
Decoded DecodeWithMpg123(const std::string& path);

/** Everything our reader delivers through read(), in blocks of blockFrames,
    interleaved. */
Decoded ReadAllWithReader(kel::AudioFileReader& reader, std::int64_t blockFrames = 4096);

/** Reads [start, start + n) through read() into a fresh buffer of the
    reader's channel count and returns it interleaved. */
std::vector<float> ReadRange(kel::AudioFileReader& reader, std::int64_t start, std::int64_t n);

/** The reference's frames [start, start + n) interleaved, zeros outside. */
std::vector<float> ReferenceRange(const Decoded& reference, std::int64_t start, std::int64_t n);

/** Index of the first differing value, or -1; NaNs compare by bits. */
std::int64_t FirstDifference(const std::vector<float>& a, const std::vector<float>& b);

/** Reads a whole file into memory. */
std::vector<std::uint8_t> LoadBytes(const std::string& path);
/** Writes bytes as a whole file. */
void SaveBytes(const std::string& path, const std::vector<std::uint8_t>& bytes);

/** Quotes a path for the shell. */
std::string ShellQuoted(const std::string& text);

} // namespace kel::test
