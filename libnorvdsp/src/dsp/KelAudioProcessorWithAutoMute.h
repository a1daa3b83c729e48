// A processor that knows which of its inlets and outlets are connected and
// can stop computing while its inputs are silent (auto-mute).
//
// Auto-mute: when on, an inlet that has carried only zeros for the attack
// time becomes inactive, and once every inlet is inactive Process is no
// longer called (the outputs are cleared instead); the first non-zero sample
// on a connected inlet makes it active again in the same block. A processor
// without inputs has nothing to analyse and is always active. The attack is
// kept in seconds and turned into frames with the current sample rate, so a
// change of rate keeps the time.
//
// Threads: SetAutoMute and SetAutoMuteAttack on the main thread (they take
// effect at the next block); connection statuses from the host's audio
// set-up; the analysis on the audio thread.
#pragma once

#include <atomic>
#include <cstdint>

#include "dsp/KelAudioProcessorBase.h"
#include "dsp/KelInletsActivityAnalyzer.h"

namespace kel {

class AudioProcessorWithAutoMute : public AudioProcessorBase
{
public:
    static constexpr double minAutoMuteAttack = 1.0;    // seconds
    static constexpr double maxAutoMuteAttack = 500.0;  // seconds
    static constexpr double defaultAutoMuteAttack = 1.0;

    AudioProcessorWithAutoMute(std::uint32_t numInputs, std::uint32_t numOutputs);

    /** Switches the analysis on or off; AutoMuteChanged follows. */
    void SetAutoMute(bool shouldAutoMute);
    /** seconds <= 0 switches the analysis off (the attack is kept); a
        positive value switches it on with the attack clamped to 1..500 s.
        Throws for NaN. */
    void SetAutoMuteAttack(double seconds);

    bool isAutoMuteOn() const noexcept { return autoMute.load(std::memory_order_relaxed); }
    double getAutoMuteAttack() const noexcept { return attackSeconds.load(std::memory_order_relaxed); }
    /** The attack in frames: seconds x the sample rate, truncated. */
    std::uint64_t getAutoMuteAttackInFrames() const noexcept;

    /** Connection statuses and activity (host's audio set-up, "/dsp/post"). */
    InletsActivityAnalyzer& getConnections() noexcept { return analyzer; }
    const InletsActivityAnalyzer& getConnections() const noexcept { return analyzer; }
    /** The player writes audio only to connected outputs. */
    bool isOutputConnected(std::uint32_t channel) const noexcept { return analyzer.isOutletConnected(channel); }
    bool isInputConnected(std::uint32_t channel) const noexcept { return analyzer.isInletConnected(channel); }

protected:
    bool AnalyseInputs(const AudioBufferBase<float>& inputs) noexcept override;
    /** The host reads the connected outputs only. */
    bool isOutputRead(std::uint32_t channel) const noexcept override { return isOutputConnected(channel); }

    /** Hooks after the change (main thread). */
    virtual void AutoMuteChanged(bool /*isOn*/) {}
    virtual void AutoMuteAttackChanged(double /*seconds*/) {}

private:
    InletsActivityAnalyzer analyzer;
    std::atomic<bool> autoMute{false};
    std::atomic<double> attackSeconds{defaultAutoMuteAttack};
};

} // namespace kel
