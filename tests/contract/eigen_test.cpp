// The direct eigenvalue drivers seen from outside: residuals, LAPACK's values, the promised orders,
// refusals, and the memory that small matrices do not take.
#include "contract/textbook.hpp"
#include "support/services.hpp"
#include "support/vectors.hpp"

#include <kmath/eigen.h>

#include <gtest/gtest.h>

#include <lapacke.h>

#include <algorithm>
#include <complex>
#include <functional>
#include <limits>

namespace
{

using support::allocationsOf;
using support::assertedLine;
using support::build;
using support::diagonal;
using support::Doubles;
using support::Matrix;
using support::oneNorm;
using support::randomMatrix;
using support::randomSymmetric;
using support::sameBits;

constexpr double eps = 2.220446049250313e-16;
constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

double at(const std::vector<double> &v, int i) { return v[static_cast<std::size_t>(i)]; }

TEST(EigenRules, SymmetricPairsSatisfyTheirEquation)
{
    std::vector<Matrix> all;
    for (const int n : {1, 2, 3, 4, 5, 6, 7, 8, 15, 16, 17, 40}) {
        const auto seed = static_cast<std::uint64_t>(700 + n);
        all.push_back(randomSymmetric(n, seed));
        const Matrix X = randomSymmetric(n, seed + 50);
        all.push_back(build(n, n, [&](int i, int j) {
            return X(i, j) * std::pow(10.0, -15.0 * (i + j) / (2 * n));
        }));
        all.push_back(build(n, n, [](int, int) { return 1.0; }));
        all.push_back(Matrix(n, n));
        all.push_back(textbook::timesTransposed(X, X));
    }
    for (const Matrix &A : all) {
        const int n = A.rows();
        const Matrix old = A;
        Doubles values;
        Matrix Z = randomMatrix(2, 5);
        ASSERT_EQ(kmath_nmmatrix_symEigenvalues(&A, &values, &Z), KMATH_OK) << n;
        EXPECT_TRUE(sameBits(A, old));
        std::vector<double> d = values.values();
        ASSERT_EQ(d.size(), static_cast<std::size_t>(n));
        ASSERT_EQ(Z.rows(), n);
        ASSERT_EQ(Z.cols(), n);
        const Matrix AZ = textbook::product(A, Z);
        const Matrix residual =
            build(n, n, [&](int i, int j) { return AZ(i, j) - Z(i, j) * at(d, j); });
        const Matrix gram = textbook::transposedTimes(Z, Z);
        const Matrix skew = build(n, n, [&](int i, int j) { return gram(i, j) - (i == j); });
        EXPECT_LE(oneNorm(residual), 60 * n * eps * oneNorm(A)) << n;
        EXPECT_LE(oneNorm(skew), 60 * n * eps) << n;

        std::vector<double> a(A->rows[0], A->rows[0] + n * n), w(static_cast<std::size_t>(n));
        ASSERT_EQ(LAPACKE_dsyev(LAPACK_ROW_MAJOR, 'N', 'U', n, a.data(), n, w.data()), 0);
        std::sort(d.begin(), d.end());
        for (int i = 0; i < n; ++i)
            EXPECT_NEAR(at(d, i), at(w, i), 10 * n * eps * oneNorm(A));
    }
}

TEST(EigenRules, ADiagonalMatrixGivesItsElementsInOrder)
{
    for (const Matrix &A : {Matrix{{-7.25}}, diagonal({3, -1, 2}), diagonal({0, 0, 5, 5, -5, 1}),
                            diagonal({9, 1, 8, 2, 7, 3, 6, 4})}) {
        Doubles values;
        Matrix Z;
        ASSERT_EQ(kmath_nmmatrix_symEigenvalues(&A, &values, &Z), KMATH_OK);
        const std::vector<double> d = values.values();
        for (int i = 0; i < A.rows(); ++i) {
            EXPECT_EQ(at(d, i), A(i, i));
            for (int j = 0; j < A.rows(); ++j)
                EXPECT_EQ(std::fabs(Z(j, i)), i == j ? 1.0 : 0.0);
        }
        if (A.rows() == 1) {
            EXPECT_EQ(Z(0, 0), 1.0);
        }
        Doubles re, im;
        for (const int flag : {0, 1}) {
            ASSERT_EQ(kmath_nmmatrix_eigenvalues(&A, flag, &re, &im), KMATH_OK);
            for (int i = 0; i < A.rows(); ++i) {
                EXPECT_EQ(at(re.values(), i), A(i, i));
                EXPECT_EQ(at(im.values(), i), 0.0);
            }
        }
    }
}

TEST(EigenRules, SmallSymmetricMatricesTakeNoMemoryBeyondTheirOutputs)
{
    for (int n = 1; n <= 6; ++n) {
        const Matrix A = randomSymmetric(n, 800);
        Doubles values;
        Matrix Z;
        ASSERT_EQ(kmath_nmmatrix_symEigenvalues(&A, &values, &Z), KMATH_OK);
        EXPECT_EQ(allocationsOf([&] { kmath_nmmatrix_symEigenvalues(&A, &values, &Z); }), 0) << n;
    }
}

TEST(EigenRules, OnlySquareMatricesHaveEigenvalues)
{
    const Matrix A = randomMatrix(2, 3);
    Doubles a, b;
    Matrix Z;
    EXPECT_EQ(kmath_nmmatrix_symEigenvalues(&A, &a, &Z), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(kmath_nmmatrix_eigenvalues(&A, 0, &a, &b), KMATH_ERR_BAD_DIMENSIONS);
    const Matrix none(0, 0);
    EXPECT_EQ(kmath_nmmatrix_symEigenvalues(&none, &a, &Z), KMATH_OK);
    EXPECT_TRUE(a.values().empty());
    EXPECT_EQ(kmath_nmmatrix_eigenvalues(&none, 0, &a, &b), KMATH_OK);
    EXPECT_TRUE(a.values().empty());
    EXPECT_TRUE(b.values().empty());
}

TEST(EigenRules, WhatIsNotFiniteEndsAsSingular)
{
    for (const int n : {2, 3, 6, 7, 20})
        for (const double bad : {nan, inf, -inf}) {
            Matrix A = randomSymmetric(n, 801);
            A(n - 1, 0) = A(0, n - 1) = bad;
            Doubles a, b;
            Matrix Z;
            EXPECT_EQ(kmath_nmmatrix_symEigenvalues(&A, &a, &Z), KMATH_ERR_SINGULAR) << n << bad;
            EXPECT_EQ(kmath_nmmatrix_eigenvalues(&A, 0, &a, &b), KMATH_ERR_SINGULAR) << n << bad;
        }
}

TEST(EigenRules, AQuarterTurnHasImaginaryEigenvalues)
{
    const Matrix A = {{0, -1}, {1, 0}};
    Doubles re, im;
    for (const int flag : {0, 1}) {
        ASSERT_EQ(kmath_nmmatrix_eigenvalues(&A, flag, &re, &im), KMATH_OK);
        EXPECT_EQ(at(re.values(), 0), 0.0);
        EXPECT_EQ(at(re.values(), 1), 0.0);
        EXPECT_NEAR(std::fabs(at(im.values(), 0)), 1.0, 1e-15);
        EXPECT_EQ(at(im.values(), 0), -at(im.values(), 1));
    }
}

TEST(EigenRules, GeneralEigenvaluesAgreeWithLapack)
{
    for (const int n : {1, 2, 3, 4, 5, 6, 7, 10, 17, 30}) {
        const Matrix A = randomMatrix(n, n, static_cast<std::uint64_t>(900 + n));
        std::vector<double> a(A->rows[0], A->rows[0] + n * n), wr(static_cast<std::size_t>(n)),
            wi(wr);
        ASSERT_EQ(LAPACKE_dgeev(LAPACK_ROW_MAJOR, 'N', 'N', n, a.data(), n, wr.data(), wi.data(),
                                nullptr, n, nullptr, n),
                  0);
        for (const int flag : {0, 1}) {
            const Matrix old = A;
            Doubles re, im;
            ASSERT_EQ(kmath_nmmatrix_eigenvalues(&A, flag, &re, &im), KMATH_OK);
            EXPECT_TRUE(sameBits(A, old));
            const std::vector<double> x = re.values(), y = im.values();
            ASSERT_EQ(x.size(), static_cast<std::size_t>(n));
            ASSERT_EQ(y.size(), static_cast<std::size_t>(n));
            std::vector<std::complex<double>> left;
            for (int i = 0; i < n; ++i)
                left.emplace_back(at(wr, i), at(wi, i));
            double trace = 0, sum = 0;
            for (int i = 0; i < n; ++i) {
                trace += A(i, i);
                sum += at(x, i);
                const std::complex<double> z(at(x, i), at(y, i));
                const auto nearest =
                    std::min_element(left.begin(), left.end(), [&](const auto &p, const auto &q) {
                        return std::abs(p - z) < std::abs(q - z);
                    });
                EXPECT_LT(std::abs(*nearest - z), 1e-11) << n;
                left.erase(nearest);
                // The other half of a pair stands beside it.
                if (at(y, i) > 0.0) {
                    const bool before =
                        i > 0 && at(y, i - 1) == -at(y, i) && at(x, i - 1) == at(x, i);
                    const bool after =
                        i + 1 < n && at(y, i + 1) == -at(y, i) && at(x, i + 1) == at(x, i);
                    EXPECT_TRUE(before || after);
                }
            }
            EXPECT_NEAR(trace, sum, 1e-11);
        }
    }
}

TEST(EigenRules, ACompanionMatrixGivesTheRootsOfItsPolynomial)
{
    // (x − 1)(x − 2)(x − 3)(x² + 1)
    const Matrix A = {
        {6, -12, 12, -11, 6}, {1, 0, 0, 0, 0}, {0, 1, 0, 0, 0}, {0, 0, 1, 0, 0}, {0, 0, 0, 1, 0}};
    Doubles re, im;
    ASSERT_EQ(kmath_nmmatrix_eigenvalues(&A, 0, &re, &im), KMATH_OK);
    std::vector<std::complex<double>> roots = {1, 2, 3, {0, 1}, {0, -1}};
    for (int i = 0; i < 5; ++i) {
        const std::complex<double> z(at(re.values(), i), at(im.values(), i));
        const auto nearest = std::find_if(roots.begin(), roots.end(),
                                          [&](const auto &r) { return std::abs(r - z) < 1e-12; });
        ASSERT_NE(nearest, roots.end()) << z;
        roots.erase(nearest);
    }
}

TEST(EigenRules, OutputsAreResizedFromAnySize)
{
    Doubles a, b;
    Matrix Z;
    for (const int n : {9, 3, 1, 12}) {
        const Matrix A = randomSymmetric(n, 811);
        EXPECT_EQ(kmath_nmmatrix_symEigenvalues(&A, &a, &Z), KMATH_OK);
        EXPECT_EQ(a.values().size(), static_cast<std::size_t>(n));
        EXPECT_EQ(kmath_nmmatrix_eigenvalues(&A, 0, &a, &b), KMATH_OK);
        EXPECT_EQ(a.values().size(), static_cast<std::size_t>(n));
        EXPECT_EQ(b.values().size(), static_cast<std::size_t>(n));
    }
}

TEST(EigenRules, EverythingIsGivenBackWhenAnAllocationFails)
{
    for (const int n : {2, 6, 7, 20}) {
        const Matrix A = randomSymmetric(n, 812);
        support::sweepAllocationFailures([&] {
            Doubles values;
            Matrix Z;
            return kmath_nmmatrix_symEigenvalues(&A, &values, &Z);
        });
        support::sweepAllocationFailures([&] {
            Doubles re, im;
            return kmath_nmmatrix_eigenvalues(&A, 0, &re, &im);
        });
    }
}

TEST(EigenRules, NullRecordsAreReported)
{
    const Matrix A = support::identity(2);
    Doubles a, b;
    Matrix Z;
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_symEigenvalues(nullptr, &a, &Z); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_symEigenvalues(&A, &a, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_eigenvalues(nullptr, 0, &a, &b); }), 0);
}

// The 3×3 driver.

struct Pairs {
    double values[3] = {nan, nan, nan};
    kmath_vect3 vectors[3] = {{nan, nan, nan}, {nan, nan, nan}, {nan, nan, nan}};
};

Pairs pairsOf(const kmath_matrix3 &M)
{
    Pairs p;
    EXPECT_EQ(kmath_matrix3_symEigenvalues(&M, p.values, p.vectors), KMATH_OK);
    return p;
}

TEST(EigenRules, ThreeByThreePairsAreOrderedByMagnitude)
{
    const Pairs p = pairsOf({-3, 0, 0, 0, 1, 0, 0, 0, 2});
    EXPECT_EQ(p.values[0], 1.0);
    EXPECT_EQ(p.values[1], 2.0);
    EXPECT_EQ(p.values[2], -3.0);
    EXPECT_EQ(std::fabs(p.vectors[0].y), 1.0);
    EXPECT_EQ(std::fabs(p.vectors[1].z), 1.0);
    EXPECT_EQ(std::fabs(p.vectors[2].x), 1.0);
    const Pairs zero = pairsOf({0, 0, 0, 0, 0, 0, 0, 0, 0});
    for (const double value : zero.values)
        EXPECT_EQ(value, 0.0);
}

TEST(EigenRules, ThreeByThreePairsSatisfyTheirEquation)
{
    std::vector<kmath_matrix3> all = {
        {2, 1, 0, 1, 2, 0, 0, 0, 3},  {1, 1, 1, 1, 1, 1, 1, 1, 1},
        {0, 1, 0, 1, 0, 0, 0, 0, 1},  {1, 1e-9, 0, 1e-9, 1, 1e-9, 0, 1e-9, 1},
        {-1, 0, 0, 0, 0, 1, 0, 1, 0}, {1e-8, 1e-8, 0, 1e-8, 1, 0, 0, 0, 1e8}};
    for (std::uint64_t seed = 0; seed < 300; ++seed) {
        const Matrix S = randomSymmetric(3, 820 + seed);
        const double s = std::pow(10.0, static_cast<double>(seed % 11) - 5);
        all.push_back({S(0, 0) * s, S(0, 1) * s, S(0, 2) * s, S(1, 0) * s, S(1, 1) * s, S(1, 2) * s,
                       S(2, 0) * s, S(2, 1) * s, S(2, 2) * s});
    }
    for (const kmath_matrix3 &M : all) {
        const Pairs p = pairsOf(M);
        const Matrix A = {{M.m00, M.m01, M.m02}, {M.m10, M.m11, M.m12}, {M.m20, M.m21, M.m22}};
        const double norm = oneNorm(A);
        for (int i = 0; i < 3; ++i) {
            const kmath_vect3 &v = p.vectors[i];
            kmath_vect3 r;
            kmath_matrix3_multv(&M, &v, &r);
            EXPECT_NEAR(r.x, p.values[i] * v.x, 200 * eps * norm);
            EXPECT_NEAR(r.y, p.values[i] * v.y, 200 * eps * norm);
            EXPECT_NEAR(r.z, p.values[i] * v.z, 200 * eps * norm);
            for (int j = 0; j < 3; ++j) {
                double dot;
                kmath_vect3_dot(&v, &p.vectors[j], &dot);
                EXPECT_NEAR(dot, i == j ? 1.0 : 0.0, 1e-13);
            }
        }
        EXPECT_LE(std::fabs(p.values[0]), std::fabs(p.values[1]));
        EXPECT_LE(std::fabs(p.values[1]), std::fabs(p.values[2]));
        double w[3], a[9];
        std::copy(A->rows[0], A->rows[0] + 9, a);
        ASSERT_EQ(LAPACKE_dsyev(LAPACK_ROW_MAJOR, 'N', 'U', 3, a, 3, w), 0);
        double sorted[3] = {p.values[0], p.values[1], p.values[2]};
        std::sort(sorted, sorted + 3);
        for (int i = 0; i < 3; ++i)
            EXPECT_NEAR(sorted[i], w[i], 60 * eps * norm);
    }
}

TEST(EigenRules, ThreeByThreeEndsForAnyBits)
{
    for (const double bad : {nan, inf, -inf, 1e308, 5e-324}) {
        Pairs p;
        const kmath_matrix3 M = {bad, 1, bad, 1, bad, 2, bad, 2, 3};
        kmath_matrix3_symEigenvalues(&M, p.values, p.vectors);
    }
    const kmath_matrix3 M = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    Pairs p;
    EXPECT_NE(assertedLine([&] { kmath_matrix3_symEigenvalues(nullptr, p.values, p.vectors); }), 0);
    pairsOf(M);
}

} // namespace
