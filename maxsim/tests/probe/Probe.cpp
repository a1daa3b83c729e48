// probe~: a test external that exercises what the simulator offers, built
// and loaded like a real external (the Max API left undefined).
// Outlets from the left: 0 and 1 signal, 2 multichannel, 3 dump.
// Some of its methods break Max's rules on purpose (the simulator must say
// so), and "badclass" registers probe.bad~, a class that breaks them at
// registration, creation, DSP compilation and free.
#include <atomic>
#include <cstring>
#include <string>
#include <thread>

#include "MaxWrapperOwnApi.h"
#include "ProbeEvents.h"

#if defined(_WIN32)
#include <windows.h>
#else
extern "C" t_max_err object_parameter_init(t_object* x, long type);
#endif

namespace
{

// Not in the binding's function list, so not in the import libraries either:
// found in the kernel at run time on Windows.
#if defined(_WIN32)
t_max_err objectParameterInit(t_object* x, long type)
{
    using Init = t_max_err (*)(t_object*, long);
    static const auto init =
        reinterpret_cast<Init>(GetProcAddress(GetModuleHandleA("MaxAPI.dll"), "object_parameter_init"));
    if (!init)
        return MAX_ERR_GENERIC;
    return init(x, type);
}
#else
t_max_err objectParameterInit(t_object* x, long type) { return object_parameter_init(x, type); }
#endif

// One compilation's perform state: dsp64 runs on the main thread while the
// previous chain may still call perform, so each chain counts its own blocks.
struct Run
{
    std::atomic<long> blocks;
};

struct Probe
{
    t_pxobject ob;
    long along;
    t_atom_long aatomlong;
    float afloat32;
    double afloat64;
    t_symbol* asym;
    char achar;
    long ronly;
    double gain;
    long mcchans;
    void* dump;
    t_clock* tick;
    t_clock* report;
    t_clock* where;
    void* qelem;
    t_dictionary* dictionary;
    Run runs[8];                   // used in turn by each dsp64
    unsigned nextRun;              // main thread
    std::atomic<long> firstBlock;  // ins, outs, input and frames of the first block, reported by a clock
    long firstIns, firstOuts;
    double firstInput;
    std::atomic<int> misbehave;              // what the next perform call does wrong
    std::atomic<std::thread::id> audioThread;  // where perform last ran
    bool zeroed;
};

enum Misbehave
{
    performOutlet = 1,
    performQelem = 2,
};

t_class* probeClass = nullptr;

t_symbol* sym(const char* s) { return gensym(s); }

void out(Probe* x, const char* selector, long ac, t_atom* av)
{
    outlet_anything(x->dump, sym(selector), static_cast<short>(ac), av);
}

// Which thread runs this: Max's main thread, the audio thread, or neither.
void postWhere(Probe* x, const char* what)
{
    object_post(&x->ob.z_ob, "%s main %d audio %d", what, static_cast<int>(systhread_ismainthread()),
                x->audioThread.load() == std::this_thread::get_id() ? 1 : 0);
}

void* probeNew(t_symbol*, long ac, t_atom* av)
{
    for (long i = 0; i < ac; ++i)
        if (av[i].a_type == A_SYM && av[i].a_w.w_sym == sym("fail"))
            return nullptr;
    auto* x = static_cast<Probe*>(object_alloc(probeClass));
    bool zeroed = true;
    const auto* bytes = reinterpret_cast<const unsigned char*>(x);
    for (std::size_t i = sizeof(t_object); i < sizeof(Probe); ++i)
        zeroed = zeroed && bytes[i] == 0;
    z_dsp_setup(&x->ob, 1);
    x->dump = outlet_new(x, nullptr);
    object_obex_store(x, sym("dumpout"), static_cast<t_object*>(x->dump));
    outlet_new(x, "multichannelsignal");
    outlet_new(x, "signal");
    outlet_new(x, "signal");
    x->zeroed = zeroed;
    x->mcchans = 2;
    x->along = 5;
    x->tick = clock_new(x, reinterpret_cast<method>(+[](Probe* p) { object_post(&p->ob.z_ob, "tick"); }));
    x->report = clock_new(x, reinterpret_cast<method>(+[](Probe* p) {
        object_post(&p->ob.z_ob, "first block: %ld frames, %ld ins, %ld outs, input %g", p->firstBlock.load(),
                    p->firstIns, p->firstOuts, p->firstInput);
    }));
    x->where = clock_new(x, reinterpret_cast<method>(+[](Probe* p) { postWhere(p, "clock"); }));
    x->qelem = qelem_new(x, reinterpret_cast<method>(+[](Probe* p) { postWhere(p, "qelem"); }));
    objectParameterInit(&x->ob.z_ob, 0);
    object_post(&x->ob.z_ob, "new with %ld arguments, record %s", ac, zeroed ? "zeroed" : "not zeroed");
    attr_args_process(x, static_cast<short>(ac), av);
    x->dictionary = object_dictionaryarg(ac, av);
    if (x->dictionary)
        attr_dictionary_process(x, x->dictionary);
    return x;
}

void probeFree(Probe* x)
{
    z_dsp_free(&x->ob);
    freeobject(x->tick);
    freeobject(x->report);
    freeobject(x->where);
    qelem_free(x->qelem);
    ForgetEvents(&x->ob.z_ob);
    object_post(&x->ob.z_ob, "free");
}

void probeInt(Probe* x, t_atom_long n)
{
    t_atom a;
    atom_setlong(&a, n);
    out(x, "int", 1, &a);
}

void probeFloat(Probe* x, double f)
{
    t_atom a;
    atom_setfloat(&a, f);
    out(x, "float", 1, &a);
}

void probeBang(Probe* x) { outlet_bang(x->dump); }

void probeTyped(Probe* x, t_atom_long l, double f, t_symbol* s)
{
    t_atom a[3];
    atom_setlong(a, l);
    atom_setfloat(a + 1, f);
    atom_setsym(a + 2, s);
    out(x, "typed", 3, a);
}

// Each atom as its type code and value, to check how text becomes atoms.
void probeEcho(Probe* x, t_symbol*, long ac, t_atom* av)
{
    t_atom a[64];
    long n = 0;
    for (long i = 0; i < ac && n < 62; ++i)
    {
        atom_setlong(a + n++, atom_gettype(av + i));
        a[n++] = av[i];
    }
    out(x, "echo", n, a);
}

void probeAnything(Probe* x, t_symbol* s, long ac, t_atom* av)
{
    t_atom a[64];
    atom_setsym(a, s);
    for (long i = 0; i < ac && i < 63; ++i)
        a[i + 1] = av[i];
    out(x, "anything", ac + 1 < 64 ? ac + 1 : 64, a);
}

void probeDeferred(Probe* x, t_symbol* s, short ac, t_atom* av)
{
    object_post(&x->ob.z_ob, "deferred %s with %d atoms, first %ld", s->s_name, static_cast<int>(ac),
                static_cast<long>(ac ? atom_getlong(av) : 0));
}

void probeLater(Probe* x, t_atom_long n)
{
    t_atom a;
    atom_setlong(&a, n);
    defer_low(x, reinterpret_cast<method>(&probeDeferred), sym("low"), 1, &a);
    defer_medium(x, reinterpret_cast<method>(&probeDeferred), sym("medium"), 1, &a);
    defer(x, reinterpret_cast<method>(&probeDeferred), sym("front"), 1, &a);
    object_post(&x->ob.z_ob, "later %ld queued", static_cast<long>(n));
}

void probeTick(Probe* x, t_atom_long ms) { clock_delay(x->tick, static_cast<long>(ms)); }
void probeUntick(Probe* x) { clock_unset(x->tick); }

void probeWhere(Probe* x) { postWhere(x, "message"); }
void probeWhereAt(Probe* x, t_atom_long ms) { clock_delay(x->where, static_cast<long>(ms)); }
void probeWhereQelem(Probe* x) { qelem_set(x->qelem); }

// What a thread of the object's own may and may not do; joined before the method returns.
template <typename F>
void onOwnThread(F f)
{
    std::thread thread(f);
    thread.join();
}

void probeThreadOut(Probe* x)
{
    onOwnThread([x] { outlet_bang(x->dump); });
}
void probeThreadClock(Probe* x)
{
    onOwnThread([x] { clock_delay(x->tick, 0); });
}
void probeThreadQelem(Probe* x)
{
    onOwnThread([x] { qelem_set(x->qelem); });
}
void probeThreadDefer(Probe* x)
{
    onOwnThread([x] {
        defer(x, reinterpret_cast<method>(+[](Probe* p, t_symbol*, short, t_atom*) { postWhere(p, "defer"); }),
              nullptr, 0, nullptr);
    });
}

void probeNewClock(Probe* x)
{
    t_clock* c = clock_new(x, reinterpret_cast<method>(+[](Probe*) {}));
    freeobject(c);
}

// A clock and a qelem used after they were freed.
void probeUseFreed(Probe* x)
{
    t_clock* c = clock_new(x, reinterpret_cast<method>(+[](Probe*) {}));
    freeobject(c);
    clock_delay(c, 0);
    void* q = qelem_new(x, reinterpret_cast<method>(+[](Probe*) {}));
    qelem_free(q);
    qelem_set(q);
    qelem_free(q);
}

void probePerformOut(Probe* x) { x->misbehave |= performOutlet; }
void probePerformQelem(Probe* x) { x->misbehave |= performQelem; }
void probeDspFree(Probe* x) { z_dsp_free(&x->ob); }

void probeDict(Probe* x, t_symbol* key)
{
    if (!x->dictionary || !dictionary_hasentry(x->dictionary, key))
    {
        out(x, "nodict", 0, nullptr);
        return;
    }
    long ac = 0;
    t_atom* av = nullptr;
    dictionary_getatoms(x->dictionary, key, &ac, &av);
    out(x, "dict", ac, av);
    t_atom_long l = 0;
    t_atom first;
    if (dictionary_getlong(x->dictionary, key, &l) == MAX_ERR_NONE && dictionary_getatom(x->dictionary, key, &first) == 0)
    {
        t_atom a;
        atom_setlong(&a, l);
        out(x, "dictlong", 1, &a);
    }
}

void probeFind(Probe* x, t_symbol* name)
{
    char file[MAX_PATH_CHARS];
    std::strncpy(file, name->s_name, sizeof file - 1);
    file[sizeof file - 1] = '\0';
    short path = 0;
    t_fourcc type = 0;
    if (locatefile_extended(file, &path, &type, nullptr, 0) != 0)
    {
        out(x, "notfound", 0, nullptr);
        return;
    }
    char full[MAX_PATH_CHARS];
    path_topathname(path, file, full);
    t_atom a[2];
    atom_setsym(a, sym(file));
    atom_setsym(a + 1, sym(full));
    out(x, "found", 2, a);
}

void probeChoose(Probe* x, t_symbol* kind)
{
    char name[MAX_PATH_CHARS] = "untitled.wav";
    short path = 0;
    t_fourcc type = 0;
    const bool save = kind == sym("save");
    short cancelled = save ? saveasdialog_extended(name, &path, &type, nullptr, 0)
                           : open_dialog(name, &path, &type, nullptr, 0);
    if (cancelled)
    {
        out(x, "cancelled", 0, nullptr);
        return;
    }
    char full[MAX_PATH_CHARS];
    path_topathname(path, name, full);
    short path2 = 0;
    char again[MAX_FILENAME_CHARS];
    path_frompathname(full, &path2, again);
    t_atom a[3];
    atom_setsym(a, sym(full));
    atom_setsym(a + 1, sym(again));
    atom_setlong(a + 2, path2 == path);
    out(x, save ? "saveas" : "open", 3, a);
}

void probeInfo(Probe* x)
{
    t_atom a[4];
    atom_setlong(a, maxversion());
    atom_setfloat(a + 1, sys_getsr());
    atom_setlong(a + 2, sys_getblksize());
    atom_setsym(a + 3, object_classname(x));
    out(x, "info", 4, a);
}

// A post of n characters (two-byte ones from 2000 on): Max cuts what is
// longer than its window shows.
void probeLongPost(Probe* x, long n)
{
    std::string text;
    for (long i = 0; i < n; ++i)
        text += i < 2000 ? "x" : "\xC3\xA9";
    object_post(&x->ob.z_ob, "%s", text.c_str());
}

// Text through atom_setparse and back through atom_gettext.
void probeParse(Probe* x, t_symbol* text)
{
    long ac = 0;
    t_atom* av = nullptr;
    if (atom_setparse(&ac, &av, text->s_name) != MAX_ERR_NONE)
        return;
    out(x, "parsed", ac, av);
    long size = 0;
    char* joined = nullptr;
    atom_gettext(ac, av, &size, &joined, 0);
    t_atom a;
    atom_setsym(&a, sym(joined));
    out(x, "text", 1, &a);
    sysmem_freeptr(joined);
    sysmem_freeptr(av);
}

// Attributes from C: read-only attributes are settable this way.
void probeSetFromC(Probe* x, t_symbol* name, t_atom_long v)
{
    object_attr_setlong(x, name, v);
    t_atom a;
    atom_setlong(&a, object_attr_getlong(x, name));
    out(x, "fromc", 1, &a);
}

void probeMemory(Probe* x)
{
    char* p = sysmem_newptrclear(16);
    char* q = getbytes(8);
    t_atom a;
    atom_setlong(&a, p[15] == 0);
    freebytes(q, 8);
    sysmem_freeptr(p);
    out(x, "memory", 1, &a);
}

void* probeSecret(Probe* x, void* arg)
{
    object_post(&x->ob.z_ob, "secret called");
    return arg;
}

long probeMultichannelOutputs(Probe* x, long index) { return index == 2 ? x->mcchans : 1; }

// Channel c of every outlet carries c + (frame mod 1024) / 1024, exact in float.
void probePerform(Probe* x, t_object*, double** ins, long numins, double** outs, long numouts, long frames, long,
                  void* userParam)
{
    x->audioThread = std::this_thread::get_id();
    const long start = static_cast<Run*>(userParam)->blocks++ * frames;
    for (long c = 0; c < numouts; ++c)
        for (long i = 0; i < frames; ++i)
            outs[c][i] = static_cast<double>(c) + static_cast<double>((start + i) % 1024) / 1024.0;
    const int wrong = x->misbehave.exchange(0);
    if (wrong & performOutlet)
        outlet_bang(x->dump);
    if (wrong & performQelem)
        qelem_set(x->qelem);
    if (start == 0)
    {
        x->firstIns = numins;
        x->firstOuts = numouts;
        x->firstInput = numins > 0 && frames > 1 ? ins[0][1] : 0.0;
        x->firstBlock = frames;
        clock_delay(x->report, 0);
    }
}

void probeDsp64(Probe* x, t_object* chain, short* count, double sr, long vs, long)
{
    const auto ins = reinterpret_cast<intptr_t>(
        object_method_imp(chain, sym("getnuminputchannels"), x, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    const auto mcOuts = reinterpret_cast<intptr_t>(object_method_imp(
        chain, sym("getnumoutputchannels"), x, reinterpret_cast<void*>(2), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    object_post(&x->ob.z_ob, "dsp64 sr %g vs %ld connected %d | %d %d %d, %ld input channels, %ld mc channels", sr, vs,
                count[0], count[1], count[2], count[3], static_cast<long>(ins), static_cast<long>(mcOuts));
    Run* run = &x->runs[x->nextRun++ % 8];
    run->blocks = 0;
    dsp_add64(chain, &x->ob.z_ob, reinterpret_cast<t_perfroutine64>(&probePerform), 0, run);
}

t_max_err gainSet(Probe* x, void*, long ac, t_atom* av)
{
    if (ac > 0)
        x->gain = atom_getfloat(av) * 2.0;
    return MAX_ERR_NONE;
}

t_max_err gainGet(Probe* x, void*, long* ac, t_atom** av)
{
    if (!*av)
        *av = reinterpret_cast<t_atom*>(sysmem_newptr(sizeof(t_atom)));
    *ac = 1;
    atom_setfloat(*av, x->gain / 2.0);
    return MAX_ERR_NONE;
}

// probe.bad~: a class whose registration, objects, DSP and free break Max's rules.
struct Bad
{
    t_pxobject ob;
    t_clock* clock;
    void* qelem;
    void* outlet;
    bool setup;
};

t_class* badClass = nullptr;
// What the last freed probe.bad~ left behind, touched by probe~'s "touchfreed".
t_clock* freedClock = nullptr;
void* freedQelem = nullptr;
void* freedOutlet = nullptr;

void badNothing(Bad*) {}
void badNothingDeferred(Bad*, t_symbol*, short, t_atom*) {}
void badPerform(t_object*, t_object*, double**, long, double**, long, long, long, void*) {}

// "nosetup" leaves out z_dsp_setup; object_parameter_init is always left out.
void* badNew(t_symbol*, long ac, t_atom* av)
{
    auto* x = static_cast<Bad*>(object_alloc(badClass));
    x->setup = !(ac > 0 && av[0].a_type == A_SYM && av[0].a_w.w_sym == sym("nosetup"));
    if (x->setup)
        z_dsp_setup(&x->ob, 0);
    x->outlet = outlet_new(x, "multichannelsignal");
    x->clock = clock_new(x, reinterpret_cast<method>(&badNothing));
    x->qelem = qelem_new(x, reinterpret_cast<method>(&badNothing));
    return x;
}

// Leaves its clock and qelem set and a call deferred; forgets z_dsp_free, or
// calls it without z_dsp_setup.
void badFree(Bad* x)
{
    if (!x->setup)
        z_dsp_free(&x->ob);
    clock_delay(x->clock, 1000);
    qelem_set(x->qelem);
    defer_low(x, reinterpret_cast<method>(&badNothingDeferred), nullptr, 0, nullptr);
    freedClock = x->clock;
    freedQelem = x->qelem;
    freedOutlet = x->outlet;
}

long badMultichannelOutputs(Bad*, long) { return 2000; }

void badDsp64(Bad* x, t_object* chain, short*, double, long, long)
{
    dsp_add64(chain, &x->ob.z_ob, &badPerform, 0, nullptr);
}

void probeBadClass(Probe*)
{
    if (badClass)
        return;
    t_class* c = class_new("probe.bad~", reinterpret_cast<method>(&badNew), reinterpret_cast<method>(&badFree),
                           sizeof(Bad), nullptr, A_GIMME, 0);
    class_addmethod(c, reinterpret_cast<method>(&badNothing), "bang", 0);
    class_addmethod(c, reinterpret_cast<method>(&badNothing), "bang", 0);
    class_addmethod(c, reinterpret_cast<method>(&badMultichannelOutputs), "multichanneloutputs", A_LONG, 0);
    class_addmethod(c, reinterpret_cast<method>(&badDsp64), "dsp64", A_CANT, 0);
    class_parameter_init(c);
    class_dspinit(c);
    class_register(CLASS_BOX, c);
    badClass = c;
}

void probeTouchFreed(Probe*)
{
    clock_delay(freedClock, 0);
    qelem_set(freedQelem);
    outlet_bang(freedOutlet);
}

void addAttr(t_class* c, const char* name, const char* type, long flags, long offset)
{
    class_addattr(c, attr_offset_new(name, sym(type), flags, nullptr, nullptr, offset));
}

template <typename F>
method asMethod(F f)
{
    return reinterpret_cast<method>(f);
}

}  // namespace

extern "C" C74_EXPORT void ext_main(void*)
{
    t_class* c = class_new("probe~", asMethod(&probeNew), asMethod(&probeFree), sizeof(Probe), nullptr, A_GIMME, 0);
    class_addmethod(c, asMethod(&probeInt), "int", A_LONG, 0);
    class_addmethod(c, asMethod(&probeFloat), "float", A_FLOAT, 0);
    class_addmethod(c, asMethod(&probeBang), "bang", 0);
    class_addmethod(c, asMethod(&probeTyped), "typed", A_LONG, A_FLOAT, A_SYM, 0);
    class_addmethod(c, asMethod(&probeTyped), "defaults", A_DEFLONG, A_DEFFLOAT, A_DEFSYM, 0);
    class_addmethod(c, asMethod(&probeEcho), "echo", A_GIMME, 0);
    class_addmethod(c, asMethod(&probeLater), "later", A_LONG, 0);
    class_addmethod(c, asMethod(&probeTick), "tick", A_LONG, 0);
    class_addmethod(c, asMethod(&probeUntick), "untick", 0);
    class_addmethod(c, asMethod(&probeDict), "dictread", A_SYM, 0);
    class_addmethod(c, asMethod(&probeFind), "find", A_SYM, 0);
    class_addmethod(c, asMethod(&probeChoose), "choose", A_DEFSYM, 0);
    class_addmethod(c, asMethod(&probeInfo), "info", 0);
    class_addmethod(c, asMethod(&probeParse), "parse", A_SYM, 0);
    class_addmethod(c, asMethod(&probeLongPost), "longpost", A_LONG, 0);
    class_addmethod(c, asMethod(&probeSetFromC), "setfromc", A_SYM, A_LONG, 0);
    class_addmethod(c, asMethod(&probeMemory), "memory", 0);
    class_addmethod(c, asMethod(&probeWhere), "where", 0);
    class_addmethod(c, asMethod(&probeWhereAt), "whereat", A_LONG, 0);
    class_addmethod(c, asMethod(&probeWhereQelem), "whereqelem", 0);
    class_addmethod(c, asMethod(&probeThreadOut), "threadout", 0);
    class_addmethod(c, asMethod(&probeThreadClock), "threadclock", 0);
    class_addmethod(c, asMethod(&probeThreadQelem), "threadqelem", 0);
    class_addmethod(c, asMethod(&probeThreadDefer), "threaddefer", 0);
    class_addmethod(c, asMethod(&probeNewClock), "newclock", 0);
    class_addmethod(c, asMethod(&probeUseFreed), "usefreed", 0);
    class_addmethod(c, asMethod(&probePerformOut), "performout", 0);
    class_addmethod(c, asMethod(&probePerformQelem), "performqelem", 0);
    class_addmethod(c, asMethod(&probeDspFree), "dspfree", 0);
    class_addmethod(c, asMethod(&probeBadClass), "badclass", 0);
    class_addmethod(c, asMethod(&probeTouchFreed), "touchfreed", 0);
    class_addmethod(c, asMethod(&probeSecret), "secret", A_CANT, 0);
    class_addmethod(c, asMethod(&probeDsp64), "dsp64", A_CANT, 0);
    class_addmethod(c, asMethod(&probeMultichannelOutputs), "multichanneloutputs", A_CANT, 0);
    class_addmethod(c, asMethod(&probeAnything), "anything", A_GIMME, 0);
    AddEventMethods(c);

    addAttr(c, "along", "long", 0, offsetof(Probe, along));
    attr_addfilter_clip(class_attr_get(c, sym("along")), 0, 100, 1, 1);
    class_attr_addattr_parse(c, "along", "default", sym("long"), 0, "5");
    addAttr(c, "aatomlong", "atom_long", 0, offsetof(Probe, aatomlong));
    addAttr(c, "afloat32", "float32", 0, offsetof(Probe, afloat32));
    attr_addfilter_clip(class_attr_get(c, sym("afloat32")), 0, 0, 1, 0);
    addAttr(c, "afloat64", "float64", 0, offsetof(Probe, afloat64));
    addAttr(c, "asym", "symbol", 0, offsetof(Probe, asym));
    class_attr_addattr_parse(c, "asym", "style", sym("symbol"), 0, "text");
    addAttr(c, "achar", "char", 0, offsetof(Probe, achar));
    attr_addfilter_clip(class_attr_get(c, sym("achar")), 0, 1, 1, 1);
    class_attr_addattr_parse(c, "achar", "style", sym("symbol"), 0, "onoff");
    addAttr(c, "ronly", "long", ATTR_SET_OPAQUE_USER, offsetof(Probe, ronly));
    addAttr(c, "gain", "float64", 0, offsetof(Probe, gain));
    void* gain = class_attr_get(c, sym("gain"));
    object_method_imp(gain, sym("setmethod"), sym("get"), reinterpret_cast<void*>(&gainGet), nullptr, nullptr, nullptr,
                      nullptr, nullptr, nullptr);
    object_method_imp(gain, sym("setmethod"), sym("set"), reinterpret_cast<void*>(&gainSet), nullptr, nullptr, nullptr,
                      nullptr, nullptr, nullptr);
    addAttr(c, "mcchans", "long", 0, offsetof(Probe, mcchans));
    attr_addfilter_clip(class_attr_get(c, sym("mcchans")), 1, 64, 1, 1);
    class_attr_addattr_parse(c, "mcchans", "default", sym("long"), 0, "2");

    c->c_flags |= CLASS_FLAG_NEWDICTIONARY;
    class_parameter_init(c);
    class_dspinit(c);
    class_register(CLASS_BOX, c);
    probeClass = c;
}
