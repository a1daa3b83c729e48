// Shared by the tests: the text and place of what an action throws, and the
// lines of a bundle or of a program's output.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "common/KelException.h"
#include "osc/KelOscBundle.h"

namespace kel::test {

/** What the kel::Exception that action throws says (its message, or the
    source path it records), or "<no exception>". */
inline std::string Thrown(const std::function<void()>& action, bool path = false)
{
    try
    {
        action();
    }
    catch (const kel::Exception& e)
    {
        return path ? e.getLocation().path : e.getMessage();
    }
    return "<no exception>";
}

inline std::string ThrownMessage(const std::function<void()>& action) { return Thrown(action); }
inline std::string ThrownPath(const std::function<void()>& action) { return Thrown(action, true); }

/** "<no exception>" for an empty expected error, else the error with
    "{path}" standing for the quoted path. */
inline std::string Expected(std::string error, const std::string& path = {})
{
    if (error.empty())
        return "<no exception>";
    if (const auto at = error.find("{path}"); at != std::string::npos)
        error.replace(at, 6, "\"" + path + "\"");
    return error;
}

/** The text form of every message, depth first. */
inline std::vector<std::string> Lines(const kel::OscBundle& bundle)
{
    std::vector<std::string> lines;
    bundle.ForEachMessage([&](const kel::OscMessage& m) { lines.push_back(m.toString()); });
    return lines;
}

/** Text split at newlines; a last line without one counts too. */
inline std::vector<std::string> Lines(const std::string& text)
{
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (auto end = text.find('\n'); end != std::string::npos; end = text.find('\n', start))
    {
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    if (start < text.size())
        lines.push_back(text.substr(start));
    return lines;
}

} // namespace kel::test
