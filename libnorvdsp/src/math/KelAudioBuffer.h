// Blocks of samples arranged as channels by samples. AudioBuffer owns one
// contiguous allocation (channel i starts at i x numSamples); an
// AudioBufferReference only points at channels owned elsewhere. Both share
// AudioBufferBase, which is what readers and the player take.
//
// The is-clear flag lets a clear() of a buffer that is already silent cost
// nothing: writers reset it by taking a write pointer.
//
// Not thread-safe. Construction and setSize allocate (control side only);
// the pointer accessors and clear() never allocate.
#pragma once

#include <cstdint>
#include <cstring>

#include "containers/KelVector.h"

namespace kel {

namespace detail {
/** Throws "Overly large buffer allocation (c x s)." beyond 6 GB of floats. */
void EnsureReasonableBufferAllocation(std::uint32_t numChannels, std::uint64_t numSamples,
                                      std::size_t sampleSize);
} // namespace detail

template <typename Sample>
class AudioBufferBase
{
public:
    virtual ~AudioBufferBase() = default;

    std::uint32_t getNumChannels() const noexcept { return numChannels; }
    std::uint64_t getNumSamples() const noexcept { return numSamples; }

    const Sample* getReadPointer(std::uint32_t channel) const noexcept { return channels[channel]; }
    /** Taking a write pointer means the buffer may no longer be silent. */
    Sample* getWritePointer(std::uint32_t channel) noexcept
    {
        clearFlag = false;
        return channels[channel];
    }
    /** The channel pointer table, one pointer per channel. */
    Sample* const* getArrayOfWritePointers() noexcept
    {
        clearFlag = false;
        return channels.data();
    }

    bool isClear() const noexcept { return clearFlag; }
    void setClear(bool isNowClear) noexcept { clearFlag = isNowClear; }

    /** Zeroes every channel once; a buffer already known to be clear is left
        alone. */
    void clear() noexcept
    {
        if (clearFlag)
            return;
        for (std::uint32_t c = 0; c < numChannels; ++c)
            std::memset(channels[c], 0, std::size_t(numSamples) * sizeof(Sample));
        clearFlag = true;
    }

protected:
    std::uint32_t numChannels = 0;
    std::uint64_t numSamples = 0;
    Vector<Sample*> channels;
    bool clearFlag = false;
};

template <typename Sample>
class AudioBuffer : public AudioBufferBase<Sample>
{
public:
    AudioBuffer() = default;
    AudioBuffer(std::uint32_t channelCount, std::uint64_t sampleCount) { setSize(channelCount, sampleCount); }

    AudioBuffer(const AudioBuffer&) = delete;
    AudioBuffer& operator=(const AudioBuffer&) = delete;

    /** Reallocates to a new shape, zero-filled, under the 6 GB guard. On a
        throw the buffer keeps its previous shape and content. */
    void setSize(std::uint32_t channelCount, std::uint64_t sampleCount)
    {
        detail::EnsureReasonableBufferAllocation(channelCount, sampleCount, sizeof(Sample));
        Vector<Sample> newStorage;
        Vector<Sample*> newChannels;
        newStorage.Resize(std::size_t(channelCount) * std::size_t(sampleCount), Sample(0));
        newChannels.Resize(channelCount, nullptr);
        for (std::uint32_t c = 0; c < channelCount; ++c)
            newChannels[c] = newStorage.data() + std::size_t(c) * std::size_t(sampleCount);
        storage = std::move(newStorage);
        this->channels = std::move(newChannels);
        this->numChannels = channelCount;
        this->numSamples = sampleCount;
        this->clearFlag = false;
    }

private:
    Vector<Sample> storage;
};

/** A view of channels owned elsewhere (a host's signal vectors, a slice of
    another buffer). Owns nothing. */
template <typename Sample>
class AudioBufferReference : public AudioBufferBase<Sample>
{
public:
    AudioBufferReference() = default;
    AudioBufferReference(Sample* const* channelPointers, std::uint32_t channelCount, std::uint64_t sampleCount)
    {
        setData(channelPointers, channelCount, sampleCount);
    }

    /** Points the view at new channels; allocates only when the channel count
        grows beyond what it held before. */
    void setData(Sample* const* channelPointers, std::uint32_t channelCount, std::uint64_t sampleCount)
    {
        this->channels.Resize(channelCount);
        for (std::uint32_t c = 0; c < channelCount; ++c)
            this->channels[c] = channelPointers[c];
        this->numChannels = channelCount;
        this->numSamples = sampleCount;
        this->clearFlag = false;
    }
};

} // namespace kel
