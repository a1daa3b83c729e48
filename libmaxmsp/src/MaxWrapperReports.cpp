#include "MaxWrapperReports.h"

#include <mutex>
#include <thread>
#include <vector>

#include "MaxWrapperOsc.h"
#include "MaxWrapperPost.h"
#include "MaxWrapperTypes.h"

namespace maxmsp {

/** What the clock's callback touches. A tick may already be running on the
    scheduler or audio thread when the box is freed, so this outlives the
    queue: relays are kept for the life of the process and reused. */
struct ReportQueue::ClockRelay
{
    std::atomic<void*> qelem{nullptr};  // null once its queue is gone
    std::atomic<bool> set{false};       // the clock is set and has not fired yet
    std::atomic<int> ticks{0};          // callbacks in progress
};

namespace {

struct RelayPool
{
    std::mutex mutex;
    std::vector<ReportQueue::ClockRelay*> free;
};

RelayPool& relayPool()
{
    static RelayPool* pool = new RelayPool;  // never destroyed: ticks may come late
    return *pool;
}

} // namespace

ReportQueue::ReportQueue(t_object* ownerObject) : kel::ReportQueue(&ReportQueue::wakeUp, this), owner(ownerObject)
{
    {
        RelayPool& pool = relayPool();
        const std::lock_guard lock(pool.mutex);
        if (pool.free.empty())
            relay = new ClockRelay;
        else
        {
            relay = pool.free.back();
            pool.free.pop_back();
        }
    }
    qelem = qelem_new(this, AsMethod(&ReportQueue::qelemTick));
    relay->set.store(false);
    relay->qelem.store(qelem);
    clock = clock_new(relay, AsMethod(&ReportQueue::clockTick));
}

ReportQueue::~ReportQueue()
{
    if (clock != nullptr)
    {
        clock_unset(clock);
        freeobject(clock);
    }
    // A tick that read the qelem before it is cleared is counted: wait for
    // it. One that reads it afterwards finds none.
    relay->qelem.store(nullptr);
    while (relay->ticks.load() != 0)
        std::this_thread::yield();
    if (qelem != nullptr)
        qelem_free(qelem);
    RelayPool& pool = relayPool();
    const std::lock_guard lock(pool.mutex);
    pool.free.push_back(relay);
}

void ReportQueue::clockTick(ClockRelay* relay)
{
    relay->ticks.fetch_add(1);
    // Cleared before the qelem is set: a report pushed meanwhile sets the
    // clock again, so none waits for a wake-up that already went.
    relay->set.exchange(false, std::memory_order_acq_rel);
    if (void* q = relay->qelem.load())
        qelem_set(q);
    relay->ticks.fetch_sub(1);
}

void ReportQueue::qelemTick(ReportQueue* self)
{
    self->Deliver();
}

void ReportQueue::wakeUp(void* context, bool inPerform) noexcept
{
    auto* self = static_cast<ReportQueue*>(context);
    if (!inPerform)
        qelem_set(self->qelem);
    else if (!self->relay->set.exchange(true, std::memory_order_acq_rel))
        clock_delay(self->clock, 0);
}

void ReportQueue::SendBang()
{
    if (t_outlet* outlet = GetDumpOutlet(owner))
        outlet_bang(outlet);
}

void ReportQueue::SendMessage(const kel::OscMessage& message)
{
    SendOscMessage(GetDumpOutlet(owner), message);
}

void ReportQueue::SendBundle(const kel::OscBundle& bundle)
{
    SendOscBundle(GetDumpOutlet(owner), bundle);
}

void ReportQueue::Post(std::string_view line, kel::HostNotifier::Level level) noexcept
{
    switch (level)
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
}

void ReportQueue::Deliver() noexcept
{
    kel::ReportQueue::Deliver(static_cast<kel::ReportQueue::Sink&>(*this));
}

} // namespace maxmsp
