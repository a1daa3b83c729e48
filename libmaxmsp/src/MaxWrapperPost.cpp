#include "MaxWrapperPost.h"

#include <array>
#include <cstring>
#include <exception>
#include <new>

#include "common/KelConsoleText.h"
#include "common/KelException.h"
#include "osc/KelHostNotifier.h"

namespace maxmsp {

namespace {

using Poster = void (*)(t_object*, const char*, ...);

void PostCapped(Poster poster, t_object* x, std::string_view prefix, std::string_view text) noexcept
{
    // The most bytes a cut line takes: four per character, then the mark.
    std::array<char, kel::consoleLineCharacters * 4 + kel::cutMark.size() + 1> line;
    const std::size_t prefixBytes = kel::BytesOfCharacters(prefix, kel::consoleLineCharacters);
    const std::size_t room = kel::consoleLineCharacters - kel::CountCharacters(prefix.substr(0, prefixBytes));
    const std::size_t textBytes = kel::BytesOfCharacters(text, room);
    std::size_t size = 0;
    const auto append = [&](std::string_view piece)
    {
        // An empty view may hold no pointer at all, which memcpy may not take.
        if (!piece.empty())
            std::memcpy(line.data() + size, piece.data(), piece.size());
        size += piece.size();
    };
    append(prefix.substr(0, prefixBytes));
    append(text.substr(0, textBytes));
    if (prefixBytes < prefix.size() || textBytes < text.size())
        append(kel::cutMark);
    line[size] = '\0';
    poster(x, "%s", line.data());
}

} // namespace

void ConsolePost(t_object* x, std::string_view text, std::string_view prefix) noexcept
{
    PostCapped(&object_post, x, prefix, text);
}

void ConsoleWarn(t_object* x, std::string_view text, std::string_view prefix) noexcept
{
    PostCapped(&object_warn, x, prefix, text);
}

void ConsoleError(t_object* x, std::string_view text, std::string_view prefix) noexcept
{
    PostCapped(&object_error, x, prefix, text);
}

void ConsoleBug(t_object* x, std::string_view text, std::string_view prefix) noexcept
{
    PostCapped(&object_bug, x, prefix, text);
}

void PostLines(t_object* x, const kel::Vector<kel::String>& lines)
{
    for (const kel::String& line : lines)
        if (!line.empty())
            ConsolePost(x, line);
}

void PostCurrentException(t_object* x) noexcept
{
    const kel::CaughtException caught = kel::DescribeCaughtException();
    if (caught.level == kel::HostNotifier::Level::warning)
        ConsoleWarn(x, caught.text, caught.prefix);
    else
        ConsoleError(x, caught.text, caught.prefix);
}

void PostCurrentExceptionAsBug(t_object* x) noexcept
{
    try
    {
        throw;
    }
    catch (const std::bad_alloc& failure)
    {
        ConsoleBug(x, failure.what(), "out of memory : ");
    }
    catch (const std::exception& failure)
    {
        ConsoleBug(x, failure.what(), "exception : ");
    }
    catch (...)
    {
        object_bug(x, "unknown exception");
    }
}

} // namespace maxmsp
