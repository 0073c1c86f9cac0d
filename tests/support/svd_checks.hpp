// Judging singular value decompositions: residual ratios, matrices of known singular values, and
// sweeps over families of matrices that every decomposition must pass.
#pragma once

#include "support/matrices.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>
#include <lapacke.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <vector>

namespace support
{

inline double dot(const double *x, const double *y, std::int32_t n)
{
    double sum = 0.0;
    for (std::int32_t k = 0; k < n; ++k)
        sum += x[k] * y[k];
    return sum;
}

inline std::vector<double> rowMajor(const Matrix &A)
{
    std::vector<double> elements;
    for (std::int32_t i = 0; i < A.rows(); ++i)
        for (std::int32_t j = 0; j < A.cols(); ++j)
            elements.push_back(A(i, j));
    return elements;
}

/// m × n, n ≤ m, with orthonormal columns.
inline Matrix randomOrthonormal(std::int32_t m, std::int32_t n, std::uint64_t seed)
{
    std::vector<double> a = rowMajor(randomMatrix(m, n, seed));
    std::vector<double> tau(static_cast<std::size_t>(n));
    if (LAPACKE_dgeqrf(LAPACK_ROW_MAJOR, m, n, a.data(), n, tau.data()) != 0 ||
        LAPACKE_dorgqr(LAPACK_ROW_MAJOR, m, n, n, a.data(), n, tau.data()) != 0)
        throw std::runtime_error("no orthonormal columns");
    return build(m, n, [&](int i, int j) { return a[static_cast<std::size_t>(i * n + j)]; });
}

/// ‖A − U·W·Vᵀ‖ / (‖A‖·max(m, n)·ε) in the 1-norm, A above rows of zeros down to the rows of U; the
/// numerator itself for a zero matrix.
inline double residualRatio(const Matrix &A, const Matrix &U, const Matrix &W, const Matrix &V)
{
    const std::int32_t n = A.cols();
    const Matrix UW = build(U.rows(), n, [&](int i, int j) { return U(i, j) * W(j, j); });
    const Matrix error = build(U.rows(), n, [&](int i, int j) {
        return (i < A.rows() ? A(i, j) : 0.0) - dot(UW->rows[i], V->rows[j], n);
    });
    const double norm = oneNorm(A);
    return oneNorm(error) / (norm > 0.0 ? norm * std::max(A.rows(), n) * 0x1p-52 : 1.0);
}

/// ‖QᵀQ − I‖ / (m·ε) in the 1-norm.
inline double orthogonalityRatio(const Matrix &Q)
{
    const Matrix T = build(Q.cols(), Q.rows(), [&](int i, int j) { return Q(j, i); });
    const Matrix error = build(Q.cols(), Q.cols(), [&](int i, int j) {
        return dot(T->rows[i], T->rows[j], Q.rows()) - (i == j ? 1.0 : 0.0);
    });
    return oneNorm(error) / (Q.rows() * 0x1p-52);
}

/// Singular values by LAPACK, largest first.
inline std::vector<double> lapackSingularValues(const Matrix &A)
{
    const std::int32_t m = A.rows();
    const std::int32_t n = A.cols();
    const auto count = static_cast<std::size_t>(std::min(m, n));
    std::vector<double> a = rowMajor(A);
    std::vector<double> values(count);
    std::vector<double> rest(count);
    if (LAPACKE_dgesvd(LAPACK_ROW_MAJOR, 'N', 'N', m, n, a.data(), n, values.data(), nullptr, m,
                       nullptr, n, rest.data()) != 0)
        throw std::runtime_error("LAPACK found no singular values");
    return values;
}

/// m × n with random singular vectors and the given min(m, n) singular values.
inline Matrix withSingularValues(std::int32_t m, std::int32_t n, const std::vector<double> &values,
                                 std::uint64_t seed)
{
    const auto k = static_cast<std::int32_t>(values.size());
    const Matrix U = randomOrthonormal(m, k, 2 * seed);
    const Matrix V = randomOrthonormal(n, k, 2 * seed + 1);
    const Matrix UW =
        build(m, k, [&](int i, int j) { return U(i, j) * values[static_cast<std::size_t>(j)]; });
    return build(m, n, [&](int i, int j) { return dot(UW->rows[i], V->rows[j], k); });
}

/// count values from 1 down to 1/ratio in equal ratios.
inline std::vector<double> geometricValues(std::int32_t count, double ratio)
{
    std::vector<double> values;
    for (std::int32_t i = 0; i < count; ++i)
        values.push_back(std::pow(ratio, -i / std::max(1.0, count - 1.0)));
    return values;
}

/// Elements of a random matrix, row i scaled down to 10^(−15·i/m): ‖A‖ about 1.
inline Matrix gradedMatrix(std::int32_t m, std::int32_t n, std::uint64_t seed)
{
    const Matrix A = randomMatrix(m, n, seed);
    return build(m, n, [&](int i, int j) { return A(i, j) * std::pow(10.0, -15.0 * i / m); });
}

/// Product of m × r and r × n random factors.
inline Matrix matrixOfRank(std::int32_t m, std::int32_t n, std::int32_t r, std::uint64_t seed)
{
    const Matrix X = randomMatrix(m, r, 2 * seed);
    const Matrix Y = randomMatrix(n, r, 2 * seed + 1);
    return build(m, n, [&](int i, int j) { return dot(X->rows[i], Y->rows[j], r); });
}

inline Matrix constant(std::int32_t m, std::int32_t n, double value)
{
    return build(m, n, [=](int, int) { return value; });
}

inline Matrix scaledBy(const Matrix &A, int exponent)
{
    return build(A.rows(), A.cols(), [&](int i, int j) { return std::ldexp(A(i, j), exponent); });
}

inline Matrix hilbert(std::int32_t m, std::int32_t n)
{
    return build(m, n, [](int i, int j) { return 1.0 / (i + j + 1); });
}

/// The 8 × 5 example of Golub and Reinsch, of rank 3: values √1248, 20, √384, 0, 0.
inline Matrix golubReinschExample()
{
    return {{22, 10, 2, 3, 7}, {14, 7, 10, 0, 8}, {-1, 13, -1, -11, 3}, {-3, -2, 13, -2, 4},
            {9, 8, 1, -2, 4},  {9, 1, -7, 5, -1}, {2, -6, 6, 5, 1},     {4, 5, 0, -2, 2}};
}

struct PublishedValues {
    Matrix A;
    std::vector<double> values; // largest first, computed with 60 digits
};

inline std::vector<PublishedValues> publishedValues()
{
    return {
        {hilbert(3, 3),
         {1.408318927123653957537489, 0.1223270658539045668648011, 0.002687340355773529231043021}},
        {hilbert(6, 6),
         {1.618899858924339096970588, 0.2423608705752095521357284, 0.01632152131987582212434508,
          0.0006157483541826576976491994, 0.0000125707571226251949229824,
          0.0000001082799484565549768538877}},
        {hilbert(10, 10),
         {1.751919670265177522413758, 0.3429295484835090961538615, 0.03574181627163923589058041,
          0.002530890768670038143719513, 0.000128749614276377079808798,
          0.000004729689293182347506140586, 0.0000001228967738751175049646985,
          2.147438817350478607697119e-9, 2.266746747762925525271051e-11,
          1.093153819379665763816867e-13}},
        {hilbert(6, 4),
         {1.555229167596036363545893, 0.2010460917702168062819568, 0.01035668812080337918079358,
          0.0002398047920693334257926838}},
        {golubReinschExample(), {std::sqrt(1248.0), 20.0, std::sqrt(384.0), 0.0, 0.0}}};
}

using Judge = std::function<void(const Matrix &)>;

/// A matrix of each order up to 200: random, graded, of half rank, or of any condition.
inline void forEveryOrder(const Judge &judge)
{
    for (int n = 1; n <= 200; ++n) {
        SCOPED_TRACE(n);
        const auto seed = static_cast<std::uint64_t>(n);
        switch (n % 5) {
        case 0:
            judge(gradedMatrix(n, n, seed));
            break;
        case 1:
            judge(matrixOfRank(n, n, (n + 1) / 2, seed));
            break;
        case 2:
            judge(withSingularValues(n, n, geometricValues(n, std::pow(10.0, n % 15)), seed));
            break;
        default:
            judge(randomMatrix(n, n, seed));
        }
    }
}

/// Random, graded, deficient and ill-conditioned matrices of tall and wide shapes.
inline void forTallAndWideShapes(const Judge &judge)
{
    for (const int m : {1, 2, 3, 7, 16, 33, 90})
        for (const int n : {1, 2, 4, 9, 17, 40, 120}) {
            SCOPED_TRACE(testing::Message() << m << " x " << n);
            const auto seed = static_cast<std::uint64_t>(1000 * m + n);
            const int k = std::min(m, n);
            judge(randomMatrix(m, n, seed));
            judge(gradedMatrix(m, n, seed));
            judge(matrixOfRank(m, n, std::max(1, k / 2), seed));
            judge(withSingularValues(m, n, geometricValues(k, 1e14), seed));
        }
}

/// Random and graded matrices of small shapes around the lane counts, and some larger ones.
inline void forAwkwardShapes(const Judge &judge)
{
    for (const int m : {1, 2, 3, 4, 5, 8, 9, 17, 33, 50})
        for (const int n : {1, 2, 3, 4, 5, 7, 8, 16, 31, 45}) {
            SCOPED_TRACE(testing::Message() << m << " x " << n);
            const auto seed = static_cast<std::uint64_t>(100 * m + n);
            judge(randomMatrix(m, n, seed));
            judge(gradedMatrix(m, n, seed));
        }
}

/// Matrices whose singular values from 1 down are known, of conditions 1, 10, … 1e14.
inline void forEveryCondition(
    const std::function<void(const Matrix &, const std::vector<double> &values)> &judge)
{
    for (int decade = 0; decade <= 14; ++decade) {
        SCOPED_TRACE(decade);
        const std::vector<double> values = geometricValues(30, std::pow(10.0, decade));
        judge(withSingularValues(40, 30, values, 7), values);
    }
}

// What both decompositions promise of their arguments.

using Decompose = decltype(kmath_nmmatrix_decompose);

inline void expectOutputsMayBeTheInput(Decompose decompose)
{
    const Matrix A = randomMatrix(4, 6, 9);
    Matrix freshU, freshW, freshV;
    ASSERT_EQ(decompose(&A, &freshU, &freshW, &freshV), KMATH_OK);
    for (const int place : {0, 1, 2}) {
        Matrix out[3];
        out[place] = A;
        ASSERT_EQ(decompose(&out[place], &out[0], &out[1], &out[2]), KMATH_OK);
        EXPECT_TRUE(sameBits(out[0], freshU));
        EXPECT_TRUE(sameBits(out[1], freshW));
        EXPECT_TRUE(sameBits(out[2], freshV));
    }
}

inline void expectItsInputKeptAndOldContentsOverwritten(Decompose decompose)
{
    const Matrix A = randomMatrix(6, 4, 2);
    const Matrix before = A;
    Matrix U = randomMatrix(6, 4, 5), W = randomMatrix(4, 4, 6), V = randomMatrix(4, 4, 7);
    Matrix freshU, freshW, freshV;
    ASSERT_EQ(decompose(&A, &U, &W, &V), KMATH_OK);
    EXPECT_TRUE(sameBits(A, before));
    ASSERT_EQ(decompose(&A, &freshU, &freshW, &freshV), KMATH_OK);
    EXPECT_TRUE(sameBits(U, freshU));
    EXPECT_TRUE(sameBits(W, freshW));
    EXPECT_TRUE(sameBits(V, freshV));
}

inline void expectEachRecordAsserted(Decompose decompose)
{
    Matrix A(2, 2), U, W, V;
    const auto lineOf = [&](const kmath_nmmatrix *a, kmath_nmmatrix *u, kmath_nmmatrix *w,
                            kmath_nmmatrix *v) {
        return assertedLine([=] { decompose(a, u, w, v); });
    };
    EXPECT_EQ(lineOf(&A, &U, &W, &V), 0);
    EXPECT_NE(lineOf(nullptr, &U, &W, &V), 0);
    EXPECT_NE(lineOf(&A, nullptr, &W, &V), 0);
    EXPECT_NE(lineOf(&A, &U, nullptr, &V), 0);
    EXPECT_NE(lineOf(&A, &U, &W, nullptr), 0);
}

} // namespace support
