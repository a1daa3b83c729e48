#include "osc/KelOscSnapshotManager.h"

#include <algorithm>
#include <cmath>

#include "common/KelException.h"
#include "osc/KelOscFileContent.h"
#include "osc/KelOscInterpolation.h"
#include "osc/KelOscPresetManager.h"

namespace kel {

OscSnapshotManager::OneSnapshot::OneSnapshot(String snapshotName, OscBundle snapshotContent)
    : name(std::move(snapshotName)), content(std::move(snapshotContent))
{
}

const OscAddressPattern& OscSnapshotManager::getSectionBeginAddress()
{
    static const OscAddressPattern address("/snapshot/begin");
    return address;
}

const OscAddressPattern& OscSnapshotManager::getSectionEndAddress()
{
    static const OscAddressPattern address("/snapshot/end");
    return address;
}

void OscSnapshotManager::AddListener(Listener* listener)
{
    if (listener != nullptr && std::find(listeners.begin(), listeners.end(), listener) == listeners.end())
        listeners.PushBack(listener);
}

void OscSnapshotManager::RemoveListener(Listener* listener)
{
    const auto found = std::find(listeners.begin(), listeners.end(), listener);
    if (found != listeners.end())
        listeners.Erase(std::size_t(found - listeners.begin()));
}

void OscSnapshotManager::notify()
{
    for (std::size_t i = 0; i < listeners.size(); ++i)
        listeners[i]->OnSnapshotsChanged(*this);
}

Vector<std::int64_t> OscSnapshotManager::getIndices() const
{
    Vector<std::int64_t> indices;
    indices.Reserve(snapshots.size());
    for (std::size_t i = 1; i <= snapshots.size(); ++i)
        indices.PushBack(std::int64_t(i));
    return indices;
}

std::size_t OscSnapshotManager::checkedPosition(std::int64_t index) const
{
    if (!isValidIndex(index))
        throw Exception("invalid snapshot index : " + ToString(index), KEL_HERE);
    return std::size_t(index - 1);
}

const OscSnapshotManager::OneSnapshot& OscSnapshotManager::getSnapshot(std::int64_t index) const
{
    return *snapshots[checkedPosition(index)];
}

std::size_t OscSnapshotManager::findIndexByName(std::string_view name) const noexcept
{
    for (std::size_t i = 0; i < snapshots.size(); ++i)
        if (snapshots[i]->getName() == name)
            return i + 1;
    return 0;
}

std::size_t OscSnapshotManager::Add(OscBundle state, String name)
{
    const std::size_t index = snapshots.size() + 1;
    if (name.empty())
        name = "snapshot " + ToString(std::uint64_t(index));
    snapshots.PushBack(std::make_unique<OneSnapshot>(std::move(name), std::move(state)));
    notify();
    return index;
}

void OscSnapshotManager::Store(std::int64_t index, OscBundle state)
{
    if (index == std::int64_t(snapshots.size()) + 1)
    {
        Add(std::move(state));
        return;
    }
    snapshots[checkedPosition(index)]->setContent(std::move(state));
    notify();
}

const OscBundle& OscSnapshotManager::Recall(std::int64_t index) const
{
    return getSnapshot(index).getContent();
}

void OscSnapshotManager::SetName(std::int64_t index, String name)
{
    snapshots[checkedPosition(index)]->setName(std::move(name));
    notify();
}

void OscSnapshotManager::Delete(std::int64_t index)
{
    snapshots.Erase(checkedPosition(index));
    notify();
}

void OscSnapshotManager::Clear()
{
    snapshots.Clear();
    notify();
}

namespace {
void CheckFactor(double factor)
{
    if (std::isnan(factor))
        throw Exception("invalid interpolation factor : " + ToString(factor), KEL_HERE);
}
} // namespace

OscBundle OscSnapshotManager::Interpolate(std::int64_t first, std::int64_t second, double factor) const
{
    CheckFactor(factor);
    const OscBundle& a = getSnapshot(first).getContent();
    const OscBundle& b = getSnapshot(second).getContent();
    return OscBundleInterpolator(factor).doIt(a, b);
}

OscBundle OscSnapshotManager::Interpolate(const String& first, const String& second, double factor) const
{
    CheckFactor(factor);
    const std::size_t a = findIndexByName(first);
    if (a == 0)
        throw Exception("invalid snapshot name : " + first, KEL_HERE);
    const std::size_t b = findIndexByName(second);
    if (b == 0)
        throw Exception("invalid snapshot name : " + second, KEL_HERE);
    return OscBundleInterpolator(factor).doIt(snapshots[a - 1]->getContent(), snapshots[b - 1]->getContent());
}

OscBundle OscSnapshotManager::MakeSection(const OneSnapshot& snapshot)
{
    OscBundle section;
    section.AddStringMessage(getSectionBeginAddress(), snapshot.getName());
    snapshot.getContent().ForEachMessage([&](const OscMessage& m) { section.AddMessage(m); });
    section.AddMessage(OscMessage(getSectionEndAddress()));
    return section;
}

OscBundle OscSnapshotManager::getSections() const
{
    OscBundle sections;
    for (const auto& snapshot : snapshots)
        sections.AddElementsOf(MakeSection(*snapshot));
    return sections;
}

OscBundle OscSnapshotManager::getSection(std::int64_t index) const
{
    return MakeSection(getSnapshot(index));
}

void OscSnapshotManager::ReplaceAll(Vector<OneSnapshot> newSnapshots)
{
    Vector<ScopedPointer<OneSnapshot>> replacement;
    replacement.Reserve(newSnapshots.size());
    for (auto& snapshot : newSnapshots)
        replacement.PushBack(std::make_unique<OneSnapshot>(std::move(snapshot)));
    snapshots = std::move(replacement);
    notify();
}

std::size_t OscSnapshotManager::AppendAll(Vector<OneSnapshot> newSnapshots)
{
    snapshots.Reserve(snapshots.size() + newSnapshots.size());
    for (auto& snapshot : newSnapshots)
        snapshots.PushBack(std::make_unique<OneSnapshot>(std::move(snapshot)));
    if (!newSnapshots.empty())
        notify();
    return newSnapshots.size();
}

void OscSnapshotManager::ExportAll(const File& file, std::string_view description) const
{
    if (snapshots.empty())
        throw Exception("there is no snapshot", KEL_HERE);
    OscPresetManager::WriteFile(getSections(), file, description);
}

void OscSnapshotManager::ExportOne(std::int64_t index, const File& file, std::string_view description) const
{
    OscPresetManager::WriteFile(getSection(index), file, description);
}

std::size_t OscSnapshotManager::Import(const File& file)
{
    const OscFileContent content = OscPresetManager::ReadContent(file, OscFileRole::snapshot);
    OscBundle outside;
    std::size_t firstOutside = 0;
    Vector<OneSnapshot> imported;
    try
    {
        imported = ParseSections(content.getBundle(), &outside, &firstOutside);
    }
    catch (const SectionError& failure)
    {
        throw content.ErrorAt(failure.getMessageIndex(), failure.getMessage(), failure.getLocation());
    }
    if (imported.empty())
    {
        if (outside.isEmpty())
            throw content.Error("there is no snapshot", KEL_HERE);
        imported.EmplaceBack(file.getFileNameWithoutExtension(), std::move(outside));
    }
    else if (!outside.isEmpty())
    {
        throw content.ErrorAt(firstOutside,
                              "unexpected message outside a snapshot : " +
                                  Quoted(outside[0].getMessage().toString()),
                              KEL_HERE);
    }
    return AppendAll(std::move(imported));
}

OscSnapshotManager::SectionError::SectionError(String text, std::size_t index, SourceLocation where)
    : Exception(std::move(text), std::move(where)), messageIndex(index)
{
}

Vector<OscSnapshotManager::OneSnapshot> OscSnapshotManager::ParseSections(const OscBundle& content,
                                                                         OscBundle* outside,
                                                                         std::size_t* firstOutside)
{
    Vector<OneSnapshot> sections;
    bool open = false;
    String name;
    OscBundle section;
    std::size_t index = 0, openedAt = 0;
    bool anyOutside = false;
    content.ForEachMessage(
        [&](const OscMessage& m)
        {
            const std::size_t at = index++;
            const OscAddressPattern& address = m.getAddressPattern();
            if (address == getSectionBeginAddress())
            {
                if (open)
                    throw SectionError("missing /snapshot/end before " + Quoted(m.toString()), at, KEL_HERE);
                if (m.getNumArguments() > 1 || (m.getNumArguments() == 1 && !m[0].isString()))
                    throw SectionError("invalid snapshot section header " + Quoted(m.toString()), at, KEL_HERE);
                openedAt = at;
                name = m.getNumArguments() == 1 ? m[0].getString() : String();
                if (name.empty())
                    name = "snapshot " + ToString(std::uint64_t(sections.size() + 1));
                section.Clear();
                open = true;
            }
            else if (address == getSectionEndAddress())
            {
                if (!open)
                    throw SectionError("unexpected /snapshot/end", at, KEL_HERE);
                sections.EmplaceBack(std::move(name), std::move(section));
                section = OscBundle();
                open = false;
            }
            else if (open)
            {
                section.AddMessage(m);
            }
            else if (outside != nullptr)
            {
                if (!anyOutside && firstOutside != nullptr)
                    *firstOutside = at;
                anyOutside = true;
                outside->AddMessage(m);
            }
            else
            {
                throw SectionError("unexpected message outside a snapshot : " + Quoted(m.toString()), at, KEL_HERE);
            }
        });
    if (open)
        throw SectionError("missing /snapshot/end at the end of the file", openedAt, KEL_HERE);
    return sections;
}

} // namespace kel
