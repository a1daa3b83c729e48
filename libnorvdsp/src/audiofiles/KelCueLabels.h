// The names of a WAV file's cue points. Editors do not put them in the
// "cue " chunk but in "labl" records inside a "LIST" chunk of type "adtl"
// (associated data), each naming one cue point by its 32-bit identifier:
//   "labl", size (32 bits), cue identifier (32 bits), text (size - 4 bytes),
//   a pad byte when size is odd.
// "note" and "ltxt" records share the list and are skipped.
//
// Any thread; pure functions of their arguments.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>

#include "common/KelString.h"

namespace kel {

/** Cue point names by cue identifier. */
using CueLabels = std::map<std::uint32_t, String>;

/** Adds the labels of the records in an "adtl" list's payload (the bytes
    after the list type). A record never reaches beyond the payload: one whose
    size claims more gets the bytes that are there, and ends the list. For an
    identifier named twice, the later record wins (as libsndfile reads it). A
    label that is empty once decoded is no label. */
void ReadCueLabels(const std::uint8_t* records, std::size_t size, CueLabels& labels);

/** The text of a label's bytes: up to the first zero byte (writers end
    and pad the text with zeros), as UTF-8, each byte that does not belong to
    a well-formed UTF-8 sequence replaced by U+FFFD, so that the text is
    valid UTF-8 wherever it goes (OSC strings, Max symbols). */
String CueLabelText(const std::uint8_t* bytes, std::size_t size);

} // namespace kel
