#include "containers/typed_vectors.hpp"

#include <cmath>
#include <limits>
#include <random>

namespace
{

using namespace containers;
using Points = OperationsOf<kstd_vector_kmath_vect3>;
using NarrowPoints = OperationsOf<kstd_vector_kmath_vect3F>;

class AssignVect3F : public VectorTest<kstd_vector_kmath_vect3>
{
  protected:
    AssignVect3F() { NarrowPoints::constructEmpty(&source); }
    ~AssignVect3F() override
    {
        EXPECT_EQ(NarrowPoints::destruct(&source), KMATH_OK); // before the base counts the blocks
    }

    void fillSource(const std::vector<kmath_vect3F> &points)
    {
        ASSERT_EQ(NarrowPoints::assignElements(&source, points.data(), points.size()), KMATH_OK);
    }

    std::vector<kmath_vect3> points() const
    {
        const kmath_vect3 *begin = nullptr, *end = nullptr;
        EXPECT_EQ(Points::getBeginEndConst(&vector, &begin, &end), KMATH_OK);
        return {begin, end};
    }

    kmath_status assign() { return kstd_vector_kmath_vect3_assignVect3F(&vector, &source); }

    kstd_vector_kmath_vect3F source;
};

TEST_F(AssignVect3F, WidensEachComponentExactly)
{
    using Float = std::numeric_limits<float>;
    std::mt19937 generator(5);
    std::uniform_int_distribution<std::uint32_t> anyBits;
    std::vector<float> numbers = {0.0F,
                                  -0.0F,
                                  0.1F,
                                  -2.385F,
                                  16777217.0F,
                                  Float::denorm_min(),
                                  -Float::min(),
                                  Float::max(),
                                  Float::lowest(),
                                  Float::infinity(),
                                  -Float::infinity(),
                                  Float::quiet_NaN()};
    while (numbers.size() < 3000) {
        const std::uint32_t bits = anyBits(generator);
        float number;
        std::memcpy(&number, &bits, sizeof number);
        numbers.push_back(number);
    }
    std::vector<kmath_vect3F> narrow;
    for (std::size_t i = 0; i < numbers.size(); i += 3)
        narrow.push_back({numbers[i], numbers[i + 1], numbers[i + 2]});
    fillSource(narrow);
    ASSERT_EQ(assign(), KMATH_OK);

    const std::vector<kmath_vect3> wide = points();
    ASSERT_EQ(wide.size(), narrow.size());
    const auto expectWidened = [](double result, float number) {
        if (std::isnan(number)) {
            EXPECT_TRUE(std::isnan(result));
            return;
        }
        EXPECT_EQ(result, number);
        EXPECT_EQ(static_cast<float>(result), number);
        EXPECT_EQ(std::signbit(result), std::signbit(number));
    };
    for (std::size_t i = 0; i < wide.size(); ++i) {
        expectWidened(wide[i].x, narrow[i].x);
        expectWidened(wide[i].y, narrow[i].y);
        expectWidened(wide[i].z, narrow[i].z);
    }
    EXPECT_EQ(wide[0].z, 0.100000001490116119384765625) << "a tenth in single precision";
    EXPECT_EQ(wide[1].x, -2.3849999904632568359375);
}

TEST_F(AssignVect3F, TakesTheSizeOfTheSource)
{
    for (const std::size_t before : {0u, 2u, 5u, 40u}) {
        fill(std::vector<int>(before, 7));
        fillSource({{1, 2, 3}, {4, 5, 6.5F}});
        ASSERT_EQ(assign(), KMATH_OK);
        const std::vector<kmath_vect3> wide = points();
        ASSERT_EQ(wide.size(), 2u) << before;
        EXPECT_EQ(wide[1].z, 6.5);
        fillSource({});
        ASSERT_EQ(assign(), KMATH_OK);
        EXPECT_TRUE(points().empty());
    }
}

TEST_F(AssignVect3F, LeavesTheSourceAndTheMemoryTable)
{
    support::blocksOfTable = 0;
    kstd_vector_kmath_vect3 counted;
    ASSERT_EQ(Points::constructEmptyWithMtable(&counted, &support::countingTable), KMATH_OK);
    fillSource({{1, 2, 3}});
    ASSERT_EQ(kstd_vector_kmath_vect3_assignVect3F(&counted, &source), KMATH_OK);
    EXPECT_EQ(support::blocksOfTable, 1);
    EXPECT_EQ(Points::destruct(&counted), KMATH_OK);
    EXPECT_EQ(support::blocksOfTable, 0);
    const kmath_vect3F *begin = nullptr;
    std::size_t size = 0;
    NarrowPoints::getBeginSizeConst(&source, &begin, &size);
    ASSERT_EQ(size, 1u);
    EXPECT_EQ(begin[0].y, 2.0F);
}

TEST_F(AssignVect3F, KeepsThePointsWhenThereIsNoMemory)
{
    fillSource(std::vector<kmath_vect3F>(50, {1, 2, 3}));
    int failures = 0;
    for (int failing = 0;; ++failing, ++failures) {
        Points::clearAndFreeMemory(&vector);
        fill({1, 2, 3});
        support::failAllocation(failing);
        const kmath_status status = assign();
        const bool failed = support::allocationHasFailed();
        support::failAllocation(-1);
        ASSERT_EQ(status, failed ? KMATH_ERR_NO_MEMORY : KMATH_OK);
        if (!failed)
            break;
        ASSERT_EQ(numbers(), (std::vector{1, 2, 3}));
    }
    EXPECT_EQ(failures, 1) << "one block is all it needs";
    EXPECT_EQ(points().size(), 50u);
    EXPECT_EQ(support::allocationsOf([&] { EXPECT_EQ(assign(), KMATH_OK); }), 0)
        << "there is room already";
}

TEST_F(AssignVect3F, AssertsItsArguments)
{
    EXPECT_NE(
        support::assertedLine([&] { kstd_vector_kmath_vect3_assignVect3F(nullptr, &source); }), 0);
    EXPECT_NE(
        support::assertedLine([&] { kstd_vector_kmath_vect3_assignVect3F(&vector, nullptr); }), 0);
}

} // namespace
