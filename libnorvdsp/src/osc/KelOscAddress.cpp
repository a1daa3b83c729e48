#include "osc/KelOscAddress.h"

#include <algorithm>
#include <array>

#include "common/KelException.h"
#include "osc/KelOscPatternMatching.h"

namespace kel {

namespace {

// What each byte means to the splitter, so that a valid address is split,
// validated and hashed in one pass without decoding.
enum : std::uint8_t
{
    refusedAlways = 1,    // control, space, "#", DEL and every non-ASCII byte
    refusedInAddress = 2, // "*,?[]{}"
    wildcardCharacter = 4,
    bracketCharacter = 8, // "[]{},": only these can fail a sanity check
    endsPart = 16,        // "/" and the zero that ends a binary address
};

constexpr std::array<std::uint8_t, 256> MakeClasses()
{
    std::array<std::uint8_t, 256> classes{};
    for (int c = 0; c < 256; ++c)
    {
        std::uint8_t bits = 0;
        if (c < 32 || c > 126 || c == ' ' || c == '#')
            bits |= refusedAlways;
        if (std::string_view("*,?[]{}").find(char(c)) != std::string_view::npos)
            bits |= refusedInAddress;
        if (std::string_view("*?{}[]").find(char(c)) != std::string_view::npos)
            bits |= wildcardCharacter;
        if (std::string_view("[]{},").find(char(c)) != std::string_view::npos)
            bits |= bracketCharacter;
        if (c == '/' || c == 0)
            bits |= endsPart;
        classes[std::size_t(c)] = bits;
    }
    return classes;
}

constexpr std::array<std::uint8_t, 256> characterClasses = MakeClasses();

std::uint8_t ClassOf(char c) noexcept
{
    return characterClasses[std::uint8_t(c)];
}

} // namespace

OscAddress::OscAddress(std::string_view address)
{
    OscAddressTokeniser::Tokenise(address, *this);
}

OscAddressPattern::OscAddressPattern(std::string_view pattern)
{
    OscAddressTokeniser::Tokenise(pattern, *this);
}

OscAddressPattern::OscAddressPattern(const OscAddress& address)
    : parts(address.parts), wildcard(HoldsOscWildcard(address.getText()))
{
}

void OscAddressPattern::RemoveLeadingParts(std::size_t count)
{
    for (std::size_t n = 0; n < count && !parts.empty(); ++n)
    {
        if (parts.size() == 1)
        {
            parts.Clear();
            wildcard = false;
            return;
        }
        const bool droppedWildcard = parts.holdsWildcard(0);
        String text;
        for (std::size_t i = 1; i < parts.size(); ++i)
        {
            text += '/';
            text += parts[i];
        }
        PooledHashedStringArray rest;
        rest.SetPool(text);
        for (std::size_t i = 1, offset = 1; i < parts.size(); offset += parts[i].size() + 1, ++i)
            rest.AddSlice(offset, parts[i].size(), parts.getHash(i), parts.holdsWildcard(i));
        parts = std::move(rest);
        // Only a dropped wildcard part can have been what set the flag.
        if (wildcard && droppedWildcard)
            wildcard = HoldsOscWildcard(parts.getPool());
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
    bool wildcard = false;
    address.parts = split(text, Syntax::address, wildcard);
}

void OscAddressTokeniser::Tokenise(std::string_view text, OscAddressPattern& pattern)
{
    bool wildcard = false;
    PooledHashedStringArray parts = split(text, Syntax::pattern, wildcard);
    pattern.parts = std::move(parts);
    pattern.wildcard = wildcard;
}

PooledHashedStringArray OscAddressTokeniser::split(std::string_view text, Syntax syntax, bool& wildcard)
{
    PooledHashedStringArray parts;
    if (text.empty())
    {
        wildcard = false;
        return parts;
    }
    parts.SetPool(text);

    const std::uint8_t refused = syntax == Syntax::address ? (refusedAlways | refusedInAddress) : refusedAlways;
    // The first character stands for the leading slash, whatever it is.
    std::uint8_t all = ClassOf(text[0]);
    std::uint8_t bits = 0;
    std::size_t start = 1;
    for (std::size_t i = 1; i <= text.size(); ++i)
    {
        if (i < text.size() && text[i] != '/')
        {
            bits |= ClassOf(text[i]);
            continue;
        }
        if (i > start)
        {
            const std::string_view part = text.substr(start, i - start);
            if ((bits & refused) != 0)
            {
                const bool isLastPart = text.find_first_not_of('/', i) == std::string_view::npos;
                refusePart(text, part, isLastPart, syntax);
            }
            if (syntax == Syntax::pattern && (bits & bracketCharacter) != 0)
                sanityCheck(part);
            parts.AddSlice(start, part.size(), PooledHashedStringArray::hashOf(part), (bits & wildcardCharacter) != 0);
            all |= bits;
        }
        start = i + 1;
        bits = 0;
    }
    wildcard = (all & wildcardCharacter) != 0;
    return parts;
}

std::size_t OscAddressTokeniser::TokeniseUpToZero(const char* bytes, std::size_t available,
                                                  OscAddressPattern& pattern, bool& complete)
{
    PooledHashedStringArray& parts = pattern.parts;
    parts.Clear();
    complete = true;
    if (available == 0)
        return std::string_view::npos;
    if (bytes[0] == '\0')
    {
        pattern.wildcard = false;
        return 0;
    }

    // As split does for a pattern, but the end is the zero, found on the way.
    // The first character counts for the wildcard flag only (as in split).
    std::uint8_t all = ClassOf(bytes[0]);
    std::uint8_t inParts = 0;
    std::uint8_t bits = 0;
    std::size_t start = 1;
    std::size_t i = 1;
    for (;; ++i)
    {
        if (i == available)
            return std::string_view::npos;
        const char c = bytes[i];
        const std::uint8_t characterClass = ClassOf(c);
        if ((characterClass & endsPart) == 0)
        {
            bits |= characterClass;
            continue;
        }
        if (i > start)
        {
            const std::string_view part(bytes + start, i - start);
            parts.AddSlice(start, part.size(), PooledHashedStringArray::hashOf(part),
                           (bits & wildcardCharacter) != 0);
            inParts |= bits;
        }
        if (c == '\0')
            break;
        start = i + 1;
        bits = 0;
    }
    // Refusals and bracket checks have their exact texts and order in split.
    complete = (inParts & (refusedAlways | bracketCharacter)) == 0;
    if (complete)
    {
        parts.ReplacePool(std::string_view(bytes, i));
        pattern.wildcard = ((all | inParts) & wildcardCharacter) != 0;
    }
    return i;
}

void OscAddressTokeniser::refusePart(std::string_view text, std::string_view part, bool isLastPart, Syntax syntax)
{
    for (std::size_t i = 0; i < part.size();)
    {
        const std::size_t start = i;
        const char32_t c = detail::NextCodePoint(part, i);
        bool isRefused = c < 32 || c > 126 || c == ' ' || c == '#' || c == '/';
        if (syntax == Syntax::address)
            isRefused = isRefused || (c < 128 && (ClassOf(char(c)) & refusedInAddress) != 0);
        if (!isRefused)
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
