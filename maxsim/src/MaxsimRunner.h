// The script runner: `maxsim [--overdrive off|on|audio] EXTERNAL [SCRIPT]`.
// Exit status 0 when the script ran to its end, 2 on a usage or script error
// (told on stderr), 3 when it ran but something broke Max's rules (the
// "bug 0" lines).
#pragma once

#include "MaxsimApi.h"

namespace maxsim
{

MAXSIM_EXPORT int RunMain(int argc, char** argv);

}  // namespace maxsim
