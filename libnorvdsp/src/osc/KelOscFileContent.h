// A preset or snapshot file read whole and decoded, with where each of its
// messages stands in it. A failure to read or decode it throws OscFileError
// pointing into the file (a line of a text or coll file, a byte offset of a
// binary one, the offending text quoted); ErrorAt points the same way at a
// message found wrong later (a snapshot section out of place).
//
// Formats as OscHelper.h describes them: text (one message per line), Max
// coll, binary OSC (one packet).
//
// Read blocks on the file system: main thread (or a worker that owns the
// file). Everything allocates.
#pragma once

#include <cstddef>
#include <string_view>

#include "common/KelException.h"
#include "containers/KelVector.h"
#include "files/KelFile.h"
#include "osc/KelOscBundle.h"
#include "osc/KelOscFileError.h"

namespace kel {

namespace detail {

/** Bytes [begin, end) of a file's content. */
struct ByteSpan
{
    std::size_t begin = 0;
    std::size_t end = 0;
};

/** A decoding failure: the failure's own message and throw site, and the
    bytes it is about. */
class DecodeFailure : public Exception
{
public:
    DecodeFailure(const Exception& failure, ByteSpan bytes);
    ByteSpan span;
};

// The decoders of the three formats, on content in memory. Each appends the
// span of every message it decodes to spans (when given), depth first; a
// text line or coll entry spans its text, a binary message starts at its
// first byte (an empty span). Failures throw DecodeFailure: the line or
// entry that failed, or the binary bytes from the message or bundle being
// read to the end.
OscBundle DecodeTextLines(std::string_view text, Vector<ByteSpan>* spans);
OscBundle DecodeCollText(std::string_view text, Vector<ByteSpan>* spans);
OscBundle DecodeBinaryPacket(std::string_view bytes, Vector<ByteSpan>* spans);

} // namespace detail

class OscFileContent
{
public:
    enum class Reading
    {
        text,
        coll,
        binary,
        byContent  // binary when the content holds a zero byte (text never does), text otherwise
    };

    /** Throws OscFileError when the file cannot be opened or decoded. */
    static OscFileContent Read(const File& file, Reading reading, OscFileRole role);

    const OscBundle& getBundle() const noexcept { return bundle; }
    OscBundle& getBundle() noexcept { return bundle; }
    const File& getFile() const noexcept { return file; }

    /** The error about the message at messageIndex (depth first, as
        OscBundle::ForEachMessage counts), at its line or byte offset; a
        binary message is quoted in its text form. */
    OscFileError ErrorAt(std::size_t messageIndex, std::string_view reason, SourceLocation where) const;
    /** The error about the whole file (no place in it). */
    OscFileError Error(std::string_view reason, SourceLocation where) const;

private:
    OscFileContent(File file, OscFileRole role);
    OscFilePlace placeOf(std::size_t offset) const;

    File file;
    OscFileRole role;
    bool binary = false;
    String bytes;
    OscBundle bundle;
    Vector<detail::ByteSpan> spans;
};

} // namespace kel
