#include "dsp/KelPlayerRing.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <new>
#include <system_error>

#include "common/KelException.h"

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace kel {

namespace {

String Gigabytes(std::uint64_t bytes)
{
    char text[32];
    std::snprintf(text, sizeof(text), "%.2f GB", double(bytes) / 1.0e9);
    return text;
}

constexpr std::uint64_t bitsPerWord = 64;

// Rings start on a 2 MB boundary: on Linux a large one is then backed by huge
// pages, so that filling it costs one page fault per 2 MB instead of one
// per 4 KB, and the channels' pages stay in the translation caches.
constexpr std::size_t storageAlignment = std::size_t(1) << 21;

float* AllocateSamples(std::size_t samples) noexcept
{
    const std::size_t bytes = std::max<std::size_t>(samples, 1) * sizeof(float);
    void* memory = ::operator new[](bytes, std::align_val_t(storageAlignment), std::nothrow);
#if defined(__linux__)
    if (memory != nullptr && bytes >= storageAlignment)
        ::madvise(memory, bytes, MADV_HUGEPAGE);  // advice only: a refusal changes nothing
#endif
    return static_cast<float*>(memory);
}

#if defined(__linux__)
// From this size on, a ring's pages are faulted in by a thread of its own.
// Each channel of a ring starts in a page of its own, so the first disk pass
// (4096 frames of every channel) faults in nearly every huge page of a wide
// ring at once, and the kernel clears each one: about 1 GB for 512 channels
// at the default size, on the thread that opens the file. A second thread
// that faults them in from the end meets the first pass half way.
constexpr std::size_t warmedBytes = std::size_t(64) << 20;

void WarmPages(std::stop_token stop, char* storage, std::size_t bytes) noexcept
{
    for (std::size_t end = bytes; end > 0 && !stop.stop_requested();)
    {
        const std::size_t begin = end > storageAlignment ? end - storageAlignment : 0;
        // Leaves what is there alone: frames already written stay as they
        // are. A kernel without it refuses at once, and nothing is lost.
        if (::madvise(storage + begin, end - begin, MADV_POPULATE_WRITE) != 0)
            return;
        end = begin;
    }
}
#endif

std::uint64_t WordsFor(std::uint64_t frames)
{
    return (frames + bitsPerWord - 1) / bitsPerWord;
}

/** Bits first..first+count-1 of one word (count 1..64). */
std::uint64_t BitRange(std::uint64_t first, std::uint64_t count)
{
    const std::uint64_t ones = count >= bitsPerWord ? ~std::uint64_t(0) : (std::uint64_t(1) << count) - 1;
    return ones << first;
}

} // namespace

std::uint64_t PlayerRing::Shape::bytes() const noexcept
{
    const std::uint64_t samples = std::uint64_t(channels) * frames * sizeof(float);
    return samples + (resident ? WordsFor(frames) * sizeof(std::uint64_t) : frames * sizeof(std::uint64_t));
}

PlayerRing PlayerRing::Allocate(const Shape& shape, const String& path)
{
    const std::uint64_t bytes = shape.bytes();
    auto refuse = [&](const char* why)
    {
        // The cure is in the user's hands: the box's two sizing attributes.
        throw Exception("cannot allocate the ring for " + Quoted(path) + ": " + ToString(shape.channels)
                            + " channels x " + ToString(shape.frames) + " frames need " + Gigabytes(bytes) + ", "
                            + why + "; lower @buffersize or @channels",
                        KEL_HERE);
    };
    if (double(bytes) > maxBytes)
        refuse("more than the 6 GB a ring may take");

    PlayerRing ring;
    ring.shape = shape;
    const std::size_t samples = std::size_t(shape.channels) * std::size_t(shape.frames);
    // Not value-initialised: a ring of a gigabyte would otherwise be written
    // whole before the first frame plays, and the audio side only ever reads
    // frames the disk side has written.
    ring.storage.reset(AllocateSamples(samples));
    if (shape.resident)
    {
        ring.loadedWords = WordsFor(shape.frames);
        ring.loaded.reset(new (std::nothrow) std::atomic<std::uint64_t>[ring.loadedWords]);
        if (ring.loaded != nullptr)
            ring.forgetLoaded();
    }
    else
    {
        ring.frameTags.reset(new (std::nothrow) std::uint64_t[shape.frames]);
    }
    if ((samples > 0 && ring.storage == nullptr) || (shape.resident && ring.loadedWords > 0 && ring.loaded == nullptr)
        || (!shape.resident && shape.frames > 0 && ring.frameTags == nullptr))
        refuse("more than the memory available");

    try
    {
        Vector<float*> pointers(shape.channels, nullptr);
        for (std::uint32_t c = 0; c < shape.channels; ++c)
            pointers[c] = ring.storage.get() + std::size_t(c) * std::size_t(shape.frames);
        ring.view.setData(pointers.data(), shape.channels, shape.frames);
    }
    catch (const std::bad_alloc&)
    {
        refuse("more than the memory available");
    }
#if defined(__linux__)
    if (const std::size_t bytes = samples * sizeof(float); bytes >= warmedBytes)
    {
        try
        {
            ring.pageWarmer = std::jthread(&WarmPages, reinterpret_cast<char*>(ring.storage.get()), bytes);
        }
        catch (const std::system_error&)
        {
            // No thread: the disk passes fault the pages in themselves.
        }
    }
#endif
    return ring;
}

PlayerRing& PlayerRing::operator=(PlayerRing&& other) noexcept
{
    if (this == &other)
        return *this;
    // Members go in declaration order, the storage before the warmer that
    // works on it: the warmer is joined first.
    pageWarmer = std::jthread();
    shape = other.shape;
    storage = std::move(other.storage);
    view = std::move(other.view);
    frameTags = std::move(other.frameTags);
    loaded = std::move(other.loaded);
    loadedWords = other.loadedWords;
    pageWarmer = std::move(other.pageWarmer);
    return *this;
}

void PlayerRing::StorageDeleter::operator()(float* samples) const noexcept
{
    ::operator delete[](samples, std::align_val_t(storageAlignment));
}

void PlayerRing::markLoaded(std::uint64_t first, std::uint64_t count) noexcept
{
    while (count > 0)
    {
        const std::uint64_t bit = first % bitsPerWord;
        const std::uint64_t n = std::min(count, bitsPerWord - bit);
        loaded[first / bitsPerWord].fetch_or(BitRange(bit, n), std::memory_order_release);
        first += n;
        count -= n;
    }
}

bool PlayerRing::areLoaded(std::uint64_t first, std::uint64_t count) const noexcept
{
    while (count > 0)
    {
        const std::uint64_t bit = first % bitsPerWord;
        const std::uint64_t n = std::min(count, bitsPerWord - bit);
        const std::uint64_t wanted = BitRange(bit, n);
        if ((loaded[first / bitsPerWord].load(std::memory_order_acquire) & wanted) != wanted)
            return false;
        first += n;
        count -= n;
    }
    return true;
}

std::uint64_t PlayerRing::firstUnloaded(std::uint64_t from) const noexcept
{
    const std::uint64_t frames = shape.frames;
    if (frames == 0)
        return 0;
    from %= frames;
    // Whole words at a time: the search runs once a disk pass.
    for (std::uint64_t scanned = 0; scanned <= frames;)
    {
        const std::uint64_t word = from / bitsPerWord;
        const std::uint64_t bit = from % bitsPerWord;
        // Frames past the end in the last word count as loaded.
        std::uint64_t missing = ~loaded[word].load(std::memory_order_relaxed) >> bit;
        const std::uint64_t inWord = std::min(bitsPerWord - bit, frames - from);
        if (inWord < bitsPerWord)
            missing &= (std::uint64_t(1) << inWord) - 1;
        if (missing != 0)
            return from + std::uint64_t(std::countr_zero(missing));
        scanned += inWord;
        from += inWord;
        if (from >= frames)
            from = 0;
    }
    return frames;
}

std::uint64_t PlayerRing::unloadedRun(std::uint64_t first, std::uint64_t maxFrames) const noexcept
{
    const std::uint64_t last = std::min(shape.frames, first + maxFrames);
    std::uint64_t frame = first;
    while (frame < last && !isLoaded(frame))
        ++frame;
    return frame - first;
}

void PlayerRing::forgetLoaded() noexcept
{
    for (std::uint64_t w = 0; w < loadedWords; ++w)
        loaded[w].store(0, std::memory_order_relaxed);
}

} // namespace kel
