// Reading bundles of OSC messages from files:
//  - text (".txt" and anything unknown): one message per line in the text
//    form; empty lines and lines beginning with "#" are skipped, a final ","
//    or ";" is dropped, and blanks around a line are ignored;
//  - Max coll (".coll"): "<index>, <message>;" entries, read in file order;
//  - binary OSC (".osc", ".wfs"): one packet, the whole file, when the file
//    holds a zero byte (text never does); otherwise read as text.
// And writing a bundle in the format its file's extension names.
//
// Blocks on the file system: call from the main thread (or a worker that
// owns the file). Every failure to open or decode a file throws
// kel::OscFileError (KelOscFileError.h: the file, the line or byte offset,
// the offending text); decoding text in memory throws a kel::Exception that
// names the failure only.
#pragma once

#include <string_view>

#include "files/KelFile.h"
#include "osc/KelOscBundle.h"
#include "osc/KelOscFileContent.h"
#include "osc/KelOscFileError.h"

namespace kel {

class OscHelper
{
public:
    /** role: what the errors call the file. */
    static OscBundle CreateFromTextFile(const File& file, OscFileRole role = OscFileRole::preset);
    static OscBundle CreateFromCollFile(const File& file, OscFileRole role = OscFileRole::preset);
    static OscBundle CreateFromBinaryFile(const File& file, OscFileRole role = OscFileRole::preset);
    /** Chooses the reader by the file's extension and content (above). */
    static OscBundle CreateFromFile(const File& file, OscFileRole role = OscFileRole::preset);
    /** How CreateFromFile reads a file, by its extension. */
    static OscFileContent::Reading ReadingFor(const File& file) noexcept;

    /** The text-file reader on text already in memory. */
    static OscBundle CreateFromTextLines(std::string_view text);
    /** The coll reader on text already in memory. */
    static OscBundle CreateFromCollText(std::string_view text);

    /** Writes bundle as binary for ".osc"/".wfs", as a coll for ".coll",
        as text otherwise (".txt" added when there is no extension). Returns
        false when the file exists and overwrite is refuse. */
    static bool SaveToFile(const OscBundle& bundle, const File& file, Overwrite overwrite,
                           std::string_view description = {});

    /** True for bytes that a binary OSC file would hold (any zero byte). */
    static bool looksBinary(std::string_view content) noexcept;
};

} // namespace kel
