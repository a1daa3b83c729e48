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
// owns the file). A file that cannot be opened throws
// kel::exceptions::UnsupportedFile; decoding errors throw kel::Exception.
#pragma once

#include <string_view>

#include "files/KelFile.h"
#include "osc/KelOscBundle.h"

namespace kel {

class OscHelper
{
public:
    static OscBundle CreateFromTextFile(const File& file);
    static OscBundle CreateFromCollFile(const File& file);
    static OscBundle CreateFromBinaryFile(const File& file);
    /** Chooses the reader by the file's extension and content (above). */
    static OscBundle CreateFromFile(const File& file);

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
