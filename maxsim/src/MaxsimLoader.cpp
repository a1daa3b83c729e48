// The platform loader: dlopen on POSIX systems, LoadLibrary on Windows. The
// library stays loaded for the life of the process, as in Max.
#include "MaxsimLoader.h"

#include "MaxsimGuiEvents.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace maxsim
{
namespace
{

using Entry = void (*)(void*);

#if defined(_WIN32)
void* openLibrary(const std::string& path, std::string& error)
{
    HMODULE h = LoadLibraryA(path.c_str());
    if (!h)
        error = "cannot load " + path + " (error " + std::to_string(GetLastError()) + ")";
    return h;
}
void* findSymbol(void* handle, const char* name)
{
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle), name));
}
#else
void* openLibrary(const std::string& path, std::string& error)
{
    void* h = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!h)
        error = dlerror();
    return h;
}
void* findSymbol(void* handle, const char* name) { return dlsym(handle, name); }
#endif

}  // namespace

std::string LoadExternal(const std::string& path)
{
    std::string error;
    void* handle = openLibrary(path, error);
    if (!handle)
        return error;
    void* entry = findSymbol(handle, "ext_main");
    if (!entry)
        entry = findSymbol(handle, "main");
    if (!entry)
        return path + " exports neither ext_main nor main";
    reinterpret_cast<Entry>(entry)(nullptr);
#if !defined(_WIN32)
    // An external with windows: its events are served by the main loop (on
    // Windows the thread's message queue carries them).
    if (void* dispatcher = findSymbol(handle, "kel_dispatch_gui_events"))
        SetGuiEventDispatcher(reinterpret_cast<GuiEventDispatcher>(dispatcher));
#endif
    return {};
}

}  // namespace maxsim
