/* sndfile-decode FILE: the streaming benchmark's reference. libsndfile reads
   every frame of FILE as float in blocks of 4096 frames and writes nothing;
   one sample of each block is summed and printed, so that no read can be
   left out. Exits with status 1 when the file cannot be read. */
#include <stdio.h>
#include <stdlib.h>

#include <sndfile.h>

enum { blockFrames = 4096 };

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        fprintf(stderr, "usage: sndfile-decode FILE\n");
        return 2;
    }
    SF_INFO info = {0};
    SNDFILE* file = sf_open(argv[1], SFM_READ, &info);
    if (file == NULL)
    {
        fprintf(stderr, "sndfile-decode: %s\n", sf_strerror(NULL));
        return 1;
    }
    float* block = malloc(sizeof(float) * (size_t)blockFrames * (size_t)info.channels);
    if (block == NULL)
    {
        sf_close(file);
        return 1;
    }
    double sum = 0.0;
    sf_count_t frames = 0;
    for (;;)
    {
        const sf_count_t got = sf_readf_float(file, block, blockFrames);
        if (got <= 0)
            break;
        sum += block[(size_t)(got - 1) * (size_t)info.channels];
        frames += got;
    }
    free(block);
    sf_close(file);
    printf("%lld frames, checksum %.9g\n", (long long)frames, sum);
    return frames == info.frames ? 0 : 1;
}
