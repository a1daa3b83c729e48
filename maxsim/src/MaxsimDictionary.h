// Dictionaries: ordered entries of atoms under symbol keys.
#pragma once

#include <utility>
#include <vector>

#include "MaxsimApi.h"

namespace maxsim
{

using DictionaryEntry = std::pair<t_symbol*, std::vector<t_atom>>;

// A new dictionary object (free it with object_free).
t_dictionary* NewDictionary(std::vector<DictionaryEntry> entries);
// The entries of a dictionary, in insertion order.
std::vector<DictionaryEntry>& DictionaryEntries(const t_dictionary* d);
bool IsDictionary(const void* object);

}  // namespace maxsim
