// The reports on an opened file as OSC messages, and the info verb that
// prints them, for files written by libsndfile and lame.
#include <cstring>

#include <gtest/gtest.h>

#include "audiofiles/KelAudioFileInfo.h"
#include "audiofiles/KelAudioFileReports.h"
#include "support/AudioFixtures.h"
#include "support/TestTemp.h"
#include "support/TestText.h"

namespace {

using kel::test::Lines;
using kel::test::RunCommand;
using kel::test::ShellQuoted;
using kel::test::TempDir;

std::string Info(const std::string& path, int* status = nullptr)
{
    std::string output;
    const int result = RunCommand(ShellQuoted(KEL_CLI_PATH) + " info " + ShellQuoted(path) + " 2>&1", &output);
    if (status != nullptr)
        *status = result;
    return output;
}

#if KEL_HAVE_SNDFILE

TEST(InfoVerb, PrintsTheMetadataDumpOfABroadcastWaveWithCues)
{
    TempDir dir;
    const auto path = dir.file("take 1.wav");
    ASSERT_TRUE(kel::test::WriteWithSndfile(path, SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2, 96000, 48000, [](SNDFILE* f) {
        SF_BROADCAST_INFO info{};
        std::strcpy(info.description, "Scene 4 \"wide\"");
        std::strcpy(info.originator, "Recorder");
        std::strcpy(info.originator_reference, "REF42");
        std::memcpy(info.origination_date, "2024-05-06", 10);
        std::memcpy(info.origination_time, "13:14:15", 8);
        info.time_reference_low = 48000 * 3661;
        info.version = 1;
        const char history[] = "A=PCM,F=48000";
        std::memcpy(info.coding_history, history, sizeof(history) - 1);
        info.coding_history_size = sizeof(history) - 1;
        sf_command(f, SFC_SET_BROADCAST_INFO, &info, sizeof(info));
        SF_CUES cues{};
        cues.cue_count = 2;
        cues.cue_points[0] = {7, 0, 0x61746164, 0, 0, 1000, "a"};
        cues.cue_points[1] = {9, 0, 0x61746164, 0, 0, 48000, "b"};
        sf_command(f, SFC_SET_CUE, &cues, sizeof(cues));
    }));
    // libsndfile adds a line of its own to the coding history and raises the
    // version; what it reads back is what the report must say.
    SF_BROADCAST_INFO back{};
    ASSERT_TRUE(kel::test::ReadBackWithSndfile(path, SFC_GET_BROADCAST_INFO, back));
    std::string history;
    for (const char c : std::string(back.coding_history, strnlen(back.coding_history, back.coding_history_size)))
        history += c == '\n' ? std::string("\\n") : std::string(1, c);

    int status = -1;
    const auto lines = Lines(Info(path, &status));
    EXPECT_EQ(status, 0);
    const std::vector<std::string> expected = {
        "/filename \"" + path + "\"",
        "/length 2000",
        "/samples 96000",
        "/samplerate 48000",
        "/bitdepth 24",
        "/channel/number 2",
        "/format \"WAV File (BWF)\"",
        "/duration \"2.00 sec\"",
        "/float 0",
        "/chunk/bwf/description \"Scene 4  wide \"",
        "/chunk/bwf/originator \"Recorder\"",
        "/chunk/bwf/originatorref \"REF42\"",
        "/chunk/bwf/originationdate \"2024-05-06\"",
        "/chunk/bwf/originationtime \"13:14:15\"",
        "/chunk/bwf/timereference \"175728000\"",
        "/chunk/bwf/codinghistory \"" + history + "\"",
        "/chunk/bwf/bwfversion \"" + std::to_string(back.version) + "\"",
        "/chunk/bwf/smpteumid \"\"",
        "/chunk/bwf/timereferencetranslated \"01:01:01.000\"",
        "/chunk/mark/marker/number 2",
        "/chunk/mark/marker/1 7 1000 \"7\"",
        "/chunk/mark/marker/2 9 48000 \"9\"",
    };
    EXPECT_EQ(lines, expected);
}

TEST(InfoVerb, AiffMarkersAndFloatFiles)
{
    TempDir dir;
    const auto path = dir.file("f.aiff");
    ASSERT_TRUE(kel::test::WriteWithSndfile(path, SF_FORMAT_AIFF | SF_FORMAT_FLOAT, 1, 4410, 44100, [](SNDFILE* f) {
        SF_CUES cues{};
        cues.cue_count = 1;
        cues.cue_points[0] = {3, 441, 0, 0, 0, 441, "chorus"};
        sf_command(f, SFC_SET_CUE, &cues, sizeof(cues));
    }));
    const std::vector<std::string> expected = {
        "/filename \"" + path + "\"",
        "/length 100",
        "/samples 4410",
        "/samplerate 44100",
        "/bitdepth 32",
        "/channel/number 1",
        "/format \"AIFF File\"",
        "/duration \"100 ms\"",
        "/float 1",
        "/chunk/mark/marker/number 1",
        "/chunk/mark/marker/1 3 441 \"chorus\"",
    };
    EXPECT_EQ(Lines(Info(path)), expected);
}

#endif

TEST(InfoVerb, Mp3AndFailures)
{
    KEL_SKIP_WITHOUT_SHELL();
    TempDir dir;
    const auto wav = dir.file("in.wav"), mp3 = dir.file("in.mp3");
    ASSERT_EQ(RunCommand("sox -n -r 22050 -c 1 -b 16 " + ShellQuoted(wav) + " synth 1 sine 300 && lame --quiet -b 32 "
                         + ShellQuoted(wav) + " " + ShellQuoted(mp3)),
              0);
    const auto reference = kel::test::DecodeWithMpg123(mp3);
    const auto ms = reference.frames * 1000 / 22050;
    const std::vector<std::string> expected = {
        "/filename \"" + mp3 + "\"",
        "/length " + std::to_string(ms),
        "/samples " + std::to_string(reference.frames),
        "/samplerate 22050",
        "/bitdepth 32",
        "/channel/number 1",
        "/format \"MP3 File\"",
        "/duration \"" + kel::DurationText(double(reference.frames) * 1000.0 / 22050.0) + "\"",
        "/float 1",
        "/chunk/mark/marker/number 0",
    };
    EXPECT_EQ(Lines(Info(mp3)), expected);

    int status = 0;
    const auto text = dir.file("notes.txt");
    kel::test::SaveBytes(text, {'h', 'i'});
    const auto lines = Lines(Info(text, &status));
    EXPECT_EQ(status, 1);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].rfind("Exception occurred in [libnorvdsp/src/audiofiles/KelAudioFileReader:", 0), 0u);
    EXPECT_NE(lines[0].find("] File \"" + text + "\" is not a valid audio file."), std::string::npos) << lines[0];
}

TEST(Reports, ArgumentTypesAndOptionalParts)
{
    kel::AudioFilesMetadata m;
    m.formatName = "WAV File";
    m.sampleRate = 0.0;  // no rate: no length in time
    m.bitsPerSample = 16;
    m.numChannels = 2;
    m.lengthInSamples = 10;
    m.isRF64 = true;
    kel::OscBundle bundle;
    kel::AppendMetadataDump(kel::File("x.wav"), m, bundle);
    std::vector<std::string> tags, texts;
    bundle.ForEachMessage([&](const kel::OscMessage& message) {
        tags.push_back(message.getAddressPattern().getText() + " " + message.getTypeTags());
        texts.push_back(message.toString());
    });
    const std::vector<std::string> expectedTags = {
        "/filename s", "/length h",   "/samples h",  "/samplerate d",
        "/bitdepth i", "/channel/number i", "/format s", "/duration s",
        "/float F",    "/chunk/mark/marker/number i",
    };
    EXPECT_EQ(tags, expectedTags);
    EXPECT_EQ(texts[1], "/length 0");
    EXPECT_EQ(texts[6], "/format \"WAV File (RF64)\"");

    // Broadcast-wave fields go out in the report's order, whatever order
    // they were stored in; a missing one is left out.
    m.bwfKeys = {"bwav smpte umid", "bwav description", "bwav coding history"};
    m.bwfValues = {"123", "d", "h"};
    kel::OscBundle bwf;
    kel::AppendBroadcastWaveReport(m, bwf);
    ASSERT_EQ(bwf.size(), 3u);
    EXPECT_EQ(bwf[0].getMessage().toString(), "/chunk/bwf/description \"d\"");
    EXPECT_EQ(bwf[1].getMessage().toString(), "/chunk/bwf/codinghistory \"h\"");
    EXPECT_EQ(bwf[2].getMessage().toString(), "/chunk/bwf/smpteumid \"123\"");
}

} // namespace
