#include "MaxWrapperOsc.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "MaxWrapperPost.h"
#include "common/KelException.h"
#include "containers/KelMemoryBlock.h"

namespace maxmsp {

namespace {

const char* AtomTypeName(long type) noexcept
{
    switch (type)
    {
        case A_DOLLAR:
            return "A_DOLLAR";
        case A_SEMI:
            return "A_SEMI";
        case A_DOLLSYM:
            return "A_DOLLSYM";
        default:
            return nullptr;
    }
}

kel::String QuotedMessage(const kel::OscMessage& message, const AtomArrayRef& atoms)
{
    // Appended piecewise: gcc 12 warns falsely on " " + String at -O3.
    kel::String text(message.getAddressPattern().getText());
    if (!atoms.empty())
        text.append(" ").append(atoms.toString());
    return kel::Quoted(text);
}

} // namespace

void AddAtoms(t_object* /*x*/, kel::OscMessage& message, const AtomArrayRef& atoms)
{
    message.ReserveArguments(message.getNumArguments() + atoms.size());
    for (const AtomRef& atom : atoms)
    {
        switch (atom.getType())
        {
            case A_LONG:
            {
                const t_atom_long value = atom.GetLong();
                if (value >= std::numeric_limits<std::int32_t>::min() && value <= std::numeric_limits<std::int32_t>::max())
                    message.AddInt32(std::int32_t(value));
                else
                    message.AddInt64(std::int64_t(value));
                break;
            }
            case A_FLOAT:
                message.AddFloat32(atom.GetFloat());
                break;
            case A_SYM:
                message.AddString(atom.toString());
                break;
            default:
            {
                const char* name = AtomTypeName(atom.getType());
                kel::String text("unexpected atom type");
                if (name != nullptr)
                    text.append(" (").append(name).append(")");
                text.append(" in ").append(QuotedMessage(message, atoms));
                throw kel::Exception(text, KEL_HERE);
            }
        }
    }
}

kel::String MaxMessageText(t_symbol* selector, const AtomArrayRef& atoms)
{
    kel::String text(selector != nullptr && selector->s_name != nullptr ? selector->s_name : "");
    if (!atoms.empty())
        text.append(" ").append(atoms.toString());
    return text;
}

kel::OscMessage CreateOscMessage(t_object* x, t_symbol* selector, long argc, const t_atom* argv)
{
    const AtomArrayRef atoms(argc, argv);
    const std::string_view address(selector != nullptr && selector->s_name != nullptr ? selector->s_name : "");
    if (!address.starts_with('/'))
        throw kel::Exception("malformed OSC address (missing initial '/') for message "
                                 + kel::Quoted(MaxMessageText(selector, atoms)),
                             KEL_HERE);
    if (address.size() > 1 && address.ends_with('/'))
        ConsoleWarn(x, "unexpected '/' at the end of the OSC address for message "
                           + kel::Quoted(MaxMessageText(selector, atoms)) + ". This should be avoided");
    kel::OscMessage message(address);
    AddAtoms(x, message, atoms);
    return message;
}

t_outlet* GetDumpOutlet(t_object* x)
{
    t_object* outlet = nullptr;
    if (x == nullptr || object_obex_lookup(x, gensym("dumpout"), &outlet) != MAX_ERR_NONE)
        return nullptr;
    return outlet;
}

void SendOscMessage(t_outlet* outlet, const kel::OscMessage& message)
{
    if (outlet == nullptr)
        return;
    kel::Vector<t_atom> atoms;
    atoms.Reserve(message.getNumArguments());
    auto pushLong = [&](t_atom_long value)
    {
        t_atom atom{};
        atom_setlong(&atom, value);
        atoms.PushBack(atom);
    };
    for (std::size_t i = 0; i < message.getNumArguments(); ++i)
    {
        const kel::OscArgument& argument = message[i];
        t_atom atom{};
        switch (argument.getTypeTag())
        {
            case 'i':
                pushLong(argument.getInt32());
                continue;
            case 'h':
                pushLong(t_atom_long(argument.getInt64()));
                continue;
            case 'f':
            case 'd':
                atom_setfloat(&atom, argument.getAsDouble());
                break;
            case 's':
                atom_setsym(&atom, gensym(argument.getString().c_str()));
                break;
            case 'T':
            case 'F':
                pushLong(argument.getTypeTag() == 'T' ? 1 : 0);
                continue;
            case 'b':
                for (const std::uint8_t byte : argument.getBlob())
                    pushLong(byte);
                continue;
            default:
                continue;
        }
        atoms.PushBack(atom);
    }
    // Max counts a message's atoms in a short.
    const short count = short(std::min<std::size_t>(atoms.size(), std::size_t(std::numeric_limits<short>::max())));
    outlet_anything(outlet, gensym(message.getAddressPattern().getText().c_str()), count, atoms.data());
}

void SendOscBundle(t_outlet* outlet, const kel::OscBundle& bundle)
{
    if (outlet == nullptr)
        return;
    bundle.ForEachMessage([outlet](const kel::OscMessage& message) { SendOscMessage(outlet, message); });
}

} // namespace maxmsp
