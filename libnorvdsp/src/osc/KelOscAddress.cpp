#include "osc/KelOscAddress.h"

#include <algorithm>

#include "common/KelException.h"
#include "osc/KelOscPatternMatching.h"

namespace kel {

OscAddress::OscAddress(std::string_view address)
{
    OscAddressTokeniser::Tokenise(address, *this);
}

OscAddressPattern::OscAddressPattern(std::string_view pattern)
{
    OscAddressTokeniser::Tokenise(pattern, *this);
}

OscAddressPattern::OscAddressPattern(const OscAddress& address)
    : parts(address.parts), text(address.text), wildcard(HoldsOscWildcard(address.text))
{
}

void OscAddressPattern::RemoveLeadingParts(std::size_t count)
{
    for (std::size_t n = 0; n < count && !parts.empty(); ++n)
    {
        if (parts.size() == 1)
        {
            parts.Clear();
            text.clear();
            wildcard = false;
            return;
        }
        const bool droppedWildcard = parts.holdsWildcard(0);
        parts.RemoveFirst();
        String rebuilt;
        for (std::size_t i = 0; i < parts.size(); ++i)
        {
            rebuilt += '/';
            rebuilt += parts[i];
        }
        text = std::move(rebuilt);
        // Only a dropped wildcard part can have been what set the flag.
        if (wildcard && droppedWildcard)
            wildcard = HoldsOscWildcard(text);
    }
}

bool OscAddressPattern::Matches(const OscAddressPattern& other) const
{
    return OscAddressTokeniser::partsMatch(parts, other.parts);
}

bool OscAddressPattern::Matches(const OscAddress& address) const
{
    return OscAddressTokeniser::partsMatch(parts, address.parts);
}

bool OscAddressTokeniser::partsMatch(const PooledHashedStringArray& a, const PooledHashedStringArray& b)
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
    {
        if (a.partEquals(i, b, i))
            continue;
        // Unequal parts without a wildcard on either side cannot match.
        if (!a.holdsWildcard(i) && !b.holdsWildcard(i))
            return false;
        if (!OscPartsMatch(a[i], b[i]))
            return false;
    }
    return true;
}

void OscAddressTokeniser::Tokenise(std::string_view text, OscAddress& address)
{
    PooledHashedStringArray parts = split(text, Syntax::address);
    String newText(text);
    address.parts = std::move(parts);
    address.text = std::move(newText);
}

void OscAddressTokeniser::Tokenise(std::string_view text, OscAddressPattern& pattern)
{
    PooledHashedStringArray parts = split(text, Syntax::pattern);
    String newText(text);
    pattern.parts = std::move(parts);
    pattern.text = std::move(newText);
    pattern.wildcard = HoldsOscWildcard(text);
}

PooledHashedStringArray OscAddressTokeniser::split(std::string_view text, Syntax syntax)
{
    PooledHashedStringArray parts;
    if (text.empty())
        return parts;
    // The first character stands for the leading slash, whatever it is.
    const std::string_view rest = text.substr(1);

    // Count the pieces first: the space rule needs to know the last one.
    std::size_t numPieces = 0;
    for (std::size_t start = 0; start <= rest.size();)
    {
        std::size_t slash = rest.find('/', start);
        if (slash == std::string_view::npos)
            slash = rest.size();
        numPieces += slash > start ? 1 : 0;
        start = slash + 1;
    }

    std::size_t index = 0;
    for (std::size_t start = 0; start <= rest.size();)
    {
        std::size_t slash = rest.find('/', start);
        if (slash == std::string_view::npos)
            slash = rest.size();
        if (slash > start)
        {
            const std::string_view part = rest.substr(start, slash - start);
            validatePart(text, part, ++index == numPieces, syntax);
            if (syntax == Syntax::pattern)
                sanityCheck(part);
            parts.Add(part);
        }
        start = slash + 1;
    }
    return parts;
}

void OscAddressTokeniser::validatePart(std::string_view text, std::string_view part, bool isLastPart,
                                       Syntax syntax)
{
    for (std::size_t i = 0; i < part.size();)
    {
        const std::size_t start = i;
        const char32_t c = detail::NextCodePoint(part, i);
        bool refused = c < 32 || c > 126 || c == ' ' || c == '#' || c == '/';
        if (syntax == Syntax::address)
            refused = refused || (c < 128 && std::string_view("*,?[]{}").find(char(c)) != std::string_view::npos);
        if (!refused)
            continue;

        const String character = Quoted(part.substr(start, i - start));
        if (c == ' ' && isLastPart)
        {
            // Typically a whole message typed as one quoted string.
            throw Exception(Quoted(text) + " is not a valid OSC address pattern, as it" + " contains the " +
                                character + " character." +
                                " Maybe you wanted to send an address pattern followed by arguments, but things "
                                "are incorrectly typed as a string ?",
                            KEL_HERE);
        }
        throw Exception("OSC format error: Character " + character + " not allowed in address pattern " +
                            Quoted(text),
                        KEL_HERE);
    }
}

void OscAddressTokeniser::sanityCheck(std::string_view part)
{
    const auto has = [part](char c) { return part.find(c) != std::string_view::npos; };
    const char* error = nullptr;
    if (has('[') && !has(']'))
        error = "OSC format error: missing ']'";
    else if (has(']') && !has('['))
        error = "OSC format error: missing '['";
    else if (has('{') && !has('}'))
        error = "OSC format error: missing '}'";
    else if (has('}') && !has('{'))
        error = "OSC format error: missing '}'"; // sic: the text names the closing brace
    else if (has(',') && !has('{') && !has('['))
        error = "OSC format error: anormal ','";
    else if (has('[') && std::count(part.begin(), part.end(), '-') > 1)
        error = "OSC format error: too many '-'";
    else if (has('[') && has(','))
        error = "OSC format error: use curly brackets for ',' separator";
    else if (has('{') && has('-'))
        error = "OSC format error: use square brackets for '-' separator";
    if (error != nullptr)
        throw Exception(error, KEL_HERE);
}

} // namespace kel
