// Which reader a file gets: recognised by its content first, by its
// extension only when the content says nothing.
//
// Content first because a file's name is the least reliable thing about it:
// an MP3 saved as ".wav" by a download or a rename is still MP3, and once
// the bytes name a format, the error of that format's reader says more than
// a WAV reader's complaint about MP3 bytes would.
//
// Any thread; reads from the stream given (blocks on the disk for a file).
#pragma once

#include "files/KelFile.h"
#include "files/KelInputStream.h"

namespace kel {

/** One of AudioFilesMetadata's format names: "WAV File" for "RIFF", "RF64",
    "BW64" and the Wave64 "riff" GUID, "AIFF File" for "FORM", "MP3 File" for
    an ID3v2 tag or an MPEG audio frame header followed by another (or by the
    file's end); otherwise by the extension of file (".wav", ".w64", ".bwf",
    ".bw64", ".amb", ".uhj"; ".aif", ".aiff"; ".mp3"), else "unknown". Reads
    the head of the stream from position 0 and leaves the position
    anywhere. */
String DetectAudioFormat(InputStream& stream, const File& file);

} // namespace kel
