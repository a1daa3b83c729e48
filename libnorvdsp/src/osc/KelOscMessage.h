// An OSC message: an address pattern and an ordered list of owned arguments.
// A value type: copies are deep. Also the message's text form, the line a
// user types or a text file holds:  /open "my file.wav" 1 0.5
//
// A typical message lives inside the object: up to 4 arguments, texts of up
// to 15 bytes, an address of up to 47 characters and 4 parts. Such a message
// is built, decoded, copied and destroyed without allocating, so the audio
// thread may do so; anything larger allocates.
//
// Not thread-safe for writing; any thread may read a const message.
// CreateFromText allocates.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "common/KelString.h"
#include "containers/KelMemoryBlock.h"
#include "containers/KelSmallVector.h"
#include "containers/KelVector.h"
#include "osc/KelOscAddress.h"
#include "osc/KelOscArgument.h"

namespace kel {

class OscMessage
{
public:
    /** A message with an empty address and no argument. (User-provided:
        OscMessage() must not zero the inline storage first.) */
    OscMessage() noexcept {}
    explicit OscMessage(OscAddressPattern address) noexcept;
    /** Throws the address-syntax kel::Exception. */
    explicit OscMessage(std::string_view address);

    OscMessage(const OscMessage& other);
    OscMessage& operator=(const OscMessage& other);
    OscMessage(OscMessage&&) noexcept = default;
    OscMessage& operator=(OscMessage&&) noexcept = default;
    ~OscMessage() = default;

    const OscAddressPattern& getAddressPattern() const noexcept { return address; }
    void setAddressPattern(OscAddressPattern newAddress) noexcept { address = std::move(newAddress); }

    // Builders: each appends one argument and returns the message.
    OscMessage& AddInt32(std::int32_t value);
    OscMessage& AddInt64(std::int64_t value);
    OscMessage& AddFloat32(float value);
    OscMessage& AddFloat64(double value);
    OscMessage& AddString(std::string_view text);
    OscMessage& AddBlob(const MemoryBlock& bytes);
    OscMessage& AddBlob(MemoryBlock&& bytes);
    OscMessage& AddBool(bool value);
    OscMessage& AddArgument(const OscArgument& argument);
    OscMessage& AddArgument(OscArgument&& argument);
    /** One int32 per element, in order; the list grows once. */
    OscMessage& AddInts(const Vector<std::int32_t>& values);

    /** Makes room for n arguments in all, so that adding them allocates
        only their texts and bytes. */
    void ReserveArguments(std::size_t n) { arguments.Reserve(n); }
    /** Removes every argument. */
    void ClearArguments() noexcept { arguments.Clear(); }

    std::size_t getNumArguments() const noexcept { return arguments.size(); }
    const OscArgument& getArgument(std::size_t index) const noexcept { return arguments[index]; }
    const OscArgument& operator[](std::size_t index) const noexcept { return arguments[index]; }
    char getTypeTag(std::size_t index) const noexcept { return arguments[index].getTypeTag(); }
    /** All tags in order, e.g. "ifs". */
    String getTypeTags() const;

    /** True when every tag is one of i, h, f, d (also for no argument). */
    bool allArgumentsNumeric() const noexcept;
    /** One int32 per argument (OscArgument::getAsInt32), or an empty vector
        when any argument is not numeric. */
    Vector<std::int32_t> getAllArgumentsAsInts() const;

    std::int32_t getArgumentAsInt32(std::size_t index) const noexcept { return arguments[index].getAsInt32(); }
    bool getArgumentAsBool(std::size_t index) const noexcept { return arguments[index].getAsBool(); }
    double getArgumentAsDouble(std::size_t index) const noexcept { return arguments[index].getAsDouble(); }

    /** The text form: the address, then a blank and the arguments' text
        forms separated by blanks. */
    String toString() const;

    /** Parses one line of text (see the .cpp for the token rules). Throws
        "invalid OSC message ..." for a line without tokens, or the address
        errors. */
    static OscMessage CreateFromText(std::string_view text);

    /** Same address text and equal arguments. */
    bool operator==(const OscMessage& other) const noexcept;

    /** The arguments kept inside the object. */
    static constexpr std::size_t inlineArguments = 4;

private:
    friend class OscInputStream; // decodes in place

    void append(OscArgument&& argument);

    OscAddressPattern address;
    SmallVector<OscArgument, inlineArguments> arguments;
};

/** The numeric-token test of the text form: "0x" and hexadecimal digits, or
    digits with at most one sign and one "." on each side of an exponent
    marker (which needs a digit before it and one after it). */
bool IsOscNumberToken(std::string_view token) noexcept;

} // namespace kel
