// Texts that hold several OSC messages, and messages that name a window:
// what every host binding reads the same way.
//
// Pure functions; any thread.
#pragma once

#include <algorithm>
#include <string_view>

#include "osc/KelOscMessage.h"

namespace kel {

/** Calls piece(std::string_view) for each part of text between commas that
    holds more than blanks, in order: the messages of an "initwith" text. */
template <typename Piece>
void ForEachCommaSeparated(std::string_view text, Piece&& piece)
{
    std::size_t start = 0;
    while (start <= text.size())
    {
        const std::size_t comma = std::min(text.find(',', start), text.size());
        const std::string_view part = text.substr(start, comma - start);
        if (part.find_first_not_of(" \t\r\n") != std::string_view::npos)
            piece(part);
        start = comma + 1;
    }
}

/** "help", "status" or "snapshot" for "/help", "/status" or "/snapshot",
    alone or followed by "/open" or "/openorclose", without arguments (the
    messages that show an object's windows); empty for any other message. */
std::string_view WindowOfMessage(const OscMessage& message);

} // namespace kel
