// Paths are UTF-8 text throughout the engine; the platform's own path type
// (wide characters on Windows) is made only where a system call needs it.
//
// Any thread; pure.
#pragma once

#include <filesystem>
#include <string_view>

#include "common/KelString.h"

namespace kel {

inline std::filesystem::path ToNativePath(std::string_view utf8)
{
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

/** UTF-8 text with '/' as the separator on every platform. */
inline String FromNativePath(const std::filesystem::path& path)
{
    const auto u8 = path.generic_u8string();
    return String(u8.begin(), u8.end());
}

} // namespace kel
