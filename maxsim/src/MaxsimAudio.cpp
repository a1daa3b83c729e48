// The MaxAudio part of the API (MaxAudio.dll on Windows).
#include "MaxsimApi.h"
#include "MaxsimDspChain.h"
#include "MaxsimObjects.h"
#include "MaxsimThreads.h"

using namespace maxsim;

namespace
{

// Internal methods Max's class_dspinit adds; objects must not bind these names.
void* internalMethod(void*) { return nullptr; }

}  // namespace

extern "C" {

void class_dspinit(t_class* c)
{
    if (!c)
        return;
    auto* cls = static_cast<ClassRecord*>(c);
    cls->dsp = true;
    for (const char* name : {"signal", "userconnect", "nsiginlets", "enable"})
        if (!cls->findMethod(gensym(name)))
            AddKernelMethod(cls, name, reinterpret_cast<method>(&internalMethod));
}

void z_dsp_setup(t_pxobject* x, long signalInlets)
{
    ObjectInfo* info = FindObject(x);
    if (!info)
        return;
    info->signalInlets = signalInlets < 0 ? 0 : signalInlets;
    info->dspSetup = true;
    x->z_count = static_cast<short>(info->signalInlets);
    x->z_disabled = 0;
}

void z_dsp_free(t_pxobject* x)
{
    ObjectInfo* info = FindObject(x);
    if (!info || !info->dspSetup)
    {
        Violation(Subject(x), "called z_dsp_free without z_dsp_setup");
        return;
    }
    RemoveFromChain(reinterpret_cast<t_object*>(x), *info);
}

void dsp_add64(t_object* chain, t_object* x, t_perfroutine64 fn, long flags, void* userParam)
{
    (void)chain;
    AddPerform(x, fn, flags, userParam);
}

float sys_getsr(void) { return static_cast<float>(DspSampleRate()); }

int sys_getblksize(void) { return static_cast<int>(DspVectorSize()); }

}  // extern "C"
