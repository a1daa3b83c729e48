// Each box gets its own input vectors (the sum of the signal cords into each
// inlet) and its own output vectors (never in place). Max's output vectors
// hold whatever their last user left, so before a box's perform routines run
// every output sample here is a NaN of our own, and a connected outlet they
// leave with one is reported (and the sample cleared, so that no later box
// sees it). Unconnected outlets are not checked: Max reads none of them.
#include "MaxsimDspChain.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "MaxsimConsole.h"
#include "MaxsimHooks.h"
#include "MaxsimObjects.h"
#include "MaxsimOutlets.h"
#include "MaxsimPatch.h"
#include "MaxsimThreads.h"
#include "MaxsimWavRecorder.h"

namespace maxsim
{
namespace
{

// Max's limit for one multichannel cord.
constexpr long maxChannels = 1024;

// What an output sample holds before perform: a quiet NaN no arithmetic
// makes by chance.
constexpr std::uint64_t unwrittenBits = 0x7ff8'4d41'5853'494dULL;
const double unwritten = std::bit_cast<double>(unwrittenBits);

bool isUnwritten(double sample) { return std::bit_cast<std::uint64_t>(sample) == unwrittenBits; }

struct Perform
{
    t_perfroutine64 fn;
    long flags;
    void* userParam;
};

struct BoxDsp;

// Channels of a source's outlet added into an inlet.
struct Feed
{
    std::size_t input;   // first input channel of the inlet
    long channels;       // the inlet's channels
    const BoxDsp* src;
    std::size_t output;  // first output channel of the source's outlet
    long srcChannels;
};

struct BoxDsp
{
    t_object* box = nullptr;
    ObjectInfo* info = nullptr;  // valid while the box is in the chain
    std::vector<long> inletChannels;
    std::map<long, std::pair<std::size_t, long>> outlets;  // outlet index -> first channel, channels
    std::vector<Perform> performs;
    std::vector<Feed> feeds;
    std::vector<std::vector<double>> inputs, outputs;
    std::vector<double*> ins, outs;
    std::vector<double*> recorded;  // the recorded channels, when recording
    std::vector<std::pair<long, std::size_t>> connected;  // outlet index, output channel: each that Max reads
    bool removed = false;           // by z_dsp_free; the memory stays until the next swap
};

struct Recording
{
    std::unique_ptr<WavRecorder> recorder;
    std::vector<long> outlets;  // empty: every signal outlet
};

struct State
{
    std::mutex chainMutex;  // held by the audio thread for each block
    std::vector<std::unique_ptr<BoxDsp>> chain;
    std::map<t_object*, Recording> recordings;  // guarded by chainMutex
    // Main thread only.
    BoxDsp* compiling = nullptr;
    std::map<t_object*, std::map<long, long>> inputChannels;
    t_object* chainObject = nullptr;
    bool on = false;
    std::atomic<double> sampleRate {48000.0};
    std::atomic<long> vectorSize {64};
};

State& state()
{
    static State* instance = new State;
    return *instance;
}

long channelsAt(const std::vector<long>& counts, void* index)
{
    const auto i = static_cast<std::size_t>(reinterpret_cast<intptr_t>(index));
    return i < counts.size() ? counts[i] : 0;
}

BoxDsp* compilingBox(void* box)
{
    State& s = state();
    return s.compiling && s.compiling->box == box ? s.compiling : nullptr;
}

void* getNumInputChannels(void*, void* box, void* inlet)
{
    BoxDsp* b = compilingBox(box);
    return reinterpret_cast<void*>(static_cast<intptr_t>(b ? channelsAt(b->inletChannels, inlet) : 0));
}

// The argument counts signal outlets from the left.
void* getNumOutputChannels(void*, void* box, void* outlet)
{
    BoxDsp* b = compilingBox(box);
    if (!b)
        return nullptr;
    std::vector<long> counts;
    for (const auto& [index, range] : b->outlets)
        counts.push_back(range.second);
    return reinterpret_cast<void*>(static_cast<intptr_t>(channelsAt(counts, outlet)));
}

void* chainAdd64(void*, void* box, void* fn, void* flags, void* userParam)
{
    AddPerform(static_cast<t_object*>(box), reinterpret_cast<t_perfroutine64>(fn),
               static_cast<long>(reinterpret_cast<intptr_t>(flags)), userParam);
    return nullptr;
}

t_object* chainObject()
{
    State& s = state();
    if (!s.chainObject)
    {
        ClassRecord* cls = NewKernelClass("dspchain", [](t_object* o) { delete o; });
        AddKernelMethod(cls, "getnuminputchannels", reinterpret_cast<method>(&getNumInputChannels));
        AddKernelMethod(cls, "getnumoutputchannels", reinterpret_cast<method>(&getNumOutputChannels));
        AddKernelMethod(cls, "dsp_add64", reinterpret_cast<method>(&chainAdd64));
        s.chainObject = new t_object {};
        AdoptObject(s.chainObject, cls);
    }
    return s.chainObject;
}

bool compiles(t_object* box)
{
    ClassRecord* cls = ClassOf(box);
    ObjectInfo* info = FindObject(box);
    const MethodEntry* dsp64 = cls ? cls->findMethod(gensym("dsp64")) : nullptr;
    return cls && info && cls->dsp && info->dspSetup && dsp64 && dsp64->fn &&
           !(reinterpret_cast<t_pxobject*>(box)->z_misc & Z_DONT_ADD);
}

// Sources before the boxes they feed, else in creation order (cords cannot close a loop).
std::vector<t_object*> signalOrder(const std::vector<t_object*>& boxes)
{
    std::vector<t_object*> pending;
    for (t_object* box : boxes)
        if (box && compiles(box))
            pending.push_back(box);
    std::vector<t_object*> order;
    while (!pending.empty())
    {
        auto ready = std::find_if(pending.begin(), pending.end(), [&](t_object* box) {
            for (const SignalSource& source : SignalCordsInto(box))
                if (std::find(pending.begin(), pending.end(), source.src) != pending.end())
                    return false;
            return true;
        });
        order.push_back(*ready);
        pending.erase(ready);
    }
    auto flags = [](t_object* box) { return reinterpret_cast<t_pxobject*>(box)->z_misc; };
    std::stable_partition(order.begin(), order.end(), [&](t_object* b) { return (flags(b) & Z_PUT_FIRST) != 0; });
    std::stable_partition(order.begin(), order.end(), [&](t_object* b) { return (flags(b) & Z_PUT_LAST) == 0; });
    return order;
}

const BoxDsp* findIn(const std::vector<std::unique_ptr<BoxDsp>>& chain, const void* box)
{
    for (const auto& b : chain)
        if (b->box == box)
            return b.get();
    return nullptr;
}

std::unique_ptr<BoxDsp> compileBox(State& s, t_object* box, const std::vector<std::unique_ptr<BoxDsp>>& earlier)
{
    ClassRecord* cls = ClassOf(box);
    ObjectInfo* info = FindObject(box);
    auto* px = reinterpret_cast<t_pxobject*>(box);
    auto b = std::make_unique<BoxDsp>();
    b->box = box;
    b->info = info;
    const Recording* recording = nullptr;
    {
        std::lock_guard<std::mutex> lock(s.chainMutex);
        auto r = s.recordings.find(box);
        recording = r == s.recordings.end() ? nullptr : &r->second;
    }

    const MethodEntry* mc = cls->findMethod(gensym("multichanneloutputs"));
    std::vector<Outlet*> outlets = OutletsLeftToRight(*info);
    std::size_t numOuts = 0;
    long signalIndex = 0;
    std::vector<short> outletCounts;
    for (std::size_t i = 0; i < outlets.size(); ++i)
    {
        if (!IsSignalOutlet(outlets[i]))
            continue;
        long n = 1;
        if (outlets[i]->type == gensym("multichannelsignal") && mc && mc->fn)
        {
            CallScope scope(box);
            n = reinterpret_cast<long (*)(t_object*, long)>(mc->fn)(box, signalIndex);
        }
        if (n > maxChannels)
            Violation(Subject(box), "multichanneloutputs asks for " + std::to_string(n) + " signals in outlet " +
                                        std::to_string(i) + " (at most 1024)");
        n = std::clamp(n, 1L, maxChannels);
        const long index = static_cast<long>(i);
        b->outlets[index] = {numOuts, n};
        numOuts += static_cast<std::size_t>(n);
        const bool recorded = recording && (recording->outlets.empty() ||
                                            std::count(recording->outlets.begin(), recording->outlets.end(), index));
        const bool read = OutletHasCords(box, index) || recorded;
        outletCounts.push_back(read ? 1 : 0);
        if (read)
            for (long c = 0; c < n; ++c)
                b->connected.emplace_back(index, b->outlets[index].first + static_cast<std::size_t>(c));
        ++signalIndex;
    }

    const auto& given = s.inputChannels[box];
    const std::vector<SignalSource> sources = SignalCordsInto(box);
    std::vector<short> counts;
    std::size_t numIns = 0;
    for (long inlet = 0; inlet < info->signalInlets; ++inlet)
    {
        long n = 0;
        bool connected = false;
        for (const SignalSource& source : sources)
            if (source.inlet == inlet)
                if (const BoxDsp* src = findIn(earlier, source.src))
                {
                    connected = true;
                    n = std::max(n, src->outlets.at(source.outlet).second);
                }
        auto it = given.find(inlet);
        if (it != given.end())
        {
            connected = true;
            n = it->second;
        }
        n = (px->z_misc & Z_MC_INLETS) ? std::clamp(n, 1L, maxChannels) : 1;
        for (const SignalSource& source : sources)
            if (source.inlet == inlet)
                if (const BoxDsp* src = findIn(earlier, source.src))
                {
                    const auto& [first, channels] = src->outlets.at(source.outlet);
                    b->feeds.push_back({numIns, n, src, first, channels});
                }
        b->inletChannels.push_back(n);
        counts.push_back(connected ? 1 : 0);
        numIns += static_cast<std::size_t>(n);
    }
    counts.insert(counts.end(), outletCounts.begin(), outletCounts.end());
    counts.push_back(0);

    s.compiling = b.get();
    {
        CallScope scope(box);
        using Dsp64 = void (*)(t_object*, t_object*, short*, double, long, long);
        reinterpret_cast<Dsp64>(cls->findMethod(gensym("dsp64"))->fn)(box, chainObject(), counts.data(), s.sampleRate,
                                                                        s.vectorSize, 0);
    }
    s.compiling = nullptr;

    const auto vs = static_cast<std::size_t>(s.vectorSize.load());
    b->inputs.assign(numIns, std::vector<double>(vs, 0.0));
    b->outputs.assign(numOuts, std::vector<double>(vs, 0.0));
    for (auto& v : b->inputs)
        b->ins.push_back(v.data());
    for (auto& v : b->outputs)
        b->outs.push_back(v.data());
    if (recording)
    {
        const std::vector<long>& listed = recording->outlets;
        for (const auto& [index, range] : b->outlets)
            if (listed.empty())
                for (long c = 0; c < range.second; ++c)
                    b->recorded.push_back(b->outs[range.first + static_cast<std::size_t>(c)]);
        for (long index : listed)
        {
            const auto& range = b->outlets.at(index);
            for (long c = 0; c < range.second; ++c)
                b->recorded.push_back(b->outs[range.first + static_cast<std::size_t>(c)]);
        }
    }
    return b;
}

// Inside the box's perform scope: the connected outlets it left unwritten.
void checkWritten(BoxDsp& b, long frames)
{
    for (const auto& [outlet, channel] : b.connected)
    {
        double* out = b.outs[channel];
        if (std::none_of(out, out + frames, isUnwritten))
            continue;
        Violation(Subject(b.box), "its perform routine left samples of connected outlet " + std::to_string(outlet) +
                                      " unwritten");
        std::replace_if(out, out + frames, isUnwritten, 0.0);
    }
}

void markRemoved(State& s, const void* box)
{
    for (auto& b : s.chain)
        if (b->box == box && !b->removed)
        {
            b->removed = true;
            for (auto& v : b->outputs)
                std::fill(v.begin(), v.end(), 0.0);
        }
}

}  // namespace

void DspConfigure(double sampleRate, long vectorSize)
{
    State& s = state();
    s.sampleRate = sampleRate;
    s.vectorSize = vectorSize;
    s.on = true;
}

void DspCompile(const std::vector<t_object*>& boxes)
{
    State& s = state();
    if (!s.on)
        return;
    std::vector<std::unique_ptr<BoxDsp>> chain;
    for (t_object* box : signalOrder(boxes))
        chain.push_back(compileBox(s, box, chain));
    {
        std::lock_guard<std::mutex> lock(s.chainMutex);
        s.chain.swap(chain);
    }
}

void DspOff()
{
    State& s = state();
    std::vector<std::unique_ptr<BoxDsp>> old;
    {
        std::lock_guard<std::mutex> lock(s.chainMutex);
        s.chain.swap(old);
    }
    s.on = false;
}

bool DspIsOn() { return state().on; }
double DspSampleRate() { return state().sampleRate; }
long DspVectorSize() { return state().vectorSize; }

void SetInputChannels(t_object* box, long inlet, long channels) { state().inputChannels[box][inlet] = channels; }

std::string SetRecording(t_object* box, const std::string& path, const std::vector<long>& outlets)
{
    State& s = state();
    ObjectInfo* info = FindObject(box);
    if (!info)
        return "no such box";
    const std::vector<Outlet*> all = OutletsLeftToRight(*info);
    for (std::size_t i = 0; i < outlets.size(); ++i)
    {
        const long index = outlets[i];
        if (index < 0 || index >= static_cast<long>(all.size()) || !IsSignalOutlet(all[static_cast<std::size_t>(index)]))
            return "outlet " + std::to_string(index) + " is no signal outlet";
        if (std::count(outlets.begin(), outlets.begin() + static_cast<long>(i), index))
            return "outlet " + std::to_string(index) + " is listed twice";
    }
    std::lock_guard<std::mutex> lock(s.chainMutex);
    for (auto& b : s.chain)
        if (b->box == box)
            b->recorded.clear();
    if (path.empty())
        s.recordings.erase(box);
    else
        s.recordings[box] = Recording {std::make_unique<WavRecorder>(path), outlets};
    return {};
}

void StopAllRecordings()
{
    State& s = state();
    std::lock_guard<std::mutex> lock(s.chainMutex);
    for (auto& b : s.chain)
        b->recorded.clear();
    s.recordings.clear();
}

void RunBlock()
{
    State& s = state();
    std::lock_guard<std::mutex> lock(s.chainMutex);
    const long frames = s.vectorSize;
    for (auto& b : s.chain)
    {
        if (b->removed)
            continue;
        for (auto& v : b->inputs)
            std::fill(v.begin(), v.end(), 0.0);
        for (const Feed& f : b->feeds)
            if (!f.src->removed)
                for (long c = 0; c < std::min(f.channels, f.srcChannels); ++c)
                {
                    double* in = b->ins[f.input + static_cast<std::size_t>(c)];
                    const double* out = f.src->outs[f.output + static_cast<std::size_t>(c)];
                    for (long i = 0; i < frames; ++i)
                        in[i] += out[i];
                }
        if (b->info->dspFreed)
        {
            Violation(Subject(b->box), "its perform routine is due after its z_dsp_free (not called)");
            continue;
        }
        if (!b->performs.empty())
        {
            for (auto& v : b->outputs)
                std::fill(v.begin(), v.end(), unwritten);
            CallScope scope(b->box);
            RoleScope role(Role::AudioPerform);
            for (const Perform& p : b->performs)
                p.fn(b->box, s.chainObject, b->ins.data(), static_cast<long>(b->ins.size()), b->outs.data(),
                     static_cast<long>(b->outs.size()), frames, p.flags, p.userParam);
            checkWritten(*b, frames);
        }
        if (b->recorded.empty())
            continue;
        auto r = s.recordings.find(b->box);
        if (r != s.recordings.end() &&
            !r->second.recorder->Write(b->recorded.data(), static_cast<long>(b->recorded.size()), frames, s.sampleRate))
        {
            Emit("error", b->box, "maxsim: cannot record to " + r->second.recorder->getPath());
            b->recorded.clear();
            s.recordings.erase(r);
        }
    }
}

void AddPerform(t_object* box, t_perfroutine64 fn, long flags, void* userParam)
{
    BoxDsp* b = compilingBox(box);
    if (!b)
    {
        Violation(Subject(box), "called dsp_add64 outside its dsp64");
        return;
    }
    if (fn)
        b->performs.push_back({fn, flags, userParam});
}

void RemoveFromChain(t_object* box, ObjectInfo& info)
{
    State& s = state();
    std::lock_guard<std::mutex> lock(s.chainMutex);
    markRemoved(s, box);
    // Under the chain's lock: a block never sees the flag before the removal.
    info.dspFreed = true;
}

void DspAfterFree(t_object* object, ObjectInfo& info, const std::string& subject)
{
    State& s = state();
    if (info.cls->dsp && info.dspSetup && !info.dspFreed)
        Violation(subject, "free returned without z_dsp_free (the chain lets go of it)");
    std::lock_guard<std::mutex> lock(s.chainMutex);
    markRemoved(s, object);
    s.recordings.erase(object);
    s.inputChannels.erase(object);
}

}  // namespace maxsim
