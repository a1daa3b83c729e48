// kel::SmallString: an owned UTF-8 text whose first 47 bytes live inside the
// object, so that a short text (an OSC address) costs no allocation. It reads
// as a std::string_view, converts to kel::String where a caller needs one,
// and keeps a terminating zero for C interfaces.
//
// Not thread-safe; one that stays short never allocates, so a thread that
// must not allocate may build, copy and destroy one.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string_view>

#include "common/KelString.h"
#include "containers/KelSmallVector.h"

namespace kel {

class SmallString
{
public:
    /** The longest text kept inside the object. */
    static constexpr std::size_t inlineLength = 47;

    SmallString() noexcept {}
    explicit SmallString(std::string_view text) { assign(text); }

    /** text must not view this string's own bytes. */
    void assign(std::string_view text)
    {
        bytes.Clear();
        append(text);
    }
    void append(std::string_view text)
    {
        if (text.empty())
            return;
        bytes.Reserve(size() + text.size() + 1);
        if (!bytes.empty())
            bytes.PopBack(); // the old terminator
        bytes.Append(text.data(), text.size());
        bytes.PushBack('\0');
    }
    void clear() noexcept { bytes.Clear(); }

    std::size_t size() const noexcept { return bytes.empty() ? 0 : bytes.size() - 1; }
    std::size_t length() const noexcept { return size(); }
    bool empty() const noexcept { return size() == 0; }
    /** True while the text lives inside the object. */
    bool isInline() const noexcept { return bytes.isInline(); }

    const char* data() const noexcept { return bytes.empty() ? "" : bytes.data(); }
    const char* c_str() const noexcept { return data(); }
    std::string_view view() const noexcept { return std::string_view(data(), size()); }
    operator std::string_view() const noexcept { return view(); }
    /** A copy as a kel::String (allocates beyond the string's own inline size). */
    operator String() const { return String(view()); }

    friend bool operator==(const SmallString& a, const SmallString& b) noexcept { return a.view() == b.view(); }
    friend bool operator==(const SmallString& a, std::string_view b) noexcept { return a.view() == b; }
    friend String operator+(const SmallString& a, std::string_view b);
    friend String operator+(std::string_view a, const SmallString& b);
    friend std::ostream& operator<<(std::ostream& out, const SmallString& text);

private:
    // The text and its terminating zero; nothing at all while empty.
    SmallVector<char, inlineLength + 1> bytes;
};

} // namespace kel
