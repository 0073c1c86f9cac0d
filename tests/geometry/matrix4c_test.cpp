#include "geometry/complex_checks.hpp"
#include "support/services.hpp"

#include <kmath/matrix4.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <utility>

using support::allocationsOf;
using support::assertedLine;

namespace
{

kmath_matrix4c untouched() { return RandomRecords(99).matrix(); }

kmath_matrix4c identity() { return fromEigen(Eigen::Matrix4cd(Eigen::Matrix4cd::Identity())); }

kmath_matrix4c diagonal(const kmath_complex &a, const kmath_complex &b, const kmath_complex &c,
                        const kmath_complex &d)
{
    return {{{a, {}, {}, {}}, {{}, b, {}, {}}, {{}, {}, c, {}}, {{}, {}, {}, d}}};
}

// (a + ib)·(c + id), each operation rounded.
kmath_complex plainProduct(const kmath_complex &x, const kmath_complex &y)
{
    const volatile double ac = x.re * y.re, bd = x.im * y.im, ad = x.re * y.im, bc = x.im * y.re;
    return {ac - bd, ad + bc};
}

kmath_complex plainSum(const kmath_complex &x, const kmath_complex &y)
{
    return {x.re + y.re, x.im + y.im};
}

kmath_complex plainRowTimes(const kmath_complex (&row)[4], const std::array<kmath_complex, 4> &x)
{
    kmath_complex sum = plainProduct(row[0], x[0]);
    for (int k = 1; k < 4; ++k)
        sum = plainSum(sum, plainProduct(row[k], x[static_cast<std::size_t>(k)]));
    return sum;
}

kmath_matrix4c plainProduct(const kmath_matrix4c &a, const kmath_matrix4c &b)
{
    kmath_matrix4c r;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            r.m[i][j] = plainRowTimes(a.m[i], {b.m[0][j], b.m[1][j], b.m[2][j], b.m[3][j]});
    return r;
}

kmath_complex plainDifference(const kmath_complex &x, const kmath_complex &y)
{
    return {x.re - y.re, x.im - y.im};
}

// The 3×3 determinant without row i and column j, expanded along its first row.
kmath_complex plainMinor(const kmath_matrix4c &m, int i, int j)
{
    kmath_complex a[3][3];
    for (int p = 0; p < 3; ++p)
        for (int q = 0; q < 3; ++q)
            a[p][q] = m.m[p < i ? p : p + 1][q < j ? q : q + 1];
    const auto minor = [&a](int p, int q) {
        return plainDifference(plainProduct(a[1][p], a[2][q]), plainProduct(a[1][q], a[2][p]));
    };
    return plainSum(
        plainDifference(plainProduct(a[0][0], minor(1, 2)), plainProduct(a[0][1], minor(0, 2))),
        plainProduct(a[0][2], minor(0, 1)));
}

// The 4×4 one: terms of alternating sign.
kmath_complex plainDeterminant(const kmath_matrix4c &m)
{
    kmath_complex sum = plainProduct(m.m[0][0], plainMinor(m, 0, 0));
    for (int j = 1; j < 4; ++j) {
        const kmath_complex term = plainProduct(m.m[0][j], plainMinor(m, 0, j));
        sum = j % 2 ? plainDifference(sum, term) : plainSum(sum, term);
    }
    return sum;
}

kmath_complex determinant(const kmath_matrix4c &m)
{
    kmath_complex det = {notANumber, notANumber};
    EXPECT_EQ(kmath_matrix4c_determinant(&m, &det), KMATH_OK);
    return det;
}

void expectSingular(const kmath_matrix4c &m)
{
    kmath_matrix4c r = untouched();
    EXPECT_EQ(kmath_matrix4c_getInverse(&m, &r), KMATH_ERR_SINGULAR);
    EXPECT_TRUE(sameBits(r, untouched()));
}

double maxDifference(const Eigen::Matrix4cd &a, const Eigen::Matrix4cd &b)
{
    return (a - b).cwiseAbs().maxCoeff();
}

double condition(const kmath_matrix4c &m)
{
    const Eigen::Vector4d s = toEigen(m).jacobiSvd().singularValues();
    return s(0) / s(3);
}

TEST(Matrix4c, HasTwoNamesForTheIdentity)
{
    for (const auto set : {kmath_matrix4c_initIdentity, kmath_matrix4c_reset}) {
        kmath_matrix4c m = untouched();
        EXPECT_EQ(set(&m), KMATH_OK);
        EXPECT_TRUE(sameBits(m, identity()));
    }
}

TEST(Matrix4c, IsCleared)
{
    kmath_matrix4c m = untouched();
    EXPECT_EQ(kmath_matrix4c_initClear(&m), KMATH_OK);
    EXPECT_TRUE(sameBits(m, kmath_matrix4c{}));
}

TEST(Matrix4cRealImag, TakesThePartsApartAndSkipsNullOutputs)
{
    const kmath_matrix4c m = untouched();
    kmath_matrix4 real = {}, imaginary = {};
    EXPECT_EQ(kmath_matrix4c_realImag(&m, &real, &imaginary), KMATH_OK);
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            EXPECT_EQ(real.m[i][j], m.m[i][j].re);
            EXPECT_EQ(imaginary.m[i][j], m.m[i][j].im);
        }
    const support::AssertionRecorder recorder;
    kmath_matrix4 realAlone = {}, imaginaryAlone = {};
    EXPECT_EQ(kmath_matrix4c_realImag(&m, &realAlone, nullptr), KMATH_OK);
    EXPECT_EQ(kmath_matrix4c_realImag(&m, nullptr, &imaginaryAlone), KMATH_OK);
    EXPECT_EQ(kmath_matrix4c_realImag(&m, nullptr, nullptr), KMATH_OK);
    EXPECT_TRUE(sameBits(realAlone, real));
    EXPECT_TRUE(sameBits(imaginaryAlone, imaginary));
    EXPECT_TRUE(recorder.lines().empty());
}

TEST(Matrix4cInitMultiply, HasTheBitsOfThePlainSums)
{
    RandomRecords random(1);
    for (int repeat = 0; repeat < 500; ++repeat) {
        const kmath_matrix4c a = random.matrix(), b = random.matrix();
        kmath_matrix4c r;
        EXPECT_EQ(kmath_matrix4c_initMultiply(&r, &a, &b), KMATH_OK);
        EXPECT_TRUE(sameBits(r, plainProduct(a, b)));
        EXPECT_LE(maxDifference(toEigen(r), toEigen(a) * toEigen(b)), 20.0 * epsilon);
    }
}

TEST(Matrix4cInitMultiply, MultipliesImaginaryUnits)
{
    const kmath_complex i = {0, 1};
    const kmath_matrix4c a = diagonal(i, i, i, i);
    kmath_matrix4c r;
    EXPECT_EQ(kmath_matrix4c_initMultiply(&r, &a, &a), KMATH_OK);
    EXPECT_EQ(toEigen(r), -Eigen::Matrix4cd::Identity());
}

TEST(Matrix4cInitMultiply, MayHoldTheResultInAnOperand)
{
    RandomRecords random(2);
    const kmath_matrix4c a = random.matrix(), b = random.matrix();
    kmath_matrix4c r = a;
    kmath_matrix4c_initMultiply(&r, &r, &b);
    EXPECT_TRUE(sameBits(r, plainProduct(a, b)));
    r = b;
    kmath_matrix4c_initMultiply(&r, &a, &r);
    EXPECT_TRUE(sameBits(r, plainProduct(a, b)));
    r = a;
    kmath_matrix4c_initMultiply(&r, &r, &r);
    EXPECT_TRUE(sameBits(r, plainProduct(a, a)));
}

TEST(Matrix4cMultv, MapsAColumnAlsoInPlace)
{
    RandomRecords random(3);
    for (int repeat = 0; repeat < 500; ++repeat) {
        const kmath_matrix4c m = random.matrix();
        const kmath_vect4c v = random.vector();
        kmath_vect4c r, inPlace = v;
        EXPECT_EQ(kmath_matrix4c_multv(&m, &v, &r), KMATH_OK);
        for (int i = 0; i < 4; ++i)
            EXPECT_TRUE(sameBits(r.v[i], plainRowTimes(m.m[i], {v.v[0], v.v[1], v.v[2], v.v[3]})));
        EXPECT_LE((toEigen(r) - toEigen(m) * toEigen(v)).norm(), 20.0 * epsilon);
        EXPECT_EQ(kmath_matrix4c_multv(&m, &inPlace, &inPlace), KMATH_OK);
        EXPECT_TRUE(sameBits(inPlace, r));
    }
}

TEST(Matrix4cScale, MultipliesEveryElementInPlace)
{
    const kmath_complex s = {2.385, -0.75};
    kmath_matrix4c m = untouched();
    EXPECT_EQ(kmath_matrix4c_scale(&m, &s), KMATH_OK);
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            const kmath_complex expected = plainProduct(s, untouched().m[i][j]);
            EXPECT_EQ(standard(m.m[i][j]), standard(expected));
        }
}

TEST(Matrix4cScale, MayTakeItsFactorFromTheMatrix)
{
    kmath_matrix4c expected = untouched(), m = untouched();
    const kmath_complex s = m.m[1][2];
    EXPECT_EQ(kmath_matrix4c_scale(&expected, &s), KMATH_OK);
    EXPECT_EQ(kmath_matrix4c_scale(&m, &m.m[1][2]), KMATH_OK);
    EXPECT_TRUE(sameBits(m, expected));
}

TEST(Matrix4cInitAdd, AddsElementByElementAlsoInPlace)
{
    RandomRecords random(4);
    const kmath_matrix4c a = random.matrix(), b = random.matrix();
    kmath_matrix4c sum;
    EXPECT_EQ(kmath_matrix4c_initAdd(&sum, &a, &b), KMATH_OK);
    EXPECT_EQ(toEigen(sum), toEigen(a) + toEigen(b));
    kmath_matrix4c r = a;
    kmath_matrix4c_initAdd(&r, &r, &b);
    EXPECT_TRUE(sameBits(r, sum));
    r = b;
    kmath_matrix4c_initAdd(&r, &a, &r);
    EXPECT_TRUE(sameBits(r, sum));
}

TEST(Matrix4cTrace, SumsTheDiagonalAlsoIntoTheMatrix)
{
    kmath_matrix4c m = untouched();
    const kmath_complex expected =
        plainSum(plainSum(plainSum(m.m[0][0], m.m[1][1]), m.m[2][2]), m.m[3][3]);
    kmath_complex trace;
    EXPECT_EQ(kmath_matrix4c_trace(&m, &trace), KMATH_OK);
    EXPECT_TRUE(sameBits(trace, expected));
    EXPECT_EQ(kmath_matrix4c_trace(&m, &m.m[0][0]), KMATH_OK);
    EXPECT_TRUE(sameBits(m.m[0][0], expected));
}

TEST(Matrix4cDeterminant, OfDiagonalAndTriangularMatricesIsTheProductOfTheDiagonal)
{
    EXPECT_EQ(standard(determinant(identity())), Complex(1, 0));
    kmath_matrix4c m = diagonal({2, 0}, {0, 3}, {1, 1}, {-1, 2});
    const Complex expected = Complex(2, 0) * Complex(0, 3) * Complex(1, 1) * Complex(-1, 2);
    EXPECT_EQ(standard(determinant(m)), expected);
    m.m[0][1] = {5, -6};
    m.m[1][3] = {7, 8};
    m.m[2][3] = {-9, 1};
    EXPECT_EQ(standard(determinant(m)), expected);
    EXPECT_EQ(standard(determinant(kmath_matrix4c{})), Complex(0, 0));
}

TEST(Matrix4cDeterminant, HasTheSignOfEveryPermutation)
{
    int p[4] = {0, 1, 2, 3};
    int count = 0;
    do {
        Eigen::Matrix4cd P = Eigen::Matrix4cd::Zero();
        int inversions = 0;
        for (int i = 0; i < 4; ++i) {
            P(i, p[i]) = 1.0;
            for (int j = 0; j < i; ++j)
                inversions += p[j] > p[i];
        }
        EXPECT_EQ(standard(determinant(fromEigen(P))), Complex(inversions % 2 ? -1.0 : 1.0, 0.0));
        ++count;
    } while (std::next_permutation(p, p + 4));
    EXPECT_EQ(count, 24);
}

TEST(Matrix4cDeterminant, AgreesWithAnEliminationAndMultiplies)
{
    RandomRecords random(5);
    for (int repeat = 0; repeat < 2000; ++repeat) {
        const kmath_matrix4c a = random.matrix(), b = random.matrix();
        const Complex expected = toEigen(a).partialPivLu().determinant();
        EXPECT_LE(std::abs(standard(determinant(a)) - expected), 200.0 * epsilon);
        const Complex both = standard(determinant(plainProduct(a, b)));
        EXPECT_LE(std::abs(both - standard(determinant(a)) * standard(determinant(b))),
                  2e4 * epsilon);
    }
}

TEST(Matrix4cDeterminant, HasTheBitsOfTheExpansion)
{
    RandomRecords random(8);
    for (int repeat = 0; repeat < 2000; ++repeat) {
        const kmath_matrix4c m = random.matrix();
        EXPECT_TRUE(sameBits(determinant(m), plainDeterminant(m)));
    }
}

TEST(Matrix4cDeterminant, MayBeWrittenIntoTheMatrix)
{
    kmath_matrix4c m = untouched();
    EXPECT_EQ(kmath_matrix4c_determinant(&m, &m.m[0][0]), KMATH_OK);
    EXPECT_TRUE(sameBits(m.m[0][0], determinant(untouched())));
}

TEST(Matrix4cGetInverse, OfTheIdentityAndOfADiagonalIsExact)
{
    kmath_matrix4c r;
    const kmath_matrix4c one = identity();
    EXPECT_EQ(kmath_matrix4c_getInverse(&one, &r), KMATH_OK);
    EXPECT_EQ(toEigen(r), Eigen::Matrix4cd::Identity());
    const kmath_matrix4c m = diagonal({2, 0}, {0, 4}, {0, -0.5}, {1, 1});
    EXPECT_EQ(kmath_matrix4c_getInverse(&m, &r), KMATH_OK);
    EXPECT_EQ(toEigen(r), toEigen(diagonal({0.5, 0}, {0, -0.25}, {0, 2}, {0.5, -0.5})));
}

TEST(Matrix4cGetInverse, InvertsFromBothSides)
{
    RandomRecords random(6);
    int inverted = 0;
    for (int repeat = 0; repeat < 5000; ++repeat) {
        const kmath_matrix4c m = random.matrix();
        const double kappa = condition(m);
        kmath_matrix4c r;
        ASSERT_EQ(kmath_matrix4c_getInverse(&m, &r), KMATH_OK) << repeat;
        const Eigen::Matrix4cd M = toEigen(m), R = toEigen(r);
        const double tolerance = 50.0 * epsilon * kappa * kappa;
        EXPECT_LE(maxDifference(M * R, Eigen::Matrix4cd::Identity()), tolerance);
        EXPECT_LE(maxDifference(R * M, Eigen::Matrix4cd::Identity()), tolerance);
        EXPECT_LE((R - M.inverse()).norm(), tolerance * R.norm());
        ++inverted;
    }
    EXPECT_EQ(inverted, 5000);
}

TEST(Matrix4cGetInverse, HasTheBitsOfTheCofactorsTimesTheReciprocal)
{
    RandomRecords random(9);
    for (int repeat = 0; repeat < 2000; ++repeat) {
        const kmath_matrix4c m = random.matrix();
        const kmath_complex det = plainDeterminant(m);
        const volatile double re2 = det.re * det.re, im2 = det.im * det.im;
        const double squared = re2 + im2;
        const kmath_complex reciprocal = {det.re / squared, -det.im / squared};
        kmath_matrix4c expected, r;
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j) {
                const kmath_complex minor = plainMinor(m, j, i);
                const double sign = (i + j) % 2 ? -1.0 : 1.0;
                expected.m[i][j] = plainProduct({sign * minor.re, sign * minor.im}, reciprocal);
            }
        ASSERT_EQ(kmath_matrix4c_getInverse(&m, &r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, expected));
    }
}

TEST(Matrix4cGetInverse, TransposesTheCofactors)
{
    Eigen::Matrix4cd M = Eigen::Matrix4cd::Identity();
    M(0, 3) = {2, 5};
    M(2, 1) = {-3, 1};
    const kmath_matrix4c m = fromEigen(M);
    kmath_matrix4c r;
    EXPECT_EQ(kmath_matrix4c_getInverse(&m, &r), KMATH_OK);
    Eigen::Matrix4cd expected = Eigen::Matrix4cd::Identity();
    expected(0, 3) = {-2, -5};
    expected(2, 1) = {3, -1};
    EXPECT_EQ(toEigen(r), expected);
}

TEST(Matrix4cGetInverse, MayHoldTheResultInItsArgument)
{
    kmath_matrix4c m = untouched(), r;
    EXPECT_EQ(kmath_matrix4c_getInverse(&m, &r), KMATH_OK);
    EXPECT_EQ(kmath_matrix4c_getInverse(&m, &m), KMATH_OK);
    EXPECT_TRUE(sameBits(m, r));
}

TEST(Matrix4cGetInverse, RefusesSquaredDeterminantsUpToTenToTheMinus15)
{
    double below = std::sqrt(1e-15);
    while (below * below > 1e-15)
        below = std::nextafter(below, 0.0);
    while (std::nextafter(below, 1.0) * std::nextafter(below, 1.0) <= 1e-15)
        below = std::nextafter(below, 1.0);
    const double above = std::nextafter(below, 1.0);
    for (const double sign : {1.0, -1.0}) {
        const kmath_complex one = {1, 0};
        expectSingular(diagonal({sign * below, 0}, one, one, one));
        expectSingular(diagonal(one, one, {0, sign * below}, one));
        for (const kmath_complex &s : {kmath_complex{sign * above, 0}, {0, sign * above}}) {
            const kmath_matrix4c m = diagonal(one, s, one, one);
            kmath_matrix4c r;
            EXPECT_EQ(kmath_matrix4c_getInverse(&m, &r), KMATH_OK);
            EXPECT_LE(std::abs(standard(r.m[1][1]) * standard(s) - 1.0), 4.0 * epsilon);
        }
    }
    EXPECT_EQ(static_cast<std::uint32_t>(KMATH_ERR_SINGULAR), 0x80000582u);
}

TEST(Matrix4cGetInverse, CountsBothPartsOfTheDeterminant)
{
    // 0.75e-15 from either part: each alone is refused, both together are not.
    const double part = std::sqrt(0.75e-15);
    const kmath_complex one = {1, 0};
    expectSingular(diagonal({part, 0}, one, one, one));
    expectSingular(diagonal({0, part}, one, one, one));
    const kmath_matrix4c m = diagonal({part, part}, one, one, one);
    kmath_matrix4c r;
    EXPECT_EQ(kmath_matrix4c_getInverse(&m, &r), KMATH_OK);
}

TEST(Matrix4cGetInverse, RefusesSingularMatrices)
{
    expectSingular(kmath_matrix4c{});
    Eigen::Matrix4cd M = toEigen(untouched());
    M.row(3) = M.row(0) * Complex(0, 1) + M.row(1);
    expectSingular(fromEigen(M));
}

TEST(Matrix4cGetInverse, RefusesNaN)
{
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            kmath_matrix4c m = untouched();
            m.m[i][j].re = notANumber;
            expectSingular(m);
            m = untouched();
            m.m[i][j].im = notANumber;
            expectSingular(m);
        }
    kmath_matrix4c m = untouched();
    m.m[2][1].im = infinity; // ∞ − ∞ in the products
    expectSingular(m);
}

TEST(Matrix4cGetInverse, HoldsZerosWhereTheSquaredDeterminantOverflows)
{
    const kmath_complex large = {1e50, 0};
    const kmath_matrix4c m = diagonal(large, large, large, large);
    kmath_matrix4c r = untouched();
    EXPECT_EQ(kmath_matrix4c_getInverse(&m, &r), KMATH_OK);
    EXPECT_EQ(toEigen(r), Eigen::Matrix4cd::Zero());
}

TEST(Matrix4c, EndsForAnyElements)
{
    RandomRecords random(7);
    for (int repeat = 0; repeat < 1000; ++repeat) {
        kmath_matrix4c m = random.matrix(), r = untouched();
        for (int count = repeat % 17; count > 0; --count)
            m.m[random.generator() % 4][random.generator() % 4] = {random.anything(),
                                                                   random.anything()};
        const kmath_status status = kmath_matrix4c_getInverse(&m, &r);
        EXPECT_TRUE(status == KMATH_OK || status == KMATH_ERR_SINGULAR);
        if (status != KMATH_OK) {
            EXPECT_TRUE(sameBits(r, untouched()));
        }
        EXPECT_EQ(kmath_matrix4c_initMultiply(&r, &m, &m), KMATH_OK);
        EXPECT_TRUE(sameBits(r, plainProduct(m, m)));
        EXPECT_TRUE(sameBits(determinant(m), plainDeterminant(m)));
        kmath_vect4c v = random.vector();
        kmath_complex trace;
        EXPECT_EQ(kmath_matrix4c_multv(&m, &v, &v), KMATH_OK);
        EXPECT_EQ(kmath_matrix4c_trace(&m, &trace), KMATH_OK);
        EXPECT_EQ(kmath_matrix4c_initAdd(&r, &m, &m), KMATH_OK);
        EXPECT_EQ(kmath_matrix4c_scale(&m, &m.m[3][3]), KMATH_OK);
    }
}

TEST(Matrix4c, AssertsEveryPointer)
{
    kmath_matrix4c m = identity();
    kmath_matrix4 part;
    kmath_vect4c v = {};
    kmath_complex c = {1, 2};
    for (const auto set :
         {kmath_matrix4c_initIdentity, kmath_matrix4c_initClear, kmath_matrix4c_reset})
        EXPECT_NE(assertedLine([&] { set(nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix4c_realImag(nullptr, &part, &part); }), 0);
    for (const auto combine : {kmath_matrix4c_initMultiply, kmath_matrix4c_initAdd}) {
        EXPECT_NE(assertedLine([&] { combine(nullptr, &m, &m); }), 0);
        EXPECT_NE(assertedLine([&] { combine(&m, nullptr, &m); }), 0);
        EXPECT_NE(assertedLine([&] { combine(&m, &m, nullptr); }), 0);
    }
    EXPECT_NE(assertedLine([&] { kmath_matrix4c_multv(nullptr, &v, &v); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix4c_multv(&m, nullptr, &v); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix4c_multv(&m, &v, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix4c_scale(nullptr, &c); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix4c_scale(&m, nullptr); }), 0);
    for (const auto reduce : {kmath_matrix4c_trace, kmath_matrix4c_determinant}) {
        EXPECT_NE(assertedLine([&] { reduce(nullptr, &c); }), 0);
        EXPECT_NE(assertedLine([&] { reduce(&m, nullptr); }), 0);
    }
    EXPECT_NE(assertedLine([&] { kmath_matrix4c_getInverse(nullptr, &m); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix4c_getInverse(&m, nullptr); }), 0);
}

TEST(Matrix4c, AllocatesNothing)
{
    kmath_matrix4c m = untouched(), r;
    kmath_vect4c v = RandomRecords(10).vector();
    kmath_complex c;
    EXPECT_EQ(allocationsOf([&] {
                  kmath_matrix4c_initMultiply(&r, &m, &m);
                  kmath_matrix4c_multv(&m, &v, &v);
                  kmath_matrix4c_determinant(&m, &c);
                  kmath_matrix4c_getInverse(&m, &r);
              }),
              0);
}

} // namespace
