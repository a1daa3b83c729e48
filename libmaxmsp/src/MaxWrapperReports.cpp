#include "MaxWrapperReports.h"

#include <exception>

#include "MaxWrapperOsc.h"
#include "MaxWrapperTypes.h"

namespace maxmsp {

namespace {
thread_local bool inPerformRoutine = false;
}

bool IsAudioThread() noexcept
{
    return inPerformRoutine;
}

AudioThreadScope::AudioThreadScope() noexcept : previous(inPerformRoutine)
{
    inPerformRoutine = true;
}

AudioThreadScope::~AudioThreadScope()
{
    inPerformRoutine = previous;
}

DumpOutletReports::DumpOutletReports(t_object* ownerObject) : owner(ownerObject), ring(capacity)
{
    clock = clock_new(this, AsMethod(&DumpOutletReports::clockTick));
}

DumpOutletReports::~DumpOutletReports()
{
    if (clock != nullptr)
    {
        clock_unset(clock);
        freeobject(clock);
    }
}

void DumpOutletReports::clockTick(DumpOutletReports* self)
{
    self->Deliver();
}

void DumpOutletReports::push(const Item& item) noexcept
{
    const std::uint64_t write = writeCount.load(std::memory_order_relaxed);
    if (write - readCount.load(std::memory_order_acquire) >= capacity)
    {
        dropped.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    ring[std::size_t(write % capacity)] = item;
    writeCount.store(write + 1, std::memory_order_release);
    // Allowed in the perform routine: the clock fires on the main thread.
    if (clock != nullptr)
        clock_delay(clock, 0);
}

void DumpOutletReports::send(const Item& item) const
{
    t_outlet* outlet = GetDumpOutlet(owner);
    if (outlet == nullptr)
        return;
    switch (item.kind)
    {
        case Kind::bang:
            outlet_bang(outlet);
            break;
        case Kind::value:
        {
            kel::OscMessage message(*item.address);
            message.AddFloat32(float(item.value));
            SendOscMessage(outlet, message);
            break;
        }
        case Kind::bundle:
            SendOscBundle(outlet, *item.bundle);
            break;
    }
}

void DumpOutletReports::dispatch(const Item& item) noexcept
{
    if (IsAudioThread())
    {
        push(item);
        return;
    }
    try
    {
        send(item);
    }
    catch (const std::exception& failure)
    {
        object_error(owner, "%s", failure.what());
    }
}

void DumpOutletReports::SendBang() noexcept
{
    dispatch(Item{Kind::bang, nullptr, 0.0, nullptr});
}

void DumpOutletReports::SendValue(const kel::OscAddressPattern& address, double value) noexcept
{
    dispatch(Item{Kind::value, &address, value, nullptr});
}

void DumpOutletReports::SendBundle(const kel::OscBundle& bundle) noexcept
{
    dispatch(Item{Kind::bundle, nullptr, 0.0, &bundle});
}

void DumpOutletReports::Deliver() noexcept
{
    const std::lock_guard lock(readerLock);
    std::uint64_t read = readCount.load(std::memory_order_relaxed);
    const std::uint64_t written = writeCount.load(std::memory_order_acquire);
    for (; read != written; ++read)
    {
        try
        {
            send(ring[std::size_t(read % capacity)]);
        }
        catch (const std::exception& failure)
        {
            object_error(owner, "%s", failure.what());
        }
        readCount.store(read + 1, std::memory_order_release);
    }
    const std::uint64_t lost = dropped.exchange(0, std::memory_order_relaxed);
    if (lost > 0)
        object_warn(owner, "%llu reports from the audio thread were dropped (too many at once)",
                    static_cast<unsigned long long>(lost));
}

} // namespace maxmsp
