// Frame-index files and the checker of what a player makes of them. Channel 0
// of such a file holds each frame's own index (exact in float below 2^24
// frames), channel 1 a sine of the index, so every output sample says which
// file frame it carries, and silence never passes for frame 0. The checker
// holds a render to the timing the player promises: frames in order pass
// after pass, the position signal equal to the carried frame's time, markers
// and the end of playback reported in the block that plays them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kel::test
{

struct FrameIndexMarker
{
    int id;
    std::uint32_t frame;
};

/** Channel 1 of a frame-index file at a frame; never 0. */
float FrameIndexSine(std::int64_t frame);

#if KEL_HAVE_SNDFILE
/** Writes a 2-channel 32-bit float WAV with libsndfile, cue points at the
    markers' frames, then reads the cues back with libsndfile. Returns an
    empty text on success, else what went wrong. */
std::string WriteFrameIndexFile(const std::string& path, std::int64_t frames, int sampleRate,
                                const std::vector<FrameIndexMarker>& markers);
#endif

/** A report and the frame at which the block that made it starts. */
struct TimedReport
{
    std::uint64_t blockStart = 0;
    std::string text;
};

/** What a host received from the player: the output channels frame by frame
    (the position empty when it was not connected) and the reports. */
struct FrameIndexRun
{
    double sampleRate = 48000.0;
    std::uint32_t blockSize = 64;
    std::vector<float> index;      // channel 0
    std::vector<float> sine;       // channel 1
    std::vector<double> position;  // empty: not connected
    std::vector<TimedReport> reports;
};

#if KEL_HAVE_SNDFILE
/** Reads a render's output (frame-index channels, then the position when
    positionChannel) with libsndfile; empty channels when it cannot. */
FrameIndexRun ReadRenderOutput(const std::string& path, bool positionChannel, std::uint32_t blockSize);
#endif

/** Parses the render tool's stdout ("<ms> <report>" per line, ms being the
    start of the block that made the report) into run.reports; lines whose
    time is no block start go to violations. */
void ParseRenderReports(const std::string& text, FrameIndexRun& run, std::vector<std::string>& violations);

struct FrameIndexExpectation
{
    std::uint64_t segmentStart = 0;
    std::uint64_t segmentEnd = 0;  // exclusive
    std::vector<FrameIndexMarker> markers;
    /** The output frame where playback starts and the file frame it plays
        (the segment start when not given). */
    std::uint64_t startIndex = 0;
    std::optional<std::uint64_t> firstFrame;
    /** Silence inside a pass: a pause (the position holds the next frame's
        time) or an underrun (the position goes on; frames count as played). */
    bool allowPauses = false;
    bool allowUnderruns = false;
};

struct FrameIndexVerdict
{
    std::vector<std::string> violations;
    std::uint64_t playedFrames = 0;  // output frames that played a file frame (underrun frames included)
    std::uint64_t underrunFrames = 0;
    std::uint64_t completedPasses = 0;  // times the segment's last frame played
    bool ended = false;                 // the segment's last frame, then silence
    std::optional<std::uint64_t> lastPlayedIndex;
    /** Largest |position x rate / 1000 - expected frame| over the frames whose
        position is known; 0 when the position was not connected. */
    double maxPositionErrorFrames = 0.0;
};

FrameIndexVerdict CheckFrameIndexRun(const FrameIndexRun& run, const FrameIndexExpectation& expected);

/** The timing rules played out block by block for a segment, with loop mode
    switched at block starts: how many frames play, and whether playback ends.
    The loop flag that counts is the one in force when the segment's last
    frame plays. */
class LoopPlaybackModel
{
public:
    LoopPlaybackModel(std::uint64_t start, std::uint64_t end, std::uint32_t blockSize, bool loop);

    void setLoop(bool on) { loop = on; }
    /** Plays one block. */
    void step();
    /** Whether the frame before the current block was a segment's last one:
        switching loop mode there is left open by the timing rules. */
    bool atPassBoundary() const { return boundary; }
    bool hasEnded() const { return ended; }
    std::uint64_t playedFrames() const { return played; }
    std::uint64_t renderedFrames() const { return rendered; }

private:
    std::uint64_t start, end;
    std::uint32_t blockSize;
    bool loop;
    std::uint64_t next;
    std::uint64_t played = 0;
    std::uint64_t rendered = 0;
    bool ended = false;
    bool boundary = false;
};

}  // namespace kel::test
