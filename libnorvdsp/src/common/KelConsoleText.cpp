#include "common/KelConsoleText.h"

#include <cstdint>

namespace kel {

namespace {

struct Decoded
{
    std::size_t length = 0;  // 0: no valid sequence starts here
    char32_t codePoint = 0;
};

bool IsContinuation(std::string_view text, std::size_t i, std::uint8_t low = 0x80, std::uint8_t high = 0xBF)
{
    if (i >= text.size())
        return false;
    const auto byte = std::uint8_t(text[i]);
    return byte >= low && byte <= high;
}

// Strict UTF-8 (RFC 3629): no overlong forms, no surrogates, nothing past
// U+10FFFF.
Decoded DecodeAt(std::string_view text, std::size_t i)
{
    const auto lead = std::uint8_t(text[i]);
    if (lead < 0x80)
        return {1, lead};
    std::size_t length = 0;
    std::uint8_t low = 0x80, high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF)
        length = 2;
    else if (lead >= 0xE0 && lead <= 0xEF)
    {
        length = 3;
        low = lead == 0xE0 ? 0xA0 : 0x80;
        high = lead == 0xED ? 0x9F : 0xBF;
    }
    else if (lead >= 0xF0 && lead <= 0xF4)
    {
        length = 4;
        low = lead == 0xF0 ? 0x90 : 0x80;
        high = lead == 0xF4 ? 0x8F : 0xBF;
    }
    else
        return {};
    if (!IsContinuation(text, i + 1, low, high))
        return {};
    for (std::size_t k = 2; k < length; ++k)
        if (!IsContinuation(text, i + k))
            return {};
    char32_t codePoint = lead & (0xFF >> (length + 1));
    for (std::size_t k = 1; k < length; ++k)
        codePoint = (codePoint << 6) | (std::uint8_t(text[i + k]) & 0x3F);
    return {length, codePoint};
}

// Characters that move the cursor, change direction or show nothing: a
// console line holding them would not read as the text it quotes.
bool IsUnprintable(char32_t c)
{
    return c < 0x20 || (c >= 0x7F && c <= 0x9F) || c == 0x061C || (c >= 0x200B && c <= 0x200F) ||
           (c >= 0x2028 && c <= 0x202E) || (c >= 0x2060 && c <= 0x206F) || c == 0xFEFF ||
           (c >= 0xFFF9 && c <= 0xFFFB) || c == 0xFFFE || c == 0xFFFF;
}

void AppendByteEscape(String& out, std::uint8_t byte)
{
    static constexpr char digits[] = "0123456789abcdef";
    out += "\\x";
    out += digits[byte >> 4];
    out += digits[byte & 0x0F];
}

} // namespace

std::size_t CountCharacters(std::string_view text) noexcept
{
    std::size_t count = 0;
    for (std::size_t i = 0; i < text.size(); ++count)
    {
        const Decoded d = DecodeAt(text, i);
        i += d.length == 0 ? 1 : d.length;
    }
    return count;
}

std::size_t BytesOfCharacters(std::string_view text, std::size_t maxCharacters) noexcept
{
    std::size_t i = 0;
    for (std::size_t count = 0; count < maxCharacters && i < text.size(); ++count)
    {
        const Decoded d = DecodeAt(text, i);
        i += d.length == 0 ? 1 : d.length;
    }
    return i;
}

String CappedText(std::string_view text, std::size_t maxCharacters)
{
    const std::size_t kept = BytesOfCharacters(text, maxCharacters);
    if (kept == text.size())
        return String(text);
    String result;
    result.reserve(kept + cutMark.size());
    result.append(text.substr(0, kept));
    result.append(cutMark);
    return result;
}

String PrintableText(std::string_view text, std::size_t maxCharacters, Quoting quoting, bool* cut)
{
    String result;
    std::size_t characters = 0;
    std::size_t i = 0;
    while (i < text.size())
    {
        const Decoded d = DecodeAt(text, i);
        const std::size_t length = d.length == 0 ? 1 : d.length;
        String piece;
        std::size_t pieceCharacters = 0;
        if (d.length == 0 || IsUnprintable(d.codePoint))
        {
            for (std::size_t k = 0; k < length; ++k)
                AppendByteEscape(piece, std::uint8_t(text[i + k]));
            pieceCharacters = piece.size();
        }
        else if (quoting == Quoting::doubleQuotes && (d.codePoint == '\\' || d.codePoint == '"'))
        {
            piece = {'\\', char(d.codePoint)};
            pieceCharacters = 2;
        }
        else
        {
            piece.assign(text.substr(i, length));
            pieceCharacters = 1;
        }
        if (characters + pieceCharacters > maxCharacters)
            break;
        result += piece;
        characters += pieceCharacters;
        i += length;
    }
    if (cut != nullptr)
        *cut = i < text.size();
    return result;
}

} // namespace kel
