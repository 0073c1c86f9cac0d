#include "support/services.hpp"

#include <kmath/vectors.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

using support::assertedLine;
using support::AssertionRecorder;

namespace
{

constexpr double pi = 3.141592653589793;
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr kmath_vect3 untouched = {-7.25, 3.5, 11.0};

const kmath_vect3 a = {2.385, -1.75, 0.625};
const kmath_vect3 b = {-0.5, 4.25, 3.125};

void expectSame(const kmath_vect3 &actual, const kmath_vect3 &expected)
{
    EXPECT_EQ(actual.x, expected.x);
    EXPECT_EQ(actual.y, expected.y);
    EXPECT_EQ(actual.z, expected.z);
}

void expectNear(const kmath_vect3 &actual, const kmath_vect3 &expected, double tolerance)
{
    EXPECT_NEAR(actual.x, expected.x, tolerance);
    EXPECT_NEAR(actual.y, expected.y, tolerance);
    EXPECT_NEAR(actual.z, expected.z, tolerance);
}

double length(const kmath_vect3 &v)
{
    double result = notANumber;
    EXPECT_EQ(kmath_vect3_getLength(&v, &result), KMATH_OK);
    return result;
}

std::uint32_t epsilonEqual(const kmath_vect3 &p, const kmath_vect3 &q, double eps)
{
    std::uint32_t equal = 77;
    EXPECT_EQ(kmath_vect3_epsilonEqual(&p, &q, eps, &equal), KMATH_OK);
    return equal;
}

std::uint32_t compareEqual(const kmath_vect3 &p, const kmath_vect3 &q)
{
    std::uint32_t equal = 77;
    EXPECT_EQ(kmath_vect3_compareEqual(&p, &q, &equal), KMATH_OK);
    return equal;
}

kmath_vect3 direction(double tilt, double rotation)
{
    const radian t = {tilt}, phi = {rotation};
    kmath_vect3 r = untouched;
    EXPECT_EQ(kmath_vect3_initTiltAndRotation(&r, &t, &phi), KMATH_OK);
    return r;
}

double tiltOf(const kmath_vect3 &v)
{
    radian tilt = {notANumber};
    EXPECT_EQ(kmath_vect3_getTilt(&v, &tilt), KMATH_OK);
    return tilt.value;
}

double rotationOf(const kmath_vect3 &v)
{
    radian rotation = {notANumber};
    EXPECT_EQ(kmath_vect3_getRotation(&v, &rotation), KMATH_OK);
    return rotation.value;
}

double angleBetween(const kmath_vect3 &p, const kmath_vect3 &q)
{
    radian angle = {notANumber};
    EXPECT_EQ(kmath_vect3_getAngleBetweenVectors(&p, &q, &angle), KMATH_OK);
    return angle.value;
}

TEST(Vect3, IsFilledFromItsComponents)
{
    kmath_vect3 r = untouched;
    EXPECT_EQ(kmath_vect3_init(&r, 2.385, -0.5, 1e300), KMATH_OK);
    expectSame(r, {2.385, -0.5, 1e300});
}

TEST(Vect3, IsClearedAndReset)
{
    kmath_vect3 r = untouched;
    EXPECT_EQ(kmath_vect3_initClear(&r), KMATH_OK);
    expectSame(r, {0.0, 0.0, 0.0});
    r = untouched;
    EXPECT_EQ(kmath_vect3_reset(&r), KMATH_OK);
    expectSame(r, {0.0, 0.0, 0.0});
}

TEST(Vect3, AddsSubtractsAndScales)
{
    kmath_vect3 r;
    EXPECT_EQ(kmath_vect3_initAdd(&r, &a, &b), KMATH_OK);
    expectSame(r, {2.385 + -0.5, 2.5, 3.75});
    EXPECT_EQ(kmath_vect3_initSubtract(&r, &a, &b), KMATH_OK);
    expectSame(r, {2.385 + 0.5, -6.0, -2.5});
    EXPECT_EQ(kmath_vect3_initScale(&r, &a, -2.0), KMATH_OK);
    expectSame(r, {-4.77, 3.5, -1.25});
}

TEST(Vect3, MayHoldTheResultInAnOperand)
{
    kmath_vect3 r = a;
    kmath_vect3_initAdd(&r, &r, &r);
    expectSame(r, {4.77, -3.5, 1.25});
    r = b;
    kmath_vect3_initSubtract(&r, &a, &r);
    expectSame(r, {2.385 + 0.5, -6.0, -2.5});
    r = a;
    kmath_vect3_initScale(&r, &r, 2.0);
    expectSame(r, {4.77, -3.5, 1.25});
    r = {0.0, -3.0, 4.0};
    kmath_vect3_getUnit(&r, &r);
    expectNear(r, {0.0, -0.6, 0.8}, 2e-16);
}

TEST(Vect3GetLength, IsTheRootOfTheSumOfSquares)
{
    EXPECT_EQ(length({2.0, -3.0, 6.0}), 7.0);
    EXPECT_EQ(length({0.0, -0.0, 0.0}), 0.0);
    EXPECT_EQ(length({1e-200, 0.0, 0.0}), 0.0);
    EXPECT_EQ(length({1e200, 0.0, 0.0}), infinity);
    EXPECT_TRUE(std::isnan(length({1.0, notANumber, 0.0})));
}

// (2^53 + 1 lost) + 1 lost differs from 2^53 + (1 + 1): only the order from x to z gives these.
TEST(Vect3, SumsFromTheFirstComponentToTheLast)
{
    const kmath_vect3 ones = {1.0, 1.0, 1.0};
    const kmath_vect3 largeFirst = {0x1p53, 1.0, 1.0};
    const kmath_vect3 largeLast = {1.0, 1.0, 0x1p53};
    double product;
    kmath_vect3_dot(&largeFirst, &ones, &product);
    EXPECT_EQ(product, 0x1p53);
    kmath_vect3_dot(&largeLast, &ones, &product);
    EXPECT_EQ(product, 0x1p53 + 2.0);
}

// The sum of three products, each rounded, from the first to the last.
double plainSum(const kmath_vect3 &p, const kmath_vect3 &q)
{
    const volatile double first = p.x * q.x, second = p.y * q.y, third = p.z * q.z;
    const volatile double two = first + second;
    return two + third;
}

TEST(Vect3, HasTheBitsOfThePlainSum)
{
    std::mt19937_64 generator(3);
    std::uniform_real_distribution<double> uniform(-10.0, 10.0);
    for (int repeat = 0; repeat < 1000; ++repeat) {
        const kmath_vect3 p = {uniform(generator), uniform(generator), uniform(generator)};
        const kmath_vect3 q = {uniform(generator), uniform(generator), uniform(generator)};
        double product;
        EXPECT_EQ(kmath_vect3_dot(&p, &q, &product), KMATH_OK);
        EXPECT_EQ(product, plainSum(p, q));
        EXPECT_EQ(length(p), std::sqrt(plainSum(p, p)));
    }
}

TEST(Vect3GetDistance, IsTheLengthOfTheDifference)
{
    const kmath_vect3 p = {1.0, 2.0, 3.0}, q = {3.0, -1.0, 9.0};
    double distance;
    EXPECT_EQ(kmath_vect3_getDistance(&p, &q, &distance), KMATH_OK);
    EXPECT_EQ(distance, 7.0);
    EXPECT_EQ(kmath_vect3_getDistance(&p, &p, &distance), KMATH_OK);
    EXPECT_EQ(distance, 0.0);
}

TEST(Vect3GetUnit, MultipliesByOneReciprocal)
{
    kmath_vect3 r;
    const kmath_vect3 v = {2.0, -3.0, 6.0};
    EXPECT_EQ(kmath_vect3_getUnit(&v, &r), KMATH_OK);
    const volatile double seventh = 1.0 / 7.0;
    expectSame(r, {2.0 * seventh, -3.0 * seventh, 6.0 * seventh});
    // 49·(1/49) falls short of 1 by one rounding, which tells the product from a quotient.
    const kmath_vect3 along = {0.0, 49.0, 0.0};
    EXPECT_EQ(kmath_vect3_getUnit(&along, &r), KMATH_OK);
    EXPECT_EQ(r.y, std::nextafter(1.0, 0.0));
}

TEST(Vect3GetUnit, RefusesALengthOfZero)
{
    for (const kmath_vect3 &v : {kmath_vect3{0.0, 0.0, 0.0}, kmath_vect3{-0.0, 0.0, -0.0},
                                 kmath_vect3{1e-200, 0.0, 0.0}, kmath_vect3{0.0, 5e-324, 0.0}}) {
        kmath_vect3 r = untouched;
        EXPECT_EQ(kmath_vect3_getUnit(&v, &r), KMATH_ERR_ZERO_LENGTH);
        expectSame(r, untouched);
    }
}

TEST(Vect3GetUnit, AcceptsTheShortestVectorWithASquare)
{
    const kmath_vect3 v = {1e-150, 0.0, 0.0};
    kmath_vect3 r = untouched;
    EXPECT_EQ(kmath_vect3_getUnit(&v, &r), KMATH_OK);
    expectNear(r, {1.0, 0.0, 0.0}, 1e-15);
}

TEST(Vect3GetUnit, FollowsTheArithmeticForHugeAndNonFiniteVectors)
{
    kmath_vect3 r;
    const kmath_vect3 huge = {1e200, 0.0, 0.0};
    EXPECT_EQ(kmath_vect3_getUnit(&huge, &r), KMATH_OK);
    expectSame(r, {0.0, 0.0, 0.0});
    const kmath_vect3 unbounded = {infinity, 1.0, 0.0};
    EXPECT_EQ(kmath_vect3_getUnit(&unbounded, &r), KMATH_OK);
    EXPECT_TRUE(std::isnan(r.x));
    EXPECT_EQ(r.y, 0.0);
    const kmath_vect3 undefined = {1.0, notANumber, 0.0};
    EXPECT_EQ(kmath_vect3_getUnit(&undefined, &r), KMATH_OK);
    EXPECT_TRUE(std::isnan(r.x) && std::isnan(r.y) && std::isnan(r.z));
}

TEST(Vect3Cross, IsRightHandedAndPerpendicular)
{
    const kmath_vect3 x = {1.0, 0.0, 0.0}, y = {0.0, 1.0, 0.0}, z = {0.0, 0.0, 1.0};
    kmath_vect3 r;
    EXPECT_EQ(kmath_vect3_cross(&x, &y, &r), KMATH_OK);
    expectSame(r, z);
    kmath_vect3_cross(&y, &z, &r);
    expectSame(r, x);
    kmath_vect3_cross(&z, &x, &r);
    expectSame(r, y);

    const kmath_vect3 p = {1.0, 2.0, 3.0}, q = {-4.0, 0.5, 2.0};
    kmath_vect3_cross(&p, &q, &r);
    expectSame(r, {2.0 * 2.0 - 3.0 * 0.5, 3.0 * -4.0 - 1.0 * 2.0, 1.0 * 0.5 - 2.0 * -4.0});
}

TEST(Vect3CompareEqual, IsExact)
{
    EXPECT_EQ(compareEqual(a, a), 1u);
    for (int i = 0; i < 3; ++i) {
        kmath_vect3 other = a;
        double &component = i == 0 ? other.x : i == 1 ? other.y : other.z;
        component = std::nextafter(component, 10.0);
        EXPECT_EQ(compareEqual(a, other), 0u) << i;
    }
    EXPECT_EQ(compareEqual({0.0, 0.0, 0.0}, {-0.0, -0.0, -0.0}), 1u);
    EXPECT_EQ(compareEqual({notANumber, 0.0, 0.0}, {notANumber, 0.0, 0.0}), 0u);
    EXPECT_EQ(compareEqual({infinity, 0.0, 0.0}, {infinity, 0.0, 0.0}), 1u);
}

TEST(Vect3EpsilonEqual, ExcludesItsBound)
{
    EXPECT_EQ(epsilonEqual({3.0, 0.0, 0.0}, {0.0, 4.0, 0.0}, 5.0), 0u);
    EXPECT_EQ(epsilonEqual({3.0, 0.0, 0.0}, {0.0, 4.0, 0.0}, std::nextafter(5.0, 6.0)), 1u);
    EXPECT_EQ(epsilonEqual({3.0, 0.0, 0.0}, {0.0, 4.0, 0.0}, -5.5), 1u);
}

TEST(Vect3EpsilonEqual, FindsEqualVectorsEqualAtAnyTolerance)
{
    EXPECT_EQ(epsilonEqual(a, a, 0.0), 1u);
    EXPECT_EQ(epsilonEqual(a, a, notANumber), 1u);
    EXPECT_EQ(epsilonEqual({1e-200, 0.0, 0.0}, {0.0, 0.0, 0.0}, 0.0), 1u)
        << "the square underflows";
    EXPECT_EQ(epsilonEqual({1e-150, 0.0, 0.0}, {0.0, 0.0, 0.0}, 0.0), 0u);
}

TEST(Vect3EpsilonEqual, FindsNothingEqualToNaN)
{
    EXPECT_EQ(epsilonEqual({notANumber, 0.0, 0.0}, {notANumber, 0.0, 0.0}, 1.0), 0u);
    EXPECT_EQ(epsilonEqual({infinity, 0.0, 0.0}, {infinity, 0.0, 0.0}, 1.0), 0u);
    EXPECT_EQ(epsilonEqual({infinity, 0.0, 0.0}, {0.0, 0.0, 0.0}, infinity), 0u);
}

TEST(Vect3InitTiltAndRotation, HasUnitLengthAndTheAnglesAsked)
{
    for (const double tilt : {0.0, 0.3, 1.2, pi / 2.0, 2.8, pi})
        for (const double rotation : {0.0, 0.7, 3.0, 4.5, 6.2}) {
            const kmath_vect3 r = direction(tilt, rotation);
            EXPECT_NEAR(length(r), 1.0, 4e-16);
            expectNear(r,
                       {std::sin(tilt) * std::cos(rotation), std::sin(tilt) * std::sin(rotation),
                        std::cos(tilt)},
                       1e-16);
        }
}

TEST(Vect3InitTiltAndRotation, FoldsTheTiltAtAHalfTurn)
{
    for (const double rotation : {0.0, 1.0, -2.0, 9.0}) {
        const kmath_vect3 quarter = direction(pi / 2.0, rotation);
        expectNear(direction(3.0 * pi / 2.0, rotation), quarter, 4e-16);
        expectNear(direction(-pi / 2.0, rotation), quarter, 4e-16);
        expectNear(direction(0.25 + 6.0 * pi, rotation), direction(0.25, rotation), 1e-14);
        EXPECT_GT(direction(-0.25, 0.0).x, 0.0);
    }
}

TEST(Vect3InitTiltAndRotation, UsesTheRotationAsItIs)
{
    const double rotation = -25.5;
    const kmath_vect3 r = direction(1.0, rotation);
    EXPECT_EQ(r.x, std::sin(1.0) * std::cos(rotation));
    EXPECT_EQ(r.y, std::sin(1.0) * std::sin(rotation));
}

TEST(Vect3InitTiltAndRotation, GivesNaNForNonFiniteAngles)
{
    for (const double angle : {infinity, -infinity, notANumber}) {
        EXPECT_TRUE(std::isnan(direction(angle, 0.0).z));
        EXPECT_TRUE(std::isnan(direction(1.0, angle).x));
    }
}

TEST(Vect3GetRotation, IsMeasuredFromXTowardsY)
{
    EXPECT_EQ(rotationOf({0.0, 0.0, 5.0}), 0.0);
    EXPECT_EQ(rotationOf({-0.0, 0.0, -5.0}), 0.0);
    EXPECT_EQ(rotationOf({2.0, 0.0, 0.0}), 0.0);
    EXPECT_DOUBLE_EQ(rotationOf({0.0, 3.0, 1.0}), pi / 2.0);
    EXPECT_DOUBLE_EQ(rotationOf({-1.0, 0.0, 0.0}), pi);
    EXPECT_DOUBLE_EQ(rotationOf({0.0, -1.0, 0.0}), 3.0 * pi / 2.0);
}

TEST(Vect3GetRotation, NeverReachesAFullTurn)
{
    for (const double y : {-1e-100, -1e-17, -1e-16, -1e-15, -0.0, 0.0, 1e-17}) {
        EXPECT_GE(rotationOf({1.0, y, 0.0}), 0.0) << y;
        EXPECT_LT(rotationOf({1.0, y, 0.0}), 2.0 * pi) << y;
    }
}

TEST(Vect3GetTilt, IsMeasuredFromZ)
{
    EXPECT_EQ(tiltOf({0.0, 0.0, 5.0}), 0.0);
    EXPECT_DOUBLE_EQ(tiltOf({0.0, 0.0, -0.1}), pi);
    EXPECT_DOUBLE_EQ(tiltOf({1.0, -1.0, 0.0}), pi / 2.0);
    EXPECT_NEAR(tiltOf({1.0, 0.0, 1.0}), pi / 4.0, 4e-16);
}

TEST(Vect3GetTiltAndRotation, InvertsTheDirection)
{
    for (const double tilt : {0.1, 1.0, 2.0, 3.0})
        for (const double rotation : {0.0, 1.0, 3.2, 6.2}) {
            const kmath_vect3 v = direction(tilt, rotation);
            radian t, phi;
            EXPECT_EQ(kmath_vect3_getTiltAndRotation(&v, &t, &phi), KMATH_OK);
            EXPECT_NEAR(t.value, tilt, 4e-15);
            EXPECT_NEAR(phi.value, rotation, 4e-15);
        }
}

TEST(Vect3GetTiltAndRotation, TakesNullForAnUnwantedAngle)
{
    const AssertionRecorder recorder;
    const kmath_vect3 v = {0.0, 1.0, 0.0};
    radian angle = {notANumber};
    EXPECT_EQ(kmath_vect3_getTiltAndRotation(&v, nullptr, &angle), KMATH_OK);
    EXPECT_DOUBLE_EQ(angle.value, pi / 2.0);
    angle.value = notANumber;
    EXPECT_EQ(kmath_vect3_getTiltAndRotation(&v, &angle, nullptr), KMATH_OK);
    EXPECT_DOUBLE_EQ(angle.value, pi / 2.0);
    EXPECT_EQ(kmath_vect3_getTiltAndRotation(&v, nullptr, nullptr), KMATH_OK);
    EXPECT_TRUE(recorder.lines().empty());
}

TEST(Vect3GetTiltAndRotation, WritesNothingForAZeroVector)
{
    const kmath_vect3 zero = {0.0, 0.0, 0.0};
    radian t = {42.0}, phi = {43.0};
    EXPECT_EQ(kmath_vect3_getTiltAndRotation(&zero, &t, &phi), KMATH_ERR_ZERO_LENGTH);
    EXPECT_EQ(kmath_vect3_getTilt(&zero, &t), KMATH_ERR_ZERO_LENGTH);
    EXPECT_EQ(kmath_vect3_getRotation(&zero, &phi), KMATH_ERR_ZERO_LENGTH);
    EXPECT_EQ(t.value, 42.0);
    EXPECT_EQ(phi.value, 43.0);
}

TEST(Vect3GetAngleBetweenVectors, LiesBetweenZeroAndAHalfTurn)
{
    EXPECT_NEAR(angleBetween({2.0, 0.0, 0.0}, {0.0, 0.0, -7.0}), pi / 2.0, 1e-15);
    EXPECT_NEAR(angleBetween({1.0, 0.0, 0.0}, {5.0, 5.0, 0.0}), pi / 4.0, 1e-15);
    EXPECT_NEAR(angleBetween({1.0, 0.0, 0.0}, {-1.0, std::sqrt(3.0), 0.0}), 2.0 * pi / 3.0, 1e-15);
}

// Rounding carries some of these products beyond ±1, where a plain arc cosine is NaN.
TEST(Vect3GetAngleBetweenVectors, ToleratesARoundedCosineBeyondOne)
{
    std::mt19937_64 generator(4);
    std::uniform_real_distribution<double> uniform(-10.0, 10.0);
    for (int repeat = 0; repeat < 1000; ++repeat) {
        const kmath_vect3 p = {uniform(generator), uniform(generator), uniform(generator)};
        const kmath_vect3 opposite = {-p.x, -p.y, -p.z};
        EXPECT_NEAR(angleBetween(p, p), 0.0, 1e-7);
        EXPECT_NEAR(angleBetween(p, opposite), pi, 1e-7);
    }
}

TEST(Vect3GetAngleBetweenVectors, RefusesAZeroVectorOnEitherSide)
{
    const kmath_vect3 zero = {0.0, 0.0, 0.0};
    radian angle = {42.0};
    EXPECT_EQ(kmath_vect3_getAngleBetweenVectors(&zero, &a, &angle), KMATH_ERR_ZERO_LENGTH);
    EXPECT_EQ(kmath_vect3_getAngleBetweenVectors(&a, &zero, &angle), KMATH_ERR_ZERO_LENGTH);
    EXPECT_EQ(angle.value, 42.0);
}

TEST(Vect3GetAngleBetween3Points, IsTheAngleAtTheVertex)
{
    const kmath_vect3 p1 = {1.0, 3.0, 2.0}, vertex = {1.0, 1.0, 2.0}, p3 = {4.0, 1.0, 2.0};
    radian angle;
    EXPECT_EQ(kmath_vect3_getAngleBetween3Points(&p1, &vertex, &p3, &angle), KMATH_OK);
    EXPECT_NEAR(angle.value, pi / 2.0, 1e-15);
    const kmath_vect3 diagonal = {2.0, 2.0, 2.0};
    EXPECT_EQ(kmath_vect3_getAngleBetween3Points(&diagonal, &vertex, &p3, &angle), KMATH_OK);
    EXPECT_NEAR(angle.value, pi / 4.0, 1e-15);
}

TEST(Vect3GetAngleBetween3Points, RefusesAPointOnTheVertex)
{
    radian angle = {42.0};
    EXPECT_EQ(kmath_vect3_getAngleBetween3Points(&a, &a, &b, &angle), KMATH_ERR_ZERO_LENGTH);
    EXPECT_EQ(kmath_vect3_getAngleBetween3Points(&b, &a, &a, &angle), KMATH_ERR_ZERO_LENGTH);
    EXPECT_EQ(angle.value, 42.0);
}

TEST(Vect3GetSignedDistanceToPointAlongDirection, IsPositiveAhead)
{
    const kmath_vect3 from = {1.0, 2.0, 3.0}, ahead = {1.0, 2.0, 8.0}, up = {0.0, 0.0, 0.25};
    double distance;
    EXPECT_EQ(kmath_vect3_getSignedDistanceToPointAlongDirection(&from, &ahead, &up, &distance),
              KMATH_OK);
    EXPECT_EQ(distance, 5.0);
    EXPECT_EQ(kmath_vect3_getSignedDistanceToPointAlongDirection(&ahead, &from, &up, &distance),
              KMATH_OK);
    EXPECT_EQ(distance, -5.0);
    const kmath_vect3 aside = {9.0, -4.0, 3.0};
    EXPECT_EQ(kmath_vect3_getSignedDistanceToPointAlongDirection(&from, &aside, &up, &distance),
              KMATH_OK);
    EXPECT_EQ(distance, 0.0);
}

TEST(Vect3GetSignedDistanceToPointAlongDirection, RefusesADirectionOfZero)
{
    const kmath_vect3 zero = {0.0, 0.0, 0.0};
    double distance = 42.0;
    EXPECT_EQ(kmath_vect3_getSignedDistanceToPointAlongDirection(&a, &b, &zero, &distance),
              KMATH_ERR_ZERO_LENGTH);
    EXPECT_EQ(distance, 42.0);
}

TEST(Vect3, AssertsEveryPointerOfTheCheckedOperations)
{
    kmath_vect3 r;
    std::uint32_t equal;
    radian angle = {1.0};
    double distance;
    const kmath_vect3 *none = nullptr;
    EXPECT_NE(assertedLine([&] { kmath_vect3_init(nullptr, 0, 0, 0); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_initAdd(nullptr, &a, &b); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_initAdd(&r, none, &b); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_initAdd(&r, &a, none); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_initSubtract(nullptr, &a, &b); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_initSubtract(&r, none, &b); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_initSubtract(&r, &a, none); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_initScale(nullptr, &a, 1.0); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_initScale(&r, none, 1.0); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_compareEqual(none, &b, &equal); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_compareEqual(&a, none, &equal); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_compareEqual(&a, &b, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_epsilonEqual(none, &b, 1.0, &equal); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_epsilonEqual(&a, none, 1.0, &equal); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_epsilonEqual(&a, &b, 1.0, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_initTiltAndRotation(nullptr, &angle, &angle); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_initTiltAndRotation(&r, nullptr, &angle); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_initTiltAndRotation(&r, &angle, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_getTiltAndRotation(none, &angle, &angle); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_getTilt(none, &angle); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_getRotation(none, &angle); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_getAngleBetweenVectors(none, &b, &angle); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_getAngleBetweenVectors(&a, none, &angle); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_getAngleBetweenVectors(&a, &b, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_getAngleBetween3Points(none, &b, &r, &angle); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_getAngleBetween3Points(&a, none, &r, &angle); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_getAngleBetween3Points(&a, &b, none, &angle); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3_getAngleBetween3Points(&a, &b, &r, nullptr); }), 0);
    const auto along = kmath_vect3_getSignedDistanceToPointAlongDirection;
    EXPECT_NE(assertedLine([&] { along(none, &a, &b, &distance); }), 0);
    EXPECT_NE(assertedLine([&] { along(&a, none, &b, &distance); }), 0);
    EXPECT_NE(assertedLine([&] { along(&a, &b, none, &distance); }), 0);
    EXPECT_NE(assertedLine([&] { along(&a, &b, &a, nullptr); }), 0);
}

TEST(Vect3, ReportsAnotherLineForEachCheck)
{
    kmath_vect3 r;
    EXPECT_NE(assertedLine([&] { kmath_vect3_initAdd(&r, &a, nullptr); }),
              assertedLine([&] { kmath_vect3_initSubtract(&r, &a, nullptr); }));
}

} // namespace
