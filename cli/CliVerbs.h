// The verbs of auvo5-sfplay. Each takes the arguments after its own name and
// returns the process exit status.
#pragma once

#include <exception>
#include <string_view>

namespace kel {
class AudioFileReader;
}

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

/** Prints, on stderr as a host's console would show it, the warning of a
    file whose header declares another length than the file holds. */
void WarnAboutLength(const kel::AudioFileReader& reader);

} // namespace cli
