// Script commands that change files the way a user's shell does while a patch
// plays them: cp rewrites its destination in place (whoever has the file open
// still has the same file, now holding other bytes), truncate cuts a file
// down. Both are strict: anything but exactly that is a script error.
#pragma once

#include <string>

namespace maxsim
{

// "cp SRC DST": SRC must be a file; DST is rewritten in place with SRC's bytes
// (created when absent, in an existing folder). "" when done, else the error.
std::string CopyOver(const std::string& source, const std::string& destination);

// "truncate FILE BYTES": FILE must be a file of at least BYTES bytes; it keeps
// its first BYTES. "" when done, else the error.
std::string TruncateFile(const std::string& path, long long bytes);

}  // namespace maxsim
