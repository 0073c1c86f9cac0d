#include "geometry/complex_checks.hpp"
#include "support/services.hpp"

#include <kmath/matrix4.h>

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>

using support::allocationsOf;
using support::assertedLine;

namespace
{

using Extended = std::complex<long double>;

constexpr kmath_complex untouched = {-1.5, 2.5};

Extended extended(const kmath_complex &c) { return {c.re, c.im}; }

kmath_complex quotient(const kmath_complex &n, const kmath_complex &d)
{
    kmath_complex r = untouched;
    EXPECT_EQ(kmath_complex_initDiv(&r, &n, &d), KMATH_OK);
    return r;
}

double magnitude(const kmath_complex &c)
{
    double result = -1.0;
    EXPECT_EQ(kmath_complex_abs(&result, &c), KMATH_OK);
    return result;
}

kmath_complex root(const kmath_complex &c)
{
    kmath_complex r = untouched;
    EXPECT_EQ(kmath_complex_initSqrt(&r, &c), KMATH_OK);
    return r;
}

// The root with Re r ≥ 0; upwards for a negative number with either zero as imaginary part.
Extended principalRoot(const kmath_complex &c)
{
    return std::sqrt(Extended(c.re, c.im == 0.0 ? 0.0 : c.im));
}

void expectParts(const kmath_complex &actual, double re, double im)
{
    EXPECT_EQ(actual.re, re);
    EXPECT_EQ(actual.im, im);
}

// Smith's method as it is written down, each operation rounded.
kmath_complex smith(const kmath_complex &n, const kmath_complex &d)
{
    const bool imaginaryIsLarger = std::fabs(d.im) >= std::fabs(d.re);
    if (imaginaryIsLarger) {
        const volatile double t = d.re / d.im;
        const volatile double tRe = t * d.re, den = tRe + d.im;
        const volatile double p = n.re * t, q = n.im * t;
        const volatile double re = p + n.im, im = q - n.re;
        return {re / den, im / den};
    }
    const volatile double t = d.im / d.re;
    const volatile double imT = d.im * t, den = d.re + imT;
    const volatile double p = n.im * t, q = n.re * t;
    const volatile double re = n.re + p, im = n.im - q;
    return {re / den, im / den};
}

double relativeError(const kmath_complex &actual, const Extended &expected)
{
    return static_cast<double>(std::abs(extended(actual) - expected) / std::abs(expected));
}

TEST(Complex, IsClearedByInitAndReset)
{
    for (const auto clear : {kmath_complex_init, kmath_complex_reset}) {
        kmath_complex c = untouched;
        EXPECT_EQ(clear(&c), KMATH_OK);
        EXPECT_TRUE(sameBits(c, kmath_complex{0.0, 0.0}));
    }
}

TEST(ComplexInitDiv, DividesByImaginaryAndRealNumbers)
{
    expectParts(quotient({1, 0}, {0, 2}), 0.0, -0.5);
    expectParts(quotient({1, 0}, {2, 0}), 0.5, 0.0);
    expectParts(quotient({3, 4}, {1, 2}), 2.2, -0.4);
    expectParts(quotient({5, 10}, {1, 2}), 5.0, 0.0);
    expectParts(quotient({5, 10}, {2, 1}), 4.0, 3.0);
}

TEST(ComplexInitDiv, RefusesZeroOfEitherSignAndLeavesTheResult)
{
    for (const double re : {0.0, -0.0})
        for (const double im : {0.0, -0.0}) {
            const kmath_complex n = {3, 4}, d = {re, im};
            kmath_complex r = untouched;
            EXPECT_EQ(kmath_complex_initDiv(&r, &n, &d), KMATH_ERR_DIVIDE_BY_ZERO);
            EXPECT_EQ(static_cast<std::uint32_t>(KMATH_ERR_DIVIDE_BY_ZERO), 0x80000583u);
            EXPECT_TRUE(sameBits(r, untouched));
        }
    const kmath_complex zero = {0, 0};
    kmath_complex both = zero;
    EXPECT_EQ(kmath_complex_initDiv(&both, &both, &both), KMATH_ERR_DIVIDE_BY_ZERO);
}

TEST(ComplexInitDiv, DividesByTheSmallestNumbers)
{
    expectParts(quotient({smallestDouble, 0}, {smallestDouble, 0}), 1.0, 0.0);
    expectParts(quotient({smallestDouble, 0}, {0, smallestDouble}), 0.0, -1.0);
}

TEST(ComplexInitDiv, HasTheBitsOfSmithsMethod)
{
    RandomRecords random(1);
    for (int repeat = 0; repeat < 20000; ++repeat) {
        const kmath_complex n = random.complex();
        kmath_complex d = random.complex();
        if (repeat % 4 == 1)
            d.im = d.re; // the tie goes to the imaginary part
        if (repeat % 4 == 2)
            d.im = -d.re;
        if (repeat % 4 == 3)
            d = {random.numberOfAnySize(), random.numberOfAnySize()};
        if (d.re != 0.0 || d.im != 0.0) {
            EXPECT_TRUE(sameBits(quotient(n, d), smith(n, d)))
                << n.re << ' ' << n.im << " / " << d.re << ' ' << d.im;
        }
    }
}

TEST(ComplexInitDiv, IsAccurateToAFewRoundings)
{
    RandomRecords random(2);
    for (int repeat = 0; repeat < 20000; ++repeat) {
        const kmath_complex n = random.complex(), d = random.complex();
        EXPECT_LE(relativeError(quotient(n, d), extended(n) / extended(d)), 6.0 * epsilon);
    }
}

TEST(ComplexInitDiv, DoesNotFormTheSquareOfTheDivisor)
{
    expectParts(quotient({1e300, 1e300}, {1e300, 1e300}), 1.0, 0.0);
    expectParts(quotient({1e-300, -1e-300}, {1e-300, 1e-300}), 0.0, -1.0);
    expectParts(quotient({0x1p600, 0}, {0x1p600, 0x1p599}), 0.8, -0.4);
}

TEST(ComplexInitDiv, MayHoldTheResultInAnOperand)
{
    const kmath_complex n = {3.25, -4.5}, d = {1.75, 2.385};
    const kmath_complex expected = smith(n, d);
    kmath_complex r = n;
    EXPECT_EQ(kmath_complex_initDiv(&r, &r, &d), KMATH_OK);
    EXPECT_TRUE(sameBits(r, expected));
    r = d;
    EXPECT_EQ(kmath_complex_initDiv(&r, &n, &r), KMATH_OK);
    EXPECT_TRUE(sameBits(r, expected));
    r = d;
    EXPECT_EQ(kmath_complex_initDiv(&r, &r, &r), KMATH_OK);
    EXPECT_TRUE(sameBits(r, smith(d, d)));
}

TEST(ComplexInitDiv, TakesNaNAndInfiniteNumbersTheWayOfTheFormulas)
{
    RandomRecords random(3);
    for (int repeat = 0; repeat < 2000; ++repeat) {
        const kmath_complex n = {random.anything(), random.anything()};
        const kmath_complex d = {random.anything(), random.anything()};
        if (d.re == 0.0 && d.im == 0.0)
            continue;
        EXPECT_TRUE(sameBits(quotient(n, d), smith(n, d)));
    }
    expectParts(quotient({1, 1}, {infinity, 0}), 0.0, 0.0);
    EXPECT_TRUE(std::isnan(quotient({1, 1}, {notANumber, 0}).re));
    EXPECT_TRUE(std::isnan(quotient({1, 1}, {0, notANumber}).im));
}

TEST(ComplexAbs, IsTheLengthOfTheParts)
{
    EXPECT_EQ(magnitude({3, 4}), 5.0);
    EXPECT_EQ(magnitude({-4, 3}), 5.0);
    EXPECT_EQ(magnitude({5, -12}), 13.0);
    EXPECT_DOUBLE_EQ(magnitude({1, 1}), 1.4142135623730951);
}

TEST(ComplexAbs, IsTheOtherPartWhereOneIsZero)
{
    EXPECT_TRUE(support::sameBits(magnitude({0, 0}), 0.0));
    EXPECT_TRUE(support::sameBits(magnitude({-0.0, -0.0}), 0.0));
    EXPECT_EQ(magnitude({0, -2.385}), 2.385);
    EXPECT_EQ(magnitude({-2.385, -0.0}), 2.385);
    EXPECT_EQ(magnitude({smallestDouble, 0}), smallestDouble);
    EXPECT_EQ(magnitude({0, -largestDouble}), largestDouble);
    EXPECT_EQ(magnitude({0, -infinity}), infinity);
    EXPECT_TRUE(std::isnan(magnitude({0, notANumber})));
    EXPECT_TRUE(std::isnan(magnitude({notANumber, 0})));
}

TEST(ComplexAbs, HasTheBitsOfItsFormula)
{
    RandomRecords random(4);
    for (int repeat = 0; repeat < 20000; ++repeat) {
        kmath_complex c = random.complex();
        if (repeat % 2)
            c = {random.numberOfAnySize(), random.numberOfAnySize()};
        if (repeat % 8 == 0)
            c.im = -c.re;
        const double m = std::max(std::fabs(c.re), std::fabs(c.im));
        const double s = std::min(std::fabs(c.re), std::fabs(c.im));
        if (s == 0.0)
            continue;
        const volatile double ratio = s / m;
        const volatile double square = ratio * ratio;
        const volatile double sum = 1.0 + square;
        EXPECT_EQ(magnitude(c), m * std::sqrt(sum)) << c.re << ' ' << c.im;
    }
}

TEST(ComplexAbs, OverflowsOnlyWhereTheMagnitudeDoes)
{
    EXPECT_DOUBLE_EQ(magnitude({1e300, 1e300}), 1.4142135623730951e300);
    EXPECT_EQ(magnitude({3e307, -4e307}), 5e307);
    EXPECT_DOUBLE_EQ(magnitude({3e-310, 4e-310}), 5e-310);
    EXPECT_EQ(magnitude({largestDouble, 1.0}), largestDouble);
    EXPECT_EQ(magnitude({largestDouble, largestDouble}), infinity);
}

TEST(ComplexAbs, IsInfiniteForOneInfinitePartAndNaNForTwo)
{
    EXPECT_EQ(magnitude({-infinity, 1}), infinity);
    EXPECT_EQ(magnitude({1, infinity}), infinity);
    EXPECT_TRUE(std::isnan(magnitude({infinity, infinity})));
    EXPECT_TRUE(std::isnan(magnitude({infinity, notANumber})));
    EXPECT_TRUE(std::isnan(magnitude({notANumber, 1})));
}

TEST(ComplexAbs, MayWriteIntoItsArgument)
{
    kmath_complex c = {3, 4};
    EXPECT_EQ(kmath_complex_abs(&c.re, &c), KMATH_OK);
    expectParts(c, 5, 4);
    c = {3, 4};
    EXPECT_EQ(kmath_complex_abs(&c.im, &c), KMATH_OK);
    expectParts(c, 3, 5);
}

TEST(ComplexInitSqrt, OfZeroIsZero)
{
    for (const double re : {0.0, -0.0})
        for (const double im : {0.0, -0.0})
            EXPECT_TRUE(sameBits(root({re, im}), kmath_complex{0.0, 0.0}));
}

TEST(ComplexInitSqrt, IsExactOnTheRealAxis)
{
    for (const double x : {1.0, 2.0, 3.0, 4.0, 2.385, 1e-300, 1e300, smallestDouble, 1e-310}) {
        expectParts(root({x, 0}), std::sqrt(x), 0.0);
        expectParts(root({-x, 0}), 0.0, std::sqrt(x));
    }
    expectParts(root({-largestDouble, smallestDouble}), 0.0, std::sqrt(largestDouble));
    expectParts(root({-largestDouble, -smallestDouble}), 0.0, -std::sqrt(largestDouble));
    expectParts(root({largestDouble, 0}), std::sqrt(largestDouble), 0.0);
    expectParts(root({-largestDouble, 0}), 0.0, std::sqrt(largestDouble));
}

TEST(ComplexInitSqrt, TakesTheUpperRootWhateverTheSignOfAZeroImaginaryPart)
{
    expectParts(root({-4, 0.0}), 0.0, 2.0);
    expectParts(root({-4, -0.0}), 0.0, 2.0);
}

TEST(ComplexInitSqrt, FindsTheRootsOfPerfectSquares)
{
    const auto expectRoot = [](const kmath_complex &c, double re, double im) {
        EXPECT_DOUBLE_EQ(root(c).re, re);
        EXPECT_DOUBLE_EQ(root(c).im, im);
    };
    expectRoot({3, 4}, 2, 1);
    expectRoot({3, -4}, 2, -1);
    expectRoot({-3, 4}, 1, 2);
    expectRoot({-3, -4}, 1, -2);
    expectRoot({0, 2}, 1, 1);
    expectRoot({0, -2}, 1, -1);
    expectRoot({-0.0, 8}, 2, 2);
}

TEST(ComplexInitSqrt, IsThePrincipalRootToAFewRoundings)
{
    RandomRecords random(5);
    for (int repeat = 0; repeat < 40000; ++repeat) {
        kmath_complex c = random.complex();
        if (repeat % 2)
            c = {random.numberOfAnySize(), random.numberOfAnySize()};
        if (c.re == 0.0 && c.im == 0.0)
            continue;
        const kmath_complex r = root(c);
        EXPECT_GE(r.re, 0.0);
        EXPECT_LE(relativeError(r, principalRoot(c)), 5.0 * epsilon) << c.re << ' ' << c.im;
    }
}

TEST(ComplexInitSqrt, FollowsItsFormulaOnTheLeft)
{
    RandomRecords random(6);
    for (int repeat = 0; repeat < 10000; ++repeat) {
        const kmath_complex c = {-std::fabs(random.number()), random.number()};
        const long double length = std::abs(extended(c));
        const Extended numerator = {c.im, length - c.re};
        Extended expected =
            std::sqrt(length) * numerator / std::abs(extended(c) - Extended(length));
        if (c.im < 0.0)
            expected = -expected;
        EXPECT_LE(relativeError(root(c), expected), 5.0 * epsilon) << c.re << ' ' << c.im;
    }
}

TEST(ComplexInitSqrt, LosesNothingBesideALargePart)
{
    expectParts(root({1, 1e-300}), 1.0, 5e-301);
    expectParts(root({4, -1e-200}), 2.0, -2.5e-201);
    EXPECT_DOUBLE_EQ(root({-1e300, 1e-10}).re, 5e-161);
    EXPECT_DOUBLE_EQ(root({-1e300, 1e-10}).im, 1e150);
    EXPECT_DOUBLE_EQ(root({1e300, 1e-10}).im, 5e-161);
}

TEST(ComplexInitSqrt, OfEveryFiniteNumberIsFinite)
{
    const double extremes[] = {0.0,    smallestDouble, 3.0 * smallestDouble, 1e-308, 1.0,
                               1e-200, 1e300,          largestDouble};
    for (const double a : extremes)
        for (const double b : extremes)
            for (const double re : {a, -a})
                for (const double im : {b, -b}) {
                    const kmath_complex c = {re, im}, r = root(c);
                    if (re != 0.0 || im != 0.0) {
                        EXPECT_LE(relativeError(r, principalRoot(c)), 5.0 * epsilon)
                            << re << ' ' << im;
                    }
                }
}

TEST(ComplexInitSqrt, MayHoldTheResultInItsArgument)
{
    for (const kmath_complex &c : {kmath_complex{3.5, -2.385}, {-3.5, 2.385}, {-0.0, 0.0}}) {
        kmath_complex r = c;
        EXPECT_EQ(kmath_complex_initSqrt(&r, &r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, root(c)));
    }
}

TEST(ComplexInitSqrt, EndsWithNaNOrInfinityForPartsThatAreNotFinite)
{
    RandomRecords random(7);
    for (int repeat = 0; repeat < 2000; ++repeat) {
        const kmath_complex c = {random.anything(), random.anything()};
        const kmath_complex r = root(c);
        EXPECT_EQ(std::isfinite(c.re) && std::isfinite(c.im),
                  std::isfinite(r.re) && std::isfinite(r.im))
            << c.re << ' ' << c.im;
    }
    expectParts(root({infinity, 1}), infinity, 0.0);
    EXPECT_TRUE(std::isnan(root({notANumber, 0}).re));
    EXPECT_TRUE(std::isnan(root({-1, notANumber}).im));
}

TEST(Vect4c, IsClearedByInitAndReset)
{
    for (const auto clear : {kmath_vect4c_init, kmath_vect4c_reset}) {
        kmath_vect4c v = {{{1, 2}, {3, 4}, {5, 6}, {7, 8}}};
        EXPECT_EQ(clear(&v), KMATH_OK);
        EXPECT_TRUE(sameBits(v, kmath_vect4c{}));
    }
}

TEST(Vect4cInitSubtract, SubtractsComponentByComponentAlsoInPlace)
{
    RandomRecords random(8);
    const kmath_vect4c a = random.vector(), b = random.vector();
    kmath_vect4c expected;
    for (int i = 0; i < 4; ++i)
        expected.v[i] = {a.v[i].re - b.v[i].re, a.v[i].im - b.v[i].im};
    kmath_vect4c r;
    EXPECT_EQ(kmath_vect4c_initSubtract(&r, &a, &b), KMATH_OK);
    EXPECT_TRUE(sameBits(r, expected));
    r = a;
    EXPECT_EQ(kmath_vect4c_initSubtract(&r, &r, &b), KMATH_OK);
    EXPECT_TRUE(sameBits(r, expected));
    r = b;
    EXPECT_EQ(kmath_vect4c_initSubtract(&r, &a, &r), KMATH_OK);
    EXPECT_TRUE(sameBits(r, expected));
    EXPECT_EQ(kmath_vect4c_initSubtract(&r, &a, &a), KMATH_OK);
    EXPECT_TRUE(sameBits(r, kmath_vect4c{}));
}

TEST(Complex, AssertsEveryPointer)
{
    kmath_complex c = {3, 4};
    double length;
    EXPECT_NE(assertedLine([] { kmath_complex_init(nullptr); }), 0);
    EXPECT_NE(assertedLine([] { kmath_complex_reset(nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_complex_initDiv(nullptr, &c, &c); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_complex_initDiv(&c, nullptr, &c); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_complex_initDiv(&c, &c, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_complex_abs(nullptr, &c); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_complex_abs(&length, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_complex_initSqrt(nullptr, &c); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_complex_initSqrt(&c, nullptr); }), 0);
}

TEST(Vect4c, AssertsEveryPointer)
{
    kmath_vect4c v = {};
    EXPECT_NE(assertedLine([] { kmath_vect4c_init(nullptr); }), 0);
    EXPECT_NE(assertedLine([] { kmath_vect4c_reset(nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect4c_initSubtract(nullptr, &v, &v); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect4c_initSubtract(&v, nullptr, &v); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_vect4c_initSubtract(&v, &v, nullptr); }), 0);
}

TEST(Complex, AllocatesNothing)
{
    EXPECT_EQ(allocationsOf([] {
                  quotient({1, 2}, {3, 4});
                  magnitude({1, 2});
                  root({-1, 2});
              }),
              0);
}

} // namespace
