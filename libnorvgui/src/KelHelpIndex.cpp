#include "KelHelpIndex.h"

#include <algorithm>
#include <set>

#include "osc/KelOscInterface.h"

namespace kel::gui {

namespace {

/** The groups of a bare interface: what every object documents. */
std::set<String> GroupsEveryObjectHas()
{
    const OscInterface bare;
    std::set<String> names;
    const OscDocumentation& documentation = bare.getDocumentation();
    for (std::size_t i = 0; i < documentation.size(); ++i)
        names.insert(HelpIndex::GroupOf(documentation[i]));
    return names;
}

std::vector<String> Words(std::string_view text)
{
    std::vector<String> words;
    std::size_t start = 0;
    while (start < text.size())
    {
        const std::size_t begin = text.find_first_not_of(" \t\r\n", start);
        if (begin == std::string_view::npos)
            break;
        const std::size_t end = std::min(text.find_first_of(" \t\r\n", begin), text.size());
        words.push_back(ToLowerAscii(text.substr(begin, end - begin)));
        start = end;
    }
    return words;
}

} // namespace

HelpIndex::HelpIndex(const OscDocumentation& documentation)
{
    const std::set<String> common = GroupsEveryObjectHas();
    std::vector<Group> own;
    std::vector<Group> shared;
    for (std::size_t i = 0; i < documentation.size(); ++i)
    {
        const OscDocumentation::Entry& entry = documentation[i];
        const String name = GroupOf(entry);
        std::vector<Group>& list = common.count(name) != 0 ? shared : own;
        auto group = std::find_if(list.begin(), list.end(), [&](const Group& g) { return g.name == name; });
        if (group == list.end())
            group = list.insert(list.end(), Group{name, {}});
        String searched(entry.getAddress().getText());
        for (const String* part : {&entry.getArgumentTypes(), &entry.getArgumentDescription(), &entry.getTitle(),
                                   &entry.getDescription()})
            searched.append(" ").append(*part);
        group->entries.push_back({&entry, ToLowerAscii(searched)});
    }
    groups = std::move(own);
    groups.insert(groups.end(), std::make_move_iterator(shared.begin()), std::make_move_iterator(shared.end()));
}

std::vector<HelpGroup> HelpIndex::Filter(std::string_view query) const
{
    const std::vector<String> words = Words(query);
    std::vector<HelpGroup> kept;
    for (const Group& group : groups)
    {
        HelpGroup result{group.name, {}};
        for (const Indexed& indexed : group.entries)
            if (std::all_of(words.begin(), words.end(),
                            [&](const String& word) { return indexed.searchText.find(word) != String::npos; }))
                result.entries.push_back(indexed.entry);
        if (!result.entries.empty())
            kept.push_back(std::move(result));
    }
    return kept;
}

bool HelpIndex::IsSendable(const OscDocumentation::Entry& entry)
{
    return entry.getArgumentTypes().empty() && !entry.getAddress().containsWildcard();
}

String HelpIndex::GroupOf(const OscDocumentation::Entry& entry)
{
    const OscAddressPattern& address = entry.getAddress();
    String name("/"); // appended: gcc 12 warns falsely on "/" + String
    if (address.getNumParts() != 0)
        name.append(address.getPart(0));
    return name;
}

} // namespace kel::gui
