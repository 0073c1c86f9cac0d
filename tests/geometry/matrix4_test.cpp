#include "geometry/complex_checks.hpp"
#include "support/services.hpp"

#include <kmath/matrix4.h>

#include <gtest/gtest.h>

#include <cmath>

using support::allocationsOf;
using support::assertedLine;

namespace
{

constexpr kmath_matrix4 identity = {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
constexpr kmath_matrix4 counting = {
    {{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}, {13, 14, 15, 16}}};

// Four products and three sums one after another, each rounded.
double plainSum(const double (&x)[4], const double (&y)[4])
{
    volatile double sum = x[0] * y[0];
    for (int k = 1; k < 4; ++k) {
        const volatile double product = x[k] * y[k];
        sum = sum + product;
    }
    return sum;
}

kmath_matrix4 plainProduct(const kmath_matrix4 &a, const kmath_matrix4 &b)
{
    kmath_matrix4 r;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            r.m[i][j] = plainSum(a.m[i], {b.m[0][j], b.m[1][j], b.m[2][j], b.m[3][j]});
    return r;
}

TEST(Matrix4, HasTwoNamesForTheIdentity)
{
    for (const auto set : {kmath_matrix4_initIdentity, kmath_matrix4_reset}) {
        kmath_matrix4 m = counting;
        EXPECT_EQ(set(&m), KMATH_OK);
        EXPECT_TRUE(sameBits(m, identity));
    }
}

TEST(Matrix4, IsCleared)
{
    kmath_matrix4 m = counting;
    EXPECT_EQ(kmath_matrix4_initClear(&m), KMATH_OK);
    EXPECT_TRUE(sameBits(m, kmath_matrix4{}));
}

TEST(Matrix4InitMultiply, MultipliesRowsByColumns)
{
    kmath_matrix4 r;
    EXPECT_EQ(kmath_matrix4_initMultiply(&r, &counting, &identity), KMATH_OK);
    EXPECT_TRUE(sameBits(r, counting));
    EXPECT_EQ(kmath_matrix4_initMultiply(&r, &counting, &counting), KMATH_OK);
    EXPECT_TRUE(sameBits(
        r,
        {{{90, 100, 110, 120}, {202, 228, 254, 280}, {314, 356, 398, 440}, {426, 484, 542, 600}}}));
}

TEST(Matrix4InitMultiply, HasTheBitsOfThePlainSums)
{
    RandomRecords random(1);
    for (int repeat = 0; repeat < 500; ++repeat) {
        const kmath_matrix4 a = random.real(), b = random.real();
        kmath_matrix4 r;
        EXPECT_EQ(kmath_matrix4_initMultiply(&r, &a, &b), KMATH_OK);
        EXPECT_TRUE(sameBits(r, plainProduct(a, b)));
        EXPECT_LE((toEigen(r) - toEigen(a) * toEigen(b)).cwiseAbs().maxCoeff(), 8.0 * epsilon);
    }
}

TEST(Matrix4InitMultiply, MayHoldTheResultInAnOperand)
{
    RandomRecords random(2);
    const kmath_matrix4 a = random.real(), b = random.real();
    kmath_matrix4 r = a;
    kmath_matrix4_initMultiply(&r, &r, &b);
    EXPECT_TRUE(sameBits(r, plainProduct(a, b)));
    r = b;
    kmath_matrix4_initMultiply(&r, &a, &r);
    EXPECT_TRUE(sameBits(r, plainProduct(a, b)));
    r = a;
    kmath_matrix4_initMultiply(&r, &r, &r);
    EXPECT_TRUE(sameBits(r, plainProduct(a, a)));
}

TEST(Matrix4Multv, MapsAColumnAlsoInPlace)
{
    kmath_vect4 v = {1, -1, 2, 3};
    EXPECT_EQ(kmath_matrix4_multv(&counting, &v, &v), KMATH_OK);
    EXPECT_EQ(v.x, 17.0);
    EXPECT_EQ(v.y, 37.0);
    EXPECT_EQ(v.z, 57.0);
    EXPECT_EQ(v.w, 77.0);

    RandomRecords random(3);
    for (int repeat = 0; repeat < 500; ++repeat) {
        const kmath_matrix4 m = random.real();
        const double u[4] = {random.number(), random.number(), random.number(), random.number()};
        const kmath_vect4 source = {u[0], u[1], u[2], u[3]};
        kmath_vect4 r;
        EXPECT_EQ(kmath_matrix4_multv(&m, &source, &r), KMATH_OK);
        EXPECT_EQ(r.x, plainSum(m.m[0], u));
        EXPECT_EQ(r.y, plainSum(m.m[1], u));
        EXPECT_EQ(r.z, plainSum(m.m[2], u));
        EXPECT_EQ(r.w, plainSum(m.m[3], u));
    }
}

TEST(Matrix4, AddsAndScalesElementByElementAlsoInPlace)
{
    RandomRecords random(4);
    const kmath_matrix4 a = random.real(), b = random.real();
    kmath_matrix4 sum, scaled = a;
    EXPECT_EQ(kmath_matrix4_initAdd(&sum, &a, &b), KMATH_OK);
    EXPECT_EQ(kmath_matrix4_scale(&scaled, -2.385), KMATH_OK);
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            EXPECT_EQ(sum.m[i][j], a.m[i][j] + b.m[i][j]);
            EXPECT_EQ(scaled.m[i][j], a.m[i][j] * -2.385);
        }
    kmath_matrix4 r = a;
    kmath_matrix4_initAdd(&r, &r, &b);
    EXPECT_TRUE(sameBits(r, sum));
    r = b;
    kmath_matrix4_initAdd(&r, &a, &r);
    EXPECT_TRUE(sameBits(r, sum));
}

TEST(Matrix4, TakesNaNAndInfiniteElements)
{
    kmath_matrix4 m = identity, r;
    m.m[1][2] = notANumber;
    m.m[3][0] = infinity;
    EXPECT_EQ(kmath_matrix4_initMultiply(&r, &m, &identity), KMATH_OK);
    EXPECT_TRUE(sameBits(r, plainProduct(m, identity)));
    EXPECT_TRUE(std::isnan(r.m[1][0]));
    EXPECT_EQ(kmath_matrix4_initAdd(&r, &m, &m), KMATH_OK);
    EXPECT_EQ(r.m[3][0], infinity);
    EXPECT_EQ(kmath_matrix4_scale(&m, 0.0), KMATH_OK);
    EXPECT_TRUE(std::isnan(m.m[3][0]));
    m = counting;
    EXPECT_EQ(kmath_matrix4_scale(&m, infinity), KMATH_OK);
    EXPECT_EQ(m.m[3][3], infinity);
}

TEST(Matrix4, AssertsEveryPointer)
{
    kmath_matrix4 m = identity;
    kmath_vect4 v = {1, 2, 3, 4};
    for (const auto set :
         {kmath_matrix4_initIdentity, kmath_matrix4_initClear, kmath_matrix4_reset})
        EXPECT_NE(assertedLine([&] { set(nullptr); }), 0);
    for (const auto combine : {kmath_matrix4_initMultiply, kmath_matrix4_initAdd}) {
        EXPECT_NE(assertedLine([&] { combine(nullptr, &m, &m); }), 0);
        EXPECT_NE(assertedLine([&] { combine(&m, nullptr, &m); }), 0);
        EXPECT_NE(assertedLine([&] { combine(&m, &m, nullptr); }), 0);
    }
    EXPECT_NE(assertedLine([&] { kmath_matrix4_scale(nullptr, 1.0); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix4_multv(nullptr, &v, &v); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix4_multv(&m, nullptr, &v); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix4_multv(&m, &v, nullptr); }), 0);
}

TEST(Matrix4, AllocatesNothing)
{
    kmath_matrix4 r;
    kmath_vect4 v = {1, 2, 3, 4};
    EXPECT_EQ(allocationsOf([&] {
                  kmath_matrix4_initMultiply(&r, &counting, &counting);
                  kmath_matrix4_multv(&r, &v, &v);
              }),
              0);
}

} // namespace
