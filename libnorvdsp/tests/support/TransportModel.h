// What the player's timing rules say a player plays, sample by sample: which file
// frame each output sample carries while playing, which time the position
// holds while not, and in which block the end of playback is reported. Tests
// drive it with the same transport messages as the player and compare.
// Cases the timing rules leave open are flagged so a test can avoid them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kel::test {

/** Where a block stands to the end of playback. The timing rules leave the
    end of a segment whose last frame is a block's last to that block or the
    next. */
enum class EndReport
{
    none,
    inThisBlock,
    inThisOrNextBlock
};

/** One output sample: the file frame it plays, or (frame -1) the frame whose
    time the position holds. */
struct ExpectedSample
{
    std::int64_t frame = -1;
    std::int64_t heldFrame = 0;
    std::int64_t otherHeldFrame = -1;  // also allowed where the timing rules read both ways; -1: none
};

class TransportModel
{
public:
    TransportModel(std::int64_t fileLength, double sampleRate)
        : length(fileLength), rate(sampleRate), end(fileLength)
    {
    }

    /** The player's conversions: max(0, ms) x 0.001 x rate truncated and
        clamped to the file, and frame x 1000.0 / rate. */
    std::int64_t MillisecondsToFrames(double msec) const;
    double Time(std::int64_t frame) const { return double(frame) * 1000.0 / rate; }
    double sampleRate() const { return rate; }
    /** A "/seek" argument in the text form for a frame: a time in the middle
        of the frame, so that any rounding of the conversion (and the text
        form's 32-bit decimals, within a few hours) gives that frame. */
    std::string SeekText(std::int64_t frame) const;

    /** "/start" (and "/seek" at 0). */
    void Start();
    /** "/seek" to a frame: to the file's end. */
    void Seek(std::int64_t frame);
    /** "/seek" between two frames, in either order. */
    void Seek(std::int64_t a, std::int64_t b);
    void SetLoop(bool shouldLoop) { loop = shouldLoop; }
    void Pause() { playing = false; }
    /** Continues a pause; from stopped or ended, the whole file again;
        while playing, nothing. */
    void Resume();
    void Switch();

    /** Resume with nothing of the pass played (never started, paused
        before the first block, paused at a pass's start) on a segment that
        is not the whole file: continuing the segment and playing the whole
        file are both readings. */
    bool resumeIsOpen() const;
    /** The last frame was the last sample of the previous block: the end
        may come with the next block, and a message before it is an open
        case. */
    bool endIsPending() const { return pendingEnd; }
    bool isPlaying() const { return playing; }
    bool isLooping() const { return loop; }
    std::int64_t segmentStart() const { return start; }
    std::int64_t segmentEnd() const { return end; }

    /** The next block of numFrames samples, and whether the end of
        playback is reported in it. */
    std::vector<ExpectedSample> Block(std::uint32_t numFrames, EndReport& endReport);

private:
    void playSegment(std::int64_t from, std::int64_t to);

    const std::int64_t length;
    const double rate;
    std::int64_t start = 0;
    std::int64_t end;
    std::int64_t next = 0;       // the next frame to play: start + played
    bool playing = false;
    bool loop = false;
    bool pendingEnd = false;
    bool justWrapped = false;    // next == start after a whole pass
};

} // namespace kel::test
