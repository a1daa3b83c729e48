// The binary layer: every decoding error text on hand-made packets, the
// layout against liblo in both directions, and round trips through text.
#include <algorithm>
#include <bit>
#include <cstdlib>
#include <limits>
#include <memory>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "osc/KelOscInputStream.h"
#include "osc/KelOscOutputStream.h"
#include "support/ByteBuilder.h"
#include "support/TestText.h"

#if KEL_HAVE_LIBLO
#include <lo/lo.h>
#endif

namespace {

using kel::MemoryBlock;
using kel::OscArgument;
using kel::OscBundle;
using kel::OscInputStream;
using kel::OscMessage;
using kel::OscOutputStream;
using kel::test::ByteBuilder;
using kel::test::ThrownMessage;

// Packets are written by hand with ByteBuilder, independently of our writer.
// A message to "/a" with the given type tag string, arguments to follow.
ByteBuilder ToA(const std::string& tags)
{
    return ByteBuilder().oscString("/a").oscString(tags);
}

ByteBuilder Header()
{
    return ByteBuilder().oscString("#bundle").be32(0).be32(1);
}

std::vector<std::uint8_t> Write(const OscMessage& m)
{
    OscOutputStream out;
    out.WriteMessage(m);
    return out.getData().asStdVector();
}

std::vector<std::uint8_t> Write(const OscBundle& b)
{
    OscOutputStream out;
    out.WriteBundle(b);
    return out.getData().asStdVector();
}

OscBundle::Element Read(const std::vector<std::uint8_t>& bytes)
{
    OscInputStream in(bytes.data(), bytes.size());
    return in.ReadPacket();
}

// An address of exactly length characters and numParts parts: "/p/p/.../pppp".
std::string AddressOf(std::size_t length, std::size_t numParts)
{
    std::string text;
    for (std::size_t i = 0; i + 1 < numParts; ++i)
        text += "/p";
    text += '/';
    return text + std::string(length - text.size(), 'q');
}

// The parts of an address text, split here independently of the library.
std::vector<std::string> PartsOfText(const std::string& text)
{
    std::vector<std::string> parts;
    std::size_t start = 1;
    while (start <= text.size())
    {
        const std::size_t slash = std::min(text.find('/', start), text.size());
        if (slash > start)
            parts.push_back(text.substr(start, slash - start));
        start = slash + 1;
    }
    return parts;
}

std::vector<std::string> PartsOf(const kel::OscAddressPattern& pattern)
{
    std::vector<std::string> parts;
    for (std::size_t i = 0; i < pattern.getNumParts(); ++i)
        parts.emplace_back(pattern.getPart(i));
    return parts;
}

TEST(OscBinary, EveryDecodingErrorText)
{
    struct Case
    {
        const char* name;
        ByteBuilder packet;
        std::string error;
    };
    const Case cases[] = {
        {"int32", ToA(",i").zeros(2), "exhausted while reading int32"},
        {"int64", ToA(",h").be32(1), "exhausted while reading int64"},
        {"float", ToA(",f").zeros(2), "exhausted while reading float"},
        {"double", ToA(",d").be32(0), "exhausted while reading double"},
        {"string", ToA(",s"), "exhausted while reading string"},
        {"terminator", ToA(",s").text("abcd"),
         "exhausted before finding null terminator of string"},
        {"blob size", ToA(",b").zeros(2), "exhausted while reading blob"},
        {"blob bytes", ToA(",b").be32(8).text("abcd"), "exhausted before reaching end of blob"},
        {"blob padding", ToA(",b").be32(5).text("abcde").text(std::string("\0\1\0", 3)),
         "format error: missing padding zeros"},
        {"string padding", ToA(",s").text(std::string("ab\0X", 4)),
         "format error: missing padding zeros"},
        {"tag padding", ByteBuilder().oscString("/a").text(std::string(",i\0X", 4)).be32(1), "format error: missing padding zeros"},
        {"padding cut short", ToA(",s").text(std::string("abcd\0", 5)),
         "format error: missing padding zeros"},
        {"no tags", ByteBuilder().oscString("/a"), "exhausted while reading type tag string"},
        {"tags unterminated", ByteBuilder().oscString("/a").text(",ii"), "exhausted while reading type tag string"},
        {"no comma", ToA("i").be32(1), "format error: expected type tag string"},
        {"unknown tag", ToA(",ix").be32(1), "format error: encountered unsupported type tag : x"},
        {"nil", ToA(",N"), ": internal error while reading message argument"},
        {"infinitum", ToA(",iI").be32(1), ": internal error while reading message argument"},
        {"rgba", ToA(",r").be32(0xFF0000FF), ": internal error while reading message argument"},
        {"message size", ToA(",i").be32(1).be32(0),
         "format error: wrong element content size encountered while reading message"},
        {"bundle short", ByteBuilder().oscString("#bundle").be32(0), "exhausted while reading bundle"},
        {"bundle name", ByteBuilder().oscString("#bundl").be32(0).be32(1),
         "format error: bundle does not start with string '#bundle'"},
        {"bundle name long", ByteBuilder().oscString("#bundles").be32(0).be32(1),
         "format error: bundle does not start with string '#bundle'"},
        {"element size cut", Header().zeros(2), "exhausted while reading bundle element size"},
        {"element size 2", Header().be32(2).text(std::string("ab\0\0", 4)),
         "format error: invalid bundle element size"},
        {"element size 0", Header().be32(0), "format error: invalid bundle element size"},
        {"element content", Header().be32(100).oscString("/a").oscString(","),
         "exhausted while reading bundle element content"},
        {"element negative", Header().be32(0xFFFFFFF0u).oscString("/a").oscString(","),
         "exhausted while reading bundle element content"},
        {"element x", Header().be32(4).text(std::string("xyz\0", 4)), ": invalid bundle element content (starting with x)"},
        {"packet x", ByteBuilder().text(std::string("xyz\0", 4)), ": invalid bundle element content (starting with x)"},
        {"empty packet", ByteBuilder(), ": invalid bundle element content"},
        {"element message size", Header().be32(12).oscString("/a").oscString(",").be32(0),
         "format error: wrong element content size encountered while reading message"},
        {"nested bundle size",
         Header().be32(20).append(Header()).be32(8).oscString("/a").oscString(","),
         "format error: wrong element content size encountered while reading bundle"},
    };
    for (const auto& c : cases)
    {
        const auto& bytes = c.packet.bytes;
        std::string expected = "OSC input stream";
        if (c.error[0] != ':')
            expected += ' ';
        expected += c.error;
        EXPECT_EQ(ThrownMessage([&] { Read(bytes); }), expected) << c.name;
        EXPECT_EQ(kel::test::ThrownPath([&] { Read(bytes); }), "libnorvdsp/src/osc/KelOscInputStream") << c.name;
    }

    // Errors of the operations that a packet cannot reach on its own.
    const ByteBuilder four = ByteBuilder().be32(1);
    EXPECT_EQ(ThrownMessage([&] { OscInputStream(four.bytes.data(), 4).ReadTimeTag(); }),
              "OSC input stream exhausted while reading time tag");
    EXPECT_EQ(ThrownMessage([&] { OscInputStream(four.bytes.data(), 4).ReadBundle(2); }),
              "OSC input stream format error: invalid size");
    EXPECT_EQ(ThrownMessage([&] { OscInputStream(four.bytes.data(), 0).ReadElementWithKnownSize(0); }),
              "OSC input stream: invalid bundle element content");
    EXPECT_EQ(ThrownMessage([&] { OscInputStream(four.bytes.data(), 4).ReadArgument('r'); }),
              "OSC input stream: internal error while reading message argument");

    // The address rules apply to what a packet carries.
    const ByteBuilder spaced = ByteBuilder().oscString("/play now").oscString(",");
    EXPECT_EQ(ThrownMessage([&] { Read(spaced.bytes); }).rfind("\"/play now\" is not a valid OSC address pattern", 0), 0u);

    // Bundles nested beyond the limit are refused instead of exhausting the stack.
    OscBundle deep;
    deep.AddMessage(OscMessage("/leaf"));
    for (int i = 0; i < OscInputStream::maxBundleDepth; ++i)
    {
        OscBundle outer;
        outer.AddBundle(std::move(deep));
        deep = std::move(outer);
    }
    EXPECT_EQ(ThrownMessage([&] { Read(Write(deep)); }), "OSC input stream format error: bundles nested more than 64 deep");
    EXPECT_EQ(Read(Write(deep[0].getBundle())).getBundle().getNumMessages(), 1u);
}

TEST(OscBinary, LayoutOfItems)
{
    struct Case
    {
        OscMessage message;
        std::size_t size;
    };
    const Case cases[] = {
        {OscMessage("/abc"), 8 + 4},                                       // "/abc" and its zero take 8
        {std::move(OscMessage("/ab").AddString("abc")), 4 + 4 + 4},        // 3 characters take 4 bytes
        {std::move(OscMessage("/ab").AddString("abcd")), 4 + 4 + 8},       // 4 characters take 8
        {std::move(OscMessage("/ab").AddInt32(1).AddFloat32(1).AddString("")), 4 + 8 + 4 + 4 + 4}, // ",ifs" + 3 zeros
        {std::move(OscMessage("/ab").AddBlob(MemoryBlock{1, 2, 3, 4, 5})), 4 + 4 + 4 + 8},     // 5 bytes + 3 zeros
        {std::move(OscMessage("/ab").AddBool(true).AddBool(false)), 4 + 4},
        {std::move(OscMessage("/ab").AddInt64(1).AddFloat64(1)), 4 + 4 + 16},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Write(c.message).size(), c.size) << c.message.toString();

    const auto tags = Write(std::move(OscMessage("/ab").AddInt32(1).AddFloat32(1).AddString("")));
    EXPECT_EQ(std::string(tags.begin() + 4, tags.begin() + 12), std::string(",ifs\0\0\0\0", 8));
}

// A bounded stream (the audio thread's reports) writes exactly what an
// unbounded one writes while it fits, and past its bound drops the write,
// says so and keeps its storage: it never allocates after construction.
TEST(OscBinary, BoundedStreamWritesWhatFitsAndNeverGrows)
{
    const auto marker = [](const std::string& label)
    {
        OscBundle bundle;
        OscMessage message("/marker");
        message.AddInt32(3).AddInt64(123456789).AddString(label);
        bundle.AddMessage(message);
        return bundle;
    };
    struct Case
    {
        std::string label;
        std::size_t bound;
        bool fits;
    };
    const std::vector<Case> cases{
        {"intro", 64, true},
        {"intro", 56, true},  // exactly: 16 header + 4 size + 36 message
        {"intro", 55, false},
        {std::string(400, 'x'), 480, true},
        {std::string(480, 'x'), 480, false},
    };
    for (const Case& c : cases)
    {
        OscOutputStream unbounded;
        unbounded.WriteBundle(marker(c.label));
        OscOutputStream bounded(c.bound);
        const std::uint8_t* storage = bounded.getData().data();
        for (int pass = 0; pass < 2; ++pass)  // again after Clear: the same storage
        {
            bounded.Clear();
            bounded.WriteBundle(marker(c.label));
            EXPECT_EQ(bounded.hasOverflowed(), !c.fits) << c.label.size() << " in " << c.bound;
            EXPECT_LE(bounded.getSize(), c.bound);
            EXPECT_EQ(bounded.getData().data(), storage);
            if (c.fits)
            {
                EXPECT_EQ(bounded.getData(), unbounded.getData());
            }
        }
    }
}

TEST(OscBinary, TextToBinaryAndBackKeepsEveryMessage)
{
    const char* lines[] = {
        "/gain 3",
        "/gain -2.5",
        "/open \"my file.wav\" 1 0.25",
        "/x true false \"\" 0x10",
        "/source/[1-4]/gain 0.5",
        "/s \"abc\" \"abcd\" \"abcde\" 7",
        "/empty",
        "/{a,b}/*/c? 1e3",
    };
    OscBundle all;
    for (const char* line : lines)
    {
        const OscMessage m = OscMessage::CreateFromText(line);
        const OscBundle::Element back = Read(Write(m));
        ASSERT_TRUE(back.isMessage()) << line;
        EXPECT_EQ(back.getMessage().toString(), m.toString()) << line;
        EXPECT_TRUE(back.getMessage() == m) << line;
        all.AddMessage(m);
    }
    OscBundle outer(kel::OscTimeTag{0x0123456789ABCDEFull});
    outer.AddMessage(OscMessage("/first"));
    outer.AddBundle(all);
    outer.AddBundle(OscBundle());
    outer.AddMessage(std::move(OscMessage("/blob").AddBlob(MemoryBlock{0, 255, 7}).AddBlob(MemoryBlock{})));
    const OscBundle::Element back = Read(Write(outer));
    ASSERT_TRUE(back.isBundle());
    EXPECT_TRUE(back.getBundle() == outer);
    EXPECT_EQ(back.getBundle().getTimeTag().value, 0x0123456789ABCDEFull);

    // A message packet read as a bundle comes back as a bundle of one.
    const auto single = Write(std::move(OscMessage("/one").AddInt32(1)));
    OscInputStream in(single.data(), single.size());
    const OscBundle one = in.ReadPacketAsBundle();
    ASSERT_EQ(one.size(), 1u);
    EXPECT_EQ(one[0].getMessage().toString(), "/one 1");
    EXPECT_TRUE(in.isExhausted());
}

// The reader splits a packet's address in a pass of its own: its parts,
// their hashes and wildcard flags, what they match and what is refused must
// be those of the same text read as a pattern.
TEST(OscBinary, PacketAddressesSplitAsTheirTextDoes)
{
    const std::string texts[] = {
        "/a", "/", "//a//b/", "/source/12/xyz", "/source/[1-4]/gain", "/{a,b}/*/c?", "/x*", "/*",
        "/dsp/automute/attack", AddressOf(47, 4), AddressOf(48, 4), AddressOf(20, 5), AddressOf(600, 90),
        "/source/[1-4]/" + std::string(60, 'g'),
        // refused, or failing a bracket check
        "/play now", "/a#b", "/\xC3\xA9t\xC3\xA9", "/x/[a", "/a/b]/c", "/x\x01", "/x/a,b", "/[1--4]",
    };
    const kel::OscAddressPattern patterns[] = {
        kel::OscAddressPattern("/*"), kel::OscAddressPattern("/source/*/xyz"), kel::OscAddressPattern("/*/*/*"),
        kel::OscAddressPattern("/{a,b}/*/c?"), kel::OscAddressPattern("/source/3/*"),
        kel::OscAddressPattern("/p/p/p/*"),
    };
    for (const std::string& text : texts)
    {
        const auto packet = ByteBuilder().oscString(text).oscString(",").bytes;
        const std::string error = ThrownMessage([&] { kel::OscAddressPattern{text}; });
        EXPECT_EQ(ThrownMessage([&] { Read(packet); }), error) << text;
        if (error != "<no exception>")
            continue;
        const kel::OscAddressPattern fromText(text);
        const OscBundle::Element decoded = Read(packet);
        const kel::OscAddressPattern& read = decoded.getMessage().getAddressPattern();
        EXPECT_EQ(read.getText(), text);
        EXPECT_EQ(PartsOf(read), PartsOfText(text)) << text;
        EXPECT_TRUE(read.getParts() == fromText.getParts()) << text;
        EXPECT_EQ(read.containsWildcard(), fromText.containsWildcard()) << text;
        for (std::size_t i = 0; i < read.getNumParts(); ++i)
            EXPECT_EQ(read.getParts().holdsWildcard(i), fromText.getParts().holdsWildcard(i)) << text << " part " << i;
        for (const auto& p : patterns)
        {
            EXPECT_EQ(p.Matches(read), p.Matches(fromText)) << text << " by " << p.getText();
            EXPECT_EQ(read.Matches(p), fromText.Matches(p)) << text << " against " << p.getText();
        }
    }
}

#if KEL_HAVE_LIBLO

// --- liblo on the other side ----------------------------------------------

struct LoBytes
{
    void* data = nullptr;
    std::size_t size = 0;
    ~LoBytes() { std::free(data); }
    std::vector<std::uint8_t> vector() const
    {
        const auto* p = static_cast<const std::uint8_t*>(data);
        return std::vector<std::uint8_t>(p, p + size);
    }
};

// Builds the same message in liblo and in ours.
struct Twin
{
    lo_message lo = lo_message_new();
    OscMessage ours;
    std::string path;

    explicit Twin(std::string address) : ours(address), path(std::move(address)) {}
    ~Twin()
    {
        if (lo != nullptr)
            lo_message_free(lo);
    }
    Twin(const Twin&) = delete;
    Twin& operator=(const Twin&) = delete;

    void add(const OscArgument& a)
    {
        ours.AddArgument(a);
        switch (a.getTypeTag())
        {
            case 'i': lo_message_add_int32(lo, a.getInt32()); break;
            case 'h': lo_message_add_int64(lo, a.getInt64()); break;
            case 'f': lo_message_add_float(lo, a.getFloat32()); break;
            case 'd': lo_message_add_double(lo, a.getFloat64()); break;
            case 's': lo_message_add_string(lo, a.getString().c_str()); break;
            case 'T': lo_message_add_true(lo); break;
            case 'F': lo_message_add_false(lo); break;
            case 'b':
            {
                lo_blob blob = lo_blob_new(std::int32_t(a.getBlob().size()), a.getBlob().data());
                lo_message_add_blob(lo, blob);
                lo_blob_free(blob);
                break;
            }
        }
    }
    std::vector<std::uint8_t> serialised() const
    {
        LoBytes bytes;
        bytes.data = lo_message_serialise(lo, path.c_str(), nullptr, &bytes.size);
        return bytes.vector();
    }
};

// liblo's argument pointers are not always aligned for lo_arg: read bytes.
template <typename T>
T Load(const lo_arg* p)
{
    T value;
    std::memcpy(&value, p, sizeof value);
    return value;
}

// Compares a message liblo decoded with ours, value by value.
void ExpectSame(lo_message lo, const OscMessage& ours, const std::string& context)
{
    ASSERT_NE(lo, nullptr) << context;
    const std::string types = lo_message_get_types(lo);
    ASSERT_EQ(types, ours.getTypeTags()) << context;
    lo_arg** argv = lo_message_get_argv(lo);
    for (std::size_t i = 0; i < types.size(); ++i)
    {
        const OscArgument& a = ours[i];
        switch (types[i])
        {
            case 'i': EXPECT_EQ(Load<std::int32_t>(argv[i]), a.getInt32()) << context; break;
            case 'h': EXPECT_EQ(Load<std::int64_t>(argv[i]), a.getInt64()) << context; break;
            case 'f':
                EXPECT_EQ(Load<std::uint32_t>(argv[i]), std::bit_cast<std::uint32_t>(a.getFloat32()))
                    << context;
                break;
            case 'd':
                EXPECT_EQ(Load<std::uint64_t>(argv[i]), std::bit_cast<std::uint64_t>(a.getFloat64()))
                    << context;
                break;
            case 's': EXPECT_EQ(std::string(reinterpret_cast<const char*>(argv[i])), a.getString()) << context; break;
            case 'b':
            {
                const auto size = lo_blob_datasize(reinterpret_cast<lo_blob>(argv[i]));
                const auto* data = static_cast<const std::uint8_t*>(lo_blob_dataptr(reinterpret_cast<lo_blob>(argv[i])));
                EXPECT_EQ(std::vector<std::uint8_t>(data, data + size), a.getBlob().asStdVector()) << context;
                break;
            }
            default: break;
        }
    }
}

lo_message Deserialise(std::vector<std::uint8_t> bytes)
{
    int result = 0;
    lo_message m = lo_message_deserialise(bytes.data(), bytes.size(), &result);
    return result == 0 ? m : nullptr;
}

// A variety of arguments: every tag, strings and blobs of every padding.
std::vector<OscArgument> ArgumentsForEveryPadding()
{
    std::vector<OscArgument> all = {
        OscArgument::fromInt32(-123456789), OscArgument::fromInt32(0x7FFFFFFF), OscArgument::fromInt64(-(std::int64_t(1) << 62) - 3),
        OscArgument::fromFloat32(-0.1f),    OscArgument::fromFloat64(1.0 / 3.0), OscArgument::fromBool(true),
        OscArgument::fromBool(false),       OscArgument::fromFloat32(std::numeric_limits<float>::infinity()),
    };
    for (int n = 0; n <= 9; ++n)
    {
        all.push_back(OscArgument::fromString(std::string(std::size_t(n), char('a' + n))));
        if (n == 0)
            continue; // liblo refuses empty blobs
        MemoryBlock blob;
        for (int k = 0; k < n; ++k)
            blob.PushBack(std::uint8_t(250 + k));
        all.push_back(OscArgument::fromBlob(std::move(blob)));
    }
    return all;
}

TEST(OscLiblo, MessagesAgreeByteForByteBothWays)
{
    const auto arguments = ArgumentsForEveryPadding();
    // One message per argument and address length (every padding of the
    // address too), then one message holding them all.
    for (int addressLength = 1; addressLength <= 8; ++addressLength)
        for (const auto& a : arguments)
        {
            std::string address(std::size_t(addressLength), 'x');
            address[0] = '/';
            Twin twin(address);
            twin.add(a);
            const std::string context = twin.ours.toString() + " tag " + a.getTypeTag();
            const auto liblo = twin.serialised();

            EXPECT_EQ(Write(twin.ours), liblo) << context;
            const OscBundle::Element decoded = Read(liblo);
            ASSERT_TRUE(decoded.isMessage()) << context;
            EXPECT_TRUE(decoded.getMessage() == twin.ours) << context;

            lo_message back = Deserialise(Write(twin.ours));
            ExpectSame(back, twin.ours, context);
            if (back != nullptr)
                lo_message_free(back);
        }

    Twin all("/all/of/them");
    for (const auto& a : arguments)
        all.add(a);
    EXPECT_EQ(Write(all.ours), all.serialised());
    EXPECT_TRUE(Read(all.serialised()).getMessage() == all.ours);
}

TEST(OscLiblo, RandomMessagesBothWays)
{
    std::mt19937 random(77);
    const std::string tags = "ihfdsbTF";
    for (int n = 0; n < 300; ++n)
    {
        Twin twin("/r/" + std::to_string(n));
        const int count = int(random() % 9);
        for (int k = 0; k < count; ++k)
        {
            const std::uint32_t bits = random();
            const std::uint64_t wide = (std::uint64_t(random()) << 32) | random();
            switch (tags[random() % tags.size()])
            {
                case 'i': twin.add(OscArgument::fromInt32(std::int32_t(bits))); break;
                case 'h': twin.add(OscArgument::fromInt64(std::int64_t(wide))); break;
                case 'f': twin.add(OscArgument::fromFloat32(float(std::int32_t(bits)) / 1024.0f)); break;
                case 'd': twin.add(OscArgument::fromFloat64(double(std::int64_t(wide)) * 1e-9)); break;
                case 's': twin.add(OscArgument::fromString(std::string(bits % 13, char('A' + bits % 26)))); break;
                case 'b':
                {
                    MemoryBlock blob;
                    for (std::uint32_t b = 0; b < 1 + bits % 11; ++b)
                        blob.PushBack(std::uint8_t(random()));
                    twin.add(OscArgument::fromBlob(std::move(blob)));
                    break;
                }
                case 'T': twin.add(OscArgument::fromBool(true)); break;
                default: twin.add(OscArgument::fromBool(false)); break;
            }
        }
        const auto liblo = twin.serialised();
        EXPECT_TRUE(Read(liblo).getMessage() == twin.ours) << twin.ours.toString();
        lo_message back = Deserialise(Write(twin.ours));
        ExpectSame(back, twin.ours, twin.ours.toString());
        if (back != nullptr)
            lo_message_free(back);
    }
}

// Walks a bundle of ours element by element, handing each message to liblo.
void ExpectLibloReadsBundle(const std::uint8_t* p, std::size_t size, const OscBundle& ours, int depth)
{
    ASSERT_GE(size, 16u);
    ASSERT_EQ(std::memcmp(p, "#bundle\0", 8), 0);
    std::uint64_t tag = 0;
    for (int i = 8; i < 16; ++i)
        tag = (tag << 8) | p[i];
    EXPECT_EQ(tag, ours.getTimeTag().value);
    std::size_t at = 16, index = 0;
    while (at < size)
    {
        ASSERT_LT(index, ours.size());
        const std::size_t n = (std::size_t(p[at]) << 24) | (std::size_t(p[at + 1]) << 16) |
                              (std::size_t(p[at + 2]) << 8) | p[at + 3];
        at += 4;
        ASSERT_LE(at + n, size);
        const auto& element = ours[index++];
        if (element.isMessage())
        {
            lo_message m = Deserialise(std::vector<std::uint8_t>(p + at, p + at + n));
            ExpectSame(m, element.getMessage(), "depth " + std::to_string(depth));
            if (m != nullptr)
                lo_message_free(m);
        }
        else
        {
            ExpectLibloReadsBundle(p + at, n, element.getBundle(), depth + 1);
        }
        at += n;
    }
    EXPECT_EQ(index, ours.size());
}

// Messages at and past every inline limit of a message (address length and
// parts, number of arguments, text length), each way through liblo; then
// copied, moved and assigned over messages of the other kind, and together
// in one bundle.
TEST(OscLiblo, MessagesPastTheInlineStorageBothWays)
{
    const std::size_t maxText = kel::SmallString::inlineLength;
    const std::size_t shortText = std::string().capacity();
    const auto floats = [](std::size_t n)
    {
        std::vector<OscArgument> all;
        for (std::size_t i = 0; i < n; ++i)
            all.push_back(OscArgument::fromFloat32(float(i) * 0.25f - 3.0f));
        return all;
    };
    const auto texts = [](std::initializer_list<std::size_t> lengths)
    {
        std::vector<OscArgument> all;
        for (const std::size_t n : lengths)
            all.push_back(OscArgument::fromString(std::string(n, char('a' + n % 26))));
        return all;
    };
    std::vector<OscArgument> mixed = ArgumentsForEveryPadding();
    for (int round = 0; round < 10; ++round)
        for (const auto& a : ArgumentsForEveryPadding())
            mixed.push_back(a);
    std::vector<OscArgument> blobs;
    for (const std::size_t n : {std::size_t(1), std::size_t(4096), std::size_t(65537)})
    {
        MemoryBlock bytes(n);
        for (std::size_t i = 0; i < n; ++i)
            bytes[i] = std::uint8_t(i * 7);
        blobs.push_back(OscArgument::fromBlob(std::move(bytes)));
    }

    struct Case
    {
        std::string address;
        std::vector<OscArgument> arguments;
    };
    const Case cases[] = {
        {AddressOf(maxText, 4), floats(OscMessage::inlineArguments)},
        {AddressOf(maxText + 1, 4), floats(1)},
        {AddressOf(maxText, 5), {}},
        {AddressOf(1000, 100), floats(3)},
        {"/a", floats(OscMessage::inlineArguments + 1)},
        {"/mixed", mixed},
        {"/s", texts({shortText, shortText + 1, maxText, maxText + 1, 1000, 70000})},
        {"/b", blobs},
        {AddressOf(300, 40), mixed},
    };

    const OscMessage small = std::move(OscMessage("/small").AddInt32(1));
    OscBundle all;
    for (const Case& c : cases)
    {
        Twin twin(c.address);
        for (const auto& a : c.arguments)
            twin.add(a);
        const std::string context = c.address.substr(0, 60) + " with " + std::to_string(c.arguments.size());
        const auto liblo = twin.serialised();
        EXPECT_EQ(Write(twin.ours), liblo) << context;

        const OscBundle::Element decoded = Read(liblo);
        ASSERT_TRUE(decoded.isMessage()) << context;
        const OscMessage& read = decoded.getMessage();
        EXPECT_TRUE(read == twin.ours) << context;
        EXPECT_EQ(PartsOf(read.getAddressPattern()), PartsOfText(c.address)) << context;
        lo_message back = Deserialise(Write(read));
        ExpectSame(back, twin.ours, context);
        if (back != nullptr)
            lo_message_free(back);

        OscMessage copy(read);
        EXPECT_TRUE(copy == twin.ours) << context;
        OscMessage assigned(small);
        assigned = read;
        EXPECT_TRUE(assigned == twin.ours) << context;
        const OscMessage moved(std::move(copy));
        EXPECT_TRUE(moved == twin.ours) << context;
        assigned = small;
        EXPECT_TRUE(assigned == small) << context;
        assigned = std::move(OscMessage(moved));
        EXPECT_EQ(Write(assigned), liblo) << context;
        all.AddMessage(moved);
    }
    const auto bytes = Write(all);
    ExpectLibloReadsBundle(bytes.data(), bytes.size(), all, 0);
    EXPECT_TRUE(Read(bytes).getBundle() == all);
}

TEST(OscLiblo, NestedBundlesBothWays)
{
    const lo_timetag when{0x83AA7E80u, 0x12345678u};
    const kel::OscTimeTag ourWhen{(std::uint64_t(when.sec) << 32) | when.frac};
    const auto arguments = ArgumentsForEveryPadding();

    // liblo: b1 { m0, b2 { m1, b3 { m2 }, m3 }, m4 }, each message with a few arguments.
    std::vector<std::unique_ptr<Twin>> twins;
    for (int i = 0; i < 5; ++i)
    {
        twins.push_back(std::make_unique<Twin>("/m/" + std::to_string(i)));
        for (std::size_t k = 0; k < 4; ++k)
            twins.back()->add(arguments[(std::size_t(i) * 5 + k) % arguments.size()]);
    }
    lo_bundle b3 = lo_bundle_new(when);
    lo_bundle b2 = lo_bundle_new(when);
    lo_bundle b1 = lo_bundle_new(when);
    lo_bundle_add_message(b1, twins[0]->path.c_str(), twins[0]->lo);
    lo_bundle_add_message(b2, twins[1]->path.c_str(), twins[1]->lo);
    lo_bundle_add_message(b3, twins[2]->path.c_str(), twins[2]->lo);
    lo_bundle_add_bundle(b2, b3);
    lo_bundle_add_message(b2, twins[3]->path.c_str(), twins[3]->lo);
    lo_bundle_add_bundle(b1, b2);
    lo_bundle_add_message(b1, twins[4]->path.c_str(), twins[4]->lo);
    LoBytes liblo;
    liblo.data = lo_bundle_serialise(b1, nullptr, &liblo.size);
    lo_bundle_free_recursive(b1); // frees the messages too
    for (auto& twin : twins)
        twin->lo = nullptr;

    OscBundle o3(ourWhen), o2(ourWhen), o1(ourWhen);
    o3.AddMessage(twins[2]->ours);
    o2.AddMessage(twins[1]->ours).AddBundle(o3).AddMessage(twins[3]->ours);
    o1.AddMessage(twins[0]->ours).AddBundle(o2).AddMessage(twins[4]->ours);

    const auto libloBytes = liblo.vector();
    const OscBundle::Element decoded = Read(libloBytes);
    ASSERT_TRUE(decoded.isBundle());
    EXPECT_TRUE(decoded.getBundle() == o1);
    std::vector<std::string> order;
    decoded.getBundle().ForEachMessage([&](const OscMessage& m) { order.push_back(m.getAddressPattern().getText()); });
    EXPECT_EQ(order, (std::vector<std::string>{"/m/0", "/m/1", "/m/2", "/m/3", "/m/4"}));

    const auto ours = Write(o1);
    EXPECT_EQ(ours, libloBytes);
    ExpectLibloReadsBundle(ours.data(), ours.size(), o1, 0);
}

#endif // KEL_HAVE_LIBLO

} // namespace
