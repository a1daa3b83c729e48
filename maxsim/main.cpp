// maxsim EXTERNAL [SCRIPT]: runs a script against a Max external.
#include "MaxsimRunner.h"

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>

#include <cstdio>
#endif

int main(int argc, char** argv)
{
#if defined(_WIN32)
    // The same bytes on every platform: a text mode stdout would turn every
    // "\n" into "\r\n", also inside texts the external posts.
    _setmode(_fileno(stdout), _O_BINARY);
#endif
    return maxsim::RunMain(argc, argv);
}
