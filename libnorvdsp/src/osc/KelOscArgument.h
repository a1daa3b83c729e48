// One typed OSC argument. Tags: i (int32), h (int64), f (float32),
// d (float64), s (text), b (blob), T and F (booleans without payload).
// The binary format also knows N, I and r, but no argument carries them.
//
// A value type of 40 bytes: the number, the text or the bytes share one
// place. A number, and a text short enough for kel::String's own buffer, is
// built, copied and destroyed without allocating. Any thread on an object no
// one is modifying.
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
    OscArgument() noexcept : number{.h = 0} {}
    OscArgument(const OscArgument& other);
    // Inline for numbers, which are most arguments: moving one is a copy.
    OscArgument(OscArgument&& other) noexcept : number{.h = 0}
    {
        if (other.holdsObject())
            moveObject(other);
        else
            setNumber(other.tag, other.number);
    }
    OscArgument& operator=(const OscArgument& other);
    OscArgument& operator=(OscArgument&& other) noexcept;
    ~OscArgument()
    {
        if (holdsObject())
            destroyObject();
    }

    static OscArgument fromInt32(std::int32_t v) noexcept { return withNumber('i', Number{.i = v}); }
    static OscArgument fromInt64(std::int64_t v) noexcept { return withNumber('h', Number{.h = v}); }
    static OscArgument fromFloat32(float v) noexcept { return withNumber('f', Number{.f = v}); }
    static OscArgument fromFloat64(double v) noexcept { return withNumber('d', Number{.d = v}); }
    static OscArgument fromBool(bool v) noexcept { return withNumber(v ? 'T' : 'F', Number{.b = v}); }
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

    /** The stored value; meaningful only for the matching tag (a text or
        bytes of another tag read as empty). */
    std::int32_t getInt32() const noexcept { return number.i; }
    std::int64_t getInt64() const noexcept { return number.h; }
    float getFloat32() const noexcept { return number.f; }
    double getFloat64() const noexcept { return number.d; }
    const String& getString() const noexcept { return tag == 's' ? text : EmptyText(); }
    const MemoryBlock& getBlob() const noexcept { return tag == 'b' ? blob : EmptyBlob(); }

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
    union Number
    {
        std::int32_t i;
        std::int64_t h;
        float f;
        double d;
        bool b;
    };

    static OscArgument withNumber(char tag, Number value) noexcept
    {
        OscArgument a;
        a.setNumber(tag, value);
        return a;
    }

    static const String& EmptyText() noexcept;
    static const MemoryBlock& EmptyBlob() noexcept;
    /** True when the payload is a text or bytes, which own memory. */
    bool holdsObject() const noexcept { return tag == 's' || tag == 'b'; }
    /** Only while no object lives in the payload. */
    void setNumber(char newTag, Number value) noexcept
    {
        tag = newTag;
        number = value;
    }
    /** Builds this payload, which holds no object, as a copy or a move of other's. */
    void copyPayload(const OscArgument& other);
    void moveObject(OscArgument& other) noexcept;
    /** Destroys the text or bytes; a number zero remains. */
    void destroyObject() noexcept;

    char tag = 'i';
    // Which member lives follows the tag: text for s, blob for b, number otherwise.
    union
    {
        Number number;
        String text;
        MemoryBlock blob;
    };
};

} // namespace kel
