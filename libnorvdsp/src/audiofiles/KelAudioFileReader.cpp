#include "audiofiles/KelAudioFileReader.h"

#include <algorithm>

#include "audiofiles/KelAiffFileReader.h"
#include "audiofiles/KelAudioFormatDetection.h"
#include "audiofiles/KelMP3FileReader.h"
#include "audiofiles/KelWavFileReader.h"
#include "common/KelException.h"
#include "files/KelFileReader.h"

namespace kel {

AudioFilesManager::~AudioFilesManager() = default;

AudioFileReader::AudioFileReader(const File& fileToRead, ScopedPointer<InputStream> stream)
    : file(fileToRead), input(std::move(stream))
{
}

AudioFileReader::~AudioFileReader() = default;

bool AudioFileReader::isValid() const noexcept
{
    return metadata.formatName != AudioFilesMetadata::unknownFormatName && metadata.sampleRate > 0.0
        && metadata.bitsPerSample != 0 && metadata.numChannels != 0;
}

String AudioFileReader::NonFiniteSamplesWarning(const String& path)
{
    return "non-finite samples replaced by silence in " + Quoted(path);
}

void AudioFileReader::throwNotValid(const char* kind, SourceLocation where) const
{
    throw Exception("file " + Quoted(file.getFullPathName()) + " is not a valid " + kind + " file", std::move(where));
}

bool AudioFileReader::isUnchangedOnDisk() const
{
    const auto* stream = dynamic_cast<const FileReader*>(input.get());
    return stream == nullptr || stream->isUnchangedOnDisk();
}

bool AudioFileReader::read(AudioBufferBase<float>& buffer, std::int64_t startIndexInBuffer, std::int64_t numFrames,
                           std::int64_t startFrameInFile)
{
    unreadFrames = {};
    if (numFrames == 0)
        return true;
    const auto bufferLength = buffer.getNumSamples();
    if (numFrames < 0 || startIndexInBuffer < 0 || std::uint64_t(startIndexInBuffer) > bufferLength
        || std::uint64_t(numFrames) > bufferLength - std::uint64_t(startIndexInBuffer))
        return false;

    const auto numChannels = std::min(metadata.numChannels, buffer.getNumChannels());
    buffer.setClear(false);
    channelPointers.Resize(std::size_t(numChannels) + 1);
    for (std::uint32_t c = 0; c < numChannels; ++c)
        channelPointers[c] = buffer.getWritePointer(c) + startIndexInBuffer;
    channelPointers[numChannels] = nullptr;

    if (readSamples(channelPointers.data(), numFrames, startFrameInFile))
        return true;
    if (unreadFrames.empty())
        noteUnreadFrames(startFrameInFile, startFrameInFile + numFrames - 1);
    return false;
}

void AudioFileReader::prepareScratch(MemoryBlock& scratch, std::int32_t bytesPerFrame)
{
    // Large enough that the stream reads straight into it, past its own
    // buffer, and that the conversion runs long; at least one frame.
    constexpr std::int32_t scratchBytes = 1 << 16;
    scratch.Resize(std::size_t(std::max(scratchBytes, bytesPerFrame)));
}

bool AudioFileReader::readInterleavedSamples(float* const* destinations, std::int64_t numFrames,
                                             std::int64_t startFrame, const InterleavedLayout& layout,
                                             MemoryBlock& scratch)
{
    if (numFrames <= 0)
        return true;
    std::uint32_t numDestinations = 0;
    while (destinations[numDestinations] != nullptr)
        ++numDestinations;
    const std::uint32_t numFileChannels = std::min(numDestinations, metadata.numChannels);

    // Frames before the file's start are silence.
    std::int64_t lead = 0;
    if (startFrame < 0)
    {
        lead = startFrame < -numFrames ? numFrames : -startFrame;
        startFrame = 0;
    }
    const auto bytesPerFrame = layout.bytesPerFrame;
    // The length is what the stream held when the header was read, so a
    // short read means the file shrank or the disk failed.
    const auto length = metadata.lengthInSamples;
    std::int64_t toRead = 0;
    if (startFrame < length && bytesPerFrame > 0)
        toRead = std::min(length - startFrame, numFrames - lead);

    bool complete = true;
    if (toRead > 0 && layout.convert != nullptr && numFileChannels > 0)
    {
        input->setPosition(layout.dataStart + std::int64_t(bytesPerFrame) * startFrame);
        // Chunks of equal size: a last chunk of a few frames would go through
        // the stream's small-read buffer, which would read ahead and hand the
        // next read its bytes by one more copy.
        const std::int64_t scratchFrames = std::int64_t(scratch.size()) / bytesPerFrame;
        const std::int64_t numChunks = (toRead + scratchFrames - 1) / scratchFrames;
        const std::int64_t framesPerChunk = (toRead + numChunks - 1) / numChunks;
        for (std::int64_t done = 0; done < toRead;)
        {
            const auto chunkFrames = std::min(framesPerChunk, toRead - done);
            const auto chunkBytes = chunkFrames * bytesPerFrame;
            const auto got = std::max<std::int64_t>(0, input->Read(scratch.data(), chunkBytes));
            if (got < chunkBytes)
            {
                // The file no longer holds what its header promised: keep the
                // whole frames that came, say which ones did not, and let the
                // rest be silent like the frames past the end.
                const auto gotFrames = got / bytesPerFrame;
                if (layout.convert(scratch.data(), bytesPerFrame, std::int32_t(gotFrames), destinations,
                                   numFileChannels, lead + done))
                    nonFiniteReplaced.store(true, std::memory_order_relaxed);
                noteUnreadFrames(startFrame + done + gotFrames, startFrame + toRead - 1);
                toRead = done + gotFrames;
                complete = false;
                break;
            }
            if (layout.convert(scratch.data(), bytesPerFrame, std::int32_t(chunkFrames), destinations,
                               numFileChannels, lead + done))
                nonFiniteReplaced.store(true, std::memory_order_relaxed);
            done += chunkFrames;
        }
    }

    for (std::uint32_t c = 0; c < numDestinations; ++c)
    {
        auto* d = destinations[c];
        if (c < numFileChannels)
        {
            std::fill_n(d, lead, 0.0f);
            std::fill_n(d + lead + toRead, numFrames - lead - toRead, 0.0f);
        }
        else
        {
            std::fill_n(d, numFrames, 0.0f);
        }
    }
    return complete;
}

String AudioFileReader::detectFormatName(const File& file)
{
    FileReader reader(file);
    if (!reader.openedOk())
        return AudioFilesMetadata::unknownFormatName;
    return DetectAudioFormat(reader, file);
}

bool AudioFileReader::isAiffFile(const File& file)
{
    return detectFormatName(file) == AudioFilesMetadata::aiffFormatName;
}
bool AudioFileReader::isWavFile(const File& file)
{
    return detectFormatName(file) == AudioFilesMetadata::wavFormatName;
}
bool AudioFileReader::isMp3File(const File& file)
{
    return detectFormatName(file) == AudioFilesMetadata::mp3FormatName;
}

namespace {

/** Says why a file did not open, in the words a user can act on. */
[[noreturn]] void ThrowOpenFailure(const FileReader& stream, const File& file)
{
    const String& path = file.getFullPathName();
    switch (stream.getOpenFailure())
    {
        case OpenFailure::noSuchFile:
            throw exceptions::NoSuchFile(file, KEL_HERE);
        case OpenFailure::permissionDenied:
            throw Exception("permission denied: " + path, KEL_HERE);
        case OpenFailure::notRegularFile:
            throw Exception("not a regular file: " + path, KEL_HERE);
        case OpenFailure::none:
        case OpenFailure::other:
            break;
    }
    throw Exception("could not open " + path + ": " + stream.getOpenFailureDetail(), KEL_HERE);
}

} // namespace

ScopedPointer<AudioFileReader> AudioFileReader::CreateReaderFor(const File& file)
{
    if (file.getFullPathName().empty())
        return {};
    // Opened once: what is recognised is what the reader reads, even when
    // the file is replaced by another meanwhile.
    auto stream = std::make_unique<FileReader>(file);
    if (!stream->openedOk())
        ThrowOpenFailure(*stream, file);
    if (stream->getTotalLength() == 0)
        throw Exception("empty file: " + file.getFullPathName(), KEL_HERE);

    const String format = DetectAudioFormat(*stream, file);
    stream->setPosition(0);
    ScopedPointer<AudioFileReader> reader;
    if (format == AudioFilesMetadata::aiffFormatName)
        reader = std::make_unique<AiffFileReader>(std::move(stream), file);
    else if (format == AudioFilesMetadata::wavFormatName)
        reader = std::make_unique<WavFileReader>(std::move(stream), file);
    else if (format == AudioFilesMetadata::mp3FormatName)
        reader = std::make_unique<MP3FileReader>(std::move(stream), file);
    if (reader == nullptr || !reader->isValid())
        throw Exception("File " + Quoted(file.getFullPathName()) + " is not a valid audio file.", KEL_HERE);
    return reader;
}

String AudioFileReader::getLengthWarning() const
{
    const auto declared = getDeclaredLengthInSamples();
    if (declared == metadata.lengthInSamples)
        return {};
    return "header of " + Quoted(file.getFullPathName()) + " declares " + ToString(declared)
         + " frames, the file holds " + ToString(metadata.lengthInSamples);
}

} // namespace kel
