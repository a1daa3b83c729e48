#include "files/KelFileReader.h"

#include <algorithm>
#include <cstring>

#include "files/KelFileOpening.h"

namespace kel {

namespace {

// 64-bit seek and tell: fseeko/ftello where off_t is 64 bits, the _i64
// variants on Windows, where long (and so fseek) stays 32 bits.
bool Seek64(std::FILE* f, std::int64_t offset, int origin)
{
#if defined(_WIN32)
    return ::_fseeki64(f, offset, origin) == 0;
#else
    static_assert(sizeof(off_t) == 8, "64-bit file offsets required");
    return ::fseeko(f, off_t(offset), origin) == 0;
#endif
}

std::int64_t Tell64(std::FILE* f)
{
#if defined(_WIN32)
    return ::_ftelli64(f);
#else
    return std::int64_t(::ftello(f));
#endif
}

} // namespace

FileReader::FileReader(const File& fileToRead) : file(fileToRead)
{
    OpenedFile opened = OpenRegularFileForReading(file.getFullPathName());
    handle = opened.handle;
    openFailure = opened.failure;
    openFailureDetail = std::move(opened.detail);
    if (handle == nullptr)
        return;
    ReadDiskIdentity(handle, openedIdentity);
    // Our own buffer does the buffering; a second one in stdio would only
    // copy every byte once more.
    std::setvbuf(handle, nullptr, _IONBF, 0);
    std::int64_t length = -1;
    if (Seek64(handle, 0, SEEK_END))
        length = Tell64(handle);
    if (length < 0 || !Seek64(handle, 0, SEEK_SET))
    {
        // A file whose end cannot be found cannot be read as one.
        std::fclose(handle);
        handle = nullptr;
        openFailure = OpenFailure::other;
        openFailureDetail = "its length cannot be found";
        return;
    }
    totalLength = length;
    buffer.Resize(std::size_t(bufferSize));
}

FileReader::~FileReader()
{
    if (handle != nullptr)
        std::fclose(handle);
}

bool FileReader::isUnchangedOnDisk() const
{
    if (handle == nullptr || openedIdentity.size < 0)
        return true;
    DiskIdentity now;
    return ReadDiskIdentity(handle, now) && now == openedIdentity;
}

bool FileReader::setPosition(std::int64_t newPosition)
{
    position = std::clamp<std::int64_t>(newPosition, 0, totalLength);
    return position == newPosition;
}

std::int64_t FileReader::readAt(std::int64_t filePosition, void* dest, std::int64_t numBytes)
{
    if (handlePosition != filePosition)
    {
        if (!Seek64(handle, filePosition, SEEK_SET))
        {
            handlePosition = -1;
            return 0;
        }
        handlePosition = filePosition;
    }
    const auto got = std::int64_t(std::fread(dest, 1, std::size_t(numBytes), handle));
    handlePosition += got;
    if (got < numBytes)
    {
        // End of file or an error: forget where the handle stands so that the
        // next read seeks (which also clears the end-of-file state).
        std::clearerr(handle);
        handlePosition = -1;
    }
    return got;
}

std::int64_t FileReader::Read(void* dest, std::int64_t numBytes)
{
    if (handle == nullptr || numBytes <= 0)
        return 0;
    numBytes = std::min(numBytes, totalLength - position);
    auto* out = static_cast<std::uint8_t*>(dest);
    std::int64_t done = 0;
    while (done < numBytes)
    {
        if (position >= bufferStart && position < bufferStart + bufferFill)
        {
            const auto offset = position - bufferStart;
            const auto n = std::min(numBytes - done, bufferFill - offset);
            std::memcpy(out + done, buffer.data() + offset, std::size_t(n));
            done += n;
            position += n;
            continue;
        }
        const auto remaining = numBytes - done;
        if (remaining >= directReadBytes)
        {
            const auto got = readAt(position, out + done, remaining);
            done += got;
            position += got;
            break;
        }
        bufferStart = position;
        bufferFill = readAt(position, buffer.data(), bufferSize);
        if (bufferFill <= 0)
        {
            bufferFill = 0;
            break;
        }
    }
    return done;
}

} // namespace kel
