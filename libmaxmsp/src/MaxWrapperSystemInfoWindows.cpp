// The system report's facts on Windows.
#if defined(_WIN32)

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <cstring>
#include <string_view>

#if defined(_MSC_VER)
#include <intrin.h>
#else
#include <cpuid.h>
#endif

#include "MaxWrapperSystemInfo.h"
#include "containers/KelVector.h"

namespace maxmsp::systeminfo {

namespace {

kel::String Trimmed(const kel::String& text)
{
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == kel::String::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

void Cpuid(unsigned int leaf, unsigned int regs[4])
{
#if defined(_MSC_VER)
    int values[4] = {};
    __cpuid(values, int(leaf));
    for (int i = 0; i < 4; ++i)
        regs[i] = unsigned(values[i]);
#else
    __cpuid(leaf, regs[0], regs[1], regs[2], regs[3]);
#endif
}

/** The version numbers as the kernel gives them (GetVersionEx answers what
    the application's manifest allows, not the truth). */
bool GetKernelVersion(DWORD& major, DWORD& minor)
{
    using RtlGetVersionFunction = LONG(WINAPI*)(OSVERSIONINFOW*);
    const HMODULE ntdll = GetModuleHandleA("ntdll.dll");
    if (ntdll == nullptr)
        return false;
    const auto rtlGetVersion =
        reinterpret_cast<RtlGetVersionFunction>(reinterpret_cast<void*>(GetProcAddress(ntdll, "RtlGetVersion")));
    if (rtlGetVersion == nullptr)
        return false;
    OSVERSIONINFOW info{};
    info.dwOSVersionInfoSize = sizeof info;
    if (rtlGetVersion(&info) != 0)
        return false;
    major = info.dwMajorVersion;
    minor = info.dwMinorVersion;
    return true;
}

} // namespace

kel::String GetLibraryPath()
{
    HMODULE module = nullptr;
    if (!GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            reinterpret_cast<LPCSTR>(&GetLibraryPath), &module))
        return {};
    char path[MAX_PATH * 4] = {};
    const DWORD length = GetModuleFileNameA(module, path, DWORD(sizeof path));
    return kel::String(path, length);
}

kel::String GetMachineName()
{
    char name[256] = {};
    DWORD size = DWORD(sizeof name);
    if (!GetComputerNameExA(ComputerNameDnsHostname, name, &size))
        return {};
    return kel::String(name, size);
}

kel::String GetLoggedInUser()
{
    char name[257] = {};
    DWORD size = DWORD(sizeof name);
    if (!GetUserNameA(name, &size))
        return {};
    return name;
}

kel::String GetOperatingSystemName()
{
    DWORD major = 0, minor = 0;
    if (!GetKernelVersion(major, minor))
        return "Unknown OS";
    return WindowsVersionName(major, minor);
}

kel::String GetCpuBrand()
{
    unsigned int regs[4] = {};
    Cpuid(0x80000000u, regs);
    if (regs[0] < 0x80000004u)
        return {};
    char brand[49] = {};
    for (unsigned int leaf = 0; leaf < 3; ++leaf)
    {
        Cpuid(0x80000002u + leaf, regs);
        std::memcpy(brand + leaf * 16, regs, 16);
    }
    return Trimmed(brand);
}

std::uint32_t GetNumLogicalProcessors()
{
    SYSTEM_INFO info{};
    GetSystemInfo(&info);
    return std::uint32_t(info.dwNumberOfProcessors);
}

std::uint32_t GetNumProcessorCores()
{
    DWORD length = 0;
    GetLogicalProcessorInformation(nullptr, &length);
    if (length == 0)
        return GetNumLogicalProcessors();
    kel::Vector<SYSTEM_LOGICAL_PROCESSOR_INFORMATION> entries(length / sizeof(SYSTEM_LOGICAL_PROCESSOR_INFORMATION));
    if (!GetLogicalProcessorInformation(entries.data(), &length))
        return GetNumLogicalProcessors();
    std::uint32_t cores = 0;
    for (const auto& entry : entries)
        if (entry.Relationship == RelationProcessorCore)
            ++cores;
    return cores;
}

double GetCpuSpeedMHz()
{
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, "HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0", 0, KEY_READ, &key)
        != ERROR_SUCCESS)
        return 0.0;
    DWORD megahertz = 0;
    DWORD size = DWORD(sizeof megahertz);
    const LONG status = RegQueryValueExA(key, "~MHz", nullptr, nullptr, reinterpret_cast<LPBYTE>(&megahertz), &size);
    RegCloseKey(key);
    return status == ERROR_SUCCESS ? double(megahertz) : 0.0;
}

std::uint64_t GetTotalPhysicalMemory()
{
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof status;
    if (!GlobalMemoryStatusEx(&status))
        return 0;
    return std::uint64_t(status.ullTotalPhys);
}

bool IsHostAbletonLive()
{
    char path[MAX_PATH * 4] = {};
    const DWORD length = GetModuleFileNameA(nullptr, path, DWORD(sizeof path));
    const std::string_view executable(path, length);
    const auto separator = executable.find_last_of("\\/");
    return executable.substr(separator == std::string_view::npos ? 0 : separator + 1).starts_with("Ableton Live");
}

} // namespace maxmsp::systeminfo

#endif
