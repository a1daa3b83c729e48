// puredata::PdObject<P>: the generic binding of an audio processor P (a
// kel::AudioProcessorBase with an OSC interface) to a Pd signal object. It
// is the head of the object's record: Pd allocates the record (zero-filled)
// and an object's class derives its record from it. Members are plain
// pointers because Pd, not C++, builds the record; the object's new and
// free routines create and delete what they point to.
//
// Outlets, left to right (Pd creates them in that order): one signal outlet
// per processor output, then the message outlet for reports and replies.
//
// Threads: Pd runs messages, the dsp method, the perform routine and clocks
// on one thread, its scheduler's. The processor's own thread (buffering)
// never calls into Pd: its reports wait in the report queue. Nothing is
// locked while the object calls out into Pd.
#pragma once

#include <m_pd.h>
extern "C" {
#include <m_imp.h>  // obj_starttraverseoutlet; unlike m_pd.h, it does not say its linkage
}

#include <algorithm>
#include <cstdint>

#include "PdWrapperConsole.h"
#include "PdWrapperOsc.h"
#include "PdWrapperPost.h"
#include "common/KelException.h"
#include "containers/KelVector.h"
#include "osc/KelMessageLists.h"

namespace puredata {

/** A function as Pd's method type. Through void (*)(): the one cast
    between function types the compiler takes as deliberate. */
template <typename F>
t_method AsMethod(F* function) noexcept
{
    return reinterpret_cast<t_method>(reinterpret_cast<void (*)()>(function));
}
template <typename F>
t_newmethod AsNewMethod(F* function) noexcept
{
    return reinterpret_cast<t_newmethod>(reinterpret_cast<void (*)()>(function));
}

/** The messages that exist for Max only; false for any other. */
bool IsMaxOnlyMessage(const kel::OscMessage& message);

/** The text of the version line: processor's name and version, the Pd
    version and the platform. */
kel::String PdVersionText(const kel::String& name, const kel::String& version);

template <typename P>
struct PdObject
{
    t_object header;             // Pd's object header: first
    P* processor;                // owned; null until built in new
    PdConsole* console;          // owned; the processor's console listener
    t_outlet* reportOutlet;      // the rightmost outlet
    t_canvas* canvas;            // the patch the object lives in
    std::uint32_t numOutputs;    // signal outlets
    float** outputs;             // owned, numOutputs: the vectors of the current DSP chain
    std::uint32_t blockSize;     // of the current DSP chain

    t_object* asObject() noexcept { return &header; }

    /** After the processor is built, on Pd's thread: the signal outlets,
        the message outlet, the console. Throws "too many output channels :
        n" beyond maxOutlets. */
    void Initialize(std::uint32_t maxOutlets)
    {
        if (processor->getNumOutputs() > maxOutlets)
            throw kel::Exception("too many output channels : " + kel::ToString(processor->getNumOutputs()), KEL_HERE);
        canvas = canvas_getcurrent();
        numOutputs = processor->getNumOutputs();
        outputs = new float*[std::max<std::uint32_t>(1, numOutputs)]();
        for (std::uint32_t i = 0; i < numOutputs; ++i)
            outlet_new(&header, &s_signal);
        reportOutlet = outlet_new(&header, nullptr);
        console = new PdConsole(asObject(), reportOutlet, canvas);
        processor->AddHostListener(console);
        processor->AddObserver(console);
        // Prepared with Pd's current set-up, so that what depends on it
        // answers before audio starts.
        processor->Prepare(double(sys_getsr()), std::uint32_t(std::max(1, sys_getblksize())));
    }

    /** The generic part of free, after the object's own listeners are
        gone: the console with its report queue, the processor (a
        processor's thread that does not end in time is left to finish and
        free it, and Pd's window says so). Safe on a half-built object. Pd
        takes the object out of the DSP chain before it frees it. */
    void FreeGeneric() noexcept
    {
        if (console != nullptr)
        {
            if (processor != nullptr)
            {
                processor->RemoveObserver(console);
                processor->RemoveHostListener(console);
            }
            delete console;
            console = nullptr;
        }
        if constexpr (requires(P* p) { P::Dispose(p); })
        {
            if (processor != nullptr && !P::Dispose(processor))
                ConsoleWarn(asObject(), "the buffering thread did not end within "
                                            + kel::ToString(std::int64_t(P::bufferingThreadStopTimeoutMs))
                                            + " ms; it is left to finish on its own");
        }
        else
            delete processor;
        processor = nullptr;
        delete[] outputs;
        outputs = nullptr;
    }

    /** Pd's thread: a message to the processor; failures are posted.
        Queued reports go out before (they happened first) and after (the
        message's own, so that they precede whatever the patch does next). */
    void ProcessOscMessage(const kel::OscMessage& message, const kel::MessageFlag& flag = {}) noexcept
    {
        try
        {
            DeliverReports();
            processor->ProcessMessage(message, flag);
        }
        catch (...)
        {
            DeliverReports();
            PostCurrentException(asObject());
        }
        DeliverReports();
        if (console != nullptr)
            console->getReports().Watch();
    }

    /** Pd's thread: what Max's binding serves itself, then the processor. */
    void Dispatch(const kel::OscMessage& message) noexcept
    {
        try
        {
            if (IsMaxOnlyMessage(message))
            {
                ConsoleError(asObject(),
                             kel::Quoted(message.toString()) + " is for Max only: Pd has no such dialog or page");
                return;
            }
            // Max's windows, shown in Pd's window as text.
            if (const std::string_view window = kel::WindowOfMessage(message); !window.empty())
            {
                ShowWindowAsText(window);
                return;
            }
            ProcessOscMessage(message);
        }
        catch (...)
        {
            PostCurrentException(asObject());
        }
    }

    /** Pd's thread: sends what the report queue holds. */
    void DeliverReports() noexcept
    {
        if (console != nullptr)
            console->getReports().Deliver();
    }

    /** The help as the processor's description and documentation, the
        status as its state, the snapshots as their list. */
    void ShowWindowAsText(std::string_view window)
    {
        if (window == "help")
        {
            kel::String description;
            if constexpr (requires { P::getDescription(); })
                description = P::getDescription();
            ConsolePost(asObject(), "help of " + processor->getName() + " : " + description);
            ProcessOscMessage(kel::OscMessage("/post/doc"));
        }
        else if (window == "status")
            ProcessOscMessage(kel::OscMessage("/post/state"));
        else
            ProcessOscMessage(kel::OscMessage("/post/snapshots"));
    }

    // ------------------------------------------------------------------
    // Pd's methods

    /** Any message: the selector is the OSC address. */
    static void Anything(PdObject* x, t_symbol* s, int argc, t_atom* argv)
    {
        try
        {
            x->Dispatch(CreateOscMessage(s, argc, argv));
        }
        catch (...)
        {
            PostCurrentException(x->asObject());
        }
    }

    /** "/dump" [prefixes...]: the state (or its messages under the
        prefixes) out of the message outlet. */
    static void Dump(PdObject* x, t_symbol* s, int argc, t_atom* argv)
    {
        try
        {
            x->DeliverReports();
            kel::Vector<kel::String> prefixes;
            for (int i = 0; i < argc; ++i)
            {
                if (argv[i].a_type != A_SYMBOL)
                {
                    ConsoleError(x->asObject(), PdMessageText(s, argc, argv), "invalid message: ");
                    return;
                }
                prefixes.PushBack(argv[i].a_w.w_symbol->s_name);
            }
            SendOscBundle(x->reportOutlet, prefixes.empty() ? x->processor->GetState()
                                                            : x->processor->GetStateWithPrefixes(prefixes));
        }
        catch (...)
        {
            PostCurrentException(x->asObject());
        }
    }

    static void DumpLatency(PdObject* x)
    {
        try
        {
            x->DeliverReports();
            kel::OscMessage message("/dsp/latency");
            message.AddInt32(std::int32_t(x->processor->getLatency()));
            SendOscMessage(x->reportOutlet, message);
        }
        catch (...)
        {
            PostCurrentException(x->asObject());
        }
    }

    /** "/preset/export" [name] FILE: a relative file is the patch folder's. */
    static void PresetExport(PdObject* x, t_symbol* s, int argc, t_atom* argv)
    {
        try
        {
            kel::OscMessage message = CreateOscMessage(s, argc, argv);
            if (argc >= 1 && argc <= 2 && argv[argc - 1].a_type == A_SYMBOL)
            {
                kel::OscMessage withPath(message.getAddressPattern());
                if (argc == 2)
                    withPath.AddString(message[0].getString());
                withPath.AddString(x->inPatchFolder(argv[argc - 1].a_w.w_symbol->s_name));
                message = std::move(withPath);
            }
            x->ProcessOscMessage(message);
        }
        catch (...)
        {
            PostCurrentException(x->asObject());
        }
    }

    /** "/preset/load" FILE: found as Pd finds files. */
    static void PresetLoad(PdObject* x, t_symbol* s, int argc, t_atom* argv)
    {
        try
        {
            kel::OscMessage message = CreateOscMessage(s, argc, argv);
            if (argc == 1 && argv[0].a_type == A_SYMBOL)
            {
                kel::OscMessage located(message.getAddressPattern());
                located.AddString(x->processor->LocatePresetFile(argv[0].a_w.w_symbol->s_name).getFullPathName());
                message = std::move(located);
            }
            x->ProcessOscMessage(message);
        }
        catch (...)
        {
            PostCurrentException(x->asObject());
        }
    }

    static void PostVersion(PdObject* x, t_symbol* /*s*/, int /*argc*/, t_atom* /*argv*/)
    {
        try
        {
            x->DeliverReports();
            ConsolePost(x->asObject(), PdVersionText(x->processor->getName(), x->processor->getVersion()));
        }
        catch (...)
        {
            PostCurrentException(x->asObject());
        }
    }

    /** "dsp": which outlets are connected, the processor prepared with the
        chain's rate and block size, the perform routine. */
    static void Dsp(PdObject* x, t_signal** signals)
    {
        const std::uint32_t n = x->numOutputs;
        auto& connections = x->processor->getConnections();
        for (std::uint32_t j = 0; j < n; ++j)
        {
            x->outputs[j] = signals[j]->s_vec;
            t_outlet* outlet = nullptr;
            connections.SetOutletStatus(j, obj_starttraverseoutlet(&x->header, &outlet, int(j)) != nullptr ? 1 : 0);
        }
        const double sampleRate = n > 0 ? double(signals[0]->s_sr) : double(sys_getsr());
        x->blockSize = n > 0 ? std::uint32_t(std::max(1, signals[0]->s_n)) : std::uint32_t(sys_getblksize());
        try
        {
            x->processor->Prepare(sampleRate, x->blockSize);
        }
        catch (...)
        {
            PostCurrentException(x->asObject());
            return;
        }
        dsp_add(&PdObject::Perform, 1, x);
    }

    /** The perform routine: one call of the processor's block entry. */
    static t_int* Perform(t_int* w)
    {
        auto* x = reinterpret_cast<PdObject*>(w[1]);
        ReportQueue& reports = x->console->getReports();
        reports.EnterPerform();
        x->processor->ProcessBlock(static_cast<const float* const*>(nullptr), 0, x->outputs, x->numOutputs,
                                   x->blockSize);
        reports.LeavePerform();
        reports.AfterPerform();
        return w + 2;
    }

    /** Registers the generic methods. */
    static void AddGenericMethods(t_class* c)
    {
        class_addmethod(c, AsMethod(&PdObject::Dsp), gensym("dsp"), A_CANT, A_NULL);
        class_addanything(c, AsMethod(&PdObject::Anything));
        class_addmethod(c, AsMethod(&PdObject::Dump), gensym("/dump"), A_GIMME, A_NULL);
        class_addmethod(c, AsMethod(&PdObject::DumpLatency), gensym("/dump/dsp/latency"), A_NULL);
        class_addmethod(c, AsMethod(&PdObject::PresetExport), gensym("/preset/export"), A_GIMME,
                        A_NULL);
        class_addmethod(c, AsMethod(&PdObject::PresetLoad), gensym("/preset/load"), A_GIMME, A_NULL);
        class_addmethod(c, AsMethod(&PdObject::PostVersion), gensym("/post/version"), A_GIMME,
                        A_NULL);
    }

private:
    kel::String inPatchFolder(const char* name) const
    {
        if (sys_isabsolutepath(name))
            return name;
        return kel::String(canvas_getdir(canvas)->s_name) + "/" + name;
    }
};

} // namespace puredata
