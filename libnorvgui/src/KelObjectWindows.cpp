#include "KelObjectWindows.h"

#include "KelWindowPanels.h"

namespace kel::gui {

namespace {

/** Where each window first appears, in the primary display's free area:
    help on the left, status and snapshot stacked on its right, so that all
    three can be seen at once on a 1280 x 1024 screen. */
juce::Rectangle<int> FirstBounds(WindowCommand::Window window)
{
    juce::Rectangle<int> area(0, 0, 1280, 1024);
    if (const juce::Displays::Display* display = juce::Desktop::getInstance().getDisplays().getPrimaryDisplay())
        area = display->userArea;
    const int x = area.getX() + 20;
    const int y = area.getY() + 30;
    juce::Rectangle<int> bounds;
    switch (window)
    {
        case WindowCommand::Window::help: bounds = {x, y, 640, 900}; break;
        case WindowCommand::Window::status: bounds = {x + 660, y, 580, 520}; break;
        case WindowCommand::Window::snapshot: bounds = {x + 660, y + 540, 580, 420}; break;
    }
    return bounds.constrainedWithin(area);
}

} // namespace

ObjectWindows::ObjectWindows(WindowHost& windowHost) : host(windowHost)
{
}

ObjectWindows::~ObjectWindows()
{
    for (const Window window : {Window::snapshot, Window::status, Window::help})
    {
        if (GuiWindow* shown = getWindow(window))
            shown->close();
        slot(window).window.reset();
    }
}

ObjectWindows::Outcome ObjectWindows::Process(const OscMessage& message)
{
    const std::optional<WindowCommand> command = ParseWindowMessage(message);
    if (!command)
        return Outcome::notWindowMessage;
    if (!command->valid)
        return Outcome::invalid;
    Run(*command);
    return Outcome::done;
}

void ObjectWindows::Run(const WindowCommand& command)
{
    Slot& target = slot(command.window);
    switch (command.action)
    {
        case WindowCommand::Action::open:
            make(command.window).open();
            break;
        case WindowCommand::Action::close:
            if (target.window != nullptr)
                target.window->close();
            break;
        case WindowCommand::Action::openOrClose:
            if (target.window != nullptr && target.window->isOpen())
                target.window->close();
            else
                make(command.window).open();
            break;
        case WindowCommand::Action::fontSize:
            target.fontSize = float(command.fontSize);
            if (target.window != nullptr)
                target.window->setFontSize(target.fontSize);
            break;
        case WindowCommand::Action::floating:
            target.floating = command.floating;
            if (target.window != nullptr)
                target.window->setFloating(target.floating);
            break;
    }
}

void ObjectWindows::OnDoubleClick()
{
    make(Window::status);
    make(Window::help).open();
}

GuiWindow* ObjectWindows::getWindow(Window window) const noexcept
{
    return slot(window).window.get();
}

bool ObjectWindows::isOpen(Window window) const noexcept
{
    const GuiWindow* shown = getWindow(window);
    return shown != nullptr && shown->isOpen();
}

bool ObjectWindows::isFloating(Window window) const noexcept
{
    return slot(window).floating;
}

float ObjectWindows::getFontSize(Window window) const noexcept
{
    return slot(window).fontSize;
}

GuiWindow& ObjectWindows::make(Window window)
{
    Slot& target = slot(window);
    if (target.window != nullptr)
        return *target.window;
    std::unique_ptr<Panel> panel;
    switch (window)
    {
        case Window::help: panel = MakeHelpPanel(host); break;
        case Window::status: panel = MakeStatusPanel(host); break;
        case Window::snapshot: panel = MakeSnapshotPanel(host); break;
    }
    const juce::String title = juce::String(host.getInterface().getName()) + " : " + WindowName(window);
    target.window = std::make_unique<GuiWindow>(title, std::move(panel), FirstBounds(window));
    target.window->setFontSize(target.fontSize);
    if (target.floating)
        target.window->setFloating(true);
    return *target.window;
}

} // namespace kel::gui
