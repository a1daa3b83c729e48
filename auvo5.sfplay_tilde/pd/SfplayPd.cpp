// The Pd class "auvo5.sfplay~": the same player as the Max object, its
// creation arguments, and the messages particular to it. Everything
// generic (OSC translation, dump, presets, version, audio) is the binding's
// (libpuredata).
//
// [auvo5.sfplay~ CHANNELS BUFFERSIZE], or with Max's attribute names:
// [auvo5.sfplay~ @channels 64 @buffersize 960000 @initwith /loop 1, /verbose minimal]
#include <algorithm>
#include <cmath>

#include "PdWrapperObject.h"
#include "SfplayListener.h"
#include "dsp/KelAudioFilePlayer.h"
#include "osc/KelMessageLists.h"

namespace {

struct Sfplay : puredata::PdObject<kel::AudioFilePlayer>
{
    SfplayListener* playerListener;  // owned; registered with the player
};

t_class* sfplayClass = nullptr;

// The same limits as Max's attributes, which clip rather than refuse.
constexpr std::uint32_t maxChannels = 8192;
constexpr double minBufferSize = 192000, maxBufferSize = 2880000, defaultBufferSize = 480000;

struct Arguments
{
    double channels = 1;
    double bufferSize = defaultBufferSize;
    kel::String initwith;  // OSC messages in text form, separated by commas
};

/** Positional numbers (channels, buffer size), then "@channels N",
    "@buffersize N", "@initwith MESSAGES" (commas separate the messages). */
Arguments ParseArguments(int argc, const t_atom* argv)
{
    Arguments arguments;
    int i = 0;
    for (int position = 0; i < argc && argv[i].a_type == A_FLOAT; ++i, ++position)
    {
        if (position == 0)
            arguments.channels = argv[i].a_w.w_float;
        else if (position == 1)
            arguments.bufferSize = argv[i].a_w.w_float;
        else
            throw kel::Exception("too many numbers: [auvo5.sfplay~ CHANNELS BUFFERSIZE]", KEL_HERE);
    }
    while (i < argc)
    {
        const kel::String name = argv[i].a_type == A_SYMBOL ? kel::String(argv[i].a_w.w_symbol->s_name) : "";
        ++i;
        if (name == "@channels" || name == "@buffersize")
        {
            if (i >= argc || argv[i].a_type != A_FLOAT)
                throw kel::Exception(name + " needs a number", KEL_HERE);
            (name == "@channels" ? arguments.channels : arguments.bufferSize) = argv[i++].a_w.w_float;
        }
        else if (name == "@initwith")
        {
            for (; i < argc && !(argv[i].a_type == A_SYMBOL && argv[i].a_w.w_symbol->s_name[0] == '@'); ++i)
            {
                if (argv[i].a_type == A_COMMA)
                {
                    arguments.initwith += ",";
                    continue;
                }
                char text[MAXPDSTRING];
                atom_string(&argv[i], text, sizeof text);
                if (!arguments.initwith.empty() && arguments.initwith.back() != ',')
                    arguments.initwith += " ";
                arguments.initwith += text;
            }
        }
        else
            throw kel::Exception("unknown argument " + kel::Quoted(puredata::PdMessageText(nullptr, 1, argv + i - 1))
                                     + ": [auvo5.sfplay~ CHANNELS BUFFERSIZE] or @channels, @buffersize, @initwith",
                                 KEL_HERE);
    }
    return arguments;
}

/** The initwith text: OSC messages in text form separated by ",", run in
    order as if received. */
void RunInitwith(Sfplay* x, std::string_view text)
{
    kel::ForEachCommaSeparated(text,
                               [x](std::string_view piece)
                               {
                                   try
                                   {
                                       x->ProcessOscMessage(kel::OscMessage::CreateFromText(piece),
                                                            kel::MessageFlag::fromInitialisation);
                                   }
                                   catch (...)
                                   {
                                       puredata::PostCurrentException(x->asObject());
                                   }
                               });
}

// ---------------------------------------------------------------------------
// Messages

/** 1 (any non-zero number) starts, 0 stops. */
void FloatMethod(Sfplay* x, t_float value)
{
    x->ProcessOscMessage(kel::OscMessage(value != 0 ? "/start" : "/stop"));
}

/** "/open", "/load" and "/file" with a file name, found as Pd finds files. */
void OpenMethod(Sfplay* x, t_symbol* s, int argc, t_atom* argv)
{
    try
    {
        if (argc == 0)
        {
            puredata::ConsoleError(x->asObject(),
                                   kel::Quoted(s->s_name)
                                       + " needs a file name: Pd has no file dialog for objects (choose one with "
                                         "[openpanel] and send \"/open $1\")");
            return;
        }
        kel::OscMessage message = puredata::CreateOscMessage(s, argc, argv);
        message.setAddressPattern(kel::OscAddressPattern("/open"));
        x->ProcessOscMessage(message);
    }
    catch (...)
    {
        puredata::PostCurrentException(x->asObject());
    }
}

void InfoMethod(Sfplay* x)
{
    try
    {
        x->DeliverReports();
        puredata::PostLines(x->asObject(), x->processor->getInformation());
    }
    catch (...)
    {
        puredata::PostCurrentException(x->asObject());
    }
}

// ---------------------------------------------------------------------------
// Life

void FreeSfplay(Sfplay* x)
{
    if (x->playerListener != nullptr)
    {
        if (x->processor != nullptr)
            x->processor->RemoveListener(x->playerListener);
        delete x->playerListener;
        x->playerListener = nullptr;
    }
    x->FreeGeneric();
}

void* NewSfplay(t_symbol* /*s*/, int argc, t_atom* argv)
{
    auto* x = reinterpret_cast<Sfplay*>(pd_new(sfplayClass));
    try
    {
        const Arguments arguments = ParseArguments(argc, argv);
        const auto channels = std::uint32_t(std::clamp(std::floor(arguments.channels), 1.0, double(maxChannels)));
        const auto bufferSize = std::uint64_t(std::clamp(std::floor(arguments.bufferSize), minBufferSize, maxBufferSize));
        x->processor = new kel::AudioFilePlayer(channels, bufferSize);
        // The outlets, with the position's, as many as Max allows.
        x->Initialize(maxChannels);
        x->playerListener = new SfplayListener(x->console->getReports());
        x->processor->AddListener(x->playerListener);
        RunInitwith(x, arguments.initwith);
        return x;
    }
    catch (...)
    {
        puredata::PostCurrentException(x->asObject());
        pd_free(&x->header.te_g.g_pd);  // calls FreeSfplay, which takes a half-built object
        return nullptr;
    }
}

} // namespace

extern "C" {

/** Pd's entry for "auvo5.sfplay~": the name's "." is not a C name's, so Pd
    looks for "setup_" and the name with it in hexadecimal. */
__attribute__((visibility("default"))) void setup_auvo50x2esfplay_tilde()
{
    if (sfplayClass != nullptr)
        return;
    sfplayClass = class_new(gensym("auvo5.sfplay~"), puredata::AsNewMethod(&NewSfplay),
                            puredata::AsMethod(&FreeSfplay), sizeof(Sfplay), CLASS_DEFAULT, A_GIMME, A_NULL);
    puredata::PdObject<kel::AudioFilePlayer>::AddGenericMethods(sfplayClass);
    class_addfloat(sfplayClass, puredata::AsMethod(&FloatMethod));
    for (const char* name : {"/open", "/load", "/file"})
        class_addmethod(sfplayClass, puredata::AsMethod(&OpenMethod), gensym(name), A_GIMME, A_NULL);
    class_addmethod(sfplayClass, puredata::AsMethod(&InfoMethod), gensym("/info"), A_NULL);
}

}
