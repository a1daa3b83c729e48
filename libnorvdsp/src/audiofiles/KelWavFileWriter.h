// Writes 32-bit (or 64-bit) float WAV files, switching to RF64 when the data outgrows what
// a RIFF size field can hold. Used by the offline renderer and the host
// simulator's recorder.
//
// Supports: IEEE float 32-bit or 64-bit samples, any channel count (WAVE_FORMAT_EXTENSIBLE
// above two channels, no speaker mask), a "fact" chunk. Writes no metadata.
//
// The header reserves a JUNK chunk the size of an RF64 "ds64" chunk, so the
// switch to RF64 at the end rewrites the header in place.
//
// Frames are interleaved into a pending block that goes to the file when it
// holds 256 KB (and at Finalise()): a renderer hands over a few dozen frames
// at a time, and a system call for each would cost more than the
// interleaving. So a write error may show only at a later write or at
// Finalise().
//
// Not thread-safe; blocks on the file system.
#pragma once

#include <cstdint>
#include <fstream>
#include <vector>

#include "files/KelFile.h"

namespace kel {

class WavFileWriter
{
public:
    /** The largest RIFF/WAVE file a 32-bit size field can describe. */
    static constexpr std::uint64_t riffLimit = 0xFFFFFFFFull;

    /** Creates or replaces the file; throws kel::exceptions::ErrorWritingFile
        when it cannot be created. rf64Threshold: total file size above which
        the file becomes RF64 (lower it only to test the switch). */
    WavFileWriter(const File& file, std::uint32_t numChannels, double sampleRate,
                  std::uint64_t rf64Threshold = riffLimit);
    /** A 64-bit float file, for signals a float cannot hold (a position in
        milliseconds an hour into a file). */
    static WavFileWriter Double(const File& file, std::uint32_t numChannels, double sampleRate);
    /** Finalises if finalise() was not called; errors are swallowed there. */
    ~WavFileWriter();

    WavFileWriter(const WavFileWriter&) = delete;
    WavFileWriter& operator=(const WavFileWriter&) = delete;

    /** Appends frames given as one array per channel. Throws
        kel::exceptions::ErrorWritingFile when writing failed (this time or
        for frames held back before). */
    void WritePlanar(const float* const* channels, std::uint32_t numFrames);
    void WritePlanar(const double* const* channels, std::uint32_t numFrames);
    /** Appends frames given interleaved (32-bit files). */
    void WriteInterleaved(const float* frames, std::uint32_t numFrames);

    /** Writes the final sizes (and the RF64 header when needed) and closes
        the file; throws kel::exceptions::ErrorWritingFile on failure. */
    void Finalise();

    std::uint64_t getNumFramesWritten() const noexcept { return framesWritten; }
    bool isRF64() const noexcept { return becameRF64; }

private:
    WavFileWriter(const File& file, std::uint32_t numChannels, double sampleRate, std::uint64_t rf64Threshold,
                  std::uint32_t bytesPerSample);
    template <typename Sample>
    void writePlanar(const Sample* const* channels, std::uint32_t numFrames);
    template <typename Sample, typename Stored>
    void interleavePlanar(const Sample* const* channels, std::uint32_t numFrames);
    /** Writes the pending block out. */
    void flushPending();
    void writeHeader();
    void check();

    File file;
    std::ofstream out;
    std::uint32_t numChannels;
    double sampleRate;
    std::uint64_t rf64Threshold;
    std::uint32_t bytesPerSample = 4;
    std::uint64_t dataStart = 0;
    std::uint64_t framesWritten = 0;
    std::vector<char> pending;  // interleaved frames not yet written
    std::size_t pendingBytes = 0;
    bool finalised = false;
    bool becameRF64 = false;
};

} // namespace kel
