#include "support/FaultyReader.h"

#include <algorithm>

namespace kel::test {

FaultyReader::FaultyReader(const std::string& path, std::int64_t lengthInFrames, std::shared_ptr<FileFault> fault)
    : FrameIndexReader(path, lengthInFrames), control(std::move(fault))
{
}

bool FaultyReader::readSamples(float* const* destinations, std::int64_t numFrames, std::int64_t startFrame)
{
    FileFault& fault = *control;
    if (!fault.changed.load())
    {
        const std::int64_t at = fault.changeAtFrame.load();
        const bool covered = at >= startFrame && at < startFrame + numFrames;
        const bool counted =
            fault.changeAfterFrames.load() >= 0 && fault.changeAfterFrames.fetch_sub(numFrames) <= numFrames;
        if (covered || counted)
            fault.changed.store(true);
    }
    if (fault.changed.load())
    {
        // Every byte of this read comes from the new file.
        fault.readsOfChangedFile.fetch_add(1);
        for (std::uint32_t c = 0; destinations[c] != nullptr; ++c)
            for (std::int64_t i = 0; i < numFrames; ++i)
                destinations[c][i] = i % 2 == 0 ? rewrittenFileSample : -rewrittenFileSample;
        return true;
    }

    const std::int64_t failFrom = fault.failFromFrame.load();
    const std::int64_t end = std::min(startFrame + numFrames, getLengthInSamples());
    if (failFrom < 0 || failFrom >= end)
        return FrameIndexReader::readSamples(destinations, numFrames, startFrame);
    const std::int64_t good = std::max<std::int64_t>(0, failFrom - startFrame);
    FrameIndexReader::readSamples(destinations, good, startFrame);
    for (std::uint32_t c = 0; destinations[c] != nullptr; ++c)
        std::fill_n(destinations[c] + good, numFrames - good, 0.0f);
    noteUnreadFrames(startFrame + good, end - 1);
    return false;
}

} // namespace kel::test
