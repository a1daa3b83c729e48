// auvo5-sfplay render: the offline renderer run as a program, its output
// read back with libsndfile and compared with libsndfile's decode of the
// file it played; its report lines and its failures.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "support/PlayerTestSupport.h"
#include "support/TestTemp.h"

#if KEL_HAVE_SNDFILE

namespace {

using kel::test::ShellQuoted;
using kel::test::TempDir;

struct RenderRun
{
    int status = -1;
    std::string out;
    std::string err;
};

RenderRun Render(const TempDir& dir, const std::string& arguments)
{
    RenderRun run;
    const std::string errFile = dir.file("stderr.txt");
    run.status = kel::test::RunCommand(ShellQuoted(KEL_CLI_PATH) + " render " + arguments + " 2>" + ShellQuoted(errFile),
                                       &run.out);
    const auto bytes = kel::test::LoadBytes(errFile);
    run.err.assign(bytes.begin(), bytes.end());
    return run;
}

std::vector<std::string> Lines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

std::string WriteFixture(const TempDir& dir, int channels, std::int64_t frames)
{
    return kel::test::WritePlayerFixture(dir.file("in.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_24, channels, frames,
                                         48000, {{5, 12000, ""}})
        .path;
}

TEST(AudioFilePlayerRender, WritesWhatLibsndfileDecodesAndPrintsTheReports)
{
    TempDir dir;
    const std::string in = WriteFixture(dir, 3, 20000);
    const std::string out = dir.file("out.wav");
    const RenderRun run = Render(dir, ShellQuoted(in) + " " + ShellQuoted(out) + " --position --blocksize 100");
    ASSERT_EQ(run.status, 0) << run.err;

    const auto reference = kel::test::DecodeWithSndfile(in);
    const auto rendered = kel::test::DecodeWithSndfile(out);
    ASSERT_EQ(rendered.channels, 4);
    ASSERT_EQ(rendered.sampleRate, 48000);
    // The file and nothing more: the block that plays the last frame ends
    // playback. Each position sample is the time of the frame beside it.
    ASSERT_EQ(rendered.frames, 20000);
    for (std::int64_t f = 0; f < rendered.frames; ++f)
    {
        for (int c = 0; c < 3; ++c)
            ASSERT_EQ(rendered.at(f, c), reference.at(f, c)) << f << " " << c;
        ASSERT_FLOAT_EQ(rendered.at(f, 3), float(double(f) * 1000.0 / 48000.0)) << f;
    }

    // Buffer fill is reported whenever the buffering thread gets to it.
    std::vector<std::string> lines;
    for (const auto& line : Lines(run.out))
        if (line.find(" /buffering ") == std::string::npos)
            lines.push_back(line);
    ASSERT_GE(lines.size(), 14u);
    EXPECT_EQ(lines[0], "0.000 /filename \"" + in + "\"");
    EXPECT_EQ(lines[1], "0.000 /length 416");
    EXPECT_EQ(lines[10], "0.000 /chunk/mark/marker/1 5 12000 \"5\"");
    EXPECT_EQ(lines[11], "0.000 /progress 0");
    EXPECT_NE(std::find(lines.begin(), lines.end(), "250.000 /marker 5 12000 \"5\""), lines.end())
        << "reported with the block that plays it";
    EXPECT_EQ(lines[lines.size() - 2], "414.583 bang");
    EXPECT_EQ(lines.back(), "414.583 /progress 100");
    EXPECT_EQ(run.err, "");
}

TEST(AudioFilePlayerRender, SendsMessagesOnTimeAndRendersWhatItIsAskedFor)
{
    TempDir dir;
    const std::string in = WriteFixture(dir, 3, 20000);
    const std::string out = dir.file("out.wav");
    // A loop over [4800, 9600) on two channels, stopped at 500 ms; then a
    // marker that is not there, posted as a host would and passed over.
    const RenderRun run = Render(dir, ShellQuoted(in) + " " + ShellQuoted(out)
                                    + " --channels 2 --seconds 1 --at 0 '/loop 1' --at 0 '/seek 100 200'"
                                      " --at 500 /stop --at 600 '/seek/marker/byid 9' --buffersize 10");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err.find("error occurred when processing \"/seek/marker/byid 9\". Reason: Exception occurred in ["),
              0u)
        << run.err;
    EXPECT_NE(run.err.find("no marker with ID \"9\""), std::string::npos);

    const auto reference = kel::test::DecodeWithSndfile(in);
    const auto rendered = kel::test::DecodeWithSndfile(out);
    ASSERT_EQ(rendered.channels, 2);
    ASSERT_EQ(rendered.frames, 48000);
    for (std::int64_t f = 0; f < rendered.frames; ++f)
        for (int c = 0; c < 2; ++c)
            ASSERT_EQ(rendered.at(f, c), f < 24000 ? reference.at(4800 + f % 4800, c) : 0.0f) << f << " " << c;
}

TEST(AudioFilePlayerRender, FailuresExitWithTheirText)
{
    TempDir dir;
    const RenderRun missing = Render(dir, ShellQuoted(dir.file("missing.wav")) + " " + ShellQuoted(dir.file("out.wav")));
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.err.find("Exception occurred in ["), 0u) << missing.err;
    EXPECT_NE(missing.err.find("Could not find file \"" + dir.file("missing.wav") + "\""), std::string::npos);

    const std::string in = WriteFixture(dir, 1, 100);
    const RenderRun unwritable = Render(dir, ShellQuoted(in) + " " + ShellQuoted(dir.file("no/such/folder/out.wav")));
    EXPECT_EQ(unwritable.status, 1);
    EXPECT_NE(unwritable.err.find("Error writing file"), std::string::npos) << unwritable.err;

    const RenderRun usage = Render(dir, ShellQuoted(in) + " out.wav --blocksize zero");
    EXPECT_EQ(usage.status, 2);
    EXPECT_NE(usage.err.find("usage: auvo5-sfplay render"), std::string::npos);
}

TEST(AudioFilePlayerRender, RealtimePacesTheBlocks)
{
    TempDir dir;
    const std::string in = WriteFixture(dir, 2, 4800);
    const std::string out = dir.file("out.wav");
    const RenderRun run = Render(dir, ShellQuoted(in) + " " + ShellQuoted(out) + " --realtime --blocksize 480");
    ASSERT_EQ(run.status, 0) << run.err;
    const auto rendered = kel::test::DecodeWithSndfile(out);
    EXPECT_EQ(rendered.frames, 4800);
    // The block that plays the last frame ends playback, then reports its
    // progress. (The buffering thread may report the empty ring at any
    // time, after the end too.)
    std::vector<std::string> lines;
    for (const auto& line : Lines(run.out))
        if (line.find(" /buffering ") == std::string::npos)
            lines.push_back(line);
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[lines.size() - 2], "90.000 bang");
    EXPECT_EQ(lines.back(), "90.000 /progress 100");
}

} // namespace

#endif
