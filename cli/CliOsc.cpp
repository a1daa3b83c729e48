// auvo5-sfplay osc FILE...
#include <cstdio>

#include "CliVerbs.h"

namespace cli {

int RunOsc(int argc, char** /*argv*/)
{
    if (argc < 1)
    {
        std::fprintf(stderr, "usage: auvo5-sfplay osc FILE...\n");
        return 2;
    }
    std::fprintf(stderr, "auvo5-sfplay osc: the OSC file readers are not built yet\n");
    return 1;
}

} // namespace cli
