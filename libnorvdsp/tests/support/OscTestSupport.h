// Shared by the OSC tests: the text of what an action throws.
#pragma once

#include <functional>
#include <string>

#include "common/KelException.h"

namespace kel::test {

/** The message of the kel::Exception that action throws, or "<no exception>". */
inline std::string ThrownMessage(const std::function<void()>& action)
{
    try
    {
        action();
    }
    catch (const kel::Exception& e)
    {
        return e.getMessage();
    }
    return "<no exception>";
}

/** The source path recorded by the kel::Exception that action throws. */
inline std::string ThrownPath(const std::function<void()>& action)
{
    try
    {
        action();
    }
    catch (const kel::Exception& e)
    {
        return e.getLocation().path;
    }
    return "<no exception>";
}

} // namespace kel::test
