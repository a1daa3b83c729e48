// kel::String is the text type of every interface: a plain std::string holding
// UTF-8. The helpers here are the few text operations the engine shares.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kel {

using String = std::string;

/** Encloses text in double quotes unless it already begins and ends with a
    double quote, or begins and ends with a single quote. Any thread. */
String Quoted(std::string_view text);

/** Shortest decimal form that reads back to the same double (may hold an
    exponent, "inf" or "nan"). Any thread; allocates. */
String ToString(double value);
/** Shortest decimal form that reads back to the same float. */
String ToString(float value);
String ToString(std::int64_t value);
String ToString(std::uint64_t value);
String ToString(int value);
String ToString(unsigned int value);

/** True when both texts are equal ignoring ASCII case. */
bool EqualsIgnoreCase(std::string_view a, std::string_view b) noexcept;

/** ASCII lower-case copy. */
String ToLowerAscii(std::string_view text);

} // namespace kel
