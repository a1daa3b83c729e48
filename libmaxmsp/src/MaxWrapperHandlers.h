// The Max methods every object of the binding has, whatever its processor:
// "anything" (any message, translated to OSC), "FullPacket" (binary OSC),
// "/dump", "/dump/dsp/latency", "/preset/export", "/preset/load",
// "/post/version", "/exportref", and the methods Max calls itself ("assist",
// "dsp64", "dblclick", "notify", "getvalueof", "setvalueof").
// Every one catches everything: nothing propagates into Max.
//
// Threads: a message may arrive on the main thread, the scheduler thread
// (Overdrive) or the audio thread (Scheduler in Audio Interrupt). Each is
// translated where it arrives and does its work on the main thread
// (MspObject::Receive); those that may open a dialog go there through
// defer_low. Replies leave the dump outlet after the reports queued before.
#pragma once

#include <cstdio>
#include <cstring>
#include <vector>

#include "MaxWrapperClassMsp.h"
#include "MaxWrapperPost.h"
#include "MaxWrapperReference.h"
#include "MaxWrapperSystemReport.h"
#include "MaxWrapperTypes.h"
#include "osc/KelOscInputStream.h"

namespace maxmsp {

/** path made absolute (against the current folder), with forward slashes. */
kel::String AbsolutePath(const kel::String& path);

/** class_addmethod with one argument type (A_NOTHING for none); posts
    "error when adding method %s" when it fails. */
bool AddMethod(t_class* c, method function, const char* name, long type);

template <typename P>
void generic_anything_method(MspObject<P>* x, t_symbol* s, long argc, t_atom* argv)
{
    try
    {
        x->Receive(CreateOscMessage(x->asObject(), s, argc, argv));
    }
    catch (...)
    {
        PostCurrentException(x->asObject());
    }
}

template <typename P>
void generic_fullpacket_method(MspObject<P>* x, t_symbol* s, long argc, t_atom* argv)
{
    const AtomArrayRef atoms(argc, argv);
    if (atoms.size() != 2 || !atoms[0].isLong() || !atoms[1].isLong() || atoms[0].GetLong() <= 0
        || atoms[1].GetLong() == 0)
    {
        ConsoleError(x->asObject(), MaxMessageText(s, atoms), "invalid message: ");
        return;
    }
    try
    {
        // Decoded here: the packet's bytes are the sender's only during this call.
        // Read as it comes (not wrapped in a bundle), a typical message costs
        // no allocation to decode, on the audio thread too.
        kel::OscInputStream stream(reinterpret_cast<const void*>(t_ptr_int(atoms[1].GetLong())),
                                   std::size_t(atoms[0].GetLong()));
        const kel::OscBundle::Element packet = stream.ReadPacket();
        packet.ForEachMessage([x](const kel::OscMessage& message) { x->Receive(message); });
    }
    catch (...)
    {
        PostCurrentException(x->asObject());
    }
}

template <typename P>
void dump(MspObject<P>* x, const AtomArrayRef& arguments)
{
    x->DeliverReports();
    if (arguments.empty())
    {
        SendOscBundle(GetDumpOutlet(x->asObject()), x->processor->GetState());
        return;
    }
    if (!arguments.allSymbols())
    {
        ConsoleError(x->asObject(), arguments.toString(), "invalid message: /dump ");
        return;
    }
    kel::Vector<kel::String> prefixes;
    for (const AtomRef& atom : arguments)
        prefixes.PushBack(atom.toString());
    SendOscBundle(GetDumpOutlet(x->asObject()), x->processor->GetStateWithPrefixes(prefixes));
}

template <typename P>
void generic_dump_method(MspObject<P>* x, t_symbol* /*s*/, long argc, t_atom* argv)
{
    try
    {
        // The state is read under the disk lock: on the main thread.
        x->OnMainThread(
            [x, atoms = std::vector<t_atom>(argv, argv + std::max(0L, argc))]() mutable
            {
                try
                {
                    dump(x, AtomArrayRef(long(atoms.size()), atoms.data()));
                }
                catch (...)
                {
                    PostCurrentException(x->asObject());
                }
            });
    }
    catch (...)
    {
        PostCurrentException(x->asObject());
    }
}

template <typename P>
void generic_dump_latency_method(MspObject<P>* x)
{
    try
    {
        x->OnMainThread(
            [x]
            {
                try
                {
                    x->DeliverReports();
                    kel::OscMessage message("/dsp/latency");
                    message.AddInt32(std::int32_t(x->processor->getLatency()));
                    SendOscMessage(GetDumpOutlet(x->asObject()), message);
                }
                catch (...)
                {
                    PostCurrentException(x->asObject());
                }
            });
    }
    catch (...)
    {
        PostCurrentException(x->asObject());
    }
}

template <typename P>
void deferred_preset_export(MspObject<P>* x, t_symbol* /*s*/, short argc, t_atom* argv)
{
    try
    {
        const AtomArrayRef arguments(argc, argv);
        if (arguments.size() > 2 || !arguments.allSymbols())
        {
            ConsoleError(x->asObject(), arguments.toString(), "invalid message: /preset/export ");
            return;
        }
        kel::OscMessage message("/preset/export");
        if (arguments.size() == 1)
            message.AddString(AbsolutePath(arguments[0].toString()));
        else if (arguments.size() == 2)
            message.AddString(arguments[0].toString()).AddString(AbsolutePath(arguments[1].toString()));
        x->ProcessOscMessage(message);
    }
    catch (...)
    {
        PostCurrentException(x->asObject());
    }
}

template <typename P>
void deferred_preset_load(MspObject<P>* x, t_symbol* /*s*/, short argc, t_atom* argv)
{
    try
    {
        const AtomArrayRef arguments(argc, argv);
        if (arguments.size() > 1 || !arguments.allSymbols())
        {
            ConsoleError(x->asObject(), arguments.toString(), "invalid message: /preset/load ");
            return;
        }
        kel::OscMessage message("/preset/load");
        if (arguments.size() == 1)
        {
            kel::File file;
            try
            {
                file = x->processor->LocatePresetFile(arguments[0].toString());
            }
            catch (const kel::Exception& notFound)
            {
                ConsoleError(x->asObject(), notFound.getMessage());
                return;
            }
            message.AddString(file.getFullPathName());
        }
        x->ProcessOscMessage(message);
    }
    catch (...)
    {
        PostCurrentException(x->asObject());
    }
}

template <typename P>
void generic_preset_export_method(MspObject<P>* x, t_symbol* s, long argc, t_atom* argv)
{
    defer_low(x, AsMethod(&deferred_preset_export<P>), s, short(argc), argv);
}

template <typename P>
void generic_preset_load_method(MspObject<P>* x, t_symbol* s, long argc, t_atom* argv)
{
    defer_low(x, AsMethod(&deferred_preset_load<P>), s, short(argc), argv);
}

template <typename P>
void generic_post_version_method(MspObject<P>* x, t_symbol* /*s*/, long argc, t_atom* argv)
{
    try
    {
        const AtomArrayRef arguments(argc, argv);
        const bool details = arguments.size() == 1 && arguments[0].isSymbol() && arguments[0].toString() == "details";
        x->OnMainThread(
            [x, details]
            {
                try
                {
                    PostSystemReport(x->asObject(), x->getVersionText(), details);
                }
                catch (...)
                {
                    PostCurrentException(x->asObject());
                }
            });
    }
    catch (...)
    {
        PostCurrentException(x->asObject());
    }
}

template <typename P>
void deferred_exportref(MspObject<P>* x, t_symbol* /*s*/, short /*argc*/, t_atom* /*argv*/)
{
    ExportReference(x->asObject(), *x->processor);
}

/** Asks where to save: a dialog, so at low priority on the main thread. */
template <typename P>
void generic_exportref_method(MspObject<P>* x)
{
    defer_low(x, AsMethod(&deferred_exportref<P>), nullptr, 0, nullptr);
}

template <typename P>
void generic_assist_method(MspObject<P>* x, void* /*box*/, long io, long index, char* text)
{
    try
    {
        const std::uint32_t n = std::uint32_t(std::max(0L, index));
        const kel::String description = io == ASSIST_INLET ? x->processor->getInletDescription(n, x->mc != 0)
                                                           : x->processor->getOutletDescription(n, x->mc != 0);
        // Max's assistance buffer holds at least 256 characters.
        std::snprintf(text, 256, "%s", description.c_str());
    }
    catch (...)
    {
        text[0] = '\0';
    }
}

template <typename P>
void generic_dblclick_method(MspObject<P>* x)
{
    try
    {
        x->getWindows().OnDoubleClick();
    }
    catch (...)
    {
        PostCurrentException(x->asObject());
    }
}

template <typename P>
t_max_err generic_notify_method(MspObject<P>* /*x*/, t_symbol* /*s*/, t_symbol* /*message*/, void* /*sender*/,
                                void* /*data*/)
{
    // The object has no parameters of its own to follow.
    return MAX_ERR_NONE;
}

/** pattr's view of the object: one symbol per state message, in its text
    form. */
template <typename P>
t_max_err generic_getvalueof_method(MspObject<P>* x, long* ac, t_atom** av)
{
    try
    {
        kel::Vector<kel::String> lines;
        x->processor->GetState().ForEachMessage([&](const kel::OscMessage& m) { lines.PushBack(m.toString()); });
        if (*ac == 0 || *av == nullptr)
        {
            *av = reinterpret_cast<t_atom*>(getbytes(t_getbytes_size(std::max<std::size_t>(1, lines.size()) * sizeof(t_atom))));
            if (*av == nullptr)
                return MAX_ERR_OUT_OF_MEM;
            *ac = long(lines.size());
        }
        const long n = std::min(*ac, long(lines.size()));
        for (long i = 0; i < n; ++i)
            atom_setsym(*av + i, gensym(lines[std::size_t(i)].c_str()));
        *ac = n;
        return MAX_ERR_NONE;
    }
    catch (...)
    {
        PostCurrentException(x->asObject());
        return MAX_ERR_GENERIC;
    }
}

/** pattr's recall: the state messages, in order, on the main thread (a
    recalled "/filename" opens a file). */
template <typename P>
t_max_err generic_setvalueof_method(MspObject<P>* x, long ac, t_atom* av)
{
    const AtomArrayRef atoms(ac, av);
    for (const AtomRef& atom : atoms)
    {
        if (!atom.isSymbol())
            continue;
        try
        {
            x->OnMainThread([x, message = kel::OscMessage::CreateFromText(atom.toString())]
                            { x->ProcessOscMessage(message, kel::MessageFlag::fromPreset); });
        }
        catch (...)
        {
            PostCurrentException(x->asObject());
        }
    }
    return MAX_ERR_NONE;
}

/** Registers the generic methods, in this order: "assist", "dsp64",
    "FullPacket", "anything", "dblclick", "/post/version",
    "/exportref", "/dump", "/dump/dsp/latency", "/preset/export",
    "/preset/load", "notify", "getvalueof", "setvalueof". */
template <typename P>
void AddGenericMethods(t_class* c)
{
    using Object = MspObject<P>;
    auto m = [](auto function) { return AsMethod(function); };
    AddMethod(c, m(&generic_assist_method<P>), "assist", A_CANT);
    AddMethod(c, m(&Object::Dsp64), "dsp64", A_CANT);
    AddMethod(c, m(&generic_fullpacket_method<P>), "FullPacket", A_GIMME);
    AddMethod(c, m(&generic_anything_method<P>), "anything", A_GIMME);
    AddMethod(c, m(&generic_dblclick_method<P>), "dblclick", A_CANT);
    AddMethod(c, m(&generic_post_version_method<P>), "/post/version", A_GIMME);
    AddMethod(c, m(&generic_exportref_method<P>), "/exportref", A_NOTHING);
    AddMethod(c, m(&generic_dump_method<P>), "/dump", A_GIMME);
    AddMethod(c, m(&generic_dump_latency_method<P>), "/dump/dsp/latency", A_NOTHING);
    AddMethod(c, m(&generic_preset_export_method<P>), "/preset/export", A_GIMME);
    AddMethod(c, m(&generic_preset_load_method<P>), "/preset/load", A_GIMME);
    class_addmethod(c, m(&generic_notify_method<P>), "notify", A_CANT, 0);
    class_addmethod(c, m(&generic_getvalueof_method<P>), "getvalueof", A_CANT, 0);
    class_addmethod(c, m(&generic_setvalueof_method<P>), "setvalueof", A_CANT, 0);
}

} // namespace maxmsp
