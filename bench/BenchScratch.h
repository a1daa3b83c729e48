// A folder for a benchmark program's files, removed when the program ends.
#pragma once

#include <filesystem>
#include <string>
#include <system_error>
#include <unistd.h>

namespace bench {

struct Scratch
{
    std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("auvo5-bench-" + std::to_string(::getpid()));
    Scratch() { std::filesystem::create_directories(folder); }
    ~Scratch()
    {
        std::error_code error;
        std::filesystem::remove_all(folder, error);
    }
};

inline Scratch& TheScratch()
{
    static Scratch scratch;
    return scratch;
}

} // namespace bench
