// auvo5-sfplay decode FILE OUT
// Every frame of every channel, read through the engine's reader in blocks
// of at most 4096 frames, written as interleaved 32-bit float little-endian.
// Non-finite samples come out as 0, and stderr shows the console's warning
// about them, as the player posts it.
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "CliVerbs.h"
#include "audiofiles/KelAudioFileReader.h"
#include "common/KelException.h"
#include "osc/KelHostNotifier.h"

namespace cli {

namespace {

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

    constexpr std::int64_t blockFrames = 4096;
    const auto numChannels = reader->getNumChannels();
    const auto length = reader->getLengthInSamples();
    kel::AudioBuffer<float> block(numChannels, std::uint64_t(blockFrames));
    std::vector<std::uint8_t> interleaved(std::size_t(blockFrames) * numChannels * 4);

    for (std::int64_t position = 0; position < length; position += blockFrames)
    {
        const auto n = std::min(blockFrames, length - position);
        if (!reader->read(block, 0, n, position))
            throw kel::Exception("reading frames " + kel::ToString(position) + " to " + kel::ToString(position + n)
                                     + " failed",
                                 KEL_HERE);
        auto* bytes = interleaved.data();
        for (std::int64_t f = 0; f < n; ++f)
            for (std::uint32_t c = 0; c < numChannels; ++c)
            {
                const auto bits = std::bit_cast<std::uint32_t>(block.getReadPointer(c)[f]);
                *bytes++ = std::uint8_t(bits);
                *bytes++ = std::uint8_t(bits >> 8);
                *bytes++ = std::uint8_t(bits >> 16);
                *bytes++ = std::uint8_t(bits >> 24);
            }
        const auto size = std::size_t(bytes - interleaved.data());
        if (std::fwrite(interleaved.data(), 1, size, output.get()) != size)
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
