// kel::WavFileReader reads RIFF/WAVE, RF64 (sizes from "ds64") and Sony
// Wave64 files: PCM of 8 to 32 bits, IEEE float of 32 and 64 bits, the
// extensible format's PCM, float and ambisonic B-format PCM sub-formats, and
// a list of compressed format tags whose bytes are read as PCM of the
// declared width (no decoding). It keeps "bext", "cue ", "axml" and "chna".
// Ignored: "smpl", "inst", other lists, "acid", "fact", "junk" and every other
// chunk (a zero-length unknown chunk ends the header walk). In an RF64 file
// the chunks after the sound are found through the "ds64" data size. Files
// beginning with "BW64" are refused. A size that is a streaming placeholder
// or reaches beyond the end of the file gives way to the whole frames the
// file holds (audiofiles/KelSoundExtent.h). Metadata chunks are read no
// further than 128 MB (a coding history no further than 1 MB), whatever
// their size fields say.
// Cue points take their names from the "labl" records of "LIST" chunks of
// type "adtl", before or after "cue " (KelCueLabels.h); a cue point without
// one is labelled with its identifier. Wave64 files have no cue points here
// (Sony keeps their markers in a chunk of its own), so no names either.
//
// Threads and blocking as for every kel::AudioFileReader.
#pragma once

#include <map>

#include "audiofiles/KelAudioFileReader.h"
#include "audiofiles/KelCueLabels.h"

namespace kel {

class WavFileReader final : public AudioFileReader
{
public:
    /** The audio-definition channel allocation of a "chna" chunk. */
    struct ChannelAllocation
    {
        std::uint16_t numTracks = 0;
        std::uint16_t numUIDs = 0;
        Vector<std::uint16_t> trackIndices;
        Vector<String> uids;             // 12 characters each
        Vector<String> trackFormatRefs;  // 14 characters each
        Vector<String> packFormatRefs;   // 11 characters each
    };

    /** Opens and parses the file; throws "file <path> is not a valid WAV
        file" when the header is unusable, and the header's own errors for
        "BW64" files and broken Wave64 headers. Control side; blocks. */
    explicit WavFileReader(const File& file);
    /** Reads from a stream instead (memory in tests); the file only names
        the source in messages. */
    WavFileReader(ScopedPointer<InputStream> stream, const File& nameForMessages);

    String getDefaultExtension() const override { return ".wav"; }
    bool readSamples(float* const* destinations, std::int64_t numFrames, std::int64_t startFrame) override;

    const String& getAxmlText() const noexcept { return axmlText; }
    const ChannelAllocation& getChannelAllocation() const noexcept { return chna; }
    bool isAmbisonicBFormat() const noexcept { return ambisonicBFormat; }
    const std::map<String, String>& getCueMetadata() const noexcept { return cueMetadata; }
    std::int32_t getBytesPerFrame() const noexcept { return layout.bytesPerFrame; }
    std::int64_t getDataStart() const noexcept { return layout.dataStart; }
    /** The declared size of the sound, in bytes. */
    std::int64_t getDataSize() const noexcept { return dataSize; }

private:
    void readHeader();
    void walkRiffChunks(std::int64_t end);
    void walkWave64Chunks();
    void readFormatChunk(std::int64_t size);
    /** Notes where the sound starts and its declared size; returns the
        bytes of sound the file holds (see audiofiles/KelSoundExtent.h). */
    std::int64_t noteDataChunk(std::int64_t payloadStart, std::uint64_t declaredSize, bool placeholder);
    /** Whether a RIFF chunk header stands at position (four printable
        characters, a size within the file); keeps the stream's position. */
    bool riffChunkHeaderAt(std::int64_t position);
    void readBroadcastWaveChunk(std::int64_t size);
    void readCueChunk(std::int64_t size);
    void readListChunk(std::int64_t size);
    void nameCuePoints();
    void readChannelAllocation(std::int64_t size);
    void settleLayout();

    MemoryBlock scratch;
    String axmlText;
    ChannelAllocation chna;
    bool ambisonicBFormat = false;
    std::map<String, String> cueMetadata;
    Vector<std::uint32_t> cueIdentifiers;  // each marker's whole identifier (the marker keeps 16 bits)
    CueLabels cueLabels;
    InterleavedLayout layout;
    std::int64_t dataSize = 0;       // as declared
    std::uint64_t ds64DataSize = 0;  // an RF64 file's, as found in "ds64"
};

} // namespace kel
