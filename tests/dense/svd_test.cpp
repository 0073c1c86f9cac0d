#include <kmath/nmmatrix.h>

#include "oracle/svd.hpp"
#include "support/matrices.hpp"
#include "support/services.hpp"
#include "support/svd_checks.hpp"

#include <gtest/gtest.h>

#include <cfloat>

using namespace support;

namespace
{

struct Decomposition {
    Matrix U, W, V;
    kmath_status status;

    explicit Decomposition(const Matrix &A) : status(kmath_nmmatrix_decompose(&A, &U, &W, &V)) {}
};

void expectSortedAndNonNegative(const Matrix &W)
{
    for (int i = 0; i < W.rows(); ++i) {
        for (int j = 0; j < W.cols(); ++j)
            EXPECT_EQ(W(i, j), i == j ? W(i, i) : 0.0);
        EXPECT_GE(W(i, i), 0.0);
        EXPECT_LE(W(i, i), W(std::max(0, i - 1), std::max(0, i - 1)));
    }
}

void expectGoodDecomposition(const Matrix &A)
{
    const Decomposition svd(A);
    ASSERT_EQ(svd.status, KMATH_OK);
    ASSERT_EQ(svd.U.rows(), std::max(A.rows(), A.cols()));
    ASSERT_EQ(svd.U.cols(), A.cols());
    ASSERT_EQ(svd.W.rows(), A.cols());
    ASSERT_EQ(svd.V.rows(), A.cols());
    expectSortedAndNonNegative(svd.W);
    EXPECT_LT(residualRatio(A, svd.U, svd.W, svd.V), 50.0);
    EXPECT_LT(orthogonalityRatio(svd.U), 50.0);
    EXPECT_LT(orthogonalityRatio(svd.V), 50.0);
}

void expectValues(const Matrix &A, const std::vector<double> &expected)
{
    const Decomposition svd(A);
    ASSERT_EQ(svd.status, KMATH_OK);
    const double tolerance = 10.0 * A.cols() * 0x1p-52 * expected.front();
    for (int i = 0; i < A.cols(); ++i) {
        const auto at = static_cast<std::size_t>(i);
        EXPECT_NEAR(svd.W(i, i), at < expected.size() ? expected[at] : 0.0, tolerance) << i;
    }
}

bool isTheTextbooks(const Matrix &A, const Decomposition &svd)
{
    const std::optional<oracle::Svd> expected = oracle::sortedSvd(A);
    return expected && sameBits(expected->U, svd.U) && sameBits(expected->W, svd.W) &&
           sameBits(expected->V, svd.V);
}

TEST(Decompose, HasTheBitsOfTheTextbookLoops)
{
    forAwkwardShapes([](const Matrix &A) { EXPECT_TRUE(isTheTextbooks(A, Decomposition(A))); });
}

TEST(Decompose, SortsTheValuesOfADiagonalMatrix)
{
    const Decomposition svd(diagonal({1, 3, 2}));
    ASSERT_EQ(svd.status, KMATH_OK);
    EXPECT_TRUE(sameBits(svd.W, diagonal({3, 2, 1})));
    const int place[] = {1, 2, 0}; // row of the value that column j holds
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            EXPECT_EQ(std::fabs(svd.U(i, j)), i == place[j] ? 1.0 : 0.0);
            EXPECT_EQ(std::fabs(svd.V(i, j)), i == place[j] ? 1.0 : 0.0);
        }
}

TEST(Decompose, TurnsANegativeDiagonalIntoNegatedVectors)
{
    const Decomposition svd(diagonal({-2, 1}));
    ASSERT_EQ(svd.status, KMATH_OK);
    EXPECT_TRUE(sameBits(svd.W, diagonal({2, 1})));
    EXPECT_EQ(svd.U(0, 0) * svd.V(0, 0), -1.0);
    EXPECT_EQ(svd.U(1, 1) * svd.V(1, 1), 1.0);
    EXPECT_EQ(svd.U(0, 1), 0.0);
    EXPECT_EQ(svd.V(1, 0), 0.0);
}

TEST(Decompose, NegatesTheColumnOfVWhereAValueConvergesBelowZero)
{
    const Decomposition svd(Matrix{{-3}}); // one element, no reflection
    ASSERT_EQ(svd.status, KMATH_OK);
    EXPECT_EQ(svd.W(0, 0), 3.0);
    EXPECT_EQ(svd.U(0, 0), 1.0);
    EXPECT_EQ(svd.V(0, 0), -1.0);
}

TEST(Decompose, PadsAWideMatrixWithRowsOfZeros)
{
    const Matrix A = {{1, 2, 3}, {4, 5, 7}};
    const Decomposition svd(A);
    ASSERT_EQ(svd.status, KMATH_OK);
    ASSERT_EQ(svd.U.rows(), 3);
    ASSERT_EQ(svd.U.cols(), 3);
    EXPECT_NEAR(svd.U(2, 0), 0.0, 1e-15);
    EXPECT_NEAR(svd.U(2, 1), 0.0, 1e-15);
    EXPECT_NEAR(std::fabs(svd.U(2, 2)), 1.0, 1e-15);
    EXPECT_NEAR(svd.W(2, 2), 0.0, 1e-14);
    expectGoodDecomposition(A);
}

TEST(Decompose, LeavesEqualValuesInPlace)
{
    const Decomposition svd(identity(5));
    ASSERT_EQ(svd.status, KMATH_OK);
    EXPECT_TRUE(sameBits(svd.W, identity(5)));
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(std::fabs(svd.U(i, i)), 1.0);
}

TEST(Decompose, CutsASuperdiagonalElementOfEpsTimesItsNeighbours)
{
    const Decomposition cut(Matrix{{1, 0x1p-51}, {0, 1}});
    EXPECT_EQ(cut.V(0, 1), 0.0);
    EXPECT_TRUE(sameBits(cut.W, identity(2)));
    const Decomposition kept(Matrix{{1, 0x1.01p-51}, {0, 1}});
    EXPECT_NEAR(std::fabs(kept.V(0, 1)), std::sqrt(0.5), 0.1);
}

TEST(Decompose, IsAccurateForEveryOrderUpTo200) { forEveryOrder(expectGoodDecomposition); }

TEST(Decompose, IsAccurateForTallAndWideShapes) { forTallAndWideShapes(expectGoodDecomposition); }

TEST(Decompose, IsAccurateForEveryCondition)
{
    forEveryCondition([](const Matrix &A, const std::vector<double> &values) {
        expectGoodDecomposition(A);
        expectValues(A, values);
    });
}

TEST(Decompose, AgreesWithLapackOnTheValues)
{
    for (const int m : {1, 3, 10, 47, 100})
        for (const int n : {1, 2, 11, 60, 100}) {
            SCOPED_TRACE(testing::Message() << m << " x " << n);
            const auto seed = static_cast<std::uint64_t>(m * n);
            for (const Matrix &A : {randomMatrix(m, n, seed), gradedMatrix(m, n, seed)})
                expectValues(A, lapackSingularValues(A));
        }
}

TEST(Decompose, FindsThePublishedValues)
{
    for (const PublishedValues &published : publishedValues())
        expectValues(published.A, published.values);
    expectGoodDecomposition(golubReinschExample());
}

// Rounding noise shrinks from column to column until its squares underflow; at several orders the
// plain iteration then never ends, and the second, scaled run takes over.
TEST(Decompose, HandlesConstantMatricesOfEveryOrderUpTo200)
{
    int secondRuns = 0;
    for (int n = 1; n <= 200; ++n) {
        SCOPED_TRACE(n);
        const Matrix A = constant(n, n, 1.0);
        expectGoodDecomposition(A);
        expectValues(A, {static_cast<double>(n)});
        if (n > 40)
            continue;
        if (oracle::sortedSvd(A)) {
            EXPECT_TRUE(isTheTextbooks(A, Decomposition(A)));
        } else {
            ++secondRuns;
        }
    }
    EXPECT_GT(secondRuns, 0) << "the second run was not tried";
}

TEST(Decompose, HandlesMatricesOfRankOneWithIntegerFactors)
{
    std::mt19937_64 generator(5);
    int secondRuns = 0;
    for (int trial = 0; trial < 300; ++trial) {
        SCOPED_TRACE(trial);
        const int m = 1 + static_cast<int>(generator() % 40);
        const int n = 1 + static_cast<int>(generator() % 40);
        const Matrix x = randomMatrix(m, 1, generator);
        const Matrix y = randomMatrix(n, 1, generator);
        const Matrix A = build(m, n, [&](int i, int j) {
            return std::round(5.0 * x(i, 0)) * std::round(5.0 * y(j, 0));
        });
        const Decomposition svd(A);
        ASSERT_EQ(svd.status, KMATH_OK);
        expectSortedAndNonNegative(svd.W);
        EXPECT_LT(residualRatio(A, svd.U, svd.W, svd.V), 50.0);
        if (oracle::sortedSvd(A)) {
            EXPECT_TRUE(isTheTextbooks(A, svd));
        } else {
            ++secondRuns;
            EXPECT_LT(orthogonalityRatio(svd.U), 50.0);
            EXPECT_LT(orthogonalityRatio(svd.V), 50.0);
        }
    }
    EXPECT_GT(secondRuns, 0) << "the second run was not tried";
}

TEST(Decompose, GivesUnitVectorsForAZeroMatrix)
{
    for (const auto &[m, n] : {std::pair{1, 1}, {2, 2}, {7, 3}, {3, 7}, {20, 20}}) {
        const Decomposition svd(Matrix(m, n));
        ASSERT_EQ(svd.status, KMATH_OK);
        EXPECT_EQ(maxDifference(svd.W, Matrix(n, n)), 0.0);
        EXPECT_EQ(orthogonalityRatio(svd.U), 0.0);
        EXPECT_EQ(orthogonalityRatio(svd.V), 0.0);
    }
}

TEST(Decompose, GivesEmptyFactorsForAMatrixWithoutColumns)
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
    EXPECT_EQ(svd.U.rows(), 3);
    EXPECT_EQ(maxDifference(svd.W, Matrix(3, 3)), 0.0);
}

TEST(Decompose, ScalesExactlyWithPowersOfTwoWhereNoSquareLeavesTheRange)
{
    const Matrix A = randomMatrix(9, 6, 3);
    const Decomposition plain(A);
    for (const int exponent : {-200, -77, -1, 1, 100, 200}) {
        SCOPED_TRACE(exponent);
        const Decomposition scaled(scaledBy(A, exponent));
        ASSERT_EQ(scaled.status, KMATH_OK);
        EXPECT_TRUE(sameBits(scaled.U, plain.U));
        EXPECT_TRUE(sameBits(scaled.V, plain.V));
        EXPECT_TRUE(sameBits(scaled.W, scaledBy(plain.W, exponent)));
    }
}

// From about 1e77 the shift overflows, from 1e154 the lengths do. The scaled run has the bits of
// the plain one at an ordinary scale.
TEST(Decompose, HandlesEntriesUpToTheLargestNumbers)
{
    for (const auto &[m, n] : {std::pair{2, 2}, {3, 3}, {9, 6}, {6, 9}, {30, 30}}) {
        const Matrix A = randomMatrix(m, n, 3);
        const Decomposition plain(A);
        for (const int exponent : {265, 300, 500, 600, 997, 1010}) {
            SCOPED_TRACE(testing::Message() << m << " x " << n << ", 2^" << exponent);
            const Decomposition scaled(scaledBy(A, exponent));
            ASSERT_EQ(scaled.status, KMATH_OK);
            EXPECT_LT(residualRatio(A, scaled.U, scaledBy(scaled.W, -exponent), scaled.V), 50.0);
            if (exponent < 600) // the shift may overflow without harm, and then counts as zero
                continue;
            EXPECT_TRUE(sameBits(scaled.U, plain.U));
            EXPECT_TRUE(sameBits(scaled.V, plain.V));
            EXPECT_TRUE(sameBits(scaled.W, scaledBy(plain.W, exponent)));
        }
    }
}

TEST(Decompose, EndsWithFiniteNumbersDownToTheSmallestEntries)
{
    for (const int n : {1, 2, 3, 5, 8, 22, 40})
        for (const int exponent : {-300, -500, -512, -530, -540, -600, -997, -1050, -1073}) {
            SCOPED_TRACE(testing::Message() << n << ", 2^" << exponent);
            for (const Matrix &A :
                 {randomMatrix(n, n, 3), randomMatrix(n + 2, n, 4), constant(n, n, 1.0)}) {
                const Decomposition svd(scaledBy(A, exponent));
                ASSERT_EQ(svd.status, KMATH_OK);
                expectSortedAndNonNegative(svd.W);
                EXPECT_TRUE(oracle::allFinite(svd.U));
                EXPECT_TRUE(oracle::allFinite(svd.W));
                EXPECT_TRUE(oracle::allFinite(svd.V));
            }
        }
}

TEST(Decompose, HandlesEveryMagnitudeInOneMatrix)
{
    std::mt19937_64 generator(11);
    for (int trial = 0; trial < 200; ++trial) {
        SCOPED_TRACE(trial);
        const int m = 1 + static_cast<int>(generator() % 20);
        const int n = 1 + static_cast<int>(generator() % 20);
        Matrix A = build(m, n, [&](int, int) {
            return std::pow(10.0, static_cast<double>(generator() % 601) - 300.0);
        });
        A(0, 0) = 1e300;
        const Decomposition svd(A);
        ASSERT_EQ(svd.status, KMATH_OK);
        expectSortedAndNonNegative(svd.W);
        EXPECT_LT(residualRatio(A, svd.U, svd.W, svd.V), 50.0);
        EXPECT_LT(orthogonalityRatio(svd.U), 50.0);
        EXPECT_LT(orthogonalityRatio(svd.V), 50.0);
    }
}

TEST(Decompose, CountsColumnsUpToTheFloorAsZeroInTheScaledRun)
{
    const double above = std::ldexp(1.01e-70, 601);
    const double below = std::ldexp(0.99e-70, 601);
    Matrix A(5, 4);
    A(0, 0) = 0x1p600; // overflows the lengths; the scaled run sees 0.5 instead
    A(1, 1) = above;
    A(2, 2) = below;
    A(3, 3) = 0x1p600;
    const Decomposition svd(A);
    ASSERT_EQ(svd.status, KMATH_OK);
    EXPECT_DOUBLE_EQ(svd.W(2, 2), above);
    EXPECT_EQ(svd.W(3, 3), 0.0);
}

// The element that the zero at the end sends up the chain shrinks by 2^50 at each step, and the
// zero at the top leaves nothing to rotate it against.
TEST(Decompose, LetsAWeakChainEndInAZero)
{
    for (const int n : {5, 10, 13, 20, 30}) {
        SCOPED_TRACE(n);
        expectGoodDecomposition(build(n, n, [&](int i, int j) {
            if (i == j)
                return i == 0 || i == n - 1 ? 0.0 : 1.0;
            return j == i + 1 ? 0x1p-50 : 0.0;
        }));
    }
}

// The trailing block of 3, 4 and 5 balances exactly and the rest of the shift underflows.
TEST(Decompose, GoesWithoutAShiftThatUnderflows)
{
    const Matrix A = {{3, 4}, {0, 5}};
    expectGoodDecomposition(scaledBy(A, -300));
    expectValues(scaledBy(A, -300),
                 {std::ldexp(std::sqrt(45.0), -300), std::ldexp(std::sqrt(5.0), -300)});
}

TEST(Decompose, RefusesAMatrixThatIsNotFinite)
{
    for (const double bad : {HUGE_VAL, -HUGE_VAL, std::nan("")})
        for (const int place : {0, 7, 14}) {
            Matrix A = randomMatrix(5, 3, 1);
            A(place / 3, place % 3) = bad;
            Matrix U = {{7}}, W = {{8}}, V = {{9}};
            EXPECT_EQ(kmath_nmmatrix_decompose(&A, &U, &W, &V), KMATH_ERR_SINGULAR);
            EXPECT_EQ(U(0, 0) + W(0, 0) + V(0, 0), 24.0) << "outputs were written";
        }
}

TEST(Decompose, RefusesAMatrixWhoseLargestValueIsNoDouble)
{
    EXPECT_EQ(Decomposition(constant(2, 2, DBL_MAX / 2.1)).status, KMATH_OK);
    const Decomposition tooLarge(constant(2, 2, DBL_MAX / 1.9));
    EXPECT_EQ(tooLarge.status, KMATH_ERR_SINGULAR);
    EXPECT_EQ(tooLarge.U.cols(), 0) << "an output was written";
}

TEST(Decompose, LetsEachOutputBeTheInput) { expectOutputsMayBeTheInput(kmath_nmmatrix_decompose); }

TEST(Decompose, KeepsItsInputAndOverwritesOldContents)
{
    expectItsInputKeptAndOldContentsOverwritten(kmath_nmmatrix_decompose);
}

TEST(Decompose, TakesNoHeapForSmallMatrices)
{
    const Matrix A = randomMatrix(4, 4, 2);
    EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(Decomposition(A).status, KMATH_OK); }), 0);
}

TEST(Decompose, GivesBackTheStatusOfEachFailingAllocation)
{
    for (const auto &[m, n] : {std::pair{6, 8}, {20, 5}, {17, 1}, {1, 17}}) {
        const Matrix A = randomMatrix(m, n, 2);
        sweepAllocationFailures([&] { return Decomposition(A).status; });
    }
}

TEST(Decompose, RefusesAMatrixThatLostItsStorage)
{
    Matrix A;
    loseStorage(A, 5, 4);
    EXPECT_EQ(Decomposition(A).status, KMATH_ERR_NO_MEMORY);
}

TEST(Decompose, AssertsEachRecord) { expectEachRecordAsserted(kmath_nmmatrix_decompose); }

} // namespace
