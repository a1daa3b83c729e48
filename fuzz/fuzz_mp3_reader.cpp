// Feeds arbitrary bytes to the MPEG audio reader from memory: a header it
// refuses must end in a kel::Exception, one it accepts must survive reads
// anywhere.
#include <cstddef>
#include <cstdint>

#include "ReaderFuzzing.h"
#include "audiofiles/KelMP3FileReader.h"
#include "files/KelInputStream.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    try
    {
        kel::MP3FileReader reader(std::make_unique<kel::MemoryInputStream>(data, size), kel::File("fuzz.mp3"));
        fuzzing::ExerciseReader(reader, data, size);
    }
    catch (const kel::Exception&)
    {
    }
    return 0;
}
