#include "dsp/KelInletsActivityAnalyzer.h"

#include <algorithm>
#include <cmath>

namespace kel {

namespace {
std::uint16_t ConnectedFlag(int status) noexcept
{
    return status > 0 ? 1 : 0;
}
} // namespace

InletsOutletsConnectionsStatus::InletsOutletsConnectionsStatus(std::uint32_t numInlets, std::uint32_t numOutlets)
    : inletConnected(numInlets), outletConnected(numOutlets)
{
}

void InletsOutletsConnectionsStatus::SetInletStatus(std::uint32_t inlet, int status) noexcept
{
    if (inlet < inletConnected.size())
        inletConnected[inlet].store(ConnectedFlag(status));
}

void InletsOutletsConnectionsStatus::SetOutletStatus(std::uint32_t outlet, int status) noexcept
{
    if (outlet < outletConnected.size())
        outletConnected[outlet].store(ConnectedFlag(status));
}

void InletsOutletsConnectionsStatus::SetAllInletsStatus(int status) noexcept
{
    for (auto& flag : inletConnected)
        flag.store(ConnectedFlag(status));
}

void InletsOutletsConnectionsStatus::SetAllOutletsStatus(int status) noexcept
{
    for (auto& flag : outletConnected)
        flag.store(ConnectedFlag(status));
}

bool InletsOutletsConnectionsStatus::isInletConnected(std::uint32_t inlet) const noexcept
{
    return inlet < inletConnected.size() && inletConnected[inlet].load() != 0;
}

std::uint32_t InletsOutletsConnectionsStatus::getNumConnectedInlets() const noexcept
{
    return std::uint32_t(std::count_if(inletConnected.begin(), inletConnected.end(),
                                       [](const detail::SharedFlag& f) { return f.load() != 0; }));
}

std::uint32_t InletsOutletsConnectionsStatus::getNumConnectedOutlets() const noexcept
{
    return std::uint32_t(std::count_if(outletConnected.begin(), outletConnected.end(),
                                       [](const detail::SharedFlag& f) { return f.load() != 0; }));
}

InletsActivityAnalyzer::InletsActivityAnalyzer(std::uint32_t numInlets, std::uint32_t numOutlets)
    : InletsOutletsConnectionsStatus(numInlets, numOutlets), active(numInlets), silentFrames(numInlets, 0)
{
}

bool InletsActivityAnalyzer::isInletActive(std::uint32_t inlet) const noexcept
{
    return inlet < active.size() && active[inlet].load() != 0;
}

void InletsActivityAnalyzer::AnalyseInlet(std::uint32_t inlet, const float* samples, std::uint64_t numFrames,
                                          bool markedClear, bool autoMute, std::uint64_t attackInFrames) noexcept
{
    if (inlet >= active.size())
        return;
    std::uint64_t& silent = silentFrames[inlet];
    if (!isInletConnected(inlet))
    {
        silent = 0;
        active[inlet].store(0);
        return;
    }
    if (!autoMute)
    {
        silent = 0;
        active[inlet].store(1);
        return;
    }

    bool sound = false;
    if (!markedClear && samples != nullptr)
        sound = std::any_of(samples, samples + numFrames, [](float s) { return std::fabs(s) > 0.0f; });
    if (sound)
    {
        silent = 0;
        active[inlet].store(1);
        return;
    }
    silent += numFrames;
    // Within the attack the inlet keeps its state: a sounding inlet goes on
    // sounding until the attack has passed.
    if (silent >= attackInFrames)
    {
        silent = attackInFrames;
        active[inlet].store(0);
    }
}

void InletsActivityAnalyzer::Analyse(const AudioBufferBase<float>& inputs, bool autoMute,
                                     std::uint64_t attackInFrames) noexcept
{
    const std::uint32_t numInlets = getNumInlets();
    const std::uint64_t numFrames = inputs.getNumSamples();
    std::uint32_t count = 0;
    for (std::uint32_t i = 0; i < numInlets; ++i)
    {
        const bool hasChannel = i < inputs.getNumChannels();
        AnalyseInlet(i, hasChannel ? inputs.getReadPointer(i) : nullptr, numFrames,
                     !hasChannel || inputs.isClear(), autoMute, attackInFrames);
        count += active[i].load() != 0 ? 1 : 0;
    }
    numActive.store(count, std::memory_order_relaxed);
}

} // namespace kel
