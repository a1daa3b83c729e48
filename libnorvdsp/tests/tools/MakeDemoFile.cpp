// auvo5-make-demo-file OUT.wav [CHANNELS]: the file the demonstration and
// the help patcher play, written by libsndfile through the tests' fixture
// writer: 24 channels (or CHANNELS, 1 to 1024) of 24-bit noise at 48 kHz,
// 3 seconds, four cue markers and a broadcast-wave chunk.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "support/AudioFixtures.h"

int main(int argc, char** argv)
{
    const int channels = argc == 3 ? std::atoi(argv[2]) : 24;
    if (argc < 2 || argc > 3 || channels < 1 || channels > 1024)
    {
        std::fprintf(stderr, "usage: auvo5-make-demo-file OUT.wav [CHANNELS]\n");
        return 2;
    }
    constexpr int rate = 48000;
    const bool written = kel::test::WriteWithSndfile(
        argv[1], SF_FORMAT_WAV | SF_FORMAT_PCM_24, channels, 3 * rate, rate,
        [](SNDFILE* file)
        {
            SF_BROADCAST_INFO bext{};
            std::strcpy(bext.description, "auvo5.sfplay~ demonstration");
            std::strcpy(bext.originator, "auvo5-make-demo-file");
            std::strcpy(bext.origination_date, "2024-01-01");
            std::strcpy(bext.origination_time, "12:00:00");
            bext.time_reference_low = 48000 * 3600;  // one hour into the day
            bext.version = 1;
            sf_command(file, SFC_SET_BROADCAST_INFO, &bext, sizeof(bext));

            SF_CUES cues{};
            const std::uint32_t positions[] = {rate / 2, rate, rate * 7 / 4, rate * 5 / 2};
            cues.cue_count = 4;
            for (std::uint32_t i = 0; i < 4; ++i)
            {
                auto& point = cues.cue_points[i];
                point.indx = std::int32_t(i + 1);
                point.position = positions[i];
                point.fcc_chunk = 0x61746164;  // "data"
                point.sample_offset = positions[i];
            }
            sf_command(file, SFC_SET_CUE, &cues, sizeof(cues));
        });
    if (!written)
    {
        std::fprintf(stderr, "auvo5-make-demo-file: libsndfile could not write %s\n", argv[1]);
        return 1;
    }
    return 0;
}
