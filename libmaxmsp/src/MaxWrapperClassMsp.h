// maxmsp::MspObject<P>: the generic binding of an audio processor P (a
// kel::AudioProcessorWithOscInAudioInterrupt) to an MSP object. It is the
// head of the object's record: Max allocates the record (zero-filled) and
// an object's class derives its record from it, adding its own fields after
// these. Members are plain pointers because Max, not C++, builds the record;
// the object's new and free routines create and delete what they point to.
//
// Threads: Max calls new, free, dsp64 and the attribute setters on its main
// thread; messages may also arrive on the scheduler thread (Overdrive) or
// the audio thread (Scheduler in Audio Interrupt): Receive takes them to the
// main thread, where the processor runs every message. Perform64 runs on
// the audio thread and touches only the processor's block entry and the
// report queue. Nothing is locked while the object calls out into Max.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "MaxWrapperApi.h"
#include "MaxWrapperConsole.h"
#include "MaxWrapperHost.h"
#include "MaxWrapperInbox.h"
#include "MaxWrapperOsc.h"
#include "MaxWrapperPost.h"
#include "MaxWrapperReports.h"
#include "MaxWrapperWindows.h"
#include "common/KelException.h"
#include "dsp/KelAudioProcessorBase.h"

namespace maxmsp {

/** Reports the processor's latency as "/dsp/latency" on the dump outlet. */
class MspLatencyListener : public kel::AudioProcessorBase::LatencyListener
{
public:
    explicit MspLatencyListener(ReportQueue& queue) : reports(queue) {}
    void OnLatency(const kel::AudioProcessorBase& processor, std::uint32_t latencyInSamples) override;

private:
    ReportQueue& reports;
};

/** A message without arguments that makes the processor ask the user for a
    file (open, load, import, export and the like). */
bool MayOpenDialog(const kel::OscMessage& message);

/** A processor's thread that did not end in time at free (it finishes on
    its own and frees the processor then). */
void PostBufferingThreadLeftRunning(t_object* x, double timeoutMilliseconds);

template <typename P>
struct MspObject
{
    using Console = MaxMspConsole<MspObject<P>, P>;

    t_pxobject header;                   // the MSP object header; z_misc set at creation
    t_symbol* initwith;                  // attribute: messages run once at creation
    P* processor;                        // owned; null until built in new
    long mc;                             // attribute: multichannel outlets (0 or 1)
    std::int32_t numInputs;              // signal inlets without mc
    std::int32_t numOutputs;             // signal outlets without mc
    MspWindows* windows;                 // owned; the processor's clipboard listener
    Console* console;                    // owned; the processor's console listener
    MspLatencyListener* latencyListener; // owned; the processor's latency listener
    MainThreadInbox* inbox;              // owned; messages from other threads wait here for the main thread
    bool dspIsSetUp;                     // z_dsp_setup was called (so free calls z_dsp_free)

    t_object* asObject() noexcept { return reinterpret_cast<t_object*>(this); }

    /** After the processor is built: checks its channel counts against the
        host's limit, then registers the console, the latency listener and
        the windows (which hold the clipboard; they open on demand).
        Throws "too many input channels : n" / "too many output channels : n". */
    void Initialize() noexcept(false)
    {
        const std::uint32_t limit = GetMaxNumChannels();
        if (processor->getNumInputs() > limit)
            throw kel::Exception("too many input channels : " + kel::ToString(processor->getNumInputs()), KEL_HERE);
        if (processor->getNumOutputs() > limit)
            throw kel::Exception("too many output channels : " + kel::ToString(processor->getNumOutputs()), KEL_HERE);
        numInputs = std::int32_t(processor->getNumInputs());
        numOutputs = std::int32_t(processor->getNumOutputs());
        inbox = new MainThreadInbox();
        console = new Console(this);
        processor->AddHostListener(console);
        processor->AddObserver(console);
        latencyListener = new MspLatencyListener(console->getReports());
        processor->AddLatencyListener(latencyListener);
        createWindows();
        AddLiveObject(asObject());
    }

    /** The dump outlet, stored as "dumpout" (created first, so rightmost). */
    void CreateDumpOutlet()
    {
        object_obex_store(this, gensym("dumpout"), static_cast<t_object*>(outlet_new(this, nullptr)));
    }

    /** Prepares the processor with the host's current audio set-up, so that
        what depends on it answers before audio starts. */
    void PrepareWithHostSettings()
    {
        processor->Prepare(double(sys_getsr()), std::uint32_t(std::max(1, sys_getblksize())));
        processor->NotifyLatencyListeners();
    }

    /** Signal inlets and outlets: one outlet per output, or with mc one
        multichannel outlet for all outputs but the last, which gets its
        own (multichanneloutputs). Outlets are created right to left. */
    void CreateSignalInletsAndOutlets()
    {
        z_dsp_setup(&header, std::max<std::int32_t>(0, numInputs));
        dspIsSetUp = true;
        if (mc == 0)
        {
            for (std::int32_t i = 0; i < numOutputs; ++i)
                outlet_new(this, "signal");
            header.z_misc = Z_NO_INPLACE;
        }
        else
        {
            outlet_new(this, "signal");
            outlet_new(this, "multichannelsignal");
            header.z_misc = Z_NO_INPLACE | Z_MC_INLETS;
        }
    }

    /** Takes the object out of the audio chain: no perform call reaches it
        afterwards. First in free, before anything a perform routine uses
        goes; does nothing on an object that never had z_dsp_setup. */
    void ReleaseDsp() noexcept
    {
        if (!dspIsSetUp)
            return;
        z_dsp_free(&header);
        dspIsSetUp = false;
    }

    /** The generic part of free, after the object's own listeners are
        gone: the audio chain (if still set up), the windows (closed and
        deleted: snapshot, status, help), the latency listener, the console
        with its report queue (its clock and qelem), the inbox with what
        waits in it, the processor, the entry in the live list. A processor
        whose own thread does not end in time is left to that thread, and
        the console says so. Safe on a half-built object. */
    void FreeGeneric() noexcept
    {
        ReleaseDsp();
        if (windows != nullptr)
        {
            if (processor != nullptr)
                processor->RemoveHostListener(windows);
            delete windows;
            windows = nullptr;
        }
        if (latencyListener != nullptr)
        {
            if (processor != nullptr)
                processor->RemoveLatencyListener(latencyListener);
            delete latencyListener;
            latencyListener = nullptr;
        }
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
        delete inbox;
        inbox = nullptr;
        if constexpr (requires(P* p) { P::Dispose(p); })
        {
            if (processor != nullptr && !P::Dispose(processor))
                PostBufferingThreadLeftRunning(asObject(), P::bufferingThreadStopTimeoutMs);
        }
        else
            delete processor;
        processor = nullptr;
        RemoveLiveObject(asObject());
    }

    /** Any thread of Max's: the message runs on the main thread, now when
        it arrives there (after what waits), else as soon as the main thread
        serves its queue. */
    void Receive(kel::OscMessage message)
    {
        inbox->Run([this, m = std::move(message)] { Dispatch(m); });
    }

    /** Any thread of Max's: work runs on the main thread, as Receive's
        messages do. work must not throw. */
    void OnMainThread(std::function<void()> work) { inbox->Run(std::move(work)); }

    /** Main thread: the window messages, then the processor's. One that may
        open a dialog is first deferred to low priority, where Max wants
        dialogs opened. */
    void Dispatch(const kel::OscMessage& message, bool mayDefer = true) noexcept
    {
        try
        {
            if (mayDefer && MayOpenDialog(message))
            {
                const kel::String& address = message.getAddressPattern().getText();
                defer_low(this, AsMethod(&MspObject::deferredDialogMessage), gensym(address.c_str()), 0, nullptr);
                return;
            }
            if (!ProcessHelpAndStatus(message))
                ProcessOscMessage(message);
        }
        catch (...)
        {
            PostCurrentException(asObject());
        }
    }

    /** Main thread: hands a message to the processor; failures are posted.
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
            // What the message reported before it failed goes out first.
            DeliverReports();
            PostCurrentException(asObject());
        }
        DeliverReports();
    }

    /** Main thread: sends what the report queue holds. */
    void DeliverReports() noexcept
    {
        if (console != nullptr)
            console->getReports().Deliver();
    }

    /** The window messages ("/help", "/status", "/snapshot" and their
        open, close, openorclose, font/size and floating); false when the
        message is not one of them. */
    bool ProcessHelpAndStatus(const kel::OscMessage& message)
    {
        try
        {
            if (!IsWindowMessage(message))
                return false;
            return getWindows().Process(message);
        }
        catch (...)
        {
            ConsoleError(asObject(), kel::Quoted(message.toString()), "error occurred when processing ");
            return true;
        }
    }

    /** The windows (made with the object; here too for a half-built one). */
    MspWindows& getWindows()
    {
        if (windows == nullptr)
            createWindows();
        return *windows;
    }

    /** The player's status for the status window; nothing for a processor
        that has none. Main thread. */
    std::optional<kel::PlayerStatus> GetPlayerStatus() const
    {
        if constexpr (requires(const P& p) { p.GetPlayerStatus(); })
            return std::optional<kel::PlayerStatus>(processor->GetPlayerStatus());
        else
            return std::nullopt;
    }

    /** The line "/post/version" starts with. */
    kel::String getVersionText() const
    {
#if defined(_WIN32)
        const char* platform = "64-bit Windows";
#elif defined(__APPLE__)
        const char* platform = "64-bit macOS";
#else
        const char* platform = "64-bit Linux";
#endif
        return processor->getName() + " version " + processor->getVersion() + " for Max (" + platform + ")";
    }

    /** "dsp64": channel counts of the inlets, connection statuses, the
        processor prepared with Max's rate and vector size, the perform
        routine. */
    static void Dsp64(MspObject* x, t_object* dsp64, short* count, double sampleRate, long maxVectorSize, long flags)
    {
        (void)flags;
        x->checkInputChannels(dsp64);
        x->setConnections(count);
        try
        {
            x->processor->Prepare(sampleRate, std::uint32_t(std::max(1L, maxVectorSize)));
            x->processor->NotifyLatencyListeners();
        }
        catch (...)
        {
            PostCurrentExceptionAsBug(x->asObject());
            return;
        }
        dsp_add64(dsp64, x->asObject(), &MspObject::Perform64, 0, nullptr);
    }

    /** The perform routine: one call of the processor's block entry with all
        inputs and outputs. The entry writes only the outlets dsp64 found
        connected (setConnections); Max reads no others. */
    static void Perform64(t_object* object, t_object* /*dsp64*/, double** ins, long numIns, double** outs,
                          long numOuts, long sampleFrames, long /*flags*/, void* /*userParam*/)
    {
        auto* x = reinterpret_cast<MspObject*>(object);
        ReportQueue& reports = x->console->getReports();
        reports.EnterPerform();
        x->processor->ProcessBlock(ins, std::uint32_t(std::max(0L, numIns)), outs, std::uint32_t(std::max(0L, numOuts)),
                                   std::uint32_t(std::max(0L, sampleFrames)));
        reports.LeavePerform();
    }

private:
    /** The windows, which see the object through Dispatch, and the
        processor's clipboard listener. */
    void createWindows()
    {
        kel::String description;
        if constexpr (requires { P::getDescription(); })
            description = P::getDescription();
        MspWindowAccess access{[this](const kel::OscMessage& message) { Dispatch(message); },
                               [this] { return GetPlayerStatus(); }};
        windows = new MspWindows(asObject(), *processor, description, std::move(access));
        processor->AddHostListener(windows);
    }

    static void deferredDialogMessage(MspObject* x, t_symbol* s, short /*argc*/, t_atom* /*argv*/)
    {
        x->Dispatch(kel::OscMessage(kel::String(s->s_name)), false);
    }

    static bool IsWindowMessage(const kel::OscMessage& message)
    {
        const kel::OscAddressPattern& address = message.getAddressPattern();
        if (address.getNumParts() == 0)
            return false;
        const std::string_view window = address.getPart(0);
        return window == "help" || window == "status" || window == "snapshot";
    }

    long getNumInputChannels(t_object* dsp64, long inlet)
    {
        return long(reinterpret_cast<t_ptr_int>(object_method_imp(dsp64, gensym("getnuminputchannels"), this,
                                                                  reinterpret_cast<void*>(t_ptr_int(inlet)), nullptr,
                                                                  nullptr, nullptr, nullptr, nullptr, nullptr)));
    }

    void checkInputChannels(t_object* dsp64)
    {
        if (numInputs <= 0)
            return;
        if (mc != 0)
        {
            const long received = getNumInputChannels(dsp64, 0);
            const long extra = received - numInputs;
            if (extra > 0)
                object_warn(asObject(), "%s",
                            ("inlet #1 expects " + kel::ToString(numInputs) + ", but receives "
                             + kel::ToString(std::int64_t(received))
                             + (extra == 1 ? kel::String(". The extra channel is discarded.")
                                           : ". The " + kel::ToString(std::int64_t(extra))
                                                 + " extra channels are discarded."))
                                .c_str());
            return;
        }
        for (long inlet = 0; inlet < numInputs; ++inlet)
            if (getNumInputChannels(dsp64, inlet) > 1)
                object_warn(asObject(), "%s",
                            ("inlet #" + kel::ToString(std::int64_t(inlet + 1))
                             + " expects mono signal. Ony the first channel will be processed."
                             + " (maybe you need to enable the \"@mc 1\" attribute ?)")
                                .c_str());
    }

    /** Connection counts: one per signal inlet, then one per signal outlet
        (with mc: the multichannel outlet, then the last output's). */
    void setConnections(const short* count)
    {
        if (count == nullptr)
            return;
        auto& connections = processor->getConnections();
        const std::uint32_t inlets = std::uint32_t(std::max<std::int32_t>(0, numInputs));
        for (std::uint32_t i = 0; i < inlets; ++i)
            connections.SetInletStatus(i, count[i]);
        const std::uint32_t outputs = std::uint32_t(std::max<std::int32_t>(0, numOutputs));
        if (mc == 0)
        {
            for (std::uint32_t j = 0; j < outputs; ++j)
                connections.SetOutletStatus(j, count[inlets + j]);
            return;
        }
        for (std::uint32_t j = 0; j + 1 < outputs; ++j)
            connections.SetOutletStatus(j, count[inlets]);
        if (outputs > 0)
            connections.SetOutletStatus(outputs - 1, count[inlets + 1]);
    }
};

} // namespace maxmsp
