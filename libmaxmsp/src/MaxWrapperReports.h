// The one way from an object's reports to Max: the end of playback, progress,
// buffer fill, markers, metadata, latency, and console posts made on threads
// other than Max's main thread.
//
// Reports come from every thread: the perform routine, the processor's own
// threads (which may not call into Max at all), Max's main and scheduler
// threads. They wait in one lock-free queue and a qelem delivers them on the
// main thread, outlet by outlet, with nothing locked: a patch wired from the
// dump outlet back into the object (end of playback -> "/seek 0") re-enters
// it on the main thread, where it may deliver what its own message added.
// The perform routine does not set the qelem (Max does not say it may); it
// sets a clock, the documented way out of perform, and the clock sets the
// qelem wherever it fires (main thread, scheduler thread, audio thread).
//
// A queued report is self-contained: its message is copied in, encoded as an
// OSC packet, never a pointer into data that a new file can replace. On the
// audio thread encoding never allocates; a report too large for its slot is
// dropped there, and the next delivery warns how many were lost.
//
// Threads: construction, Deliver and destruction on the main thread (the
// destructor after every producer has stopped); the Push operations on any
// thread, never blocking; EnterPerform and LeavePerform by the perform
// routine only.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string_view>

#include "MaxWrapperApi.h"
#include "containers/KelLockFreeQueue.h"
#include "osc/KelHostNotifier.h"
#include "osc/KelOscBundle.h"
#include "osc/KelOscOutputStream.h"

namespace maxmsp {

class ReportQueue
{
public:
    static constexpr std::size_t numSlots = 256;
    static constexpr std::size_t slotBytes = 480;

    /** Main thread: makes the clock and the qelem. */
    explicit ReportQueue(t_object* owner);
    /** Main thread, when nothing pushes any more: frees the clock and the
        qelem; what is still queued is dropped. */
    ~ReportQueue();
    ReportQueue(const ReportQueue&) = delete;
    ReportQueue& operator=(const ReportQueue&) = delete;

    /** "bang" out of the dump outlet. */
    void PushBang() noexcept;
    /** The address (a static constant: only its pointer is queued) with one
        float argument. */
    void PushValue(const kel::OscAddressPattern& address, double value) noexcept;
    /** Each message of the bundle, in order. */
    void PushBundle(const kel::OscBundle& bundle) noexcept;
    void PushMessage(const kel::OscMessage& message) noexcept;
    /** A console line (posted as the console listener would). */
    void PushPost(std::string_view text, kel::HostNotifier::Level level) noexcept;

    /** Main thread: sends what is queued, in order. Re-entrant. */
    void Deliver() noexcept;

    /** The perform routine brackets its work with these, so that a report
        made inside it takes the clock rather than the qelem. */
    void EnterPerform() noexcept;
    void LeavePerform() noexcept;

    struct ClockRelay;

private:
    enum class Kind : std::uint8_t
    {
        bang,
        value,
        packet,
        post
    };
    /** What a report is, apart from its bytes. */
    struct Header
    {
        Kind kind = Kind::bang;
        kel::HostNotifier::Level level = kel::HostNotifier::Level::information;
        const kel::OscAddressPattern* address = nullptr;
        double value = 0.0;
    };
    struct Report
    {
        Kind kind = Kind::bang;
        kel::HostNotifier::Level level = kel::HostNotifier::Level::information;
        const kel::OscAddressPattern* address = nullptr;
        double value = 0.0;
        std::uint32_t size = 0;                 // bytes of the packet or text
        std::unique_ptr<std::uint8_t[]> large;  // when they exceed the slot (never on the audio thread)
        std::array<std::uint8_t, slotBytes> bytes{};

        const std::uint8_t* data() const noexcept { return large != nullptr ? large.get() : bytes.data(); }
    };

    bool isInPerform() const noexcept;
    /** Queues header's kind, level, address and value with payload's bytes
        (counted as dropped when the queue is full, or when the bytes exceed
        a slot in perform). inPerform: the caller's isInPerform(), asked
        once per report. */
    void push(const Header& header, const std::uint8_t* payload, std::size_t size, bool inPerform) noexcept;
    void pushEncoded(const kel::OscBundle* bundle, const kel::OscMessage* message) noexcept;
    void wake(bool inPerform) noexcept;
    void send(const Report& report) const;
    static void clockTick(ClockRelay* relay);
    static void qelemTick(ReportQueue* self);

    t_object* owner;
    kel::LockFreeQueue<Report> queue{numSlots};
    kel::OscOutputStream audioEncoder{slotBytes};  // the perform routine's (one thread at a time)
    ClockRelay* relay = nullptr;  // pooled, never freed
    t_clock* clock = nullptr;
    void* qelem = nullptr;
    std::atomic<std::uint64_t> performThread{0};
    std::atomic<std::uint64_t> dropped{0};
};

} // namespace maxmsp
