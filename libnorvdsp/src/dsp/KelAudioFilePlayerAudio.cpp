// The audio side: one block of output per call of Process, on the audio
// thread. It plans the block from the file frames the ring holds (where the
// segment ends or starts over, where the disk fell behind), copies the
// ring's frames out (one or two copies per channel), writes the playback
// position of every frame and reports progress, buffer fill, markers and the
// end of playback.
//
// Never allocates, never reads the file, never throws; the only lock is the
// transport mutex around the update of the read index, which no one else
// holds while a block runs (see KelAudioFilePlayerScopes.h). Only in
// freewheel mode does it wait for the disk, before the block
// (KelAudioFilePlayerFreewheel.cpp).
#include <algorithm>
#include <cstring>

#include "dsp/KelAudioFilePlayer.h"
#include "dsp/KelAudioFilePlayerScopes.h"

namespace kel {

/** What one block plays: fromRing frames out of the ring, in runs, and
    silent frames the disk has not delivered (an underrun): a streaming ring
    plays its frames first and the silent ones after, a resident one plays
    each frame that is loaded. After the end of a segment that does not loop,
    or of what a stopped disk side delivered, nothing. */
struct AudioFilePlayer::BlockPlan
{
    std::uint64_t dropped = 0;   // streaming: late frames taken out of the ring unplayed
    std::uint64_t read = 0;      // streaming: ring index of the first frame played
    std::uint64_t fromRing = 0;
    std::uint64_t silent = 0;
    std::size_t runs = 0;        // copyRuns in use
    bool ended = false;
    bool reports = false;
};

void AudioFilePlayer::clearAudioChannels(AudioBufferBase<float>& outputs, std::uint32_t first) noexcept
{
    const std::size_t bytes = std::size_t(outputs.getNumSamples()) * sizeof(float);
    for (std::uint32_t c = first; c < numChannels; ++c)
        if (isOutputConnected(c))
            std::memset(outputs.getWritePointer(c), 0, bytes);
}

void AudioFilePlayer::endUnderrun() noexcept
{
    if (currentUnderrun.frames == 0)
        return;
    // A full queue loses the report, not the timing.
    underrunReports.TryPush([this](Underrun& slot) noexcept { slot = currentUnderrun; });
    currentUnderrun.frames = 0;
    RequestBuffering();
}

void AudioFilePlayer::reportMarkersIn(std::uint64_t first, std::uint64_t last) noexcept
{
    // The reports are sorted by position.
    const auto begin = std::lower_bound(markerReports.begin(), markerReports.end(), first,
                                        [](const MarkerReport& marker, std::uint64_t frame)
                                        { return marker.position < 0 || std::uint64_t(marker.position) < frame; });
    for (auto marker = begin; marker != markerReports.end() && std::uint64_t(marker->position) <= last; ++marker)
        sendToListeners(marker->report, true);
}

void AudioFilePlayer::planBlock(BlockPlan& plan, std::uint64_t numFrames, bool looping) noexcept
{
    const std::uint64_t start = segmentStart.load(std::memory_order_relaxed);
    const std::uint64_t end = segmentEnd.load(std::memory_order_relaxed);
    const bool loops = looping && end > start;
    const std::uint64_t length = ring.getShape().frames;
    const bool resident = ring.getShape().resident;
    const std::uint64_t* const tags = ring.tags();

    // Before the fill: a disk side that has stopped published its last
    // frames before it said so.
    const bool diskOver = diskStopped.load(std::memory_order_acquire);
    std::uint64_t used = ringUsed.load(std::memory_order_acquire);
    std::uint64_t read = ringReadIndex.load(std::memory_order_relaxed);
    // Frames already played as silence arrive late: they are dropped. The
    // debt goes down before the fill, so the disk side, which skips the
    // debt in the file only when the ring is empty, never skips them twice.
    if (const std::uint64_t debt = underrunDebt.load(); debt > 0 && used > 0)
    {
        plan.dropped = std::min(debt, used);
        underrunDebt.fetch_sub(plan.dropped);
        used -= plan.dropped;
        read = (read + plan.dropped) % length;
    }
    plan.read = read;
    if (resident)
        used = 0;
    std::uint64_t ringIndex = read;

    std::uint64_t next = start + played.load(std::memory_order_relaxed);  // the frame due now

    // Most blocks play frames that follow each other, all in the ring, inside
    // the segment: one run, without a look at each frame.
    if (next < end && numFrames > 0)
    {
        std::uint64_t first = next;
        bool contiguous = false;
        if (resident)
        {
            contiguous = next + numFrames <= end && ring.areLoaded(next, numFrames);
        }
        else if (used >= numFrames && read + numFrames <= length)
        {
            first = tags[read];
            contiguous = first + numFrames <= end;
            // Every tag, not only the last: a loop's wrap and an underrun's
            // skip could cancel out between the two ends.
            std::uint64_t mismatches = 0;
            for (std::uint64_t i = 0; i < numFrames; ++i)
                mismatches |= tags[read + i] ^ (first + i);
            contiguous = contiguous && mismatches == 0;
        }
        if (contiguous)
        {
            if (currentUnderrun.frames > 0)
                endUnderrun();
            copyRuns[0] = {0, resident ? first : read, numFrames};
            plan.runs = 1;
            plan.fromRing = numFrames;
            const double base = double(first);
            for (std::uint64_t i = 0; i < numFrames; ++i)
                positionWork[i] = base + double(i);
            if (plan.reports)
                reportMarkersIn(first, first + numFrames - 1);
            next = first + numFrames;
            plan.ended = next >= end && !loops;
            played.store(std::min(next, end) - start, std::memory_order_relaxed);
            return;
        }
    }
    std::uint64_t runFirst = 0, runLast = 0;
    bool inRun = false;
    std::uint64_t i = 0;
    for (; i < numFrames; ++i)
    {
        if (next >= end)
        {
            if (!loops)
            {
                plan.ended = true;
                break;
            }
            next = start;
        }
        std::uint64_t frame = next;
        const bool streamed = i < used;
        if (streamed || (resident && next < length && ring.isLoaded(next)))
        {
            if (currentUnderrun.frames > 0)
                endUnderrun();
            // A streaming ring says which frame it holds; the audio and its
            // time cannot part.
            if (streamed)
            {
                frame = tags[ringIndex];
            }
            else
                ringIndex = frame;
            CopyRun* run = plan.runs > 0 ? &copyRuns[plan.runs - 1] : nullptr;
            if (run == nullptr || run->output + run->frames != i || run->ring + run->frames != ringIndex)
            {
                run = &copyRuns[plan.runs++];
                *run = {i, ringIndex, 0};
            }
            ++run->frames;
            ++plan.fromRing;
            if (streamed && ++ringIndex == length)
                ringIndex = 0;
        }
        else if (diskOver)
        {
            // Nothing more will come: playback ends after the last good
            // frame, looping or not.
            plan.ended = true;
            break;
        }
        else
        {
            if (currentUnderrun.frames == 0)
            {
                currentUnderrun.firstFrame = frame;
                currentUnderrun.file = openedFiles.load(std::memory_order_relaxed);
            }
            ++currentUnderrun.frames;
            ++plan.silent;
        }
        // Converted to milliseconds once the block is planned.
        positionWork[i] = double(frame);
        if (plan.reports)
        {
            if (inRun && frame == runLast + 1)
                runLast = frame;
            else
            {
                if (inRun)
                    reportMarkersIn(runFirst, runLast);
                runFirst = runLast = frame;
                inRun = true;
            }
        }
        next = frame + 1;
    }
    if (inRun)
        reportMarkersIn(runFirst, runLast);
    // A block that plays the segment's last frame last ends playback now,
    // not one block later.
    if (!plan.ended && next >= end && !loops)
        plan.ended = true;

    const std::uint64_t soFar = std::min(next, end) - start;
    played.store(soFar, std::memory_order_relaxed);
    std::fill(positionWork.begin() + std::ptrdiff_t(i), positionWork.begin() + std::ptrdiff_t(numFrames),
              double(std::min(next, end)));
}

void AudioFilePlayer::writePositions(AudioBufferBase<float>& outputs, std::uint64_t numFrames) noexcept
{
    // Only for a listener: the position outlet, or a 64-bit host that
    // refines it.
    if (!isOutputConnected(numChannels))
        return;
    // The same expression as every other frame-to-time conversion, so a
    // position compares equal with the time computed anywhere else; a loop
    // of its own so that it runs vectorised.
    const double rate = getSampleRate();
    double* const work = positionWork.data();
    for (std::uint64_t i = 0; i < numFrames; ++i)
        work[i] = work[i] * 1000.0 / rate;
    float* out = outputs.getWritePointer(numChannels);
    for (std::uint64_t i = 0; i < numFrames; ++i)
        out[i] = float(work[i]);
}

void AudioFilePlayer::copyFromRing(AudioBufferBase<float>& outputs, const BlockPlan& plan) noexcept
{
    const AudioBufferBase<float>& samples = ring.samples();
    const std::uint32_t channels = samples.getNumChannels();
    const std::uint64_t numFrames = outputs.getNumSamples();
    float* const* const out = outputs.getArrayOfWritePointers();
    const CopyRun* const runs = copyRuns.data();

    if (plan.runs == 1 && plan.fromRing == numFrames)
    {
        // The usual block: one copy per channel.
        const std::uint64_t from = runs[0].ring;
        const std::size_t bytes = std::size_t(numFrames) * sizeof(float);
        for (std::uint32_t c = 0; c < channels; ++c)
            if (isOutputConnected(c))
                std::memcpy(out[c], samples.getReadPointer(c) + from, bytes);
    }
    else
    {
        // Frames no run covers (an underrun, the end) are silent.
        for (std::uint32_t c = 0; c < channels; ++c)
        {
            if (!isOutputConnected(c))
                continue;
            const float* in = samples.getReadPointer(c);
            std::memset(out[c], 0, std::size_t(numFrames) * sizeof(float));
            for (std::size_t r = 0; r < plan.runs; ++r)
                std::memcpy(out[c] + runs[r].output, in + runs[r].ring, std::size_t(runs[r].frames) * sizeof(float));
        }
    }
    clearAudioChannels(outputs, channels);
}

void AudioFilePlayer::outputWhileStopped(AudioBufferBase<float>& outputs) noexcept
{
    clearAudioChannels(outputs, 0);
    const std::uint64_t n = outputs.getNumSamples();
    const std::uint64_t held = std::min(segmentStart.load(std::memory_order_relaxed) + played.load(std::memory_order_relaxed),
                                        segmentEnd.load(std::memory_order_relaxed));
    std::fill_n(positionWork.begin(), n, framesToMilliseconds(held));
    if (isOutputConnected(numChannels))
        std::fill_n(outputs.getWritePointer(numChannels), n, float(positionWork[0]));
}

void AudioFilePlayer::Process(const AudioBufferBase<float>& /*inputs*/, AudioBufferBase<float>& outputs) noexcept
{
    // Freewheel comes before the block and its underrun path; in real time
    // this load is all it costs.
    if (freewheel.load(std::memory_order_relaxed))
        waitForTheDisk(outputs.getNumSamples());
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
        // An underrun is over when playback stops.
        endUnderrun();
        outputWhileStopped(outputs);
        return;
    }

    const std::uint64_t n = outputs.getNumSamples();
    BlockPlan plan;
    plan.reports = reports;
    planBlock(plan, n, loop.load(std::memory_order_acquire));

    copyFromRing(outputs, plan);
    // A resident ring is not used up by playing: it holds the file.
    if (const std::uint64_t taken = plan.dropped + plan.fromRing; taken > 0 && !ring.getShape().resident)
    {
        const std::lock_guard lock(transportMutex);
        ringReadIndex.store((plan.read + plan.fromRing) % ring.getShape().frames, std::memory_order_relaxed);
        ringUsed.fetch_sub(taken);
    }
    // After the fill went down: the disk side may skip these in the file
    // as soon as it sees the ring empty. A resident file loads from where
    // the audio side is instead.
    if (plan.silent > 0 && !ring.getShape().resident)
        underrunDebt.fetch_add(plan.silent);
    // Only blocks change it while a file plays (a reset keeps them away):
    // no locked read-modify-write needed.
    totalPlayed.store(totalPlayed.load(std::memory_order_relaxed) + plan.fromRing + plan.silent,
                      std::memory_order_relaxed);
    writePositions(outputs, n);

    const double fill = getFillPercentage();
    if (fill <= wakeUpFillPercent)
        RequestBuffering();
    if (reports)
        reportBuffering(fill, true);

    if (plan.ended)
    {
        endUnderrun();
        // Stopped before the listeners hear of it, so that one of them may
        // start playback again.
        playing.store(false, std::memory_order_release);
        if (reports)
            reportPlaybackEnded();
        else
            endedPending = true;
    }
    if (reports)
    {
        const std::uint64_t length = segmentLength.load(std::memory_order_relaxed);
        const std::uint64_t now = played.load(std::memory_order_relaxed);
        const double progress = length == 0 ? 0.0 : std::min(100.0, double(now) * 100.0 / double(length));
        reportProgress(progress, true);
    }
}

void AudioFilePlayer::RefineDoubleOutputs(double* const* outputs, std::uint32_t numOutputs,
                                          std::uint32_t numFrames) noexcept
{
    if (numChannels < numOutputs && isOutputConnected(numChannels))
        std::copy_n(positionWork.begin(), numFrames, outputs[numChannels]);
}

} // namespace kel
