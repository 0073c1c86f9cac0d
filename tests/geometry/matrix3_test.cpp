#include "support/matrices.hpp"
#include "support/services.hpp"

#include <kmath/matrix3.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

using support::allocationsOf;
using support::assertedLine;
using support::Matrix;

namespace
{

constexpr double pi = 3.141592653589793;
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

constexpr double kmath_matrix3::*elements[9] = {
    &kmath_matrix3::m00, &kmath_matrix3::m01, &kmath_matrix3::m02,
    &kmath_matrix3::m10, &kmath_matrix3::m11, &kmath_matrix3::m12,
    &kmath_matrix3::m20, &kmath_matrix3::m21, &kmath_matrix3::m22};

constexpr kmath_matrix3 untouched = {-1.5, 2.5, 3.5, 4.5, -5.5, 6.5, 7.5, 8.5, -9.5};
constexpr kmath_matrix3 identity = {1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0};
constexpr kmath_matrix3 zero = {};

const kmath_matrix3 a = {2.385, -1.0, 0.5, 3.0, 4.25, -2.0, 0.75, 1.5, -6.0};
const kmath_matrix3 b = {1.0, 2.0, -3.0, 0.25, -5.0, 6.0, 7.0, 0.5, 9.0};

double at(const kmath_matrix3 &m, int i, int j) { return m.*elements[3 * i + j]; }
double &at(kmath_matrix3 &m, int i, int j) { return m.*elements[3 * i + j]; }

bool sameBits(const kmath_matrix3 &p, const kmath_matrix3 &q)
{
    for (const auto element : elements)
        if (!support::sameBits(p.*element, q.*element))
            return false;
    return true;
}

void expectSame(const kmath_matrix3 &actual, const kmath_matrix3 &expected)
{
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            EXPECT_EQ(at(actual, i, j), at(expected, i, j)) << i << ' ' << j;
}

void expectNear(const kmath_matrix3 &actual, const kmath_matrix3 &expected, double tolerance)
{
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            EXPECT_NEAR(at(actual, i, j), at(expected, i, j), tolerance) << i << ' ' << j;
}

kmath_matrix3 diagonal(double x, double y, double z) { return {x, 0, 0, 0, y, 0, 0, 0, z}; }

kmath_matrix3 randomMatrix3(std::mt19937_64 &generator)
{
    std::uniform_real_distribution<double> uniform(-10.0, 10.0);
    kmath_matrix3 m;
    for (const auto element : elements)
        m.*element = uniform(generator);
    return m;
}

// One product and two sums after another, each rounded.
double plainSum(double x0, double y0, double x1, double y1, double x2, double y2)
{
    const volatile double first = x0 * y0, second = x1 * y1, third = x2 * y2;
    const volatile double two = first + second;
    return two + third;
}

kmath_matrix3 plainProduct(const kmath_matrix3 &p, const kmath_matrix3 &q)
{
    kmath_matrix3 r;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            at(r, i, j) = plainSum(at(p, i, 0), at(q, 0, j), at(p, i, 1), at(q, 1, j), at(p, i, 2),
                                   at(q, 2, j));
    return r;
}

kmath_vect3 plainProduct(const kmath_matrix3 &m, const kmath_vect3 &v)
{
    return {plainSum(m.m00, v.x, m.m01, v.y, m.m02, v.z),
            plainSum(m.m10, v.x, m.m11, v.y, m.m12, v.z),
            plainSum(m.m20, v.x, m.m21, v.y, m.m22, v.z)};
}

void expectSame(const kmath_vect3 &actual, const kmath_vect3 &expected)
{
    EXPECT_EQ(actual.x, expected.x);
    EXPECT_EQ(actual.y, expected.y);
    EXPECT_EQ(actual.z, expected.z);
}

double determinant(const kmath_matrix3 &m)
{
    double det = notANumber;
    EXPECT_EQ(kmath_matrix3_determinant(&m, &det), KMATH_OK);
    return det;
}

std::uint32_t isIdentity(const kmath_matrix3 &m)
{
    std::uint32_t flag = 77;
    EXPECT_EQ(kmath_matrix3_getIsIdentity(&m, &flag), KMATH_OK);
    return flag;
}

std::uint32_t compareEqual(const kmath_matrix3 &p, const kmath_matrix3 &q)
{
    std::uint32_t equal = 77;
    EXPECT_EQ(kmath_matrix3_compareEqual(&p, &q, &equal), KMATH_OK);
    return equal;
}

std::uint32_t epsilonEqual(const kmath_matrix3 &p, const kmath_matrix3 &q, double eps)
{
    std::uint32_t equal = 77;
    EXPECT_EQ(kmath_matrix3_epsilonEqual(&p, &q, eps, &equal), KMATH_OK);
    return equal;
}

void expectInverse(const kmath_matrix3 &m, const kmath_matrix3 &expected)
{
    kmath_matrix3 r = untouched;
    EXPECT_EQ(kmath_matrix3_getInverse(&m, &r), KMATH_OK);
    for (const auto element : elements)
        EXPECT_DOUBLE_EQ(r.*element, expected.*element);
}

void expectSingular(const kmath_matrix3 &m)
{
    kmath_matrix3 r = untouched;
    EXPECT_EQ(kmath_matrix3_getInverse(&m, &r), KMATH_ERR_SINGULAR);
    EXPECT_TRUE(sameBits(r, untouched));
    EXPECT_EQ(kmath_matrix3_initInverse(&r, &m), KMATH_ERR_SINGULAR);
    EXPECT_TRUE(sameBits(r, untouched));
}

TEST(Matrix3, IsFilledByRows)
{
    kmath_matrix3 r = untouched;
    EXPECT_EQ(kmath_matrix3_init(&r, 1, 2, 3, 4, 5, 6, 7, 8, 9), KMATH_OK);
    expectSame(r, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    EXPECT_EQ(r.m12, 6.0);
}

TEST(Matrix3, HasThreeNamesForTheIdentity)
{
    for (const auto set :
         {kmath_matrix3_initIdentity, kmath_matrix3_setToIdentity, kmath_matrix3_reset}) {
        kmath_matrix3 r = untouched;
        EXPECT_EQ(set(&r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, identity));
    }
}

TEST(Matrix3, IsCleared)
{
    kmath_matrix3 r = untouched;
    EXPECT_EQ(kmath_matrix3_initClear(&r), KMATH_OK);
    EXPECT_TRUE(sameBits(r, zero));
}

TEST(Matrix3InitFromAxes, PutsTheAxesInColumns)
{
    const kmath_vect3 x = {1, 0, 0}, y = {0, 1, 0}, z = {0, 0, 1};
    kmath_matrix3 r;
    EXPECT_EQ(kmath_matrix3_initFromAxes(&r, &x, &y, &z), KMATH_OK);
    expectSame(r, identity);
    EXPECT_EQ(kmath_matrix3_initFromAxes(&r, &y, &z, &x), KMATH_OK);
    expectSame(r, {0, 0, 1, 1, 0, 0, 0, 1, 0});
    const kmath_vect3 p = {1, 2, 3}, q = {4, 5, 6}, s = {7, 8, 9};
    EXPECT_EQ(kmath_matrix3_initFromAxes(&r, &p, &q, &s), KMATH_OK);
    expectSame(r, {1, 4, 7, 2, 5, 8, 3, 6, 9});
}

TEST(Matrix3InitMultiply, HasTheBitsOfThePlainSums)
{
    kmath_matrix3 r;
    EXPECT_EQ(kmath_matrix3_initMultiply(&r, &untouched, &identity), KMATH_OK);
    expectSame(r, untouched);
    std::mt19937_64 generator(1);
    for (int repeat = 0; repeat < 200; ++repeat) {
        const kmath_matrix3 p = randomMatrix3(generator), q = randomMatrix3(generator);
        EXPECT_EQ(kmath_matrix3_initMultiply(&r, &p, &q), KMATH_OK);
        EXPECT_TRUE(sameBits(r, plainProduct(p, q)));
    }
}

TEST(Matrix3InitMultiply, MayHoldTheResultInAnOperand)
{
    kmath_matrix3 r = a;
    kmath_matrix3_initMultiply(&r, &r, &b);
    EXPECT_TRUE(sameBits(r, plainProduct(a, b)));
    r = b;
    kmath_matrix3_initMultiply(&r, &a, &r);
    EXPECT_TRUE(sameBits(r, plainProduct(a, b)));
    r = a;
    kmath_matrix3_initMultiply(&r, &r, &r);
    EXPECT_TRUE(sameBits(r, plainProduct(a, a)));
}

TEST(Matrix3, AddsSubtractsAndScalesElementByElement)
{
    kmath_matrix3 sum, difference, scaled = a;
    EXPECT_EQ(kmath_matrix3_initAdd(&sum, &a, &b), KMATH_OK);
    EXPECT_EQ(kmath_matrix3_initSubtract(&difference, &a, &b), KMATH_OK);
    EXPECT_EQ(kmath_matrix3_scale(&scaled, -3.0), KMATH_OK);
    for (const auto element : elements) {
        EXPECT_EQ(sum.*element, a.*element + b.*element);
        EXPECT_EQ(difference.*element, a.*element - b.*element);
        EXPECT_EQ(scaled.*element, a.*element * -3.0);
    }
    kmath_matrix3 r = b;
    kmath_matrix3_initAdd(&r, &a, &r);
    expectSame(r, sum);
    r = b;
    kmath_matrix3_initSubtract(&r, &a, &r);
    expectSame(r, difference);
}

TEST(Matrix3Transpose, WorksInPlace)
{
    const kmath_matrix3 m = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    kmath_matrix3 r;
    EXPECT_EQ(kmath_matrix3_transpose(&m, &r), KMATH_OK);
    expectSame(r, {1, 4, 7, 2, 5, 8, 3, 6, 9});
    EXPECT_EQ(kmath_matrix3_transpose(&r, &r), KMATH_OK);
    expectSame(r, m);
}

TEST(Matrix3Multv, MapsAColumnAlsoInPlace)
{
    const kmath_matrix3 m = {1, 2, 3, 4, 5, 6, 7, 8, 10};
    kmath_vect3 v = {1, -1, 2};
    EXPECT_EQ(kmath_matrix3_multv(&m, &v, &v), KMATH_OK);
    expectSame(v, {5, 11, 19});

    std::mt19937_64 generator(2);
    std::uniform_real_distribution<double> uniform(-10.0, 10.0);
    for (int repeat = 0; repeat < 200; ++repeat) {
        const kmath_matrix3 p = randomMatrix3(generator);
        const kmath_vect3 u = {uniform(generator), uniform(generator), uniform(generator)};
        kmath_vect3 r, mapped;
        EXPECT_EQ(kmath_matrix3_multv(&p, &u, &r), KMATH_OK);
        expectSame(r, plainProduct(p, u));
        EXPECT_EQ(kmath_matrix3_mapPoint(&p, &u, &mapped), KMATH_OK);
        expectSame(mapped, r);
    }
}

TEST(Matrix3MultvF, SumsInDoubleAndStoresFloats)
{
    // In floats the first two terms would swallow the third.
    const kmath_matrix3 m = {0x1p30, -0x1p30, 1.0, 1e300, 0.0, 0.0, 0.1, 0.2, 0.3};
    kmath_vect3F v = {1.0f, 1.0f + 0x1p-23f, 3.0f};
    const float thirdRow =
        static_cast<float>(plainSum(0.1, 1.0, 0.2, static_cast<double>(v.y), 0.3, 3.0));
    EXPECT_EQ(kmath_matrix3_multvF(&m, &v, &v), KMATH_OK) << "in place";
    EXPECT_EQ(v.x, -125.0f);
    EXPECT_EQ(v.y, std::numeric_limits<float>::infinity());
    EXPECT_EQ(v.z, thirdRow);
}

TEST(Matrix3InvMapPoint, SolvesForThePoint)
{
    const kmath_vect3 p = {2.0, -1.0, 0.5};
    kmath_vect3 mapped, back;
    kmath_matrix3_mapPoint(&a, &p, &mapped);
    EXPECT_EQ(kmath_matrix3_invMapPoint(&a, &mapped, &back), KMATH_OK);
    EXPECT_NEAR(back.x, p.x, 1e-14);
    EXPECT_NEAR(back.y, p.y, 1e-14);
    EXPECT_NEAR(back.z, p.z, 1e-14);

    kmath_matrix3 inverse;
    kmath_matrix3_getInverse(&a, &inverse);
    expectSame(back, plainProduct(inverse, mapped));
    EXPECT_EQ(kmath_matrix3_invMapPoint(&a, &mapped, &mapped), KMATH_OK) << "in place";
    expectSame(mapped, back);
}

TEST(Matrix3InvMapPoint, LeavesTheResultOfASingularMatrix)
{
    const kmath_matrix3 m = {1, 2, 3, 2, 4, 6, 0, 0, 1};
    const kmath_vect3 p = {1, 2, 3};
    kmath_vect3 r = {4.0, 5.0, 6.0};
    EXPECT_EQ(kmath_matrix3_invMapPoint(&m, &p, &r), KMATH_ERR_SINGULAR);
    expectSame(r, {4.0, 5.0, 6.0});
}

TEST(Matrix3GetInverse, TimesTheMatrixIsTheIdentity)
{
    const kmath_matrix3 m = {2, 0, 1, 0, 4, 0, 1, 0, 1}; // of determinant 4
    kmath_matrix3 r;
    EXPECT_EQ(kmath_matrix3_getInverse(&m, &r), KMATH_OK);
    expectSame(r, {1, 0, -1, 0, 0.25, 0, -1, 0, 2});

    std::mt19937_64 generator(5);
    int tried = 0;
    for (int repeat = 0; repeat < 500; ++repeat) {
        const kmath_matrix3 p = randomMatrix3(generator);
        if (std::fabs(determinant(p)) < 10.0)
            continue;
        ++tried;
        EXPECT_EQ(kmath_matrix3_getInverse(&p, &r), KMATH_OK);
        expectNear(plainProduct(p, r), identity, 1e-11);
        expectNear(plainProduct(r, p), identity, 1e-11);
    }
    EXPECT_GT(tried, 400);
}

TEST(Matrix3GetInverse, HasTheBitsOfTheScaledAdjugate)
{
    std::mt19937_64 generator(6);
    for (int repeat = 0; repeat < 500; ++repeat) {
        const kmath_matrix3 m = randomMatrix3(generator);
        // Two products and their difference, each rounded.
        const auto minor = [](double p, double q, double r, double s) {
            const volatile double first = p * q, second = r * s;
            return first - second;
        };
        const kmath_matrix3 adjugate = {
            minor(m.m11, m.m22, m.m12, m.m21), -minor(m.m01, m.m22, m.m02, m.m21),
            minor(m.m01, m.m12, m.m02, m.m11), -minor(m.m10, m.m22, m.m12, m.m20),
            minor(m.m00, m.m22, m.m02, m.m20), -minor(m.m00, m.m12, m.m02, m.m10),
            minor(m.m10, m.m21, m.m11, m.m20), -minor(m.m00, m.m21, m.m01, m.m20),
            minor(m.m00, m.m11, m.m01, m.m10)};
        const double det = plainSum(m.m00, adjugate.m00, m.m10, adjugate.m01, m.m20, adjugate.m02);
        const volatile double reciprocal = 1.0 / det;
        kmath_matrix3 expected;
        for (const auto element : elements)
            expected.*element = adjugate.*element * reciprocal;

        kmath_matrix3 r;
        EXPECT_EQ(kmath_matrix3_getInverse(&m, &r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, expected));
        kmath_matrix3 other;
        EXPECT_EQ(kmath_matrix3_initInverse(&other, &m), KMATH_OK);
        EXPECT_TRUE(sameBits(other, expected));
        kmath_matrix3 inPlace = m;
        EXPECT_EQ(kmath_matrix3_getInverse(&inPlace, &inPlace), KMATH_OK);
        EXPECT_TRUE(sameBits(inPlace, expected));
    }
}

TEST(Matrix3GetInverse, AcceptsSmallDeterminantsOfWellScaledMatrices)
{
    expectInverse(diagonal(1e-6, 1e-6, 1e-6), diagonal(1e6, 1e6, 1e6));
    expectInverse(diagonal(1e-10, 1.0, 1.0), diagonal(1e10, 1.0, 1.0));
}

TEST(Matrix3GetInverse, RefusesElementsAboveTenToThe15)
{
    expectSingular(diagonal(1e-16, 1.0, 1.0));
    expectSingular(diagonal(1.0, 1.0, -1e-16));

    // The bound itself is 1e-15 as a double, for each element of the adjugate in turn.
    const double bound = 1e-15;
    expectInverse(diagonal(bound, 1.0, 1.0), diagonal(1.0 / bound, 1.0, 1.0));
    expectInverse(diagonal(1.0, -bound, 1.0), diagonal(1.0, -1.0 / bound, 1.0));
    expectSingular(diagonal(std::nextafter(bound, 0.0), 1.0, 1.0));
    expectSingular(diagonal(1.0, std::nextafter(bound, 0.0), 1.0));
    expectSingular(diagonal(1.0, 1.0, -std::nextafter(bound, 0.0)));

    // Off the diagonal: a unit determinant beside a large element.
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            if (i == j)
                continue;
            SCOPED_TRACE(testing::Message() << i << ' ' << j);
            kmath_matrix3 m = identity;
            kmath_matrix3 inverse = identity;
            at(m, i, j) = 1e15;
            at(inverse, i, j) = -1e15;
            expectInverse(m, inverse);
            at(m, i, j) = 2e15;
            expectSingular(m);
        }
}

// Where every cofactor vanishes no element of the inverse can be judged too large: 0 is not less
// than 0. Only the determinant itself can refuse. (A determinant within 1e-150 of 0 that is not 0
// always has an element of the inverse above 1e15 beside it.)
TEST(Matrix3GetInverse, RefusesAVanishingDeterminantBesideVanishingCofactors)
{
    expectSingular(zero);
    expectSingular({1, 1, 1, 1, 1, 1, 1, 1, 1});
    expectSingular({1, 2, 4, 2, 4, 8, -1, -2, -4});
    expectSingular(diagonal(1e-170, 1e-170, 1e-170)); // the cofactors underflow
    expectSingular(diagonal(0x1p-500, 1.0, 0x1p-500));
}

TEST(Matrix3GetInverse, RefusesUniformlySmallMatricesByTheirInverse)
{
    expectInverse(diagonal(2e-15, 2e-15, 2e-15), diagonal(5e14, 5e14, 5e14));
    expectSingular(diagonal(5e-16, 5e-16, 5e-16));
    expectSingular(diagonal(1e-50, 1e-50, 1e-50));
}

TEST(Matrix3GetInverse, RefusesSingularMatrices)
{
    expectSingular({1, 2, 3, 4, 5, 6, 5, 7, 9});
    expectSingular({0, 1, 0, 0, 0, 1, 0, 0, 0});
}

TEST(Matrix3GetInverse, EndsForAnyBits)
{
    for (const double wild : {notANumber, infinity, -infinity, 1e300, 5e-324})
        for (const auto element : elements) {
            kmath_matrix3 m = a;
            m.*element = wild;
            kmath_matrix3 r = untouched;
            const kmath_status status = kmath_matrix3_getInverse(&m, &r);
            EXPECT_TRUE(status == KMATH_OK || status == KMATH_ERR_SINGULAR);
            if (std::isnan(wild)) {
                EXPECT_EQ(status, KMATH_OK);
                EXPECT_TRUE(std::isnan(r.m00) && std::isnan(r.m11) && std::isnan(r.m22));
            }
        }
}

TEST(Matrix3Determinant, IsThatOfTheExpansion)
{
    EXPECT_EQ(determinant(identity), 1.0);
    EXPECT_EQ(determinant({1, 2, 3, 4, 5, 6, 7, 8, 10}), -3.0);
    EXPECT_EQ(determinant({0, 1, 0, 0, 0, 1, 1, 0, 0}), 1.0);
    EXPECT_EQ(determinant({0, 1, 0, 1, 0, 0, 0, 0, 1}), -1.0);
    EXPECT_EQ(determinant({2, 0, 0, 9, 3, 0, -8, 7, 5}), 30.0);
    EXPECT_TRUE(std::isnan(determinant({notANumber, 0, 0, 0, 1, 0, 0, 0, 1})));

    std::mt19937_64 generator(7);
    for (int repeat = 0; repeat < 200; ++repeat) {
        const kmath_matrix3 m = randomMatrix3(generator);
        const volatile double t[6] = {m.m11 * m.m22, m.m12 * m.m21, -m.m01 * m.m22,
                                      m.m02 * m.m21, m.m01 * m.m12, m.m02 * m.m11};
        EXPECT_EQ(determinant(m),
                  plainSum(m.m00, t[0] - t[1], m.m10, t[2] + t[3], m.m20, t[4] - t[5]));
    }
}

TEST(Matrix3GetIsIdentity, HasNoTolerance)
{
    EXPECT_EQ(isIdentity(identity), 1u);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            kmath_matrix3 m = identity;
            at(m, i, j) = i == j ? std::nextafter(1.0, 2.0) : 1e-300;
            EXPECT_EQ(isIdentity(m), 0u) << i << ' ' << j;
            at(m, i, j) = notANumber;
            EXPECT_EQ(isIdentity(m), 0u) << i << ' ' << j;
        }
    kmath_matrix3 m = identity;
    m.m01 = -0.0;
    EXPECT_EQ(isIdentity(m), 1u);
    EXPECT_EQ(isIdentity(zero), 0u);
}

TEST(Matrix3CompareEqual, IsExact)
{
    EXPECT_EQ(compareEqual(a, a), 1u);
    for (const auto element : elements) {
        kmath_matrix3 other = a;
        other.*element = std::nextafter(other.*element, 100.0);
        EXPECT_EQ(compareEqual(a, other), 0u);
        other.*element = notANumber;
        EXPECT_EQ(compareEqual(other, other), 0u);
    }
}

TEST(Matrix3EpsilonEqual, IncludesItsBound)
{
    EXPECT_EQ(epsilonEqual(a, a, 0.0), 1u);
    EXPECT_EQ(epsilonEqual(a, a, -1.0), 0u);
    for (const auto element : elements) {
        kmath_matrix3 p = zero, q = zero;
        p.*element = 0.75;
        q.*element = 0.5;
        EXPECT_EQ(epsilonEqual(p, q, 0.25), 1u);
        EXPECT_EQ(epsilonEqual(q, p, 0.25), 1u);
        EXPECT_EQ(epsilonEqual(p, q, std::nextafter(0.25, 0.0)), 0u);
        p.*element = q.*element = notANumber;
        EXPECT_EQ(epsilonEqual(p, q, 1.0), 0u);
        p.*element = q.*element = infinity;
        EXPECT_EQ(epsilonEqual(p, q, 1.0), 0u);
    }
    EXPECT_EQ(epsilonEqual(a, a, notANumber), 0u);
}

// Elements are compared one by one, not by their root sum of squares.
TEST(Matrix3EpsilonEqual, TakesEachElementAlone)
{
    const kmath_matrix3 quarters = {.25, .25, .25, .25, .25, .25, .25, .25, .25};
    EXPECT_EQ(epsilonEqual(quarters, zero, 0.25), 1u);
}

TEST(Matrix3InitRotation, IsRightHanded)
{
    const kmath_vect3 x = {1, 0, 0}, y = {0, 1, 0}, z = {0, 0, 1};
    const radian quarter = {pi / 2.0};
    kmath_matrix3 aroundX, aroundY, aroundZ;
    EXPECT_EQ(kmath_matrix3_initRotationAroundXAxis(&aroundX, &quarter), KMATH_OK);
    EXPECT_EQ(kmath_matrix3_initRotationAroundYAxis(&aroundY, &quarter), KMATH_OK);
    EXPECT_EQ(kmath_matrix3_initRotationAroundZAxis(&aroundZ, &quarter), KMATH_OK);
    kmath_vect3 r;
    kmath_matrix3_multv(&aroundX, &y, &r);
    EXPECT_NEAR(r.z, 1.0, 1e-15);
    kmath_matrix3_multv(&aroundY, &z, &r);
    EXPECT_NEAR(r.x, 1.0, 1e-15);
    kmath_matrix3_multv(&aroundZ, &x, &r);
    EXPECT_NEAR(r.y, 1.0, 1e-15);
}

TEST(Matrix3InitRotation, HasTheStatedRows)
{
    for (const double angle : {0.0, 0.3, -2.0, 40.0}) {
        const radian theta = {angle};
        const double c = std::cos(angle), s = std::sin(angle);
        kmath_matrix3 r;
        kmath_matrix3_initRotationAroundXAxis(&r, &theta);
        expectSame(r, {1, 0, 0, 0, c, -s, 0, s, c});
        kmath_matrix3_initRotationAroundYAxis(&r, &theta);
        expectSame(r, {c, 0, s, 0, 1, 0, -s, 0, c});
        kmath_matrix3_initRotationAroundZAxis(&r, &theta);
        expectSame(r, {c, -s, 0, s, c, 0, 0, 0, 1});
        EXPECT_NEAR(determinant(r), 1.0, 1e-15);
    }
}

TEST(Matrix3InitRotation, IsNaNForNonFiniteAngles)
{
    for (const double angle : {infinity, -infinity, notANumber}) {
        const radian theta = {angle};
        kmath_matrix3 r;
        EXPECT_EQ(kmath_matrix3_initRotationAroundZAxis(&r, &theta), KMATH_OK);
        EXPECT_TRUE(std::isnan(r.m00));
        EXPECT_EQ(r.m22, 1.0);
    }
}

TEST(Matrix3Copy3toNM, ResizesAndCopiesByRows)
{
    for (const auto &[rows, cols] : {std::pair{0, 0}, {3, 3}, {2, 5}, {9, 9}}) {
        Matrix dense(rows, cols);
        EXPECT_EQ(allocationsOf([&] { kmath_matrix3_copy3toNM(&dense, &a); }), 0);
        ASSERT_EQ(dense.rows(), 3);
        ASSERT_EQ(dense.cols(), 3);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                EXPECT_EQ(dense(i, j), at(a, i, j));
    }
}

TEST(Matrix3CopyNM3x3to3, TakesTheTopLeftBlock)
{
    for (const auto &[rows, cols] : {std::pair{3, 3}, {3, 4}, {4, 3}, {40, 50}}) {
        const Matrix dense = support::randomMatrix(rows, cols);
        kmath_matrix3 r;
        EXPECT_EQ(kmath_matrix3_copyNM3x3to3(&r, &dense), KMATH_OK);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                EXPECT_EQ(at(r, i, j), dense(i, j));
    }
}

TEST(Matrix3CopyNM3x3to3, RefusesFewerThanThreeRowsOrColumns)
{
    for (const auto &[rows, cols] : {std::pair{2, 3}, {3, 2}, {0, 0}, {0, 5}, {2, 40}, {40, 2}}) {
        const Matrix dense(rows, cols);
        kmath_matrix3 r = untouched;
        EXPECT_EQ(kmath_matrix3_copyNM3x3to3(&r, &dense), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_TRUE(sameBits(r, untouched));
    }
}

TEST(Matrix3CopyNM3x3to3, RefusesAMatrixThatLostItsStorage)
{
    Matrix dense(2, 2);
    support::failAllocation(0);
    EXPECT_EQ(kmath_nmmatrix_resize(&dense, 10, 10), KMATH_ERR_NO_MEMORY);
    support::failAllocation(-1);
    kmath_matrix3 r = untouched;
    EXPECT_EQ(kmath_matrix3_copyNM3x3to3(&r, &dense), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_TRUE(sameBits(r, untouched));
}

TEST(Matrix3CopyNM3x3to3, TestsTheShapeBeforeThePointers)
{
    const Matrix small(2, 3), large(3, 3);
    const support::AssertionRecorder recorder;
    EXPECT_EQ(kmath_matrix3_copyNM3x3to3(nullptr, &small), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_TRUE(recorder.lines().empty());
    EXPECT_NE(assertedLine([&] { kmath_matrix3_copyNM3x3to3(nullptr, &large); }), 0);
    kmath_matrix3 r;
    EXPECT_NE(assertedLine([&] { kmath_matrix3_copyNM3x3to3(&r, nullptr); }), 0);
}

TEST(Matrix3, AssertsEveryPointerOfTheCheckedOperations)
{
    kmath_matrix3 r = a;
    kmath_vect3 v = {1, 2, 3};
    kmath_vect3F f = {1, 2, 3};
    const radian angle = {1.0};
    double det;
    std::uint32_t flag;
    Matrix dense(3, 3);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_init(nullptr, 1, 2, 3, 4, 5, 6, 7, 8, 9); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_initIdentity(nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_setToIdentity(nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_reset(nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_initClear(nullptr); }), 0);
    for (const auto combine :
         {kmath_matrix3_initMultiply, kmath_matrix3_initAdd, kmath_matrix3_initSubtract}) {
        EXPECT_NE(assertedLine([&] { combine(nullptr, &a, &b); }), 0);
        EXPECT_NE(assertedLine([&] { combine(&r, nullptr, &b); }), 0);
        EXPECT_NE(assertedLine([&] { combine(&r, &a, nullptr); }), 0);
    }
    EXPECT_NE(assertedLine([&] { kmath_matrix3_scale(nullptr, 1.0); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_transpose(nullptr, &r); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_transpose(&a, nullptr); }), 0);
    for (const auto map :
         {kmath_matrix3_multv, kmath_matrix3_mapPoint, kmath_matrix3_invMapPoint}) {
        EXPECT_NE(assertedLine([&] { map(nullptr, &v, &v); }), 0);
        EXPECT_NE(assertedLine([&] { map(&a, nullptr, &v); }), 0);
        EXPECT_NE(assertedLine([&] { map(&a, &v, nullptr); }), 0);
    }
    EXPECT_NE(assertedLine([&] { kmath_matrix3_multvF(nullptr, &f, &f); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_multvF(&a, nullptr, &f); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_multvF(&a, &f, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_getInverse(nullptr, &r); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_getInverse(&a, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_initInverse(nullptr, &a); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_initInverse(&r, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_determinant(nullptr, &det); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_determinant(&a, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_getIsIdentity(nullptr, &flag); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_getIsIdentity(&a, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_initRotationAroundXAxis(nullptr, &angle); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_initRotationAroundYAxis(nullptr, &angle); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_initRotationAroundZAxis(nullptr, &angle); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_copy3toNM(nullptr, &a); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_copy3toNM(&dense, nullptr); }), 0);
}

} // namespace
