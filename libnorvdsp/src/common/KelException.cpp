#include "common/KelException.h"

#include "files/KelFile.h"

namespace kel {

Exception::Exception(String text, SourceLocation where, bool composeNow, bool reported)
    : message(std::move(text)), location(std::move(where)), alreadyReported(reported)
{
    if (composeNow)
        compose();
}

const char* Exception::what() const noexcept
{
    return fullText.empty() ? message.c_str() : fullText.c_str();
}

void Exception::compose() noexcept
{
    // noexcept: an allocation failure here ends the process, so no exception
    // can escape while another one is being built.
    String text;
    if (location.isSet())
    {
        text = "Exception occurred in [";
        text += location.path;
        text += ':';
        text += std::to_string(location.line);
        text += ']';
    }
    else
    {
        text = "Exception occurred: ";
    }
    // A long location would push the message off the console's first line.
    if (text.size() > 200)
        text += '\n';
    else if (location.isSet())
        text += ' ';
    text += message;
    fullText = std::move(text);
}

namespace exceptions {

Unknown::Unknown(SourceLocation where) : Exception("Unknown exception", std::move(where)) {}

NoSuchFile::NoSuchFile(const File& file, SourceLocation where)
    : NoSuchFile(file.getFullPathName(), std::move(where)) {}
NoSuchFile::NoSuchFile(const String& path, SourceLocation where)
    : Exception("Could not find file " + Quoted(path), std::move(where)) {}

UnsupportedFile::UnsupportedFile(const File& file, SourceLocation where)
    : UnsupportedFile(file.getFullPathName(), std::move(where)) {}
UnsupportedFile::UnsupportedFile(const String& path, SourceLocation where)
    : Exception("Could not open file " + Quoted(path) + ". Unsupported format?", std::move(where)) {}

ErrorWritingFile::ErrorWritingFile(const File& file, SourceLocation where)
    : ErrorWritingFile(file.getFullPathName(), std::move(where)) {}
ErrorWritingFile::ErrorWritingFile(const String& path, SourceLocation where)
    : Exception("Error writing file " + Quoted(path), std::move(where)) {}
ErrorWritingFile::ErrorWritingFile(const File& file, std::string_view why, SourceLocation where)
    : Exception("Error writing file " + Quoted(file.getFullPathName()) + ": " + String(why), std::move(where)) {}

ExceptionalWarning::ExceptionalWarning(String text, SourceLocation where)
    : Exception(std::move(text), std::move(where)) {}

} // namespace exceptions
} // namespace kel
