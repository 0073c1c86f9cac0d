#include "platform/math_core.hpp"
#include "platform/math_support.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

double norm(double angle)
{
    const radian given = {angle};
    return kmath_radian_norm(&given).value;
}

TEST(AcosSafe, IsTheArcCosineInItsDomain)
{
    EXPECT_EQ(kmath_acosSafe(1.0).value, 0.0);
    EXPECT_DOUBLE_EQ(kmath_acosSafe(0.5).value, 1.0471975511965979);
    EXPECT_DOUBLE_EQ(kmath_acosSafe(0.0).value, 1.5707963267948966);
    EXPECT_DOUBLE_EQ(kmath_acosSafe(-1.0).value, 3.141592653589793);
}

TEST(AcosSafe, ClampsWhatLiesOutside)
{
    for (const double above : {std::nextafter(1.0, 2.0), 7.0, infinity})
        EXPECT_EQ(kmath_acosSafe(above).value, 0.0) << above;
    for (const double below : {std::nextafter(-1.0, -2.0), -7.0, -infinity})
        EXPECT_DOUBLE_EQ(kmath_acosSafe(below).value, kmath::pi) << below;
}

TEST(AcosSafe, IsNaNForNaN) { EXPECT_TRUE(std::isnan(kmath_acosSafe(notANumber).value)); }

TEST(RadianNorm, KeepsWhatIsAlreadyInRange)
{
    for (const double angle :
         {0.0, 5e-324, 1e-9, 1.0, kmath::pi, std::nextafter(kmath::twoPi, 0.0)})
        EXPECT_EQ(norm(angle), angle);
}

TEST(RadianNorm, TurnsByWholeTurns)
{
    EXPECT_DOUBLE_EQ(norm(-kmath::pi / 2.0), 1.5 * kmath::pi);
    EXPECT_DOUBLE_EQ(norm(2.5 * kmath::pi), 0.5 * kmath::pi);
    EXPECT_NEAR(norm(-7.0 * kmath::pi), kmath::pi, 1e-14);
    EXPECT_EQ(norm(kmath::twoPi), 0.0);
    EXPECT_EQ(norm(-kmath::twoPi), 0.0);
}

TEST(RadianNorm, NeverReachesAFullTurn)
{
    for (const double angle : {-5e-324, -1e-300, -1e-17, -1e-16, -4e-16, -1e-15, 1e15, -1e15, 1e300,
                               -1e300, 1.7976931348623157e308}) {
        EXPECT_GE(norm(angle), 0.0) << angle;
        EXPECT_LT(norm(angle), kmath::twoPi) << angle;
    }
}

TEST(RadianNorm, IsNaNForWhatHasNoDirection)
{
    for (const double angle : {infinity, -infinity, notANumber})
        EXPECT_TRUE(std::isnan(norm(angle)));
}

TEST(DoubleEpsilonEqual, IncludesItsBound)
{
    EXPECT_TRUE(kmath_double_epsilonEqual(1.0, 1.25, 0.25));
    EXPECT_TRUE(kmath_double_epsilonEqual(1.25, 1.0, 0.25));
    EXPECT_FALSE(kmath_double_epsilonEqual(1.0, 1.25, std::nextafter(0.25, 0.0)));
    EXPECT_TRUE(kmath_double_epsilonEqual(2.385, 2.385, 0.0));
    EXPECT_FALSE(kmath_double_epsilonEqual(2.385, 2.385, -1.0));
}

TEST(DoubleEpsilonEqual, FindsNothingEqualToNaN)
{
    EXPECT_FALSE(kmath_double_epsilonEqual(notANumber, notANumber, 1.0));
    EXPECT_FALSE(kmath_double_epsilonEqual(0.0, 0.0, notANumber));
    EXPECT_FALSE(kmath_double_epsilonEqual(infinity, infinity, 1.0));
    EXPECT_TRUE(kmath_double_epsilonEqual(0.0, infinity, infinity));
}

} // namespace
