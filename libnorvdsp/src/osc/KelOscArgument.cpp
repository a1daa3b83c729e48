#include "osc/KelOscArgument.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>

namespace kel {

OscArgument OscArgument::fromString(std::string_view s)
{
    return fromString(String(s));
}

OscArgument OscArgument::fromString(String&& s) noexcept
{
    OscArgument a;
    std::construct_at(&a.text, std::move(s));
    a.tag = 's';
    return a;
}

OscArgument OscArgument::fromBlob(const MemoryBlock& bytes)
{
    return fromBlob(MemoryBlock(bytes));
}

OscArgument OscArgument::fromBlob(MemoryBlock&& bytes) noexcept
{
    OscArgument a;
    std::construct_at(&a.blob, std::move(bytes));
    a.tag = 'b';
    return a;
}

OscArgument::OscArgument(const OscArgument& other) : number{.h = 0}
{
    copyPayload(other);
}

OscArgument& OscArgument::operator=(const OscArgument& other)
{
    if (this != &other)
    {
        OscArgument copy(other);
        *this = std::move(copy);
    }
    return *this;
}

OscArgument& OscArgument::operator=(OscArgument&& other) noexcept
{
    if (this != &other)
    {
        if (holdsObject())
            destroyObject();
        if (other.holdsObject())
            moveObject(other);
        else
            setNumber(other.tag, other.number);
    }
    return *this;
}

const String& OscArgument::EmptyText() noexcept
{
    static const String empty;
    return empty;
}

const MemoryBlock& OscArgument::EmptyBlob() noexcept
{
    static const MemoryBlock empty;
    return empty;
}

void OscArgument::copyPayload(const OscArgument& other)
{
    // The tag is set last: should the copy throw, this stays a number.
    if (other.tag == 's')
        std::construct_at(&text, other.text);
    else if (other.tag == 'b')
        std::construct_at(&blob, other.blob);
    else
        number = other.number;
    tag = other.tag;
}

void OscArgument::moveObject(OscArgument& other) noexcept
{
    if (other.tag == 's')
        std::construct_at(&text, std::move(other.text));
    else
        std::construct_at(&blob, std::move(other.blob));
    tag = other.tag;
}

void OscArgument::destroyObject() noexcept
{
    if (tag == 's')
        std::destroy_at(&text);
    else
        std::destroy_at(&blob);
    setNumber('i', Number{.h = 0});
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
        case 'i': return number.i;
        case 'h': return Low32Bits(number.h);
        case 'f': return TruncateSaturating<std::int32_t>(number.f);
        case 'd': return Low32Bits(TruncateSaturating<std::int64_t>(number.d));
        default: return 0;
    }
}

bool OscArgument::getAsBool() const noexcept
{
    switch (tag)
    {
        case 'T': return true;
        case 'F': return false;
        case 'i': return number.i != 0;
        case 'h': return number.h != 0;
        case 'f': return number.f >= 1.0f;
        case 'd': return float(number.d) >= 1.0f;
        default: return false;
    }
}

double OscArgument::getAsDouble() const noexcept
{
    switch (tag)
    {
        case 'i': return double(number.i);
        case 'h': return double(number.h);
        case 'f': return double(number.f);
        case 'd': return number.d;
        case 'T': return 1.0;
        default: return 0.0;
    }
}

String OscArgument::toString() const
{
    switch (tag)
    {
        case 'i': return ToString(number.i);
        case 'h': return ToString(number.h);
        case 'T':
        case 'F': return getAsBool() ? "1" : "0";
        case 'f': return FloatText(number.f);
        case 'd': return FloatText(number.d);
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
        case 'i': return number.i == other.number.i;
        case 'h': return number.h == other.number.h;
        case 'f': return std::memcmp(&number.f, &other.number.f, sizeof(float)) == 0;
        case 'd': return std::memcmp(&number.d, &other.number.d, sizeof(double)) == 0;
        case 's': return text == other.text;
        case 'b': return blob == other.blob;
        default: return true;
    }
}

} // namespace kel
