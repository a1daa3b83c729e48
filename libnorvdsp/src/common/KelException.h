// The one family through which every failure travels. A throw site records
// where it stands beside its message; the text a user finally sees is
// composed from both once, at construction, and never throws.
//
// Throw with:   throw kel::Exception("message", KEL_HERE);
//               throw kel::exceptions::NoSuchFile(file, KEL_HERE);
#pragma once

#include <exception>

#include "common/KelSourceLocation.h"
#include "common/KelString.h"

namespace kel {

class File;

class Exception : public std::exception
{
public:
    /** composeNow: build the full text immediately (throw sites pass true).
        alreadyReported: set when the failure has been shown to the user
        already, so that a catcher need not post it again (throw sites pass
        false). */
    explicit Exception(String message, SourceLocation where = {}, bool composeNow = true,
                       bool alreadyReported = false);

    /** The composed text: "Exception occurred in [path:line]" or
        "Exception occurred: ", then the message. */
    const char* what() const noexcept override;

    const String& getMessage() const noexcept { return message; }
    const SourceLocation& getLocation() const noexcept { return location; }
    const String& getFullText() const noexcept { return fullText; }
    bool wasAlreadyReported() const noexcept { return alreadyReported; }

protected:
    /** Subclasses that build their message in their constructor call this;
        a failure while composing ends the process rather than throwing out
        of a half-built exception. */
    void compose() noexcept;

    String message;
    SourceLocation location;
    String fullText;
    bool alreadyReported = false;
};

namespace exceptions {

class Unknown : public Exception
{
public:
    explicit Unknown(SourceLocation where = {});
};

class NoSuchFile : public Exception
{
public:
    NoSuchFile(const File& file, SourceLocation where = {});
    NoSuchFile(const String& path, SourceLocation where = {});
};

class UnsupportedFile : public Exception
{
public:
    UnsupportedFile(const File& file, SourceLocation where = {});
    UnsupportedFile(const String& path, SourceLocation where = {});
};

class ErrorWritingFile : public Exception
{
public:
    ErrorWritingFile(const File& file, SourceLocation where = {});
    ErrorWritingFile(const String& path, SourceLocation where = {});
    /** "Error writing file " + the quoted path + ": " + why. */
    ErrorWritingFile(const File& file, std::string_view why, SourceLocation where);
};

/** A warning carried as an exception: the catcher posts it as a warning. */
class ExceptionalWarning : public Exception
{
public:
    explicit ExceptionalWarning(String message, SourceLocation where = {});
};

} // namespace exceptions
} // namespace kel
