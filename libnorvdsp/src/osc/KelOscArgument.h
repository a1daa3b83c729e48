// One typed OSC argument. Tags: i (int32), h (int64), f (float32),
// d (float64), s (text), b (blob), T and F (booleans without payload).
// The binary format also knows N, I and r, but no argument carries them.
//
// A value type; any thread on an object no one is modifying.
#pragma once

#include <cstdint>
#include <string_view>

#include "common/KelString.h"
#include "containers/KelMemoryBlock.h"

namespace kel {

class OscArgument
{
public:
    /** An int32 zero. */
    OscArgument() noexcept { value.i = 0; }

    static OscArgument fromInt32(std::int32_t v) noexcept;
    static OscArgument fromInt64(std::int64_t v) noexcept;
    static OscArgument fromFloat32(float v) noexcept;
    static OscArgument fromFloat64(double v) noexcept;
    static OscArgument fromBool(bool v) noexcept;
    static OscArgument fromString(std::string_view text);
    static OscArgument fromString(String&& text) noexcept;
    static OscArgument fromString(const char* text) { return fromString(std::string_view(text)); }
    static OscArgument fromBlob(const MemoryBlock& bytes);
    static OscArgument fromBlob(MemoryBlock&& bytes) noexcept;

    char getTypeTag() const noexcept { return tag; }
    bool isNumeric() const noexcept { return IsNumericTag(tag); }
    bool isString() const noexcept { return tag == 's'; }
    bool isBlob() const noexcept { return tag == 'b'; }
    bool isBool() const noexcept { return tag == 'T' || tag == 'F'; }

    /** The stored value; meaningful only for the matching tag. */
    std::int32_t getInt32() const noexcept { return value.i; }
    std::int64_t getInt64() const noexcept { return value.h; }
    float getFloat32() const noexcept { return value.f; }
    double getFloat64() const noexcept { return value.d; }
    const String& getString() const noexcept { return text; }
    const MemoryBlock& getBlob() const noexcept { return blob; }

    /** i: the value; h: its low 32 bits; f: truncated toward zero; d:
        truncated to 64 bits, then the low 32 bits; others 0. Out-of-range
        floats give the nearest representable integer (NaN gives 0). */
    std::int32_t getAsInt32() const noexcept;
    /** T/F: the flag; i, h: non-zero; f: at least 1.0 (0.5 is false);
        d: narrowed to float, then as f; s, b: false. */
    bool getAsBool() const noexcept;
    /** Numeric tags: the value as a double; T/F: 1 or 0; others 0. */
    double getAsDouble() const noexcept;

    /** The argument's text form: integers in decimal, T/F as 1/0, floats in
        their shortest form (or "%.6f" when that would hold a letter),
        strings in double quotes (inner quotes become spaces, line feeds
        "\n"), blobs as nothing. */
    String toString() const;

    /** Same tag and same bits (so NaN equals NaN), text or bytes. */
    bool operator==(const OscArgument& other) const noexcept;

    static constexpr bool IsNumericTag(char t) noexcept { return t == 'i' || t == 'h' || t == 'f' || t == 'd'; }

private:
    union Value
    {
        std::int32_t i;
        std::int64_t h;
        float f;
        double d;
        bool b;
    };

    template <typename T>
    static OscArgument withValue(char tag, T Value::*member, T v) noexcept
    {
        OscArgument a;
        a.tag = tag;
        a.value.*member = v;
        return a;
    }

    char tag = 'i';
    Value value;
    String text;
    MemoryBlock blob;
};

} // namespace kel
