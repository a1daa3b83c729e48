#include "common/KelVerbosity.h"

#include <array>

#include "common/KelException.h"

namespace kel {

namespace {
constexpr std::array<std::string_view, 4> names{"silent", "minimal", "normal", "detailed"};
}

Verbosity GetVerbosity(const String& name)
{
    for (std::size_t i = 0; i < names.size(); ++i)
        if (EqualsIgnoreCase(name, names[i]))
            return static_cast<Verbosity>(i);
    throw Exception("invalid verbosity type : " + name, KEL_HERE);
}

String ToString(Verbosity level)
{
    const auto index = static_cast<std::uint32_t>(level);
    return String(names[index < names.size() ? index : names.size() - 1]);
}

} // namespace kel
