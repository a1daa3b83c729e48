// OSC addresses (/dump/metadata) and address patterns (/source/[1-4]/gain).
// Both are split into parts at "/" once, when built, and validated then; the
// first character is taken as the leading slash and skipped whatever it is,
// empty pieces ("//", a trailing "/") are dropped, and an empty text gives
// no parts and no error.
//
// Addresses that handlers test are built once as static constants (one
// getter each); dispatch then compares parts, never whole strings.
//
// Value types. The text and the first parts live inside the object: an
// address of up to 47 characters and 4 parts is built, copied and destroyed
// without allocating (longer ones allocate). Construction may throw
// kel::Exception; the const operations never allocate (matching may for very
// long "*" parts) and may be called from any thread on an object no one is
// modifying.
#pragma once

#include <cstddef>
#include <string_view>

#include "common/KelString.h"
#include "containers/KelSmallString.h"
#include "osc/KelPooledHashedStringArray.h"

namespace kel {

class OscAddressPattern;

/** A concrete address: no wildcard, space, "#", ",", "*", "?", "[", "]",
    "{", "}" and only printable ASCII in its parts. */
class OscAddress
{
public:
    // User-provided: OscAddress() must not zero the inline storage first.
    OscAddress() noexcept {}
    /** Throws the address-syntax kel::Exception. */
    explicit OscAddress(std::string_view text);

    std::size_t getNumParts() const noexcept { return parts.size(); }
    std::string_view getPart(std::size_t index) const noexcept { return parts[index]; }
    const PooledHashedStringArray& getParts() const noexcept { return parts; }
    const SmallString& getText() const noexcept { return parts.getPool(); }
    bool isEmpty() const noexcept { return parts.empty(); }

    bool operator==(const OscAddress& other) const noexcept { return getText() == other.getText(); }

private:
    friend class OscAddressTokeniser;
    friend class OscAddressPattern;

    PooledHashedStringArray parts; // its pool is the whole text
};

/** An address that may hold the wildcards "*?{}[]". */
class OscAddressPattern
{
public:
    OscAddressPattern() noexcept {}
    /** Throws the address-syntax kel::Exception (bad character or a failed
        sanity check of a part). */
    explicit OscAddressPattern(std::string_view text);
    /** Every address is a pattern that selects itself. */
    OscAddressPattern(const OscAddress& address);

    std::size_t getNumParts() const noexcept { return parts.size(); }
    std::string_view getPart(std::size_t index) const noexcept { return parts[index]; }
    const PooledHashedStringArray& getParts() const noexcept { return parts; }
    const SmallString& getText() const noexcept { return parts.getPool(); }
    bool isEmpty() const noexcept { return parts.empty(); }
    /** True while the text and the parts live inside the object. */
    bool isInline() const noexcept { return parts.isInline(); }
    /** True when the text holds any of "*?{}[]". */
    bool containsWildcard() const noexcept { return wildcard; }

    /** Drops the first part count times (/a/b/c -> /b/c); dropping the last
        remaining part leaves an empty pattern. */
    void RemoveLeadingParts(std::size_t count = 1);

    /** Part-by-part match: same number of parts and every pair matching as
        OscPartsMatch does (this side is tried as the pattern first). */
    bool Matches(const OscAddressPattern& other) const;
    bool Matches(const OscAddress& address) const;

    bool operator==(const OscAddressPattern& other) const noexcept { return getText() == other.getText(); }

private:
    friend class OscAddressTokeniser;

    PooledHashedStringArray parts; // its pool is the whole text
    bool wildcard = false;
};

/** Splits and validates address texts. */
class OscAddressTokeniser
{
public:
    /** Splits text into address's parts and sets its text; validates each part
        as a plain address part. On error address is left unchanged. */
    static void Tokenise(std::string_view text, OscAddress& address);
    /** The same for a pattern: wildcards allowed, each part sanity-checked. */
    static void Tokenise(std::string_view text, OscAddressPattern& pattern);
    /** The binary reader's way, one pass over the bytes: the text is what
        precedes the first zero of bytes[0, available); it is found, split
        and hashed at once and becomes pattern's. Returns its length, or
        npos when no zero ends it. Sets complete to false when the text
        needs what this pass leaves to Tokenise (a character to refuse, a
        bracket to check): Tokenise must then be called on the text. Never
        throws but for lack of memory. */
    static std::size_t TokeniseUpToZero(const char* bytes, std::size_t available, OscAddressPattern& pattern,
                                        bool& complete);

    /** Checks the brackets of one pattern part; throws the "OSC format
        error: ..." kel::Exception of the first check that fails. */
    static void sanityCheck(std::string_view part);

    /** Whether two parts arrays match part by part. */
    static bool partsMatch(const PooledHashedStringArray& a, const PooledHashedStringArray& b);

private:
    enum class Syntax { address, pattern };
    /** The parts of text; wildcard tells whether text holds one. */
    static PooledHashedStringArray split(std::string_view text, Syntax syntax, bool& wildcard);
    /** Throws the error for the first refused character of part. */
    static void refusePart(std::string_view text, std::string_view part, bool isLastPart, Syntax syntax);
};

} // namespace kel
