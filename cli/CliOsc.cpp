// auvo5-sfplay osc FILE...
//   Prints every message of each file (.osc, .txt, .coll; the reader is
//   chosen as presets are) in the text form, one per line, nested bundles
//   flattened depth first. A file that fails to decode ends the run: what
//   was printed stays, the error goes to stderr, the status is 1.
// auvo5-sfplay osc --convert IN OUT
//   Reads IN the same way and writes it as OUT's extension names: .osc
//   binary, .coll Max coll, anything else text. OUT is replaced.
#include <cstdio>
#include <cstring>

#include "CliVerbs.h"
#include "files/KelFile.h"
#include "osc/KelOscHelper.h"

namespace cli {

namespace {

int Usage()
{
    std::fprintf(stderr, "usage: auvo5-sfplay osc FILE...\n"
                         "       auvo5-sfplay osc --convert IN OUT\n");
    return 2;
}

} // namespace

int RunOsc(int argc, char** argv)
{
    if (argc < 1)
        return Usage();

    if (std::strcmp(argv[0], "--convert") == 0)
    {
        if (argc != 3)
            return Usage();
        const kel::File in(argv[1]), out(argv[2]);
        const kel::OscBundle bundle = kel::OscHelper::CreateFromFile(in);
        kel::OscHelper::SaveToFile(bundle, out, kel::Overwrite::replace, "converted from " + in.getFileName());
        return 0;
    }

    for (int i = 0; i < argc; ++i)
    {
        const kel::OscBundle bundle = kel::OscHelper::CreateFromFile(kel::File(argv[i]));
        bundle.ForEachMessage(
            [](const kel::OscMessage& m)
            {
                const kel::String line = m.toString();
                std::fwrite(line.data(), 1, line.size(), stdout);
                std::fputc('\n', stdout);
            });
        std::fflush(stdout);
    }
    return 0;
}

} // namespace cli
