// The state that lies between two states: message by message, argument by
// argument, at a factor from 0 (the first) to 100 per cent (the second).
//
// Two messages (interpolate):
//  - different argument counts throw "arguments don't match for messages "
//    + first + " and " + second, whatever the factor;
//  - at 0 or below the result is the first message, at 100 or above the
//    second, unchanged;
//  - otherwise, with t = factor / 100: two numbers give (1 - t) a + t b in
//    double, stored as an h (rounded, halves away from zero) when both are
//    integers (i or h), as an f otherwise; two strings, or booleans mixed
//    with each other or with numbers, switch from the first to the second
//    above 50 per cent; a string against a non-string, or any blob, throws
//    "incompatible arguments for messages " + first + " and " + second.
//
// Two bundles (doIt), both read as flat message lists, nested bundles
// included:
//  - messages are paired by address text; when one address occurs several
//    times in a bundle, the k-th occurrence pairs with the k-th of the other;
//  - a message present on one side only switches like a string: the first
//    bundle's own messages stay up to 50 per cent, the second's appear above;
//  - the result lists the first bundle's messages in their order, then the
//    second's own messages in theirs; at 0 and 100 per cent it is exactly
//    the first or the second bundle.
//
// Pure computation on values; any thread; allocates.
#pragma once

#include "osc/KelOscBundle.h"
#include "osc/KelOscMessage.h"

namespace kel {

class OscBundleInterpolator
{
public:
    /** factor: a percentage; values outside 0..100 act as 0 or 100. */
    explicit OscBundleInterpolator(double factorInPercent) noexcept : factor(factorInPercent) {}

    double getFactor() const noexcept { return factor; }

    /** result := the message between first and second (rules above). */
    void interpolate(OscMessage& result, const OscMessage& first, const OscMessage& second) const;

    /** The state between two bundles (rules above). */
    OscBundle doIt(const OscBundle& first, const OscBundle& second) const;

private:
    double factor;
};

} // namespace kel
