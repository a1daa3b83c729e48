// The disk side of the ring: one disk pass (at most 4096 frames read from the
// file into the ring) and the buffering thread that runs passes and reports
// underruns and non-finite samples.
//
// A resident file (one that fits the ring) is loaded once, frame i into ring
// frame i: each pass loads the next run of frames not yet loaded, from the
// frame the audio side waits for if any, else on from the last run, round
// the file. Once all is loaded, passes read nothing and touch no file.
// A streaming file is read in play order, each ring frame tagged with the
// file frame it holds:
// A pass holds the disk mutex for its whole length. It writes only ring
// frames the audio side has finished with (the free part, counted by
// ringUsed), and publishes them by raising ringUsed afterwards, so the audio
// side never sees a frame, or its tag, before it is written.
// Nothing is written past the end of a segment that does not loop: the audio
// side ends playback at the segment's last frame, so what follows it in the
// ring is never played. A segment that loops is read again from its start
// as often as the pass has room for: a segment shorter than a pass (or than
// a block) repeats without a gap.
// Before it publishes, a pass that read anything asks the reader whether the
// file is still the one opened. A changed file publishes nothing of that pass
// (its frames may come from the new content); a read that failed publishes
// the frames before the failure. Either stops the disk side for good: the
// error is posted by the thread that ran the pass, outside the disk mutex,
// and only then is the audio side told to end where the ring runs out, so
// the error always comes before the end of playback.
// A pass that wrote frames, and a failure, wake a block waiting for the
// disk in freewheel mode.
#include <algorithm>

#include "common/KelException.h"
#include "dsp/KelAudioFilePlayer.h"

namespace kel {

namespace {

const OscAddressPattern& UnderrunAddress()
{
    static const OscAddressPattern address("/underrun");
    return address;
}

} // namespace

AudioFilePlayer::BufferingThread::BufferingThread(AudioFilePlayer& owner) : Thread(threadName), player(&owner) {}

AudioFilePlayer::BufferingThread::~BufferingThread()
{
    // run() reads the player's members until it returns.
    stop(-1.0);
}

void AudioFilePlayer::BufferingThread::run()
{
    while (!shouldExit())
    {
        // A transport change waits for the disk mutex: let it go first
        // rather than win the mutex back pass after pass.
        while (player->transportChanges.load(std::memory_order_acquire) > 0 && !shouldExit())
            wait(1.0);
        const std::uint64_t written = player->readSamplesFromDisk();
        player->sendUnderrunReports();
        player->ReportNonFiniteSamples();
        if (shouldExit())
            return;
        // Pass after pass while they bring something and the ring has room,
        // so the ring fills at the disk's speed; the waits are for a full
        // ring (or nothing left to read), and the audio side wakes the
        // thread when the fill drops.
        if (written > 0 && player->getNumBufferedFrames() < player->getRingLength())
            continue;
        // With nothing to play from, stopped with nothing left to read, or
        // with the whole file in memory, only an open, "/loop 1" or the audio
        // side (at the first block after a start or seek) has work for this
        // thread, and each of them wakes it: it sleeps until then instead of
        // waking ten times a second in every idle box.
        const bool loaded = player->isRingResident() && player->getNumBufferedFrames() >= player->getRingLength();
        const bool idle = !player->hasOpenFile() || player->hasDiskFailure() || loaded
                       || (!player->isPlaying() && written == 0);
        wait(idle ? -1.0 : player->getFillPercentage() >= topUpFillPercent ? 1000.0 : 100.0);
    }
}

std::uint64_t AudioFilePlayer::getRemainingSamplesInAudioFile() const
{
    if (reader == nullptr)
        return 0;
    const std::uint64_t end = segmentEnd.load();
    const std::uint64_t position = filePosition.load();
    if (end >= position)
        return end - position;
    ReportError("AudioFilePlayer::getRemainingSamplesInAudioFile() : bug ? ");
    return 0;
}

std::uint64_t AudioFilePlayer::getNumSamplesToReadFromDisk() const
{
    // The free part of the ring, counted: the disk side cannot overtake the
    // audio side, so there is no overrun to watch for.
    const std::uint64_t used = ringUsed.load(std::memory_order_acquire);
    return std::min(ring.getShape().frames - used, maxFramesPerDiskPass);
}

void AudioFilePlayer::skipUnderrunFrames()
{
    // While the ring holds frames, the audio side drops the late ones from
    // there; only an empty ring leaves them to the file.
    if (ringUsed.load() != 0)
        return;
    const std::uint64_t skip = underrunDebt.exchange(0);
    if (skip == 0)
        return;
    const std::uint64_t start = segmentStart.load();
    const std::uint64_t end = segmentEnd.load();
    const std::uint64_t position = filePosition.load();
    if (loop.load(std::memory_order_acquire) && end > start)
        filePosition.store(start + (position - start + skip) % (end - start));
    else
        filePosition.store(std::min(end, position + skip));
}

bool AudioFilePlayer::readIntoRing(std::uint64_t ringIndex, std::uint64_t numFrames, std::uint64_t fileFrame,
                                   std::uint64_t& delivered)
{
    const bool succeeded =
        reader->read(ring.samples(), std::int64_t(ringIndex), std::int64_t(numFrames), std::int64_t(fileFrame));
    if (std::uint64_t* tags = ring.tags(); tags != nullptr)
        for (std::uint64_t i = 0; i < numFrames; ++i)
            tags[ringIndex + i] = fileFrame + i;
    delivered = numFrames;
    if (!succeeded)
    {
        // The frames before the first one missed are good.
        const auto& unread = reader->getUnreadFrames();
        const std::int64_t good = unread.empty() ? 0 : unread.first - std::int64_t(fileFrame);
        delivered = std::uint64_t(std::clamp<std::int64_t>(good, 0, std::int64_t(numFrames)));
    }
    return succeeded;
}

std::uint64_t AudioFilePlayer::loadResidentRun(std::uint64_t& first, bool& readFailed)
{
    const std::uint64_t frames = ring.getShape().frames;
    if (ringUsed.load() >= frames)
        return 0;
    // The frame the audio side waits for comes first; otherwise loading goes
    // on from where the last run ended.
    std::uint64_t from = filePosition.load();
    const std::uint64_t due = segmentStart.load() + played.load();
    if (isPlaying() && due < std::min(segmentEnd.load(), frames) && !ring.isLoaded(due))
        from = due;
    first = ring.firstUnloaded(from);
    if (first >= frames)
        return 0;
    std::uint64_t delivered = 0;
    readFailed = !readIntoRing(first, ring.unloadedRun(first, maxFramesPerDiskPass), first, delivered);
    return delivered;
}

std::uint64_t AudioFilePlayer::streamFrames(std::uint64_t& write, std::uint64_t& position, bool& readFailed)
{
    skipUnderrunFrames();
    const std::uint64_t length = ring.getShape().frames;
    const std::uint64_t start = segmentStart.load();
    const std::uint64_t end = segmentEnd.load();
    std::uint64_t budget = getNumSamplesToReadFromDisk();
    write = ringWriteIndex.load();
    position = filePosition.load();
    std::uint64_t written = 0;
    while (budget > 0)
    {
        if (position >= end)
        {
            if (!loop.load(std::memory_order_acquire) || end == start)
                break;
            position = start;
        }
        const std::uint64_t frames = std::min({budget, end - position, length - write});
        std::uint64_t delivered = 0;
        readFailed = !readIntoRing(write, frames, position, delivered);
        write = (write + delivered) % length;
        position += delivered;
        budget -= delivered;
        written += delivered;
        if (readFailed)
            break;
    }
    return written;
}

std::uint64_t AudioFilePlayer::readSamplesFromDisk()
{
    std::uint64_t written = 0;
    double fill = 0.0;
    String failure;
    std::uint64_t failedFile = 0;
    {
        const std::lock_guard disk(diskMutex);
        if (reader == nullptr || !diskFailure.empty())
            return 0;
        const bool resident = ring.getShape().resident;
        std::uint64_t first = 0, write = 0, position = 0;
        bool readFailed = false;
        written = resident ? loadResidentRun(first, readFailed) : streamFrames(write, position, readFailed);
        // Once per pass, after reading and before publishing: whatever was
        // read from a file that changed meanwhile may be the new content.
        const String& path = reader->getFile().getFullPathName();
        if ((written > 0 || readFailed) && !reader->isUnchangedOnDisk())
        {
            written = 0;
            failure = "file changed on disk while playing: " + Quoted(path);
        }
        else if (readFailed)
        {
            const auto& unread = reader->getUnreadFrames();
            failure = "read error in " + Quoted(path) + " at frames " + ToString(unread.first) + " to "
                    + ToString(unread.last);
        }
        if (written > 0)
        {
            if (resident)
            {
                ring.markLoaded(first, written);
                filePosition.store(first + written);
            }
            else
            {
                ringWriteIndex.store(write);
                filePosition.store(position);
            }
            ringUsed.fetch_add(written);
        }
        if (!failure.empty())
        {
            diskFailure = failure;
            failedFile = openedFiles.load();
        }
        fill = getFillPercentage();
    }
    if (written > 0)
    {
        diskDeliveries.fetch_add(1);
        wakeDiskWaiter();
    }
    if (!failure.empty())
        postDiskFailure(failure, failedFile);
    // Listeners are called without the disk mutex, so that one that sends
    // a message back cannot take the two mutexes in the wrong order.
    reportBuffering(fill, false);
    return written;
}

void AudioFilePlayer::postDiskFailure(const String& text, std::uint64_t file)
{
    ReportError(text);
    // Not for a file opened since: its own pass decides for it.
    const std::lock_guard disk(diskMutex);
    if (openedFiles.load() == file)
        diskStopped.store(true, std::memory_order_release);
    // A block waiting for the disk plays what the ring holds, then ends.
    wakeDiskWaiter();
}

void AudioFilePlayer::sendUnderrunReports()
{
    Underrun underrun;
    while (underrunReports.TryPop([&underrun](Underrun& queued) noexcept { underrun = queued; }))
    {
        String path;
        {
            const std::lock_guard disk(diskMutex);
            path = underrun.file == openedFiles.load() && reader != nullptr ? reader->getFile().getFullPathName()
                                                                       : previousFilePath;
        }
        const double milliseconds = framesToMilliseconds(underrun.firstFrame);
        ReportWarning("disk underrun: " + ToString(underrun.frames) + " frames of silence at "
                      + ToString(milliseconds) + " ms in \"" + path + "\"");
        OscBundle report;
        report.AddMessage(OscMessage(UnderrunAddress())
                              .AddInt64(std::int64_t(underrun.frames))
                              .AddFloat64(milliseconds));
        sendToListeners(report, false);
    }
}

void AudioFilePlayer::ReportNonFiniteSamples()
{
    String path;
    {
        const std::lock_guard disk(diskMutex);
        const std::uint64_t file = openedFiles.load();
        if (reader == nullptr || !reader->hasReplacedNonFiniteSamples() || nonFiniteWarnedFile == file)
            return;
        nonFiniteWarnedFile = file;
        path = reader->getFile().getFullPathName();
    }
    ReportWarning(AudioFileReader::NonFiniteSamplesWarning(path));
}

} // namespace kel
