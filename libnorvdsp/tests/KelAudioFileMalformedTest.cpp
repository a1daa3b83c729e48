// Malformed and unusual files, hand-made because no tool writes them: every
// one must end in the reader's own error or in a reader that reads silence
// where the file holds nothing, never in a crash, a hang or a huge
// allocation.
#include <functional>

#include <gtest/gtest.h>

#include "audiofiles/KelAiffFileReader.h"
#include "audiofiles/KelWavFileReader.h"
#include "support/AudioFixtures.h"
#include "support/ByteBuilder.h"
#include "support/TestTemp.h"
#include "support/TestText.h"

namespace {

using kel::test::ByteBuilder;
using kel::test::ExtendedRate;
using kel::test::RiffWave;
using kel::test::TempDir;
using kel::test::WavFormat;

struct Case
{
    std::string what;
    std::string fileName;
    ByteBuilder bytes;
    std::string error;  // the exception's message, "{path}" for the quoted path; empty: opens
    std::function<void(kel::AudioFileReader&)> check = {};
};

ByteBuilder Samples16(std::initializer_list<int> values)
{
    ByteBuilder b;
    for (const int v : values)
        b.le16(std::uint32_t(v));
    return b;
}

const ByteBuilder fmt16 = WavFormat(1, 2, 48000, 16);
const ByteBuilder data16 = Samples16({100, -100, 200, -200, 300, -300});

/** Reads frames through read() and compares them with expected values
    (interleaved floats). */
void ExpectFrames(kel::AudioFileReader& reader, std::int64_t start, const std::vector<float>& expected)
{
    const auto n = std::int64_t(expected.size()) / std::int64_t(reader.getNumChannels());
    const auto got = kel::test::ReadRange(reader, start, n);
    EXPECT_EQ(kel::test::FirstDifference(got, expected), -1) << "from frame " << start;
}

kel::WavFileReader& Wav(kel::AudioFileReader& reader) { return dynamic_cast<kel::WavFileReader&>(reader); }

std::vector<Case> WavCases()
{
    const float s = 1.0f / 32768.0f;
    // An extensible format with an ambisonic B-format sub-format GUID.
    const auto ambisonic = [](std::uint32_t bits, std::uint8_t type) {
        return RiffWave(ByteBuilder()
                            .riffChunk("fmt ", WavFormat(65534, 2, 48000, bits).le16(22).le16(bits).le32(0).u8(type)
                                                   .raw({0, 0, 0, 0x21, 0x07, 0xD3, 0x11, 0x86, 0x44, 0xC8, 0xC1,
                                                         0xCA, 0x00, 0x00, 0x00}))
                            .riffChunk("data", data16));
    };
    return {
        {"BW64 is refused", "a.wav", ByteBuilder().text("BW64").le32(0xFFFFFFFF).text("WAVE"),
         "BW64 chunk is not handled"},
        {"no WAVE form type", "a.wav", ByteBuilder().text("RIFF").le32(4).text("WAVX"),
         "file {path} is not a valid WAV file"},
        {"no fmt chunk", "a.wav", RiffWave(ByteBuilder().riffChunk("data", data16)),
         "file {path} is not a valid WAV file"},
        {"truncated after the magic", "a.wav", ByteBuilder().text("RIFF").u8(12),
         "file {path} is not a valid WAV file"},
        {"fmt cut short before the rate", "a.wav",
         ByteBuilder().text("RIFF").le32(100).text("WAVE").text("fmt ").le32(16).le16(1).le16(2),
         "file {path} is not a valid WAV file"},
        {"no channels", "a.wav", RiffWave(ByteBuilder().riffChunk("fmt ", WavFormat(1, 0, 48000, 16))),
         "file {path} is not a valid WAV file"},
        {"no sample rate", "a.wav", RiffWave(ByteBuilder().riffChunk("fmt ", WavFormat(1, 2, 0, 16))),
         "file {path} is not a valid WAV file"},
        {"RF64 without ds64", "a.wav",
         ByteBuilder().text("RF64").le32(0xFFFFFFFF).text("WAVE").riffChunk("fmt ", fmt16).riffChunk("data", data16),
         "file {path} is not a valid WAV file"},
        {"RF64 with a short ds64", "a.wav",
         ByteBuilder().text("RF64").le32(0xFFFFFFFF).text("WAVE").riffChunk("ds64", ByteBuilder().zeros(20))
             .riffChunk("fmt ", fmt16),
         "file {path} is not a valid WAV file"},
        {"Wave64 with a broken riff GUID", "a.w64", ByteBuilder().text("riff").zeros(12).le64(100),
         "invalid riff chunk for w64"},
        {"Wave64 with a broken wave GUID", "a.w64",
         ByteBuilder().text("riff").raw({0x2E, 0x91, 0xCF, 0x11, 0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00})
             .le64(100).text("wavf").zeros(12),
         "invalid wave chunk for w64"},
        {"data before fmt has no frames", "a.wav",
         RiffWave(ByteBuilder().riffChunk("data", data16).riffChunk("fmt ", fmt16)), "",
         [](kel::AudioFileReader& r) {
             EXPECT_EQ(r.getLengthInSamples(), 0);
             ExpectFrames(r, 0, {0, 0, 0, 0});
         }},
        {"a zero-length unknown chunk ends the walk", "a.wav",
         RiffWave(ByteBuilder().riffChunk("fmt ", fmt16).riffChunk("data", data16).riffChunk("zero", {})
                      .riffChunk("cue ", ByteBuilder().le32(1).le32(7).le32(0).text("data").le32(0).le32(0).le32(1))),
         "",
         [](kel::AudioFileReader& r) {
             EXPECT_EQ(r.getLengthInSamples(), 3);
             EXPECT_TRUE(r.getMarkers().empty());
         }},
        {"odd chunks are padded", "a.wav",
         RiffWave(ByteBuilder().riffChunk("junk", ByteBuilder().zeros(3)).riffChunk("fmt ", fmt16)
                      .riffChunk("data", data16)),
         "", [=](kel::AudioFileReader& r) { ExpectFrames(r, 1, {200 * s, -200 * s, 300 * s, -300 * s}); }},
        {"data longer than the file holds the frames that are there", "a.wav",
         RiffWave(ByteBuilder().riffChunk("fmt ", fmt16).text("data").le32(0xFFFFFFF0).append(data16).u8(7)), "",
         [=](kel::AudioFileReader& r) {
             EXPECT_EQ(r.getLengthInSamples(), 3);
             EXPECT_EQ(r.getDeclaredLengthInSamples(), 0xFFFFFFF0 / 4);
             ExpectFrames(r, 2, {300 * s, -300 * s, 0, 0, 0, 0});
         }},
        // A recorder that stopped before it wrote the sizes.
        {"a data size of 0 followed by sound is a placeholder", "a.wav",
         ByteBuilder().text("RIFF").le32(36).text("WAVE").riffChunk("fmt ", fmt16).text("data").le32(0)
             .append(data16),
         "",
         [=](kel::AudioFileReader& r) {
             EXPECT_EQ(r.getLengthInSamples(), 3);
             EXPECT_EQ(r.getDeclaredLengthInSamples(), 0);
             ExpectFrames(r, 0, {100 * s, -100 * s, 200 * s, -200 * s, 300 * s, -300 * s});
         }},
        {"a data size of 0 followed by a chunk is an empty chunk", "a.wav",
         RiffWave(ByteBuilder().riffChunk("fmt ", fmt16).riffChunk("data", {})
                      .riffChunk("LIST", ByteBuilder().text("INFO").riffChunk("ISFT", ByteBuilder().text("x").u8(0)))),
         "",
         [](kel::AudioFileReader& r) {
             EXPECT_EQ(r.getLengthInSamples(), 0);
             EXPECT_EQ(r.getDeclaredLengthInSamples(), 0);
         }},
        {"a RIFF size of 0 and a data size of all ones", "a.wav",
         ByteBuilder().text("RIFF").le32(0).text("WAVE").riffChunk("fmt ", fmt16).text("data").le32(0xFFFFFFFF)
             .append(data16),
         "",
         [](kel::AudioFileReader& r) {
             EXPECT_EQ(r.getLengthInSamples(), 3);
             EXPECT_EQ(r.getDeclaredLengthInSamples(), 0xFFFFFFFF / 4);
         }},
        {"RF64 sizes of all ones in ds64", "a.wav",
         ByteBuilder().text("RF64").le32(0xFFFFFFFF).text("WAVE")
             .riffChunk("ds64", ByteBuilder().le64(~0ull).le64(~0ull).le64(0).le32(0))
             .riffChunk("fmt ", fmt16).text("data").le32(0xFFFFFFFF).append(data16),
         "",
         [=](kel::AudioFileReader& r) {
             EXPECT_EQ(r.getLengthInSamples(), 3);
             ExpectFrames(r, 2, {300 * s, -300 * s});
         }},
        {"an RF64 data size of 0 followed by a chunk is an empty chunk", "a.wav",
         ByteBuilder().text("RF64").le32(0xFFFFFFFF).text("WAVE")
             .riffChunk("ds64", ByteBuilder().le64(0).le64(0).le64(0).le32(0))
             .riffChunk("fmt ", fmt16).text("data").le32(0xFFFFFFFF)
             .riffChunk("cue ", ByteBuilder().le32(1).le32(3).le32(0).text("data").le32(0).le32(0).le32(1)),
         "",
         [](kel::AudioFileReader& r) {
             EXPECT_EQ(r.getLengthInSamples(), 0);
             EXPECT_EQ(r.getMarkers().size(), 1u);
         }},
        {"65535 channels read one frame at a time", "a.wav",
         RiffWave(ByteBuilder().riffChunk("fmt ", WavFormat(1, 65535, 8000, 16))
                      .riffChunk("data", ByteBuilder().zeros(65535 * 2 * 2 - 2).le16(0x4000))),
         "",
         [](kel::AudioFileReader& r) {
             EXPECT_EQ(r.getNumChannels(), 65535u);
             EXPECT_EQ(Wav(r).getBytesPerFrame(), 131070);
             EXPECT_EQ(r.getLengthInSamples(), 2);
             kel::AudioBuffer<float> buffer(65535, 2);
             ASSERT_TRUE(r.read(buffer, 0, 2, 0));
             EXPECT_EQ(buffer.getReadPointer(65534)[1], 0.5f);
             EXPECT_EQ(buffer.getReadPointer(65534)[0], 0.0f);
         }},
        {"an impossible width takes the frame size from the byte rate", "a.wav",
         RiffWave(ByteBuilder()
                      .riffChunk("fmt ",
                                 [] {
                                     auto f = WavFormat(1, 2, 48000, 16);
                                     f.bytes[14] = 0xFB;  // bits per sample: -5
                                     f.bytes[15] = 0xFF;
                                     return f;
                                 }())
                      .riffChunk("data", data16)),
         "",
         [=](kel::AudioFileReader& r) {
             EXPECT_EQ(r.getBitsPerSample(), 16u);
             ExpectFrames(r, 0, {100 * s, -100 * s});
         }},
        {"an unknown format tag keeps the reader with no frames", "a.wav",
         RiffWave(ByteBuilder().riffChunk("fmt ", WavFormat(2, 2, 48000, 4)).riffChunk("data", data16)), "",
         [](kel::AudioFileReader& r) {
             EXPECT_EQ(Wav(r).getBytesPerFrame(), 0);
             EXPECT_EQ(r.getLengthInSamples(), 0);
             ExpectFrames(r, 0, {0, 0});
         }},
        {"A-law bytes are read as 8-bit PCM", "a.wav",
         RiffWave(ByteBuilder().riffChunk("fmt ", WavFormat(6, 1, 8000, 8)).riffChunk("data",
                                                                                   ByteBuilder().raw({0x80, 0xC0}))),
         "", [](kel::AudioFileReader& r) { ExpectFrames(r, 0, {0.0f, 0.5f}); }},
        {"a short extensible format", "a.wav",
         RiffWave(ByteBuilder().riffChunk("fmt ", WavFormat(65534, 2, 48000, 16).le16(0)).riffChunk("data", data16)),
         "", [](kel::AudioFileReader& r) { EXPECT_EQ(r.getLengthInSamples(), 0); }},
        {"extensible ambisonic B-format PCM", "a.amb", ambisonic(16, 0x01),
         "",
         [=](kel::AudioFileReader& r) {
             EXPECT_TRUE(Wav(r).isAmbisonicBFormat());
             ExpectFrames(r, 0, {100 * s, -100 * s, 200 * s, -200 * s, 300 * s, -300 * s});
         }},
        {"extensible ambisonic B-format float is not read", "a.amb", ambisonic(32, 0x03),
         "",
         [](kel::AudioFileReader& r) {
             EXPECT_FALSE(Wav(r).isAmbisonicBFormat());
             EXPECT_EQ(Wav(r).getBytesPerFrame(), 0);
             EXPECT_EQ(r.getLengthInSamples(), 0);
         }},
        {"RF64 sizes come from ds64, chunks after the data are found", "a.wav",
         ByteBuilder().text("RF64").le32(0xFFFFFFFF).text("WAVE")
             .riffChunk("ds64", ByteBuilder().le64(200).le64(8).le64(2).le32(0))
             .riffChunk("fmt ", fmt16).text("data").le32(0xFFFFFFFF).append(Samples16({100, -100, 200, -200}))
             .riffChunk("cue ", ByteBuilder().le32(1).le32(3).le32(0).text("data").le32(0).le32(0).le32(1)),
         "",
         [=](kel::AudioFileReader& r) {
             EXPECT_TRUE(r.isRF64());
             EXPECT_EQ(r.getLengthInSamples(), 2);
             ExpectFrames(r, 1, {200 * s, -200 * s, 0, 0});
             ASSERT_EQ(r.getMarkers().size(), 1u);
             EXPECT_EQ(r.getMarkers()[0]->position, 1);
         }},
        {"a cue count beyond the chunk yields the records that fit", "a.wav",
         RiffWave(ByteBuilder().riffChunk("fmt ", fmt16).riffChunk("data", data16)
                      .riffChunk("cue ", ByteBuilder().le32(1000).le32(0x12345).le32(0).text("data").le32(0).le32(0)
                                             .le32(2).le32(9).le32(5))),
         "",
         [](kel::AudioFileReader& r) {
             ASSERT_EQ(r.getMarkers().size(), 1u);
             EXPECT_EQ(r.getMarkers()[0]->identifier, 0x2345);
             EXPECT_EQ(r.getMarkers()[0]->label, "9029");
             EXPECT_EQ(Wav(r).getCueMetadata().at("NumCuePoints"), "1000");
             EXPECT_EQ(Wav(r).getCueMetadata().at("Cue0Identifier"), "74565");
             EXPECT_EQ(Wav(r).getCueMetadata().count("Cue1Identifier"), 0u);
         }},
        {"a cue size of 4 GiB in a short file", "a.wav",
         RiffWave(ByteBuilder().riffChunk("fmt ", fmt16).riffChunk("data", data16).text("cue ").le32(0xFFFFFFF0)
                      .le32(0xFFFFFFFF).le32(1).le32(0).text("data").le32(0).le32(0).le32(2)),
         "",
         [](kel::AudioFileReader& r) {
             ASSERT_EQ(r.getMarkers().size(), 1u);
             EXPECT_EQ(r.getMarkers()[0]->position, 2);
         }},
        {"a short bext chunk gives no fields", "a.wav",
         RiffWave(ByteBuilder().riffChunk("fmt ", fmt16).riffChunk("bext", ByteBuilder().text("only a description"))
                      .riffChunk("data", data16)),
         "", [](kel::AudioFileReader& r) { EXPECT_FALSE(r.hasBwfChunk()); }},
        {"axml and chna are kept", "a.wav",
         RiffWave(ByteBuilder().riffChunk("fmt ", fmt16).riffChunk("axml", ByteBuilder().text("<ebuCoreMain/>"))
                      .riffChunk("chna", ByteBuilder().le16(2).le16(1).le16(1).text("ATU_00000001AT_00031001_01")
                                             .text("AP_00031001").u8(0).le16(2).text("ATU_00000002AT_00031002_01")
                                             .text("AP_00031001").u8(0))
                      .riffChunk("data", data16)),
         "",
         [](kel::AudioFileReader& r) {
             const auto& w = Wav(r);
             EXPECT_EQ(w.getAxmlText(), "<ebuCoreMain/>");
             EXPECT_EQ(w.getChannelAllocation().numTracks, 2);
             ASSERT_EQ(w.getChannelAllocation().uids.size(), 2u);
             EXPECT_EQ(w.getChannelAllocation().trackIndices[1], 2);
             EXPECT_EQ(w.getChannelAllocation().uids[1], "ATU_00000002");
             EXPECT_EQ(w.getChannelAllocation().trackFormatRefs[1], "AT_00031002_01");
             EXPECT_EQ(w.getChannelAllocation().packFormatRefs[0], "AP_00031001");
         }},
        {"a chna claiming a million records in a short file", "a.wav",
         RiffWave(ByteBuilder().riffChunk("fmt ", fmt16).riffChunk("data", data16).text("chna").le32(40000004)
                      .le16(1).le16(1).le16(1).text("ATU_00000001")),
         "", [](kel::AudioFileReader& r) { EXPECT_LE(Wav(r).getChannelAllocation().uids.size(), 1u); }},
        {"a Wave64 chunk of size 0 ends the walk", "a.w64",
         ByteBuilder().raw({0x72, 0x69, 0x66, 0x66, 0x2E, 0x91, 0xCF, 0x11, 0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00,
                            0x00})
             .le64(1000)
             .raw({0x77, 0x61, 0x76, 0x65, 0xF3, 0xAC, 0xD3, 0x11, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A})
             .raw({0x66, 0x6D, 0x74, 0x20, 0xF3, 0xAC, 0xD3, 0x11, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A})
             .le64(24 + 16).append(fmt16).text("oops").zeros(12).le64(0).zeros(64),
         "",
         [](kel::AudioFileReader& r) {
             EXPECT_TRUE(r.isWave64());
             EXPECT_EQ(r.getLengthInSamples(), 0);
         }},
    };
}

std::vector<Case> AiffCases()
{
    const auto comm = [](int channels, std::uint32_t frames, int bits, std::uint32_t rate) {
        return ByteBuilder().be16(std::uint32_t(channels)).be32(frames).be16(std::uint32_t(bits))
            .append(ExtendedRate(rate));
    };
    const auto ssnd = [](std::initializer_list<int> values) {
        ByteBuilder b;
        b.be32(0).be32(0);
        for (const int v : values)
            b.be16(std::uint32_t(v));
        return b;
    };
    const auto form = kel::test::AiffForm;
    const float s = 1.0f / 32768.0f;
    return {
        {"not an AIFF form", "a.aiff", form("AIFX", ByteBuilder().aiffChunk("COMM", comm(1, 2, 16, 44100))),
         "file {path} is not a valid AIFF file"},
        {"no COMM", "a.aiff", form("AIFF", ByteBuilder().aiffChunk("SSND", ssnd({1, 2}))),
         "file {path} is not a valid AIFF file"},
        {"exponent out of range", "a.aiff",
         form("AIFF", ByteBuilder().aiffChunk("COMM", [] {
             auto c = ByteBuilder().be16(1).be32(2).be16(16).append(ExtendedRate(44100));
             c.bytes[8] = 0x3F;
             return c;
         }())),
         "file {path} is not a valid AIFF file"},
        {"rate beyond 2^29", "a.aiff",
         form("AIFF", ByteBuilder().aiffChunk("COMM", ByteBuilder().be16(1).be32(2).be16(16).be16(0x401D).be32(
                                                          0x80000000).be32(0))),
         "file {path} is not a valid AIFF file"},
        {"an unknown compression", "a.aifc",
         form("AIFC", ByteBuilder().aiffChunk("COMM", comm(1, 2, 16, 8000).text("ulaw").u8(0).u8(0))),
         "file {path} is not a valid AIFF file"},
        {"negative channels", "a.aiff", form("AIFF", ByteBuilder().aiffChunk("COMM", comm(-2, 2, 16, 8000))),
         "file {path} is not a valid AIFF file"},
        {"a bad FVER before COMM", "a.aifc",
         form("AIFC", ByteBuilder().aiffChunk("FVER", ByteBuilder().be32(7)).aiffChunk("COMM", comm(1, 2, 16, 8000))),
         "file {path} is not a valid AIFF file"},
        {"a bad FVER after COMM", "a.aifc",
         form("AIFC", ByteBuilder().aiffChunk("COMM", comm(1, 2, 16, 8000)).aiffChunk("FVER", ByteBuilder().be32(7))),
         "", [](kel::AudioFileReader& r) { EXPECT_EQ(r.getSampleRate(), 8000.0); }},
        {"SSND before COMM keeps the COMM count", "a.aiff",
         form("AIFF", ByteBuilder().aiffChunk("SSND", ssnd({100, 200})).aiffChunk("COMM", comm(1, 5, 16, 8000))), "",
         [=](kel::AudioFileReader& r) {
             EXPECT_EQ(r.getLengthInSamples(), 5);
             ExpectFrames(r, 0, {100 * s, 200 * s});
         }},
        {"a COMM count beyond SSND is cut down to the file", "a.aiff",
         form("AIFF", ByteBuilder().aiffChunk("COMM", comm(1, 1000, 16, 8000)).aiffChunk("SSND", ssnd({100, 200}))),
         "",
         [=](kel::AudioFileReader& r) {
             EXPECT_EQ(r.getDeclaredLengthInSamples(), 6);  // the size counts the offset fields too
             EXPECT_EQ(r.getLengthInSamples(), 2);
             ExpectFrames(r, 0, {100 * s, 200 * s, 0});
         }},
        {"a COMM count beyond SSND, with a chunk after it", "a.aiff",
         form("AIFF", ByteBuilder().aiffChunk("COMM", comm(1, 1000, 16, 8000)).aiffChunk("SSND", ssnd({100, 200}))
                          .aiffChunk("COMT", ByteBuilder().be16(0))),
         "", [](kel::AudioFileReader& r) { EXPECT_EQ(r.getLengthInSamples(), 6); }},
        {"sizes and counts of all ones", "a.aiff",
         ByteBuilder().text("FORM").be32(0xFFFFFFFF).text("AIFF").aiffChunk("COMM", comm(1, 0xFFFFFFFF, 16, 8000))
             .text("SSND").be32(0xFFFFFFFF).append(ssnd({100, 200, 300})),
         "",
         [=](kel::AudioFileReader& r) {
             EXPECT_EQ(r.getLengthInSamples(), 3);
             ExpectFrames(r, 0, {100 * s, 200 * s, 300 * s});
         }},
        {"a COMM count of 0 with a whole SSND", "a.aiff",
         form("AIFF", ByteBuilder().aiffChunk("COMM", comm(1, 0, 16, 8000)).aiffChunk("SSND", ssnd({100, 200}))
                          .aiffChunk("COMT", ByteBuilder().be16(0))),
         "",
         [=](kel::AudioFileReader& r) {
             EXPECT_EQ(r.getDeclaredLengthInSamples(), 0);
             EXPECT_EQ(r.getLengthInSamples(), 2);
             ExpectFrames(r, 0, {100 * s, 200 * s, 0});
         }},
        {"a negative chunk size ends the walk", "a.aiff",
         form("AIFF", ByteBuilder().aiffChunk("COMM", comm(1, 2, 16, 8000)).text("JUNK").be32(0xFFFFFFF0).zeros(8)),
         "", [](kel::AudioFileReader& r) { EXPECT_EQ(r.getLengthInSamples(), 2); }},
        {"a huge SSND offset reads zeros", "a.aiff",
         form("AIFF", ByteBuilder().aiffChunk("COMM", comm(1, 2, 16, 8000))
                          .aiffChunk("SSND", ByteBuilder().be32(0x7FFFFFF0).be32(0).be16(5).be16(6))),
         "", [](kel::AudioFileReader& r) { ExpectFrames(r, 0, {0, 0}); }},
        {"MARK names pad to even length", "a.aiff",
         form("AIFF", ByteBuilder()
                          .aiffChunk("COMM", comm(1, 2, 16, 8000))
                          .aiffChunk("MARK", ByteBuilder().be16(3).be16(1).be32(10).u8(3).text("odd")
                                                 .be16(2).be32(20).u8(4).text("even").u8(0)
                                                 .be16(0xFFFF).be32(0xFFFFFFFF).u8(0).u8(0))
                          .aiffChunk("SSND", ssnd({1, 2}))),
         "",
         [](kel::AudioFileReader& r) {
             ASSERT_EQ(r.getMarkers().size(), 3u);
             EXPECT_EQ(r.getMarkers()[0]->label, "odd");
             EXPECT_EQ(r.getMarkers()[1]->label, "even");
             EXPECT_EQ(r.getMarkers()[1]->position, 20);
             EXPECT_EQ(r.getMarkers()[2]->identifier, -1);
             EXPECT_EQ(r.getMarkers()[2]->position, -1);
             EXPECT_EQ(r.getMarkers()[2]->label, "");
         }},
        {"a MARK count beyond the file", "a.aiff",
         form("AIFF", ByteBuilder().aiffChunk("COMM", comm(1, 2, 16, 8000)).text("MARK").be32(100).be16(60000)
                          .be16(1).be32(1).u8(1).text("x")),
         "", [](kel::AudioFileReader& r) { EXPECT_LE(r.getMarkers().size(), 2u); }},
        {"AIFF-C stops after FVER, COMM and SSND", "a.aifc",
         form("AIFC", ByteBuilder().aiffChunk("FVER", ByteBuilder().be32(0xA2805140))
                          .aiffChunk("COMM", comm(1, 2, 16, 8000).text("NONE").u8(0).u8(0))
                          .aiffChunk("SSND", ssnd({1, 2}))
                          .aiffChunk("MARK", ByteBuilder().be16(1).be16(1).be32(1).u8(1).text("x"))),
         "", [](kel::AudioFileReader& r) { EXPECT_TRUE(r.getMarkers().empty()); }},
        {"a truncated COMM", "a.aiff", ByteBuilder().text("FORM").be32(100).text("AIFF").text("COMM").be32(18).be16(1),
         "file {path} is not a valid AIFF file"},
    };
}

void RunCases(const std::vector<Case>& cases)
{
    TempDir dir;
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        const auto path = dir.file(c.fileName);
        kel::test::SaveBytes(path, c.bytes.bytes);
        try
        {
            auto reader = kel::AudioFileReader::CreateReaderFor(kel::File(path));
            ASSERT_NE(reader, nullptr);
            EXPECT_TRUE(c.error.empty()) << "opened, expected: " << c.error;
            if (c.check)
                c.check(*reader);
            // Whatever the header claims, reads anywhere end normally.
            const auto length = reader->getLengthInSamples();
            if (reader->getNumChannels() <= 64)
            {
                for (const std::int64_t start : {std::int64_t(-5), std::int64_t(0), length / 2, length - 3, length})
                    EXPECT_EQ(kel::test::ReadRange(*reader, start, 8).size(), 8u * reader->getNumChannels());
            }
        }
        catch (const kel::Exception& e)
        {
            EXPECT_EQ(e.getMessage(), kel::test::Expected(c.error, path));
        }
    }
}

TEST(MalformedFiles, WavFamily) { RunCases(WavCases()); }

TEST(MalformedFiles, Aiff) { RunCases(AiffCases()); }

} // namespace
