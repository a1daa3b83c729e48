// An object's voice towards Pd: the console listener of its processor's
// OSC interface (lines through the report queue into Pd's window), Pd's
// file search for the processor (the patch's folder, then Pd's search
// path), and the observer that sends the interface's reports out of the
// message outlet. Pd has no file dialog an object may open: the default
// (none) stands.
//
// Threads: reports may come from any thread; they wait in the report queue
// for Pd's thread. The file search runs on Pd's thread.
#pragma once

#include <m_pd.h>

#include "PdWrapperReports.h"
#include "osc/KelHostNotifier.h"
#include "osc/KelOscInterface.h"

namespace puredata {

class PdConsole : public kel::HostNotifier::Listener, public kel::OscObserver
{
public:
    /** canvas: the patch the object was created in (its folder and its
        search path find files). */
    PdConsole(t_object* owner, t_outlet* reportOutlet, const t_canvas* canvas);

    void Report(const kel::String& text, kel::HostNotifier::Level level) override;
    /** A relative name where Pd finds files: the patch's declared paths,
        its folder, then Pd's search path. An absolute name is left to the
        processor. */
    std::optional<kel::File> LocateFile(const kel::String& name) override;

    void OnOscReport(const kel::OscInterface& source, const kel::OscBundle& report) override;

    ReportQueue& getReports() noexcept { return reports; }

private:
    const t_canvas* canvas;
    ReportQueue reports;
};

} // namespace puredata
