// Text checked by the C library's own UTF-8 decoder (mbrtowc in a UTF-8
// locale), not by the engine's: how many characters text holds, and whether
// it is valid UTF-8 that prints.
#pragma once

#include <clocale>
#include <cwchar>
#include <cwctype>
#include <optional>
#include <string>
#include <string_view>

namespace kel::test {

/** While alive, LC_CTYPE is a UTF-8 locale (when the system has one; not
    on Windows, whose C runtime under Wine is not a decoder to trust). */
class Utf8Locale
{
public:
    Utf8Locale()
    {
        const char* current = std::setlocale(LC_CTYPE, nullptr);
        saved = current != nullptr ? current : "C";
#if !defined(_WIN32)
        for (const char* name : {"C.UTF-8", "C.utf8", "en_US.UTF-8"})
            if (std::setlocale(LC_CTYPE, name) != nullptr)
            {
                available = true;
                break;
            }
#endif
    }
    ~Utf8Locale() { std::setlocale(LC_CTYPE, saved.c_str()); }
    Utf8Locale(const Utf8Locale&) = delete;
    Utf8Locale& operator=(const Utf8Locale&) = delete;

    bool isAvailable() const { return available; }

private:
    std::string saved;
    bool available = false;
};

/** The characters of text as the C library decodes them; nothing when it
    is not valid UTF-8 (or when no UTF-8 locale is active). */
inline std::optional<std::size_t> LibcCharacterCount(std::string_view text, bool requirePrintable = false)
{
    std::mbstate_t state{};
    std::size_t count = 0;
    for (std::size_t i = 0; i < text.size(); ++count)
    {
        wchar_t c = 0;
        const std::size_t n = std::mbrtowc(&c, text.data() + i, text.size() - i, &state);
        if (n == static_cast<std::size_t>(-1) || n == static_cast<std::size_t>(-2))
            return std::nullopt;
        if (requirePrintable && !std::iswprint(static_cast<std::wint_t>(c)))
            return std::nullopt;
        i += n == 0 ? 1 : n;
    }
    return count;
}

} // namespace kel::test
