// CheckDisplay (KelGuiRuntime.h): asked of the system directly, so that a
// machine without a display never reaches JUCE's windowing at all.
#include "KelGuiRuntime.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#include <cstdlib>
#endif

namespace kel::gui {

namespace {

DisplayCheck Probe()
{
    DisplayCheck check;
#if defined(_WIN32)
    // Wine without an X server cannot create top-level windows.
    HWND probe = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 1, 1, nullptr, nullptr,
                                 GetModuleHandleW(nullptr), nullptr);
    if (probe == nullptr)
    {
        const DWORD error = GetLastError();
        check.reason = "no window can be created";
        if (error != 0)
            check.reason += " (error " + ToString(std::uint64_t(error)) + ")";
        return check;
    }
    DestroyWindow(probe);
    check.available = true;
#elif defined(__linux__)
    const char* name = std::getenv("DISPLAY");
    if (name == nullptr || *name == '\0')
    {
        check.reason = "DISPLAY is not set";
        return check;
    }
    // The library JUCE itself loads; left loaded for it.
    void* x11 = dlopen("libX11.so.6", RTLD_LAZY | RTLD_LOCAL);
    if (x11 == nullptr)
    {
        check.reason = "libX11.so.6 cannot be loaded";
        return check;
    }
    using OpenDisplay = void* (*)(const char*);
    using CloseDisplay = int (*)(void*);
    auto open = reinterpret_cast<OpenDisplay>(dlsym(x11, "XOpenDisplay"));
    auto close = reinterpret_cast<CloseDisplay>(dlsym(x11, "XCloseDisplay"));
    void* display = open != nullptr && close != nullptr ? open(name) : nullptr;
    if (display == nullptr)
    {
        check.reason = "the X display " + Quoted(name) + " cannot be opened";
        return check;
    }
    close(display);
    check.available = true;
#else
    check.reason = "this system has no windows of ours";
#endif
    return check;
}

} // namespace

const DisplayCheck& CheckDisplay()
{
    static const DisplayCheck check = Probe();
    return check;
}

} // namespace kel::gui
