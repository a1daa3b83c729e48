// WAV writing: RIFF, a 16-byte IEEE float format chunk (or the 40-byte
// extensible one), fact, data. Little-endian fields written byte by byte.
// Samples are 64-bit, as Max's signals: a time in milliseconds beyond a few
// minutes would not survive a 32-bit float.
#include "MaxsimWavRecorder.h"

#include <cstdint>
#include <cstring>
#include <vector>

namespace maxsim
{
namespace
{

constexpr unsigned sampleBytes = 8;

void put16(std::vector<unsigned char>& b, unsigned v)
{
    b.push_back(static_cast<unsigned char>(v & 0xff));
    b.push_back(static_cast<unsigned char>((v >> 8) & 0xff));
}

void put32(std::vector<unsigned char>& b, unsigned long v)
{
    put16(b, static_cast<unsigned>(v & 0xffff));
    put16(b, static_cast<unsigned>((v >> 16) & 0xffff));
}

void putTag(std::vector<unsigned char>& b, const char* tag)
{
    for (int i = 0; i < 4; ++i)
        b.push_back(static_cast<unsigned char>(tag[i]));
}

}  // namespace

void WavRecorder::writeHeader()
{
    const bool extensible = channels > 2;
    const unsigned long data = static_cast<unsigned long>(dataBytes > 0xffffffe0ULL ? 0xffffffe0ULL : dataBytes);
    std::vector<unsigned char> h;
    putTag(h, "RIFF");
    put32(h, (extensible ? 72UL : 48UL) + data);
    putTag(h, "WAVE");
    putTag(h, "fmt ");
    put32(h, extensible ? 40 : 16);
    put16(h, extensible ? 0xFFFE : 3);
    put16(h, static_cast<unsigned>(channels));
    put32(h, sampleRate);
    put32(h, sampleRate * sampleBytes * static_cast<unsigned long>(channels));
    put16(h, sampleBytes * static_cast<unsigned>(channels));
    put16(h, 8 * sampleBytes);
    if (extensible)
    {
        put16(h, 22);
        put16(h, 8 * sampleBytes);
        put32(h, 0);  // no speaker positions
        // KSDATAFORMAT_SUBTYPE_IEEE_FLOAT
        static const unsigned char subtype[16] = {3, 0, 0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xaa, 0, 0x38, 0x9b, 0x71};
        for (unsigned char byte : subtype)
            h.push_back(byte);
    }
    putTag(h, "fact");  // expected with every non-PCM format
    put32(h, 4);
    put32(h, channels > 0 ? data / (sampleBytes * static_cast<unsigned long>(channels)) : 0);
    putTag(h, "data");
    put32(h, data);
    std::fseek(file, 0, SEEK_SET);
    std::fwrite(h.data(), 1, h.size(), file);
}

bool WavRecorder::Write(double* const* channelData, long numChannels, long frames, double rate)
{
    if (failed)
        return false;
    if (!file)
    {
        file = std::fopen(path.c_str(), "wb");
        if (!file || numChannels <= 0)
        {
            failed = true;
            return false;
        }
        channels = numChannels;
        sampleRate = static_cast<unsigned>(rate);
        writeHeader();
    }
    std::vector<unsigned char> bytes(static_cast<std::size_t>(frames * channels) * sampleBytes);
    unsigned char* p = bytes.data();
    for (long i = 0; i < frames; ++i)
        for (long c = 0; c < channels; ++c)
        {
            const double d = c < numChannels ? channelData[c][i] : 0.0;
            std::uint64_t u;
            std::memcpy(&u, &d, sampleBytes);
            for (unsigned k = 0; k < sampleBytes; ++k)
                *p++ = static_cast<unsigned char>((u >> (8 * k)) & 0xff);
        }
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    dataBytes += bytes.size();
    return true;
}

void WavRecorder::Close()
{
    if (!file)
        return;
    writeHeader();
    std::fclose(file);
    file = nullptr;
}

}  // namespace maxsim
