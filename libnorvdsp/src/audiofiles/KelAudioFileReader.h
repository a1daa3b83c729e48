// kel::AudioFileReader: the one interface through which the player reads
// sound files, whatever their format, and the factory that picks the reader
// for a file. A concrete reader parses its header in its constructor (and
// throws rather than leave an invalid reader behind); afterwards read()
// delivers 32-bit float frames from any position.
//
// Threads: a reader is not thread-safe. It is built on the control side;
// afterwards one thread at a time calls read() (the disk-buffering thread).
// The metadata accessors may be read by anyone once construction is done.
#pragma once

#include <atomic>
#include <cstdint>

#include "audiofiles/KelAudioFilesMetadata.h"
#include "audiofiles/KelSampleConversion.h"
#include "containers/KelScopedPointer.h"
#include "files/KelFile.h"
#include "files/KelInputStream.h"
#include "math/KelAudioBuffer.h"

namespace kel {

/** Root of the reader family: owns the metadata record. */
class AudioFilesManager
{
public:
    AudioFilesManager() = default;
    virtual ~AudioFilesManager();

    const AudioFilesMetadata& getMetadata() const noexcept { return metadata; }
    double getSampleRate() const noexcept { return metadata.sampleRate; }
    std::uint32_t getBitsPerSample() const noexcept { return metadata.bitsPerSample; }
    /** The whole frames the file holds, which every reader and player goes by. */
    std::int64_t getLengthInSamples() const noexcept { return metadata.lengthInSamples; }
    /** The frame count the header declares, which may differ (a streaming
        placeholder, or a size beyond the end of a cut file). */
    std::int64_t getDeclaredLengthInSamples() const noexcept
    {
        return metadata.declaredLengthInSamples < 0 ? metadata.lengthInSamples : metadata.declaredLengthInSamples;
    }
    std::uint32_t getNumChannels() const noexcept { return metadata.numChannels; }
    bool usesFloatingPointData() const noexcept { return metadata.usesFloatingPointData; }
    const String& getFormatName() const noexcept { return metadata.formatName; }
    bool isRF64() const noexcept { return metadata.isRF64; }
    bool hasBwfChunk() const noexcept { return metadata.hasBwfChunk; }
    bool isWave64() const noexcept { return metadata.isWave64; }
    const Vector<String>& getBwfKeys() const noexcept { return metadata.bwfKeys; }
    const Vector<String>& getBwfValues() const noexcept { return metadata.bwfValues; }
    const Vector<ScopedPointer<AudioFilesMetadata::Marker>>& getMarkers() const noexcept { return metadata.markers; }

protected:
    AudioFilesMetadata metadata;
};

class AudioFileReader : public AudioFilesManager
{
public:
    /** The format's usual extension with its dot (".wav"). */
    virtual String getDefaultExtension() const = 0;

    ~AudioFileReader() override;

    /** Writes numFrames floats through every non-null pointer of the
        null-terminated array destinations, from startFrame of the file on:
        channel c of the file to destinations[c], for integer and float files
        alike (integers scaled as libsndfile's sf_read_float scales them,
        non-finite floats as 0), zeros past the end, before frame 0 and in
        arrays beyond the file's channels. Fewer arrays than the file has
        channels is fine: the other channels are not converted (a sample
        width the reader does not read leaves the file's frames unwritten).
        Calls may come at any positions in any order. Returns false when
        frames the file should hold could not be read: those are zero and
        noted (noteUnreadFrames). Blocks on the disk. */
    virtual bool readSamples(float* const* destinations, std::int64_t numFrames, std::int64_t startFrame) = 0;

    /** Reads numFrames frames from startFrameInFile into the buffer's first
        channels at startIndexInBuffer, as floats: as many channels as both
        have (a buffer narrower than the file gets the file's first channels,
        and only those are converted; channels of a wider buffer beyond the
        file's are left alone). Returns false, touching nothing, when the
        range does not fit the buffer. Returns false too when the file could
        not deliver frames it should hold (it shrank, the disk failed): those
        are silent, the others are read as usual, and getUnreadFrames says
        from which frame to which they were missed. Allocates nothing once the
        channel pointer table has grown to the channel count; blocks on the
        disk. */
    bool read(AudioBufferBase<float>& buffer, std::int64_t startIndexInBuffer, std::int64_t numFrames,
              std::int64_t startFrameInFile);

    /** The frames, first to last inclusive, that the last read() could not
        deliver; empty (last < first) after a read that succeeded. */
    struct UnreadFrames
    {
        std::int64_t first = 0;
        std::int64_t last = -1;
        bool empty() const noexcept { return last < first; }
    };
    const UnreadFrames& getUnreadFrames() const noexcept { return unreadFrames; }

    /** False once the file on disk is no longer the one whose header this
        reader parsed (rewritten in place, truncated). A reader over a file
        asks its stream (kel::FileReader::isUnchangedOnDisk); one without a
        file (memory, synthetic) answers true. Cheap: one fstat-class call
        at most; one thread at a time, as for read() (the player asks under
        its disk mutex, from the buffering or the message thread); blocks on
        the disk's metadata. */
    virtual bool isUnchangedOnDisk() const;

    /** A reader is valid when its header gave a format, a positive rate, a
        sample width and a channel count (the length may be 0). */
    bool isValid() const noexcept;

    const File& getFile() const noexcept { return file; }

    /** Whether a read has written 0 for a non-finite float sample of this
        file (NaN, +-inf). Set by the reading thread; any thread may ask;
        never blocks. */
    bool hasReplacedNonFiniteSamples() const noexcept { return nonFiniteReplaced.load(std::memory_order_relaxed); }
    /** The console's warning about that, for the file's path. */
    static String NonFiniteSamplesWarning(const String& path);

    /** "header of <quoted path> declares <N> frames, the file holds <M>"
        when the header's length is not what the file holds (see
        getDeclaredLengthInSamples), else empty. Posted once per open by
        whoever opened the file. Any thread; allocates. */
    String getLengthWarning() const;

    /** The reader for a file, which is opened once and recognised by its
        content before its extension (audiofiles/KelAudioFormatDetection.h):
        an empty pointer for an empty path; throws
        kel::exceptions::NoSuchFile when nothing exists there, "permission
        denied: <path>", "not a regular file: <path>" (a directory, FIFO or
        device, which is never opened in a way that could block), "empty
        file: <path>", the reader's own error for an unreadable header and
        "File <path> is not a valid audio file." when nothing fits.
        Control side; blocks on the disk. */
    static ScopedPointer<AudioFileReader> CreateReaderFor(const File& file);

    /** The format name CreateReaderFor goes by; "unknown" also when the file
        cannot be opened. Any thread; blocks on the disk. */
    static String detectFormatName(const File& file);
    static bool isAiffFile(const File& file);
    static bool isWavFile(const File& file);
    static bool isMp3File(const File& file);

protected:
    AudioFileReader(const File& file, ScopedPointer<InputStream> stream);

    /** The "file <path> is not a valid <kind> file" error of the constructors. */
    [[noreturn]] void throwNotValid(const char* kind, SourceLocation where) const;

    /** Where the interleaved frames of a PCM or float file sit and how they
        convert; settled once by the header. */
    struct InterleavedLayout
    {
        std::int64_t dataStart = 0;
        std::int32_t bytesPerFrame = 0;
        FrameConverter convert = nullptr;
    };

    /** The read loop the WAV and AIFF readers share: seeks to the frame,
        reads chunk by chunk from the stream straight into the scratch block
        (at least one frame wide), converts each chunk while it is in the
        cache, and zero-fills what lies outside the file. A read that gets
        fewer bytes than the file should hold for the range fails: what came
        is converted, the rest is silent and noted (noteUnreadFrames). */
    bool readInterleavedSamples(float* const* destinations, std::int64_t numFrames, std::int64_t startFrame,
                                const InterleavedLayout& layout, MemoryBlock& scratch);

    /** A readSamples that fails says which frames it missed (first to last,
        inclusive); a failure that notes nothing counts its whole range. */
    void noteUnreadFrames(std::int64_t first, std::int64_t last) noexcept { unreadFrames = {first, last}; }

    /** Sizes a scratch block for a frame size: 64 KB, or one frame when a
        frame is wider than that. Reads of that size go from the system
        straight into it (kel::FileReader buffers only small reads), and
        small enough that the chunk and what it converts to stay in the
        cache between the system's copy and the conversion. */
    static void prepareScratch(MemoryBlock& scratch, std::int32_t bytesPerFrame);

    File file;
    ScopedPointer<InputStream> input;

private:
    std::atomic<bool> nonFiniteReplaced{false};
    Vector<float*> channelPointers;
    UnreadFrames unreadFrames;
};

} // namespace kel
