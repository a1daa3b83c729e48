// kel::AiffFileReader reads AIFF and AIFF-C files: 8 to 32-bit integers,
// big-endian ("NONE", "twos", plain AIFF) or little-endian ("sowt"), and
// 32-bit big-endian floats ("fl32"/"FL32"), with the markers of a "MARK"
// chunk. Every other AIFF-C compression type makes the file invalid. The
// header walk of an AIFF-C file ends once "FVER", "COMM" and "SSND" have been
// seen; other chunks ("COMT", "INST", "APPL", ...) are skipped. A size or a
// frame count that is a streaming placeholder, or that reaches beyond the
// end of the file, gives way to the whole frames the file holds
// (audiofiles/KelSoundExtent.h).
//
// Threads and blocking as for every kel::AudioFileReader.
#pragma once

#include "audiofiles/KelAudioFileReader.h"

namespace kel {

class AiffFileReader final : public AudioFileReader
{
public:
    /** Opens and parses the file; throws "file <path> is not a valid AIFF
        file" when the header is unusable. Control side; blocks. */
    explicit AiffFileReader(const File& file);
    /** Reads from a stream instead (memory in tests); the file only names
        the source in messages. */
    AiffFileReader(ScopedPointer<InputStream> stream, const File& nameForMessages);

    String getDefaultExtension() const override { return ".aiff"; }
    bool readSamples(float* const* destinations, std::int64_t numFrames, std::int64_t startFrame) override;

    bool isLittleEndian() const noexcept { return littleEndian; }
    std::int32_t getBytesPerFrame() const noexcept { return layout.bytesPerFrame; }
    std::int64_t getDataStart() const noexcept { return layout.dataStart; }

private:
    void readHeader();
    /** Returns false when the walk must stop. */
    bool readCommonChunk(std::int32_t size);
    void readMarkerChunk();
    /** Notes where the sound starts; false when it runs to the end of the
        file (a placeholder size, or one beyond the end). */
    bool noteSoundChunk(std::int64_t payloadStart, std::uint32_t size);
    /** The frames the file holds, against the declared count (see
        audiofiles/KelSoundExtent.h). */
    void settleLength();

    /** What the header says about the sound. */
    struct SoundChunk
    {
        std::uint32_t commonFrames = 0;  // the "COMM" frame count
        std::int64_t chunkEnd = 0;       // where "SSND" ends by its size
        bool placeholder = false;        // "SSND" declares no usable size
        bool seen = false;
    };
    SoundChunk sound;

    MemoryBlock scratch;
    InterleavedLayout layout;
    bool littleEndian = false;
};

} // namespace kel
