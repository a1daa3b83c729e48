// Freewheel: the audio side's wait for the disk, for hosts that run blocks
// faster than real time. Before a block the ring does not hold, the audio
// thread wakes the buffering thread and sleeps on a condition variable until
// something that could make the block ready happens (wakeDiskWaiter), then
// looks again.
//
// It looks inside a short block scope of its own, since the ring may only be
// read there, but it waits outside any: a reset on the message thread waits
// for the block in progress, and the buffering thread waits for the reset,
// so a wait inside a block would hold up both until the patience ran out.
//
// No wake-up is lost: the waiter raises diskWaiting, then reads diskNews,
// then looks at the ring; whoever changes what it looks at changes it first,
// then raises diskNews, then reads diskWaiting (all sequentially consistent).
// Either the waiter reads the raised diskNews, and so sees the change, or the
// waker sees diskWaiting and notifies under the mutex, which the waiter holds
// from its last look at diskNews until it sleeps.
#include "dsp/KelAudioFilePlayer.h"
#include "dsp/KelAudioFilePlayerScopes.h"

namespace kel {

const OscAddressPattern& AudioFilePlayer::FreewheelAddress()
{
    static const OscAddressPattern address("/freewheel");
    return address;
}

void AudioFilePlayer::SetFreewheel(bool shouldWait) noexcept
{
    freewheel.store(shouldWait, std::memory_order_relaxed);
    if (!shouldWait)
        wakeDiskWaiter();
}

void AudioFilePlayer::wakeDiskWaiter() noexcept
{
    diskNews.fetch_add(1);
    if (!diskWaiting.load())
        return;
    {
        const std::lock_guard lock(diskWaitMutex);
    }
    diskWaitCondition.notify_one();
}

void AudioFilePlayer::waitForTheDisk(std::uint64_t numFrames) noexcept
{
    // A disk that let a whole patience pass without a frame is not waited
    // for again until it delivers: a stalled file would otherwise cost the
    // patience at every block.
    if (freewheelGaveUp && diskDeliveries.load() == deliveriesWhenGaveUp)
        return;
    freewheelGaveUp = false;
    const auto deadline = std::chrono::steady_clock::now() + freewheelPatience;
    bool timedOut = false;
    diskWaiting.store(true);
    for (;;)
    {
        const std::uint64_t news = diskNews.load();
        bool ready = false;
        {
            const AudioBlockScope look(*this);
            // During a reset: not yet; its end wakes this wait.
            ready = !freewheel.load(std::memory_order_relaxed)
                 || (look.mayTouchTransport() && isReadyFor(numFrames));
        }
        if (ready)
            break;
        RequestBuffering();
        std::unique_lock lock(diskWaitMutex);
        if (!diskWaitCondition.wait_until(lock, deadline, [&] { return diskNews.load() != news; }))
        {
            timedOut = true;
            break;
        }
    }
    diskWaiting.store(false);
    if (!timedOut)
        return;
    freewheelGaveUp = true;
    deliveriesWhenGaveUp = diskDeliveries.load();
    // The text was built with the player: nothing allocates here.
    ReportWarning(freewheelWarning);
}

} // namespace kel
