#include <kmath/nmmatrix.h>

#include "oracle/products.hpp"
#include "support/matrices.hpp"
#include "support/services.hpp"
#include "support/svd_checks.hpp"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>

using namespace support;

namespace
{

constexpr double unbounded = 1e28;

double conditionNumber(const Matrix &A, int method)
{
    double condition = -1.0;
    EXPECT_EQ(kmath_nmmatrix_conditionNumber(&A, method, &condition), KMATH_OK);
    return condition;
}

Matrix pseudoInverse(const Matrix &A, double c)
{
    Matrix Ainv;
    EXPECT_EQ(kmath_nmmatrix_pseudoInverse(&A, c, &Ainv), KMATH_OK);
    return Ainv;
}

void expectNear(const Matrix &A, const Matrix &B, double tolerance)
{
    EXPECT_LE(maxDifference(A, B), tolerance) << A << "\n against " << B;
}

TEST(ConditionNumber, IsTheRatioOfTheExtremeSingularValues)
{
    EXPECT_EQ(conditionNumber(diagonal({4, 2}), 0), 2.0);
    EXPECT_EQ(conditionNumber(diagonal({2, -8, 4}), 0), 4.0);
    EXPECT_NEAR(conditionNumber(hilbert(3, 3), 0), 524.05677758606081787, 1e-9);
    EXPECT_NEAR(conditionNumber(hilbert(6, 6), 0), 14951058.640131216775, 1.0);
    const Matrix A = withSingularValues(12, 7, geometricValues(7, 385.0), 3);
    EXPECT_NEAR(conditionNumber(A, 0), 385.0, 1e-9);
}

TEST(ConditionNumber, HasTheBitsOfTheWholeDecomposition)
{
    for (const auto &[m, n] : {std::pair{3, 3}, {7, 7}, {20, 9}, {40, 40}}) {
        const Matrix A = randomMatrix(m, n, 4);
        Matrix U, W, V;
        ASSERT_EQ(kmath_nmmatrix_decompose(&A, &U, &W, &V), KMATH_OK);
        EXPECT_EQ(conditionNumber(A, 0), W(0, 0) / W(n - 1, n - 1));
    }
    // The second, scaled run takes over here.
    const Matrix huge = build(5, 5, [](int i, int j) { return i == j ? 2e200 : 1e200; });
    EXPECT_NEAR(conditionNumber(huge, 0), 6.0, 1e-13);
}

TEST(ConditionNumber, TakesMagnitudesOfEigenvaluesByAnyOtherMethod)
{
    for (const int method : {1, 2, -1}) {
        EXPECT_EQ(conditionNumber(diagonal({4, 2}), method), 2.0);
        EXPECT_EQ(conditionNumber(diagonal({2, -8, 4}), method), 4.0);
        EXPECT_NEAR(conditionNumber(hilbert(3, 3), method), 524.05677758606081787, 1e-9);
        const Matrix A = randomSymmetric(30, 8);
        EXPECT_NEAR(conditionNumber(A, method) / conditionNumber(A, 0), 1.0, 1e-11);
    }
}

TEST(ConditionNumber, IsUnboundedForASingularMatrix)
{
    for (const int method : {0, 1}) {
        EXPECT_EQ(conditionNumber(diagonal({1, 0}), method), unbounded);
        EXPECT_EQ(conditionNumber(Matrix(3, 3), method), unbounded);
        EXPECT_EQ(conditionNumber(Matrix{{0}}, method), unbounded);
    }
    EXPECT_EQ(conditionNumber(Matrix(2, 9), 0), unbounded);
}

TEST(ConditionNumber, IsUnboundedBelowTheSmallestScale)
{
    for (const int method : {0, 1}) {
        EXPECT_EQ(conditionNumber(diagonal({1e-14, 5e-15}), method), 2.0);
        EXPECT_EQ(conditionNumber(diagonal({0.99e-14, 5e-15}), method), unbounded);
    }
}

TEST(ConditionNumber, IsUnboundedForAnEmptyMatrix)
{
    for (const int method : {0, 1})
        for (const auto &[m, n] : {std::pair{0, 0}, {0, 3}, {3, 0}, {9, 0}})
            EXPECT_EQ(conditionNumber(Matrix(m, n), method), unbounded);
}

TEST(ConditionNumber, RefusesARectangleWhereEigenvaluesAreAsked)
{
    const Matrix A = randomMatrix(3, 2, 1);
    double condition = 7.0;
    EXPECT_EQ(kmath_nmmatrix_conditionNumber(&A, 1, &condition), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(condition, 7.0);
}

TEST(ConditionNumber, RefusesAMatrixThatIsNotFinite)
{
    for (const double bad : {HUGE_VAL, std::nan("")})
        for (const int method : {0, 1}) {
            Matrix A = randomSymmetric(4, 1);
            A(2, 1) = A(1, 2) = bad;
            double condition = 7.0;
            EXPECT_EQ(kmath_nmmatrix_conditionNumber(&A, method, &condition), KMATH_ERR_SINGULAR);
            EXPECT_EQ(condition, 7.0);
        }
}

TEST(ConditionNumber, LetsInfiniteAndNaNDiagonalsThroughAsEigenvalues)
{
    EXPECT_EQ(conditionNumber(diagonal({HUGE_VAL, 1}), 1), HUGE_VAL);
    EXPECT_TRUE(std::isnan(conditionNumber(diagonal({HUGE_VAL, HUGE_VAL}), 1)));
    EXPECT_EQ(conditionNumber(diagonal({std::nan("")}), 1), unbounded);
}

TEST(ConditionNumber, KeepsItsInput)
{
    const Matrix A = randomSymmetric(6, 1);
    const Matrix before = A;
    conditionNumber(A, 0);
    conditionNumber(A, 1);
    EXPECT_TRUE(sameBits(A, before));
}

TEST(ConditionNumber, TakesNoHeapForSmallMatrices)
{
    const Matrix A = randomSymmetric(4, 2);
    EXPECT_EQ(allocationsOf([&] { conditionNumber(A, 0); }), 0);
    EXPECT_EQ(allocationsOf([&] { conditionNumber(A, 1); }), 0);
}

TEST(ConditionNumber, GivesBackTheStatusOfEachFailingAllocation)
{
    const Matrix A = randomSymmetric(18, 2);
    for (const int method : {0, 1})
        sweepAllocationFailures([&] {
            double condition;
            return kmath_nmmatrix_conditionNumber(&A, method, &condition);
        });
}

TEST(ConditionNumber, AssertsItsArguments)
{
    const Matrix A(2, 2);
    double condition;
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_conditionNumber(&A, 0, &condition); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_conditionNumber(nullptr, 0, &condition); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_conditionNumber(&A, 0, nullptr); }), 0);
}

TEST(PseudoInverse, InvertsValuesFromTheThresholdUpwardsAndDampsTheRest)
{
    expectNear(pseudoInverse(diagonal({1, 1e-6}), 1e6), identity(2), 1e-15);
    expectNear(pseudoInverse(diagonal({1, 1e-6}), 1e14), diagonal({1, 1e6}), 1e-9);
    // t = 1/4 exactly: the value itself is inverted, its neighbours either way are continuous.
    EXPECT_EQ(pseudoInverse(diagonal({1, 0.25}), 16)(1, 1), 4.0);
    EXPECT_NEAR(pseudoInverse(diagonal({1, 0.2}), 16)(1, 1), 3.2, 1e-14);
    EXPECT_NEAR(pseudoInverse(diagonal({1, 0.3}), 16)(1, 1), 1.0 / 0.3, 1e-14);
    EXPECT_EQ(pseudoInverse(diagonal({1, 0.0}), 16)(1, 1), 0.0);
}

TEST(PseudoInverse, IsACopyOfAMatrixWhoseThresholdVanishes)
{
    EXPECT_TRUE(sameBits(pseudoInverse(Matrix(2, 2), 1e6), Matrix(2, 2)));
    const Matrix A = {{1e-10, 2e-10, 0}, {0, 3e-10, 1e-10}};
    EXPECT_TRUE(sameBits(pseudoInverse(A, 1), A)); // not its transpose
    const Matrix B = diagonal({1e-6, 1e-7});
    EXPECT_TRUE(sameBits(pseudoInverse(B, 1.01e6), B));
    EXPECT_NE(pseudoInverse(B, 0.99e6)(0, 0), 1e-6);
}

TEST(PseudoInverse, HasTheBitsOfItsFormulae)
{
    // The threshold is the value itself: inverted, where w/t² has other bits.
    double w = 1.0;
    while (w / (w * w) == 1.0 / w)
        w += 0.01;
    EXPECT_EQ(pseudoInverse({{w}}, 1)(0, 0), 1.0 / w);

    // Below the threshold: one division by t², where two divisions by t have other bits.
    const double t = 1.0 / std::sqrt(7.0);
    ASSERT_NE(0.1 / (t * t), 0.1 / t / t);
    EXPECT_EQ(pseudoInverse(diagonal({1, 0.1}), 7)(1, 1), 0.1 / (t * t));

    // The least threshold that is still inverted at.
    EXPECT_EQ(pseudoInverse({{1e-9}}, 1)(0, 0), 1.0 / 1e-9);
    const double less = std::nextafter(1e-9, 0.0);
    EXPECT_EQ(pseudoInverse({{less}}, 1)(0, 0), less);
}

TEST(PseudoInverse, IsACopyWhereTheThresholdIsNotANumber)
{
    const Matrix A = randomMatrix(3, 2, 5);
    for (const double c : {-1.0, std::nan(""), HUGE_VAL})
        EXPECT_TRUE(sameBits(pseudoInverse(A, c), A)) << c;
    EXPECT_TRUE(sameBits(pseudoInverse(Matrix(2, 3), 0.0), Matrix(2, 3)));
}

TEST(PseudoInverse, VanishesForAnInfiniteThreshold)
{
    EXPECT_EQ(maxDifference(pseudoInverse(randomMatrix(3, 2, 5), 0.0), Matrix(2, 3)), 0.0);
}

TEST(PseudoInverse, IsACopyOfAnEmptyMatrix)
{
    for (const auto &[m, n] : {std::pair{0, 0}, {0, 3}, {3, 0}, {9, 0}}) {
        const Matrix Ainv = pseudoInverse(Matrix(m, n), 1e6);
        EXPECT_EQ(Ainv.rows(), m);
        EXPECT_EQ(Ainv.cols(), n);
    }
}

TEST(PseudoInverse, HasTheFourPropertiesOfPenrose)
{
    for (const auto &[m, n] : {std::pair{3, 3}, {12, 5}, {5, 12}, {40, 40}}) {
        SCOPED_TRACE(testing::Message() << m << " x " << n);
        const int k = std::min(m, n);
        const Matrix A = withSingularValues(m, n, geometricValues(k, 100.0), 6);
        const Matrix X = pseudoInverse(A, 1e12);
        const int rows = std::max(m, n);
        ASSERT_EQ(X.rows(), n);
        ASSERT_EQ(X.cols(), rows);
        const Matrix padded =
            build(rows, n, [&](int i, int j) { return i < A.rows() ? A(i, j) : 0.0; });
        const Matrix AX = oracle::product(padded, X);
        const Matrix XA = oracle::product(X, padded);
        expectNear(oracle::product(AX, padded), padded, 1e-12);
        expectNear(oracle::product(XA, X), X, 1e-10);
        expectNear(AX, build(rows, rows, [&](int i, int j) { return AX(j, i); }), 1e-12);
        expectNear(XA, build(n, n, [&](int i, int j) { return XA(j, i); }), 1e-12);
    }
}

TEST(PseudoInverse, MayReplaceItsInput)
{
    Matrix A = randomMatrix(5, 3, 1);
    const Matrix expected = pseudoInverse(A, 1e8);
    ASSERT_EQ(kmath_nmmatrix_pseudoInverse(&A, 1e8, &A), KMATH_OK);
    EXPECT_TRUE(sameBits(A, expected));
}

TEST(PseudoInverse, RefusesAMatrixThatIsNotFinite)
{
    Matrix A = randomMatrix(3, 3, 1), Ainv = {{7}};
    A(1, 1) = std::nan("");
    EXPECT_EQ(kmath_nmmatrix_pseudoInverse(&A, 1e6, &Ainv), KMATH_ERR_SINGULAR);
    EXPECT_TRUE(sameBits(Ainv, Matrix{{7}}));
}

TEST(PseudoInverse, GivesBackTheStatusOfEachFailingAllocation)
{
    for (const auto &[m, n] : {std::pair{20, 5}, {5, 7}}) {
        const Matrix A = randomMatrix(m, n, 2);
        sweepAllocationFailures([&] {
            Matrix Ainv;
            return kmath_nmmatrix_pseudoInverse(&A, 1e6, &Ainv);
        });
        const Matrix zero(m, n); // the copy allocates as well
        sweepAllocationFailures([&] {
            Matrix Ainv;
            return kmath_nmmatrix_pseudoInverse(&zero, 1e6, &Ainv);
        });
    }
}

TEST(PseudoInverse, AssertsItsRecords)
{
    Matrix A(2, 2), Ainv;
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_pseudoInverse(&A, 1, &Ainv); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_pseudoInverse(nullptr, 1, &Ainv); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_pseudoInverse(&A, 1, nullptr); }), 0);
}

TEST(PseudoSolve, FindsTheLeastSquaresSolution)
{
    // The line through (0, 1), (1, 2.5), (2, 3.5), (3, 5): 1.05 + 1.3·t by the normal equations.
    const Matrix A = {{1, 0}, {1, 1}, {1, 2}, {1, 3}};
    const Matrix b = {{1}, {2.5}, {3.5}, {5}};
    Matrix x;
    ASSERT_EQ(kmath_nmmatrix_pseudoSolve(&A, &b, &x, 1e12), KMATH_OK);
    expectNear(x, Matrix{{1.05}, {1.3}}, 1e-14);
}

TEST(PseudoSolve, FindsTheShortestSolutionOfAWideSystem)
{
    const Matrix A = {{1, 1, 1}};
    const Matrix b = {{6}, {0}, {0}}; // padded like A
    Matrix x;
    ASSERT_EQ(kmath_nmmatrix_pseudoSolve(&A, &b, &x, 1e12), KMATH_OK);
    expectNear(x, Matrix{{2}, {2}, {2}}, 1e-14);
}

TEST(PseudoSolve, SolvesForEveryColumn)
{
    const Matrix A = randomMatrix(7, 7, 3);
    const Matrix expected = randomMatrix(7, 3, 4);
    const Matrix b = oracle::product(A, expected);
    Matrix x;
    ASSERT_EQ(kmath_nmmatrix_pseudoSolve(&A, &b, &x, 1e12), KMATH_OK);
    expectNear(x, expected, 1e-12);
}

TEST(PseudoSolve, RefusesARightHandSideOfTheWrongHeight)
{
    Matrix x = {{7}};
    const Matrix wide = randomMatrix(2, 3, 1);
    const Matrix two(2, 1), three(3, 1);
    EXPECT_EQ(kmath_nmmatrix_pseudoSolve(&wide, &two, &x, 1e6), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_TRUE(sameBits(x, Matrix{{7}}));
    EXPECT_EQ(kmath_nmmatrix_pseudoSolve(&wide, &three, &x, 1e6), KMATH_OK);
}

TEST(PseudoSolve, RefusesToReplaceTheRightHandSide)
{
    const Matrix A = randomMatrix(3, 3, 1);
    Matrix b = randomMatrix(3, 1, 2);
    const Matrix before = b;
    EXPECT_EQ(kmath_nmmatrix_pseudoSolve(&A, &b, &b, 1e6), KMATH_ERR_ALIASED);
    EXPECT_TRUE(sameBits(b, before));
}

TEST(PseudoSolve, MayReplaceTheMatrix)
{
    Matrix A = {{2, 0}, {0, 4}};
    const Matrix b = {{1}, {1}};
    ASSERT_EQ(kmath_nmmatrix_pseudoSolve(&A, &b, &A, 1e6), KMATH_OK);
    expectNear(A, Matrix{{0.5}, {0.25}}, 1e-15);
}

TEST(PseudoSolve, SucceedsEmpty)
{
    for (const auto &[m, n] : {std::pair{0, 0}, {0, 3}, {3, 0}}) {
        const Matrix A(m, n), b(std::max(m, n), 2);
        Matrix x = {{7}};
        EXPECT_EQ(kmath_nmmatrix_pseudoSolve(&A, &b, &x, 1e6), KMATH_OK);
        EXPECT_EQ(x.rows(), 0);
        EXPECT_EQ(x.cols(), 2);
    }
    const Matrix A(3, 0), b(2, 2);
    Matrix x, same(3, 2), lost;
    EXPECT_EQ(kmath_nmmatrix_pseudoSolve(&A, &b, &x, 1e6), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(kmath_nmmatrix_pseudoSolve(&A, &same, &same, 1e6), KMATH_ERR_ALIASED);
    EXPECT_TRUE(sameBits(same, Matrix(3, 2)));
    loseStorage(lost, 3, 20);
    EXPECT_EQ(kmath_nmmatrix_pseudoSolve(&A, &lost, &x, 1e6), KMATH_ERR_NO_MEMORY);
}

TEST(PseudoSolve, RefusesAMatrixThatIsNotFinite)
{
    Matrix A = randomMatrix(3, 3, 1), x;
    A(0, 2) = HUGE_VAL;
    const Matrix b(3, 1);
    EXPECT_EQ(kmath_nmmatrix_pseudoSolve(&A, &b, &x, 1e6), KMATH_ERR_SINGULAR);
}

TEST(PseudoSolve, GivesBackTheStatusOfEachFailingAllocation)
{
    const Matrix A = randomMatrix(20, 5, 2), b = randomMatrix(20, 4, 3);
    sweepAllocationFailures([&] {
        Matrix x;
        return kmath_nmmatrix_pseudoSolve(&A, &b, &x, 1e6);
    });
}

TEST(PseudoSolve, RefusesMatricesThatLostTheirStorage)
{
    Matrix lost, x;
    loseStorage(lost, 5, 5);
    const Matrix sound = randomMatrix(5, 5, 1);
    double condition;
    for (const int method : {0, 1})
        EXPECT_EQ(kmath_nmmatrix_conditionNumber(&lost, method, &condition), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(kmath_nmmatrix_pseudoInverse(&lost, 1e6, &x), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(kmath_nmmatrix_pseudoSolve(&lost, &sound, &x, 1e6), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(kmath_nmmatrix_pseudoSolve(&sound, &lost, &x, 1e6), KMATH_ERR_NO_MEMORY);
}

TEST(PseudoSolve, AssertsItsRecords)
{
    Matrix A(2, 2), b(2, 1), x;
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_pseudoSolve(&A, &b, &x, 1); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_pseudoSolve(nullptr, &b, &x, 1); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_pseudoSolve(&A, nullptr, &x, 1); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_pseudoSolve(&A, &b, nullptr, 1); }), 0);
}

} // namespace
