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

} // namespace kel
