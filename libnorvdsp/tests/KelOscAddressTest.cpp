// Address splitting, validation texts, sanity checks, glob and numeric index
// matching, whole-pattern matching.
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "osc/KelOscAddress.h"
#include "osc/KelOscPatternMatching.h"
#include "support/TestText.h"

namespace {

using kel::OscAddress;
using kel::OscAddressPattern;
using kel::test::ThrownMessage;

std::vector<std::string> PartsOf(const OscAddressPattern& p)
{
    std::vector<std::string> parts;
    for (std::size_t i = 0; i < p.getNumParts(); ++i)
        parts.emplace_back(p.getPart(i));
    return parts;
}

TEST(OscAddress, SplitsOnceDroppingEmptyPieces)
{
    struct Case
    {
        std::string text;
        std::vector<std::string> parts;
        bool wildcard;
    };
    const Case cases[] = {
        {"/a//b/", {"a", "b"}, false},
        {"", {}, false},
        {"/", {}, false},
        {"/dump/metadata", {"dump", "metadata"}, false},
        {"/source/[1-4]/gain", {"source", "[1-4]", "gain"}, true},
        // The first character stands for the slash whatever it is.
        {"xa/b", {"a", "b"}, false},
        {"*a/b", {"a", "b"}, true},
    };
    for (const auto& c : cases)
    {
        const OscAddressPattern pattern(c.text);
        EXPECT_EQ(PartsOf(pattern), c.parts) << c.text;
        EXPECT_EQ(pattern.getText(), c.text);
        EXPECT_EQ(pattern.containsWildcard(), c.wildcard) << c.text;
        if (!c.wildcard)
        {
            const OscAddress address(c.text);
            EXPECT_EQ(address.getNumParts(), c.parts.size()) << c.text;
        }
    }
}

TEST(OscAddress, RefusedCharactersAndTheirTexts)
{
    const std::string longTail =
        " is not a valid OSC address pattern, as it contains the \" \" character. Maybe you wanted to send an "
        "address pattern followed by arguments, but things are incorrectly typed as a string ?";
    const auto characterError = [](const std::string& c, const std::string& address)
    { return "OSC format error: Character \"" + c + "\" not allowed in address pattern \"" + address + "\""; };

    struct Case
    {
        std::string text;
        std::string asPattern; // expected error, empty when valid
        std::string asAddress;
    };
    const Case cases[] = {
        {"/play now", "\"/play now\"" + longTail, "\"/play now\"" + longTail},
        {"/x/play now/", "\"/x/play now/\"" + longTail, "\"/x/play now/\"" + longTail},
        {"/pl ay/x", characterError(" ", "/pl ay/x"), characterError(" ", "/pl ay/x")},
        {"/a#b", characterError("#", "/a#b"), characterError("#", "/a#b")},
        {"/a*b", "", characterError("*", "/a*b")},
        {"/a/{b,c}", "", characterError("{", "/a/{b,c}")},
        {"/x/a,b", "OSC format error: anormal ','", characterError(",", "/x/a,b")},
        {"/a?", "", characterError("?", "/a?")},
        {"/caf\xC3\xA9", characterError("\xC3\xA9", "/caf\xC3\xA9"), characterError("\xC3\xA9", "/caf\xC3\xA9")},
        {"/a\tb", characterError("\t", "/a\tb"), characterError("\t", "/a\tb")},
        {"/a\x7F", characterError("\x7F", "/a\x7F"), characterError("\x7F", "/a\x7F")},
        {"/ok/a b/c#d", characterError(" ", "/ok/a b/c#d"), characterError(" ", "/ok/a b/c#d")},
        {"/a-b_c.d~e!", "", ""},
    };
    for (const auto& c : cases)
    {
        const std::string pattern = ThrownMessage([&] { OscAddressPattern p(c.text); });
        EXPECT_EQ(pattern, c.asPattern.empty() ? "<no exception>" : c.asPattern) << c.text;
        const std::string address = ThrownMessage([&] { OscAddress a(c.text); });
        EXPECT_EQ(address, c.asAddress.empty() ? "<no exception>" : c.asAddress) << c.text;
    }
    EXPECT_EQ(kel::test::ThrownPath([] { OscAddressPattern p("/a#"); }), "libnorvdsp/src/osc/KelOscAddress");
}

TEST(OscAddress, SanityChecksInOrder)
{
    const std::pair<std::string, std::string> cases[] = {
        {"/x/[1-3", "OSC format error: missing ']'"},
        {"/x/1-3]", "OSC format error: missing '['"},
        {"/x/{a", "OSC format error: missing '}'"},
        {"/x/a}", "OSC format error: missing '}'"},
        {"/x/1,2", "OSC format error: anormal ','"},
        {"/x/[1-2-3]", "OSC format error: too many '-'"},
        {"/x/[1,2]", "OSC format error: use curly brackets for ',' separator"},
        {"/x/{1-2}", "OSC format error: use square brackets for '-' separator"},
        // earlier rows win
        {"/x/[1,2-3-4", "OSC format error: missing ']'"},
        {"/x/{[a]", "OSC format error: missing '}'"},
        {"/x/[a-b,c-d]", "OSC format error: too many '-'"},
        // only presence is tested
        {"/x/]a[", ""},
        {"/x/[1-2][3]", ""},
        {"/x/{a,b}", ""},
        {"/x/[!a-z]", ""},
        {"/ok/[1-2]/then/a]", "OSC format error: missing '['"},
    };
    for (const auto& c : cases)
    {
        const std::string& text = c.first;
        EXPECT_EQ(ThrownMessage([&] { OscAddressPattern p(text); }), c.second.empty() ? "<no exception>" : c.second)
            << text;
    }
    EXPECT_EQ(ThrownMessage([] { kel::OscAddressTokeniser::sanityCheck("a}"); }), "OSC format error: missing '}'");
}

TEST(OscPatternMatching, Glob)
{
    struct Case
    {
        std::string pattern, text;
        bool matches;
    };
    const std::string forty(40, 'a');
    const std::string groups = [] {
        std::string text;
        for (int i = 0; i < 40; ++i)
            text += "{,a}";
        return text + "b";
    }();
    const Case cases[] = {
        {"f?o", "foo", true},
        {"f?o", "fo", false},
        {"[!a]bc", "abc", false},
        {"[!a]bc", "xbc", true},
        {"{foo,bar}", "bar", true},
        {"{foo,bar}", "baz", false},
        {"{foo,bar}x", "foox", true},
        {"a{,b}", "a", true},
        {"{a*,b}c", "axyzc", true},
        {"*", "", true},
        {"*", "anything", true},
        {"a*", "a", true},
        {"a**", "a", false}, // deliberately: a star at the end of the text matches only when last
        {"a**", "ab", true},
        {"*o", "foo", true},
        {"*x*", "abc", false},
        {"[a-c]x", "bx", true},
        {"[a-c]x", "dx", false},
        {"[!a-c]x", "dx", true},
        {"[a-]", "-", true},
        {"[-a]", "a", false},   // "-" with nothing before it
        {"{[-a],b}", "b", false}, // ... fails the whole match
        {"[a-}]", "a", false},  // a range ending in "}"
        {"[a-,]", "a", false},
        {"[ab", "a", false},    // no closing "]"
        {"[ab", "[ab", false},
        {"?", "\xC3\xA9", true}, // one code point, two bytes
        {"??", "\xC3\xA9", false},
        {"caf[\xC3\xA8-\xC3\xAA]", "caf\xC3\xA9", true},
        {"abc", "abc", true},
        {"abc", "abcd", false},
        {"", "", true},
        {"*a*a*a*a*a*a*a*a*a*a*b", forty, false}, // stays fast
        {"*a*a*a*a*a*a*a*a*a*a*b", forty + "b", true},
        // Forty groups that may each match nothing: 2^40 ways to try.
        {groups, forty, false}, // stays fast
        {groups, forty + "b", true},
        {groups, "b", true},
        {"{,a}{,a}{,a}b", "aab", true},
        {"{,a}{,a}{,a}b", "aaaab", false},
        {"*{,a}*{a,}b", "xab", true},
    };
    for (const auto& c : cases)
        EXPECT_EQ(kel::OscGlobMatch(c.pattern, c.text), c.matches) << c.pattern << " ~ " << c.text;
}

TEST(OscPatternMatching, NumericIndexPatterns)
{
    struct Case
    {
        std::string part;
        std::int64_t index;
        std::optional<bool> verdict;
    };
    const Case cases[] = {
        {"[2-4]", 5, false}, {"[2-4]", 3, true},  {"[2-4]", 2, true},  {"[2-4]", 4, true},
        {"[1-64]", 64, true}, {"{1,3}", 3, true}, {"{1,5}", 10, false}, {"{1,5}", 1, true},
        {"*", 7, true},      {"1*", 3, true},     {"?", 12, true},     {"x?y", 0, true},
        {"[a-b]", 1, std::nullopt}, {"{x,1}", 1, std::nullopt}, {"abc", 1, std::nullopt},
        {"[5]", 5, std::nullopt},   {"[2-4]x", 3, std::nullopt}, {"{}", 0, std::nullopt},
    };
    for (const auto& c : cases)
        EXPECT_EQ(kel::OscNumericIndexPatternMatch(c.part, c.index), c.verdict) << c.part << " / " << c.index;

    // Indexed handlers: numeric patterns decide, anything else globs the digits.
    EXPECT_TRUE(kel::OscPartMatchesIndex("[1-3]", 2));
    EXPECT_TRUE(kel::OscPartMatchesIndex("1[0-9]", 12));
    EXPECT_FALSE(kel::OscPartMatchesIndex("1[0-9]", 21));
    EXPECT_TRUE(kel::OscPartMatchesIndex("7", 7));
    EXPECT_FALSE(kel::OscPartMatchesIndex("07", 7));
}

TEST(OscPatternMatching, PartsEitherSideAndWholePatterns)
{
    struct Case
    {
        std::string a, b;
        bool matches;
    };
    const Case parts[] = {
        {"5", "[2-4]", false}, {"3", "{1,3}", true},  {"7", "*", true},        {"*", "7", true},
        {"3", "1*", true},     {"10", "{1,5}", false}, {"source", "s*", true}, {"s*", "source", true},
        {"metadata", "meta", false}, {"12", "[12]", false}, {"1", "[12]", true},
    };
    for (const auto& c : parts)
        EXPECT_EQ(kel::OscPartsMatch(c.a, c.b), c.matches) << c.a << " ~ " << c.b;

    const Case whole[] = {
        {"/source/[2-4]/gain", "/source/3/gain", true},
        {"/source/{1,5}/gain", "/source/5/gain", true},
        {"/source/{1,5}/gain", "/source/10/gain", false},
        {"/source/1*/gain", "/source/3/gain", true},
        {"/source/*/gain", "/source/3/mute", false},
        {"/a/b", "/a", false},
        {"/a//b", "/a/b", true},
        {"/dump", "/dump", true},
        {"/dump", "/dum", false},
        {"/*", "/dump", true},
        {"/dump/*", "/dump/metadata", true},
        {"", "", true},
    };
    for (const auto& c : whole)
    {
        const OscAddressPattern a(c.a), b(c.b);
        EXPECT_EQ(a.Matches(b), c.matches) << c.a << " ~ " << c.b;
        EXPECT_EQ(b.Matches(a), c.matches) << c.b << " ~ " << c.a;
        if (!b.containsWildcard())
        {
            EXPECT_EQ(a.Matches(OscAddress(c.b)), c.matches) << c.a << " ~ address " << c.b;
        }
    }
}

TEST(OscAddress, RemoveLeadingParts)
{
    struct Case
    {
        std::string text;
        std::size_t count;
        std::string after;
        bool wildcard;
    };
    const Case cases[] = {
        {"/a/b/c", 1, "/b/c", false},
        {"/a/b/c", 2, "/c", false},
        {"/a/b/c", 3, "", false},
        {"/a/b/c", 9, "", false},
        {"/*/b", 1, "/b", false},
        {"/a/*", 1, "/*", true},
        {"/[1-2]/{x,y}/c", 1, "/{x,y}/c", true},
        {"/a//b/", 1, "/b", false},
        // The flag is only recomputed when a dropped part held a wildcard.
        {"*a/b", 1, "/b", true},
        {"/only*", 1, "", false},
    };
    for (const auto& c : cases)
    {
        OscAddressPattern p(c.text);
        p.RemoveLeadingParts(c.count);
        EXPECT_EQ(p.getText(), c.after) << c.text;
        EXPECT_EQ(p.containsWildcard(), c.wildcard) << c.text;
        if (!c.after.empty())
            EXPECT_TRUE(p.Matches(OscAddressPattern(c.after))) << c.text;
        else
            EXPECT_TRUE(p.isEmpty());
    }
}

} // namespace
