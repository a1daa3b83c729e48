// The reference page writers, read back by libxml2's xmllint: the XML must
// be well formed, keep Max's refpage order and carry every documentation
// entry of a real object, and text with markup characters must come back
// unchanged.
#include <gtest/gtest.h>

#include "dsp/KelAudioFilePlayer.h"
#include "osc/KelReferencePage.h"
#include "support/TestTemp.h"

namespace {

using namespace kel;

std::string xpath(const std::string& file, const std::string& expression)
{
    std::string out;
    EXPECT_EQ(test::RunCommand("xmllint --xpath '" + expression + "' '" + file + "' 2>&1", &out), 0) << out;
    if (!out.empty() && out.back() == '\n')  // xmllint ends a string result with a line break
        out.pop_back();
    return out;
}

ReferencePage playerPage(const AudioFilePlayer& player)
{
    ReferencePage page;
    page.name = player.getName();
    page.digest = AudioFilePlayer::getDescription();
    page.description = AudioFilePlayer::getLongDescription();
    page.inlets.PushBack({"message", "messages"});
    for (std::uint32_t i = 0; i < player.getNumOutputs() + 1; ++i)
        page.outlets.PushBack({i < player.getNumOutputs() ? "signal" : "message", player.getOutletDescription(i, false)});
    page.attributes.PushBack({"channels", "int", "number of channels", "", "1", "1 to 8192", "", false});
    page.attributes.PushBack({"mc", "int", "multichannel outlets", "", "0", "0 to 1", "onoff", true});
    page.AddMethods(player.getDocumentation());
    page.seeAlso.PushBack("sfplay~");
    return page;
}

TEST(ReferencePage, PlayerPageIsWellFormedAndComplete)
{
    if (!test::HaveProgram("xmllint"))
        GTEST_SKIP() << "xmllint (libxml2-utils) is not installed";
    test::TempDir dir;
    AudioFilePlayer player(2, 192000);
    const ReferencePage page = playerPage(player);
    const std::string xml = dir.file("auvo5.sfplay~.maxref.xml");
    const File tex = WriteReferenceFiles(page, File(xml));
    EXPECT_EQ(tex.getFullPathName(), dir.file("auvo5.sfplay~.tex"));

    std::string out;
    ASSERT_EQ(test::RunCommand("xmllint --noout '" + xml + "' 2>&1", &out), 0) << out;
    EXPECT_EQ(xpath(xml, "string(/c74object/@name)"), "auvo5.sfplay~");
    // Max's refpage order of the first sections.
    const char* order[] = {"digest", "description", "metadatalist", "inletlist", "outletlist", "objarglist",
                           "attributelist", "methodlist", "seealsolist"};
    for (std::size_t i = 0; i < std::size(order); ++i)
        EXPECT_EQ(xpath(xml, "name(/c74object/*[" + std::to_string(i + 1) + "])"), order[i]);

    const OscDocumentation& documentation = player.getDocumentation();
    ASSERT_GT(documentation.size(), 10u);
    EXPECT_EQ(xpath(xml, "count(/c74object/methodlist/method)"), std::to_string(documentation.size()));
    for (std::size_t i = 0; i < documentation.size(); ++i)
    {
        const std::string at = "/c74object/methodlist/method[" + std::to_string(i + 1) + "]";
        EXPECT_EQ(xpath(xml, "string(" + at + "/@name)"), documentation[i].getAddress().getText());
        EXPECT_EQ(xpath(xml, "string(" + at + "/digest)"), documentation[i].getTitle());
        EXPECT_EQ(xpath(xml, "count(" + at + "/arglist/arg)"),
                  std::to_string(documentation[i].getArgumentTypes().size()));
    }
    EXPECT_EQ(xpath(xml, "count(/c74object/outletlist/outlet)"), "4");
    EXPECT_EQ(xpath(xml, "string(/c74object/outletlist/outlet[3]/digest)"), "playback position");
    EXPECT_EQ(xpath(xml, "string(/c74object/attributelist/attribute[2]/@set)"), "0");
    EXPECT_EQ(xpath(xml, "string(/c74object/attributelist/attribute[1]/attributelist/attribute[@name=\"default\"]/@value)"),
              "1");

    const String section = tex.loadFileAsString();
    EXPECT_TRUE(section.starts_with("\\section{auvo5.sfplay\\textasciitilde{}}\n")) << section.substr(0, 80);
    EXPECT_NE(section.find("\\item[/open symbol] open an audio file (arguments: file name)"), String::npos);
}

TEST(ReferencePage, MarkupCharactersSurviveBothWriters)
{
    const struct
    {
        std::string text, latex;
    } cases[] = {
        {"a & b < c > d", "a \\& b \\textless{} c \\textgreater{} d"},
        {"\"quoted\" and 'single'", "\"quoted\" and 'single'"},
        {"100% of $5 #1 under_score {x}", "100\\% of \\$5 \\#1 under\\_score \\{x\\}"},
        {"back\\slash ~tilde ^caret", "back\\textbackslash{}slash \\textasciitilde{}tilde \\textasciicircum{}caret"},
    };
    test::TempDir dir;
    for (const auto& c : cases)
    {
        EXPECT_EQ(EscapeLatex(c.text), c.latex);
        if (!test::HaveProgram("xmllint"))
            continue;
        ReferencePage page;
        page.name = c.text;
        page.digest = c.text;
        const std::string xml = dir.file("page.maxref.xml");
        WriteReferenceFiles(page, File(xml));
        EXPECT_EQ(xpath(xml, "string(/c74object/digest)"), c.text);
        EXPECT_EQ(xpath(xml, "string(/c74object/@name)"), c.text);
    }
    // Control characters are not allowed in XML 1.0; they are dropped.
    EXPECT_EQ(EscapeXml(std::string("a\x01" "b\tc")), "ab\tc");
}

} // namespace
