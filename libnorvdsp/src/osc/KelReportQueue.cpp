#include "osc/KelReportQueue.h"

#include <cstring>
#include <new>

#include "common/KelThread.h"
#include "osc/KelOscInputStream.h"

namespace kel {

namespace {

void Send(const ReportQueue::Report& report, ReportQueue::Sink& sink)
{
    switch (report.kind)
    {
        case ReportQueue::Kind::bang:
            sink.SendBang();
            break;
        case ReportQueue::Kind::value:
        {
            OscMessage message(*report.address);
            message.AddFloat32(float(report.value));
            sink.SendMessage(message);
            break;
        }
        case ReportQueue::Kind::packet:
        {
            OscInputStream stream(report.data(), report.size);
            sink.SendBundle(stream.ReadPacketAsBundle());
            break;
        }
        case ReportQueue::Kind::post:
            sink.Post(HostNotifier::ComposeConsoleText(
                          String(reinterpret_cast<const char*>(report.data()), report.size), report.level),
                      report.level);
            break;
    }
}

} // namespace

void ReportQueue::Deliver(Sink& sink) noexcept
{
    Report report;
    while (queue.TryPop([&report](Report& slot) noexcept { report = std::move(slot); }))
    {
        try
        {
            Send(report, sink);
        }
        catch (...)
        {
            const CaughtException caught = DescribeCaughtException();
            try
            {
                sink.Post(String(caught.prefix) + String(caught.text), caught.level);
            }
            catch (...)
            {
                sink.Post(caught.text, caught.level);
            }
        }
    }
    if (const std::uint64_t lost = dropped.exchange(0, std::memory_order_relaxed); lost > 0)
    {
        try
        {
            sink.Post(ToString(lost) + " reports were dropped (too many at once, or too large to queue while audio runs)",
                      HostNotifier::Level::warning);
        }
        catch (...)
        {
            sink.Post("reports were dropped", HostNotifier::Level::warning);
        }
    }
}

ReportQueue::ReportQueue(Wake wakeFunction, void* context) : wake(wakeFunction), wakeContext(context) {}

void ReportQueue::EnterPerform() noexcept
{
    performThread.store(CurrentThreadId(), std::memory_order_relaxed);
}

void ReportQueue::LeavePerform() noexcept
{
    performThread.store(0, std::memory_order_relaxed);
}

bool ReportQueue::isInPerform() const noexcept
{
    return performThread.load(std::memory_order_relaxed) == CurrentThreadId();
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
    wake(wakeContext, inPerform);
}

void ReportQueue::PushBang() noexcept
{
    push(Header{.kind = Kind::bang}, nullptr, 0, isInPerform());
}

void ReportQueue::PushValue(const OscAddressPattern& address, double value) noexcept
{
    push(Header{.kind = Kind::value, .address = &address, .value = value}, nullptr, 0, isInPerform());
}

void ReportQueue::pushEncoded(const OscBundle* bundle, const OscMessage* message) noexcept
{
    const auto write = [&](OscOutputStream& stream)
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
        OscOutputStream stream;
        write(stream);
        push(Header{.kind = Kind::packet}, stream.getData().data(), stream.getSize(), false);
    }
    catch (...)
    {
        dropped.fetch_add(1, std::memory_order_relaxed);
    }
}

void ReportQueue::PushBundle(const OscBundle& bundle) noexcept
{
    pushEncoded(&bundle, nullptr);
}

void ReportQueue::PushMessage(const OscMessage& message) noexcept
{
    pushEncoded(nullptr, &message);
}

void ReportQueue::PushPost(std::string_view text, HostNotifier::Level level) noexcept
{
    // In the audio callback a long text is cut to the slot rather than
    // lost, at the start of a UTF-8 sequence, never inside one.
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

} // namespace kel
