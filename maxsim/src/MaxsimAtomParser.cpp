// Text to atoms, as Max reads a message: decimal integers are longs, numbers
// with a point or an exponent floats, "..." one symbol (\" escapes a quote),
// unquoted , and ; separate atoms of their own, $N is a dollar argument and a
// word holding $N a dollar symbol. For tests, #nan, #inf and #-inf are floats.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <regex>

#include "MaxsimAtoms.h"

namespace maxsim
{
namespace
{

t_atom classify(const std::string& word)
{
    static const std::regex integer(R"([-+]?[0-9]+)");
    static const std::regex real(R"([-+]?([0-9]+\.[0-9]*|\.[0-9]+|[0-9]+)([eE][-+]?[0-9]+)?)");
    static const std::regex dollar(R"(\$[0-9])");
    static const std::regex dollarInside(R"(.*\$[0-9].*)");
    t_atom a {};
    if (std::regex_match(word, integer))
    {
        errno = 0;
        long long v = std::strtoll(word.c_str(), nullptr, 10);
        if (errno != ERANGE)
        {
            atom_setlong(&a, static_cast<t_atom_long>(v));
            return a;
        }
        atom_setfloat(&a, std::strtod(word.c_str(), nullptr));
    }
    else if (std::regex_match(word, real))
        atom_setfloat(&a, std::strtod(word.c_str(), nullptr));
    else if (word == "#nan")
        atom_setfloat(&a, std::numeric_limits<double>::quiet_NaN());
    else if (word == "#inf" || word == "#-inf")
        atom_setfloat(&a, word == "#inf" ? HUGE_VAL : -HUGE_VAL);
    else if (std::regex_match(word, dollar))
    {
        a.a_type = A_DOLLAR;
        a.a_w.w_long = word[1] - '0';
    }
    else
    {
        atom_setsym(&a, gensym(word.c_str()));
        if (std::regex_match(word, dollarInside))
            a.a_type = A_DOLLSYM;
    }
    return a;
}

}  // namespace

ParsedAtoms ParseAtoms(const std::string& text)
{
    ParsedAtoms result;
    std::size_t i = 0;
    const std::size_t n = text.size();
    while (i < n)
    {
        const char c = text[i];
        if (c == ' ' || c == '\t' || c == '\r' || c == '\n')
        {
            ++i;
            continue;
        }
        t_atom a {};
        if (c == ',' || c == ';')
        {
            a.a_type = c == ',' ? A_COMMA : A_SEMI;
            result.atoms.push_back(a);
            ++i;
            continue;
        }
        if (c == '"')
        {
            std::string s;
            ++i;
            while (i < n && text[i] != '"')
            {
                if (text[i] == '\\' && i + 1 < n && (text[i + 1] == '"' || text[i + 1] == '\\'))
                    ++i;
                s += text[i++];
            }
            if (i >= n)
            {
                result.error = "unterminated quote";
                return result;
            }
            ++i;
            atom_setsym(&a, gensym(s.c_str()));
            result.atoms.push_back(a);
            continue;
        }
        std::size_t start = i;
        while (i < n && !std::strchr(" \t\r\n,;\"", text[i]))
            ++i;
        result.atoms.push_back(classify(text.substr(start, i - start)));
    }
    return result;
}

}  // namespace maxsim

extern "C" t_max_err atom_setparse(long* ac, t_atom** av, const char* text)
{
    if (!ac || !av || !text)
        return MAX_ERR_INVALID_PTR;
    maxsim::ParsedAtoms parsed = maxsim::ParseAtoms(text);
    if (!parsed.error.empty())
        return MAX_ERR_GENERIC;
    long count = static_cast<long>(parsed.atoms.size());
    // A caller's array is filled up to its size; without one the kernel allocates.
    if (!*av || *ac <= 0)
    {
        *av = reinterpret_cast<t_atom*>(sysmem_newptr(sizeof(t_atom) * static_cast<t_ptr_size>(std::max(1L, count))));
        if (!*av)
            return MAX_ERR_OUT_OF_MEM;
    }
    else
        count = std::min(count, *ac);
    std::memcpy(*av, parsed.atoms.data(), sizeof(t_atom) * static_cast<std::size_t>(count));
    *ac = count;
    return MAX_ERR_NONE;
}
