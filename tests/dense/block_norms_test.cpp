#include <kmath/sub_block.h>

#include "dense/operand.hpp"
#include "support/matrices.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

using namespace support;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// The textbook loops.
double lengthOfRow(const Matrix &A, int i)
{
    double sum = 0.0;
    for (int j = 0; j < A.cols(); ++j)
        sum += A(i, j) * A(i, j);
    return std::sqrt(sum);
}

double lengthOfColumn(const Matrix &A, int j)
{
    double sum = 0.0;
    for (int i = 0; i < A.rows(); ++i)
        sum += A(i, j) * A(i, j);
    return std::sqrt(sum);
}

double largestRowSum(const Matrix &A)
{
    double most = 0.0;
    for (int i = 0; i < A.rows(); ++i) {
        double sum = 0.0;
        for (int j = 0; j < A.cols(); ++j)
            sum += std::fabs(A(i, j));
        if (sum > most)
            most = sum;
    }
    return most;
}

double largestColumnSum(const Matrix &A)
{
    return largestRowSum(build(A.cols(), A.rows(), [&](int i, int j) { return A(j, i); }));
}

// Elements of all magnitudes: another order of the additions would show.
Matrix graded(int rows, int cols)
{
    const Matrix A = randomMatrix(rows, cols);
    return build(rows, cols,
                 [&](int i, int j) { return std::ldexp(A(i, j), (17 * i + 23 * j) % 50 - 25); });
}

constexpr std::pair<int, int> shapes[] = {{1, 1},  {1, 40},  {40, 1}, {2, 3},  {7, 15},
                                          {9, 16}, {16, 17}, {5, 33}, {33, 50}};

TEST(NmmatrixNorms, OfRowsAndColumnsHaveTheBitsOfTheTextbookLoop)
{
    for (const auto &[m, n] : shapes) {
        Matrix A = graded(m + 2, n + 3);
        kmath_nmmatrix_resize_noClear(&A, m, n); // read through the row pointers
        double norm = nan;
        for (int i = 0; i < m; ++i) {
            EXPECT_EQ(kmath_nmmatrix_rowNorm(&A, i, &norm), KMATH_OK);
            EXPECT_TRUE(sameBits(norm, lengthOfRow(A, i)));
        }
        for (int j = 0; j < n; ++j) {
            EXPECT_EQ(kmath_nmmatrix_columnNorm(&A, j, &norm), KMATH_OK);
            EXPECT_TRUE(sameBits(norm, lengthOfColumn(A, j)));
        }
    }
}

TEST(NmmatrixNorms, OfViewsHaveTheBitsOfTheTextbookLoop)
{
    for (const auto &[m, n] : shapes)
        for (unsigned seed = 0; seed < 5; ++seed) {
            const Matrix A = graded(m, n);
            Operand a('B', A, seed);
            double norm = nan;
            for (int i = 0; i < m; ++i) {
                EXPECT_EQ(kmath_nmmatrix_rowNormB(a.block(), i, &norm), KMATH_OK);
                EXPECT_TRUE(sameBits(norm, lengthOfRow(A, i)));
            }
            for (int j = 0; j < n; ++j) {
                EXPECT_EQ(kmath_nmmatrix_columnNormB(a.block(), j, &norm), KMATH_OK);
                EXPECT_TRUE(sameBits(norm, lengthOfColumn(A, j)));
            }
        }
}

TEST(NmmatrixNorms, OfViewsStepByTheNewColumnCountOfAShrunkParent)
{
    const Matrix original = graded(9, 11);
    Matrix A = original;
    kmath_nmmatrix_resize_noClear(&A, 6, 5);
    kmath_nmmatrix_subBlock block = view(A, 2, 1, 4, 3);
    const double *const first = A->rows[0] + 2 * 11 + 1;
    const Matrix seen = build(4, 3, [=](int i, int j) { return first[5 * i + j]; });
    double norm = nan;
    kmath_nmmatrix_rowNormB(&block, 3, &norm);
    EXPECT_TRUE(sameBits(norm, lengthOfRow(seen, 3)));
    kmath_nmmatrix_columnNormB(&block, 2, &norm);
    EXPECT_TRUE(sameBits(norm, lengthOfColumn(seen, 2)));
}

TEST(NmmatrixNorms, AddUpInTheOutputItself)
{
    // The output is the last element of the row: it is 0, then 3² + 4² = 25 when it is squared.
    Matrix A{{3, 4, 7}};
    ASSERT_EQ(kmath_nmmatrix_rowNorm(&A, 0, &A->rows[0][2]), KMATH_OK);
    EXPECT_EQ(A(0, 2), std::sqrt(25.0 + 625.0));
    Matrix column{{3}, {4}, {7}};
    kmath_nmmatrix_subBlock all;
    kmath_nmmatrix_subBlock_setAll(&all, &column);
    ASSERT_EQ(kmath_nmmatrix_columnNormB(&all, 0, &column->rows[2][0]), KMATH_OK);
    EXPECT_EQ(column(2, 0), std::sqrt(25.0 + 625.0));
}

TEST(NmmatrixNorms, AreNotScaled)
{
    const Matrix A{{1e200, 1.0}, {nan, 1.0}, {-infinity, 1.0}, {1e-200, 0.0}};
    double norm = 0.0;
    kmath_nmmatrix_rowNorm(&A, 0, &norm);
    EXPECT_EQ(norm, infinity);
    kmath_nmmatrix_rowNorm(&A, 1, &norm);
    EXPECT_TRUE(std::isnan(norm));
    kmath_nmmatrix_rowNorm(&A, 2, &norm);
    EXPECT_EQ(norm, infinity);
    kmath_nmmatrix_rowNorm(&A, 3, &norm);
    EXPECT_EQ(norm, 0.0);
    kmath_nmmatrix_columnNorm(&A, 0, &norm);
    EXPECT_TRUE(std::isnan(norm));
}

TEST(NmmatrixColumnNormB, RefusesAColumnOutOfItsRangeAndLeavesZero)
{
    Matrix A = randomMatrix(5, 6);
    kmath_nmmatrix_subBlock block = view(A, 1, 1, 3, 4);
    for (const int col : {-1, 4, INT_MIN, INT_MAX}) {
        double norm = nan;
        EXPECT_EQ(kmath_nmmatrix_columnNormB(&block, col, &norm), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_TRUE(sameBits(norm, 0.0));
    }
    kmath_nmmatrix_subBlock_init(&block);
    double norm = nan;
    EXPECT_EQ(kmath_nmmatrix_columnNormB(&block, 0, &norm), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_TRUE(sameBits(norm, 0.0));
}

TEST(NmmatrixNorms, DoNotTestTheIndicesOfRowsAndOfWholeMatrices)
{
    Matrix A = graded(5, 6);
    const Matrix before = A;
    kmath_nmmatrix_subBlock block = view(A, 1, 2, 2, 3);
    double norm = nan;
    for (const int row : {-1, 2, 3}) { // outside of the view, inside of its parent
        EXPECT_EQ(kmath_nmmatrix_rowNormB(&block, row, &norm), KMATH_OK);
        EXPECT_TRUE(sameBits(
            norm, lengthOfRow(build(1, 3, [&](int, int j) { return before(1 + row, 2 + j); }), 0)));
    }
    kmath_nmmatrix_resize_noClear(&A, 4, 5);
    EXPECT_EQ(kmath_nmmatrix_rowNorm(&A, 4, &norm), KMATH_OK);
    EXPECT_TRUE(
        sameBits(norm, lengthOfRow(build(1, 5, [&](int, int j) { return before(4, j); }), 0)));
    EXPECT_EQ(kmath_nmmatrix_columnNorm(&A, 5, &norm), KMATH_OK);
    EXPECT_TRUE(
        sameBits(norm, lengthOfColumn(build(4, 1, [&](int i, int) { return before(i, 5); }), 0)));
}

TEST(NmmatrixNorms, OfTheLargestEmptyShapesAreZero)
{
    for (const auto &[rows, cols] : {std::pair{0, INT_MAX}, {INT_MAX, 0}}) {
        const Matrix A(rows, cols);
        for (const auto norm : {kmath_nmmatrix_oneRowNorm, kmath_nmmatrix_oneColNorm}) {
            double result = nan;
            EXPECT_EQ(norm(&A, &result), KMATH_OK);
            EXPECT_TRUE(sameBits(result, 0.0));
        }
    }
}

TEST(NmmatrixNorms, WithoutElementsAreZero)
{
    Matrix lost;
    loseStorage(lost, 5, 5);
    Matrix nothing;
    Matrix noRows(0, 3);
    Matrix noColumns(3, 0);
    Matrix many(7, 0);
    for (kmath_nmmatrix *a : {&lost, &nothing, &noRows, &noColumns, &many}) {
        kmath_nmmatrix_subBlock block;
        kmath_nmmatrix_subBlock_setAll(&block, a);
        double norm = nan;
        EXPECT_EQ(kmath_nmmatrix_rowNorm(a, 0, &norm), KMATH_OK);
        EXPECT_TRUE(sameBits(norm, 0.0));
        norm = nan;
        EXPECT_EQ(kmath_nmmatrix_columnNorm(a, 0, &norm), KMATH_OK);
        EXPECT_TRUE(sameBits(norm, 0.0));
        norm = nan;
        EXPECT_EQ(kmath_nmmatrix_rowNormB(&block, 0, &norm), KMATH_OK);
        EXPECT_TRUE(sameBits(norm, 0.0));
        norm = nan;
        EXPECT_EQ(kmath_nmmatrix_columnNormB(&block, 0, &norm),
                  block.nCols > 0 ? KMATH_OK : KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_TRUE(sameBits(norm, 0.0));
        norm = nan;
        EXPECT_EQ(kmath_nmmatrix_oneRowNorm(a, &norm), KMATH_OK);
        EXPECT_TRUE(sameBits(norm, 0.0));
        norm = nan;
        EXPECT_EQ(kmath_nmmatrix_oneColNorm(a, &norm), KMATH_OK);
        EXPECT_TRUE(sameBits(norm, 0.0));
        norm = nan;
        EXPECT_EQ(kmath_nmmatrix_max(a, &norm), KMATH_OK);
        EXPECT_TRUE(sameBits(norm, 0.0));
    }
}

TEST(NmmatrixNorms, OfReversedRangesAreZero)
{
    Matrix A = randomMatrix(4, 4);
    kmath_nmmatrix_subBlock block;
    ASSERT_EQ(kmath_nmmatrix_subBlock_setRange(&block, &A, 3, 0, 0, 3), KMATH_OK);
    double norm = nan;
    EXPECT_EQ(kmath_nmmatrix_rowNormB(&block, 0, &norm), KMATH_OK);
    EXPECT_TRUE(sameBits(norm, 0.0));
    norm = nan;
    EXPECT_EQ(kmath_nmmatrix_columnNormB(&block, 0, &norm), KMATH_OK);
    EXPECT_TRUE(sameBits(norm, 0.0));
}

TEST(NmmatrixSumNorms, TakeTheLargestRowOrColumn)
{
    const Matrix A{{1, -2}, {3, 0}};
    double norm = nan;
    EXPECT_EQ(kmath_nmmatrix_oneRowNorm(&A, &norm), KMATH_OK);
    EXPECT_EQ(norm, 3.0);
    EXPECT_EQ(kmath_nmmatrix_oneColNorm(&A, &norm), KMATH_OK);
    EXPECT_EQ(norm, 4.0);
}

TEST(NmmatrixSumNorms, HaveTheBitsOfTheTextbookLoop)
{
    for (const auto &[m, n] : shapes) {
        Matrix A = graded(m + 1, n + 2);
        kmath_nmmatrix_resize_noClear(&A, m, n);
        double norm = nan;
        kmath_nmmatrix_oneRowNorm(&A, &norm);
        EXPECT_TRUE(sameBits(norm, largestRowSum(A)));
        kmath_nmmatrix_oneColNorm(&A, &norm);
        EXPECT_TRUE(sameBits(norm, largestColumnSum(A)));
    }
}

TEST(NmmatrixSumNorms, PassOverNaNAndKeepInfinity)
{
    const Matrix A{{nan, 100.0}, {-1.0, 2.0}};
    double norm = -1.0;
    kmath_nmmatrix_oneRowNorm(&A, &norm);
    EXPECT_EQ(norm, 3.0);
    kmath_nmmatrix_oneColNorm(&A, &norm);
    EXPECT_EQ(norm, 102.0);
    const Matrix all{{nan}};
    kmath_nmmatrix_oneRowNorm(&all, &norm);
    EXPECT_TRUE(sameBits(norm, 0.0));
    const Matrix huge{{-infinity, 1.0}};
    kmath_nmmatrix_oneColNorm(&huge, &norm);
    EXPECT_EQ(norm, infinity);
}

double maximumOf(const Matrix &A)
{
    double result = nan;
    EXPECT_EQ(kmath_nmmatrix_max(&A, &result), KMATH_OK);
    return result;
}

TEST(NmmatrixMax, IsTheLargestElement)
{
    EXPECT_EQ(maximumOf(Matrix{{-3, -7}, {-2, -9}}), -2.0);
    EXPECT_EQ(maximumOf(Matrix{{5}}), 5.0);
    EXPECT_EQ(maximumOf(Matrix{{-infinity, -1e308}}), -1e308);
    EXPECT_EQ(maximumOf(Matrix{{1, 2, infinity}, {3, 4, 5}}), infinity);
    // The first of equals stays.
    EXPECT_TRUE(sameBits(maximumOf(Matrix{{-0.0, 0.0}}), -0.0));
    EXPECT_TRUE(sameBits(maximumOf(Matrix{{0.0, -0.0}}), 0.0));
}

TEST(NmmatrixMax, GoesOnAfreshBehindANaN)
{
    EXPECT_EQ(maximumOf(Matrix{{9, nan, 2}, {1, 3, 2}}), 3.0);
    EXPECT_EQ(maximumOf(Matrix{{nan, -5}}), -5.0);
    EXPECT_TRUE(std::isnan(maximumOf(Matrix{{9, 8}, {7, nan}})));
    EXPECT_TRUE(std::isnan(maximumOf(Matrix{{nan}})));
}

TEST(NmmatrixMax, SeesTheRectangleOfAShrunkMatrix)
{
    Matrix A{{1, 2, 9}, {3, 4, 9}, {9, 9, 9}};
    kmath_nmmatrix_resize_noClear(&A, 2, 2);
    EXPECT_EQ(maximumOf(Matrix(A)), 4.0);
    double result = nan;
    kmath_nmmatrix_max(&A, &result);
    EXPECT_EQ(result, 4.0);
}

TEST(NmmatrixMax, ReadsTheFirstStoredElementOfAnEmptyMatrix)
{
    for (const auto &[m, n] : {std::pair{2, 2}, {6, 2}, {20, 20}})
        for (const auto &[rows, cols] : {std::pair{0, 0}, {0, 2}, {2, 0}}) {
            Matrix A(m, n);
            A(0, 0) = -7.0;
            A(1, 1) = 3.0;
            ASSERT_EQ(kmath_nmmatrix_resize_noClear(&A, rows, cols), KMATH_OK);
            double result = nan;
            EXPECT_EQ(kmath_nmmatrix_max(&A, &result), KMATH_OK);
            EXPECT_EQ(result, -7.0);
        }
}

TEST(NmmatrixMax, IsZeroOnceAMatrixHasBeenResizedToNothing)
{
    for (const auto &[rows, cols] : {std::pair{0, 0}, {0, 3}, {3, 0}, {9, 0}, {0, 40}}) {
        Matrix A{{-7, -6}, {-5, -4}};
        ASSERT_EQ(kmath_nmmatrix_resize(&A, rows, cols), KMATH_OK);
        double result = nan;
        EXPECT_EQ(kmath_nmmatrix_max(&A, &result), KMATH_OK);
        EXPECT_TRUE(sameBits(result, 0.0));
    }
}

} // namespace
