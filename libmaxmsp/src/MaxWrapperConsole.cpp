#include "MaxWrapperConsole.h"

#include <cstring>

namespace maxmsp {

MaxConsoleBase::MaxConsoleBase(t_object* ownerObject) : owner(ownerObject), reports(ownerObject) {}

void MaxConsoleBase::Report(const kel::String& text, kel::HostNotifier::Level level)
{
    // Queued even on the main thread: the notifier calls with its lock held,
    // and the console lines keep their order with the dump outlet's.
    reports.PushPost(text, level);
}

std::optional<kel::File> MaxConsoleBase::LocateFile(const kel::String& name)
{
    if (name.empty() || name.size() >= MAX_PATH_CHARS)
        return std::nullopt;
    // locatefile_extended rewrites the name it is given.
    char fileName[MAX_PATH_CHARS] = {};
    std::memcpy(fileName, name.data(), name.size());
    short pathId = 0;
    t_fourcc type = 0;
    if (locatefile_extended(fileName, &pathId, &type, nullptr, 0) != 0)
        return std::nullopt;
    char fullPath[MAX_PATH_CHARS] = {};
    if (path_topathname(pathId, fileName, fullPath) != 0)
        return std::nullopt;
    return kel::File(fullPath);
}

kel::HostNotifier::FileChoice MaxConsoleBase::ChooseFile(kel::HostNotifier::FilePurpose purpose,
                                                         const kel::String& /*title*/)
{
    using Outcome = kel::HostNotifier::FileChoice::Outcome;
    char fileName[MAX_PATH_CHARS] = {};
    short pathId = 0;
    t_fourcc type = 0;
    char fullPath[MAX_PATH_CHARS] = {};
    if (purpose == kel::HostNotifier::FilePurpose::open)
    {
        if (open_dialog(fileName, &pathId, &type, nullptr, 0) != 0)
            return {Outcome::cancelled, {}};
        if (path_topathname(pathId, fileName, fullPath) != 0)
            return {Outcome::cancelled, {}};
        return {Outcome::chosen, kel::File(fullPath)};
    }
    if (saveasdialog_extended(fileName, &pathId, &type, nullptr, 0) != 0)
        return {Outcome::cancelled, {}};
    // The file to save need not exist yet: its folder's path, then its name.
    if (path_topathname(pathId, "", fullPath) != 0)
        return {Outcome::cancelled, {}};
    kel::String folder(fullPath);
    if (!folder.empty() && folder.back() != '/')
        folder += '/';
    return {Outcome::chosen, kel::File(folder + fileName)};
}

void MaxConsoleBase::OnOscReport(const kel::OscInterface& /*source*/, const kel::OscBundle& report)
{
    reports.PushBundle(report);
}

} // namespace maxmsp
