#include "MaxWrapperPost.h"

#include <exception>
#include <new>

#include "common/KelException.h"

namespace maxmsp {

void PostLines(t_object* x, const kel::Vector<kel::String>& lines)
{
    for (const kel::String& line : lines)
        if (!line.empty())
            object_post(x, "%s", line.c_str());
}

void PostCurrentException(t_object* x) noexcept
{
    try
    {
        throw;
    }
    catch (const kel::exceptions::ExceptionalWarning& warning)
    {
        object_warn(x, "%s", warning.what());
    }
    catch (const kel::Exception& failure)
    {
        object_error(x, "%s", failure.what());
    }
    catch (const std::bad_alloc& failure)
    {
        object_error(x, "out of memory : %s", failure.what());
    }
    catch (const std::exception& failure)
    {
        object_error(x, "exception : %s", failure.what());
    }
    catch (...)
    {
        object_error(x, "unknown exception");
    }
}

void PostCurrentExceptionAsBug(t_object* x) noexcept
{
    try
    {
        throw;
    }
    catch (const std::bad_alloc& failure)
    {
        object_bug(x, "out of memory : %s", failure.what());
    }
    catch (const std::exception& failure)
    {
        object_bug(x, "exception : %s", failure.what());
    }
    catch (...)
    {
        object_bug(x, "unknown exception");
    }
}

} // namespace maxmsp
