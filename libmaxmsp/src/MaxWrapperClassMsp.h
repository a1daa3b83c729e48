// maxmsp::MspObject<P>: the generic binding of an audio processor P (a
// kel::AudioProcessorWithOscInAudioInterrupt) to an MSP object. It is the
// head of the object's record: Max allocates the record (zero-filled) and
// an object's class derives its record from it, adding its own fields after
// these. Members are plain pointers because Max, not C++, builds the record;
// the object's new and free routines create and delete what they point to.
//
// Threads: everything on Max's main thread except Perform64 (audio thread),
// which touches only the processor's block entry.
#pragma once

#include <cstdint>

#include "MaxWrapperApi.h"
#include "MaxWrapperConsole.h"
#include "MaxWrapperHost.h"
#include "MaxWrapperOsc.h"
#include "MaxWrapperPost.h"
#include "MaxWrapperReports.h"
#include "MaxWrapperWindows.h"
#include "common/KelException.h"
#include "dsp/KelAudioProcessorBase.h"

namespace maxmsp {

/** Sends the processor's latency as "/dsp/latency" out of the dump outlet. */
class MspLatencyListener : public kel::AudioProcessorBase::LatencyListener
{
public:
    explicit MspLatencyListener(t_object* owner) : x(owner) {}
    void OnLatency(const kel::AudioProcessorBase& processor, std::uint32_t latencyInSamples) override;

private:
    t_object* x;
};

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
    MspWindows* windows;                 // owned; null until first shown
    Console* console;                    // owned; the processor's console listener
    MspLatencyListener* latencyListener; // owned; the processor's latency listener

    t_object* asObject() noexcept { return reinterpret_cast<t_object*>(this); }

    /** After the processor is built: checks its channel counts against the
        host's limit, then registers the console and the latency listener.
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
        console = new Console(this);
        processor->AddHostListener(console);
        processor->AddObserver(console);
        latencyListener = new MspLatencyListener(asObject());
        processor->AddLatencyListener(latencyListener);
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

    /** The generic part of free, after the object's own listeners are
        gone: the latency listener, the console, the MSP header (no perform
        call reaches the processor after it), the windows, the processor,
        the entry in the live list. Safe on a half-built object. */
    void FreeGeneric() noexcept
    {
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
        z_dsp_free(&header);
        delete windows;
        windows = nullptr;
        delete processor;
        processor = nullptr;
        RemoveLiveObject(asObject());
    }

    /** Hands a message to the processor; failures are posted. Reports the
        audio thread queued go out first (they may refer to what the message
        replaces). */
    void ProcessOscMessage(const kel::OscMessage& message, const kel::MessageFlag& flag = {}) noexcept
    {
        try
        {
            if (console != nullptr)
                console->getReports().Deliver();
            processor->ProcessMessage(message, flag);
        }
        catch (...)
        {
            PostCurrentException(asObject());
        }
    }

    /** The window messages ("/help", "/status", "/snapshot"); false when
        the message is not one of them. */
    bool ProcessHelpAndStatus(const kel::OscMessage& message)
    {
        try
        {
            if (windows == nullptr && !IsWindowMessage(message))
                return false;
            return getWindows().Process(message);
        }
        catch (...)
        {
            object_error(asObject(), "%s", ("error occurred when processing " + kel::Quoted(message.toString())).c_str());
            return true;
        }
    }

    /** The windows, created on first use. */
    MspWindows& getWindows()
    {
        if (windows == nullptr)
        {
            kel::String description;
            if constexpr (requires { P::getDescription(); })
                description = P::getDescription();
            windows = new MspWindows(asObject(), *processor, description);
        }
        return *windows;
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
        inputs and outputs. */
    static void Perform64(t_object* object, t_object* /*dsp64*/, double** ins, long numIns, double** outs,
                          long numOuts, long sampleFrames, long /*flags*/, void* /*userParam*/)
    {
        const AudioThreadScope audioThread;
        reinterpret_cast<MspObject*>(object)->processor->ProcessBlock(ins, std::uint32_t(std::max(0L, numIns)), outs, std::uint32_t(std::max(0L, numOuts)),
                                   std::uint32_t(std::max(0L, sampleFrames)));
    }

private:
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
