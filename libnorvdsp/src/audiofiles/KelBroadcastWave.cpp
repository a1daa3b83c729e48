#include "audiofiles/KelBroadcastWave.h"

#include "audiofiles/KelClockTime.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace kel {

namespace {

/** The bytes of a fixed-width text field up to its first zero byte. */
String ReadTextField(InputStream& input, int width)
{
    std::array<char, 256> bytes{};
    const auto got = std::max<std::int64_t>(0, input.Read(bytes.data(), width));
    const auto* end = static_cast<const char*>(std::memchr(bytes.data(), 0, std::size_t(got)));
    return String(bytes.data(), end != nullptr ? std::size_t(end - bytes.data()) : std::size_t(got));
}

} // namespace

String TranslateTimeReference(std::uint64_t timeReference, double sampleRate)
{
    const double ms = double(timeReference) * 1000.0 / sampleRate;
    // The seconds are rounded while hours and minutes are truncated, so the
    // milliseconds below can come out negative: that arithmetic is kept.
    const ClockTime clock = SplitClockTime(ms / 1000.0);
    const double h = clock.hours, m = clock.minutes, s = clock.seconds;
    const double milli = std::floor(ms - h * 3600000.0 - m * 60000.0 - s * 1000.0);
    char text[96];
    std::snprintf(text, sizeof(text), "%02.0f:%02.0f:%02.0f.%03.0f", h, m, s, milli);
    return text;
}

void DecodeBroadcastWaveChunk(InputStream& input, std::int64_t chunkSize, double sampleRate, Vector<String>& keys,
                              Vector<String>& values)
{
    if (chunkSize < broadcastWaveFixedSize)
        return;
    const auto description = ReadTextField(input, 256);
    const auto originator = ReadTextField(input, 32);
    const auto originatorReference = ReadTextField(input, 32);
    const auto originationDate = ReadTextField(input, 10);
    const auto originationTime = ReadTextField(input, 8);
    const auto timeLow = std::uint32_t(input.ReadInt32LittleEndian());
    const auto timeHigh = std::uint32_t(input.ReadInt32LittleEndian());
    const auto version = std::uint16_t(input.ReadInt16LittleEndian());
    std::array<std::uint8_t, 64> umidBytes{};
    input.Read(umidBytes.data(), std::int64_t(umidBytes.size()));
    input.SkipNextBytes(190);

    String codingHistory;
    if (chunkSize > broadcastWaveFixedSize)
    {
        // A history beyond 1 MB is a size field gone wrong, not a history.
        const auto bytes = input.ReadIntoMemory(std::min<std::int64_t>(chunkSize - broadcastWaveFixedSize, 1 << 20));
        const auto* begin = reinterpret_cast<const char*>(bytes.data());
        const auto* end = static_cast<const char*>(std::memchr(begin, 0, bytes.size()));
        codingHistory.assign(begin, end != nullptr ? std::size_t(end - begin) : bytes.size());
    }

    String umid;
    for (const auto b : umidBytes)
        umid += ToString(unsigned(b));
    if (umid.find_first_not_of('0') == String::npos)
        umid.clear();

    const std::uint64_t timeReference = (std::uint64_t(timeHigh) << 32) | timeLow;
    const auto add = [&](const char* key, String value) {
        keys.PushBack(key);
        values.PushBack(std::move(value));
    };
    add("bwav description", description);
    add("bwav originator", originator);
    add("bwav originator ref", originatorReference);
    add("bwav origination date", originationDate);
    add("bwav origination time", originationTime);
    add("bwav time reference", ToString(timeReference));
    add("bwav smpte umid", umid);
    add("bwav bwf version", ToString(unsigned(version)));
    add("bwav coding history", codingHistory);
    if (sampleRate > 0.0)
        add("bwav time reference (translated HH:MM:SS.mmm)", TranslateTimeReference(timeReference, sampleRate));
}

} // namespace kel
