#include "support/AudioFixtures.h"

#include <bit>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>

#include <mpg123.h>

namespace kel::test {

#if KEL_HAVE_SNDFILE
bool WriteWithSndfile(const std::string& path, int format, int channels, std::int64_t frames, int sampleRate,
                      const std::function<void(SNDFILE*)>& configure)
{
    SF_INFO info{};
    info.samplerate = sampleRate;
    info.channels = channels;
    info.format = format;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr)
        return false;
    if (configure)
        configure(file);

    std::mt19937 random(std::uint32_t(format) * 31u + std::uint32_t(channels));
    const auto n = std::size_t(frames) * std::size_t(channels);
    const int subtype = format & SF_FORMAT_SUBMASK;
    sf_count_t written = 0;
    if (subtype == SF_FORMAT_FLOAT || subtype == SF_FORMAT_DOUBLE)
    {
        std::uniform_real_distribution<double> value(-1.5, 1.5);
        std::vector<double> samples(n);
        for (auto& s : samples)
            s = value(random);
        written = sf_writef_double(file, samples.data(), frames);
    }
    else
    {
        // Full-scale integers, the extremes included, so that every bit of
        // every width is exercised.
        std::vector<int> samples(n);
        for (std::size_t i = 0; i < n; ++i)
            samples[i] = i % 97 == 0 ? std::numeric_limits<int>::min()
                       : i % 89 == 0 ? std::numeric_limits<int>::max()
                                     : int(random());
        written = sf_writef_int(file, samples.data(), frames);
    }
    sf_close(file);
    return written == frames;
}

Decoded DecodeWithSndfile(const std::string& path)
{
    Decoded decoded;
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr)
        return decoded;
    decoded.channels = info.channels;
    decoded.frames = info.frames;
    decoded.sampleRate = info.samplerate;
    decoded.samples.resize(std::size_t(info.frames) * std::size_t(info.channels));
    decoded.frames = sf_readf_float(file, decoded.samples.data(), info.frames);
    sf_close(file);
    return decoded;
}
#endif

Decoded DecodeWithMpg123(const std::string& path)
{
    Decoded decoded;
    mpg123_init();
    int error = 0;
    mpg123_handle* handle = mpg123_new(nullptr, &error);
    if (handle == nullptr)
        return decoded;
    mpg123_param(handle, MPG123_FLAGS, MPG123_FORCE_FLOAT | MPG123_QUIET, 0.0);
    mpg123_format_none(handle);
    const long* rates = nullptr;
    size_t numRates = 0;
    mpg123_rates(&rates, &numRates);
    for (size_t i = 0; i < numRates; ++i)
        mpg123_format(handle, rates[i], MPG123_MONO | MPG123_STEREO, MPG123_ENC_FLOAT_32);
    if (mpg123_open(handle, path.c_str()) == MPG123_OK)
    {
        for (;;)
        {
            off_t frame = 0;
            unsigned char* audio = nullptr;
            size_t bytes = 0;
            const int result = mpg123_decode_frame(handle, &frame, &audio, &bytes);
            if (result == MPG123_NEW_FORMAT)
            {
                long rate = 0;
                int channels = 0, encoding = 0;
                mpg123_getformat(handle, &rate, &channels, &encoding);
                decoded.sampleRate = double(rate);
                decoded.channels = channels;
                continue;
            }
            if (result != MPG123_OK)
                break;
            const auto old = decoded.samples.size();
            decoded.samples.resize(old + bytes / sizeof(float));
            std::memcpy(decoded.samples.data() + old, audio, bytes);
        }
        mpg123_close(handle);
    }
    mpg123_delete(handle);
    if (decoded.channels > 0)
        decoded.frames = std::int64_t(decoded.samples.size()) / decoded.channels;
    return decoded;
}

std::vector<float> ReadRange(kel::AudioFileReader& reader, std::int64_t start, std::int64_t n)
{
    const auto channels = reader.getNumChannels();
    kel::AudioBuffer<float> buffer(channels, std::uint64_t(std::max<std::int64_t>(n, 1)));
    // Poison the buffer so that values the reader forgets to write show up.
    for (std::uint32_t c = 0; c < channels; ++c)
        std::fill_n(buffer.getWritePointer(c), std::max<std::int64_t>(n, 1), 12345.0f);
    std::vector<float> out(std::size_t(n) * channels);
    if (!reader.read(buffer, 0, n, start))
        return {};
    for (std::int64_t f = 0; f < n; ++f)
        for (std::uint32_t c = 0; c < channels; ++c)
            out[std::size_t(f) * channels + c] = buffer.getReadPointer(c)[f];
    return out;
}

Decoded ReadAllWithReader(kel::AudioFileReader& reader, std::int64_t blockFrames)
{
    Decoded decoded;
    decoded.channels = int(reader.getNumChannels());
    decoded.frames = reader.getLengthInSamples();
    decoded.sampleRate = reader.getSampleRate();
    for (std::int64_t start = 0; start < decoded.frames; start += blockFrames)
    {
        const auto block = ReadRange(reader, start, std::min(blockFrames, decoded.frames - start));
        decoded.samples.insert(decoded.samples.end(), block.begin(), block.end());
    }
    return decoded;
}

std::vector<float> ReferenceRange(const Decoded& reference, std::int64_t start, std::int64_t n)
{
    std::vector<float> out(std::size_t(n) * std::size_t(reference.channels), 0.0f);
    for (std::int64_t f = 0; f < n; ++f)
    {
        const auto frame = start + f;
        if (frame < 0 || frame >= reference.frames)
            continue;
        for (int c = 0; c < reference.channels; ++c)
            out[std::size_t(f * reference.channels + c)] = reference.at(frame, c);
    }
    return out;
}

std::int64_t FirstDifference(const std::vector<float>& a, const std::vector<float>& b)
{
    const auto n = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < n; ++i)
        if (std::bit_cast<std::uint32_t>(a[i]) != std::bit_cast<std::uint32_t>(b[i]) && !(a[i] == b[i]))
            return std::int64_t(i);
    return a.size() == b.size() ? -1 : std::int64_t(n);
}

std::vector<std::uint8_t> LoadBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void SaveBytes(const std::string& path, const std::vector<std::uint8_t>& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

std::string ShellQuoted(const std::string& text)
{
    std::string quoted = "'";
    for (const char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

} // namespace kel::test
