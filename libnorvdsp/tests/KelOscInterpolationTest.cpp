// Interpolation between two messages and two bundles: the numeric,
// switching and incompatible argument rules at the edges of the factor.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "osc/KelOscHelper.h"
#include "osc/KelOscInterpolation.h"
#include "support/TestText.h"

namespace {

using kel::OscBundle;
using kel::OscBundleInterpolator;
using kel::OscMessage;
using kel::test::ThrownMessage;

OscMessage M(std::initializer_list<kel::OscArgument> arguments)
{
    OscMessage m("/a");
    for (const auto& a : arguments)
        m.AddArgument(a);
    return m;
}

kel::OscArgument I(std::int32_t v) { return kel::OscArgument::fromInt32(v); }
kel::OscArgument H(std::int64_t v) { return kel::OscArgument::fromInt64(v); }
kel::OscArgument F(float v) { return kel::OscArgument::fromFloat32(v); }
kel::OscArgument D(double v) { return kel::OscArgument::fromFloat64(v); }
kel::OscArgument S(const char* v) { return kel::OscArgument::fromString(v); }
kel::OscArgument B(bool v) { return kel::OscArgument::fromBool(v); }
kel::OscArgument Blob() { return kel::OscArgument::fromBlob(kel::MemoryBlock{1, 2}); }

TEST(OscInterpolation, MessagesArgumentByArgument)
{
    struct Case
    {
        OscMessage first, second;
        double factor;
        std::string text;  // expected text form, or the error
        std::string tags;  // expected tags; empty when an error is expected
    };
    const Case cases[] = {
        {M({I(0)}), M({I(3)}), 50, "/a 2", "h"},    // 1.5 rounds away from zero, stored 64-bit
        {M({I(0)}), M({I(3)}), 51, "/a 2", "h"},    // 1.53
        {M({I(0)}), M({I(3)}), 0, "/a 0", "i"},     // unchanged
        {M({I(0)}), M({I(3)}), 100, "/a 3", "i"},
        {M({I(0)}), M({I(3)}), -5, "/a 0", "i"},
        {M({I(0)}), M({I(3)}), 1e9, "/a 3", "i"},
        {M({H(-3)}), M({I(0)}), 50, "/a -2", "h"},  // -1.5 away from zero
        {M({F(0)}), M({I(3)}), 50, "/a 1.5", "f"},
        {M({D(1)}), M({F(2)}), 25, "/a 1.25", "f"},
        {M({S("a")}), M({S("b")}), 50, "/a \"a\"", "s"},
        {M({S("a")}), M({S("b")}), 51, "/a \"b\"", "s"},
        {M({B(true)}), M({I(5)}), 50, "/a 1", "T"},  // boolean against a number switches
        {M({B(true)}), M({I(5)}), 51, "/a 5", "i"},
        {M({B(true)}), M({B(false)}), 75, "/a 0", "F"},
        {M({I(1), S("x"), F(2)}), M({I(3), S("y"), F(4)}), 75, "/a 3 \"y\" 3.5", "hsf"},
        {M({S("x")}), M({I(1)}), 0, "/a \"x\"", "s"},  // at the ends anything goes
        {M({S("x")}), M({I(1)}), 100, "/a 1", "i"},
        {M({Blob()}), M({Blob()}), 0, "/a ", "b"},
        {M({I(1)}), M({I(1), I(2)}), 0, "arguments don't match for messages /a 1 and /a 1 2", ""},
        {M({}), M({I(2)}), 50, "arguments don't match for messages /a and /a 2", ""},
        {M({S("x")}), M({I(1)}), 50, "incompatible arguments for messages /a \"x\" and /a 1", ""},
        {M({S("x")}), M({B(true)}), 50, "incompatible arguments for messages /a \"x\" and /a 1", ""},
        {M({Blob()}), M({Blob()}), 50, "incompatible arguments for messages /a  and /a ", ""},
    };
    for (const auto& c : cases)
    {
        OscMessage result;
        const std::string thrown =
            ThrownMessage([&] { OscBundleInterpolator(c.factor).interpolate(result, c.first, c.second); });
        if (c.tags.empty())
        {
            EXPECT_EQ(thrown, c.text) << c.first.toString() << " / " << c.second.toString() << " @" << c.factor;
            continue;
        }
        EXPECT_EQ(thrown, "<no exception>");
        EXPECT_EQ(result.toString(), c.text) << c.first.toString() << " / " << c.second.toString() << " @"
                                             << c.factor;
        EXPECT_EQ(result.getTypeTags(), c.tags) << c.text;
    }
}

TEST(OscInterpolation, BundlesPairMessagesByAddress)
{
    OscBundle first = kel::OscHelper::CreateFromTextLines("/x 0\n/y \"a\"\n/only/first 1\n/x 10\n");
    OscBundle nested = kel::OscHelper::CreateFromTextLines("/x 20\n");
    OscBundle second = kel::OscHelper::CreateFromTextLines("/y \"b\"\n/x 4\n/only/second 2\n");
    second.AddBundle(nested);

    struct Case
    {
        double factor;
        std::string text;
    };
    const Case cases[] = {
        {0, "/x 0\n/y \"a\"\n/only/first 1\n/x 10\n"},
        {50, "/x 2\n/y \"a\"\n/only/first 1\n/x 15\n"},
        {51, "/x 2\n/y \"b\"\n/x 15\n/only/second 2\n"},
        {100, "/y \"b\"\n/x 4\n/only/second 2\n/x 20\n"},  // exactly the second bundle
    };
    for (const auto& c : cases)
        EXPECT_EQ(OscBundleInterpolator(c.factor).doIt(first, second).toString(), c.text) << c.factor;
    EXPECT_TRUE(OscBundleInterpolator(100).doIt(first, second) == second);
    EXPECT_TRUE(OscBundleInterpolator(0).doIt(first, second) == first);
}

} // namespace
