// kel::PlayerRing: the memory between a player's disk side and its audio
// side. It is only as wide as what is heard (the box's channels or the
// file's, whichever is fewer) and only as long as needed (the buffer size or
// the file, whichever is shorter), and it exists only while a file is open.
//
// Two layouts:
//  - streaming (the file is longer than the buffer): a ring of frames
//    written in play order, each tagged with the file frame it holds;
//  - resident (the file fits): ring frame i holds file frame i, loaded once;
//    a bit per frame says which frames are loaded, so the file then plays,
//    seeks and loops from memory without touching the disk.
//
// Allocated on the main thread without touching the memory: a fresh ring
// is never cleared, since the audio side only copies frames the disk side
// has written. The samples and tags are written by the disk side and read by
// the audio side under the player's indices; the loaded bits are the
// resident layout's publication (set with release, tested with acquire).
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "common/KelString.h"
#include <thread>

#include "math/KelAudioBuffer.h"

namespace kel {

class PlayerRing
{
public:
    struct Shape
    {
        std::uint32_t channels = 0;
        std::uint64_t frames = 0;
        bool resident = false;

        /** Samples, plus the tags or loaded bits beside them. */
        std::uint64_t bytes() const noexcept;
        bool operator==(const Shape&) const = default;
    };

    /** The most bytes one ring may take, so that a mistyped attribute or a
        corrupt header gives an error instead of exhausting the host. */
    static constexpr double maxBytes = 6.0e9;

    PlayerRing() = default;
    PlayerRing(PlayerRing&&) noexcept = default;
    /** Stops this ring's page warmer before its storage goes. */
    PlayerRing& operator=(PlayerRing&& other) noexcept;

    /** A ring of that shape, its loaded bits clear. Throws "cannot allocate
        the ring for "path": C channels x F frames need N GB, more than
        ...; lower @buffersize or @channels". Main thread; allocates. */
    static PlayerRing Allocate(const Shape& shape, const String& path);

    const Shape& getShape() const noexcept { return shape; }
    AudioBufferBase<float>& samples() noexcept { return view; }
    const AudioBufferBase<float>& samples() const noexcept { return view; }

    /** Streaming layout: the file frame each ring frame holds. */
    std::uint64_t* tags() noexcept { return frameTags.get(); }
    const std::uint64_t* tags() const noexcept { return frameTags.get(); }

    // Resident layout. Any thread; never block.
    bool isLoaded(std::uint64_t frame) const noexcept
    {
        return (loaded[frame >> 6].load(std::memory_order_acquire) >> (frame & 63)) & 1u;
    }
    /** Whether frames first..first+count-1 (inside the ring) are all loaded. */
    bool areLoaded(std::uint64_t first, std::uint64_t count) const noexcept;
    /** Disk side, after writing the frames' samples. */
    void markLoaded(std::uint64_t first, std::uint64_t count) noexcept;
    /** The first frame at or after from (circularly) that is not loaded, or
        the ring's length when every frame is. */
    std::uint64_t firstUnloaded(std::uint64_t from) const noexcept;
    /** How many frames from first on (first included, at most maxFrames,
        not past the end) are not loaded. */
    std::uint64_t unloadedRun(std::uint64_t first, std::uint64_t maxFrames) const noexcept;
    /** Forgets every loaded frame (a new file in a reused ring). Main
        thread, with the audio and disk sides kept away. */
    void forgetLoaded() noexcept;

private:
    Shape shape;
    struct StorageDeleter
    {
        void operator()(float* samples) const noexcept;
    };
    std::unique_ptr<float[], StorageDeleter> storage;
    AudioBufferReference<float> view;
    std::unique_ptr<std::uint64_t[]> frameTags;
    std::unique_ptr<std::atomic<std::uint64_t>[]> loaded;
    std::uint64_t loadedWords = 0;
    // Linux: faults a large ring's pages in on a second core while the
    // first disk pass runs; stopped and joined before the storage goes.
    std::jthread pageWarmer;
};

} // namespace kel
