// The player's status for a window, read in one go on the main thread: the
// transport from its atomics, the file's facts from the open reader.
#include <algorithm>

#include "audiofiles/KelAudioFileInfo.h"
#include "dsp/KelAudioFilePlayer.h"

namespace kel {

namespace {

/** The words the file's reports already use: "WAV File, 2 channels,
    48 kHz, 96000 samples, 2.00 sec, 24 bits". */
String FormatLine(const AudioFilesMetadata& metadata)
{
    const String summary = SummaryText(metadata);
    return summary.empty() ? FormatText(metadata) : FormatText(metadata) + ", " + summary;
}

} // namespace

PlayerStatus AudioFilePlayer::GetPlayerStatus() const
{
    PlayerStatus status;
    // Without the disk mutex, unlike "/info": the reader is replaced only by
    // an open, which runs on this same thread, and what is read of it (its
    // path and metadata) is written by its constructor alone. So nothing
    // changes under this read, and a window's refresh never waits for a
    // disk pass, however slow the disk.
    if (reader == nullptr)
        return status;
    const AudioFilesMetadata& metadata = reader->getMetadata();
    status.fileName = reader->getFile().getFileName();
    status.formatLine = FormatLine(metadata);

    // Only the audio thread moves played (and a loop's wrap resets it);
    // the segment changes on this thread only.
    const std::uint64_t start = segmentStart.load(std::memory_order_relaxed);
    const std::uint64_t end = segmentEnd.load(std::memory_order_relaxed);
    const std::uint64_t length = segmentLength.load(std::memory_order_relaxed);
    const std::uint64_t soFar = played.load(std::memory_order_relaxed);
    // The frame due next, as the position outlet holds it while stopped.
    const std::uint64_t position = std::min(start + soFar, end);

    if (isPlaying())
        status.transport = isLooping() ? PlayerStatus::Transport::looping : PlayerStatus::Transport::playing;
    else if (soFar > 0 && soFar < length)
        // What Resume would continue from rather than start over ("/stop"
        // keeps the position as "/pause" does).
        status.transport = PlayerStatus::Transport::paused;

    // At the host's rate, as the position outlet: the file plays at it.
    status.positionMs = framesToMilliseconds(position);
    status.lengthMs = framesToMilliseconds(fileLength.load(std::memory_order_relaxed));
    status.progressPercent = length == 0 ? 0.0 : std::min(100.0, double(soFar) * 100.0 / double(length));
    status.fillPercent = getFillPercentage();

    std::int64_t passedAt = -1;
    const auto& markers = reader->getMarkers();
    status.markers.reserve(markers.size());
    for (std::size_t i = 0; i < markers.size(); ++i)
    {
        const AudioFilesMetadata::Marker& marker = *markers[i];
        const std::int64_t at = std::max<std::int64_t>(marker.position, 0);
        status.markers.push_back({marker.label, framesToMilliseconds(std::uint64_t(at))});
        // The latest position passed; of markers at the same frame, the
        // last in file order, as the audio side reports them.
        if (std::uint64_t(at) <= position && at >= passedAt)
        {
            passedAt = at;
            status.lastPassedMarker = int(i);
        }
    }
    return status;
}

} // namespace kel
