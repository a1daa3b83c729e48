#include "MaxWrapperReference.h"

namespace maxmsp {

void ExportReference(t_object* x, const kel::OscInterface& processor) noexcept
{
    // The exporter is not part of this build yet; say so rather than
    // pretend. The documentation itself is available with "/post/doc".
    object_error(x, "%s",
                 ("/exportref : the reference export of " + processor.getName()
                  + " is not available in this version (use /post/doc to see its messages)")
                     .c_str());
}

} // namespace maxmsp
