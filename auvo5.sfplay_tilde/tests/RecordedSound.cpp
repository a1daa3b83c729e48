#include "RecordedSound.h"

#include <cstdio>

bool ReadRecordedSound(const char* path, RecordedSound& sound)
{
    SNDFILE* file = sf_open(path, SFM_READ, &sound.info);
    if (file == nullptr)
    {
        std::fprintf(stderr, "cannot read %s: %s\n", path, sf_strerror(nullptr));
        return false;
    }
    sound.samples.resize(std::size_t(sound.info.frames) * std::size_t(sound.info.channels));
    const sf_count_t read = sf_readf_double(file, sound.samples.data(), sound.info.frames);
    sf_close(file);
    if (read != sound.info.frames)
        std::fprintf(stderr, "%s: libsndfile read %lld of %lld frames\n", path, static_cast<long long>(read),
                     static_cast<long long>(sound.info.frames));
    return read == sound.info.frames;
}
