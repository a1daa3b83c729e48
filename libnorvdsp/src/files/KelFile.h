// kel::File names a file by its full path. It is a value; nothing is opened
// until a reader or writer is made for it. Paths are UTF-8 text on every
// platform.
//
// Any thread; the operations that touch the disk block on it.
#pragma once

#include <cstdint>

#include "common/KelString.h"

namespace kel {

/** What to do when a file about to be written exists already. */
enum class Overwrite
{
    refuse,  // leave the existing file alone and report that nothing was written
    replace  // replace it
};

class File
{
public:
    File() = default;
    explicit File(String fullPath) : path(std::move(fullPath)) {}

    const String& getFullPathName() const noexcept { return path; }
    /** The last path component, extension included. */
    String getFileName() const;
    String getFileNameWithoutExtension() const;
    /** The extension with its dot (".wav"), or empty. */
    String getFileExtension() const;
    /** Compares the extension (with or without its dot) ignoring case. */
    bool hasFileExtension(std::string_view extension) const;
    /** The same file with its extension replaced (or added). */
    File withFileExtension(std::string_view extension) const;
    File getParentDirectory() const;
    File getChildFile(std::string_view relativePath) const;

    bool exists() const;
    bool existsAsFile() const;
    bool isDirectory() const;
    /** Size in bytes; 0 when it does not exist. */
    std::uint64_t getSize() const;
    bool deleteFile() const;
    bool createDirectory() const;

    /** Reads the whole file as bytes into text; throws
        kel::exceptions::NoSuchFile when it cannot be opened. */
    String loadFileAsString() const;
    /** Writes text as the whole content, never in place: the old content
        stays whole until the new one is on disk (KelFileReplacement.h).
        Throws kel::exceptions::ErrorWritingFile with the system's reason. */
    void replaceWithText(std::string_view text) const;

    bool operator==(const File& other) const { return path == other.path; }

private:
    String path;
};

} // namespace kel
