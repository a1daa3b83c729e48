#include "audiofiles/KelMP3FrameDecoder.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>

#include <mpg123.h>

namespace kel {

namespace {

using View = MP3FrameDecoder::StreamView;

mpg123_ssize_t ReadFromView(void* handle, void* buffer, size_t numBytes)
{
    auto* view = static_cast<View*>(handle);
    const auto wanted = std::int64_t(std::min<size_t>(numBytes, size_t(std::numeric_limits<std::int32_t>::max())));
    return mpg123_ssize_t(view->stream->Read(buffer, wanted));
}

off_t SeekInView(void* handle, off_t offset, int whence)
{
    auto* view = static_cast<View*>(handle);
    std::int64_t origin = 0;
    switch (whence)
    {
    case SEEK_SET: origin = view->base; break;
    case SEEK_CUR: origin = view->stream->getPosition(); break;
    case SEEK_END:
        origin = view->stream->getTotalLength();
        if (origin <= 0)
            return -1;
        break;
    default: return -1;
    }
    const auto maxOffset = std::numeric_limits<std::int64_t>::max() - origin;
    if (std::int64_t(offset) > maxOffset)
        return -1;
    const auto target = origin + std::int64_t(offset);
    if (target < view->base)
        return -1;
    view->stream->setPosition(target);
    return off_t(view->stream->getPosition() - view->base);
}

/** libmpg123 wants one global initialisation (a no-op in recent versions). */
void InitialiseLibraryOnce()
{
    [[maybe_unused]] static const int result = mpg123_init();
}

} // namespace

MP3FrameDecoder::MP3FrameDecoder(InputStream& streamToRead)
{
    view.stream = &streamToRead;
    InitialiseLibraryOnce();
    int error = MPG123_OK;
    handle = mpg123_new(nullptr, &error);
    if (handle == nullptr)
        return;  // every call then reports an error, and the reader stays invalid
    // Float output at the stream's own rate, no gapless trimming; the length
    // of the stream is never probed from its end, so the frame count that
    // libmpg123 reports is the one an info frame declares.
    mpg123_param(handle, MPG123_FLAGS,
                 MPG123_FORCE_FLOAT | MPG123_QUIET | MPG123_NO_PEEK_END | MPG123_FORCE_SEEKABLE, 0.0);
    mpg123_format_none(handle);
    const long* rates = nullptr;
    size_t numRates = 0;
    mpg123_rates(&rates, &numRates);
    for (size_t i = 0; i < numRates; ++i)
        mpg123_format(handle, rates[i], MPG123_MONO | MPG123_STEREO, MPG123_ENC_FLOAT_32);
    if (mpg123_replace_reader_handle(handle, &ReadFromView, &SeekInView, nullptr) != MPG123_OK)
    {
        mpg123_delete(handle);
        handle = nullptr;
    }
}

MP3FrameDecoder::~MP3FrameDecoder()
{
    if (handle != nullptr)
    {
        mpg123_close(handle);
        mpg123_delete(handle);
    }
}

bool MP3FrameDecoder::restartAt(std::int64_t position, std::int64_t number)
{
    if (handle == nullptr)
        return false;
    view.base = position;
    view.stream->setPosition(position);
    // Opening closes the previous stream and resets every decoder buffer.
    if (mpg123_open_handle(handle, &view) != MPG123_OK)
        return false;
    frameNumber = number;
    reservoirBytes = 0;
    opened = true;
    needsRestart = false;
    return true;
}

void MP3FrameDecoder::readFrameFacts()
{
    long rate = 0;
    int channels = 0, encoding = 0;
    if (mpg123_getformat(handle, &rate, &channels, &encoding) == MPG123_OK)
    {
        sampleRate = rate;
        numChannels = channels;
    }
    samplesPerFrame = std::max(0, mpg123_spf(handle));
    mpg123_frameinfo2 info{};
    if (mpg123_info2(handle, &info) == MPG123_OK)
    {
        layer = info.layer;
        lowSamplingFrequency = info.version != MPG123_1_0;
    }
}

void MP3FrameDecoder::noteFrameRead()
{
    if (frameNumber % 4 == 0 && std::uint64_t(frameNumber / 4) == framePositions.size())
        framePositions.PushBack(view.base + std::int64_t(mpg123_framepos(handle)));
    ++frameNumber;
}

MP3FrameDecoder::Status MP3FrameDecoder::decodeFrame(float* left, float* right, std::uint32_t& numSamples)
{
    numSamples = 0;
    if (handle == nullptr || !opened || needsRestart)
        return Status::error;
    // Frame by frame, so that the frame's side information can be looked at
    // (and mended) between parsing and decoding.
    int result = mpg123_framebyframe_next(handle);
    if (result == MPG123_NEW_FORMAT)
        readFrameFacts();
    else if (result == MPG123_DONE)
        return Status::endOfStream;
    else if (result != MPG123_OK)
        return Status::error;

    unsigned long header = 0;
    unsigned char* body = nullptr;
    size_t bodyBytes = 0;
    if (mpg123_framedata(handle, &header, &body, &bodyBytes) != MPG123_OK)
        return Status::tryAgain;  // nothing pending to decode
    noteFrameRead();
    if (((header >> 17) & 3) == 1)  // Layer III
        guardBitReservoir(header, body, bodyBytes);

    off_t number = 0;
    unsigned char* audio = nullptr;
    size_t numBytes = 0;
    result = mpg123_framebyframe_decode(handle, &number, &audio, &numBytes);
    if (result != MPG123_OK)
        return Status::error;
    if (samplesPerFrame == 0 || numChannels < 1)
        readFrameFacts();
    if (audio == nullptr || numChannels < 1)
        return Status::frame;  // a frame without output: an empty block

    const auto channels = std::size_t(numChannels);
    const auto samples = std::min<std::size_t>(numBytes / (sizeof(float) * channels), maxSamplesPerFrame);
    for (std::size_t i = 0; i < samples; ++i)
    {
        std::memcpy(left + i, audio + (i * channels) * sizeof(float), sizeof(float));
        std::memcpy(right + i, audio + (i * channels + (channels > 1 ? 1 : 0)) * sizeof(float), sizeof(float));
    }
    numSamples = std::uint32_t(samples);
    return Status::frame;
}

void MP3FrameDecoder::guardBitReservoir(unsigned long header, unsigned char* body, std::size_t bodyBytes)
{
    // A Layer III frame takes up to 511 bytes (255 for MPEG-2 and 2.5) of
    // its data from before its own side information: the "bit reservoir".
    // libmpg123 keeps those bytes only as a chain, each frame copying the
    // span it reaches back over. After a restart the first frames reach back
    // to bytes never read; they are made silent frames that reach back over
    // exactly what is there, which keeps the chain growing until the frames
    // find all their bytes. (libmpg123 means to do the same by itself, but
    // for MPEG-2 it leaves such a frame half mended, and the frame then skips
    // its synthesis, shifting the rounding of every sample after it.) Frames
    // decoded since the stream's start always find their bytes.
    const bool lowSamplingFrequency = ((header >> 19) & 1) == 0;
    const bool mono = ((header >> 6) & 3) == 3;
    const std::size_t crcBytes = ((header >> 16) & 1) == 0 ? 2 : 0;
    const std::size_t sideBytes = lowSamplingFrequency ? (mono ? 9 : 17) : (mono ? 17 : 32);
    if (body == nullptr || bodyBytes < crcBytes + sideBytes)
        return;  // the decoder refuses such a frame by itself
    unsigned char* side = body + crcBytes;
    const std::size_t capacity = lowSamplingFrequency ? 255 : 511;
    const std::size_t available = std::min(capacity, reservoirBytes);
    std::size_t dataBegin = lowSamplingFrequency ? side[0] : (std::size_t(side[0]) << 1) | (side[1] >> 7);
    if (dataBegin > available)
    {
        std::memset(side, 0, sideBytes);
        if (lowSamplingFrequency)
            side[0] = std::uint8_t(available);
        else
        {
            side[0] = std::uint8_t(available >> 1);
            side[1] = std::uint8_t((available & 1) << 7);
        }
        dataBegin = available;
    }
    reservoirBytes = dataBegin + (bodyBytes - crcBytes - sideBytes);
}

MP3FrameDecoder::Status MP3FrameDecoder::skipFrame()
{
    if (handle == nullptr || !opened)
        return Status::error;
    const int result = mpg123_framebyframe_next(handle);
    if (result == MPG123_OK || result == MPG123_NEW_FORMAT)
    {
        // The parsed frame stays pending inside libmpg123: decoding must
        // restart before it goes on.
        needsRestart = true;
        noteFrameRead();
        return Status::frame;
    }
    return result == MPG123_DONE ? Status::endOfStream : Status::error;
}

std::int64_t MP3FrameDecoder::getDeclaredFrameCount() const
{
    if (handle == nullptr)
        return -1;
    // With the end never probed, libmpg123 answers the info frame's count
    // or else the number of frames read so far (1 after the first).
    const auto count = std::int64_t(mpg123_framelength(handle));
    return count > 1 ? count : -1;
}

} // namespace kel
