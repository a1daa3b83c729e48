// The byte streams under every reader: a file-backed and a memory-backed
// stream must behave like the plain bytes they read, past the end and
// across 4 GiB too.
#include <filesystem>
#include <fstream>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "files/KelFileReader.h"
#include "support/AudioFixtures.h"
#include "support/TestTemp.h"

namespace {

using kel::test::TempDir;

/** What a stream over these bytes must deliver, written the obvious way. */
struct ByteModel
{
    const std::vector<std::uint8_t>& bytes;
    std::int64_t position = 0;

    std::int64_t size() const { return std::int64_t(bytes.size()); }
    std::uint8_t at(std::int64_t i) const { return i < size() ? bytes[std::size_t(i)] : 0; }
    std::uint64_t take(int n, bool bigEndian)
    {
        std::uint64_t v = 0;
        for (int i = 0; i < n; ++i)
        {
            const std::uint64_t b = at(position + i);
            v |= bigEndian ? b << (8 * (n - 1 - i)) : b << (8 * i);
        }
        position = std::min(position + n, size());
        return v;
    }
};

void RunScript(kel::InputStream& stream, const std::vector<std::uint8_t>& bytes, std::uint32_t seed)
{
    ByteModel model{bytes};
    std::mt19937 random(seed);
    const auto size = model.size();
    for (int step = 0; step < 3000; ++step)
    {
        const int op = int(random() % 10);
        SCOPED_TRACE("step " + std::to_string(step) + " op " + std::to_string(op) + " at "
                     + std::to_string(model.position));
        switch (op)
        {
        case 0:
        {
            // Positions before the start, inside, at and past the end.
            const auto target = std::int64_t(random() % std::uint32_t(size + 200)) - 100;
            const bool exact = stream.setPosition(target);
            model.position = std::clamp<std::int64_t>(target, 0, size);
            EXPECT_EQ(exact, model.position == target);
            break;
        }
        case 1:
        {
            // Small reads and reads larger than the file buffer.
            const auto n = random() % 2 == 0 ? std::int64_t(random() % 300) : std::int64_t(random() % 150000);
            std::vector<std::uint8_t> got(std::size_t(n) + 1, 0xEE);
            const auto count = stream.Read(got.data(), n);
            const auto expected = std::min(n, size - model.position);
            ASSERT_EQ(count, expected);
            for (std::int64_t i = 0; i < count; ++i)
                ASSERT_EQ(got[std::size_t(i)], model.at(model.position + i)) << i;
            model.position += count;
            break;
        }
        case 2: EXPECT_EQ(stream.ReadByte(), std::uint8_t(model.take(1, false))); break;
        case 3: EXPECT_EQ(stream.ReadInt16LittleEndian(), std::int16_t(model.take(2, false))); break;
        case 4: EXPECT_EQ(stream.ReadInt16BigEndian(), std::int16_t(model.take(2, true))); break;
        case 5: EXPECT_EQ(stream.ReadInt32LittleEndian(), std::int32_t(model.take(4, false))); break;
        case 6: EXPECT_EQ(stream.ReadInt32BigEndian(), std::int32_t(model.take(4, true))); break;
        case 7: EXPECT_EQ(stream.ReadInt64LittleEndian(), std::int64_t(model.take(8, false))); break;
        case 8:
        {
            const auto n = std::int64_t(random() % 70000) - 10;
            stream.SkipNextBytes(n);
            if (n > 0)
                model.position = std::min(model.position + n, size);
            break;
        }
        default: break;
        }
        ASSERT_EQ(stream.getPosition(), model.position);
        ASSERT_EQ(stream.isExhausted(), model.position >= size);
        ASSERT_EQ(stream.getTotalLength(), size);
    }
}

TEST(InputStreams, FileAndMemoryStreamsDeliverTheBytesTheyHold)
{
    TempDir dir;
    std::mt19937 random(7);
    for (const std::size_t size : {std::size_t(0), std::size_t(1), std::size_t(7), std::size_t(65536),
                                   std::size_t(200003)})
    {
        SCOPED_TRACE("size " + std::to_string(size));
        std::vector<std::uint8_t> bytes(size);
        for (auto& b : bytes)
            b = std::uint8_t(random());
        const auto path = dir.file("bytes" + std::to_string(size));
        kel::test::SaveBytes(path, bytes);

        kel::FileReader file{kel::File(path)};
        ASSERT_TRUE(file.openedOk());
        RunScript(file, bytes, std::uint32_t(size));
        kel::MemoryInputStream memory(bytes.data(), bytes.size());
        RunScript(memory, bytes, std::uint32_t(size));
    }
}

TEST(InputStreams, UnopenableFilesReadAsEmpty)
{
    TempDir dir;
    for (const auto& path : {std::string(), dir.file("missing.wav"), dir.path().string()})
    {
        SCOPED_TRACE(path);
        kel::FileReader reader{kel::File(path)};
        EXPECT_FALSE(reader.openedOk());
        std::uint8_t byte = 7;
        EXPECT_EQ(reader.Read(&byte, 1), 0);
        EXPECT_EQ(reader.ReadInt32BigEndian(), 0);
        EXPECT_EQ(reader.getTotalLength(), 0);
        EXPECT_TRUE(reader.isExhausted());
    }
}

TEST(InputStreams, ReadIntoMemoryTakesOnlyWhatIsThere)
{
    // A size field claiming a terabyte must cost no more than the bytes that
    // exist (the vector's guard would throw on a real terabyte allocation).
    std::vector<std::uint8_t> bytes(100000, 0x5A);
    kel::MemoryInputStream memory(bytes.data(), bytes.size());
    memory.setPosition(10);
    EXPECT_EQ(memory.ReadIntoMemory(std::int64_t(1) << 40).size(), bytes.size() - 10);
    EXPECT_TRUE(memory.isExhausted());
    memory.setPosition(0);
    EXPECT_EQ(memory.ReadIntoMemory(5).size(), 5u);
    EXPECT_EQ(memory.ReadIntoMemory(-3).size(), 0u);
}

TEST(InputStreams, FileOffsetsBeyondFourGigabytes)
{
    // A sparse file: 5 GiB of holes with a few bytes written past 4 GiB.
    TempDir dir;
    const auto path = dir.file("sparse.bin");
    const std::int64_t size = (std::int64_t(5) << 30) + 16;
    const std::int64_t marker = (std::int64_t(4) << 30) + 3;
    {
        // Streams seek with 64-bit offsets everywhere (fseeko's off_t is 32
        // bits on Windows).
        std::ofstream out(std::filesystem::path(path), std::ios::binary);
        ASSERT_TRUE(out.is_open());
        out.seekp(marker).write("\x01\x02\x03\x04", 4).seekp(size - 1).write("\x7F", 1);
        const bool placed = bool(out.flush());
        out.close();
        if (!placed)
            GTEST_SKIP() << "this file system cannot hold a 5 GiB sparse file";
    }
    kel::FileReader reader{kel::File(path)};
    ASSERT_TRUE(reader.openedOk());
    EXPECT_EQ(reader.getTotalLength(), size);
    EXPECT_TRUE(reader.setPosition(marker - 1));
    EXPECT_EQ(reader.ReadByte(), 0);
    EXPECT_EQ(reader.ReadInt32BigEndian(), 0x01020304);
    EXPECT_EQ(reader.getPosition(), marker + 4);
    reader.SkipNextBytes(size);  // clamps at the end
    EXPECT_EQ(reader.getPosition(), size);
    EXPECT_TRUE(reader.setPosition(size - 1));
    EXPECT_EQ(reader.ReadInt16LittleEndian(), 0x7F);  // the missing byte reads as 0
    EXPECT_TRUE(reader.isExhausted());
}

} // namespace
