// Saving never loses the old file: presets in every format, snapshot exports
// and reference pages saved onto a small tmpfs of the test's own. A save too
// large for it fails with the system's reason and leaves the old file byte
// for byte, and no temporary file behind; a save that fits replaces the
// file (through a symbolic link too, keeping the link and the file's
// permissions) and leaves nothing else.
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "osc/KelReferencePage.h"
#include "support/TestMount.h"
#include "support/TestProcessor.h"
#include "support/TestText.h"

namespace {

namespace fs = std::filesystem;
using kel::test::TestObject;
using kel::test::ThrownMessage;

std::string ReadAll(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

std::set<std::string> Listing(const std::string& folder)
{
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.insert(entry.path().filename().string());
    return names;
}

std::string Quote(const std::string& path)
{
    return "\"" + path + "\"";
}

// One way of saving, with a text of the size asked for inside.
struct Writer
{
    std::string name;
    std::string file;                // what the save names (a link for one case)
    std::set<std::string> written;   // the files it writes
    std::function<std::string(const std::string& path, const std::string& text)> save;  // the error, if any
};

std::string PresetSave(const std::string& path, const std::string& text)
{
    TestObject o;
    o.processor.Send("/name " + Quote(text));
    return ThrownMessage([&] { o.processor.Send("/preset/export " + Quote(path)); });
}

std::string SnapshotSave(const std::string& path, const std::string& text)
{
    TestObject o;
    o.processor.Send("/snapshot/add " + Quote(text));
    return ThrownMessage([&] { o.processor.Send("/snapshot/export " + Quote(path)); });
}

kel::ReferencePage Page(const std::string& text)
{
    kel::ReferencePage page;
    page.name = "test~";
    page.digest = "a test object";
    page.description = text;
    return page;
}

std::string ReferenceSave(const std::string& path, const std::string& text)
{
    return ThrownMessage([&] { kel::WriteReferenceFiles(Page(text), kel::File(path)); });
}

TEST(AtomicSaving, AFullFileSystemKeepsTheOldFile)
{
    const kel::test::SmallFileSystem disk(64 * 1024);
    if (!disk.isMounted())
        GTEST_SKIP() << "no small file system to fill: " << disk.whyNot();

    const std::string big(256 * 1024, 'b');
    const Writer writers[] = {
        {"text preset", "p.txt", {"p.txt"}, PresetSave},
        {"coll preset", "p.coll", {"p.coll"}, PresetSave},
        {"binary preset", "p.osc", {"p.osc"}, PresetSave},
        {"preset through a link", "link.txt", {"link.txt", "real.txt"}, PresetSave},
        {"snapshot export", "s.txt", {"s.txt"}, SnapshotSave},
        {"reference page", "r.maxref.xml", {"r.maxref.xml", "r.tex"}, ReferenceSave},
    };
    for (const auto& w : writers)
    {
        for (const auto& entry : fs::directory_iterator(disk.root()))
            fs::remove_all(entry.path());
        const std::string path = disk.file(w.file);
        if (w.written.count("real.txt") != 0)
        {
            std::ofstream(disk.file("real.txt")) << "placeholder\n";
            fs::create_symlink("real.txt", path);
        }

        // The old file, as this writer saves it.
        ASSERT_EQ(w.save(path, "first take"), "<no exception>") << w.name;
        std::map<std::string, std::string> old;
        for (const auto& name : w.written)
            old[name] = ReadAll(disk.file(name));
        ASSERT_NE(old.begin()->second.find("first take"), std::string::npos) << w.name;

        // Too large: the system's reason, the old files untouched, nothing left over.
        EXPECT_EQ(w.save(path, big), "Error writing file " + Quote(path) + ": no space left on device") << w.name;
        for (const auto& name : w.written)  // (compared whole, not printed: a broken file may be huge)
            EXPECT_TRUE(ReadAll(disk.file(name)) == old[name]) << w.name << ", " << name << " changed";
        EXPECT_EQ(Listing(disk.root()), w.written) << w.name;

        // A save that fits replaces them, keeping their permission bits.
        for (const auto& name : w.written)
            fs::permissions(disk.file(name), fs::perms(0640));
        ASSERT_EQ(w.save(path, "second take"), "<no exception>") << w.name;
        for (const auto& name : w.written)
        {
            const std::string now = ReadAll(disk.file(name));
            EXPECT_NE(now.find("second take"), std::string::npos) << w.name << ", " << name;
            EXPECT_EQ(fs::status(disk.file(name)).permissions() & fs::perms::all, fs::perms(0640))
                << w.name << ", " << name;
        }
        EXPECT_EQ(Listing(disk.root()), w.written) << w.name;
        if (w.written.count("real.txt") != 0)
        {
            EXPECT_TRUE(fs::is_symlink(path)) << w.name;
            EXPECT_NE(ReadAll(disk.file("real.txt")).find("second take"), std::string::npos) << w.name;
        }
    }
}

// What the reference writer saves reads back as written, over an older
// page; a file whose folder is gone gets the system's reason.
TEST(AtomicSaving, ReplacedContentReadsBack)
{
    kel::test::TempDir dir;
    const std::string xml = dir.file("r.maxref.xml");
    ASSERT_EQ(ReferenceSave(xml, "first"), "<no exception>");
    ASSERT_EQ(ReferenceSave(xml, "second, longer than the first"), "<no exception>");
    EXPECT_EQ(ReadAll(xml), kel::ToMaxReferenceXml(Page("second, longer than the first")));
    EXPECT_EQ(ReadAll(dir.file("r.tex")), kel::ToLatexSection(Page("second, longer than the first")));
    EXPECT_EQ(Listing(dir.path().string()), (std::set<std::string>{"r.maxref.xml", "r.tex"}));

    EXPECT_EQ(PresetSave(dir.file("gone/p.osc"), "x"),
              "Error writing file " + Quote(dir.file("gone/p.osc")) + ": no such file or directory");
}

} // namespace
