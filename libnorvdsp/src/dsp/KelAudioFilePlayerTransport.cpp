// The transport: open a file, play it whole, from a time, a segment or a
// marker, pause, resume, and the reports asked for by message. Everything
// here runs on the message thread. Operations that reset the ring hold a
// TransportChange (the transport mutex, the audio side kept away) and take
// the disk mutex while they change what the disk pass reads.
#include <algorithm>
#include <cmath>
#include <functional>

#include "audiofiles/KelAudioFileInfo.h"
#include "audiofiles/KelAudioFileReports.h"
#include "common/KelException.h"
#include "dsp/KelAudioFilePlayer.h"
#include "dsp/KelAudioFilePlayerScopes.h"

namespace kel {

namespace {

const OscAddressPattern& MarkerAddress()
{
    static const OscAddressPattern address("/marker");
    return address;
}
const OscAddressPattern& PlayedTotalAddress()
{
    static const OscAddressPattern address("/played/total");
    return address;
}

/** The rate truncated to a whole number: "44.1 kHz" for the usual rates,
    else the number and " Hz". */
String RateText(double rate)
{
    return SampleRateText(std::isfinite(rate) ? std::trunc(rate) : rate);
}

String QuotedText(const String& text)
{
    return "\"" + text + "\"";
}

} // namespace

void AudioFilePlayer::requireOpenFile() const
{
    if (reader == nullptr)
        throw Exception("No open file", KEL_HERE);
}

void AudioFilePlayer::requirePlayableFile()
{
    requireOpenFile();
    String failure;
    {
        const std::lock_guard disk(diskMutex);
        // Asked again at every start: a file rewritten while the player
        // stood still would otherwise start from what the ring holds of it.
        if (diskFailure.empty() && !reader->isUnchangedOnDisk())
        {
            diskFailure = "file changed on disk while playing: " + Quoted(reader->getFile().getFullPathName());
            diskStopped.store(true, std::memory_order_release);
        }
        failure = diskFailure;
    }
    if (!failure.empty())
        throw Exception(failure, KEL_HERE);
}

std::uint64_t AudioFilePlayer::millisecondsToFrames(double msec) const noexcept
{
    const double frames = std::max(0.0, msec) * 0.001 * getSampleRate();
    const std::uint64_t length = fileLength.load(std::memory_order_relaxed);
    if (!(frames < double(length)))
        return length;
    return static_cast<std::uint64_t>(frames);
}

double AudioFilePlayer::framesToMilliseconds(std::uint64_t frames) const noexcept
{
    return double(frames) * 1000.0 / getSampleRate();
}

// ---------------------------------------------------------------------------
// Open

void AudioFilePlayer::OpenAudioFile(const File& file)
{
    ScopedPointer<AudioFileReader> newReader = AudioFileReader::CreateReaderFor(file);
    if (newReader == nullptr)
        throw exceptions::NoSuchFile(file, KEL_HERE);
    OpenAudioFile(std::move(newReader));
}

void AudioFilePlayer::OpenAudioFile(ScopedPointer<AudioFileReader> newReader)
{
    // Everything that can fail comes before the first change.
    if (newReader == nullptr)
        throw Exception("No open file", KEL_HERE);
    const String lengthWarning = newReader->getLengthWarning();
    Vector<MarkerReport> newMarkers;
    for (const auto& marker : newReader->getMarkers())
    {
        MarkerReport entry;
        entry.position = marker->position;
        OscMessage message(MarkerAddress());
        message.AddInt32(marker->identifier)
            .AddInt32(marker->position)
            .AddString(marker->label);
        entry.report.AddMessage(std::move(message));
        newMarkers.PushBack(std::move(entry));
    }
    // By position, so the audio side finds a block's markers by bisection;
    // markers at the same frame keep the file's order.
    std::stable_sort(newMarkers.begin(), newMarkers.end(),
                     [](const MarkerReport& a, const MarkerReport& b) { return a.position < b.position; });

    // The ring is as wide as what is heard, not as the file: a ring as wide
    // as the file would hold channels nobody hears (a 600-channel file in an
    // 8-channel box took 1.15 GB). It is as long as the buffer size or the
    // file, whichever is shorter, and a file that fits is held whole.
    PlayerRing::Shape shape;
    shape.channels = std::min(numChannels, newReader->getNumChannels());
    const auto length = std::uint64_t(std::max<std::int64_t>(newReader->getLengthInSamples(), 0));
    shape.resident = length <= ringCapacity;
    shape.frames = std::min(length, ringCapacity);
    // A ring of the same shape is reused as it is; a new one is allocated
    // before the old one goes, so that a refusal leaves the old file playing.
    // Destroyed last, after the audio side is let back in: the old ring.
    PlayerRing newRing;
    const bool reuse = ring.getShape() == shape;
    if (!reuse)
        newRing = PlayerRing::Allocate(shape, newReader->getFile().getFullPathName());

    const TransportChange change(*this);
    {
        const std::lock_guard disk(diskMutex);
        if (reuse)
            ring.forgetLoaded();
        else
            std::swap(ring, newRing);
        ringLength.store(shape.frames, std::memory_order_release);
        ringResident.store(shape.resident, std::memory_order_release);
        ringUsed.store(0);
        if (reader != nullptr)
        {
            playing.store(false);
            played.store(0);
            totalPlayed.store(0);
            previousFilePath = reader->getFile().getFullPathName();
        }
        resetRing(0);
        openedFiles.fetch_add(1);
        diskFailure.clear();
        diskStopped.store(false);
        reader = std::move(newReader);
        markerReports = std::move(newMarkers);
        fileLength.store(std::uint64_t(std::max<std::int64_t>(reader->getLengthInSamples(), 0)));
        fileChannels.store(reader->getNumChannels());
        // With a segment length of 0 the next "/resume" plays the whole file.
        segmentLength.store(0);
        segmentStart.store(0);
        segmentEnd.store(fileLength.load());
        fileIsOpen.store(true, std::memory_order_release);
    }

    // A header that declares more (or less) than the file holds: the file
    // plays for what it holds, and the user learns why.
    if (!lengthWarning.empty())
        ReportWarning(lengthWarning);
    warnAboutSampleRate();
    // The thread buffers the head of the file now, so a start costs no wait.
    RequestBuffering();
    dumpMetadata();
}

void AudioFilePlayer::warnAboutSampleRate()
{
    String path;
    double fileRate = 0.0;
    {
        const std::lock_guard disk(diskMutex);
        if (reader == nullptr)
            return;
        path = reader->getFile().getFullPathName();
        fileRate = reader->getSampleRate();
    }
    // Once per file and host rate: at the open, when the host starts its
    // audio, and when its rate changes.
    const double hostRate = getSampleRate();
    const std::uint64_t file = openedFiles.load();
    if (fileRate == hostRate || (file == warnedFile && hostRate == warnedRate))
        return;
    warnedFile = file;
    warnedRate = hostRate;
    // The two blanks before the host's rate are part of the text.
    ReportWarning("sampling rate in " + QuotedText(path) + " (" + RateText(fileRate) + ")"
                  + " differs from the host current samplerate " + " (" + RateText(hostRate) + ")");
}

// ---------------------------------------------------------------------------
// Playing

void AudioFilePlayer::PlayWhole()
{
    const TransportChange change(*this);
    playing.store(false);
    requirePlayableFile();
    {
        const std::lock_guard disk(diskMutex);
        // The ring still holds the head of the file when nothing has been
        // played since it was read and its frames, by their tags, are the
        // file's frames 0 to used - 1 in order (a loop that started over
        // would have moved the file position elsewhere).
        const std::uint64_t used = ringUsed.load();
        const std::uint64_t* tags = ring.tags();
        const bool keep = !ring.getShape().resident && ringReadIndex.load() == 0 && used > 0
                       && filePosition.load() == used && tags[0] == 0 && tags[used - 1] == used - 1;
        if (!keep)
            resetRing(0);
        forgetUnderrun();
        ringReadIndex.store(0);
        played.store(0);
        totalPlayed.store(0);
        segmentLength.store(fileLength.load());
        segmentEnd.store(fileLength.load());
        segmentStart.store(0);
    }
    reportProgress(0.0, false);
    bufferFirstBlock();
    playing.store(true, std::memory_order_release);
}

void AudioFilePlayer::Seek(double msec)
{
    const TransportChange change(*this);
    playing.store(false);
    requirePlayableFile();
    if (!(std::max(0.0, msec) > 0.0))
    {
        PlayWhole();
        return;
    }
    playFrom(millisecondsToFrames(msec), fileLength.load());
}

void AudioFilePlayer::Seek(double startMsec, double endMsec)
{
    const TransportChange change(*this);
    playing.store(false);
    requirePlayableFile();
    const std::uint64_t a = millisecondsToFrames(startMsec);
    const std::uint64_t b = millisecondsToFrames(endMsec);
    playFrom(std::min(a, b), std::max(a, b));
}

void AudioFilePlayer::resetRing(std::uint64_t startFrame)
{
    played.store(0);
    filePosition.store(startFrame);
    forgetUnderrun();
    // A resident file keeps what is loaded: ring frame i holds file frame i
    // whatever plays next. Loading goes on from the new start.
    if (ring.getShape().resident)
        return;
    ringReadIndex.store(0);
    ringWriteIndex.store(0);
    ringUsed.store(0, std::memory_order_release);
}

void AudioFilePlayer::forgetUnderrun() noexcept
{
    // The audio side is kept away: its underrun ends here, and the frames
    // it owed the stream belong to what the reset threw away.
    endUnderrun();
    underrunDebt.store(0);
}

void AudioFilePlayer::bufferFirstBlock()
{
    // One pass reads at most 4096 frames; a larger block would start with
    // an underrun.
    while (!hasFramesFor(getBlockSize()) && readSamplesFromDisk() > 0)
    {
    }
}

void AudioFilePlayer::playFrom(std::uint64_t startFrame, std::uint64_t endFrame)
{
    {
        const std::lock_guard disk(diskMutex);
        segmentStart.store(startFrame);
        segmentEnd.store(endFrame);
        segmentLength.store(endFrame - startFrame);
        resetRing(startFrame);
    }
    reportProgress(0.0, false);
    bufferFirstBlock();
    playing.store(true, std::memory_order_release);
}

void AudioFilePlayer::playFromMarker(const AudioFilesMetadata::Marker& marker)
{
    // From the marker's own frame: a round trip through milliseconds could
    // land one frame early.
    playing.store(false);
    if (marker.position <= 0)
        PlayWhole();
    else
        playFrom(std::min(std::uint64_t(marker.position), fileLength.load()), fileLength.load());
}

void AudioFilePlayer::SeekMarker(const String& label)
{
    seekFirstMarker([&](const AudioFilesMetadata::Marker& marker) { return marker.label == label; },
                    "no marker with label " + QuotedText(label));
}

void AudioFilePlayer::SeekMarker(unsigned int identifier)
{
    seekFirstMarker(
        [&](const AudioFilesMetadata::Marker& marker)
        { return marker.identifier >= 0 && static_cast<unsigned int>(marker.identifier) == identifier; },
        "no marker with ID " + QuotedText(ToString(identifier)));
}

void AudioFilePlayer::seekFirstMarker(const std::function<bool(const AudioFilesMetadata::Marker&)>& matches,
                                      const String& notFound)
{
    const TransportChange change(*this);
    requirePlayableFile();
    const auto& markers = reader->getMarkers();
    if (markers.empty())
        throw Exception("there is no marker", KEL_HERE);
    for (const auto& marker : markers)
        if (matches(*marker))
        {
            playFromMarker(*marker);
            return;
        }
    throw Exception(notFound, KEL_HERE);
}

void AudioFilePlayer::Resume()
{
    // Nothing to resume while playing: a pass that has just started over
    // (played 0 at a loop's start, or right after a seek) must not be taken
    // for a player that has never started.
    if (isPlaying())
        return;
    const std::uint64_t soFar = played.load();
    if (soFar == 0 || soFar >= segmentLength.load())
    {
        PlayWhole();
        return;
    }
    requirePlayableFile();
    playing.store(true, std::memory_order_release);
}

void AudioFilePlayer::Switch()
{
    if (isPlaying())
        Pause();
    else
        Resume();
}

// ---------------------------------------------------------------------------
// Reports asked for by message

OscBundle AudioFilePlayer::buildMetadataDump() const
{
    OscBundle dump;
    AppendMetadataDump(reader->getFile(), reader->getMetadata(), dump);
    return dump;
}

void AudioFilePlayer::dumpMetadata()
{
    OscBundle dump;
    {
        const std::lock_guard disk(diskMutex);
        requireOpenFile();
        dump = buildMetadataDump();
    }
    sendToListeners(dump, false);
}

void AudioFilePlayer::ReportPlayedTotal()
{
    OscBundle report;
    report.AddDoubleMessage(PlayedTotalAddress(), framesToMilliseconds(totalPlayed.load()));
    sendToListeners(report, false);
}

} // namespace kel
