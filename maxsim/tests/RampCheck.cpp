// Reads a WAV file that maxsim recorded from probe~ with libsndfile and
// checks it is 64-bit float, as Max's signals, and holds probe~'s ramp:
// probe~'s channel c, frame n = c + (n mod 1024) / 1024.
// Usage: maxsim_ramp_check FILE CHANNELS FRAMES SAMPLERATE [SOURCE...]
// where SOURCE i is the probe~ channel the file's channel i holds (default i).
#include <sndfile.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

int main(int argc, char** argv)
{
    if (argc < 5)
        return 2;
    SF_INFO info {};
    SNDFILE* file = sf_open(argv[1], SFM_READ, &info);
    if (!file)
    {
        std::printf("libsndfile cannot open %s: %s\n", argv[1], sf_strerror(nullptr));
        return 1;
    }
    const long channels = std::atol(argv[2]), frames = std::atol(argv[3]), rate = std::atol(argv[4]);
    std::vector<long> sources;
    for (long c = 0; c < channels; ++c)
        sources.push_back(5 + c < argc ? std::atol(argv[5 + c]) : c);
    int status = 0;
    if (info.channels != channels || info.frames != frames || info.samplerate != rate ||
        (info.format & SF_FORMAT_SUBMASK) != SF_FORMAT_DOUBLE)
    {
        std::printf("got %d channels, %lld frames, %d Hz, format 0x%x\n", info.channels,
                    static_cast<long long>(info.frames), info.samplerate, info.format);
        status = 1;
    }
    std::vector<double> samples(static_cast<std::size_t>(info.frames * info.channels));
    sf_readf_double(file, samples.data(), info.frames);
    sf_close(file);
    for (long n = 0; n < info.frames && status == 0; ++n)
        for (long c = 0; c < info.channels; ++c)
        {
            const double want = static_cast<double>(sources[static_cast<std::size_t>(c)]) +
                                static_cast<double>(n % 1024) / 1024.0;
            const double got = samples[static_cast<std::size_t>(n * info.channels + c)];
            if (got != want)
            {
                std::printf("frame %ld channel %ld: %.17g, expected %.17g\n", n, c, got, want);
                status = 1;
                break;
            }
        }
    return status;
}
