// The verbs of auvo5-sfplay. Each takes the arguments after its own name and
// returns the process exit status.
#pragma once

#include <exception>
#include <string_view>

namespace cli {

struct Verb
{
    std::string_view name;
    std::string_view usage;    // one line, after "auvo5-sfplay "
    std::string_view summary;  // what it does, for --help
    int (*run)(int argc, char** argv);
};

int RunOsc(int argc, char** argv);
int RunDecode(int argc, char** argv);
int RunInfo(int argc, char** argv);
int RunRender(int argc, char** argv);

/** Prints the exception's full text on stderr; returns 1. */
int ReportFailure(const std::exception& e);

} // namespace cli
