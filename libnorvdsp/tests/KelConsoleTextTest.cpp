// Texts made fit for the console: cut to one line of 2000 characters and
// "...", never inside a UTF-8 sequence, and escaped where they would not
// print. The C library's UTF-8 decoder counts and checks what comes out.
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/KelConsoleText.h"
#include "common/KelException.h"
#include "support/TestProcessor.h"
#include "support/TestUtf8.h"

namespace {

using kel::HostNotifier;
using kel::test::LibcCharacterCount;
using kel::test::TestObject;
using Level = HostNotifier::Level;

std::string Repeat(const std::string& piece, std::size_t times)
{
    std::string text;
    text.reserve(piece.size() * times);
    for (std::size_t i = 0; i < times; ++i)
        text += piece;
    return text;
}

TEST(ConsoleText, CutAndEscape)
{
    struct Cut
    {
        std::string name;
        std::string text;
        std::size_t max;
        std::string expected;
    };
    const Cut cuts[] = {
        {"fits", "abc", 3, "abc"},
        {"one too many", "abcd", 3, "abc..."},
        {"two-byte characters counted once", "\xC3\xA9\xC3\xA9\xC3\xA9", 3, "\xC3\xA9\xC3\xA9\xC3\xA9"},
        {"never inside a sequence", "a\xE2\x82\xAC\xE2\x82\xAC", 2, "a\xE2\x82\xAC..."},
        {"four-byte characters", "\xF0\x9F\x8E\xB5\xF0\x9F\x8E\xB5", 1, "\xF0\x9F\x8E\xB5..."},
        {"an invalid byte is a character", "\xFF\xFE\xFD", 2, "\xFF\xFE..."},
        {"a sequence cut short is bytes", "\xE2\x82" "ab", 2, "\xE2\x82..."},
        {"empty", "", 0, ""},
    };
    for (const auto& c : cuts)
        EXPECT_EQ(kel::CappedText(c.text, c.max), c.expected) << c.name;

    struct Escape
    {
        std::string name;
        std::string text;
        std::size_t max;
        kel::Quoting quoting;
        std::string expected;
        bool cut;
    };
    using Q = kel::Quoting;
    const Escape escapes[] = {
        {"plain", "/gain 0.5", 80, Q::none, "/gain 0.5", false},
        {"zero byte", std::string("a\0b", 3), 80, Q::none, "a\\x00b", false},
        {"controls", "\t\r\n\x1B\x7F", 80, Q::none, "\\x09\\x0d\\x0a\\x1b\\x7f", false},
        {"UTF-8 kept", "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x8E\xB5", 80, Q::none, "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x8E\xB5",
         false},
        {"Latin-1 byte", "caf\xE9", 80, Q::none, "caf\\xe9", false},
        {"overlong slash", "\xC0\xAF", 80, Q::none, "\\xc0\\xaf", false},
        {"surrogate", "\xED\xA0\x80", 80, Q::none, "\\xed\\xa0\\x80", false},
        {"past U+10FFFF", "\xF4\x90\x80\x80", 80, Q::none, "\\xf4\\x90\\x80\\x80", false},
        {"C1 control", "\xC2\x85", 80, Q::none, "\\xc2\\x85", false},
        {"right-to-left override", "a\xE2\x80\xAE" "b", 80, Q::none, "a\\xe2\\x80\\xaeb", false},
        {"byte order mark", "\xEF\xBB\xBF/a", 80, Q::none, "\\xef\\xbb\\xbf/a", false},
        {"quotes kept", "say \"hi\" \\o/", 80, Q::none, "say \"hi\" \\o/", false},
        {"quotes escaped", "say \"hi\" \\o/", 80, Q::doubleQuotes, "say \\\"hi\\\" \\\\o/", false},
        {"cut at the limit", std::string(81, 'a'), 80, Q::none, std::string(80, 'a'), true},
        {"an escape is never split", std::string(78, 'a') + std::string(1, '\0'), 80, Q::none, std::string(78, 'a'),
         true},
        {"an escape that just fits", std::string(76, 'a') + std::string(1, '\0'), 80, Q::none,
         std::string(76, 'a') + "\\x00", false},
    };
    for (const auto& c : escapes)
    {
        bool cut = !c.cut;
        EXPECT_EQ(kel::PrintableText(c.text, c.max, c.quoting, &cut), c.expected) << c.name;
        EXPECT_EQ(cut, c.cut) << c.name;
    }
}

// What each level's console line starts with, and how a text reaches it.
struct Route
{
    std::string name;
    std::string prefix;  // of the line the console shows
    std::function<void(TestObject&, const std::string&)> report;
};

std::vector<Route> Routes()
{
    return {
        {"error", "error occurred: ", [](TestObject& o, const std::string& t) { o.processor.ReportError(t); }},
        {"warning", "warning occurred: ", [](TestObject& o, const std::string& t) { o.processor.ReportWarning(t); }},
        {"information", "", [](TestObject& o, const std::string& t) { o.processor.ReportInformation(t); }},
        {"post", "", [](TestObject& o, const std::string& t) { o.processor.PostText(t); }},
        {"post lines", "", [](TestObject& o, const std::string& t) { o.processor.PostLines({t}); }},
        {"failure", "error occurred when processing \"/open \"",
         [](TestObject& o, const std::string& t)
         { o.processor.ReportFailure(kel::OscMessage("/open").AddString(t), kel::Exception("no such file")); }},
        {"failure as warning", "warning occurred when processing \"/open \"",
         [](TestObject& o, const std::string& t) {
             o.processor.ReportFailure(kel::OscMessage("/open").AddString(t), kel::Exception("no such file"),
                                       Level::warning);
         }},
    };
}

TEST(ConsoleText, EveryReportIsCutToOneLine)
{
    const kel::test::Utf8Locale locale;
    struct Text
    {
        std::string name;
        std::string text;
    };
    // 3 MB each: one-, two-, three- and four-byte characters, and bytes that
    // are no UTF-8 at all.
    const Text texts[] = {
        {"ASCII", std::string(3'000'000, 'a')},
        {"two-byte", Repeat("\xC3\xA9", 1'500'000)},
        {"three-byte after one", "a" + Repeat("\xE2\x82\xAC", 1'000'000)},
        {"four-byte", Repeat("\xF0\x9F\x8E\xB5", 750'000)},
        {"not UTF-8", Repeat("\xE9", 3'000'000)},
    };
    for (const auto& route : Routes())
        for (const auto& t : texts)
        {
            TestObject o;
            route.report(o, t.text);
            const auto lines = o.console.lines();
            ASSERT_EQ(lines.size(), 1u) << route.name << ", " << t.name;
            const std::string& line = lines[0];
            const std::string what = route.name + ", " + t.name;
            EXPECT_TRUE(line.starts_with(route.prefix)) << what;
            ASSERT_TRUE(line.ends_with("...")) << what;
            EXPECT_EQ(kel::CountCharacters(line), 2003u) << what;
            // The first 2000 characters of the whole line, cut between two
            // characters: the text the route would show uncut begins so.
            const std::string kept = line.substr(0, line.size() - 3);
            const std::string whole = route.prefix + t.text;
            EXPECT_EQ(whole.compare(0, kept.size(), kept), 0) << what;
            // What reaches a listener is cut already, not 3 MB.
            EXPECT_LE(o.console.reports[0].second.size(), 2003u * 4u) << what;
            if (locale.isAvailable() && t.name != "not UTF-8")
            {
                EXPECT_EQ(LibcCharacterCount(line), 2003u) << what;
            }
        }

    // The limit itself: a line of 2000 characters stays whole, 2001 do not.
    for (const auto& route : Routes())
        for (const std::size_t characters : {1999u, 2000u, 2001u})
        {
            TestObject o;
            const std::size_t quoteAndReason = route.name.starts_with("failure")
                                                   ? std::string("\"\". Reason: Exception occurred: no such file").size()
                                                   : 0;
            const std::size_t textCharacters = characters - route.prefix.size() - quoteAndReason;
            const std::string text = Repeat("\xC3\xA9", textCharacters);
            route.report(o, text);
            const std::string line = o.console.lines().at(0);
            const std::string what = route.name + ", " + std::to_string(characters);
            if (characters <= 2000)
            {
                EXPECT_FALSE(line.ends_with("...")) << what;
                EXPECT_EQ(kel::CountCharacters(line), characters) << what;
            }
            else
            {
                EXPECT_TRUE(line.ends_with("...")) << what;
                EXPECT_EQ(kel::CountCharacters(line), 2003u) << what;
            }
        }
}

} // namespace
