#include "MaxsimScript.h"

#include <cstdlib>

namespace maxsim
{
namespace
{

bool expand(const std::string& text, std::string& out, std::string& error)
{
    out.clear();
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        if (text[i] == '$' && i + 1 < text.size() && text[i + 1] == '{')
        {
            const std::size_t end = text.find('}', i + 2);
            if (end == std::string::npos)
            {
                error = "unterminated ${";
                return false;
            }
            const std::string name = text.substr(i + 2, end - i - 2);
            const char* value = std::getenv(name.c_str());
            if (!value)
            {
                error = "environment variable " + name + " is not set";
                return false;
            }
            out += value;
            i = end;
        }
        else
            out += text[i];
    }
    return true;
}

}  // namespace

bool ReadScriptLine(std::istream& in, ScriptLine& line, int& lineNumber, std::string& error)
{
    std::string raw;
    while (std::getline(in, raw))
    {
        ++lineNumber;
        const std::size_t first = raw.find_first_not_of(" \t\r");
        if (first == std::string::npos || raw[first] == '#')
            continue;
        line = ScriptLine {};
        line.number = lineNumber;
        std::string text;
        if (!expand(raw.substr(first), text, error))
            return true;
        while (!text.empty() && (text.back() == '\r' || text.back() == ' ' || text.back() == '\t'))
            text.pop_back();
        const std::size_t space = text.find_first_of(" \t");
        line.command = text.substr(0, space);
        if (space != std::string::npos)
            line.rest = text.substr(text.find_first_not_of(" \t", space));
        return true;
    }
    return false;
}

}  // namespace maxsim
