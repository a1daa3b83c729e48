#include "PdWrapperObject.h"

namespace puredata {

bool IsWindowMessage(const kel::OscMessage& message)
{
    const kel::OscAddressPattern& address = message.getAddressPattern();
    if (message.getNumArguments() != 0 || address.getNumParts() == 0 || address.getNumParts() > 2
        || address.containsWildcard())
        return false;
    if (address.getNumParts() == 2 && address.getPart(1) != "open" && address.getPart(1) != "openorclose")
        return false;
    const std::string_view window = address.getPart(0);
    return window == "help" || window == "status" || window == "snapshot";
}

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
