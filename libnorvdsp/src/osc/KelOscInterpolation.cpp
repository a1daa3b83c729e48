#include "osc/KelOscInterpolation.h"

#include <cmath>
#include <unordered_map>

#include "common/KelException.h"

namespace kel {

namespace {

bool IsInteger(char tag) noexcept
{
    return tag == 'i' || tag == 'h';
}

// The tags that may switch from one side to the other.
bool IsSwitchable(char tag) noexcept
{
    return OscArgument::IsNumericTag(tag) || tag == 'T' || tag == 'F';
}

String BothMessages(const OscMessage& first, const OscMessage& second)
{
    return first.toString() + " and " + second.toString();
}

Vector<const OscMessage*> Flatten(const OscBundle& bundle)
{
    Vector<const OscMessage*> messages;
    messages.Reserve(bundle.getNumMessages());
    bundle.ForEachMessage([&](const OscMessage& m) { messages.PushBack(&m); });
    return messages;
}

} // namespace

void OscBundleInterpolator::interpolate(OscMessage& result, const OscMessage& first,
                                        const OscMessage& second) const
{
    if (first.getNumArguments() != second.getNumArguments())
        throw Exception("arguments don't match for messages " + BothMessages(first, second), KEL_HERE);
    if (factor <= 0.0)
    {
        result = first;
        return;
    }
    if (factor >= 100.0)
    {
        result = second;
        return;
    }

    const double t = factor / 100.0;
    OscMessage between(first.getAddressPattern());
    for (std::size_t i = 0; i < first.getNumArguments(); ++i)
    {
        const OscArgument& a = first[i];
        const OscArgument& b = second[i];
        if (a.isNumeric() && b.isNumeric())
        {
            const double x = (1.0 - t) * a.getAsDouble() + t * b.getAsDouble();
            if (IsInteger(a.getTypeTag()) && IsInteger(b.getTypeTag()))
                between.AddInt64(std::llround(x));
            else
                between.AddFloat32(float(x));
        }
        else if ((a.isString() && b.isString()) || (IsSwitchable(a.getTypeTag()) && IsSwitchable(b.getTypeTag())))
        {
            between.AddArgument(factor <= 50.0 ? a : b);
        }
        else
        {
            throw Exception("incompatible arguments for messages " + BothMessages(first, second), KEL_HERE);
        }
    }
    result = std::move(between);
}

OscBundle OscBundleInterpolator::doIt(const OscBundle& first, const OscBundle& second) const
{
    const Vector<const OscMessage*> a = Flatten(first);
    const Vector<const OscMessage*> b = Flatten(second);

    // Occurrences of each address in the second bundle, in order.
    std::unordered_map<std::string_view, Vector<std::size_t>> secondByAddress;
    for (std::size_t j = 0; j < b.size(); ++j)
        secondByAddress[b[j]->getAddressPattern().getText()].PushBack(j);

    std::unordered_map<std::string_view, std::size_t> occurrencesSeen;
    Vector<std::uint8_t> paired(b.size(), 0);
    OscBundle result(first.getTimeTag());
    for (const OscMessage* m : a)
    {
        const std::string_view address = m->getAddressPattern().getText();
        const std::size_t occurrence = occurrencesSeen[address]++;
        const auto candidates = secondByAddress.find(address);
        if (candidates != secondByAddress.end() && occurrence < candidates->second.size())
        {
            const std::size_t j = candidates->second[occurrence];
            paired[j] = 1;
            OscMessage between;
            interpolate(between, *m, *b[j]);
            result.AddMessage(std::move(between));
        }
        else if (factor <= 50.0)
        {
            result.AddMessage(*m);
        }
    }
    if (factor > 50.0)
        for (std::size_t j = 0; j < b.size(); ++j)
            if (!paired[j])
                result.AddMessage(*b[j]);

    if (factor <= 0.0)
        return first;
    if (factor >= 100.0)
        return second;
    return result;
}

} // namespace kel
