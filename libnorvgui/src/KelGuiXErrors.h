// Linux: X protocol errors while JUCE runs are ignored, as JUCE's own
// applications do; Xlib's default handler would end the host's process
// (a bare X server without a window manager lacks atoms JUCE sets).
//
// Main thread (the runtime's); elsewhere than Linux these do nothing.
#pragma once

namespace kel::gui {

void InstallXErrorHandler();
/** Puts back the handler InstallXErrorHandler found. */
void RestoreXErrorHandler();

} // namespace kel::gui
