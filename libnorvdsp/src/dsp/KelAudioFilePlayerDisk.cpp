// The disk side of the ring: one disk pass (at most 4096 frames read from the
// file into the ring, or silence padded after the end of a segment) and the
// buffering thread that runs passes.
//
// A pass holds the disk mutex for its whole length. It writes only ring
// frames the audio side has finished with (the free part, counted by
// ringUsed), and publishes them by raising ringUsed afterwards, so the audio
// side never sees a frame before it is written. It reads the audio side's
// progress without the transport mutex: a stale value only makes it read
// less.
#include <algorithm>

#include "common/KelException.h"
#include "dsp/KelAudioFilePlayer.h"

namespace kel {

AudioFilePlayer::BufferingThread::BufferingThread(AudioFilePlayer& owner) : Thread(threadName), player(&owner) {}

AudioFilePlayer::BufferingThread::~BufferingThread()
{
    // run() reads the player's members until it returns.
    stop(-1.0);
}

void AudioFilePlayer::BufferingThread::run()
{
    while (!shouldExit())
    {
        while (player->getFillPercentage() < topUpFillPercent)
        {
            if (shouldExit())
                return;
            player->readSamplesFromDisk();
            if (shouldExit())
                return;
            wait(100.0);
        }
        if (shouldExit())
            return;
        wait(1000.0);
    }
}

std::uint64_t AudioFilePlayer::getRemainingSamplesInAudioFile() const
{
    if (reader == nullptr)
        return 0;
    const std::uint64_t end = segmentEnd.load();
    const std::uint64_t position = filePosition.load();
    if (end >= position)
        return end - position;
    ReportError("AudioFilePlayer::getRemainingSamplesInAudioFile() : bug ? ");
    return 0;
}

std::uint64_t AudioFilePlayer::getNumSamplesToReadFromDisk() const
{
    const std::uint64_t used = ringUsed.load(std::memory_order_acquire);
    const std::uint64_t free = ringCapacity - used;
    const std::uint64_t frames = std::min({free, maxFramesPerDiskPass, getRemainingSamplesInAudioFile()});

    // The frames the audio side has taken from the ring, by the disk's
    // count, must not run ahead of what it says it played.
    const std::int64_t taken = std::int64_t(filePosition.load()) - 10 * std::int64_t(getBlockSize())
                             - std::int64_t(segmentStart.load()) - std::int64_t(used);
    if (std::int64_t(played.load()) < taken)
    {
        ReportError("AudioFilePlayer::getNumSamplesToReadFromDisk() : too fast ? ");
        return 0;
    }
    return frames;
}

bool AudioFilePlayer::readIntoRing(std::uint64_t ringIndex, std::uint64_t numFrames, std::uint64_t fileFrame)
{
    return reader->read(ring, std::int64_t(ringIndex), std::int64_t(numFrames), std::int64_t(fileFrame));
}

void AudioFilePlayer::padRingWithSilence(std::uint32_t channels)
{
    // At most a pass's worth, as for a read: zeroing a whole ring of many
    // channels would hold the disk mutex (and a seek waiting for it) for a
    // long time. The audio side plays silence for frames not yet written.
    const std::uint64_t free =
        std::min(ringCapacity - ringUsed.load(std::memory_order_acquire), maxFramesPerDiskPass);
    if (free == 0)
        return;
    const std::uint64_t write = ringWriteIndex.load();
    const std::uint64_t first = std::min(free, ringCapacity - write);
    const std::uint64_t rest = free - first;
    for (std::uint32_t c = 0; c < channels; ++c)
    {
        float* samples = ring.getWritePointer(c);
        std::fill_n(samples + write, first, 0.0f);
        std::fill_n(samples, rest, 0.0f);
    }
    ringWriteIndex.store((write + free) % ringCapacity);
    ringUsed.fetch_add(free, std::memory_order_release);
}

void AudioFilePlayer::readSamplesFromDisk()
{
    double fill = 0.0;
    {
        const std::lock_guard disk(diskMutex);
        if (reader == nullptr)
            return;
        const std::uint32_t channels = std::min(numChannels, fileChannels.load());
        const bool looping = loop.load(std::memory_order_acquire);

        if (getRemainingSamplesInAudioFile() == 0)
        {
            if (!looping)
            {
                // The audio side never checks where the segment ends inside
                // the ring: what follows it must be silence.
                padRingWithSilence(channels);
                return;
            }
            // Read the segment again; the ring runs on, so the loop is seamless.
            filePosition.store(segmentStart.load());
        }

        const std::uint64_t frames = getNumSamplesToReadFromDisk();
        if (frames > 0)
        {
            std::uint64_t write = ringWriteIndex.load();
            std::uint64_t position = filePosition.load();
            bool succeeded = true;
            if (write + frames > ringCapacity)
            {
                ringWrapped.store(true);
                const std::uint64_t first = ringCapacity - write;
                succeeded = readIntoRing(write, first, position);
                position += first;
                const std::uint64_t rest = frames - first;
                succeeded = readIntoRing(0, rest, position) && succeeded;
                position += rest;
                write = rest;
            }
            else
            {
                succeeded = readIntoRing(write, frames, position);
                if (write + frames >= ringCapacity)
                    ringWrapped.store(true);
                write = (write + frames) % ringCapacity;
                position += frames;
            }
            ringWriteIndex.store(write);
            filePosition.store(position);
            ringUsed.fetch_add(frames, std::memory_order_release);
            if (!succeeded)
                ReportError("AudioFilePlayer::readSamplesFromDisk() Error reading samples in "
                            + reader->getFile().getFullPathName());
        }
        fill = getFillPercentage();
    }
    // Listeners are called without the disk mutex, so that one that sends
    // a message back cannot take the two mutexes in the wrong order.
    reportBuffering(fill, false);
}

} // namespace kel
