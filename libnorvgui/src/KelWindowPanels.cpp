#include "KelWindowPanels.h"

#include "KelHelpPanel.h"
#include "KelPlaceholderPanel.h"

// The status and snapshot panels are built beside this library; until they
// are there, a window shows a placeholder.
#if __has_include("KelStatusPanel.h")
#include "KelStatusPanel.h"
#define KEL_GUI_HAS_STATUS_PANEL 1
#endif
#if __has_include("KelSnapshotPanel.h")
#include "KelSnapshotPanel.h"
#define KEL_GUI_HAS_SNAPSHOT_PANEL 1
#endif

namespace kel::gui {

std::unique_ptr<Panel> MakeHelpPanel(WindowHost& host)
{
    return std::make_unique<HelpPanel>(host);
}

std::unique_ptr<Panel> MakeStatusPanel(WindowHost& host)
{
#if defined(KEL_GUI_HAS_STATUS_PANEL)
    return std::make_unique<StatusPanel>(host);
#else
    return std::make_unique<PlaceholderPanel>("status of " + juce::String(host.getInterface().getName()));
#endif
}

std::unique_ptr<Panel> MakeSnapshotPanel(WindowHost& host)
{
#if defined(KEL_GUI_HAS_SNAPSHOT_PANEL)
    return std::make_unique<SnapshotPanel>(host);
#else
    return std::make_unique<PlaceholderPanel>("snapshots of " + juce::String(host.getInterface().getName()));
#endif
}

} // namespace kel::gui
