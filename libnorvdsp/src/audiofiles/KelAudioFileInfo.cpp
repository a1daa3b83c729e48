#include "audiofiles/KelAudioFileInfo.h"

#include "audiofiles/KelClockTime.h"

#include <cmath>
#include <cstdio>

namespace kel {

namespace {
String Printed(const char* format, double value)
{
    char text[64];
    std::snprintf(text, sizeof(text), format, value);
    return text;
}
} // namespace

String FormatText(const AudioFilesMetadata& metadata)
{
    String text = metadata.formatName;
    if (metadata.isRF64 && metadata.hasBwfChunk)
        text += " (RF64 / BWF)";
    else if (metadata.isRF64)
        text += " (RF64)";
    else if (metadata.hasBwfChunk)
        text += " (BWF)";
    else if (metadata.isWave64)
        text += " (w64)";
    return text;
}

String DurationText(double milliseconds)
{
    const double seconds = milliseconds / 1000.0;
    if (seconds < 1.0)
        return milliseconds < 100.0 ? Printed("%.1f ms", milliseconds)
                                    : Printed("%.0f ms", std::floor(milliseconds));
    if (seconds <= 30.0)
        return Printed("%.2f sec", seconds);

    const ClockTime clock = SplitClockTime(seconds);
    const double h = clock.hours, m = clock.minutes, s = clock.seconds;
    String text;
    const auto append = [&text](double value, const char* unit) {
        if (!text.empty())
            text += ' ';
        text += Printed("%.0f", value);
        text += unit;
    };
    if (h != 0.0)
        append(h, " h");
    if (m != 0.0 || h != 0.0)
        append(m, " min");
    if (s != 0.0)
        append(s, " sec");
    return text;
}

String SampleRateText(double sampleRate)
{
    struct Known
    {
        std::int64_t rate;
        const char* text;
    };
    static constexpr Known known[] = {
        {8000, "8 kHz"},       {16000, "16 kHz"},     {22050, "22.05 kHz"}, {32000, "32 kHz"},
        {44100, "44.1 kHz"},   {48000, "48 kHz"},     {88200, "88.2 kHz"},  {96000, "96 kHz"},
        {128000, "128 kHz"},   {176400, "176.4 kHz"}, {192000, "192 kHz"},  {256000, "256 kHz"},
        {352800, "352.8 kHz"}, {384000, "384 kHz"},   {768000, "768 kHz"},
    };
    if (std::isfinite(sampleRate) && std::abs(sampleRate) < 9.0e18)
    {
        const auto whole = std::int64_t(sampleRate);
        for (const auto& k : known)
            if (k.rate == whole)
                return k.text;
    }
    return ToString(sampleRate) + " Hz";
}

double LengthInMilliseconds(const AudioFilesMetadata& metadata)
{
    return metadata.sampleRate > 0.0 ? double(metadata.lengthInSamples) * 1000.0 / metadata.sampleRate : 0.0;
}

String SummaryText(const AudioFilesMetadata& metadata)
{
    if (metadata.formatName == AudioFilesMetadata::unknownFormatName || !(metadata.sampleRate > 0.0)
        || metadata.bitsPerSample == 0 || metadata.numChannels == 0)
        return {};
    String text = ToString(metadata.numChannels) + " channel" + (metadata.numChannels >= 2 ? "s" : "");
    text += ", " + SampleRateText(metadata.sampleRate);
    text += ", " + ToString(metadata.lengthInSamples) + " samples";
    text += ", " + DurationText(LengthInMilliseconds(metadata));
    text += ", " + ToString(metadata.bitsPerSample) + " bits";
    return text;
}

} // namespace kel
