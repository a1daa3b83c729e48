// What the player reports about an opened file, as OSC messages appended to
// a bundle: the basic facts, the broadcast-wave fields and the markers, and
// the whole metadata dump that starts with the file's path.
//
// Any thread, on a record no one is modifying; allocates.
#pragma once

#include "audiofiles/KelAudioFilesMetadata.h"
#include "files/KelFile.h"
#include "osc/KelOscBundle.h"

namespace kel {

/** Addresses the file reports share with the player's state report, each
    built once. */
const OscAddressPattern& FilenameAddress();
const OscAddressPattern& LengthAddress();
const OscAddressPattern& ChannelNumberAddress();

/** "/length" (ms), "/samples", "/samplerate", "/bitdepth",
    "/channel/number", "/format", "/duration", "/float". */
void AppendInfoReport(const AudioFilesMetadata& metadata, OscBundle& bundle);

/** One "/chunk/bwf/..." message per broadcast-wave field; nothing without
    fields. */
void AppendBroadcastWaveReport(const AudioFilesMetadata& metadata, OscBundle& bundle);

/** "/chunk/mark/marker/number", then "/chunk/mark/marker/<n>" with
    identifier, position and label for each marker, n from 1. */
void AppendMarkerReport(const AudioFilesMetadata& metadata, OscBundle& bundle);

/** "/filename" with the path, then the three reports above. */
void AppendMetadataDump(const File& file, const AudioFilesMetadata& metadata, OscBundle& bundle);

} // namespace kel
