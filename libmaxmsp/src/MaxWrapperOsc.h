// Max messages to OSC messages and back.
//
// Max to OSC: the selector is the address, each atom one argument (integer:
// i, or h beyond 32 bits; float: f; symbol: s). Other atoms have no OSC
// meaning and are refused. OSC to Max: the address is the selector; i and h
// become integers, f and d floats, s symbols, T and F the integers 1 and 0,
// a blob one integer per byte.
//
// Translation allocates; main thread or any thread holding the atoms.
// Sending to an outlet: only where Max allows outlets (the main thread, the
// scheduler thread, scheduler events on the audio thread), never in perform.
#pragma once

#include "MaxWrapperApi.h"
#include "MaxWrapperTypes.h"
#include "osc/KelOscBundle.h"
#include "osc/KelOscMessage.h"

namespace maxmsp {

/** Appends atoms to message as arguments. Throws "unexpected atom type
    (A_DOLLAR) in " (A_SEMI, A_DOLLSYM, or no name for the other types)
    followed by the quoted Max message (selector and atoms), and the float
    errors of AtomRef::GetFloat. */
void AddAtoms(t_object* x, kel::OscMessage& message, const AtomArrayRef& atoms);

/** The Max message selector + atoms as one OSC message. Throws "malformed
    OSC address (missing initial '/') for message " + the quoted message when
    the selector does not begin with "/"; warns (object_warn) about a
    trailing "/" and goes on with the address as it stands. */
kel::OscMessage CreateOscMessage(t_object* x, t_symbol* selector, long argc, const t_atom* argv);

/** The Max message as text: the selector and the atoms joined by blanks. */
kel::String MaxMessageText(t_symbol* selector, const AtomArrayRef& atoms);

/** The outlet stored under "dumpout", or null. */
t_outlet* GetDumpOutlet(t_object* x);

/** Sends message out of outlet as one Max message (nothing when outlet is
    null). */
void SendOscMessage(t_outlet* outlet, const kel::OscMessage& message);

/** Sends each message of a bundle, depth first, as one Max message. */
void SendOscBundle(t_outlet* outlet, const kel::OscBundle& bundle);

} // namespace maxmsp
