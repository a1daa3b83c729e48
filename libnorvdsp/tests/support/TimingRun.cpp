#include "support/TimingRun.h"

#include <algorithm>

namespace kel::test {

TimingRun::TimingRun(PlayerHost& host, TransportModel& model, bool wide, bool underrunsAllowed)
    : player(host), timeline(model), wideOutput(wide),
      checker(model, host.outputChannels(), wide, underrunsAllowed)
{
}

std::string TimingRun::Block(const std::function<bool()>& stopWaiting)
{
    auto& subject = player.player();
    const std::uint32_t frames = player.blockSize();
    if (!stopWaiting)
    {
        if (!player.WaitForRing(frames))
            return "the ring never held a block";
    }
    else
    {
        const bool ready = WaitUntil(
            [&]
            {
                subject.RequestBuffering();
                return stopWaiting() || subject.isReadyFor(frames);
            });
        if (!ready)
            return "the ring never held a block";
    }

    EndReport end = EndReport::none;
    const auto expected = timeline.Block(frames, end);
    const std::uint64_t blockStart = player.framesRendered();
    if (end == EndReport::inThisBlock)
        ends.emplace_back(blockStart, blockStart);
    else if (end == EndReport::inThisOrNextBlock)
        ends.emplace_back(blockStart, blockStart + frames);
    std::vector<double> output;
    if (wideOutput)
    {
        output = player.Render64(frames, false);
    }
    else
    {
        const auto narrow = player.Render(frames, false);
        output.assign(narrow.begin(), narrow.end());
    }
    return checker.CheckBlock(output, expected);
}

std::string TimingRun::Blocks(std::uint64_t numFrames)
{
    for (std::uint64_t done = 0; done < numFrames; done += player.blockSize())
        if (auto failure = Block(); !failure.empty())
            return failure;
    return {};
}

std::string TimingRun::CompareEnds() const
{
    std::vector<std::uint64_t> reported;
    for (const auto& event : player.listener().events())
        if (event.kind == RecordingPlayerListener::Event::Kind::ended)
            reported.push_back(event.frame);
    const auto block = [](std::uint64_t frame) { return std::to_string(frame); };
    for (std::size_t i = 0; i < std::max(reported.size(), ends.size()); ++i)
    {
        const std::string which = "end " + std::to_string(i + 1) + ": ";
        if (i >= ends.size())
            return which + "reported in the block at frame " + block(reported[i]) + ", none expected";
        const auto [first, second] = ends[i];
        const std::string expected = "expected in the block at frame " + block(first)
                                   + (second != first ? " or " + block(second) : "");
        if (i >= reported.size())
            return which + expected + ", not reported";
        if (reported[i] != first && reported[i] != second)
            return which + expected + ", reported in the block at frame " + block(reported[i]);
    }
    return {};
}

} // namespace kel::test
