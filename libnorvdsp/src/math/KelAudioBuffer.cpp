#include "math/KelAudioBuffer.h"

namespace kel::detail {

void EnsureReasonableBufferAllocation(std::uint32_t numChannels, std::uint64_t numSamples,
                                      std::size_t sampleSize)
{
    const double gigabytes = double(numChannels) * double(numSamples) * double(sampleSize) / 1000000000.0;
    if (gigabytes > 6.0)
        throw Exception("Overly large buffer allocation (" + std::to_string(numChannels) + " x "
                            + std::to_string(numSamples) + ")." + " This would require more than "
                            + ToString(gigabytes) + " GB.",
                        KEL_HERE);
}

} // namespace kel::detail
