// Views of the atoms Max hands a method: one atom (AtomRef) and the argument
// list of a message (AtomArrayRef). They do not own the atoms, which stay
// Max's and must outlive the view.
//
// Any thread; reading never allocates (building an AtomArrayRef does).
#pragma once

#include <cstddef>

#include "MaxWrapperApi.h"
#include "common/KelString.h"
#include "containers/KelVector.h"

namespace maxmsp {

/** A handler as Max's generic method type, for class_addmethod, defer and
    clock_new (Max calls it back with the arguments it was registered for). */
template <typename F>
method AsMethod(F function) noexcept
{
    return reinterpret_cast<method>(reinterpret_cast<void (*)()>(function));
}

class AtomRef
{
public:
    AtomRef() noexcept = default;
    explicit AtomRef(const t_atom* atomToView) noexcept : atom(atomToView) {}

    /** The SDK's type code (A_LONG, A_FLOAT, A_SYM, A_OBJ, A_SEMI, ...). */
    long getType() const noexcept { return atom != nullptr ? long(atom->a_type) : long(A_NOTHING); }
    bool isLong() const noexcept { return getType() == A_LONG; }
    bool isFloat() const noexcept { return getType() == A_FLOAT; }
    bool isSymbol() const noexcept { return getType() == A_SYM; }

    t_atom_long GetLong() const noexcept { return atom->a_w.w_long; }
    /** The float atom as 32-bit float. Throws "Oups : NaN detected !" for
        NaN and "Oups : Inf detected !" for an infinity, so that neither
        reaches a processor. */
    float GetFloat() const;
    t_symbol* GetSymbol() const noexcept { return atom->a_w.w_sym; }
    const t_atom* get() const noexcept { return atom; }

    /** The atom as a user would type it: integers in decimal, floats in
        their shortest form, symbols as they are, "," ";" "$N" for the
        punctuation and dollar atoms, "<object>" for an object. */
    kel::String toString() const;

private:
    const t_atom* atom = nullptr;
};

/** A message's arguments: one AtomRef per atom, sized once to the count. */
class AtomArrayRef
{
public:
    AtomArrayRef() = default;
    /** A negative count or a null pointer gives an empty list. */
    AtomArrayRef(long argc, const t_atom* argv);

    std::size_t size() const noexcept { return atoms.size(); }
    bool empty() const noexcept { return atoms.empty(); }
    const AtomRef& operator[](std::size_t index) const noexcept { return atoms[index]; }
    auto begin() const noexcept { return atoms.begin(); }
    auto end() const noexcept { return atoms.end(); }

    bool allSymbols() const noexcept;
    /** The atoms' text forms joined by single blanks. */
    kel::String toString() const;

private:
    kel::Vector<AtomRef> atoms;
};

} // namespace maxmsp
