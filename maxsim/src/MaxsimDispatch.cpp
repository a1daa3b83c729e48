// Message dispatch with typed arguments, attributes by message and the
// "anything" fallback. int and float stand in for each other when the object
// has only one of them.
#include "MaxsimDispatch.h"

#include <string>

#include "MaxsimAtoms.h"
#include "MaxsimAttributes.h"
#include "MaxsimConsole.h"
#include "MaxsimObjects.h"
#include "MaxsimOutlets.h"
#include "MaxsimThreads.h"

namespace maxsim
{
namespace
{

bool isDeferred(short type)
{
    return type == A_DEFER || type == A_USURP || type == A_DEFER_LOW || type == A_USURP_LOW;
}

void callMethod(t_object* x, const MethodEntry& m, t_symbol* selector, long argc, t_atom* argv)
{
    if (m.types.size() == 1 && m.types[0] == A_GIMME)
    {
        reinterpret_cast<void* (*)(t_object*, t_symbol*, long, t_atom*)>(m.fn)(x, selector, argc, argv);
        return;
    }
    if (m.types.size() == 1 && isDeferred(m.types[0]))
    {
        if (m.types[0] == A_DEFER_LOW || m.types[0] == A_USURP_LOW)
            defer_low(x, m.fn, selector, static_cast<short>(argc), argv);
        else
            defer(x, m.fn, selector, static_cast<short>(argc), argv);
        return;
    }
    if (CallTyped(m.fn, x, m.types, argc, argv) == reinterpret_cast<void*>(-1))
        Emit("error", x, std::string("bad arguments for message \"") + selector->s_name + "\"");
}

bool sendAttribute(t_object* x, ClassRecord* cls, t_symbol* selector, long argc, t_atom* argv)
{
    if (AttrRecord* attr = cls->findAttribute(selector))
    {
        if (attr->flags & (ATTR_SET_OPAQUE | ATTR_SET_OPAQUE_USER))
            Emit("error", x, std::string("attribute \"") + selector->s_name + "\" is read-only");
        else
            SetAttribute(x, attr, argc, argv);
        return true;
    }
    const std::string name = selector->s_name;
    if (name.size() > 3 && name.compare(0, 3, "get") == 0)
        if (AttrRecord* attr = cls->findAttribute(gensym(name.c_str() + 3)))
        {
            if (attr->flags & (ATTR_GET_OPAQUE | ATTR_GET_OPAQUE_USER))
            {
                Emit("error", x, "attribute \"" + name.substr(3) + "\" cannot be read");
                return true;
            }
            std::vector<t_atom> value = GetAttribute(x, attr);
            object_obex_dumpout(x, attr->name, static_cast<long>(value.size()), value.data());
            return true;
        }
    return false;
}

}  // namespace

void SendMessage(t_object* x, t_symbol* selector, long argc, t_atom* argv)
{
    ClassRecord* cls = ClassOf(x);
    if (!cls)
        return;
    CallScope scope(x);
    const MethodEntry* m = cls->findMethod(selector);
    // int and float reach the other when only one is defined, as in Max.
    if (!m && selector == gensym("int"))
        m = cls->findMethod(gensym("float"));
    else if (!m && selector == gensym("float"))
        m = cls->findMethod(gensym("int"));
    if (m)
    {
        if (m->types.size() == 1 && m->types[0] == A_CANT)
            Emit("error", x, std::string("method \"") + selector->s_name + "\" cannot be called by message");
        else if (m->fn)
            callMethod(x, *m, selector, argc, argv);
        return;
    }
    if (sendAttribute(x, cls, selector, argc, argv))
        return;
    if (const MethodEntry* anything = cls->findMethod(gensym("anything")))
    {
        callMethod(x, *anything, selector, argc, argv);
        return;
    }
    Emit("error", x, std::string("doesn't understand \"") + selector->s_name + "\"");
}

}  // namespace maxsim
