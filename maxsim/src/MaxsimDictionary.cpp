// Dictionaries as kernel objects, and the box dictionary given to classes
// with CLASS_FLAG_NEWDICTIONARY (the last A_OBJ argument of their new).
#include "MaxsimDictionary.h"

#include "MaxsimObjects.h"

namespace maxsim
{
namespace
{

struct DictionaryRecord
{
    t_object ob;
    std::vector<DictionaryEntry> entries;
};

ClassRecord* dictionaryClass()
{
    static ClassRecord* cls =
        NewKernelClass("dictionary", [](t_object* o) { delete reinterpret_cast<DictionaryRecord*>(o); });
    return cls;
}

const std::vector<t_atom>* find(const t_dictionary* d, t_symbol* key)
{
    if (!IsDictionary(d))
        return nullptr;
    for (const auto& [k, atoms] : DictionaryEntries(d))
        if (k == key)
            return &atoms;
    return nullptr;
}

}  // namespace

t_dictionary* NewDictionary(std::vector<DictionaryEntry> entries)
{
    auto* d = new DictionaryRecord {};
    d->entries = std::move(entries);
    AdoptObject(&d->ob, dictionaryClass());
    return reinterpret_cast<t_dictionary*>(d);
}

std::vector<DictionaryEntry>& DictionaryEntries(const t_dictionary* d)
{
    return reinterpret_cast<DictionaryRecord*>(const_cast<t_dictionary*>(d))->entries;
}

bool IsDictionary(const void* object) { return object && ClassOf(object) == dictionaryClass(); }

}  // namespace maxsim

using namespace maxsim;

extern "C" {

t_dictionary* object_dictionaryarg(long ac, t_atom* av)
{
    for (long i = ac - 1; i >= 0; --i)
        if (av[i].a_type == A_OBJ && IsDictionary(av[i].a_w.w_obj))
            return reinterpret_cast<t_dictionary*>(av[i].a_w.w_obj);
    return nullptr;
}

long dictionary_hasentry(const t_dictionary* d, t_symbol* key) { return find(d, key) ? 1 : 0; }

t_max_err dictionary_getatom(const t_dictionary* d, t_symbol* key, t_atom* value)
{
    const std::vector<t_atom>* atoms = find(d, key);
    if (!atoms || atoms->empty() || !value)
        return MAX_ERR_GENERIC;
    *value = atoms->front();
    return MAX_ERR_NONE;
}

t_max_err dictionary_getatoms(const t_dictionary* d, t_symbol* key, long* argc, t_atom** argv)
{
    const std::vector<t_atom>* atoms = find(d, key);
    if (!atoms || !argc || !argv)
        return MAX_ERR_GENERIC;
    *argc = static_cast<long>(atoms->size());
    *argv = const_cast<t_atom*>(atoms->data());
    return MAX_ERR_NONE;
}

t_max_err dictionary_getlong(const t_dictionary* d, t_symbol* key, t_atom_long* value)
{
    const std::vector<t_atom>* atoms = find(d, key);
    if (!atoms || atoms->empty() || !value)
        return MAX_ERR_GENERIC;
    const t_atom& a = atoms->front();
    if (a.a_type != A_LONG && a.a_type != A_FLOAT)
        return MAX_ERR_GENERIC;
    *value = atom_getlong(&a);
    return MAX_ERR_NONE;
}

}  // extern "C"
