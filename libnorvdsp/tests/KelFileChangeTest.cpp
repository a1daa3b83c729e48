// Files that change under an open reader: the identity check must see a
// rewrite in place, a truncation, growth and a modification within the same
// second, and must not mistake a file replaced by a rename (the open handle
// still reads the intact old one) for a change. A file that shrinks after
// opening must fail the reads of the frames it lost, say which ones, and
// keep the frames before them exactly as libsndfile decodes the original.
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "audiofiles/KelAiffFileReader.h"
#include "audiofiles/KelWavFileReader.h"
#include "support/AudioFixtures.h"
#include "support/TestTemp.h"

#if KEL_HAVE_SNDFILE

namespace {

using kel::test::TempDir;
namespace fs = std::filesystem;

constexpr std::int64_t fixtureFrames = 100000;

/** The engine's UTF-8 path as the file system takes it. */
fs::path Native(const std::string& path) { return fs::path(std::u8string(path.begin(), path.end())); }

std::string WriteFixture(const TempDir& dir, const std::string& name, int format, int channels)
{
    const std::string path = dir.file(name);
    EXPECT_TRUE(kel::test::WriteWithSndfile(path, format, channels, fixtureFrames, 48000)) << path;
    return path;
}

void AppendBytes(const std::string& path, std::size_t count)
{
    std::ofstream out(Native(path), std::ios::binary | std::ios::app);
    const std::vector<char> bytes(count, '\x55');
    out.write(bytes.data(), std::streamsize(bytes.size()));
}

/** cp's way: the same file (same handle for a reader) truncated and
    written with other bytes. */
void RewriteInPlace(const std::string& path, const std::vector<std::uint8_t>& bytes)
{
    std::ofstream out(Native(path), std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

TEST(FileIdentity, RewritesInPlaceShowAndRenamedReplacementsDoNot)
{
    struct Case
    {
        std::string what;
        std::function<void(const TempDir&, const std::string& path)> change;
        bool unchanged;
    };
    const std::vector<Case> cases{
        {"left alone", [](const TempDir&, const std::string&) {}, true},
        {"read by another reader", [](const TempDir&, const std::string& path)
         { (void)kel::test::LoadBytes(path); }, true},
        {"another file copied over it",
         [](const TempDir& dir, const std::string& path)
         {
             const auto other = dir.file("other.wav");
             kel::test::WriteWithSndfile(other, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 5000, 48000);
             RewriteInPlace(path, kel::test::LoadBytes(other));
         },
         false},
        {"its own bytes written again, a microsecond later",
         [](const TempDir&, const std::string& path)
         {
             const auto bytes = kel::test::LoadBytes(path);
             const auto before = fs::last_write_time(Native(path));
             RewriteInPlace(path, bytes);
             // Within the same second, as a fast re-export would be.
             fs::last_write_time(Native(path), before + std::chrono::microseconds(1));
         },
         false},
        {"truncated", [](const TempDir&, const std::string& path) { fs::resize_file(Native(path), 50000); },
         false},
        {"grown", [](const TempDir&, const std::string& path) { AppendBytes(path, 4096); }, false},
#if !defined(_WIN32)
        // Windows refuses to rename over a file that is open.
        {"replaced by renaming another file over it",
         [](const TempDir& dir, const std::string& path)
         {
             const auto other = dir.file("other.wav");
             kel::test::WriteWithSndfile(other, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 5000, 48000);
             fs::rename(Native(other), Native(path));
         },
         true},
#endif
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        TempDir dir;
        const auto path = WriteFixture(dir, "played.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 8);
        const auto reader = kel::AudioFileReader::CreateReaderFor(kel::File(path));
        ASSERT_NE(reader, nullptr);
        EXPECT_TRUE(reader->isUnchangedOnDisk());
        c.change(dir, path);
        EXPECT_EQ(reader->isUnchangedOnDisk(), c.unchanged);
        // It stays so: the check compares with the file as opened.
        EXPECT_EQ(reader->isUnchangedOnDisk(), c.unchanged);
    }

    // Readers without a file have nothing that could change.
    TempDir dir;
    const auto path = WriteFixture(dir, "memory.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2);
    const auto bytes = kel::test::LoadBytes(path);
    kel::WavFileReader inMemory(std::make_unique<kel::MemoryInputStream>(bytes.data(), bytes.size()), kel::File(path));
    fs::resize_file(Native(path), 100);
    EXPECT_TRUE(inMemory.isUnchangedOnDisk());
}

/** Where the frames sit in the file, from the reader that parsed it. */
struct Layout
{
    std::int64_t dataStart = 0;
    std::int64_t bytesPerFrame = 0;
};

Layout LayoutOf(kel::AudioFileReader& reader)
{
    if (auto* wav = dynamic_cast<kel::WavFileReader*>(&reader))
        return {wav->getDataStart(), wav->getBytesPerFrame()};
    if (auto* aiff = dynamic_cast<kel::AiffFileReader*>(&reader))
        return {aiff->getDataStart(), aiff->getBytesPerFrame()};
    ADD_FAILURE() << "no layout for " << reader.getFormatName();
    return {};
}

TEST(ShortReads, FramesLostByAShrunkFileFailAndTheRestReadsAsLibsndfileDecodes)
{
    struct Format
    {
        std::string name;
        int format;
        int channels;
    };
    const std::vector<Format> formats{
        {"a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2},
        {"b.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 3},
        {"c.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2},
        {"d.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_U8, 1},
        {"e.rf64", SF_FORMAT_RF64 | SF_FORMAT_PCM_24, 2},
        {"f.w64", SF_FORMAT_W64 | SF_FORMAT_PCM_16, 2},
        {"g.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 2},
        {"h.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_24, 5},
    };
    // The file is cut at frame `kept`, inside it where a frame has more than
    // one byte; reads before it, across it, after it and across the old end.
    constexpr std::int64_t kept = 60000;
    struct Range
    {
        std::string what;
        std::int64_t start;
        std::int64_t frames;
        bool succeeds;
        std::int64_t firstUnread, lastUnread;
    };
    const std::vector<Range> ranges{
        {"before the cut", kept - 5000, 5000, true, 0, -1},
        {"across the cut", kept - 300, 1000, false, kept, kept + 699},
        {"from the cut", kept, 10, false, kept, kept + 9},
        {"after the cut", 80000, 4096, false, 80000, 84095},
        {"across the old end", fixtureFrames - 10, 30, false, fixtureFrames - 10, fixtureFrames - 1},
        {"past the old end", fixtureFrames + 10, 30, true, 0, -1},
        {"before the start and before the cut", -20, 100, true, 0, -1},
    };
    for (const auto& f : formats)
    {
        SCOPED_TRACE(f.name);
        TempDir dir;
        const auto path = WriteFixture(dir, f.name, f.format, f.channels);
        const auto reference = kel::test::DecodeWithSndfile(path);
        ASSERT_EQ(reference.frames, fixtureFrames);
        // Whole and intact, read to its end and past it: nothing to report.
        {
            const auto whole = kel::AudioFileReader::CreateReaderFor(kel::File(path));
            ASSERT_NE(whole, nullptr);
            ASSERT_EQ(whole->getLengthInSamples(), fixtureFrames);
            EXPECT_EQ(kel::test::FirstDifference(kel::test::ReadRange(*whole, 0, fixtureFrames + 100),
                                                 kel::test::ReferenceRange(reference, 0, fixtureFrames + 100)),
                      -1);
            EXPECT_TRUE(whole->getUnreadFrames().empty());
        }

        // Another reader, which has read nothing of the frames yet (bytes it
        // read before the cut would still be good).
        const auto reader = kel::AudioFileReader::CreateReaderFor(kel::File(path));
        ASSERT_NE(reader, nullptr);
        const Layout layout = LayoutOf(*reader);
        ASSERT_GT(layout.bytesPerFrame, 0);
        fs::resize_file(Native(path),
                        std::uintmax_t(layout.dataStart + kept * layout.bytesPerFrame + layout.bytesPerFrame / 2));
        EXPECT_FALSE(reader->isUnchangedOnDisk());

        for (const auto& r : ranges)
        {
            SCOPED_TRACE(r.what);
            const auto channels = reader->getNumChannels();
            kel::AudioBuffer<float> buffer(channels, std::uint64_t(r.frames));
            for (std::uint32_t c = 0; c < channels; ++c)
                std::fill_n(buffer.getWritePointer(c), r.frames, 12345.0f);
            EXPECT_EQ(reader->read(buffer, 0, r.frames, r.start), r.succeeds);
            EXPECT_EQ(reader->getUnreadFrames().first, r.firstUnread);
            EXPECT_EQ(reader->getUnreadFrames().last, r.lastUnread);
            // What the file still holds as libsndfile decoded it, silence for
            // the frames it lost and outside the file.
            for (std::int64_t i = 0; i < r.frames; ++i)
            {
                const std::int64_t frame = r.start + i;
                for (std::uint32_t c = 0; c < channels; ++c)
                {
                    const float expected =
                        frame >= 0 && frame < kept ? reference.at(frame, int(c)) : 0.0f;
                    ASSERT_EQ(buffer.getReadPointer(c)[i], expected) << "frame " << frame << " channel " << c;
                }
            }
        }
    }
}

} // namespace

#endif
