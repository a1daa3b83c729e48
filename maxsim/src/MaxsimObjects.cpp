// Classes, object lifetime and untyped method calls (object_method).
#include "MaxsimObjects.h"

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>
#include <unordered_map>

#include "MaxsimAttributes.h"
#include "MaxsimHooks.h"
#include "MaxsimOutlets.h"
#include "MaxsimThreads.h"

namespace maxsim
{
namespace
{

struct Registry
{
    std::mutex mutex;
    std::unordered_map<const void*, std::unique_ptr<ObjectInfo>> objects;
    std::map<t_symbol*, std::map<t_symbol*, ClassRecord*>> namespaces;
    ClassRecord* pendingClass = nullptr;
    long pendingBox = 0;
    unsigned long long nextSerial = 0;
};

// Never destroyed: externals may still call in while the process exits.
Registry& registry()
{
    static Registry* instance = new Registry;
    return *instance;
}

std::vector<short> readTypes(int first, va_list args)
{
    std::vector<short> types;
    for (int type = first; type != A_NOTHING; type = va_arg(args, int))
        types.push_back(static_cast<short>(type));
    return types;
}

ClassRecord* makeClass(const char* name, method newFunction, method freeFunction, long size)
{
    auto* cls = new ClassRecord;
    std::memset(static_cast<t_class*>(cls), 0, sizeof(t_class));
    cls->c_sym = gensym(name);
    cls->c_freefun = freeFunction;
    cls->c_size = static_cast<t_getbytes_size>(size);
    cls->c_filename = gensym(name);
    cls->header[0].m_sym = reinterpret_cast<t_symbol*>(static_cast<t_class*>(cls));
    cls->c_messlist = cls->header + 1;
    cls->newFunction = newFunction;
    return cls;
}

struct Slot
{
    bool isFloat;
    void* word;
    double real;
};

// One instantiation per sequence of integer-class and floating-point
// arguments, so every call has the callee's exact parameter types.
template <typename... A>
void* invoke(method fn, const Slot* slots, std::size_t n, A... acc)
{
    if constexpr (sizeof...(A) >= 8)
    {
        return reinterpret_cast<void* (*)(A...)>(fn)(acc...);
    }
    else
    {
        if (n == 0)
            return reinterpret_cast<void* (*)(A...)>(fn)(acc...);
        if (slots->isFloat)
            return invoke(fn, slots + 1, n - 1, acc..., slots->real);
        return invoke(fn, slots + 1, n - 1, acc..., slots->word);
    }
}

bool toSlots(const std::vector<short>& types, long argc, const t_atom* argv, std::vector<Slot>& slots)
{
    for (std::size_t i = 0; i < types.size(); ++i)
    {
        const t_atom* a = static_cast<long>(i) < argc ? argv + i : nullptr;
        Slot slot {false, nullptr, 0.0};
        switch (types[i])
        {
        case A_LONG:
        case A_DEFLONG:
            if (a && a->a_type != A_LONG && a->a_type != A_FLOAT)
                return false;
            slot.word = reinterpret_cast<void*>(static_cast<intptr_t>(a ? atom_getlong(a) : 0));
            break;
        case A_FLOAT:
        case A_DEFFLOAT:
            if (a && a->a_type != A_LONG && a->a_type != A_FLOAT)
                return false;
            slot.isFloat = true;
            slot.real = a ? atom_getfloat(a) : 0.0;
            break;
        case A_SYM:
        case A_DEFSYM:
            if (a && a->a_type != A_SYM)
                return false;
            slot.word = a ? a->a_w.w_sym : gensym("");
            break;
        case A_OBJ:
            slot.word = a && a->a_type == A_OBJ ? a->a_w.w_obj : nullptr;
            break;
        default:
            return false;
        }
        slots.push_back(slot);
    }
    return true;
}

}  // namespace

const MethodEntry* ClassRecord::findMethod(t_symbol* name) const
{
    for (const MethodEntry& m : methods)
        if (m.name == name)
            return &m;
    return nullptr;
}

AttrRecord* ClassRecord::findAttribute(t_symbol* name) const
{
    for (AttrRecord* a : attributes)
        if (a->name == name)
            return a;
    return nullptr;
}

ClassRecord* ClassOf(const void* object)
{
    auto* o = static_cast<const t_object*>(object);
    if (!o || o->o_magic != MAGIC || !o->o_messlist)
        return nullptr;
    return static_cast<ClassRecord*>(reinterpret_cast<t_class*>(o->o_messlist[-1].m_sym));
}

ObjectInfo* FindObject(const void* object)
{
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    auto it = r.objects.find(object);
    return it == r.objects.end() ? nullptr : it->second.get();
}

unsigned long long SerialOf(const void* object)
{
    ObjectInfo* info = object ? FindObject(object) : nullptr;
    return info ? info->serial : 0;
}

bool IsLive(const void* object, unsigned long long serial) { return serial && SerialOf(object) == serial; }

std::size_t CountExternalObjects()
{
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    return static_cast<std::size_t>(std::count_if(r.objects.begin(), r.objects.end(), [](const auto& entry) {
        const ClassRecord* cls = entry.second->cls;
        return !cls->release && !cls->kernelBox;
    }));
}

ObjectInfo* EnterObject(const void* object)
{
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    auto it = r.objects.find(object);
    if (it == r.objects.end())
        return nullptr;
    ++it->second->activeCalls;
    return it->second.get();
}

void LeaveObject(ObjectInfo* info) { --info->activeCalls; }

std::string BoxLabel(const void* object)
{
    ObjectInfo* info = object ? FindObject(object) : nullptr;
    long box = info ? info->box.load() : 0;
    return box > 0 ? std::to_string(box) : std::string("-");
}

ClassRecord* NewKernelClass(const char* name, std::function<void(t_object*)> release)
{
    ClassRecord* cls = makeClass(name, nullptr, nullptr, sizeof(t_object));
    cls->release = std::move(release);
    return cls;
}

void AddKernelMethod(ClassRecord* cls, const char* name, method fn)
{
    cls->methods.push_back({gensym(name), fn, {A_CANT}});
}

void AdoptObject(t_object* object, ClassRecord* cls)
{
    object->o_messlist = cls->header + 1;
    object->o_magic = MAGIC;
    auto info = std::make_unique<ObjectInfo>();
    info->cls = cls;
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    info->serial = ++r.nextSerial;
    if (r.pendingClass == cls && r.pendingBox > 0)
    {
        info->box = r.pendingBox;
        r.pendingClass = nullptr;
        r.pendingBox = 0;
    }
    r.objects[object] = std::move(info);
}

void SetPendingBox(ClassRecord* cls, long box)
{
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    r.pendingClass = cls;
    r.pendingBox = box;
}

t_class* FindBoxClass(t_symbol* name)
{
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    auto& boxes = r.namespaces[gensym("box")];
    auto it = boxes.find(name);
    return it == boxes.end() ? nullptr : it->second;
}

t_object* Construct(ClassRecord* cls, long argc, t_atom* argv)
{
    if (!cls->newFunction)
        return nullptr;
    t_object* x = nullptr;
    {
        ConstructScope scope(cls);
        if (cls->newTypes.size() == 1 && cls->newTypes[0] == A_GIMME)
            x = static_cast<t_object*>(
                reinterpret_cast<void* (*)(t_symbol*, long, t_atom*)>(cls->newFunction)(cls->c_sym, argc, argv));
        else
        {
            std::vector<Slot> slots;
            if (cls->newTypes.size() > MSG_MAXARG || !toSlots(cls->newTypes, argc, argv, slots))
                return nullptr;
            x = static_cast<t_object*>(invoke(cls->newFunction, slots.data(), slots.size()));
        }
    }
    ObjectInfo* info = x ? FindObject(x) : nullptr;
    if (!info || info->cls != cls)
        return x;
    if (cls->parameters && !info->parameterInit)
        Violation(Subject(x), "new returned without object_parameter_init, on a class with class_parameter_init");
    if (cls->dsp && !info->dspSetup)
        Violation(Subject(x), "new returned without z_dsp_setup, on a class with class_dspinit");
    return x;
}

void* CallTyped(method fn, void* object, const std::vector<short>& types, long argc, const t_atom* argv)
{
    std::vector<Slot> slots {{false, object, 0.0}};
    if (types.size() > MSG_MAXARG || !toSlots(types, argc, argv, slots))
        return reinterpret_cast<void*>(-1);
    return invoke(fn, slots.data(), slots.size());
}

}  // namespace maxsim

using namespace maxsim;

extern "C" {

t_class* class_new(const char* name, const method newFunction, const method freeFunction, long size, const method,
                   short type, ...)
{
    ClassRecord* cls = makeClass(name, newFunction, freeFunction, size);
    va_list args;
    // The SDK gives the last named parameter the type short; every 64-bit ABI
    // passes it in a full slot, so the variadic part is found all the same.
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wvarargs"
#endif
    va_start(args, type);
#if defined(__clang__)
#pragma clang diagnostic pop
#endif
    cls->newTypes = readTypes(type, args);
    va_end(args);
    return cls;
}

t_max_err class_addmethod(t_class* c, const method fn, const char* name, ...)
{
    if (!c || !name)
        return MAX_ERR_INVALID_PTR;
    auto* cls = static_cast<ClassRecord*>(c);
    va_list args;
    va_start(args, name);
    int first = va_arg(args, int);
    MethodEntry entry {gensym(name), fn, readTypes(first, args)};
    va_end(args);
    if (entry.name == gensym("multichanneloutputs") && !(entry.types.size() == 1 && entry.types[0] == A_CANT))
        Violation(ClassSubject(c), "multichanneloutputs registered with other argument types than A_CANT");
    // Which of two registrations Max keeps is not documented: the later one here.
    for (MethodEntry& m : cls->methods)
        if (m.name == entry.name)
        {
            Violation(ClassSubject(c), std::string("method \"") + name + "\" registered twice");
            m = std::move(entry);
            return MAX_ERR_NONE;
        }
    cls->methods.push_back(std::move(entry));
    cls->c_messcount = static_cast<long>(cls->methods.size());
    return MAX_ERR_NONE;
}

t_max_err class_register(t_symbol* nameSpace, t_class* c)
{
    if (!nameSpace || !c)
        return MAX_ERR_INVALID_PTR;
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    auto& classes = r.namespaces[nameSpace];
    if (classes.count(c->c_sym))
        return MAX_ERR_DUPLICATE;
    classes[c->c_sym] = static_cast<ClassRecord*>(c);
    c->c_flags |= CLASS_FLAG_REGISTERED;
    if (nameSpace == gensym("box"))
        c->c_flags |= CLASS_FLAG_BOX;
    return MAX_ERR_NONE;
}

t_symbol* class_nameget(t_class* c) { return c ? c->c_sym : nullptr; }

void* object_alloc(t_class* c)
{
    if (!c)
        return nullptr;
    auto* cls = static_cast<ClassRecord*>(c);
    std::size_t size = std::max<std::size_t>(c->c_size, sizeof(t_object));
    void* memory = (c->c_flags & CLASS_FLAG_DO_NOT_ZERO) ? std::malloc(size) : std::calloc(1, size);
    if (!memory)
        return nullptr;
    auto* object = static_cast<t_object*>(memory);
    object->o_inlet = nullptr;
    object->o_outlet = nullptr;
    AdoptObject(object, cls);
    NameConstructedObject(object, cls);
    return object;
}

t_max_err object_free(void* x)
{
    ObjectInfo* info = x ? FindObject(x) : nullptr;
    if (!info)
        return MAX_ERR_INVALID_PTR;
    ClassRecord* cls = info->cls;
    const bool kernelObject = static_cast<bool>(cls->release);
    const std::string subject = Subject(x);
    if (!kernelObject)
        ForgetCords(x);
    if (cls->c_freefun)
    {
        CallScope scope(kernelObject ? nullptr : x);
        reinterpret_cast<void (*)(void*)>(cls->c_freefun)(x);
    }
    if (!kernelObject)
    {
        DspAfterFree(static_cast<t_object*>(x), *info, subject);
        QueueAfterFree(info->serial, subject);
        ClocksAfterFree(info->serial, subject);
    }
    if (info->boxDictionary)
        object_free(info->boxDictionary);
    std::unique_ptr<ObjectInfo> released;
    {
        Registry& r = registry();
        std::lock_guard<std::mutex> lock(r.mutex);
        auto it = r.objects.find(x);
        released = std::move(it->second);
        r.objects.erase(it);
    }
    // No call can begin any more; one still running elsewhere would use what free tore down.
    const int own = OwnCallsOn(x);
    if (released->activeCalls.load() > own)
    {
        Violation(subject, "freed while another thread is inside one of its methods");
        while (released->activeCalls.load() > own)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    // The calls on this thread that are still inside the object (a new that
    // frees its own object on failure) end without it.
    ForgetOwnCalls(released.get());
    ReleaseOutlets(*released, subject);
    static_cast<t_object*>(x)->o_magic = 0;
    if (cls->release)
        cls->release(static_cast<t_object*>(x));
    else
        std::free(x);
    return MAX_ERR_NONE;
}

void freeobject(void* x) { object_free(x); }

t_symbol* object_classname(void* x)
{
    ClassRecord* cls = ClassOf(x);
    return cls ? cls->c_sym : nullptr;
}

void* object_method_imp(void* x, void* s, void* a1, void* a2, void* a3, void* a4, void* a5, void* a6, void* a7,
                        void* a8)
{
    ClassRecord* cls = ClassOf(x);
    const MethodEntry* m = cls ? cls->findMethod(static_cast<t_symbol*>(s)) : nullptr;
    if (!m || !m->fn)
        return nullptr;
    using Untyped = void* (*)(void*, void*, void*, void*, void*, void*, void*, void*, void*);
    CallScope scope(cls->release ? nullptr : x);
    return reinterpret_cast<Untyped>(m->fn)(x, a1, a2, a3, a4, a5, a6, a7, a8);
}

}  // extern "C"

// Parameter-enabled classes: the simulator has no parameter system to join,
// but holds a class to its part: each new object calls object_parameter_init.
extern "C" t_max_err class_parameter_init(t_class* c)
{
    if (!c)
        return MAX_ERR_INVALID_PTR;
    static_cast<ClassRecord*>(c)->parameters = true;
    return MAX_ERR_NONE;
}

// Not in the function list (the binding does not call it): exported for the
// externals that do, so that the check above can be met.
extern "C" MAXSIM_EXPORT t_max_err object_parameter_init(t_object* x, long)
{
    ObjectInfo* info = x ? FindObject(x) : nullptr;
    if (!info)
        return MAX_ERR_INVALID_PTR;
    info->parameterInit = true;
    return MAX_ERR_NONE;
}
