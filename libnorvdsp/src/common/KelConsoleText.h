// Text made fit for a console: at most so many characters, and nothing that
// would not print. Characters are UTF-8 code points; a byte that begins no
// valid sequence counts as one character of its own, so that text that is
// not UTF-8 is measured and cut without reading past it.
//
// Pure functions: any thread; the String results allocate.
#pragma once

#include <cstddef>
#include <string_view>

#include "common/KelString.h"

namespace kel {

/** The most characters one console line shows before it is cut. */
inline constexpr std::size_t consoleLineCharacters = 2000;

/** What a cut line ends with, after its first characters. */
inline constexpr std::string_view cutMark = "...";

/** Characters in text (UTF-8 code points; each invalid byte counts as one). */
std::size_t CountCharacters(std::string_view text) noexcept;

/** The bytes of text's first maxCharacters characters: never inside a
    sequence. */
std::size_t BytesOfCharacters(std::string_view text, std::size_t maxCharacters) noexcept;

/** text itself when it holds at most maxCharacters characters; otherwise its
    first maxCharacters characters followed by "...". */
String CappedText(std::string_view text, std::size_t maxCharacters = consoleLineCharacters);

/** How PrintableText treats the characters a quoted excerpt needs escaped. */
enum class Quoting
{
    none,          // backslash and double quote stay as they are
    doubleQuotes   // backslash and double quote become \\ and \"
};

/** text with what does not print escaped: each byte of a control character
    (C0, DEL, C1, the invisible format and line-separator characters), of an
    invalid UTF-8 sequence and of a sequence cut short, as \xNN. Printable
    UTF-8 stays as it is. The result holds at most maxCharacters characters,
    an escape never split; cut (when given) tells whether text did not fit. */
String PrintableText(std::string_view text, std::size_t maxCharacters, Quoting quoting = Quoting::none,
                     bool* cut = nullptr);

} // namespace kel
