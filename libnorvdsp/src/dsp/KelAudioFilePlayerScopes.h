// How the message thread and the audio thread of a kel::AudioFilePlayer keep
// out of each other's way without the audio thread ever waiting.
//
// The audio thread marks each block (AudioBlockScope); the message thread
// raises a flag for what it is about to change and then waits for a block in
// progress to end. Both sides store first and load second, sequentially
// consistent, so at least one of them sees the other: either the block sees
// the flag and keeps away, or the message thread sees the block and waits
// for it. A message thread that is itself inside a block (a listener called
// from Process that sends a message back) does not wait for itself.
//
// Internal to the player's source files.
#pragma once

#include <cstdint>
#include <thread>

#include "dsp/KelAudioFilePlayer.h"

namespace kel {

/** Audio thread: one block. */
class AudioFilePlayer::AudioBlockScope
{
public:
    explicit AudioBlockScope(AudioFilePlayer& owner) noexcept;
    ~AudioBlockScope();
    AudioBlockScope(const AudioBlockScope&) = delete;
    AudioBlockScope& operator=(const AudioBlockScope&) = delete;

    /** False while a reset is under way: the block leaves the ring alone. */
    bool mayTouchTransport() const noexcept { return transportFree; }
    /** False while the listener list changes: the block skips its reports. */
    bool mayReport() const noexcept { return listenersFree; }

private:
    AudioFilePlayer& player;
    std::uint64_t outerThread;  // restored at the end: blocks may nest
    bool transportFree = false;
    bool listenersFree = false;
};

/** Message thread: an operation that resets the ring or replaces the file.
    Holds the transport mutex for its whole length. Blocks for at most one
    audio block. Nests (the mutex is recursive). */
class AudioFilePlayer::TransportChange
{
public:
    explicit TransportChange(AudioFilePlayer& owner);
    ~TransportChange();
    TransportChange(const TransportChange&) = delete;
    TransportChange& operator=(const TransportChange&) = delete;

private:
    AudioFilePlayer& player;
};

/** Main thread: a change of the listener list. Holds the listeners' mutex
    (so the buffering and message threads are not calling them) and keeps
    the audio thread's reports away. */
class AudioFilePlayer::ListenersChange
{
public:
    explicit ListenersChange(AudioFilePlayer& owner);
    ~ListenersChange();
    ListenersChange(const ListenersChange&) = delete;
    ListenersChange& operator=(const ListenersChange&) = delete;

private:
    AudioFilePlayer& player;
    std::unique_lock<std::recursive_mutex> lock;
};

} // namespace kel
