// Pd messages to OSC messages and back.
//
// Pd to OSC: the selector is the address, each atom one argument. Pd has
// only floats: one that holds a whole number of the 32-bit range becomes an
// integer (i), as the same text typed in Max would, so that "/seek 1000"
// and "/loop 1" mean in Pd what they mean in Max; any other float is f, a
// symbol s. Commas, semicolons and dollars have no OSC meaning and are
// refused. OSC to Pd: the address is the selector; numbers become floats
// (beyond 2^24 a 32-bit float holds the nearest it can), s symbols, T and F
// 1 and 0, a blob one float per byte.
//
// Pd's thread only (symbols and outlets are Pd's); allocates.
#pragma once

#include <m_pd.h>

#include "osc/KelOscBundle.h"
#include "osc/KelOscMessage.h"

namespace puredata {

/** The Pd message as text: the selector and the atoms joined by blanks. */
kel::String PdMessageText(const t_symbol* selector, int argc, const t_atom* argv);

/** Pd message selector + atoms as one OSC message. Throws "malformed OSC
    address (missing initial '/') for message " + the quoted message when
    the selector does not begin with "/", and "unexpected atom type in " +
    the quoted message for a comma, semicolon or dollar. */
kel::OscMessage CreateOscMessage(const t_symbol* selector, int argc, const t_atom* argv);

/** Sends message out of outlet as one Pd message (nothing when outlet is
    null). */
void SendOscMessage(t_outlet* outlet, const kel::OscMessage& message);

/** Sends each message of a bundle, depth first, as one Pd message. */
void SendOscBundle(t_outlet* outlet, const kel::OscBundle& bundle);

} // namespace puredata
