// Feeds arbitrary bytes to the AIFF and AIFF-C reader from memory: a header it
// refuses must end in a kel::Exception, one it accepts must survive reads
// anywhere.
#include <cstddef>
#include <cstdint>

#include "ReaderFuzzing.h"
#include "audiofiles/KelAiffFileReader.h"
#include "files/KelInputStream.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    try
    {
        kel::AiffFileReader reader(std::make_unique<kel::MemoryInputStream>(data, size), kel::File("fuzz.aiff"));
        fuzzing::ExerciseReader(reader, data, size);
    }
    catch (const kel::Exception&)
    {
    }
    return 0;
}
