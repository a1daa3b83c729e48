// What the binding knows of its host and of the objects it runs: the Max
// version read once at registration, the binding's own symbols, and the
// list of live objects.
#pragma once

#include <cstddef>
#include <cstdint>

#include "MaxWrapperApi.h"

namespace maxmsp {

/** The registration's first step: interns the binding's symbols and reads
    maxversion(). The major version is the digit three places from the end
    of the version's hexadecimal text (0 for a shorter text); the host is
    multichannel-capable from major version 8. Never throws. Main thread. */
void InitialiseHost() noexcept;

int GetHostMajorVersion() noexcept;
bool IsHostMultichannel() noexcept;
/** The channel limit of an object: 8192 on a multichannel host, else 250. */
std::uint32_t GetMaxNumChannels() noexcept;

/** The live objects (any thread). */
void AddLiveObject(t_object* x);
void RemoveLiveObject(t_object* x);
std::size_t GetNumLiveObjects();

} // namespace maxmsp
