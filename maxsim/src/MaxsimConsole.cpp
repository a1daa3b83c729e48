// object_post and friends, and the one place lines reach stdout.
#include "MaxsimConsole.h"

#include <cstdarg>
#include <cstdio>
#include <vector>

#include "MaxsimApi.h"
#include "MaxsimObjects.h"

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

}  // namespace maxsim

#define MAXSIM_POSTER(name, kind)                                                                                   \
    void name(t_object* x, const char* fmt, ...)                                                                   \
    {                                                                                                               \
        va_list args;                                                                                               \
        va_start(args, fmt);                                                                                        \
        std::string text = fmt ? maxsim::format(fmt, args) : std::string();                                        \
        va_end(args);                                                                                               \
        maxsim::Emit(kind, x, text);                                                                                \
    }

extern "C" {
MAXSIM_POSTER(object_post, "post")
MAXSIM_POSTER(object_error, "error")
MAXSIM_POSTER(object_warn, "warn")
MAXSIM_POSTER(object_bug, "bug")
}
