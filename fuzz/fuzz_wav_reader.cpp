// Feeds arbitrary bytes to the RIFF, RF64 and Wave64 reader from memory: a header it
// refuses must end in a kel::Exception, one it accepts must survive reads
// anywhere.
#include <cstddef>
#include <cstdint>

#include "ReaderFuzzing.h"
#include "audiofiles/KelWavFileReader.h"
#include "files/KelInputStream.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    try
    {
        kel::WavFileReader reader(std::make_unique<kel::MemoryInputStream>(data, size), kel::File("fuzz.wav"));
        fuzzing::ExerciseReader(reader, data, size);
    }
    catch (const kel::Exception&)
    {
    }
    return 0;
}
