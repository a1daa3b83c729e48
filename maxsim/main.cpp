// maxsim EXTERNAL [SCRIPT]: runs a script against a Max external.
#include "MaxsimRunner.h"

int main(int argc, char** argv) { return maxsim::RunMain(argc, argv); }
