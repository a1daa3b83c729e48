#include "PdWrapperReports.h"

#include <exception>

#include "PdWrapperOsc.h"
#include "PdWrapperPost.h"
#include "common/KelThread.h"

namespace puredata {

namespace {

// How often, and for how long after the last activity, the clock looks for
// reports while audio is off.
constexpr double pollMilliseconds = 20.0;
constexpr double watchMilliseconds = 2000.0;

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
    lastActivity = clock_getlogicaltime();
    if (canvas_dspstate == 0)
        clock_delay(clock, pollMilliseconds);
}

void ReportQueue::tick(ReportQueue* self)
{
    const bool hadReports = self->pending.exchange(false, std::memory_order_acquire);
    self->Deliver();
    if (hadReports)
        self->lastActivity = clock_getlogicaltime();
    if (canvas_dspstate == 0 && clock_gettimesince(self->lastActivity) < watchMilliseconds)
        clock_delay(self->clock, pollMilliseconds);
}

void ReportQueue::send(const Report& report) const
{
    switch (report.kind)
    {
        case Kind::bang:
            outlet_bang(outlet);
            break;
        case Kind::value:
            SendOscMessage(outlet, report.valueMessage());
            break;
        case Kind::packet:
            SendOscBundle(outlet, report.packet());
            break;
        case Kind::post:
        {
            const kel::String line = report.consoleLine();
            switch (report.level)
            {
                case kel::HostNotifier::Level::error:
                    ConsoleError(owner, line);
                    break;
                case kel::HostNotifier::Level::warning:
                    ConsoleWarn(owner, line);
                    break;
                case kel::HostNotifier::Level::information:
                    ConsolePost(owner, line);
                    break;
            }
            break;
        }
    }
}

void ReportQueue::Deliver() noexcept
{
    const std::uint64_t lost = kel::ReportQueue::Deliver(
        [this](const Report& report) noexcept
        {
            try
            {
                send(report);
            }
            catch (...)
            {
                PostCurrentException(owner);
            }
        });
    if (lost > 0)
        ConsoleWarn(owner, DroppedText(lost));
}

} // namespace puredata
