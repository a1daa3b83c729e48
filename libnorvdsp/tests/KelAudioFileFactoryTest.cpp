// The factory: which reader a file gets (content first, then extension), the
// errors in the system's own words, and read()'s contract with the buffer.
#include <filesystem>

#include <gtest/gtest.h>

#include "audiofiles/KelAiffFileReader.h"
#include "audiofiles/KelMP3FileReader.h"
#include "audiofiles/KelWavFileReader.h"
#include "support/AudioFixtures.h"
#include "support/ByteBuilder.h"
#include "support/TestTemp.h"
#include "support/TestText.h"

namespace {

using kel::test::ByteBuilder;
using kel::test::TempDir;
using kel::test::ThrownMessage;

ByteBuilder SmallWav()
{
    return kel::test::RiffWave(ByteBuilder()
                                   .riffChunk("fmt ", kel::test::WavFormat(1, 1, 8000, 16))
                                   .riffChunk("data", ByteBuilder().le16(0x4000).le16(0xC000).le16(0x2000)));
}

/** Frames of MPEG-1 Layer III, 128 kbit/s, 44.1 kHz, of zeros. */
ByteBuilder MpegFrames(int count)
{
    ByteBuilder b;
    for (int i = 0; i < count; ++i)
        b.raw({0xFF, 0xFB, 0x90, 0x00}).zeros(417 - 4);
    return b;
}

ByteBuilder SmallAiff()
{
    const auto comm = ByteBuilder().be16(1).be32(2).be16(16).append(kel::test::ExtendedRate(44100));
    const auto ssnd = ByteBuilder().be32(0).be32(0).be16(0x4000).be16(0x2000);
    return kel::test::AiffForm("AIFF", ByteBuilder().aiffChunk("COMM", comm).aiffChunk("SSND", ssnd));
}

TEST(AudioFileFactory, ChoosesByMagicThenByExtension)
{
    TempDir dir;
    struct Case
    {
        std::string name;
        ByteBuilder bytes;
        std::string detected;  // detectFormatName
        std::string outcome;   // the reader's format, or the error with {path}
    };
    const std::string wav = "WAV File", aiff = "AIFF File", mp3 = "MP3 File", unknown = "unknown";
    const std::vector<Case> cases = {
        {"plain.wav", SmallWav(), wav, wav},
        {"plain.aiff", SmallAiff(), aiff, aiff},
        {"aiff-named.wav", SmallAiff(), aiff, aiff},
        {"wav-named.mp3", SmallWav(), wav, wav},
        {"wav-named.txt", SmallWav(), wav, wav},
        {"UPPER.WAV", ByteBuilder().text("not riff at all"), wav, "file {path} is not a valid WAV file"},
        {"short.wav", ByteBuilder().text("RI"), wav, "file {path} is not a valid WAV file"},
        {"text.aif", ByteBuilder().text("hello"), aiff, "file {path} is not a valid AIFF file"},
        {"text.Aiff", ByteBuilder().text("hello"), aiff, "file {path} is not a valid AIFF file"},
        {"text.mp3", ByteBuilder().text("hello"), mp3, "file {path} is not a valid MP3 file"},
        {"text.bwf", ByteBuilder().text("hello"), wav, "file {path} is not a valid WAV file"},
        {"text.bw64", ByteBuilder().text("hello"), wav, "file {path} is not a valid WAV file"},
        {"text.w64", ByteBuilder().text("hello"), wav, "file {path} is not a valid WAV file"},
        {"text.amb", ByteBuilder().text("hello"), wav, "file {path} is not a valid WAV file"},
        {"text.uhj", ByteBuilder().text("hello"), wav, "file {path} is not a valid WAV file"},
        {"text.txt", ByteBuilder().text("hello"), unknown, "File {path} is not a valid audio file."},
        {"noextension", ByteBuilder().text("hello"), unknown, "File {path} is not a valid audio file."},
        // The content decides before the name.
        {"id3-named.wav", ByteBuilder().text("ID3").raw({3, 0, 0, 0, 0, 0, 4}).text("junk").text("hello"), mp3,
         "file {path} is not a valid MP3 file"},
        {"w64-named.txt",
         ByteBuilder().raw({0x72, 0x69, 0x66, 0x66, 0x2E, 0x91, 0xCF, 0x11, 0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00,
                            0x00})
             .le64(100).text("wavx").zeros(12),
         wav, "invalid wave chunk for w64"},
        {"mpeg-frames.txt", MpegFrames(3), mp3, mp3},
        // One frame header with no second where the frame ends says nothing.
        {"lone-header.wav", MpegFrames(1).text("not a second frame header"), wav,
         "file {path} is not a valid WAV file"},
        {"bw64.txt", ByteBuilder().text("BW64").le32(0).text("WAVE"), wav, "BW64 chunk is not handled"},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.name);
        const auto path = dir.file(c.name);
        kel::test::SaveBytes(path, c.bytes.bytes);
        EXPECT_EQ(kel::AudioFileReader::detectFormatName(kel::File(path)), c.detected);
        EXPECT_EQ(kel::AudioFileReader::isWavFile(kel::File(path)), c.detected == wav);
        EXPECT_EQ(kel::AudioFileReader::isAiffFile(kel::File(path)), c.detected == aiff);
        EXPECT_EQ(kel::AudioFileReader::isMp3File(kel::File(path)), c.detected == mp3);
        const auto expected = kel::test::Expected(c.outcome, path);
        try
        {
            const auto reader = kel::AudioFileReader::CreateReaderFor(kel::File(path));
            ASSERT_NE(reader, nullptr);
            EXPECT_EQ(reader->getFormatName(), expected);
        }
        catch (const kel::Exception& e)
        {
            EXPECT_EQ(e.getMessage(), expected);
        }
    }
}

TEST(AudioFileFactory, MissingEmptyAndUnreadablePaths)
{
    TempDir dir;
    EXPECT_EQ(kel::AudioFileReader::CreateReaderFor(kel::File()), nullptr);
    const auto missing = dir.file("missing.wav");
    EXPECT_EQ(ThrownMessage([&] { kel::AudioFileReader::CreateReaderFor(kel::File(missing)); }),
              "Could not find file \"" + missing + "\"");
    EXPECT_THROW(kel::AudioFileReader::CreateReaderFor(kel::File(missing)), kel::exceptions::NoSuchFile);

    // A folder named like a sound file exists but cannot be read.
    const auto folder = dir.file("folder.wav");
    std::filesystem::create_directory(folder);
    EXPECT_EQ(kel::AudioFileReader::detectFormatName(kel::File(folder)), "unknown");
    EXPECT_EQ(ThrownMessage([&] { kel::AudioFileReader::CreateReaderFor(kel::File(folder)); }),
              "not a regular file: " + folder);
}

TEST(AudioFileFactory, AQuotedPathIsNotQuotedAgain)
{
#if defined(_WIN32)
    GTEST_SKIP() << "Windows file names cannot hold double quotes";
#endif
    TempDir dir;
    const auto previous = std::filesystem::current_path();
    std::filesystem::current_path(dir.path());
    kel::test::SaveBytes("\"quoted.txt\"", ByteBuilder().text("hello").bytes);
    kel::test::SaveBytes("'single.txt'", ByteBuilder().text("hello").bytes);
    kel::test::SaveBytes("\"quoted.wav\"", ByteBuilder().text("RIFF").le32(4).text("WAVX").bytes);
    const auto quoted = ThrownMessage([] { kel::AudioFileReader::CreateReaderFor(kel::File("\"quoted.txt\"")); });
    const auto single = ThrownMessage([] { kel::AudioFileReader::CreateReaderFor(kel::File("'single.txt'")); });
    const auto wav = ThrownMessage([] { kel::AudioFileReader::CreateReaderFor(kel::File("\"quoted.wav\"")); });
    std::filesystem::current_path(previous);
    EXPECT_EQ(quoted, "File \"quoted.txt\" is not a valid audio file.");
    EXPECT_EQ(single, "File 'single.txt' is not a valid audio file.");
    EXPECT_EQ(wav, "file \"quoted.wav\" is not a valid WAV file");
}

TEST(AudioFileReaderRead, KeepsToTheBuffer)
{
    TempDir dir;
    const auto path = dir.file("stereo.wav");
    kel::test::SaveBytes(path, kel::test::RiffWave(ByteBuilder()
                                                       .riffChunk("fmt ", kel::test::WavFormat(1, 2, 8000, 16))
                                                       .riffChunk("data", ByteBuilder().le16(0x4000).le16(0xC000)))
                                   .bytes);
    const auto reader = kel::AudioFileReader::CreateReaderFor(kel::File(path));
    ASSERT_NE(reader, nullptr);

    struct Case
    {
        std::string what;
        std::uint32_t channels;
        std::int64_t bufferLength, startIndex, frames, startFrame;
        bool result;
        bool touched;
    };
    const Case cases[] = {
        {"zero frames, anywhere", 2, 4, 99, 0, -99, true, false},
        {"fits exactly", 2, 4, 3, 1, 0, true, true},
        {"runs past the buffer", 2, 4, 3, 2, 0, false, false},
        {"starts past the buffer", 2, 4, 5, 1, 0, false, false},
        {"negative start index", 2, 4, -1, 1, 0, false, false},
        {"negative frame count", 2, 4, 0, -1, 0, false, false},
        {"fewer channels than the file", 1, 4, 0, 1, 0, true, true},
        {"more channels than the file", 3, 4, 0, 1, 0, true, true},
        {"past the file's end", 2, 4, 0, 4, 10, true, true},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        kel::AudioBuffer<float> buffer(c.channels, std::uint64_t(c.bufferLength));
        for (std::uint32_t ch = 0; ch < c.channels; ++ch)
            std::fill_n(buffer.getWritePointer(ch), c.bufferLength, 7.0f);
        buffer.setClear(true);
        EXPECT_EQ(reader->read(buffer, c.startIndex, c.frames, c.startFrame), c.result);
        EXPECT_EQ(buffer.isClear(), !c.touched);
        for (std::uint32_t ch = 0; ch < c.channels && !c.touched; ++ch)
            for (std::int64_t i = 0; i < c.bufferLength; ++i)
                ASSERT_EQ(buffer.getReadPointer(ch)[i], 7.0f);
    }

    // The values land where asked; a buffer channel beyond the file's is left
    // alone, and a buffer narrower than the file gets the file's first channels.
    kel::AudioBuffer<float> buffer(3, 4);
    for (std::uint32_t ch = 0; ch < 3; ++ch)
        std::fill_n(buffer.getWritePointer(ch), 4, 7.0f);
    ASSERT_TRUE(reader->read(buffer, 1, 2, 0));
    EXPECT_EQ(std::vector<float>(buffer.getReadPointer(0), buffer.getReadPointer(0) + 4),
              (std::vector<float>{7.0f, 0.5f, 0.0f, 7.0f}));
    EXPECT_EQ(std::vector<float>(buffer.getReadPointer(1), buffer.getReadPointer(1) + 4),
              (std::vector<float>{7.0f, -0.5f, 0.0f, 7.0f}));
    EXPECT_EQ(std::vector<float>(buffer.getReadPointer(2), buffer.getReadPointer(2) + 4),
              (std::vector<float>{7.0f, 7.0f, 7.0f, 7.0f}));
    kel::AudioBuffer<float> narrow(1, 4);
    std::fill_n(narrow.getWritePointer(0), 4, 7.0f);
    ASSERT_TRUE(reader->read(narrow, 1, 2, 0));
    EXPECT_EQ(std::vector<float>(narrow.getReadPointer(0), narrow.getReadPointer(0) + 4),
              (std::vector<float>{7.0f, 0.5f, 0.0f, 7.0f}));
}

TEST(AudioFileReaderRead, ReadersTakeTheirBytesFromMemoryToo)
{
    const auto wavBytes = SmallWav().bytes;
    kel::WavFileReader wav(std::make_unique<kel::MemoryInputStream>(wavBytes.data(), wavBytes.size()),
                           kel::File("memory.wav"));
    EXPECT_EQ(kel::test::ReadRange(wav, 0, 3), (std::vector<float>{0.5f, -0.5f, 0.25f}));
    const auto aiffBytes = SmallAiff().bytes;
    kel::AiffFileReader aiff(std::make_unique<kel::MemoryInputStream>(aiffBytes.data(), aiffBytes.size()),
                             kel::File("memory.aiff"));
    EXPECT_EQ(kel::test::ReadRange(aiff, 0, 3), (std::vector<float>{0.5f, 0.25f, 0.0f}));
    EXPECT_EQ(ThrownMessage([] {
                  kel::WavFileReader(std::make_unique<kel::MemoryInputStream>(nullptr, 0), kel::File("x.wav"));
              }),
              "file \"x.wav\" is not a valid WAV file");
}

} // namespace
