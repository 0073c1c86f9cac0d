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
constexpr kmath_vect3F untouched = {-7.25f, 3.5f, 11.0f};

const kmath_vect3F a = {2.385f, -1.75f, 0.625f};
const kmath_vect3F b = {-0.5f, 4.25f, 3.125f};

void expectSame(const kmath_vect3F &actual, const kmath_vect3F &expected)
{
    EXPECT_EQ(actual.x, expected.x);
    EXPECT_EQ(actual.y, expected.y);
    EXPECT_EQ(actual.z, expected.z);
}

float length(const kmath_vect3F &v)
{
    float result = notANumber;
    EXPECT_EQ(kmath_vect3F_getLength(&v, &result), KMATH_OK);
    return result;
}

float dot(const kmath_vect3F &p, const kmath_vect3F &q)
{
    float result = notANumber;
    EXPECT_EQ(kmath_vect3F_dot(&p, &q, &result), KMATH_OK);
    return result;
}

std::uint32_t epsilonEqual(const kmath_vect3F &p, const kmath_vect3F &q, double eps)
{
    std::uint32_t equal = 77;
    EXPECT_EQ(kmath_vect3F_epsilonEqual(&p, &q, eps, &equal), KMATH_OK);
    return equal;
}

std::uint32_t compareEqual(const kmath_vect3F &p, const kmath_vect3F &q)
{
    std::uint32_t equal = 77;
    EXPECT_EQ(kmath_vect3F_compareEqual(&p, &q, &equal), KMATH_OK);
    return equal;
}

// The sum of three products, each rounded to a float, from the first to the last.
float plainSum(const kmath_vect3F &p, const kmath_vect3F &q)
{
    const volatile float first = p.x * q.x, second = p.y * q.y, third = p.z * q.z;
    const volatile float two = first + second;
    return two + third;
}

TEST(Vect3F, IsFilledClearedAndReset)
{
    kmath_vect3F r = untouched;
    EXPECT_EQ(kmath_vect3F_init(&r, 2.385f, -0.5f, 1e30f), KMATH_OK);
    expectSame(r, {2.385f, -0.5f, 1e30f});
    EXPECT_EQ(kmath_vect3F_initClear(&r), KMATH_OK);
    expectSame(r, {0.0f, 0.0f, 0.0f});
    r = untouched;
    EXPECT_EQ(kmath_vect3F_reset(&r), KMATH_OK);
    expectSame(r, {0.0f, 0.0f, 0.0f});
}

TEST(Vect3F, AddsSubtractsAndScalesInFloats)
{
    kmath_vect3F r;
    EXPECT_EQ(kmath_vect3F_initAdd(&r, &a, &b), KMATH_OK);
    expectSame(r, {2.385f + -0.5f, 2.5f, 3.75f});
    EXPECT_EQ(kmath_vect3F_initSubtract(&r, &a, &b), KMATH_OK);
    expectSame(r, {2.385f + 0.5f, -6.0f, -2.5f});
    EXPECT_EQ(kmath_vect3F_initScale(&r, &a, -2.0f), KMATH_OK);
    expectSame(r, {-4.77f, 3.5f, -1.25f});

    const kmath_vect3F large = {0x1p24f, 1.0f, 1e38f}, small = {1.0f, 1.0f, 0.0f};
    kmath_vect3F_initAdd(&r, &large, &small);
    EXPECT_EQ(r.x, 0x1p24f) << "the one is below the last place of a float";
    kmath_vect3F_initScale(&r, &large, 10.0f);
    EXPECT_EQ(r.z, infinity);
}

TEST(Vect3F, MayHoldTheResultInAnOperand)
{
    kmath_vect3F r = a;
    kmath_vect3F_initAdd(&r, &r, &r);
    expectSame(r, {4.77f, -3.5f, 1.25f});
    r = b;
    kmath_vect3F_initSubtract(&r, &a, &r);
    expectSame(r, {2.385f + 0.5f, -6.0f, -2.5f});
    r = a;
    kmath_vect3F_initScale(&r, &r, 2.0f);
    expectSame(r, {4.77f, -3.5f, 1.25f});
    r = {0.0f, -3.0f, 4.0f};
    kmath_vect3F_getUnit(&r, &r);
    expectSame(r, {0.0f, -0.6f, 0.8f});
}

TEST(Vect3F, SumsInFloatsFromTheFirstComponentToTheLast)
{
    const kmath_vect3F ones = {1.0f, 1.0f, 1.0f};
    EXPECT_EQ(dot({0x1p24f, 1.0f, 1.0f}, ones), 0x1p24f);
    EXPECT_EQ(dot({1.0f, 1.0f, 0x1p24f}, ones), 0x1p24f + 2.0f);

    std::mt19937_64 generator(3);
    std::uniform_real_distribution<float> uniform(-10.0f, 10.0f);
    for (int repeat = 0; repeat < 1000; ++repeat) {
        const kmath_vect3F p = {uniform(generator), uniform(generator), uniform(generator)};
        const kmath_vect3F q = {uniform(generator), uniform(generator), uniform(generator)};
        EXPECT_EQ(dot(p, q), plainSum(p, q));
        EXPECT_EQ(length(p), sqrtf(plainSum(p, p)));
    }
}

TEST(Vect3FGetLength, OverflowsAndUnderflowsWithTheFloats)
{
    EXPECT_EQ(length({2.0f, -3.0f, 6.0f}), 7.0f);
    EXPECT_EQ(length({1e20f, 0.0f, 0.0f}), infinity);
    EXPECT_EQ(length({0.0f, 1e-30f, 0.0f}), 0.0f);
    EXPECT_TRUE(std::isnan(length({notANumber, 0.0f, 0.0f})));
}

TEST(Vect3FGetDistance, IsTheLengthOfTheDifference)
{
    const kmath_vect3F p = {1.0f, 2.0f, 3.0f}, q = {3.0f, -1.0f, 9.0f};
    float distance;
    EXPECT_EQ(kmath_vect3F_getDistance(&p, &q, &distance), KMATH_OK);
    EXPECT_EQ(distance, 7.0f);
}

TEST(Vect3FGetUnit, FormsTheReciprocalInDouble)
{
    const kmath_vect3F v = {2.0f, -3.0f, 6.0f};
    kmath_vect3F r;
    EXPECT_EQ(kmath_vect3F_getUnit(&v, &r), KMATH_OK);
    const double reciprocal = 1.0 / 7.0;
    expectSame(r, {static_cast<float>(2.0 * reciprocal), static_cast<float>(-3.0 * reciprocal),
                   static_cast<float>(6.0 * reciprocal)});
    const volatile float rounded = 1.0f / 7.0f;
    EXPECT_NE(r.z, 6.0f * rounded) << "the case does not tell a double reciprocal from a float";
}

TEST(Vect3FGetUnit, FormsTheLengthInFloats)
{
    const kmath_vect3F v = {1.0f, 2.0f, 3.0f};
    kmath_vect3F r;
    EXPECT_EQ(kmath_vect3F_getUnit(&v, &r), KMATH_OK);
    const double reciprocal = 1.0 / static_cast<double>(sqrtf(14.0f));
    expectSame(r, {static_cast<float>(reciprocal), static_cast<float>(2.0 * reciprocal),
                   static_cast<float>(3.0 * reciprocal)});
}

TEST(Vect3FGetUnit, RefusesALengthOfZero)
{
    for (const kmath_vect3F &v : {kmath_vect3F{0.0f, -0.0f, 0.0f}, kmath_vect3F{1e-30f, 0.0f, 0.0f},
                                  kmath_vect3F{0.0f, 0.0f, 1e-45f}}) {
        kmath_vect3F r = untouched;
        EXPECT_EQ(kmath_vect3F_getUnit(&v, &r), KMATH_ERR_ZERO_LENGTH);
        expectSame(r, untouched);
    }
}

TEST(Vect3FGetUnit, FollowsTheArithmeticForHugeAndNonFiniteVectors)
{
    kmath_vect3F r;
    const kmath_vect3F huge = {1e30f, 0.0f, 0.0f};
    EXPECT_EQ(kmath_vect3F_getUnit(&huge, &r), KMATH_OK);
    expectSame(r, {0.0f, 0.0f, 0.0f});
    const kmath_vect3F undefined = {1.0f, notANumber, 0.0f};
    EXPECT_EQ(kmath_vect3F_getUnit(&undefined, &r), KMATH_OK);
    EXPECT_TRUE(std::isnan(r.x) && std::isnan(r.y) && std::isnan(r.z));
}

TEST(Vect3FCross, IsRightHandedAndPerpendicular)
{
    const kmath_vect3F x = {1.0f, 0.0f, 0.0f}, y = {0.0f, 1.0f, 0.0f};
    kmath_vect3F r;
    EXPECT_EQ(kmath_vect3F_cross(&x, &y, &r), KMATH_OK);
    expectSame(r, {0.0f, 0.0f, 1.0f});
    const kmath_vect3F p = {1.0f, 2.0f, 3.0f}, q = {-4.0f, 0.5f, 2.0f};
    kmath_vect3F_cross(&p, &q, &r);
    expectSame(r, {2.5f, -14.0f, 8.5f});
}

TEST(Vect3FCompareEqual, IsExactInFloats)
{
    EXPECT_EQ(compareEqual(a, a), 1u);
    for (int i = 0; i < 3; ++i) {
        kmath_vect3F other = a;
        float &component = i == 0 ? other.x : i == 1 ? other.y : other.z;
        component = std::nextafter(component, 10.0f);
        EXPECT_EQ(compareEqual(a, other), 0u) << i;
    }
    EXPECT_EQ(compareEqual({0.0f, 0.0f, 0.0f}, {-0.0f, -0.0f, -0.0f}), 1u);
    EXPECT_EQ(compareEqual({notANumber, 0.0f, 0.0f}, {notANumber, 0.0f, 0.0f}), 0u);
}

TEST(Vect3FEpsilonEqual, ExcludesItsBound)
{
    EXPECT_EQ(epsilonEqual({3.0f, 0.0f, 0.0f}, {0.0f, 4.0f, 0.0f}, 5.0), 0u);
    EXPECT_EQ(epsilonEqual({3.0f, 0.0f, 0.0f}, {0.0f, 4.0f, 0.0f}, std::nextafter(5.0, 6.0)), 1u)
        << "the tolerance is squared in double";
}

TEST(Vect3FEpsilonEqual, HasNoExceptionForADistanceOfZero)
{
    EXPECT_EQ(epsilonEqual(a, a, 0.0), 0u);
    EXPECT_EQ(epsilonEqual(a, a, 1e-160), 1u);
    EXPECT_EQ(epsilonEqual(a, a, 1e-170), 0u) << "the square of the tolerance underflows";
    EXPECT_EQ(epsilonEqual(a, a, std::numeric_limits<double>::quiet_NaN()), 0u);
}

TEST(Vect3FEpsilonEqual, SquaresTheDistanceInFloats)
{
    // 1e-30² underflows as a float, though not as a double.
    EXPECT_EQ(epsilonEqual({1e-30f, 0.0f, 0.0f}, {0.0f, 0.0f, 0.0f}, 1e-40), 1u);
    // 1e20² overflows as a float, though not as a double.
    EXPECT_EQ(epsilonEqual({1e20f, 0.0f, 0.0f}, {0.0f, 0.0f, 0.0f}, 1e30), 0u);
    EXPECT_EQ(epsilonEqual({notANumber, 0.0f, 0.0f}, {notANumber, 0.0f, 0.0f}, 1.0), 0u);
}

TEST(Vect3FEpsilonEqual, SquaresTheToleranceInDouble)
{
    int below = 0;
    for (float eps = 0.1f; eps < 2.0f; eps += 0.0625f) {
        const double exact = static_cast<double>(eps) * static_cast<double>(eps);
        const bool roundsDown = static_cast<double>(static_cast<float>(exact)) < exact;
        below += roundsDown;
        EXPECT_EQ(epsilonEqual({0.0f, eps, 0.0f}, {0.0f, 0.0f, 0.0f}, static_cast<double>(eps)),
                  roundsDown ? 1u : 0u)
            << eps;
    }
    EXPECT_GT(below, 5);
}

TEST(Vect3F, AssertsEveryPointerOfTheCheckedOperations)
{
    kmath_vect3F r;
    std::uint32_t equal;
    EXPECT_NE(assertedLine([&] { kmath_vect3F_init(nullptr, 0.0f, 0.0f, 0.0f); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3F_initAdd(nullptr, &a, &b); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3F_initAdd(&r, nullptr, &b); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3F_initAdd(&r, &a, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3F_initSubtract(nullptr, &a, &b); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3F_initSubtract(&r, nullptr, &b); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3F_initSubtract(&r, &a, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3F_initScale(nullptr, &a, 1.0f); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3F_initScale(&r, nullptr, 1.0f); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3F_compareEqual(nullptr, &b, &equal); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3F_compareEqual(&a, nullptr, &equal); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3F_compareEqual(&a, &b, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3F_epsilonEqual(nullptr, &b, 1.0, &equal); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3F_epsilonEqual(&a, nullptr, 1.0, &equal); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect3F_epsilonEqual(&a, &b, 1.0, nullptr); }), 0);
}

} // namespace
