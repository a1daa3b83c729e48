// A sound file as libsndfile reads it, for the recording checks: every
// sample as a double (maxsim records 64-bit float, so the position signal
// arrives exactly as the object wrote it).
#pragma once

#include <sndfile.h>

#include <cstddef>
#include <vector>

struct RecordedSound
{
    SF_INFO info{};
    std::vector<double> samples;  // interleaved

    double at(sf_count_t frame, int channel) const
    {
        return samples[std::size_t(frame) * std::size_t(info.channels) + std::size_t(channel)];
    }
    // Silent when the first `channels` channels (the audio) are all zero.
    bool silent(sf_count_t frame, int channels) const
    {
        for (int c = 0; c < channels; ++c)
            if (at(frame, c) != 0.0)
                return false;
        return true;
    }
};

// Reads the whole file; false (and a line on stderr) when libsndfile cannot.
bool ReadRecordedSound(const char* path, RecordedSound& sound);
