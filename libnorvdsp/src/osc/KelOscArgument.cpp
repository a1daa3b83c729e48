#include "osc/KelOscArgument.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

namespace kel {

OscArgument OscArgument::fromInt32(std::int32_t v) noexcept { return withValue('i', &Value::i, v); }
OscArgument OscArgument::fromInt64(std::int64_t v) noexcept { return withValue('h', &Value::h, v); }
OscArgument OscArgument::fromFloat32(float v) noexcept { return withValue('f', &Value::f, v); }
OscArgument OscArgument::fromFloat64(double v) noexcept { return withValue('d', &Value::d, v); }
OscArgument OscArgument::fromBool(bool v) noexcept { return withValue(v ? 'T' : 'F', &Value::b, v); }

OscArgument OscArgument::fromString(std::string_view s)
{
    return fromString(String(s));
}

OscArgument OscArgument::fromString(String&& s) noexcept
{
    OscArgument a;
    a.tag = 's';
    a.text = std::move(s);
    return a;
}

OscArgument OscArgument::fromBlob(const MemoryBlock& bytes)
{
    return fromBlob(MemoryBlock(bytes));
}

OscArgument OscArgument::fromBlob(MemoryBlock&& bytes) noexcept
{
    OscArgument a;
    a.tag = 'b';
    a.blob = std::move(bytes);
    return a;
}

namespace {

// Truncation toward zero that saturates instead of being undefined.
template <typename Int, typename Float>
Int TruncateSaturating(Float v) noexcept
{
    if (std::isnan(v))
        return 0;
    if (v <= Float(std::numeric_limits<Int>::min()))
        return std::numeric_limits<Int>::min();
    if (v >= Float(std::numeric_limits<Int>::max()))
        return std::numeric_limits<Int>::max();
    return Int(v);
}

std::int32_t Low32Bits(std::int64_t v) noexcept
{
    return std::int32_t(std::uint32_t(std::uint64_t(v)));
}

template <typename Float>
String FloatText(Float v)
{
    String shortest = ToString(v);
    for (const char c : shortest)
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'))
        {
            char buffer[512];
            std::snprintf(buffer, sizeof buffer, "%.6f", double(v));
            return buffer;
        }
    return shortest;
}

} // namespace

std::int32_t OscArgument::getAsInt32() const noexcept
{
    switch (tag)
    {
        case 'i': return value.i;
        case 'h': return Low32Bits(value.h);
        case 'f': return TruncateSaturating<std::int32_t>(value.f);
        case 'd': return Low32Bits(TruncateSaturating<std::int64_t>(value.d));
        default: return 0;
    }
}

bool OscArgument::getAsBool() const noexcept
{
    switch (tag)
    {
        case 'T': return true;
        case 'F': return false;
        case 'i': return value.i != 0;
        case 'h': return value.h != 0;
        case 'f': return value.f >= 1.0f;
        case 'd': return float(value.d) >= 1.0f;
        default: return false;
    }
}

double OscArgument::getAsDouble() const noexcept
{
    switch (tag)
    {
        case 'i': return double(value.i);
        case 'h': return double(value.h);
        case 'f': return double(value.f);
        case 'd': return value.d;
        case 'T': return 1.0;
        default: return 0.0;
    }
}

String OscArgument::toString() const
{
    switch (tag)
    {
        case 'i': return ToString(value.i);
        case 'h': return ToString(value.h);
        case 'T':
        case 'F': return getAsBool() ? "1" : "0";
        case 'f': return FloatText(value.f);
        case 'd': return FloatText(value.d);
        case 's':
        {
            String quoted;
            quoted.reserve(text.size() + 2);
            quoted += '"';
            for (const char c : text)
            {
                if (c == '"')
                    quoted += ' ';
                else if (c == '\n')
                    quoted += "\\n";
                else
                    quoted += c;
            }
            quoted += '"';
            return quoted;
        }
        default: return {};
    }
}

bool OscArgument::operator==(const OscArgument& other) const noexcept
{
    if (tag != other.tag)
        return false;
    switch (tag)
    {
        case 'i': return value.i == other.value.i;
        case 'h': return value.h == other.value.h;
        case 'f': return std::memcmp(&value.f, &other.value.f, sizeof(float)) == 0;
        case 'd': return std::memcmp(&value.d, &other.value.d, sizeof(double)) == 0;
        case 's': return text == other.text;
        case 'b': return blob == other.blob;
        default: return true;
    }
}

} // namespace kel
