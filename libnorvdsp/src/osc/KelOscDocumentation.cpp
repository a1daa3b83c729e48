#include "osc/KelOscDocumentation.h"

#include <algorithm>

namespace kel {

OscDocumentation::Entry::Entry(OscAddressPattern addressToUse, String titleText, String descriptionText,
                               String types, String argumentText)
    : address(std::move(addressToUse)),
      title(std::move(titleText)),
      description(std::move(descriptionText)),
      argumentTypes(std::move(types)),
      argumentDescription(std::move(argumentText))
{
}

String OscDocumentation::Entry::toString() const
{
    String line = address.getText();
    if (!argumentTypes.empty() || !argumentDescription.empty())
    {
        line += " (";
        line += argumentTypes;
        if (!argumentDescription.empty())
            line += (argumentTypes.empty() ? "" : " ") + argumentDescription;
        line += ')';
    }
    line += " : ";
    line += title;
    if (!description.empty())
        line += (title.empty() ? "" : " - ") + description;
    return line;
}

OscDocumentation::Entry& OscDocumentation::AddEntry(const OscAddressPattern& address, String title,
                                                    String description, String argumentTypes,
                                                    String argumentDescription)
{
    return *entries.EmplaceBack(std::make_unique<Entry>(address, std::move(title), std::move(description),
                                                        std::move(argumentTypes),
                                                        std::move(argumentDescription)));
}

Vector<const OscDocumentation::Entry*> OscDocumentation::findEntries(std::string_view addressText) const
{
    Vector<const Entry*> found;
    for (const auto& entry : entries)
        if (entry->getAddress().getText() == addressText)
            found.PushBack(entry.get());
    return found;
}

Vector<String> OscDocumentation::getAddresses() const
{
    Vector<String> addresses;
    for (const auto& entry : entries)
        if (std::find(addresses.begin(), addresses.end(), entry->getAddress().getText()) == addresses.end())
            addresses.PushBack(entry->getAddress().getText());
    return addresses;
}

Vector<String> OscDocumentation::toLines() const
{
    Vector<String> lines;
    lines.Reserve(entries.size());
    for (const auto& entry : entries)
        lines.PushBack(entry->toString());
    return lines;
}

} // namespace kel
