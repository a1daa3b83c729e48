// The way from a processor's reports to an object's dump outlet, from any
// thread.
//
// Max forbids outlets (and allocation) in the perform routine, but a player
// reports the end of playback, progress, buffer fill and markers from it.
// Such reports wait in a preallocated single-producer ring (the audio thread
// writes, the main thread reads) and a clock, armed from the audio thread,
// delivers them on the main thread. Reports from any other thread go out at
// once.
//
// Lifetime: a queued bundle is only referenced; its owner (the player, which
// keeps its marker reports until the next file opens) must keep it until
// the queue is drained. So the binding calls Deliver before it hands the
// processor any message, and the destructor drops what is left (after the
// producer has been unregistered, so nothing is pushed any more).
//
// Threads: construction, Deliver and destruction on the main thread; the
// Send* operations on any thread (never blocking, never allocating on the
// audio thread).
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "MaxWrapperApi.h"
#include "containers/KelVector.h"
#include "osc/KelOscBundle.h"

namespace maxmsp {

/** True on the thread that runs an object's perform routine, while it does
    (set by the binding's perform routine). */
bool IsAudioThread() noexcept;

class AudioThreadScope
{
public:
    AudioThreadScope() noexcept;
    ~AudioThreadScope();
    AudioThreadScope(const AudioThreadScope&) = delete;
    AudioThreadScope& operator=(const AudioThreadScope&) = delete;

private:
    bool previous;
};

class DumpOutletReports
{
public:
    static constexpr std::size_t capacity = 1024;

    explicit DumpOutletReports(t_object* owner);
    ~DumpOutletReports();
    DumpOutletReports(const DumpOutletReports&) = delete;
    DumpOutletReports& operator=(const DumpOutletReports&) = delete;

    /** "bang" out of the dump outlet. */
    void SendBang() noexcept;
    /** The message address with one float argument. address must be a
        static constant (it is kept by reference while queued). */
    void SendValue(const kel::OscAddressPattern& address, double value) noexcept;
    /** Each message of the bundle; on the audio thread the bundle is kept
        by reference until delivered (see above). */
    void SendBundle(const kel::OscBundle& bundle) noexcept;

    /** Sends what the audio thread queued. Main thread (a message from
        Max's scheduler thread may call it too: readers take turns). */
    void Deliver() noexcept;

    /** Reports dropped because the ring was full (each delivery resets it). */
    std::uint64_t getNumDropped() const noexcept { return dropped.load(std::memory_order_relaxed); }

private:
    enum class Kind : std::uint8_t
    {
        bang,
        value,
        bundle
    };
    struct Item
    {
        Kind kind = Kind::bang;
        const kel::OscAddressPattern* address = nullptr;
        double value = 0.0;
        const kel::OscBundle* bundle = nullptr;
    };

    void dispatch(const Item& item) noexcept;
    void push(const Item& item) noexcept;
    void send(const Item& item) const;
    static void clockTick(DumpOutletReports* self);

    t_object* owner;
    t_clock* clock = nullptr;
    kel::Vector<Item> ring;
    std::atomic<std::uint64_t> writeCount{0};
    std::atomic<std::uint64_t> readCount{0};
    std::atomic<std::uint64_t> dropped{0};
    std::mutex readerLock;
};

} // namespace maxmsp
