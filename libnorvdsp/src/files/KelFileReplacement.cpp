#include "files/KelFileReplacement.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <random>
#include <system_error>

#include "common/KelException.h"
#include "files/KelNativePath.h"

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace kel {

namespace fs = std::filesystem;

namespace {

// The system's text, as a console line continues it: "No space left on
// device" reads "no space left on device".
String Lowered(String text)
{
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ' || text.back() == '.'))
        text.pop_back();
    if (text.size() >= 2 && text[0] >= 'A' && text[0] <= 'Z' && text[1] >= 'a' && text[1] <= 'z')
        text[0] = char(text[0] - 'A' + 'a');
    return text;
}

String ErrnoText(int error)
{
    return Lowered(std::generic_category().message(error));
}

String RandomHex()
{
    static std::atomic<std::uint64_t> counter{0};
    std::uint64_t value = std::uint64_t(std::chrono::steady_clock::now().time_since_epoch().count()) ^
                          (counter.fetch_add(1) * 0x9E3779B97F4A7C15ull);
    try
    {
        std::random_device device;
        value ^= (std::uint64_t(device()) << 32) ^ device();
    }
    catch (const std::exception&)
    {
        // The clock and the counter keep names apart; creation is exclusive anyway.
    }
    static constexpr char digits[] = "0123456789abcdef";
    String hex(16, '0');
    for (std::size_t i = 0; i < hex.size(); ++i)
        hex[i] = digits[(value >> (4 * i)) & 0xF];
    return hex;
}

// The few system calls, each returning an empty text or the reason it failed.
#if defined(_WIN32)

String LastErrorText()
{
    const DWORD code = ::GetLastError();
    wchar_t* buffer = nullptr;
    const DWORD length = ::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                              FORMAT_MESSAGE_IGNORE_INSERTS,
                                          nullptr, code, 0, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    String text = "system error " + ToString(std::uint64_t(code));
    if (length != 0 && buffer != nullptr)
        text = FromNativePath(fs::path(std::wstring(buffer, length)));
    ::LocalFree(buffer);
    return Lowered(text);
}

int OpenExclusive(const String& path)
{
    return ::_wopen(ToNativePath(path).c_str(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT,
                    _S_IREAD | _S_IWRITE);
}

void KeepModeOf(const String&, int) {}

long WriteSome(int fd, const char* data, std::size_t size)
{
    return ::_write(fd, data, unsigned(std::min<std::size_t>(size, 1u << 30)));
}

int Flush(int fd) { return ::_commit(fd); }
int Close(int fd) { return ::_close(fd); }
void Remove(const String& path) { ::_wunlink(ToNativePath(path).c_str()); }

String RenameOver(const String& from, const String& to)
{
    if (::MoveFileExW(ToNativePath(from).c_str(), ToNativePath(to).c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
        return {};
    return LastErrorText();
}

#else

int OpenExclusive(const String& path)
{
    return ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
}

void KeepModeOf(const String& path, int fd)
{
    struct stat info{};
    if (::stat(path.c_str(), &info) == 0)
        (void)::fchmod(fd, info.st_mode & 07777);
}

long WriteSome(int fd, const char* data, std::size_t size)
{
    return long(::write(fd, data, std::min<std::size_t>(size, std::size_t(1) << 30)));
}

int Flush(int fd) { return ::fsync(fd); }
int Close(int fd) { return ::close(fd); }
void Remove(const String& path) { ::unlink(path.c_str()); }

String RenameOver(const String& from, const String& to)
{
    if (::rename(from.c_str(), to.c_str()) != 0)
        return ErrnoText(errno);
    // The rename itself reaches the disk with its folder's entry.
    const String folder = FromNativePath(ToNativePath(to).parent_path());
    const int directory = ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory >= 0)
    {
        (void)::fsync(directory);
        ::close(directory);
    }
    return {};
}

#endif

} // namespace

FileReplacement::FileReplacement(const File& file) : target(file), realPath(file.getFullPathName())
{
    std::error_code error;
    const fs::path path = ToNativePath(realPath);
    if (fs::is_symlink(path, error))
    {
        const fs::path resolved = fs::weakly_canonical(path, error);
        if (!error)
            realPath = FromNativePath(resolved);
    }
}

FileReplacement::~FileReplacement()
{
    removeTemporary();
}

void FileReplacement::removeTemporary() noexcept
{
    if (!temporary.empty())
        Remove(temporary);
    temporary.clear();
}

void FileReplacement::fail(std::string_view why)
{
    removeTemporary();
    throw exceptions::ErrorWritingFile(target, why, KEL_HERE);
}

void FileReplacement::Write(std::string_view content)
{
    const fs::path real = ToNativePath(realPath);
    const String name = FromNativePath(real.filename());
    const fs::path folder = real.parent_path();
    int fd = -1;
    for (int attempt = 0; fd < 0; ++attempt)
    {
        temporary = FromNativePath(folder / ToNativePath("." + name + "." + RandomHex() + ".tmp"));
        fd = OpenExclusive(temporary);
        if (fd < 0)
        {
            const int error = errno;
            temporary.clear();  // not ours: another file took the name
            if (error != EEXIST || attempt >= 16)
                fail(ErrnoText(error));
        }
    }
    KeepModeOf(realPath, fd);

    int error = 0;
    for (std::size_t done = 0; done < content.size() && error == 0;)
    {
        const long n = WriteSome(fd, content.data() + done, content.size() - done);
        if (n > 0)
            done += std::size_t(n);
        else if (n == 0 || errno != EINTR)
            error = n == 0 ? EIO : errno;
    }
    if (error == 0 && Flush(fd) != 0)
        error = errno;
    if (error != 0)
    {
        Close(fd);
        fail(ErrnoText(error));
    }
    if (Close(fd) != 0)
        fail(ErrnoText(errno));
}

void FileReplacement::Commit()
{
    if (temporary.empty())
        fail("nothing was written");
    const String why = RenameOver(temporary, realPath);
    if (!why.empty())
        fail(why);
    temporary.clear();
}

void FileReplacement::Replace(const File& target, std::string_view content)
{
    FileReplacement replacement(target);
    replacement.Write(content);
    replacement.Commit();
}

} // namespace kel
