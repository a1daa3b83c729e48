// The player's life (construction, destruction), its listeners and the
// rate-limited reports, the thread handshakes, the information and state
// reports and the descriptions the host shows.
#include "dsp/KelAudioFilePlayer.h"

#include <algorithm>
#include <cmath>

#include "audiofiles/KelAudioFileReports.h"
#include "common/KelException.h"
#include "dsp/KelAudioFilePlayerScopes.h"

namespace kel {

namespace {

std::uint64_t ClampedCapacity(std::uint64_t requested)
{
    return std::clamp(requested, AudioFilePlayer::minRingCapacity, AudioFilePlayer::maxRingCapacity);
}

/** A day at most: longer is no patience but a hang. */
double ClampedPatience(double seconds)
{
    return std::isnan(seconds) ? AudioFilePlayer::freewheelPatienceSeconds : std::clamp(seconds, 0.0, 86400.0);
}


/** Claims the right to send value: 0 and 100 always, repeated or not;
    anything else when it moved from the last value
    sent by at least step (upwards only when upwardsOnly). Two threads may
    report at once; the exchange makes one of them send a given change. */
bool ClaimReport(std::atomic<double>& last, double value, double step, bool upwardsOnly) noexcept
{
    double previous = last.load(std::memory_order_relaxed);
    for (;;)
    {
        // 0 and 100 always go out, even twice in a row: a listener that
        // missed the first still learns that playback started or ended.
        const bool always = value == 0.0 || value == 100.0;
        // Nothing to record: no locked exchange on every block of a full ring.
        if (always && previous == value)
            return true;
        const double moved = upwardsOnly ? value - previous : std::abs(value - previous);
        if (!always && !(moved >= step))
            return false;
        if (last.compare_exchange_weak(previous, value, std::memory_order_relaxed))
            return true;
    }
}

} // namespace

// ---------------------------------------------------------------------------
// Handshakes between the message and audio threads

// The block's thread is recorded in the player rather than in thread-local
// storage: mingw-w64 emulates that, allocating on a thread's first use,
// which would be the audio thread's first block.
AudioFilePlayer::AudioBlockScope::AudioBlockScope(AudioFilePlayer& owner) noexcept
    : player(owner), outerThread(owner.processingThread.load(std::memory_order_relaxed))
{
    // Blocks run one at a time (the processing lock), nested ones on the
    // same thread: a plain store, not a locked exchange, suffices.
    player.processingThread.store(CurrentThreadId(), std::memory_order_relaxed);
    player.blockInProgress.store(true);  // sequentially consistent: see KelAudioFilePlayerScopes.h
    transportFree = player.transportChanges.load() == 0;
    listenersFree = !player.listenersChanging.load();
}

AudioFilePlayer::AudioBlockScope::~AudioBlockScope()
{
    player.blockInProgress.store(false, std::memory_order_release);
    player.processingThread.store(outerThread, std::memory_order_relaxed);
}

AudioFilePlayer::TransportChange::TransportChange(AudioFilePlayer& owner) : player(owner)
{
    player.transportChanges.fetch_add(1);
    player.waitForBlockInProgress();
    player.transportMutex.lock();
}

AudioFilePlayer::TransportChange::~TransportChange()
{
    player.transportMutex.unlock();
    player.transportChanges.fetch_sub(1, std::memory_order_release);
    // A block waiting for the disk looks again at the ring as it is now.
    player.wakeDiskWaiter();
}

AudioFilePlayer::ListenersChange::ListenersChange(AudioFilePlayer& owner)
    : player(owner), lock(owner.listenersMutex)
{
    player.listenersChanging.store(true);
    player.waitForBlockInProgress();
}

AudioFilePlayer::ListenersChange::~ListenersChange()
{
    player.listenersChanging.store(false, std::memory_order_release);
}

bool AudioFilePlayer::isProcessingOnThisThread() const noexcept
{
    // Relaxed: only this thread ever stores its own id here, so it reads
    // its own last store; any other thread's id differs either way.
    return processingThread.load(std::memory_order_relaxed) == CurrentThreadId();
}

void AudioFilePlayer::waitForBlockInProgress() const noexcept
{
    if (isProcessingOnThisThread())
        return;
    while (blockInProgress.load())
        std::this_thread::yield();
}

// ---------------------------------------------------------------------------
// Life

AudioFilePlayer::AudioFilePlayer(std::uint32_t channels, std::uint64_t bufferSize, double patienceSeconds)
    : AudioProcessorWithOscInAudioInterrupt(0, channels + 1),
      numChannels(channels),
      ringCapacity(ClampedCapacity(bufferSize)),
      freewheelPatience(std::chrono::duration_cast<std::chrono::steady_clock::duration>(
          std::chrono::duration<double>(ClampedPatience(patienceSeconds)))),
      freewheelWarning("freewheel: the disk did not deliver within " + ToString(ClampedPatience(patienceSeconds))
                       + " s; playing what the buffer holds")
{
    positionWork.Resize(getBlockSize(), 0.0);
    copyRuns.Resize(getBlockSize());
    registerMessages();

    try
    {
        bufferingThread.reset(new BufferingThread(*this));
    }
    catch (const std::bad_alloc&)
    {
        bufferingThread.reset();
    }
    if (bufferingThread == nullptr || !bufferingThread->start())
        throw Exception("couldn't create buffering thread", KEL_HERE);
}

AudioFilePlayer::~AudioFilePlayer()
{
    if (bufferingThread != nullptr)
        bufferingThread->signalShouldExit();
    playing.store(false);
    loop.store(false);
    {
        const ListenersChange change(*this);
        listeners.Clear();
    }
    // Without a time-out: the thread reads the reader and the ring until it
    // ends. Dispose is the way out for a host that cannot wait.
    if (bufferingThread != nullptr)
        bufferingThread->stop(-1.0);
    {
        const std::lock_guard lock(transportMutex);
        reader.reset();
    }
    bufferingThread.reset();
}

bool AudioFilePlayer::Dispose(AudioFilePlayer* player) noexcept
{
    if (player == nullptr)
        return true;
    Thread* const thread = player->bufferingThread.get();
    // A lambda holding one pointer is stored inside std::function: nothing
    // is allocated that could throw here.
    if (thread != nullptr && !thread->stop(bufferingThreadStopTimeoutMs)
        && thread->handOver([player] { delete player; }))
        return false;
    delete player;
    return true;
}

// ---------------------------------------------------------------------------
// Listeners and reports

void AudioFilePlayer::AddListener(Listener* listener)
{
    if (listener == nullptr)
        return;
    const ListenersChange change(*this);
    if (std::find(listeners.begin(), listeners.end(), listener) == listeners.end())
        listeners.PushBack(listener);
}

void AudioFilePlayer::RemoveListener(Listener* listener)
{
    const ListenersChange change(*this);
    const auto found = std::find(listeners.begin(), listeners.end(), listener);
    if (found != listeners.end())
        listeners.Erase(std::size_t(found - listeners.begin()));
}

// The lists are walked by index: a listener may remove itself while it is
// being called.

void AudioFilePlayer::reportProgress(double percent, bool fromAudioThread) noexcept
{
    // Progress that goes down is not reported until it reaches 0 or 100.
    if (!ClaimReport(lastProgress, percent, progressReportStep, true))
        return;
    if (fromAudioThread)
    {
        for (std::size_t i = 0; i < listeners.size(); ++i)
            listeners[i]->OnProgress(percent);
        return;
    }
    const std::lock_guard lock(listenersMutex);
    for (std::size_t i = 0; i < listeners.size(); ++i)
        listeners[i]->OnProgress(percent);
}

void AudioFilePlayer::reportBuffering(double percent, bool fromAudioThread) noexcept
{
    if (!ClaimReport(lastBufferFill, percent, bufferingReportStep, false))
        return;
    if (fromAudioThread)
    {
        for (std::size_t i = 0; i < listeners.size(); ++i)
            listeners[i]->OnBuffering(percent);
        return;
    }
    const std::lock_guard lock(listenersMutex);
    for (std::size_t i = 0; i < listeners.size(); ++i)
        listeners[i]->OnBuffering(percent);
}

void AudioFilePlayer::reportPlaybackEnded() noexcept
{
    for (std::size_t i = 0; i < listeners.size(); ++i)
        listeners[i]->OnPlaybackEnded();
}

void AudioFilePlayer::sendToListeners(const OscBundle& report, bool fromAudioThread) noexcept
{
    if (fromAudioThread)
    {
        for (std::size_t i = 0; i < listeners.size(); ++i)
            listeners[i]->OnOscMessage(report);
        return;
    }
    const std::lock_guard lock(listenersMutex);
    for (std::size_t i = 0; i < listeners.size(); ++i)
        listeners[i]->OnOscMessage(report);
}

double AudioFilePlayer::getFillPercentage() const noexcept
{
    const std::uint64_t length = ringLength.load(std::memory_order_acquire);
    if (length == 0)
        return 0.0;
    const double percent = double(ringUsed.load(std::memory_order_acquire)) * 100.0 / double(length);
    return std::clamp(percent, 0.0, 100.0);
}

void AudioFilePlayer::RequestBuffering() noexcept
{
    if (bufferingThread != nullptr)
        bufferingThread->notify();
}

bool AudioFilePlayer::hasFramesFor(std::uint64_t numFrames) const noexcept
{
    if (!ring.getShape().resident)
    {
        // Frames owed to an underrun are dropped before any plays.
        return ringUsed.load(std::memory_order_acquire) >= numFrames + underrunDebt.load();
    }
    // The frames due, in play order: to the segment's end, and on from its
    // start when it loops.
    const std::uint64_t start = segmentStart.load(std::memory_order_relaxed);
    const std::uint64_t end = std::min(segmentEnd.load(std::memory_order_relaxed), ring.getShape().frames);
    // A span at a time, to the segment's end and on from its start.
    std::uint64_t frame = start + played.load(std::memory_order_relaxed);
    for (std::uint64_t left = numFrames; left > 0;)
    {
        if (frame >= end)
        {
            if (!isLooping() || end <= start)
                return true;
            frame = start;
        }
        const std::uint64_t span = std::min(left, end - frame);
        if (!ring.areLoaded(frame, span))
            return false;
        frame += span;
        left -= span;
    }
    return true;
}

bool AudioFilePlayer::isReadyFor(std::uint64_t numFrames) const noexcept
{
    if (!isPlaying() || hasFramesFor(numFrames))
        return true;
    // The disk has read all that is left of a segment that does not loop
    // (an empty segment plays nothing, loop or not), or will read nothing
    // more of a file that failed: the ring holds the rest of playback.
    if (hasDiskFailure())
        return true;
    if (ring.getShape().resident)
        return false;
    // A full ring gets nothing more until a block takes frames out of it:
    // frames owed to an underrun, which the block drops first, can fill it.
    if (ringUsed.load(std::memory_order_acquire) >= ring.getShape().frames)
        return true;
    const std::uint64_t end = segmentEnd.load();
    const bool loops = isLooping() && end > segmentStart.load();
    return !loops && filePosition.load() >= end;
}

void AudioFilePlayer::SetLoop(bool shouldLoop) noexcept
{
    loop.store(shouldLoop, std::memory_order_release);
    // The disk side goes on with the segment's start before the audio side
    // reaches the segment's end.
    if (shouldLoop)
        RequestBuffering();
    // Without loop, the ring may already hold all that is left to play.
    wakeDiskWaiter();
}

void AudioFilePlayer::BlockSizeChanged(std::uint32_t newSize)
{
    AudioProcessorWithOscInAudioInterrupt::BlockSizeChanged(newSize);
    positionWork.Resize(newSize, 0.0);
    copyRuns.Resize(newSize);
}

void AudioFilePlayer::AudioSetupChanged()
{
    AudioProcessorWithOscInAudioInterrupt::AudioSetupChanged();
    warnAboutSampleRate();
}

// ---------------------------------------------------------------------------
// Information and state

File AudioFilePlayer::getOpenFile() const
{
    const std::lock_guard lock(diskMutex);
    return reader != nullptr ? reader->getFile() : File();
}

Vector<String> AudioFilePlayer::getInformation() const
{
    Vector<String> lines;
    const std::lock_guard lock(diskMutex);
    if (reader == nullptr)
    {
        lines.PushBack("no audio file");
        return lines;
    }
    lines.PushBack(reader->getFile().getFullPathName());
    OscBundle info;
    AppendInfoReport(reader->getMetadata(), info);
    info.ForEachMessage([&lines](const OscMessage& message) { lines.PushBack(message.toString()); });
    return lines;
}

OscBundle AudioFilePlayer::GetState() const
{
    OscBundle state = AudioProcessorWithOscInAudioInterrupt::GetState();
    // Not "/freewheel": it says how the host runs its blocks, not what
    // plays; a preset or snapshot made offline and recalled live would
    // make the audio thread wait for the disk.
    const std::lock_guard lock(diskMutex);
    state.AddStringMessage(FilenameAddress(), reader != nullptr ? reader->getFile().getFullPathName() : String());
    state.AddBoolMessage(LoopAddress(), isLooping());
    if (reader != nullptr)
    {
        const AudioFilesMetadata& metadata = reader->getMetadata();
        state.AddInt32Message(ChannelNumberAddress(), std::int32_t(metadata.numChannels));
        // The duration as the file's information gives it: whole milliseconds.
        state.AddInt64Message(LengthAddress(), std::int64_t(metadata.lengthInSamples * 1000.0 / metadata.sampleRate));
    }
    return state;
}

String AudioFilePlayer::getDescription()
{
    return "Play audio file from disk";
}

String AudioFilePlayer::getLongDescription()
{
    return "Play audio file from disk. Supported formats include AIFF, WAVE, MP3, M4A (mac only), AAC (mac only), "
           "CAF (mac only), AIFC (mac only), etc. A file that fits the disk buffer is read once and held in "
           "memory; a longer one is streamed from disk by a background thread. There is no time-stretch: the file plays at the host's sample rate. WAVE files "
           "beyond 4 GB are read (RF64 and Wave64).";
}

String AudioFilePlayer::getSeeAlso()
{
    return "sfplay~, play~, buffer~, sfrecord~";
}

String AudioFilePlayer::getOutletDescription(std::uint32_t index, bool multichannel) const
{
    if (multichannel)
    {
        if (index == 0)
            return "output (" + ToString(getNumOutputs() - 1) + ")";
        return index == 1 ? "playback position" : "dumpout";
    }
    if (index < numChannels)
        return "output (" + ToString(index + 1) + ")";
    return index == numChannels ? "playback position" : "dumpout";
}

} // namespace kel
