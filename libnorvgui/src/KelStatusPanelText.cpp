#include "KelStatusPanelText.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace kel::gui {

String TransportWord(PlayerStatus::Transport transport)
{
    switch (transport)
    {
        case PlayerStatus::Transport::stopped: return "stopped";
        case PlayerStatus::Transport::playing: return "playing";
        case PlayerStatus::Transport::paused: return "paused";
        case PlayerStatus::Transport::looping: return "looping";
    }
    return "stopped";
}

String ClockText(double milliseconds)
{
    // Beyond a thousand years nobody reads the clock; the cap keeps the
    // conversion to an integer defined.
    constexpr double longest = 3.6e13;
    if (!(milliseconds > 0.0) || !std::isfinite(milliseconds))
        milliseconds = 0.0;
    // A position computed from frames lands a hair below a whole
    // millisecond as often as on it: not a millisecond early for that.
    const auto total = std::uint64_t(std::floor(std::min(milliseconds, longest) + 1.0e-6));
    const std::uint64_t ms = total % 1000;
    const std::uint64_t seconds = total / 1000 % 60;
    const std::uint64_t minutes = total / 60000 % 60;
    const std::uint64_t hours = total / 3600000;
    char text[48];
    if (hours > 0)
        std::snprintf(text, sizeof(text), "%llu:%02llu:%02llu.%03llu", static_cast<unsigned long long>(hours),
                      static_cast<unsigned long long>(minutes), static_cast<unsigned long long>(seconds),
                      static_cast<unsigned long long>(ms));
    else
        std::snprintf(text, sizeof(text), "%llu:%02llu.%03llu", static_cast<unsigned long long>(minutes),
                      static_cast<unsigned long long>(seconds), static_cast<unsigned long long>(ms));
    return text;
}

String PositionText(const PlayerStatus& status)
{
    return ClockText(status.positionMs) + " / " + ClockText(status.lengthMs);
}

String PercentText(double percent)
{
    const double shown = std::isfinite(percent) ? std::round(std::clamp(percent, 0.0, 100.0)) : 0.0;
    return ToString(int(shown)) + " %";
}

String FileNameText(const PlayerStatus& status)
{
    return status.fileName.empty() ? String("no audio file") : status.fileName;
}

} // namespace kel::gui
