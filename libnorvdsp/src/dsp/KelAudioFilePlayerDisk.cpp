// The disk side of the ring: one disk pass (at most 4096 frames read from the
// file into the ring, each ring frame tagged with the file frame it holds)
// and the buffering thread that runs passes and reports underruns and
// non-finite samples.
//
// A pass holds the disk mutex for its whole length. It writes only ring
// frames the audio side has finished with (the free part, counted by
// ringUsed), and publishes them by raising ringUsed afterwards, so the audio
// side never sees a frame, or its tag, before it is written.
// Nothing is written past the end of a segment that does not loop: the audio
// side ends playback at the segment's last frame, so what follows it in the
// ring is never played. A segment that loops is read again from its start
// as often as the pass has room for: a segment shorter than a pass (or than
// a block) repeats without a gap.
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
        if (written > 0 && player->getNumBufferedFrames() < player->getRingCapacity())
            continue;
        wait(player->getFillPercentage() >= topUpFillPercent ? 1000.0 : 100.0);
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
    return std::min(ringCapacity - used, maxFramesPerDiskPass);
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

bool AudioFilePlayer::readIntoRing(std::uint64_t ringIndex, std::uint64_t numFrames, std::uint64_t fileFrame)
{
    const bool succeeded = reader->read(ring, std::int64_t(ringIndex), std::int64_t(numFrames), std::int64_t(fileFrame));
    std::uint64_t* tags = ringFrames.data() + ringIndex;
    for (std::uint64_t i = 0; i < numFrames; ++i)
        tags[i] = fileFrame + i;
    return succeeded;
}

std::uint64_t AudioFilePlayer::readSamplesFromDisk()
{
    std::uint64_t written = 0;
    double fill = 0.0;
    {
        const std::lock_guard disk(diskMutex);
        if (reader == nullptr)
            return 0;
        skipUnderrunFrames();

        const std::uint64_t start = segmentStart.load();
        const std::uint64_t end = segmentEnd.load();
        std::uint64_t budget = getNumSamplesToReadFromDisk();
        std::uint64_t write = ringWriteIndex.load();
        std::uint64_t position = filePosition.load();
        bool succeeded = true;
        while (budget > 0)
        {
            if (position >= end)
            {
                if (!loop.load(std::memory_order_acquire) || end == start)
                    break;
                position = start;
            }
            const std::uint64_t frames = std::min({budget, end - position, ringCapacity - write});
            succeeded = readIntoRing(write, frames, position) && succeeded;
            write = (write + frames) % ringCapacity;
            position += frames;
            budget -= frames;
            written += frames;
        }
        ringWriteIndex.store(write);
        filePosition.store(position);
        if (written > 0)
            ringUsed.fetch_add(written);
        if (!succeeded)
            ReportError("AudioFilePlayer::readSamplesFromDisk() Error reading samples in "
                        + reader->getFile().getFullPathName());
        fill = getFillPercentage();
    }
    // Listeners are called without the disk mutex, so that one that sends
    // a message back cannot take the two mutexes in the wrong order.
    reportBuffering(fill, false);
    return written;
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
