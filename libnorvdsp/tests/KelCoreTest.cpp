// Exceptions, source locations, the allocation guards and the audio buffer.
#include <cstring>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "common/KelException.h"
#include "containers/KelVector.h"
#include "files/KelFile.h"
#include "math/KelAudioBuffer.h"
#include "support/TestText.h"

namespace {

using kel::Exception;

TEST(Exception, ComposesTextFromLocationAndMessage)
{
    struct Case
    {
        std::function<void()> thrower;
        std::string message;
    };
    const Case cases[] = {
        {[] { throw kel::exceptions::NoSuchFile(kel::File("a.wav"), KEL_HERE); }, "Could not find file \"a.wav\""},
        {[] { throw kel::exceptions::NoSuchFile("\"q.wav\"", KEL_HERE); }, "Could not find file \"q.wav\""},
        {[] { throw kel::exceptions::UnsupportedFile(kel::File("b.aif"), KEL_HERE); },
         "Could not open file \"b.aif\". Unsupported format?"},
        {[] { throw kel::exceptions::ErrorWritingFile(kel::File("'c.txt'"), KEL_HERE); },
         "Error writing file 'c.txt'"},
        {[] { throw kel::exceptions::Unknown(KEL_HERE); }, "Unknown exception"},
        {[] { throw kel::exceptions::ExceptionalWarning("careful", KEL_HERE); }, "careful"},
    };
    for (const auto& c : cases)
    {
        try
        {
            c.thrower();
            ADD_FAILURE() << "no throw for " << c.message;
        }
        catch (const std::exception& e)
        {
            const std::string text = e.what();
            EXPECT_EQ(text.rfind("Exception occurred in [libnorvdsp/tests/KelCoreTest:", 0), 0u) << text;
            EXPECT_EQ(text.substr(text.size() - c.message.size()), c.message) << text;
        }
    }
}

TEST(Exception, LocationIsRelativeToTheSourceTreeWithoutExtension)
{
    const int line = __LINE__ + 1;
    const kel::Exception e("boom", KEL_HERE);
    EXPECT_EQ(e.getLocation().path, "libnorvdsp/tests/KelCoreTest");
    EXPECT_EQ(e.getLocation().line, std::uint64_t(line));
    EXPECT_NE(e.getLocation().function.find("TestBody"), std::string::npos) << e.getLocation().function;
    EXPECT_EQ(std::string(e.what()),
              "Exception occurred in [libnorvdsp/tests/KelCoreTest:" + std::to_string(line) + "] boom");

    // The library's own throw sites carry their own path.
    EXPECT_EQ(kel::test::ThrownPath([] { kel::Vector<double>::ensureReasonableAllocation(std::size_t(1) << 40); }),
              "libnorvdsp/src/containers/KelVector");
    EXPECT_STREQ(Exception("plain").what(), "Exception occurred: plain");

    kel::SourceLocation far{std::string(220, 'p'), 7, "f()"};
    const std::string text = Exception("msg", far).what();
    EXPECT_EQ(text, "Exception occurred in [" + std::string(220, 'p') + ":7]\nmsg");
}

TEST(Vector, GuardAllowsSixGigabytesAndNoMore)
{
    EXPECT_NO_THROW(kel::Vector<float>::ensureReasonableAllocation(1500000000));
    EXPECT_EQ(kel::test::ThrownMessage([] { kel::Vector<float>::ensureReasonableAllocation(1500000001); }),
              "Overly large array allocation (1500000001 elements). This would require more than 6.000000004 GB.");
    EXPECT_EQ(kel::test::ThrownMessage([] { kel::Vector<double> v; v.Resize(1000000000); }),
              "Overly large array allocation (1000000000 elements). This would require more than 8 GB.");
}

TEST(Vector, GrowsKeepsOrderAndCopiesDeeply)
{
    kel::Vector<int> v;
    for (int i = 0; i < 1000; ++i)
        v.PushBack(i);
    v.Insert(0, -1);
    v.Erase(1);
    ASSERT_EQ(v.size(), 1000u);
    EXPECT_EQ(v[0], -1);
    EXPECT_EQ(v[999], 999);
    kel::Vector<int> copy = v;
    copy[5] = 42;
    EXPECT_EQ(v[5], 5);
}

TEST(AudioBuffer, ShapeGuardAndClearFlag)
{
    EXPECT_EQ(kel::test::ThrownMessage([] { kel::AudioBuffer<float> b(8192, 2880000); }),
              "Overly large buffer allocation (8192 x 2880000). This would require more than 94.37184 GB.");

    kel::AudioBuffer<float> b(3, 10);
    EXPECT_FALSE(b.isClear());
    for (std::uint32_t c = 0; c < 3; ++c)
        for (int i = 0; i < 10; ++i)
            EXPECT_EQ(b.getReadPointer(c)[i], 0.0f);
    // Channels are contiguous, channel i starting at i x samples.
    EXPECT_EQ(b.getReadPointer(1), b.getReadPointer(0) + 10);

    b.getWritePointer(2)[9] = 1.0f;
    b.clear();
    EXPECT_TRUE(b.isClear());
    EXPECT_EQ(b.getReadPointer(2)[9], 0.0f);

    // A buffer known to be clear is not zeroed again: this is what makes a
    // repeated clear free, and why writers must go through getWritePointer.
    const_cast<float*>(b.getReadPointer(0))[0] = 5.0f;
    b.clear();
    EXPECT_EQ(b.getReadPointer(0)[0], 5.0f);
    b.getWritePointer(0);
    EXPECT_FALSE(b.isClear());
    b.clear();
    EXPECT_EQ(b.getReadPointer(0)[0], 0.0f);

    // A refused resize leaves the buffer as it was.
    EXPECT_THROW(b.setSize(8192, 2880000), Exception);
    EXPECT_EQ(b.getNumChannels(), 3u);
    EXPECT_EQ(b.getNumSamples(), 10u);
}

} // namespace
