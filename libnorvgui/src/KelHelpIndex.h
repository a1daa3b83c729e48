// kel::gui::HelpIndex: an object's documentation entries grouped by their
// first address part ("/snapshot", "/preset", "/seek"), the groups of the
// object's own messages first, then the groups every object has; and the
// entries a search text keeps.
//
// Main thread only (built from the object's documentation, read-only after).
#pragma once

#include <string_view>
#include <vector>

#include "common/KelString.h"
#include "osc/KelOscDocumentation.h"

namespace kel::gui {

struct HelpGroup
{
    String name; // "/snapshot"
    std::vector<const OscDocumentation::Entry*> entries; // in registration order
};

class HelpIndex
{
public:
    /** documentation must outlive the index. */
    explicit HelpIndex(const OscDocumentation& documentation);

    /** The groups with the entries whose address, argument types, argument
        description, title or description hold every word of query, ignoring
        ASCII case; every entry for a query of blanks. Groups left empty are
        dropped. */
    std::vector<HelpGroup> Filter(std::string_view query) const;

    /** Whether clicking the entry sends it as it stands: no argument, and
        an address without an index part or a wildcard. */
    static bool IsSendable(const OscDocumentation::Entry& entry);

    /** "/snapshot" for /snapshot/[index]/store. */
    static String GroupOf(const OscDocumentation::Entry& entry);

private:
    struct Indexed
    {
        const OscDocumentation::Entry* entry;
        String searchText; // lower case
    };
    struct Group
    {
        String name;
        std::vector<Indexed> entries;
    };
    std::vector<Group> groups;
};

} // namespace kel::gui
