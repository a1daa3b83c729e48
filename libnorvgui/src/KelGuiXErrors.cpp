#include "KelGuiXErrors.h"

#if defined(__linux__)
#include <dlfcn.h>
#endif

namespace kel::gui {

#if defined(__linux__)

namespace {

// Xlib's types, opaque here: nothing of X is linked, JUCE loads libX11 itself.
using ErrorHandler = int (*)(void* display, void* event);
using SetErrorHandler = ErrorHandler (*)(ErrorHandler);

SetErrorHandler setter = nullptr;
ErrorHandler previous = nullptr;
bool installed = false;

int IgnoreError(void* /*display*/, void* /*event*/)
{
    return 0;
}

} // namespace

void InstallXErrorHandler()
{
    if (installed)
        return;
    if (setter == nullptr)
        if (void* x11 = dlopen("libX11.so.6", RTLD_LAZY | RTLD_LOCAL))
            setter = reinterpret_cast<SetErrorHandler>(dlsym(x11, "XSetErrorHandler"));
    if (setter == nullptr)
        return;
    previous = setter(&IgnoreError);
    installed = true;
}

void RestoreXErrorHandler()
{
    if (!installed)
        return;
    setter(previous);
    previous = nullptr;
    installed = false;
}

#else

void InstallXErrorHandler()
{
}

void RestoreXErrorHandler()
{
}

#endif

} // namespace kel::gui
