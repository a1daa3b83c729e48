#include "support/StallingReader.h"

#include <chrono>

namespace kel::test {

void ReadStall::HoldReadCovering(std::int64_t fileFrame)
{
    const std::lock_guard lock(mutex);
    armed = true;
    target = fileFrame;
    released = false;
}

void ReadStall::Release()
{
    const std::lock_guard lock(mutex);
    armed = false;
    released = true;
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
    changed.wait_for(lock, std::chrono::duration<double>(safetyLimitSeconds), [this] { return released; });
    held = false;
    changed.notify_all();
}

StallingReader::StallingReader(ScopedPointer<AudioFileReader> wrapped, std::shared_ptr<ReadStall> stall)
    : AudioFileReader(wrapped->getFile(), nullptr), inner(std::move(wrapped)), control(std::move(stall))
{
    // The wrapped reader's header stands for this one's.
    metadata = inner->getMetadata();
}

bool StallingReader::readSamples(SampleWord* const* destinations, std::int64_t numFrames, std::int64_t startFrame)
{
    control->BeforeRead(startFrame, numFrames);
    return inner->readSamples(destinations, numFrames, startFrame);
}

} // namespace kel::test
