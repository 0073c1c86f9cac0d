#include <kmath/nmmatrix.h>

#include "oracle/svd.hpp"
#include "support/matrices.hpp"
#include "support/services.hpp"
#include "support/svd_checks.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <functional>

using namespace support;

namespace
{

struct Decomposition {
    Matrix U, W, V;
    kmath_status status;

    explicit Decomposition(const Matrix &A) : status(kmath_nmmatrix_decomposeNRC(&A, &U, &W, &V)) {}
};

void expectGoodDecomposition(const Matrix &A)
{
    const Decomposition svd(A);
    ASSERT_EQ(svd.status, KMATH_OK);
    ASSERT_EQ(svd.U.rows(), A.rows());
    ASSERT_EQ(svd.U.cols(), A.cols());
    ASSERT_EQ(svd.W.rows(), A.cols());
    ASSERT_EQ(svd.V.rows(), A.cols());
    for (int i = 0; i < A.cols(); ++i) {
        EXPECT_GE(svd.W(i, i), 0.0);
        for (int j = 0; j < A.cols(); ++j)
            EXPECT_EQ(svd.W(i, j), i == j ? svd.W(i, i) : 0.0);
    }
    EXPECT_LT(residualRatio(A, svd.U, svd.W, svd.V), 50.0);
    EXPECT_LT(orthogonalityRatio(svd.V), 50.0);
    if (A.rows() >= A.cols()) {
        EXPECT_LT(orthogonalityRatio(svd.U), 50.0);
    }
}

void expectValues(const Matrix &A, const std::vector<double> &expected)
{
    const Decomposition svd(A);
    ASSERT_EQ(svd.status, KMATH_OK);
    std::vector<double> values;
    for (int i = 0; i < A.cols(); ++i)
        values.push_back(svd.W(i, i));
    std::sort(values.begin(), values.end(), std::greater<>());
    const double tolerance = 10.0 * A.cols() * 0x1p-52 * expected.front();
    for (std::size_t i = 0; i < values.size(); ++i)
        EXPECT_NEAR(values[i], i < expected.size() ? expected[i] : 0.0, tolerance) << i;
}

bool isTheTextbooks(const Matrix &A, const Decomposition &svd)
{
    const std::optional<oracle::Svd> expected = oracle::golubReinschSvd(A);
    return expected && sameBits(expected->U, svd.U) && sameBits(expected->W, svd.W) &&
           sameBits(expected->V, svd.V);
}

TEST(DecomposeNRC, HasTheBitsOfTheTextbookLoops)
{
    forAwkwardShapes([](const Matrix &A) { EXPECT_TRUE(isTheTextbooks(A, Decomposition(A))); });
}

TEST(DecomposeNRC, KeepsTheOrderOfADiagonalMatrix)
{
    const Decomposition svd(diagonal({1, 3, 2}));
    ASSERT_EQ(svd.status, KMATH_OK);
    EXPECT_TRUE(sameBits(svd.W, diagonal({1, 3, 2})));
}

TEST(DecomposeNRC, MakesNegativeValuesPositiveInV)
{
    const Matrix A = diagonal({-2, 1, -5, 4});
    const Decomposition svd(A);
    ASSERT_EQ(svd.status, KMATH_OK);
    EXPECT_TRUE(sameBits(svd.W, diagonal({2, 1, 5, 4})));
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(svd.U(i, i) * svd.V(i, i), A(i, i) < 0.0 ? -1.0 : 1.0);
    const Decomposition one(Matrix{{3}}); // reflected to −3, and turned back at the end
    EXPECT_EQ(one.W(0, 0), 3.0);
    EXPECT_EQ(one.V(0, 0), -1.0);
}

TEST(DecomposeNRC, GivesUTheRowsOfAWideMatrix)
{
    const Matrix A = {{1, 2, 3}, {4, 5, 7}};
    const Decomposition svd(A);
    ASSERT_EQ(svd.status, KMATH_OK);
    ASSERT_EQ(svd.U.rows(), 2);
    ASSERT_EQ(svd.U.cols(), 3);
    expectGoodDecomposition(A);
}

TEST(DecomposeNRC, IsAccurateForEveryOrderUpTo200) { forEveryOrder(expectGoodDecomposition); }

TEST(DecomposeNRC, IsAccurateForTallAndWideShapes)
{
    forTallAndWideShapes(expectGoodDecomposition);
}

TEST(DecomposeNRC, IsAccurateForEveryCondition)
{
    forEveryCondition([](const Matrix &A, const std::vector<double> &values) {
        expectGoodDecomposition(A);
        expectValues(A, values);
    });
}

TEST(DecomposeNRC, AgreesWithLapackOnTheValues)
{
    for (const int m : {1, 3, 10, 47, 100})
        for (const int n : {1, 2, 11, 60, 100}) {
            SCOPED_TRACE(testing::Message() << m << " x " << n);
            const auto seed = static_cast<std::uint64_t>(m * n);
            for (const Matrix &A : {randomMatrix(m, n, seed), gradedMatrix(m, n, seed)})
                expectValues(A, lapackSingularValues(A));
        }
}

TEST(DecomposeNRC, FindsThePublishedValues)
{
    for (const PublishedValues &published : publishedValues())
        expectValues(published.A, published.values);
    expectGoodDecomposition(golubReinschExample());
}

TEST(DecomposeNRC, HandlesConstantMatricesOfEveryOrderUpTo200)
{
    for (int n = 1; n <= 200; ++n) {
        SCOPED_TRACE(n);
        const Matrix A = constant(n, n, 1.0);
        expectGoodDecomposition(A);
        expectValues(A, {static_cast<double>(n)});
    }
}

TEST(DecomposeNRC, HandlesLowRankMatrices)
{
    std::mt19937_64 generator(5);
    for (int trial = 0; trial < 300; ++trial) {
        SCOPED_TRACE(trial);
        const int m = 1 + static_cast<int>(generator() % 40);
        const int n = 1 + static_cast<int>(generator() % 40);
        const Matrix x = randomMatrix(m, 1, generator);
        const Matrix y = randomMatrix(n, 1, generator);
        expectGoodDecomposition(build(m, n, [&](int i, int j) {
            return std::round(5.0 * x(i, 0)) * std::round(5.0 * y(j, 0));
        }));
        expectGoodDecomposition(constant(m, n, x(0, 0)));
    }
}

// The upper end of the chain is a zero, so the splitting test has to cancel what stands above it.
TEST(DecomposeNRC, CancelsAboveAVanishingValue)
{
    for (const int zero : {0, 1, 2, 3}) {
        const Matrix A = build(5, 5, [=](int i, int j) {
            if (i == j)
                return i == zero ? 0.0 : 1.0 + i;
            return j == i + 1 ? 0.5 : 0.0;
        });
        expectGoodDecomposition(A);
        expectValues(A, lapackSingularValues(A));
        EXPECT_TRUE(isTheTextbooks(A, Decomposition(A)));
    }
}

TEST(DecomposeNRC, GivesUnitVectorsForAZeroMatrix)
{
    for (const auto &[m, n] : {std::pair{1, 1}, {2, 2}, {7, 3}, {20, 20}}) {
        const Decomposition svd(Matrix(m, n));
        ASSERT_EQ(svd.status, KMATH_OK);
        EXPECT_EQ(maxDifference(svd.W, Matrix(n, n)), 0.0);
        EXPECT_EQ(orthogonalityRatio(svd.U), 0.0);
        EXPECT_EQ(orthogonalityRatio(svd.V), 0.0);
    }
}

TEST(DecomposeNRC, GivesEmptyFactorsForAnEmptyMatrix)
{
    for (const int m : {0, 1, 9}) {
        const Decomposition svd(Matrix(m, 0));
        EXPECT_EQ(svd.status, KMATH_OK);
        EXPECT_EQ(svd.U.rows(), m);
        EXPECT_EQ(svd.U.cols(), 0);
        EXPECT_EQ(svd.W.rows(), 0);
        EXPECT_EQ(svd.V.cols(), 0);
    }
    const Matrix high(INT32_MAX, 0);
    EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(Decomposition(high).status, KMATH_OK); }), 0);
    const Decomposition svd(Matrix(0, 3)); // three columns of nothing but padding
    EXPECT_EQ(svd.status, KMATH_OK);
    EXPECT_EQ(svd.U.rows(), 0);
    EXPECT_EQ(svd.U.cols(), 3);
    EXPECT_EQ(maxDifference(svd.W, Matrix(3, 3)), 0.0);
}

TEST(DecomposeNRC, ScalesExactlyWithPowersOfTwoOverTheWholeRange)
{
    for (const auto &[m, n] : {std::pair{2, 2}, {3, 3}, {9, 6}, {6, 9}, {30, 30}}) {
        const Matrix A = randomMatrix(m, n, 3);
        const Decomposition plain(A);
        for (const int exponent : {-960, -700, -500, -1, 1, 300, 600, 1010}) {
            SCOPED_TRACE(testing::Message() << m << " x " << n << ", 2^" << exponent);
            const Decomposition scaled(scaledBy(A, exponent));
            ASSERT_EQ(scaled.status, KMATH_OK);
            EXPECT_TRUE(sameBits(scaled.U, plain.U));
            EXPECT_TRUE(sameBits(scaled.V, plain.V));
            EXPECT_TRUE(sameBits(scaled.W, scaledBy(plain.W, exponent)));
        }
    }
}

TEST(DecomposeNRC, HandlesEveryMagnitudeInOneMatrix)
{
    std::mt19937_64 generator(11);
    for (int trial = 0; trial < 200; ++trial) {
        SCOPED_TRACE(trial);
        const int m = 1 + static_cast<int>(generator() % 20);
        const int n = 1 + static_cast<int>(generator() % 20);
        expectGoodDecomposition(build(m, n, [&](int, int) {
            return std::pow(10.0, static_cast<double>(generator() % 601) - 300.0);
        }));
    }
    const Decomposition tiny(Matrix{{DBL_TRUE_MIN, 0}, {0, 0}});
    EXPECT_EQ(tiny.status, KMATH_OK);
    EXPECT_EQ(tiny.W(0, 0), DBL_TRUE_MIN);
}

// Reciprocals of values from the floor down would overflow, so their vectors count as zero.
TEST(DecomposeNRC, CountsColumnsUpToTheFloorAsZero)
{
    const Decomposition svd(diagonal({1, 0x1.01p-959, 0x1p-959, 0x1p-1040}));
    ASSERT_EQ(svd.status, KMATH_OK);
    EXPECT_TRUE(sameBits(svd.W, diagonal({1, 0x1.01p-959, 0, 0})));
    EXPECT_EQ(orthogonalityRatio(svd.U), 0.0);
}

TEST(DecomposeNRC, RefusesAMatrixThatIsNotFiniteWithVOverwritten)
{
    for (const double bad : {HUGE_VAL, -HUGE_VAL, std::nan("")})
        for (const int n : {1, 3}) {
            for (const int place : {0, 5 * n / 2, 5 * n - 1}) {
                Matrix A = randomMatrix(5, n, 1);
                A(place / n, place % n) = bad;
                Matrix U = {{7}}, W = {{8}}, V(2, 5);
                EXPECT_EQ(kmath_nmmatrix_decomposeNRC(&A, &U, &W, &V), KMATH_ERR_SINGULAR);
                EXPECT_TRUE(sameBits(U, Matrix{{7}}));
                EXPECT_TRUE(sameBits(W, Matrix{{8}}));
                EXPECT_EQ(V.rows(), n);
                EXPECT_EQ(V.cols(), n);
            }
        }
}

TEST(DecomposeNRC, RefusesAMatrixWhoseLargestValueIsNoDouble)
{
    EXPECT_EQ(Decomposition(constant(2, 2, DBL_MAX / 2.1)).status, KMATH_OK);
    const Decomposition tooLarge(constant(2, 2, DBL_MAX / 1.9));
    EXPECT_EQ(tooLarge.status, KMATH_ERR_SINGULAR);
    EXPECT_EQ(tooLarge.U.cols(), 0);
    EXPECT_EQ(tooLarge.V.cols(), 2);
}

TEST(DecomposeNRC, LetsEachOutputBeTheInput)
{
    expectOutputsMayBeTheInput(kmath_nmmatrix_decomposeNRC);
}

TEST(DecomposeNRC, KeepsItsInputAndOverwritesOldContents)
{
    expectItsInputKeptAndOldContentsOverwritten(kmath_nmmatrix_decomposeNRC);
}

TEST(DecomposeNRC, GivesBackTheStatusOfEachFailingAllocation)
{
    for (const auto &[m, n] : {std::pair{6, 8}, {20, 5}, {17, 1}, {1, 17}}) {
        const Matrix A = randomMatrix(m, n, 2);
        sweepAllocationFailures([&] { return Decomposition(A).status; });
    }
}

TEST(DecomposeNRC, RefusesAMatrixThatLostItsStorage)
{
    Matrix A;
    loseStorage(A, 5, 4);
    EXPECT_EQ(Decomposition(A).status, KMATH_ERR_NO_MEMORY);
}

TEST(DecomposeNRC, AssertsEachRecord) { expectEachRecordAsserted(kmath_nmmatrix_decomposeNRC); }

} // namespace
