#include "PdWrapperPost.h"

#include <array>
#include <cstring>

#include "common/KelConsoleText.h"
#include "osc/KelHostNotifier.h"

namespace puredata {

namespace {

enum class Kind
{
    post,
    warning,
    error
};

void PostCapped(Kind kind, const t_object* x, std::string_view prefix, std::string_view text) noexcept
{
    std::array<char, consoleLineBytes + 1> line;
    constexpr std::size_t room = consoleLineBytes - kel::cutMark.size();
    // Whole characters only: the cut never splits a UTF-8 sequence.
    const auto fit = [](std::string_view piece, std::size_t bytes)
    {
        if (piece.size() <= bytes)
            return piece.size();
        while (bytes > 0 && (std::uint8_t(piece[bytes]) & 0xC0) == 0x80)
            --bytes;
        return bytes;
    };
    const bool whole = prefix.size() + text.size() <= consoleLineBytes;
    const std::size_t prefixBytes = whole ? prefix.size() : fit(prefix, room);
    const std::size_t textBytes = whole ? text.size() : fit(text, room - prefixBytes);
    std::size_t size = 0;
    const auto append = [&](std::string_view piece)
    {
        if (!piece.empty())
            std::memcpy(line.data() + size, piece.data(), piece.size());
        size += piece.size();
    };
    append(prefix.substr(0, prefixBytes));
    append(text.substr(0, textBytes));
    if (!whole)
        append(kel::cutMark);
    line[size] = '\0';
    switch (kind)
    {
        case Kind::post:
        case Kind::warning:
            // Pd 0.53 shows a line tied to an object with its level
            // ("verbose(2): ...") outside the GUI; a plain post reads as it is.
            post("%s", line.data());
            break;
        case Kind::error:
            pd_error(x, "%s", line.data());
            break;
    }
}

} // namespace

void ConsolePost(const t_object* x, std::string_view text, std::string_view prefix) noexcept
{
    PostCapped(Kind::post, x, prefix, text);
}

void ConsoleWarn(const t_object* x, std::string_view text, std::string_view prefix) noexcept
{
    PostCapped(Kind::warning, x, prefix, text);
}

void ConsoleError(const t_object* x, std::string_view text, std::string_view prefix) noexcept
{
    PostCapped(Kind::error, x, prefix, text);
}

void PostLines(const t_object* x, const kel::Vector<kel::String>& lines)
{
    for (const kel::String& line : lines)
        if (!line.empty())
            ConsolePost(x, line);
}

void PostCurrentException(const t_object* x) noexcept
{
    const kel::CaughtException caught = kel::DescribeCaughtException();
    if (caught.level == kel::HostNotifier::Level::warning)
        ConsoleWarn(x, caught.text, caught.prefix);
    else
        ConsoleError(x, caught.text, caught.prefix);
}

} // namespace puredata
