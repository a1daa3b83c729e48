#include "dsp/KelAudioProcessorWithAutoMute.h"

#include <algorithm>
#include <cmath>

#include "common/KelException.h"

namespace kel {

AudioProcessorWithAutoMute::AudioProcessorWithAutoMute(std::uint32_t numInputs, std::uint32_t numOutputs)
    : AudioProcessorBase(numInputs, numOutputs), analyzer(numInputs, numOutputs)
{
}

void AudioProcessorWithAutoMute::SetAutoMute(bool shouldAutoMute)
{
    autoMute.store(shouldAutoMute, std::memory_order_relaxed);
    AutoMuteChanged(shouldAutoMute);
}

void AudioProcessorWithAutoMute::SetAutoMuteAttack(double seconds)
{
    if (std::isnan(seconds))
        throw Exception("invalid auto-mute attack : " + ToString(seconds), KEL_HERE);
    if (seconds <= 0.0)
    {
        SetAutoMute(false);
        return;
    }
    const double clamped = std::clamp(seconds, minAutoMuteAttack, maxAutoMuteAttack);
    attackSeconds.store(clamped, std::memory_order_relaxed);
    AutoMuteAttackChanged(clamped);
    SetAutoMute(true);
}

std::uint64_t AudioProcessorWithAutoMute::getAutoMuteAttackInFrames() const noexcept
{
    return static_cast<std::uint64_t>(getAutoMuteAttack() * getSampleRate());
}

bool AudioProcessorWithAutoMute::AnalyseInputs(const AudioBufferBase<float>& inputs) noexcept
{
    const bool on = isAutoMuteOn();
    analyzer.Analyse(inputs, on, getAutoMuteAttackInFrames());
    return !on || getNumInputs() == 0 || analyzer.isAnyInletActive();
}

} // namespace kel
