// Messages: the text-form token rules, the number test, conversions, the
// printed form, builders.
#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "osc/KelOscMessage.h"
#include "support/TestText.h"

namespace {

using kel::OscArgument;
using kel::OscMessage;
using kel::test::ThrownMessage;

TEST(OscMessageText, TokenRules)
{
    struct Case
    {
        std::string line;
        std::string address;
        std::string tags;
        std::vector<std::string> printed; // each argument's text form
    };
    const Case cases[] = {
        {"/gain 3", "/gain", "i", {"3"}},
        {"/gain 3.0", "/gain", "i", {"3"}},
        {"/gain 3.5", "/gain", "f", {"3.5"}},
        {"/x 0x1F", "/x", "i", {"31"}},
        {"/x 0xffffffff", "/x", "i", {"-1"}},
        {"/x 0x", "/x", "i", {"0"}},
        {"/x 0X1F", "/x", "s", {"\"0X1F\""}},
        {"/x true TRUE False", "/x", "TTF", {"1", "1", "0"}},
        {"/x 0 1", "/x", "ii", {"0", "1"}},
        {"/open \"my file.wav\"", "/open", "s", {"\"my file.wav\""}},
        {"/open 'my file.wav'", "/open", "s", {"\"my file.wav\""}},
        {"/say it's", "/say", "s", {"\"it's\""}},
        // Exactly two single quotes become double quotes, wherever they stand.
        {"/say it's 'x", "/say", "s", {"\"it s  x\""}},
        {"/say \"a b\" c \"\"", "/say", "sss", {"\"a b\"", "\"c\"", "\"\""}},
        {"/say x\"a b\"y", "/say", "s", {"\"x a b y\""}},
        {"  /x \t 1   -7  +7 ", "/x", "iii", {"1", "-7", "7"}},
        {"/x 4294967301", "/x", "i", {"5"}},
        {"/x 9007199254740993", "/x", "i", {"1"}}, // exact beyond 2^53: low 32 bits
        {"/x 1e3 1.5e1 2.5e-1", "/x", "iif", {"1000", "15", "0.25"}},
        {"/x 5- 1-2 1e5.5", "/x", "iii", {"5", "1", "100000"}},
        {"/x .5 5. -.5", "/x", "fif", {"0.5", "5", "-0.5"}},
        {"/x 1e 1e+ e5 . --1 1.2.3 1e5e5 nan", "/x", "ssssssss",
         {"\"1e\"", "\"1e+\"", "\"e5\"", "\".\"", "\"--1\"", "\"1.2.3\"", "\"1e5e5\"", "\"nan\""}},
        {"/x 1e400 -1e400 1e-400", "/x", "ffi", {"inf", "-inf", "0"}},
        {"/x 1e30", "/x", "f", {"1000000015047466219876688855040.000000"}},
        {"/source/[1-4]/gain 0.5", "/source/[1-4]/gain", "f", {"0.5"}},
        {"/x", "/x", "", {}},
    };
    for (const auto& c : cases)
    {
        const OscMessage m = OscMessage::CreateFromText(c.line);
        EXPECT_EQ(m.getAddressPattern().getText(), c.address) << c.line;
        EXPECT_EQ(m.getTypeTags(), c.tags) << c.line;
        std::vector<std::string> printed;
        for (std::size_t i = 0; i < m.getNumArguments(); ++i)
            printed.push_back(m[i].toString());
        EXPECT_EQ(printed, c.printed) << c.line;
    }
    EXPECT_EQ(OscMessage::CreateFromText("/open \"my file.wav\"")[0].getString(), "my file.wav");
}

TEST(OscMessageText, FailuresAndTheirTexts)
{
    const std::pair<std::string, std::string> cases[] = {
        {"", "invalid OSC message "},
        {"   \t ", "invalid OSC message    \t "},
        {"/a#b 1", "OSC format error: Character \"#\" not allowed in address pattern \"/a#b\""},
        {"\"/play now\"", "\"/play now\" is not a valid OSC address pattern, as it contains the \" \" character. "
                          "Maybe you wanted to send an address pattern followed by arguments, but things are "
                          "incorrectly typed as a string ?"},
        {"/x/[1-2 3", "OSC format error: missing ']'"},
    };
    for (const auto& c : cases)
    {
        const std::string& line = c.first;
        EXPECT_EQ(ThrownMessage([&] { OscMessage::CreateFromText(line); }), c.second) << line;
    }
    EXPECT_EQ(kel::test::ThrownPath([] { OscMessage::CreateFromText(" "); }), "libnorvdsp/src/osc/KelOscMessage");
}

TEST(OscMessageText, NumberTest)
{
    const std::pair<std::string, bool> cases[] = {
        {"5", true},    {"5-", true},    {"+5", true},   {"-5", true},    {"1e5.5", true}, {".5", true},
        {"5.", true},   {"1e+5", true},  {"-1e-5", true}, {"1-e5", true}, {"0x", true},    {"0xAbC9", true},
        {"", false},    {"1e", false},   {"e5", false},  {"--5", false},  {"+-5", false},  {"1e5e5", false},
        {".", false},   {"1.5.5", false}, {"1e+-5", false}, {"0xZ", false}, {"0X1", false}, {"1f", false},
        {" 1", false},  {"-", false},    {"1e5-", true}, {"1e5--", false}, {"1.e.5", true},
    };
    for (const auto& [token, isNumber] : cases)
        EXPECT_EQ(kel::IsOscNumberToken(token), isNumber) << "'" << token << "'";
}

TEST(OscMessageText, PrintedFloatsReadBackToTheSameValue)
{
    std::mt19937 random(1234);
    std::uniform_int_distribution<std::uint32_t> bits;
    int checked = 0;
    for (int n = 0; n < 20000; ++n)
    {
        const float value = std::bit_cast<float>(bits(random));
        const OscArgument argument = OscArgument::fromFloat32(value);
        const std::string text = argument.toString();
        if (!std::isfinite(value) || text.find_first_of("eE") != std::string::npos)
            continue;
        const OscMessage m = OscMessage::CreateFromText("/x " + text);
        ASSERT_EQ(m.getNumArguments(), 1u) << text;
        const double back = m[0].getTypeTag() == 'i' ? double(m[0].getInt32()) : double(m[0].getFloat32());
        // "%.6f" is only used when the shortest form would hold a letter.
        if (std::fabs(value) >= 1e-4f && std::fabs(value) < 1e6f)
        {
            EXPECT_EQ(float(back), value) << text;
            ++checked;
        }
    }
    EXPECT_GT(checked, 100);
}

TEST(OscArgument, ConversionsAndTextForms)
{
    struct Case
    {
        OscArgument argument;
        std::int32_t asInt;
        bool asBool;
        std::string text;
    };
    const std::vector<std::uint8_t> bytes{1, 2, 3};
    const Case cases[] = {
        {OscArgument::fromInt32(7), 7, true, "7"},
        {OscArgument::fromInt32(0), 0, false, "0"},
        {OscArgument::fromInt32(-3), -3, true, "-3"},
        {OscArgument::fromInt64(4294967301), 5, true, "4294967301"},
        {OscArgument::fromInt64(-1), -1, true, "-1"},
        {OscArgument::fromInt64(0), 0, false, "0"},
        {OscArgument::fromFloat32(2.9f), 2, true, "2.9"},
        {OscArgument::fromFloat32(-2.9f), -2, false, "-2.9"},
        {OscArgument::fromFloat32(0.5f), 0, false, "0.5"}, // deliberately not "non-zero"
        {OscArgument::fromFloat32(1.0f), 1, true, "1"},
        {OscArgument::fromFloat32(1e-7f), 0, false, "0.000000"},
        {OscArgument::fromFloat32(100000.0f), 100000, true, "100000.000000"},
        {OscArgument::fromFloat32(std::numeric_limits<float>::infinity()), std::numeric_limits<std::int32_t>::max(),
         true, "inf"},
        {OscArgument::fromFloat64(-2.9), -2, false, "-2.9"},
        {OscArgument::fromFloat64(0.99999999), 0, true, "0.99999999"}, // narrowed to float it is 1.0
        {OscArgument::fromFloat64(4294967301.7), 5, true, "4294967301.7"},
        {OscArgument::fromFloat64(0.1), 0, false, "0.1"},
        {OscArgument::fromFloat64(std::nan("")), 0, false, "nan"},
        {OscArgument::fromBool(true), 0, true, "1"},
        {OscArgument::fromBool(false), 0, false, "0"},
        {OscArgument::fromString("12"), 0, false, "\"12\""},
        {OscArgument::fromString("say \"hi\"\nbye"), 0, false, "\"say  hi \\nbye\""},
        {OscArgument::fromBlob(kel::MemoryBlock{1, 2, 3}), 0, false, ""},
    };
    for (const auto& c : cases)
    {
        EXPECT_EQ(c.argument.getAsInt32(), c.asInt) << c.text;
        EXPECT_EQ(c.argument.getAsBool(), c.asBool) << c.text;
        EXPECT_EQ(c.argument.toString(), c.text);
    }
}

TEST(OscMessage, BuildersReadersAndTextForm)
{
    OscMessage m("/a/b");
    m.AddInt32(1).AddInt64(-2).AddFloat32(0.5).AddFloat64(0.25).AddString("x y").AddBlob(kel::MemoryBlock{9});
    m.AddBool(true).AddBool(false).AddInts({4, 5});
    m.AddArgument(OscArgument::fromInt32(6));
    EXPECT_EQ(m.getTypeTags(), "ihfdsbTFiii");
    EXPECT_EQ(m.toString(), "/a/b 1 -2 0.5 0.25 \"x y\"  1 0 4 5 6");
    EXPECT_FALSE(m.allArgumentsNumeric());
    EXPECT_TRUE(m.getAllArgumentsAsInts().empty());
    EXPECT_EQ(m[5].getBlob(), kel::MemoryBlock{9});

    OscMessage numbers("/n");
    numbers.AddFloat32(2.9f).AddFloat64(-2.9).AddInt64(4294967301);
    EXPECT_TRUE(numbers.allArgumentsNumeric());
    EXPECT_EQ(numbers.getAllArgumentsAsInts(), (kel::Vector<std::int32_t>{2, -2, 5}));
    EXPECT_TRUE(OscMessage("/empty").allArgumentsNumeric());
    EXPECT_EQ(OscMessage("/empty").toString(), "/empty");
    EXPECT_EQ(OscMessage("/blob").AddBlob(kel::MemoryBlock{}).toString(), "/blob ");

    // Copies are deep and independent.
    OscMessage copy = m;
    m.ClearArguments();
    EXPECT_EQ(copy.getNumArguments(), 11u);
    EXPECT_EQ(copy.getArgument(4).getString(), "x y");
    EXPECT_FALSE(copy == m);
    m = copy;
    EXPECT_TRUE(copy == m);
}

} // namespace
