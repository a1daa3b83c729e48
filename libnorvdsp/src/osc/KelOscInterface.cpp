#include "osc/KelOscInterface.h"

#include <algorithm>
#include <charconv>

#include "common/KelException.h"
#include "osc/KelOscPatternMatching.h"

#ifndef KEL_VERSION_TEXT
#define KEL_VERSION_TEXT "0.0.0"
#endif

namespace kel {

OscInterface::OscInterface()
{
    registerGenericDocumentation();
    registerGenericHandlers();
    presets.AddListener(this);
}

OscInterface::~OscInterface()
{
    presets.RemoveListener(this);
}

String OscInterface::getVersion() const
{
    return KEL_VERSION_TEXT;
}

// ---------------------------------------------------------------------------
// Dispatch

void OscInterface::AddMessageHandler(const OscAddressPattern& address, Handler handler)
{
    ownHandlers.PushBack(HandlerEntry{address, std::move(handler)});
}

void OscInterface::addGenericHandler(const OscAddressPattern& address, Handler handler)
{
    genericHandlers.PushBack(HandlerEntry{address, std::move(handler)});
}

OscDocumentation::Entry& OscInterface::AddDocumentation(const OscAddressPattern& address, String title,
                                                        String description, String argumentTypes,
                                                        String argumentDescription)
{
    return documentation.AddEntry(address, std::move(title), std::move(description), std::move(argumentTypes),
                                  std::move(argumentDescription));
}

bool OscInterface::genericAddressMatches(const OscAddressPattern& registered, const OscAddressPattern& address)
{
    if (registered.getNumParts() != address.getNumParts())
        return false;
    for (std::size_t i = 0; i < registered.getNumParts(); ++i)
        if (registered.getPart(i) != "*" && registered.getPart(i) != address.getPart(i))
            return false;
    return true;
}

bool OscInterface::DispatchMessage(const OscMessage& message, const MessageFlag& flag)
{
    const OscAddressPattern& address = message.getAddressPattern();
    const bool fanOut = address.containsWildcard();
    bool taken = false;
    for (std::size_t i = 0; i < ownHandlers.size() && (fanOut || !taken); ++i)
        if (ownHandlers[i].address.Matches(address) && ownHandlers[i].handler(message, flag))
            taken = true;
    for (std::size_t i = 0; i < genericHandlers.size() && (fanOut || !taken); ++i)
        if (genericAddressMatches(genericHandlers[i].address, address) && genericHandlers[i].handler(message, flag))
            taken = true;
    if (taken)
        notifyTaken(message, flag);
    return taken;
}

bool OscInterface::ProcessMessage(const OscMessage& message, const MessageFlag& flag)
{
    if (DispatchMessage(message, flag))
        return true;
    ReportUnsupportedMessage(message);
    return false;
}

void OscInterface::ReportUnsupportedMessage(const OscMessage& message) const
{
    ReportError(WhenProcessing(message, "unsupported message ?"));
}

bool OscInterface::ProcessBundle(const OscBundle& bundle, const MessageFlag& flag)
{
    bool succeeded = true;
    bundle.ForEachMessage([&](const OscMessage& message)
                          { succeeded = processAndReport(message, flag) && succeeded; });
    return succeeded;
}

bool OscInterface::OnPresetMessage(const OscMessage& message, const MessageFlag& flag)
{
    return processAndReport(message, flag);
}

bool OscInterface::processAndReport(const OscMessage& message, const MessageFlag& flag)
{
    try
    {
        return ProcessMessage(message, flag);
    }
    catch (const std::exception& failure)
    {
        ReportFailure(message, failure);
    }
    catch (...)
    {
        ReportError(WhenProcessing(message, "unknown exception"));
    }
    return false;
}

void OscInterface::OnPresetSnapshots(const Vector<OscSnapshotManager::OneSnapshot>& newSnapshots)
{
    snapshots.ReplaceAll(newSnapshots);
}

void OscInterface::OnPresetReport(const OscMessage& report)
{
    OscBundle bundle;
    bundle.AddMessage(report);
    SendReport(bundle);
}

// ---------------------------------------------------------------------------
// Observers

void OscInterface::AddObserver(OscObserver* observer)
{
    if (observer != nullptr && std::find(observers.begin(), observers.end(), observer) == observers.end())
        observers.PushBack(observer);
}

void OscInterface::RemoveObserver(OscObserver* observer)
{
    const auto found = std::find(observers.begin(), observers.end(), observer);
    if (found != observers.end())
        observers.Erase(std::size_t(found - observers.begin()));
}

void OscInterface::SendReport(const OscBundle& report) const
{
    for (std::size_t i = 0; i < observers.size(); ++i)
        observers[i]->OnOscReport(*this, report);
}

void OscInterface::notifyTaken(const OscMessage& message, const MessageFlag& flag) const
{
    for (std::size_t i = 0; i < observers.size(); ++i)
        observers[i]->OnOscMessageTaken(*this, message, flag);
}

// ---------------------------------------------------------------------------
// State

OscBundle OscInterface::GetState() const
{
    return {};
}

OscBundle OscInterface::GetStateWithPrefixes(const Vector<String>& prefixes) const
{
    Vector<OscAddressPattern> patterns;
    patterns.Reserve(prefixes.size());
    for (const String& prefix : prefixes)
    {
        if (!prefix.starts_with('/'))
            throw Exception("prefix must start with '/' : " + Quoted(prefix), KEL_HERE);
        patterns.PushBack(OscAddressPattern(prefix));
    }

    auto selected = [&](const OscAddressPattern& address)
    {
        for (const auto& prefix : patterns)
        {
            if (prefix.getNumParts() > address.getNumParts())
                continue;
            bool all = true;
            for (std::size_t i = 0; i < prefix.getNumParts() && all; ++i)
                all = OscPartsMatch(prefix.getPart(i), address.getPart(i));
            if (all)
                return true;
        }
        return false;
    };

    OscBundle subset;
    GetState().ForEachMessage(
        [&](const OscMessage& message)
        {
            if (selected(message.getAddressPattern()))
                subset.AddMessage(message);
        });
    return subset;
}

OscBundle OscInterface::GetStateWithSnapshots() const
{
    OscBundle content = GetState();
    content.AddElementsOf(snapshots.getSections());
    return content;
}

// ---------------------------------------------------------------------------
// Presets

bool OscInterface::LoadPreset(const File& file, const MessageFlag& flag)
{
    return presets.LoadPreset(file, flag);
}

File OscInterface::ExportPreset(const File& file, bool withSnapshots, String description)
{
    if (description.empty())
        description = (withSnapshots ? "preset with snapshots of " : "preset of ") + getName();
    return presets.SavePreset(withSnapshots ? GetStateWithSnapshots() : GetState(), file, description);
}

File OscInterface::LocatePresetFile(const String& name) const
{
    if (auto found = LocateFile(name))
        return *found;
    if (!name.empty() && File(name).getFileExtension().empty())
        if (auto found = LocateFile(name + ".txt"))
            return *found;
    throw Exception("Couldn't locate file: " + Quoted(name), KEL_HERE);
}

// ---------------------------------------------------------------------------
// Indexed families

namespace {

bool ParseIndex(std::string_view part, std::int64_t& index)
{
    if (part.empty() || part.size() > 18)
        return false;
    for (const char c : part)
        if (c < '0' || c > '9')
            return false;
    return std::from_chars(part.data(), part.data() + part.size(), index).ec == std::errc();
}

bool HoldsWildcard(std::string_view part)
{
    return part.find_first_of("*?{}[]") != std::string_view::npos;
}

[[noreturn]] void ThrowInvalidIndex(std::string_view indexPart, std::string_view family, const SourceLocation& where)
{
    throw Exception("invalid " + String(family) + " index " + Quoted(indexPart) + " ?", where);
}

} // namespace

void OscInterface::DetectIndexErrorNonContiguous(std::string_view indexPart, const Vector<std::int64_t>& existing,
                                                 std::string_view family)
{
    if ((indexPart == "*" || indexPart == "?") && existing.empty())
        throw Exception("there is no " + String(family), KEL_HERE);

    std::int64_t index = 0;
    if (ParseIndex(indexPart, index))
    {
        if (std::find(existing.begin(), existing.end(), index) == existing.end())
            ThrowInvalidIndex(indexPart, family, KEL_HERE);
        return;
    }
    if (!HoldsWildcard(indexPart))
        ThrowInvalidIndex(indexPart, family, KEL_HERE);
    for (const std::int64_t candidate : existing)
        if (OscPartMatchesIndex(indexPart, candidate))
            return;
    ThrowInvalidIndex(indexPart, family, KEL_HERE);
}

Vector<std::int64_t> OscInterface::SelectIndices(std::string_view indexPart, const Vector<std::int64_t>& existing,
                                                 std::string_view family)
{
    DetectIndexErrorNonContiguous(indexPart, existing, family);
    Vector<std::int64_t> selected;
    std::int64_t index = 0;
    if (ParseIndex(indexPart, index))
        selected.PushBack(index);
    else
        for (const std::int64_t candidate : existing)
            if (OscPartMatchesIndex(indexPart, candidate))
                selected.PushBack(candidate);
    std::sort(selected.begin(), selected.end());
    return selected;
}

} // namespace kel
