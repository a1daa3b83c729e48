// The ring follows what is played: as wide as the box or the file, whichever
// is narrower, as long as the buffer or the file, whichever is shorter, none
// without a file; a file that fits is read from the disk once and then plays,
// seeks and loops from memory. Samples are compared with libsndfile's decode.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <utility>

#include "dsp/KelPlayerRing.h"
#include "support/FrameIndexReader.h"
#include "support/PlayerTestSupport.h"
#include "support/TestTemp.h"

namespace {

using kel::test::PlayerHost;

/** Forwards to the reader it wraps and counts the frames asked of it. */
class CountingReader : public kel::AudioFileReader
{
public:
    CountingReader(kel::ScopedPointer<kel::AudioFileReader> wrapped, std::shared_ptr<std::atomic<std::int64_t>> count)
        : AudioFileReader(wrapped->getFile(), nullptr), inner(std::move(wrapped)), frames(std::move(count))
    {
        metadata = inner->getMetadata();
    }
    kel::String getDefaultExtension() const override { return inner->getDefaultExtension(); }
    bool readSamples(float* const* destinations, std::int64_t numFrames, std::int64_t startFrame) override
    {
        frames->fetch_add(numFrames);
        return inner->readSamples(destinations, numFrames, startFrame);
    }

private:
    kel::ScopedPointer<kel::AudioFileReader> inner;
    std::shared_ptr<std::atomic<std::int64_t>> frames;
};

#if KEL_HAVE_SNDFILE
TEST(AudioFilePlayerRing, FollowsTheFileAndTheBox)
{
    struct Case
    {
        const char* what;
        std::uint32_t boxChannels;
        int fileChannels;
        std::int64_t fileFrames;
        std::uint64_t bufferSize;
        bool resident;
    };
    const Case cases[] = {
        {"a 600-channel file in an 8-channel box", 8, 600, 4800, 480000, true},
        {"a file narrower than the box", 6, 2, 30000, 192000, true},
        {"a file as long as the buffer", 2, 3, 192000, 192000, true},
        {"a file longer than the buffer streams", 3, 4, 250000, 192000, false},
    };
    kel::test::TempDir dir;
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        const auto fixture = kel::test::WritePlayerFixture(dir.file(std::string(c.what) + ".wav"),
                                                           SF_FORMAT_WAV | SF_FORMAT_PCM_16, c.fileChannels,
                                                           c.fileFrames, 48000);
        PlayerHost host(c.boxChannels, c.bufferSize, 48000.0, 512);
        EXPECT_EQ(host.player().getRingLength(), 0u) << "a box without a file holds no ring";
        EXPECT_EQ(host.player().getRingNumChannels(), 0u);

        const auto read = std::make_shared<std::atomic<std::int64_t>>(0);
        host.player().OpenAudioFile(
            std::make_unique<CountingReader>(kel::AudioFileReader::CreateReaderFor(kel::File(fixture.path)), read));
        const std::uint32_t heard = std::min(c.boxChannels, std::uint32_t(c.fileChannels));
        EXPECT_EQ(host.player().getRingNumChannels(), heard);
        EXPECT_EQ(host.player().getRingLength(), std::min(std::uint64_t(c.fileFrames), c.bufferSize));
        EXPECT_EQ(host.player().isRingResident(), c.resident);

        // Two and a half passes of a loop, then a segment looped from its
        // middle: every frame as libsndfile decodes it.
        host.Send("/loop 1");
        host.Send("/start");
        const auto frames = std::uint64_t(c.fileFrames);
        const std::uint32_t stride = host.outputChannels();
        auto expectFrames = [&](const std::vector<float>& output, std::uint64_t first, std::uint64_t count,
                                std::uint64_t segmentStart, std::uint64_t segmentLength)
        {
            for (std::uint64_t i = 0; i < count; ++i)
            {
                const auto f = std::int64_t(segmentStart + (first + i) % segmentLength);
                for (std::uint32_t ch = 0; ch < c.boxChannels; ++ch)
                {
                    const float expected = ch < heard ? fixture.reference.at(f, int(ch)) : 0.0f;
                    ASSERT_EQ(output[i * stride + ch], expected) << "frame " << f << ", channel " << ch;
                }
            }
        };
        expectFrames(host.Render(frames * 5 / 2), 0, frames * 5 / 2, 0, frames);
        // Whole milliseconds, so that the frames are exact.
        const std::uint64_t start = frames / 3 / 48 * 48, end = frames / 2 / 48 * 48;
        host.Send("/seek " + std::to_string(start / 48) + " " + std::to_string(end / 48));
        ASSERT_EQ(host.player().getSegmentStart(), start);
        ASSERT_EQ(host.player().getSegmentEnd(), end);
        expectFrames(host.Render((end - start) * 3), 0, (end - start) * 3, start, end - start);

        if (c.resident)
            EXPECT_EQ(read->load(), c.fileFrames) << "a file held whole is read once";
        else
            EXPECT_GT(read->load(), 2 * c.fileFrames) << "a streamed loop is read again";
        EXPECT_TRUE(host.console().reports.empty()) << host.console().lines().front();
    }
}
#endif

TEST(AudioFilePlayerRing, RefusesARingTooLargeAndKeepsTheFileOpen)
{
    PlayerHost host(4000, 480000, 48000.0, 64);
    host.player().OpenAudioFile(std::make_unique<kel::test::FrameIndexReader>("/synthetic/small.wav", 1000, 48000.0, 2));
    host.Send("/loop 1");
    host.Send("/start");
    ASSERT_TRUE(host.WaitForRing(64));

    // Ten minutes of 4000 channels: 4000 x 480000 frames of floats and their
    // frame tags, beyond the 6 GB a ring may take.
    try
    {
        host.player().OpenAudioFile(std::make_unique<kel::test::FrameIndexReader>(
            "/synthetic/wide.wav", std::int64_t(600) * 48000, 48000.0, 4000));
        ADD_FAILURE() << "the ring was allocated";
    }
    catch (const kel::Exception& e)
    {
        EXPECT_EQ(e.getMessage(), "cannot allocate the ring for \"/synthetic/wide.wav\": 4000 channels x 480000 frames "
                                  "need 7.68 GB, more than the 6 GB a ring may take; lower @buffersize or @channels");
    }
    // Nothing changed: the small file still plays, from memory.
    EXPECT_EQ(host.player().getOpenFile().getFullPathName(), "/synthetic/small.wav");
    EXPECT_EQ(host.player().getRingNumChannels(), 2u);
    EXPECT_EQ(host.player().getRingLength(), 1000u);
    EXPECT_TRUE(host.player().isPlaying());
    const auto output = host.Render(3000);
    const std::uint32_t stride = host.outputChannels();
    for (std::uint64_t i = 0; i < 3000; ++i)
        ASSERT_EQ(output[i * stride], kel::test::FrameIndexLow(std::int64_t(i % 1000))) << i;
}

} // namespace

// A wide ring's pages are faulted in by a thread of its own while the first
// disk pass writes: whatever either side does first, the frames written stay
// as written, and a ring replaced or dropped at once takes its warmer down
// with it (the sanitizer builds see any use of freed storage).
TEST(AudioFilePlayerRing, FramesWrittenWhilePagesAreWarmedStayWritten)
{
    using kel::PlayerRing;
    const PlayerRing::Shape shape{.channels = 96, .frames = 480000, .resident = false};  // 184 MB
    for (int round = 0; round < 3; ++round)
    {
        PlayerRing ring = PlayerRing::Allocate(shape, "warm.wav");
        auto& samples = ring.samples();
        // The first pass's pattern: a run at the start of every channel, and
        // one at the end, where the warmer begins.
        for (std::uint32_t c = 0; c < shape.channels; ++c)
        {
            float* channel = samples.getWritePointer(c);
            for (std::uint64_t f = 0; f < 4096; ++f)
            {
                channel[f] = float(c) + float(f) * 1e-4f;
                channel[shape.frames - 1 - f] = -float(c) - float(f) * 1e-4f;
            }
        }
        // Replaced before the warmer can have finished, then compared.
        PlayerRing other = PlayerRing::Allocate(shape, "other.wav");
        std::swap(ring, other);
        std::swap(ring, other);
        for (std::uint32_t c = 0; c < shape.channels; ++c)
        {
            const float* channel = samples.getReadPointer(c);
            for (std::uint64_t f = 0; f < 4096; ++f)
            {
                ASSERT_EQ(channel[f], float(c) + float(f) * 1e-4f) << "channel " << c << " frame " << f;
                ASSERT_EQ(channel[shape.frames - 1 - f], -float(c) - float(f) * 1e-4f) << "channel " << c;
            }
        }
        other = PlayerRing();  // dropped while its warmer may still run
    }
}
