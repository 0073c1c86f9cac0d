#include "support/services.hpp"

#include <kmath/eigen.h>

#include <gtest/gtest.h>
#include <lapacke.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>

using support::allocationsOf;
using support::assertedLine;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double epsilon = std::numeric_limits<double>::epsilon();

struct Decomposition {
    double values[3];
    kmath_vect3 vectors[3];
};

Decomposition decompose(const kmath_matrix3 &M)
{
    Decomposition result;
    std::fill_n(result.values, 3, -77.0);
    std::fill_n(result.vectors, 3, kmath_vect3{-77.0, -77.0, -77.0});
    EXPECT_EQ(kmath_matrix3_symEigenvalues(&M, result.values, result.vectors), KMATH_OK);
    return result;
}

kmath_matrix3 symmetric(double xx, double yy, double zz, double xy, double xz, double yz)
{
    return {xx, xy, xz, xy, yy, yz, xz, yz, zz};
}

kmath_matrix3 diagonal(double x, double y, double z) { return symmetric(x, y, z, 0, 0, 0); }

double component(const kmath_vect3 &v, int i) { return i == 0 ? v.x : i == 1 ? v.y : v.z; }

double element(const kmath_matrix3 &M, int i, int j)
{
    const double elements[9] = {M.m00, M.m01, M.m02, M.m10, M.m11, M.m12, M.m20, M.m21, M.m22};
    return elements[3 * i + j];
}

double norm(const kmath_matrix3 &M)
{
    long double sum = 0.0L;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            sum += static_cast<long double>(element(M, i, j)) * element(M, i, j);
    return static_cast<double>(std::sqrt(sum));
}

// |M·v − λ·v|, formed in extended precision, which also spares us the overflow.
double residual(const kmath_matrix3 &M, double value, const kmath_vect3 &v)
{
    long double sum = 0.0L;
    for (int i = 0; i < 3; ++i) {
        long double row = -static_cast<long double>(value) * component(v, i);
        for (int j = 0; j < 3; ++j)
            row += static_cast<long double>(element(M, i, j)) * component(v, j);
        sum += row * row;
    }
    return static_cast<double>(std::sqrt(sum));
}

double orthogonalityError(const kmath_vect3 (&vectors)[3])
{
    double most = 0.0;
    for (int i = 0; i < 3; ++i)
        for (int j = i; j < 3; ++j) {
            long double product = 0.0L;
            for (int k = 0; k < 3; ++k)
                product +=
                    static_cast<long double>(component(vectors[i], k)) * component(vectors[j], k);
            most = std::max(most, static_cast<double>(std::fabs(product - (i == j ? 1.0L : 0.0L))));
        }
    return most;
}

// With vectors: the variant for values alone loses digits of elements graded over hundreds of
// orders of magnitude.
void sortedByLapack(const kmath_matrix3 &M, double (&values)[3])
{
    double a[9];
    for (int i = 0; i < 9; ++i)
        a[i] = element(M, i / 3, i % 3);
    ASSERT_EQ(LAPACKE_dsyev(LAPACK_ROW_MAJOR, 'V', 'U', 3, a, 3, values), 0);
}

// What every finite symmetric matrix must get: ordered values close to LAPACK's, small residuals
// and an orthonormal basis. The tolerances are a few roundings of
// the norm.
void expectGood(const kmath_matrix3 &M)
{
    const Decomposition e = decompose(M);
    const double size = norm(M);
    for (int i = 0; i < 3; ++i)
        EXPECT_LE(residual(M, e.values[i], e.vectors[i]), 12.0 * epsilon * size) << i;
    EXPECT_LE(orthogonalityError(e.vectors), 12.0 * epsilon);
    EXPECT_LE(std::fabs(e.values[0]), std::fabs(e.values[1]));
    EXPECT_LE(std::fabs(e.values[1]), std::fabs(e.values[2]));

    double expected[3], actual[3];
    sortedByLapack(M, expected);
    std::copy_n(e.values, 3, actual);
    std::sort(actual, actual + 3);
    for (int i = 0; i < 3; ++i)
        EXPECT_NEAR(actual[i], expected[i], 20.0 * epsilon * size) << i;
}

using Generator = std::mt19937_64;

double uniform(Generator &generator)
{
    return std::uniform_real_distribution<double>(-1.0, 1.0)(generator);
}

// Q·diag(values)·Qᵀ with the rotation Q of a random quaternion.
kmath_matrix3 withValues(double l0, double l1, double l2, Generator &generator)
{
    std::normal_distribution<double> normal;
    double w = normal(generator), x = normal(generator), y = normal(generator),
           z = normal(generator);
    const double length = std::sqrt(w * w + x * x + y * y + z * z);
    w /= length, x /= length, y /= length, z /= length;
    const double Q[3][3] = {
        {1.0 - 2.0 * (y * y + z * z), 2.0 * (x * y - w * z), 2.0 * (x * z + w * y)},
        {2.0 * (x * y + w * z), 1.0 - 2.0 * (x * x + z * z), 2.0 * (y * z - w * x)},
        {2.0 * (x * z - w * y), 2.0 * (y * z + w * x), 1.0 - 2.0 * (x * x + y * y)}};
    const auto at = [&](int i, int j) {
        return Q[i][0] * l0 * Q[j][0] + Q[i][1] * l1 * Q[j][1] + Q[i][2] * l2 * Q[j][2];
    };
    return symmetric(at(0, 0), at(1, 1), at(2, 2), at(0, 1), at(0, 2), at(1, 2));
}

kmath_matrix3 ofSixElements(const std::function<double()> &next)
{
    const double xx = next(), yy = next(), zz = next(), xy = next(), xz = next(), yz = next();
    return symmetric(xx, yy, zz, xy, xz, yz);
}

void expectGoodFor(int count, const std::string &name,
                   const std::function<kmath_matrix3(Generator &)> &next)
{
    SCOPED_TRACE(name);
    Generator generator(20);
    for (int i = 0; i < count; ++i) {
        const kmath_matrix3 M = next(generator);
        expectGood(M);
        if (testing::Test::HasFailure()) {
            ADD_FAILURE() << "matrix " << i << " with the upper triangle " << std::hexfloat << M.m00
                          << ' ' << M.m01 << ' ' << M.m02 << ' ' << M.m11 << ' ' << M.m12 << ' '
                          << M.m22;
            return;
        }
    }
}

void expectAxis(const kmath_vect3 &v, int axis)
{
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(std::fabs(component(v, i)), i == axis ? 1.0 : 0.0);
}

TEST(Matrix3SymEigenvalues, OrdersADiagonalByMagnitudeKeepingSigns)
{
    const Decomposition e = decompose(diagonal(-3.0, 1.0, 2.0));
    EXPECT_EQ(e.values[0], 1.0);
    EXPECT_EQ(e.values[1], 2.0);
    EXPECT_EQ(e.values[2], -3.0);
    expectAxis(e.vectors[0], 1);
    expectAxis(e.vectors[1], 2);
    expectAxis(e.vectors[2], 0);
}

TEST(Matrix3SymEigenvalues, KeepsTheOrderOfADiagonalAmongEqualMagnitudes)
{
    const Decomposition e = decompose(diagonal(2.0, -1.0, 1.0));
    EXPECT_EQ(e.values[0], -1.0);
    EXPECT_EQ(e.values[1], 1.0);
    EXPECT_EQ(e.values[2], 2.0);
    expectAxis(e.vectors[0], 1);
    expectAxis(e.vectors[1], 2);

    for (const double value : {0.0, 1.0, -2.385}) {
        const Decomposition same = decompose(diagonal(value, value, value));
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(same.values[i], value);
            expectAxis(same.vectors[i], i);
        }
    }
}

TEST(Matrix3SymEigenvalues, IsExactForAnyDiagonal)
{
    const Decomposition e = decompose(diagonal(1e308, -1e-320, 2.385));
    EXPECT_EQ(e.values[0], -1e-320);
    EXPECT_EQ(e.values[1], 2.385);
    EXPECT_EQ(e.values[2], 1e308);
}

TEST(Matrix3SymEigenvalues, SolvesTextbookMatrices)
{
    const Decomposition e = decompose(symmetric(2.0, 2.0, 5.0, 1.0, 0.0, 0.0));
    EXPECT_NEAR(e.values[0], 1.0, 1e-15);
    EXPECT_NEAR(e.values[1], 3.0, 1e-15);
    EXPECT_NEAR(e.values[2], 5.0, 1e-15);
    EXPECT_NEAR(e.vectors[0].x * e.vectors[0].y, -0.5, 1e-15);
    EXPECT_NEAR(e.vectors[1].x * e.vectors[1].y, 0.5, 1e-15);
    expectAxis(e.vectors[2], 2);

    // The second difference: 2 − √2, 2, 2 + √2.
    const Decomposition d = decompose(symmetric(2.0, 2.0, 2.0, -1.0, 0.0, -1.0));
    EXPECT_NEAR(d.values[0], 0.5857864376269049, 1e-15);
    EXPECT_NEAR(d.values[1], 2.0, 1e-15);
    EXPECT_NEAR(d.values[2], 3.414213562373095, 1e-15);
    EXPECT_NEAR(std::fabs(d.vectors[1].x), std::sqrt(0.5), 1e-15);
    EXPECT_NEAR(d.vectors[1].y, 0.0, 1e-15);

    // All ones: 0, 0, 3.
    const Decomposition ones = decompose(symmetric(1.0, 1.0, 1.0, 1.0, 1.0, 1.0));
    EXPECT_NEAR(ones.values[0], 0.0, 1e-15);
    EXPECT_NEAR(ones.values[1], 0.0, 1e-15);
    EXPECT_NEAR(ones.values[2], 3.0, 1e-15);
    for (int i = 0; i < 3; ++i)
        EXPECT_NEAR(std::fabs(component(ones.vectors[2], i)), std::sqrt(1.0 / 3.0), 1e-15);
}

TEST(Matrix3SymEigenvalues, IsGoodForRandomMatrices)
{
    expectGoodFor(50000, "uniform",
                  [](Generator &g) { return ofSixElements([&] { return uniform(g); }); });
    expectGoodFor(10000, "small integers", [](Generator &g) {
        return ofSixElements([&] { return static_cast<double>(g() % 5) - 2.0; });
    });
}

TEST(Matrix3SymEigenvalues, IsGoodForNearlyEqualEigenvalues)
{
    for (int digits = 1; digits <= 17; ++digits) {
        const double gap = std::pow(10.0, -digits);
        expectGoodFor(2000, "pair, 1e-" + std::to_string(digits), [=](Generator &g) {
            const double value = uniform(g);
            return withValues(value, value + gap, uniform(g), g);
        });
        expectGoodFor(2000, "triple, 1e-" + std::to_string(digits), [=](Generator &g) {
            const double value = uniform(g);
            return withValues(value, value + gap * uniform(g), value + gap * uniform(g), g);
        });
        // A diagonal of equal elements with a tiny remainder beside it.
        expectGoodFor(500, "remainder, 1e-" + std::to_string(digits), [=](Generator &g) {
            kmath_matrix3 M = ofSixElements([&] { return gap * uniform(g); });
            M.m00 += 1.0;
            M.m11 += 1.0;
            M.m22 += 1.0;
            return M;
        });
    }
}

TEST(Matrix3SymEigenvalues, IsGoodForDeficientRank)
{
    expectGoodFor(10000, "rank 1", [](Generator &g) {
        const double x = uniform(g), y = uniform(g), z = uniform(g);
        return symmetric(x * x, y * y, z * z, x * y, x * z, y * z);
    });
    expectGoodFor(10000, "rank 2",
                  [](Generator &g) { return withValues(uniform(g), uniform(g), 0.0, g); });
    expectGoodFor(2000, "opposite pair",
                  [](Generator &g) { return withValues(1.0, -1.0, 0.0, g); });
}

TEST(Matrix3SymEigenvalues, IsGoodForGradedMatrices)
{
    expectGoodFor(10000, "values",
                  [](Generator &g) { return withValues(1.0, 1e-8 * uniform(g), 1e-16, g); });
    expectGoodFor(10000, "elements", [](Generator &g) {
        return ofSixElements([&] { return uniform(g) * std::pow(10.0, 16.0 * uniform(g)); });
    });
    expectGoodFor(10000, "anything", [](Generator &g) {
        return ofSixElements([&] { return uniform(g) * std::pow(10.0, 150.0 * uniform(g)); });
    });
}

TEST(Matrix3SymEigenvalues, IsGoodForOneOffDiagonalElement)
{
    for (const double small : {1.0, 1e-5, 1e-15, 1e-17, 1e-160, 1e-300, 5e-324})
        for (const auto &M :
             {symmetric(1, 1, 1, small, 0, 0), symmetric(1, 1, 1, 0, small, 0),
              symmetric(1, 1, 1, 0, 0, small), symmetric(1, 2, 3, small, 0, 0),
              symmetric(1, 2, 1, 0, -small, 0), symmetric(0, 0, 1, 0, 0, small),
              symmetric(0, 0, 0, small, 0, 0), symmetric(-1, 1, 0, small, small, small)}) {
            SCOPED_TRACE(small);
            expectGood(M);
        }
}

// The mean of such a diagonal rounds onto its smaller element, so that what is left when it is
// subtracted still has a trace as large as itself.
TEST(Matrix3SymEigenvalues, IsGoodWhereTheMeanIsRounded)
{
    const double above = 1.5 + epsilon;
    for (const double small : {1e-20, 1e-40, 1e-300})
        for (const auto &M :
             {symmetric(above, above, 1.5, small, 0, 0), symmetric(above, 1.5, above, 0, small, 0),
              symmetric(1.5, above, above, 0, 0, small), symmetric(above, above, 1.5, 0, small, 0),
              symmetric(1.5, 1.5, above, small, small, small)}) {
            SCOPED_TRACE(small);
            expectGood(M);
        }
}

TEST(Matrix3SymEigenvalues, ScalesByPowersOfTwoWithoutTrace)
{
    Generator generator(30);
    for (int repeat = 0; repeat < 200; ++repeat) {
        const kmath_matrix3 M = ofSixElements([&] { return uniform(generator); });
        const Decomposition e = decompose(M);
        for (const int exponent : {-900, -300, 1, 300, 1020}) {
            kmath_matrix3 scaled = M;
            // In two steps, as the last factor times an element is in range but not the factor.
            kmath_matrix3_scale(&scaled, std::ldexp(1.0, exponent / 2));
            kmath_matrix3_scale(&scaled, std::ldexp(1.0, exponent - exponent / 2));
            const Decomposition s = decompose(scaled);
            for (int i = 0; i < 3; ++i) {
                EXPECT_EQ(s.values[i], std::ldexp(e.values[i], exponent));
                for (int k = 0; k < 3; ++k)
                    EXPECT_EQ(component(s.vectors[i], k), component(e.vectors[i], k));
            }
        }
    }
}

TEST(Matrix3SymEigenvalues, ReachesTheEndsOfTheRange)
{
    // A value above the largest double overflows, and the others stay right.
    const double huge = 1.7e308;
    const Decomposition large = decompose(symmetric(huge, huge, huge, huge, huge, huge));
    EXPECT_EQ(large.values[2], infinity);
    EXPECT_NEAR(large.values[1] / huge, 0.0, 1e-15);
    EXPECT_LE(orthogonalityError(large.vectors), 12.0 * epsilon);

    const Decomposition tiny = decompose(symmetric(0.0, 0.0, 1e-310, 1e-310, 0.0, 0.0));
    for (const double value : tiny.values)
        EXPECT_NEAR(std::fabs(value), 1e-310, 1e-323);
    EXPECT_LE(orthogonalityError(tiny.vectors), 12.0 * epsilon);
}

TEST(Matrix3SymEigenvalues, ReadsTheUpperTriangleAlone)
{
    const kmath_matrix3 M = symmetric(1.0, 2.0, 3.0, 0.5, -0.25, 0.75);
    kmath_matrix3 other = M;
    other.m10 = 1e9;
    other.m20 = notANumber;
    other.m21 = infinity;
    const Decomposition e = decompose(M), o = decompose(other);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(o.values[i], e.values[i]);
        for (int k = 0; k < 3; ++k)
            EXPECT_EQ(component(o.vectors[i], k), component(e.vectors[i], k));
    }
}

TEST(Matrix3SymEigenvalues, GivesNaNAndNoVectorsForNonFiniteElements)
{
    for (const double wild : {notANumber, infinity, -infinity})
        for (int place = 0; place < 6; ++place) {
            double elements[6] = {1.0, 2.0, 3.0, 0.5, -0.25, 0.75};
            elements[place] = wild;
            const Decomposition e = decompose(symmetric(elements[0], elements[1], elements[2],
                                                        elements[3], elements[4], elements[5]));
            for (int i = 0; i < 3; ++i) {
                EXPECT_TRUE(std::isnan(e.values[i]));
                for (int k = 0; k < 3; ++k)
                    EXPECT_EQ(component(e.vectors[i], k), 0.0);
            }
        }
}

TEST(Matrix3SymEigenvalues, OrdersNonFiniteDiagonalsLast)
{
    const Decomposition e = decompose(diagonal(-infinity, 5.0, notANumber));
    EXPECT_EQ(e.values[0], 5.0);
    expectAxis(e.vectors[0], 1);
    EXPECT_EQ(e.values[1], -infinity);
    expectAxis(e.vectors[1], 0);
    EXPECT_TRUE(std::isnan(e.values[2]));
    expectAxis(e.vectors[2], 2);

    const Decomposition all = decompose(diagonal(notANumber, notANumber, notANumber));
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(std::isnan(all.values[i]));
        expectAxis(all.vectors[i], i);
    }
}

TEST(Matrix3SymEigenvalues, AllocatesNothing)
{
    EXPECT_EQ(allocationsOf([] { decompose(symmetric(1, 2, 3, 4, 5, 6)); }), 0);
}

TEST(Matrix3SymEigenvalues, AssertsItsPointers)
{
    const kmath_matrix3 M = diagonal(1, 2, 3);
    double values[3];
    kmath_vect3 vectors[3];
    EXPECT_NE(assertedLine([&] { kmath_matrix3_symEigenvalues(nullptr, values, vectors); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_symEigenvalues(&M, nullptr, vectors); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_matrix3_symEigenvalues(&M, values, nullptr); }), 0);
}

} // namespace
