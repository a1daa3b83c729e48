// The system report's facts on Linux (and other POSIX systems).
#if !defined(_WIN32)

#include <dlfcn.h>
#include <pwd.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <fstream>
#include <set>
#include <string>
#include <utility>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

#include "MaxWrapperSystemInfo.h"

namespace maxmsp::systeminfo {

namespace {

kel::String Trimmed(const kel::String& text)
{
    const auto first = text.find_first_not_of(" \t\n");
    if (first == kel::String::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t\n") - first + 1);
}

/** The first line of a small system file, or nothing. */
kel::String ReadFirstLine(const char* path)
{
    std::ifstream stream(path);
    std::string line;
    std::getline(stream, line);
    return Trimmed(line);
}

} // namespace

kel::String GetLibraryPath()
{
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&GetLibraryPath), &info) != 0 && info.dli_fname != nullptr)
        return info.dli_fname;
    return {};
}

kel::String GetMachineName()
{
    char name[HOST_NAME_MAX + 1] = {};
    if (gethostname(name, sizeof name - 1) != 0)
        return {};
    return name;
}

kel::String GetLoggedInUser()
{
    struct passwd entry{};
    struct passwd* found = nullptr;
    char buffer[4096];
    if (getpwuid_r(geteuid(), &entry, buffer, sizeof buffer, &found) == 0 && found != nullptr && found->pw_name != nullptr)
        return found->pw_name;
    return {};
}

kel::String GetOperatingSystemName()
{
    // The report names Windows versions only.
    return "Unknown OS";
}

kel::String GetCpuBrand()
{
#if defined(__x86_64__) || defined(__i386__)
    unsigned int eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (__get_cpuid(0x80000000u, &eax, &ebx, &ecx, &edx) == 0 || eax < 0x80000004u)
        return {};
    char brand[49] = {};
    for (unsigned int leaf = 0; leaf < 3; ++leaf)
    {
        unsigned int regs[4] = {};
        __get_cpuid(0x80000002u + leaf, &regs[0], &regs[1], &regs[2], &regs[3]);
        std::memcpy(brand + leaf * 16, regs, sizeof regs);
    }
    return Trimmed(brand);
#else
    return {};
#endif
}

std::uint32_t GetNumLogicalProcessors()
{
    const long count = sysconf(_SC_NPROCESSORS_ONLN);
    return count > 0 ? std::uint32_t(count) : 0;
}

std::uint32_t GetNumProcessorCores()
{
    // One core per distinct (package, core) pair of the online processors.
    std::set<std::pair<kel::String, kel::String>> cores;
    const std::uint32_t logical = GetNumLogicalProcessors();
    for (std::uint32_t cpu = 0; cpu < logical; ++cpu)
    {
        const std::string base = "/sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/topology/";
        const kel::String package = ReadFirstLine((base + "physical_package_id").c_str());
        const kel::String core = ReadFirstLine((base + "core_id").c_str());
        if (!core.empty())
            cores.emplace(package, core);
    }
    return cores.empty() ? logical : std::uint32_t(cores.size());
}

double GetCpuSpeedMHz()
{
    const kel::String maxKHz = ReadFirstLine("/sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq");
    if (!maxKHz.empty())
        return std::stod(maxKHz) / 1000.0;
    std::ifstream cpuinfo("/proc/cpuinfo");
    for (std::string line; std::getline(cpuinfo, line);)
        if (line.starts_with("cpu MHz"))
        {
            const auto colon = line.find(':');
            if (colon != std::string::npos)
                return std::stod(line.substr(colon + 1));
        }
    return 0.0;
}

std::uint64_t GetTotalPhysicalMemory()
{
    struct sysinfo info{};
    if (sysinfo(&info) != 0)
        return 0;
    return std::uint64_t(info.totalram) * std::uint64_t(info.mem_unit);
}

bool IsHostAbletonLive()
{
    char path[PATH_MAX] = {};
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    if (length <= 0)
        return false;
    const std::string_view executable(path, std::size_t(length));
    const auto slash = executable.find_last_of('/');
    return executable.substr(slash == std::string_view::npos ? 0 : slash + 1).starts_with("Ableton Live");
}

} // namespace maxmsp::systeminfo

#endif
