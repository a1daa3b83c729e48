// A frame-index reader (FrameIndexReader) whose file goes wrong while it
// plays, as the buffering thread would meet it: rewritten on disk during a
// chosen read, or unreadable from a chosen frame on. The test keeps the
// FileFault that steers it; the player owns the reader.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "support/FrameIndexReader.h"

namespace kel::test {

/** What goes wrong, and whether it has. Thread-safe: the test arms it, the
    buffering thread reads through it. */
struct FileFault
{
    /** The read whose frames include this one finds the file rewritten. */
    std::atomic<std::int64_t> changeAtFrame{-1};
    /** Or the read that brings the frames read since arming to this many. */
    std::atomic<std::int64_t> changeAfterFrames{-1};
    /** Reads fail from this frame on: the frames before it in a read come,
        the rest are missed, as in a file cut there. */
    std::atomic<std::int64_t> failFromFrame{-1};
    /** Set once the file counts as rewritten; the test may set it too. */
    std::atomic<bool> changed{false};
    /** Reads that delivered the rewritten file's bytes. */
    std::atomic<int> readsOfChangedFile{0};
};

/** The loud noise a rewritten file gives through the old header. */
constexpr float rewrittenFileSample = 0.999f;

class FaultyReader : public FrameIndexReader
{
public:
    FaultyReader(const std::string& path, std::int64_t lengthInFrames, std::shared_ptr<FileFault> fault);

    bool readSamples(float* const* destinations, std::int64_t numFrames, std::int64_t startFrame) override;
    bool isUnchangedOnDisk() const override { return !control->changed.load(); }

private:
    std::shared_ptr<FileFault> control;
};

} // namespace kel::test
