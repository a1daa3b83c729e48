#include "osc/KelOscHelper.h"

#include "common/KelException.h"

namespace kel {

namespace {

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
    return detail::DecodeTextLines(text, nullptr);
}

OscBundle OscHelper::CreateFromCollText(std::string_view text)
{
    return detail::DecodeCollText(text, nullptr);
}

OscBundle OscHelper::CreateFromTextFile(const File& file, OscFileRole role)
{
    return std::move(OscFileContent::Read(file, OscFileContent::Reading::text, role).getBundle());
}

OscBundle OscHelper::CreateFromCollFile(const File& file, OscFileRole role)
{
    return std::move(OscFileContent::Read(file, OscFileContent::Reading::coll, role).getBundle());
}

OscBundle OscHelper::CreateFromBinaryFile(const File& file, OscFileRole role)
{
    return std::move(OscFileContent::Read(file, OscFileContent::Reading::binary, role).getBundle());
}

OscFileContent::Reading OscHelper::ReadingFor(const File& file) noexcept
{
    if (file.hasFileExtension("coll"))
        return OscFileContent::Reading::coll;
    if (IsBinaryExtension(file))
        return OscFileContent::Reading::byContent;
    return OscFileContent::Reading::text;
}

OscBundle OscHelper::CreateFromFile(const File& file, OscFileRole role)
{
    return std::move(OscFileContent::Read(file, ReadingFor(file), role).getBundle());
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
