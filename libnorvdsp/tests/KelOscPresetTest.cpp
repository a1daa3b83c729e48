// Presets and snapshots through a processor's own messages: every file
// format round-tripped (and read back by the command-line tool), failures
// inside a preset, the snapshot list, its files and its interpolation.
#include <cmath>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "osc/KelOscHelper.h"
#include "support/TestText.h"
#include "support/TestProcessor.h"
#include "support/TestTemp.h"

namespace {

using kel::File;
using kel::MessageFlag;
using kel::OscMessage;
using kel::OscPresetManager;
using kel::test::TempDir;
using kel::test::Lines;
using kel::test::TestObject;
using kel::test::TestProcessor;
using kel::test::ThrownMessage;
using Strings = std::vector<std::string>;

Strings SnapshotList(const TestProcessor& p)
{
    Strings list;
    const auto& snapshots = p.getSnapshotManager();
    for (std::int64_t i = 1; i <= std::int64_t(snapshots.getNumSnapshots()); ++i)
    {
        list.push_back("[" + snapshots.getSnapshot(i).getName() + "]");
        for (const auto& line : Lines(snapshots.getSnapshot(i).getContent()))
            list.push_back(line);
    }
    return list;
}

// A state that every format must carry: a fraction, negative and integral
// values, a string with the characters coll files escape.
void SetSomeState(TestProcessor& p)
{
    for (const char* text : {"/gain 0.375", "/mode -4", "/name \"take 2; final, \\really\\\"",
                             "/source/*/gain -1.5", "/source/3/gain 2", "/dsp/automute/attack 7.5",
                             "/dsp/bypass 1", "/verbose \"detailed\""})
        p.Send(text);
}

std::string Quote(const std::string& path)
{
    return "\"" + path + "\"";
}

TEST(OscPresets, RoundTripThroughEveryFormat)
{
    TempDir dir;
    for (const std::string name : {"p.txt", "p.osc", "p.coll", "noextension"})
    {
        TestObject saver;
        SetSomeState(saver.processor);
        ASSERT_TRUE(saver.processor.Send("/preset/export " + Quote(dir.file(name))));
        const std::string written = name == "noextension" ? dir.file("noextension.txt") : dir.file(name);
        EXPECT_EQ(saver.observer.reports, Strings{"/preset/saved " + Quote(written)}) << name;

        TestObject loader;
        // A name without extension finds the ".txt" file the export wrote.
        ASSERT_TRUE(loader.processor.Send("/preset/load " + Quote(dir.file(name))));
        EXPECT_EQ(Lines(loader.processor.GetState()), Lines(saver.processor.GetState())) << name;
        EXPECT_EQ(loader.observer.reports,
                  (Strings{"/preset/loading " + Quote(written), "/preset/loaded " + Quote(written)}));
        EXPECT_TRUE(loader.console.reports.empty()) << name;
        EXPECT_EQ(loader.processor.name, "take 2; final, \\really\\");
        // Each message of the preset was marked as coming from a preset; the
        // "/preset/load" itself, taken last, was the user's.
        const auto& flags = loader.observer.takenFlags;
        ASSERT_FALSE(flags.empty());
        for (std::size_t i = 0; i + 1 < flags.size(); ++i)
            EXPECT_EQ(flags[i], MessageFlag::fromPreset | 0u);
        EXPECT_EQ(flags.back(), 0u);
    }
}

TEST(OscPresets, ReadBackByTheOscVerb)
{
    KEL_SKIP_WITHOUT_SHELL();
    TempDir dir;
    TestObject saver;
    SetSomeState(saver.processor);
    for (const std::string name : {"p.txt", "p.osc", "p.coll"})
    {
        saver.processor.ExportPreset(File(dir.file(name)), false);
        std::string output;
        ASSERT_EQ(kel::test::RunCommand(std::string(KEL_CLI_PATH) + " osc " + dir.file(name), &output), 0) << name;
        EXPECT_EQ(Lines(output), Lines(saver.processor.GetState())) << name;
    }
}

TEST(OscPresets, FormatFromExtension)
{
    using Format = OscPresetManager::Format;
    struct Case
    {
        std::string file;
        Format format;
        std::string error;
    };
    const Case cases[] = {
        {"/a/b.txt", Format::text, ""},     {"b.TXT", Format::text, ""},     {"/a/b", Format::text, ""},
        {"b.osc", Format::binary, ""},      {"b.Coll", Format::coll, ""},
        {"/x/settings.xml", Format::text, "unexpected file extension for file \"settings.xml\""},
        {"take.wav", Format::text, "unexpected file extension for file \"take.wav\""},
    };
    for (const auto& c : cases)
    {
        Format format = Format::text;
        EXPECT_EQ(ThrownMessage([&] { format = OscPresetManager::formatFromExtension(File(c.file)); }),
                  c.error.empty() ? "<no exception>" : c.error);
        EXPECT_EQ(format, c.format) << c.file;
    }
}

TEST(OscPresets, AFailingMessageIsReportedAndTheRestStillLoads)
{
    TempDir dir;
    const std::string path = dir.file("mixed.txt");
    std::ofstream(path) << "# a hand-written preset\n/gain 0.25\n/nope 1\n/preset/load \"" << path
                        << "\"\n/snapshot/1/recall\n/mode 7\n";
    TestObject o;
    EXPECT_FALSE(o.processor.LoadPreset(File(path)));
    EXPECT_EQ(o.processor.gain.load(), 0.25f);
    EXPECT_EQ(o.processor.mode, 7);
    const Strings lines = o.console.lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "error occurred when processing \"/nope 1\". Reason: unsupported message ?");
    // A preset may not load a preset (itself, here) nor recall a snapshot.
    for (const auto& line : {lines[1], lines[2]})
        EXPECT_TRUE(line.ends_with("preset and snapshot messages are not allowed inside a preset or a snapshot"))
            << line;
    EXPECT_EQ(o.observer.reports, (Strings{"/preset/loading " + Quote(path), "/preset/loaded " + Quote(path)}));

    // A file that cannot be parsed changes nothing and announces nothing.
    const std::string broken = dir.file("broken.txt");
    std::ofstream(broken) << "/gain 0.5\n/x/[1-3 1\n";
    o.observer.reports.clear();
    EXPECT_EQ(ThrownMessage([&] { o.processor.Send("/preset/load " + Quote(broken)); }),
              "error in preset file " + Quote(broken) + ", line 2: OSC format error: missing ']': \"/x/[1-3 1\"");
    EXPECT_EQ(o.processor.gain.load(), 0.25f);
    EXPECT_TRUE(o.observer.reports.empty());

    EXPECT_EQ(ThrownMessage([&] { o.processor.Send("/preset/load \"missing.txt\""); }),
              "Couldn't locate file: \"missing.txt\"");
    EXPECT_EQ(ThrownMessage([&] { o.processor.Send("/preset/load"); }),
              "there is no file dialog in this host: please give a file name");
}

TEST(OscPresets, WithSnapshotsReplacesTheList)
{
    TempDir dir;
    for (const std::string name : {"s.txt", "s.osc", "s.coll"})
    {
        TestObject saver;
        saver.processor.Send("/gain 0.5");
        saver.processor.Send("/snapshot/add \"half\"");
        saver.processor.Send("/gain 2");
        saver.processor.Send("/snapshot/add");
        saver.processor.Send("/mode 9");
        saver.processor.Send("/preset/save/withsnapshots " + Quote(dir.file(name)));

        TestObject loader;
        loader.processor.Send("/snapshot/add \"old\"");
        loader.processor.Send("/preset/recall " + Quote(dir.file(name)));
        EXPECT_EQ(Lines(loader.processor.GetState()), Lines(saver.processor.GetState())) << name;
        EXPECT_EQ(SnapshotList(loader.processor), SnapshotList(saver.processor)) << name;
        EXPECT_EQ(loader.processor.getSnapshotManager().getSnapshot(2).getName(), "snapshot 2");

        // Without snapshots the list is left alone.
        saver.processor.Send("/preset/store " + Quote(dir.file("plain-" + name)));
        loader.processor.Send("/snapshot/clear");
        loader.processor.Send("/snapshot/add \"kept\"");
        loader.processor.Send("/preset/import " + Quote(dir.file("plain-" + name)));
        EXPECT_EQ(loader.processor.getSnapshotManager().getNumSnapshots(), 1u);
    }
}

TEST(OscSnapshots, StoreRecallNameDeleteAndTheirErrors)
{
    struct Listener : kel::OscSnapshotManager::Listener
    {
        int changes = 0;
        void OnSnapshotsChanged(const kel::OscSnapshotManager&) override { ++changes; }
    } listener;

    TestObject o;
    TestProcessor& p = o.processor;
    p.getSnapshotManager().AddListener(&listener);
    struct Step
    {
        std::string message;
        float gain;           // after the step
        Strings names;        // snapshot names after the step
        std::string error;
    };
    const Step steps[] = {
        {"/snapshot/add", 1.0f, {"snapshot 1"}, ""},
        {"/gain 0.5", 0.5f, {"snapshot 1"}, ""},
        {"/snapshot/add \"half\"", 0.5f, {"snapshot 1", "half"}, ""},
        {"/snapshot/1/recall", 1.0f, {"snapshot 1", "half"}, ""},
        {"/snapshot/2/recall", 0.5f, {"snapshot 1", "half"}, ""},
        {"/gain 0.125", 0.125f, {"snapshot 1", "half"}, ""},
        {"/snapshot/1/store", 0.125f, {"snapshot 1", "half"}, ""},
        {"/snapshot/3/store", 0.125f, {"snapshot 1", "half", "snapshot 3"}, ""},  // just past the end appends
        {"/snapshot/3/name \"third\"", 0.125f, {"snapshot 1", "half", "third"}, ""},
        {"/snapshot/2/recall", 0.5f, {"snapshot 1", "half", "third"}, ""},
        {"/snapshot/1/recall", 0.125f, {"snapshot 1", "half", "third"}, ""},
        {"/snapshot/2/delete", 0.125f, {"snapshot 1", "third"}, ""},
        {"/snapshot/5/store", 0.125f, {"snapshot 1", "third"}, "invalid snapshot index \"5\" ?"},
        {"/snapshot/9/recall", 0.125f, {"snapshot 1", "third"}, "invalid snapshot index \"9\" ?"},
        {"/snapshot/x/recall", 0.125f, {"snapshot 1", "third"}, "invalid snapshot index \"x\" ?"},
        {"/snapshot/*/recall", 0.125f, {"snapshot 1", "third"}, "snapshot index \"*\" selects several snapshots"},
        {"/snapshot/[1-2]/store", 0.125f, {"snapshot 1", "third"}, ""},
        {"/snapshot/*/delete", 0.125f, {}, ""},
        {"/snapshot/*/recall", 0.125f, {}, "there is no snapshot"},
        {"/snapshot/add \"a\"", 0.125f, {"a"}, ""},
        {"/snapshot/clear", 0.125f, {}, ""},
    };
    for (const auto& step : steps)
    {
        const std::string thrown = ThrownMessage([&] { p.Send(step.message); });
        EXPECT_EQ(thrown, step.error.empty() ? "<no exception>" : step.error) << step.message;
        EXPECT_EQ(p.gain.load(), step.gain) << step.message;
        Strings names;
        for (std::int64_t i = 1; i <= std::int64_t(p.getSnapshotManager().getNumSnapshots()); ++i)
            names.push_back(p.getSnapshotManager().getSnapshot(i).getName());
        EXPECT_EQ(names, step.names) << step.message;
    }
    EXPECT_EQ(listener.changes, 12);
    EXPECT_TRUE(o.console.reports.empty());
    p.getSnapshotManager().RemoveListener(&listener);
}

TEST(OscSnapshots, ExportAndImportInEveryFormat)
{
    TempDir dir;
    for (const std::string ext : {".txt", ".osc", ".coll"})
    {
        TestObject a;
        a.processor.Send("/gain 0.5");
        a.processor.Send("/snapshot/add \"first, one\"");
        a.processor.Send("/source/2/gain 3");
        a.processor.Send("/snapshot/add \"second\"");
        a.processor.Send("/snapshot/export " + Quote(dir.file("all" + ext)));
        a.processor.Send("/snapshot/2/export " + Quote(dir.file("one" + ext)));
        a.processor.Send("/snapshot/1/export/content " + Quote(dir.file("content" + ext)));

        TestObject b;
        b.processor.Send("/snapshot/import " + Quote(dir.file("all" + ext)));
        EXPECT_EQ(SnapshotList(b.processor), SnapshotList(a.processor)) << ext;
        // Importing appends.
        b.processor.Send("/snapshot/import " + Quote(dir.file("one" + ext)));
        b.processor.Send("/snapshot/import " + Quote(dir.file("content" + ext)));
        const auto& imported = b.processor.getSnapshotManager();
        ASSERT_EQ(imported.getNumSnapshots(), 4u) << ext;
        EXPECT_EQ(imported.getSnapshot(3).getName(), "second");
        EXPECT_EQ(Lines(imported.getSnapshot(3).getContent()), Lines(a.processor.GetState()));
        EXPECT_EQ(imported.getSnapshot(4).getName(), "content");  // named after its file
        EXPECT_EQ(Lines(imported.getSnapshot(4).getContent()),
                  Lines(a.processor.getSnapshotManager().getSnapshot(1).getContent()));

        // A snapshot's content is a preset.
        TestObject c;
        c.processor.Send("/preset/load " + Quote(dir.file("content" + ext)));
        EXPECT_EQ(c.processor.gain.load(), 0.5f);
    }

    // Malformed snapshot files leave the list as it was.
    struct Case
    {
        std::string content;
        std::string error;
    };
    const std::string in = "error in snapshot file " + Quote(dir.file("bad.txt"));
    const Case cases[] = {
        {"/snapshot/begin \"a\"\n/gain 1\n",
         in + ", line 1: missing /snapshot/end at the end of the file: \"/snapshot/begin \\\"a\\\"\""},
        {"/snapshot/begin \"a\"\n/snapshot/begin \"b\"\n",
         in + ", line 2: missing /snapshot/end before \"/snapshot/begin \"b\"\": \"/snapshot/begin \\\"b\\\"\""},
        {"/gain 1\n/snapshot/end\n", in + ", line 2: unexpected /snapshot/end: \"/snapshot/end\""},
        {"/snapshot/begin 3\n/snapshot/end\n",
         in + ", line 1: invalid snapshot section header \"/snapshot/begin 3\": \"/snapshot/begin 3\""},
        {"/snapshot/begin\n/snapshot/end\n/gain 2\n",
         in + ", line 3: unexpected message outside a snapshot : \"/gain 2\": \"/gain 2\""},
        {"# nothing\n", in + ": there is no snapshot"},
    };
    for (const auto& c : cases)
    {
        std::ofstream(dir.file("bad.txt"), std::ios::trunc) << c.content;
        TestObject o;
        o.processor.Send("/snapshot/add \"kept\"");
        EXPECT_EQ(ThrownMessage([&] { o.processor.Send("/snapshot/import " + Quote(dir.file("bad.txt"))); }),
                  c.error);
        EXPECT_EQ(o.processor.getSnapshotManager().getNumSnapshots(), 1u);
    }
    TestObject empty;
    EXPECT_EQ(ThrownMessage([&] { empty.processor.Send("/snapshot/export " + Quote(dir.file("none.txt"))); }),
              "there is no snapshot");
}

TEST(OscSnapshots, InterpolateByIndicesOrNames)
{
    TestObject o;
    TestProcessor& p = o.processor;
    p.Send("/gain 0");
    p.Send("/mode 0");
    p.Send("/name \"a\"");
    p.Send("/snapshot/add \"low\"");
    p.Send("/gain 1");
    p.Send("/mode 3");
    p.Send("/name \"b\"");
    p.Send("/snapshot/add \"high\"");

    struct Case
    {
        std::string message;
        float gain;
        int mode;
        std::string name;
    };
    const Case cases[] = {
        {"/snapshot/interpolate 1 2 0", 0.0f, 0, "a"},
        {"/snapshot/interpolate 1 2 50", 0.5f, 2, "a"},  // 1.5 rounds away from zero
        {"/snapshot/interpolate 1 2 51", 0.51f, 2, "b"},
        {"/snapshot/interpolate 1 2 100", 1.0f, 3, "b"},
        {"/snapshot/interpolate 2 1 25", 0.75f, 2, "b"},
        {"/snapshot/interpolate \"low\" \"high\" 50", 0.5f, 2, "a"},
        {"/snapshot/interpolate \"high\" \"low\" 90", 0.1f, 0, "a"},
        {"/snapshot/interpolate 1 2 -20", 0.0f, 0, "a"},
        {"/snapshot/interpolate 1 2 250", 1.0f, 3, "b"},
    };
    for (const auto& c : cases)
    {
        o.observer.takenFlags.clear();
        ASSERT_TRUE(p.Send(c.message)) << c.message;
        EXPECT_FLOAT_EQ(p.gain.load(), c.gain) << c.message;
        EXPECT_EQ(p.mode, c.mode) << c.message;
        EXPECT_EQ(p.name, c.name) << c.message;
        EXPECT_EQ(o.observer.takenFlags.front(), MessageFlag::fromInterpolation | 0u) << c.message;
    }
    EXPECT_TRUE(o.console.reports.empty());

    EXPECT_EQ(ThrownMessage([&] { p.Send("/snapshot/interpolate 1 5 50"); }), "invalid snapshot index : 5");
    EXPECT_EQ(ThrownMessage([&] { p.Send("/snapshot/interpolate 1.5 2 50"); }), "invalid snapshot index : 1.5");
    EXPECT_EQ(ThrownMessage([&] { p.Send("/snapshot/interpolate \"low\" \"x\" 50"); }),
              "invalid snapshot name : x");
    EXPECT_EQ(ThrownMessage([&] { p.ProcessMessage(OscMessage("/snapshot/interpolate").AddInt32(1).AddInt32(2)
                                                       .AddFloat64(std::nan(""))); }),
              "invalid interpolation factor : nan");

    // Messages that cannot be paired fail the whole interpolation before
    // anything is sent.
    p.Send("/gain 0.25");
    p.getSnapshotManager().Store(2, kel::OscHelper::CreateFromTextLines("/gain \"loud\"\n"));
    EXPECT_EQ(ThrownMessage([&] { p.Send("/snapshot/interpolate 1 2 50"); }),
              "incompatible arguments for messages /gain 0 and /gain \"loud\"");
    p.getSnapshotManager().Store(2, kel::OscHelper::CreateFromTextLines("/gain 1\n/mode 1 2\n"));
    EXPECT_EQ(ThrownMessage([&] { p.Send("/snapshot/interpolate 1 2 0"); }),
              "arguments don't match for messages /mode 0 and /mode 1 2");
    EXPECT_EQ(p.gain.load(), 0.25f);
}

} // namespace
