// A disk slower than playback: every read of the reader it wraps takes a
// fixed time first, so that a player rendering as fast as it can outruns its
// buffering thread.
#pragma once

#include <chrono>

#include "audiofiles/KelAudioFileReader.h"

namespace kel::test {

class SlowReader : public AudioFileReader
{
public:
    SlowReader(ScopedPointer<AudioFileReader> wrapped, std::chrono::microseconds delayPerRead);

    String getDefaultExtension() const override { return inner->getDefaultExtension(); }
    bool readSamples(float* const* destinations, std::int64_t numFrames, std::int64_t startFrame) override;
    bool isUnchangedOnDisk() const override { return inner->isUnchangedOnDisk(); }

private:
    ScopedPointer<AudioFileReader> inner;
    const std::chrono::microseconds delay;
};

} // namespace kel::test
