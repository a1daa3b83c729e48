#include "support/FrameIndex.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <map>
#include <sstream>
#include <utility>

#if KEL_HAVE_SNDFILE
#include <sndfile.h>
#endif

namespace kel::test
{

namespace
{

// Below this many frames a float holds every index exactly.
constexpr float exactIndexLimit = 16777216.0f;
constexpr std::size_t examplesPerKind = 6;

/** The player's expression for a frame's time, bit for bit. */
double FrameTime(std::uint64_t frame, double rate)
{
    return double(frame) * 1000.0 / rate;
}

std::string MillisecondsText(double ms)
{
    char text[64];
    std::snprintf(text, sizeof(text), "%.3f", ms);
    return text;
}

std::string Exact(double value)
{
    char text[64];
    std::snprintf(text, sizeof(text), "%.17g", value);
    return text;
}

/** Violations grouped by kind, a few examples of each, so that one fault
    does not bury the others under a million lines. */
class Violations
{
public:
    /** describe() makes the text only for the first few of a kind. */
    template <typename Describe> void add(const std::string& kind, Describe&& describe)
    {
        auto found = std::find_if(kinds.begin(), kinds.end(), [&](const Kind& k) { return k.name == kind; });
        if (found == kinds.end())
        {
            kinds.push_back({kind, 0, {}});
            found = kinds.end() - 1;
        }
        if (found->count++ < examplesPerKind)
            found->examples.push_back(kind + ": " + std::string(describe()));
    }

    std::vector<std::string> list() const
    {
        std::vector<std::string> all;
        for (const Kind& k : kinds)
        {
            all.insert(all.end(), k.examples.begin(), k.examples.end());
            if (k.count > k.examples.size())
                all.push_back(k.name + ": ... " + std::to_string(k.count - k.examples.size()) + " more");
        }
        return all;
    }

private:
    struct Kind
    {
        std::string name;
        std::size_t count;
        std::vector<std::string> examples;
    };
    std::vector<Kind> kinds;
};

struct PlayedMarker
{
    std::uint64_t frame;
    std::uint64_t outputIndex;
    bool optional;  // played as underrun silence: its report may or may not come
};

}  // namespace

float FrameIndexSine(std::int64_t frame)
{
    // The phase keeps frame 0 away from 0, so that silence is told apart.
    return float(0.5 * std::sin(double(frame) * 0.0577 + 1.0));
}

#if KEL_HAVE_SNDFILE
std::string WriteFrameIndexFile(const std::string& path, std::int64_t frames, int sampleRate,
                                const std::vector<FrameIndexMarker>& markers)
{
    if (frames > std::int64_t(exactIndexLimit))
        return "a float holds frame indices exactly only below 2^24";
    SF_CUES cues{};
    if (markers.size() > std::size(cues.cue_points))
        return "too many markers";
    SF_INFO info{};
    info.samplerate = sampleRate;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr)
        return "libsndfile cannot write " + path + ": " + sf_strerror(nullptr);
    cues.cue_count = std::uint32_t(markers.size());
    for (std::size_t i = 0; i < markers.size(); ++i)
    {
        auto& point = cues.cue_points[i];
        point.indx = markers[i].id;
        point.position = markers[i].frame;
        point.fcc_chunk = 0x61746164;  // "data"
        point.sample_offset = markers[i].frame;
    }
    if (!markers.empty() && sf_command(file, SFC_SET_CUE, &cues, sizeof(cues)) != SF_TRUE)
    {
        sf_close(file);
        return "libsndfile refused the cues";
    }
    std::vector<float> samples(std::size_t(frames) * 2);
    for (std::int64_t f = 0; f < frames; ++f)
    {
        samples[std::size_t(f) * 2] = float(f);
        samples[std::size_t(f) * 2 + 1] = FrameIndexSine(f);
    }
    const sf_count_t written = sf_writef_float(file, samples.data(), frames);
    sf_close(file);
    if (written != frames)
        return "libsndfile wrote " + std::to_string(written) + " frames of " + std::to_string(frames);

    // What libsndfile reads back is what the player's reader is held to.
    SF_INFO readInfo{};
    file = sf_open(path.c_str(), SFM_READ, &readInfo);
    if (file == nullptr)
        return "libsndfile cannot read back " + path;
    SF_CUES readCues{};
    const bool haveCues = sf_command(file, SFC_GET_CUE, &readCues, sizeof(readCues)) == SF_TRUE;
    std::vector<float> back(samples.size());
    const sf_count_t read = sf_readf_float(file, back.data(), frames);
    sf_close(file);
    if (read != frames || back != samples)
        return "the samples do not read back as written";
    if (markers.empty())
        return {};
    if (!haveCues || readCues.cue_count != markers.size())
        return "the cues do not read back";
    for (std::size_t i = 0; i < markers.size(); ++i)
        if (readCues.cue_points[i].indx != markers[i].id || readCues.cue_points[i].sample_offset != markers[i].frame)
            return "cue " + std::to_string(i) + " reads back as " + std::to_string(readCues.cue_points[i].indx) + " at "
                + std::to_string(readCues.cue_points[i].sample_offset);
    return {};
}

FrameIndexRun ReadRenderOutput(const std::string& path, bool positionChannel, std::uint32_t blockSize)
{
    FrameIndexRun run;
    run.blockSize = blockSize;
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr)
        return run;
    run.sampleRate = info.samplerate;
    const int channels = info.channels;
    if (channels != (positionChannel ? 3 : 2))
    {
        sf_close(file);
        return run;
    }
    // Doubles: a 64-bit position arrives whole, a 32-bit one as it was.
    std::vector<double> samples(std::size_t(info.frames) * std::size_t(channels));
    const sf_count_t frames = sf_readf_double(file, samples.data(), info.frames);
    sf_close(file);
    for (sf_count_t f = 0; f < frames; ++f)
    {
        const double* frame = samples.data() + std::size_t(f) * std::size_t(channels);
        run.index.push_back(float(frame[0]));
        run.sine.push_back(float(frame[1]));
        if (positionChannel)
            run.position.push_back(frame[2]);
    }
    return run;
}
#endif

void ParseRenderReports(const std::string& text, FrameIndexRun& run, std::vector<std::string>& violations)
{
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
    {
        const auto blank = line.find(' ');
        const std::string msText = line.substr(0, blank);
        char* end = nullptr;
        const double ms = std::strtod(msText.c_str(), &end);
        bool found = false;
        if (blank != std::string::npos && end != msText.c_str() && *end == '\0')
        {
            const auto guess = std::llround(ms * run.sampleRate / 1000.0 / double(run.blockSize));
            for (long long k = std::max(0LL, guess - 1); k <= guess + 1 && !found; ++k)
                if (MillisecondsText(FrameTime(std::uint64_t(k) * run.blockSize, run.sampleRate)) == msText)
                {
                    run.reports.push_back({std::uint64_t(k) * run.blockSize, line.substr(blank + 1)});
                    found = true;
                }
        }
        if (!found)
            violations.push_back("report line \"" + line + "\" is not stamped with a block start");
    }
}

FrameIndexVerdict CheckFrameIndexRun(const FrameIndexRun& run, const FrameIndexExpectation& expected)
{
    FrameIndexVerdict verdict;
    Violations out;
    const double rate = run.sampleRate;
    const std::uint64_t block = run.blockSize;
    const std::uint64_t start = expected.segmentStart;
    const std::uint64_t end = expected.segmentEnd;
    const std::size_t n = run.index.size();
    const bool havePosition = !run.position.empty();

    if (run.sine.size() != n || (havePosition && run.position.size() != n) || block == 0 || end <= start)
    {
        verdict.violations.push_back("the run's channels differ in length, or the block or the segment is empty");
        return verdict;
    }

    auto where = [&](std::uint64_t t)
    {
        return "output frame " + std::to_string(t) + " (block " + std::to_string(t / block) + " at "
            + MillisecondsText(FrameTime(t / block * block, rate)) + " ms)";
    };
    auto checkPosition = [&](std::uint64_t t, std::uint64_t frame, const char* what)
    {
        if (!havePosition)
            return;
        const double want = FrameTime(frame, rate);
        const double got = run.position[t];
        const double error = std::abs(got * rate / 1000.0 - double(frame));
        verdict.maxPositionErrorFrames = std::max(verdict.maxPositionErrorFrames, std::isnan(error) ? 1e300 : error);
        if (got != want)
            out.add("position",
                    [&]
                    {
                        return where(t) + ": " + Exact(got) + " ms, expected " + Exact(want) + " ms (" + what + " "
                            + std::to_string(frame) + "), off by " + Exact(error) + " frames";
                    });
    };

    std::map<std::uint64_t, int> markerIds;
    for (const auto& m : expected.markers)
        markerIds[m.frame] = m.id;

    enum class Phase
    {
        before,
        playing,
        gap,  // silence reported; waiting for audio again
        ended
    };
    Phase phase = Phase::before;
    std::uint64_t next = expected.firstFrame.value_or(start);
    std::uint64_t previous = 0;
    bool passEnded = false;           // the last frame played was the segment's last
    std::vector<std::uint64_t> ends;  // output index of the last frame of each ending
    std::vector<PlayedMarker> playedMarkers;

    auto advance = [&](std::uint64_t frame)
    {
        previous = frame;
        passEnded = frame + 1 == end;
        if (passEnded)
            ++verdict.completedPasses;
        next = passEnded ? start : frame + 1;
    };
    auto notePlayed = [&](std::uint64_t t, std::uint64_t frame, bool optional)
    {
        if (markerIds.contains(frame))
            playedMarkers.push_back({frame, t, optional});
        ++verdict.playedFrames;
        verdict.lastPlayedIndex = t;
        advance(frame);
    };

    for (std::uint64_t t = 0; t < n; ++t)
    {
        const float a = run.index[t];
        const float s = run.sine[t];
        const bool silent = a == 0.0f && s == 0.0f;
        if (!silent
            && !(a >= 0.0f && a < exactIndexLimit && a == std::floor(a) && s == FrameIndexSine(std::int64_t(a))))
        {
            out.add("garbage",
                    [&] {
                        return where(t) + " carries (" + Exact(a) + ", " + Exact(s)
                            + "), neither a file frame nor silence";
                    });
            continue;
        }
        if (t < expected.startIndex)
        {
            if (!silent)
                out.add("early", [&] { return where(t) + " carries frame " + Exact(a) + " before playback starts"; });
            continue;
        }
        if (!silent)
        {
            const auto frame = std::uint64_t(a);
            if (phase == Phase::ended && !(expected.allowPauses && frame == next))
                out.add("after the end",
                        [&]
                        {
                            return where(t) + " carries frame " + std::to_string(frame)
                                + " after playback ended at output frame " + std::to_string(ends.back());
                        });
            else if (frame != next)
                out.add("continuity",
                        [&]
                        {
                            return where(t) + " carries frame " + std::to_string(frame) + ", expected "
                                + std::to_string(next)
                                + (phase == Phase::before ? std::string(" (the first)")
                                                          : " (after " + std::to_string(previous) + ")");
                        });
            if (frame < start || frame >= end)
                out.add("outside the segment",
                        [&]
                        {
                            return where(t) + " carries frame " + std::to_string(frame) + ", outside ["
                                + std::to_string(start) + ", " + std::to_string(end) + ")";
                        });
            if (phase == Phase::ended && expected.allowPauses && frame == next)
                ends.pop_back();  // a pause at a pass end, not an end
            checkPosition(t, frame, "the time of frame");
            notePlayed(t, frame, false);
            phase = Phase::playing;
            continue;
        }
        switch (phase)
        {
            case Phase::before:
                out.add("start",
                        [&] {
                            return where(t) + " is silent: playback should start there with frame "
                                + std::to_string(next);
                        });
                phase = Phase::gap;
                break;
            case Phase::playing:
                if (passEnded)
                {
                    phase = Phase::ended;
                    ends.push_back(*verdict.lastPlayedIndex);
                    checkPosition(t, end, "held at the segment end,");
                    break;
                }
                if (expected.allowUnderruns && havePosition && run.position[t] == FrameTime(next, rate)
                    && !(expected.allowPauses && t + 1 < n && run.position[t + 1] == run.position[t]))
                {
                    ++verdict.underrunFrames;
                    notePlayed(t, next, true);
                    break;
                }
                if (expected.allowPauses)
                {
                    checkPosition(t, next, "held at the next frame,");
                    break;
                }
                out.add("silence",
                        [&]
                        {
                            return where(t) + " is silent inside a pass: frame " + std::to_string(next)
                                + " should play (after " + std::to_string(previous) + ")";
                        });
                phase = Phase::gap;
                break;
            case Phase::ended:
                checkPosition(t, end, "held at the segment end,");
                break;
            case Phase::gap:
                break;
        }
    }
    // A run that stops on a pass's last frame ended there if it says so.
    if (phase == Phase::playing && passEnded && verdict.lastPlayedIndex == n - 1
        && std::any_of(run.reports.begin(), run.reports.end(),
                       [&](const TimedReport& r) { return r.text == "bang" && r.blockStart / block == (n - 1) / block; }))
    {
        phase = Phase::ended;
        ends.push_back(n - 1);
    }
    verdict.ended = phase == Phase::ended;

    // Markers: reports and played marker frames, matched block by block.
    std::map<std::pair<std::uint64_t, std::uint64_t>, std::vector<PlayedMarker>> played;  // (block, frame)
    for (const auto& m : playedMarkers)
        played[{m.outputIndex / block, m.frame}].push_back(m);
    std::map<std::pair<std::uint64_t, std::uint64_t>, int> reported;
    std::map<std::uint64_t, std::vector<std::uint64_t>> reportBlocks;  // frame -> blocks reported in
    std::vector<std::uint64_t> bangBlocks;
    for (const auto& report : run.reports)
    {
        if (report.text == "bang")
        {
            bangBlocks.push_back(report.blockStart / block);
            continue;
        }
        if (!report.text.starts_with("/marker "))
            continue;
        std::istringstream fields(report.text.substr(8));
        long long id = 0, frame = -1;
        if (!(fields >> id >> frame) || frame < 0)
        {
            out.add("marker", [&] { return "unreadable report \"" + report.text + "\""; });
            continue;
        }
        const auto known = markerIds.find(std::uint64_t(frame));
        if (known == markerIds.end() || known->second != id)
            out.add("marker", [&] { return "\"" + report.text + "\" names no marker of the file"; });
        ++reported[{report.blockStart / block, std::uint64_t(frame)}];
        reportBlocks[std::uint64_t(frame)].push_back(report.blockStart / block);
    }
    auto blocksText = [&](std::uint64_t frame)
    {
        std::string text;
        for (const auto b : reportBlocks[frame])
        {
            text += (text.empty() ? "" : ", ") + std::to_string(b);
            if (text.size() > 60)
                return text + ", ...";
        }
        return text.empty() ? std::string("none") : text;
    };
    for (const auto& [key, list] : played)
    {
        const auto required =
            std::size_t(std::count_if(list.begin(), list.end(), [](const PlayedMarker& m) { return !m.optional; }));
        const auto got = std::size_t(reported.contains(key) ? reported[key] : 0);
        if (got < required)
            out.add("marker",
                    [&]
                    {
                        return "marker " + std::to_string(markerIds[key.second]) + " at frame "
                            + std::to_string(key.second) + " plays at " + where(list.front().outputIndex)
                            + " but is reported there " + std::to_string(got) + " times, not "
                            + std::to_string(required) + " (blocks with its reports: " + blocksText(key.second) + ")";
                    });
        else if (got > list.size())
            out.add("marker",
                    [&]
                    {
                        return "marker at frame " + std::to_string(key.second) + " is reported " + std::to_string(got)
                            + " times in block " + std::to_string(key.first) + ", which plays it "
                            + std::to_string(list.size()) + " times";
                    });
    }
    for (const auto& [key, count] : reported)
        if (!played.contains(key))
            out.add("marker",
                    [&]
                    {
                        return "marker at frame " + std::to_string(key.second) + " is reported " + std::to_string(count)
                            + " times in block " + std::to_string(key.first) + " ("
                            + MillisecondsText(FrameTime(key.first * block, rate))
                            + " ms), which does not play that frame";
                    });

    // The end of playback: once per ending, in the block of the last frame
    // (or the next one when that frame closed its block).
    std::size_t bang = 0;
    for (const auto last : ends)
    {
        const std::uint64_t b = last / block;
        const bool closesBlock = (last + 1) % block == 0;
        if (bang < bangBlocks.size() && (bangBlocks[bang] == b || (closesBlock && bangBlocks[bang] == b + 1)))
        {
            ++bang;
            continue;
        }
        if (closesBlock && bang == bangBlocks.size() && (last + 1) >= n)
            continue;  // the next block was not rendered
        out.add("end",
                [&]
                {
                    return "the last frame plays at " + where(last) + " but "
                        + (bang < bangBlocks.size() ? "the end is reported in block " + std::to_string(bangBlocks[bang])
                                                    : std::string("the end is not reported"));
                });
        if (bang < bangBlocks.size())
            ++bang;
    }
    for (; bang < bangBlocks.size(); ++bang)
        out.add("end",
                [&] {
                    return "the end is reported in block " + std::to_string(bangBlocks[bang])
                        + ", where playback does not end";
                });

    verdict.violations = out.list();
    return verdict;
}

LoopPlaybackModel::LoopPlaybackModel(std::uint64_t segmentStart, std::uint64_t segmentEnd, std::uint32_t frames,
                                     bool loopOn)
    : start(segmentStart), end(segmentEnd), blockSize(frames), loop(loopOn), next(segmentStart)
{
}

void LoopPlaybackModel::step()
{
    for (std::uint32_t i = 0; i < blockSize; ++i)
    {
        ++rendered;
        if (ended)
        {
            boundary = false;
            continue;
        }
        ++played;
        boundary = next + 1 == end;
        if (!boundary)
            ++next;
        else if (loop)
            next = start;
        else
            ended = true;
    }
}

}  // namespace kel::test
