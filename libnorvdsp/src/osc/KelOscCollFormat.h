// Max coll files as this family writes and reads them: one entry per line,
//     1, /gain 0.5;
//     2, /open "my file, take 2.wav";
// An entry runs to the first ";" outside a quoted string; its index (any
// text, ignored on reading: entries keep file order) ends at the first ","
// outside a quoted string. Outside quoted strings a backslash escapes the
// next character, as Max writes "\," and "\;"; a double quote opens a
// quoted string only at the start of a token.
//
// Pure text functions: any thread.
#pragma once

#include <cstddef>
#include <string_view>

#include "common/KelString.h"
#include "containers/KelVector.h"
#include "osc/KelOscMessage.h"

namespace kel::detail {

/** One line of a coll file, with its line feed. */
String FormatCollEntry(std::size_t index, const OscMessage& message);

/** One entry of a coll file's text: its data (index and separators
    removed, escapes resolved: what OscMessage::CreateFromText reads), and
    where the entry stands in the text, from its first non-blank byte to
    just past its ";" (or the end of the text). */
struct CollEntry
{
    String data;
    std::size_t begin = 0;
    std::size_t end = 0;
};

/** Every entry of a coll file's text that has data, in order. */
Vector<CollEntry> ParseCollEntriesWithPlaces(std::string_view fileText);

/** The data of every entry of a coll file's text, in order; entries
    without data are left out. */
Vector<String> ParseCollEntries(std::string_view fileText);

} // namespace kel::detail
