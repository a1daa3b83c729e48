#include "support/SlowReader.h"

#include <thread>

namespace kel::test {

SlowReader::SlowReader(ScopedPointer<AudioFileReader> wrapped, std::chrono::microseconds delayPerRead)
    : AudioFileReader(wrapped->getFile(), nullptr), inner(std::move(wrapped)), delay(delayPerRead)
{
    // The wrapped reader's header stands for this one's.
    metadata = inner->getMetadata();
}

bool SlowReader::readSamples(float* const* destinations, std::int64_t numFrames, std::int64_t startFrame)
{
    std::this_thread::sleep_for(delay);
    if (inner->readSamples(destinations, numFrames, startFrame))
        return true;
    if (const auto& unread = inner->getUnreadFrames(); !unread.empty())
        noteUnreadFrames(unread.first, unread.last);
    return false;
}

} // namespace kel::test
