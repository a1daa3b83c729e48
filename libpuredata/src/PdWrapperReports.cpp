#include "PdWrapperReports.h"

#include "PdWrapperOsc.h"
#include "PdWrapperPost.h"
#include "common/KelThread.h"

namespace puredata {

namespace {

// How often, and for how long after the last activity, the clock looks for
// reports while audio is off. The watch is timed on the wall clock: the disk
// takes real time, while Pd's logical time may race ahead (-batch).
constexpr double pollMilliseconds = 20.0;
constexpr double watchSeconds = 2.0;

} // namespace

ReportQueue::ReportQueue(t_object* ownerObject, t_outlet* reportOutlet)
    : kel::ReportQueue(&ReportQueue::wakeUp, this),
      owner(ownerObject),
      outlet(reportOutlet),
      clock(clock_new(this, reinterpret_cast<t_method>(&ReportQueue::tick))),
      pdThread(kel::CurrentThreadId())
{
}

ReportQueue::~ReportQueue()
{
    clock_free(clock);
}

void ReportQueue::wakeUp(void* context, bool /*inPerform*/) noexcept
{
    auto* self = static_cast<ReportQueue*>(context);
    if (kel::CurrentThreadId() == self->pdThread)
        clock_delay(self->clock, 0);
    else
        self->pending.store(true, std::memory_order_release);
}

void ReportQueue::Watch() noexcept
{
    lastActivity = sys_getrealtime();
    if (canvas_dspstate == 0)
        clock_delay(clock, pollMilliseconds);
}

void ReportQueue::tick(ReportQueue* self)
{
    const bool hadReports = self->pending.exchange(false, std::memory_order_acquire);
    self->Deliver();
    if (hadReports)
        self->lastActivity = sys_getrealtime();
    if (canvas_dspstate == 0 && sys_getrealtime() - self->lastActivity < watchSeconds)
        clock_delay(self->clock, pollMilliseconds);
}

void ReportQueue::SendBang()
{
    outlet_bang(outlet);
}

void ReportQueue::SendMessage(const kel::OscMessage& message)
{
    SendOscMessage(outlet, message);
}

void ReportQueue::SendBundle(const kel::OscBundle& bundle)
{
    SendOscBundle(outlet, bundle);
}

void ReportQueue::Post(std::string_view line, kel::HostNotifier::Level level) noexcept
{
    if (level == kel::HostNotifier::Level::error)
        ConsoleError(owner, line);
    else
        ConsolePost(owner, line);
}

void ReportQueue::Deliver() noexcept
{
    kel::ReportQueue::Deliver(static_cast<kel::ReportQueue::Sink&>(*this));
}

} // namespace puredata
