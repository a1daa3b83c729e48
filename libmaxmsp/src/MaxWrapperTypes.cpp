#include "MaxWrapperTypes.h"

#include <cmath>

#include "common/KelException.h"

namespace maxmsp {

float AtomRef::GetFloat() const
{
    const double value = atom->a_w.w_float;
    if (std::isnan(value))
        throw kel::Exception("Oups : NaN detected !", KEL_HERE);
    if (std::isinf(value))
        throw kel::Exception("Oups : Inf detected !", KEL_HERE);
    return float(value);
}

kel::String AtomRef::toString() const
{
    switch (getType())
    {
        case A_LONG:
            return kel::ToString(std::int64_t(GetLong()));
        case A_FLOAT:
            return kel::ToString(double(atom->a_w.w_float));
        case A_SYM:
            return GetSymbol() != nullptr && GetSymbol()->s_name != nullptr ? kel::String(GetSymbol()->s_name)
                                                                             : kel::String();
        case A_OBJ:
            return "<object>";
        case A_SEMI:
            return ";";
        case A_COMMA:
            return ",";
        case A_DOLLAR:
            return kel::String("$").append(kel::ToString(std::int64_t(GetLong())));
        case A_DOLLSYM:
            return GetSymbol() != nullptr && GetSymbol()->s_name != nullptr ? kel::String(GetSymbol()->s_name)
                                                                             : kel::String("$");
        default:
            return kel::String("<atom type ").append(kel::ToString(std::int64_t(getType()))).append(">");
    }
}

AtomArrayRef::AtomArrayRef(long argc, const t_atom* argv)
{
    if (argc <= 0 || argv == nullptr)
        return;
    atoms.Resize(std::size_t(argc));
    for (std::size_t i = 0; i < atoms.size(); ++i)
        atoms[i] = AtomRef(argv + i);
}

bool AtomArrayRef::allSymbols() const noexcept
{
    for (const AtomRef& atom : atoms)
        if (!atom.isSymbol())
            return false;
    return true;
}

kel::String AtomArrayRef::toString() const
{
    kel::String text;
    for (std::size_t i = 0; i < atoms.size(); ++i)
    {
        if (i > 0)
            text += ' ';
        text += atoms[i].toString();
    }
    return text;
}

} // namespace maxmsp
