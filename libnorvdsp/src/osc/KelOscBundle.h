// OSC bundles: a time tag and an ordered list of elements, each a message or
// a nested bundle. The unit in which reports, presets and snapshots travel.
// A value type: copies are deep.
//
// Writing to disk (SaveAs*) blocks on the file system; call it from the
// main thread. Everything else may run on any thread on a bundle no one is
// modifying.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "common/KelString.h"
#include "containers/KelScopedPointer.h"
#include "containers/KelVector.h"
#include "files/KelFile.h"
#include "osc/KelOscMessage.h"

namespace kel {

/** The 64-bit OSC time tag (NTP format), kept as read. */
struct OscTimeTag
{
    std::uint64_t value = 1;

    /** The special value 1: "process at once". */
    static constexpr OscTimeTag immediately() noexcept { return OscTimeTag{1}; }
    bool operator==(const OscTimeTag&) const noexcept = default;
};

class OscBundle
{
public:
    /** Exactly one message or one nested bundle, owned. A message lives
        inside the element (a bundle's messages share its one array); a
        nested bundle on the heap. */
    class Element
    {
    public:
        /** An empty message (user-provided: Element() must not zero the
            message's inline storage first). */
        Element() noexcept {}
        Element(const OscMessage& message);
        Element(OscMessage&& message);
        Element(const OscBundle& bundle);
        Element(OscBundle&& bundle);
        Element(const Element& other);
        Element& operator=(const Element& other);
        Element(Element&&) noexcept = default;
        Element& operator=(Element&&) noexcept = default;
        ~Element();

        bool isMessage() const noexcept { return bundle == nullptr; }
        bool isBundle() const noexcept { return bundle != nullptr; }
        /** Only when isMessage(). */
        const OscMessage& getMessage() const noexcept { return message; }
        OscMessage& getMessage() noexcept { return message; }
        /** Only when isBundle(). */
        const OscBundle& getBundle() const noexcept { return *bundle; }
        OscBundle& getBundle() noexcept { return *bundle; }

        /** Calls f(const OscMessage&) for the message, or for every message
            of the bundle, depth first, in order. */
        template <typename F>
        void ForEachMessage(F&& f) const
        {
            if (isMessage())
                f(message);
            else
                bundle->ForEachMessage(f);
        }

        bool operator==(const Element& other) const noexcept;

    private:
        OscMessage message; // empty in a bundle's element
        ScopedPointer<OscBundle> bundle;
    };

    OscBundle() = default;
    explicit OscBundle(OscTimeTag tag) noexcept : timeTag(tag) {}

    OscTimeTag getTimeTag() const noexcept { return timeTag; }
    void setTimeTag(OscTimeTag tag) noexcept { timeTag = tag; }

    std::size_t size() const noexcept { return elements.size(); }
    bool isEmpty() const noexcept { return elements.empty(); }
    const Element& operator[](std::size_t index) const noexcept { return elements[index]; }
    Element& operator[](std::size_t index) noexcept { return elements[index]; }
    auto begin() const noexcept { return elements.begin(); }
    auto end() const noexcept { return elements.end(); }
    void Clear() noexcept { elements.Clear(); }
    /** Makes room for n elements in all. */
    void ReserveElements(std::size_t n) { elements.Reserve(n); }

    OscBundle& AddMessage(const OscMessage& message);
    OscBundle& AddMessage(OscMessage&& message);
    OscBundle& AddBundle(const OscBundle& bundle);
    OscBundle& AddBundle(OscBundle&& bundle);
    OscBundle& AddElement(Element element);
    /** Appends copies of all of other's elements (not other itself). */
    OscBundle& AddElementsOf(const OscBundle& other);

    // Reports: each appends a new message made of an address and one argument.
    OscBundle& AddFloatMessage(const OscAddressPattern& address, float value);
    OscBundle& AddDoubleMessage(const OscAddressPattern& address, double value);
    OscBundle& AddInt32Message(const OscAddressPattern& address, std::int32_t value);
    OscBundle& AddInt64Message(const OscAddressPattern& address, std::int64_t value);
    OscBundle& AddBoolMessage(const OscAddressPattern& address, bool value);
    OscBundle& AddStringMessage(const OscAddressPattern& address, std::string_view value);

    /** Calls f(const OscMessage&) for every message, depth first, in order. */
    template <typename F>
    void ForEachMessage(F&& f) const
    {
        for (const auto& element : elements)
            element.ForEachMessage(f);
    }
    /** The messages of all nested bundles too. */
    std::size_t getNumMessages() const noexcept;

    /** Every message's text form followed by lineEnd, depth first. */
    String toString(std::string_view lineEnd = "\n") const;

    /** Writes a comment header and then one message per line; ".txt" is
        appended to a file name without extension. Returns false when the file
        exists and overwrite is refuse; throws
        kel::exceptions::ErrorWritingFile (the system's reason) when writing
        fails, the old file left whole (KelFileReplacement.h). */
    bool SaveAsTextFile(const File& file, Overwrite overwrite, std::string_view description) const;
    /** The same, naming the exporter on the "# Exported by" line. */
    bool SaveAsTextFile(const File& file, Overwrite overwrite, std::string_view description,
                        std::string_view exporter) const;
    /** Writes a Max coll file: one "<index>, <message>;" line per message,
        indices from 1. Same return and errors as SaveAsTextFile. */
    bool SaveAsCollFile(const File& file, Overwrite overwrite) const;
    /** Writes the bundle as one binary OSC packet. Same return and errors. */
    bool SaveAsBinaryFile(const File& file, Overwrite overwrite) const;

    bool operator==(const OscBundle& other) const noexcept;

private:
    friend class OscInputStream; // decodes in place

    OscTimeTag timeTag;
    Vector<Element> elements;
};

} // namespace kel
