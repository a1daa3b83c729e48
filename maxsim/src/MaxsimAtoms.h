// Atoms as text: how the simulator prints them and how it parses them as
// Max does (a message box's text, a script line, atom_setparse).
#pragma once

#include <string>
#include <vector>

#include "MaxsimApi.h"

namespace maxsim
{

// Shortest round-trip text: of the float when the value is exactly a float, else of the double.
std::string FormatNumber(double value);
// The symbol's text, in double quotes when it holds a blank or is empty.
std::string FormatSymbol(const t_symbol* s);
std::string FormatAtom(const t_atom& a);
std::string FormatAtoms(long argc, const t_atom* argv);

// The message atoms make, as a message box sends them: a symbol first is the
// selector; a number first makes int, float or list. False when the first atom
// is neither (or there is none).
bool AtomsToMessage(const t_atom* atoms, long n, t_symbol*& selector, std::vector<t_atom>& args);

struct ParsedAtoms
{
    std::vector<t_atom> atoms;
    std::string error;  // empty when the text parsed
};
// Splits text into atoms: numbers, "quoted symbols", , ; $N and words.
ParsedAtoms ParseAtoms(const std::string& text);

}  // namespace maxsim
