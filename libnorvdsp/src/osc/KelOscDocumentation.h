// The messages an object understands, one entry per message form, in the
// order they were registered. Entries feed the help window, "/post/doc" and
// the reference export. Two entries may share an address when they document
// two argument forms of one message.
//
// Argument-type characters: i an integer, s a string, n a number, u an
// unsigned index. An indexed family is written with the part "[index]", as
// in /snapshot/[index]/store.
//
// Built on the main thread while the object is constructed; read-only
// afterwards, so any thread may read it.
#pragma once

#include <cstddef>

#include "common/KelString.h"
#include "containers/KelScopedPointer.h"
#include "containers/KelVector.h"
#include "osc/KelOscAddress.h"

namespace kel {

class OscDocumentation
{
public:
    class Entry
    {
    public:
        Entry(OscAddressPattern address, String title, String description, String argumentTypes = {},
              String argumentDescription = {});

        const OscAddressPattern& getAddress() const noexcept { return address; }
        const String& getTitle() const noexcept { return title; }
        const String& getDescription() const noexcept { return description; }
        const String& getArgumentTypes() const noexcept { return argumentTypes; }
        const String& getArgumentDescription() const noexcept { return argumentDescription; }

        /** One line for the console: the address, the argument types in
            parentheses when any, " : ", the title and the description. */
        String toString() const;

    private:
        OscAddressPattern address;
        String title;
        String description;
        String argumentTypes;
        String argumentDescription;
    };

    /** Appends an entry; returns it. */
    Entry& AddEntry(const OscAddressPattern& address, String title, String description,
                    String argumentTypes = {}, String argumentDescription = {});

    std::size_t size() const noexcept { return entries.size(); }
    const Entry& operator[](std::size_t index) const noexcept { return *entries[index]; }

    /** The entries whose address text is exactly addressText, in order. */
    Vector<const Entry*> findEntries(std::string_view addressText) const;

    /** The distinct address texts, in order of first registration. */
    Vector<String> getAddresses() const;

    /** One line per entry (Entry::toString). */
    Vector<String> toLines() const;

private:
    Vector<ScopedPointer<Entry>> entries;
};

} // namespace kel
