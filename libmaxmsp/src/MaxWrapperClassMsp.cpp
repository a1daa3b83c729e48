#include "MaxWrapperClassMsp.h"

#include <array>
#include <string_view>

namespace maxmsp {

namespace {
const kel::OscAddressPattern& LatencyAddress()
{
    static const kel::OscAddressPattern address("/dsp/latency");
    return address;
}
} // namespace

void MspLatencyListener::OnLatency(const kel::AudioProcessorBase& /*processor*/, std::uint32_t latencyInSamples)
{
    kel::OscMessage message(LatencyAddress());
    message.AddInt32(std::int32_t(latencyInSamples));
    reports.PushMessage(message);
}

bool MayOpenDialog(const kel::OscMessage& message)
{
    // Without a file name these ask for one; the window messages' "open"
    // opens a window, also best left to low priority.
    static constexpr std::array<std::string_view, 6> fileWords{"open", "load", "file", "import", "export", "exportref"};
    if (message.getNumArguments() != 0)
        return false;
    const kel::OscAddressPattern& address = message.getAddressPattern();
    for (std::size_t i = 0; i < address.getNumParts(); ++i)
        for (const std::string_view word : fileWords)
            if (address.getPart(i) == word)
                return true;
    return false;
}

void PostBufferingThreadLeftRunning(t_object* x, double timeoutMilliseconds)
{
    object_warn(x, "the buffering thread did not end within %.0f ms; it is left to finish on its own",
                timeoutMilliseconds);
}

} // namespace maxmsp
