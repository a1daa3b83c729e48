#include "containers/KelVector.h"

namespace kel::detail {

void EnsureReasonableArrayAllocation(std::size_t n, std::size_t elementSize)
{
    const double gigabytes = double(n) * double(elementSize) / 1000000000.0;
    if (gigabytes > 6.0)
        throw Exception("Overly large array allocation (" + std::to_string(n) + " elements)."
                            + " This would require more than " + ToString(gigabytes) + " GB.",
                        KEL_HERE);
}

} // namespace kel::detail
