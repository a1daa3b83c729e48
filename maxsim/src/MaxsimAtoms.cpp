// Atom accessors of the API and the printed form of atoms.
#include "MaxsimAtoms.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

namespace maxsim
{

std::string FormatNumber(double value)
{
    char buffer[64];
    std::to_chars_result r;
    const float f = static_cast<float>(value);
    if (std::isfinite(value) && static_cast<double>(f) == value)
        r = std::to_chars(buffer, buffer + sizeof buffer, f);
    else
        r = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, r.ptr);
}

std::string FormatSymbol(const t_symbol* s)
{
    const char* name = s && s->s_name ? s->s_name : "";
    if (*name == '\0' || std::strpbrk(name, " \t\n"))
        return std::string("\"") + name + "\"";
    return name;
}

std::string FormatAtom(const t_atom& a)
{
    switch (a.a_type)
    {
    case A_LONG:
        return std::to_string(a.a_w.w_long);
    case A_FLOAT:
        return FormatNumber(a.a_w.w_float);
    case A_SYM:
    case A_DOLLSYM:
        return FormatSymbol(a.a_w.w_sym);
    case A_OBJ:
        return "<object>";
    case A_COMMA:
        return ",";
    case A_SEMI:
        return ";";
    case A_DOLLAR:
        return std::string(1, '$') += std::to_string(a.a_w.w_long);
    default:
        return "<?>";
    }
}

bool AtomsToMessage(const t_atom* atoms, long n, t_symbol*& selector, std::vector<t_atom>& args)
{
    if (n < 1)
        return false;
    const t_atom& head = atoms[0];
    if (head.a_type == A_SYM)
    {
        selector = head.a_w.w_sym;
        args.assign(atoms + 1, atoms + n);
        return true;
    }
    if (head.a_type != A_LONG && head.a_type != A_FLOAT)
        return false;
    args.assign(atoms, atoms + n);
    selector = n > 1 ? gensym("list") : gensym(head.a_type == A_LONG ? "int" : "float");
    return true;
}

std::string FormatAtoms(long argc, const t_atom* argv)
{
    std::string text;
    for (long i = 0; i < argc; ++i)
    {
        if (i)
            text += ' ';
        text += FormatAtom(argv[i]);
    }
    return text;
}

}  // namespace maxsim

extern "C" {

t_atom_long atom_getlong(const t_atom* a)
{
    if (!a)
        return 0;
    if (a->a_type == A_LONG)
        return a->a_w.w_long;
    if (a->a_type == A_FLOAT && std::isfinite(a->a_w.w_float))
        return static_cast<t_atom_long>(a->a_w.w_float);
    return 0;
}

t_atom_float atom_getfloat(const t_atom* a)
{
    if (!a)
        return 0.0;
    if (a->a_type == A_FLOAT)
        return a->a_w.w_float;
    if (a->a_type == A_LONG)
        return static_cast<t_atom_float>(a->a_w.w_long);
    return 0.0;
}

t_symbol* atom_getsym(const t_atom* a)
{
    return a && (a->a_type == A_SYM || a->a_type == A_DOLLSYM) ? a->a_w.w_sym : gensym("");
}

long atom_gettype(const t_atom* a) { return a ? static_cast<long>(a->a_type) : static_cast<long>(A_NOTHING); }

t_max_err atom_setlong(t_atom* a, t_atom_long v)
{
    if (!a)
        return MAX_ERR_INVALID_PTR;
    a->a_type = A_LONG;
    a->a_w.w_long = v;
    return MAX_ERR_NONE;
}

t_max_err atom_setfloat(t_atom* a, double v)
{
    if (!a)
        return MAX_ERR_INVALID_PTR;
    a->a_type = A_FLOAT;
    a->a_w.w_float = v;
    return MAX_ERR_NONE;
}

t_max_err atom_setsym(t_atom* a, t_symbol* s)
{
    if (!a)
        return MAX_ERR_INVALID_PTR;
    a->a_type = A_SYM;
    a->a_w.w_sym = s;
    return MAX_ERR_NONE;
}

t_max_err atom_gettext(long ac, t_atom* av, long* textsize, char** text, long flags)
{
    if (!textsize || !text)
        return MAX_ERR_INVALID_PTR;
    std::string result;
    for (long i = 0; i < ac; ++i)
    {
        if (i)
            result += ' ';
        // OBEX_UTIL_ATOM_GETTEXT_SYM_NO_QUOTE (0x2): symbols as they are.
        if (av[i].a_type == A_SYM && (flags & 0x2))
            result += av[i].a_w.w_sym->s_name;
        else
            result += maxsim::FormatAtom(av[i]);
    }
    const long needed = static_cast<long>(result.size()) + 1;
    if (!*text || *textsize <= 0)
    {
        *text = sysmem_newptr(static_cast<t_ptr_size>(needed));
        if (!*text)
            return MAX_ERR_OUT_OF_MEM;
        *textsize = needed;
    }
    const long n = std::min(needed - 1, *textsize - 1);
    std::memcpy(*text, result.data(), static_cast<std::size_t>(n));
    (*text)[n] = '\0';
    return MAX_ERR_NONE;
}

}  // extern "C"
