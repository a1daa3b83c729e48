// What decoding a packet allocates, counted by replacing the global operator
// new (hence a test binary of its own). The Max binding decodes "FullPacket"
// on the audio thread when the host runs the scheduler there: a typical
// message must decode, match, be copied and go away without allocating, and
// the inline storage must end exactly where the headers say it does.
#include <atomic>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "osc/KelOscInputStream.h"
#include "osc/KelOscOutputStream.h"

namespace {

std::atomic<std::size_t> allocations{0};

} // namespace

// The replacements below take memory from malloc and give it back to free;
// GCC, seeing them inlined next to a new expression, would call that a
// mismatch.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

void* operator new(std::size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size == 0 ? 1 : size))
        return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size)
{
    return ::operator new(size);
}
void operator delete(void* p) noexcept
{
    std::free(p);
}
void operator delete[](void* p) noexcept
{
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept
{
    std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept
{
    std::free(p);
}

namespace {

using kel::OscBundle;
using kel::OscInputStream;
using kel::OscMessage;
using kel::OscOutputStream;

std::vector<std::uint8_t> Packet(const OscMessage& message)
{
    OscOutputStream out;
    out.WriteMessage(message);
    return out.getData().asStdVector();
}

std::vector<std::uint8_t> Packet(const OscBundle& bundle)
{
    OscOutputStream out;
    out.WriteBundle(bundle);
    return out.getData().asStdVector();
}

// What the binding does with a packet on the audio thread: decode it, match
// each message against a handler's pattern, copy it into the inbox's item.
std::size_t AllocationsToReceive(const std::vector<std::uint8_t>& bytes, const kel::OscAddressPattern& handler,
                                 std::size_t& messages)
{
    const std::size_t before = allocations.load();
    {
        OscInputStream in(bytes.data(), bytes.size());
        const OscBundle::Element packet = in.ReadPacket();
        packet.ForEachMessage(
            [&](const OscMessage& message)
            {
                const OscMessage copy(message);
                messages += handler.Matches(copy.getAddressPattern()) ? 1 : 0;
            });
    }
    return allocations.load() - before;
}

// An address of the given length and number of parts: "/a/a/.../aaaa".
std::string Address(std::size_t length, std::size_t numParts)
{
    std::string text;
    for (std::size_t i = 0; i + 1 < numParts; ++i)
        text += "/a";
    text += '/';
    text += std::string(length - text.size(), 'a');
    return text;
}

TEST(OscAllocations, TypicalMessagesCostNothingAndTheInlineLimitsHold)
{
    const std::size_t maxText = kel::SmallString::inlineLength;
    const std::size_t maxArguments = OscMessage::inlineArguments;
    const std::string shortText(kel::String().capacity(), 's'); // fills kel::String's own buffer
    struct Case
    {
        const char* name;
        OscMessage message;
        bool allocates;
    };
    const auto withFloats = [](std::string address, std::size_t n)
    {
        OscMessage m(address);
        for (std::size_t i = 0; i < n; ++i)
            m.AddFloat32(float(i) - 0.5f);
        return m;
    };
    const Case cases[] = {
        {"no argument", OscMessage("/play"), false},
        {"three floats", withFloats("/source/12/xyz", 3), false},
        {"a short label", std::move(OscMessage("/seek/marker/bylabel").AddString("intro")), false},
        {"every payload-free and numeric tag",
         std::move(OscMessage("/x").AddInt32(-1).AddInt64(1).AddFloat64(0.5).AddBool(true)), false},
        {"an empty blob", std::move(OscMessage("/x").AddBlob(kel::MemoryBlock())), false},
        {"longest inline address and parts", withFloats(Address(maxText, 4), maxArguments), false},
        {"longest inline string", std::move(OscMessage("/s").AddString(shortText).AddString("")), false},
        {"one address character more", withFloats(Address(maxText + 1, 4), 1), true},
        {"one part more", withFloats(Address(12, 5), 1), true},
        {"one argument more", withFloats("/x", maxArguments + 1), true},
        {"one string character more", std::move(OscMessage("/s").AddString(shortText + "s")), true},
        {"a blob with bytes", std::move(OscMessage("/b").AddBlob(kel::MemoryBlock{1, 2, 3})), true},
    };
    const kel::OscAddressPattern handler("/*");
    for (const Case& c : cases)
    {
        std::size_t messages = 0;
        const std::size_t count = AllocationsToReceive(Packet(c.message), handler, messages);
        EXPECT_EQ(count != 0, c.allocates) << c.name << ": " << count << " allocations";
        EXPECT_EQ(messages, c.message.getAddressPattern().getNumParts() == 1 ? 1u : 0u) << c.name;
    }
}

TEST(OscAllocations, ABundleAllocatesTheSameForOneMessageOrMany)
{
    // Its elements go into one array, sized once: nothing per message.
    const auto bundleOf = [](int n)
    {
        OscBundle bundle;
        for (int i = 0; i < n; ++i)
            bundle.AddMessage(OscMessage("/source/" + std::to_string(i) + "/xyz").AddFloat32(1).AddFloat32(2));
        return bundle;
    };
    const kel::OscAddressPattern handler("/source/*/xyz");
    std::size_t messages = 0;
    const std::size_t one = AllocationsToReceive(Packet(bundleOf(1)), handler, messages);
    const std::size_t many = AllocationsToReceive(Packet(bundleOf(100)), handler, messages);
    EXPECT_EQ(messages, 101u);
    EXPECT_EQ(many, one);
    EXPECT_LE(one, 2u); // the nested bundle and its array
}

} // namespace
