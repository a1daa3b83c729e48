// The recording of a box playing the frame-index file (sfplay-make-frame-index),
// checked sample by sample: which frame each recorded sample carries, that
// passes over the segment follow each other seamlessly, and that the position
// signal carries that frame's time exactly.
#pragma once

#include "RecordedSound.h"

struct FrameIndexSegment
{
    sf_count_t start = 0;
    sf_count_t end = 0;  // exclusive
    bool loop = false;
    long passes = -1;  // complete passes required; -1: any
    bool floatPositions = false;  // recorded as 32-bit floats (Pd's signals): each time's nearest float
};

// Prints what was found (and the largest position error, in frames) on
// stdout and every fault on stderr; true when none was found.
bool CheckFrameIndex(const RecordedSound& recording, const RecordedSound& source, const FrameIndexSegment& segment);
