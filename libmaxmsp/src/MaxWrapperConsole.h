// An object's voice towards Max: the console listener of its processor's
// OSC interface (errors through object_error, warnings through object_warn,
// information through object_post, each line composed by
// kel::HostNotifier::ComposeConsoleText), the host's file search and file
// dialogs for the processor, and the observer that sends the interface's
// reports out of the dump outlet.
//
// Threads: reports may come from any thread; they wait in the report queue
// for the main thread. The file search and the dialogs run on the main
// thread.
#pragma once

#include "MaxWrapperApi.h"
#include "MaxWrapperReports.h"
#include "osc/KelHostNotifier.h"
#include "osc/KelOscInterface.h"

namespace maxmsp {

class MaxConsoleBase : public kel::HostNotifier::Listener, public kel::OscObserver
{
public:
    explicit MaxConsoleBase(t_object* owner);

    void Report(const kel::String& text, kel::HostNotifier::Level level) override;
    /** locatefile_extended in Max's search path, then path_topathname. */
    std::optional<kel::File> LocateFile(const kel::String& name) override;
    /** open_dialog or saveasdialog_extended, then path_topathname. */
    kel::HostNotifier::FileChoice ChooseFile(kel::HostNotifier::FilePurpose purpose, const kel::String& title) override;

    void OnOscReport(const kel::OscInterface& source, const kel::OscBundle& report) override;

    /** The way to Max for reports from any thread. */
    ReportQueue& getReports() noexcept { return reports; }
    t_object* getOwner() const noexcept { return owner; }

private:
    t_object* owner;
    ReportQueue reports;
};

/** The console of an object O whose processor is P. */
template <typename O, typename P>
class MaxMspConsole : public MaxConsoleBase
{
public:
    explicit MaxMspConsole(O* object) : MaxConsoleBase(reinterpret_cast<t_object*>(object)), x(object) {}

    O* getObject() const noexcept { return x; }

private:
    O* x;
};

} // namespace maxmsp
