// The recording of a box whose file changed on disk (or could no longer be
// read) while it played: nothing in it may be louder than the file as it was,
// and it must hold the file's frames from the start up to where playback
// ended, each with its time on the position signal, then only silence with
// the position held right after the last frame played, before the file's end.
#pragma once

#include "RecordedSound.h"

// Prints what was found on stdout and the first fault on stderr; true when
// there was none.
bool CheckEndedEarly(const RecordedSound& recording, const RecordedSound& source);
