#include <kmath/sub_block.h>

#include "support/matrices.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>

using namespace support;

namespace
{

using Block = kmath_nmmatrix_subBlock;

bool same(const Block &a, const Block &b)
{
    return a.matrix == b.matrix && a.firstRow == b.firstRow && a.lastRow == b.lastRow &&
           a.firstCol == b.firstCol && a.lastCol == b.lastCol && a.nRows == b.nRows &&
           a.nCols == b.nCols;
}

// What a refusal must leave alone.
Block marked(Matrix &matrix) { return {&matrix, 11, 12, 13, 14, 15, 16}; }

TEST(SubBlock, HoldsItsFieldsInOrder)
{
    EXPECT_EQ(offsetof(Block, matrix), 0u);
    EXPECT_EQ(offsetof(Block, firstRow), sizeof(void *));
    EXPECT_EQ(offsetof(Block, lastRow), sizeof(void *) + 4);
    EXPECT_EQ(offsetof(Block, firstCol), sizeof(void *) + 8);
    EXPECT_EQ(offsetof(Block, lastCol), sizeof(void *) + 12);
    EXPECT_EQ(offsetof(Block, nRows), sizeof(void *) + 16);
    EXPECT_EQ(offsetof(Block, nCols), sizeof(void *) + 20);
}

TEST(SubBlockInit, ShowsNothing)
{
    Matrix matrix(3, 3);
    Block block = marked(matrix);
    EXPECT_EQ(kmath_nmmatrix_subBlock_init(&block), KMATH_OK);
    EXPECT_TRUE(same(block, {nullptr, -1, -1, -1, -1, 0, 0}));
}

TEST(SubBlockSetRange, CountsItsRowsAndColumns)
{
    Matrix matrix(4, 6);
    Block block;
    EXPECT_EQ(kmath_nmmatrix_subBlock_setRange(&block, &matrix, 1, 3, 2, 5), KMATH_OK);
    EXPECT_TRUE(same(block, {&matrix, 1, 3, 2, 5, 3, 4}));
    EXPECT_EQ(kmath_nmmatrix_subBlock_setRange(&block, &matrix, 0, 0, 5, 5), KMATH_OK);
    EXPECT_TRUE(same(block, {&matrix, 0, 0, 5, 5, 1, 1}));
}

TEST(SubBlockSetRange, TakesAReversedRange)
{
    Matrix matrix(3, 3);
    Block block;
    EXPECT_EQ(kmath_nmmatrix_subBlock_setRange(&block, &matrix, 2, 1, 0, 2), KMATH_OK);
    EXPECT_TRUE(same(block, {&matrix, 2, 1, 0, 2, 0, 3}));
    EXPECT_EQ(kmath_nmmatrix_subBlock_setRange(&block, &matrix, 2, 0, 2, 0), KMATH_OK);
    EXPECT_TRUE(same(block, {&matrix, 2, 0, 2, 0, -1, -1}));
}

TEST(SubBlockSetRange, RefusesEachIndexOutOfItsRangeAndLeavesTheBlock)
{
    Matrix matrix(3, 5);
    for (const int bad : {-1, INT_MIN, INT_MAX})
        for (int which = 0; which < 4; ++which) {
            int index[4] = {1, 1, 1, 1};
            index[which] = bad;
            Block block = marked(matrix);
            EXPECT_EQ(kmath_nmmatrix_subBlock_setRange(&block, &matrix, index[0], index[1],
                                                       index[2], index[3]),
                      KMATH_ERR_BAD_DIMENSIONS);
            EXPECT_TRUE(same(block, marked(matrix))) << which << ' ' << bad;
        }
    Block block = marked(matrix);
    EXPECT_EQ(kmath_nmmatrix_subBlock_setRange(&block, &matrix, 3, 2, 0, 0),
              KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(kmath_nmmatrix_subBlock_setRange(&block, &matrix, 2, 3, 0, 0),
              KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(kmath_nmmatrix_subBlock_setRange(&block, &matrix, 0, 0, 5, 4),
              KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(kmath_nmmatrix_subBlock_setRange(&block, &matrix, 0, 0, 4, 5),
              KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_TRUE(same(block, marked(matrix)));
    EXPECT_EQ(kmath_nmmatrix_subBlock_setRange(&block, &matrix, 2, 2, 4, 4), KMATH_OK);
}

TEST(SubBlockSetRange, FindsNoIndexInAnEmptyMatrix)
{
    for (const auto &[rows, cols] : {std::pair{0, 0}, {0, 3}, {3, 0}}) {
        Matrix matrix(rows, cols);
        Block block = marked(matrix);
        EXPECT_EQ(kmath_nmmatrix_subBlock_setRange(&block, &matrix, 0, 0, 0, 0),
                  KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_TRUE(same(block, marked(matrix)));
    }
}

TEST(SubBlockSetRow, ShowsTheWholeRow)
{
    Matrix matrix(4, 6);
    for (int i = 0; i < 4; ++i) {
        Block block;
        EXPECT_EQ(kmath_nmmatrix_subBlock_setRow(&block, &matrix, i), KMATH_OK);
        EXPECT_TRUE(same(block, {&matrix, i, i, 0, 5, 1, 6}));
    }
    for (const int row : {-1, 4, INT_MIN, INT_MAX}) {
        Block block = marked(matrix);
        EXPECT_EQ(kmath_nmmatrix_subBlock_setRow(&block, &matrix, row), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_TRUE(same(block, marked(matrix)));
    }
}

TEST(SubBlockSetRow, OfARowWithoutColumnsIsEmpty)
{
    Matrix matrix(2, 0);
    Block block;
    EXPECT_EQ(kmath_nmmatrix_subBlock_setRow(&block, &matrix, 1), KMATH_OK);
    EXPECT_TRUE(same(block, {&matrix, 1, 1, 0, -1, 1, 0}));
}

TEST(SubBlockSetCol, ShowsTheWholeColumn)
{
    Matrix matrix(4, 2);
    Block block;
    EXPECT_EQ(kmath_nmmatrix_subBlock_setCol(&block, &matrix, 1), KMATH_OK);
    EXPECT_TRUE(same(block, {&matrix, 0, 3, 1, 1, 4, 1}));
    for (const int col : {-1, 2, INT_MIN, INT_MAX}) {
        block = marked(matrix);
        EXPECT_EQ(kmath_nmmatrix_subBlock_setCol(&block, &matrix, col), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_TRUE(same(block, marked(matrix)));
    }
}

TEST(SubBlockSetCol, OfAColumnWithoutRowsIsEmpty)
{
    Matrix matrix(0, 3);
    Block block;
    EXPECT_EQ(kmath_nmmatrix_subBlock_setCol(&block, &matrix, 2), KMATH_OK);
    EXPECT_TRUE(same(block, {&matrix, 0, -1, 2, 2, 0, 1}));
}

TEST(SubBlock, CountsUpToTheWidestMatrix)
{
    Matrix wide(0, INT_MAX);
    Block block;
    EXPECT_EQ(kmath_nmmatrix_subBlock_setAll(&block, &wide), KMATH_OK);
    EXPECT_TRUE(same(block, {&wide, 0, -1, 0, INT_MAX - 1, 0, INT_MAX}));
    EXPECT_EQ(kmath_nmmatrix_subBlock_setCol(&block, &wide, INT_MAX - 1), KMATH_OK);
    EXPECT_TRUE(same(block, {&wide, 0, -1, INT_MAX - 1, INT_MAX - 1, 0, 1}));
    Matrix tall(INT_MAX, 0);
    EXPECT_EQ(kmath_nmmatrix_subBlock_setRow(&block, &tall, INT_MAX - 1), KMATH_OK);
    EXPECT_TRUE(same(block, {&tall, INT_MAX - 1, INT_MAX - 1, 0, -1, 1, 0}));
}

TEST(SubBlockSetAll, ShowsTheMatrix)
{
    Matrix matrix(4, 2);
    Block block;
    EXPECT_EQ(kmath_nmmatrix_subBlock_setAll(&block, &matrix), KMATH_OK);
    EXPECT_TRUE(same(block, {&matrix, 0, 3, 0, 1, 4, 2}));

    Matrix empty;
    EXPECT_EQ(kmath_nmmatrix_subBlock_setAll(&block, &empty), KMATH_OK);
    EXPECT_TRUE(same(block, {&empty, 0, -1, 0, -1, 0, 0}));
    Matrix flat(0, 3);
    EXPECT_EQ(kmath_nmmatrix_subBlock_setAll(&block, &flat), KMATH_OK);
    EXPECT_TRUE(same(block, {&flat, 0, -1, 0, 2, 0, 3}));
}

TEST(SubBlockSetAll, OfAShrunkMatrixShowsItsNewShape)
{
    Matrix matrix = randomMatrix(5, 6);
    kmath_nmmatrix_resize_noClear(&matrix, 2, 3);
    Block block;
    EXPECT_EQ(kmath_nmmatrix_subBlock_setAll(&block, &matrix), KMATH_OK);
    EXPECT_TRUE(same(block, {&matrix, 0, 1, 0, 2, 2, 3}));
}

TEST(SubBlock, NeverAssertsAndTakesNoMemory)
{
    Matrix matrix(30, 30);
    Block block;
    const AssertionRecorder recorder;
    EXPECT_EQ(allocationsOf([&] {
                  kmath_nmmatrix_subBlock_init(&block);
                  kmath_nmmatrix_subBlock_setRange(&block, &matrix, 1, 2, 3, 4);
                  kmath_nmmatrix_subBlock_setRow(&block, &matrix, 1);
                  kmath_nmmatrix_subBlock_setCol(&block, &matrix, 1);
                  kmath_nmmatrix_subBlock_setAll(&block, &matrix);
              }),
              0);
    EXPECT_TRUE(recorder.lines().empty());
}

} // namespace
