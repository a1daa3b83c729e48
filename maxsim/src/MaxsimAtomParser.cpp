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

#include "MaxsimAtoms.h"

namespace maxsim
{
namespace
{

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Counts the digits from i on.
std::size_t digits(const std::string& w, std::size_t& i)
{
    const std::size_t start = i;
    while (i < w.size() && isDigit(w[i]))
        ++i;
    return i - start;
}

// [-+]?digits, or with a point and/or an exponent: [-+]?(d+.d*|.d+|d+)([eE][-+]?d+)?
bool isNumber(const std::string& w, bool& isInteger)
{
    std::size_t i = (!w.empty() && (w[0] == '-' || w[0] == '+')) ? 1 : 0;
    std::size_t mantissa = digits(w, i);
    bool point = false, exponent = false;
    if (i < w.size() && w[i] == '.')
    {
        point = true;
        ++i;
        mantissa += digits(w, i);
    }
    if (mantissa == 0)
        return false;
    if (i < w.size() && (w[i] == 'e' || w[i] == 'E'))
    {
        exponent = true;
        ++i;
        if (i < w.size() && (w[i] == '-' || w[i] == '+'))
            ++i;
        if (digits(w, i) == 0)
            return false;
    }
    isInteger = !point && !exponent;
    return i == w.size();
}

bool hasDollarArgument(const std::string& w)
{
    for (std::size_t i = 0; i + 1 < w.size(); ++i)
        if (w[i] == '$' && isDigit(w[i + 1]))
            return true;
    return false;
}

t_atom classify(const std::string& word)
{
    t_atom a {};
    bool integer = false;
    if (isNumber(word, integer))
    {
        errno = 0;
        const long long v = integer ? std::strtoll(word.c_str(), nullptr, 10) : 0;
        if (integer && errno != ERANGE)
            atom_setlong(&a, static_cast<t_atom_long>(v));
        else
            atom_setfloat(&a, std::strtod(word.c_str(), nullptr));
    }
    else if (word == "#nan")
        atom_setfloat(&a, std::numeric_limits<double>::quiet_NaN());
    else if (word == "#inf" || word == "#-inf")
        atom_setfloat(&a, word == "#inf" ? HUGE_VAL : -HUGE_VAL);
    else if (word.size() == 2 && word[0] == '$' && isDigit(word[1]))
    {
        a.a_type = A_DOLLAR;
        a.a_w.w_long = word[1] - '0';
    }
    else
    {
        atom_setsym(&a, gensym(word.c_str()));
        if (hasDollarArgument(word))
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
