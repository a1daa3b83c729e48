// How much a processor tells the console: the levels a user picks with
// "/verbose". Errors are always posted; the level decides about warnings and
// information (see kel::HostNotifier).
#pragma once

#include <cstdint>
#include <string_view>

#include "common/KelString.h"

namespace kel {

enum class Verbosity : std::uint32_t
{
    silent = 0,    // errors only
    minimal = 1,   // errors and warnings
    normal = 2,    // errors, warnings and information (the default)
    detailed = 3   // everything, detailed information included
};

/** The level names in order, as the documentation lists them. */
inline constexpr std::string_view verbosityChoices = "silent, minimal, normal, detailed";

/** The level named by name (ASCII case ignored); throws "invalid verbosity
    type : " followed by the name for any other text. Any thread. */
Verbosity GetVerbosity(const String& name);

/** The level's name ("silent" ... "detailed"); levels above detailed read
    as "detailed". */
String ToString(Verbosity level);

/** A stored level number (0 to 3; larger numbers count as detailed). */
constexpr Verbosity VerbosityFromNumber(std::uint32_t number) noexcept
{
    return number > 3 ? Verbosity::detailed : static_cast<Verbosity>(number);
}

} // namespace kel
