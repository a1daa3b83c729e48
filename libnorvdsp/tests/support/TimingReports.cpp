#include "support/TimingReports.h"

namespace kel::test {

void LockedConsole::Report(const String& text, HostNotifier::Level level)
{
    const std::lock_guard lock(mutex);
    reports.emplace_back(level, text);
}

std::vector<std::string> LockedConsole::texts(HostNotifier::Level level) const
{
    const std::lock_guard lock(mutex);
    std::vector<std::string> result;
    for (const auto& [at, text] : reports)
        if (at == level)
            result.push_back(text);
    return result;
}

std::vector<std::string> LockedConsole::all() const
{
    const std::lock_guard lock(mutex);
    std::vector<std::string> result;
    for (const auto& report : reports)
        result.push_back(report.second);
    return result;
}

void UnderrunLog::OnOscMessage(const OscBundle& report)
{
    report.ForEachMessage(
        [this](const OscMessage& message)
        {
            if (message.getAddressPattern().getText() != "/underrun")
                return;
            UnderrunReport entry;
            entry.typeTags = message.getTypeTags();
            if (message.getNumArguments() == 2)
            {
                entry.frames = std::int64_t(message.getArgumentAsDouble(0));
                entry.milliseconds = message.getArgumentAsDouble(1);
            }
            const std::lock_guard lock(mutex);
            recorded.push_back(std::move(entry));
        });
}

std::vector<UnderrunReport> UnderrunLog::reports() const
{
    const std::lock_guard lock(mutex);
    return recorded;
}

} // namespace kel::test
