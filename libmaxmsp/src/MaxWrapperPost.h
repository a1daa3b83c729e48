// Posting to the Max console: lines of text, and the failures every Max
// entry of the binding catches (nothing may propagate into Max). Every text
// the binding posts goes through ConsolePost, ConsoleWarn, ConsoleError or
// ConsoleBug, which cut it to one console line (kel::CappedText: 2000
// characters and "..."), so that no engine text of any length reaches Max
// whole.
//
// Any thread (Max queues posts from other threads); never blocks.
#pragma once

#include <string_view>

#include "MaxWrapperApi.h"
#include "common/KelString.h"
#include "containers/KelVector.h"

namespace maxmsp {

/** object_post, object_warn, object_error and object_bug with prefix + text
    cut to one console line; never allocates (the line is put together on the
    stack), so that it may post even when memory has run out. */
void ConsolePost(t_object* x, std::string_view text, std::string_view prefix = {}) noexcept;
void ConsoleWarn(t_object* x, std::string_view text, std::string_view prefix = {}) noexcept;
void ConsoleError(t_object* x, std::string_view text, std::string_view prefix = {}) noexcept;
void ConsoleBug(t_object* x, std::string_view text, std::string_view prefix = {}) noexcept;

/** ConsolePost for each non-empty line, in order. */
void PostLines(t_object* x, const kel::Vector<kel::String>& lines);

/** Call inside a catch block: posts the exception being handled. A
    kel::exceptions::ExceptionalWarning as a warning with its text; another
    kel::Exception as an error with its text; an allocation failure as
    "out of memory : %s", another standard exception as "exception : %s",
    anything else as "unknown exception". */
void PostCurrentException(t_object* x) noexcept;

/** The same for the audio set-up, through object_bug: "out of memory : %s",
    "exception : %s" (kel::Exception included) or "unknown exception". */
void PostCurrentExceptionAsBug(t_object* x) noexcept;

} // namespace maxmsp
