#include "osc/KelOscCollFormat.h"

namespace kel::detail {

namespace {

bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

void AppendEscaped(String& out, std::string_view text)
{
    for (const char c : text)
    {
        if (c == '\\' || c == ',' || c == ';' || c == '"')
            out += '\\';
        out += c;
    }
}

std::string_view Trimmed(std::string_view text)
{
    while (!text.empty() && IsBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

} // namespace

String FormatCollEntry(std::size_t index, const OscMessage& message)
{
    String line = std::to_string(index) + ", ";
    AppendEscaped(line, message.getAddressPattern().getText());
    for (std::size_t i = 0; i < message.getNumArguments(); ++i)
    {
        line += ' ';
        const OscArgument& argument = message[i];
        // A string's text form is quoted, and quoted text needs no escape;
        // the other forms hold no character that would.
        line += argument.toString();
    }
    line += ";\n";
    return line;
}

Vector<CollEntry> ParseCollEntriesWithPlaces(std::string_view fileText)
{
    Vector<CollEntry> entries;
    String index, data;
    bool inIndex = true, inQuotes = false, tokenStart = true;
    std::size_t begin = 0;
    bool begun = false;

    const auto finishEntry = [&](std::size_t end)
    {
        const std::string_view trimmed = Trimmed(data);
        if (!inIndex && !trimmed.empty())
            entries.PushBack(CollEntry{String(trimmed), begin, end});
        index.clear();
        data.clear();
        inIndex = true;
        inQuotes = false;
        tokenStart = true;
        begun = false;
    };

    for (std::size_t i = 0; i < fileText.size(); ++i)
    {
        const char c = fileText[i];
        if (!begun && !IsBlank(c))
        {
            begin = i;
            begun = true;
        }
        String& target = inIndex ? index : data;
        if (inQuotes)
        {
            target += c;
            inQuotes = c != '"';
            continue;
        }
        if (c == '\\' && i + 1 < fileText.size())
        {
            target += fileText[++i];
            tokenStart = false;
            continue;
        }
        if (c == ';')
        {
            finishEntry(i + 1);
            continue;
        }
        if (c == ',' && inIndex)
        {
            inIndex = false;
            tokenStart = true;
            continue;
        }
        if (c == '"' && tokenStart)
            inQuotes = true;
        target += c;
        tokenStart = IsBlank(c);
    }
    finishEntry(fileText.size()); // a last entry without its ";"
    return entries;
}

Vector<String> ParseCollEntries(std::string_view fileText)
{
    Vector<String> data;
    for (CollEntry& entry : ParseCollEntriesWithPlaces(fileText))
        data.PushBack(std::move(entry.data));
    return data;
}

} // namespace kel::detail
