// The recording of a Pd box (written by [writesf~] as 32-bit float, so the
// position arrives as the float the box wrote) checked against its source
// as libsndfile reads it: silence until playback begins, then the source's
// frames over a segment, once or looping, each on the outlets recorded and
// with its time on the position signal, then silence with the position
// holding the segment end's time.
#pragma once

#include <vector>

#include "RecordedSound.h"

struct PdRecording
{
    static constexpr int position = -1;
    // For each recorded channel, the box's signal outlet it holds (from 0),
    // or `position`. An outlet beyond the source's channels must be silent.
    std::vector<int> outlets;
    sf_count_t start = 0;
    sf_count_t end = 0;  // exclusive
    bool loop = false;
    long passes = -1;  // complete passes required; -1: any (one without loop)
};

// Prints what was found on stdout and the first faults on stderr; true when
// there was none.
bool CheckPdRecording(const RecordedSound& recording, const RecordedSound& source, const PdRecording& expected);
