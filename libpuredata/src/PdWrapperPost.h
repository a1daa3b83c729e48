// Posting to Pd's window: every text the binding posts goes through
// ConsolePost, ConsoleWarn or ConsoleError, which cut it to one line of
// Pd's (Pd formats a post into a buffer of MAXPDSTRING bytes and drops the
// rest, which could split a UTF-8 character): at most consoleLineBytes
// bytes of whole characters, then "...".
//
// Pd's thread only (Pd's printing is not thread-safe); never allocates.
#pragma once

#include <m_pd.h>

#include <cstddef>
#include <string_view>

#include "common/KelString.h"
#include "containers/KelVector.h"

namespace puredata {

/** What a line may take in Pd's print buffer, the cut mark included. */
inline constexpr std::size_t consoleLineBytes = 990;

/** post (information, and warnings, whose text says so) and pd_error
    (which lets the user find the object), each with prefix + text cut to
    one line. x: the object the line is about. */
void ConsolePost(const t_object* x, std::string_view text, std::string_view prefix = {}) noexcept;
void ConsoleWarn(const t_object* x, std::string_view text, std::string_view prefix = {}) noexcept;
void ConsoleError(const t_object* x, std::string_view text, std::string_view prefix = {}) noexcept;

/** ConsolePost for each non-empty line, in order. */
void PostLines(const t_object* x, const kel::Vector<kel::String>& lines);

/** Call inside a catch block: posts the exception being handled, as the
    Max binding does: a kel::exceptions::ExceptionalWarning as a warning, a
    kel::Exception as an error with its text, "out of memory : %s",
    "exception : %s" or "unknown exception". */
void PostCurrentException(const t_object* x) noexcept;

} // namespace puredata
