// Cue point names from the "labl" records of "LIST"/"adtl" chunks.
// No tool at hand writes labl records (libsndfile reads them but writes only
// "cue "; sox and ffmpeg write neither), so these files are HAND-MADE with
// ByteBuilder. Where libsndfile reads the same names it is the reference:
// its reader takes a label only when the "cue " chunk came first, stops at
// the first "note" or "ltxt" record or oversized record, and takes labl
// records from lists of any type; the cases where ours differs on purpose
// say so.
#include <cstring>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "audiofiles/KelAudioFileReader.h"
#include "audiofiles/KelCueLabels.h"
#include "support/AudioFixtures.h"
#include "support/ByteBuilder.h"
#include "support/PlayerTestSupport.h"
#include "support/TestTemp.h"
#include "support/TestText.h"

namespace {

using namespace std::string_literals;
using kel::test::ByteBuilder;
using kel::test::PlayerHost;
using kel::test::RiffWave;
using kel::test::TempDir;
using kel::test::WavFormat;

constexpr std::uint32_t numFrames = 100;

struct Cue
{
    std::uint32_t id;
    std::uint32_t offset;
};

/** A "cue " chunk: count, then per point its ID, order, "data", chunk and
    block starts, frame offset. */
ByteBuilder CueChunk(const std::vector<Cue>& cues)
{
    ByteBuilder payload;
    payload.le32(std::uint32_t(cues.size()));
    for (std::size_t i = 0; i < cues.size(); ++i)
        payload.le32(cues[i].id).le32(std::uint32_t(i)).text("data").le32(0).le32(0).le32(cues[i].offset);
    return ByteBuilder().riffChunk("cue ", payload);
}

/** A record of an associated-data list: code, size of ID and text, ID,
    text, a pad byte after an odd size. declared overrides the size field. */
ByteBuilder Record(const std::string& code, std::uint32_t id, const std::string& text, std::int64_t declared = -1)
{
    const auto size = std::uint32_t(declared >= 0 ? declared : std::int64_t(4 + text.size()));
    ByteBuilder record;
    record.text(code).le32(size).le32(id).text(text);
    if (declared < 0 && size % 2 == 1)
        record.u8(0);
    return record;
}

ByteBuilder Labl(std::uint32_t id, const std::string& text) { return Record("labl", id, text); }

/** An "INFO" list's record: code, size, text (no ID). */
ByteBuilder InfoRecord(const std::string& code, const std::string& text)
{
    ByteBuilder record;
    record.text(code).le32(std::uint32_t(text.size())).text(text);
    if (text.size() % 2 == 1)
        record.u8(0);
    return record;
}

std::string Bytes(const ByteBuilder& b) { return std::string(b.bytes.begin(), b.bytes.end()); }

/** A "LIST" chunk of a type around records. */
ByteBuilder List(const std::string& type, std::initializer_list<ByteBuilder> records)
{
    ByteBuilder payload;
    payload.text(type);
    for (const auto& record : records)
        payload.append(record);
    return ByteBuilder().riffChunk("LIST", payload);
}

/** Mono 16-bit sound of numFrames frames, then the chunks. */
ByteBuilder WavWith(const ByteBuilder& chunks)
{
    ByteBuilder sound;
    for (std::uint32_t i = 0; i < numFrames; ++i)
        sound.le16(i * 100);
    return RiffWave(
        ByteBuilder().riffChunk("fmt ", WavFormat(1, 1, 48000, 16)).riffChunk("data", sound).append(chunks));
}

/** The same as an RF64 file: sizes in "ds64", placeholders elsewhere. */
ByteBuilder Rf64With(const ByteBuilder& chunks)
{
    ByteBuilder sound;
    for (std::uint32_t i = 0; i < numFrames; ++i)
        sound.le16(i * 100);
    ByteBuilder body;
    body.riffChunk("fmt ", WavFormat(1, 1, 48000, 16)).text("data").le32(0xFFFFFFFFu).append(sound).append(chunks);
    const std::uint64_t riffSize = 4 + 8 + 28 + body.size();
    return ByteBuilder()
        .text("RF64").le32(0xFFFFFFFFu).text("WAVE")
        .text("ds64").le32(28).le64(riffSize).le64(sound.size()).le64(numFrames).le32(0)
        .append(body);
}

struct Marker
{
    std::int32_t identifier;
    std::int32_t position;
    std::string label;
};

/** How libsndfile's reading of the file checks ours: not at all (it
    differs on purpose), through the names it gives its cue points, or
    through the labl records its log lists ("labl : ID : text"; its RF64
    reader skips "cue " but logs the labels, and it logs labels that come
    before "cue " without giving them to the cue points). */
enum class Reference
{
    none,
    cues,
    log
};

struct LabelCase
{
    std::string what;
    ByteBuilder file;
    std::vector<Marker> expected;
    Reference libsndfile;
};

/** The chunks one after the other. */
ByteBuilder Chunks(std::initializer_list<ByteBuilder> chunks)
{
    ByteBuilder all;
    for (const auto& chunk : chunks)
        all.append(chunk);
    return all;
}

ByteBuilder Adtl(std::initializer_list<ByteBuilder> records) { return List("adtl", records); }

std::vector<LabelCase> LabelCases()
{
    const auto cues = CueChunk({{1, 10}, {2, 20}});
    const auto introVerse = Adtl({Labl(1, "intro\0"s), Labl(2, "verse\0"s)});
    // A "note" record and an "ltxt" record (cue ID, sample length, purpose,
    // country, language, dialect, code page, text), both for cue 1.
    const auto note = Record("note", 1, "a comment\0"s);
    const auto ltxt = Record("ltxt", 1, Bytes(ByteBuilder().le32(50).text("rgn ").le16(0).le16(0).le16(0).le16(0)
                                                  .text("region\0"s)));
    const std::string replacement = "\xEF\xBF\xBD";  // U+FFFD
    const auto r = [&](int n) {
        std::string text;
        for (int i = 0; i < n; ++i)
            text += replacement;
        return text;
    };
    return {
        {"LIST after cue", WavWith(Chunks({cues, introVerse})), {{1, 10, "intro"}, {2, 20, "verse"}},
         Reference::cues},
        {"LIST before cue", WavWith(Chunks({introVerse, cues})), {{1, 10, "intro"}, {2, 20, "verse"}},
         Reference::log},
        {"LIST on both sides of cue",
         WavWith(Chunks({Adtl({Labl(1, "before\0"s)}), cues, Adtl({Labl(2, "after\0"s)})})),
         {{1, 10, "before"}, {2, 20, "after"}}, Reference::log},
        {"labels for some cues only",
         WavWith(Chunks({CueChunk({{1, 10}, {2, 20}, {3, 30}}), Adtl({Labl(2, "chorus\0"s)})})),
         {{1, 10, "1"}, {2, 20, "chorus"}, {3, 30, "3"}}, Reference::cues},
        {"an odd-length label and its pad byte, then the next record",
         WavWith(Chunks({cues, Adtl({Labl(1, "abcd\0"s), Labl(2, "next\0"s)})})),
         {{1, 10, "abcd"}, {2, 20, "next"}}, Reference::cues},
        {"a label with trailing NULs", WavWith(Chunks({cues, Adtl({Labl(1, "outro\0\0\0\0\0"s)})})),
         {{1, 10, "outro"}, {2, 20, "2"}}, Reference::cues},
        {"a label without NUL", WavWith(Chunks({cues, Adtl({Labl(1, "tail")})})), {{1, 10, "tail"}, {2, 20, "2"}},
         Reference::cues},
        {"an empty label keeps the ID", WavWith(Chunks({cues, Adtl({Labl(1, "\0\0\0\0"s)})})),
         {{1, 10, "1"}, {2, 20, "2"}}, Reference::cues},
        {"UTF-8 kept, bytes that are not UTF-8 replaced by U+FFFD one by one",
         // Latin-1, an overlong "/", a surrogate, a lone continuation, a sequence cut short
         WavWith(Chunks({cues, Adtl({Labl(1, "caf\xC3\xA9 \xE2\x99\xAA\0"s),
                                    Labl(2, "caf\xE9|\xC0\xAF|\xED\xA0\x80|\x80|\xE2\x99"s)})})),
         {{1, 10, "caf\xC3\xA9 \xE2\x99\xAA"},
          {2, 20, "caf" + r(1) + "|" + r(2) + "|" + r(3) + "|" + r(1) + "|" + r(2)}},
         Reference::none},
        {"a labl whose size claims more than the chunk holds gets what is there",
         WavWith(Chunks({Adtl({Labl(1, "ok\0"s), Record("labl", 2, "cut", 1000)}), cues})),
         {{1, 10, "ok"}, {2, 20, "cut"}}, Reference::none},
        {"a LIST at the end that claims more than the file holds",
         WavWith(Chunks({cues, ByteBuilder().text("LIST").le32(1u << 30).text("adtl").append(Labl(2, "last\0"s))})),
         {{1, 10, "1"}, {2, 20, "last"}}, Reference::none},
        {"a LIST of another type (INFO) names nothing",
         WavWith(Chunks({cues, List("INFO", {InfoRecord("INAM", "title\0"s), Labl(1, "not a label\0"s)})})),
         {{1, 10, "1"}, {2, 20, "2"}}, Reference::none},
        {"duplicate labels for one ID: the last wins",
         WavWith(Chunks({cues, Adtl({Labl(1, "first\0"s), Labl(1, "second\0"s)})})),
         {{1, 10, "second"}, {2, 20, "2"}}, Reference::cues},
        {"note and ltxt records are skipped", WavWith(Chunks({cues, Adtl({note, ltxt, Labl(1, "named\0"s)})})),
         {{1, 10, "named"}, {2, 20, "2"}}, Reference::none},
        {"labels match the whole 32-bit ID, markers keep 16 bits",
         WavWith(Chunks({CueChunk({{0x10005, 10}, {5, 20}}), Adtl({Labl(5, "small\0"s), Labl(0x10005, "big\0"s)})})),
         {{5, 10, "big"}, {5, 20, "small"}}, Reference::cues},
        {"RF64: LIST after cue, after the sound", Rf64With(Chunks({cues, introVerse})),
         {{1, 10, "intro"}, {2, 20, "verse"}}, Reference::log},
    };
}

#if KEL_HAVE_SNDFILE
/** The labels libsndfile's log lists, by cue ID (the last of an ID). */
std::map<std::uint32_t, std::string> LabelsInLibsndfileLog(const std::string& path)
{
    std::map<std::uint32_t, std::string> labels;
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr)
        return labels;
    std::vector<char> log(1 << 16);
    sf_command(file, SFC_GET_LOG_INFO, log.data(), int(log.size()));
    sf_close(file);
    std::istringstream lines(std::string(log.data(), strnlen(log.data(), log.size())));
    for (std::string line; std::getline(lines, line);)
    {
        const auto at = line.find("labl : ");
        if (at == std::string::npos)
            continue;
        const auto rest = line.substr(at + 7);
        const auto colon = rest.find(" : ");
        if (colon != std::string::npos)
            labels[std::uint32_t(std::stoul(rest.substr(0, colon)))] = rest.substr(colon + 3);
    }
    return labels;
}
#endif

TEST(CueLabels, NameTheMarkersOfHandMadeFiles)
{
    TempDir dir;
    int number = 0;
    for (const auto& c : LabelCases())
    {
        SCOPED_TRACE(c.what);
        const auto path = dir.file("labels" + std::to_string(++number) + ".wav");
        kel::test::SaveBytes(path, c.file.bytes);
        const auto reader = kel::AudioFileReader::CreateReaderFor(kel::File(path));
        ASSERT_EQ(reader->getLengthInSamples(), numFrames) << "the sound is found";
        const auto& markers = reader->getMarkers();
        ASSERT_EQ(markers.size(), c.expected.size());
        for (std::size_t i = 0; i < markers.size(); ++i)
        {
            EXPECT_EQ(markers[i]->identifier, c.expected[i].identifier) << i;
            EXPECT_EQ(markers[i]->position, c.expected[i].position) << i;
            EXPECT_EQ(markers[i]->label, c.expected[i].label) << i;
        }
#if KEL_HAVE_SNDFILE
        if (c.libsndfile == Reference::cues)
        {
            SF_CUES cues{};
            ASSERT_TRUE(kel::test::ReadBackWithSndfile(path, SFC_GET_CUE, cues));
            ASSERT_EQ(cues.cue_count, markers.size());
            for (std::uint32_t i = 0; i < cues.cue_count; ++i)
            {
                const auto& point = cues.cue_points[i];
                const std::string name(point.name, strnlen(point.name, sizeof(point.name)));
                EXPECT_EQ(markers[i]->label, name.empty() ? std::to_string(point.indx & 0xFFFF) : name)
                    << "libsndfile's cue " << i;
                EXPECT_EQ(markers[i]->position, std::int32_t(point.sample_offset));
            }
        }
        else if (c.libsndfile == Reference::log)
        {
            const auto logged = LabelsInLibsndfileLog(path);
            ASSERT_FALSE(logged.empty());
            for (const auto& marker : markers)
            {
                const auto found = logged.find(std::uint32_t(marker->identifier));
                EXPECT_EQ(marker->label, found != logged.end() ? found->second : std::to_string(marker->identifier));
            }
        }
#endif
    }
}

TEST(CueLabels, TextIsValidUtf8UpToTheFirstZero)
{
    struct Case
    {
        std::string bytes;
        std::string text;
    };
    const Case cases[] = {
        {"", ""},
        {"\0abc"s, ""},
        {"ab\0cd"s, "ab"},
        // Every length of sequence, at the edges of what is well-formed.
        {"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF",
         "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
        // Just beyond: C1 (overlong), E0 9F (overlong), F4 90 (beyond U+10FFFF), F5, FF.
        {"\xC1\xBF", "\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"\xE0\x9F\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"\xF4\x90\x80\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"\xF5\xFFx", "\xEF\xBF\xBD\xEF\xBF\xBDx"},
        // A sequence cut by the end of the bytes, or by a zero.
        {"a\xF0\x90\x80", "a\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"a\xC3\0\xA9"s, "a\xEF\xBF\xBD"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(kel::CueLabelText(reinterpret_cast<const std::uint8_t*>(c.bytes.data()), c.bytes.size()), c.text)
            << testing::PrintToString(c.bytes);
}

#if KEL_HAVE_SNDFILE

// The player with its buffering thread: a file of noise with cue points
// written by libsndfile, its names added by hand in a "LIST" chunk appended
// to what libsndfile wrote; played and compared with libsndfile's decode.
TEST(AudioFilePlayer, PlaysFromNamedMarkersAndReportsTheirNames)
{
    TempDir dir;
    constexpr std::int64_t length = 60000;
    const auto fixture = kel::test::WritePlayerFixture(dir.file("named.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2,
                                                       length, 48000, {{1, 6000, ""}, {2, 20000, ""}, {3, 41000, ""}});
    auto bytes = kel::test::LoadBytes(fixture.path);
    const auto list = List("adtl", {Labl(2, "intro\0"s), Labl(3, "coda")});
    bytes.insert(bytes.end(), list.bytes.begin(), list.bytes.end());
    const auto riffSize = std::uint32_t(bytes.size() - 8);
    for (int i = 0; i < 4; ++i)
        bytes[std::size_t(4 + i)] = std::uint8_t(riffSize >> (8 * i));
    kel::test::SaveBytes(fixture.path, bytes);

    struct Seek
    {
        std::string message;
        std::int64_t from;                 // the file frame playback starts at
        std::vector<std::string> markers;  // the "/marker" reports on the way to the end
    };
    const std::string one = "/marker 1 6000 \"1\"", intro = "/marker 2 20000 \"intro\"",
                      coda = "/marker 3 41000 \"coda\"";
    const Seek seeks[] = {
        {"/seek/marker/bylabel intro", 20000, {intro, coda}},
        {"/seek/marker/bylabel coda", 41000, {coda}},
        {"/seek/marker/bylabel 1", 6000, {one, intro, coda}},
        {"/seek/marker/byid 2", 20000, {intro, coda}},
        {"/start", 0, {one, intro, coda}},
    };
    for (const auto& seek : seeks)
    {
        SCOPED_TRACE(seek.message);
        PlayerHost host(2);
        host.Send("/open \"" + fixture.path + "\"");
        const auto dump = host.listener().messages("/chunk/mark/marker/");
        EXPECT_EQ(dump, (std::vector<std::string>{"/chunk/mark/marker/number 3", "/chunk/mark/marker/1 1 6000 \"1\"",
                                                  "/chunk/mark/marker/2 2 20000 \"intro\"",
                                                  "/chunk/mark/marker/3 3 41000 \"coda\""}));
        host.listener().clear();
        host.Send(seek.message);
        const auto frames = std::uint64_t(length - seek.from);
        const auto output = host.Render(frames + 128);
        const auto stride = host.outputChannels();
        std::int64_t firstDifference = -1;
        for (std::uint64_t f = 0; f < frames + 128 && firstDifference < 0; ++f)
            for (std::uint32_t c = 0; c < 2; ++c)
            {
                const float expected = f < frames ? fixture.reference.at(seek.from + std::int64_t(f), int(c)) : 0.0f;
                if (output[f * stride + c] != expected)
                    firstDifference = std::int64_t(f);
            }
        EXPECT_EQ(firstDifference, -1);
        EXPECT_EQ(host.listener().messages("/marker "), seek.markers);
    }

    // A named marker answers to its name only.
    PlayerHost host(2);
    host.Send("/open \"" + fixture.path + "\"");
    EXPECT_EQ(kel::test::ThrownMessage([&] { host.Send("/seek/marker/bylabel 2"); }), "no marker with label \"2\"");
}

#endif

} // namespace
