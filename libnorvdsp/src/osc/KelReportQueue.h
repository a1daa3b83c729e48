// kel::ReportQueue: the one way from an object's reports to its host's
// thread: the end of playback, progress, buffer fill, markers, metadata,
// latency, and console posts made on threads that may not call the host.
//
// Reports come from every thread: the audio callback, the processor's own
// threads (which never call into the host), the host's message threads.
// They wait in one lock-free queue; the host binding delivers them on the
// thread where it may call its outlets, and says how it is woken (a
// callback given at construction, called on the pushing thread).
//
// A queued report is self-contained: its message is copied in, encoded as
// an OSC packet, never a pointer into data that a new file can replace.
// Inside the audio callback encoding never allocates; a report too large
// for its slot is dropped there, and the next delivery says how many were
// lost.
//
// Threads: construction and destruction on the host's thread (destruction
// after every producer has stopped); the Push operations on any thread,
// never blocking; EnterPerform and LeavePerform by the audio callback only;
// Deliver on the host's thread.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string_view>

#include "containers/KelLockFreeQueue.h"
#include "osc/KelHostNotifier.h"
#include "osc/KelOscBundle.h"
#include "osc/KelOscOutputStream.h"

namespace kel {

class ReportQueue
{
public:
    static constexpr std::size_t numSlots = 256;
    static constexpr std::size_t slotBytes = 480;

    enum class Kind : std::uint8_t
    {
        bang,
        value,
        packet,
        post
    };

    /** One report as the host's thread receives it. */
    struct Report
    {
        Kind kind = Kind::bang;
        HostNotifier::Level level = HostNotifier::Level::information;
        const OscAddressPattern* address = nullptr;  // value: a static constant
        double value = 0.0;
        std::uint32_t size = 0;                 // bytes of the packet or text
        std::unique_ptr<std::uint8_t[]> large;  // when they exceed the slot (never in the audio callback)
        std::array<std::uint8_t, slotBytes> bytes{};

        const std::uint8_t* data() const noexcept { return large != nullptr ? large.get() : bytes.data(); }
    };

    /** Called on the pushing thread after a report was queued; inPerform:
        it was pushed inside the audio callback. Must not block. */
    using Wake = void (*)(void* context, bool inPerform) noexcept;

    ReportQueue(Wake wake, void* wakeContext);
    ReportQueue(const ReportQueue&) = delete;
    ReportQueue& operator=(const ReportQueue&) = delete;

    /** "bang" out of the dump outlet. */
    void PushBang() noexcept;
    /** The address (a static constant: only its pointer is queued) with one
        float argument. */
    void PushValue(const OscAddressPattern& address, double value) noexcept;
    /** Each message of the bundle, in order. */
    void PushBundle(const OscBundle& bundle) noexcept;
    void PushMessage(const OscMessage& message) noexcept;
    /** A console line (posted as the console listener would). */
    void PushPost(std::string_view text, HostNotifier::Level level) noexcept;

    /** The audio callback brackets its work with these, so that a report
        made inside it is encoded without allocating and woken the way the
        host allows from there. */
    void EnterPerform() noexcept;
    void LeavePerform() noexcept;

    /** Where a host sends reports. Its calls may throw: a failure is
        posted through Post as an error, and delivery goes on. */
    class Sink
    {
    public:
        virtual ~Sink() = default;
        /** A "bang" out of the report outlet. */
        virtual void SendBang() = 0;
        virtual void SendMessage(const OscMessage& message) = 0;
        virtual void SendBundle(const OscBundle& bundle) = 0;
        /** A console line, already composed; must not throw. */
        virtual void Post(std::string_view line, HostNotifier::Level level) noexcept = 0;
    };

    /** Host's thread: sends each queued report, oldest first, through
        sink, then warns of the reports dropped since the last delivery.
        A report is taken out of its slot before it is sent: what the sink
        does (even delivering re-entrantly) never meets a slot in use. */
    void Deliver(Sink& sink) noexcept;


private:
    struct Header
    {
        Kind kind = Kind::bang;
        HostNotifier::Level level = HostNotifier::Level::information;
        const OscAddressPattern* address = nullptr;
        double value = 0.0;
    };

    bool isInPerform() const noexcept;
    /** Queues header with payload's bytes (counted as dropped when the
        queue is full, or when the bytes exceed a slot in perform).
        inPerform: the caller's isInPerform(), asked once per report. */
    void push(const Header& header, const std::uint8_t* payload, std::size_t size, bool inPerform) noexcept;
    void pushEncoded(const OscBundle* bundle, const OscMessage* message) noexcept;

    Wake wake;
    void* wakeContext;
    LockFreeQueue<Report> queue{numSlots};
    OscOutputStream audioEncoder{slotBytes};  // the audio callback's (one thread at a time)
    std::atomic<std::uint64_t> performThread{0};
    std::atomic<std::uint64_t> dropped{0};
};

} // namespace kel
