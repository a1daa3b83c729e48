#include "MaxWrapperClassMsp.h"

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
    SendOscMessage(GetDumpOutlet(x), message);
}

} // namespace maxmsp
