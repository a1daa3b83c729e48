#include "MaxWrapperReports.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

#include "MaxWrapperOsc.h"
#include "MaxWrapperPost.h"
#include "MaxWrapperTypes.h"
#include "common/KelThread.h"
#include "osc/KelOscInputStream.h"

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

ReportQueue::ReportQueue(t_object* ownerObject) : owner(ownerObject)
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

void ReportQueue::EnterPerform() noexcept
{
    performThread.store(kel::CurrentThreadId(), std::memory_order_relaxed);
}

void ReportQueue::LeavePerform() noexcept
{
    performThread.store(0, std::memory_order_relaxed);
}

bool ReportQueue::isInPerform() const noexcept
{
    return performThread.load(std::memory_order_relaxed) == kel::CurrentThreadId();
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

void ReportQueue::wake(bool inPerform) noexcept
{
    if (!inPerform)
        qelem_set(qelem);
    else if (!relay->set.exchange(true, std::memory_order_acq_rel))
        clock_delay(clock, 0);
}

void ReportQueue::push(const Header& header, const std::uint8_t* payload, std::size_t size, bool inPerform) noexcept
{
    std::unique_ptr<std::uint8_t[]> large;
    if (size > slotBytes)
    {
        if (inPerform)
            size = 0;  // dropped below: nothing may allocate here
        else
        {
            try
            {
                large.reset(new std::uint8_t[size]);
                std::memcpy(large.get(), payload, size);
            }
            catch (const std::bad_alloc&)
            {
                size = 0;
            }
        }
        if (size == 0)
        {
            dropped.fetch_add(1, std::memory_order_relaxed);
            return;
        }
    }
    const bool queued = queue.TryPush(
        [&](Report& report) noexcept
        {
            report.kind = header.kind;
            report.level = header.level;
            report.address = header.address;
            report.value = header.value;
            report.size = std::uint32_t(size);
            report.large = std::move(large);
            if (report.large == nullptr && size > 0)
                std::memcpy(report.bytes.data(), payload, size);
        });
    if (!queued)
    {
        dropped.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    wake(inPerform);
}

void ReportQueue::PushBang() noexcept
{
    push(Header{.kind = Kind::bang}, nullptr, 0, isInPerform());
}

void ReportQueue::PushValue(const kel::OscAddressPattern& address, double value) noexcept
{
    push(Header{.kind = Kind::value, .address = &address, .value = value}, nullptr, 0, isInPerform());
}

void ReportQueue::pushEncoded(const kel::OscBundle* bundle, const kel::OscMessage* message) noexcept
{
    const auto write = [&](kel::OscOutputStream& stream)
    {
        if (bundle != nullptr)
            stream.WriteBundle(*bundle);
        else
            stream.WriteMessage(*message);
    };
    if (isInPerform())
    {
        // Bounded: never allocates, and an oversized report is dropped.
        audioEncoder.Clear();
        write(audioEncoder);
        if (audioEncoder.hasOverflowed())
        {
            dropped.fetch_add(1, std::memory_order_relaxed);
            return;
        }
        push(Header{.kind = Kind::packet}, audioEncoder.getData().data(), audioEncoder.getSize(), true);
        return;
    }
    try
    {
        kel::OscOutputStream stream;
        write(stream);
        push(Header{.kind = Kind::packet}, stream.getData().data(), stream.getSize(), false);
    }
    catch (...)
    {
        dropped.fetch_add(1, std::memory_order_relaxed);
    }
}

void ReportQueue::PushBundle(const kel::OscBundle& bundle) noexcept
{
    pushEncoded(&bundle, nullptr);
}

void ReportQueue::PushMessage(const kel::OscMessage& message) noexcept
{
    pushEncoded(nullptr, &message);
}

void ReportQueue::PushPost(std::string_view text, kel::HostNotifier::Level level) noexcept
{
    // On the audio thread a long text is cut to the slot rather than lost,
    // at the start of a UTF-8 sequence, never inside one.
    const bool inPerform = isInPerform();
    std::size_t size = text.size();
    if (inPerform && size > slotBytes)
    {
        size = slotBytes;
        while (size > 0 && (std::uint8_t(text[size]) & 0xC0) == 0x80)
            --size;
    }
    push(Header{.kind = Kind::post, .level = level}, reinterpret_cast<const std::uint8_t*>(text.data()), size,
         inPerform);
}

void ReportQueue::send(const Report& report) const
{
    switch (report.kind)
    {
        case Kind::bang:
            if (t_outlet* outlet = GetDumpOutlet(owner))
                outlet_bang(outlet);
            break;
        case Kind::value:
        {
            kel::OscMessage message(*report.address);
            message.AddFloat32(float(report.value));
            SendOscMessage(GetDumpOutlet(owner), message);
            break;
        }
        case Kind::packet:
        {
            kel::OscInputStream stream(report.data(), report.size);
            SendOscBundle(GetDumpOutlet(owner), stream.ReadPacketAsBundle());
            break;
        }
        case Kind::post:
        {
            const kel::String text(reinterpret_cast<const char*>(report.data()), report.size);
            const kel::String line = kel::HostNotifier::ComposeConsoleText(text, report.level);
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
    // One report at a time, taken out of its slot before it is sent: what
    // the patch below the outlet does (even delivering, re-entrantly) never
    // meets a slot in use.
    Report report;
    while (queue.TryPop([&report](Report& slot) noexcept { report = std::move(slot); }))
    {
        try
        {
            send(report);
        }
        catch (const std::exception& failure)
        {
            ConsoleError(owner, failure.what());
        }
        catch (...)
        {
            object_error(owner, "unknown exception");
        }
    }
    if (const std::uint64_t lost = dropped.exchange(0, std::memory_order_relaxed); lost > 0)
        object_warn(owner, "%llu reports were dropped (too many at once, or too large to queue while audio runs)",
                    static_cast<unsigned long long>(lost));
}

} // namespace maxmsp
