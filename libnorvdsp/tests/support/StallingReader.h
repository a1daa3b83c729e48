// A reader that holds up a chosen read of the reader it wraps, standing for a
// disk that is late: the read that covers a chosen frame waits until the test
// lets it go, so the test decides how long the disk is late in frames played
// rather than in wall-clock time. The player owns the reader; the test keeps
// the ReadStall that steers it.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>

#include "audiofiles/KelAudioFileReader.h"

namespace kel::test {

/** Which read waits, until when. Thread-safe: the test arms and
    releases it, the buffering thread waits in it. */
class ReadStall
{
public:
    /** A held read never waits longer than this, so that a failing test
        still ends (the player's destructor waits for its buffering thread). */
    static constexpr double safetyLimitSeconds = 30.0;

    /** The next read whose frames include fileFrame waits until Release.
        Once; arming again replaces it. */
    void HoldReadCovering(std::int64_t fileFrame);
    /** Lets a held read go (and disarms one that has not fired). */
    void Release();

    bool isHeld() const;
    /** The first frame of the read held (or last held). */
    std::int64_t heldStartFrame() const;

    /** Called by the reader before each read. */
    void BeforeRead(std::int64_t startFrame, std::int64_t numFrames);

private:
    mutable std::mutex mutex;
    std::condition_variable changed;
    bool armed = false;
    std::int64_t target = 0;
    bool held = false;
    std::uint64_t releases = 0;
    std::int64_t heldStart = -1;
};

/** Forwards every call to the reader it wraps, after asking its stall, and
    passes on what the wrapped reader says of frames it could not read. */
class StallingReader : public AudioFileReader
{
public:
    StallingReader(ScopedPointer<AudioFileReader> wrapped, std::shared_ptr<ReadStall> stall);

    String getDefaultExtension() const override { return inner->getDefaultExtension(); }
    bool readSamples(float* const* destinations, std::int64_t numFrames, std::int64_t startFrame) override;
    bool isUnchangedOnDisk() const override { return inner->isUnchangedOnDisk(); }

private:
    ScopedPointer<AudioFileReader> inner;
    std::shared_ptr<ReadStall> control;
};

} // namespace kel::test
