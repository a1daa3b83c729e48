#include "support/StallingReader.h"

#include <chrono>

namespace kel::test {

void ReadStall::HoldReadCovering(std::int64_t fileFrame)
{
    const std::lock_guard lock(mutex);
    armed = true;
    target = fileFrame;
}

void ReadStall::Release()
{
    const std::lock_guard lock(mutex);
    armed = false;
    // Let go from now on, for the test: the held thread may take a while to
    // run again, and the disk is not late on purpose any more meanwhile.
    held = false;
    ++releases;
    changed.notify_all();
}

bool ReadStall::isHeld() const
{
    const std::lock_guard lock(mutex);
    return held;
}

std::int64_t ReadStall::heldStartFrame() const
{
    const std::lock_guard lock(mutex);
    return heldStart;
}

void ReadStall::BeforeRead(std::int64_t startFrame, std::int64_t numFrames)
{
    std::unique_lock lock(mutex);
    if (!armed || target < startFrame || target >= startFrame + numFrames)
        return;
    armed = false;
    held = true;
    heldStart = startFrame;
    changed.notify_all();
    // A count rather than a flag: arming the next hold right after a
    // release must not take back the release this read has not seen yet.
    const std::uint64_t releasesBefore = releases;
    if (!changed.wait_for(lock, std::chrono::duration<double>(safetyLimitSeconds),
                          [&] { return releases != releasesBefore; }))
        held = false;
}

StallingReader::StallingReader(ScopedPointer<AudioFileReader> wrapped, std::shared_ptr<ReadStall> stall)
    : AudioFileReader(wrapped->getFile(), nullptr), inner(std::move(wrapped)), control(std::move(stall))
{
    // The wrapped reader's header stands for this one's.
    metadata = inner->getMetadata();
}

bool StallingReader::readSamples(float* const* destinations, std::int64_t numFrames, std::int64_t startFrame)
{
    control->BeforeRead(startFrame, numFrames);
    if (inner->readSamples(destinations, numFrames, startFrame))
        return true;
    if (const auto& unread = inner->getUnreadFrames(); !unread.empty())
        noteUnreadFrames(unread.first, unread.last);
    return false;
}

} // namespace kel::test
