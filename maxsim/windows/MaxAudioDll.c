/* MaxAudio.dll of the simulator: nothing but forwarders to the kernel,
   MaxAPI.dll, which implements the MaxAudio functions beside the rest (its
   module-definition file is written from the function list at configure
   time). One kernel, one state, two DLL names as in Max. */
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved)
{
    (void)instance;
    (void)reason;
    (void)reserved;
    return TRUE;
}
