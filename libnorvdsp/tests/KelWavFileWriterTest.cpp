// The float WAV writer, read back by libsndfile: plain RIFF, extensible
// layouts, and the switch to RF64.
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

TEST(WavFileWriter, LibsndfileReadsBackEveryLayout)
{
    kel::test::TempDir dir;
    struct Case
    {
        std::uint32_t channels;
        std::uint32_t frames;
        std::uint64_t rf64Threshold;
        const char* magic;
    };
    const Case cases[] = {
        {1, 1000, kel::WavFileWriter::riffLimit, "RIFF"},
        {2, 777, kel::WavFileWriter::riffLimit, "RIFF"},
        {3, 500, kel::WavFileWriter::riffLimit, "RIFF"},   // extensible
        {64, 129, kel::WavFileWriter::riffLimit, "RIFF"},
        {2, 4096, 1000, "RF64"},                           // forced past the threshold
        {5, 0, kel::WavFileWriter::riffLimit, "RIFF"},     // no frames at all
    };
    for (const auto& c : cases)
    {
        const std::string path = dir.file("out" + std::to_string(c.channels) + "_" + std::to_string(c.frames) + ".wav");
        std::vector<std::vector<float>> planar(c.channels, std::vector<float>(c.frames));
        for (std::uint32_t ch = 0; ch < c.channels; ++ch)
            for (std::uint32_t f = 0; f < c.frames; ++f)
                planar[ch][f] = std::sin(0.01f * float(f * (ch + 1))) * (1.0f - 0.001f * float(ch));
        {
            kel::WavFileWriter writer(kel::File(path), c.channels, 48000.0, c.rf64Threshold);
            std::vector<const float*> pointers;
            for (auto& channel : planar)
                pointers.push_back(channel.data());
            // Two writes, the second through the interleaved entry.
            const std::uint32_t half = c.frames / 2;
            writer.WritePlanar(pointers.data(), half);
            std::vector<float> interleaved;
            for (std::uint32_t f = half; f < c.frames; ++f)
                for (std::uint32_t ch = 0; ch < c.channels; ++ch)
                    interleaved.push_back(planar[ch][f]);
            writer.WriteInterleaved(interleaved.data(), c.frames - half);
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
        EXPECT_EQ(info.format & SF_FORMAT_SUBMASK, SF_FORMAT_FLOAT);
        std::vector<float> read(std::size_t(c.frames) * c.channels);
        EXPECT_EQ(sf_readf_float(sf, read.data(), c.frames), sf_count_t(c.frames));
        sf_close(sf);
        for (std::uint32_t f = 0; f < c.frames; ++f)
            for (std::uint32_t ch = 0; ch < c.channels; ++ch)
                ASSERT_EQ(read[std::size_t(f) * c.channels + ch], planar[ch][f]) << path << " frame " << f;
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
