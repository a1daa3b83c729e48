// Bundles: nesting and depth-first order, deep copies, text and coll
// files written and read back, the file readers chosen by extension.
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "osc/KelOscBundle.h"
#include "osc/KelOscHelper.h"
#include "support/TestText.h"
#include "support/TestTemp.h"

namespace {

using kel::File;
using kel::OscBundle;
using kel::OscHelper;
using kel::OscMessage;
using kel::Overwrite;
using kel::test::Lines;
using kel::test::ThrownMessage;

std::string ReadAll(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

void WriteAll(const std::string& path, const std::string& content)
{
    std::ofstream(path, std::ios::binary) << content;
}

// Messages whose text form reads back to themselves.
OscBundle SampleBundle()
{
    OscBundle inner;
    inner.AddMessage(OscMessage("/source/2/gain").AddFloat32(-6.5f));
    inner.AddMessage(OscMessage("/name").AddString("my file, take 2; \\final\\.wav"));
    OscBundle innermost;
    innermost.AddMessage(OscMessage("/x/{1,2}/y").AddInt32(-7).AddString("a;b,c"));
    inner.AddBundle(innermost);

    OscBundle bundle;
    bundle.AddMessage(OscMessage("/open").AddString("my file.wav"));
    bundle.AddBundle(inner);
    bundle.AddMessage(OscMessage("/weird;address\\with'chars").AddInt32(3));
    bundle.AddMessage(OscMessage("/loop").AddInt32(1).AddFloat32(0.25f).AddString(""));
    return bundle;
}

TEST(OscBundle, NestedElementsDepthFirstAndDeepCopies)
{
    const OscBundle bundle = SampleBundle();
    EXPECT_EQ(bundle.size(), 4u);
    EXPECT_EQ(bundle.getNumMessages(), 6u);
    EXPECT_EQ(Lines(bundle), (std::vector<std::string>{
                                 "/open \"my file.wav\"",
                                 "/source/2/gain -6.5",
                                 "/name \"my file, take 2; \\final\\.wav\"",
                                 "/x/{1,2}/y -7 \"a;b,c\"",
                                 "/weird;address\\with'chars 3",
                                 "/loop 1 0.25 \"\"",
                             }));

    OscBundle copy = bundle;
    EXPECT_TRUE(copy == bundle);
    copy[1].getBundle()[2].getBundle()[0].getMessage().AddInt32(1);
    EXPECT_FALSE(copy == bundle);
    EXPECT_EQ(bundle[1].getBundle()[2].getBundle()[0].getMessage().getNumArguments(), 2u);
}

TEST(OscBundleFiles, TextExportReadsBack)
{
    kel::test::TempDir dir;
    const OscBundle bundle = SampleBundle();

    // No extension: ".txt" is added.
    ASSERT_TRUE(bundle.SaveAsTextFile(File(dir.file("preset")), Overwrite::refuse, "a test preset"));
    const std::string path = dir.file("preset.txt");
    const std::string content = ReadAll(path);
    std::istringstream lines(content);
    std::string line;
    std::vector<std::string> header;
    while (std::getline(lines, line) && line.rfind('#', 0) == 0)
        header.push_back(line);
    ASSERT_EQ(header.size(), 7u) << content;
    EXPECT_EQ(header[0], "# ");
    EXPECT_EQ(header[1], "# File preset.txt");
    EXPECT_EQ(header[2], "# ");
    EXPECT_EQ(header[3].rfind("# Exported by auvo5.sfplay~ @ ", 0), 0u) << header[3];
    EXPECT_NE(header[3].find(" - "), std::string::npos) << header[3];
    EXPECT_EQ(header[5], "# Content: a test preset");
    EXPECT_EQ(line, "/open \"my file.wav\"");

    const OscBundle back = OscHelper::CreateFromTextFile(File(path));
    EXPECT_EQ(Lines(back), Lines(bundle));
    EXPECT_EQ(Lines(OscHelper::CreateFromFile(File(path))), Lines(bundle));

    // The overwrite policy, and a file that cannot be written.
    EXPECT_FALSE(OscBundle().SaveAsTextFile(File(path), Overwrite::refuse, "x"));
    EXPECT_EQ(ReadAll(path), content);
    EXPECT_TRUE(OscBundle().SaveAsTextFile(File(path), Overwrite::replace, "two\nlines"));
    EXPECT_EQ(OscHelper::CreateFromTextFile(File(path)).size(), 0u);
    EXPECT_NE(ReadAll(path).find("# Content: two\n# lines\n"), std::string::npos);
    EXPECT_EQ(ThrownMessage([&] { bundle.SaveAsTextFile(File(dir.file("no/such/dir/p.txt")), Overwrite::replace, ""); }),
              "Error writing file \"" + dir.file("no/such/dir/p.txt") + "\": no such file or directory");
}

TEST(OscBundleFiles, CollWritesOneEntryPerLineAndReadsBack)
{
    kel::test::TempDir dir;
    const OscBundle bundle = SampleBundle();
    const std::string path = dir.file("preset.coll");
    ASSERT_TRUE(bundle.SaveAsCollFile(File(path), Overwrite::refuse));
    EXPECT_EQ(ReadAll(path), "1, /open \"my file.wav\";\n"
                             "2, /source/2/gain -6.5;\n"
                             "3, /name \"my file, take 2; \\final\\.wav\";\n"
                             "4, /x/{1\\,2}/y -7 \"a;b,c\";\n"
                             "5, /weird\\;address\\\\with'chars 3;\n"
                             "6, /loop 1 0.25 \"\";\n");
    EXPECT_EQ(Lines(OscHelper::CreateFromCollFile(File(path))), Lines(bundle));
    EXPECT_EQ(Lines(OscHelper::CreateFromFile(File(path))), Lines(bundle));
    EXPECT_FALSE(bundle.SaveAsCollFile(File(path), Overwrite::refuse));
}

TEST(OscBundleFiles, ReadersAcceptWhatPeopleWrite)
{
    struct Case
    {
        std::string name;
        std::string text;
        std::vector<std::string> messages;
    };
    const Case texts[] = {
        {"semicolon-comma", "/a 1;\n/a 1,\n", {"/a 1", "/a 1"}},
        {"comments-blanks", "# header\n\n   \n  # indented comment\n/b 2\n", {"/b 2"}},
        {"crlf-bom-trailing", "\xEF\xBB\xBF/c 0.5 ;\r\n/d \"x y\"\r\n", {"/c 0.5", "/d \"x y\""}},
        {"only-separator", ";\n,\n/e\n", {"/e"}},
    };
    for (const auto& c : texts)
        EXPECT_EQ(Lines(OscHelper::CreateFromTextLines(c.text)), c.messages) << c.name;

    const Case colls[] = {
        {"max-style", "1, /gain 0.5;\n2, /x a\\, b;\n", {"/gain 0.5", "/x \"a,\" \"b\""}},
        {"symbol-index-no-space", "foo,/z 2;\n  3 ,  /y 1 ;", {"/z 2", "/y 1"}},
        {"spans-lines", "1, /a\n 1\n 2;\n2, /b;", {"/a 1 2", "/b"}},
        {"no-final-semicolon", "1, /a 1", {"/a 1"}},
        {"no-data-or-no-comma", "1;\n2, ;\n/orphan 3;\n4, /ok;\n", {"/ok"}},
        {"quoted-separators", "1, /s \"a;b\" \"c,d\";", {"/s \"a;b\" \"c,d\""}},
    };
    for (const auto& c : colls)
        EXPECT_EQ(Lines(OscHelper::CreateFromCollText(c.text)), c.messages) << c.name;
}

TEST(OscBundleFiles, ReaderChosenByExtensionAndContent)
{
    kel::test::TempDir dir;
    const OscBundle bundle = SampleBundle();
    ASSERT_TRUE(bundle.SaveAsBinaryFile(File(dir.file("b.osc")), Overwrite::refuse));
    ASSERT_TRUE(bundle.SaveAsBinaryFile(File(dir.file("b.wfs")), Overwrite::refuse));
    WriteAll(dir.file("t.osc"), "/text 1\n");
    WriteAll(dir.file("t.whatever"), "/text 2\n");
    WriteAll(dir.file("t"), "/text 3\n");
    WriteAll(dir.file("c.COLL"), "1, /coll 4;\n");

    EXPECT_TRUE(OscHelper::CreateFromFile(File(dir.file("b.osc"))) == bundle);
    EXPECT_TRUE(OscHelper::CreateFromFile(File(dir.file("b.wfs"))) == bundle);
    EXPECT_EQ(Lines(OscHelper::CreateFromFile(File(dir.file("t.osc")))), std::vector<std::string>{"/text 1"});
    EXPECT_EQ(Lines(OscHelper::CreateFromFile(File(dir.file("t.whatever")))), std::vector<std::string>{"/text 2"});
    EXPECT_EQ(Lines(OscHelper::CreateFromFile(File(dir.file("t")))), std::vector<std::string>{"/text 3"});
    EXPECT_EQ(Lines(OscHelper::CreateFromFile(File(dir.file("c.COLL")))), std::vector<std::string>{"/coll 4"});

    for (const std::string& missing : {dir.file("none.txt"), dir.file("none.coll"), dir.file("none.osc"),
                                       dir.path().string()})
        EXPECT_EQ(ThrownMessage([&] { OscHelper::CreateFromFile(File(missing)); }),
                  "error in preset file \"" + missing + "\": Could not open file. Unsupported format?");

    // SaveToFile picks the writer the same way.
    for (const std::string name : {"s.osc", "s.coll", "s.txt"})
    {
        ASSERT_TRUE(OscHelper::SaveToFile(bundle, File(dir.file(name)), Overwrite::refuse, "d"));
        EXPECT_EQ(Lines(OscHelper::CreateFromFile(File(dir.file(name)))), Lines(bundle)) << name;
    }
    EXPECT_TRUE(OscHelper::looksBinary(ReadAll(dir.file("s.osc"))));
    EXPECT_FALSE(OscHelper::looksBinary(ReadAll(dir.file("s.coll"))));
}

} // namespace
