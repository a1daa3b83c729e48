// Where a throw site stands: its source path relative to the source tree
// (without extension), its line and the enclosing function's signature.
// The path is worked out at compile time so that it never depends on where
// the checkout or the build folder lives.
#pragma once

#include <cstdint>
#include <string_view>

#include "common/KelString.h"

#ifndef KEL_SOURCE_ROOT
#define KEL_SOURCE_ROOT ""
#endif

namespace kel {

struct SourceLocation
{
    String path;             // e.g. "libnorvdsp/src/osc/KelOscAddress"
    std::uint64_t line = 0;  // 0 means "no location"
    String function;         // as the compiler spells it

    bool isSet() const noexcept { return line != 0; }
};

namespace detail {

/** Strips the source tree's prefix (when the compiler did not already map it
    away) and the extension from a __FILE__ text. */
consteval std::string_view RelativeSourcePath(std::string_view file)
{
    const std::string_view root = KEL_SOURCE_ROOT;
    if (!root.empty() && file.starts_with(root))
    {
        file.remove_prefix(root.size());
        while (!file.empty() && (file.front() == '/' || file.front() == '\\'))
            file.remove_prefix(1);
    }
    const auto slash = file.find_last_of("/\\");
    const auto dot = file.rfind('.');
    if (dot != std::string_view::npos && (slash == std::string_view::npos || dot > slash))
        file = file.substr(0, dot);
    return file;
}

} // namespace detail
} // namespace kel

#if defined(_MSC_VER) && !defined(__clang__)
#define KEL_FUNCTION_SIGNATURE __FUNCSIG__
#else
#define KEL_FUNCTION_SIGNATURE __PRETTY_FUNCTION__
#endif

/** The source location of the line it stands on. */
#define KEL_HERE                                                                            \
    (::kel::SourceLocation{::kel::String(::kel::detail::RelativeSourcePath(__FILE__)),      \
                           static_cast<std::uint64_t>(__LINE__), KEL_FUNCTION_SIGNATURE})
