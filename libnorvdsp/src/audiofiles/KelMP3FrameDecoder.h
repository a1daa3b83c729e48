// kel::MP3FrameDecoder: MPEG audio frames decoded by libmpg123, fed from our
// own kel::InputStream through libmpg123's replaced-reader handle (the file
// is never reopened by name). It also keeps the frame-position index (one
// entry per fourth frame) that seeking uses. Gapless trimming is off, so
// every frame yields its full sample count (1152 for MPEG-1 Layer II/III,
// 576 for MPEG-2/2.5 Layer III, 384 for Layer I).
//
// libmpg123 sees the stream from a restart position on, as if the stream
// began there; restarting resets the decoder's state entirely.
//
// Not thread-safe; blocks on the stream. Allocates when the index grows.
#pragma once

#include <cstdint>

#include "containers/KelVector.h"
#include "files/KelInputStream.h"

struct mpg123_handle_struct;

namespace kel {

class MP3FrameDecoder
{
public:
    /** The most samples per channel one frame can hold. */
    static constexpr std::uint32_t maxSamplesPerFrame = 1152;

    enum class Status
    {
        frame,      // a frame was decoded or parsed
        tryAgain,   // nothing this time: call again
        endOfStream,
        error
    };

    /** The stream must outlive the decoder. */
    explicit MP3FrameDecoder(InputStream& stream);
    ~MP3FrameDecoder();

    MP3FrameDecoder(const MP3FrameDecoder&) = delete;
    MP3FrameDecoder& operator=(const MP3FrameDecoder&) = delete;

    /** Starts afresh at a byte position where frame number frameNumber (or,
        at the stream's start, tags and an info frame before it) begins. */
    bool restartAt(std::int64_t position, std::int64_t frameNumber);

    /** Decodes the next frame into left and right (maxSamplesPerFrame each;
        right gets a copy of left for a mono frame). */
    Status decodeFrame(float* left, float* right, std::uint32_t& numSamples);

    /** Reads past the next frame without synthesising it: cheap, for
        extending the index. Decoding afterwards needs restartAt first. */
    Status skipFrame();

    /** The number of the frame the next call decodes or skips. */
    std::int64_t getFrameNumber() const noexcept { return frameNumber; }
    /** The stream position of frames 0, 4, 8, ... as far as they are known. */
    const Vector<std::int64_t>& getFramePositions() const noexcept { return framePositions; }

    // Facts of the last frame read; valid after the first decoded frame.
    long getSampleRate() const noexcept { return sampleRate; }
    int getNumChannels() const noexcept { return numChannels; }
    int getSamplesPerFrame() const noexcept { return samplesPerFrame; }
    int getLayer() const noexcept { return layer; }
    /** True for MPEG-2 and 2.5 (one granule per Layer III frame). */
    bool isLowSamplingFrequency() const noexcept { return lowSamplingFrequency; }
    /** The frame count an info (Xing) frame declares, or -1. */
    std::int64_t getDeclaredFrameCount() const;

private:
    void noteFrameRead();
    void readFrameFacts();
    void guardBitReservoir(unsigned long header, unsigned char* body, std::size_t bodyBytes);

public:
    /** What libmpg123's reader callbacks see: the stream from base on. */
    struct StreamView
    {
        InputStream* stream = nullptr;
        std::int64_t base = 0;
    };

private:
    StreamView view;
    mpg123_handle_struct* handle = nullptr;
    std::int64_t frameNumber = 0;
    Vector<std::int64_t> framePositions;
    std::size_t reservoirBytes = 0;  // Layer III data read since the restart
    bool opened = false;
    bool needsRestart = false;

    long sampleRate = 0;
    int numChannels = 0;
    int samplesPerFrame = 0;
    int layer = 0;
    bool lowSamplingFrequency = false;
};

} // namespace kel
