// The simulator's output: one line per event on stdout, written and flushed
// under one lock. Any thread may call; it blocks only on that lock.
#pragma once

#include <mutex>
#include <string>

namespace maxsim
{

// Writes the line (a newline is added).
void EmitLine(const std::string& line);
// Writes "KIND BOX TEXT", BOX being the object's box label.
void Emit(const char* kind, const void* object, const std::string& text);
// The lock every output line is written under (outlet tables share it).
std::mutex& OutputMutex();

}  // namespace maxsim
