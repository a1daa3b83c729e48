#include "PdWrapperConsole.h"

#include <g_canvas.h>  // canvas_path_iterate

#include <filesystem>
#include <system_error>

namespace puredata {

PdConsole::PdConsole(t_object* owner, t_outlet* reportOutlet, const t_canvas* patch)
    : canvas(patch), reports(owner, reportOutlet)
{
}

void PdConsole::Report(const kel::String& text, kel::HostNotifier::Level level)
{
    // Queued even on Pd's thread: the notifier calls with its lock held,
    // and the lines keep their order with the message outlet's.
    reports.PushPost(text, level);
}

std::optional<kel::File> PdConsole::LocateFile(const kel::String& name)
{
    // Where Pd itself would look (the patch's declared paths, its folder,
    // then Pd's search path), but by looking, not by opening as
    // canvas_open does: opening a FIFO there would hang Pd.
    if (name.empty() || sys_isabsolutepath(name.c_str()))
        return std::nullopt;
    struct Search
    {
        const kel::String& name;
        std::optional<kel::File> found;
    } search{name, std::nullopt};
    const auto tryFolder = [](const char* folder, void* data) -> int
    {
        auto& s = *static_cast<Search*>(data);
        const std::filesystem::path candidate = std::filesystem::path(folder) / s.name.c_str();
        std::error_code error;
        if (!std::filesystem::exists(candidate, error))
            return 1;
        s.found = kel::File(candidate.generic_string());
        return 0;
    };
    canvas_path_iterate(canvas, tryFolder, &search);
    return search.found;
}

void PdConsole::OnOscReport(const kel::OscInterface& /*source*/, const kel::OscBundle& report)
{
    reports.PushBundle(report);
}

} // namespace puredata
