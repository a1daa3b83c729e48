// The words and numbers the status panel shows, as plain text: kept separate
// from the drawing so that what the user reads can be checked directly.
//
// Any thread; allocates.
#pragma once

#include "dsp/KelPlayerStatus.h"

namespace kel::gui {

/** "stopped", "playing", "paused" or "looping". */
String TransportWord(PlayerStatus::Transport transport);

/** A clock time, truncated to the millisecond: "m:ss.mmm" below an hour
    ("0:03.000", "12:34.567"), "h:mm:ss.mmm" from an hour on ("1:02:03.004").
    Negative and non-finite times show as "0:00.000". */
String ClockText(double milliseconds);

/** "position / length", both as ClockText. */
String PositionText(const PlayerStatus& status);

/** A percentage rounded to a whole number: "42 %". */
String PercentText(double percent);

/** The file's name, or "no audio file" (the words of "/info") without one. */
String FileNameText(const PlayerStatus& status);

} // namespace kel::gui
