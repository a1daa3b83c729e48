#include "MaxWrapperDict.h"

#include "common/KelException.h"

namespace maxmsp {

namespace {

bool IsAttributeName(const t_atom& atom) noexcept
{
    return atom.a_type == A_SYM && atom.a_w.w_sym != nullptr && atom.a_w.w_sym->s_name[0] == '@';
}

/** "@name values..." among the arguments: the values of the last mention. */
void ApplyFromArguments(t_object* x, long argc, t_atom* argv, const char* name)
{
    for (long i = 0; i < argc; ++i)
    {
        if (!IsAttributeName(argv[i]) || std::string_view(argv[i].a_w.w_sym->s_name + 1) != name)
            continue;
        long n = 0;
        while (i + 1 + n < argc && argv[i + 1 + n].a_type != A_OBJ && !IsAttributeName(argv[i + 1 + n]))
            ++n;
        if (n > 0 && object_attr_setvalueof(x, gensym(name), n, argv + i + 1) != MAX_ERR_NONE)
            throw kel::Exception("couldnt process dictionnary", KEL_HERE);
    }
}

} // namespace

long CountArgumentsWithoutDictionary(long argc, const t_atom* argv) noexcept
{
    if (argc > 0 && argv != nullptr && argv[argc - 1].a_type == A_OBJ)
        return argc - 1;
    return argc;
}

void dictionary_process_partial(t_object* x, long argc, t_atom* argv, std::initializer_list<const char*> names)
{
    t_dictionary* dictionary = argc > 0 && argv != nullptr ? object_dictionaryarg(argc, argv) : nullptr;
    const long plainCount = CountArgumentsWithoutDictionary(argc, argv);
    for (const char* name : names)
    {
        ApplyFromArguments(x, plainCount, argv, name);
        t_symbol* key = gensym(name);
        if (dictionary == nullptr || !dictionary_hasentry(dictionary, key))
            continue;
        long count = 0;
        t_atom* atoms = nullptr;
        if (dictionary_getatoms(dictionary, key, &count, &atoms) != MAX_ERR_NONE || count <= 0 || atoms == nullptr)
            throw kel::Exception("error parsing dictionary", KEL_HERE);
        if (object_attr_setvalueof(x, key, count, atoms) != MAX_ERR_NONE)
            throw kel::Exception("couldnt process dictionnary", KEL_HERE);
    }
}

} // namespace maxmsp
