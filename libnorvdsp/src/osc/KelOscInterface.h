// The base through which every controllable object receives OSC messages
// and documents them.
//
// Dispatch (ProcessMessage): a message is offered first to the object's own
// handlers, in registration order (a processor's frame registers before the
// processor itself), then to the generic handlers that every object has
// (version, documentation, state, presets, snapshots, windows, dump). A
// handler returns false when the message's arguments are not a form it
// takes, so the next handler with a matching address gets its turn.
//  - An address without wildcard stops at the first handler that takes it.
//  - An address pattern (/source/*/gain, /{gain,mode}) goes on to every
//    handler that matches it, so one message can set several parameters.
//  - Own handlers match patterns on either side (OscAddressPattern::Matches);
//    generic handlers want their address exactly, with one exception: the
//    index part of the snapshot family (/snapshot/[1-3]/delete), which the
//    handler resolves against the existing snapshots.
//  - What no handler takes is reported as an error, "when processing " +
//    the quoted message + ". Reason: unsupported message ?", and changes
//    nothing. Handler failures are thrown to the caller (the host posts
//    them); in a preset, a snapshot or an interpolation each failing message
//    is reported the same way and the next one goes on.
//
// Observers follow the interface: OnOscMessageTaken after every message a
// handler took (with its flag), OnOscReport for every bundle the interface
// sends out ("/dump" answers, "/preset/loaded", "/dsp/latency", ...); the
// host binding registers one that sends reports through its dump outlet.
//
// Threads: registration happens in constructors. Messages, presets and
// snapshots are handled on the host's main thread (the Max scheduler when it
// runs in the audio interrupt counts as that thread: the object's message
// thread). Reports may come from any thread (HostNotifier).
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "common/KelString.h"
#include "containers/KelVector.h"
#include "files/KelFile.h"
#include "osc/KelHostNotifier.h"
#include "osc/KelMessageFlag.h"
#include "osc/KelOscBundle.h"
#include "osc/KelOscDocumentation.h"
#include "osc/KelOscPresetManager.h"
#include "osc/KelOscSnapshotManager.h"

namespace kel {

class OscInterface;

/** The windows every object has (built by the host): "status", "help",
    "snapshot". */
inline constexpr std::string_view genericWindowNames[] = {"status", "help", "snapshot"};

class OscObserver
{
public:
    virtual ~OscObserver() = default;
    /** A message that a handler took, after the handler ran. */
    virtual void OnOscMessageTaken(const OscInterface& /*source*/, const OscMessage& /*message*/,
                                   const MessageFlag& /*flag*/)
    {
    }
    /** A bundle the object sends out (its dump outlet in Max). */
    virtual void OnOscReport(const OscInterface& /*source*/, const OscBundle& /*report*/) {}
};

class OscInterface : public HostNotifier, public OscPresetManager::Listener
{
public:
    /** Returns true when it took the message (its argument form fitted);
        throws kel::Exception on failure. */
    using Handler = std::function<bool(const OscMessage&, const MessageFlag&)>;

    OscInterface();
    ~OscInterface() override;

    // ------------------------------------------------------------------
    // Dispatch

    /** The OSC entry: DispatchMessage, then the unsupported report when no
        handler took the message. Returns whether one did. Handler failures
        propagate. An object may override it to put its own tests around the
        chain (call DispatchMessage, then ReportUnsupportedMessage). */
    virtual bool ProcessMessage(const OscMessage& message, const MessageFlag& flag = {});
    /** Own handlers, then generic ones (rules above); no report. */
    bool DispatchMessage(const OscMessage& message, const MessageFlag& flag);
    /** Posts the unsupported-message error. */
    void ReportUnsupportedMessage(const OscMessage& message) const;
    /** Every message of bundle through ProcessMessage; a failure is
        reported and the next message goes on. True when all succeeded. */
    bool ProcessBundle(const OscBundle& bundle, const MessageFlag& flag);

    // ------------------------------------------------------------------
    // Registration (constructors)

    /** Adds one of the object's own handlers for address. The address may
        hold wildcards, so that one handler receives a whole indexed family
        (it then reads the index part, see SelectIndices). */
    void AddMessageHandler(const OscAddressPattern& address, Handler handler);
    /** Adds a documentation entry (see OscDocumentation). */
    OscDocumentation::Entry& AddDocumentation(const OscAddressPattern& address, String title, String description,
                                              String argumentTypes = {}, String argumentDescription = {});
    const OscDocumentation& getDocumentation() const noexcept { return documentation; }

    // ------------------------------------------------------------------
    // State

    /** The messages that would set the object to its current state, in the
        order they should be replayed. Overrides append to the base's. */
    virtual OscBundle GetState() const;
    /** The state messages whose address begins, part by part, with one of
        the prefixes ("/source" gives /source/2/gain, not /sources; a prefix
        may hold wildcards; "/" gives everything). A prefix that does not
        begin with "/" throws "prefix must start with '/' : " + the quoted
        prefix. */
    OscBundle GetStateWithPrefixes(const Vector<String>& prefixes) const;
    /** The state followed by one section per snapshot (a preset with its
        snapshots). */
    OscBundle GetStateWithSnapshots() const;

    /** The object's name and version, for "/post/version" and file headers. */
    virtual String getName() const { return "kel object"; }
    virtual String getVersion() const;

    // ------------------------------------------------------------------
    // Presets and snapshots

    OscPresetManager& getPresetManager() noexcept { return presets; }
    OscSnapshotManager& getSnapshotManager() noexcept { return snapshots; }
    const OscSnapshotManager& getSnapshotManager() const noexcept { return snapshots; }

    /** Loads a preset into the object (OscPresetManager::LoadPreset). */
    bool LoadPreset(const File& file, const MessageFlag& flag = {});
    /** Saves the state (and the snapshots) as a preset; returns the file
        written. */
    File ExportPreset(const File& file, bool withSnapshots, String description = {});
    /** Finds a preset or snapshot file by the name a user gave: the host's
        file search, then the plain path, then the name with ".txt" added
        when it has no extension. Throws "Couldn't locate file: " + the
        quoted name. */
    File LocatePresetFile(const String& name) const;

    // ------------------------------------------------------------------
    // Observers

    void AddObserver(OscObserver* observer);
    void RemoveObserver(OscObserver* observer);
    /** Hands a report to every observer. */
    void SendReport(const OscBundle& report) const;

    // ------------------------------------------------------------------
    // Indexed families (/snapshot/3/store, /source/[1-4]/gain)

    /** Throws when indexPart cannot name an existing entry of family:
          "*" or "?" while there is none: "there is no " + family;
          anything else that names no existing index (a number, a pattern
          or a non-number): "invalid " + family + " index " + the quoted
          part + " ?".
        Existing indices need not be contiguous. */
    static void DetectIndexErrorNonContiguous(std::string_view indexPart, const Vector<std::int64_t>& existing,
                                              std::string_view family);
    /** The existing indices that indexPart selects (a number or an index
        pattern), in ascending order; throws as above when there is none. */
    static Vector<std::int64_t> SelectIndices(std::string_view indexPart, const Vector<std::int64_t>& existing,
                                              std::string_view family);

    // OscPresetManager::Listener
    bool OnPresetMessage(const OscMessage& message, const MessageFlag& flag) override;
    void OnPresetSnapshots(const Vector<OscSnapshotManager::OneSnapshot>& newSnapshots) override;
    void OnPresetReport(const OscMessage& report) override;

private:
    struct HandlerEntry
    {
        OscAddressPattern address;
        Handler handler;
    };

    void registerGenericDocumentation();
    void registerGenericHandlers();
    void addGenericHandler(const OscAddressPattern& address, Handler handler);
    static bool genericAddressMatches(const OscAddressPattern& registered, const OscAddressPattern& address);
    void notifyTaken(const OscMessage& message, const MessageFlag& flag) const;
    /** ProcessMessage; a failure is reported instead of thrown. */
    bool processAndReport(const OscMessage& message, const MessageFlag& flag);

    // Generic handlers' work (KelOscInterfaceGeneric.cpp).
    void postVersion(bool details) const;
    void postSnapshots() const;
    bool handlePresetLoad(const OscMessage& message, const MessageFlag& flag);
    bool handlePresetExport(const OscMessage& message, bool withSnapshots);
    bool handleSnapshotMessage(const OscMessage& message, std::string_view action);
    bool handleInterpolate(const OscMessage& message, const MessageFlag& flag);
    std::int64_t selectOneSnapshot(std::string_view indexPart) const;
    File chooseFile(HostNotifier::FilePurpose purpose, const String& title, bool& cancelled) const;
    void copyToClipboard(const String& text) const;

    OscDocumentation documentation;
    Vector<HandlerEntry> ownHandlers;
    Vector<HandlerEntry> genericHandlers;
    Vector<OscObserver*> observers;
    OscPresetManager presets;
    OscSnapshotManager snapshots;
};

} // namespace kel
