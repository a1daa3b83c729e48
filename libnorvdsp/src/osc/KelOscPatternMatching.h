// Matching of one OSC address part against another: numeric index patterns
// first ([2-4], {1,5}, and any part holding "*" or "?" matches every index),
// then glob matching over UTF-8 code points.
//
// Deliberate behaviours kept from the object family's history:
//  - at the end of the text a "*" matches only when nothing follows it, so
//    "a**" does not match "a" while "a*" does;
//  - a part holding "*" or "?" matches every index, so "1*" matches "3";
//  - in a set, "-" first (or after "!") and ranges ending in ",", "{" or "}"
//    make the whole match fail; a "-" just before "]" is a literal "-".
// A pattern part holding "*" or "{" whose length times the text's exceeds a
// million matches nothing: the time a match takes stays bounded.
//
// Pure functions: any thread, no blocking, no allocation except for very
// long parts holding "*" (a table that keeps backtracking linear).
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace kel {

/** Glob match of pattern against text (pattern syntax: * ? [set] [!set] {a,b}). */
bool OscGlobMatch(std::string_view pattern, std::string_view text);

/** The numeric index pattern rule: nullopt when part is not a numeric
    pattern, otherwise whether it selects index. */
std::optional<bool> OscNumericIndexPatternMatch(std::string_view part, std::int64_t index);

/** For handlers of indexed families (/source/N/gain): does the pattern part
    select index? A numeric pattern decides; otherwise the part is matched as
    a glob against the index's decimal text. */
bool OscPartMatchesIndex(std::string_view part, std::int64_t index);

/** Matches part a against part b. Equal parts match. Either side may be the pattern: a
    digits-only side is first tried against the other as a numeric index
    pattern, then a is globbed against b and, when b holds wildcards, b
    against a. */
bool OscPartsMatch(std::string_view a, std::string_view b);

namespace detail {

/** Decodes the code point at text[i] and advances i past it. A byte that
    does not start a well-formed sequence decodes to 0xDC00 + the byte (and
    advances by one), so that distinct byte strings stay distinct. */
char32_t NextCodePoint(std::string_view text, std::size_t& i) noexcept;

} // namespace detail
} // namespace kel
