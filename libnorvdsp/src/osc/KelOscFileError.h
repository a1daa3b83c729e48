// The one shape of every error in a preset or snapshot file, whatever its
// format and whatever went wrong:
//     error in preset file "/p/a.txt", line 3: <reason>: "<excerpt>"
//     error in snapshot file "/p/s.osc", byte offset 132: <reason>: "<excerpt>"
//     error in preset file "/p/a.txt": <reason>        (no place in the file)
// The path is quoted as Quoted() does. Lines (text and coll files) count
// from 1; byte offsets (binary OSC files) from 0. The excerpt is the
// offending text, at most 80 characters of it, with what would not print
// escaped byte by byte (\x00, \xff; valid UTF-8 kept) and backslash and
// double quote escaped; "..." follows its closing quote when it was cut.
// The reason keeps the failure's own words, with what would not print
// escaped the same way and cut to 200 characters: neither binary junk nor a
// megabyte-long line reaches the console raw.
//
// Any thread; allocates.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "common/KelException.h"
#include "files/KelFile.h"

namespace kel {

/** What the file was read as, which the error names. */
enum class OscFileRole
{
    preset,
    snapshot
};

/** Where in a file an error stands. */
struct OscFilePlace
{
    enum class Unit
    {
        none,
        line,       // 1-based
        byteOffset  // 0-based
    };
    Unit unit = Unit::none;
    std::uint64_t value = 0;

    static OscFilePlace line(std::uint64_t number) noexcept { return {Unit::line, number}; }
    static OscFilePlace byteOffset(std::uint64_t offset) noexcept { return {Unit::byteOffset, offset}; }
};

class OscFileError : public Exception
{
public:
    static constexpr std::size_t maxExcerptCharacters = 80;
    static constexpr std::size_t maxReasonCharacters = 200;

    /** excerpt: the offending text as it stands in the file (any bytes), or
        nothing. where: the throw site of the failure, kept so that the
        composed text still points at the code that found it. */
    OscFileError(OscFileRole role, const File& file, OscFilePlace place, std::string_view reason,
                 std::optional<std::string_view> excerpt, SourceLocation where);

    const File& getFile() const noexcept { return file; }
    const OscFilePlace& getPlace() const noexcept { return place; }

private:
    File file;
    OscFilePlace place;
};

} // namespace kel
