#include "support/TimingRun.h"

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

    bool endReported = false;
    const auto expected = timeline.Block(frames, endReported);
    if (endReported)
        ends.push_back(player.framesRendered());
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

std::vector<std::uint64_t> TimingRun::reportedEnds() const
{
    std::vector<std::uint64_t> result;
    for (const auto& event : player.listener().events())
        if (event.kind == RecordingPlayerListener::Event::Kind::ended)
            result.push_back(event.frame);
    return result;
}

} // namespace kel::test
