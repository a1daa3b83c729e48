// Snapshots: an object's state (the bundle of messages that would set it)
// kept in memory, in a numbered and named list. Users number snapshots from
// 1, as in /snapshot/1/recall; every index here counts the same way.
//
// Names need not be unique; a lookup by name takes the first match. A
// snapshot added without a name is called "snapshot " + its index at the
// time it was added.
//
// The manager only keeps the list: the object captures its state and hands
// it in, and dispatches what a recall or an interpolation hands back.
//
// File layout (export and import, in the text, binary OSC or coll format
// that the file's extension names, as for presets): one section per
// snapshot, flat messages so that every format holds it,
//     /snapshot/begin "name"
//     /gain 0.5
//     /snapshot/end
// Importing appends the file's snapshots to the list. A file without any
// section (a preset, or a snapshot exported with export/content) imports
// as one snapshot named after the file. Reading is all or nothing: a
// malformed file leaves the list unchanged. Every error in a file names the
// file and the place in it (KelOscFileError.h), as "snapshot file".
//
// Main thread only; allocates.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/KelException.h"
#include "common/KelString.h"
#include "containers/KelScopedPointer.h"
#include "containers/KelVector.h"
#include "files/KelFile.h"
#include "osc/KelOscBundle.h"

namespace kel {

class OscSnapshotManager
{
public:
    class OneSnapshot
    {
    public:
        OneSnapshot(String name, OscBundle content);

        const String& getName() const noexcept { return name; }
        void setName(String newName) { name = std::move(newName); }
        const OscBundle& getContent() const noexcept { return content; }
        void setContent(OscBundle newContent) { content = std::move(newContent); }

    private:
        String name;
        OscBundle content;
    };

    class Listener
    {
    public:
        virtual ~Listener() = default;
        /** After every change of the list, a name or a content. */
        virtual void OnSnapshotsChanged(const OscSnapshotManager& manager) = 0;
    };

    OscSnapshotManager() = default;
    OscSnapshotManager(const OscSnapshotManager&) = delete;
    OscSnapshotManager& operator=(const OscSnapshotManager&) = delete;

    void AddListener(Listener* listener);
    void RemoveListener(Listener* listener);

    std::size_t getNumSnapshots() const noexcept { return snapshots.size(); }
    bool isValidIndex(std::int64_t index) const noexcept
    {
        return index >= 1 && std::uint64_t(index) <= snapshots.size();
    }
    /** 1, 2 ... getNumSnapshots(). */
    Vector<std::int64_t> getIndices() const;
    /** Throws "invalid snapshot index : " + index. */
    const OneSnapshot& getSnapshot(std::int64_t index) const;
    /** The index of the first snapshot called name; 0 when none is. */
    std::size_t findIndexByName(std::string_view name) const noexcept;

    /** Appends a snapshot; returns its index. */
    std::size_t Add(OscBundle state, String name = {});
    /** Replaces the content of snapshot index (its name stays); the index
        just past the end appends, as Add does. Others throw. */
    void Store(std::int64_t index, OscBundle state);
    /** The content to dispatch. Throws for an invalid index. */
    const OscBundle& Recall(std::int64_t index) const;
    void SetName(std::int64_t index, String name);
    /** Later snapshots move down by one. */
    void Delete(std::int64_t index);
    void Clear();

    /** The state between two snapshots at factor per cent
        (OscBundleInterpolator). Throws "invalid snapshot index : " + index
        for either index, "invalid interpolation factor : " + factor for a
        factor that is not a number. */
    OscBundle Interpolate(std::int64_t first, std::int64_t second, double factor) const;
    /** The same by names; throws "invalid snapshot name : " + name. */
    OscBundle Interpolate(const String& first, const String& second, double factor) const;

    /** The file sections of every snapshot (or of one). */
    OscBundle getSections() const;
    OscBundle getSection(std::int64_t index) const;
    /** A snapshot's content as a plain preset file. */
    OscBundle getContentOf(std::int64_t index) const { return Recall(index); }

    /** Replaces the whole list (a preset loaded with its snapshots). */
    void ReplaceAll(Vector<OneSnapshot> newSnapshots);
    /** Appends; returns how many. */
    std::size_t AppendAll(Vector<OneSnapshot> newSnapshots);

    /** Writes getSections() to file in the format its extension names;
        throws "there is no snapshot" for an empty list. */
    void ExportAll(const File& file, std::string_view description) const;
    void ExportOne(std::int64_t index, const File& file, std::string_view description) const;
    /** Reads file and appends its snapshots; returns how many. */
    std::size_t Import(const File& file);

    /** A malformed section layout, and the message where it shows (its
        index in the content, depth first): the one that is out of place,
        or the "/snapshot/begin" of a section left open. */
    class SectionError : public Exception
    {
    public:
        SectionError(String message, std::size_t messageIndex, SourceLocation where);
        std::size_t getMessageIndex() const noexcept { return messageIndex; }

    private:
        std::size_t messageIndex;
    };

    /** Splits flat messages into snapshot sections (file layout above);
        messages outside every section go to outside when given (the index
        of the first in firstOutside, when given), and are an error
        otherwise. Throws SectionError for a malformed layout. */
    static Vector<OneSnapshot> ParseSections(const OscBundle& content, OscBundle* outside,
                                             std::size_t* firstOutside = nullptr);
    static OscBundle MakeSection(const OneSnapshot& snapshot);

    static const OscAddressPattern& getSectionBeginAddress();
    static const OscAddressPattern& getSectionEndAddress();

private:
    std::size_t checkedPosition(std::int64_t index) const;
    void notify();

    Vector<ScopedPointer<OneSnapshot>> snapshots;
    Vector<Listener*> listeners;
};

} // namespace kel
