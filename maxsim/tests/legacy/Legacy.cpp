// legacy: an external from before Max 7, whose only entry is `main`.
#include "MaxWrapperOwnApi.h"

namespace
{

void legacyBang(t_object* x) { object_post(x, "legacy bang"); }
t_class* legacyClass = nullptr;
void* legacyNew(t_symbol*, long, t_atom*) { return object_alloc(legacyClass); }

}  // namespace

// C++ reserves the name main for the program's entry, so the export gets it as its symbol name.
extern "C" C74_EXPORT void LegacyMain(void*) __asm__("main");

extern "C" void LegacyMain(void*)
{
    legacyClass = class_new("legacy", reinterpret_cast<method>(&legacyNew), nullptr, sizeof(t_object), nullptr, A_GIMME, 0);
    class_addmethod(legacyClass, reinterpret_cast<method>(&legacyBang), "bang", 0);
    class_register(CLASS_BOX, legacyClass);
}
