// The window messages as every host reads them, with or without windows.
#include <gtest/gtest.h>

#include "osc/KelWindowMessages.h"

namespace {

using kel::OscMessage;
using kel::WindowCommand;
using Window = WindowCommand::Window;
using Action = WindowCommand::Action;

TEST(WindowMessages, ReadsEachWindowsMessagesAndTheirArguments)
{
    struct Case
    {
        const char* text;
        bool isWindowMessage;
        Window window;
        Action action;
        bool valid;
        double fontSize;
        bool floating;
    };
    const Case cases[] = {
        {"/help", true, Window::help, Action::open, true, 0, false},
        {"/status/open", true, Window::status, Action::open, true, 0, false},
        {"/snapshot/close", true, Window::snapshot, Action::close, true, 0, false},
        {"/help/openorclose", true, Window::help, Action::openOrClose, true, 0, false},
        {"/status/font/size 20", true, Window::status, Action::fontSize, true, 20, false},
        {"/snapshot/font/size 12.5", true, Window::snapshot, Action::fontSize, true, 12.5, false},
        {"/help/font/size 6", true, Window::help, Action::fontSize, true, 6, false},
        {"/help/font/size 72", true, Window::help, Action::fontSize, true, 72, false},
        {"/help/floating 1", true, Window::help, Action::floating, true, 0, true},
        {"/snapshot/floating 0", true, Window::snapshot, Action::floating, true, 0, false},
        // Window messages with arguments they do not take.
        {"/help/font/size", true, Window::help, Action::fontSize, false, 0, false},
        {"/help/font/size 5.9", true, Window::help, Action::fontSize, false, 0, false},
        {"/help/font/size 72.5", true, Window::help, Action::fontSize, false, 0, false},
        {"/help/font/size \"20\"", true, Window::help, Action::fontSize, false, 0, false},
        {"/status/floating \"foo\"", true, Window::status, Action::floating, false, 0, false},
        {"/status/floating 2", true, Window::status, Action::floating, false, 0, false},
        {"/status/floating 0.5", true, Window::status, Action::floating, false, 0, false},
        {"/status/floating 1 1", true, Window::status, Action::floating, false, 0, false},
        {"/help 1", true, Window::help, Action::open, false, 0, false},
        {"/help/close \"x\"", true, Window::help, Action::close, false, 0, false},
        // The object's own messages.
        {"/snapshot/add", false, Window::help, Action::open, true, 0, false},
        {"/snapshot/1/recall", false, Window::help, Action::open, true, 0, false},
        {"/status/copytoclipboard", false, Window::help, Action::open, true, 0, false},
        {"/help/font", false, Window::help, Action::open, true, 0, false},
        {"/help/font/size/big 1", false, Window::help, Action::open, true, 0, false},
        {"/help/*", false, Window::help, Action::open, true, 0, false},
        {"/{help,status}/open", false, Window::help, Action::open, true, 0, false},
        {"/helps", false, Window::help, Action::open, true, 0, false},
        {"/open", false, Window::help, Action::open, true, 0, false},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.text);
        const auto command = kel::ParseWindowMessage(OscMessage::CreateFromText(c.text));
        ASSERT_EQ(command.has_value(), c.isWindowMessage);
        if (!command)
            continue;
        EXPECT_EQ(command->window, c.window);
        EXPECT_EQ(command->action, c.action);
        EXPECT_EQ(command->valid, c.valid);
        if (!c.valid)
            continue;
        if (c.action == Action::fontSize)
        {
            EXPECT_EQ(command->fontSize, c.fontSize);
        }
        if (c.action == Action::floating)
        {
            EXPECT_EQ(command->floating, c.floating);
        }
    }
    // A float, as a number box sends it, is not the int the message takes.
    kel::OscMessage floatOne("/status/floating");
    floatOne.AddFloat32(1.0f);
    EXPECT_FALSE(kel::ParseWindowMessage(floatOne)->valid);

    EXPECT_STREQ(kel::WindowName(Window::help), "help");
    EXPECT_STREQ(kel::WindowName(Window::status), "status");
    EXPECT_STREQ(kel::WindowName(Window::snapshot), "snapshot");
}

} // namespace
