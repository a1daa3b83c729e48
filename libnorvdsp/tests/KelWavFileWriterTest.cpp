// The float WAV writer, read back by libsndfile: plain RIFF, extensible
// layouts, 32 and 64-bit samples from float and double channels, frames
// handed over in pieces of every size (the writer holds them back and
// writes them in blocks), and the switch to RF64.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <vector>

#include <gtest/gtest.h>

#include "audiofiles/KelWavFileWriter.h"
#include "common/KelException.h"
#include "support/TestTemp.h"

#if KEL_HAVE_SNDFILE
#include <sndfile.h>
#endif

namespace {

#if KEL_HAVE_SNDFILE
std::string Magic(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    char tag[4] = {};
    in.read(tag, 4);
    return std::string(tag, 4);
}

/** Channel values that tell every frame and channel apart. */
double Value(std::uint32_t channel, std::uint32_t frame)
{
    return std::sin(0.01 * double(frame) * double(channel + 1)) * (1.0 - 0.001 * double(channel));
}

TEST(WavFileWriter, LibsndfileReadsBackEveryLayout)
{
    kel::test::TempDir dir;
    enum class Input
    {
        floats,
        doubles
    };
    struct Case
    {
        std::uint32_t channels;
        std::uint32_t frames;
        std::uint64_t rf64Threshold;
        const char* magic;
        bool wide = false;  // 64-bit samples
        Input input = Input::floats;
    };
    const Case cases[] = {
        {1, 1000, kel::WavFileWriter::riffLimit, "RIFF"},
        {2, 777, kel::WavFileWriter::riffLimit, "RIFF"},
        {3, 500, kel::WavFileWriter::riffLimit, "RIFF"},   // extensible
        {64, 129, kel::WavFileWriter::riffLimit, "RIFF"},
        {2, 4096, 1000, "RF64"},                           // forced past the threshold
        {5, 0, kel::WavFileWriter::riffLimit, "RIFF"},     // no frames at all
        {67, 4099, kel::WavFileWriter::riffLimit, "RIFF"}, // several blocks held back
        {600, 301, kel::WavFileWriter::riffLimit, "RIFF"},
        {7, 1500, kel::WavFileWriter::riffLimit, "RIFF", true, Input::floats},
        {65, 2050, kel::WavFileWriter::riffLimit, "RIFF", true, Input::doubles},
        {9, 999, kel::WavFileWriter::riffLimit, "RIFF", false, Input::doubles},
    };
    for (const auto& c : cases)
    {
        const std::string path = dir.file("out" + std::to_string(c.channels) + "_" + std::to_string(c.frames)
                                          + (c.wide ? "w" : "") + (c.input == Input::doubles ? "d" : "") + ".wav");
        SCOPED_TRACE(path);
        std::vector<std::vector<float>> planar(c.channels, std::vector<float>(c.frames));
        std::vector<std::vector<double>> widePlanar(c.channels, std::vector<double>(c.frames));
        for (std::uint32_t ch = 0; ch < c.channels; ++ch)
            for (std::uint32_t f = 0; f < c.frames; ++f)
            {
                widePlanar[ch][f] = Value(ch, f);
                planar[ch][f] = float(Value(ch, f));
            }
        {
            kel::WavFileWriter writer = c.wide ? kel::WavFileWriter::Double(kel::File(path), c.channels, 48000.0)
                                               : kel::WavFileWriter(kel::File(path), c.channels, 48000.0,
                                                                    c.rf64Threshold);
            // Planar pieces of growing sizes, then (32-bit files) the rest
            // through the interleaved entry.
            const std::uint32_t planarFrames = c.wide ? c.frames : c.frames / 2;
            std::uint32_t done = 0;
            for (std::uint32_t piece = 1; done < planarFrames; piece = piece * 3 + 1)
            {
                const auto n = std::min(piece, planarFrames - done);
                std::vector<const float*> pointers;
                std::vector<const double*> widePointers;
                for (std::uint32_t ch = 0; ch < c.channels; ++ch)
                {
                    pointers.push_back(planar[ch].data() + done);
                    widePointers.push_back(widePlanar[ch].data() + done);
                }
                if (c.input == Input::doubles)
                    writer.WritePlanar(widePointers.data(), n);
                else
                    writer.WritePlanar(pointers.data(), n);
                done += n;
            }
            std::vector<float> interleaved;
            for (std::uint32_t f = planarFrames; f < c.frames; ++f)
                for (std::uint32_t ch = 0; ch < c.channels; ++ch)
                    interleaved.push_back(planar[ch][f]);
            if (!interleaved.empty())
                writer.WriteInterleaved(interleaved.data(), c.frames - planarFrames);
            writer.Finalise();
            EXPECT_EQ(writer.getNumFramesWritten(), c.frames);
        }
        EXPECT_EQ(Magic(path), c.magic);

        SF_INFO info{};
        SNDFILE* sf = sf_open(path.c_str(), SFM_READ, &info);
        ASSERT_NE(sf, nullptr) << sf_strerror(nullptr) << " for " << path;
        EXPECT_EQ(info.channels, int(c.channels));
        EXPECT_EQ(info.samplerate, 48000);
        EXPECT_EQ(info.frames, sf_count_t(c.frames));
        EXPECT_EQ(info.format & SF_FORMAT_SUBMASK, c.wide ? SF_FORMAT_DOUBLE : SF_FORMAT_FLOAT);
        std::vector<double> read(std::size_t(c.frames) * c.channels);
        EXPECT_EQ(sf_readf_double(sf, read.data(), c.frames), sf_count_t(c.frames));
        sf_close(sf);
        for (std::uint32_t f = 0; f < c.frames; ++f)
            for (std::uint32_t ch = 0; ch < c.channels; ++ch)
            {
                // What the file can hold of what was handed over.
                const double given = c.input == Input::doubles ? widePlanar[ch][f] : double(planar[ch][f]);
                const double expected = c.wide ? given : double(float(given));
                ASSERT_EQ(read[std::size_t(f) * c.channels + ch], expected) << "frame " << f << " channel " << ch;
            }
    }
}
#endif

TEST(WavFileWriter, RefusesWhatItCannotWrite)
{
    kel::test::TempDir dir;
    EXPECT_THROW(kel::WavFileWriter(kel::File(dir.file("missing/dir/x.wav")), 2, 48000.0), kel::exceptions::ErrorWritingFile);
    EXPECT_THROW(kel::WavFileWriter(kel::File(dir.file("zero.wav")), 0, 48000.0), kel::exceptions::ErrorWritingFile);
}

} // namespace
