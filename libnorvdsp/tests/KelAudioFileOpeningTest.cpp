// Opening a sound file: why it did not open, in words a user can act on,
// from the factory, the player's "/open" and the command-line verbs alike;
// nothing that is not a regular file (a FIFO without a writer, a device) can
// make any of them wait; and a file is recognised by its content before its
// name.
#include <filesystem>
#include <memory>
#include <optional>

#include <gtest/gtest.h>

#include "audiofiles/KelAudioFileReader.h"
#include "support/AudioFixtures.h"
#include "support/PlayerTestSupport.h"
#include "support/TestTemp.h"
#include "support/TestText.h"

#if !defined(_WIN32)
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace {

using kel::test::RunCommand;
using kel::test::ShellQuoted;
using kel::test::TempDir;

/** What CreateReaderFor throws for a path, or "<no exception>"; run on
    another thread so that an open that blocks fails the test instead of
    hanging it. */
std::string FactoryMessage(const std::string& path)
{
    auto message = std::make_shared<std::string>("<blocked>");
    const bool finished = kel::test::FinishesWithin(60.0, [message, path] {
        *message = kel::test::ThrownMessage([&] { kel::AudioFileReader::CreateReaderFor(kel::File(path)); });
    });
    return finished ? *message : "<blocked>";
}

struct CliRun
{
    int status = 0;
    std::string err;
};

/** The verb on the path, stopped after 60 s should it ever wait; prefix
    runs it as another user. */
CliRun RunVerb(const TempDir& dir, const std::string& verb, const std::string& path, const std::string& prefix = {})
{
    const auto errFile = dir.file("stderr.txt");
    const auto out = verb == "decode" ? " " + ShellQuoted(dir.file("out.raw")) : std::string();
    CliRun run;
    run.status = RunCommand("timeout 60 " + prefix + ShellQuoted(KEL_CLI_PATH) + " " + verb + " " + ShellQuoted(path)
                                + out + " >/dev/null 2>" + ShellQuoted(errFile));
    const auto err = kel::test::LoadBytes(errFile);
    run.err.assign(err.begin(), err.end());
    return run;
}

/** The failure line of a verb: its full text ends with the message. */
void ExpectVerbFails(const CliRun& run, const std::string& message)
{
    EXPECT_EQ(run.status, 1) << "124 means it waited until stopped";
    const auto tail = "] " + message + "\n";
    EXPECT_TRUE(run.err.size() >= tail.size() && run.err.compare(run.err.size() - tail.size(), tail.size(), tail) == 0)
        << run.err;
}

#if !defined(_WIN32)
/** How to run the command-line tool as a user without the root's right to
    read anything: as nobody through setpriv when we are root, directly
    otherwise; nullopt when neither works here. */
std::optional<std::string> UnprivilegedPrefix()
{
    if (::geteuid() != 0)
        return std::string();
    const std::string prefix = "setpriv --reuid=65534 --regid=65534 --clear-groups ";
    if (RunCommand(prefix + ShellQuoted(KEL_CLI_PATH) + " --help >/dev/null 2>&1") == 0)
        return prefix;
    return std::nullopt;
}
#endif

TEST(AudioFileOpening, EveryReasonInTheFactoryThePlayerAndTheVerbs)
{
    TempDir dir;
    struct Case
    {
        std::string what;
        std::string path;
        std::string message;
    };
    std::vector<Case> cases;

    const auto folder = dir.file("folder.wav");
    std::filesystem::create_directory(folder);
    cases.push_back({"a directory", folder, "not a regular file: " + folder});
    const auto missing = dir.file("missing.wav");
    cases.push_back({"nothing there", missing, "Could not find file \"" + missing + "\""});
    const auto inMissingFolder = dir.file("no folder/missing.wav");
    cases.push_back({"no such folder", inMissingFolder, "Could not find file \"" + inMissingFolder + "\""});
    const auto empty = dir.file("empty.wav");
    kel::test::SaveBytes(empty, {});
    cases.push_back({"an empty file", empty, "empty file: " + empty});
#if !defined(_WIN32)
    // A FIFO without a writer would hold an ordinary open for ever.
    const auto fifo = dir.file("fifo.wav");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0644), 0);
    cases.push_back({"a FIFO", fifo, "not a regular file: " + fifo});
    cases.push_back({"a device", "/dev/zero", "not a regular file: /dev/zero"});
#endif

    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(FactoryMessage(c.path), c.message);
        // What cannot be opened has no format; an empty file has its name's.
        EXPECT_EQ(kel::AudioFileReader::detectFormatName(kel::File(c.path)), c.path == empty ? "WAV File" : "unknown");

        kel::test::PlayerHost host(2);
        EXPECT_EQ(kel::test::ThrownMessage([&] { host.Send("/open \"" + c.path + "\""); }), c.message);
        EXPECT_FALSE(host.player().hasOpenFile());

        if (!kel::test::HaveShell())
            continue;
        for (const std::string verb : {"info", "decode"})
        {
            SCOPED_TRACE(verb);
            ExpectVerbFails(RunVerb(dir, verb, c.path), c.message);
        }
    }
}

TEST(AudioFileOpening, AFileWithoutReadPermission)
{
#if defined(_WIN32)
    GTEST_SKIP() << "needs POSIX permissions and the command-line tool run through a shell";
#else
    KEL_SKIP_WITHOUT_SHELL();
    const auto prefix = UnprivilegedPrefix();
    if (!prefix)
        GTEST_SKIP() << "running as root and setpriv cannot drop the privileges here, "
                        "so no file can be unreadable to this test";
    TempDir dir;
    const auto path = dir.file("locked.wav");
    kel::test::SaveBytes(path, {'R', 'I', 'F', 'F', 4, 0, 0, 0, 'W', 'A', 'V', 'E'});
    ASSERT_EQ(::chmod(path.c_str(), prefix->empty() ? 0000 : 0600), 0);
    const std::string message = "permission denied: " + path;
    for (const std::string verb : {"info", "decode"})
    {
        SCOPED_TRACE(verb);
        ExpectVerbFails(RunVerb(dir, verb, path, *prefix), message);
    }
    if (prefix->empty())
    {
        // Not root: the factory and the player see the same refusal.
        EXPECT_EQ(FactoryMessage(path), message);
        kel::test::PlayerHost host(2);
        EXPECT_EQ(kel::test::ThrownMessage([&] { host.Send("/open \"" + path + "\""); }), message);
    }
#endif
}

// MP3 data under any name opens as MP3 (an ID3v2 tag, or frame headers that
// follow one another), WAV data named .mp3 as WAV; the name decides only
// when the content says nothing.
TEST(AudioFileOpening, ContentBeforeExtension)
{
    KEL_SKIP_WITHOUT_SHELL();
    if (!kel::test::HaveProgram("lame") || !kel::test::HaveProgram("ffmpeg") || !kel::test::HaveProgram("sox"))
        GTEST_SKIP() << "needs lame, ffmpeg and sox to write the fixtures";
    TempDir dir;
    const auto source = dir.file("source.wav");
    ASSERT_EQ(RunCommand("sox -n -r 44100 -c 2 -b 16 " + ShellQuoted(source)
                         + " synth 1 sine 300-2000 pinknoise remix - gain -3 channels 2 2>/dev/null"),
              0);
    const std::string ffmpeg = "ffmpeg -nostdin -hide_banner -loglevel error -y -i {in} ";
    struct Case
    {
        std::string name;
        std::string command;  // {in}: the source, {out}: the file
        std::string format;
    };
    const std::vector<Case> cases = {
        {"lame.wav", "lame --quiet -b 128 {in} {out}", "MP3 File"},
        {"lame-no-info.aiff", "lame --quiet -t -b 96 {in} {out}", "MP3 File"},
        {"lame-id3v2.wav", "lame --quiet -b 64 --add-id3v2 --tt Title {in} {out}", "MP3 File"},
        {"mpeg25.aif", "lame --quiet -b 24 --resample 11.025 {in} {out}", "MP3 File"},
        {"layer2.txt", ffmpeg + "-c:a mp2 -b:a 192k -f mp2 {out}", "MP3 File"},
        {"wav.mp3", "cp {in} {out}", "WAV File"},
        {"aiff.mp3", "sox {in} -t aiff {out}", "AIFF File"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        const auto path = dir.file(c.name);
        std::string command = c.command;
        for (const auto& [key, value] : {std::pair<std::string, std::string>{"{in}", source}, {"{out}", path}})
            command.replace(command.find(key), key.size(), ShellQuoted(value));
        ASSERT_EQ(RunCommand(command + " >/dev/null 2>&1"), 0) << command;
        EXPECT_EQ(kel::AudioFileReader::detectFormatName(kel::File(path)), c.format);

        const auto reader = kel::AudioFileReader::CreateReaderFor(kel::File(path));
        ASSERT_NE(reader, nullptr);
        EXPECT_EQ(reader->getFormatName(), c.format);
        // libmpg123, or libsndfile, decoding the same bytes.
#if KEL_HAVE_SNDFILE
        const auto reference = c.format == "MP3 File" ? kel::test::DecodeWithMpg123(path)
                                                      : kel::test::DecodeWithSndfile(path);
#else
        if (c.format != "MP3 File")
            continue;
        const auto reference = kel::test::DecodeWithMpg123(path);
#endif
        ASSERT_GT(reference.frames, 0);
        ASSERT_EQ(reader->getLengthInSamples(), reference.frames);
        const auto ours = kel::test::ReadAllWithReader(*reader, 4096);
        EXPECT_EQ(kel::test::FirstDifference(ours.samples, reference.samples), -1);
    }
}

} // namespace
