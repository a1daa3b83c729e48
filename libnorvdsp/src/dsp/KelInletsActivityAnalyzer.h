// Which inlets and outlets of a processor are connected in the patch, and
// which inlets carry sound (the auto-mute analysis).
//
// Connection status comes from the host's audio set-up: one status per inlet
// and outlet, positive meaning connected, or one status for all inlets or
// all outlets at once (a multichannel cord).
//
// Activity, per block and per inlet:
//  - not connected: inactive;
//  - connected, auto-mute off: active;
//  - connected, auto-mute on: a block marked clear adds its length to the
//    inlet's silent count; otherwise any sample whose absolute value is above
//    0 resets the count and makes the inlet active, and an all-zero block
//    adds its length. Once the count reaches the attack (in frames) it is
//    held there and the inlet is inactive.
// The processor is active while at least one inlet is.
//
// Threads: statuses are set by the host's audio set-up (main thread); the
// analysis runs on the audio thread and never allocates; the flags can be
// read from any thread (relaxed atomics: a reader may see the previous
// block's value).
#pragma once

#include <atomic>
#include <cstdint>

#include "containers/KelVector.h"
#include "math/KelAudioBuffer.h"

namespace kel {

namespace detail {
/** A 16-bit flag that a kel::Vector can hold and two threads can share. */
struct SharedFlag
{
    std::atomic<std::uint16_t> value{0};

    SharedFlag() = default;
    SharedFlag(const SharedFlag& other) noexcept : value(other.load()) {}
    SharedFlag& operator=(const SharedFlag& other) noexcept
    {
        store(other.load());
        return *this;
    }
    std::uint16_t load() const noexcept { return value.load(std::memory_order_relaxed); }
    void store(std::uint16_t v) noexcept { value.store(v, std::memory_order_relaxed); }
};
} // namespace detail

class InletsOutletsConnectionsStatus
{
public:
    InletsOutletsConnectionsStatus(std::uint32_t numInlets, std::uint32_t numOutlets);
    virtual ~InletsOutletsConnectionsStatus() = default;

    std::uint32_t getNumInlets() const noexcept { return std::uint32_t(inletConnected.size()); }
    std::uint32_t getNumOutlets() const noexcept { return std::uint32_t(outletConnected.size()); }

    /** status > 0: connected. An index out of range is ignored. */
    void SetInletStatus(std::uint32_t inlet, int status) noexcept;
    void SetOutletStatus(std::uint32_t outlet, int status) noexcept;
    /** One status copied to every inlet (or outlet). */
    void SetAllInletsStatus(int status) noexcept;
    void SetAllOutletsStatus(int status) noexcept;

    /** False for an index out of range. */
    bool isInletConnected(std::uint32_t inlet) const noexcept;
    /** Inline: the audio side asks once per channel and block. */
    bool isOutletConnected(std::uint32_t outlet) const noexcept
    {
        return outlet < outletConnected.size() && outletConnected[outlet].load() != 0;
    }
    std::uint32_t getNumConnectedInlets() const noexcept;
    std::uint32_t getNumConnectedOutlets() const noexcept;

private:
    Vector<detail::SharedFlag> inletConnected;
    Vector<detail::SharedFlag> outletConnected;
};

class InletsActivityAnalyzer : public InletsOutletsConnectionsStatus
{
public:
    InletsActivityAnalyzer(std::uint32_t numInlets, std::uint32_t numOutlets);

    /** Audio thread. One block of every inlet (channel i of inputs is inlet
        i; inlets without a channel count as a clear block). autoMute and
        attackInFrames are the settings for this block. */
    void Analyse(const AudioBufferBase<float>& inputs, bool autoMute, std::uint64_t attackInFrames) noexcept;
    /** Audio thread. One inlet's block. */
    void AnalyseInlet(std::uint32_t inlet, const float* samples, std::uint64_t numFrames, bool markedClear,
                      bool autoMute, std::uint64_t attackInFrames) noexcept;

    bool isInletActive(std::uint32_t inlet) const noexcept;
    /** As of the last analysis. */
    std::uint32_t getNumActiveInlets() const noexcept { return numActive.load(std::memory_order_relaxed); }
    bool isAnyInletActive() const noexcept { return getNumActiveInlets() > 0; }
    /** Frames of silence counted on an inlet. Audio thread. */
    std::uint64_t getSilentFrames(std::uint32_t inlet) const noexcept { return silentFrames[inlet]; }

private:
    Vector<detail::SharedFlag> active;
    Vector<std::uint64_t> silentFrames;  // audio thread only
    std::atomic<std::uint32_t> numActive{0};
};

} // namespace kel
