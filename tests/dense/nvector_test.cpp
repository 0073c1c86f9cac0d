#include <kmath/nmmatrix.h>

#include "support/matrices.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

using namespace support;

namespace
{

// A kmath_nvector that constructs and destructs itself.
struct Vector : kmath_nvector {
    Vector() { kmath_nvector_construct(this); }
    explicit Vector(std::int32_t length) : Vector()
    {
        EXPECT_EQ(kmath_nvector_resize(this, length), KMATH_OK);
        for (std::int32_t i = 0; data && i <= length; ++i)
            data[i] = 0.5 + i;
    }
    Vector(const Vector &) = delete;
    Vector &operator=(const Vector &) = delete;
    ~Vector() { kmath_nvector_destruct(this); }
};

void loseStorage(Vector &vector, std::int32_t n)
{
    failAllocation(0);
    EXPECT_EQ(kmath_nvector_resize(&vector, n), KMATH_ERR_NO_MEMORY);
    failAllocation(-1);
}

TEST(NvectorConstruct, EmptiesTheRecord)
{
    kmath_nvector vector;
    std::memset(&vector, 0xA5, sizeof vector);
    EXPECT_EQ(kmath_nvector_construct(&vector), KMATH_OK);
    EXPECT_EQ(vector.data, nullptr);
    EXPECT_EQ(vector.n, 0);
}

TEST(NvectorDestruct, ReleasesTheBlockAndLeavesAReusableRecord)
{
    const std::int64_t before = liveBlocks();
    kmath_nvector vector;
    kmath_nvector_construct(&vector);
    ASSERT_EQ(kmath_nvector_resize(&vector, 3), KMATH_OK);
    EXPECT_EQ(liveBlocks(), before + 1);
    EXPECT_EQ(kmath_nvector_destruct(&vector), KMATH_OK);
    EXPECT_EQ(liveBlocks(), before);
    EXPECT_EQ(vector.data, nullptr);
    EXPECT_EQ(vector.n, 0);
    EXPECT_EQ(kmath_nvector_destruct(&vector), KMATH_OK);
    ASSERT_EQ(kmath_nvector_resize(&vector, 2), KMATH_OK);
    kmath_nvector_destruct(&vector);
    EXPECT_EQ(liveBlocks(), before);
}

TEST(NvectorResize, TakesAClearedBlockOfOneMoreThanTheLength)
{
    Vector vector(5);
    for (const std::int32_t n : {1, 2, 16, 1000}) {
        EXPECT_EQ(allocationsOf([&] { ASSERT_EQ(kmath_nvector_resize(&vector, n), KMATH_OK); }), 1);
        EXPECT_EQ(lastRequest(), (static_cast<std::size_t>(n) + 1) * sizeof(double));
        EXPECT_EQ(vector.n, n);
        for (std::int32_t i = 0; i <= n; ++i)
            EXPECT_TRUE(sameBits(vector.data[i], 0.0));
    }
}

TEST(NvectorResize, KeepsTheContentsForTheSameLength)
{
    Vector vector(3);
    double *const block = vector.data;
    EXPECT_EQ(allocationsOf([&] { ASSERT_EQ(kmath_nvector_resize(&vector, 3), KMATH_OK); }), 0);
    EXPECT_EQ(vector.data, block);
    EXPECT_EQ(vector.data[3], 3.5);
}

TEST(NvectorResize, GivesLengthZeroNoBlock)
{
    const std::int64_t before = liveBlocks();
    Vector vector(3);
    EXPECT_EQ(kmath_nvector_resize(&vector, 0), KMATH_OK);
    EXPECT_EQ(vector.data, nullptr);
    EXPECT_EQ(vector.n, 0);
    EXPECT_EQ(liveBlocks(), before);
}

TEST(NvectorResize, KeepsARefusedNegativeLength)
{
    const std::int64_t before = liveBlocks();
    Vector vector(3);
    EXPECT_EQ(kmath_nvector_resize(&vector, -2), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(vector.n, -2);
    EXPECT_EQ(vector.data, nullptr);
    EXPECT_EQ(liveBlocks(), before);

    // It is the present length from now on.
    EXPECT_EQ(kmath_nvector_resize(&vector, -2), KMATH_OK);
    EXPECT_EQ(kmath_nvector_resize(&vector, -1), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(vector.n, -1);
    EXPECT_EQ(kmath_nvector_resize(&vector, 2), KMATH_OK);
    EXPECT_EQ(vector.data[2], 0.0);
}

TEST(NvectorResize, FormsTheBlockLengthIn64Bits)
{
    constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();
    Vector vector;
    loseStorage(vector, most);
    EXPECT_EQ(lastRequest(), std::size_t{1} << 34);
    EXPECT_EQ(vector.n, most);
    EXPECT_EQ(vector.data, nullptr);
}

TEST(NvectorResize, KeepsTheLengthWhenMemoryRunsOutAndTriesAgain)
{
    Vector vector(3);
    loseStorage(vector, 7);
    EXPECT_EQ(vector.n, 7);
    EXPECT_EQ(vector.data, nullptr);
    ASSERT_EQ(kmath_nvector_resize(&vector, 7), KMATH_OK);
    EXPECT_EQ(vector.data[7], 0.0);
}

TEST(NvectorAssign, CopiesTheWholeBlock)
{
    const Vector source(4);
    for (const std::int32_t n : {0, 3, 4, 9}) {
        Vector vector(n);
        ASSERT_EQ(kmath_nvector_assign(&vector, &source), KMATH_OK);
        ASSERT_EQ(vector.n, 4);
        for (std::int32_t i = 0; i <= 4; ++i)
            EXPECT_EQ(vector.data[i], 0.5 + i);
    }
}

TEST(NvectorAssign, KeepsTheBlockOfAVectorOfTheSameLength)
{
    const Vector source(4);
    Vector vector;
    ASSERT_EQ(kmath_nvector_resize(&vector, 4), KMATH_OK);
    double *const block = vector.data;
    EXPECT_EQ(allocationsOf([&] { ASSERT_EQ(kmath_nvector_assign(&vector, &source), KMATH_OK); }),
              0);
    EXPECT_EQ(vector.data, block);
    EXPECT_EQ(vector.data[4], 4.5);
}

TEST(NvectorAssign, OfAnEmptyVectorEmptiesTheOther)
{
    const Vector source;
    Vector vector(4);
    EXPECT_EQ(kmath_nvector_assign(&vector, &source), KMATH_OK);
    EXPECT_EQ(vector.n, 0);
    EXPECT_EQ(vector.data, nullptr);
}

TEST(NvectorAssign, OfAVectorToItselfDoesNothing)
{
    Vector vector(4);
    EXPECT_EQ(kmath_nvector_assign(&vector, &vector), KMATH_OK);
    EXPECT_EQ(vector.data[4], 4.5);

    Vector negative;
    kmath_nvector_resize(&negative, -2);
    EXPECT_EQ(kmath_nvector_assign(&negative, &negative), KMATH_OK);
}

TEST(NvectorAssign, OfANegativeLengthFailsAsResizeDoes)
{
    Vector source;
    kmath_nvector_resize(&source, -2);
    Vector vector(4);
    EXPECT_EQ(kmath_nvector_assign(&vector, &source), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(vector.n, -2);
    EXPECT_EQ(vector.data, nullptr);
    EXPECT_EQ(kmath_nvector_assign(&vector, &source), KMATH_OK); // equal lengths by now
}

TEST(NvectorAssign, PassesAFailingAllocationOn)
{
    const Vector source(4);
    sweepAllocationFailures([&] {
        Vector vector;
        return kmath_nvector_assign(&vector, &source);
    });
}

TEST(NvectorWithoutStorage, IsHarmless)
{
    Vector lost;
    loseStorage(lost, 4);
    Vector sound(4);
    EXPECT_EQ(kmath_nvector_assign(&sound, &lost), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(sound.data[4], 4.5);
    ASSERT_EQ(kmath_nvector_assign(&lost, &sound), KMATH_OK);
    EXPECT_EQ(lost.data[4], 4.5);
}

TEST(NvectorAssertions, ReportTheirLines)
{
    Vector vector;
    EXPECT_EQ(assertedLine([] { kmath_nvector_construct(nullptr); }), 68);
    EXPECT_EQ(assertedLine([] { kmath_nvector_destruct(nullptr); }), 99);
    EXPECT_EQ(assertedLine([] { kmath_nvector_resize(nullptr, 1); }), 80);
    EXPECT_EQ(assertedLine([&] { kmath_nvector_assign(nullptr, &vector); }), 114);
    EXPECT_EQ(assertedLine([&] { kmath_nvector_assign(&vector, nullptr); }), 114);
}

} // namespace
