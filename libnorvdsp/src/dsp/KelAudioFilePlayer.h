// kel::AudioFilePlayer: plays one audio file from disk through the host's
// audio callback. A buffering thread fills a ring of float frames from the
// file; the audio callback only copies blocks out of the ring. The player
// owns the transport (open, start, stop, pause, resume, switch, loop, seek by
// time, segment, seek by marker), the per-block output (one signal per
// channel and the playback position in milliseconds) and the reports to its
// listeners.
//
// Files, one job each:
//   KelAudioFilePlayer.cpp           construction, listeners, reports, info, state
//   KelAudioFilePlayerMessages.cpp   the OSC vocabulary and its documentation
//   KelAudioFilePlayerTransport.cpp  open, start, seek, segment, marker seek
//   KelAudioFilePlayerDisk.cpp       the disk pass and the buffering thread
//   KelAudioFilePlayerAudio.cpp      Process: ring read, position signal
//   KelAudioFilePlayerFreewheel.cpp  the audio side's wait for the disk ("/freewheel 1")
//   KelAudioFilePlayerStatus.cpp     the status a window shows
//
// Threads and locks. Three threads touch a player: the host's message
// thread (messages, open, seek), the audio thread (Process) and the
// buffering thread. Two recursive mutexes, always taken transport then disk:
//  - the transport mutex is held by every operation that resets the ring
//    (open, start, seek, segment, marker seek); the audio thread takes it
//    only around the update of the ring's read index, never around a copy;
//  - the disk mutex is held for a whole disk pass, by the resets, and by
//    the message thread while it reads the open file's metadata.
// A reset first raises a counter that the audio thread checks at the top of
// each block and waits (spinning, without a lock) until no block is in
// progress: a block that starts meanwhile outputs silence and leaves the
// ring alone. So the audio thread never blocks on the transport mutex and
// never reads ring frames that a reset is rewriting.
// The ring (dsp/KelPlayerRing.h) is allocated when a file opens, as wide as
// the box or the file, whichever is narrower, and as long as the buffer size
// or the file, whichever is shorter. A file that fits is resident: ring
// frame i holds file frame i, loaded once, and plays, seeks and loops from
// memory. A longer file streams:
// the ring carries, beside each frame, the file frame it holds. The disk
// side writes the segment's frames in order and, in loop mode, the segment
// again from its start, as often as fits; the audio side plays what the ring
// holds and takes its time from those file frames, never from block counts:
// the position signal, the markers, the loop passes and the end of playback
// follow the audio to the frame, connected outputs or not.
// When the disk falls behind (an underrun), the missing frames are silent
// but count as played, and the disk side skips the same frames of the file,
// so that what follows is in time again; the underrun is reported once.
// A file that changes on disk while it plays (rewritten in place,
// truncated) or that cannot deliver frames it should hold stops the disk
// side for good, until the next open: each pass checks the file's identity
// after reading and before publishing, so no frame read from a changed file
// is ever played. The error is posted once; the audio side plays what the
// ring holds, then ends playback at its last frame as at a segment's end.
// Starting again (start, seek, resume) fails with the same error and stays
// stopped: the header the player knows no longer describes the file.
// playing and loop are flags read by the audio thread without a lock; the
// positions shared between threads are atomics.
//
// Freewheel ("/freewheel 1", for hosts that run blocks faster than real
// time: Pd's -batch mode, Max's non-real-time driver, the render verb): a
// block the ring does not hold yet waits on the audio thread, outside any
// block and holding no lock, until the disk has delivered it, playback
// stopped, the disk failed, or the patience (10 s) ran out; then it plays
// what the ring holds and warns. The buffering thread wakes such a wait
// after each pass that wrote frames, at the cost of a flag check when no
// block waits. Off (the default), the audio side never waits.
//
// Listeners are called from all three threads: OnPlaybackEnded, progress,
// buffer fill and markers from the audio thread, buffer fill from the
// buffering thread, metadata, "/played/total" and progress 0 from the
// message thread. A listener must be thread-safe and hand what it gets on
// without blocking the audio thread. The player allocates nothing on the
// audio thread to call them (marker reports are built when a file opens).
// Registration waits for a block in progress to end; a block that starts
// meanwhile skips its reports (an end of playback is delivered with the
// next block).
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

#include "audiofiles/KelAudioFileReader.h"
#include "common/KelThread.h"
#include "containers/KelLockFreeQueue.h"
#include "containers/KelScopedPointer.h"
#include "containers/KelVector.h"
#include "dsp/KelAudioProcessorWithOscInAudioInterrupt.h"
#include "files/KelFile.h"
#include "dsp/KelPlayerRing.h"
#include "dsp/KelPlayerStatus.h"
#include "math/KelAudioBuffer.h"
#include "osc/KelOscBundle.h"

namespace kel {

class AudioFilePlayer : public AudioProcessorWithOscInAudioInterrupt
{
public:
    static constexpr std::uint64_t minRingCapacity = 192000;
    static constexpr std::uint64_t maxRingCapacity = 2880000;
    /** A disk pass reads at most this many frames, so it holds the disk
        mutex briefly. */
    static constexpr std::uint64_t maxFramesPerDiskPass = 4096;
    /** The audio side wakes the buffering thread at or below this fill. */
    static constexpr double wakeUpFillPercent = 75.0;
    /** The buffering thread reads pass after pass below this fill. */
    static constexpr double topUpFillPercent = 97.0;
    static constexpr double bufferingThreadStopTimeoutMs = 3000.0;
    /** Reports are sent only when they moved this much (0 and 100 always). */
    static constexpr double progressReportStep = 0.5;
    static constexpr double bufferingReportStep = 2.0;
    /** How long a freewheeling block waits for the disk at most. */
    static constexpr double freewheelPatienceSeconds = 10.0;

    /** The player's outward interface; registered and removed by its owner,
        never owned by the player. Called from the audio thread, the
        buffering thread and the message thread (see above): implementations
        must be thread-safe, must not block and must not throw. */
    class Listener
    {
    public:
        virtual ~Listener() = default;
        /** A segment has been played to its end without loop (audio thread). */
        virtual void OnPlaybackEnded() = 0;
        /** Progress of the segment in per cent (audio or message thread). */
        virtual void OnProgress(double percent) = 0;
        /** Fill of the ring in per cent (audio or buffering thread). */
        virtual void OnBuffering(double percent) = 0;
        /** A report: "/played/total", "/marker", the metadata dump. */
        virtual void OnOscMessage(const OscBundle& report) = 0;
    };

    /** Keeps the ring filled from the file: pass after pass while the fill
        is below 97 per cent (waiting up to 100 ms between passes unless
        woken), then once a second at the latest while playing. Without a
        file, after a disk failure, or stopped with nothing left to read, it
        sleeps until woken: by an open, by "/loop 1", or by the audio side,
        whose first block after a start or seek finds the ring below its
        wake-up fill. */
    class BufferingThread : public Thread
    {
    public:
        static constexpr const char* threadName = "kel::AudioFilePlayer::BufferingThread";
        explicit BufferingThread(AudioFilePlayer& owner);
        ~BufferingThread() override;

    protected:
        void run() override;

    private:
        AudioFilePlayer* player;
    };

    /** numChannels audio outputs plus the position output; a ring of up to
        bufferSize frames (clamped to 192000..2880000) is allocated for each
        file opened. Starts the buffering thread; throws "couldn't create
        buffering thread" when it cannot. A freewheeling block waits for
        the disk at most patienceSeconds (tests shorten it). Main thread. */
    AudioFilePlayer(std::uint32_t numChannels, std::uint64_t bufferSize,
                    double patienceSeconds = freewheelPatienceSeconds);
    /** Waits for the buffering thread to end, however long its pass takes
        (it checks its exit flag between passes), then closes the file. The
        host makes sure no block runs any more. A host that must not wait
        uses Dispose instead. */
    ~AudioFilePlayer() override;

    /** Frees a player without waiting for a stuck disk for ever: asks the
        buffering thread to exit and waits up to
        bufferingThreadStopTimeoutMs. When it ended, deletes the player and
        returns true. Otherwise hands the player to its buffering thread,
        which deletes it as soon as its pass ends, and returns false (the
        host tells its user). Either way the caller must not touch the
        player again.
        Main thread only, once the host guarantees that no Process call
        runs or will run, and with every listener removed (the player's and
        the host's): the thread may still report until it ends. Blocks up
        to bufferingThreadStopTimeoutMs. A null player returns true. */
    static bool Dispose(AudioFilePlayer* player) noexcept;

    // ------------------------------------------------------------------
    // Transport. Message thread; each blocks on the disk (one synchronous
    // pass) and for at most one audio block in progress. Without an open
    // file each throws "No open file" and changes nothing. Each start
    // first asks whether the file changed on disk since it was opened; a
    // changed or failed file throws its error ("file changed on disk while
    // playing: "path"", "read error in "path" at frames A to B") and stays
    // stopped.

    /** Opens a file: the reader and the ring first (their errors, such as
        a ring that cannot be allocated, leave everything as it was), then
        the old ring gives way to the new one, a differing
        sample rate is warned about, the buffering thread starts on the head
        of the file and the metadata is reported. Playback does not start. */
    void OpenAudioFile(const File& file);
    /** Plays the whole file from its start, keeping what is buffered of its
        head when the ring still holds it. */
    void PlayWhole();
    /** Plays from msec to the end of the file; 0 (or less) is PlayWhole. */
    void Seek(double msec);
    /** Plays [min, max) of the two times (msec). */
    void Seek(double startMsec, double endMsec);
    /** Plays from the first marker with this label (or ID) to the end;
        throws "there is no marker" or "no marker with label "x"" / "no
        marker with ID "n"". */
    void SeekMarker(const String& label);
    void SeekMarker(unsigned int identifier);
    /** Sends "/filename" and the file's metadata to every listener. */
    void dumpMetadata();

    /** Opens a reader made by the caller (a host with readers of its own, a
        test); the File overload makes one with the factory. */
    void OpenAudioFile(ScopedPointer<AudioFileReader> newReader);

    /** "/stop" and "/pause": playing := false, the position is kept; a
        block waiting for the disk stops waiting. Any thread; never blocks
        for long (wakeDiskWaiter). */
    void Pause() noexcept
    {
        playing.store(false, std::memory_order_release);
        wakeDiskWaiter();
    }
    /** Continues from a pause; from stopped or ended, plays the whole file
        again; while playing, does nothing. Message thread; waits for a disk
        pass in progress (it asks the reader whether the file changed).
        After a disk failure it throws, as every start does (see
        hasDiskFailure). */
    void Resume();
    /** Pauses when playing, else Resume. Message thread. */
    void Switch();
    /** Takes effect at the next block and the next disk pass: switched on
        while a segment plays, the disk side goes on with the segment's start
        at once (the buffering thread is woken); switched off, the pass in
        progress plays to the segment's end. Any thread; never blocks. */
    void SetLoop(bool shouldLoop) noexcept;
    /** "/freewheel": on, each block waits until the ring holds it (see
        above); off, a block waiting stops waiting. Takes effect at the next
        block. A mode of the host's set-up, not of the music: left out of
        the state. Any thread; never blocks for long (wakeDiskWaiter). */
    void SetFreewheel(bool shouldWait) noexcept;
    bool isFreewheeling() const noexcept { return freewheel.load(std::memory_order_relaxed); }
    /** Whether a block is waiting for the disk now. Any thread; never blocks. */
    bool isWaitingForTheDisk() const noexcept { return diskWaiting.load(); }
    /** The addresses under which hosts report OnProgress and OnBuffering. */
    static const OscAddressPattern& ProgressAddress();
    static const OscAddressPattern& BufferingAddress();

    /** Sends "/played/total" (ms) to every listener. Message thread. */
    void ReportPlayedTotal();

    // ------------------------------------------------------------------
    // Listeners (main thread; blocks for one audio block at most). Adding a
    // registered listener again does nothing.

    void AddListener(Listener* listener);
    void RemoveListener(Listener* listener);

    // ------------------------------------------------------------------
    // Observation: any thread, never blocks (atomics), unless said.

    bool isPlaying() const noexcept { return playing.load(std::memory_order_acquire); }
    bool isLooping() const noexcept { return loop.load(std::memory_order_acquire); }
    bool hasOpenFile() const noexcept { return fileIsOpen.load(std::memory_order_acquire); }
    /** The open file changed on disk or could not be read: its error has
        been posted (or thrown to the start that found it), playback ends
        with the ring's last frame, and every start throws that error until
        the next open. */
    bool hasDiskFailure() const noexcept { return diskStopped.load(std::memory_order_acquire); }
    std::uint32_t getNumChannels() const noexcept { return numChannels; }
    /** The buffer size: the longest ring a file gets. */
    std::uint64_t getRingCapacity() const noexcept { return ringCapacity; }
    /** The open file's ring: min(capacity, file length) frames, 0 without
        a file. */
    std::uint64_t getRingLength() const noexcept { return ringLength.load(std::memory_order_acquire); }
    std::uint64_t getFileLength() const noexcept { return fileLength.load(std::memory_order_relaxed); }
    std::uint32_t getFileNumChannels() const noexcept { return fileChannels.load(std::memory_order_relaxed); }
    std::uint64_t getSegmentStart() const noexcept { return segmentStart.load(std::memory_order_relaxed); }
    std::uint64_t getSegmentEnd() const noexcept { return segmentEnd.load(std::memory_order_relaxed); }
    std::uint64_t getSegmentLength() const noexcept { return segmentLength.load(std::memory_order_relaxed); }
    std::uint64_t getPlayed() const noexcept { return played.load(std::memory_order_relaxed); }
    std::uint64_t getTotalPlayed() const noexcept { return totalPlayed.load(std::memory_order_relaxed); }
    /** Frames in the ring that the audio side has not played yet. */
    std::uint64_t getNumBufferedFrames() const noexcept { return ringUsed.load(std::memory_order_acquire); }
    /** The ring's fill: buffered frames x 100 / ring length (resident:
        loaded frames); 0 without a ring. */
    double getFillPercentage() const noexcept;
    /** The ring's channel count: min(player's, file's); 0 without a file.
        Main thread. */
    std::uint32_t getRingNumChannels() const noexcept { return ring.getShape().channels; }
    /** Whether the open file is held whole in the ring. Any thread. */
    bool isRingResident() const noexcept { return ringResident.load(std::memory_order_acquire); }
    /** The open file (empty path when none). Message thread; takes the disk
        mutex. */
    File getOpenFile() const;

    /** Wakes the buffering thread now (an offline renderer that waits for
        the ring). Any thread; never blocks for long. */
    void RequestBuffering() noexcept;

    /** Warns "non-finite samples replaced by silence in" the open file's
        quoted path, once per opened file, when its reader has replaced any.
        The buffering thread calls it after each disk pass; a host that
        stops playing for good (an offline renderer) may call it once more,
        from the message thread, for the last pass's samples. Takes the disk
        mutex: blocks while a disk pass runs. */
    void ReportNonFiniteSamples();

    /** Whether a block of numFrames can be rendered from what the ring holds
        (or the player is not playing, or the ring holds everything left of
        a segment that does not loop, or a streaming ring is full, or the
        disk failed). What a freewheeling block waits for; also for a host
        that waits for the disk itself: the thread that runs the blocks,
        between blocks, never while a file opens. Never blocks. */
    bool isReadyFor(std::uint64_t numFrames) const noexcept;

    /** The host's "/info" text, one line each: "no audio file", or the
        file's path followed by its information. Message thread; takes the
        disk mutex. */
    Vector<String> getInformation() const;

    /** What a status window shows (KelAudioFilePlayerStatus.cpp). Main
        thread (the message thread) only; never waits for the disk. */
    PlayerStatus GetPlayerStatus() const;

    /** The frame's state, then "/filename" (empty when none), "/loop" and,
        with a file, "/channel/number" and "/length" (ms). Message thread;
        takes the disk mutex. */
    OscBundle GetState() const override;

    String getName() const override { return "auvo5.sfplay~"; }
    /** The class description, its long form and related objects. */
    static String getDescription();
    static String getLongDescription();
    static String getSeeAlso();

    /** "output (i + 1)" per channel, then "playback position", then
        "dumpout"; with one multichannel outlet, "output (channels)",
        "playback position", "dumpout". */
    String getOutletDescription(std::uint32_t index, bool multichannel) const override;

protected:
    /** One block (audio thread): copies out of the ring, advances the
        transport, writes the position signal, reports. Never allocates,
        never reads the file, never throws. */
    void Process(const AudioBufferBase<float>& inputs, AudioBufferBase<float>& outputs) noexcept override;
    /** The position at full precision for a 64-bit host (audio thread). */
    void RefineDoubleOutputs(double* const* outputs, std::uint32_t numOutputs,
                             std::uint32_t numFrames) noexcept override;
    /** The position's work buffer follows the block size (main thread). */
    void BlockSizeChanged(std::uint32_t newSize) override;
    /** Warns about a file whose rate differs from the host's (main thread). */
    void AudioSetupChanged() override;

private:
    /** "/loop": both a message and part of the state report. */
    static const OscAddressPattern& LoopAddress();
    static const OscAddressPattern& FreewheelAddress();
    /** Message thread, transport held: plays from a marker to the file's end. */
    void playFromMarker(const AudioFilesMetadata::Marker& marker);
    /** Message thread: plays from the first marker that matches, or throws
        "there is no marker" / notFound. */
    void seekFirstMarker(const std::function<bool(const AudioFilesMetadata::Marker&)>& matches,
                         const String& notFound);
    class TransportChange;
    class ListenersChange;
    class AudioBlockScope;

    // Messages (KelAudioFilePlayerMessages.cpp), main thread, constructor.
    void registerMessages();
    void openByName(const String& name);
    void openWithDialog();

    // Transport internals (KelAudioFilePlayerTransport.cpp); called with
    // the transport mutex held (TransportChange).
    void requireOpenFile() const;
    /** requireOpenFile, then throws the file's disk failure, asking the
        reader first whether the file changed since it was opened. Message
        thread; takes the disk mutex (waits for a pass in progress). */
    void requirePlayableFile();
    void playFrom(std::uint64_t startFrame, std::uint64_t endFrame);
    void resetRing(std::uint64_t startFrame);
    void forgetUnderrun() noexcept;
    void bufferFirstBlock();
    void warnAboutSampleRate();
    std::uint64_t millisecondsToFrames(double msec) const noexcept;
    double framesToMilliseconds(std::uint64_t frames) const noexcept;
    OscBundle buildMetadataDump() const;

    // Disk side (KelAudioFilePlayerDisk.cpp). readSamplesFromDisk takes the
    // disk mutex and returns the frames it wrote; postDiskFailure (called by
    // the thread that ran the failed pass, buffering or message thread)
    // takes it after posting, briefly; the others need it held.
    std::uint64_t readSamplesFromDisk();
    std::uint64_t getNumSamplesToReadFromDisk() const;
    /** One pass's reading, published by readSamplesFromDisk after the
        file's identity check: a resident file's next unloaded run from
        first on; a streaming file's next frames at write, from position. */
    std::uint64_t loadResidentRun(std::uint64_t& first, bool& readFailed);
    std::uint64_t streamFrames(std::uint64_t& write, std::uint64_t& position, bool& readFailed);
    /** Whether the next numFrames frames of playback are in the ring (or
        need not be: past a segment that does not loop). As isReadyFor, or
        with the audio side kept away. */
    bool hasFramesFor(std::uint64_t numFrames) const noexcept;
    std::uint64_t getRemainingSamplesInAudioFile() const;
    void skipUnderrunFrames();
    bool readIntoRing(std::uint64_t ringIndex, std::uint64_t numFrames, std::uint64_t fileFrame,
                      std::uint64_t& delivered);
    void sendUnderrunReports();
    void postDiskFailure(const String& text, std::uint64_t file);

    // Audio side (KelAudioFilePlayerAudio.cpp), audio thread.
    struct BlockPlan;
    struct CopyRun
    {
        std::uint64_t output = 0;  // first frame of the block
        std::uint64_t ring = 0;    // first ring frame
        std::uint64_t frames = 0;
    };
    void planBlock(BlockPlan& plan, std::uint64_t numFrames, bool looping) noexcept;
    void copyFromRing(AudioBufferBase<float>& outputs, const BlockPlan& plan) noexcept;
    void writePositions(AudioBufferBase<float>& outputs, std::uint64_t numFrames) noexcept;
    void outputWhileStopped(AudioBufferBase<float>& outputs) noexcept;
    void reportMarkersIn(std::uint64_t first, std::uint64_t last) noexcept;
    void clearAudioChannels(AudioBufferBase<float>& outputs, std::uint32_t first) noexcept;
    void endUnderrun() noexcept;

    // Freewheel (KelAudioFilePlayerFreewheel.cpp).
    /** Audio thread, before the block, in freewheel mode: returns once the
        ring holds a block of numFrames (isReadyFor), or playback stopped,
        the disk failed, freewheel went off, or the patience ran out (then
        it warns once, and later blocks do not wait until the disk delivers
        again). Blocks; holds no lock and is no block in progress while it
        waits, so transport changes and listener changes go ahead. */
    void waitForTheDisk(std::uint64_t numFrames) noexcept;
    /** Wakes a block waiting for the disk, to look again: after a pass
        that wrote frames, a disk failure, a transport change, a stop, a
        change of loop or freewheel. A flag check when no block waits. Any
        thread; never blocks for long (a mutex held only to check and to
        notify). */
    void wakeDiskWaiter() noexcept;

    // Reports (KelAudioFilePlayer.cpp). The audio thread passes
    // fromAudioThread so that the listener list is read without its mutex.
    void reportProgress(double percent, bool fromAudioThread) noexcept;
    void reportBuffering(double percent, bool fromAudioThread) noexcept;
    void reportPlaybackEnded() noexcept;
    void sendToListeners(const OscBundle& report, bool fromAudioThread) noexcept;
    bool isProcessingOnThisThread() const noexcept;
    void waitForBlockInProgress() const noexcept;

    // --- Members; positions are sample frames.
    const std::uint32_t numChannels;
    const std::uint64_t ringCapacity;
    PlayerRing ring;                               // changed by open only, both sides kept away
    std::atomic<std::uint64_t> ringLength{0};      // ring.getShape().frames, for any thread
    std::atomic<bool> ringResident{false};         // ring.getShape().resident, for any thread
    ScopedPointer<AudioFileReader> reader;
    ScopedPointer<BufferingThread> bufferingThread;
    std::atomic<std::uint64_t> ringReadIndex{0};   // next ring frame the audio side copies out
    std::atomic<std::uint64_t> ringWriteIndex{0};  // next ring frame the disk side fills
    std::atomic<std::uint64_t> filePosition{0};    // next file frame the disk side reads
    std::atomic<std::uint64_t> played{0};          // output since the segment started (reset on loop wrap)
    std::atomic<std::uint64_t> segmentLength{0};
    std::atomic<std::uint64_t> totalPlayed{0};     // output since the last whole-file start
    std::atomic<std::uint64_t> segmentStart{0};
    mutable std::recursive_mutex transportMutex;
    mutable std::recursive_mutex diskMutex;
    std::atomic<bool> playing{false};
    std::atomic<bool> loop{false};
    Vector<Listener*> listeners;
    std::atomic<std::uint64_t> fileLength{0};
    std::atomic<std::uint32_t> fileChannels{0};
    std::atomic<std::uint64_t> segmentEnd{0};
    std::atomic<double> lastProgress{-1.0};         // -1: nothing sent yet
    std::atomic<double> lastBufferFill{-1.0};

    // --- Beyond the transport's fields.
    std::atomic<std::uint64_t> ringUsed{0};         // frames written and not yet read (resident: loaded)
    // Frames the audio side output as silence for want of data and the
    // stream has not yet caught up with: the audio side drops them from
    // the ring as they arrive, the disk side skips them in the file when
    // the ring is empty.
    std::atomic<std::uint64_t> underrunDebt{0};
    struct Underrun
    {
        std::uint64_t frames = 0;
        std::uint64_t firstFrame = 0;  // file frame of the first silent frame
        std::uint64_t file = 0;        // openedFiles when it began
    };
    Underrun currentUnderrun;                       // audio thread (resets: message thread, audio kept away)
    LockFreeQueue<Underrun> underrunReports{64};    // audio -> buffering thread, which reports them
    Vector<double> positionWork;                    // audio thread: the block's position in ms
    Vector<CopyRun> copyRuns;                       // audio thread: the block's copies, one per frame at most
    std::atomic<int> transportChanges{0};           // resets in progress (the audio side stays away)
    std::atomic<bool> blockInProgress{false};       // the audio thread is inside Process
    std::atomic<std::uint64_t> processingThread{0}; // CurrentThreadId() of the thread inside Process, or 0
    std::atomic<bool> listenersChanging{false};     // the audio side skips its reports
    bool endedPending = false;                      // audio thread: an end to deliver next block
    mutable std::recursive_mutex listenersMutex;    // listener calls off the audio thread
    struct MarkerReport
    {
        std::int64_t position = 0;
        OscBundle report;  // "/marker" id position label
    };
    Vector<MarkerReport> markerReports;             // by position; built when a file opens, sent by the audio side
    std::atomic<bool> fileIsOpen{false};
    // Why the open file stopped for good (it changed on disk, a read
    // failed); empty while it plays on. Under the disk mutex; cleared by an
    // open.
    String diskFailure;
    // Raised once that failure has been posted: the audio side then ends
    // playback where the ring runs out instead of waiting for the disk.
    std::atomic<bool> diskStopped{false};
    std::atomic<std::uint64_t> openedFiles{0};      // counts opens: names the file an underrun was in
    String previousFilePath;                        // under the disk mutex: the file before the open one
    std::uint64_t nonFiniteWarnedFile = 0;          // under the disk mutex: the openedFiles last warned about
    // Freewheel. The wait's mutex and condition guard nothing but the
    // wake-up itself; diskNews changes at every wakeDiskWaiter, read by the
    // waiter before it looks at the ring, so no wake-up is lost.
    std::atomic<bool> freewheel{false};
    const std::chrono::steady_clock::duration freewheelPatience;
    const String freewheelWarning;                   // built here: the audio thread allocates nothing
    std::mutex diskWaitMutex;
    std::condition_variable diskWaitCondition;
    std::atomic<bool> diskWaiting{false};
    std::atomic<std::uint64_t> diskNews{0};
    std::atomic<std::uint64_t> diskDeliveries{0};    // passes that wrote frames
    bool freewheelGaveUp = false;                    // audio thread: the last wait ran out of patience,
    std::uint64_t deliveriesWhenGaveUp = 0;          // and the disk has delivered nothing since
    // Main thread: the sample-rate warning goes out once per file and rate.
    std::uint64_t warnedFile = 0;
    double warnedRate = 0.0;
};

} // namespace kel
