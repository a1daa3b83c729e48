// Files whose headers declare another length than they hold, made by real
// tools and real accidents: ffmpeg and sox writing to a pipe (placeholder
// sizes), files cut short with head -c (a half-finished copy) at many
// points. Every one libsndfile opens must read as libsndfile reads it: the
// same whole frames, the same samples. The warning that says so, the
// player's lengths and loops, and the command-line verbs follow the real
// length.
#include <algorithm>
#include <bit>
#include <fstream>
#include <functional>
#include <set>

#include <gtest/gtest.h>

#include "audiofiles/KelAudioFileReader.h"
#include "support/AudioFixtures.h"
#include "support/PlayerTestSupport.h"
#include "support/TestTemp.h"
#include "support/TestText.h"

#if KEL_HAVE_SNDFILE

namespace {

using kel::test::Decoded;
using kel::test::RunCommand;
using kel::test::ShellQuoted;
using kel::test::TempDir;

const std::string ffmpeg = "ffmpeg -nostdin -hide_banner -loglevel error -y -i {in} ";

/** Replaces {in} and {out} (shell-quoted) in a command. */
std::string Command(std::string text, const std::string& in, const std::string& out)
{
    for (const auto& [key, value] : {std::pair<std::string, std::string>{"{in}", in}, {"{out}", out}})
        for (auto at = text.find(key); at != std::string::npos; at = text.find(key))
            text.replace(at, key.size(), ShellQuoted(value));
    return text;
}

/** A whole file, as a tool writes it, from a libsndfile-written source. */
struct Source
{
    std::string name;
    std::string command;   // {in}: the source, {out}: the file; empty: libsndfile writes it
    int format;            // libsndfile's format of the source (and of the file it writes)
    int channels;
    int sampleBytes;       // in the file
    std::string dataTag;   // where the sound starts: this many bytes after this tag
    int tagToSound;
    // The same sound written to a regular file, for a file of which
    // libsndfile reads no frame.
    std::string referenceCommand = {};
};

constexpr std::int64_t sourceFrames = 3001;

std::vector<Source> Sources()
{
    const int s16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16, s24 = SF_FORMAT_WAV | SF_FORMAT_PCM_24;
    const std::string w64Data("data\xF3\xAC\xD3\x11\x8C\xD1\x00\xC0\x4F\x8E\xDB\x8A", 16);
    return {
        {"sndfile.wav", "", s24, 3, 3, "data", 8},
        {"sndfile-rf64.wav", "", SF_FORMAT_RF64 | SF_FORMAT_PCM_16, 2, 2, "data", 8},
        {"sndfile.w64", "", SF_FORMAT_W64 | SF_FORMAT_PCM_24, 2, 3, w64Data, 24},
        {"sndfile.aiff", "", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 2, 2, "SSND", 16},
        {"sox.wav", "sox {in} {out}", s16, 2, 2, "data", 8},
        {"sox.w64", "sox {in} {out}", s16, 1, 2, w64Data, 24},
        {"sox.aifc", "sox {in} -b 24 {out}", s16, 2, 3, "SSND", 16},
        // Written to a pipe, so that the sizes are placeholders.
        {"ffmpeg-pipe.wav", ffmpeg + "-c:a pcm_s16le -f wav - | cat > {out}", s16, 2, 2, "data", 8},
        {"ffmpeg-pipe-f32.wav", ffmpeg + "-c:a pcm_f32le -f wav - | cat > {out}", s16, 1, 4, "data", 8},
        {"ffmpeg-pipe.aiff", ffmpeg + "-f aiff - | cat > {out}", s16, 2, 2, "SSND", 16},
        {"ffmpeg-pipe.w64", ffmpeg + "-c:a pcm_s24le -f w64 - | cat > {out}", s24, 2, 3, w64Data, 24},
        {"sox-pipe.aiff", "sox {in} -t aiff - | cat > {out}", s16, 2, 2, "SSND", 16},
        {"sox-pipe.aifc", "sox {in} -t aifc - | cat > {out}", s24, 1, 3, "SSND", 16},
        // ffmpeg's RF64 to a pipe declares no size at all ("ds64" all
        // zeros): libsndfile reads no frame of it.
        {"ffmpeg-pipe-rf64.wav", ffmpeg + "-c:a pcm_s24le -rf64 always -f wav - | cat > {out}", s24, 2, 3, "data",
         8, ffmpeg + "-c:a pcm_s24le -rf64 always {out}"},
    };
}

/** Where the tag first stands in the bytes, or -1. */
std::int64_t Find(const std::vector<std::uint8_t>& bytes, const std::string& tag)
{
    const auto at = std::search(bytes.begin(), bytes.end(), tag.begin(), tag.end(),
                                [](std::uint8_t b, char c) { return b == std::uint8_t(c); });
    return at == bytes.end() ? -1 : std::int64_t(at - bytes.begin());
}

/** Cut points: inside the header, around the start of the sound, mid-frame,
    mid-chunk, one byte short, and 444 bytes. */
std::vector<std::int64_t> CutPoints(std::int64_t size, std::int64_t soundStart, std::int64_t frameBytes)
{
    const std::set<std::int64_t> points = {12,
                                           30,
                                           soundStart - 1,
                                           soundStart,
                                           soundStart + 1,
                                           soundStart + 5 * frameBytes + 1,
                                           soundStart + 6 * frameBytes - 1,
                                           size / 2,
                                           size / 2 + 1,
                                           size - 1,
                                           444};
    std::vector<std::int64_t> result;
    for (const auto p : points)
        if (p > 0 && p < size)
            result.push_back(p);
    return result;
}

struct Damaged
{
    std::string what;
    std::string path;
    std::string reference;  // a regular file of the same sound, when libsndfile reads none of this one
    std::int64_t soundStart = 0;
    std::int64_t frameBytes = 0;
};

/** What libsndfile reads of a file; for a file it reads no frame of, the
    whole frames the file holds, taken from the reference. */
Decoded Expected(const Damaged& c)
{
    if (c.reference.empty())
        return kel::test::DecodeWithSndfile(c.path);
    Decoded reference = kel::test::DecodeWithSndfile(c.reference);
    const auto held = std::max<std::int64_t>(0, std::int64_t(kel::test::LoadBytes(c.path).size()) - c.soundStart);
    reference.frames = std::min(reference.frames, held / c.frameBytes);
    reference.samples.resize(std::size_t(reference.frames) * std::size_t(reference.channels));
    return reference;
}

TEST(AudioFileLengths, DamagedFilesReadAsLibsndfileReadsThem)
{
    KEL_SKIP_WITHOUT_SHELL();
    TempDir dir;
    std::vector<Damaged> cases;
    for (const Source& source : Sources())
    {
        SCOPED_TRACE(source.name);
        const auto input = dir.file("in-" + source.name + ".wav");
        ASSERT_TRUE(kel::test::WriteWithSndfile(input, source.format, source.channels, sourceFrames, 44100));
        const auto whole = dir.file(source.name);
        if (source.command.empty())
            ASSERT_TRUE(kel::test::WriteWithSndfile(whole, source.format, source.channels, sourceFrames, 44100));
        else
            ASSERT_EQ(RunCommand(Command(source.command, input, whole) + " 2>/dev/null"), 0) << source.command;
        std::string reference;
        if (!source.referenceCommand.empty())
        {
            reference = dir.file("reference-" + source.name);
            ASSERT_EQ(RunCommand(Command(source.referenceCommand, input, reference) + " 2>/dev/null"), 0);
        }
        const auto bytes = kel::test::LoadBytes(whole);
        const auto tag = Find(bytes, source.dataTag);
        ASSERT_GE(tag, 0) << "no sound chunk";
        const auto soundStart = tag + source.tagToSound;
        const auto frameBytes = std::int64_t(source.channels) * source.sampleBytes;
        cases.push_back({source.name + " whole", whole, reference, soundStart, frameBytes});

        // Cut short as a copy that stopped.
        for (const auto cut : CutPoints(std::int64_t(bytes.size()), soundStart, frameBytes))
        {
            const auto path = dir.file("cut" + std::to_string(cut) + "-" + source.name);
            ASSERT_EQ(RunCommand("head -c " + std::to_string(cut) + " " + ShellQuoted(whole) + " > "
                                 + ShellQuoted(path)),
                      0);
            cases.push_back({source.name + " cut at " + std::to_string(cut) + ", the sound from "
                                 + std::to_string(soundStart),
                             path, reference, soundStart, frameBytes});
        }
    }

    for (const Damaged& c : cases)
    {
        SCOPED_TRACE(c.what);
        SF_INFO info{};
        SNDFILE* file = sf_open(c.path.c_str(), SFM_READ, &info);
        if (file != nullptr)
            sf_close(file);
        std::string ourError;
        std::unique_ptr<kel::AudioFileReader> reader;
        try
        {
            reader = kel::AudioFileReader::CreateReaderFor(kel::File(c.path));
        }
        catch (const kel::Exception& e)
        {
            ourError = e.getMessage();
        }
        if (file == nullptr)
        {
            // Cut inside the header: libsndfile refuses it, and so do we,
            // with the error of the reader its first bytes chose.
            EXPECT_EQ(reader, nullptr) << "libsndfile refuses, we open " << reader->getLengthInSamples() << " frames";
            EXPECT_FALSE(ourError.empty());
            continue;
        }
        if (reader == nullptr)
        {
            ADD_FAILURE() << "libsndfile opens " << info.frames << " frames, we refuse: " << ourError;
            continue;
        }
        const Decoded expected = Expected(c);
        if (reader->getLengthInSamples() != expected.frames)
        {
            // Not read through: a header's length may be billions of frames.
            ADD_FAILURE() << "length " << reader->getLengthInSamples() << ", libsndfile " << expected.frames;
            continue;
        }
        const auto ours = kel::test::ReadAllWithReader(*reader, 1000);
        EXPECT_EQ(kel::test::FirstDifference(ours.samples, expected.samples), -1);
    }
}

struct CliRun
{
    int status = 0;
    std::string out, err;
};

CliRun RunCli(const TempDir& dir, const std::string& arguments)
{
    CliRun run;
    const auto errFile = dir.file("stderr.txt");
    // Output files of tens of megabytes at most: a decode that believed a
    // header would write gigabytes.
    run.status = RunCommand("ulimit -f 32768; " + ShellQuoted(KEL_CLI_PATH) + " " + arguments + " 2>"
                                + ShellQuoted(errFile),
                            &run.out);
    const auto err = kel::test::LoadBytes(errFile);
    run.err.assign(err.begin(), err.end());
    return run;
}

/** The floats of a raw interleaved little-endian 32-bit float file. */
std::vector<float> LoadFloats(const std::string& path)
{
    const auto bytes = kel::test::LoadBytes(path);
    std::vector<float> values(bytes.size() / 4);
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = std::bit_cast<float>(std::uint32_t(bytes[4 * i]) | (std::uint32_t(bytes[4 * i + 1]) << 8)
                                         | (std::uint32_t(bytes[4 * i + 2]) << 16)
                                         | (std::uint32_t(bytes[4 * i + 3]) << 24));
    return values;
}

// "info" and "decode" go by the frames the file holds and warn once, on
// stderr, when the header declares another count; a sound file that agrees
// with its header gets no warning.
TEST(AudioFileLengths, CliVerbsGoByWhatTheFileHoldsAndSayWhy)
{
    KEL_SKIP_WITHOUT_SHELL();
    TempDir dir;
    const auto source = dir.file("source.wav");
    ASSERT_TRUE(kel::test::WriteWithSndfile(source, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 132300, 44100));
    struct Case
    {
        std::string name;
        std::string command;     // {in}: the 3-s source, {out}: the file
        std::int64_t declared;   // what the header declares; -1: as held
    };
    const std::vector<Case> cases = {
        {"intact.wav", "cp {in} {out}", -1},
        // A 2-s file ffmpeg wrote to a pipe: 0xFFFFFFFF bytes of 4-byte frames.
        {"pipe.wav", ffmpeg + "-t 2 -c:a pcm_s16le -f wav - | cat > {out}", 0xFFFFFFFF / 4},
        {"pipe.aiff", ffmpeg + "-t 2 -f aiff - | cat > {out}", 0},
        // A copy of 1 s of the 3: the header's 3 s are not there.
        {"third.wav", "head -c " + std::to_string(44 + 44100 * 4) + " {in} > {out}", 132300},
        {"header-only.wav", "head -c 44 {in} > {out}", 132300},
        // The first 444 bytes of the file written to a pipe: 8.6 GB of
        // floats, should decode believe the header.
        {"444-bytes.wav",
         ffmpeg + "-t 2 -c:a pcm_s16le -f wav - 2>/dev/null | cat > {out}.whole && head -c 444 {out}.whole > {out}",
         0xFFFFFFFF / 4},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        const auto path = dir.file(c.name);
        ASSERT_EQ(RunCommand(Command(c.command, source, path) + " 2>/dev/null"), 0);
        const Decoded reference = kel::test::DecodeWithSndfile(path);
        const std::string warning = c.declared < 0 ? ""
                                                   : "warning occurred: header of \"" + path + "\" declares "
                                                         + std::to_string(c.declared) + " frames, the file holds "
                                                         + std::to_string(reference.frames) + "\n";

        CliRun run = RunCli(dir, "info " + ShellQuoted(path));
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.err, warning);
        EXPECT_NE(run.out.find("\n/samples " + std::to_string(reference.frames) + "\n"), std::string::npos) << run.out;

        const auto raw = dir.file(c.name + ".raw");
        run = RunCli(dir, "decode " + ShellQuoted(path) + " " + ShellQuoted(raw));
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.err, warning);
        const auto decoded = LoadFloats(raw);
        EXPECT_EQ(decoded.size(), reference.samples.size());
        EXPECT_EQ(kel::test::FirstDifference(decoded, reference.samples), -1);
    }
}

// The player opens at "/open" a file written to a pipe and a half-copied
// one: one warning each time, the lengths it reports are the frames the
// file holds, and a loop wraps at the file's real end.
TEST(AudioFilePlayerLengths, PlaysAndLoopsWhatTheFileHolds)
{
    KEL_SKIP_WITHOUT_SHELL();
    TempDir dir;
    const auto source = dir.file("source.wav");
    constexpr int rate = 48000;
    ASSERT_TRUE(kel::test::WriteWithSndfile(source, SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2, 4800, rate));
    struct Case
    {
        std::string name;
        std::string command;
        std::int64_t declared;
    };
    const std::vector<Case> cases = {
        {"pipe.wav", ffmpeg + "-c:a pcm_s24le -f wav - | cat > {out}", 0xFFFFFFFF / 6},
        {"half.wav", "head -c " + std::to_string(44 + 2400 * 6 + 4) + " {in} > {out}", 4800},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        const auto path = dir.file(c.name);
        ASSERT_EQ(RunCommand(Command(c.command, source, path) + " 2>/dev/null"), 0);
        const Decoded reference = kel::test::DecodeWithSndfile(path);
        ASSERT_GT(reference.frames, 0);
        const auto frames = std::to_string(reference.frames);

        kel::test::PlayerHost host(2, 192000, rate);
        for (int open = 0; open < 2; ++open)
        {
            host.console().reports.clear();
            host.listener().clear();
            host.Send("/open \"" + path + "\"");
            EXPECT_EQ(host.console().lines(),
                      std::vector<std::string>{"warning occurred: header of \"" + path + "\" declares "
                                               + std::to_string(c.declared) + " frames, the file holds " + frames});
            EXPECT_EQ(host.listener().messages("/samples"), std::vector<std::string>{"/samples " + frames});
            EXPECT_EQ(host.listener().messages("/length"),
                      std::vector<std::string>{"/length " + kel::ToString(double(reference.frames) * 1000.0 / rate)});
        }
        host.Send("/loop 1");
        host.Send("/start");
        const auto output = host.Render(std::uint64_t(reference.frames * 5 / 2));
        std::vector<float> expected;
        for (std::int64_t f = 0; f < reference.frames * 5 / 2; ++f)
            for (int ch = 0; ch < 2; ++ch)
                expected.push_back(reference.at(f % reference.frames, ch));
        std::vector<float> audio;
        for (std::size_t i = 0; i < output.size(); i += host.outputChannels())
            audio.insert(audio.end(), output.begin() + std::ptrdiff_t(i), output.begin() + std::ptrdiff_t(i) + 2);
        EXPECT_EQ(kel::test::FirstDifference(audio, expected), -1);
        EXPECT_TRUE(host.player().isPlaying());
        EXPECT_EQ(host.listener().countEnded(), 0);
    }
}

} // namespace

#endif
