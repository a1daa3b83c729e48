#include "MaxWrapperWindows.h"

#include <string_view>

#include "MaxWrapperPost.h"
#include "osc/KelMessageLists.h"
#include "osc/KelWindowMessages.h"

#if defined(KEL_WITH_GUI)
#include "KelGuiRuntime.h"
#include "KelObjectWindows.h"
#endif

namespace maxmsp {

#if defined(KEL_WITH_GUI)
namespace {

/** The message as a patch wrote it: texts without quotes. */
kel::String MessageText(const kel::OscMessage& message)
{
    kel::String text(message.getAddressPattern().getText());
    for (std::size_t i = 0; i < message.getNumArguments(); ++i)
        text.append(" ").append(message[i].isString() ? message[i].getString() : message[i].toString());
    return text;
}

} // namespace

/** The windows and what they see of the object. */
struct MspWindows::Gui final : kel::gui::WindowHost
{
    Gui(kel::OscInterface& object, const MspWindowAccess& objectAccess)
        : processor(object), access(objectAccess), windows(*this)
    {
    }

    kel::OscInterface& getInterface() override { return processor; }
    std::optional<kel::PlayerStatus> GetPlayerStatus() const override
    {
        return access.status ? access.status() : std::nullopt;
    }
    void Send(const kel::OscMessage& message) override { access.send(message); }

    kel::OscInterface& processor;
    const MspWindowAccess& access;
    kel::gui::ObjectWindows windows; // last: goes first
};
#else
struct MspWindows::Gui
{
};
#endif

MspWindows::MspWindows(t_object* ownerObject, kel::OscInterface& processorToShow, kel::String descriptionText,
                       MspWindowAccess objectAccess)
    : owner(ownerObject), processor(&processorToShow), description(std::move(descriptionText)),
      access(std::move(objectAccess))
{
}

MspWindows::~MspWindows()
{
#if defined(KEL_WITH_GUI)
    if (gui != nullptr)
    {
        gui.reset();
        kel::gui::Release();
    }
#endif
}

bool MspWindows::startGui()
{
    if (gui != nullptr)
        return true;
    if (!noWindowsReason.empty())
        return false;
#if defined(KEL_WITH_GUI)
    const kel::gui::DisplayCheck& display = kel::gui::CheckDisplay();
    if (!display.available)
        noWindowsReason = display.reason;
    else if (systhread_ismainthread() == 0 || !kel::gui::Acquire())
        noWindowsReason = "the windows belong to Max's main thread";
    else
    {
        try
        {
            gui = std::make_unique<Gui>(*processor, access);
        }
        catch (...)
        {
            kel::gui::Release();
            throw;
        }
        return true;
    }
#else
    noWindowsReason = "this build has none";
#endif
    return false;
}

void MspWindows::warnOnce()
{
    if (warned)
        return;
    warned = true;
    ConsoleWarn(owner, "no windows: " + noWindowsReason + "; help, status and snapshots are posted to the Max console");
}

bool MspWindows::Process(const kel::OscMessage& message)
{
    const std::optional<kel::WindowCommand> command = kel::ParseWindowMessage(message);
    if (!command)
        return false;
    if (startGui())
    {
#if defined(KEL_WITH_GUI)
        if (!command->valid)
            ConsoleError(owner, MessageText(message), "invalid message: ");
        else
            gui->windows.Run(*command);
#endif
        return true;
    }
    warnOnce();
    return processInConsole(message);
}

void MspWindows::OnDoubleClick()
{
    if (startGui())
    {
#if defined(KEL_WITH_GUI)
        gui->windows.OnDoubleClick();
#endif
        return;
    }
    warnOnce();
    ShowHelp();
}

bool MspWindows::CopyToClipboard(const kel::String& text)
{
#if defined(KEL_WITH_GUI)
    if (!startGui())
        return false;
    juce::SystemClipboard::copyTextToClipboard(juce::String::fromUTF8(text.data(), int(text.size())));
    return true;
#else
    (void)text;
    return false;
#endif
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

bool MspWindows::processInConsole(const kel::OscMessage& message)
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
