// The way from an object's reports (kel::ReportQueue) to Max: a qelem
// delivers them on the main thread, outlet by outlet, with nothing locked:
// a patch wired from the dump outlet back into the object (end of playback
// -> "/seek 0") re-enters it on the main thread, where it may deliver what
// its own message added. The perform routine does not set the qelem (Max
// does not say it may); it sets a clock, the documented way out of
// perform, and the clock sets the qelem wherever it fires (main thread,
// scheduler thread, audio thread).
//
// Threads: construction, Deliver and destruction on the main thread (the
// destructor after every producer has stopped); pushes on any thread, as
// kel::ReportQueue says.
#pragma once

#include <atomic>

#include "MaxWrapperApi.h"
#include "osc/KelReportQueue.h"

namespace maxmsp {

class ReportQueue : public kel::ReportQueue, private kel::ReportQueue::Sink
{
public:
    /** Main thread: makes the clock and the qelem. */
    explicit ReportQueue(t_object* owner);
    /** Main thread, when nothing pushes any more: frees the clock and the
        qelem; what is still queued is dropped. */
    ~ReportQueue();

    /** Main thread: sends what is queued, in order. Re-entrant. */
    void Deliver() noexcept;

    struct ClockRelay;

private:
    static void wakeUp(void* self, bool inPerform) noexcept;
    void SendBang() override;
    void SendMessage(const kel::OscMessage& message) override;
    void SendBundle(const kel::OscBundle& bundle) override;
    void Post(std::string_view line, kel::HostNotifier::Level level) noexcept override;
    static void clockTick(ClockRelay* relay);
    static void qelemTick(ReportQueue* self);

    t_object* owner;
    ClockRelay* relay = nullptr;  // pooled, never freed
    t_clock* clock = nullptr;
    void* qelem = nullptr;
};

} // namespace maxmsp
