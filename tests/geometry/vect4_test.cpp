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

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

const kmath_vect4 a = {2.385, -1.75, 0.625, 8.0};
const kmath_vect4 b = {-0.5, 4.25, 3.125, -2.0};

void expectSame(const kmath_vect4 &actual, const kmath_vect4 &expected)
{
    EXPECT_EQ(actual.x, expected.x);
    EXPECT_EQ(actual.y, expected.y);
    EXPECT_EQ(actual.z, expected.z);
    EXPECT_EQ(actual.w, expected.w);
}

double dot(const kmath_vect4 &p, const kmath_vect4 &q)
{
    double product = notANumber;
    EXPECT_EQ(kmath_vect4_dot(&p, &q, &product), KMATH_OK);
    return product;
}

std::uint32_t epsilonEqual(const kmath_vect4 &p, const kmath_vect4 &q, double eps)
{
    std::uint32_t equal = 77;
    EXPECT_EQ(kmath_vect4_epsilonEqual(&p, &q, eps, &equal), KMATH_OK);
    return equal;
}

std::uint32_t compareEqual(const kmath_vect4 &p, const kmath_vect4 &q)
{
    std::uint32_t equal = 77;
    EXPECT_EQ(kmath_vect4_compareEqual(&p, &q, &equal), KMATH_OK);
    return equal;
}

TEST(Vect4, IsFilledAndCleared)
{
    kmath_vect4 r = a;
    EXPECT_EQ(kmath_vect4_init(&r, 2.385, -0.5, 1e300, 7.0), KMATH_OK);
    expectSame(r, {2.385, -0.5, 1e300, 7.0});
    EXPECT_EQ(kmath_vect4_initClear(&r), KMATH_OK);
    expectSame(r, {0.0, 0.0, 0.0, 0.0});
}

TEST(Vect4, SubtractsAlsoIntoAnOperand)
{
    kmath_vect4 r;
    EXPECT_EQ(kmath_vect4_initSubtract(&r, &a, &b), KMATH_OK);
    expectSame(r, {2.385 + 0.5, -6.0, -2.5, 10.0});
    r = b;
    kmath_vect4_initSubtract(&r, &a, &r);
    expectSame(r, {2.385 + 0.5, -6.0, -2.5, 10.0});
    r = a;
    kmath_vect4_initSubtract(&r, &r, &b);
    expectSame(r, {2.385 + 0.5, -6.0, -2.5, 10.0});
}

TEST(Vect4Dot, SumsFromTheFirstComponentToTheLast)
{
    EXPECT_EQ(dot({1.0, 2.0, 3.0, 4.0}, {5.0, -6.0, 7.0, 8.0}), 46.0);
    const kmath_vect4 ones = {1.0, 1.0, 1.0, 1.0};
    EXPECT_EQ(dot({0x1p53, 1.0, 1.0, 1.0}, ones), 0x1p53);
    EXPECT_EQ(dot({1.0, 1.0, 0x1p53, 0.0}, ones), 0x1p53 + 2.0);
    EXPECT_EQ(dot({1.0, 1.0, 1.0, 0x1p53}, ones), 0x1p53 + 4.0) << "3 is halfway, to even";

    std::mt19937_64 generator(3);
    std::uniform_real_distribution<double> uniform(-10.0, 10.0);
    for (int repeat = 0; repeat < 1000; ++repeat) {
        const kmath_vect4 p = {uniform(generator), uniform(generator), uniform(generator),
                               uniform(generator)};
        const kmath_vect4 q = {uniform(generator), uniform(generator), uniform(generator),
                               uniform(generator)};
        volatile double sum = p.x * q.x;
        for (const volatile double term : {p.y * q.y, p.z * q.z, p.w * q.w})
            sum = sum + term;
        EXPECT_EQ(dot(p, q), sum);
    }
}

TEST(Vect4Dot, FollowsTheArithmeticForNonFiniteVectors)
{
    EXPECT_EQ(dot({1e200, 0.0, 0.0, 0.0}, {1e200, 0.0, 0.0, 0.0}), infinity);
    EXPECT_TRUE(std::isnan(dot({infinity, 0.0, 0.0, 0.0}, {0.0, 0.0, 0.0, 0.0})));
}

TEST(Vect4CompareEqual, IsExact)
{
    EXPECT_EQ(compareEqual(a, a), 1u);
    for (double kmath_vect4::*component :
         {&kmath_vect4::x, &kmath_vect4::y, &kmath_vect4::z, &kmath_vect4::w}) {
        kmath_vect4 other = a;
        other.*component = std::nextafter(other.*component, 10.0);
        EXPECT_EQ(compareEqual(a, other), 0u);
        other.*component = notANumber;
        EXPECT_EQ(compareEqual(other, other), 0u);
    }
    EXPECT_EQ(compareEqual({0.0, 0.0, 0.0, 0.0}, {-0.0, -0.0, -0.0, -0.0}), 1u);
}

TEST(Vect4EpsilonEqual, ExcludesItsBoundButNotADistanceOfZero)
{
    const kmath_vect4 origin = {0.0, 0.0, 0.0, 0.0};
    EXPECT_EQ(epsilonEqual({1.0, 1.0, 1.0, 1.0}, origin, 2.0), 0u);
    EXPECT_EQ(epsilonEqual({1.0, 1.0, 1.0, 1.0}, origin, std::nextafter(2.0, 3.0)), 1u);
    EXPECT_EQ(epsilonEqual({0.0, 0.0, 0.0, 2.0}, origin, 1.5), 0u);
    EXPECT_EQ(epsilonEqual(a, a, 0.0), 1u);
    EXPECT_EQ(epsilonEqual(a, a, notANumber), 1u);
    EXPECT_EQ(epsilonEqual({notANumber, 0.0, 0.0, 0.0}, origin, infinity), 0u);
}

TEST(Vect4, AssertsEveryPointerOfTheCheckedOperations)
{
    kmath_vect4 r;
    std::uint32_t equal;
    EXPECT_NE(assertedLine([&] { kmath_vect4_init(nullptr, 0.0, 0.0, 0.0, 0.0); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect4_initSubtract(nullptr, &a, &b); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect4_initSubtract(&r, nullptr, &b); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect4_initSubtract(&r, &a, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect4_compareEqual(nullptr, &b, &equal); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect4_compareEqual(&a, nullptr, &equal); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect4_compareEqual(&a, &b, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect4_epsilonEqual(nullptr, &b, 1.0, &equal); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect4_epsilonEqual(&a, nullptr, 1.0, &equal); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect4_epsilonEqual(&a, &b, 1.0, nullptr); }), 0);
}

} // namespace
