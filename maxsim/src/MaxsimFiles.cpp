#include "MaxsimFiles.h"

#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

namespace maxsim
{
namespace
{

namespace fs = std::filesystem;

fs::path Native(const std::string& path) { return fs::path(std::u8string(path.begin(), path.end())); }

}  // namespace

std::string CopyOver(const std::string& source, const std::string& destination)
{
    std::error_code error;
    if (!fs::is_regular_file(Native(source), error))
        return "cp: no file " + source;
    if (fs::is_directory(Native(destination), error))
        return "cp: " + destination + " is a folder";
    const auto size = fs::file_size(Native(source), error);
    std::vector<char> bytes(error ? 0 : static_cast<std::size_t>(size));
    std::ifstream in(Native(source), std::ios::binary);
    if (error || !in.read(bytes.data(), static_cast<std::streamsize>(bytes.size())))
        return "cp: cannot read " + source;
    // Opened for writing and truncated, never replaced: the same file.
    std::ofstream out(Native(destination), std::ios::binary | std::ios::trunc);
    if (!out)
        return "cp: cannot write " + destination;
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out)
        return "cp: cannot write " + destination;
    return std::string();
}

std::string TruncateFile(const std::string& path, long long bytes)
{
    std::error_code error;
    if (!fs::is_regular_file(Native(path), error))
        return "truncate: no file " + path;
    const auto size = fs::file_size(Native(path), error);
    if (error)
        return "truncate: cannot read the size of " + path;
    if (bytes < 0 || static_cast<unsigned long long>(bytes) > size)
        return "truncate: " + path + " has " + std::to_string(size) + " bytes, cannot keep " + std::to_string(bytes);
    fs::resize_file(Native(path), static_cast<std::uintmax_t>(bytes), error);
    if (error)
        return "truncate: cannot cut " + path + ": " + error.message();
    return std::string();
}

}  // namespace maxsim
