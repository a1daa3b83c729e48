// The chain object, its compilation and the audio thread. Each box gets its
// own silent input vectors and its own output vectors (never in place).
#include "MaxsimDspChain.h"

#include <atomic>
#include <chrono>
#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "MaxsimConsole.h"
#include "MaxsimHooks.h"
#include "MaxsimObjects.h"
#include "MaxsimOutlets.h"
#include "MaxsimScheduler.h"
#include "MaxsimWavRecorder.h"

namespace maxsim
{
namespace
{

struct Perform
{
    t_perfroutine64 fn;
    long flags;
    void* userParam;
};

struct BoxDsp
{
    t_object* box = nullptr;
    std::vector<long> inletChannels;   // per signal inlet, as given by the cables
    std::vector<long> outletChannels;  // per signal outlet, left to right
    std::vector<Perform> performs;
    std::vector<std::vector<double>> inputs, outputs;
    std::vector<double*> ins, outs;
};

struct State
{
    std::recursive_mutex chainMutex;  // held by the audio thread for each block
    std::vector<std::unique_ptr<BoxDsp>> chain;
    BoxDsp* compiling = nullptr;
    double sampleRate = 48000.0;
    long vectorSize = 64;
    bool on = false;
    std::map<t_object*, std::map<long, long>> inputChannels;
    std::map<t_object*, std::unique_ptr<WavRecorder>> recorders;
    t_object* chainObject = nullptr;
};

State& state()
{
    static State* instance = new State;
    return *instance;
}

BoxDsp* findBox(State& s, void* box)
{
    if (s.compiling && s.compiling->box == box)
        return s.compiling;
    for (auto& b : s.chain)
        if (b->box == box)
            return b.get();
    return nullptr;
}

long channelsAt(const std::vector<long>& counts, void* index)
{
    const auto i = static_cast<std::size_t>(reinterpret_cast<intptr_t>(index));
    return i < counts.size() ? counts[i] : 0;
}

void* getNumInputChannels(void*, void* box, void* inlet)
{
    BoxDsp* b = findBox(state(), box);
    return reinterpret_cast<void*>(static_cast<intptr_t>(b ? channelsAt(b->inletChannels, inlet) : 0));
}

void* getNumOutputChannels(void*, void* box, void* outlet)
{
    BoxDsp* b = findBox(state(), box);
    return reinterpret_cast<void*>(static_cast<intptr_t>(b ? channelsAt(b->outletChannels, outlet) : 0));
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

std::unique_ptr<BoxDsp> compileBox(State& s, t_object* box)
{
    ClassRecord* cls = ClassOf(box);
    ObjectInfo* info = FindObject(box);
    const MethodEntry* dsp64 = cls ? cls->findMethod(gensym("dsp64")) : nullptr;
    if (!cls || !info || !cls->dsp || !dsp64 || !dsp64->fn)
        return nullptr;
    auto* px = reinterpret_cast<t_pxobject*>(box);
    if (px->z_misc & Z_DONT_ADD)
        return nullptr;
    auto b = std::make_unique<BoxDsp>();
    b->box = box;
    const auto& given = s.inputChannels[box];
    for (long i = 0; i < info->signalInlets; ++i)
    {
        auto it = given.find(i);
        long n = it == given.end() ? 1 : it->second;
        b->inletChannels.push_back((px->z_misc & Z_MC_INLETS) ? n : 1);
    }
    const MethodEntry* mc = cls->findMethod(gensym("multichanneloutputs"));
    long signalIndex = 0;
    for (Outlet* o : OutletsLeftToRight(*info))
    {
        if (!IsSignalOutlet(o))
            continue;
        long n = 1;
        if (o->type == gensym("multichannelsignal") && mc && mc->fn)
            n = reinterpret_cast<long (*)(t_object*, long)>(mc->fn)(box, signalIndex);
        b->outletChannels.push_back(std::clamp(n, 1L, 1024L));
        ++signalIndex;
    }
    std::vector<short> counts;
    for (long i = 0; i < info->signalInlets; ++i)
        counts.push_back(given.count(i) ? 1 : 0);
    counts.insert(counts.end(), b->outletChannels.size(), 1);
    counts.push_back(0);
    s.compiling = b.get();
    using Dsp64 = void (*)(t_object*, t_object*, short*, double, long, long);
    reinterpret_cast<Dsp64>(dsp64->fn)(box, chainObject(), counts.data(), s.sampleRate, s.vectorSize, 0);
    s.compiling = nullptr;
    long numIns = 0, numOuts = 0;
    for (long n : b->inletChannels)
        numIns += n;
    for (long n : b->outletChannels)
        numOuts += n;
    const auto vs = static_cast<std::size_t>(s.vectorSize);
    b->inputs.assign(static_cast<std::size_t>(numIns), std::vector<double>(vs, 0.0));
    b->outputs.assign(static_cast<std::size_t>(numOuts), std::vector<double>(vs, 0.0));
    for (auto& v : b->inputs)
        b->ins.push_back(v.data());
    for (auto& v : b->outputs)
        b->outs.push_back(v.data());
    return b;
}

void compile(const std::vector<t_object*>& boxes)
{
    State& s = state();
    std::lock_guard<std::recursive_mutex> lock(s.chainMutex);
    s.chain.clear();
    for (t_object* box : boxes)
        if (box)
            if (auto b = compileBox(s, box))
                s.chain.push_back(std::move(b));
    // Z_PUT_FIRST and Z_PUT_LAST move a box to the ends of the chain.
    auto flags = [](const std::unique_ptr<BoxDsp>& b) { return reinterpret_cast<t_pxobject*>(b->box)->z_misc; };
    std::stable_partition(s.chain.begin(), s.chain.end(), [&](const auto& b) { return (flags(b) & Z_PUT_FIRST) != 0; });
    std::stable_partition(s.chain.begin(), s.chain.end(), [&](const auto& b) { return (flags(b) & Z_PUT_LAST) == 0; });
}

void runBlock(State& s)
{
    std::lock_guard<std::recursive_mutex> lock(s.chainMutex);
    for (auto& b : s.chain)
    {
        for (auto& v : b->inputs)
            std::fill(v.begin(), v.end(), 0.0);
        for (const Perform& p : b->performs)
            p.fn(b->box, s.chainObject, b->ins.data(), static_cast<long>(b->ins.size()), b->outs.data(),
                 static_cast<long>(b->outs.size()), s.vectorSize, p.flags, p.userParam);
        auto r = s.recorders.find(b->box);
        if (r != s.recorders.end() && !r->second->Write(b->outs.data(), static_cast<long>(b->outs.size()),
                                                          s.vectorSize, s.sampleRate))
        {
            Emit("error", b->box, "maxsim: cannot record to " + r->second->getPath());
            s.recorders.erase(r);
        }
    }
}

}  // namespace

void DspStart(double sampleRate, long vectorSize, const std::vector<t_object*>& boxes)
{
    State& s = state();
    s.sampleRate = sampleRate;
    s.vectorSize = vectorSize;
    s.on = true;
    compile(boxes);
}

void DspStop()
{
    State& s = state();
    std::lock_guard<std::recursive_mutex> lock(s.chainMutex);
    s.chain.clear();
    s.on = false;
}

bool DspIsOn() { return state().on; }

void DspRecompile(const std::vector<t_object*>& boxes)
{
    if (state().on)
        compile(boxes);
}

double DspSampleRate() { return state().sampleRate; }
long DspVectorSize() { return state().vectorSize; }

void SetInputChannels(t_object* box, long inlet, long channels) { state().inputChannels[box][inlet] = channels; }

void RunAudio(double ms, double speed)
{
    State& s = state();
    const double blockMs = 1000.0 * static_cast<double>(s.vectorSize) / s.sampleRate;
    const long blocks = static_cast<long>(std::ceil(ms / blockMs - 1e-9));
    const double start = SchedulerTime();
    std::atomic<bool> done {false};
    std::thread audio([&] {
        const auto began = std::chrono::steady_clock::now();
        for (long k = 0; k < blocks; ++k)
        {
            runBlock(s);
            AdvanceTime(start + static_cast<double>(k + 1) * blockMs);
            if (speed > 0.0)
                std::this_thread::sleep_until(
                    began + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                std::chrono::duration<double, std::milli>(static_cast<double>(k + 1) * blockMs / speed)));
        }
        done = true;
        Wake();
    });
    ServeWhile([&] { return !done.load(); });
    audio.join();
    AdvanceTime(start + static_cast<double>(blocks) * blockMs);
    ServeAll();
}

void SetRecording(t_object* box, const std::string& path)
{
    State& s = state();
    std::lock_guard<std::recursive_mutex> lock(s.chainMutex);
    if (path.empty())
        s.recorders.erase(box);
    else
        s.recorders[box] = std::make_unique<WavRecorder>(path);
}

void StopAllRecordings()
{
    State& s = state();
    std::lock_guard<std::recursive_mutex> lock(s.chainMutex);
    s.recorders.clear();
}

void AddPerform(t_object* box, t_perfroutine64 fn, long flags, void* userParam)
{
    State& s = state();
    BoxDsp* b = s.compiling && s.compiling->box == box ? s.compiling : nullptr;
    if (!b)
    {
        Emit("bug", box, "maxsim: dsp_add64 outside the object's dsp64");
        return;
    }
    if (fn)
        b->performs.push_back({fn, flags, userParam});
}

void RemoveFromChain(t_object* box)
{
    State& s = state();
    std::lock_guard<std::recursive_mutex> lock(s.chainMutex);
    std::erase_if(s.chain, [&](const std::unique_ptr<BoxDsp>& b) { return b->box == box; });
    s.recorders.erase(box);
    s.inputChannels.erase(box);
}

void BeforeObjectFree(t_object* object) { RemoveFromChain(object); }

}  // namespace maxsim
