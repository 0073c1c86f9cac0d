// Singular values seen from outside: the conventions of the two decompositions judged by scaled
// residuals and by LAPACK, condition number and damped inverse rebuilt from the decomposition.
#include "contract/textbook.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <lapacke.h>

#include <algorithm>
#include <functional>
#include <limits>

namespace
{

using support::assertedLine;
using support::build;
using support::diagonal;
using support::Matrix;
using support::maxDifference;
using support::oneNorm;
using support::randomMatrix;
using support::sameBits;

constexpr double eps = 2.220446049250313e-16;
constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

using Decomposition = kmath_status (*)(const kmath_nmmatrix *, kmath_nmmatrix *, kmath_nmmatrix *,
                                       kmath_nmmatrix *);

Matrix padded(const Matrix &A)
{
    return build(std::max(A.rows(), A.cols()), A.cols(),
                 [&](int i, int j) { return i < A.rows() ? A(i, j) : 0.0; });
}

Matrix times(const Matrix &A, const Matrix &B) { return textbook::product(A, B); }
Matrix timesT(const Matrix &A, const Matrix &B) { return textbook::timesTransposed(A, B); }

Matrix difference(const Matrix &A, const Matrix &B)
{
    EXPECT_EQ(A.rows(), B.rows());
    EXPECT_EQ(A.cols(), B.cols());
    return build(A.rows(), A.cols(), [&](int i, int j) { return A(i, j) - B(i, j); });
}

double orthonormality(const Matrix &Q)
{
    return oneNorm(difference(textbook::transposedTimes(Q, Q), support::identity(Q.cols()))) /
           (std::max(1, Q.rows()) * eps);
}

double reconstruction(const Matrix &A, const Matrix &U, const Matrix &W, const Matrix &V)
{
    const double norm = oneNorm(A), size = std::max(A.rows(), A.cols());
    const double error = oneNorm(difference(A, timesT(times(U, W), V)));
    return norm > 0.0 ? error / (norm * size * eps) : error;
}

std::vector<double> lapackValues(const Matrix &A)
{
    const int least = std::min(A.rows(), A.cols());
    std::vector<double> values(static_cast<std::size_t>(least)),
        superb(static_cast<std::size_t>(least) + 1);
    std::vector<double> a(A->rows[0], A->rows[0] + A.rows() * A.cols());
    EXPECT_EQ(LAPACKE_dgesvd(LAPACK_ROW_MAJOR, 'N', 'N', A.rows(), A.cols(), a.data(), A.cols(),
                             values.data(), nullptr, 1, nullptr, 1, superb.data()),
              0);
    values.resize(static_cast<std::size_t>(A.cols()), 0.0);
    return values;
}

void expectDiagonal(const Matrix &W)
{
    ASSERT_EQ(W.rows(), W.cols());
    for (int i = 0; i < W.rows(); ++i)
        for (int j = 0; j < W.cols(); ++j) {
            if (i == j)
                EXPECT_GE(W(i, i), 0.0);
            else {
                EXPECT_TRUE(sameBits(W(i, j), 0.0));
            }
        }
}

/// All shapes with singular values from 1 down to 10^−digits.
Matrix graded(int m, int n, double digits, std::uint64_t seed)
{
    const Matrix X = randomMatrix(m, n, seed);
    return build(m, n, [&](int i, int j) {
        return X(i, j) * std::pow(10.0, -digits * i / m) * std::pow(10.0, -digits * j / n);
    });
}

Matrix rankOneSum(int m, int n, int rank, std::uint64_t seed)
{
    return timesT(randomMatrix(m, rank, seed), randomMatrix(n, rank, seed + 1));
}

std::vector<Matrix> sample(bool lowRank)
{
    std::vector<Matrix> all;
    std::uint64_t seed = 500;
    for (const auto &[m, n] : {std::pair{1, 1},
                               {1, 4},
                               {4, 1},
                               {2, 3},
                               {3, 2},
                               {3, 3},
                               {5, 5},
                               {4, 9},
                               {9, 4},
                               {17, 17},
                               {30, 12},
                               {12, 30},
                               {50, 50}}) {
        all.push_back(randomMatrix(m, n, ++seed));
        all.push_back(graded(m, n, 7, ++seed));
        all.push_back(Matrix(m, n));
        if (lowRank && std::min(m, n) > 2)
            all.push_back(rankOneSum(m, n, 2, ++seed));
    }
    return all;
}

TEST(SvdRules, DecomposeIsSortedAndReconstructs)
{
    for (const Matrix &A : sample(true)) {
        const Matrix old = A;
        Matrix U = randomMatrix(2, 2), W = randomMatrix(3, 1), V;
        ASSERT_EQ(kmath_nmmatrix_decompose(&A, &U, &W, &V), KMATH_OK);
        EXPECT_TRUE(sameBits(A, old));
        const int m = std::max(A.rows(), A.cols()), n = A.cols();
        ASSERT_EQ(U.rows(), m);
        ASSERT_EQ(U.cols(), n);
        ASSERT_EQ(V.rows(), n);
        ASSERT_EQ(V.cols(), n);
        ASSERT_EQ(W.rows(), n);
        expectDiagonal(W);
        for (int i = 0; i + 1 < n; ++i)
            EXPECT_GE(W(i, i), W(i + 1, i + 1));
        EXPECT_LT(reconstruction(padded(A), U, W, V), 50) << A.rows() << 'x' << A.cols();
        EXPECT_LT(orthonormality(U), 50) << A.rows() << 'x' << A.cols();
        EXPECT_LT(orthonormality(V), 50) << A.rows() << 'x' << A.cols();
        const std::vector<double> values = lapackValues(A);
        for (int i = 0; i < n; ++i)
            EXPECT_NEAR(W(i, i), values[static_cast<std::size_t>(i)], 10 * m * eps * values[0]);
    }
}

TEST(SvdRules, NrcIsUnsortedWithTheRowsOfA)
{
    for (const Matrix &A : sample(true)) {
        const Matrix old = A;
        Matrix U = randomMatrix(2, 2), W = randomMatrix(3, 1), V;
        ASSERT_EQ(kmath_nmmatrix_decomposeNRC(&A, &U, &W, &V), KMATH_OK);
        EXPECT_TRUE(sameBits(A, old));
        const int m = A.rows(), n = A.cols();
        ASSERT_EQ(U.rows(), m);
        ASSERT_EQ(U.cols(), n);
        ASSERT_EQ(V.rows(), n);
        ASSERT_EQ(V.cols(), n);
        ASSERT_EQ(W.rows(), n);
        expectDiagonal(W);
        EXPECT_LT(reconstruction(A, U, W, V), 50) << m << 'x' << n;
        EXPECT_LT(orthonormality(V), 50);
        if (m >= n) {
            EXPECT_LT(orthonormality(U), 50) << m << 'x' << n;
        }
        std::vector<double> found;
        for (int i = 0; i < n; ++i)
            found.push_back(W(i, i));
        std::sort(found.rbegin(), found.rend());
        const std::vector<double> values = lapackValues(A);
        for (std::size_t i = 0; i < found.size(); ++i)
            EXPECT_NEAR(found[i], values[i], 10 * std::max(m, n) * eps * values[0]);
    }
}

TEST(SvdRules, ADiagonalIsSorted)
{
    const Matrix A = diagonal({1, 3, 2});
    Matrix U, W, V;
    ASSERT_EQ(kmath_nmmatrix_decompose(&A, &U, &W, &V), KMATH_OK);
    EXPECT_LT(maxDifference(W, diagonal({3, 2, 1})), 1e-15);
    const Matrix order = {{0, 0, 1}, {1, 0, 0}, {0, 1, 0}};
    const auto magnitude = [](const Matrix &M) {
        return build(3, 3, [&](int i, int j) { return std::fabs(M(i, j)); });
    };
    EXPECT_LT(maxDifference(magnitude(U), order), 1e-15);
    EXPECT_LT(maxDifference(magnitude(V), order), 1e-15);
    EXPECT_LT(maxDifference(A, timesT(times(U, W), V)), 1e-15);
}

TEST(SvdRules, ANegativeDiagonalTurnsOneVector)
{
    const Matrix A = diagonal({-2, 1});
    Matrix U, W, V;
    for (const Decomposition decompose :
         {Decomposition(kmath_nmmatrix_decompose), Decomposition(kmath_nmmatrix_decomposeNRC)}) {
        ASSERT_EQ(decompose(&A, &U, &W, &V), KMATH_OK);
        EXPECT_LT(maxDifference(W, diagonal({2, 1})), 1e-15);
        EXPECT_NEAR(U(0, 0) * V(0, 0), -1.0, 1e-15);
        EXPECT_NEAR(U(1, 1) * V(1, 1), 1.0, 1e-15);
    }
}

TEST(SvdRules, AWideMatrixIsPaddedWithZeroRows)
{
    const Matrix A = {{1, 2, 3}, {4, 5, 7}};
    Matrix U, W, V;
    ASSERT_EQ(kmath_nmmatrix_decompose(&A, &U, &W, &V), KMATH_OK);
    ASSERT_EQ(U.rows(), 3);
    EXPECT_NEAR(U(2, 0), 0.0, 1e-15);
    EXPECT_NEAR(U(2, 1), 0.0, 1e-15);
    EXPECT_NEAR(std::fabs(U(2, 2)), 1.0, 1e-15);
    EXPECT_NEAR(W(2, 2), 0.0, 1e-15);
}

TEST(SvdRules, EveryFiniteMatrixHasItsDecomposition)
{
    std::vector<Matrix> all;
    for (int n = 1; n <= 200; n = n < 30 ? n + 1 : n + 17)
        all.push_back(build(n, n, [](int, int) { return 1.0; }));
    all.push_back(build(22, 22, [](int, int) { return 0.1; }));
    for (const double scale : {1e-300, 1e-160, 1e-90, 1e-60, 1e80, 1e160, 1e300}) {
        const Matrix X = randomMatrix(6, 6, 7);
        all.push_back(build(6, 6, [&](int i, int j) { return X(i, j) * scale; }));
        all.push_back(build(9, 4, [&](int, int) { return scale; }));
    }
    all.push_back(build(4, 4, [](int i, int j) { return std::pow(10.0, 300 - 100.0 * (i + j)); }));
    for (const Matrix &A : all) {
        Matrix U, W, V;
        ASSERT_EQ(kmath_nmmatrix_decompose(&A, &U, &W, &V), KMATH_OK) << A.rows();
        double largest = 0.0;
        for (int i = 0; i < A.rows(); ++i)
            for (int j = 0; j < A.cols(); ++j)
                largest = std::max(largest, std::fabs(A(i, j)));
        const int shift = -std::ilogb(largest);
        const auto scaled = [&](const Matrix &M) {
            return build(M.rows(), M.cols(), [&](int i, int j) {
                return std::ldexp(std::ldexp(M(i, j), shift / 2), shift - shift / 2);
            });
        };
        EXPECT_LT(reconstruction(scaled(padded(A)), U, scaled(W), V), 50)
            << A.rows() << 'x' << A.cols() << " of " << A(0, 0);
        EXPECT_LT(orthonormality(V), 50) << A.rows() << " of " << A(0, 0);
    }
}

TEST(SvdRules, AMatrixThatIsNotFiniteIsSingular)
{
    for (const double bad : {nan, inf, -inf})
        for (const auto &[m, n] : {std::pair{1, 1}, {3, 3}, {2, 5}, {9, 4}}) {
            Matrix A = randomMatrix(m, n, 8);
            A(m / 2, n / 2) = bad;
            Matrix U = {{1, 2}}, W = {{3, 4}}, V;
            const Matrix oldU = U, oldW = W;
            EXPECT_EQ(kmath_nmmatrix_decompose(&A, &U, &W, &V), KMATH_ERR_SINGULAR);
            EXPECT_EQ(kmath_nmmatrix_decomposeNRC(&A, &U, &W, &V), KMATH_ERR_SINGULAR);
            EXPECT_TRUE(sameBits(U, oldU));
            EXPECT_TRUE(sameBits(W, oldW));
            double condition;
            EXPECT_EQ(kmath_nmmatrix_conditionNumber(&A, 0, &condition), KMATH_ERR_SINGULAR);
            Matrix r;
            EXPECT_EQ(kmath_nmmatrix_pseudoInverse(&A, 1e6, &r), KMATH_ERR_SINGULAR);
            const Matrix b = randomMatrix(std::max(m, n), 1);
            EXPECT_EQ(kmath_nmmatrix_pseudoSolve(&A, &b, &r, 1e6), KMATH_ERR_SINGULAR);
            if (m == n && n > 1) {
                EXPECT_EQ(kmath_nmmatrix_conditionNumber(&A, 1, &condition), KMATH_ERR_SINGULAR);
            }
        }
}

// Condition number.

TEST(SvdRules, ConditionNumberByEitherMethod)
{
    const auto condition = [](const Matrix &A, int method) {
        double c = nan;
        EXPECT_EQ(kmath_nmmatrix_conditionNumber(&A, method, &c), KMATH_OK);
        return c;
    };
    for (const int method : {0, 1, -1, 5}) {
        EXPECT_NEAR(condition(diagonal({4, 2}), method), 2.0, 1e-15);
        EXPECT_NEAR(condition(diagonal({-1, 5, 2}), method), 5.0, 1e-14);
        EXPECT_EQ(condition(diagonal({1, 0}), method), 1e28);
        EXPECT_EQ(condition(Matrix(3, 3), method), 1e28);
        EXPECT_EQ(condition(diagonal({5e-15, 1e-15}), method), 1e28); // all below 1e-14
        EXPECT_NEAR(condition(diagonal({2e-14, 1e-14}), method), 2.0, 1e-14);
        EXPECT_NEAR(condition({{-3}}, method), 1.0, 1e-15);
        EXPECT_EQ(condition(Matrix(0, 0), method), 1e28);
        for (const int n : {2, 5, 6, 7, 20}) {
            const Matrix S = support::randomSymmetric(n, 600);
            Matrix U, W, V;
            ASSERT_EQ(kmath_nmmatrix_decompose(&S, &U, &W, &V), KMATH_OK);
            const double expected = W(0, 0) / W(n - 1, n - 1);
            EXPECT_NEAR(condition(S, method) / expected, 1.0, 1e-10);
            if (method == 0) {
                EXPECT_TRUE(sameBits(condition(S, 0), expected));
            }
        }
    }
    EXPECT_NEAR(condition(Matrix{{1, 0}, {0, 3}, {0, 0}}, 0), 3.0, 1e-14);
    EXPECT_EQ(condition(Matrix{{1, 2, 3}, {4, 5, 7}}, 0) > 1e15, true); // the padded row
    // One element needs no iteration, and a NaN is no non-zero value.
    EXPECT_EQ(condition(Matrix{{nan}}, 1), 1e28);
    EXPECT_EQ(condition(Matrix(0, 3), 0), 1e28);
    EXPECT_EQ(condition(Matrix(3, 0), 0), 1e28);
}

// Damped inverse.

Matrix plainPseudoInverse(const Matrix &A, double c)
{
    Matrix U, W, V;
    EXPECT_EQ(kmath_nmmatrix_decompose(&A, &U, &W, &V), KMATH_OK);
    const double t = W(0, 0) / std::sqrt(c);
    if (!(t >= 1e-9))
        return A;
    for (int i = 0; i < W.rows(); ++i)
        W(i, i) = t > W(i, i) ? W(i, i) / (t * t) : 1.0 / W(i, i);
    return timesT(times(V, W), U);
}

TEST(SvdRules, PseudoInverseHasTheBitsOfItsFactors)
{
    for (const Matrix &A : sample(true))
        for (const double c : {1.0, 4.0, 1e6, 1e14, 1e30}) {
            Matrix r = randomMatrix(2, 2);
            EXPECT_EQ(kmath_nmmatrix_pseudoInverse(&A, c, &r), KMATH_OK);
            const Matrix expected = plainPseudoInverse(A, c);
            EXPECT_TRUE(sameBits(r, expected)) << A.rows() << 'x' << A.cols() << ' ' << c;
            if (r.rows() != A.rows() || r.cols() != A.cols()) {
                EXPECT_EQ(r.rows(), A.cols());
                EXPECT_EQ(r.cols(), std::max(A.rows(), A.cols()));
            }
            const Matrix b = randomMatrix(expected.cols(), 2, 11);
            Matrix x;
            EXPECT_EQ(kmath_nmmatrix_pseudoSolve(&A, &b, &x, c), KMATH_OK);
            EXPECT_TRUE(sameBits(x, times(expected, b)));
        }
}

TEST(SvdRules, SmallSingularValuesAreDampedContinuously)
{
    const Matrix A = diagonal({1, 1e-6});
    Matrix r;
    EXPECT_EQ(kmath_nmmatrix_pseudoInverse(&A, 1e6, &r), KMATH_OK);
    EXPECT_LT(maxDifference(r, support::identity(2)), 1e-12);
    EXPECT_EQ(kmath_nmmatrix_pseudoInverse(&A, 1e14, &r), KMATH_OK);
    EXPECT_NEAR(r(0, 0), 1.0, 1e-12);
    EXPECT_NEAR(r(1, 1), 1e6, 1e-6);
    EXPECT_EQ(kmath_nmmatrix_pseudoInverse(&A, 1e12, &r), KMATH_OK); // both branches meet here
    EXPECT_NEAR(r(1, 1) / 1e6, 1.0, 1e-9);
}

TEST(SvdRules, AVanishingThresholdGivesACopyOfA)
{
    const Matrix zero(2, 2), small = {{1e-10, 0, 2e-10}, {0, 1e-10, 0}},
                             one = {{1, 2, 3}, {4, 5, 6}};
    Matrix r = {{7}};
    EXPECT_EQ(kmath_nmmatrix_pseudoInverse(&zero, 1e6, &r), KMATH_OK);
    EXPECT_TRUE(sameBits(r, zero));
    EXPECT_EQ(kmath_nmmatrix_pseudoInverse(&small, 1.0, &r), KMATH_OK);
    EXPECT_TRUE(sameBits(r, small)); // 2×3, not its transpose
    for (const double c : {nan, -1.0, inf, 1e300}) {
        EXPECT_EQ(kmath_nmmatrix_pseudoInverse(&one, c, &r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, one)) << c;
    }
    EXPECT_EQ(kmath_nmmatrix_pseudoInverse(&one, 0.0, &r), KMATH_OK); // an infinite threshold
    EXPECT_EQ(r.rows(), 3);
    EXPECT_EQ(r.cols(), 3);
    EXPECT_LT(maxDifference(r, Matrix(3, 3)), 1e-300);
    for (const auto &[m, n] : {std::pair{0, 0}, {0, 3}, {3, 0}}) {
        const Matrix none(m, n);
        r = Matrix{{7}};
        EXPECT_EQ(kmath_nmmatrix_pseudoInverse(&none, 1e6, &r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, none));
    }
}

TEST(SvdRules, PseudoSolveNeedsTheRowsOfThePaddedMatrix)
{
    const Matrix A = randomMatrix(2, 5, 12), two = randomMatrix(2, 1), five = randomMatrix(5, 1);
    Matrix x;
    EXPECT_EQ(kmath_nmmatrix_pseudoSolve(&A, &two, &x, 1e6), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(kmath_nmmatrix_pseudoSolve(&A, &five, &x, 1e6), KMATH_OK);
    EXPECT_EQ(x.rows(), 5);
}

TEST(SvdRules, EverythingIsGivenBackWhenAnAllocationFails)
{
    for (const auto &[m, n] : {std::pair{3, 3}, {9, 4}, {3, 8}}) {
        const Matrix A = randomMatrix(m, n, 13), b = randomMatrix(std::max(m, n), 1, 14);
        for (const Decomposition decompose :
             {Decomposition(kmath_nmmatrix_decompose), Decomposition(kmath_nmmatrix_decomposeNRC)})
            support::sweepAllocationFailures([&] {
                Matrix U, W, V;
                return decompose(&A, &U, &W, &V);
            });
        double condition;
        support::sweepAllocationFailures(
            [&] { return kmath_nmmatrix_conditionNumber(&A, 0, &condition); });
        support::sweepAllocationFailures([&] {
            Matrix r;
            return kmath_nmmatrix_pseudoInverse(&A, 1e6, &r);
        });
        support::sweepAllocationFailures([&] {
            Matrix x;
            return kmath_nmmatrix_pseudoSolve(&A, &b, &x, 1e6);
        });
    }
    const Matrix S = support::randomSymmetric(9);
    double condition;
    support::sweepAllocationFailures(
        [&] { return kmath_nmmatrix_conditionNumber(&S, 1, &condition); });
}

TEST(SvdRules, NullMatricesAreReported)
{
    Matrix A = support::identity(2), U, W, V;
    double c;
    for (const Decomposition decompose :
         {Decomposition(kmath_nmmatrix_decompose), Decomposition(kmath_nmmatrix_decomposeNRC)}) {
        EXPECT_NE(assertedLine([&] { decompose(nullptr, &U, &W, &V); }), 0);
        EXPECT_NE(assertedLine([&] { decompose(&A, nullptr, &W, &V); }), 0);
        EXPECT_NE(assertedLine([&] { decompose(&A, &U, nullptr, &V); }), 0);
        EXPECT_NE(assertedLine([&] { decompose(&A, &U, &W, nullptr); }), 0);
    }
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_conditionNumber(nullptr, 0, &c); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_pseudoInverse(nullptr, 1, &V); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_pseudoInverse(&A, 1, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_pseudoSolve(nullptr, &U, &V, 1); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_pseudoSolve(&A, nullptr, &V, 1); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_pseudoSolve(&A, &U, nullptr, 1); }), 0);
}

} // namespace
