// auvo5-sfplay VERB ARGS...: inspect and exercise the engine without Max.
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "CliVerbs.h"
#include "audiofiles/KelAudioFileReader.h"
#include "common/KelConsoleText.h"
#include "common/KelException.h"
#include "osc/KelHostNotifier.h"

namespace cli {

namespace {

constexpr Verb verbs[] = {
    {"osc", "osc FILE...  |  osc --convert IN OUT",
     "Print every message of each .osc, .txt or .coll file in the OSC text form, one per line, "
     "bundles flattened depth first; or convert IN to the format OUT's extension names "
     "(.osc binary, .coll Max coll, otherwise text).",
     RunOsc},
    {"decode", "decode FILE OUT",
     "Write every frame of every channel of an audio file, read through the engine's reader in blocks of at most "
     "4096 frames, to OUT as interleaved 32-bit float little-endian raw data.",
     RunDecode},
    {"info", "info FILE",
     "Print the metadata dump of an audio file, one message per line in the OSC text form: \"/filename\", the "
     "file's facts, its broadcast-wave fields when present, then its markers.",
     RunInfo},
    {"render", "render FILE OUT.wav [options]",
     "Play FILE through the engine's player, buffering thread included, as a host would, and write its outputs "
     "to OUT.wav as 32-bit float (RF64 past 4 GB). Every report to the player's listeners is printed on stdout, "
     "one line per message: the rendered time in ms, a blank, the report in the OSC text form (\"bang\" for the "
     "end of playback). Options: --channels N (default: the file's channel count), --buffersize FRAMES (default "
     "480000), --samplerate HZ (default: the file's rate), --blocksize FRAMES (default 64); --at MS \"message\", "
     "repeatable: hand an OSC message in text form to the player when the rendered time reaches MS (before the "
     "first block for 0; with no --at, \"/start\" at 0); --seconds S: how much to render (default: until "
     "playback has ended and every --at message is sent, at most 3600 s); --position: append the "
     "playback-position signal (ms) as the last channel and write 64-bit float; --freewheel (default): send the "
     "player \"/freewheel 1\", so that each block waits until the disk has delivered it and the output is exact; "
     "--realtime: pace the blocks at the sample rate and write each report line as it comes. A file that "
     "changes on disk or cannot be read while it plays ends playback early, and render exits with status 1.",
     RunRender},
};

void PrintHelp(std::FILE* out)
{
    std::fprintf(out, "usage: auvo5-sfplay VERB [ARGS...]\n\nverbs:\n");
    for (const auto& verb : verbs)
        std::fprintf(out, "  auvo5-sfplay %.*s\n      %.*s\n", int(verb.usage.size()), verb.usage.data(),
                     int(verb.summary.size()), verb.summary.data());
    std::fprintf(out, "\nOn failure a verb prints the error on stderr and exits with status 1.\n");
}

} // namespace

int ReportFailure(const std::exception& e)
{
    std::fflush(stdout);
    // The text may hold a zero byte (a packet's offending character), so it
    // is written by length, not as a C string; cut to one console line as
    // the host's console would show it.
    const kel::Exception* ours = dynamic_cast<const kel::Exception*>(&e);
    const std::string text = kel::CappedText(ours ? std::string_view(ours->getFullText()) : std::string_view(e.what()));
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fputc('\n', stderr);
    return 1;
}

void WarnAboutLength(const kel::AudioFileReader& reader)
{
    const auto warning = reader.getLengthWarning();
    if (warning.empty())
        return;
    const auto line = kel::HostNotifier::ComposeConsoleText(warning, kel::HostNotifier::Level::warning);
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fputc('\n', stderr);
}

} // namespace cli

int main(int argc, char** argv)
{
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)
    {
        cli::PrintHelp(argc < 2 ? stderr : stdout);
        return argc < 2 ? 2 : 0;
    }
    for (const auto& verb : cli::verbs)
        if (verb.name == argv[1])
        {
            try
            {
                return verb.run(argc - 2, argv + 2);
            }
            catch (const std::exception& e)
            {
                return cli::ReportFailure(e);
            }
        }
    std::fprintf(stderr, "auvo5-sfplay: unknown verb \"%s\" (see --help)\n", argv[1]);
    return 2;
}
