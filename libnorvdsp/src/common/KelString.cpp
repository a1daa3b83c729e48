#include "common/KelString.h"

#include <array>
#include <charconv>
#include <system_error>

namespace kel {

String Quoted(std::string_view text)
{
    if (text.size() >= 2)
    {
        const char first = text.front(), last = text.back();
        if ((first == '"' && last == '"') || (first == '\'' && last == '\''))
            return String(text);
    }
    String result;
    result.reserve(text.size() + 2);
    result += '"';
    result += text;
    result += '"';
    return result;
}

namespace {
template <typename T>
String ShortestForm(T value)
{
    std::array<char, 64> buffer{};
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    if (error != std::errc())
        return "0";
    return String(buffer.data(), end);
}
} // namespace

String ToString(double value) { return ShortestForm(value); }
String ToString(float value) { return ShortestForm(value); }
String ToString(std::int64_t value) { return std::to_string(value); }
String ToString(std::uint64_t value) { return std::to_string(value); }
String ToString(int value) { return std::to_string(value); }
String ToString(unsigned int value) { return std::to_string(value); }

bool EqualsIgnoreCase(std::string_view a, std::string_view b) noexcept
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
    {
        auto lower = [](char c) { return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c; };
        if (lower(a[i]) != lower(b[i]))
            return false;
    }
    return true;
}

String ToLowerAscii(std::string_view text)
{
    String result(text);
    for (auto& c : result)
        if (c >= 'A' && c <= 'Z')
            c = char(c - 'A' + 'a');
    return result;
}

} // namespace kel
