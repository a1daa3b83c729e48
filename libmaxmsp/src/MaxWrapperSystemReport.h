// The version line and the system report of "/post/version", for a user to
// paste into a support request.
//
// Main thread.
#pragma once

#include <cstdint>

#include "MaxWrapperApi.h"
#include "common/KelString.h"
#include "containers/KelVector.h"

namespace maxmsp {

/** "8.2.0" for maxversion() 0x820 (the low 12 bits, one digit each). */
kel::String MaxVersionText(short version);
/** Hertz with an SI prefix: "2.5 GHz", "44.1 kHz", "12 Hz". */
kel::String FormatHertz(double hertz);
/** Bytes in binary multiples: "512 bytes", "1.5 KB", "15.6 GB". */
kel::String FormatBytes(std::uint64_t bytes);
/** Local time to the millisecond: "2025-06-01 14:03:12.345". */
kel::String FormatDate(std::int64_t millisecondsSinceEpoch);

/** The version line (versionText, then " (running in Ableton Live)" in
    Live) and, with details, the labelled lines of the system. */
kel::Vector<kel::String> BuildSystemReport(const kel::String& versionText, bool details);

/** Builds the report and posts it with PostLines; a failure while building
    is posted as an error and nothing of the report is posted. */
void PostSystemReport(t_object* x, const kel::String& versionText, bool details) noexcept;

} // namespace maxmsp
