// auvo5-sfplay render --realtime on a file that the test changes on disk
// while it plays, as a user's shell would: another file copied over it (of
// another format), or the file truncated. Whatever the change, nothing in
// the output is louder than the file was, every sound frame is the file's
// frame at the time beside it, playback ends before the file's old length
// with one error and one end report, and render exits with status 1.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>

#include "support/AudioFixtures.h"
#include "support/TestTemp.h"
#include "support/TestText.h"

#if KEL_HAVE_SNDFILE && !defined(_WIN32)

#include <sys/wait.h>

namespace {

using kel::test::ShellQuoted;
using kel::test::TempDir;
namespace fs = std::filesystem;
using namespace std::chrono_literals;

// A rate at which the smallest ring (192000 frames) holds one second, so
// that a change half a second in is met with most of the file unread.
constexpr int rate = 192000;

struct RenderRun
{
    int status = -1;
    std::vector<std::string> out;
    std::string err;
};

/** Starts render in real time and applies change once playback has begun
    (a live render writes its report lines as they happen, so "/progress 0"
    arrives at once). */
RenderRun RenderWhileChanging(const TempDir& dir, const std::string& played, const std::function<void()>& change)
{
    const std::string errFile = dir.file("stderr.txt");
    const std::string command = ShellQuoted(KEL_CLI_PATH) + " render " + ShellQuoted(played) + " "
                              + ShellQuoted(dir.file("out.wav")) + " --realtime --position --channels 2"
                              + " --buffersize 192000 2>" + ShellQuoted(errFile);
    RenderRun run;
    FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr)
        return run;
    std::array<char, 4096> line{};
    bool changed = false;
    while (std::fgets(line.data(), int(line.size()), pipe) != nullptr)
    {
        std::string text(line.data());
        if (!text.empty() && text.back() == '\n')
            text.pop_back();
        run.out.push_back(text);
        if (!changed && text.ends_with(" /progress 0"))
        {
            // A fraction of a second into playback: the ring holds the
            // file's head, the rest is still to be read.
            std::this_thread::sleep_for(200ms);
            change();
            changed = true;
        }
    }
    const int status = ::pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    const auto bytes = kel::test::LoadBytes(errFile);
    run.err.assign(bytes.begin(), bytes.end());
    return run;
}

TEST(AudioFilePlayerRender, EndsEarlyAndFailsWhenTheFileChangesOnDisk)
{
    KEL_SKIP_WITHOUT_SHELL();
    if (!kel::test::HaveProgram("sox"))
        GTEST_SKIP() << "needs sox";
    TempDir dir;
    // 24-bit 8-channel at -20 dBFS, three seconds; and 16-bit stereo at full
    // scale, long enough to hold bytes wherever the first one's frames were.
    const std::string original = dir.file("original.wav");
    const std::string other = dir.file("other.wav");
    ASSERT_EQ(kel::test::RunCommand("sox -n -r 192000 -b 24 -c 8 " + ShellQuoted(original)
                                    + " synth 3 sine 440 0 25 sine 495 0 25 sine 550 0 25 sine 605 0 25"
                                      " sine 660 0 25 sine 715 0 25 sine 770 0 25 sine 825 0 25 gain -20 2>&1"),
              0);
    ASSERT_EQ(kel::test::RunCommand("sox -n -r 192000 -b 16 -c 2 " + ShellQuoted(other)
                                    + " synth 15 sine 1000 0 25 sine 1500 0 25 gain -1 2>&1"),
              0);
    const auto reference = kel::test::DecodeWithSndfile(original);
    ASSERT_EQ(reference.frames, 3 * rate);
    float peak = 0.0f;
    for (const float sample : reference.samples)
        peak = std::max(peak, std::fabs(sample));

    struct Case
    {
        std::string what;
        std::function<void(const std::string& played)> change;
    };
    const std::vector<Case> cases{
        {"another file copied over it",
         [&](const std::string& played)
         {
             const auto bytes = kel::test::LoadBytes(other);
             std::ofstream out(fs::path(played), std::ios::binary | std::ios::trunc);
             out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
         }},
        {"truncated to its first half second",
         [&](const std::string& played) { fs::resize_file(fs::path(played), 80 + 8 * 3 * rate / 2); }},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        const std::string played = dir.file("played.wav");
        fs::copy_file(fs::path(original), fs::path(played), fs::copy_options::overwrite_existing);
        const RenderRun run = RenderWhileChanging(dir, played, [&] { c.change(played); });

        EXPECT_EQ(run.status, 1) << run.err;
        const std::string error = "error occurred: file changed on disk while playing: \"" + played + "\"";
        const auto errors = kel::test::Lines(run.err);
        EXPECT_EQ(std::count(errors.begin(), errors.end(), error), 1) << run.err;
        EXPECT_EQ(std::count_if(run.out.begin(), run.out.end(), [](const std::string& l) { return l.ends_with(" bang"); }),
                  1);

        // Every sample within the file's peak; every sound frame the file's
        // frame at the time beside it (silence where the disk fell behind);
        // the position held at last before the file's old end.
        const auto rendered = kel::test::DecodeWithSndfile(dir.file("out.wav"));
        ASSERT_EQ(rendered.channels, 3);
        ASSERT_GT(rendered.frames, 0);
        double previous = 0.0;
        for (std::int64_t f = 0; f < rendered.frames; ++f)
        {
            const float left = rendered.at(f, 0), right = rendered.at(f, 1);
            ASSERT_LE(std::fabs(left), peak) << "frame " << f;
            ASSERT_LE(std::fabs(right), peak) << "frame " << f;
            const double position = rendered.at(f, 2);
            ASSERT_GE(position, previous) << "frame " << f;
            previous = position;
            const auto frame = std::int64_t(std::llround(position * rate / 1000.0));
            if (left != 0.0f || right != 0.0f)
            {
                ASSERT_LT(frame, reference.frames) << "frame " << f;
                ASSERT_EQ(left, reference.at(frame, 0)) << "frame " << f << ", file frame " << frame;
                ASSERT_EQ(right, reference.at(frame, 1)) << "frame " << f << ", file frame " << frame;
            }
        }
        const auto end = std::int64_t(std::llround(previous * rate / 1000.0));
        EXPECT_GT(end, 0);
        EXPECT_LT(end, reference.frames) << "the position ran on to the file's old length";
        EXPECT_LT(rendered.frames, reference.frames) << "render went on after the end of playback";
    }
}

} // namespace

#endif
