// What a file says about itself: broadcast-wave fields and cue markers
// written by libsndfile (and read back by it for comparison), and the texts
// that describe a file.
#include <cstring>

#include <gtest/gtest.h>

#include "audiofiles/KelAudioFileInfo.h"
#include "audiofiles/KelBroadcastWave.h"
#include "audiofiles/KelWavFileReader.h"
#include "support/AudioFixtures.h"
#include "support/TestTemp.h"

namespace {

using kel::test::TempDir;

#if KEL_HAVE_SNDFILE

std::string Field(const char* bytes, std::size_t width) { return std::string(bytes, strnlen(bytes, width)); }

std::string ValueOf(const kel::AudioFilesMetadata& metadata, const std::string& key)
{
    for (std::size_t i = 0; i < metadata.bwfKeys.size(); ++i)
        if (metadata.bwfKeys[i] == key)
            return metadata.bwfValues[i];
    return "<missing>";
}

TEST(BroadcastWave, FieldsMatchWhatLibsndfileWroteAndReadsBack)
{
    TempDir dir;
    struct Case
    {
        std::string name;
        int format;
        std::uint32_t timeLow, timeHigh;
        bool umid;
        std::string translated;
    };
    const Case cases[] = {
        {"full.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 0x89ABCDEF, 1, true, "38:13:18.026"},
        {"zero-umid.wav", SF_FORMAT_WAVEX | SF_FORMAT_FLOAT, 48000 * 61 + 12, 0, false, "00:01:01.000"},
        {"rf64.wav", SF_FORMAT_RF64 | SF_FORMAT_PCM_16, 0, 0, true, "00:00:00.000"},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.name);
        const auto path = dir.file(c.name);
        ASSERT_TRUE(kel::test::WriteWithSndfile(path, c.format, 2, 100, 48000, [&](SNDFILE* file) {
            SF_BROADCAST_INFO info{};
            std::memset(info.description, 'd', sizeof(info.description));  // the whole width, no zero
            std::strcpy(info.originator, "Field recorder");
            std::strcpy(info.originator_reference, "REF-0042");
            std::memcpy(info.origination_date, "2024-05-06", 10);
            std::memcpy(info.origination_time, "13:14:15", 8);
            info.time_reference_low = c.timeLow;
            info.time_reference_high = c.timeHigh;
            info.version = 2;
            for (int i = 0; i < 64 && c.umid; ++i)
                info.umid[i] = char(i * 4);
            const char history[] = "A=PCM,F=48000,W=24,M=stereo,T=test\r\n";
            std::memcpy(info.coding_history, history, sizeof(history) - 1);
            info.coding_history_size = sizeof(history) - 1;
            ASSERT_EQ(sf_command(file, SFC_SET_BROADCAST_INFO, &info, sizeof(info)), SF_TRUE);
        }));

        SF_BROADCAST_INFO back{};
        ASSERT_TRUE(kel::test::ReadBackWithSndfile(path, SFC_GET_BROADCAST_INFO, back));

        const auto reader = kel::AudioFileReader::CreateReaderFor(kel::File(path));
        const auto& m = reader->getMetadata();
        ASSERT_TRUE(m.hasBwfChunk);
        ASSERT_EQ(m.bwfKeys.size(), 10u);
        EXPECT_EQ(m.bwfKeys[0], "bwav description");
        EXPECT_EQ(m.bwfKeys[9], "bwav time reference (translated HH:MM:SS.mmm)");
        EXPECT_EQ(ValueOf(m, "bwav description"), Field(back.description, 256));
        EXPECT_EQ(ValueOf(m, "bwav description").size(), 256u);
        EXPECT_EQ(ValueOf(m, "bwav originator"), Field(back.originator, 32));
        EXPECT_EQ(ValueOf(m, "bwav originator ref"), Field(back.originator_reference, 32));
        EXPECT_EQ(ValueOf(m, "bwav origination date"), "2024-05-06");
        EXPECT_EQ(ValueOf(m, "bwav origination time"), "13:14:15");
        EXPECT_EQ(ValueOf(m, "bwav time reference"),
                  std::to_string((std::uint64_t(back.time_reference_high) << 32) | back.time_reference_low));
        EXPECT_EQ(ValueOf(m, "bwav bwf version"), std::to_string(back.version));
        EXPECT_EQ(ValueOf(m, "bwav coding history"), Field(back.coding_history, back.coding_history_size));
        std::string umid;
        for (int i = 0; i < 64 && c.umid; ++i)
            umid += std::to_string(std::uint8_t(back.umid[i]));
        EXPECT_EQ(ValueOf(m, "bwav smpte umid"), umid);
        EXPECT_EQ(ValueOf(m, "bwav time reference (translated HH:MM:SS.mmm)"), c.translated);
        EXPECT_EQ(kel::FormatText(m), (c.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_RF64 ? "WAV File (RF64 / BWF)" : "WAV File (BWF)");
    }
}

TEST(CueMarkers, MatchWhatLibsndfileReadsBack)
{
    TempDir dir;
    for (const int format : {SF_FORMAT_WAV | SF_FORMAT_PCM_16, SF_FORMAT_AIFF | SF_FORMAT_PCM_16})
    {
        const auto path = dir.file(format == (SF_FORMAT_WAV | SF_FORMAT_PCM_16) ? "cues.wav" : "cues.aiff");
        SCOPED_TRACE(path);
        ASSERT_TRUE(kel::test::WriteWithSndfile(path, format, 1, 5000, 44100, [](SNDFILE* file) {
            SF_CUES cues{};
            cues.cue_count = 3;
            const char* names[] = {"intro", "verse2", "x"};
            const std::uint32_t offsets[] = {0, 1234, 4999};
            for (int i = 0; i < 3; ++i)
            {
                auto& p = cues.cue_points[i];
                p.indx = i == 2 ? 0x10005 : i + 1;  // beyond 16 bits for WAV's identifier
                p.position = offsets[i];
                p.fcc_chunk = 0x61746164;  // "data"
                p.sample_offset = offsets[i];
                std::strcpy(p.name, names[i]);
            }
            ASSERT_EQ(sf_command(file, SFC_SET_CUE, &cues, sizeof(cues)), SF_TRUE);
        }));
        SF_CUES back{};
        ASSERT_TRUE(kel::test::ReadBackWithSndfile(path, SFC_GET_CUE, back));

        const auto reader = kel::AudioFileReader::CreateReaderFor(kel::File(path));
        const auto& markers = reader->getMarkers();
        ASSERT_EQ(markers.size(), back.cue_count);
        const bool isWav = reader->getFormatName() == "WAV File";
        for (std::uint32_t i = 0; i < back.cue_count; ++i)
        {
            const auto& p = back.cue_points[i];
            EXPECT_EQ(markers[i]->position, std::int32_t(p.sample_offset));
            // WAV keeps the identifier's low 16 bits and, with no labl record
            // from libsndfile, labels with it;
            // AIFF's identifiers are 16 bits and its markers carry names.
            EXPECT_EQ(markers[i]->identifier, isWav ? (p.indx & 0xFFFF) : std::int16_t(p.indx));
            EXPECT_EQ(markers[i]->label, isWav ? std::to_string(p.indx & 0xFFFF) : Field(p.name, 256));
        }
        if (isWav)
        {
            const auto& cue = dynamic_cast<const kel::WavFileReader&>(*reader).getCueMetadata();
            EXPECT_EQ(cue.at("NumCuePoints"), "3");
            EXPECT_EQ(cue.at("Cue2Identifier"), "65541");
            EXPECT_EQ(cue.at("Cue1Offset"), "1234");
            EXPECT_EQ(cue.at("Cue1ChunkID"), std::to_string(0x61746164));
        }
    }
}

#endif

TEST(BroadcastWave, TranslatedTimeReference)
{
    struct Case
    {
        std::uint64_t frames;
        double rate;
        const char* text;
    };
    const Case cases[] = {
        {0, 48000, "00:00:00.000"},
        {12345, 48000, "00:00:00.257"},
        {48000 * 3661 + 12000, 48000, "01:01:01.250"},
        // Seconds round while the rest truncates: the milliseconds go negative.
        {48000 * 3661 + 24000, 48000, "01:01:02.-500"},
        // Rounding up to 60 seconds carries into the minutes, and on.
        {2865600, 48000, "00:01:00.-300"},
        {158742360, 44100, "01:00:00.-400"},
        {std::uint64_t(44100) * 3600 * 100, 44100, "100:00:00.000"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(kel::TranslateTimeReference(c.frames, c.rate), c.text) << c.frames << " at " << c.rate;
}

TEST(AudioFileTexts, DurationSampleRateFormatAndSummary)
{
    const std::pair<double, const char*> durations[] = {
        {0.0, "0.0 ms"},         {50.3, "50.3 ms"},       {99.94, "99.9 ms"},
        {250.9, "250 ms"},       {1000.0, "1.00 sec"},    {12346.0, "12.35 sec"},
        {30000.0, "30.00 sec"},  {30001.0, "30 sec"},     {45500.0, "46 sec"},
        {90000.0, "1 min 30 sec"}, {3600000.0, "1 h 0 min"}, {3605000.0, "1 h 0 min 5 sec"},
        {7199600.0, "2 h 0 min"}, {3659700.0, "1 h 1 min"},
    };
    for (const auto& [ms, text] : durations)
        EXPECT_EQ(kel::DurationText(ms), text) << ms;

    const std::pair<double, const char*> rates[] = {
        {8000, "8 kHz"},          {22050, "22.05 kHz"},   {44100, "44.1 kHz"},   {48000.7, "48 kHz"},
        {176400, "176.4 kHz"},    {768000, "768 kHz"},    {12345, "12345 Hz"},   {12345.5, "12345.5 Hz"},
        {0, "0 Hz"},
    };
    for (const auto& [rate, text] : rates)
        EXPECT_EQ(kel::SampleRateText(rate), text) << rate;

    kel::AudioFilesMetadata m;
    EXPECT_EQ(kel::SummaryText(m), "");
    m.formatName = "WAV File";
    m.sampleRate = 48000;
    m.bitsPerSample = 24;
    m.numChannels = 2;
    m.lengthInSamples = 96000;
    EXPECT_EQ(kel::SummaryText(m), "2 channels, 48 kHz, 96000 samples, 2.00 sec, 24 bits");
    m.numChannels = 1;
    m.lengthInSamples = 48000 * 45 + 24000;
    EXPECT_EQ(kel::SummaryText(m), "1 channel, 48 kHz, 2184000 samples, 46 sec, 24 bits");
    m.bitsPerSample = 0;
    EXPECT_EQ(kel::SummaryText(m), "");

    struct Flags
    {
        bool rf64, bwf, w64;
        const char* text;
    };
    const Flags flags[] = {
        {false, false, false, "WAV File"},         {true, false, false, "WAV File (RF64)"},
        {false, true, false, "WAV File (BWF)"},    {true, true, false, "WAV File (RF64 / BWF)"},
        {false, false, true, "WAV File (w64)"},    {false, true, true, "WAV File (BWF)"},
    };
    for (const auto& f : flags)
    {
        m.isRF64 = f.rf64;
        m.hasBwfChunk = f.bwf;
        m.isWave64 = f.w64;
        EXPECT_EQ(kel::FormatText(m), f.text);
    }
}

TEST(AudioFilesMetadata, CopiesOwnTheirMarkers)
{
    kel::AudioFilesMetadata original;
    original.AddMarker(1, 10, "one");
    kel::AudioFilesMetadata copy = original;
    copy.markers[0]->label = "changed";
    copy.AddMarker(2, 20, "two");
    ASSERT_EQ(original.markers.size(), 1u);
    EXPECT_EQ(original.markers[0]->label, "one");
    original = copy;
    copy.markers[1]->position = 99;
    EXPECT_EQ(original.markers[1]->position, 20);
}

} // namespace
