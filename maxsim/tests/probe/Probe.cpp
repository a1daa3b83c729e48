// probe~: a test external that exercises what the simulator offers, built
// and loaded like a real external (the Max API left undefined).
// Outlets from the left: 0 and 1 signal, 2 multichannel, 3 dump.
#include <atomic>
#include <cstring>
#include <string>

#include "MaxWrapperOwnApi.h"

namespace
{

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
    t_dictionary* dictionary;
    long blocks;                   // audio thread only
    std::atomic<long> firstBlock;  // ins, outs and frames of the first block, reported on the main thread
    long firstIns, firstOuts;
    bool zeroed;
};

t_class* probeClass = nullptr;

t_symbol* sym(const char* s) { return gensym(s); }

void out(Probe* x, const char* selector, long ac, t_atom* av)
{
    outlet_anything(x->dump, sym(selector), static_cast<short>(ac), av);
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
        object_post(&p->ob.z_ob, "first block: %ld frames, %ld ins, %ld outs", p->firstBlock.load(), p->firstIns,
                    p->firstOuts);
    }));
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
void probePerform(Probe* x, t_object*, double**, long numins, double** outs, long numouts, long frames, long, void*)
{
    const long start = x->blocks++ * frames;
    for (long c = 0; c < numouts; ++c)
        for (long i = 0; i < frames; ++i)
            outs[c][i] = static_cast<double>(c) + static_cast<double>((start + i) % 1024) / 1024.0;
    if (start == 0)
    {
        x->firstIns = numins;
        x->firstOuts = numouts;
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
    object_post(&x->ob.z_ob, "dsp64 sr %g vs %ld inlet count %d, %ld input channels, %ld mc channels", sr, vs, count[0],
                static_cast<long>(ins), static_cast<long>(mcOuts));
    x->blocks = 0;
    dsp_add64(chain, &x->ob.z_ob, reinterpret_cast<t_perfroutine64>(&probePerform), 0, nullptr);
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
    class_addmethod(c, asMethod(&probeSetFromC), "setfromc", A_SYM, A_LONG, 0);
    class_addmethod(c, asMethod(&probeMemory), "memory", 0);
    class_addmethod(c, asMethod(&probeSecret), "secret", A_CANT, 0);
    class_addmethod(c, asMethod(&probeDsp64), "dsp64", A_CANT, 0);
    class_addmethod(c, asMethod(&probeMultichannelOutputs), "multichanneloutputs", A_CANT, 0);
    class_addmethod(c, asMethod(&probeAnything), "anything", A_GIMME, 0);

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
