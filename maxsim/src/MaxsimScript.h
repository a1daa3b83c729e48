// Script lines: one command a line, # comment lines and blank lines skipped,
// ${NAME} replaced by the environment variable NAME.
#pragma once

#include <istream>
#include <string>

namespace maxsim
{

struct ScriptLine
{
    int number = 0;
    std::string command;
    std::string rest;  // the text after the command, variables expanded
};

// Reads the next command; false at the end of the script. An undefined
// variable sets `error` (and returns true with the line's number).
bool ReadScriptLine(std::istream& in, ScriptLine& line, int& lineNumber, std::string& error);

}  // namespace maxsim
