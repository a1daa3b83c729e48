#include "audiofiles/KelAiffFileReader.h"

#include <algorithm>
#include <array>
#include <limits>

#include "audiofiles/KelFourCC.h"
#include "common/KelException.h"
#include "files/KelFileReader.h"

namespace kel {

AiffFileReader::AiffFileReader(const File& fileToRead)
    : AiffFileReader(std::make_unique<FileReader>(fileToRead), fileToRead)
{
}

AiffFileReader::AiffFileReader(ScopedPointer<InputStream> stream, const File& nameForMessages)
    : AudioFileReader(nameForMessages, std::move(stream))
{
    metadata.formatName = AudioFilesMetadata::aiffFormatName;
    readHeader();
    if (!isValid())
        throwNotValid("AIFF", KEL_HERE);

    // AIFF's 8-bit data is signed, unlike WAV's. Floats are read only as
    // 32-bit big-endian ("fl32").
    const bool isFloat = metadata.usesFloatingPointData;
    if (!isFloat || metadata.bitsPerSample == 32)
        layout.convert = ChooseFrameConverter(metadata.bitsPerSample, isFloat,
                                              littleEndian ? SampleByteOrder::littleEndian : SampleByteOrder::bigEndian,
                                              EightBitSamples::signedTwos);
    if (layout.convert != nullptr)
        prepareScratch(scratch, layout.bytesPerFrame);
}

void AiffFileReader::readHeader()
{
    if (std::uint32_t(input->ReadInt32BigEndian()) != FourCCBigEndian("FORM"))
        return;
    const auto formSize = std::uint32_t(input->ReadInt32BigEndian());
    // 0 is a placeholder (a writer to a pipe): the walk goes on to the end.
    const auto end = formSize == 0 ? std::numeric_limits<std::int64_t>::max()
                                   : input->getPosition() + std::int64_t(formSize);
    const auto formType = std::uint32_t(input->ReadInt32BigEndian());
    if (formType != FourCCBigEndian("AIFF") && formType != FourCCBigEndian("AIFC"))
        return;

    bool seenVersion = false, seenSound = false, seenCommon = false;
    while (input->getPosition() < end)
    {
        const auto code = std::uint32_t(input->ReadInt32BigEndian());
        const auto size = input->ReadInt32BigEndian();
        const auto payloadStart = input->getPosition();
        auto next = payloadStart + size;
        // A negative size would step backwards and could cycle for ever (the
        // sound chunk's all ones is a placeholder, taken care of there).
        if (next < payloadStart && code != FourCCBigEndian("SSND"))
            break;

        if (code == FourCCBigEndian("FVER"))
        {
            seenVersion = true;
            const auto version = std::uint32_t(input->ReadInt32BigEndian());
            if (version != 0 && version != 0xA2805140u)
                break;
        }
        else if (code == FourCCBigEndian("COMM"))
        {
            seenCommon = true;
            if (!readCommonChunk(size))
                break;
        }
        else if (code == FourCCBigEndian("SSND"))
        {
            seenSound = true;
            // Sound that runs to the end of the file is followed by nothing.
            if (!noteSoundChunk(payloadStart, std::uint32_t(size)))
                break;
        }
        else
        {
            if (seenVersion && seenSound && seenCommon)
                break;  // an AIFF-C file needs nothing more
            if (input->isExhausted())
                break;
            if (code == FourCCBigEndian("MARK"))
                readMarkerChunk();
        }
        if ((next & 1) != 0)
            ++next;
        input->setPosition(next);
    }
    settleLength();
}

bool AiffFileReader::noteSoundChunk(std::int64_t payloadStart, std::uint32_t size)
{
    const auto offset = std::uint32_t(input->ReadInt32BigEndian());
    layout.dataStart = input->getPosition() + 4 + std::int64_t(offset);
    sound.seen = true;
    sound.chunkEnd = payloadStart + std::int64_t(size);
    // 0 and all ones are placeholders; no chunk is shorter than its offset
    // and block-size fields.
    sound.placeholder = size < 8 || size == 0xFFFFFFFFu;
    // The size still counts the offset and block-size fields: kept so.
    if (layout.bytesPerFrame >= 1)
        metadata.lengthInSamples = std::min<std::int64_t>(metadata.lengthInSamples, size / layout.bytesPerFrame);
    else
        metadata.lengthInSamples = 0;
    const auto streamLength = input->getTotalLength();
    return !sound.placeholder && (streamLength <= 0 || sound.chunkEnd <= streamLength);
}

void AiffFileReader::settleLength()
{
    metadata.declaredLengthInSamples = metadata.lengthInSamples;
    const auto bytesPerFrame = layout.bytesPerFrame;
    const auto streamLength = input->getTotalLength();
    if (!sound.seen || bytesPerFrame < 1 || streamLength <= 0)
        return;
    const auto fileFrames = std::max<std::int64_t>(0, streamLength - layout.dataStart) / bytesPerFrame;
    const bool countUnset = sound.commonFrames == 0 || sound.commonFrames == 0xFFFFFFFFu;
    if (sound.placeholder || sound.chunkEnd > streamLength)
    {
        // The sound runs to the end of the file; a frame count that is no
        // placeholder may still end it earlier.
        metadata.lengthInSamples = countUnset ? fileFrames : std::min<std::int64_t>(sound.commonFrames, fileFrames);
    }
    else if (countUnset)
    {
        // Only the chunk tells, and it lies whole in the file.
        metadata.lengthInSamples = std::max<std::int64_t>(0, sound.chunkEnd - layout.dataStart) / bytesPerFrame;
    }
    else
    {
        metadata.lengthInSamples = std::min(metadata.lengthInSamples, fileFrames);
    }
}

bool AiffFileReader::readCommonChunk(std::int32_t size)
{
    // Negative counts or widths are nonsense: taken as 0, the file is invalid.
    const auto channels = std::max<std::int16_t>(0, input->ReadInt16BigEndian());
    metadata.numChannels = std::uint32_t(channels);
    sound.commonFrames = std::uint32_t(input->ReadInt32BigEndian());
    metadata.lengthInSamples = sound.commonFrames;
    const auto bits = std::max<std::int16_t>(0, input->ReadInt16BigEndian());
    metadata.bitsPerSample = std::uint32_t(bits);
    layout.bytesPerFrame = std::int32_t(bits) * channels / 8;

    // The 80-bit extended rate: only exponents that leave a whole rate below
    // 2^29 are accepted, and a fraction is dropped.
    std::array<std::uint8_t, 10> rate{};
    input->Read(rate.data(), std::int64_t(rate.size()));
    if (rate[0] != 0x40 || rate[1] > 28)
        return false;
    const auto exponent = (std::int32_t(rate[0]) << 8) | rate[1];
    const auto mantissa = (std::uint32_t(rate[2]) << 24) | (std::uint32_t(rate[3]) << 16)
                        | (std::uint32_t(rate[4]) << 8) | std::uint32_t(rate[5]);
    metadata.sampleRate = double(std::int32_t(mantissa >> (16414 - exponent)));

    littleEndian = false;
    metadata.usesFloatingPointData = false;
    if (size > 18)
    {
        const auto compression = std::uint32_t(input->ReadInt32BigEndian());
        if (compression == FourCCBigEndian("sowt"))
            littleEndian = true;
        else if (compression == FourCCBigEndian("fl32") || compression == FourCCBigEndian("FL32"))
            metadata.usesFloatingPointData = true;
        else if (compression != FourCCBigEndian("NONE") && compression != FourCCBigEndian("twos"))
        {
            metadata.sampleRate = 0.0;  // a compression this reader does not decode
            return false;
        }
    }
    return true;
}

void AiffFileReader::readMarkerChunk()
{
    const auto count = std::uint16_t(input->ReadInt16BigEndian());
    for (std::uint32_t i = 0; i < count && !input->isExhausted(); ++i)
    {
        const auto identifier = input->ReadInt16BigEndian();
        const auto position = std::uint32_t(input->ReadInt32BigEndian());
        const auto nameLength = input->ReadByte();
        std::array<char, 256> name{};
        const auto got = std::max<std::int64_t>(0, input->Read(name.data(), nameLength));
        // A Pascal string padded to an even total length.
        if ((nameLength & 1) == 0)
            input->SkipNextBytes(1);
        // Some writers count a terminating zero into the name; it is no part of it.
        const auto length = std::find(name.begin(), name.begin() + got, '\0') - name.begin();
        metadata.AddMarker(identifier, std::int32_t(position), String(name.data(), std::size_t(length)));
    }
}

bool AiffFileReader::readSamples(float* const* destinations, std::int64_t numFrames, std::int64_t startFrame)
{
    return readInterleavedSamples(destinations, numFrames, startFrame, layout, scratch);
}

} // namespace kel
