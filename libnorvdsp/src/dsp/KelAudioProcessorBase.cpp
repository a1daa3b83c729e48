#include "dsp/KelAudioProcessorBase.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "common/KelException.h"

namespace kel {

namespace {

void CheckChannelCount(std::uint32_t count, const char* direction)
{
    if (count > AudioProcessorBase::maxNumChannels)
        throw Exception(String("too many ") + direction + " channels : " + ToString(count) +
                            ". the maximum number of " + direction + " channels is " +
                            ToString(AudioProcessorBase::maxNumChannels) + ".",
                        KEL_HERE);
}

std::uint32_t CheckedInputs(std::uint32_t count)
{
    CheckChannelCount(count, "input");
    return count;
}

std::uint32_t CheckedOutputs(std::uint32_t count)
{
    CheckChannelCount(count, "output");
    return count;
}

template <typename T>
void AddOnce(Vector<T*>& list, T* item)
{
    if (item != nullptr && std::find(list.begin(), list.end(), item) == list.end())
        list.PushBack(item);
}

template <typename T>
void RemoveFrom(Vector<T*>& list, T* item)
{
    const auto found = std::find(list.begin(), list.end(), item);
    if (found != list.end())
        list.Erase(std::size_t(found - list.begin()));
}

} // namespace

AudioProcessorBase::AudioProcessorBase(std::uint32_t inputs, std::uint32_t outputs)
    : numInputs(CheckedInputs(inputs)), numOutputs(CheckedOutputs(outputs))
{
    inputPointers.Resize(numInputs, nullptr);
    outputPointers.Resize(numOutputs, nullptr);
    // The views hold their channel tables from now on, so pointing them at
    // new data on the audio thread never allocates.
    inputView.setData(inputPointers.data(), numInputs, 0);
    outputView.setData(outputPointers.data(), numOutputs, 0);
    resizeWorkBuffers(getBlockSize());
    runOutputs.Resize(numOutputs, nullptr);
}

AudioProcessorBase::~AudioProcessorBase() = default;

void AudioProcessorBase::resizeWorkBuffers(std::uint32_t size)
{
    silentChannel.Resize(size, 0.0f);
    discardChannel.Resize(size, 0.0f);
    inputWork.setSize(numInputs, size);
    outputWork.setSize(numOutputs, size);
}

void AudioProcessorBase::Prepare(double hostSampleRate, std::uint32_t hostBlockSize)
{
    {
        const std::lock_guard lock(processingLock);
        preparing = true;
        try
        {
            SetSampleRate(hostSampleRate);
            SetBlockSize(double(hostBlockSize));
        }
        catch (...)
        {
            preparing = false;
            throw;
        }
        preparing = false;
    }
    AudioSetupChanged();
}

bool AudioProcessorBase::SetSampleRate(double rate)
{
    if (std::isnan(rate))
        throw Exception("invalid sample rate : " + ToString(rate), KEL_HERE);
    const double clamped = std::clamp(rate, minSampleRate, maxSampleRate);
    {
        const std::lock_guard lock(processingLock);
        if (clamped == getSampleRate())
            return false;
        previousSampleRate.store(getSampleRate(), std::memory_order_relaxed);
        sampleRate.store(clamped, std::memory_order_relaxed);
        SampleRateChanged(clamped);
    }
    for (std::size_t i = 0; i < listeners.size(); ++i)
        listeners[i]->OnSampleRateChanged(*this, clamped);
    if (!preparing)
        AudioSetupChanged();
    return true;
}

bool AudioProcessorBase::SetBlockSize(double size)
{
    if (std::isnan(size))
        throw Exception("invalid block size : " + ToString(size), KEL_HERE);
    const double bounded = std::clamp(std::trunc(size), 1.0, double(maxBlockSize));
    const auto newSize = static_cast<std::uint32_t>(bounded);
    {
        const std::lock_guard lock(processingLock);
        if (newSize == getBlockSize())
            return false;
        resizeWorkBuffers(newSize);
        blockSize.store(newSize, std::memory_order_relaxed);
        BlockSizeChanged(newSize);
    }
    for (std::size_t i = 0; i < listeners.size(); ++i)
        listeners[i]->OnBlockSizeChanged(*this, newSize);
    return true;
}

void AudioProcessorBase::Clear()
{
    {
        const std::lock_guard lock(processingLock);
        ClearState();
    }
    for (std::size_t i = 0; i < listeners.size(); ++i)
        listeners[i]->OnCleared(*this);
}

void AudioProcessorBase::SetVerbosity(Verbosity level)
{
    verbosity.store(static_cast<std::uint32_t>(level), std::memory_order_relaxed);
    VerbosityChanged(level);
    for (std::size_t i = 0; i < listeners.size(); ++i)
        listeners[i]->OnVerbosityChanged(*this, level);
}

void AudioProcessorBase::NotifyLatencyListeners()
{
    const std::uint32_t latency = getLatency();
    for (std::size_t i = 0; i < latencyListeners.size(); ++i)
        latencyListeners[i]->OnLatency(*this, latency);
}

void AudioProcessorBase::AddProcessorListener(Listener* listener)
{
    AddOnce(listeners, listener);
}
void AudioProcessorBase::RemoveProcessorListener(Listener* listener)
{
    RemoveFrom(listeners, listener);
}
void AudioProcessorBase::AddLatencyListener(LatencyListener* listener)
{
    AddOnce(latencyListeners, listener);
}
void AudioProcessorBase::RemoveLatencyListener(LatencyListener* listener)
{
    RemoveFrom(latencyListeners, listener);
}

String AudioProcessorBase::getInletDescription(std::uint32_t index, bool multichannel) const
{
    if (multichannel)
        return "input (" + ToString(numInputs) + ")";
    return "input #" + ToString(index + 1);
}

String AudioProcessorBase::getOutletDescription(std::uint32_t index, bool multichannel) const
{
    if (multichannel)
        return "output (" + ToString(numOutputs) + ")";
    return "output #" + ToString(index + 1);
}

// ---------------------------------------------------------------------------
// Audio thread

bool AudioProcessorBase::processGated(AudioBufferBase<float>& inputs, AudioBufferBase<float>& outputs) noexcept
{
    const bool active = AnalyseInputs(inputs);
    if (isMuted())
    {
        outputs.clear();
        return false;
    }
    if (isBypassed())
    {
        const std::uint32_t copied = std::min(numInputs, numOutputs);
        const std::size_t bytes = std::size_t(outputs.getNumSamples()) * sizeof(float);
        for (std::uint32_t c = 0; c < copied; ++c)
            std::memmove(outputs.getWritePointer(c), inputs.getReadPointer(c), bytes);
        for (std::uint32_t c = copied; c < numOutputs; ++c)
            std::memset(outputs.getWritePointer(c), 0, bytes);
        return false;
    }
    if (!active)
    {
        outputs.clear();
        return false;
    }
    Process(inputs, outputs);
    return true;
}

bool AudioProcessorBase::processRuns(std::uint32_t numFrames, const float* const* inputs,
                                     std::uint32_t numInputChannels, float* const* outputs,
                                     std::uint32_t numOutputChannels) noexcept
{
    const std::uint32_t run = getBlockSize();
    if (numFrames <= run && numInputChannels >= numInputs && numOutputChannels >= numOutputs)
    {
        // The usual block: the host's own channel arrays, nothing copied.
        inputView.setData(const_cast<float* const*>(inputs), numInputs, numFrames);
        outputView.setData(outputs, numOutputs, numFrames);
        return processGated(inputView, outputView);
    }
    bool processed = false;
    for (std::uint32_t offset = 0; offset < numFrames; offset += run)
    {
        const std::uint32_t n = std::min(run, numFrames - offset);
        for (std::uint32_t c = 0; c < numInputs; ++c)
            inputPointers[c] = c < numInputChannels ? const_cast<float*>(inputs[c]) + offset : silentChannel.data();
        for (std::uint32_t c = 0; c < numOutputs; ++c)
            outputPointers[c] = c < numOutputChannels ? outputs[c] + offset : discardChannel.data();
        inputView.setData(inputPointers.data(), numInputs, n);
        outputView.setData(outputPointers.data(), numOutputs, n);
        processed = processGated(inputView, outputView);
    }
    return processed;
}

void AudioProcessorBase::ProcessBlock(const float* const* inputs, std::uint32_t numInputChannels,
                                      float* const* outputs, std::uint32_t numOutputChannels,
                                      std::uint32_t numFrames) noexcept
{
    const std::unique_lock lock(processingLock, std::try_to_lock);
    const std::uint32_t processed = lock.owns_lock() ? std::min(numOutputChannels, numOutputs) : 0;
    if (lock.owns_lock())
        processRuns(numFrames, inputs, numInputChannels, outputs, numOutputChannels);
    for (std::uint32_t c = processed; c < numOutputChannels; ++c)
        std::memset(outputs[c], 0, std::size_t(numFrames) * sizeof(float));
}

void AudioProcessorBase::ProcessBlock(const double* const* inputs, std::uint32_t numInputChannels,
                                      double* const* outputs, std::uint32_t numOutputChannels,
                                      std::uint32_t numFrames) noexcept
{
    const std::unique_lock lock(processingLock, std::try_to_lock);
    const std::uint32_t processed = lock.owns_lock() ? std::min(numOutputChannels, numOutputs) : 0;
    if (lock.owns_lock())
    {
        const std::uint32_t run = getBlockSize();
        const std::uint32_t givenInputs = std::min(numInputChannels, numInputs);
        for (std::uint32_t offset = 0; offset < numFrames; offset += run)
        {
            const std::uint32_t n = std::min(run, numFrames - offset);
            for (std::uint32_t c = 0; c < givenInputs; ++c)
            {
                float* work = inputWork.getWritePointer(c);
                const double* in = inputs[c] + offset;
                for (std::uint32_t i = 0; i < n; ++i)
                    work[i] = float(in[i]);
            }
            for (std::uint32_t c = givenInputs; c < numInputs; ++c)
                std::memset(inputWork.getWritePointer(c), 0, std::size_t(n) * sizeof(float));

            // n is at most one run: processRuns calls Process once.
            const bool ran = processRuns(n, inputWork.getArrayOfWritePointers(), numInputs,
                                         outputWork.getArrayOfWritePointers(), numOutputs);

            for (std::uint32_t c = 0; c < processed; ++c)
            {
                double* out = outputs[c] + offset;
                runOutputs[c] = out;
                if (!isOutputRead(c))
                    continue;
                const float* work = outputWork.getReadPointer(c);
                for (std::uint32_t i = 0; i < n; ++i)
                    out[i] = double(work[i]);
            }
            if (ran)
                RefineDoubleOutputs(runOutputs.data(), processed, n);
        }
    }
    for (std::uint32_t c = processed; c < numOutputChannels; ++c)
        std::memset(outputs[c], 0, std::size_t(numFrames) * sizeof(double));
}

} // namespace kel
