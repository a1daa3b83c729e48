// "/exportref": the object's reference documentation as Max reference XML
// and LaTeX.
#pragma once

#include "MaxWrapperApi.h"
#include "osc/KelOscInterface.h"

namespace maxmsp {

/** Writes the reference documentation of processor's messages. Main thread;
    failures are posted, never thrown. */
void ExportReference(t_object* x, const kel::OscInterface& processor) noexcept;

} // namespace maxmsp
