#include "osc/KelOscHelper.h"

#include "common/KelException.h"
#include "osc/KelOscCollFormat.h"
#include "osc/KelOscInputStream.h"

namespace kel {

namespace {

String LoadOrRefuse(const File& file)
{
    if (!file.existsAsFile())
        throw exceptions::UnsupportedFile(file, KEL_HERE);
    try
    {
        return file.loadFileAsString();
    }
    catch (const exceptions::NoSuchFile&)
    {
        throw exceptions::UnsupportedFile(file, KEL_HERE);
    }
}

bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

bool IsBinaryExtension(const File& file)
{
    return file.hasFileExtension("osc") || file.hasFileExtension("wfs");
}

} // namespace

bool OscHelper::looksBinary(std::string_view content) noexcept
{
    return content.find('\0') != std::string_view::npos;
}

OscBundle OscHelper::CreateFromTextLines(std::string_view text)
{
    if (text.starts_with("\xEF\xBB\xBF"))
        text.remove_prefix(3);
    OscBundle bundle;
    while (!text.empty())
    {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);

        while (!line.empty() && IsBlank(line.front()))
            line.remove_prefix(1);
        while (!line.empty() && IsBlank(line.back()))
            line.remove_suffix(1);
        if (line.empty() || line.front() == '#')
            continue;
        if (line.back() == ',' || line.back() == ';')
            line.remove_suffix(1);
        if (!line.empty())
            bundle.AddMessage(OscMessage::CreateFromText(line));
    }
    return bundle;
}

OscBundle OscHelper::CreateFromCollText(std::string_view text)
{
    OscBundle bundle;
    for (const String& entry : detail::ParseCollEntries(text))
        bundle.AddMessage(OscMessage::CreateFromText(entry));
    return bundle;
}

OscBundle OscHelper::CreateFromTextFile(const File& file)
{
    return CreateFromTextLines(LoadOrRefuse(file));
}

OscBundle OscHelper::CreateFromCollFile(const File& file)
{
    return CreateFromCollText(LoadOrRefuse(file));
}

OscBundle OscHelper::CreateFromBinaryFile(const File& file)
{
    const String content = LoadOrRefuse(file);
    OscInputStream stream(content.data(), content.size());
    return stream.ReadPacketAsBundle();
}

OscBundle OscHelper::CreateFromFile(const File& file)
{
    if (file.hasFileExtension("coll"))
        return CreateFromCollFile(file);
    const String content = LoadOrRefuse(file);
    if (IsBinaryExtension(file) && looksBinary(content))
    {
        OscInputStream stream(content.data(), content.size());
        return stream.ReadPacketAsBundle();
    }
    return CreateFromTextLines(content);
}

bool OscHelper::SaveToFile(const OscBundle& bundle, const File& file, Overwrite overwrite,
                           std::string_view description)
{
    if (IsBinaryExtension(file))
        return bundle.SaveAsBinaryFile(file, overwrite);
    if (file.hasFileExtension("coll"))
        return bundle.SaveAsCollFile(file, overwrite);
    return bundle.SaveAsTextFile(file, overwrite, description);
}

} // namespace kel
