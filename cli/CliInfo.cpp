// auvo5-sfplay info FILE
// The metadata dump of an audio file, one message per line in the OSC text
// form: "/filename", the file's facts, its broadcast-wave fields when it has
// them, then its markers.
#include <cstdio>

#include "CliVerbs.h"
#include "audiofiles/KelAudioFileReader.h"
#include "audiofiles/KelAudioFileReports.h"
#include "common/KelException.h"

namespace cli {

int RunInfo(int argc, char** argv)
{
    if (argc != 1)
    {
        std::fprintf(stderr, "usage: auvo5-sfplay info FILE\n");
        return 2;
    }
    const auto reader = kel::AudioFileReader::CreateReaderFor(kel::File(argv[0]));
    if (reader == nullptr)
        throw kel::Exception("no file given", KEL_HERE);
    WarnAboutLength(*reader);
    kel::OscBundle bundle;
    kel::AppendMetadataDump(reader->getFile(), reader->getMetadata(), bundle);
    const auto text = bundle.toString();
    std::fwrite(text.data(), 1, text.size(), stdout);
    return 0;
}

} // namespace cli
