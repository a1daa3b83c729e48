// The external's own DLL entry point. Without one, the linker satisfies the C
// runtime's reference to DllMain from the SDK's MaxAudio import library, which
// exports one, and the external would import DllMain from MaxAudio.dll.
#if defined(_WIN32)
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID) { return TRUE; }
#endif
