#include "osc/KelHostNotifier.h"

#include <algorithm>
#include <exception>
#include <new>

#include "common/KelConsoleText.h"
#include "common/KelException.h"
#include "osc/KelOscMessage.h"

namespace kel {

namespace {
constexpr std::string_view whenProcessing = "when processing ";
}

void HostNotifier::AddHostListener(Listener* listener)
{
    const std::lock_guard lock(listenersLock);
    if (listener != nullptr && std::find(listeners.begin(), listeners.end(), listener) == listeners.end())
        listeners.PushBack(listener);
}

void HostNotifier::RemoveHostListener(Listener* listener)
{
    const std::lock_guard lock(listenersLock);
    const auto found = std::find(listeners.begin(), listeners.end(), listener);
    if (found != listeners.end())
        listeners.Erase(std::size_t(found - listeners.begin()));
}

void HostNotifier::report(const String& text, Level level) const
{
    // Cut once here for every listener, before the lock: the line a console
    // composes from it (prefix + text) is then at most one line long, and a
    // huge text is never copied into a host's queue.
    const std::size_t room = consoleLineCharacters - ConsolePrefix(text, level).size();
    const String capped = text.size() > room ? CappedText(text, room) : String();
    const String& fitting = capped.empty() ? text : capped;
    const std::lock_guard lock(listenersLock);
    for (std::size_t i = 0; i < listeners.size(); ++i)
        listeners[i]->Report(fitting, level);
}

void HostNotifier::ReportError(const String& text) const
{
    report(text, Level::error);
}

void HostNotifier::ReportWarning(const String& text) const
{
    if (getReportVerbosity() != Verbosity::silent)
        report(text, Level::warning);
}

void HostNotifier::ReportInformation(const String& text, Verbosity minimumLevel) const
{
    if (static_cast<std::uint32_t>(getReportVerbosity()) >= static_cast<std::uint32_t>(minimumLevel))
        report(text, Level::information);
}

void HostNotifier::PostText(const String& text) const
{
    report(text, Level::information);
}

void HostNotifier::PostLines(const Vector<String>& lines) const
{
    for (const String& line : lines)
        if (!line.empty())
            report(line, Level::information);
}

void HostNotifier::ReportFailure(const OscMessage& message, const std::exception& failure, Level level) const
{
    const String text = WhenProcessing(message, failure.what());
    if (level == Level::warning)
        ReportWarning(text);
    else
        report(text, level);
}

// The hooks below run on the main thread, the only one that changes the
// listener list, so they read it without the lock.

std::optional<File> HostNotifier::LocateFile(const String& name) const
{
    for (std::size_t i = 0; i < listeners.size(); ++i)
        if (auto found = listeners[i]->LocateFile(name))
            return found;
    if (!name.empty() && File(name).existsAsFile())
        return File(name);
    return std::nullopt;
}

HostNotifier::FileChoice HostNotifier::ChooseFile(FilePurpose purpose, const String& title) const
{
    for (std::size_t i = 0; i < listeners.size(); ++i)
    {
        FileChoice choice = listeners[i]->ChooseFile(purpose, title);
        if (choice.outcome != FileChoice::Outcome::unavailable)
            return choice;
    }
    return {};
}

bool HostNotifier::CopyToClipboard(const String& text) const
{
    for (std::size_t i = 0; i < listeners.size(); ++i)
        if (listeners[i]->CopyToClipboard(text))
            return true;
    return false;
}

String HostNotifier::WhenProcessing(const OscMessage& message, std::string_view reason)
{
    String text(whenProcessing);
    text += Quoted(message.toString());
    text += ". Reason: ";
    text += reason;
    return text;
}

std::string_view HostNotifier::ConsolePrefix(std::string_view text, Level level) noexcept
{
    const bool aboutAMessage = text.starts_with(whenProcessing);
    switch (level)
    {
        case Level::warning:
            return aboutAMessage ? "warning occurred " : "warning occurred: ";
        case Level::error:
            if (text.starts_with("unknown error occurred"))
                return {};
            return aboutAMessage ? "error occurred " : "error occurred: ";
        case Level::information:
            break;
    }
    return {};
}

String HostNotifier::ComposeConsoleText(const String& text, Level level)
{
    const std::string_view prefix = ConsolePrefix(text, level);
    String line(prefix);
    line += CappedText(text, consoleLineCharacters - prefix.size());
    return line;
}

CaughtException DescribeCaughtException() noexcept
{
    try
    {
        throw;
    }
    catch (const exceptions::ExceptionalWarning& warning)
    {
        return {HostNotifier::Level::warning, {}, warning.what()};
    }
    catch (const Exception& failure)
    {
        return {HostNotifier::Level::error, {}, failure.what()};
    }
    catch (const std::bad_alloc& failure)
    {
        return {HostNotifier::Level::error, "out of memory : ", failure.what()};
    }
    catch (const std::exception& failure)
    {
        return {HostNotifier::Level::error, "exception : ", failure.what()};
    }
    catch (...)
    {
        return {HostNotifier::Level::error, {}, "unknown exception"};
    }
}

} // namespace kel
