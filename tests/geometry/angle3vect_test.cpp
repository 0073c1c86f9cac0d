#include "rotation_checks.hpp"
#include "support/services.hpp"
#include "support/unchecked.hpp"

#include <kmath/rotations.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>

using namespace rotations;
using support::allocationsOf;
using support::reportsNothing;

namespace
{

constexpr kmath_angle3Vect untouchedAngles = {-1.5, 2.5, 3.5};

kmath_matrix3 getMatrix(const kmath_angle3Vect &angles)
{
    kmath_matrix3 M = untouched;
    EXPECT_EQ(kmath_angle3Vect_getMatrix(&angles, &M), KMATH_OK);
    return M;
}

kmath_status setMatrix(kmath_angle3Vect &angles, const kmath_matrix3 &M)
{
    angles = untouchedAngles;
    return kmath_angle3Vect_setMatrix(&angles, &M);
}

void expectAngles(const kmath_matrix3 &M, const kmath_angle3Vect &expected, double tolerance)
{
    kmath_angle3Vect angles;
    ASSERT_EQ(setMatrix(angles, M), KMATH_OK) << M;
    EXPECT_NEAR(angles.ax, expected.ax, tolerance) << M;
    EXPECT_NEAR(angles.ay, expected.ay, tolerance) << M;
    EXPECT_NEAR(angles.az, expected.az, tolerance) << M;
}

std::uint32_t compareEqual(const kmath_angle3Vect &a, const kmath_angle3Vect &b)
{
    std::uint32_t equal = 77;
    EXPECT_EQ(kmath_angle3Vect_compareEqual(&a, &b, &equal), KMATH_OK);
    return equal;
}

bool isUntouched(const kmath_angle3Vect &angles) { return compareEqual(angles, untouchedAngles); }

// On the circle.
double distance(double a, double b) { return std::fabs(std::remainder(a - b, 2 * pi)); }

TEST(Angle3VectInit, CopiesTheAngles)
{
    const radian ax = {0.25}, ay = {-7.5}, az = {infinity};
    kmath_angle3Vect r = untouchedAngles;
    EXPECT_EQ(kmath_angle3Vect_init(&r, &ax, &ay, &az), KMATH_OK);
    EXPECT_EQ(r.ax, 0.25);
    EXPECT_EQ(r.ay, -7.5);
    EXPECT_EQ(r.az, infinity);
    for (const double x : strangeNumbers) {
        const radian angle = {x};
        EXPECT_EQ(kmath_angle3Vect_init(&r, &angle, &angle, &angle), KMATH_OK);
        EXPECT_TRUE(support::sameBits(r.ax, x) && support::sameBits(r.ay, x) &&
                    support::sameBits(r.az, x));
    }
}

TEST(Angle3Vect, ReportsNullRecords)
{
    const radian a = {0.5};
    kmath_angle3Vect r = {};
    kmath_matrix3 M = identity;
    expectOneAssertion({[&] { kmath_angle3Vect_init(nullptr, &a, &a, &a); },
                        [&] { kmath_angle3Vect_init(&r, nullptr, &a, &a); },
                        [&] { kmath_angle3Vect_init(&r, &a, nullptr, &a); },
                        [&] { kmath_angle3Vect_init(&r, &a, &a, nullptr); }});
    expectOneAssertion({[&] { kmath_angle3Vect_getMatrix(nullptr, &M); },
                        [&] { kmath_angle3Vect_getMatrix(&r, nullptr); }});
    expectOneAssertion({[&] { kmath_angle3Vect_setMatrix(nullptr, &M); },
                        [&] { kmath_angle3Vect_setMatrix(&r, nullptr); }});
}

TEST(Angle3VectCompareEqual, ReportsNoNullRecords)
{
    const kmath_angle3Vect a = {1, 2, 3};
    std::uint32_t equal;
    EXPECT_TRUE(reportsNothing([&] { kmath_angle3Vect_compareEqual(nullptr, &a, &equal); }));
    EXPECT_TRUE(reportsNothing([&] { kmath_angle3Vect_compareEqual(&a, nullptr, &equal); }));
    EXPECT_TRUE(reportsNothing([&] { kmath_angle3Vect_compareEqual(&a, &a, nullptr); }));
}

TEST(Angle3VectGetMatrix, TurnsAboutZThenYThenX)
{
    const double right = pi / 2;
    EXPECT_TRUE(sameBits(getMatrix({0, 0, 0}), identity));
    EXPECT_LE(maxDifference(getMatrix({right, 0, 0}), {1, 0, 0, 0, 0, -1, 0, 1, 0}), eps);
    EXPECT_LE(maxDifference(getMatrix({0, right, 0}), {0, 0, 1, 0, 1, 0, -1, 0, 0}), eps);
    EXPECT_LE(maxDifference(getMatrix({0, 0, right}), {0, -1, 0, 1, 0, 0, 0, 0, 1}), eps);
    // x goes to y by the z rotation, and from there to z by the x rotation.
    EXPECT_LE(maxDifference(getMatrix({right, 0, right}), {0, -1, 0, 0, 0, -1, 1, 0, 0}), eps);
}

TEST(Angle3VectGetMatrix, HasTheBitsOfTheProduct)
{
    std::mt19937_64 generator(31);
    std::uniform_real_distribution<double> uniform(-10.0, 10.0);
    for (int n = 0; n < 10000; ++n) {
        const radian ax = {uniform(generator)}, ay = {uniform(generator)},
                     az = {uniform(generator)};
        kmath_matrix3 Rx, Ry, Rz;
        kmath_matrix3_initRotationAroundXAxis(&Rx, &ax);
        kmath_matrix3_initRotationAroundYAxis(&Ry, &ay);
        kmath_matrix3_initRotationAroundZAxis(&Rz, &az);
        const kmath_matrix3 M = getMatrix({ax.value, ay.value, az.value});
        EXPECT_TRUE(sameBits(M, product(product(Rx, Ry), Rz)));
        EXPECT_LE(orthogonalityError(M), 8 * eps);
    }
}

TEST(Angle3VectGetMatrix, TakesAnyNumber)
{
    for (const double x : strangeNumbers)
        for (const double y : strangeNumbers)
            for (const double z : strangeNumbers) {
                const kmath_matrix3 M = getMatrix({x, y, z});
                EXPECT_EQ(isFinite(M), std::isfinite(x) && std::isfinite(y) && std::isfinite(z));
            }
}

TEST(Angle3VectSetMatrix, IsZeroForTheIdentity)
{
    kmath_angle3Vect angles;
    ASSERT_EQ(setMatrix(angles, identity), KMATH_OK);
    EXPECT_EQ(compareEqual(angles, {0, 0, 0}), 1u);
}

TEST(Angle3VectSetMatrix, TakesTheRotationClosestToTheMatrix)
{
    const kmath_angle3Vect angles = {0.3, -0.4, 0.5};
    const kmath_matrix3 M = getMatrix(angles);
    expectAngles(scaled(M, 17.0), angles, 1e-15);
    expectAngles(diagonal(2, 2, 2), {0, 0, 0}, 1e-15);
    // M·P with P symmetric and positive definite has M as its closest rotation.
    expectAngles(product(M, {2, 0.5, 0.25, 0.5, 3, -0.5, 0.25, -0.5, 1}), angles, 4e-15);
}

TEST(Angle3VectSetMatrix, CarriesAllOfAGimbalLockInZ)
{
    expectAngles(getMatrix({0, pi / 2, 0}), {0, pi / 2, 0}, 1e-15);
    expectAngles(getMatrix({0, -pi / 2, 0}), {0, -pi / 2, 0}, 1e-15);
    expectAngles(getMatrix({0.4, pi / 2, 0.3}), {0, pi / 2, 0.7}, 1e-15);
    expectAngles(getMatrix({0.4, -pi / 2, 0.3}), {0, -pi / 2, -0.1}, 1e-15);
    expectAngles({0, 0, 1, 1, 0, 0, 0, 1, 0}, {0, pi / 2, pi / 2}, 0.0);
    expectAngles({0, 0, -1, -1, 0, 0, 0, 1, 0}, {0, -pi / 2, -pi / 2}, 0.0);
}

TEST(Angle3VectSetMatrix, TakesYFromTheLastColumnInGimbalLock)
{
    const double e = 1e-15; // four steps of π/2, to either side
    expectAngles({e, 0, 1, 0, 1, 0, -1, 0, e}, {0, std::atan2(1.0, e), 0}, 0.0);
    expectAngles({-e, 0, 1, 0, 1, 0, -1, 0, -e}, {0, std::atan2(1.0, -e), 0}, 0.0);
    expectAngles({e, 0, -1, 0, 1, 0, 1, 0, e}, {0, std::atan2(-1.0, e), 0}, 0.0);
}

// Orthogonal to within 1e-15, and so taken as they are, whatever e up to 1e-15 or little above.
TEST(Angle3VectSetMatrix, IsGimbalLockedUpToTenToTheMinus15)
{
    const auto withM00 = [](double e) { return kmath_matrix3{e, 0, 1, 1, 0, -e, 0, 1, 0}; };
    const auto withM01 = [](double e) { return kmath_matrix3{0, -e, 1, 0, -1, -e, 1, 0, 0}; };
    const double above = std::nextafter(1e-15, 1.0);
    for (const double sign : {1.0, -1.0}) {
        expectAngles(withM00(sign * 1e-15), {0, pi / 2, pi / 2}, 2e-15);
        expectAngles(withM01(sign * 1e-15), {0, pi / 2, pi}, 2e-15);
    }
    expectAngles(withM00(above), {pi / 2, pi / 2, 0}, 2e-15);
    expectAngles(withM00(-above), {-pi / 2, pi / 2, pi}, 2e-15);
    expectAngles(withM01(above), {pi / 2, pi / 2, pi / 2}, 2e-15);
    expectAngles(withM01(-above), {-pi / 2, pi / 2, -pi / 2}, 2e-15);
}

TEST(Angle3VectSetMatrix, HasTheBitsOfTheFormulasInGimbalLock)
{
    std::mt19937_64 generator(36);
    std::uniform_real_distribution<double> uniform(-pi, pi);
    int locked = 0;
    for (int n = 0; n < 10000; ++n) {
        const double ay = n % 2 ? pi / 2 : -pi / 2;
        const kmath_matrix3 M = getMatrix({uniform(generator), ay, uniform(generator)});
        kmath_matrix3 R;
        ASSERT_EQ(kmath_rodParam_findClosestRotation(&M, &R), KMATH_OK);
        if (std::fabs(R.m00) > 1e-15 || std::fabs(R.m01) > 1e-15)
            continue; // left by the decomposition a little short of the lock
        ++locked;
        kmath_angle3Vect angles;
        ASSERT_EQ(setMatrix(angles, M), KMATH_OK);
        EXPECT_EQ(angles.ax, 0.0);
        EXPECT_TRUE(support::sameBits(angles.ay, std::atan2(R.m02, R.m22)));
        EXPECT_TRUE(support::sameBits(angles.az, std::atan2(R.m10, R.m11)));
    }
    EXPECT_GT(locked, 5000);
}

TEST(Angle3VectSetMatrix, ClampsTheSine)
{
    const double e = 1e-14; // no gimbal lock
    expectAngles({e, 0, 1 + 2 * eps, 0, 1, 0, -1, 0, e}, {0, pi / 2, 0}, 0.0);
    expectAngles({e, 0, -1 - 2 * eps, 0, 1, 0, 1, 0, e}, {0, -pi / 2, 0}, 0.0);
}

TEST(Angle3VectSetMatrix, TakesHalfTurnsToPlusPi)
{
    for (const double zero : {0.0, -0.0}) {
        expectAngles({1, zero, zero, zero, -1, zero, zero, zero, -1}, {pi, 0, 0}, 0.0);
        expectAngles({-1, zero, zero, zero, 1, zero, zero, zero, -1}, {pi, 0, pi}, 0.0);
        expectAngles({-1, zero, zero, zero, -1, zero, zero, zero, 1}, {0, 0, pi}, 0.0);
        expectAngles({zero, zero, 1, zero, -1, zero, 1, zero, zero}, {0, pi / 2, pi}, 0.0);
    }
}

TEST(Angle3VectSetMatrix, HasTheBitsOfTheFormulas)
{
    std::mt19937_64 generator(32);
    for (int n = 0; n < 10000; ++n) {
        const kmath_matrix3 M = randomMatrix3(generator);
        kmath_matrix3 R;
        kmath_angle3Vect angles;
        if (kmath_rodParam_findClosestRotation(&M, &R) != KMATH_OK) {
            EXPECT_EQ(setMatrix(angles, M), KMATH_ERR_NOT_ROTATION);
            EXPECT_TRUE(isUntouched(angles));
            continue;
        }
        ASSERT_EQ(setMatrix(angles, M), KMATH_OK);
        EXPECT_TRUE(support::sameBits(angles.ax, std::atan2(-R.m12, R.m22)));
        EXPECT_TRUE(support::sameBits(angles.ay, std::asin(R.m02)));
        EXPECT_TRUE(support::sameBits(angles.az, std::atan2(-R.m01, R.m00)));
    }
}

TEST(Angle3VectSetMatrix, RefusesReflectionsUnderItsOwnStatus)
{
    kmath_angle3Vect angles;
    for (const kmath_matrix3 &M : {diagonal(1, 1, -1), diagonal(2, 2, -2), diagonal(-1, -1, -1),
                                   scaled(getMatrix({0.3, 0.4, 0.5}), -1.0)}) {
        EXPECT_EQ(setMatrix(angles, M), KMATH_ERR_NOT_ROTATION);
        EXPECT_EQ(static_cast<std::uint32_t>(setMatrix(angles, M)), 0x800007c1u);
        EXPECT_TRUE(isUntouched(angles));
    }
}

TEST(Angle3VectSetMatrix, PassesOtherFailuresOn)
{
    kmath_angle3Vect angles;
    for (const double x : {notANumber, infinity, -infinity})
        for (const auto e : elements) {
            kmath_matrix3 M = identity;
            M.*e = x;
            EXPECT_EQ(setMatrix(angles, M), KMATH_ERR_SINGULAR);
            EXPECT_TRUE(isUntouched(angles));
        }
}

TEST(Angle3VectSetMatrix, EndsForAnyNumbers)
{
    std::mt19937_64 generator(33);
    for (int n = 0; n < 20000; ++n) {
        const kmath_matrix3 M = strangeMatrix3(generator);
        kmath_angle3Vect angles;
        const kmath_status status = setMatrix(angles, M);
        EXPECT_TRUE(status == KMATH_OK || status == KMATH_ERR_NOT_ROTATION ||
                    status == KMATH_ERR_SINGULAR)
            << M;
        EXPECT_EQ(isUntouched(angles), status != KMATH_OK) << M;
        EXPECT_TRUE(std::isfinite(angles.ax) && std::isfinite(angles.ay) &&
                    std::isfinite(angles.az))
            << M;
    }
}

TEST(Angle3Vect, ReturnsFromAnglesOverMatrixToAngles)
{
    std::mt19937_64 generator(34);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    double worst = 0.0;
    for (int n = 0; n < 200000; ++n) {
        const double offGimbal = randomMagnitude(1e-12, pi / 2, generator);
        const double ay = n % 2 ? pi / 2 * uniform(generator)
                                : std::copysign(pi / 2 - offGimbal, uniform(generator));
        const kmath_angle3Vect angles = {pi * uniform(generator), ay, pi * uniform(generator)};
        kmath_angle3Vect back;
        ASSERT_EQ(setMatrix(back, getMatrix(angles)), KMATH_OK);
        const double error =
            std::fmax(distance(back.ax, angles.ax),
                      std::fmax(std::fabs(back.ay - angles.ay), distance(back.az, angles.az)));
        worst = std::fmax(worst, error * std::cos(ay));
    }
    EXPECT_LE(worst, 1e-14);
}

TEST(Angle3Vect, ReturnsFromAnyAnglesToTheSameMatrix)
{
    std::mt19937_64 generator(35);
    std::uniform_real_distribution<double> uniform(-10.0, 10.0);
    std::uniform_int_distribution<int> quarter(-4, 4);
    for (int n = 0; n < 100000; ++n) {
        kmath_angle3Vect angles = {uniform(generator), uniform(generator), uniform(generator)};
        if (n % 2)
            angles.ay = quarter(generator) * (pi / 2);
        const kmath_matrix3 M = getMatrix(angles);
        kmath_angle3Vect back;
        ASSERT_EQ(setMatrix(back, M), KMATH_OK);
        EXPECT_LE(std::fabs(back.ay), pi / 2 + 2e-15);
        EXPECT_TRUE(std::fabs(back.ax) <= pi && std::fabs(back.az) <= pi);
        // The arc sine loses digits towards the gimbal lock, in the lock itself there are none to
        // lose.
        const double cosine = std::fabs(std::cos(angles.ay));
        const double bound = 16 * eps / (cosine > 1e-15 ? cosine : 1.0);
        EXPECT_LE(maxDifference(getMatrix(back), M), bound) << angles.ay;
    }
}

TEST(Angle3VectCompareEqual, ComparesAllThreeExactly)
{
    const kmath_angle3Vect a = {0.1, -0.2, 2.385};
    EXPECT_EQ(compareEqual(a, a), 1u);
    EXPECT_EQ(compareEqual(a, {std::nextafter(0.1, 1.0), -0.2, 2.385}), 0u);
    EXPECT_EQ(compareEqual(a, {0.1, std::nextafter(-0.2, 1.0), 2.385}), 0u);
    EXPECT_EQ(compareEqual(a, {0.1, -0.2, std::nextafter(2.385, 1.0)}), 0u);
    EXPECT_EQ(compareEqual({0.0, -0.0, 0.0}, {-0.0, 0.0, 0.0}), 1u);
    EXPECT_EQ(compareEqual({notANumber, 0, 0}, {notANumber, 0, 0}), 0u);
    EXPECT_EQ(compareEqual({infinity, 0, -infinity}, {infinity, 0, -infinity}), 1u);
    EXPECT_EQ(compareEqual({0, 0, pi}, {0, 0, -pi}), 0u);
}

TEST(Angle3Vect, AllocatesNothing)
{
    EXPECT_EQ(allocationsOf([] {
                  kmath_angle3Vect angles;
                  setMatrix(angles, scaled(getMatrix({0.1, 0.2, 0.3}), 2.0));
              }),
              0);
}

} // namespace
