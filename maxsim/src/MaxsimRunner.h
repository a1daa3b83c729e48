// The script runner: `maxsim EXTERNAL [SCRIPT]`. Exit status 0 when the
// script ran to its end, 2 on a usage or script error (told on stderr).
#pragma once

#include "MaxsimApi.h"

namespace maxsim
{

MAXSIM_EXPORT int RunMain(int argc, char** argv);

}  // namespace maxsim
