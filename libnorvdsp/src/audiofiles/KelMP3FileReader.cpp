#include "audiofiles/KelMP3FileReader.h"

#include <algorithm>
#include <cstring>

#include "audiofiles/KelFourCC.h"
#include "common/KelException.h"
#include "files/KelFileReader.h"

namespace kel {

MP3FileReader::MP3FileReader(const File& fileToRead)
    : MP3FileReader(std::make_unique<FileReader>(fileToRead), fileToRead)
{
}

MP3FileReader::MP3FileReader(ScopedPointer<InputStream> stream, const File& nameForMessages)
    : AudioFileReader(nameForMessages, std::move(stream))
{
    metadata.formatName = AudioFilesMetadata::mp3FormatName;
    decoder = std::make_unique<MP3FrameDecoder>(*input);
    skipId3v2Tag();

    if (decoder->restartAt(input->getPosition(), 0) && decodeNextBlock() && !pastEnd
        && decoder->getSampleRate() > 0 && decoder->getSamplesPerFrame() > 0)
    {
        samplesPerFrame = decoder->getSamplesPerFrame();
        metadata.bitsPerSample = 32;
        metadata.usesFloatingPointData = true;
        metadata.sampleRate = double(decoder->getSampleRate());
        metadata.numChannels = std::uint32_t(std::clamp(decoder->getNumChannels(), 0, 2));
        currentReadPosition = 0;  // the first frame is decoded already

        auto frames = decoder->getDeclaredFrameCount();
        declaredLength = frames >= 0;
        if (!declaredLength)
            frames = countFrames();
        metadata.lengthInSamples = frames * samplesPerFrame;
    }
    if (!isValid())
        throwNotValid("MP3", KEL_HERE);
}

MP3FileReader::~MP3FileReader() = default;

void MP3FileReader::skipId3v2Tag()
{
    const auto start = input->getPosition();
    const auto magic = std::uint32_t(input->ReadInt32LittleEndian());
    if ((magic & 0xFFFFFFu) == (FourCC("ID3 ") & 0xFFFFFFu))
    {
        std::uint8_t header[6] = {};  // revision, flags, four size bytes
        input->Read(header, 6);
        const bool synchsafe = ((header[2] | header[3] | header[4] | header[5]) & 0x80) == 0;
        if (header[0] != 255 && synchsafe)
        {
            const auto size = (std::int64_t(header[2]) << 21) | (std::int64_t(header[3]) << 14)
                            | (std::int64_t(header[4]) << 7) | std::int64_t(header[5]);
            input->setPosition(start + 10 + size);
            return;
        }
    }
    // No tag, or one whose size cannot be trusted: the decoder starts at the
    // beginning and finds its way through.
    input->setPosition(start);
}

std::int64_t MP3FileReader::countFrames()
{
    // Read through once without synthesis; the index fills on the way.
    const auto& positions = decoder->getFramePositions();
    if (positions.empty() || !decoder->restartAt(positions[0], 0))
        return 0;
    for (;;)
    {
        const auto status = decoder->skipFrame();
        if (status != MP3FrameDecoder::Status::frame)
            break;
    }
    knownFrameCount = decoder->getFrameNumber();
    currentReadPosition = -1;  // the decoder stands at the end now
    return knownFrameCount;
}

void MP3FileReader::makeSilence()
{
    for (auto& channel : decodedSamples)
        channel.fill(0.0f);
    decodedStart = 0;
    decodedEnd = std::uint32_t(samplesPerFrame > 0 ? samplesPerFrame : int(MP3FrameDecoder::maxSamplesPerFrame));
}

bool MP3FileReader::decodeNextBlock()
{
    if (pastEnd)
    {
        makeSilence();
        return true;
    }
    for (int attempt = 0; attempt < 10; ++attempt)
    {
        std::uint32_t numSamples = 0;
        switch (decoder->decodeFrame(decodedSamples[0].data(), decodedSamples[1].data(), numSamples))
        {
        case MP3FrameDecoder::Status::frame:
            decodedStart = 0;
            decodedEnd = numSamples;
            return true;
        case MP3FrameDecoder::Status::endOfStream:
            // The end of the file yields silence from here on.
            pastEnd = true;
            if (knownFrameCount < 0)
                knownFrameCount = decoder->getFrameNumber();
            makeSilence();
            return true;
        case MP3FrameDecoder::Status::error:
            decodedStart = decodedEnd = 0;
            return false;
        case MP3FrameDecoder::Status::tryAgain:
            break;
        }
    }
    return false;
}

void MP3FileReader::extendIndexTo(std::size_t entry)
{
    const auto& positions = decoder->getFramePositions();
    if (positions.empty())
        return;
    while (positions.size() <= entry && knownFrameCount < 0)
    {
        // Go on from the last indexed frame unless the decoder is beyond it.
        const auto last = positions.size() - 1;
        const auto frame = decoder->getFrameNumber();
        if (!(frame > std::int64_t(last) * 4 && frame <= std::int64_t(positions.size()) * 4))
            if (!decoder->restartAt(positions[last], std::int64_t(last) * 4))
                return;
        const auto status = decoder->skipFrame();
        if (status == MP3FrameDecoder::Status::endOfStream)
            knownFrameCount = decoder->getFrameNumber();
        else if (status == MP3FrameDecoder::Status::error)
            return;
    }
}

std::size_t MP3FileReader::chooseRestartEntry(std::int64_t targetFrame) const
{
    // A frame's samples depend on the decoder state the frames before it
    // left: the last one (two for Layer I and for the single-granule MPEG-2
    // Layer III frames) must decode exactly, and for Layer III its bit
    // reservoir, up to 511 bytes (255 for MPEG-2), must have been read after
    // the restart. Counting only whole indexed stretches, less the most
    // header and side information a frame can take, errs on the safe side.
    const int layer = decoder->getLayer();
    const bool lowRate = decoder->isLowSamplingFrequency();
    const std::int64_t framesOfState = (layer == 1 || (layer == 3 && lowRate)) ? 2 : 1;
    const std::int64_t reservoirBytes = layer == 3 ? (lowRate ? 255 : 511) : 0;
    const std::int64_t overheadPerFrame = 4 + 2 + (lowRate ? 17 : 32);

    const auto& positions = decoder->getFramePositions();
    const auto lastFrameBeforeState = targetFrame - framesOfState;
    if (lastFrameBeforeState < 0 || positions.empty())
        return 0;
    // libmpg123's synthesis keeps a ring of 16 windows whose phase moves on
    // by one for every 32 samples and starts afresh on a restart. Restarting
    // only at frames whose first sample is a multiple of 512, where an
    // uninterrupted decode has the same phase, makes its sums run in the same
    // order, so the samples come out bit for bit the same.
    const auto inPhase = [this](std::size_t e) { return (std::int64_t(e) * 4 * samplesPerFrame) % 512 == 0; };
    const auto last = std::min<std::size_t>(positions.size() - 1, std::size_t(lastFrameBeforeState / 4));
    for (auto e = last + 1; e-- > 0;)
    {
        const auto bytes = positions[last] - positions[e] - std::int64_t(last - e) * 4 * overheadPerFrame;
        if (bytes >= reservoirBytes && inPhase(e))
            return e;
    }
    return 0;
}

void MP3FileReader::seekTo(std::int64_t sample)
{
    currentReadPosition = sample;
    const auto targetFrame = sample / samplesPerFrame;
    extendIndexTo(std::size_t(std::max<std::int64_t>(targetFrame - 1, 0) / 4));
    const auto& positions = decoder->getFramePositions();
    if ((knownFrameCount >= 0 && targetFrame >= knownFrameCount) || positions.empty())
    {
        pastEnd = true;
        makeSilence();
        return;
    }

    const auto entry = chooseRestartEntry(targetFrame);
    pastEnd = false;
    if (!decoder->restartAt(positions[entry], std::int64_t(entry) * 4))
    {
        currentReadPosition = -1;
        makeSilence();
        return;
    }
    // Decode and discard up to the frame that holds the sample.
    while (decoder->getFrameNumber() <= targetFrame)
    {
        if (!decodeNextBlock())
        {
            currentReadPosition = -1;
            makeSilence();
            return;
        }
        if (pastEnd)
            return;
        const auto blockStart = (decoder->getFrameNumber() - 1) * samplesPerFrame;
        if (sample < blockStart + std::int64_t(decodedEnd))
        {
            decodedStart = std::uint32_t(std::max<std::int64_t>(0, sample - blockStart));
            return;
        }
    }
    decodedStart = decodedEnd;  // the frames fell short: decode on from here
}

bool MP3FileReader::readSamples(float* const* destinations, std::int64_t numFrames, std::int64_t startFrame)
{
    if (decoder == nullptr)
        return false;
    if (numFrames <= 0)
        return true;
    std::uint32_t numDestinations = 0;
    while (destinations[numDestinations] != nullptr)
        ++numDestinations;

    std::int64_t lead = 0;
    if (startFrame < 0)
    {
        lead = startFrame < -numFrames ? numFrames : -startFrame;
        startFrame = 0;
    }
    const auto length = metadata.lengthInSamples;
    const auto available = startFrame < length ? std::min(length - startFrame, numFrames - lead) : std::int64_t(0);

    std::int64_t done = 0;
    if (available > 0)
    {
        if (startFrame != currentReadPosition)
            seekTo(startFrame);
        bool failed = false;
        while (done < available)
        {
            if (decodedStart >= decodedEnd && !decodeNextBlock())
            {
                failed = true;
                break;
            }
            const auto n = std::min<std::int64_t>(decodedEnd - decodedStart, available - done);
            for (std::uint32_t c = 0; c < numDestinations; ++c)
            {
                auto* out = destinations[c] + lead + done;
                if (c < metadata.numChannels)
                    std::memcpy(out, decodedSamples[c].data() + decodedStart, std::size_t(n) * sizeof(float));
                else
                    std::fill_n(out, n, 0.0f);
            }
            decodedStart += std::uint32_t(n);
            done += n;
        }
        currentReadPosition = failed ? -1 : startFrame + done;
    }

    for (std::uint32_t c = 0; c < numDestinations; ++c)
    {
        std::fill_n(destinations[c], lead, 0.0f);
        std::fill_n(destinations[c] + lead + done, numFrames - lead - done, 0.0f);
    }
    return true;
}

} // namespace kel
