#include "audiofiles/KelWavFileWriter.h"

#include <algorithm>
#include <bit>
#include <filesystem>

#include "audiofiles/KelInterleave.h"
#include "common/KelException.h"
#include "files/KelNativePath.h"

namespace kel {

namespace {

static_assert(std::endian::native == std::endian::little, "the WAV writer assumes a little-endian host");

void PutU16(std::vector<char>& b, std::uint16_t v)
{
    b.push_back(char(v & 0xFF));
    b.push_back(char(v >> 8));
}
void PutU32(std::vector<char>& b, std::uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        b.push_back(char((v >> (8 * i)) & 0xFF));
}
void PutU64(std::vector<char>& b, std::uint64_t v)
{
    for (int i = 0; i < 8; ++i)
        b.push_back(char((v >> (8 * i)) & 0xFF));
}
void PutTag(std::vector<char>& b, const char* tag) { b.insert(b.end(), tag, tag + 4); }

// What the pending block holds before it is written.
constexpr std::size_t pendingBlockBytes = std::size_t(1) << 18;

constexpr std::uint32_t ds64BodySize = 28;  // riff size, data size, sample count, table length
constexpr std::uint16_t formatFloat = 3;
constexpr std::uint16_t formatExtensible = 0xFFFE;
// KSDATAFORMAT_SUBTYPE_IEEE_FLOAT
constexpr unsigned char floatSubFormat[16] = {0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                                              0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

} // namespace

WavFileWriter::WavFileWriter(const File& target, std::uint32_t channels, double rate, std::uint64_t threshold)
    : WavFileWriter(target, channels, rate, threshold, sizeof(float))
{
}

WavFileWriter WavFileWriter::Double(const File& target, std::uint32_t channels, double rate)
{
    return WavFileWriter(target, channels, rate, riffLimit, sizeof(double));
}

WavFileWriter::WavFileWriter(const File& target, std::uint32_t channels, double rate, std::uint64_t threshold,
                             std::uint32_t sampleBytes)
    : file(target), numChannels(channels), sampleRate(rate), rf64Threshold(threshold), bytesPerSample(sampleBytes)
{
    if (numChannels == 0 || numChannels > 65535 || !(sampleRate > 0.0))
        throw exceptions::ErrorWritingFile(file, KEL_HERE);
    out.open(ToNativePath(file.getFullPathName()), std::ios::binary | std::ios::trunc);
    if (!out)
        throw exceptions::ErrorWritingFile(file, KEL_HERE);
    writeHeader();
}

WavFileWriter::~WavFileWriter()
{
    if (!finalised)
    {
        try
        {
            Finalise();
        }
        catch (...)
        {
        }
    }
}

void WavFileWriter::writeHeader()
{
    const bool extensible = numChannels > 2;
    std::vector<char> h;
    PutTag(h, "RIFF");
    PutU32(h, 0);
    PutTag(h, "WAVE");
    PutTag(h, "JUNK");  // becomes "ds64" if the file outgrows RIFF
    PutU32(h, ds64BodySize);
    h.insert(h.end(), ds64BodySize, 0);

    PutTag(h, "fmt ");
    PutU32(h, extensible ? 40 : 18);
    PutU16(h, extensible ? formatExtensible : formatFloat);
    PutU16(h, std::uint16_t(numChannels));
    PutU32(h, std::uint32_t(sampleRate));
    PutU32(h, std::uint32_t(sampleRate) * numChannels * bytesPerSample);
    PutU16(h, std::uint16_t(numChannels * bytesPerSample));
    PutU16(h, std::uint16_t(bytesPerSample * 8));
    PutU16(h, extensible ? 22 : 0);
    if (extensible)
    {
        PutU16(h, std::uint16_t(bytesPerSample * 8));  // valid bits
        PutU32(h, 0);   // no speaker positions: spatial layouts are the user's
        h.insert(h.end(), std::begin(floatSubFormat), std::end(floatSubFormat));
    }
    PutTag(h, "fact");
    PutU32(h, 4);
    PutU32(h, 0);
    PutTag(h, "data");
    PutU32(h, 0);
    out.write(h.data(), std::streamsize(h.size()));
    dataStart = h.size();
    check();
}

template <typename Sample, typename Stored>
void WavFileWriter::interleavePlanar(const Sample* const* channels, std::uint32_t numFrames)
{
    const std::size_t frameBytes = std::size_t(numChannels) * sizeof(Stored);
    if (pending.empty())
        pending.resize(std::max(pendingBlockBytes, frameBytes));
    for (std::uint32_t done = 0; done < numFrames;)
    {
        if (pending.size() - pendingBytes < frameBytes)
            flushPending();
        const auto room = (pending.size() - pendingBytes) / frameBytes;
        const auto n = std::uint32_t(std::min<std::size_t>(numFrames - done, room));
        // Whole frames of 4 or 8 bytes a sample from the block's start, so
        // the samples are aligned.
        Interleave(channels, numChannels, done, n, reinterpret_cast<Stored*>(pending.data() + pendingBytes));
        pendingBytes += n * frameBytes;
        done += n;
    }
}

template <typename Sample>
void WavFileWriter::writePlanar(const Sample* const* channels, std::uint32_t numFrames)
{
    if (bytesPerSample == sizeof(double))
        interleavePlanar<Sample, double>(channels, numFrames);
    else
        interleavePlanar<Sample, float>(channels, numFrames);
    framesWritten += numFrames;
    check();
}

void WavFileWriter::flushPending()
{
    if (pendingBytes > 0)
        out.write(pending.data(), std::streamsize(pendingBytes));
    pendingBytes = 0;
}

void WavFileWriter::WritePlanar(const float* const* channels, std::uint32_t numFrames)
{
    writePlanar(channels, numFrames);
}

void WavFileWriter::WritePlanar(const double* const* channels, std::uint32_t numFrames)
{
    writePlanar(channels, numFrames);
}

void WavFileWriter::WriteInterleaved(const float* frames, std::uint32_t numFrames)
{
    if (bytesPerSample != sizeof(float))
        throw exceptions::ErrorWritingFile(file, KEL_HERE);
    flushPending();
    out.write(reinterpret_cast<const char*>(frames), std::streamsize(std::size_t(numFrames) * numChannels * sizeof(float)));
    framesWritten += numFrames;
    check();
}

void WavFileWriter::Finalise()
{
    if (finalised)
        return;
    finalised = true;
    flushPending();
    const std::uint64_t dataSize = framesWritten * numChannels * bytesPerSample;
    const std::uint64_t fileSize = dataStart + dataSize;
    auto patch = [this](std::uint64_t position, const std::vector<char>& bytes) {
        out.seekp(std::streamoff(position));
        out.write(bytes.data(), std::streamsize(bytes.size()));
    };
    std::vector<char> b;
    const std::uint64_t riffSize = fileSize - 8;  // float frames keep the data word aligned
    if (fileSize > rf64Threshold)
    {
        becameRF64 = true;
        PutTag(b, "RF64");
        PutU32(b, 0xFFFFFFFF);
        patch(0, b);
        b.clear();
        PutTag(b, "ds64");
        PutU32(b, ds64BodySize);
        PutU64(b, riffSize);
        PutU64(b, dataSize);
        PutU64(b, framesWritten);
        PutU32(b, 0);
        patch(12, b);
        b.clear();
        PutU32(b, 0xFFFFFFFF);
        patch(dataStart - 4, b);
        b.clear();
        PutU32(b, std::uint32_t(std::min<std::uint64_t>(framesWritten, 0xFFFFFFFF)));
        patch(dataStart - 12, b);
    }
    else
    {
        PutU32(b, std::uint32_t(riffSize));
        patch(4, b);
        b.clear();
        PutU32(b, std::uint32_t(dataSize));
        patch(dataStart - 4, b);
        b.clear();
        PutU32(b, std::uint32_t(framesWritten));
        patch(dataStart - 12, b);
    }
    out.close();
    check();
}

void WavFileWriter::check()
{
    if (out.fail())
        throw exceptions::ErrorWritingFile(file, KEL_HERE);
}

} // namespace kel
