// Replacing a file's whole content without ever losing the old one. The new
// content goes to a temporary file in the same folder, named
// ".<name>.<random>.tmp" (created exclusively, so it never takes another's
// place), is flushed to the disk and closed, each step checked, and only
// then renamed over the file (rename on POSIX, MoveFileExW with
// MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH on Windows): a full
// disk, a crash or a failed write leaves the old file byte for byte. On any
// failure the temporary file is removed and exceptions::ErrorWritingFile
// names the file and the system's reason ("no space left on device").
//
// A file named through a symbolic link is replaced where the link points,
// and the link stays. A file that exists keeps its permission bits (POSIX).
//
// Several replacements prepared first and committed together (Write each,
// then Commit each) leave all the old files alone when any write fails.
//
// Blocks on the disk: the main thread, or a worker that owns the file.
#pragma once

#include <string_view>

#include "common/KelString.h"
#include "files/KelFile.h"

namespace kel {

class FileReplacement
{
public:
    explicit FileReplacement(const File& target);
    /** Removes the temporary file unless it was committed. */
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    /** Writes content to a new temporary file beside the target, flushed
        and closed. Throws exceptions::ErrorWritingFile. Once only. */
    void Write(std::string_view content);
    /** Renames the written temporary file over the target. Throws
        exceptions::ErrorWritingFile (the temporary file is then gone). */
    void Commit();

    /** Writes and commits at once. */
    static void Replace(const File& target, std::string_view content);

private:
    [[noreturn]] void fail(std::string_view why);
    void removeTemporary() noexcept;

    File target;       // as named by the caller, for errors
    String realPath;   // where the content goes (a link resolved)
    String temporary;  // empty until written, and once committed or removed
};

} // namespace kel
