// object_post and friends, and the one place lines reach stdout.
#include "MaxsimConsole.h"

#include <cstdarg>
#include <cstdio>
#include <vector>

#include "MaxsimApi.h"
#include "MaxsimObjects.h"
#include "MaxsimThreads.h"

namespace maxsim
{
namespace
{

std::string format(const char* fmt, va_list args)
{
    va_list copy;
    va_copy(copy, args);
    int n = std::vsnprintf(nullptr, 0, fmt, copy);
    va_end(copy);
    if (n < 0)
        return fmt;
    std::vector<char> buffer(static_cast<std::size_t>(n) + 1);
    std::vsnprintf(buffer.data(), buffer.size(), fmt, args);
    return std::string(buffer.data(), static_cast<std::size_t>(n));
}

}  // namespace

std::mutex& OutputMutex()
{
    static std::mutex* mutex = new std::mutex;
    return *mutex;
}

void EmitLine(const std::string& line)
{
    std::lock_guard<std::mutex> lock(OutputMutex());
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

void Emit(const char* kind, const void* object, const std::string& text)
{
    EmitLine(std::string(kind) + " " + BoxLabel(object) + " " + text);
}

namespace
{

std::size_t CountCharacters(const std::string& text)
{
    std::size_t count = 0;
    for (const char c : text)
        count += (static_cast<unsigned char>(c) & 0xC0) != 0x80 ? 1 : 0;
    return count;
}

void EmitPost(const char* kind, t_object* x, const std::string& text)
{
    // Shown whole, as the object posted it; what Max would cut is a fault.
    Emit(kind, x, text);
    const std::size_t characters = CountCharacters(text);
    if (characters > kMaxPostCharacters)
        Violation(Subject(x), "posted " + std::to_string(characters) + " characters in one line, more than Max shows (" +
                                  std::to_string(kMaxPostCharacters) + ")");
}

}  // namespace

}  // namespace maxsim

#define MAXSIM_POSTER(name, kind)                                                                                   \
    void name(t_object* x, const char* fmt, ...)                                                                   \
    {                                                                                                               \
        va_list args;                                                                                               \
        va_start(args, fmt);                                                                                        \
        std::string text = fmt ? maxsim::format(fmt, args) : std::string();                                        \
        va_end(args);                                                                                               \
        maxsim::EmitPost(kind, x, text);                                                                            \
    }

extern "C" {
MAXSIM_POSTER(object_post, "post")
MAXSIM_POSTER(object_error, "error")
MAXSIM_POSTER(object_warn, "warn")
MAXSIM_POSTER(object_bug, "bug")
}
