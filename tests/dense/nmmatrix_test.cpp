#include "support/matrices.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

using namespace support;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr std::int32_t maxInt = std::numeric_limits<std::int32_t>::max();

// A record of no meaning, to see what a call writes of it.
kmath_nmmatrix garbage()
{
    kmath_nmmatrix matrix;
    std::memset(&matrix, 0xA5, sizeof matrix);
    return matrix;
}

bool sameBytes(const kmath_nmmatrix &a, const kmath_nmmatrix &b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

void expectEmpty(const kmath_nmmatrix &matrix)
{
    EXPECT_EQ(matrix.rows, nullptr);
    EXPECT_EQ(matrix.nRows, 0);
    EXPECT_EQ(matrix.nCols, 0);
    EXPECT_EQ(matrix.onHeap, 0);
    EXPECT_EQ(matrix.heapRows, nullptr);
}

void expectInline(const kmath_nmmatrix &matrix)
{
    EXPECT_EQ(matrix.onHeap, 0);
    EXPECT_EQ(matrix.rows, matrix.inlineRows);
    EXPECT_EQ(matrix.heapRows, nullptr);
    for (int i = 0; i < matrix.nRows; ++i)
        EXPECT_EQ(matrix.rows[i], matrix.inlineData + i * matrix.nCols);
}

void expectOnHeap(const kmath_nmmatrix &matrix)
{
    EXPECT_EQ(matrix.onHeap, 1);
    ASSERT_NE(matrix.rows, nullptr);
    EXPECT_EQ(matrix.rows, matrix.heapRows);
    for (int i = 0; i < matrix.nRows; ++i)
        EXPECT_EQ(matrix.rows[i], matrix.rows[0] + i * matrix.nCols);
}

Matrix counting(std::int32_t rows, std::int32_t cols)
{
    return build(rows, cols, [=](int i, int j) { return 1.0 + i * cols + j; });
}

// Allocations that a resizer makes on its way to success.
std::int64_t allocationsTo(kmath_status (*resize)(kmath_nmmatrix *, std::int32_t, std::int32_t),
                           Matrix &matrix, std::int32_t rows, std::int32_t cols)
{
    return allocationsOf([&] { EXPECT_EQ(resize(&matrix, rows, cols), KMATH_OK); });
}

Matrix zeros(std::int32_t rows, std::int32_t cols) { return Matrix(rows, cols); }

TEST(NmmatrixConstruct, EmptiesTheRecordAndLeavesTheInlineAreas)
{
    kmath_nmmatrix matrix = garbage();
    EXPECT_EQ(kmath_nmmatrix_construct(&matrix), KMATH_OK);
    expectEmpty(matrix);

    kmath_nmmatrix expected = garbage();
    EXPECT_EQ(std::memcmp(matrix.inlineData, expected.inlineData, sizeof expected.inlineData), 0);
    EXPECT_EQ(std::memcmp(matrix.inlineRows, expected.inlineRows, sizeof expected.inlineRows), 0);
}

TEST(NmmatrixConstructRowsCols, MakesAMatrixOfZeros)
{
    for (const auto &[rows, cols] : {std::pair{2, 3}, {4, 4}, {5, 7}, {7, 1}, {0, 4}, {4, 0}}) {
        kmath_nmmatrix matrix = garbage();
        ASSERT_EQ(kmath_nmmatrix_constructRowsCols(&matrix, rows, cols), KMATH_OK);
        EXPECT_EQ(matrix.nRows, rows);
        EXPECT_EQ(matrix.nCols, cols);
        for (int i = 0; i < rows; ++i)
            for (int j = 0; j < cols; ++j)
                EXPECT_TRUE(sameBits(matrix.rows[i][j], 0.0));
        kmath_nmmatrix_destruct(&matrix);
    }
}

TEST(NmmatrixConstructRowsCols, LeavesTheRecordUnconstructedForANegativeSize)
{
    for (const auto &[rows, cols] : {std::pair{-1, 3}, {3, -1}, {-1, -1}, {-maxInt - 1, 0}}) {
        kmath_nmmatrix matrix = garbage();
        EXPECT_EQ(kmath_nmmatrix_constructRowsCols(&matrix, rows, cols), KMATH_ERR_NEGATIVE_SIZE);
        EXPECT_TRUE(sameBytes(matrix, garbage()));
    }
}

TEST(NmmatrixConstructRowsCols, LeavesAnEmptyRecordWhenMemoryRunsOut)
{
    for (const int number : {0, 1}) {
        kmath_nmmatrix matrix = garbage();
        failAllocation(number);
        EXPECT_EQ(kmath_nmmatrix_constructRowsCols(&matrix, 5, 5), KMATH_ERR_NO_MEMORY);
        failAllocation(-1);
        expectEmpty(matrix);
    }
    sweepAllocationFailures([] {
        kmath_nmmatrix matrix;
        const kmath_status status = kmath_nmmatrix_constructRowsCols(&matrix, 5, 5);
        kmath_nmmatrix_destruct(&matrix);
        return status;
    });
}

TEST(NmmatrixConstructRowsColsVal, FillsWithTheValue)
{
    for (const auto &[rows, cols] : {std::pair{2, 3}, {3, 9}, {0, 2}}) {
        kmath_nmmatrix matrix;
        ASSERT_EQ(kmath_nmmatrix_constructRowsColsVal(&matrix, rows, cols, 2.375), KMATH_OK);
        ASSERT_EQ(matrix.nRows, rows);
        ASSERT_EQ(matrix.nCols, cols);
        for (int i = 0; i < rows; ++i)
            for (int j = 0; j < cols; ++j)
                EXPECT_EQ(matrix.rows[i][j], 2.375);
        kmath_nmmatrix_destruct(&matrix);
    }
}

TEST(NmmatrixConstructRowsColsVal, FailsAsConstructRowsColsDoes)
{
    kmath_nmmatrix matrix = garbage();
    EXPECT_EQ(kmath_nmmatrix_constructRowsColsVal(&matrix, 2, -3, 1.0), KMATH_ERR_NEGATIVE_SIZE);
    EXPECT_TRUE(sameBytes(matrix, garbage()));
    sweepAllocationFailures([] {
        kmath_nmmatrix record;
        const kmath_status status = kmath_nmmatrix_constructRowsColsVal(&record, 1, 17, 1.0);
        kmath_nmmatrix_destruct(&record);
        return status;
    });
}

TEST(NmmatrixConstructMatrix6F, WidensEachFloatByRows)
{
    kmath_matrix6F source;
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 6; ++j)
            source.m[i][j] = 0.1f * static_cast<float>(10 * i + j);
    kmath_nmmatrix matrix;
    ASSERT_EQ(kmath_nmmatrix_constructMatrix6F(&matrix, &source), KMATH_OK);
    ASSERT_EQ(matrix.nRows, 6);
    ASSERT_EQ(matrix.nCols, 6);
    expectOnHeap(matrix);
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 6; ++j)
            EXPECT_EQ(matrix.rows[i][j], double{source.m[i][j]});
    kmath_nmmatrix_destruct(&matrix);
}

TEST(NmmatrixConstructMatrix6F, PassesAFailingAllocationOn)
{
    const kmath_matrix6F source{};
    sweepAllocationFailures([&] {
        kmath_nmmatrix matrix;
        const kmath_status status = kmath_nmmatrix_constructMatrix6F(&matrix, &source);
        kmath_nmmatrix_destruct(&matrix);
        return status;
    });
}

TEST(NmmatrixConstructVect6F, MakesAnInlineColumn)
{
    const kmath_vect6F source{{0.1f, -2.0f, 3.3f, 4.0f, 5.7f, -0.0f}};
    kmath_nmmatrix matrix;
    EXPECT_EQ(allocationsOf(
                  [&] { ASSERT_EQ(kmath_nmmatrix_constructVect6F(&matrix, &source), KMATH_OK); }),
              0);
    ASSERT_EQ(matrix.nRows, 6);
    ASSERT_EQ(matrix.nCols, 1);
    expectInline(matrix);
    for (int i = 0; i < 6; ++i)
        EXPECT_TRUE(sameBits(matrix.rows[i][0], double{source.v[i]}));
    kmath_nmmatrix_destruct(&matrix);
}

TEST(NmmatrixConstructCopy, CopiesShapeAndElements)
{
    for (const auto &[rows, cols] : {std::pair{3, 4}, {6, 7}, {0, 5}, {9, 0}}) {
        const Matrix source = randomMatrix(rows, cols);
        kmath_nmmatrix matrix = garbage();
        ASSERT_EQ(kmath_nmmatrix_constructCopy(&matrix, &source), KMATH_OK);
        ASSERT_EQ(matrix.nRows, rows);
        ASSERT_EQ(matrix.nCols, cols);
        for (int i = 0; i < rows; ++i)
            for (int j = 0; j < cols; ++j)
                EXPECT_TRUE(sameBits(matrix.rows[i][j], source(i, j)));
        kmath_nmmatrix_destruct(&matrix);
    }
}

TEST(NmmatrixConstructCopy, LeavesAnEmptyRecordOnFailure)
{
    const Matrix source = randomMatrix(5, 5);
    kmath_nmmatrix matrix = garbage();
    failAllocation(1);
    EXPECT_EQ(kmath_nmmatrix_constructCopy(&matrix, &source), KMATH_ERR_NO_MEMORY);
    failAllocation(-1);
    expectEmpty(matrix);
    sweepAllocationFailures([&] {
        kmath_nmmatrix copy;
        const kmath_status status = kmath_nmmatrix_constructCopy(&copy, &source);
        kmath_nmmatrix_destruct(&copy);
        return status;
    });
}

TEST(NmmatrixDestruct, ReleasesEverythingAndLeavesAReusableRecord)
{
    const std::int64_t before = liveBlocks();
    kmath_nmmatrix matrix;
    ASSERT_EQ(kmath_nmmatrix_constructRowsCols(&matrix, 5, 5), KMATH_OK);
    EXPECT_EQ(liveBlocks(), before + 2);
    EXPECT_EQ(kmath_nmmatrix_destruct(&matrix), KMATH_OK);
    EXPECT_EQ(liveBlocks(), before);
    expectEmpty(matrix);
    EXPECT_EQ(kmath_nmmatrix_destruct(&matrix), KMATH_OK);

    ASSERT_EQ(kmath_nmmatrix_resize(&matrix, 3, 7), KMATH_OK);
    expectOnHeap(matrix);
    EXPECT_EQ(kmath_nmmatrix_destruct(&matrix), KMATH_OK);
    EXPECT_EQ(liveBlocks(), before);
}

TEST(NmmatrixDestruct, ReleasesAMatrixShrunkToNoRows)
{
    const std::int64_t before = liveBlocks();
    kmath_nmmatrix matrix;
    ASSERT_EQ(kmath_nmmatrix_constructRowsCols(&matrix, 5, 5), KMATH_OK);
    ASSERT_EQ(kmath_nmmatrix_resize_noClear(&matrix, 0, 0), KMATH_OK);
    kmath_nmmatrix_destruct(&matrix);
    EXPECT_EQ(liveBlocks(), before);
}

TEST(NmmatrixResize, KeepsUpToSixteenElementsInSixRowsInline)
{
    Matrix matrix(4, 4);
    for (const auto &[rows, cols] :
         {std::pair{2, 8}, {1, 16}, {6, 2}, {5, 3}, {6, 1}, {1, 1}, {3, 5}}) {
        EXPECT_EQ(allocationsTo(kmath_nmmatrix_resize, matrix, rows, cols), 0);
        expectInline(*&matrix);
        EXPECT_TRUE(sameBits(matrix, zeros(rows, cols)));
    }
}

TEST(NmmatrixResize, TakesTwoBlocksForAnythingLarger)
{
    for (const auto &[rows, cols] : {std::pair{7, 2}, {1, 17}, {7, 1}, {16, 1}, {6, 3}, {40, 50}}) {
        Matrix matrix(4, 4);
        EXPECT_EQ(allocationsTo(kmath_nmmatrix_resize, matrix, rows, cols), 2);
        expectOnHeap(*&matrix);
        EXPECT_TRUE(sameBits(matrix, zeros(rows, cols)));
    }
}

TEST(NmmatrixResize, KeepsTheContentsForTheSameShape)
{
    for (const auto &[rows, cols] : {std::pair{3, 4}, {6, 7}}) {
        Matrix matrix = counting(rows, cols);
        double *const start = matrix->rows[0];
        EXPECT_EQ(allocationsTo(kmath_nmmatrix_resize, matrix, rows, cols), 0);
        EXPECT_EQ(matrix->rows[0], start);
        EXPECT_TRUE(sameBits(matrix, counting(rows, cols)));
    }
}

TEST(NmmatrixResize, ClearsForAnotherShapeOfTheSameSize)
{
    Matrix matrix = counting(3, 4);
    ASSERT_EQ(kmath_nmmatrix_resize(&matrix, 4, 3), KMATH_OK);
    EXPECT_TRUE(sameBits(matrix, zeros(4, 3)));
}

TEST(NmmatrixResize, GivesEmptyShapesNoBlocks)
{
    for (const auto &[rows, cols] : {std::pair{0, 3}, {6, 0}, {0, maxInt}, {0, 0}}) {
        Matrix matrix(5, 5);
        EXPECT_EQ(allocationsTo(kmath_nmmatrix_resize, matrix, rows, cols), 0);
        EXPECT_EQ(matrix.rows(), rows);
        EXPECT_EQ(matrix.cols(), cols);
        EXPECT_EQ(matrix->onHeap, 0);
        EXPECT_EQ(matrix->rows, matrix->inlineRows);
    }
    for (const std::int32_t rows : {7, maxInt}) {
        Matrix matrix(5, 5);
        EXPECT_EQ(allocationsTo(kmath_nmmatrix_resize, matrix, rows, 0), 0);
        EXPECT_EQ(matrix.rows(), rows);
        EXPECT_EQ(matrix->onHeap, 1);
        EXPECT_EQ(matrix->rows, nullptr);
        EXPECT_EQ(matrix->heapRows, nullptr);
    }
}

TEST(NmmatrixResize, RefusesNegativeSizesAndChangesNothing)
{
    Matrix matrix = counting(5, 5);
    EXPECT_EQ(kmath_nmmatrix_resize(&matrix, -1, 5), KMATH_ERR_NEGATIVE_SIZE);
    EXPECT_EQ(kmath_nmmatrix_resize(&matrix, 5, -1), KMATH_ERR_NEGATIVE_SIZE);
    EXPECT_TRUE(sameBits(matrix, counting(5, 5)));
}

TEST(NmmatrixResize, AsksForTheTrueSizeWhereThe32BitProductWraps)
{
    for (const auto &[rows, cols] : {std::pair{65536, 65536}, {4, 1 << 30}, {1 << 16, 1 << 17}}) {
        Matrix matrix = counting(2, 2);
        failAllocation(0);
        EXPECT_EQ(kmath_nmmatrix_resize(&matrix, rows, cols), KMATH_ERR_NO_MEMORY);
        EXPECT_TRUE(allocationHasFailed());
        failAllocation(-1);
        EXPECT_EQ(lastRequest(),
                  static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols) * sizeof(double));
    }
}

TEST(NmmatrixResize, DoesNotEvenAskForMoreThanTheAddressSpace)
{
    Matrix matrix;
    failAllocation(0);
    EXPECT_EQ(kmath_nmmatrix_resize(&matrix, maxInt, maxInt), KMATH_ERR_NO_MEMORY);
    EXPECT_FALSE(allocationHasFailed());
    failAllocation(-1);
    EXPECT_EQ(matrix.rows(), maxInt);
    EXPECT_EQ(matrix->rows, nullptr);
}

TEST(NmmatrixResize, LeavesTheNewShapeWithoutStorageWhenMemoryRunsOut)
{
    for (const int number : {0, 1}) {
        const std::int64_t before = liveBlocks();
        Matrix matrix = counting(5, 5);
        failAllocation(number);
        EXPECT_EQ(kmath_nmmatrix_resize(&matrix, 6, 7), KMATH_ERR_NO_MEMORY);
        failAllocation(-1);
        EXPECT_EQ(liveBlocks(), before);
        EXPECT_EQ(matrix.rows(), 6);
        EXPECT_EQ(matrix.cols(), 7);
        EXPECT_EQ(matrix->onHeap, 1);
        EXPECT_EQ(matrix->rows, nullptr);
        EXPECT_EQ(matrix->heapRows, nullptr);

        // Asked again for the very same shape, it tries again.
        EXPECT_EQ(kmath_nmmatrix_resize(&matrix, 6, 7), KMATH_OK);
        expectOnHeap(*&matrix);
        EXPECT_TRUE(sameBits(matrix, zeros(6, 7)));
    }
}

TEST(NmmatrixResizeNoClear, KeepsTheTopLeftCornerInPlace)
{
    Matrix matrix = counting(5, 5);
    double *const start = matrix->rows[0];
    ASSERT_EQ(kmath_nmmatrix_resize_noClear(&matrix, 3, 3), KMATH_OK);
    EXPECT_EQ(matrix->rows[0], start);
    EXPECT_EQ(matrix->rows[1], start + 5);
    EXPECT_EQ(matrix->onHeap, 1);
    EXPECT_TRUE(sameBits(matrix, Matrix{{1, 2, 3}, {6, 7, 8}, {11, 12, 13}}));
}

TEST(NmmatrixResizeNoClear, KeepsAShrunkInlineMatrixInline)
{
    Matrix matrix = counting(4, 4);
    ASSERT_EQ(kmath_nmmatrix_resize_noClear(&matrix, 2, 3), KMATH_OK);
    EXPECT_EQ(matrix->onHeap, 0);
    EXPECT_EQ(matrix->rows[1], matrix->inlineData + 4);
    EXPECT_TRUE(sameBits(matrix, Matrix{{1, 2, 3}, {5, 6, 7}}));
}

TEST(NmmatrixResizeNoClear, TakesClearedHeapBlocksForAnythingThatDoesNotFit)
{
    for (const auto &[rows, cols] : {std::pair{3, 3}, {1, 3}, {3, 1}}) {
        Matrix matrix = counting(2, 2);
        EXPECT_EQ(allocationsTo(kmath_nmmatrix_resize_noClear, matrix, rows, cols), 2);
        expectOnHeap(*&matrix);
        EXPECT_TRUE(sameBits(matrix, zeros(rows, cols)));
    }
}

TEST(NmmatrixResizeNoClear, ForgetsTheOldStrideWhenItGrowsAgain)
{
    Matrix matrix = counting(5, 5);
    ASSERT_EQ(kmath_nmmatrix_resize_noClear(&matrix, 3, 3), KMATH_OK);
    ASSERT_EQ(kmath_nmmatrix_resize_noClear(&matrix, 5, 5), KMATH_OK);
    expectOnHeap(*&matrix);
    EXPECT_TRUE(sameBits(matrix, zeros(5, 5)));
}

TEST(NmmatrixResizeNoClear, GivesEmptyShapesNoBlocks)
{
    Matrix matrix(2, 2);
    EXPECT_EQ(allocationsTo(kmath_nmmatrix_resize_noClear, matrix, 0, 9), 0);
    EXPECT_EQ(matrix->rows, nullptr);
    EXPECT_EQ(matrix->heapRows, nullptr);
    EXPECT_EQ(matrix->onHeap, 1);
    EXPECT_EQ(matrix.cols(), 9);
}

TEST(NmmatrixResizeNoClear, RefusesNegativeSizesAndChangesNothing)
{
    Matrix matrix = counting(3, 3);
    EXPECT_EQ(kmath_nmmatrix_resize_noClear(&matrix, -1, 2), KMATH_ERR_NEGATIVE_SIZE);
    EXPECT_EQ(kmath_nmmatrix_resize_noClear(&matrix, 2, -1), KMATH_ERR_NEGATIVE_SIZE);
    EXPECT_TRUE(sameBits(matrix, counting(3, 3)));
}

TEST(NmmatrixResizeNoClear, PassesAFailingAllocationOn)
{
    sweepAllocationFailures([] {
        Matrix matrix(2, 2);
        return kmath_nmmatrix_resize_noClear(&matrix, 3, 3);
    });
}

TEST(NmmatrixResizeNoClear, TakesStorageForAShapeThatLostIt)
{
    Matrix matrix;
    loseStorage(matrix, 9, 9);
    ASSERT_EQ(kmath_nmmatrix_resize_noClear(&matrix, 3, 3), KMATH_OK);
    expectOnHeap(*&matrix);
    EXPECT_TRUE(sameBits(matrix, zeros(3, 3)));
}

TEST(NmmatrixAssign, OverwritesAMatrixOfTheSameShapeInPlace)
{
    for (const auto &[rows, cols] : {std::pair{3, 4}, {6, 7}}) {
        const Matrix source = randomMatrix(rows, cols);
        Matrix matrix(rows, cols);
        double *const start = matrix->rows[0];
        EXPECT_EQ(
            allocationsOf([&] { ASSERT_EQ(kmath_nmmatrix_assign(&matrix, &source), KMATH_OK); }),
            0);
        EXPECT_EQ(matrix->rows[0], start);
        EXPECT_TRUE(sameBits(matrix, source));
    }
}

TEST(NmmatrixAssign, ResizesAMatrixOfAnotherShape)
{
    for (const auto &[rows, cols] : {std::pair{3, 4}, {6, 7}, {0, 9}, {9, 0}, {0, 0}}) {
        const Matrix source = randomMatrix(rows, cols);
        Matrix matrix(5, 5);
        ASSERT_EQ(kmath_nmmatrix_assign(&matrix, &source), KMATH_OK);
        EXPECT_TRUE(sameBits(matrix, source));
    }
}

TEST(NmmatrixAssign, KeepsSpecialValuesBitByBit)
{
    const Matrix source{{nan, -0.0, infinity}, {-infinity, 5e-324, 1.7e308}};
    Matrix matrix;
    ASSERT_EQ(kmath_nmmatrix_assign(&matrix, &source), KMATH_OK);
    EXPECT_EQ(std::memcmp(matrix->rows[0], source->rows[0], 6 * sizeof(double)), 0);
}

TEST(NmmatrixAssign, FollowsTheRowPointersOfShrunkMatrices)
{
    Matrix source = counting(5, 5);
    kmath_nmmatrix_resize_noClear(&source, 2, 3);
    Matrix contiguous;
    ASSERT_EQ(kmath_nmmatrix_assign(&contiguous, &source), KMATH_OK);
    expectInline(*&contiguous);
    EXPECT_TRUE(sameBits(contiguous, Matrix{{1, 2, 3}, {6, 7, 8}}));

    Matrix shrunk(6, 6);
    double *const start = shrunk->rows[0];
    kmath_nmmatrix_resize_noClear(&shrunk, 2, 3);
    ASSERT_EQ(kmath_nmmatrix_assign(&shrunk, &source), KMATH_OK);
    EXPECT_EQ(shrunk->rows[1], start + 6);
    EXPECT_TRUE(sameBits(shrunk, contiguous));
    EXPECT_EQ(start[3], 0.0);
}

TEST(NmmatrixAssign, OfAMatrixToItselfChangesNothing)
{
    Matrix matrix = counting(5, 5);
    EXPECT_EQ(kmath_nmmatrix_assign(&matrix, &matrix), KMATH_OK);
    EXPECT_TRUE(sameBits(matrix, counting(5, 5)));
}

TEST(NmmatrixAssign, PassesAFailingAllocationOn)
{
    const Matrix source = randomMatrix(5, 5);
    sweepAllocationFailures([&] {
        Matrix matrix(2, 2);
        return kmath_nmmatrix_assign(&matrix, &source);
    });
}

TEST(NmmatrixTranspose, MirrorsEveryShape)
{
    for (const int rows : {0, 1, 2, 5, 8, 9, 33})
        for (const int cols : {0, 1, 3, 5, 8, 17, 40}) {
            const Matrix source = randomMatrix(rows, cols);
            Matrix result;
            ASSERT_EQ(kmath_nmmatrix_transpose(&source, &result), KMATH_OK);
            EXPECT_TRUE(
                sameBits(result, build(cols, rows, [&](int i, int j) { return source(j, i); })))
                << rows << " x " << cols;
        }
}

TEST(NmmatrixTranspose, KeepsTheStorageOfAResultOfTheRightShape)
{
    const Matrix source = counting(5, 7);
    Matrix result = counting(7, 5);
    double *const start = result->rows[0];
    EXPECT_EQ(
        allocationsOf([&] { ASSERT_EQ(kmath_nmmatrix_transpose(&source, &result), KMATH_OK); }), 0);
    EXPECT_EQ(result->rows[0], start);
    EXPECT_EQ(result(6, 4), source(4, 6));
}

TEST(NmmatrixTranspose, FollowsTheRowPointersOfAShrunkMatrix)
{
    Matrix source = counting(5, 5);
    kmath_nmmatrix_resize_noClear(&source, 3, 2);
    Matrix result;
    ASSERT_EQ(kmath_nmmatrix_transpose(&source, &result), KMATH_OK);
    EXPECT_TRUE(sameBits(result, Matrix{{1, 6, 11}, {2, 7, 12}}));
}

TEST(NmmatrixTranspose, RefusesItsSourceAsResult)
{
    Matrix matrix = counting(2, 3);
    EXPECT_EQ(kmath_nmmatrix_transpose(&matrix, &matrix), KMATH_ERR_ALIASED);
    EXPECT_TRUE(sameBits(matrix, counting(2, 3)));
}

TEST(NmmatrixTranspose, PassesAFailingAllocationOn)
{
    const Matrix source = randomMatrix(5, 6);
    sweepAllocationFailures([&] {
        Matrix result;
        return kmath_nmmatrix_transpose(&source, &result);
    });
}

std::int32_t equal(const Matrix &a, const Matrix &b, double tolerance)
{
    std::int32_t answer = -1;
    EXPECT_EQ(kmath_nmmatrix_compareEqual(&a, &b, tolerance, &answer), KMATH_OK);
    return answer;
}

TEST(NmmatrixCompareEqual, IsTrueUpToTheTolerance)
{
    const Matrix a{{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}};
    Matrix b = a;
    EXPECT_EQ(equal(a, b, 0.0), 1);
    b(1, 2) = 6.25;
    EXPECT_EQ(equal(a, b, 0.25), 1); // a difference of exactly the tolerance
    EXPECT_EQ(equal(a, b, std::nextafter(0.25, 0.0)), 0);
    b(0, 0) = 0.5;
    EXPECT_EQ(equal(a, b, 0.25), 0);
    EXPECT_EQ(equal(b, a, 0.25), 0);
    EXPECT_EQ(equal(a, b, 0.5), 1);
    EXPECT_EQ(equal(a, a, -1.0), 0);
}

TEST(NmmatrixCompareEqual, IsFalseForDifferentShapesAndTrueForEmptyOnes)
{
    EXPECT_EQ(equal(Matrix(2, 3), Matrix(3, 2), 1.0), 0);
    EXPECT_EQ(equal(Matrix(0, 3), Matrix(0, 3), 0.0), 1);
    EXPECT_EQ(equal(Matrix(9, 0), Matrix(9, 0), -1.0), 1);
    EXPECT_EQ(equal(Matrix(0, 3), Matrix(3, 0), 0.0), 0);
    EXPECT_EQ(equal(Matrix(), Matrix(), 0.0), 1);
}

TEST(NmmatrixCompareEqual, CountsNoDifferenceWithANaNAsTooLarge)
{
    EXPECT_EQ(equal(Matrix{{nan}}, Matrix{{1.0}}, 0.0), 1);
    EXPECT_EQ(equal(Matrix{{infinity}}, Matrix{{infinity}}, 0.0), 1);
    EXPECT_EQ(equal(Matrix{{1.0}}, Matrix{{2.0}}, nan), 1);
    EXPECT_EQ(equal(Matrix{{infinity}}, Matrix{{-infinity}}, 1e300), 0);
}

TEST(NmmatrixCompareEqual, WalksTheStoredRunOfAShrunkMatrix)
{
    Matrix shrunk = counting(5, 5);
    kmath_nmmatrix_resize_noClear(&shrunk, 3, 3);
    EXPECT_EQ(equal(shrunk, counting(3, 3), 0.0), 1);
    EXPECT_EQ(equal(shrunk, Matrix{{1, 2, 3}, {6, 7, 8}, {11, 12, 13}}, 0.0), 0);
    shrunk(1, 1) = 700.0; // the seventh stored element
    EXPECT_EQ(equal(shrunk, counting(3, 3), 0.0), 0);
    shrunk(1, 1) = 7.0;
    shrunk(2, 2) = 700.0; // the thirteenth stored element, out of the run of nine
    EXPECT_EQ(equal(shrunk, counting(3, 3), 0.0), 1);
}

TEST(NmmatrixWithoutStorage, IsHarmlessEverywhere)
{
    Matrix lost;
    loseStorage(lost, 5, 5);
    Matrix sound = counting(5, 5);

    Matrix other;
    EXPECT_EQ(kmath_nmmatrix_assign(&other, &lost), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(kmath_nmmatrix_transpose(&lost, &other), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(kmath_nmmatrix_assign(&sound, &lost), KMATH_ERR_NO_MEMORY);
    kmath_nmmatrix copy = garbage();
    EXPECT_EQ(kmath_nmmatrix_constructCopy(&copy, &lost), KMATH_ERR_NO_MEMORY);
    expectEmpty(copy);
    EXPECT_TRUE(sameBits(sound, counting(5, 5)));

    EXPECT_EQ(equal(lost, sound, 1e300), 0);
    EXPECT_EQ(equal(sound, lost, 1e300), 0);
    EXPECT_EQ(equal(lost, lost, 0.0), 1);
}

TEST(NmmatrixWithoutStorage, TakesItAgainAsAResult)
{
    const Matrix source = counting(5, 5);
    Matrix lost;
    loseStorage(lost, 5, 5);
    EXPECT_EQ(kmath_nmmatrix_assign(&lost, &source), KMATH_OK);
    EXPECT_TRUE(sameBits(lost, source));
    loseStorage(lost, 5, 5);
    EXPECT_EQ(kmath_nmmatrix_transpose(&source, &lost), KMATH_OK);
    EXPECT_EQ(lost(4, 1), source(1, 4));
}

TEST(NmmatrixAssertions, ReportTheirLines)
{
    Matrix matrix(2, 2);
    EXPECT_EQ(assertedLine([] { kmath_nmmatrix_construct(nullptr); }), 121);
    EXPECT_EQ(assertedLine([] { kmath_nmmatrix_constructRowsCols(nullptr, 1, 1); }), 235);
    EXPECT_EQ(assertedLine([] { kmath_nmmatrix_destruct(nullptr); }), 136);
    EXPECT_EQ(assertedLine([] { kmath_nmmatrix_resize(nullptr, 1, 1); }), 156);
    EXPECT_EQ(assertedLine([] { kmath_nmmatrix_resize_noClear(nullptr, 1, 1); }), 205);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_assign(nullptr, &matrix); }), 329);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_assign(&matrix, nullptr); }), 329);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_transpose(nullptr, &matrix); }), 359);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_transpose(&matrix, nullptr); }), 359);

    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_transpose(&matrix, &matrix); }), 0);
}

TEST(NmmatrixAssertions, AreMadeWhereNoLineIsFixed)
{
    Matrix matrix(2, 2);
    kmath_nmmatrix record;
    const kmath_matrix6F matrix6{};
    const kmath_vect6F vector6{};
    std::int32_t answer = 0;
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_constructRowsColsVal(nullptr, 1, 1, 1.0); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_constructMatrix6F(nullptr, &matrix6); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_constructMatrix6F(&record, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_constructVect6F(nullptr, &vector6); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_constructVect6F(&record, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_constructCopy(nullptr, &matrix); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_constructCopy(&record, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_compareEqual(nullptr, &matrix, 0.0, &answer); }),
              0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_compareEqual(&matrix, nullptr, 0.0, &answer); }),
              0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_compareEqual(&matrix, &matrix, 0.0, nullptr); }),
              0);
}

TEST(NmmatrixAssertions, StaySilentOnSoundCalls)
{
    AssertionRecorder recorder;
    Matrix matrix(5, 5);
    Matrix other = matrix;
    kmath_nmmatrix_resize_noClear(&matrix, 3, 3);
    kmath_nmmatrix_transpose(&matrix, &other);
    kmath_nmmatrix_assign(&other, &matrix);
    equal(matrix, other, 0.0);
    EXPECT_TRUE(recorder.lines().empty());
}

} // namespace
