#include "audiofiles/KelAudioFileReader.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "audiofiles/KelAiffFileReader.h"
#include "audiofiles/KelFourCC.h"
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
        || std::uint64_t(numFrames) > bufferLength - std::uint64_t(startIndexInBuffer)
        || metadata.numChannels > buffer.getNumChannels())
        return false;

    const auto numChannels = metadata.numChannels;
    buffer.setClear(false);
    channelPointers.Resize(std::size_t(numChannels) + 1);
    for (std::uint32_t c = 0; c < numChannels; ++c)
        channelPointers[c] = reinterpret_cast<std::int32_t*>(buffer.getWritePointer(c) + startIndexInBuffer);
    channelPointers[numChannels] = nullptr;

    auto* const* destinations = reinterpret_cast<SampleWord* const*>(channelPointers.data());
    if (metadata.usesFloatingPointData)
    {
        if (readSamples(destinations, numFrames, startFrameInFile))
            return true;
        if (unreadFrames.empty())
            noteUnreadFrames(startFrameInFile, startFrameInFile + numFrames - 1);
        return false;
    }

    // Integers become floats in place. Done piece by piece, about 64 KB of
    // samples at a time, each piece is converted while it is still in the
    // cache instead of after the whole block has been written out.
    const auto pieceFrames = std::max<std::int64_t>(16, (std::int64_t(1) << 14) / std::max(1u, numChannels));
    piecePointers.Resize(std::size_t(numChannels) + 1);
    piecePointers[numChannels] = nullptr;
    auto* const* piece = reinterpret_cast<SampleWord* const*>(piecePointers.data());
    UnreadFrames missed;
    for (std::int64_t done = 0; done < numFrames; done += pieceFrames)
    {
        const auto n = std::min(pieceFrames, numFrames - done);
        for (std::uint32_t c = 0; c < numChannels; ++c)
            piecePointers[c] = channelPointers[c] + done;
        // Saturating: a start near the largest frame index reads silence.
        const auto start = startFrameInFile > std::numeric_limits<std::int64_t>::max() - done
                               ? std::numeric_limits<std::int64_t>::max()
                               : startFrameInFile + done;
        // A piece that fails still converts: its missed frames are zero,
        // silence as an integer and as a float alike. The pieces after it
        // are read too, so that the whole range is written and the missed
        // frames are known to its end.
        if (!readSamples(piece, n, start))
        {
            if (unreadFrames.empty())
                noteUnreadFrames(start, start + n - 1);
            if (missed.empty())
                missed.first = unreadFrames.first;
            missed.last = unreadFrames.last;
            unreadFrames = {};
        }
        for (std::uint32_t c = 0; c < numChannels; ++c)
            ConvertIntegersToFloats(piece[c], n);
    }
    unreadFrames = missed;
    return missed.empty();
}

void AudioFileReader::prepareScratch(MemoryBlock& scratch, std::int32_t bytesPerFrame)
{
    // Large enough that the stream reads straight into it, past its own
    // buffer, and that the conversion runs long; at least one frame.
    constexpr std::int32_t scratchBytes = 1 << 16;
    scratch.Resize(std::size_t(std::max(scratchBytes, bytesPerFrame)));
}

bool AudioFileReader::readInterleavedSamples(SampleWord* const* destinations, std::int64_t numFrames,
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
    // A header that promises more frames than the stream held when it was
    // opened reads as silence beyond them, as past its length; a short read
    // of frames the stream did hold means the file shrank or the disk failed.
    auto length = metadata.lengthInSamples;
    if (const auto held = input != nullptr ? input->getTotalLength() : 0; held > 0 && bytesPerFrame > 0)
        length = std::min(length, std::max<std::int64_t>(0, held - layout.dataStart) / bytesPerFrame);
    std::int64_t toRead = 0;
    if (startFrame < length && bytesPerFrame > 0)
        toRead = std::min(length - startFrame, numFrames - lead);

    bool complete = true;
    if (toRead > 0 && layout.convert != nullptr && numFileChannels > 0)
    {
        input->setPosition(layout.dataStart + std::int64_t(bytesPerFrame) * startFrame);
        const std::int64_t framesPerChunk = std::int64_t(scratch.size()) / bytesPerFrame;
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
            std::memset(d, 0, std::size_t(lead) * sizeof(SampleWord));
            std::memset(d + lead + toRead, 0, std::size_t(numFrames - lead - toRead) * sizeof(SampleWord));
        }
        else
        {
            std::memset(d, 0, std::size_t(numFrames) * sizeof(SampleWord));
        }
    }
    return complete;
}

String AudioFileReader::detectFormatName(const File& file)
{
    FileReader reader(file);
    if (!reader.openedOk())
        return AudioFilesMetadata::unknownFormatName;
    const auto magic = std::uint32_t(reader.ReadInt32LittleEndian());
    if (magic == FourCC("FORM"))
        return AudioFilesMetadata::aiffFormatName;
    if (magic == FourCC("RIFF") || magic == FourCC("RF64") || magic == FourCC("BW64"))
        return AudioFilesMetadata::wavFormatName;

    const auto extension = ToLowerAscii(file.getFileExtension());
    if (extension == ".aiff" || extension == ".aif")
        return AudioFilesMetadata::aiffFormatName;
    if (extension == ".wav" || extension == ".w64" || extension == ".bwf" || extension == ".bw64"
        || extension == ".amb" || extension == ".uhj")
        return AudioFilesMetadata::wavFormatName;
    if (extension == ".mp3")
        return AudioFilesMetadata::mp3FormatName;
    return AudioFilesMetadata::unknownFormatName;
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

ScopedPointer<AudioFileReader> AudioFileReader::CreateReaderFor(const File& file)
{
    if (file.getFullPathName().empty())
        return {};
    if (!file.exists())
        throw exceptions::NoSuchFile(file, KEL_HERE);

    // Each test is repeated right before its reader is built, so the file is
    // probed twice: a file swapped in between is not handed to a reader made
    // for the one seen first.
    ScopedPointer<AudioFileReader> reader;
    if (isAiffFile(file))
    {
        if (isAiffFile(file))
            reader = std::make_unique<AiffFileReader>(file);
    }
    else if (isWavFile(file))
    {
        if (isWavFile(file))
            reader = std::make_unique<WavFileReader>(file);
    }
    else if (isMp3File(file))
    {
        if (isMp3File(file))
            reader = std::make_unique<MP3FileReader>(file);
    }
    if (reader == nullptr || !reader->isValid())
        throw Exception("File " + Quoted(file.getFullPathName()) + " is not a valid audio file.", KEL_HERE);
    return reader;
}

} // namespace kel
