#include "MaxWrapperWindows.h"

#include <string_view>

#include "MaxWrapperPost.h"

namespace maxmsp {

MspWindows::MspWindows(t_object* ownerObject, kel::OscInterface& processorToShow, kel::String descriptionText)
    : owner(ownerObject), processor(&processorToShow), description(std::move(descriptionText))
{
}

void MspWindows::ShowHelp()
{
    ConsolePost(owner, "help of " + processor->getName() + " : " + description);
    processor->ProcessMessage(kel::OscMessage("/post/doc"));
}

void MspWindows::ShowStatus()
{
    processor->ProcessMessage(kel::OscMessage("/post/state"));
}

void MspWindows::ShowSnapshots()
{
    processor->ProcessMessage(kel::OscMessage("/post/snapshots"));
}

bool MspWindows::Process(const kel::OscMessage& message)
{
    const kel::OscAddressPattern& address = message.getAddressPattern();
    if (message.getNumArguments() != 0 || address.getNumParts() == 0 || address.getNumParts() > 2
        || address.containsWildcard())
        return false;
    if (address.getNumParts() == 2 && address.getPart(1) != "open" && address.getPart(1) != "openorclose")
        return false;
    const std::string_view window = address.getPart(0);
    if (window == "help")
        ShowHelp();
    else if (window == "status")
        ShowStatus();
    else if (window == "snapshot")
        ShowSnapshots();
    else
        return false;
    return true;
}

} // namespace maxmsp
