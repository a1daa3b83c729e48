// The simulator's output: one line per event on stdout, written and flushed
// under one lock. Any thread may call; it blocks only on that lock.
#pragma once

#include <cstddef>
#include <mutex>
#include <string>

namespace maxsim
{

// Writes the line (a newline is added).
void EmitLine(const std::string& line);
// Writes "KIND BOX TEXT", BOX being the object's box label.
void Emit(const char* kind, const void* object, const std::string& text);

// Max cuts a long post to what its window shows (where is not documented);
// a post longer than this, in UTF-8 characters, is reported as a violation
// so that objects cut their own texts where they choose.
constexpr std::size_t kMaxPostCharacters = 2048;
// The lock every output line is written under (outlet tables share it).
std::mutex& OutputMutex();

}  // namespace maxsim
