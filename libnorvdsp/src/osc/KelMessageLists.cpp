#include "osc/KelMessageLists.h"

namespace kel {

std::string_view WindowOfMessage(const OscMessage& message)
{
    const OscAddressPattern& address = message.getAddressPattern();
    if (message.getNumArguments() != 0 || address.getNumParts() == 0 || address.getNumParts() > 2
        || address.containsWildcard())
        return {};
    if (address.getNumParts() == 2 && address.getPart(1) != "open" && address.getPart(1) != "openorclose")
        return {};
    const std::string_view window = address.getPart(0);
    return window == "help" || window == "status" || window == "snapshot" ? window : std::string_view{};
}

} // namespace kel
