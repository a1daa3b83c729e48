// The small-buffer containers against the standard library's as the model:
// random operations back and forth across the inline limit (elements that
// own heap memory, so that ASan sees any element lost, leaked or freed
// twice), and the allocation guard they share with kel::Vector.
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "containers/KelSmallString.h"
#include "containers/KelSmallVector.h"
#include "support/TestText.h"

namespace {

template <typename T>
T ValueOf(std::uint32_t n)
{
    if constexpr (std::is_same_v<T, std::string>)
        return "element " + std::to_string(n) + " long enough to live on the heap";
    else
        return T(n);
}

template <typename T, std::size_t N>
::testing::AssertionResult Same(const kel::SmallVector<T, N>& small, const std::vector<T>& model)
{
    if (small.size() != model.size())
        return ::testing::AssertionFailure() << small.size() << " elements instead of " << model.size();
    for (std::size_t i = 0; i < model.size(); ++i)
        if (!(small[i] == model[i]))
            return ::testing::AssertionFailure() << "element " << i << " differs";
    if (small.capacity() < small.size())
        return ::testing::AssertionFailure() << "capacity below size";
    return ::testing::AssertionSuccess();
}

template <typename T>
void FollowTheModel(unsigned seed)
{
    constexpr std::size_t N = 3;
    std::mt19937 random(seed);
    kel::SmallVector<T, N> small;
    std::vector<T> model;
    for (int step = 0; step < 4000; ++step)
    {
        const std::uint32_t n = random();
        switch (n % 9)
        {
            case 0:
            case 1:
            case 2:
                small.PushBack(ValueOf<T>(n));
                model.push_back(ValueOf<T>(n));
                break;
            case 3:
                if (!model.empty())
                {
                    small.PopBack();
                    model.pop_back();
                }
                break;
            case 4:
                if (!model.empty())
                {
                    const std::size_t at = n % model.size();
                    small.Erase(at);
                    model.erase(model.begin() + std::ptrdiff_t(at));
                }
                break;
            case 5:
            {
                // Copies, then copy-assignment over a vector of the other kind.
                kel::SmallVector<T, N> copy(small);
                ASSERT_TRUE(Same(copy, model)) << "copy at step " << step;
                kel::SmallVector<T, N> other;
                for (std::uint32_t k = 0; k < n % 7; ++k)
                    other.PushBack(ValueOf<T>(k));
                other = copy;
                small = other;
                break;
            }
            case 6:
            {
                kel::SmallVector<T, N> moved(std::move(small));
                ASSERT_TRUE(Same(moved, model)) << "move at step " << step;
                EXPECT_TRUE(small.empty());
                small = std::move(moved);
                break;
            }
            case 7:
            {
                const std::size_t size = n % 9;
                small.Resize(size, ValueOf<T>(n));
                model.resize(size, ValueOf<T>(n));
                break;
            }
            default:
                if (n % 5 == 0)
                {
                    small.Clear();
                    model.clear();
                }
                else
                {
                    small.Reserve(n % 11);
                }
                break;
        }
        ASSERT_TRUE(Same(small, model)) << "after step " << step << " (operation " << n % 9 << ")";
    }
}

TEST(SmallVector, FollowsStdVectorAcrossTheInlineLimit)
{
    for (unsigned seed = 1; seed <= 4; ++seed)
    {
        FollowTheModel<std::string>(seed);
        FollowTheModel<int>(seed);
    }
}

TEST(SmallVector, GuardRefusesWhatKelVectorRefuses)
{
    EXPECT_EQ(kel::test::ThrownMessage([] { kel::SmallVector<double, 4>().Reserve(1000000000); }),
              "Overly large array allocation (1000000000 elements). This would require more than 8 GB.");
}

TEST(SmallString, FollowsStdStringAcrossTheInlineLimit)
{
    const std::size_t limit = kel::SmallString::inlineLength;
    std::mt19937 random(11);
    kel::SmallString small;
    std::string model;
    for (int step = 0; step < 3000; ++step)
    {
        const std::uint32_t n = random();
        const std::string piece(n % (limit + 3), char('a' + n % 26));
        switch (n % 5)
        {
            case 0:
                small.assign(piece);
                model = piece;
                break;
            case 1:
            case 2:
                small.append(piece);
                model += piece;
                break;
            case 3:
            {
                kel::SmallString copy(small);
                kel::SmallString moved(std::move(copy));
                small = kel::SmallString(piece);
                small = moved;
                break;
            }
            default:
                small.clear();
                model.clear();
                break;
        }
        ASSERT_EQ(small.view(), model) << "step " << step;
        ASSERT_EQ(std::strlen(small.c_str()), model.size()) << "terminated at step " << step;
    }
}

TEST(SmallString, ReadsAsTheTextTypesItStandsFor)
{
    for (const std::size_t length : {std::size_t(0), std::size_t(1), kel::SmallString::inlineLength,
                                     kel::SmallString::inlineLength + 1, std::size_t(500)})
    {
        const std::string text(length, 'x');
        const kel::SmallString small(text);
        EXPECT_EQ(small.isInline(), length <= kel::SmallString::inlineLength) << length;
        const kel::String asString = small;
        EXPECT_EQ(asString, text);
        EXPECT_TRUE(small == text);
        EXPECT_TRUE(text == small);
        EXPECT_FALSE(small == text + "y");
        EXPECT_EQ(small + "!", text + "!");
        EXPECT_EQ("!" + small, "!" + text);
        EXPECT_EQ(std::string(small.c_str()), text);
    }
}

} // namespace
