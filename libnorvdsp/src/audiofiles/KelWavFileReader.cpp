#include "audiofiles/KelWavFileReader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>

#include "audiofiles/KelBroadcastWave.h"
#include "audiofiles/KelFourCC.h"
#include "audiofiles/KelSoundExtent.h"
#include "common/KelException.h"
#include "files/KelFileReader.h"

namespace kel {

namespace {

using Guid = std::array<std::uint8_t, 16>;

// Wave64 chunk identifiers in file byte order.
constexpr Guid riffGuid = {0x72, 0x69, 0x66, 0x66, 0x2E, 0x91, 0xCF, 0x11,
                           0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00};
constexpr Guid listGuid = {0x6C, 0x69, 0x73, 0x74, 0x2F, 0x91, 0xCF, 0x11,
                           0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00};

/** The identifier of every other Wave64 chunk: its four characters and a
    fixed tail. */
constexpr Guid Wave64Guid(const char (&code)[5])
{
    return {std::uint8_t(code[0]), std::uint8_t(code[1]), std::uint8_t(code[2]), std::uint8_t(code[3]),
            0xF3, 0xAC, 0xD3, 0x11, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A};
}
constexpr Guid waveGuid = Wave64Guid("wave");
constexpr Guid fmtGuid = Wave64Guid("fmt ");
constexpr Guid dataGuid = Wave64Guid("data");
constexpr Guid factGuid = Wave64Guid("fact");
constexpr Guid bextGuid = Wave64Guid("bext");
constexpr Guid junkGuid = Wave64Guid("junk");

// Extensible sub-formats in file byte order.
constexpr Guid pcmSubFormat = {0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                               0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
constexpr Guid floatSubFormat = {0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                                 0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
constexpr Guid ambisonicPcmSubFormat = {0x01, 0x00, 0x00, 0x00, 0x21, 0x07, 0xD3, 0x11,
                                        0x86, 0x44, 0xC8, 0xC1, 0xCA, 0x00, 0x00, 0x00};

constexpr std::int64_t maxInt64 = std::numeric_limits<std::int64_t>::max();

// The most bytes of one metadata chunk ("axml", "cue ") held in memory, and
// the most channel allocation records (their count field is 16 bits): a size
// field gone wrong in a file of many gigabytes must not claim as much memory.
constexpr std::int64_t maxMetadataChunkBytes = std::int64_t(1) << 27;
constexpr std::int64_t maxChannelAllocationRecords = 65535;

Guid ReadGuid(InputStream& input)
{
    Guid guid{};
    input.Read(guid.data(), std::int64_t(guid.size()));
    return guid;
}

/** a + b for a >= 0, saturating instead of overflowing. */
std::int64_t AddClamped(std::int64_t a, std::uint64_t b)
{
    return b > std::uint64_t(maxInt64 - a) ? maxInt64 : a + std::int64_t(b);
}

/** A RIFF chunk's successor: chunks are padded to even length. */
std::int64_t NextRiffChunk(std::int64_t payloadStart, std::uint64_t size)
{
    return AddClamped(payloadStart, size + (size & 1));
}

/** A Wave64 payload rounded up to 8 bytes, the way the format's readers have
    always done it: in single-precision float, truncated to 32 bits. It rounds
    for payloads above 2^27 bytes and wraps from 4 GiB on; the result is taken
    as unsigned so that the walk can never step backwards. */
std::uint32_t Wave64PaddedSize(std::int64_t payloadSize)
{
    const float eighths = std::ceil(float(payloadSize) * 0.125f);
    return std::uint32_t(std::uint64_t(std::int64_t(eighths)) * 8u);
}

} // namespace

WavFileReader::WavFileReader(const File& fileToRead) : WavFileReader(std::make_unique<FileReader>(fileToRead), fileToRead)
{
}

WavFileReader::WavFileReader(ScopedPointer<InputStream> stream, const File& nameForMessages)
    : AudioFileReader(nameForMessages, std::move(stream))
{
    metadata.formatName = AudioFilesMetadata::wavFormatName;
    readHeader();
    if (!isValid())
        throwNotValid("WAV", KEL_HERE);
    settleLayout();
}

void WavFileReader::readHeader()
{
    metadata.isRF64 = false;
    metadata.isWave64 = false;
    const auto code = std::uint32_t(input->ReadInt32LittleEndian());
    if (code == FourCC("RF64"))
    {
        input->SkipNextBytes(4);
        metadata.isRF64 = true;
        walkRiffChunks(0);  // the end comes from "ds64"
    }
    else if (code == FourCC("RIFF"))
    {
        const auto riffSize = std::uint32_t(input->ReadInt32LittleEndian());
        // 0 is a placeholder (a writer that could not go back): the walk
        // goes on to the end of the file.
        walkRiffChunks(riffSize == 0 ? maxInt64 : input->getPosition() + std::int64_t(riffSize));
    }
    else if (code == FourCC("riff"))
    {
        walkWave64Chunks();
    }
    else if (code == FourCC("BW64"))
    {
        throw Exception("BW64 chunk is not handled", KEL_HERE);
    }
}

void WavFileReader::walkRiffChunks(std::int64_t end)
{
    if (std::uint32_t(input->ReadInt32LittleEndian()) != FourCC("WAVE"))
        return;
    if (metadata.isRF64)
    {
        // "ds64" must come first; whatever stands here is consumed.
        if (std::uint32_t(input->ReadInt32LittleEndian()) == FourCC("ds64"))
        {
            const auto size = std::uint32_t(input->ReadInt32LittleEndian());
            if (size < 28)
                return;
            const auto next = NextRiffChunk(input->getPosition(), size);
            const auto riffSize = std::uint64_t(input->ReadInt64LittleEndian());
            end = riffSize == 0 ? maxInt64 : AddClamped(8, riffSize);  // 0: a placeholder, as above
            ds64DataSize = std::uint64_t(input->ReadInt64LittleEndian());
            input->setPosition(next);
        }
    }

    while (input->getPosition() < end && !input->isExhausted())
    {
        const auto code = std::uint32_t(input->ReadInt32LittleEndian());
        const auto size = std::uint32_t(input->ReadInt32LittleEndian());
        const auto payloadStart = input->getPosition();
        auto next = NextRiffChunk(payloadStart, size);

        if (code == FourCC("fmt "))
        {
            readFormatChunk(size);
        }
        else if (code == FourCC("data"))
        {
            // An RF64 file keeps the size in "ds64". All ones is a streaming
            // placeholder, and so is 0 unless a chunk follows (then the
            // chunk is really empty; libsndfile takes 0 as a placeholder
            // only when the RIFF size is 8).
            const std::uint64_t field = metadata.isRF64 ? ds64DataSize : size;
            const std::uint64_t allOnes = metadata.isRF64 ? ~std::uint64_t(0) : 0xFFFFFFFFu;
            const bool placeholder = field == allOnes || (field == 0 && !riffChunkHeaderAt(payloadStart));
            const auto soundBytes = noteDataChunk(payloadStart, field, placeholder);
            // The "data" header of an RF64 file holds a placeholder; the size
            // from "ds64" finds the chunks that follow the sound. Sound that
            // runs to the end of the file is followed by nothing.
            if (placeholder || soundBytes < dataSize)
                next = maxInt64;
            else if (metadata.isRF64 && size == 0xFFFFFFFFu)
                next = NextRiffChunk(payloadStart, std::uint64_t(dataSize));
        }
        else if (code == FourCC("bext"))
        {
            readBroadcastWaveChunk(size);
        }
        else if (code == FourCC("smpl") || code == FourCC("inst") || code == FourCC("INST")
                 || code == FourCC("acid"))
        {
            // loop points and instrument data are not read
        }
        else if (code == FourCC("cue "))
        {
            readCueChunk(size);
        }
        else if (code == FourCC("LIST"))
        {
            // Read, no longer skipped: every editor writes its cue names
            // here, and without them a marker could only be found by ID.
            readListChunk(size);
        }
        else if (code == FourCC("axml"))
        {
            const auto bytes = input->ReadIntoMemory(std::min<std::int64_t>(size, maxMetadataChunkBytes));
            axmlText.assign(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        }
        else if (code == FourCC("chna"))
        {
            readChannelAllocation(size);
        }
        else if (next <= payloadStart)
        {
            break;  // a zero-length unknown chunk ends the walk
        }
        input->setPosition(next);
    }
    nameCuePoints();
}

void WavFileReader::walkWave64Chunks()
{
    std::array<std::uint8_t, 12> rest{};
    input->Read(rest.data(), std::int64_t(rest.size()));
    if (!std::equal(rest.begin(), rest.end(), riffGuid.begin() + 4))
        throw Exception("invalid riff chunk for w64", KEL_HERE);
    const auto riffSize = std::uint64_t(input->ReadInt64LittleEndian());
    // A size that cannot hold even the header is a placeholder (0 from a
    // writer to a pipe): the walk goes on to the end of the file.
    const auto end = riffSize < 40 ? maxInt64 : AddClamped(input->getPosition(), riffSize);
    if (ReadGuid(*input) != waveGuid)
        throw Exception("invalid wave chunk for w64", KEL_HERE);
    metadata.isWave64 = true;

    while (input->getPosition() < end && !input->isExhausted())
    {
        const auto guid = ReadGuid(*input);
        // The size counts the 24 bytes of identifier and size.
        const auto sizeField = std::uint64_t(input->ReadInt64LittleEndian());
        const auto payloadSize = std::int64_t(sizeField - 24u);
        const auto payloadStart = input->getPosition();
        auto next = AddClamped(payloadStart, Wave64PaddedSize(payloadSize));

        if (guid == fmtGuid)
        {
            readFormatChunk(payloadSize);
        }
        else if (guid == dataGuid)
        {
            // A size too small for the chunk's own header (0, or sox's 23
            // when it writes to a pipe) or all ones is a placeholder.
            const bool placeholder = sizeField < 24 || sizeField == ~std::uint64_t(0);
            const auto soundBytes = noteDataChunk(payloadStart, placeholder ? 0 : sizeField - 24u, placeholder);
            if (placeholder || soundBytes < dataSize)
                next = maxInt64;  // the sound runs to the end of the file
        }
        else if (guid == factGuid || guid == junkGuid || guid == listGuid)
            ;  // skipped
        else if (guid == bextGuid)
            readBroadcastWaveChunk(payloadSize);
        else if (next <= payloadStart)
            break;
        input->setPosition(next);
    }
}

void WavFileReader::readFormatChunk(std::int64_t size)
{
    const auto formatTag = std::uint16_t(input->ReadInt16LittleEndian());
    const auto channels = std::uint16_t(input->ReadInt16LittleEndian());
    const auto rate = std::uint32_t(input->ReadInt32LittleEndian());
    const auto bytesPerSecond = std::uint32_t(input->ReadInt32LittleEndian());
    input->SkipNextBytes(2);  // block alignment, not used
    const auto bits = input->ReadInt16LittleEndian();

    metadata.sampleRate = double(rate);
    metadata.numChannels = channels;
    metadata.usesFloatingPointData = false;
    ambisonicBFormat = false;
    std::int32_t bytesPerFrame = 0;
    if (bits < 0 || bits > 64)
    {
        // An impossible width: derive the frame size from the byte rate.
        bytesPerFrame = rate != 0 ? std::int32_t(std::min<std::uint32_t>(bytesPerSecond / rate, 0x7FFFFFFF)) : 0;
        metadata.bitsPerSample = channels != 0 ? std::uint32_t(std::int64_t(bytesPerFrame) * 8 / channels) : 0;
    }
    else
    {
        bytesPerFrame = std::int32_t(channels) * bits / 8;
        metadata.bitsPerSample = std::uint32_t(bits);
    }

    switch (formatTag)
    {
    case 1:  // PCM
        break;
    case 3:  // IEEE float
        metadata.usesFloatingPointData = true;
        break;
    // Compressed codings whose bytes are read as PCM of the declared width,
    // undecoded, as this reader always has.
    case 6: case 7: case 49: case 134: case 41229: case 22092: case 61868:
    case 26447: case 26448: case 26449: case 26479: case 26480: case 26481:
        break;
    case 65534:  // WAVE_FORMAT_EXTENSIBLE
        if (size >= 40)
        {
            input->SkipNextBytes(4);              // extension size, valid bits
            input->ReadInt32LittleEndian();       // channel mask, not used
            const auto subFormat = ReadGuid(*input);
            if (subFormat == floatSubFormat)
                metadata.usesFloatingPointData = true;
            else if (subFormat == ambisonicPcmSubFormat)
                ambisonicBFormat = true;
            else if (subFormat != pcmSubFormat)
                bytesPerFrame = 0;  // the ambisonic float sub-format among them
        }
        else
        {
            bytesPerFrame = 0;
        }
        break;
    default:
        bytesPerFrame = 0;
        break;
    }
    layout.bytesPerFrame = bytesPerFrame;
}

std::int64_t WavFileReader::noteDataChunk(std::int64_t payloadStart, std::uint64_t declaredSize, bool placeholder)
{
    layout.dataStart = payloadStart;
    // Keeps every byte position of the sound representable.
    dataSize = AddClamped(0, std::min<std::uint64_t>(declaredSize, std::uint64_t(maxInt64 - payloadStart)));
    const auto soundBytes = SoundBytesHeld(input->getTotalLength(), payloadStart, dataSize, placeholder);
    const auto bytesPerFrame = layout.bytesPerFrame;
    metadata.declaredLengthInSamples = bytesPerFrame >= 1 ? dataSize / bytesPerFrame : 0;
    metadata.lengthInSamples = bytesPerFrame >= 1 ? soundBytes / bytesPerFrame : 0;
    return soundBytes;
}

bool WavFileReader::riffChunkHeaderAt(std::int64_t position)
{
    const auto saved = input->getPosition();
    std::array<std::uint8_t, 8> header{};
    input->setPosition(position);
    const bool complete = input->Read(header.data(), std::int64_t(header.size())) == std::int64_t(header.size());
    input->setPosition(saved);
    if (!complete)
        return false;
    const bool printable = std::all_of(header.begin(), header.begin() + 4,
                                       [](std::uint8_t c) { return c >= 0x20 && c <= 0x7E; });
    const auto size = std::uint32_t(header[4]) | (std::uint32_t(header[5]) << 8) | (std::uint32_t(header[6]) << 16)
                    | (std::uint32_t(header[7]) << 24);
    return printable && std::int64_t(size) <= input->getTotalLength() - position - 8;
}

void WavFileReader::readBroadcastWaveChunk(std::int64_t size)
{
    metadata.bwfKeys.Clear();
    metadata.bwfValues.Clear();
    DecodeBroadcastWaveChunk(*input, size, metadata.sampleRate, metadata.bwfKeys, metadata.bwfValues);
    metadata.hasBwfChunk = !metadata.bwfKeys.empty();
}

void WavFileReader::readCueChunk(std::int64_t size)
{
    cueMetadata.clear();
    // Only the bytes really present are read, so a size field claiming
    // gigabytes yields the records that are there and no more.
    const auto bytes = input->ReadIntoMemory(std::min<std::int64_t>(size, maxMetadataChunkBytes));
    const auto field = [&bytes](std::size_t offset) {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < 4; ++i)
            if (offset + i < bytes.size())
                value |= std::uint32_t(bytes[offset + i]) << (8 * i);
        return value;
    };
    const std::uint32_t count = field(0);
    for (std::uint32_t i = 0; i < count; ++i)
    {
        const auto recordEnd = 4 + (std::int64_t(i) + 1) * 24;
        if (recordEnd > size || recordEnd > std::int64_t(bytes.size()))
            break;
        const std::size_t record = std::size_t(recordEnd - 24);
        const auto identifier = field(record);
        const auto prefix = "Cue" + ToString(i);
        if (i == 0)
            cueMetadata["NumCuePoints"] = ToString(count);
        cueMetadata[prefix + "Identifier"] = ToString(identifier);
        cueMetadata[prefix + "Order"] = ToString(field(record + 4));
        cueMetadata[prefix + "ChunkID"] = ToString(field(record + 8));
        cueMetadata[prefix + "ChunkStart"] = ToString(field(record + 12));
        cueMetadata[prefix + "BlockStart"] = ToString(field(record + 16));
        cueMetadata[prefix + "Offset"] = ToString(field(record + 20));
        const auto markerIdentifier = std::int32_t(identifier & 0xFFFFu);
        metadata.AddMarker(markerIdentifier, std::int32_t(field(record + 20)), ToString(markerIdentifier));
        cueIdentifiers.PushBack(identifier);
    }
}

void WavFileReader::readListChunk(std::int64_t size)
{
    if (size < 4 || std::uint32_t(input->ReadInt32LittleEndian()) != FourCC("adtl"))
        return;  // "INFO" and the other lists hold no cue names
    // Only the bytes really present, as for "cue ".
    const auto records = input->ReadIntoMemory(std::min<std::int64_t>(size - 4, maxMetadataChunkBytes));
    ReadCueLabels(records.data(), records.size(), cueLabels);
}

void WavFileReader::nameCuePoints()
{
    // After the walk: "LIST" may come before or after "cue ".
    for (std::size_t i = 0; i < cueIdentifiers.size() && i < metadata.markers.size(); ++i)
        if (const auto found = cueLabels.find(cueIdentifiers[i]); found != cueLabels.end())
            metadata.markers[i]->label = found->second;
}

void WavFileReader::readChannelAllocation(std::int64_t size)
{
    chna = {};
    chna.numTracks = std::uint16_t(input->ReadInt16LittleEndian());
    chna.numUIDs = std::uint16_t(input->ReadInt16LittleEndian());
    const auto numRecords = std::min((size - 4) / 40, maxChannelAllocationRecords);
    const auto text = [this](int width) {
        std::array<char, 16> bytes{};
        input->Read(bytes.data(), width);
        return String(bytes.data(), std::size_t(width));
    };
    for (std::int64_t i = 0; i < numRecords && !input->isExhausted(); ++i)
    {
        chna.trackIndices.PushBack(std::uint16_t(input->ReadInt16LittleEndian()));
        chna.uids.PushBack(text(12));
        chna.trackFormatRefs.PushBack(text(14));
        chna.packFormatRefs.PushBack(text(11));
        input->SkipNextBytes(1);
    }
}

void WavFileReader::settleLayout()
{
    layout.convert = ChooseFrameConverter(metadata.bitsPerSample, metadata.usesFloatingPointData,
                                          SampleByteOrder::littleEndian, EightBitSamples::unsignedOffset);
    // A layout that is not read needs no scratch (and its frame size may be
    // anything a broken header says).
    if (layout.convert != nullptr)
        prepareScratch(scratch, layout.bytesPerFrame);
}

bool WavFileReader::readSamples(float* const* destinations, std::int64_t numFrames, std::int64_t startFrame)
{
    return readInterleavedSamples(destinations, numFrames, startFrame, layout, scratch);
}

} // namespace kel
