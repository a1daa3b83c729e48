// kel::PlayerStatus: what a player's status window shows, read in one go.
// Plain data, no toolkit: the engine fills it, a window draws it.
#pragma once

#include <cstdint>
#include <vector>

#include "common/KelString.h"

namespace kel {

struct PlayerStatus
{
    enum class Transport { stopped, playing, paused, looping };

    struct Marker
    {
        String label;
        double positionMs = 0.0;
    };

    String fileName;   // empty: no file open
    String formatLine; // the file's format in one line, as "/info" words it
    Transport transport = Transport::stopped;
    double positionMs = 0.0;
    double lengthMs = 0.0;
    double progressPercent = 0.0;
    double fillPercent = 0.0;
    std::vector<Marker> markers; // in file order
    int lastPassedMarker = -1;   // index into markers; -1: none passed yet
};

} // namespace kel
