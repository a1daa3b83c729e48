// The panels of an object's windows, made for the window that shows them.
//
// Main thread only.
#pragma once

#include <memory>

#include "KelGuiPanel.h"
#include "KelWindowHost.h"

namespace kel::gui {

/** host must outlive the panels. */
std::unique_ptr<Panel> MakeHelpPanel(WindowHost& host);
std::unique_ptr<Panel> MakeStatusPanel(WindowHost& host);
std::unique_ptr<Panel> MakeSnapshotPanel(WindowHost& host);

} // namespace kel::gui
