#include "files/KelFileOpening.h"

#include <filesystem>
#include <system_error>

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
#include <fcntl.h>
#include <io.h>
#else
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#include "files/KelNativePath.h"

namespace kel {

namespace {

OpenedFile Failed(OpenFailure failure, String detail = {})
{
    OpenedFile result;
    result.failure = failure;
    result.detail = std::move(detail);
    return result;
}

#if defined(_WIN32)

OpenedFile Failed(DWORD error, const std::filesystem::path& native)
{
    switch (error)
    {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
            return Failed(OpenFailure::noSuchFile);
        case ERROR_ACCESS_DENIED:
        {
            // CreateFileW refuses a directory with this same error.
            const DWORD attributes = ::GetFileAttributesW(native.c_str());
            if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
                return Failed(OpenFailure::notRegularFile);
            return Failed(OpenFailure::permissionDenied);
        }
        default:
            return Failed(OpenFailure::other, std::system_category().message(int(error)));
    }
}

HANDLE OpenHandle(const std::filesystem::path& native, DWORD share)
{
    return ::CreateFileW(native.c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
}

OpenedFile Open(const std::filesystem::path& native)
{
    HANDLE handle = OpenHandle(native, FILE_SHARE_READ | FILE_SHARE_DELETE);
    if (handle == INVALID_HANDLE_VALUE && ::GetLastError() == ERROR_SHARING_VIOLATION)
    {
        // Another program is writing it now (a recording still going on).
        // Refusing would make such a file unplayable; it opens letting the
        // writer go on, and the player's identity check sees what changes.
        handle = OpenHandle(native, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
    }
    if (handle == INVALID_HANDLE_VALUE)
        return Failed(::GetLastError(), native);
    // Consoles, pipes and devices are not files.
    if (::GetFileType(handle) != FILE_TYPE_DISK)
    {
        ::CloseHandle(handle);
        return Failed(OpenFailure::notRegularFile);
    }
    const int descriptor = ::_open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_RDONLY | _O_BINARY);
    if (descriptor < 0)
    {
        ::CloseHandle(handle);
        return Failed(OpenFailure::other, "no descriptor for the file handle");
    }
    OpenedFile result;
    result.handle = ::_fdopen(descriptor, "rb");
    if (result.handle == nullptr)
    {
        ::_close(descriptor);  // closes the handle too
        return Failed(OpenFailure::other, "no stream for the file descriptor");
    }
    return result;
}

#else

OpenedFile FailedWithErrno(int error)
{
    switch (error)
    {
        case ENOENT:
        case ENOTDIR:
            return Failed(OpenFailure::noSuchFile);
        case EACCES:
        case EPERM:
            return Failed(OpenFailure::permissionDenied);
        case ENXIO:  // a socket, or a device without its driver
            return Failed(OpenFailure::notRegularFile);
        default:
            return Failed(OpenFailure::other, std::generic_category().message(error));
    }
}

OpenedFile Open(const std::filesystem::path& native)
{
    // Non-blocking, so that a FIFO without a writer (or a device) cannot
    // hold the open; the type is then read from the descriptor itself.
    const int descriptor = ::open(native.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0)
        return FailedWithErrno(errno);
    struct stat status{};
    if (::fstat(descriptor, &status) != 0)
    {
        const int error = errno;
        ::close(descriptor);
        return FailedWithErrno(error);
    }
    if (!S_ISREG(status.st_mode))
    {
        ::close(descriptor);
        return Failed(OpenFailure::notRegularFile);
    }
    const int flags = ::fcntl(descriptor, F_GETFL);
    OpenedFile result;
    if (flags != -1 && ::fcntl(descriptor, F_SETFL, flags & ~O_NONBLOCK) != -1)
        result.handle = ::fdopen(descriptor, "rb");
    if (result.handle == nullptr)
    {
        const int error = errno;
        ::close(descriptor);
        return FailedWithErrno(error);
    }
    return result;
}

#endif

} // namespace

OpenedFile OpenRegularFileForReading(const String& path)
{
    if (path.empty())
        return Failed(OpenFailure::noSuchFile);
    return Open(ToNativePath(path));
}

bool ReadDiskIdentity(std::FILE* openFile, DiskIdentity& identity)
{
#if defined(_WIN32)
    const auto osHandle = reinterpret_cast<HANDLE>(::_get_osfhandle(::_fileno(openFile)));
    BY_HANDLE_FILE_INFORMATION info{};
    if (osHandle == INVALID_HANDLE_VALUE || !::GetFileInformationByHandle(osHandle, &info))
        return false;
    const std::uint64_t ticks = (std::uint64_t(info.ftLastWriteTime.dwHighDateTime) << 32)
                              | info.ftLastWriteTime.dwLowDateTime;
    identity.size = std::int64_t((std::uint64_t(info.nFileSizeHigh) << 32) | info.nFileSizeLow);
    identity.modifiedSeconds = std::int64_t(ticks / 10000000u);
    identity.modifiedNanoseconds = std::int64_t(ticks % 10000000u) * 100;
#else
    struct stat status{};
    if (::fstat(::fileno(openFile), &status) != 0)
        return false;
    identity.size = std::int64_t(status.st_size);
    identity.modifiedSeconds = std::int64_t(status.st_mtim.tv_sec);
    identity.modifiedNanoseconds = std::int64_t(status.st_mtim.tv_nsec);
#endif
    return true;
}

} // namespace kel
