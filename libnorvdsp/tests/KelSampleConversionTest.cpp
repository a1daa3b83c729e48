// The frame converters on their own, over the sound bytes of files written
// by libsndfile, copied into memory exactly as long as the frames (and
// arrays exactly as long as what they receive), so that AddressSanitizer
// sees any read or write past them: every layout, channel counts around the
// widths the converters take at once (4, 8), every narrower width, frame
// counts that leave partial lines and partial groups of four, compared
// with libsndfile's decode.
#include <algorithm>
#include <bit>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "audiofiles/KelAiffFileReader.h"
#include "audiofiles/KelSampleConversion.h"
#include "audiofiles/KelWavFileReader.h"
#include "support/AudioFixtures.h"
#include "support/TestTemp.h"

#if KEL_HAVE_SNDFILE

namespace {

using kel::test::Decoded;
using kel::test::TempDir;

struct Layout
{
    const char* extension;
    int format;
    std::uint32_t bits;
    bool isFloat;
    kel::SampleByteOrder order;
    kel::EightBitSamples eightBit;
};

TEST(SampleConversion, ConvertersReadOnlyTheirFramesAndMatchLibsndfile)
{
    using kel::EightBitSamples;
    using kel::SampleByteOrder;
    const auto little = SampleByteOrder::littleEndian, big = SampleByteOrder::bigEndian;
    const auto offset = EightBitSamples::unsignedOffset, twos = EightBitSamples::signedTwos;
    const Layout layouts[] = {
        {"wav", SF_FORMAT_WAV | SF_FORMAT_PCM_U8, 8, false, little, offset},
        {"wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 16, false, little, offset},
        {"wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 24, false, little, offset},
        {"wav", SF_FORMAT_WAV | SF_FORMAT_PCM_32, 32, false, little, offset},
        {"wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 32, true, little, offset},
        {"wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 64, true, little, offset},
        {"aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_S8, 8, false, big, twos},
        {"aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 16, false, big, twos},
        {"aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_24, 24, false, big, twos},
        {"aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_32, 32, false, big, twos},
        {"aiff", SF_FORMAT_AIFF | SF_FORMAT_FLOAT, 32, true, big, twos},
    };
    TempDir dir;
    for (const auto& layout : layouts)
        for (const int channels : {1, 2, 3, 4, 5, 7, 8, 9, 16, 17})
        {
            const auto name = std::to_string(layout.format) + "-" + std::to_string(channels) + "." + layout.extension;
            SCOPED_TRACE(name);
            const auto path = dir.file(name);
            constexpr std::int64_t frames = 38;  // even: an odd 8-bit AIFF sound has a pad byte
            ASSERT_TRUE(kel::test::WriteWithSndfile(path, layout.format, channels, frames, 44100));
            const Decoded reference = kel::test::DecodeWithSndfile(path);
            ASSERT_EQ(reference.frames, frames);

            // Where the frames lie, as the readers found them.
            std::int64_t dataStart = 0;
            std::int32_t bytesPerFrame = 0;
            if (std::string(layout.extension) == "wav")
            {
                kel::WavFileReader reader{kel::File(path)};
                dataStart = reader.getDataStart();
                bytesPerFrame = reader.getBytesPerFrame();
            }
            else
            {
                kel::AiffFileReader reader{kel::File(path)};
                dataStart = reader.getDataStart();
                bytesPerFrame = reader.getBytesPerFrame();
            }
            ASSERT_EQ(bytesPerFrame, channels * std::int32_t(layout.bits / 8));
            const auto bytes = kel::test::LoadBytes(path);
            ASSERT_GE(std::int64_t(bytes.size()), dataStart + frames * bytesPerFrame);

            const auto convert =
                kel::ChooseFrameConverter(layout.bits, layout.isFloat, layout.order, layout.eightBit);
            ASSERT_NE(convert, nullptr);
            for (const std::int32_t count : {1, 3, 4, 15, 16, 17, 37})
                for (std::int64_t first = 0; first + count <= frames; first += 11)
                {
                    const auto size = std::size_t(count) * std::size_t(bytesPerFrame);
                    const auto source = std::make_unique<std::uint8_t[]>(size);
                    std::copy_n(bytes.begin() + std::ptrdiff_t(dataStart + first * bytesPerFrame), size,
                                source.get());
                    for (int width = 1; width <= channels; ++width)
                    {
                        // Each array holds a few values before the frames.
                        constexpr std::int64_t at = 5;
                        std::vector<std::unique_ptr<float[]>> arrays;
                        std::vector<float*> pointers;
                        for (int c = 0; c < width; ++c)
                        {
                            arrays.push_back(std::make_unique<float[]>(std::size_t(at + count)));
                            pointers.push_back(arrays.back().get());
                        }
                        EXPECT_FALSE(convert(source.get(), bytesPerFrame, count, pointers.data(),
                                             std::uint32_t(width), at));
                        for (int c = 0; c < width; ++c)
                            for (std::int32_t f = 0; f < count; ++f)
                                ASSERT_EQ(std::bit_cast<std::uint32_t>(arrays[std::size_t(c)][std::size_t(at + f)]),
                                          std::bit_cast<std::uint32_t>(reference.at(first + f, c)))
                                    << width << " of " << channels << " channels, frames " << first << " + "
                                    << count << ", channel " << c << " frame " << f;
                    }
                }
        }
}

} // namespace

#endif
