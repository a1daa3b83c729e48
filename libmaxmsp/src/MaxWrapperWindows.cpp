#include "MaxWrapperWindows.h"

#include <string_view>

#include "MaxWrapperPost.h"
#include "osc/KelMessageLists.h"

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
    const std::string_view window = kel::WindowOfMessage(message);
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
