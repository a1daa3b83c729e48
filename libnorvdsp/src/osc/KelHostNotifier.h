// What an object asks of the program that hosts it: a console for errors,
// warnings and information, the host's file search, its file dialogs and
// its clipboard. The host (the Max binding, a test, the command-line tool)
// registers a Listener; everything has a plain default, so an object with
// no listener still works (reports go nowhere, names are plain paths).
//
// Texts about a failed message read "when processing " + the quoted message
// + ". Reason: " + the reason; ComposeConsoleText gives the line a console
// shows for a text at a level. No console line is longer than
// consoleLineCharacters (KelConsoleText.h) + "...": every report is cut
// here, once, so that the line a listener composes from it fits.
//
// Threads: listeners are added and removed on the main thread. Reports may
// come from any thread (a buffering thread reports read errors); they take
// a lock while the listeners run, so the audio thread reports only what
// should never happen. The file, dialog and clipboard hooks run on the main
// thread without that lock, so a modal dialog never holds up a report.
#pragma once

#include <atomic>
#include <exception>
#include <mutex>
#include <optional>
#include <string_view>

#include "common/KelString.h"
#include "common/KelVerbosity.h"
#include "containers/KelVector.h"
#include "files/KelFile.h"

namespace kel {

class OscMessage;

class HostNotifier
{
public:
    enum class Level
    {
        information,
        warning,
        error
    };

    enum class FilePurpose
    {
        open,
        save
    };

    /** The outcome of a file dialog. */
    struct FileChoice
    {
        enum class Outcome
        {
            unavailable,  // the host has no dialog
            cancelled,    // the user closed it without choosing
            chosen
        };
        Outcome outcome = Outcome::unavailable;
        File file;
    };

    class Listener
    {
    public:
        virtual ~Listener() = default;

        /** One text at one level (see ComposeConsoleText). */
        virtual void Report(const String& text, Level level) = 0;

        /** The host's file search for a name the user typed: the full file,
            or nothing to fall back on the plain path. */
        virtual std::optional<File> LocateFile(const String& /*name*/) { return std::nullopt; }

        /** A file dialog; the default has none. */
        virtual FileChoice ChooseFile(FilePurpose /*purpose*/, const String& /*title*/) { return {}; }

        /** Puts text on the system clipboard; false when the host cannot. */
        virtual bool CopyToClipboard(const String& /*text*/) { return false; }
    };

    HostNotifier() = default;
    virtual ~HostNotifier() = default;
    HostNotifier(const HostNotifier&) = delete;
    HostNotifier& operator=(const HostNotifier&) = delete;

    /** Adding a listener twice keeps one registration. Main thread. */
    void AddHostListener(Listener* listener);
    void RemoveHostListener(Listener* listener);

    /** Errors are always reported. */
    void ReportError(const String& text) const;
    /** Reported unless the verbosity is silent. */
    void ReportWarning(const String& text) const;
    /** Reported when the verbosity is at least minimumLevel. */
    void ReportInformation(const String& text, Verbosity minimumLevel = Verbosity::normal) const;
    /** The answer to a user's request ("/post/..."): always reported, at
        the information level. */
    void PostText(const String& text) const;
    /** PostText for each non-empty line. */
    void PostLines(const Vector<String>& lines) const;

    /** Reports "when processing <message>. Reason: <failure's text>". */
    void ReportFailure(const OscMessage& message, const std::exception& failure, Level level = Level::error) const;

    void setReportVerbosity(Verbosity level) noexcept { verbosity.store(level, std::memory_order_relaxed); }
    Verbosity getReportVerbosity() const noexcept { return verbosity.load(std::memory_order_relaxed); }

    /** The host's file search first; otherwise name itself when it names an
        existing file. Nothing when neither finds it. Main thread. */
    std::optional<File> LocateFile(const String& name) const;
    /** The first listener that has a dialog answers. Main thread. */
    FileChoice ChooseFile(FilePurpose purpose, const String& title) const;
    /** False when no listener has a clipboard. Main thread. */
    bool CopyToClipboard(const String& text) const;

    /** "when processing " + the message's text form in double quotes +
        ". Reason: " + reason. */
    static String WhenProcessing(const OscMessage& message, std::string_view reason);

    /** The line a console shows for text at level:
          warning, text begins "when processing ": "warning occurred " + text
          warning, any other text:               "warning occurred: " + text
          error,   text begins "when processing ": "error occurred " + text
          error,   text begins "unknown error occurred": text as it is
          error,   any other text:               "error occurred: " + text
          information:                           text as it is
        cut to consoleLineCharacters characters + "..." when longer. */
    static String ComposeConsoleText(const String& text, Level level);
    /** What ComposeConsoleText puts before text (ASCII). */
    static std::string_view ConsolePrefix(std::string_view text, Level level) noexcept;

private:
    void report(const String& text, Level level) const;

    mutable std::recursive_mutex listenersLock;
    Vector<Listener*> listeners;
    std::atomic<Verbosity> verbosity{Verbosity::normal};
};

/** What a console shows for the exception being handled. */
struct CaughtException
{
    HostNotifier::Level level = HostNotifier::Level::error;
    std::string_view prefix;  // "out of memory : ", "exception : " or nothing
    std::string_view text;    // the exception's own text, or "unknown exception"
};

/** Call inside a catch block. A kel::exceptions::ExceptionalWarning is a
    warning with its text; another kel::Exception an error with its text;
    an allocation failure "out of memory : " + what(), another standard
    exception "exception : " + what(), anything else "unknown exception".
    Never allocates: a host may post it when memory has run out. */
CaughtException DescribeCaughtException() noexcept;

} // namespace kel
