#include "support/services.hpp"

#include <kmath/vectors.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

using support::assertedLine;

namespace
{

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr kmath_vect6F untouched = {{-7.25f, 3.5f, 11.0f, 1.0f, 2.0f, 3.0f}};
constexpr kmath_vect6F origin = {};

const kmath_vect6F a = {{2.385f, -1.75f, 0.625f, 8.0f, 0.5f, -3.0f}};
const kmath_vect6F b = {{-0.5f, 4.25f, 3.125f, -2.0f, 1.5f, 4.0f}};
const kmath_vect6F difference = {{2.385f + 0.5f, -6.0f, -2.5f, 10.0f, -1.0f, -7.0f}};

void expectSame(const kmath_vect6F &actual, const kmath_vect6F &expected)
{
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(actual.v[i], expected.v[i]) << i;
}

float length(const kmath_vect6F &v)
{
    float result = notANumber;
    EXPECT_EQ(kmath_vect6F_getLength(&v, &result), KMATH_OK);
    return result;
}

float dot(const kmath_vect6F &p, const kmath_vect6F &q)
{
    float result = notANumber;
    EXPECT_EQ(kmath_vect6F_dot(&p, &q, &result), KMATH_OK);
    return result;
}

std::uint32_t epsilonEqual(const kmath_vect6F &p, const kmath_vect6F &q, float eps)
{
    std::uint32_t equal = 77;
    EXPECT_EQ(kmath_vect6F_epsilonEqual(&p, &q, eps, &equal), KMATH_OK);
    return equal;
}

std::uint32_t compareEqual(const kmath_vect6F &p, const kmath_vect6F &q)
{
    std::uint32_t equal = 77;
    EXPECT_EQ(kmath_vect6F_compareEqual(&p, &q, &equal), KMATH_OK);
    return equal;
}

// The sum of six products, each rounded to a float, from the first to the last.
float plainSum(const kmath_vect6F &p, const kmath_vect6F &q)
{
    volatile float sum = p.v[0] * q.v[0];
    for (int i = 1; i < 6; ++i) {
        const volatile float term = p.v[i] * q.v[i];
        sum = sum + term;
    }
    return sum;
}

TEST(Vect6F, IsFilledAndCleared)
{
    kmath_vect6F r = untouched;
    EXPECT_EQ(kmath_vect6F_init(&r, 2.385f, -0.5f, 1e30f, 4.0f, 5.0f, 6.0f), KMATH_OK);
    expectSame(r, {{2.385f, -0.5f, 1e30f, 4.0f, 5.0f, 6.0f}});
    EXPECT_EQ(kmath_vect6F_initClear(&r), KMATH_OK);
    expectSame(r, origin);
}

TEST(Vect6F, SubtractsAlsoIntoAnOperand)
{
    kmath_vect6F r;
    EXPECT_EQ(kmath_vect6F_initSubtract(&r, &a, &b), KMATH_OK);
    expectSame(r, difference);
    r = b;
    kmath_vect6F_initSubtract(&r, &a, &r);
    expectSame(r, difference);
    r = a;
    kmath_vect6F_initSubtract(&r, &r, &b);
    expectSame(r, difference);
}

TEST(Vect6F, SumsInFloatsFromTheFirstComponentToTheLast)
{
    const kmath_vect6F ones = {{1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f}};
    EXPECT_EQ(dot({{0x1p24f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f}}, ones), 0x1p24f);
    EXPECT_EQ(dot({{1.0f, 1.0f, 1.0f, 1.0f, 0x1p24f, 1.0f}}, ones), 0x1p24f + 4.0f);

    std::mt19937_64 generator(3);
    std::uniform_real_distribution<float> uniform(-10.0f, 10.0f);
    for (int repeat = 0; repeat < 1000; ++repeat) {
        kmath_vect6F p, q;
        for (int i = 0; i < 6; ++i) {
            p.v[i] = uniform(generator);
            q.v[i] = uniform(generator);
        }
        EXPECT_EQ(dot(p, q), plainSum(p, q));
        EXPECT_EQ(length(p), sqrtf(plainSum(p, p)));
    }
}

TEST(Vect6FGetLength, OverflowsAndUnderflowsWithTheFloats)
{
    EXPECT_EQ(length({{1.0f, -2.0f, 4.0f, 10.0f, -20.0f, 0.0f}}), sqrtf(521.0f));
    EXPECT_EQ(length({{0.0f, 0.0f, 0.0f, 0.0f, 3.0f, -4.0f}}), 5.0f);
    EXPECT_EQ(length({{0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1e20f}}), infinity);
    EXPECT_EQ(length({{0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1e-30f}}), 0.0f);
    EXPECT_TRUE(std::isnan(length({{0.0f, 0.0f, 0.0f, 0.0f, 0.0f, notANumber}})));
}

TEST(Vect6FGetDistance, IsTheLengthOfTheDifference)
{
    float distance;
    EXPECT_EQ(kmath_vect6F_getDistance(&a, &b, &distance), KMATH_OK);
    EXPECT_EQ(distance, length(difference));
    const kmath_vect6F p = {{0.0f, 1.0f, 0.0f, 5.0f, 0.0f, 2.0f}};
    const kmath_vect6F q = {{0.0f, -2.0f, 0.0f, 5.0f, 0.0f, 6.0f}};
    EXPECT_EQ(kmath_vect6F_getDistance(&p, &q, &distance), KMATH_OK);
    EXPECT_EQ(distance, 5.0f);
}

TEST(Vect6FGetUnit, HasUnitLengthAlsoInPlace)
{
    kmath_vect6F r = {{0.0f, 3.0f, 0.0f, 0.0f, -4.0f, 0.0f}};
    EXPECT_EQ(kmath_vect6F_getUnit(&r, &r), KMATH_OK);
    expectSame(r, {{0.0f, 0.6f, 0.0f, 0.0f, -0.8f, 0.0f}});
    EXPECT_EQ(kmath_vect6F_getUnit(&a, &r), KMATH_OK);
    EXPECT_NEAR(length(r), 1.0f, 2e-7f);
    EXPECT_LT(r.v[5], 0.0f);
}

TEST(Vect6FGetUnit, FormsTheReciprocalInDouble)
{
    const kmath_vect6F v = {{2.0f, 0.0f, -3.0f, 0.0f, 6.0f, 0.0f}};
    kmath_vect6F r;
    EXPECT_EQ(kmath_vect6F_getUnit(&v, &r), KMATH_OK);
    const double reciprocal = 1.0 / 7.0;
    expectSame(r,
               {{static_cast<float>(2.0 * reciprocal), 0.0f, static_cast<float>(-3.0 * reciprocal),
                 0.0f, static_cast<float>(6.0 * reciprocal), 0.0f}});
    const volatile float rounded = 1.0f / 7.0f;
    EXPECT_NE(r.v[4], 6.0f * rounded) << "the case does not tell a double reciprocal from a float";
}

TEST(Vect6FGetUnit, RefusesALengthOfZero)
{
    for (const float component : {0.0f, -0.0f, 1e-30f}) {
        const kmath_vect6F v = {{0.0f, 0.0f, 0.0f, 0.0f, 0.0f, component}};
        kmath_vect6F r = untouched;
        EXPECT_EQ(kmath_vect6F_getUnit(&v, &r), KMATH_ERR_ZERO_LENGTH);
        expectSame(r, untouched);
    }
}

TEST(Vect6FGetUnit, FollowsTheArithmeticForNonFiniteVectors)
{
    const kmath_vect6F v = {{1.0f, 0.0f, notANumber, 0.0f, 0.0f, 0.0f}};
    kmath_vect6F r;
    EXPECT_EQ(kmath_vect6F_getUnit(&v, &r), KMATH_OK);
    for (const float component : r.v)
        EXPECT_TRUE(std::isnan(component));
}

TEST(Vect6FCompareEqual, IsExactInFloats)
{
    EXPECT_EQ(compareEqual(a, a), 1u);
    for (int i = 0; i < 6; ++i) {
        kmath_vect6F other = a;
        other.v[i] = std::nextafter(other.v[i], 10.0f);
        EXPECT_EQ(compareEqual(a, other), 0u) << i;
        other.v[i] = notANumber;
        EXPECT_EQ(compareEqual(other, other), 0u) << i;
    }
    EXPECT_EQ(compareEqual(origin, {{-0.0f, -0.0f, -0.0f, -0.0f, -0.0f, -0.0f}}), 1u);
}

TEST(Vect6FEpsilonEqual, ExcludesItsBoundButNotADistanceOfZero)
{
    const kmath_vect6F p = {{1.0f, 1.0f, 1.0f, 0.0f, 0.0f, 1.0f}};
    EXPECT_EQ(epsilonEqual(p, origin, 2.0f), 0u);
    EXPECT_EQ(epsilonEqual(p, origin, std::nextafter(2.0f, 3.0f)), 1u);
    EXPECT_EQ(epsilonEqual(a, a, 0.0f), 1u);
    EXPECT_EQ(epsilonEqual(a, a, notANumber), 1u);
    EXPECT_EQ(epsilonEqual({{notANumber}}, origin, infinity), 0u);
}

TEST(Vect6FEpsilonEqual, SquaresBothSidesInFloats)
{
    EXPECT_EQ(epsilonEqual({{1e-30f}}, origin, 0.0f), 1u) << "the distance underflows";
    EXPECT_EQ(epsilonEqual({{1e-20f}}, origin, 1e-30f), 0u) << "the tolerance underflows";
    EXPECT_EQ(epsilonEqual({{1e18f}}, origin, 1e20f), 1u) << "the tolerance overflows";
    EXPECT_EQ(epsilonEqual({{1e20f}}, origin, 1e30f), 0u) << "both overflow";
}

// The squares of about half of these round down, and would lie below an exact square.
TEST(Vect6FEpsilonEqual, ExcludesItsBoundAsRoundedToAFloat)
{
    for (float eps = 0.1f; eps < 2.0f; eps += 0.0625f)
        EXPECT_EQ(epsilonEqual({{0.0f, eps}}, origin, eps), 0u) << eps;
}

TEST(Vect6F, AssertsEveryPointerOfTheCheckedOperations)
{
    kmath_vect6F r;
    std::uint32_t equal;
    EXPECT_NE(assertedLine([&] { kmath_vect6F_init(nullptr, 0, 0, 0, 0, 0, 0); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect6F_initSubtract(nullptr, &a, &b); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect6F_initSubtract(&r, nullptr, &b); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect6F_initSubtract(&r, &a, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect6F_compareEqual(nullptr, &b, &equal); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect6F_compareEqual(&a, nullptr, &equal); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect6F_compareEqual(&a, &b, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect6F_epsilonEqual(nullptr, &b, 1.0f, &equal); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect6F_epsilonEqual(&a, nullptr, 1.0f, &equal); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect6F_epsilonEqual(&a, &b, 1.0f, nullptr); }), 0);
}

} // namespace
