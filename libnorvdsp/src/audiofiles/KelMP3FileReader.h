// kel::MP3FileReader reads MPEG-1, 2 and 2.5 audio, Layers I to III, mono or
// stereo, as 32-bit float, decoded by libmpg123 from the reader's own stream
// (kel::MP3FrameDecoder). An ID3v2 tag at the start is skipped; ID3v1 and
// other tags are left to the decoder; gapless trimming is off. The length is
// the frame count an info frame declares, or else the frames counted once at
// opening, times the samples per frame, so that it matches what the decoder
// delivers. Random access seeks through an index of every fourth frame's
// position and decodes forward from a frame early enough for the decoder's
// state (bit reservoir, overlap, synthesis window) to be rebuilt, so that a
// read anywhere returns exactly what a decode from the start would.
//
// Threads and blocking as for every kel::AudioFileReader.
#pragma once

#include <array>

#include "audiofiles/KelAudioFileReader.h"
#include "audiofiles/KelMP3FrameDecoder.h"

namespace kel {

class MP3FileReader final : public AudioFileReader
{
public:
    /** Opens the file and decodes its first frame; throws "file <path> is
        not a valid MP3 file" when no frame can be decoded. Control side;
        blocks (a file that declares no frame count is read through once). */
    explicit MP3FileReader(const File& file);
    /** Reads from a stream instead (memory in tests); the file only names
        the source in messages. */
    MP3FileReader(ScopedPointer<InputStream> stream, const File& nameForMessages);
    ~MP3FileReader() override;

    String getDefaultExtension() const override { return ".mp3"; }
    bool readSamples(float* const* destinations, std::int64_t numFrames, std::int64_t startFrame) override;

    /** 1152, 576 or 384. */
    int getSamplesPerFrame() const noexcept { return samplesPerFrame; }
    /** True when the length came from the file's info frame. */
    bool hasDeclaredLength() const noexcept { return declaredLength; }

private:
    void skipId3v2Tag();
    bool decodeNextBlock();
    void makeSilence();
    /** Positions the decoded block on a sample: found through the index,
        decoded forward. */
    void seekTo(std::int64_t sample);
    /** Extends the index until it holds entry, or the stream's end is met. */
    void extendIndexTo(std::size_t entry);
    /** The index entry to restart from for a target frame. */
    std::size_t chooseRestartEntry(std::int64_t targetFrame) const;
    std::int64_t countFrames();

    ScopedPointer<MP3FrameDecoder> decoder;
    std::array<std::array<float, MP3FrameDecoder::maxSamplesPerFrame>, 2> decodedSamples{};
    std::uint32_t decodedStart = 0;
    std::uint32_t decodedEnd = 0;
    std::int64_t currentReadPosition = -1;
    int samplesPerFrame = 0;
    std::int64_t knownFrameCount = -1;  // once the end of the stream has been met
    bool pastEnd = false;               // the decoder has nothing more: silence
    bool declaredLength = false;
};

} // namespace kel
