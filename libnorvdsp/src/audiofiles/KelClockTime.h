// Splitting a time in seconds into hours, minutes and seconds for display:
// hours and minutes truncated, seconds rounded to nearest (ties to even),
// with the carries that keep a rounded 60 out of the seconds and minutes.
#pragma once

#include <cmath>

namespace kel {

struct ClockTime
{
    double hours = 0.0;
    double minutes = 0.0;
    double seconds = 0.0;
};

inline ClockTime SplitClockTime(double totalSeconds)
{
    ClockTime t;
    t.hours = std::floor(totalSeconds / 3600.0);
    t.minutes = std::floor((totalSeconds - t.hours * 3600.0) / 60.0);
    t.seconds = std::nearbyint(totalSeconds) - (t.hours * 60.0 + t.minutes) * 60.0;
    if (t.seconds == 60.0)
    {
        t.seconds = 0.0;
        t.minutes += 1.0;
        if (t.minutes == 60.0)
        {
            t.minutes = 0.0;
            t.hours += 1.0;
        }
    }
    return t;
}

} // namespace kel
