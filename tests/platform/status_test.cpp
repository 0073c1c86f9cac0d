#include <kmath/status.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <type_traits>

namespace
{

std::uint32_t bits(kmath_status status) { return static_cast<std::uint32_t>(status); }

TEST(Status, HasTheValuesThatCallersKnow)
{
    EXPECT_EQ(KMATH_OK, 0);
    EXPECT_EQ(bits(KMATH_ERR_FAILED), 0x80000000u);
    EXPECT_EQ(bits(KMATH_ERR_BAD_DIMENSIONS), 0x8000058au);
    EXPECT_EQ(bits(KMATH_ERR_SINGULAR), 0x80000582u);
    EXPECT_EQ(bits(KMATH_ERR_ALIASED), 0x8000058bu);
    EXPECT_EQ(bits(KMATH_ERR_NEGATIVE_COUNT), 0x80000595u);
    EXPECT_EQ(bits(KMATH_ERR_LEFT_HANDED), 0x8000058cu);
    EXPECT_EQ(bits(KMATH_ERR_ZERO_LENGTH), 0x80000584u);
    EXPECT_EQ(bits(KMATH_ERR_NEGATIVE_SIZE), 0x80000521u);
    EXPECT_EQ(bits(KMATH_ERR_NO_MEMORY), 0x80000023u);
    EXPECT_EQ(bits(KMATH_ERR_NOT_ROTATION), 0x800007c1u);
    EXPECT_EQ(bits(KMATH_ERR_DIVIDE_BY_ZERO), 0x80000583u);
}

TEST(Status, IsASigned32BitNumber)
{
    EXPECT_TRUE((std::is_same_v<kmath_status, std::int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(KMATH_OK), kmath_status>));
    EXPECT_TRUE((std::is_same_v<decltype(KMATH_ERR_SINGULAR), kmath_status>));
}

TEST(StatusIsFailure, LooksAtBit31Alone)
{
    for (const std::uint32_t low : {0u, 1u, 0x582u, 0x7fffffffu}) {
        EXPECT_TRUE(KMATH_IS_FAILURE(static_cast<kmath_status>(0x80000000u | low))) << low;
        EXPECT_FALSE(KMATH_IS_FAILURE(static_cast<kmath_status>(low))) << low;
    }
}

TEST(StatusIsFailure, TakesAnExpression)
{
    const kmath_status failed = KMATH_ERR_SINGULAR;
    const bool first = true;
    EXPECT_TRUE(KMATH_IS_FAILURE(first ? failed : KMATH_OK));
    EXPECT_FALSE(KMATH_IS_FAILURE(first ? KMATH_OK : failed));
    EXPECT_FALSE(KMATH_IS_FAILURE(KMATH_OK) || KMATH_IS_FAILURE(5));
}

} // namespace
