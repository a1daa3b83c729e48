// A player host playing a frame-index file beside its TransportModel: each
// block is rendered (through the 64-bit or the 32-bit entry), checked against
// the model, and the blocks in which the model expects the end of playback
// are noted for comparison with the player's reports.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "support/FrameIndexCheck.h"
#include "support/PlayerTestSupport.h"
#include "support/TransportModel.h"

namespace kel::test {

class TimingRun
{
public:
    TimingRun(PlayerHost& host, TransportModel& model, bool wide, bool underrunsAllowed);

    /** One block: waits first until the ring holds it unless stopWaiting
        says the disk is late on purpose; returns the first mismatch, or an
        empty text. */
    std::string Block(const std::function<bool()>& stopWaiting = {});
    /** Blocks until one fails or numFrames have been rendered. */
    std::string Blocks(std::uint64_t numFrames);

    /** Compares the blocks in which the player reported the end of
        playback with the model's; the first difference, or an empty text. */
    std::string CompareEnds() const;
    const FrameIndexCheck& check() const { return checker; }

private:
    PlayerHost& player;
    TransportModel& timeline;
    const bool wideOutput;
    FrameIndexCheck checker;
    /** Per end the model expects: the frames rendered before the block
        it must come in, or before either of two blocks. */
    std::vector<std::pair<std::uint64_t, std::uint64_t>> ends;
};

} // namespace kel::test
