#include "osc/KelOscMessage.h"

#include <charconv>
#include <cmath>
#include <limits>

#include "common/KelException.h"

namespace kel {

OscMessage::OscMessage(OscAddressPattern a) noexcept : address(std::move(a)) {}

OscMessage::OscMessage(std::string_view text) : address(text) {}

OscMessage::OscMessage(const OscMessage& other) = default;

OscMessage& OscMessage::operator=(const OscMessage& other)
{
    if (this != &other)
    {
        OscMessage copy(other);
        *this = std::move(copy);
    }
    return *this;
}

void OscMessage::append(OscArgument&& argument)
{
    arguments.EmplaceBack(std::move(argument));
}

OscMessage& OscMessage::AddInt32(std::int32_t v)
{
    append(OscArgument::fromInt32(v));
    return *this;
}
OscMessage& OscMessage::AddInt64(std::int64_t v)
{
    append(OscArgument::fromInt64(v));
    return *this;
}
OscMessage& OscMessage::AddFloat32(float v)
{
    append(OscArgument::fromFloat32(v));
    return *this;
}
OscMessage& OscMessage::AddFloat64(double v)
{
    append(OscArgument::fromFloat64(v));
    return *this;
}
OscMessage& OscMessage::AddString(std::string_view text)
{
    append(OscArgument::fromString(text));
    return *this;
}
OscMessage& OscMessage::AddBlob(const MemoryBlock& bytes)
{
    append(OscArgument::fromBlob(bytes));
    return *this;
}
OscMessage& OscMessage::AddBlob(MemoryBlock&& bytes)
{
    append(OscArgument::fromBlob(std::move(bytes)));
    return *this;
}
OscMessage& OscMessage::AddBool(bool v)
{
    append(OscArgument::fromBool(v));
    return *this;
}
OscMessage& OscMessage::AddArgument(const OscArgument& argument)
{
    append(OscArgument(argument));
    return *this;
}
OscMessage& OscMessage::AddArgument(OscArgument&& argument)
{
    append(std::move(argument));
    return *this;
}
OscMessage& OscMessage::AddInts(const Vector<std::int32_t>& values)
{
    arguments.Reserve(arguments.size() + values.size());
    for (const std::int32_t v : values)
        append(OscArgument::fromInt32(v));
    return *this;
}

String OscMessage::getTypeTags() const
{
    String tags;
    tags.reserve(arguments.size());
    for (const auto& argument : arguments)
        tags += argument.getTypeTag();
    return tags;
}

bool OscMessage::allArgumentsNumeric() const noexcept
{
    for (const auto& argument : arguments)
        if (!argument.isNumeric())
            return false;
    return true;
}

Vector<std::int32_t> OscMessage::getAllArgumentsAsInts() const
{
    Vector<std::int32_t> values;
    if (!allArgumentsNumeric())
        return values;
    values.Reserve(arguments.size());
    for (const auto& argument : arguments)
        values.PushBack(argument.getAsInt32());
    return values;
}

String OscMessage::toString() const
{
    String line(address.getText().view());
    for (const auto& argument : arguments)
    {
        line += ' ';
        line += argument.toString();
    }
    return line;
}

bool OscMessage::operator==(const OscMessage& other) const noexcept
{
    if (!(address == other.address) || arguments.size() != other.arguments.size())
        return false;
    for (std::size_t i = 0; i < arguments.size(); ++i)
        if (!(arguments[i] == other.arguments[i]))
            return false;
    return true;
}

// ---------------------------------------------------------------------------
// Text form

namespace {

bool IsWhiteSpace(char c) noexcept
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

bool IsHexDigit(char c) noexcept
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// Splits at white space; a part between double quotes stays one token and
// keeps its quotes.
Vector<std::string_view> SplitTokens(std::string_view text)
{
    Vector<std::string_view> tokens;
    bool inQuotes = false;
    std::size_t start = std::string_view::npos;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        const char c = text[i];
        if (c == '"')
            inQuotes = !inQuotes;
        if (IsWhiteSpace(c) && !inQuotes)
        {
            if (start != std::string_view::npos)
                tokens.PushBack(text.substr(start, i - start));
            start = std::string_view::npos;
        }
        else if (start == std::string_view::npos)
        {
            start = i;
        }
    }
    if (start != std::string_view::npos)
        tokens.PushBack(text.substr(start));
    return tokens;
}

bool IsHexToken(std::string_view token) noexcept
{
    if (token.size() < 2 || token[0] != '0' || token[1] != 'x')
        return false;
    for (std::size_t i = 2; i < token.size(); ++i)
        if (!IsHexDigit(token[i]))
            return false;
    return true;
}

// The value of a token that passed IsOscNumberToken. A decimal token is read
// as far as it reads (so "5-" is 5); what does not read at all is 0.
double NumberValue(std::string_view token) noexcept
{
    if (IsHexToken(token))
    {
        double value = 0.0;
        for (std::size_t i = 2; i < token.size(); ++i)
        {
            const char c = token[i];
            const int digit = c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
            value = value * 16.0 + digit;
        }
        return value;
    }
    if (!token.empty() && token.front() == '+')
        token.remove_prefix(1);
    double value = 0.0;
    const auto [end, error] = std::from_chars(token.data(), token.data() + token.size(), value);
    if (error == std::errc::result_out_of_range)
    {
        // Too large reads as infinity, too small as zero, as strtod does.
        const std::string_view read(token.data(), std::size_t(end - token.data()));
        const std::size_t e = read.find_first_of("eE");
        const bool tiny = e != std::string_view::npos && e + 1 < read.size() && read[e + 1] == '-';
        const bool negative = read.front() == '-';
        const double magnitude = tiny ? 0.0 : std::numeric_limits<double>::infinity();
        return negative ? -magnitude : magnitude;
    }
    return error == std::errc() ? value : 0.0;
}

// The 32-bit integer of an integral number token. Plain integers are read
// exactly (beyond 2^53 too); a value beyond 32 bits keeps its low 32 bits.
std::int32_t IntegerValue(std::string_view token, double value) noexcept
{
    std::string_view digits = token;
    if (!digits.empty() && digits.front() == '+')
        digits.remove_prefix(1);
    std::int64_t exact = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), exact);
    if (error != std::errc() || end != digits.data() + digits.size())
        exact = std::int64_t(value); // the caller checked that it is in range
    return std::int32_t(std::uint32_t(std::uint64_t(exact)));
}

bool IsIntegral(double value) noexcept
{
    constexpr double two63 = 9223372036854775808.0;
    return std::isfinite(value) && value >= -two63 && value < two63 && std::trunc(value) == value;
}

} // namespace

bool IsOscNumberToken(std::string_view token) noexcept
{
    if (token.empty())
        return false;
    if (IsHexToken(token) || token == "0x")
        return true;

    // Sign and point counts restart after the exponent marker.
    int signs = 0, points = 0;
    bool digitSeen = false, exponentSeen = false, digitAfterExponent = false;
    for (const char c : token)
    {
        if (c >= '0' && c <= '9')
        {
            digitSeen = true;
            digitAfterExponent = digitAfterExponent || exponentSeen;
        }
        else if (c == '+' || c == '-')
        {
            if (++signs > 1)
                return false;
        }
        else if (c == '.')
        {
            if (++points > 1)
                return false;
        }
        else if (c == 'e' || c == 'E')
        {
            if (exponentSeen || !digitSeen)
                return false;
            exponentSeen = true;
            signs = points = 0;
        }
        else
        {
            return false;
        }
    }
    return exponentSeen ? digitAfterExponent : digitSeen;
}

OscMessage OscMessage::CreateFromText(std::string_view line)
{
    // A pair of single quotes stands for one quoted string; a lone
    // apostrophe stays part of its word.
    String text(line);
    std::size_t numSingleQuotes = 0;
    for (const char c : text)
        numSingleQuotes += c == '\'' ? 1 : 0;
    if (numSingleQuotes == 2)
        for (char& c : text)
            if (c == '\'')
                c = '"';

    const Vector<std::string_view> tokens = SplitTokens(text);
    bool anyVisible = false;
    for (const auto token : tokens)
        for (const char c : token)
            anyVisible = anyVisible || !IsWhiteSpace(c);
    if (tokens.empty() || !anyVisible)
        throw Exception("invalid OSC message " + String(line), KEL_HERE);

    OscMessage message{OscAddressPattern(tokens[0])};
    message.arguments.Reserve(tokens.size() - 1);
    for (std::size_t t = 1; t < tokens.size(); ++t)
    {
        const std::string_view token = tokens[t];
        const bool number = IsOscNumberToken(token);
        const double value = number ? NumberValue(token) : 0.0;
        if (number && IsIntegral(value))
            message.AddInt32(IntegerValue(token, value));
        else if (EqualsIgnoreCase(token, "true") || EqualsIgnoreCase(token, "false"))
            message.AddBool(EqualsIgnoreCase(token, "true"));
        else if (number)
            message.AddFloat32(float(value));
        else if (token.size() >= 2 && ((token.front() == '"' && token.back() == '"') ||
                                       (token.front() == '\'' && token.back() == '\'')))
            message.AddString(token.substr(1, token.size() - 2));
        else
            message.AddString(token);
    }
    return message;
}

} // namespace kel
