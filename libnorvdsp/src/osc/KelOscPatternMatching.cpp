#include "osc/KelOscPatternMatching.h"

#include <charconv>

#include "containers/KelSmallVector.h"
#include "osc/KelPooledHashedStringArray.h"

namespace kel {

namespace detail {

char32_t NextCodePoint(std::string_view text, std::size_t& i) noexcept
{
    const auto byte = [&](std::size_t k) { return std::uint8_t(text[k]); };
    const std::uint8_t lead = byte(i);
    if (lead < 0x80)
    {
        ++i;
        return lead;
    }
    std::size_t length = 0;
    char32_t cp = 0, minimum = 0;
    if ((lead & 0xE0) == 0xC0)
        length = 2, cp = lead & 0x1F, minimum = 0x80;
    else if ((lead & 0xF0) == 0xE0)
        length = 3, cp = lead & 0x0F, minimum = 0x800;
    else if ((lead & 0xF8) == 0xF0)
        length = 4, cp = lead & 0x07, minimum = 0x10000;
    if (length != 0 && i + length <= text.size())
    {
        bool ok = true;
        for (std::size_t k = 1; k < length && ok; ++k)
        {
            ok = (byte(i + k) & 0xC0) == 0x80;
            cp = (cp << 6) | (byte(i + k) & 0x3F);
        }
        if (ok && cp >= minimum && cp <= 0x10FFFF && !(cp >= 0xD800 && cp <= 0xDFFF))
        {
            i += length;
            return cp;
        }
    }
    ++i;
    return char32_t(0xDC00 + lead);
}

} // namespace detail

namespace {

constexpr auto npos = std::string_view::npos;

bool ParseInteger(std::string_view text, std::int64_t& value)
{
    if (text.empty())
        return false;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

bool IsDigitsOnly(std::string_view text)
{
    if (text.empty())
        return false;
    for (const char c : text)
        if (c < '0' || c > '9')
            return false;
    return true;
}

class GlobMatcher
{
public:
    GlobMatcher(std::string_view p, std::string_view t) : pattern(p), text(t) {}

    bool run()
    {
        // Without its table a star or a group may backtrack exponentially:
        // a part that long (a megabyte of pattern times text) matches
        // nothing rather than holding its thread.
        if ((pattern.size() + 1) * (text.size() + 1) > maxTableCells && pattern.find_first_of("*{") != npos)
            return false;
        return match(0, 0, npos);
    }

private:
    enum class SetResult { no, yes, abort };

    // group: where matching resumes once the alternative being matched ends
    // at its "," or "}" (npos outside braces; groups do not nest).
    bool match(std::size_t pi, std::size_t ti, std::size_t group)
    {
        const std::size_t P = pattern.size(), T = text.size();
        for (;;)
        {
            if (aborted)
                return false;
            if (group != npos && pi < P && (pattern[pi] == ',' || pattern[pi] == '}'))
            {
                pi = group;
                group = npos;
                continue;
            }
            if (pi == P)
                return ti == T;

            switch (pattern[pi])
            {
                case '*':
                {
                    std::size_t next = pi + 1;
                    if (group != npos && next < P && (pattern[next] == ',' || pattern[next] == '}'))
                        next = group;
                    if (ti == T)
                        return next == P;
                    if (hasFailed(pi, ti))
                        return false;
                    // Shortest run first, the empty run included.
                    for (std::size_t k = ti;;)
                    {
                        if (match(pi + 1, k, group))
                            return true;
                        if (aborted || k == T)
                            break;
                        detail::NextCodePoint(text, k);
                    }
                    markFailed(pi, ti);
                    return false;
                }
                case '?':
                    if (ti == T)
                        return false;
                    detail::NextCodePoint(text, ti);
                    ++pi;
                    continue;
                case '[':
                {
                    if (ti == T)
                        return false;
                    const std::size_t close = pattern.find(']', pi + 1);
                    if (close == npos)
                        return false;
                    const char32_t c = detail::NextCodePoint(text, ti);
                    const SetResult result = matchSet(pi + 1, close, c);
                    if (result == SetResult::abort)
                        aborted = true;
                    if (result != SetResult::yes)
                        return false;
                    pi = close + 1;
                    continue;
                }
                case '{':
                {
                    if (group != npos)
                        break; // a "{" inside an alternative is an ordinary character
                    const std::size_t close = pattern.find('}', pi + 1);
                    if (close == npos)
                        return false;
                    // A group is tried at most once per text position: a run
                    // of groups whose alternatives may be empty would
                    // otherwise try every combination of them.
                    if (hasFailed(pi, ti))
                        return false;
                    for (std::size_t start = pi + 1;;)
                    {
                        if (match(start, ti, close + 1))
                            return true;
                        if (aborted)
                            return false;
                        const std::size_t comma = pattern.find(',', start);
                        if (comma == npos || comma > close)
                            break;
                        start = comma + 1;
                    }
                    markFailed(pi, ti);
                    return false;
                }
                default:
                    break;
            }
            if (ti == T)
                return false;
            if (detail::NextCodePoint(pattern, pi) != detail::NextCodePoint(text, ti))
                return false;
        }
    }

    // Members run from begin to close (the "]"), c is the text's code point.
    SetResult matchSet(std::size_t q, std::size_t close, char32_t c) const
    {
        bool negate = false, found = false, first = true;
        if (q < close && pattern[q] == '!')
            negate = true, ++q;
        while (q < close)
        {
            const char32_t member = detail::NextCodePoint(pattern, q);
            if (member == '-')
            {
                const bool last = q == close;
                if (first && !last)
                    return SetResult::abort; // a range with nothing before it
                found = found || c == '-';
                first = false;
                continue;
            }
            if (q + 1 < close && pattern[q] == '-')
            {
                std::size_t r = q + 1;
                const char32_t end = detail::NextCodePoint(pattern, r);
                if (end == ',' || end == '{' || end == '}')
                    return SetResult::abort;
                found = found || (member <= c && c <= end);
                q = r;
            }
            else
            {
                found = found || member == c;
            }
            first = false;
        }
        return found != negate ? SetResult::yes : SetResult::no;
    }

    // Failed (star or group position, text position) pairs, so that
    // patterns such as *a*a*a*b or {,a}{,a}{,a}b cost polynomial rather than
    // exponential time. A star or a group always resumes in the same place
    // after it (groups do not nest), so the pair decides the outcome.
    bool hasFailed(std::size_t pi, std::size_t ti)
    {
        if (!tableReady)
        {
            tableReady = true;
            failed.Resize((pattern.size() + 1) * (text.size() + 1), 0);
        }
        return !failed.empty() && failed[pi * (text.size() + 1) + ti] != 0;
    }
    void markFailed(std::size_t pi, std::size_t ti)
    {
        if (!failed.empty())
            failed[pi * (text.size() + 1) + ti] = 1;
    }

    static constexpr std::size_t maxTableCells = std::size_t(1) << 20;

    std::string_view pattern, text;
    // Inside the matcher for the parts dispatch meets (no allocation on the
    // audio thread); only long parts need the heap.
    SmallVector<std::uint8_t, 512> failed;
    bool tableReady = false;
    bool aborted = false;
};

std::optional<bool> NumericVerdict(std::string_view digits, std::string_view other)
{
    if (!IsDigitsOnly(digits) || !HoldsOscWildcard(other))
        return std::nullopt;
    std::int64_t index = 0;
    if (!ParseInteger(digits, index))
        return std::nullopt;
    return OscNumericIndexPatternMatch(other, index);
}

} // namespace

bool OscGlobMatch(std::string_view pattern, std::string_view text)
{
    return GlobMatcher(pattern, text).run();
}

std::optional<bool> OscNumericIndexPatternMatch(std::string_view part, std::int64_t index)
{
    if (part.find_first_of("*?") != npos)
        return true;
    if (part.size() < 2)
        return std::nullopt;
    const std::string_view inside = part.substr(1, part.size() - 2);
    if (part.front() == '[' && part.back() == ']')
    {
        const std::size_t dash = inside.find('-');
        std::int64_t low = 0, high = 0;
        if (dash == npos || !ParseInteger(inside.substr(0, dash), low) ||
            !ParseInteger(inside.substr(dash + 1), high))
            return std::nullopt;
        return low <= index && index <= high;
    }
    if (part.front() == '{' && part.back() == '}')
    {
        bool found = false;
        for (std::size_t start = 0;;)
        {
            const std::size_t comma = inside.find(',', start);
            std::int64_t value = 0;
            if (!ParseInteger(inside.substr(start, comma == npos ? npos : comma - start), value))
                return std::nullopt;
            found = found || value == index;
            if (comma == npos)
                return found;
            start = comma + 1;
        }
    }
    return std::nullopt;
}

bool OscPartMatchesIndex(std::string_view part, std::int64_t index)
{
    if (const auto verdict = OscNumericIndexPatternMatch(part, index))
        return *verdict;
    const String digits = std::to_string(index);
    return OscGlobMatch(part, digits);
}

bool OscPartsMatch(std::string_view a, std::string_view b)
{
    // A pattern selects itself, even where its wildcards would not.
    if (a == b)
        return true;
    if (const auto verdict = NumericVerdict(a, b))
        return *verdict;
    if (const auto verdict = NumericVerdict(b, a))
        return *verdict;
    return OscGlobMatch(a, b) || (HoldsOscWildcard(b) && OscGlobMatch(b, a));
}

} // namespace kel
