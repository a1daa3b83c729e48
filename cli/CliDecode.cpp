// auvo5-sfplay decode FILE OUT
// Every frame of every channel, read through the engine's reader in blocks
// of at most 4096 frames, written as interleaved 32-bit float little-endian.
// A block holds about 64K samples (256 KB as floats), so that it and its
// interleaved copy stay in the cache between the reading and the writing.
// Non-finite samples come out as 0, and stderr shows the console's warning
// about them, as the player posts it.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "CliVerbs.h"
#include "audiofiles/KelAudioFileReader.h"
#include "audiofiles/KelInterleave.h"
#include "common/KelException.h"
#include "osc/KelHostNotifier.h"

namespace cli {

namespace {

static_assert(std::endian::native == std::endian::little, "decode writes the host's floats as they are");

struct FileCloser
{
    void operator()(std::FILE* f) const { std::fclose(f); }
};

} // namespace

int RunDecode(int argc, char** argv)
{
    if (argc != 2)
    {
        std::fprintf(stderr, "usage: auvo5-sfplay decode FILE OUT\n");
        return 2;
    }
    const kel::File in(argv[0]), out(argv[1]);
    const auto reader = kel::AudioFileReader::CreateReaderFor(in);
    if (reader == nullptr)
        throw kel::Exception("no file given", KEL_HERE);
    WarnAboutLength(*reader);

    std::unique_ptr<std::FILE, FileCloser> output(std::fopen(out.getFullPathName().c_str(), "wb"));
    if (output == nullptr)
        throw kel::exceptions::ErrorWritingFile(out, KEL_HERE);
    // Each block is written whole: stdio's buffer would only split it.
    std::setvbuf(output.get(), nullptr, _IONBF, 0);

    const auto numChannels = reader->getNumChannels();
    const auto length = reader->getLengthInSamples();
    constexpr std::int64_t blockSamples = std::int64_t(1) << 16;
    const std::int64_t blockFrames = std::clamp<std::int64_t>(blockSamples / numChannels / 16 * 16, 16, 4096);
    // One cache line more per channel than a block needs: arrays a power of
    // two apart would share cache sets.
    kel::AudioBuffer<float> block(numChannels, std::uint64_t(blockFrames + 16));
    std::vector<float> interleaved(std::size_t(blockFrames) * numChannels);

    for (std::int64_t position = 0; position < length; position += blockFrames)
    {
        const auto n = std::min(blockFrames, length - position);
        if (!reader->read(block, 0, n, position))
            throw kel::Exception("reading frames " + kel::ToString(position) + " to " + kel::ToString(position + n)
                                     + " failed",
                                 KEL_HERE);
        kel::Interleave(block.getArrayOfWritePointers(), numChannels, 0, std::size_t(n), interleaved.data());
        const auto size = std::size_t(n) * numChannels;
        if (std::fwrite(interleaved.data(), sizeof(float), size, output.get()) != size)
            throw kel::exceptions::ErrorWritingFile(out, KEL_HERE);
    }
    if (std::fclose(output.release()) != 0)
        throw kel::exceptions::ErrorWritingFile(out, KEL_HERE);
    if (reader->hasReplacedNonFiniteSamples())
    {
        const auto warning = kel::AudioFileReader::NonFiniteSamplesWarning(reader->getFile().getFullPathName());
        const auto line = kel::HostNotifier::ComposeConsoleText(warning, kel::HostNotifier::Level::warning);
        std::fwrite(line.data(), 1, line.size(), stderr);
        std::fputc('\n', stderr);
    }
    return 0;
}

} // namespace cli
