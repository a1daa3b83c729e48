#include "osc/KelOscFileContent.h"

#include <algorithm>
#include <optional>

#include "osc/KelOscCollFormat.h"
#include "osc/KelOscInputStream.h"

namespace kel {

namespace detail {

namespace {

bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

} // namespace

DecodeFailure::DecodeFailure(const Exception& failure, ByteSpan bytes)
    : Exception(failure.getMessage(), failure.getLocation()), span(bytes)
{
}

OscBundle DecodeTextLines(std::string_view text, Vector<ByteSpan>* spans)
{
    OscBundle bundle;
    std::size_t next = text.starts_with(byteOrderMark) ? byteOrderMark.size() : 0;
    while (next < text.size())
    {
        const std::size_t lineEnd = std::min(text.find('\n', next), text.size());
        std::size_t begin = next, end = lineEnd;
        next = lineEnd + 1;

        while (begin < end && IsBlank(text[begin]))
            ++begin;
        while (end > begin && IsBlank(text[end - 1]))
            --end;
        if (begin == end || text[begin] == '#')
            continue;
        // A final "," or ";" (as Max's text and coll exports leave) is no argument.
        const std::size_t messageEnd = (text[end - 1] == ',' || text[end - 1] == ';') ? end - 1 : end;
        if (messageEnd == begin)
            continue;
        try
        {
            bundle.AddMessage(OscMessage::CreateFromText(text.substr(begin, messageEnd - begin)));
        }
        catch (const Exception& failure)
        {
            throw DecodeFailure(failure, ByteSpan{begin, end});
        }
        if (spans != nullptr)
            spans->PushBack(ByteSpan{begin, end});
    }
    return bundle;
}

OscBundle DecodeCollText(std::string_view text, Vector<ByteSpan>* spans)
{
    OscBundle bundle;
    for (const CollEntry& entry : ParseCollEntriesWithPlaces(text))
    {
        try
        {
            bundle.AddMessage(OscMessage::CreateFromText(entry.data));
        }
        catch (const Exception& failure)
        {
            throw DecodeFailure(failure, ByteSpan{entry.begin, entry.end});
        }
        if (spans != nullptr)
            spans->PushBack(ByteSpan{entry.begin, entry.end});
    }
    return bundle;
}

OscBundle DecodeBinaryPacket(std::string_view bytes, Vector<ByteSpan>* spans)
{
    OscInputStream stream(bytes.data(), bytes.size());
    Vector<std::size_t> offsets;
    if (spans != nullptr)
        stream.RecordMessageOffsets(&offsets);
    OscBundle bundle;
    try
    {
        bundle = stream.ReadPacketAsBundle();
    }
    catch (const Exception& failure)
    {
        throw DecodeFailure(failure, ByteSpan{stream.getFailureOffset(), bytes.size()});
    }
    if (spans != nullptr)
        for (const std::size_t offset : offsets)
            spans->PushBack(ByteSpan{offset, offset});
    return bundle;
}

} // namespace detail

OscFileContent::OscFileContent(File contentFile, OscFileRole contentRole)
    : file(std::move(contentFile)), role(contentRole)
{
}

OscFileContent OscFileContent::Read(const File& file, Reading reading, OscFileRole role)
{
    OscFileContent content(file, role);
    const auto refuse = [&] { return content.Error("Could not open file. Unsupported format?", KEL_HERE); };
    if (!file.existsAsFile())
        throw refuse();
    try
    {
        content.bytes = file.loadFileAsString();
    }
    catch (const exceptions::NoSuchFile&)
    {
        throw refuse();
    }

    content.binary = reading == Reading::binary ||
                     (reading == Reading::byContent && content.bytes.find('\0') != String::npos);
    try
    {
        if (content.binary)
            content.bundle = detail::DecodeBinaryPacket(content.bytes, &content.spans);
        else if (reading == Reading::coll)
            content.bundle = detail::DecodeCollText(content.bytes, &content.spans);
        else
            content.bundle = detail::DecodeTextLines(content.bytes, &content.spans);
    }
    catch (const detail::DecodeFailure& failure)
    {
        const std::string_view all(content.bytes);
        const std::string_view excerpt = all.substr(failure.span.begin, failure.span.end - failure.span.begin);
        throw OscFileError(role, file, content.placeOf(failure.span.begin), failure.getMessage(), excerpt,
                           failure.getLocation());
    }
    return content;
}

OscFilePlace OscFileContent::placeOf(std::size_t offset) const
{
    if (binary)
        return OscFilePlace::byteOffset(offset);
    const auto end = bytes.begin() + std::ptrdiff_t(std::min(offset, bytes.size()));
    return OscFilePlace::line(1 + std::uint64_t(std::count(bytes.begin(), end, '\n')));
}

OscFileError OscFileContent::ErrorAt(std::size_t messageIndex, std::string_view reason, SourceLocation where) const
{
    if (messageIndex >= spans.size())
        return Error(reason, std::move(where));
    const detail::ByteSpan& span = spans[messageIndex];
    if (!binary)
        return OscFileError(role, file, placeOf(span.begin), reason,
                            std::string_view(bytes).substr(span.begin, span.end - span.begin), std::move(where));
    // A binary message reads best in its text form.
    String text;
    std::size_t index = 0;
    bundle.ForEachMessage(
        [&](const OscMessage& m)
        {
            if (index++ == messageIndex)
                text = m.toString();
        });
    return OscFileError(role, file, placeOf(span.begin), reason, std::string_view(text), std::move(where));
}

OscFileError OscFileContent::Error(std::string_view reason, SourceLocation where) const
{
    return OscFileError(role, file, OscFilePlace{}, reason, std::nullopt, std::move(where));
}

} // namespace kel
