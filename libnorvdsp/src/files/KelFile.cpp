#include "files/KelFile.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include "common/KelException.h"
#include "files/KelFileReplacement.h"
#include "files/KelNativePath.h"

namespace kel {

namespace fs = std::filesystem;

String File::getFileName() const { return FromNativePath(ToNativePath(path).filename()); }
String File::getFileNameWithoutExtension() const { return FromNativePath(ToNativePath(path).stem()); }
String File::getFileExtension() const { return FromNativePath(ToNativePath(path).extension()); }

bool File::hasFileExtension(std::string_view extension) const
{
    if (!extension.empty() && extension.front() == '.')
        extension.remove_prefix(1);
    const String own = getFileExtension();
    const std::string_view ownView = own.empty() ? std::string_view() : std::string_view(own).substr(1);
    return EqualsIgnoreCase(ownView, extension);
}

File File::withFileExtension(std::string_view extension) const
{
    String ext(extension);
    if (!ext.empty() && ext.front() != '.')
        ext.insert(ext.begin(), '.');
    return File(FromNativePath(ToNativePath(path).replace_extension(ToNativePath(ext))));
}

File File::getParentDirectory() const { return File(FromNativePath(ToNativePath(path).parent_path())); }
File File::getChildFile(std::string_view relativePath) const
{
    return File(FromNativePath(ToNativePath(path) / ToNativePath(String(relativePath))));
}

bool File::exists() const
{
    std::error_code error;
    return !path.empty() && fs::exists(ToNativePath(path), error);
}
bool File::existsAsFile() const
{
    std::error_code error;
    return !path.empty() && fs::is_regular_file(ToNativePath(path), error);
}
bool File::isDirectory() const
{
    std::error_code error;
    return !path.empty() && fs::is_directory(ToNativePath(path), error);
}
std::uint64_t File::getSize() const
{
    std::error_code error;
    const auto size = fs::file_size(ToNativePath(path), error);
    return error ? 0 : std::uint64_t(size);
}
bool File::deleteFile() const
{
    std::error_code error;
    return fs::remove(ToNativePath(path), error) && !error;
}
bool File::createDirectory() const
{
    std::error_code error;
    fs::create_directories(ToNativePath(path), error);
    return isDirectory();
}

String File::loadFileAsString() const
{
    std::ifstream in(ToNativePath(path), std::ios::binary);
    if (!in)
        throw exceptions::NoSuchFile(*this, KEL_HERE);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

void File::replaceWithText(std::string_view text) const
{
    FileReplacement::Replace(*this, text);
}

} // namespace kel
