#include "support/services.hpp"

#include <kmath/matrix4.h>

#include <gtest/gtest.h>

#include <algorithm>

using support::assertedLine;

namespace
{

kmath_matrix6F filled(float value)
{
    kmath_matrix6F m;
    std::fill_n(&m.m[0][0], 36, value);
    return m;
}

TEST(Matrix6F, BecomesTheIdentity)
{
    kmath_matrix6F m = filled(2.385f);
    EXPECT_EQ(kmath_matrix6F_initIdentity(&m), KMATH_OK);
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 6; ++j)
            EXPECT_EQ(m.m[i][j], i == j ? 1.0f : 0.0f) << i << ' ' << j;
}

TEST(Matrix6F, IsCleared)
{
    kmath_matrix6F m = filled(2.385f);
    EXPECT_EQ(kmath_matrix6F_initClear(&m), KMATH_OK);
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 6; ++j)
            EXPECT_EQ(m.m[i][j], 0.0f) << i << ' ' << j;
}

TEST(Matrix6F, AssertsItsPointer)
{
    EXPECT_NE(assertedLine([] { kmath_matrix6F_initIdentity(nullptr); }), 0);
    EXPECT_NE(assertedLine([] { kmath_matrix6F_initClear(nullptr); }), 0);
}

} // namespace
