// Attributes: storage at an offset with the SDK's storage types, clip
// filters, accessors set through "setmethod", properties kept as text.
#include "MaxsimAttributes.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "MaxsimAtoms.h"
#include "MaxsimConsole.h"
#include "MaxsimDictionary.h"
#include "MaxsimObjects.h"

namespace maxsim
{
namespace
{

using Getter = t_max_err (*)(void*, void*, long*, t_atom**);
using Setter = t_max_err (*)(void*, void*, long, t_atom*);

AttrRecord* asAttr(void* x) { return static_cast<AttrRecord*>(x); }

void* setMethod(void* x, void* which, void* fn)
{
    t_symbol* s = static_cast<t_symbol*>(which);
    if (s == gensym("get"))
        asAttr(x)->get = reinterpret_cast<method>(fn);
    else if (s == gensym("set"))
        asAttr(x)->set = reinterpret_cast<method>(fn);
    return nullptr;
}
void* getFlags(void* x) { return reinterpret_cast<void*>(static_cast<intptr_t>(asAttr(x)->flags)); }
void* setFlags(void* x, void* flags)
{
    asAttr(x)->flags = static_cast<long>(reinterpret_cast<intptr_t>(flags));
    return nullptr;
}
void* getType(void* x) { return asAttr(x)->type; }
void* getName(void* x) { return asAttr(x)->name; }

ClassRecord* attrClass()
{
    static ClassRecord* cls = [] {
        ClassRecord* c = NewKernelClass("attr_offset", [](t_object* o) { delete reinterpret_cast<AttrRecord*>(o); });
        AddKernelMethod(c, "setmethod", reinterpret_cast<method>(&setMethod));
        AddKernelMethod(c, "getflags", reinterpret_cast<method>(&getFlags));
        AddKernelMethod(c, "setflags", reinterpret_cast<method>(&setFlags));
        AddKernelMethod(c, "gettype", reinterpret_cast<method>(&getType));
        AddKernelMethod(c, "getname", reinterpret_cast<method>(&getName));
        return c;
    }();
    return cls;
}

double clip(const AttrRecord* attr, double v)
{
    if (attr->clipMin && v < attr->min)
        v = attr->min;
    if (attr->clipMax && v > attr->max)
        v = attr->max;
    return v;
}

void clipAtoms(const AttrRecord* attr, std::vector<t_atom>& atoms)
{
    for (t_atom& a : atoms)
        if (a.a_type == A_LONG)
            a.a_w.w_long = static_cast<t_atom_long>(clip(attr, static_cast<double>(a.a_w.w_long)));
        else if (a.a_type == A_FLOAT)
            a.a_w.w_float = clip(attr, a.a_w.w_float);
}

template <typename T>
T& field(t_object* object, const AttrRecord* attr)
{
    return *reinterpret_cast<T*>(reinterpret_cast<char*>(object) + attr->offset);
}

t_symbol* asSymbol(const t_atom& a)
{
    if (a.a_type == A_SYM)
        return a.a_w.w_sym;
    return gensym(FormatAtom(a).c_str());
}

void store(t_object* object, const AttrRecord* attr, const t_atom& a)
{
    const std::string type = attr->type ? attr->type->s_name : "";
    if (type == "char")
        field<char>(object, attr) = static_cast<char>(atom_getlong(&a));
    else if (type == "long")
        field<long>(object, attr) = static_cast<long>(atom_getlong(&a));
    else if (type == "atom_long")
        field<t_atom_long>(object, attr) = atom_getlong(&a);
    else if (type == "int32")
        field<t_int32>(object, attr) = static_cast<t_int32>(atom_getlong(&a));
    else if (type == "filepath")
        field<t_filepath>(object, attr) = static_cast<t_filepath>(atom_getlong(&a));
    else if (type == "float32")
        field<float>(object, attr) = static_cast<float>(atom_getfloat(&a));
    else if (type == "float64")
        field<double>(object, attr) = atom_getfloat(&a);
    else if (type == "symbol")
        field<t_symbol*>(object, attr) = asSymbol(a);
    else if (type == "object")
        field<t_object*>(object, attr) = a.a_type == A_OBJ ? a.a_w.w_obj : nullptr;
    else if (type == "atom")
        field<t_atom>(object, attr) = a;
}

t_atom load(t_object* object, const AttrRecord* attr)
{
    const std::string type = attr->type ? attr->type->s_name : "";
    t_atom a {};
    if (type == "char")
        atom_setlong(&a, field<char>(object, attr));
    else if (type == "long")
        atom_setlong(&a, field<long>(object, attr));
    else if (type == "atom_long")
        atom_setlong(&a, field<t_atom_long>(object, attr));
    else if (type == "int32")
        atom_setlong(&a, field<t_int32>(object, attr));
    else if (type == "filepath")
        atom_setlong(&a, field<t_filepath>(object, attr));
    else if (type == "float32")
        atom_setfloat(&a, field<float>(object, attr));
    else if (type == "float64")
        atom_setfloat(&a, field<double>(object, attr));
    else if (type == "symbol")
        atom_setsym(&a, field<t_symbol*>(object, attr) ? field<t_symbol*>(object, attr) : gensym(""));
    else if (type == "object")
    {
        a.a_type = A_OBJ;
        a.a_w.w_obj = field<t_object*>(object, attr);
    }
    else if (type == "atom")
        a = field<t_atom>(object, attr);
    return a;
}

}  // namespace

t_max_err SetAttribute(t_object* object, AttrRecord* attr, long argc, t_atom* argv)
{
    std::vector<t_atom> atoms(argv, argv + std::max(0L, argc));
    if (attr->clipOnSet)
        clipAtoms(attr, atoms);
    if (attr->set)
        return reinterpret_cast<Setter>(attr->set)(object, attr, static_cast<long>(atoms.size()), atoms.data());
    if (!atoms.empty())
        store(object, attr, atoms[0]);
    return MAX_ERR_NONE;
}

std::vector<t_atom> GetAttribute(t_object* object, AttrRecord* attr)
{
    std::vector<t_atom> atoms;
    if (attr->get)
    {
        long ac = 0;
        t_atom* av = nullptr;
        reinterpret_cast<Getter>(attr->get)(object, attr, &ac, &av);
        if (av)
        {
            atoms.assign(av, av + std::max(0L, ac));
            sysmem_freeptr(av);
        }
    }
    else
        atoms.push_back(load(object, attr));
    if (attr->clipOnGet)
        clipAtoms(attr, atoms);
    return atoms;
}

std::string DescribeAttribute(const AttrRecord* attr)
{
    char flags[32];
    std::snprintf(flags, sizeof flags, "0x%lx", static_cast<unsigned long>(attr->flags));
    std::string line = std::string("attr ") + attr->name->s_name + " " + (attr->type ? attr->type->s_name : "?") +
                       " flags " + flags;
    if (attr->clipMin || attr->clipMax)
        line += " clip " + (attr->clipMin ? FormatNumber(attr->min) : std::string("-")) + " " +
                (attr->clipMax ? FormatNumber(attr->max) : std::string("-"));
    for (const char* shown : {"default", "style"})
        for (const auto& [name, text] : attr->properties)
            if (name == shown)
                line += " " + name + " " + text;
    return line;
}

}  // namespace maxsim

using namespace maxsim;

extern "C" {

t_object* attr_offset_new(const char* name, const t_symbol* type, long flags, const method get, const method set,
                          long offset)
{
    auto* attr = new AttrRecord {};
    AdoptObject(&attr->ob, attrClass());
    attr->name = gensym(name);
    attr->type = const_cast<t_symbol*>(type);
    attr->flags = flags;
    attr->get = get;
    attr->set = set;
    attr->offset = offset;
    return &attr->ob;
}

t_max_err class_addattr(t_class* c, t_object* attr)
{
    if (!c || ClassOf(attr) != attrClass())
        return MAX_ERR_INVALID_PTR;
    auto* cls = static_cast<ClassRecord*>(c);
    auto* record = reinterpret_cast<AttrRecord*>(attr);
    for (AttrRecord*& existing : cls->attributes)
        if (existing->name == record->name)
        {
            existing = record;
            return MAX_ERR_NONE;
        }
    cls->attributes.push_back(record);
    return MAX_ERR_NONE;
}

void* class_attr_get(t_class* c, t_symbol* name)
{
    return c ? static_cast<ClassRecord*>(c)->findAttribute(name) : nullptr;
}

t_max_err class_attr_addattr_parse(t_class* c, const char* attrName, const char* property, t_symbol*, long,
                                   const char* text)
{
    AttrRecord* attr = c ? static_cast<ClassRecord*>(c)->findAttribute(gensym(attrName)) : nullptr;
    if (!attr || !property)
        return MAX_ERR_GENERIC;
    for (auto& [name, value] : attr->properties)
        if (name == property)
        {
            value = text ? text : "";
            return MAX_ERR_NONE;
        }
    attr->properties.emplace_back(property, text ? text : "");
    return MAX_ERR_NONE;
}

t_max_err attr_addfilter_clip(void* x, double min, double max, long useMin, long useMax)
{
    if (ClassOf(x) != attrClass())
        return MAX_ERR_INVALID_PTR;
    AttrRecord* attr = asAttr(x);
    attr->clipMin = useMin != 0;
    attr->clipMax = useMax != 0;
    attr->min = min;
    attr->max = max;
    attr->clipOnGet = attr->clipOnSet = true;
    return MAX_ERR_NONE;
}

t_max_err object_attr_setvalueof(void* x, t_symbol* name, long argc, t_atom* argv)
{
    ClassRecord* cls = ClassOf(x);
    AttrRecord* attr = cls ? cls->findAttribute(name) : nullptr;
    if (!attr || (attr->flags & ATTR_SET_OPAQUE))
        return MAX_ERR_GENERIC;
    return SetAttribute(static_cast<t_object*>(x), attr, argc, argv);
}

t_max_err object_attr_setlong(void* x, t_symbol* name, t_atom_long value)
{
    t_atom a;
    atom_setlong(&a, value);
    return object_attr_setvalueof(x, name, 1, &a);
}

t_atom_long object_attr_getlong(void* x, t_symbol* name)
{
    ClassRecord* cls = ClassOf(x);
    AttrRecord* attr = cls ? cls->findAttribute(name) : nullptr;
    if (!attr || (attr->flags & ATTR_GET_OPAQUE))
        return 0;
    std::vector<t_atom> atoms = GetAttribute(static_cast<t_object*>(x), attr);
    return atoms.empty() ? 0 : atom_getlong(&atoms[0]);
}

long attr_args_offset(short ac, t_atom* av)
{
    for (short i = 0; i < ac; ++i)
        if (av[i].a_type == A_SYM && av[i].a_w.w_sym->s_name[0] == '@')
            return i;
    return ac;
}

void attr_args_process(void* x, short ac, t_atom* av)
{
    ClassRecord* cls = ClassOf(x);
    if (!cls || !av)
        return;
    for (long i = attr_args_offset(ac, av); i < ac;)
    {
        const char* name = av[i].a_w.w_sym->s_name + 1;
        long first = ++i;
        while (i < ac && !(av[i].a_type == A_SYM && av[i].a_w.w_sym->s_name[0] == '@'))
            ++i;
        AttrRecord* attr = cls->findAttribute(gensym(name));
        if (!attr)
            Emit("error", x, std::string("no attribute \"") + name + "\"");
        else if (!(attr->flags & ATTR_SET_OPAQUE))
            SetAttribute(static_cast<t_object*>(x), attr, i - first, av + first);
    }
}

void attr_dictionary_process(void* x, t_dictionary* d)
{
    ClassRecord* cls = ClassOf(x);
    if (!cls || !d)
        return;
    for (auto& [key, atoms] : DictionaryEntries(d))
    {
        AttrRecord* attr = cls->findAttribute(key);
        if (attr && !(attr->flags & ATTR_SET_OPAQUE))
            SetAttribute(static_cast<t_object*>(x), attr, static_cast<long>(atoms.size()), atoms.data());
    }
}

}  // extern "C"
