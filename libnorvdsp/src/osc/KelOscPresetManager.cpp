#include "osc/KelOscPresetManager.h"

#include <algorithm>

#include "common/KelException.h"

namespace kel {

const OscAddressPattern& OscPresetManager::getLoadingAddress()
{
    static const OscAddressPattern address("/preset/loading");
    return address;
}
const OscAddressPattern& OscPresetManager::getLoadedAddress()
{
    static const OscAddressPattern address("/preset/loaded");
    return address;
}
const OscAddressPattern& OscPresetManager::getSavedAddress()
{
    static const OscAddressPattern address("/preset/saved");
    return address;
}

void OscPresetManager::AddListener(Listener* listener)
{
    if (listener != nullptr && std::find(listeners.begin(), listeners.end(), listener) == listeners.end())
        listeners.PushBack(listener);
}

void OscPresetManager::RemoveListener(Listener* listener)
{
    const auto found = std::find(listeners.begin(), listeners.end(), listener);
    if (found != listeners.end())
        listeners.Erase(std::size_t(found - listeners.begin()));
}

OscPresetManager::Format OscPresetManager::formatFromExtension(const File& file)
{
    if (file.getFileExtension().empty() || file.hasFileExtension("txt"))
        return Format::text;
    if (file.hasFileExtension("osc"))
        return Format::binary;
    if (file.hasFileExtension("coll"))
        return Format::coll;
    throw Exception("unexpected file extension for file " + Quoted(file.getFileName()), KEL_HERE);
}

OscFileContent OscPresetManager::ReadContent(const File& file, OscFileRole role)
{
    switch (formatFromExtension(file))
    {
        case Format::coll:
            return OscFileContent::Read(file, OscFileContent::Reading::coll, role);
        case Format::binary:
            // A hand-written ".osc" file in the text form is read as text.
            return OscFileContent::Read(file, OscFileContent::Reading::byContent, role);
        case Format::text:
            break;
    }
    return OscFileContent::Read(file, OscFileContent::Reading::text, role);
}

File OscPresetManager::WriteFile(const OscBundle& content, const File& file, std::string_view description)
{
    switch (formatFromExtension(file))
    {
        case Format::binary:
            content.SaveAsBinaryFile(file, Overwrite::replace);
            return file;
        case Format::coll:
            content.SaveAsCollFile(file, Overwrite::replace);
            return file;
        case Format::text:
            break;
    }
    const File written = file.getFileExtension().empty() ? file.withFileExtension(".txt") : file;
    content.SaveAsTextFile(written, Overwrite::replace, description);
    return written;
}

void OscPresetManager::report(const OscAddressPattern& address, const File& file)
{
    OscMessage message(address);
    message.AddString(file.getFullPathName());
    for (std::size_t i = 0; i < listeners.size(); ++i)
        listeners[i]->OnPresetReport(message);
}

bool OscPresetManager::LoadPreset(const File& file, const MessageFlag& flag)
{
    if (loading)
        throw Exception("cannot load preset " + Quoted(file.getFullPathName()) + " while another preset is loading",
                        KEL_HERE);
    const OscFileContent content = ReadContent(file, OscFileRole::preset);
    OscBundle state;
    Vector<OscSnapshotManager::OneSnapshot> snapshots;
    try
    {
        snapshots = OscSnapshotManager::ParseSections(content.getBundle(), &state);
    }
    catch (const OscSnapshotManager::SectionError& failure)
    {
        throw content.ErrorAt(failure.getMessageIndex(), failure.getMessage(), failure.getLocation());
    }

    struct Guard
    {
        bool& flag;
        ~Guard() { flag = false; }
    } guard{loading};
    loading = true;

    report(getLoadingAddress(), file);
    const MessageFlag presetFlag = flag.with(MessageFlag::fromPreset);
    bool succeeded = true;
    state.ForEachMessage(
        [&](const OscMessage& message)
        {
            for (std::size_t i = 0; i < listeners.size(); ++i)
                succeeded = listeners[i]->OnPresetMessage(message, presetFlag) && succeeded;
        });
    if (!snapshots.empty())
        for (std::size_t i = 0; i < listeners.size(); ++i)
            listeners[i]->OnPresetSnapshots(snapshots);
    report(getLoadedAddress(), file);
    return succeeded;
}

File OscPresetManager::SavePreset(const OscBundle& content, const File& file, std::string_view description)
{
    const File written = WriteFile(content, file, description);
    report(getSavedAddress(), written);
    return written;
}

} // namespace kel
