#include "PdWrapperObject.h"

namespace puredata {

bool IsMaxOnlyMessage(const kel::OscMessage& message)
{
    // Max's reference page, written where Max's documentation browser
    // reads it.
    return message.getAddressPattern().getText() == "/exportref";
}

kel::String PdVersionText(const kel::String& name, const kel::String& version)
{
    int major = 0, minor = 0, bugfix = 0;
    sys_getversion(&major, &minor, &bugfix);
    return name + " version " + version + " for Pure Data " + kel::ToString(std::int64_t(major)) + "."
           + kel::ToString(std::int64_t(minor)) + "." + kel::ToString(std::int64_t(bugfix)) + " (64-bit Linux)";
}

} // namespace puredata
