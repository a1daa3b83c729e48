// The bytes of an OSC blob (and any other raw block): a guarded byte vector.
#pragma once

#include <cstdint>

#include "containers/KelVector.h"

namespace kel {

using MemoryBlock = Vector<std::uint8_t>;

} // namespace kel
