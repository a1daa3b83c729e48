// Presets: an object's state kept in a file, in one of three formats chosen
// by the file's extension:
//   ".txt" (and no extension): OSC text, one message per line, the default;
//   ".osc": one binary OSC bundle;
//   ".coll": a Max coll file (readable by the coll object).
// Any other extension throws "unexpected file extension for file " + the
// file name in double quotes.
//
// A preset saved with its snapshots holds the state messages first, then
// one section per snapshot (layout in KelOscSnapshotManager.h); loading it
// replaces the object's snapshot list. A preset saved without snapshots, or
// with an empty list, leaves the list alone when loaded.
//
// Loading reads and checks the whole file first: a file that cannot be read
// or parsed throws and nothing reaches the object. Every error in the file
// names the file and the place in it (KelOscFileError.h). Then the listeners get,
// in order: the report "/preset/loading" with the file's full path, every
// state message (OnPresetMessage, with the caller's flag plus fromPreset),
// the snapshots if the file has any, and "/preset/loaded" with the path.
// "/preset/loaded" is sent even when single messages failed (each failure
// is reported by the listener that met it), so that every "/preset/loading"
// has its "/preset/loaded". Saving sends "/preset/saved" with the path of the
// file written, once it is on disk.
//
// Main thread only: files are read and written synchronously.
#pragma once

#include <string_view>

#include "containers/KelVector.h"
#include "files/KelFile.h"
#include "osc/KelMessageFlag.h"
#include "osc/KelOscBundle.h"
#include "osc/KelOscFileContent.h"
#include "osc/KelOscSnapshotManager.h"

namespace kel {

class OscPresetManager
{
public:
    enum class Format
    {
        text,
        binary,
        coll
    };

    class Listener
    {
    public:
        virtual ~Listener() = default;
        /** One state message of the preset being loaded. Returns false when
            it failed; the listener reports the failure itself. */
        virtual bool OnPresetMessage(const OscMessage& message, const MessageFlag& flag) = 0;
        /** The snapshots of a preset saved with them, after its messages. */
        virtual void OnPresetSnapshots(const Vector<OscSnapshotManager::OneSnapshot>& /*snapshots*/) {}
        /** "/preset/loading", "/preset/loaded" or "/preset/saved" with the
            file's full path. */
        virtual void OnPresetReport(const OscMessage& /*report*/) {}
    };

    OscPresetManager() = default;
    OscPresetManager(const OscPresetManager&) = delete;
    OscPresetManager& operator=(const OscPresetManager&) = delete;

    void AddListener(Listener* listener);
    void RemoveListener(Listener* listener);

    /** Reads file and hands its messages to the listeners (see above).
        Returns true when every message succeeded. Throws when the file's
        extension, content or layout is wrong, or while another preset is
        loading. */
    bool LoadPreset(const File& file, const MessageFlag& flag);
    /** Writes content (state, possibly followed by snapshot sections) to
        file, replacing it; description goes into the text header. Returns
        the file written (".txt" added to a name without extension). */
    File SavePreset(const OscBundle& content, const File& file, std::string_view description);

    bool isLoading() const noexcept { return loading; }

    static Format formatFromExtension(const File& file);
    /** Reads the file in its format, with where each message stands in it;
        errors (KelOscFileError.h) call it a preset or a snapshot file by
        role. Throws as LoadPreset. */
    static OscFileContent ReadContent(const File& file, OscFileRole role);
    /** Writes a bundle in the file's format, replacing the file; returns the
        file written. Throws kel::exceptions::ErrorWritingFile. */
    static File WriteFile(const OscBundle& content, const File& file, std::string_view description);

    static const OscAddressPattern& getLoadingAddress();
    static const OscAddressPattern& getLoadedAddress();
    static const OscAddressPattern& getSavedAddress();

private:
    void report(const OscAddressPattern& address, const File& file);

    Vector<Listener*> listeners;
    bool loading = false;
};

} // namespace kel
