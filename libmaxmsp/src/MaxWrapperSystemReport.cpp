#include "MaxWrapperSystemReport.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>

#include "MaxWrapperPost.h"
#include "MaxWrapperSystemInfo.h"

namespace maxmsp {

namespace {

/** value with at most one decimal, without a trailing ".0". */
kel::String OneDecimal(double value)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.1f", value);
    kel::String result(text);
    if (result.ends_with(".0"))
        result.resize(result.size() - 2);
    return result;
}

} // namespace

kel::String MaxVersionText(short version)
{
    const unsigned bits = unsigned(version) & 0xfffu;
    return std::to_string((bits >> 8) & 0xfu) + "." + std::to_string((bits >> 4) & 0xfu) + "."
           + std::to_string(bits & 0xfu);
}

kel::String FormatHertz(double hertz)
{
    static constexpr const char* units[] = {"Hz", "kHz", "MHz", "GHz", "THz"};
    std::size_t unit = 0;
    while (std::abs(hertz) >= 1000.0 && unit + 1 < std::size(units))
    {
        hertz /= 1000.0;
        ++unit;
    }
    return OneDecimal(hertz) + " " + units[unit];
}

kel::String FormatBytes(std::uint64_t bytes)
{
    if (bytes < 1024)
        return std::to_string(bytes) + " bytes";
    static constexpr const char* units[] = {"KB", "MB", "GB", "TB", "PB", "EB"};
    double value = double(bytes) / 1024.0;
    std::size_t unit = 0;
    while (value >= 1024.0 && unit + 1 < std::size(units))
    {
        value /= 1024.0;
        ++unit;
    }
    return OneDecimal(value) + " " + units[unit];
}

kel::String FormatDate(std::int64_t millisecondsSinceEpoch)
{
    const std::time_t seconds = std::time_t(millisecondsSinceEpoch / 1000);
    std::tm local{};
#if defined(_WIN32)
    localtime_s(&local, &seconds);
#else
    localtime_r(&seconds, &local);
#endif
    char text[64];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    char milliseconds[8];
    std::snprintf(milliseconds, sizeof milliseconds, ".%03d", int(millisecondsSinceEpoch % 1000));
    return kel::String(text, length) + milliseconds;
}

kel::Vector<kel::String> BuildSystemReport(const kel::String& versionText, bool details)
{
    kel::Vector<kel::String> lines;
    lines.PushBack(versionText + (systeminfo::IsHostAbletonLive() ? " (running in Ableton Live)" : ""));
    if (!details)
        return lines;
    const std::int64_t now = std::chrono::duration_cast<std::chrono::milliseconds>(
                                 std::chrono::system_clock::now().time_since_epoch())
                                 .count();
    const kel::String user = systeminfo::GetLoggedInUser();
    lines.PushBack("Max: " + MaxVersionText(maxversion()));
    lines.PushBack("Path: " + systeminfo::GetLibraryPath());
    lines.PushBack("Date: " + FormatDate(now));
    lines.PushBack("Hostname: " + systeminfo::GetMachineName());
    lines.PushBack("User: " + user);
    lines.PushBack("Username: " + user);
    lines.PushBack("OS: " + systeminfo::GetOperatingSystemName());
    lines.PushBack("CPU Type: " + systeminfo::GetCpuBrand());
    lines.PushBack("Number of CPU: " + std::to_string(systeminfo::GetNumLogicalProcessors()));
    lines.PushBack("Number of physical CPU: " + std::to_string(systeminfo::GetNumProcessorCores()));
    lines.PushBack("CPU speed: " + FormatHertz(systeminfo::GetCpuSpeedMHz() * 1.0e6));
    lines.PushBack("RAM: " + FormatBytes(systeminfo::GetTotalPhysicalMemory()));
    lines.PushBack("Endianness: little endian");
    return lines;
}

void PostSystemReport(t_object* x, const kel::String& versionText, bool details) noexcept
{
    try
    {
        PostLines(x, BuildSystemReport(versionText, details));
    }
    catch (...)
    {
        PostCurrentException(x);
    }
}

namespace systeminfo {

kel::String WindowsVersionName(std::uint32_t major, std::uint32_t minor)
{
    switch (major * 100 + minor)
    {
        case 500:
            return "Windows 2000";
        case 501:
        case 502:
            return "Windows XP";
        case 600:
            return "Windows Vista";
        case 601:
            return "Windows 7";
        case 602:
            return "Windows 8";
        case 603:
            return "Windows 8.1";
        case 1000:
            return "Windows 10";
        default:
            return "Unknown OS";
    }
}

} // namespace systeminfo

} // namespace maxmsp
