// kel::FileReader: a buffered kel::InputStream over a file on disk, with
// 64-bit positions on every platform (also where long is 32 bits).
//
// Small reads are served from a 16 KB buffer; a read of 4 KB or more that
// the buffer does not hold goes straight into the caller's memory (copying
// it through the buffer would cost a second copy). Nothing is memory-mapped.
//
// Only regular files open (see files/KelFileOpening.h); the reason of a
// failure is kept for the caller to report.
//
// Not thread-safe: one thread at a time. Construction and reads block on the
// disk; reads never allocate.
#pragma once

#include <cstdio>

#include "files/KelFile.h"
#include "files/KelFileOpening.h"
#include "files/KelInputStream.h"

namespace kel {

class FileReader final : public InputStream
{
public:
    /** Opens the file for reading; check openedOk(). */
    explicit FileReader(const File& file);
    ~FileReader() override;

    FileReader(const FileReader&) = delete;
    FileReader& operator=(const FileReader&) = delete;

    /** False when the file could not be opened: every read then gives
        nothing and the length is 0. */
    bool openedOk() const noexcept { return handle != nullptr; }
    /** Why it could not be opened (OpenFailure::none when it was). */
    OpenFailure getOpenFailure() const noexcept { return openFailure; }
    /** The system's words for an OpenFailure::other. */
    const String& getOpenFailureDetail() const noexcept { return openFailureDetail; }
    const File& getFile() const noexcept { return file; }

    std::int64_t Read(void* dest, std::int64_t numBytes) override;
    std::int64_t getPosition() const override { return position; }
    bool setPosition(std::int64_t newPosition) override;
    std::int64_t getTotalLength() const override { return totalLength; }
    bool isExhausted() const override { return position >= totalLength; }

    /** False once the file on disk is no longer the one opened: its size or
        its modification time (to the nanosecond where the system keeps it)
        differs from what the open handle showed right after opening, or the
        handle cannot be asked any more. A rewrite in place (cp over it, a
        re-export, truncate) shows; a file replaced by a rename does not
        (the handle still reads the old file, which is intact). True when
        the open could not take the identity. One fstat-class call; never
        allocates; one thread at a time, as every call here. */
    bool isUnchangedOnDisk() const;

private:
    /** Reads from the file at an absolute position, seeking only when the
        handle stands elsewhere. */
    std::int64_t readAt(std::int64_t filePosition, void* dest, std::int64_t numBytes);

    static constexpr std::int64_t bufferSize = 1 << 14;
    static constexpr std::int64_t directReadBytes = 1 << 12;

    File file;
    std::FILE* handle = nullptr;
    DiskIdentity openedIdentity;  // size -1: not known
    OpenFailure openFailure = OpenFailure::none;
    String openFailureDetail;
    std::int64_t totalLength = 0;
    std::int64_t position = 0;
    std::int64_t handlePosition = 0;  // where the handle stands, -1 when unknown
    MemoryBlock buffer;
    std::int64_t bufferStart = 0;  // file position of buffer[0]
    std::int64_t bufferFill = 0;
};

} // namespace kel
