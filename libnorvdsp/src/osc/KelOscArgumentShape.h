// The argument form a handler takes, written one character per argument:
//   s  a string
//   n  a number (i, h, f or d)
//   b  a boolean: T or F, or a number (Max sends toggles as integers, and the
//      text form writes T and F as 1 and 0); read it with getArgumentAsBool
//   any other character matches any argument.
// "" is the form of a message without arguments.
//
// Pure functions; any thread; no allocation.
#pragma once

#include <string_view>

#include "osc/KelOscMessage.h"

namespace kel {

inline bool OscArgumentFits(const OscArgument& argument, char shape) noexcept
{
    switch (shape)
    {
        case 's':
            return argument.isString();
        case 'n':
            return argument.isNumeric();
        case 'b':
            return argument.isBool() || argument.isNumeric();
        default:
            return true;
    }
}

/** True when message has exactly shape.size() arguments, each fitting its
    character. */
inline bool OscHasShape(const OscMessage& message, std::string_view shape) noexcept
{
    if (message.getNumArguments() != shape.size())
        return false;
    for (std::size_t i = 0; i < shape.size(); ++i)
        if (!OscArgumentFits(message[i], shape[i]))
            return false;
    return true;
}

/** True when every argument is a string (also for none). */
inline bool OscAllStrings(const OscMessage& message) noexcept
{
    for (std::size_t i = 0; i < message.getNumArguments(); ++i)
        if (!message[i].isString())
            return false;
    return true;
}

} // namespace kel
