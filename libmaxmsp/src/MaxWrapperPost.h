// Posting to the Max console: lines of text, and the failures every Max
// entry of the binding catches (nothing may propagate into Max).
//
// Any thread (Max queues posts from other threads).
#pragma once

#include "MaxWrapperApi.h"
#include "common/KelString.h"
#include "containers/KelVector.h"

namespace maxmsp {

/** object_post with "%s" for each non-empty line, in order. */
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
