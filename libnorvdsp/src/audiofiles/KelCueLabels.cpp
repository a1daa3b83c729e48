#include "audiofiles/KelCueLabels.h"

#include <algorithm>
#include <cstring>

#include "audiofiles/KelFourCC.h"

namespace kel {

namespace {

std::uint32_t Field32(const std::uint8_t* p)
{
    return std::uint32_t(p[0]) | (std::uint32_t(p[1]) << 8) | (std::uint32_t(p[2]) << 16)
         | (std::uint32_t(p[3]) << 24);
}

/** The length of the well-formed UTF-8 sequence at text[0] (Unicode's
    table of well-formed byte sequences: no overlong forms, no surrogates,
    nothing beyond U+10FFFF), or 0 when there is none. */
std::size_t WellFormedLength(const std::uint8_t* text, std::size_t available)
{
    const std::uint8_t lead = text[0];
    if (lead < 0x80)
        return 1;
    std::size_t length = 0;
    std::uint8_t low = 0x80, high = 0xBF;  // the range of the second byte
    if (lead >= 0xC2 && lead <= 0xDF)
        length = 2;
    else if (lead >= 0xE0 && lead <= 0xEF)
    {
        length = 3;
        if (lead == 0xE0)
            low = 0xA0;
        else if (lead == 0xED)
            high = 0x9F;
    }
    else if (lead >= 0xF0 && lead <= 0xF4)
    {
        length = 4;
        if (lead == 0xF0)
            low = 0x90;
        else if (lead == 0xF4)
            high = 0x8F;
    }
    else
        return 0;
    if (available < length || text[1] < low || text[1] > high)
        return 0;
    for (std::size_t i = 2; i < length; ++i)
        if (text[i] < 0x80 || text[i] > 0xBF)
            return 0;
    return length;
}

} // namespace

String CueLabelText(const std::uint8_t* bytes, std::size_t size)
{
    const auto* end = static_cast<const std::uint8_t*>(std::memchr(bytes, 0, size));
    const std::size_t length = end != nullptr ? std::size_t(end - bytes) : size;
    String text;
    text.reserve(length);
    for (std::size_t i = 0; i < length;)
    {
        const std::size_t n = WellFormedLength(bytes + i, length - i);
        if (n == 0)
        {
            text += "\xEF\xBF\xBD";
            ++i;
            continue;
        }
        text.append(reinterpret_cast<const char*>(bytes + i), n);
        i += n;
    }
    return text;
}

void ReadCueLabels(const std::uint8_t* records, std::size_t size, CueLabels& labels)
{
    std::size_t at = 0;
    while (size - at >= 8)
    {
        const std::uint32_t code = Field32(records + at);
        const std::uint32_t declared = Field32(records + at + 4);
        const std::size_t payload = at + 8;
        const std::size_t available = size - payload;
        const std::size_t length = std::min<std::size_t>(declared, available);
        if (code == FourCC("labl") && length >= 4)
        {
            String text = CueLabelText(records + payload + 4, length - 4);
            if (!text.empty())
                labels[Field32(records + payload)] = std::move(text);
        }
        // "note", "ltxt" and anything else: skipped by their size.
        if (declared >= available)
            break;
        at = payload + declared + (declared & 1);
    }
}

} // namespace kel
