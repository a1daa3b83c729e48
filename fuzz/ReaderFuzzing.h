// What every reader's fuzz target does with a reader that accepted the
// bytes: reads at positions the input itself picks, at the start, around the
// end, before 0 and far beyond, through read() and readSamples(). A reader
// must end each one normally, whatever its header claimed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "audiofiles/KelAudioFileReader.h"

namespace fuzzing {

inline void ExerciseReader(kel::AudioFileReader& reader, const std::uint8_t* data, std::size_t size)
{
    std::uint64_t seed = 1469598103934665603ull;
    for (std::size_t i = 0; i < size; i += 1 + size / 64)
        seed = (seed ^ data[i]) * 1099511628211ull;
    const auto length = reader.getLengthInSamples();
    const auto beyond = length > std::numeric_limits<std::int64_t>::max() - 1000 ? length : length + 1000;
    const std::int64_t positions[] = {0,  length / 2, length - 3,
                                      length, -5, beyond,
                                      std::int64_t(seed % 100000),
                                      std::int64_t((seed >> 20) % std::uint64_t(length > 0 ? length : 1))};

    // readSamples with a few destinations of its own: the file may claim any
    // number of channels.
    constexpr std::int64_t frames = 300;
    std::vector<std::vector<float>> arrays(3, std::vector<float>(frames));
    float* destinations[] = {arrays[0].data(), arrays[1].data(), arrays[2].data(), nullptr};
    for (const auto position : positions)
        reader.readSamples(destinations, frames, position);

    if (reader.getNumChannels() <= 16)
    {
        kel::AudioBuffer<float> buffer(reader.getNumChannels(), 512);
        for (const auto position : positions)
            reader.read(buffer, 7, 500, position);
    }
}

} // namespace fuzzing
