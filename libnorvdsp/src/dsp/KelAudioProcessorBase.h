// The frame every audio processor of the library shares: channel counts, the
// host's sample rate and block size, mute and bypass, verbosity, listeners,
// and the one block entry the host calls.
//
// Block entry (ProcessBlock, audio thread, never allocates, locks only with
// try_lock, never throws):
//  1. If the main thread is reconfiguring the processor (sample rate, block
//     size, clear), the block is output as silence and nothing else runs.
//  2. The host's block is cut into runs of at most getBlockSize() frames, so
//     Process never sees more frames than the block size says.
//  3. For each run: the input analysis runs (AnalyseInputs: the auto-mute
//     analysis in AudioProcessorWithAutoMute); then
//       muted:    the outputs are cleared;
//       bypassed: each input is copied to the output of the same number, the
//                 other outputs are cleared;
//       inactive (AnalyseInputs said so): the outputs are cleared;
//       else:     Process(inputs, outputs).
//     Host channels beyond the processor's counts are ignored; processor
//     inputs the host did not give read silence, processor outputs it did
//     not give are discarded.
// The double-precision entry converts through work buffers owned by the
// frame (Max hands 64-bit vectors), and only the outputs the host reads
// (isOutputRead): Max never reads an unconnected outlet's vector, so the
// entry leaves it as Max gave it; converting or clearing it would be work
// for nothing (62 of 64 channels in a patch that takes two). The float entry
// hands views of the host's own vectors to Process, without copying.
//
// Threads:
//  - main thread: construction, Prepare, the Set* operations, Clear,
//    listener registration, getLatency and NotifyLatencyListeners;
//    Prepare, SetSampleRate, SetBlockSize and Clear take the processing lock,
//    so the hooks they call never run beside Process;
//  - audio thread: ProcessBlock only (and, through it, Process);
//  - getters: any thread (atomics).
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "common/KelString.h"
#include "common/KelVerbosity.h"
#include "containers/KelVector.h"
#include "math/KelAudioBuffer.h"

namespace kel {

class AudioProcessorBase
{
public:
    static constexpr std::uint32_t maxNumChannels = 65536;
    static constexpr double minSampleRate = 8000.0;
    static constexpr double maxSampleRate = 768000.0;
    static constexpr std::uint32_t maxBlockSize = 81920;

    /** Told of changes of verbosity, sample rate and block size, and of clear
        (main thread, after the change). */
    class Listener
    {
    public:
        virtual ~Listener() = default;
        virtual void OnVerbosityChanged(const AudioProcessorBase& /*processor*/, Verbosity /*level*/) {}
        virtual void OnSampleRateChanged(const AudioProcessorBase& /*processor*/, double /*newRate*/) {}
        virtual void OnBlockSizeChanged(const AudioProcessorBase& /*processor*/, std::uint32_t /*newSize*/) {}
        virtual void OnCleared(const AudioProcessorBase& /*processor*/) {}
    };

    /** Told the processor's latency (in samples). */
    class LatencyListener
    {
    public:
        virtual ~LatencyListener() = default;
        virtual void OnLatency(const AudioProcessorBase& processor, std::uint32_t latencyInSamples) = 0;
    };

    /** Throws "too many input channels : " + n + ". the maximum number of
        input channels is 65536." (and the same for outputs). */
    AudioProcessorBase(std::uint32_t numInputs, std::uint32_t numOutputs);
    virtual ~AudioProcessorBase();
    AudioProcessorBase(const AudioProcessorBase&) = delete;
    AudioProcessorBase& operator=(const AudioProcessorBase&) = delete;

    std::uint32_t getNumInputs() const noexcept { return numInputs; }
    std::uint32_t getNumOutputs() const noexcept { return numOutputs; }
    double getSampleRate() const noexcept { return sampleRate.load(std::memory_order_relaxed); }
    double getPreviousSampleRate() const noexcept { return previousSampleRate.load(std::memory_order_relaxed); }
    std::uint32_t getBlockSize() const noexcept { return blockSize.load(std::memory_order_relaxed); }
    bool isMuted() const noexcept { return mute.load(std::memory_order_relaxed); }
    bool isBypassed() const noexcept { return bypass.load(std::memory_order_relaxed); }
    Verbosity getVerbosity() const noexcept { return VerbosityFromNumber(verbosity.load(std::memory_order_relaxed)); }

    /** The host's audio set-up: sample rate and block size (each clamped and
        applied as by SetSampleRate and SetBlockSize). It does not tell the
        latency listeners; the host calls NotifyLatencyListeners after it. */
    void Prepare(double hostSampleRate, std::uint32_t hostBlockSize);

    /** Clamps to 8000..768000; when the result differs from the current
        rate: previous := current, current := result, SampleRateChanged, the
        listeners. Returns whether the rate changed. Throws for NaN. */
    bool SetSampleRate(double rate);
    /** Negatives read as 0, 0 as 1, above 81920 as 81920, fractions are
        dropped; when the result differs: the work buffers are resized,
        BlockSizeChanged, the listeners. Returns whether it changed. Throws
        for NaN. */
    bool SetBlockSize(double size);
    /** ClearState, then the listeners. */
    void Clear();
    /** The listeners are told even when the level stays the same. */
    void SetVerbosity(Verbosity level);
    /** Take effect at the next block. Any thread. */
    void SetMute(bool shouldMute) noexcept { mute.store(shouldMute, std::memory_order_relaxed); }
    void SetBypass(bool shouldBypass) noexcept { bypass.store(shouldBypass, std::memory_order_relaxed); }

    /** The processor's latency in samples (0 unless a processor says
        otherwise). Main thread. */
    virtual std::uint32_t getLatency() const { return 0; }
    /** Tells every latency listener getLatency(). Main thread. */
    void NotifyLatencyListeners();

    /** A listener registered twice is kept once. Main thread. */
    void AddProcessorListener(Listener* listener);
    void RemoveProcessorListener(Listener* listener);
    void AddLatencyListener(LatencyListener* listener);
    void RemoveLatencyListener(LatencyListener* listener);

    /** The host's assistance text for inlet index: "input #" + (index + 1),
        or with one multichannel inlet "input (" + number of inputs + ")". */
    virtual String getInletDescription(std::uint32_t index, bool multichannel) const;
    /** The same for outlets: "output #" + (index + 1) or "output (" + n + ")". */
    virtual String getOutletDescription(std::uint32_t index, bool multichannel) const;

    /** The block entry (see above). Audio thread. */
    void ProcessBlock(const float* const* inputs, std::uint32_t numInputChannels, float* const* outputs,
                      std::uint32_t numOutputChannels, std::uint32_t numFrames) noexcept;
    void ProcessBlock(const double* const* inputs, std::uint32_t numInputChannels, double* const* outputs,
                      std::uint32_t numOutputChannels, std::uint32_t numFrames) noexcept;

protected:
    /** The processor's work for one run of frames (at most getBlockSize()):
        read inputs, write outputs. Audio thread; must not allocate, block or
        throw. Outputs arrive not cleared. */
    virtual void Process(const AudioBufferBase<float>& inputs, AudioBufferBase<float>& outputs) noexcept = 0;

    /** Runs before each run of frames, muted or not; returns whether the
        processor is active (Process may run). Audio thread. */
    virtual bool AnalyseInputs(const AudioBufferBase<float>& /*inputs*/) noexcept { return true; }

    /** Hooks, called on the main thread under the processing lock after the
        frame has stored the new value and before the listeners are told. */
    virtual void SampleRateChanged(double /*newRate*/) {}
    virtual void BlockSizeChanged(std::uint32_t /*newSize*/) {}
    /** Main thread, nothing locked: after every Prepare (the host starts or
        restarts its audio) and after a change of the sample rate made
        outside Prepare. A processor may talk to its host here. */
    virtual void AudioSetupChanged() {}
    /** The 64-bit entry calls this after each Process with the same run's
        64-bit outputs (those the host reads already converted from
        Process's float outputs; the others as the host gave them): a
        processor whose output carries more than a float holds (a time in
        milliseconds an hour into a file) writes it here at full precision.
        Audio thread; must not allocate, block or throw. */
    virtual void RefineDoubleOutputs(double* const* /*outputs*/, std::uint32_t /*numOutputs*/,
                                     std::uint32_t /*numFrames*/) noexcept
    {
    }
    /** Whether the host reads output channel: the 64-bit entry converts
        only those. Every output unless a processor knows its connections.
        Audio thread; must not block. */
    virtual bool isOutputRead(std::uint32_t /*channel*/) const noexcept { return true; }
    /** Reset the processor's internal state ("/dsp/clear"). */
    virtual void ClearState() {}
    /** For the frame's own classes: follow a verbosity change. */
    virtual void VerbosityChanged(Verbosity /*level*/) {}

    /** Held while the configuration changes; ProcessBlock only tries it. */
    std::recursive_mutex& getProcessingLock() noexcept { return processingLock; }

private:
    bool processRuns(std::uint32_t numFrames, const float* const* inputs, std::uint32_t numInputChannels,
                     float* const* outputs, std::uint32_t numOutputChannels) noexcept;
    /** Whether Process ran (not muted, bypassed or inactive). */
    bool processGated(AudioBufferBase<float>& inputs, AudioBufferBase<float>& outputs) noexcept;
    void resizeWorkBuffers(std::uint32_t size);

    const std::uint32_t numInputs;
    const std::uint32_t numOutputs;
    std::atomic<double> sampleRate{44100.0};
    std::atomic<double> previousSampleRate{44100.0};
    std::atomic<std::uint32_t> blockSize{512};
    std::atomic<bool> mute{false};
    std::atomic<bool> bypass{false};

    // Per-block work: silence for missing inputs and a sink for missing
    // outputs.
    Vector<float> silentChannel, discardChannel;
    // Work buffers: the double entry's conversion buffers, and the views
    // handed to Process.
    AudioBuffer<float> inputWork, outputWork;
    AudioBufferReference<float> inputView, outputView;
    Vector<float*> inputPointers, outputPointers;
    Vector<double*> runOutputs;  // the 64-bit entry's outputs moved on to the current run

    Vector<Listener*> listeners;
    Vector<LatencyListener*> latencyListeners;
    std::atomic<std::uint32_t> verbosity{2};

    std::recursive_mutex processingLock;
    bool preparing = false;  // main thread: inside Prepare
};

} // namespace kel
