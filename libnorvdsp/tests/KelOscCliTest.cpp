// auvo5-sfplay osc, run as a user runs it: stdout, stderr and exit status.
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "osc/KelOscBundle.h"
#include "support/TestTemp.h"

namespace {

struct CliRun
{
    int status = 0;
    std::string out, err;
};

CliRun RunCli(const kel::test::TempDir& dir, const std::string& arguments)
{
    CliRun run;
    const std::string errFile = dir.file("stderr.txt");
    run.status = kel::test::RunCommand(std::string(KEL_CLI_PATH) + " " + arguments + " 2>'" + errFile + "'", &run.out);
    std::ifstream in(errFile);
    std::ostringstream s;
    s << in.rdbuf();
    run.err = s.str();
    return run;
}

void WriteAll(const std::string& path, const std::string& content)
{
    std::ofstream(path, std::ios::binary) << content;
}

std::string Q(const std::string& path)
{
    return "'" + path + "'";
}

TEST(OscCli, PrintsConvertsAndReportsErrors)
{
    KEL_SKIP_WITHOUT_SHELL();
    kel::test::TempDir dir;
    kel::OscBundle inner;
    inner.AddMessage(std::move(kel::OscMessage("/b").AddFloat32(0.5f)));
    kel::OscBundle bundle;
    bundle.AddMessage(std::move(kel::OscMessage("/a").AddInt32(1).AddString("x y")));
    bundle.AddBundle(inner);
    bundle.AddMessage(kel::OscMessage("/c"));
    ASSERT_TRUE(bundle.SaveAsBinaryFile(kel::File(dir.file("p.osc")), kel::Overwrite::refuse));
    WriteAll(dir.file("p.txt"), "# comment\n/t 1;\n");
    WriteAll(dir.file("p.coll"), "1, /k \"a, b\";\n");
    // A valid bundle header whose element runs past the end of the file.
    WriteAll(dir.file("bad.osc"), std::string("#bundle\0\0\0\0\0\0\0\0\1\0\0\0\x40/x\0\0", 24));

    const std::string expected = "/a 1 \"x y\"\n/b 0.5\n/c\n/t 1\n/k \"a, b\"\n";
    CliRun run = RunCli(dir, "osc " + Q(dir.file("p.osc")) + " " + Q(dir.file("p.txt")) + " " + Q(dir.file("p.coll")));
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, expected);
    EXPECT_EQ(run.err, "");

    // Output before the failing file stays; the full error text follows.
    run = RunCli(dir, "osc " + Q(dir.file("p.txt")) + " " + Q(dir.file("bad.osc")) + " " + Q(dir.file("p.coll")));
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "/t 1\n");
    EXPECT_EQ(run.err.rfind("Exception occurred in [libnorvdsp/src/osc/KelOscInputStream:", 0), 0u) << run.err;
    EXPECT_NE(run.err.find("] error in preset file \"" + dir.file("bad.osc") +
                           "\", byte offset 20: OSC input stream exhausted while reading bundle element content: "
                           "\"/x\\x00\\x00\"\n"),
              std::string::npos)
        << run.err;

    run = RunCli(dir, "osc " + Q(dir.file("missing.osc")));
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_NE(run.err.find("error in preset file \"" + dir.file("missing.osc") +
                           "\": Could not open file. Unsupported format?"),
              std::string::npos)
        << run.err;

    run = RunCli(dir, "osc " + Q(dir.file("p.txt")) + " " + Q(dir.file("q.txt")));
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "/t 1\n");

    // Conversions through every format keep every message.
    EXPECT_EQ(RunCli(dir, "osc --convert " + Q(dir.file("p.osc")) + " " + Q(dir.file("c.coll"))).status, 0);
    EXPECT_EQ(RunCli(dir, "osc --convert " + Q(dir.file("c.coll")) + " " + Q(dir.file("c"))).status, 0);
    EXPECT_EQ(RunCli(dir, "osc --convert " + Q(dir.file("c.txt")) + " " + Q(dir.file("c.osc"))).status, 0);
    run = RunCli(dir, "osc " + Q(dir.file("c.osc")));
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "/a 1 \"x y\"\n/b 0.5\n/c\n");

    EXPECT_EQ(RunCli(dir, "osc").status, 2);
    EXPECT_EQ(RunCli(dir, "osc --convert a").status, 2);
}

} // namespace
