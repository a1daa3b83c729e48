// Owning pointer used where an object owns exactly one polymorphic part
// (a file reader, a decoder). std::unique_ptr does everything needed.
#pragma once

#include <memory>

namespace kel {

template <typename T>
using ScopedPointer = std::unique_ptr<T>;

} // namespace kel
