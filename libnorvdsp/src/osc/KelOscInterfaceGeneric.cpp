// The handlers of the generic messages every object understands (version,
// documentation, state, presets, snapshots, windows, dump).
#include <cmath>

#include "common/KelException.h"
#include "osc/KelOscArgumentShape.h"
#include "osc/KelOscInterface.h"

namespace kel {

namespace {

String ArgumentsText(const OscMessage& message)
{
    String text;
    for (std::size_t i = 0; i < message.getNumArguments(); ++i)
        text += (i == 0 ? "" : " ") + message[i].toString();
    return text;
}

void RefuseReplayedState(const MessageFlag& flag)
{
    if (flag.isReplayedState())
        throw Exception("preset and snapshot messages are not allowed inside a preset or a snapshot", KEL_HERE);
}

Vector<String> StringArguments(const OscMessage& message)
{
    Vector<String> strings;
    for (std::size_t i = 0; i < message.getNumArguments(); ++i)
        strings.PushBack(message[i].getString());
    return strings;
}

Vector<String> MessageLines(const OscBundle& bundle, std::string_view indent)
{
    Vector<String> lines;
    bundle.ForEachMessage([&](const OscMessage& m) { lines.PushBack(String(indent) + m.toString()); });
    return lines;
}

} // namespace

void OscInterface::registerGenericHandlers()
{
    auto on = [this](std::string_view address, Handler handler)
    { addGenericHandler(OscAddressPattern(address), std::move(handler)); };

    on("/post/version",
       [this](const OscMessage& m, const MessageFlag&)
       {
           if (!OscHasShape(m, "") && !OscHasShape(m, "s"))
               return false;
           postVersion(m.getNumArguments() == 1 && m[0].getString() == "details");
           return true;
       });

    for (const std::string_view address : {"/post/doc", "/post/documentation"})
        on(address,
           [this](const OscMessage& m, const MessageFlag&)
           {
               if (!OscHasShape(m, ""))
                   return false;
               PostLines(documentation.toLines());
               return true;
           });

    for (const std::string_view address : {"/post/state", "/post/status", "/post/state/withsnapshots",
                                           "/post/status/withsnapshots"})
    {
        const bool withSnapshots = address.ends_with("/withsnapshots");
        on(address,
           [this, withSnapshots](const OscMessage& m, const MessageFlag&)
           {
               if (!OscHasShape(m, ""))
                   return false;
               PostText("state of " + getName() + " :");
               PostLines(MessageLines(GetState(), "  "));
               if (withSnapshots)
                   postSnapshots();
               return true;
           });
    }

    on("/post/snapshots",
       [this](const OscMessage& m, const MessageFlag&)
       {
           if (!OscHasShape(m, ""))
               return false;
           postSnapshots();
           return true;
       });

    on("/post/symbols",
       [this](const OscMessage& m, const MessageFlag&)
       {
           if (!OscHasShape(m, ""))
               return false;
           PostLines(documentation.getAddresses());
           return true;
       });

    for (const std::string_view address : {"/preset/load", "/preset/import", "/preset/recall"})
        on(address, [this](const OscMessage& m, const MessageFlag& flag) { return handlePresetLoad(m, flag); });

    for (const std::string_view address : {"/preset/export", "/preset/save", "/preset/store"})
    {
        on(address,
           [this](const OscMessage& m, const MessageFlag& flag)
           {
               RefuseReplayedState(flag);
               return handlePresetExport(m, false);
           });
        on(String(address) + "/withsnapshots",
           [this](const OscMessage& m, const MessageFlag& flag)
           {
               RefuseReplayedState(flag);
               return handlePresetExport(m, true);
           });
    }

    on("/status/copytoclipboard",
       [this](const OscMessage& m, const MessageFlag&)
       {
           if (!OscHasShape(m, "") && !OscHasShape(m, "s"))
               return false;
           copyToClipboard(GetState().toString(m.getNumArguments() == 1 ? m[0].getString() : "\n"));
           return true;
       });

    on("/dump",
       [this](const OscMessage& m, const MessageFlag&)
       {
           if (m.getNumArguments() == 0)
               SendReport(GetState());
           else if (OscAllStrings(m))
               SendReport(GetStateWithPrefixes(StringArguments(m)));
           else
               throw Exception("invalid message: /dump " + ArgumentsText(m), KEL_HERE);
           return true;
       });

    on("/snapshot/clear",
       [this](const OscMessage& m, const MessageFlag& flag)
       {
           RefuseReplayedState(flag);
           if (!OscHasShape(m, ""))
               return false;
           snapshots.Clear();
           return true;
       });

    on("/snapshot/add",
       [this](const OscMessage& m, const MessageFlag& flag)
       {
           RefuseReplayedState(flag);
           if (!OscHasShape(m, "") && !OscHasShape(m, "s"))
               return false;
           snapshots.Add(GetState(), m.getNumArguments() == 1 ? m[0].getString() : String());
           return true;
       });

    for (const std::string_view action : {"store", "recall", "name", "delete", "copytoclipboard", "export",
                                          "export/content"})
        on("/snapshot/*/" + String(action),
           [this, action](const OscMessage& m, const MessageFlag& flag)
           {
               RefuseReplayedState(flag);
               if (action == "recall")
               {
                   if (!OscHasShape(m, ""))
                       return false;
                   ProcessBundle(snapshots.Recall(selectOneSnapshot(m.getAddressPattern().getPart(1))),
                                 flag.with(MessageFlag::fromSnapshot));
                   return true;
               }
               return handleSnapshotMessage(m, action);
           });

    on("/snapshot/interpolate",
       [this](const OscMessage& m, const MessageFlag& flag) { return handleInterpolate(m, flag); });

    on("/snapshot/export",
       [this](const OscMessage& m, const MessageFlag& flag)
       {
           RefuseReplayedState(flag);
           if (!OscHasShape(m, "") && !OscHasShape(m, "s"))
               return false;
           bool cancelled = false;
           const File file = m.getNumArguments() == 1 ? File(m[0].getString())
                                                      : chooseFile(FilePurpose::save, "export snapshots", cancelled);
           if (!cancelled)
               snapshots.ExportAll(file, "snapshots of " + getName());
           return true;
       });

    on("/snapshot/import",
       [this](const OscMessage& m, const MessageFlag& flag)
       {
           RefuseReplayedState(flag);
           if (!OscHasShape(m, "") && !OscHasShape(m, "s"))
               return false;
           bool cancelled = false;
           const File file = m.getNumArguments() == 1 ? LocatePresetFile(m[0].getString())
                                                      : chooseFile(FilePurpose::open, "import snapshots", cancelled);
           if (!cancelled)
               snapshots.Import(file);
           return true;
       });

    // The windows belong to the host (the Max binding opens them before a
    // message reaches here); without one, say so rather than "unsupported".
    for (const std::string_view w : genericWindowNames)
        for (const std::string_view action : {"open", "close", "openorclose", "font/size", "floating"})
        {
            String address("/");  // appended piecewise: gcc 12 warns falsely on "/" + String
            address.append(w).append("/").append(action);
            on(address,
               [this, w](const OscMessage& m, const MessageFlag&)
               {
                   ReportWarning(WhenProcessing(m, "there is no " + String(w) + " window in this host"));
                   return true;
               });
        }
}

void OscInterface::postVersion(bool details) const
{
    PostText(getName() + " version " + getVersion());
    if (!details)
        return;
#if defined(__clang__)
    PostText("compiler: clang " __clang_version__);
#elif defined(__GNUC__)
    PostText("compiler: gcc " __VERSION__);
#elif defined(_MSC_VER)
    PostText("compiler: msvc " + ToString(int(_MSC_VER)));
#endif
    PostText("engine: libnorvdsp " + String(OscInterface::getVersion()));
}

void OscInterface::postSnapshots() const
{
    if (snapshots.getNumSnapshots() == 0)
    {
        PostText("there is no snapshot");
        return;
    }
    for (std::size_t i = 1; i <= snapshots.getNumSnapshots(); ++i)
    {
        const auto& snapshot = snapshots.getSnapshot(std::int64_t(i));
        PostText("snapshot " + ToString(std::uint64_t(i)) + " " + Quoted(snapshot.getName()) + " :");
        PostLines(MessageLines(snapshot.getContent(), "  "));
    }
}

File OscInterface::chooseFile(FilePurpose purpose, const String& title, bool& cancelled) const
{
    const FileChoice choice = ChooseFile(purpose, title);
    switch (choice.outcome)
    {
        case FileChoice::Outcome::chosen:
            cancelled = false;
            return choice.file;
        case FileChoice::Outcome::cancelled:
            cancelled = true;
            return {};
        case FileChoice::Outcome::unavailable:
            break;
    }
    throw Exception("there is no file dialog in this host: please give a file name", KEL_HERE);
}

void OscInterface::copyToClipboard(const String& text) const
{
    if (!CopyToClipboard(text))
        throw Exception("there is no clipboard in this host", KEL_HERE);
}

bool OscInterface::handlePresetLoad(const OscMessage& m, const MessageFlag& flag)
{
    RefuseReplayedState(flag);
    if (!OscHasShape(m, "") && !OscHasShape(m, "s"))
        return false;
    bool cancelled = false;
    const File file = m.getNumArguments() == 1 ? LocatePresetFile(m[0].getString())
                                               : chooseFile(FilePurpose::open, "load preset", cancelled);
    if (!cancelled)
        LoadPreset(file, flag);
    return true;
}

bool OscInterface::handlePresetExport(const OscMessage& m, bool withSnapshots)
{
    if (OscHasShape(m, "s"))
    {
        ExportPreset(File(m[0].getString()), withSnapshots);
    }
    else if (OscHasShape(m, "ss"))
    {
        // A description for the file's header, then the file.
        ExportPreset(File(m[1].getString()), withSnapshots, m[0].getString());
    }
    else if (OscHasShape(m, ""))
    {
        bool cancelled = false;
        const File file = chooseFile(FilePurpose::save, "export preset", cancelled);
        if (!cancelled)
            ExportPreset(file, withSnapshots);
    }
    else
    {
        return false;
    }
    return true;
}

std::int64_t OscInterface::selectOneSnapshot(std::string_view indexPart) const
{
    const Vector<std::int64_t> selected = SelectIndices(indexPart, snapshots.getIndices(), "snapshot");
    if (selected.size() != 1)
        throw Exception("snapshot index " + Quoted(indexPart) + " selects several snapshots", KEL_HERE);
    return selected[0];
}

bool OscInterface::handleSnapshotMessage(const OscMessage& m, std::string_view action)
{
    const std::string_view indexPart = m.getAddressPattern().getPart(1);
    if (action == "store")
    {
        if (!OscHasShape(m, ""))
            return false;
        const std::int64_t next = std::int64_t(snapshots.getNumSnapshots()) + 1;
        if (indexPart == ToString(next))
        {
            snapshots.Store(next, GetState());
            return true;
        }
        for (const std::int64_t index : SelectIndices(indexPart, snapshots.getIndices(), "snapshot"))
            snapshots.Store(index, GetState());
        return true;
    }
    if (action == "delete")
    {
        if (!OscHasShape(m, ""))
            return false;
        const Vector<std::int64_t> selected = SelectIndices(indexPart, snapshots.getIndices(), "snapshot");
        // From the last, so that the indices still to delete do not move.
        for (std::size_t i = selected.size(); i-- > 0;)
            snapshots.Delete(selected[i]);
        return true;
    }
    if (action == "name")
    {
        if (!OscHasShape(m, "s"))
            return false;
        snapshots.SetName(selectOneSnapshot(indexPart), m[0].getString());
        return true;
    }
    if (action == "copytoclipboard")
    {
        if (!OscHasShape(m, "") && !OscHasShape(m, "s"))
            return false;
        const std::int64_t index = selectOneSnapshot(indexPart);
        copyToClipboard(snapshots.Recall(index).toString(m.getNumArguments() == 1 ? m[0].getString() : "\n"));
        return true;
    }
    // export, export/content
    if (!OscHasShape(m, "") && !OscHasShape(m, "s"))
        return false;
    const std::int64_t index = selectOneSnapshot(indexPart);
    const String description = "snapshot " + Quoted(snapshots.getSnapshot(index).getName()) + " of " + getName();
    bool cancelled = false;
    const File file = m.getNumArguments() == 1 ? File(m[0].getString())
                                               : chooseFile(FilePurpose::save, "export snapshot", cancelled);
    if (cancelled)
        return true;
    if (action == "export")
        snapshots.ExportOne(index, file, description);
    else
        OscPresetManager::WriteFile(snapshots.Recall(index), file, "content of " + description);
    return true;
}

bool OscInterface::handleInterpolate(const OscMessage& m, const MessageFlag& flag)
{
    RefuseReplayedState(flag);
    OscBundle between;
    if (OscHasShape(m, "nnn"))
    {
        auto index = [&](std::size_t i)
        {
            const double value = m[i].getAsDouble();
            if (value != std::trunc(value) || std::abs(value) > 1.0e15)
                throw Exception("invalid snapshot index : " + m[i].toString(), KEL_HERE);
            return std::int64_t(value);
        };
        between = snapshots.Interpolate(index(0), index(1), m[2].getAsDouble());
    }
    else if (OscHasShape(m, "ssn"))
    {
        between = snapshots.Interpolate(m[0].getString(), m[1].getString(), m[2].getAsDouble());
    }
    else
    {
        return false;
    }
    ProcessBundle(between, flag.with(MessageFlag::fromInterpolation));
    return true;
}

} // namespace kel
