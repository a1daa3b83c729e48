// The Max class "auvo5.sfplay~": registration, creation and free, the
// attributes that size the player, and the messages that drive playback.
// Everything generic (OSC translation, dump, presets, version, audio) is the
// binding's (libmaxmsp); this file holds what is particular to the player.
#include <cstddef>
#include <string_view>

#include "MaxWrapperDict.h"
#include "MaxWrapperHandlers.h"
#include "MaxWrapperReference.h"
#include "osc/KelMessageLists.h"
#include "SfplayObject.h"

namespace {

using Sfplay = auvo_sfplay_t;

t_class* sfplayClass = nullptr;

// Attributes: settings deferred to low priority, read-only ones opaque to
// the user.
constexpr long attributeFlags = 0x04000000;  // ATTR_SET_DEFER_LOW
constexpr long readOnlyFlags = attributeFlags | 0x200;  // | ATTR_SET_OPAQUE_USER
constexpr long maxMultichannelSignals = 1024;

t_object* AsObject(Sfplay* x) noexcept
{
    return reinterpret_cast<t_object*>(x);
}

const kel::OscAddressPattern& OpenAddress()
{
    static const kel::OscAddressPattern address("/open");
    return address;
}

// ---------------------------------------------------------------------------
// Attributes

/** channels and buffersize size the player: stored until it exists, fixed
    afterwards. */
t_max_err SetSizingAttribute(Sfplay* x, const char* name, long& stored, long argc, t_atom* argv)
{
    if (argc < 1 || argv == nullptr)
        return MAX_ERR_NONE;
    const long value = long(atom_getlong(argv));
    if (x->processor == nullptr)
        stored = value;
    else if (value != stored)
        object_error(AsObject(x), "%s",
                     ("the @" + kel::String(name) + " attribute cannot be dynamically changed").c_str());
    return MAX_ERR_NONE;
}

t_max_err SetChannels(Sfplay* x, t_object* /*attr*/, long argc, t_atom* argv)
{
    return SetSizingAttribute(x, "channels", x->channels, argc, argv);
}

t_max_err SetBufferSize(Sfplay* x, t_object* /*attr*/, long argc, t_atom* argv)
{
    return SetSizingAttribute(x, "buffersize", x->buffersize, argc, argv);
}

// offsetof on a record that extends the binding's: every compiler we build
// with lays the base first, as the record's comment says.
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
#endif
constexpr long initwithOffset = long(offsetof(Sfplay, initwith));
constexpr long mcOffset = long(offsetof(Sfplay, mc));
constexpr long channelsOffset = long(offsetof(Sfplay, channels));
constexpr long buffersizeOffset = long(offsetof(Sfplay, buffersize));
static_assert(offsetof(Sfplay, header) == 0);
static_assert(offsetof(Sfplay, latencyListener) < offsetof(Sfplay, playerListener)
              && offsetof(Sfplay, playerListener) < offsetof(Sfplay, channels)
              && offsetof(Sfplay, channels) < offsetof(Sfplay, buffersize));
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

/** The attribute's own type, as Max tells it ("gettype"). */
t_symbol* AttributeType(t_object* attr, const char* fallback)
{
    void* type = object_method_imp(attr, gensym("gettype"), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                   nullptr, nullptr);
    return type != nullptr ? static_cast<t_symbol*>(type) : gensym(fallback);
}

t_object* AddAttribute(t_class* c, const char* name, const char* type, long flags, method setter, long offset)
{
    t_object* attr = attr_offset_new(name, gensym(type), flags, nullptr, setter, offset);
    class_addattr(c, attr);
    return attr;
}

void AddDefault(t_class* c, t_object* attr, const char* name, const char* type, const char* value)
{
    class_attr_addattr_parse(c, name, "default", AttributeType(attr, type), attributeFlags, value);
}

// ---------------------------------------------------------------------------
// Playback messages: their work (opening files, moving the transport) runs
// on the main thread whatever thread they arrive on.

void IntMethod(Sfplay* x, t_atom_long value)
{
    try
    {
        x->Receive(kel::OscMessage(value != 0 ? "/start" : "/stop"));
    }
    catch (...)
    {
        maxmsp::PostCurrentException(AsObject(x));
    }
}

void StartMethod(Sfplay* x)
{
    IntMethod(x, 1);
}

void StopMethod(Sfplay* x)
{
    IntMethod(x, 0);
}

/** "/load" and "/file" are "/open"; without a file name it asks with Max's
    file chooser (deferred to low priority, as dialogs are). */
void OpenMethod(Sfplay* x, t_symbol* s, long argc, t_atom* argv)
{
    try
    {
        kel::OscMessage message = maxmsp::CreateOscMessage(AsObject(x), s, argc, argv);
        message.setAddressPattern(OpenAddress());
        x->Receive(std::move(message));
    }
    catch (...)
    {
        maxmsp::PostCurrentException(AsObject(x));
    }
}

void InfoMethod(Sfplay* x)
{
    x->OnMainThread(
        [x]
        {
            try
            {
                x->DeliverReports();
                maxmsp::PostLines(AsObject(x), x->processor->getInformation());
            }
            catch (...)
            {
                maxmsp::PostCurrentException(AsObject(x));
            }
        });
}

long MultichannelOutputs(Sfplay* x, long index)
{
    if (x->mc == 0)
        return 1;
    switch (index)
    {
        case 0:
            return long(x->numOutputs) - 1;
        case 1:
            return 1;
        default:
            return 0;
    }
}

// ---------------------------------------------------------------------------
// Life

/** The initwith text: OSC messages in text form separated by ",", run in
    order as if received. */
void RunInitwith(Sfplay* x)
{
    if (x->initwith == nullptr || x->initwith->s_name == nullptr)
        return;
    const std::string_view text(x->initwith->s_name);
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
                                       maxmsp::PostCurrentException(AsObject(x));
                                   }
                               });
}

void FreeSfplay(Sfplay* x)
{
    // No perform call may report through the listener while it goes.
    x->ReleaseDsp();
    if (x->playerListener != nullptr)
    {
        if (x->processor != nullptr)
            x->processor->RemoveListener(x->playerListener);
        delete x->playerListener;
        x->playerListener = nullptr;
    }
    x->FreeGeneric();
}

void* NewSfplay(t_symbol* /*s*/, long argc, t_atom* argv)
{
    auto* x = static_cast<Sfplay*>(object_alloc(sfplayClass));
    if (x == nullptr)
        return nullptr;
    try
    {
        // Max does not apply attribute defaults to a new object.
        x->channels = 1;
        x->buffersize = 480000;
        x->initwith = gensym("");
        maxmsp::dictionary_process_partial(AsObject(x), argc, argv, {"channels", "buffersize"});

        x->processor = new kel::AudioFilePlayer(std::uint32_t(x->channels), std::uint64_t(x->buffersize));
        if (x->processor == nullptr)
            throw kel::Exception("Couldn't create object", KEL_HERE);
        x->Initialize();

        attr_args_process(x, short(maxmsp::CountArgumentsWithoutDictionary(argc, argv)), argv);
        if (t_dictionary* dictionary = argc > 0 ? object_dictionaryarg(argc, argv) : nullptr)
            attr_dictionary_process(x, dictionary);
        // Max's multichannel cables carry at most 1024 signals.
        if (x->mc != 0 && x->channels > maxMultichannelSignals)
            throw kel::Exception("too many channels for @mc 1 : " + kel::ToString(std::int64_t(x->channels))
                                     + " (a multichannel outlet carries at most "
                                     + kel::ToString(std::int64_t(maxMultichannelSignals))
                                     + "; use @mc 0, or several boxes)",
                                 KEL_HERE);

        x->CreateDumpOutlet();
        x->PrepareWithHostSettings();
        x->CreateSignalInletsAndOutlets();

        x->playerListener = new SfplayListener(x->console->getReports());
        x->processor->AddListener(x->playerListener);

        RunInitwith(x);
        return x;
    }
    catch (...)
    {
        maxmsp::PostCurrentException(AsObject(x));
        object_free(x);
        return nullptr;
    }
}

void AddMethod(t_class* c, method function, const char* name, long type)
{
    maxmsp::AddMethod(c, function, name, type);
}

// The attributes as the reference page shows them.
void DescribeSfplayClass(kel::ReferencePage& page)
{
    page.attributes.PushBack({"channels", "int", "Number of channels",
                              "Number of signal outlets (and of file channels played); fixed at creation. "
                              "The outlets, with the position's, are at most 8192 on a multichannel host (250 "
                              "otherwise): at most 8191 channels (249). With @mc 1, at most 1024 (one multichannel "
                              "outlet carries no more). A file with more channels plays its first @channels.",
                              "1",
                              "1 to 8192", "", false});
    page.attributes.PushBack({"buffersize", "int", "Size of the disk buffer in frames",
                              "Frames the buffering thread keeps ahead of playback; fixed at creation. A file "
                              "that fits is held whole and plays, seeks and loops from memory. The buffer is "
                              "allocated when a file opens, min(@channels, the file's channels) by min(@buffersize, "
                              "the file's frames) 4-byte samples, and may not exceed 6 GB: a file longer than the "
                              "buffer plays at most 3125 channels at the default size, 7812 at the smallest; "
                              "otherwise \"/open\" says so: lower @buffersize or @channels.",
                              "480000",
                              "192000 to 2880000", "", false});
    page.attributes.PushBack({"initwith", "symbol", "Messages run at creation",
                              "OSC messages in text form, separated by commas, run once when the object is created.",
                              "", "", "", true});
    if (maxmsp::IsHostMultichannel())
        page.attributes.PushBack({"mc", "int", "Multichannel outlets",
                                  "1: the channels leave through one multichannel outlet, the position through the "
                                  "next; set at creation.",
                                  "0", "0 to 1", "onoff", true});
}

void RegisterClass()
{
    if (sfplayClass != nullptr)
        return;
    using maxmsp::AsMethod;
    maxmsp::InitialiseHost();

    t_class* c = class_new("auvo5.sfplay~", AsMethod(&NewSfplay), AsMethod(&FreeSfplay), long(sizeof(Sfplay)),
                           nullptr, A_GIMME, 0);
    c->c_flags |= CLASS_FLAG_NEWDICTIONARY;

    AddMethod(c, AsMethod(&MultichannelOutputs), "multichanneloutputs", A_CANT);
    maxmsp::AddGenericMethods<kel::AudioFilePlayer>(c);
    class_dspinit(c);

    for (const char* name : {"/open", "/load", "/file"})
        AddMethod(c, AsMethod(&OpenMethod), name, A_GIMME);
    AddMethod(c, AsMethod(&IntMethod), "int", A_LONG);
    AddMethod(c, AsMethod(&InfoMethod), "/info", A_NOTHING);
    AddMethod(c, AsMethod(&StartMethod), "/start", A_NOTHING);
    AddMethod(c, AsMethod(&StopMethod), "/stop", A_NOTHING);

    t_object* channels = AddAttribute(c, "channels", "long", attributeFlags, AsMethod(&SetChannels), channelsOffset);
    attr_addfilter_clip(channels, 1, 8192, 1, 1);
    AddDefault(c, channels, "channels", "long", "1");
    t_object* buffersize =
        AddAttribute(c, "buffersize", "long", attributeFlags, AsMethod(&SetBufferSize), buffersizeOffset);
    attr_addfilter_clip(buffersize, 192000, 2880000, 1, 1);
    AddDefault(c, buffersize, "buffersize", "long", "480000");

    t_object* initwith = AddAttribute(c, "initwith", "symbol", readOnlyFlags, nullptr, initwithOffset);
    AddDefault(c, initwith, "initwith", "symbol", "");

    if (maxmsp::IsHostMultichannel())
    {
        t_object* mc = AddAttribute(c, "mc", "long", readOnlyFlags, nullptr, mcOffset);
        attr_addfilter_clip(mc, 0, 1, 1, 1);
        class_attr_addattr_parse(c, "mc", "style", gensym("symbol"), attributeFlags, "onoff");
        AddDefault(c, mc, "mc", "long", "0");
    }

    maxmsp::SetReferenceDescriber(&DescribeSfplayClass);
    if (class_register(CLASS_BOX, c) != MAX_ERR_NONE)
        object_error(nullptr, "error in when registering class");
    sfplayClass = c;
}

} // namespace

extern "C" {

C74_EXPORT void ext_main(void* /*resources*/)
{
    RegisterClass();
}

/** The entry of hosts older than Max 6.1.9. */
C74_EXPORT int main(void)
{
    RegisterClass();
    return 0;
}

}
