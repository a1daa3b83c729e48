// The way from an object's reports (kel::ReportQueue) to Pd: out of the
// message outlet and into Pd's window, always on Pd's thread, which runs
// both messages and DSP.
//
// A report pushed on Pd's thread (in the perform routine or a message) sets
// the clock at once. The buffering thread never calls into Pd, not even
// sys_lock: it only raises a flag, which the perform routine turns into the
// clock after its block. With audio off nothing performs, so after each
// message the clock also looks for the flag every 20 ms for a while
// (everything the buffering thread reports follows a message).
//
// Threads: construction, Deliver, Watch and destruction on Pd's thread (the
// destructor after every producer has stopped); pushes on any thread, as
// kel::ReportQueue says; AfterPerform by the perform routine.
#pragma once

#include <m_pd.h>

#include <atomic>
#include <cstdint>

#include "osc/KelReportQueue.h"

namespace puredata {

class ReportQueue : public kel::ReportQueue, private kel::ReportQueue::Sink
{
public:
    /** Pd's thread: makes the clock. outlet: where reports leave. */
    ReportQueue(t_object* owner, t_outlet* outlet);
    /** Pd's thread, when nothing pushes any more: frees the clock; what is
        still queued is dropped. */
    ~ReportQueue();
    ReportQueue(const ReportQueue&) = delete;
    ReportQueue& operator=(const ReportQueue&) = delete;

    /** Pd's thread: sends what is queued, in order. Re-entrant. */
    void Deliver() noexcept;
    /** The perform routine, after its block: wakes the clock for what
        another thread queued. Never blocks. */
    void AfterPerform() noexcept
    {
        if (pending.load(std::memory_order_relaxed) && pending.exchange(false, std::memory_order_acquire))
            clock_delay(clock, 0);
    }
    /** Pd's thread, after a message: with audio off, keeps looking for
        reports from other threads for a while. */
    void Watch() noexcept;

private:
    static void wakeUp(void* self, bool inPerform) noexcept;
    static void tick(ReportQueue* self);
    void SendBang() override;
    void SendMessage(const kel::OscMessage& message) override;
    void SendBundle(const kel::OscBundle& bundle) override;
    void Post(std::string_view line, kel::HostNotifier::Level level) noexcept override;

    t_object* owner;
    t_outlet* outlet;
    t_clock* clock;
    const std::uint64_t pdThread;  // Pd's scheduler thread: the one that built the object
    std::atomic<bool> pending{false};
    double lastActivity = 0.0;  // wall-clock seconds (Pd's) of the last message or report
};

} // namespace puredata
