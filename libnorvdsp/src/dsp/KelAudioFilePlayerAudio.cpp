// The audio side: one block of output per call of Process, on the audio
// thread. It copies the ring's frames out (one or two copies per channel),
// moves the transport on, writes the playback position in milliseconds and
// reports progress, buffer fill, markers and the end of playback.
//
// Never allocates, never reads the file, never throws; the only lock is the
// transport mutex around the update of the read index, which no one else
// holds while a block runs (see KelAudioFilePlayerScopes.h).
#include <algorithm>
#include <cstring>

#include "dsp/KelAudioFilePlayer.h"
#include "dsp/KelAudioFilePlayerScopes.h"

namespace kel {

namespace {

constexpr std::uint32_t prefetchChannelsAhead = 6;
constexpr std::size_t cacheLineBytes = 64;

// Built once, so that reporting a state that should never occur does not
// allocate a text on the audio thread.
const String& ProcessBug1Text()
{
    static const String text("AudioFilePlayer::Process bug 1 ?");
    return text;
}
const String& ProcessBug3Text()
{
    static const String text("AudioFilePlayer::Process bug 3 ?");
    return text;
}

} // namespace

void AudioFilePlayer::clearAudioChannels(AudioBufferBase<float>& outputs, std::uint32_t first) noexcept
{
    const std::size_t bytes = std::size_t(outputs.getNumSamples()) * sizeof(float);
    for (std::uint32_t c = first; c < numChannels; ++c)
        if (isOutputConnected(c))
            std::memset(outputs.getWritePointer(c), 0, bytes);
}

std::uint64_t AudioFilePlayer::readFromRing(AudioBufferBase<float>& outputs, std::uint64_t numFrames) noexcept
{
    const std::uint32_t channels = std::min(numChannels, fileChannels.load(std::memory_order_relaxed));
    // Only frames the disk side has written; if it fell behind, the rest of
    // the block is silent.
    const std::uint64_t available = ringUsed.load(std::memory_order_acquire);
    const std::uint64_t frames = std::min(numFrames, available);
    const std::uint64_t read = ringReadIndex.load(std::memory_order_relaxed);
    const std::uint64_t first = std::min(frames, ringCapacity - read);
    const std::size_t firstBytes = std::size_t(first) * sizeof(float);
    const std::size_t secondBytes = std::size_t(frames - first) * sizeof(float);
    const std::size_t missingBytes = std::size_t(numFrames - frames) * sizeof(float);

    for (std::uint32_t c = 0; c < channels; ++c)
    {
        // Each channel's run lies in its own page of the ring: asking for a
        // few channels ahead keeps several memory reads in flight.
        if (c + prefetchChannelsAhead < channels)
        {
            const char* ahead = reinterpret_cast<const char*>(ring.getReadPointer(c + prefetchChannelsAhead) + read);
            for (std::size_t offset = 0; offset < firstBytes; offset += cacheLineBytes)
                __builtin_prefetch(ahead + offset);
        }
        if (!isOutputConnected(c))
            continue;
        float* out = outputs.getWritePointer(c);
        const float* in = ring.getReadPointer(c);
        std::memcpy(out, in + read, firstBytes);
        if (secondBytes > 0)
            std::memcpy(out + first, in, secondBytes);
        if (missingBytes > 0)
            std::memset(out + frames, 0, missingBytes);
    }
    {
        const std::lock_guard lock(transportMutex);
        ringReadIndex.store((read + frames) % ringCapacity, std::memory_order_relaxed);
        ringUsed.fetch_sub(frames, std::memory_order_release);
    }
    clearAudioChannels(outputs, channels);

    const double fill = getFillPercentage();
    if (fill <= wakeUpFillPercent && bufferingThread != nullptr)
        bufferingThread->notify();
    return frames;
}

void AudioFilePlayer::outputWhileStopped(AudioBufferBase<float>& outputs) noexcept
{
    clearAudioChannels(outputs, 0);
    if (!isOutputConnected(numChannels))
        return;
    const std::uint64_t held = std::min(segmentStart.load(std::memory_order_relaxed) + played.load(std::memory_order_relaxed),
                                        segmentEnd.load(std::memory_order_relaxed));
    std::fill_n(outputs.getWritePointer(numChannels), outputs.getNumSamples(), float(framesToMilliseconds(held)));
}

void AudioFilePlayer::writeRampPosition(AudioBufferBase<float>& outputs, std::uint64_t from, std::uint64_t to) noexcept
{
    float* out = outputs.getWritePointer(numChannels);
    const std::uint64_t n = outputs.getNumSamples();
    const double start = framesToMilliseconds(from);
    const double end = framesToMilliseconds(to);
    if (n > 1)
    {
        const double step = (end - start) / double(n - 1);
        for (std::uint64_t i = 0; i + 1 < n; ++i)
            out[i] = float(start + double(i) * step);
    }
    out[n - 1] = float(end);
}

void AudioFilePlayer::writeLoopPosition(AudioBufferBase<float>& outputs, std::uint64_t start) noexcept
{
    // The segment's time, frame by frame, until its end is passed; from there
    // on the block carries the segment start's time, and played starts over.
    float* out = outputs.getWritePointer(numChannels);
    const std::uint64_t n = outputs.getNumSamples();
    const std::uint64_t end = segmentEnd.load(std::memory_order_relaxed);
    const double startTime = framesToMilliseconds(start);
    const double frameTime = 1000.0 / getSampleRate();
    const float segmentStartTime = float(framesToMilliseconds(segmentStart.load(std::memory_order_relaxed)));
    bool wrapped = false;
    for (std::uint64_t i = 0; i < n; ++i)
    {
        out[i] = wrapped ? segmentStartTime : float(startTime + double(i) * frameTime);
        if (!wrapped && start + i + 1 >= end)
        {
            wrapped = true;
            played.store(0, std::memory_order_relaxed);
        }
    }
}

void AudioFilePlayer::reportMarkersIn(std::uint64_t from, std::uint64_t to, bool reportsAllowed) noexcept
{
    if (!reportsAllowed)
        return;
    for (std::size_t i = 0; i < markerReports.size(); ++i)
    {
        const std::int64_t position = markerReports[i].position;
        if (position >= 0 && from <= std::uint64_t(position) && std::uint64_t(position) < to)
            sendToListeners(markerReports[i].report, true);
    }
}

void AudioFilePlayer::Process(const AudioBufferBase<float>& /*inputs*/, AudioBufferBase<float>& outputs) noexcept
{
    const AudioBlockScope block(*this);
    if (!block.mayTouchTransport())
    {
        outputWhileStopped(outputs);
        return;
    }
    const bool reports = block.mayReport();
    if (reports && endedPending)
    {
        endedPending = false;
        reportPlaybackEnded();
    }
    if (!playing.load(std::memory_order_acquire))
    {
        outputWhileStopped(outputs);
        return;
    }

    const std::uint64_t n = outputs.getNumSamples();
    const bool looping = loop.load(std::memory_order_acquire);
    const std::uint64_t length = segmentLength.load(std::memory_order_relaxed);
    const std::uint64_t start = segmentStart.load(std::memory_order_relaxed);
    const std::uint64_t end = segmentEnd.load(std::memory_order_relaxed);
    const bool positionConnected = isOutputConnected(numChannels);

    std::uint64_t soFar = played.load(std::memory_order_relaxed);
    if (soFar < length || looping)
    {
        readFromRing(outputs, n);
        soFar += n;
        played.store(soFar, std::memory_order_relaxed);
        if (reports)
            reportBuffering(getFillPercentage(), true);
    }
    else
    {
        outputs.clear();
        if (filePosition.load(std::memory_order_relaxed) < end)
            postFromAudioThread(ProcessBug1Text());
        if (soFar > length + getBlockSize())
            postFromAudioThread(ProcessBug3Text());
        // Stopped before the listeners hear of it, so that one of them may
        // start playback again.
        playing.store(false, std::memory_order_release);
        if (reports)
            reportPlaybackEnded();
        else
            endedPending = true;
    }

    const std::uint64_t position = start + soFar;
    if (!looping)
    {
        const std::uint64_t to = std::min(position, end);
        // From where the previous block ended: a block clipped by the
        // segment's end neither repeats markers nor ramps backwards.
        const std::uint64_t from = std::min(lastPosition.load(std::memory_order_relaxed), to);
        reportMarkersIn(from, to, reports);
        if (positionConnected)
            writeRampPosition(outputs, from, to);
        totalPlayed.fetch_add(to - from, std::memory_order_relaxed);
        lastPosition.store(to, std::memory_order_relaxed);
    }
    else
    {
        const std::uint64_t blockStart = position - n;
        totalPlayed.fetch_add(n, std::memory_order_relaxed);
        reportMarkersIn(blockStart, position, reports);
        // Played starts over only here, so without the position output it
        // runs on past the segment's length in loop mode.
        if (positionConnected)
            writeLoopPosition(outputs, blockStart);
        lastPosition.store(std::min(start + played.load(std::memory_order_relaxed), end), std::memory_order_relaxed);
    }

    if (reports)
    {
        const std::uint64_t now = played.load(std::memory_order_relaxed);
        const double progress = length == 0 ? 0.0 : std::min(100.0, double(now) * 100.0 / double(length));
        reportProgress(progress, true);
    }
}

} // namespace kel
