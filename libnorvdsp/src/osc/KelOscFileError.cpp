#include "osc/KelOscFileError.h"

#include "common/KelConsoleText.h"

namespace kel {

namespace {

String Compose(OscFileRole role, const File& file, OscFilePlace place, std::string_view reason,
               std::optional<std::string_view> excerpt)
{
    String text = role == OscFileRole::preset ? "error in preset file " : "error in snapshot file ";
    text += Quoted(file.getFullPathName());
    switch (place.unit)
    {
        case OscFilePlace::Unit::line:
            text += ", line " + ToString(place.value);
            break;
        case OscFilePlace::Unit::byteOffset:
            text += ", byte offset " + ToString(place.value);
            break;
        case OscFilePlace::Unit::none:
            break;
    }
    text += ": ";
    bool cut = false;
    text += PrintableText(reason, OscFileError::maxReasonCharacters, Quoting::none, &cut);
    if (cut)
        text += cutMark;
    if (excerpt)
    {
        text += ": \"";
        text += PrintableText(*excerpt, OscFileError::maxExcerptCharacters, Quoting::doubleQuotes, &cut);
        text += '"';
        if (cut)
            text += cutMark;
    }
    return text;
}

} // namespace

OscFileError::OscFileError(OscFileRole role, const File& errorFile, OscFilePlace errorPlace, std::string_view reason,
                           std::optional<std::string_view> excerpt, SourceLocation where)
    : Exception(Compose(role, errorFile, errorPlace, reason, excerpt), std::move(where)), file(errorFile),
      place(errorPlace)
{
}

} // namespace kel
