#include "PdWrapperOsc.h"

#include <cmath>
#include <cstdint>
#include <limits>

#include "common/KelException.h"
#include "containers/KelVector.h"

namespace puredata {

namespace {

kel::String AtomText(const t_atom& atom)
{
    char text[MAXPDSTRING];
    atom_string(&atom, text, sizeof text);
    return text;
}

} // namespace

kel::String PdMessageText(const t_symbol* selector, int argc, const t_atom* argv)
{
    kel::String text(selector != nullptr && selector->s_name != nullptr ? selector->s_name : "");
    for (int i = 0; i < argc; ++i)
        text.append(" ").append(AtomText(argv[i]));
    return text;
}

kel::OscMessage CreateOscMessage(const t_symbol* selector, int argc, const t_atom* argv)
{
    const std::string_view address(selector != nullptr && selector->s_name != nullptr ? selector->s_name : "");
    if (!address.starts_with('/'))
        throw kel::Exception("malformed OSC address (missing initial '/') for message "
                                 + kel::Quoted(PdMessageText(selector, argc, argv)),
                             KEL_HERE);
    kel::OscMessage message(address);
    message.ReserveArguments(std::size_t(std::max(0, argc)));
    for (int i = 0; i < argc; ++i)
    {
        const t_atom& atom = argv[i];
        switch (atom.a_type)
        {
            case A_FLOAT:
            {
                const double value = double(atom.a_w.w_float);
                if (value == std::trunc(value) && value >= double(std::numeric_limits<std::int32_t>::min())
                    && value <= double(std::numeric_limits<std::int32_t>::max()))
                    message.AddInt32(std::int32_t(value));
                else
                    message.AddFloat32(float(value));
                break;
            }
            case A_SYMBOL:
                message.AddString(atom.a_w.w_symbol->s_name);
                break;
            default:
                throw kel::Exception("unexpected atom type in " + kel::Quoted(PdMessageText(selector, argc, argv)),
                                     KEL_HERE);
        }
    }
    return message;
}

void SendOscMessage(t_outlet* outlet, const kel::OscMessage& message)
{
    if (outlet == nullptr)
        return;
    kel::Vector<t_atom> atoms;
    atoms.Reserve(message.getNumArguments());
    const auto pushFloat = [&](double value)
    {
        t_atom atom{};
        SETFLOAT(&atom, t_float(value));
        atoms.PushBack(atom);
    };
    for (std::size_t i = 0; i < message.getNumArguments(); ++i)
    {
        const kel::OscArgument& argument = message[i];
        switch (argument.getTypeTag())
        {
            case 'i':
                pushFloat(argument.getInt32());
                break;
            case 'h':
                pushFloat(double(argument.getInt64()));
                break;
            case 'f':
            case 'd':
                pushFloat(argument.getAsDouble());
                break;
            case 's':
            {
                t_atom atom{};
                SETSYMBOL(&atom, gensym(argument.getString().c_str()));
                atoms.PushBack(atom);
                break;
            }
            case 'T':
            case 'F':
                pushFloat(argument.getTypeTag() == 'T' ? 1 : 0);
                break;
            case 'b':
                for (const std::uint8_t byte : argument.getBlob())
                    pushFloat(byte);
                break;
            default:
                break;
        }
    }
    outlet_anything(outlet, gensym(message.getAddressPattern().getText().c_str()), int(atoms.size()), atoms.data());
}

void SendOscBundle(t_outlet* outlet, const kel::OscBundle& bundle)
{
    if (outlet == nullptr)
        return;
    bundle.ForEachMessage([outlet](const kel::OscMessage& message) { SendOscMessage(outlet, message); });
}

} // namespace puredata
