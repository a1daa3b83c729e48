// Opening a file for reading so that nothing can hang and the caller learns
// why it failed. Only a regular file is opened: a directory, a FIFO, a
// socket or a device is refused without a blocking open (a FIFO without a
// writer would block an ordinary open for ever, a device would read for
// ever), and the type is checked on the opened handle itself, so a file
// swapped between a check and the open cannot slip through.
//
// On Windows the file is opened sharing read and delete: other programs may
// rename or delete it while we play, but not write it.
//
// Any thread; blocks on the disk.
#pragma once

#include <cstdint>
#include <cstdio>

#include "common/KelString.h"

namespace kel {

/** Why a file could not be opened for reading. */
enum class OpenFailure
{
    none,
    noSuchFile,        // nothing exists at that path
    permissionDenied,
    notRegularFile,    // a directory, FIFO, socket or device
    other              // see the detail text
};

struct OpenedFile
{
    std::FILE* handle = nullptr;  // binary, blocking reads; the caller closes it
    OpenFailure failure = OpenFailure::none;
    String detail;                // the system's words for an OpenFailure::other
};

/** Opens a regular file (UTF-8 path) for binary reading. */
OpenedFile OpenRegularFileForReading(const String& path);

/** What tells an open file from a rewrite of it: its size and last write
    time (nanoseconds on POSIX, 100 ns ticks on Windows, so that a rewrite
    within the same second still shows). */
struct DiskIdentity
{
    std::int64_t size = -1;  // -1: not known
    std::int64_t modifiedSeconds = 0;
    std::int64_t modifiedNanoseconds = 0;
    bool operator==(const DiskIdentity&) const = default;
};

/** Fills identity from the open handle (not the path, which may name
    another file by now) with one fstat-class call; false when the system
    cannot tell. */
bool ReadDiskIdentity(std::FILE* openFile, DiskIdentity& identity);

} // namespace kel
