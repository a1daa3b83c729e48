// Feeds arbitrary bytes to the binary OSC reader. Bad packets must end in a
// kel::Exception whose failure offset lies inside the bytes; a packet the reader accepts must be in canonical form (it
// writes back to exactly the same bytes), and its messages must print and
// match against patterns without fault.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>

#include "osc/KelOscInputStream.h"
#include "osc/KelOscOutputStream.h"

namespace {

void Exercise(const kel::OscMessage& m)
{
    static const kel::OscAddressPattern patterns[] = {
        kel::OscAddressPattern("/source/[1-64]/gain"),
        kel::OscAddressPattern("/*/{a,bb,}/?*"),
        kel::OscAddressPattern("/x"),
    };
    static const kel::OscAddress address("/source/12/gain");

    const kel::OscAddressPattern& own = m.getAddressPattern();
    for (const auto& p : patterns)
        (void)p.Matches(own);
    (void)own.Matches(address);

    const kel::String text = m.toString();
    try
    {
        (void)kel::OscMessage::CreateFromText(text);
    }
    catch (const kel::Exception&)
    {
        // The text form is not always readable back (quotes in an address).
    }
    for (std::size_t i = 0; i < m.getNumArguments(); ++i)
        (void)m[i].getAsInt32(), (void)m[i].getAsBool();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::optional<kel::OscBundle::Element> packet;
    kel::OscInputStream in(data, size);
    try
    {
        packet.emplace(in.ReadPacket());
    }
    catch (const kel::Exception&)
    {
        // Errors quote the file from where the failure stands: inside it.
        if (in.getFailureOffset() > size)
            __builtin_trap();
        return 0;
    }

    kel::OscOutputStream out;
    if (packet->isMessage())
    {
        out.WriteMessage(packet->getMessage());
        Exercise(packet->getMessage());
    }
    else
    {
        out.WriteBundle(packet->getBundle());
        packet->getBundle().ForEachMessage(Exercise);
    }
    if (out.getSize() != size || std::memcmp(out.getData().data(), data, size) != 0)
        __builtin_trap();
    return 0;
}
