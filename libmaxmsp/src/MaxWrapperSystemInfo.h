// What the system report asks of the platform, one function per line of the
// report. MaxWrapperSystemInfoLinux.cpp and MaxWrapperSystemInfoWindows.cpp
// each implement all of them; the rest of the binding is portable.
//
// Main thread; each may block briefly on the file system.
#pragma once

#include <cstdint>

#include "common/KelString.h"

namespace maxmsp::systeminfo {

/** The file of the loaded library (the external itself). */
kel::String GetLibraryPath();
/** The computer's name. */
kel::String GetMachineName();
/** The logged-in user's name. */
kel::String GetLoggedInUser();
/** One of the names of WindowsVersionName, or "Unknown OS". */
kel::String GetOperatingSystemName();
/** The processor's brand text from the processor identification
    instruction (extended leaves 0x80000002 to 0x80000004, read only when the
    highest extended leaf is at least 0x80000004), blanks trimmed; empty when
    the processor does not tell. */
kel::String GetCpuBrand();
std::uint32_t GetNumLogicalProcessors();
std::uint32_t GetNumProcessorCores();
/** The processor's clock in MHz (0 when unknown). */
double GetCpuSpeedMHz();
/** Total physical memory in bytes. */
std::uint64_t GetTotalPhysicalMemory();
/** True when the hosting process is Ableton Live (Max for Live). */
bool IsHostAbletonLive();

/** "Windows 2000" (5.0), "Windows XP" (5.1, 5.2), "Windows Vista" (6.0),
    "Windows 7" (6.1), "Windows 8" (6.2), "Windows 8.1" (6.3), "Windows 10"
    (10.0, which Windows 11 reports too), otherwise "Unknown OS". */
kel::String WindowsVersionName(std::uint32_t major, std::uint32_t minor);

} // namespace maxmsp::systeminfo
