#include "audiofiles/KelInterleave.h"

#include <algorithm>
#include <type_traits>

#if defined(__SSE2__) || defined(_M_X64)
#define KEL_INTERLEAVE_SSE2 1
#include <emmintrin.h>
#else
#define KEL_INTERLEAVE_SSE2 0
#endif

namespace kel {

namespace {

constexpr std::size_t tileFrames = 16;
constexpr std::uint32_t tileChannels = 64;

#if KEL_INTERLEAVE_SSE2

/** Floats to floats, four channels of four frames at a time: four loads, a
    4 x 4 transposition, four stores. Returns the channel it got to. */
std::uint32_t InterleaveFourChannels(const float* const* channels, std::uint32_t numChannels, std::uint32_t first,
                                     std::uint32_t end, std::size_t frame, std::size_t numFrames, float* out) noexcept
{
    std::uint32_t c = first;
    for (; c + 4 <= end; c += 4)
    {
        const float* const in0 = channels[c] + frame;
        const float* const in1 = channels[c + 1] + frame;
        const float* const in2 = channels[c + 2] + frame;
        const float* const in3 = channels[c + 3] + frame;
        float* row = out + c;
        std::size_t f = 0;
        for (; f + 4 <= numFrames; f += 4, row += 4 * std::size_t(numChannels))
        {
            const __m128 a = _mm_loadu_ps(in0 + f);
            const __m128 b = _mm_loadu_ps(in1 + f);
            const __m128 c2 = _mm_loadu_ps(in2 + f);
            const __m128 d = _mm_loadu_ps(in3 + f);
            const __m128 ab01 = _mm_unpacklo_ps(a, b);
            const __m128 ab23 = _mm_unpackhi_ps(a, b);
            const __m128 cd01 = _mm_unpacklo_ps(c2, d);
            const __m128 cd23 = _mm_unpackhi_ps(c2, d);
            _mm_storeu_ps(row, _mm_movelh_ps(ab01, cd01));
            _mm_storeu_ps(row + numChannels, _mm_movehl_ps(cd01, ab01));
            _mm_storeu_ps(row + 2 * std::size_t(numChannels), _mm_movelh_ps(ab23, cd23));
            _mm_storeu_ps(row + 3 * std::size_t(numChannels), _mm_movehl_ps(cd23, ab23));
        }
        for (; f < numFrames; ++f, row += numChannels)
        {
            row[0] = in0[f];
            row[1] = in1[f];
            row[2] = in2[f];
            row[3] = in3[f];
        }
    }
    return c;
}

#endif

template <typename In, typename Out>
void InterleaveTiles(const In* const* channels, std::uint32_t numChannels, std::size_t firstFrame,
                     std::size_t numFrames, Out* out) noexcept
{
    for (std::size_t f0 = 0; f0 < numFrames; f0 += tileFrames)
    {
        const auto frames = std::min(tileFrames, numFrames - f0);
        Out* const tileOut = out + f0 * numChannels;
        for (std::uint32_t c0 = 0; c0 < numChannels; c0 += tileChannels)
        {
            const auto end = c0 + std::min(tileChannels, numChannels - c0);
            std::uint32_t c = c0;
#if KEL_INTERLEAVE_SSE2
            if constexpr (std::is_same_v<In, float> && std::is_same_v<Out, float>)
                c = InterleaveFourChannels(channels, numChannels, c0, end, firstFrame + f0, frames, tileOut);
#endif
            for (; c < end; ++c)
            {
                const In* const in = channels[c] + firstFrame + f0;
                Out* o = tileOut + c;
                for (std::size_t f = 0; f < frames; ++f, o += numChannels)
                    *o = Out(in[f]);
            }
        }
    }
}

} // namespace

void Interleave(const float* const* channels, std::uint32_t numChannels, std::size_t firstFrame,
                std::size_t numFrames, float* out) noexcept
{
    InterleaveTiles(channels, numChannels, firstFrame, numFrames, out);
}

void Interleave(const float* const* channels, std::uint32_t numChannels, std::size_t firstFrame,
                std::size_t numFrames, double* out) noexcept
{
    InterleaveTiles(channels, numChannels, firstFrame, numFrames, out);
}

void Interleave(const double* const* channels, std::uint32_t numChannels, std::size_t firstFrame,
                std::size_t numFrames, float* out) noexcept
{
    InterleaveTiles(channels, numChannels, firstFrame, numFrames, out);
}

void Interleave(const double* const* channels, std::uint32_t numChannels, std::size_t firstFrame,
                std::size_t numFrames, double* out) noexcept
{
    InterleaveTiles(channels, numChannels, firstFrame, numFrames, out);
}

} // namespace kel
