// Broken preset and snapshot files, loaded and imported through a
// processor's own messages: each error names the file, the line (text and
// coll) or byte offset (binary OSC, written by liblo where it is installed)
// where the trouble is, keeps its reason, and quotes at most 80 printable
// characters of the offending text; nothing reaches the object.
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#if KEL_HAVE_LIBLO
#include <lo/lo.h>
#endif

#include "common/KelConsoleText.h"
#include "support/TestProcessor.h"
#include "support/TestTemp.h"
#include "support/TestText.h"
#include "support/TestUtf8.h"

namespace {

using kel::test::TempDir;
using kel::test::TestObject;
using kel::test::ThrownMessage;

std::string Quote(const std::string& path)
{
    return "\"" + path + "\"";
}

void WriteAll(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc).write(bytes.data(), std::streamsize(bytes.size()));
}

std::string Repeat(const std::string& piece, std::size_t count)
{
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += piece;
    return text;
}

std::string Lines(const std::string& line, std::size_t count)
{
    return Repeat(line + "\n", count);
}

// A binary OSC bundle as liblo writes it, and where each message begins.
struct Packet
{
    std::string bytes;
    std::vector<std::size_t> messageOffsets;
};

#if KEL_HAVE_LIBLO
struct LoMessage
{
    std::string path;
    std::string types;  // f i s
    std::vector<std::string> values;
};

Packet LibloBundle(const std::vector<LoMessage>& messages)
{
    lo_bundle bundle = lo_bundle_new(LO_TT_IMMEDIATE);
    Packet packet;
    std::size_t offset = 16;  // "#bundle", its zero, the time tag
    for (const auto& m : messages)
    {
        lo_message lo = lo_message_new();
        for (std::size_t i = 0; i < m.types.size(); ++i)
        {
            if (m.types[i] == 'f')
                lo_message_add_float(lo, std::stof(m.values[i]));
            else if (m.types[i] == 'i')
                lo_message_add_int32(lo, std::stoi(m.values[i]));
            else
                lo_message_add_string(lo, m.values[i].c_str());
        }
        lo_bundle_add_message(bundle, m.path.c_str(), lo);
        offset += 4;  // the element's size
        packet.messageOffsets.push_back(offset);
        offset += lo_message_length(lo, m.path.c_str());
    }
    std::size_t size = 0;
    void* data = lo_bundle_serialise(bundle, nullptr, &size);
    packet.bytes.assign(static_cast<const char*>(data), size);
    std::free(data);
    lo_bundle_free_recursive(bundle);  // its messages and their paths too
    EXPECT_EQ(offset, size);
    return packet;
}
#endif

// The text between the quotes that end an error, and whether "..." followed.
std::string ExcerptOf(const std::string& error, bool& cut)
{
    cut = error.ends_with("\"...");
    const std::string body = cut ? error.substr(0, error.size() - 3) : error;
    if (!body.ends_with('"'))
        return {};
    // The excerpt's own quotes are escaped: its opening quote is the last
    // ": \"" whose quote no backslash escapes.
    for (std::size_t at = body.rfind(": \""); at != std::string::npos; at = body.rfind(": \"", at - 1))
    {
        std::size_t backslashes = 0;
        for (std::size_t k = at; k > 0 && body[k - 1] == '\\'; --k)
            ++backslashes;
        if (backslashes % 2 == 0)
            return body.substr(at + 3, body.size() - at - 4);
        if (at == 0)
            break;
    }
    return {};
}

TEST(PresetFileErrors, NameTheFileThePlaceAndAPrintableExcerpt)
{
    TempDir dir;
    const kel::test::Utf8Locale locale;
    enum class Action
    {
        load,
        import
    };
    struct Case
    {
        std::string name;
        std::string file;
        std::string content;
        Action action;
        std::string place;    // ", line 3", ", byte offset 52" or ""
        std::string reason;
        std::string excerpt;  // as quoted (escaped); "" for none
        bool cut;
    };
    std::vector<Case> cases = {
        {"a bad line deep in a text file", "deep.txt",
         Lines("/gain 0.5", 3209) + "/x/[1-3 1\n" + Lines("/mode 2", 500), Action::load, ", line 3210",
         "OSC format error: missing ']'", "/x/[1-3 1", false},
        {"byte order mark, CRLF, blank and comment lines", "crlf.txt",
         "\xEF\xBB\xBF# header\r\n/gain 1\r\n\r\n  /mode/{a,b 2;\r\n/gain 2\r\n", Action::load, ", line 4",
         "OSC format error: missing '}'", "/mode/{a,b 2;", false},
        {"coll with junk", "junk.coll", "1, /gain 0.5;\n2, /mode 3;\n3, /\x01\x02junk\xff;\n", Action::load,
         ", line 3", "OSC format error: Character \"\\x01\" not allowed in address pattern \"/\\x01\\x02junk\\xff\"",
         "3, /\\x01\\x02junk\\xff;", false},
        {"a coll entry over two lines", "split.coll", "1, /gain 0.5;\n\n2,\n  /source/[1-2 3;\n", Action::load,
         ", line 3", "OSC format error: missing ']'", "2,\\x0a  /source/[1-2 3;", false},
        {"a 3 MB single line", "long.txt", "/gain 1\n/x/[1-3 " + std::string(3'000'000, 'a') + "\n", Action::load,
         ", line 2", "OSC format error: missing ']'", "/x/[1-3 " + std::string(72, 'a'), true},
        {"a 3 MB address quoted by its reason", "longaddress.txt",
         "/" + std::string(3'000'000, 'a') + "\x07 1\n", Action::load, ", line 1",
         "OSC format error: Character \"\\x07\" not allowed in address pattern \"/" + std::string(132, 'a') + "...",
         "/" + std::string(79, 'a'), true},
        {"non-UTF-8 bytes", "latin1.txt", "/gain 1\n/caf\xE9 1\n", Action::load, ", line 2",
         "OSC format error: Character \"\\xe9\" not allowed in address pattern \"/caf\\xe9\"", "/caf\\xe9 1", false},
        {"a snapshot section left open, deep in a preset", "open.txt",
         Lines("/gain 1", 40) + "/snapshot/begin \"a\"\n/mode 2\n", Action::load, ", line 41",
         "missing /snapshot/end at the end of the file", "/snapshot/begin \\\"a\\\"", false},
        {"a section end out of place in a snapshot file", "end.coll",
         "1, /snapshot/begin x;\n2, /gain 1;\n3, /snapshot/end;\n4, /snapshot/end;\n", Action::import, ", line 4",
         "unexpected /snapshot/end", "4, /snapshot/end;", false},
    };
#if KEL_HAVE_LIBLO
    {
        const Packet three = LibloBundle({{"/gain", "f", {"0.5"}}, {"/mode", "i", {"3"}}, {"/name", "s", {"take 2"}}});
        // Cut 12 bytes into the third message: its address and type tags.
        cases.push_back({"binary OSC truncated mid-message", "cut.osc",
                         three.bytes.substr(0, three.messageOffsets[2] + 12), Action::load,
                         ", byte offset " + std::to_string(three.messageOffsets[2]),
                         "OSC input stream exhausted while reading bundle element content",
                         "/name\\x00\\x00\\x00,s\\x00\\x00", false});
        // The second message's first byte replaced by junk.
        std::string junk = three.bytes;
        junk[three.messageOffsets[1]] = '\x01';
        cases.push_back({"binary OSC with junk in an element", "junk.osc", junk, Action::load,
                         ", byte offset " + std::to_string(three.messageOffsets[1]),
                         "OSC input stream: invalid bundle element content (starting with \\x01)",
                         "\\x01mode\\x00\\x00\\x00,i\\x00\\x00\\x00\\x00\\x00\\x03\\x00\\x00\\x00\\x14/name\\x00\\x00\\x00,", true});
        const Packet open = LibloBundle({{"/snapshot/begin", "s", {"a"}}, {"/gain", "f", {"1"}}});
        cases.push_back({"a binary snapshot file with a section left open", "open.osc", open.bytes, Action::import,
                         ", byte offset " + std::to_string(open.messageOffsets[0]),
                         "missing /snapshot/end at the end of the file", "/snapshot/begin \\\"a\\\"", false});
    }
#endif
    cases.push_back({"binary junk only", "noise.osc", std::string("\0\xFF\xFE\x80\x01", 5) + std::string(100, '\x7F'),
                     Action::load, ", byte offset 0",
                     "OSC input stream: invalid bundle element content (starting with \\x00)",
                     "\\x00\\xff\\xfe\\x80\\x01" + Repeat("\\x7f", 15), true});

    for (const auto& c : cases)
    {
        const std::string path = dir.file(c.file);
        WriteAll(path, c.content);
        TestObject o;
        o.processor.Send("/gain 0.25");
        o.processor.Send("/snapshot/add \"kept\"");
        o.observer.reports.clear();
        const std::string message = c.action == Action::load ? "/preset/load " : "/snapshot/import ";
        const std::string error = ThrownMessage([&] { o.processor.Send(message + Quote(path)); });

        const std::string role = c.action == Action::load ? "preset" : "snapshot";
        const std::string expected = "error in " + role + " file " + Quote(path) + c.place + ": " + c.reason +
                                     (c.excerpt.empty() ? "" : ": \"" + c.excerpt + "\"") + (c.cut ? "..." : "");
        EXPECT_EQ(error, expected) << c.name;

        bool cut = false;
        const std::string excerpt = ExcerptOf(error, cut);
        EXPECT_EQ(excerpt, c.excerpt) << c.name;
        EXPECT_EQ(cut, c.cut) << c.name;
        EXPECT_LE(kel::CountCharacters(excerpt), 80u) << c.name;
        // Every character of the error prints, as the C library sees it.
        for (const char byte : error)
            EXPECT_FALSE((static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F)) << c.name;
        if (locale.isAvailable())
        {
            EXPECT_TRUE(kel::test::LibcCharacterCount(error, true).has_value()) << c.name;
        }

        // Nothing of the file reached the object.
        EXPECT_EQ(o.processor.gain.load(), 0.25f) << c.name;
        EXPECT_EQ(o.processor.getSnapshotManager().getNumSnapshots(), 1u) << c.name;
        EXPECT_TRUE(o.observer.reports.empty()) << c.name;
    }
}

} // namespace
