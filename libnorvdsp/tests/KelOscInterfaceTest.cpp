// The OSC interface: dispatch order, unsupported messages, patterns reaching
// several handlers, "/dump", index errors, the generic entries, the console
// texts, the verbosity that filters them, and reports from another thread.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "osc/KelOscInterface.h"
#include "support/TestText.h"
#include "support/TestProcessor.h"

namespace {

using kel::HostNotifier;
using kel::OscMessage;
using kel::test::RecordingConsole;
using kel::test::TestObject;
using kel::test::TestProcessor;
using kel::test::ThrownMessage;
using Strings = std::vector<std::string>;

Strings StateLines(const kel::OscInterface& object)
{
    return kel::test::Lines(object.GetState());
}

TEST(OscInterface, DispatchTriesTheFrameThenTheObjectThenTheGenericHandlers)
{
    struct Case
    {
        std::string message;
        Strings log;          // the processor's handlers that ran
        std::size_t reports;  // messages sent out
    };
    const Case cases[] = {
        {"/gain 0.5", {"gain"}, 0},
        {"/mode 3", {"mode number"}, 0},       // first "/mode" handler takes a number
        {"/mode \"fast\"", {"mode name"}, 0},  // ... the second a name
        {"/dsp/mute 1", {}, 0},                // the frame's handler first; the processor's never runs
        {"/dump 1", {"own dump"}, 0},          // own handlers before the generic "/dump"
        {"/dump", {}, StateLines(TestProcessor()).size()},
    };
    for (const auto& c : cases)
    {
        TestObject f;
        EXPECT_TRUE(f.processor.Send(c.message)) << c.message;
        EXPECT_EQ(f.processor.log, c.log) << c.message;
        EXPECT_EQ(f.observer.reports.size(), c.reports) << c.message;
        EXPECT_EQ(f.observer.taken, Strings{OscMessage::CreateFromText(c.message).toString()}) << c.message;
        EXPECT_TRUE(f.console.reports.empty()) << c.message;
    }
    TestObject f;
    f.processor.Send("/dsp/mute 1");
    EXPECT_TRUE(f.processor.isMuted());
}

TEST(OscInterface, UnsupportedMessagesArePostedAndChangeNothing)
{
    const Strings messages = {
        "/nothing/here 1",
        "/gain \"loud\"",     // known address, wrong argument form
        "/mode 1 2",
        "/dsp/mute \"yes\"",
        "/snapshot/add 3",
        "/post/doc 1",
        "/source/1/gain",
    };
    for (const auto& text : messages)
    {
        TestObject f;
        const Strings before = StateLines(f.processor);
        EXPECT_FALSE(f.processor.Send(text)) << text;
        const std::string shown = OscMessage::CreateFromText(text).toString();
        EXPECT_EQ(f.console.lines(),
                  Strings{"error occurred when processing \"" + shown + "\". Reason: unsupported message ?"});
        EXPECT_EQ(StateLines(f.processor), before) << text;
        EXPECT_TRUE(f.observer.taken.empty()) << text;
    }
}

TEST(OscInterface, PatternAddressesReachEveryMatchingHandler)
{
    struct Case
    {
        std::string message;
        std::array<float, 4> sources;
        Strings log;
        std::string error;
    };
    const Case cases[] = {
        {"/source/*/gain 0.5", {0.5f, 0.5f, 0.5f, 0.5f}, {"source gain"}, ""},
        {"/source/[2-3]/gain 0.25", {0, 0.25f, 0.25f, 0}, {"source gain"}, ""},
        {"/source/{1,4}/gain 2", {2, 0, 0, 2}, {"source gain"}, ""},
        {"/source/3/gain 1", {0, 0, 1, 0}, {"source gain"}, ""},
        {"/{gain,mode} 3", {0, 0, 0, 0}, {"gain", "mode number"}, ""},
        // Patterns go on through every handler, the processor's "/dsp/mute" too.
        {"/dsp/{mute,bypass} 1", {0, 0, 0, 0}, {"processor mute"}, ""},
        {"/source/9/gain 1", {0, 0, 0, 0}, {}, "invalid source index \"9\" ?"},
        {"/source/[5-6]/gain 1", {0, 0, 0, 0}, {}, "invalid source index \"[5-6]\" ?"},
    };
    for (const auto& c : cases)
    {
        TestObject f;
        if (!c.error.empty())
        {
            EXPECT_EQ(ThrownMessage([&] { f.processor.Send(c.message); }), c.error);
            continue;
        }
        EXPECT_TRUE(f.processor.Send(c.message)) << c.message;
        EXPECT_EQ(f.processor.sourceGains, c.sources) << c.message;
        EXPECT_EQ(f.processor.log, c.log) << c.message;
    }
    TestObject f;
    f.processor.Send("/{gain,mode} 3");
    EXPECT_EQ(f.processor.gain.load(), 3.0f);
    EXPECT_EQ(f.processor.mode, 3);
    f.processor.Send("/dsp/{mute,bypass} 1");
    EXPECT_TRUE(f.processor.isMuted() && f.processor.isBypassed());
}

TEST(OscInterface, DumpSendsTheStateOrThePartsNamedByPrefixes)
{
    struct Case
    {
        std::string message;
        Strings reports;
        std::string error;
    };
    const Strings dsp = {"/dsp/mute 0", "/dsp/bypass 0", "/dsp/automute/attack 1", "/dsp/automute 0"};
    Strings all = {"/verbose \"normal\""};
    all.insert(all.end(), dsp.begin(), dsp.end());
    const Strings own = {"/gain 0.75",         "/mode 0",           "/name \"none\"",   "/source/1/gain 0",
                         "/source/2/gain 0.5", "/source/3/gain 0", "/source/4/gain 0"};
    all.insert(all.end(), own.begin(), own.end());

    const Case cases[] = {
        {"/dump", all, ""},
        {"/dump \"/\"", all, ""},
        {"/dump \"/dsp\"", dsp, ""},
        {"/dump \"/source\"", {own.begin() + 3, own.end()}, ""},
        // Part by part: "/source/2" is not a text prefix of "/source/20".
        {"/dump \"/source/2\" \"/gain\"", {"/gain 0.75", "/source/2/gain 0.5"}, ""},
        {"/dump \"/source/[1-2]\"", {"/source/1/gain 0", "/source/2/gain 0.5"}, ""},
        {"/dump \"/sourc\"", {}, ""},
        {"/dump \"source\"", {}, "prefix must start with '/' : \"source\""},
        {"/dump \"/gain\" 2", {}, "invalid message: /dump \"/gain\" 2"},
    };
    for (const auto& c : cases)
    {
        TestObject f;
        f.processor.Send("/gain 0.75");
        f.processor.Send("/source/2/gain 0.5");
        if (c.error.empty())
            EXPECT_TRUE(f.processor.Send(c.message)) << c.message;
        else
            EXPECT_EQ(ThrownMessage([&] { f.processor.Send(c.message); }), c.error);
        EXPECT_EQ(f.observer.reports, c.reports) << c.message;
    }
}

TEST(OscInterface, IndexErrorsOfNonContiguousFamilies)
{
    struct Case
    {
        std::string part;
        std::vector<std::int64_t> existing;
        std::string error;                  // empty: no error
        std::vector<std::int64_t> selected;
    };
    const Case cases[] = {
        {"3", {1, 3, 7}, "", {3}},
        {"007", {1, 3, 7}, "", {7}},
        {"4", {1, 3, 7}, "invalid source index \"4\" ?", {}},
        {"*", {}, "there is no source", {}},
        {"?", {}, "there is no source", {}},
        {"*", {7, 2}, "", {2, 7}},
        {"[2-7]", {1, 3, 7}, "", {3, 7}},
        {"{7,1}", {1, 3, 7}, "", {1, 7}},
        {"[4-6]", {1, 3, 7}, "invalid source index \"[4-6]\" ?", {}},
        {"x", {1}, "invalid source index \"x\" ?", {}},
        {"-1", {1}, "invalid source index \"-1\" ?", {}},
        {"1", {}, "invalid source index \"1\" ?", {}},
    };
    for (const auto& c : cases)
    {
        kel::Vector<std::int64_t> existing;
        for (const auto i : c.existing)
            existing.PushBack(i);
        const std::string thrown = ThrownMessage(
            [&]
            {
                const auto selected = kel::OscInterface::SelectIndices(c.part, existing, "source");
                EXPECT_EQ(selected.asStdVector(), c.selected) << c.part;
            });
        EXPECT_EQ(thrown, c.error.empty() ? "<no exception>" : c.error) << c.part;
    }
}

TEST(OscInterface, DocumentationEntries)
{
    TestProcessor processor;
    const auto& doc = processor.getDocumentation();
    auto only = [&](std::string_view address, std::string_view types = {}) -> const kel::OscDocumentation::Entry&
    {
        for (const auto* entry : doc.findEntries(address))
            if (entry->getArgumentTypes() == types)
                return *entry;
        ADD_FAILURE() << "no entry " << address << " (" << types << ")";
        return doc[0];
    };

    // The import entry keeps the export title; windows are built from names.
    EXPECT_EQ(only("/snapshot/import", "s").getTitle(), "export snapshots");
    EXPECT_EQ(only("/snapshot/interpolate", "ssn").getDescription(),
              "interpolate between two snapshots, given their names");
    EXPECT_EQ(only("/help/floating", "i").getTitle(), "help window floating");
    EXPECT_EQ(only("/snapshot/openorclose").getDescription(),
              "open the snapshot window if it was closed; close it if it was opened");
    EXPECT_EQ(only("/status/font/size", "n").getDescription(), "set the font size of the status window");
    EXPECT_EQ(only("/preset/load").getDescription(),
              "open a user dialog to load a preset file. Supported file extensions : '.txt' for human-readable "
              "OSC text file, '.osc' for binary encoded OSC file, '.coll' for human-readable Max coll file "
              "(compatible with the <o>coll</o> object). '.txt' is the default file format.");
    EXPECT_TRUE(only("/preset/load", "s").getDescription().starts_with(
        "load a preset from file.  You can specify the fullpath of the file, or only its filename if the file is "
        "inside Max search path. Supported file extensions : "));
    EXPECT_EQ(only("/dsp/bypass", "i").getDescription(),
              "bypass the DSP rendering. CPU resources are not used when the DSP is bypassed. Note that this is "
              "applied whitout ramping/crossfade, so this might generate clicks");
    EXPECT_EQ(only("/verbose", "s").getArgumentDescription(), "silent, minimal, normal, detailed");

    // Generic entries first, then the frame's, then the processor's.
    EXPECT_EQ(doc[0].getAddress().getText(), "/post/version");
    EXPECT_EQ(doc[doc.size() - 1].getAddress().getText(), "/source/[index]/gain");
    EXPECT_EQ(doc.findEntries("/dsp/mute").size(), 1u);
    std::size_t windows = 0;
    for (std::size_t i = 0; i < doc.size(); ++i)
        windows += doc[i].getTitle().ends_with(" window") || doc[i].getTitle().ends_with(" window floating");
    EXPECT_EQ(windows, 15u);
}

TEST(OscInterface, ConsoleTextsAndVerbosity)
{
    using Level = HostNotifier::Level;
    struct Case
    {
        std::string text;
        Level level;
        std::string line;
    };
    const Case cases[] = {
        {"when processing \"/x\". Reason: y", Level::warning, "warning occurred when processing \"/x\". Reason: y"},
        {"when processing \"/x\". Reason: y", Level::error, "error occurred when processing \"/x\". Reason: y"},
        {"disk full", Level::error, "error occurred: disk full"},
        {"disk full", Level::warning, "warning occurred: disk full"},
        {"unknown error occurred", Level::error, "unknown error occurred"},
        {"when processing \"/x\"", Level::information, "when processing \"/x\""},
        {"latency : 0", Level::information, "latency : 0"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(HostNotifier::ComposeConsoleText(c.text, c.level), c.line);

    // A failed message reads "when processing" + the message + the reason.
    TestObject f;
    f.processor.ReportFailure(OscMessage("/open").AddString("a.wav"), kel::Exception("no such file"),
                              Level::warning);
    EXPECT_EQ(f.console.lines(), Strings{"warning occurred when processing \"/open \"a.wav\"\". Reason: Exception "
                                         "occurred: no such file"});

    // "/verbose" filters warnings and information; errors always pass.
    struct Filter
    {
        std::string verbose;
        std::size_t posted;  // of: error, warning, information, detail
    };
    const Filter filters[] = {{"silent", 1}, {"minimal", 2}, {"normal", 3}, {"detailed", 4}, {"false", 1},
                              {"true", 3}};
    for (const auto& filter : filters)
    {
        TestObject g;
        g.processor.Send("/verbose " + (filter.verbose == "true" || filter.verbose == "false"
                                            ? filter.verbose
                                            : "\"" + filter.verbose + "\""));
        g.processor.ReportError("e");
        g.processor.ReportWarning("w");
        g.processor.ReportInformation("i");
        g.processor.ReportInformation("d", kel::Verbosity::detailed);
        EXPECT_EQ(g.console.reports.size(), filter.posted) << filter.verbose;
    }
    EXPECT_EQ(ThrownMessage([] { kel::GetVerbosity("loud"); }), "invalid verbosity type : loud");
    EXPECT_EQ(kel::GetVerbosity("Detailed"), kel::Verbosity::detailed);
}

TEST(OscInterface, PostMessagesAndHostHooks)
{
    TestObject f;
    f.processor.Send("/post/version");
    EXPECT_EQ(f.console.lines(), Strings{"test~ version 0.1.0"});

    f.console.reports.clear();
    f.processor.Send("/post/version \"details\"");
    EXPECT_GT(f.console.reports.size(), 1u);

    f.console.reports.clear();
    f.processor.Send("/post/state");
    EXPECT_EQ(f.console.lines().front(), "state of test~ :");
    EXPECT_EQ(f.console.lines().size(), StateLines(f.processor).size() + 1);

    f.console.reports.clear();
    f.processor.getConnections().SetInletStatus(1, 3);
    f.processor.getConnections().SetAllOutletsStatus(1);
    f.processor.Send("/dsp/post");
    EXPECT_EQ(f.console.lines(), (Strings{"number of inlets : 2", "number of outlets : 2",
                                          "number of connected inlets : 1", "number of connected outlets : 2",
                                          "number of active inlets : 0", "latency : 0"}));

    // Windows belong to the host; without one the interface says so.
    f.console.reports.clear();
    EXPECT_TRUE(f.processor.Send("/help/open"));
    EXPECT_EQ(f.console.lines(), Strings{"warning occurred when processing \"/help/open\". Reason: there is no help "
                                         "window in this host"});

    f.processor.Send("/status/copytoclipboard \",\"");
    ASSERT_EQ(f.console.clipboard.size(), 1u);
    EXPECT_TRUE(f.console.clipboard[0].starts_with("/verbose \"normal\",/dsp/mute 0,")) << f.console.clipboard[0];

    f.observer.reports.clear();
    f.processor.Send("/dump/dsp/latency");
    EXPECT_EQ(f.observer.reports, Strings{"/dsp/latency 0"});
    EXPECT_TRUE(f.processor.Send("/dsp/latency 12"));  // the report looped back is taken
}

} // namespace

namespace {

// A buffering thread reports while the main thread registers and removes
// console listeners and changes the verbosity: a listener registered all
// along hears every report, none is called after its removal.
TEST(HostNotifierThreads, ReportsFromAnotherThreadWhileListenersChange)
{
    TestProcessor processor;
    RecordingConsole steady, flickering;
    processor.AddHostListener(&steady);
    constexpr int reports = 2000;
    std::atomic<bool> done{false};
    std::thread worker(
        [&]
        {
            for (int i = 0; i < reports; ++i)
                processor.ReportError("read error " + std::to_string(i));
            done.store(true);
        });
    for (int round = 0; !done.load() || round < 100; ++round)
    {
        processor.AddHostListener(&flickering);
        processor.setReportVerbosity(round % 2 ? kel::Verbosity::silent : kel::Verbosity::detailed);
        processor.RemoveHostListener(&flickering);
    }
    worker.join();
    EXPECT_EQ(steady.reports.size(), std::size_t(reports));
    EXPECT_EQ(steady.reports.back().second, "read error 1999");
    EXPECT_LE(flickering.reports.size(), std::size_t(reports));
}

} // namespace
