#include "osc/KelWindowMessages.h"

#include <cmath>
#include <string_view>

namespace kel {

namespace {

std::optional<WindowCommand::Window> WindowNamed(std::string_view name) noexcept
{
    if (name == "help")
        return WindowCommand::Window::help;
    if (name == "status")
        return WindowCommand::Window::status;
    if (name == "snapshot")
        return WindowCommand::Window::snapshot;
    return std::nullopt;
}

std::optional<WindowCommand::Action> ActionNamed(const OscAddressPattern& address) noexcept
{
    using Action = WindowCommand::Action;
    if (address.getNumParts() == 1)
        return Action::open;
    const std::string_view verb = address.getPart(1);
    if (address.getNumParts() == 3)
        return verb == "font" && address.getPart(2) == "size" ? std::optional(Action::fontSize) : std::nullopt;
    if (address.getNumParts() != 2)
        return std::nullopt;
    if (verb == "open")
        return Action::open;
    if (verb == "close")
        return Action::close;
    if (verb == "openorclose")
        return Action::openOrClose;
    if (verb == "floating")
        return Action::floating;
    return std::nullopt;
}

bool IsIntegerTag(char tag) noexcept
{
    return tag == 'i' || tag == 'h' || tag == 'T' || tag == 'F';
}

} // namespace

std::optional<WindowCommand> ParseWindowMessage(const OscMessage& message)
{
    const OscAddressPattern& address = message.getAddressPattern();
    if (address.containsWildcard() || address.getNumParts() == 0 || address.getNumParts() > 3)
        return std::nullopt;
    const auto window = WindowNamed(address.getPart(0));
    const auto action = window ? ActionNamed(address) : std::nullopt;
    if (!action)
        return std::nullopt;

    WindowCommand command;
    command.window = *window;
    command.action = *action;
    const std::size_t n = message.getNumArguments();
    switch (command.action)
    {
        case WindowCommand::Action::fontSize:
        {
            const double size = n == 1 && message[0].isNumeric() ? message[0].getAsDouble() : 0.0;
            command.valid = std::isfinite(size) && size >= WindowCommand::minimumFontSize
                            && size <= WindowCommand::maximumFontSize;
            command.fontSize = size;
            break;
        }
        case WindowCommand::Action::floating:
            command.valid = n == 1 && IsIntegerTag(message.getTypeTag(0))
                            && (message[0].getAsDouble() == 0.0 || message[0].getAsDouble() == 1.0);
            command.floating = command.valid && message[0].getAsDouble() == 1.0;
            break;
        default:
            command.valid = n == 0;
            break;
    }
    return command;
}

const char* WindowName(WindowCommand::Window window) noexcept
{
    switch (window)
    {
        case WindowCommand::Window::status: return "status";
        case WindowCommand::Window::snapshot: return "snapshot";
        case WindowCommand::Window::help: break;
    }
    return "help";
}

} // namespace kel
