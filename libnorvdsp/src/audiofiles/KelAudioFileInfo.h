// The texts that describe an opened file: its format with the RF64, BWF and
// Wave64 marks, a duration in words, a sample rate and a one-line summary.
//
// Any thread; allocates.
#pragma once

#include "audiofiles/KelAudioFilesMetadata.h"

namespace kel {

/** formatName, then " (RF64 / BWF)", " (RF64)", " (BWF)" or " (w64)". */
String FormatText(const AudioFilesMetadata& metadata);

/** "45.5 ms", "250 ms", "12.35 sec", "1 h 0 min 5 sec". */
String DurationText(double milliseconds);

/** "44.1 kHz" for the usual rates, else the rate and " Hz". */
String SampleRateText(double sampleRate);

/** The file's length in milliseconds (0 without a rate). */
double LengthInMilliseconds(const AudioFilesMetadata& metadata);

/** "2 channels, 48 kHz, 96000 samples, 2.00 sec, 24 bits", or empty when
    the record does not describe a readable file. */
String SummaryText(const AudioFilesMetadata& metadata);

} // namespace kel
