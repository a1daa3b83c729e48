#include "MaxsimPatch.h"

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>
#include <set>

#include "MaxsimAtoms.h"
#include "MaxsimConsole.h"
#include "MaxsimDispatch.h"
#include "MaxsimHooks.h"
#include "MaxsimObjects.h"
#include "MaxsimOutlets.h"
#include "MaxsimThreads.h"

namespace maxsim
{
namespace
{

struct Cord
{
    const void* src;
    long outlet;
    t_object* dst;
    long inlet;
    bool signal;
};

struct State
{
    std::mutex mutex;
    std::condition_variable idle;
    std::vector<Cord> cords;                 // in the order they were made
    std::map<const void*, int> delivering;   // messages on their way into each box
};

State& state()
{
    static State* instance = new State;
    return *instance;
}

// Deeper than this, a message that loops through cords is dropped, as Max
// stops a stack overflow.
constexpr int maxDepth = 200;
thread_local int depth = 0;

ClassRecord* messageClass = nullptr;
ClassRecord* routeClass = nullptr;

struct MessageBox
{
    t_object ob;
    std::vector<t_atom>* atoms;
    void* outlet;
};

struct RouteBox
{
    t_object ob;
    std::vector<t_atom>* keys;
    std::vector<void*>* outlets;  // left to right; the last one takes what matches no key
};

void sendAtoms(void* outlet, const t_atom* atoms, long n)
{
    t_symbol* selector = nullptr;
    std::vector<t_atom> args;
    if (n == 0)
        outlet_bang(outlet);
    else if (AtomsToMessage(atoms, n, selector, args))
        outlet_anything(outlet, selector, static_cast<short>(args.size()), args.data());
}

void* messageNew(t_symbol*, long argc, t_atom* argv)
{
    auto* x = static_cast<MessageBox*>(object_alloc(messageClass));
    x->atoms = new std::vector<t_atom>(argv, argv + argc);
    x->outlet = outlet_new(x, nullptr);
    return x;
}

void messageFree(MessageBox* x) { delete x->atoms; }

// Any message sends the contents; commas separate messages, as in Max.
void messageAnything(MessageBox* x, t_symbol*, long, t_atom*)
{
    const std::vector<t_atom> atoms = *x->atoms;
    std::size_t first = 0;
    for (std::size_t i = 0; i <= atoms.size(); ++i)
        if (i == atoms.size() || atoms[i].a_type == A_COMMA)
        {
            if (i > first)
                sendAtoms(x->outlet, atoms.data() + first, static_cast<long>(i - first));
            first = i + 1;
        }
}

void* routeNew(t_symbol*, long argc, t_atom* argv)
{
    auto* x = static_cast<RouteBox*>(object_alloc(routeClass));
    x->keys = new std::vector<t_atom>(argv, argv + argc);
    x->outlets = new std::vector<void*>(static_cast<std::size_t>(argc) + 1);
    for (long i = argc; i >= 0; --i)
        (*x->outlets)[static_cast<std::size_t>(i)] = outlet_new(x, nullptr);
    return x;
}

void routeFree(RouteBox* x)
{
    delete x->keys;
    delete x->outlets;
}

bool sameAtom(const t_atom& a, const t_atom& b)
{
    const bool aNumber = a.a_type == A_LONG || a.a_type == A_FLOAT;
    const bool bNumber = b.a_type == A_LONG || b.a_type == A_FLOAT;
    if (aNumber && bNumber)
        return atom_getfloat(&a) == atom_getfloat(&b);
    return a.a_type == A_SYM && b.a_type == A_SYM && a.a_w.w_sym == b.a_w.w_sym;
}

void routeAnything(RouteBox* x, t_symbol* s, long argc, t_atom* argv)
{
    t_atom key {};
    const t_atom* rest = argv;
    long restCount = argc;
    const bool numeric = s == gensym("int") || s == gensym("float") || s == gensym("list");
    if (numeric && argc > 0)
    {
        key = argv[0];
        ++rest;
        --restCount;
    }
    else
        atom_setsym(&key, s);
    const std::vector<t_atom> keys = *x->keys;
    for (std::size_t i = 0; i < keys.size(); ++i)
        if (sameAtom(keys[i], key))
        {
            sendAtoms((*x->outlets)[i], rest, restCount);
            return;
        }
    void* reject = x->outlets->back();
    if (s == gensym("bang"))
        outlet_bang(reject);
    else
        outlet_anything(reject, s, static_cast<short>(argc), argv);
}

// The right inlet replaces the first key.
void routeSetKey(RouteBox* x, t_symbol* s, long argc, const t_atom* argv)
{
    if (x->keys->empty())
        return;
    t_atom key {};
    if ((s == gensym("int") || s == gensym("float")) && argc > 0)
        key = argv[0];
    else
        atom_setsym(&key, s);
    (*x->keys)[0] = key;
}

ClassRecord* kernelBoxClass(const char* name, method newFunction, method freeFunction, long size, method anything)
{
    auto* cls = static_cast<ClassRecord*>(class_new(name, newFunction, freeFunction, size, nullptr, A_GIMME, 0));
    cls->kernelBox = true;
    cls->methods.push_back({gensym("anything"), anything, {A_GIMME}});
    class_register(gensym("box"), cls);
    return cls;
}

const Outlet* outletAt(const void* box, long index)
{
    ObjectInfo* info = FindObject(box);
    if (!info)
        return nullptr;
    std::vector<Outlet*> outlets = OutletsLeftToRight(*info);
    return index >= 0 && index < static_cast<long>(outlets.size()) ? outlets[static_cast<std::size_t>(index)] : nullptr;
}

long signalInlets(const void* box)
{
    ObjectInfo* info = FindObject(box);
    return info ? info->signalInlets : 0;
}

// Whether dst already feeds src through signal cords.
bool reaches(const std::vector<Cord>& cords, const void* from, const void* to)
{
    std::vector<const void*> pending {from};
    std::set<const void*> seen;
    while (!pending.empty())
    {
        const void* box = pending.back();
        pending.pop_back();
        if (box == to)
            return true;
        if (!seen.insert(box).second)
            continue;
        for (const Cord& c : cords)
            if (c.signal && c.src == box)
                pending.push_back(c.dst);
    }
    return false;
}

void deliver(const Cord& cord, t_symbol* selector, std::vector<t_atom> atoms)
{
    if (ClassOf(cord.dst) == routeClass && cord.inlet == 1)
    {
        CallScope scope(cord.dst);
        routeSetKey(reinterpret_cast<RouteBox*>(cord.dst), selector, static_cast<long>(atoms.size()), atoms.data());
        return;
    }
    // Inlets past the first are the object's proxies: the object is sent the message all the same.
    SendMessage(cord.dst, selector, static_cast<long>(atoms.size()), atoms.data());
}

}  // namespace

void RegisterKernelBoxes()
{
    if (messageClass)
        return;
    messageClass = kernelBoxClass("message", reinterpret_cast<method>(&messageNew),
                                  reinterpret_cast<method>(&messageFree), sizeof(MessageBox),
                                  reinterpret_cast<method>(&messageAnything));
    routeClass = kernelBoxClass("route", reinterpret_cast<method>(&routeNew), reinterpret_cast<method>(&routeFree),
                                sizeof(RouteBox), reinterpret_cast<method>(&routeAnything));
}

long InletCount(const void* box)
{
    if (ClassOf(box) == routeClass)
        return 2;
    return std::max(1L, signalInlets(box));
}

bool IsSignalCord(t_object* src, long outlet)
{
    const Outlet* o = outletAt(src, outlet);
    return o && IsSignalOutlet(o);
}

std::string Connect(t_object* src, long outlet, t_object* dst, long inlet)
{
    const Outlet* o = outletAt(src, outlet);
    if (!o)
        return "no outlet " + std::to_string(outlet) + " on box " + BoxLabel(src);
    if (inlet < 0 || inlet >= InletCount(dst))
        return "no inlet " + std::to_string(inlet) + " on box " + BoxLabel(dst);
    const bool signal = IsSignalOutlet(o);
    if (signal && inlet >= signalInlets(dst))
        return "inlet " + std::to_string(inlet) + " of box " + BoxLabel(dst) + " takes no signal";
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    for (const Cord& c : s.cords)
        if (c.src == src && c.outlet == outlet && c.dst == dst && c.inlet == inlet)
            return "that cord exists already";
    if (signal && reaches(s.cords, dst, src))
        return "that cord would close a signal feedback loop";
    s.cords.push_back({src, outlet, dst, inlet, signal});
    return {};
}

std::string Disconnect(t_object* src, long outlet, t_object* dst, long inlet)
{
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    const auto n = std::erase_if(s.cords, [&](const Cord& c) {
        return c.src == src && c.outlet == outlet && c.dst == dst && c.inlet == inlet;
    });
    return n ? std::string() : std::string("no such cord");
}

void DeliverThroughCords(const void* src, long outlet, t_symbol* selector, long argc, const t_atom* argv)
{
    State& s = state();
    std::vector<Cord> targets;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        for (const Cord& c : s.cords)
            if (c.src == src && c.outlet == outlet)
                targets.push_back(c);
    }
    if (targets.empty())
        return;
    if (depth >= maxDepth)
    {
        Emit("error", src, "stack overflow: a message loops through patch cords (dropped)");
        return;
    }
    ++depth;
    for (const Cord& cord : targets)
    {
        {
            // The cord may have gone (its box freed) since the list was taken.
            std::lock_guard<std::mutex> lock(s.mutex);
            const bool still = std::any_of(s.cords.begin(), s.cords.end(), [&](const Cord& c) {
                return c.src == cord.src && c.outlet == cord.outlet && c.dst == cord.dst && c.inlet == cord.inlet;
            });
            if (!still)
                continue;
            ++s.delivering[cord.dst];
        }
        deliver(cord, selector, std::vector<t_atom>(argv, argv + std::max(0L, argc)));
        {
            std::lock_guard<std::mutex> lock(s.mutex);
            if (--s.delivering[cord.dst] == 0)
                s.delivering.erase(cord.dst);
        }
        s.idle.notify_all();
    }
    --depth;
}

bool OutletHasCords(const void* src, long outlet)
{
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return std::any_of(s.cords.begin(), s.cords.end(), [&](const Cord& c) { return c.src == src && c.outlet == outlet; });
}

std::vector<SignalSource> SignalCordsInto(const void* dst)
{
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    std::vector<SignalSource> sources;
    for (const Cord& c : s.cords)
        if (c.signal && c.dst == dst)
            sources.push_back({static_cast<t_object*>(const_cast<void*>(c.src)), c.outlet, c.inlet});
    return sources;
}

// A message on its way into the box (on another thread) ends before the box is freed:
// an external cannot guard itself against the kernel delivering into a box it deletes.
void ForgetCords(const void* object)
{
    State& s = state();
    std::unique_lock<std::mutex> lock(s.mutex);
    std::erase_if(s.cords, [&](const Cord& c) { return c.src == object || c.dst == object; });
    if (OwnCallsOn(object) == 0)
        s.idle.wait(lock, [&] { return s.delivering.count(object) == 0; });
}

}  // namespace maxsim
