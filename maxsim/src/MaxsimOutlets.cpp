// Outlets, and the obex store where objects keep their dumpout outlet.
#include "MaxsimOutlets.h"

#include <algorithm>
#include <cstdio>

#include "MaxsimAtoms.h"
#include "MaxsimConsole.h"
#include "MaxsimPatch.h"
#include "MaxsimThreads.h"

namespace maxsim
{
namespace
{

long indexLocked(const Outlet* outlet)
{
    if (!outlet->owner)
        return -1;
    const auto& all = outlet->owner->outlets;
    for (std::size_t i = 0; i < all.size(); ++i)
        if (all[i].get() == outlet)
            return static_cast<long>(all.size() - 1 - i);
    return -1;
}

// Freed objects' outlets, never released (see ReleaseOutlets).
std::vector<std::unique_ptr<Outlet>>& graveyard()
{
    static auto* outlets = new std::vector<std::unique_ptr<Outlet>>;
    return *outlets;
}

}  // namespace

long OutletIndex(const Outlet* outlet)
{
    std::lock_guard<std::mutex> lock(OutputMutex());
    return indexLocked(outlet);
}

bool IsSignalOutlet(const Outlet* outlet)
{
    return outlet->type == gensym("signal") || outlet->type == gensym("multichannelsignal");
}

std::vector<Outlet*> OutletsLeftToRight(ObjectInfo& info)
{
    std::lock_guard<std::mutex> lock(OutputMutex());
    std::vector<Outlet*> result;
    for (auto it = info.outlets.rbegin(); it != info.outlets.rend(); ++it)
        result.push_back(it->get());
    return result;
}

void ReleaseOutlets(ObjectInfo& info, const std::string& subject)
{
    std::lock_guard<std::mutex> lock(OutputMutex());
    for (auto& outlet : info.outlets)
    {
        outlet->owner = nullptr;
        outlet->freedAs = subject;
        graveyard().push_back(std::move(outlet));
    }
    info.outlets.clear();
}

void SendOut(Outlet* outlet, const char* function, t_symbol* selector, long argc, const t_atom* argv)
{
    if (!outlet)
        return;
    long box = 0, index = -1;
    bool kernelBox = false;
    std::string freedAs;
    {
        std::lock_guard<std::mutex> lock(OutputMutex());
        if (outlet->owner)
        {
            box = outlet->owner->box.load();
            index = indexLocked(outlet);
            kernelBox = outlet->owner->cls->kernelBox;
        }
        else
            freedAs = outlet->freedAs;
    }
    if (!freedAs.empty())
    {
        Violation(freedAs, std::string("called ") + function + " on an outlet of the freed object");
        return;
    }
    // Max's own boxes pass on what reached them: the violation is the sender's.
    if (!MayCallOutlets() && !kernelBox)
        Violation(Subject(outlet->object), std::string("called ") + function);
    std::string text = selector ? FormatSymbol(selector) : std::string("list");
    if (argc > 0)
    {
        text += ' ';
        text += FormatAtoms(argc, argv);
    }
    EmitLine("out " + (box > 0 ? std::to_string(box) : std::string("-")) + " " + std::to_string(index) + " " + text);
    DeliverThroughCords(outlet->object, index, selector ? selector : gensym("list"), argc, argv);
}

}  // namespace maxsim

using namespace maxsim;

extern "C" {

void* outlet_new(void* x, const char* type)
{
    ObjectInfo* info = FindObject(x);
    if (!info)
        return nullptr;
    auto outlet = std::make_unique<Outlet>(Outlet {info, static_cast<t_object*>(x), type ? gensym(type) : nullptr, {}});
    Outlet* result = outlet.get();
    std::lock_guard<std::mutex> lock(OutputMutex());
    info->outlets.push_back(std::move(outlet));
    return result;
}

void* outlet_bang(t_outlet* o)
{
    SendOut(static_cast<Outlet*>(o), "outlet_bang", gensym("bang"), 0, nullptr);
    return nullptr;
}

void* outlet_anything(t_outlet* o, t_symbol* s, short ac, t_atom* av)
{
    SendOut(static_cast<Outlet*>(o), "outlet_anything", s, ac, av);
    return nullptr;
}

t_max_err object_obex_store(void* x, t_symbol* key, t_object* value)
{
    ObjectInfo* info = FindObject(x);
    if (!info || !key)
        return MAX_ERR_INVALID_PTR;
    std::lock_guard<std::mutex> lock(OutputMutex());
    info->obex[key] = value;
    return MAX_ERR_NONE;
}

t_max_err object_obex_lookup(void* x, t_symbol* key, t_object** value)
{
    ObjectInfo* info = FindObject(x);
    if (!info || !key || !value)
        return MAX_ERR_INVALID_PTR;
    std::lock_guard<std::mutex> lock(OutputMutex());
    auto it = info->obex.find(key);
    *value = it == info->obex.end() ? nullptr : it->second;
    return it == info->obex.end() ? MAX_ERR_GENERIC : MAX_ERR_NONE;
}

void object_obex_dumpout(void* x, t_symbol* s, long argc, t_atom* argv)
{
    t_object* dumpout = nullptr;
    if (object_obex_lookup(x, gensym("dumpout"), &dumpout) == MAX_ERR_NONE && dumpout)
        SendOut(reinterpret_cast<Outlet*>(dumpout), "object_obex_dumpout", s, argc, argv);
    else if (!MayCallOutlets())
        Violation(Subject(x), "called object_obex_dumpout");
}

}  // extern "C"
