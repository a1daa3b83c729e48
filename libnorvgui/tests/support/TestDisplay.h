// A display for the tests that open windows: the DISPLAY the test was given,
// else (Linux) an Xvfb started for this process and stopped when the tests
// end, else none, with the reason.
//
// Main thread; call before anything asks kel::gui::HasDisplay (it checks
// once per process).
#pragma once

#include "KelGuiRuntime.h"

namespace kel::gui::test {

const DisplayCheck& RequireDisplay();

/** Stops the Xvfb RequireDisplay started, if any (after the last test: the
    X connection must be closed by then). */
void StopOwnDisplay();

} // namespace kel::gui::test

/** Skips the current test when no display can be had. */
#define KEL_SKIP_WITHOUT_DISPLAY()                                                     \
    do                                                                                 \
    {                                                                                  \
        const auto& kelDisplay = ::kel::gui::test::RequireDisplay();                   \
        if (!kelDisplay.available)                                                     \
            GTEST_SKIP() << "no X server could be had: " << kelDisplay.reason;         \
    } while (false)
