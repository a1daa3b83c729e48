// Outlets, and the obex store where objects keep their dumpout outlet.
#include "MaxsimOutlets.h"

#include <algorithm>

#include "MaxsimAtoms.h"
#include "MaxsimConsole.h"

namespace maxsim
{
namespace
{

long indexLocked(const Outlet* outlet)
{
    const auto& all = outlet->owner->outlets;
    for (std::size_t i = 0; i < all.size(); ++i)
        if (all[i].get() == outlet)
            return static_cast<long>(all.size() - 1 - i);
    return -1;
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

void ReleaseOutlets(ObjectInfo& info)
{
    std::lock_guard<std::mutex> lock(OutputMutex());
    info.outlets.clear();
}

void SendOut(Outlet* outlet, t_symbol* selector, long argc, const t_atom* argv)
{
    if (!outlet)
        return;
    std::string text = selector ? FormatSymbol(selector) : std::string("list");
    if (argc > 0)
    {
        text += ' ';
        text += FormatAtoms(argc, argv);
    }
    std::lock_guard<std::mutex> lock(OutputMutex());
    long box = outlet->owner->box.load();
    std::string line = "out " + (box > 0 ? std::to_string(box) : std::string("-")) + " " +
                       std::to_string(indexLocked(outlet)) + " " + text + "\n";
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fflush(stdout);
}

}  // namespace maxsim

using namespace maxsim;

extern "C" {

void* outlet_new(void* x, const char* type)
{
    ObjectInfo* info = FindObject(x);
    if (!info)
        return nullptr;
    auto outlet = std::make_unique<Outlet>(Outlet {info, static_cast<t_object*>(x), type ? gensym(type) : nullptr});
    Outlet* result = outlet.get();
    std::lock_guard<std::mutex> lock(OutputMutex());
    info->outlets.push_back(std::move(outlet));
    return result;
}

void* outlet_bang(t_outlet* o)
{
    SendOut(static_cast<Outlet*>(o), gensym("bang"), 0, nullptr);
    return nullptr;
}

void* outlet_anything(t_outlet* o, t_symbol* s, short ac, t_atom* av)
{
    SendOut(static_cast<Outlet*>(o), s, ac, av);
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
        SendOut(reinterpret_cast<Outlet*>(dumpout), s, argc, argv);
}

}  // extern "C"
