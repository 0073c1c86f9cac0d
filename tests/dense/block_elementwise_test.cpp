#include <kmath/sub_block.h>

#include "dense/operand.hpp"
#include "support/matrices.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

using namespace support;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double factor = -1.0 / 3.0; // what every operation under test multiplies by

constexpr std::pair<int, int> shapes[] = {{0, 0}, {0, 4}, {4, 0},  {1, 1},  {1, 9},  {9, 1},
                                          {2, 3}, {4, 4}, {5, 17}, {17, 5}, {16, 8}, {33, 20}};

Matrix transposeOf(const Matrix &A)
{
    return build(A.cols(), A.rows(), [&](int i, int j) { return A(j, i); });
}

// An operation c = f(a, b) element by element, or c = f(a), where b is not looked at. kinds names
// a, b and c.
struct Operation {
    const char *name;
    const char *kinds;
    kmath_status (*compute)(Operand &a, Operand &b, Operand &c);
    double (*element)(double a, double b);
    bool hasSecond;
    bool transposes;

    Matrix expected(const Matrix &A, const Matrix &B) const
    {
        const Matrix result =
            build(A.rows(), A.cols(), [&](int i, int j) { return element(A(i, j), B(i, j)); });
        return transposes ? transposeOf(result) : result;
    }
    bool givesAMatrix() const { return kinds[2] == 'M'; }
};

void PrintTo(const Operation &operation, std::ostream *out) { *out << operation.name; }

const Operation operations[] = {
    {"addBBB", "BBB",
     [](Operand &a, Operand &b, Operand &c) {
         return kmath_nmmatrix_addBBB(a.block(), b.block(), c.block());
     },
     [](double a, double b) { return a + b; }, true, false},
    {"addBMB", "BMB",
     [](Operand &a, Operand &b, Operand &c) {
         return kmath_nmmatrix_addBMB(a.block(), b.matrix(), c.block());
     },
     [](double a, double b) { return a + b; }, true, false},
    {"subtractBMB", "BMB",
     [](Operand &a, Operand &b, Operand &c) {
         return kmath_nmmatrix_subtractBMB(a.block(), b.matrix(), c.block());
     },
     [](double a, double b) { return a - b; }, true, false},
    {"sApBBBB", "BBB",
     [](Operand &a, Operand &b, Operand &c) {
         return kmath_nmmatrix_sApBBBB(factor, a.block(), b.block(), c.block());
     },
     [](double a, double b) {
         const double product = factor * a;
         return product + b;
     },
     true, false},
    {"scaleBB", "B-B",
     [](Operand &a, Operand &, Operand &c) {
         return kmath_nmmatrix_scaleBB(a.block(), factor, c.block());
     },
     [](double a, double) { return a * factor; }, false, false},
    {"scaleBM", "B-M",
     [](Operand &a, Operand &, Operand &c) {
         return kmath_nmmatrix_scaleBM(a.block(), factor, c.matrix());
     },
     [](double a, double) { return a * factor; }, false, false},
    {"copyMB", "B-M",
     [](Operand &a, Operand &, Operand &c) { return kmath_nmmatrix_copyMB(c.matrix(), a.block()); },
     [](double a, double) { return a; }, false, false},
    {"copyBM", "M-B",
     [](Operand &a, Operand &, Operand &c) { return kmath_nmmatrix_copyBM(c.block(), a.matrix()); },
     [](double a, double) { return a; }, false, false},
    {"transposeMB", "M-B",
     [](Operand &a, Operand &, Operand &c) {
         return kmath_nmmatrix_transposeMB(a.matrix(), c.block());
     },
     [](double a, double) { return a; }, false, true},
    {"transposeBM", "B-M",
     [](Operand &a, Operand &, Operand &c) {
         return kmath_nmmatrix_transposeBM(a.block(), c.matrix());
     },
     [](double a, double) { return a; }, false, true},
};

class BlockOperation : public testing::TestWithParam<Operation>
{
  protected:
    void expectElements(const Matrix &A, const Matrix &B, unsigned seed = 1) const
    {
        const Matrix expected = GetParam().expected(A, B);
        Operand a(GetParam().kinds[0], A, seed);
        Operand b(GetParam().kinds[1], B, seed + 1);
        Operand c(GetParam().kinds[2], Matrix(expected.rows(), expected.cols()), seed + 2);
        c.fill(nan);
        ASSERT_EQ(GetParam().compute(a, b, c), KMATH_OK);
        EXPECT_TRUE(sameBits(c.elements(), expected)) << A.rows() << " x " << A.cols();
        EXPECT_TRUE(c.isUntouchedOutside());
        EXPECT_TRUE(a.isUntouched() && b.isUntouched());
    }
};

INSTANTIATE_TEST_SUITE_P(, BlockOperation, testing::ValuesIn(operations),
                         [](const testing::TestParamInfo<Operation> &test) {
                             return std::string(test.param.name);
                         });

TEST_P(BlockOperation, HasTheBitsOfTheTextbookLoop)
{
    for (const auto &[m, n] : shapes)
        for (unsigned seed = 0; seed < 15; ++seed)
            expectElements(randomMatrix(m, n, seed + 1), randomMatrix(m, n, seed + 50), seed);
}

TEST_P(BlockOperation, PassesSpecialValuesThrough)
{
    const double special[] = {nan, infinity, -infinity, -0.0, 0.0, 1.7e308, -1.7e308, 5e-324};
    expectElements(build(8, 9, [&](int i, int j) { return special[(i + j) % 8]; }),
                   build(8, 9, [&](int i, int j) { return special[(2 * i + 3 * j + 1) % 8]; }));
}

TEST_P(BlockOperation, RefusesShapesThatDoNotMatchAndLeavesTheResult)
{
    for (const auto &[rows, cols] : {std::pair{3, 5}, {5, 5}, {4, 6}, {4, 4}, {0, 0}, {20, 1}}) {
        Operand a(GetParam().kinds[0], randomMatrix(4, 5));
        const Matrix other = randomMatrix(rows, cols);
        if (GetParam().hasSecond) {
            Operand b(GetParam().kinds[1], other);
            Operand c('B', randomMatrix(4, 5));
            EXPECT_EQ(GetParam().compute(a, b, c), KMATH_ERR_BAD_DIMENSIONS);
            EXPECT_TRUE(c.isUntouched());
        }
        if (!GetParam().givesAMatrix()) {
            Operand b(GetParam().kinds[1], randomMatrix(4, 5));
            Operand c('B', GetParam().transposes ? transposeOf(other) : other);
            EXPECT_EQ(GetParam().compute(a, b, c), KMATH_ERR_BAD_DIMENSIONS);
            EXPECT_TRUE(c.isUntouched());
        }
    }
}

TEST_P(BlockOperation, KeepsTheStorageOfAResultOfTheRightShape)
{
    Operand a(GetParam().kinds[0], randomMatrix(10, 10));
    Operand b(GetParam().kinds[1], randomMatrix(10, 10));
    Operand c(GetParam().kinds[2], randomMatrix(10, 10));
    double *const start = c.matrix()->rows[0];
    EXPECT_EQ(allocationsOf([&] { ASSERT_EQ(GetParam().compute(a, b, c), KMATH_OK); }), 0);
    EXPECT_EQ(c.matrix()->rows[0], start);
}

TEST_P(BlockOperation, ResizesAMatrixOfAnotherShape)
{
    if (!GetParam().givesAMatrix())
        return;
    const Matrix A = randomMatrix(10, 12);
    Operand a('B', A);
    for (const auto &[rows, cols] : {std::pair{12, 9}, {2, 2}, {0, 0}, {10, 13}}) {
        Operand c('M', randomMatrix(rows, cols));
        EXPECT_EQ(allocationsOf([&] { ASSERT_EQ(GetParam().compute(a, a, c), KMATH_OK); }), 2);
        EXPECT_TRUE(sameBits(c.elements(), GetParam().expected(A, A)));
    }
    sweepAllocationFailures([&] {
        Operand c('M', Matrix(3, 3));
        return GetParam().compute(a, a, c);
    });
}

TEST_P(BlockOperation, OfReversedRangesDoesNothing)
{
    if (GetParam().kinds[0] != 'B')
        return;
    Operand a('B', randomMatrix(3, 3));
    Operand b(GetParam().kinds[1], randomMatrix(3, 3));
    Operand c(GetParam().kinds[2], randomMatrix(3, 3));
    a.block()->lastRow -= 5;
    a.block()->nRows = -2;
    if (GetParam().givesAMatrix()) {
        // Only products empty a result that is to become negative.
        EXPECT_EQ(GetParam().compute(a, b, c), KMATH_ERR_NEGATIVE_SIZE);
        EXPECT_TRUE(c.isUntouched());
        return;
    }
    EXPECT_EQ(GetParam().compute(a, b, c), KMATH_ERR_BAD_DIMENSIONS);
    c.block()->lastRow -= 5;
    c.block()->nRows = -2;
    if (GetParam().kinds[1] == 'B') {
        b.block()->lastRow -= 5;
        b.block()->nRows = -2;
    }
    EXPECT_EQ(GetParam().compute(a, b, c),
              GetParam().kinds[1] == 'M' ? KMATH_ERR_BAD_DIMENSIONS : KMATH_OK);
    EXPECT_TRUE(c.isUntouched());
}

TEST_P(BlockOperation, OfAnOperandWithoutStorageLacksMemory)
{
    const Matrix sound = randomMatrix(5, 5);
    for (int lost = 0; lost < 3; ++lost) {
        if (lost == 1 && !GetParam().hasSecond)
            continue;
        Operand operands[] = {{GetParam().kinds[0], sound, 3},
                              {GetParam().kinds[1], sound, 3},
                              {GetParam().kinds[2], sound, 3}};
        Matrix &whole = operands[lost].whole();
        loseStorage(whole, whole.rows(), whole.cols());
        const bool renewed = lost == 2 && GetParam().givesAMatrix();
        EXPECT_EQ(GetParam().compute(operands[0], operands[1], operands[2]),
                  renewed ? KMATH_OK : KMATH_ERR_NO_MEMORY);
        if (renewed) {
            EXPECT_TRUE(sameBits(whole, GetParam().expected(sound, sound)));
        } else if (lost < 2) {
            EXPECT_TRUE(operands[2].isUntouched());
        }
    }
}

TEST_P(BlockOperation, StepsByTheNewColumnCountOfAShrunkParent)
{
    Operand operands[] = {{'M', randomMatrix(9, 11, 1)},
                          {'M', randomMatrix(9, 11, 2)},
                          {'M', randomMatrix(9, 11, 3)}};
    int offset[3];
    for (int k = 0; k < 3; ++k) {
        const bool isView = GetParam().kinds[k] == 'B';
        kmath_nmmatrix_resize_noClear(operands[k].matrix(), isView ? 6 : 4, isView ? 5 : 4);
        *operands[k].block() = view(operands[k].whole(), 2, 1, 4, 4);
        offset[k] = isView ? 2 * 11 + 1 : 0;
    }
    const auto seen = [&](int k) {
        const int stride = GetParam().kinds[k] == 'B' ? 5 : 4;
        const double *const storage = operands[k].matrix()->rows[0];
        return build(4, 4, [=](int i, int j) { return storage[offset[k] + stride * i + j]; });
    };
    const Matrix expected = GetParam().expected(seen(0), seen(1));
    ASSERT_EQ(GetParam().compute(operands[0], operands[1], operands[2]), KMATH_OK);
    EXPECT_TRUE(sameBits(seen(2), expected));
}

TEST_P(BlockOperation, MayOverwriteItsFirstOperand)
{
    if (std::string(GetParam().kinds).substr(0, 1) != "B" || GetParam().givesAMatrix())
        return;
    for (const auto &[m, n] : shapes) {
        const Matrix A = randomMatrix(m, n, 1);
        const Matrix B = randomMatrix(m, n, 2);
        Operand a('B', A, 5);
        Operand b(GetParam().kinds[1], B, 6);
        ASSERT_EQ(GetParam().compute(a, b, a), KMATH_OK);
        EXPECT_TRUE(sameBits(a.elements(), GetParam().expected(A, B)));
        EXPECT_TRUE(a.isUntouchedOutside());
    }
}

TEST(BlockOperations, WorkBetweenViewsOfOneParent)
{
    const Matrix before = randomMatrix(12, 12);
    Matrix parent = before;
    kmath_nmmatrix_subBlock a = view(parent, 0, 0, 3, 11);
    kmath_nmmatrix_subBlock b = view(parent, 1, 1, 3, 11); // overlaps a, which is only read
    kmath_nmmatrix_subBlock c = view(parent, 4, 0, 3, 11); // directly below
    ASSERT_EQ(kmath_nmmatrix_sApBBBB(2.5, &a, &b, &c), KMATH_OK);
    for (int i = 0; i < 12; ++i)
        for (int j = 0; j < 12; ++j) {
            const bool inside = i >= 4 && i < 7 && j < 11;
            const double product = inside ? 2.5 * before(i - 4, j) : 0.0;
            EXPECT_TRUE(
                sameBits(parent(i, j), inside ? product + before(i - 3, j + 1) : before(i, j)));
        }
}

TEST(BlockSet, FillsTheView)
{
    for (const double value : {2.5, nan, -infinity}) {
        Operand a('B', randomMatrix(5, 7), 4);
        EXPECT_EQ(kmath_nmmatrix_setB(a.block(), value), KMATH_OK);
        EXPECT_TRUE(sameBits(a.elements(), build(5, 7, [=](int, int) { return value; })));
        EXPECT_TRUE(a.isUntouchedOutside());
    }
}

TEST(BlockSet, OfNothingDoesNothing)
{
    kmath_nmmatrix_subBlock nothing;
    kmath_nmmatrix_subBlock_init(&nothing);
    EXPECT_EQ(kmath_nmmatrix_setB(&nothing, 1.0), KMATH_OK);
    EXPECT_EQ(kmath_nmmatrix_setRandB(&nothing), KMATH_OK);
    EXPECT_EQ(kmath_nmmatrix_addBBB(&nothing, &nothing, &nothing), KMATH_OK);

    Matrix matrix = randomMatrix(4, 4);
    const Matrix before = matrix;
    kmath_nmmatrix_subBlock block;
    for (const auto &[firstRow, lastRow, firstCol, lastCol] :
         {std::tuple{2, 1, 0, 3}, {3, 0, 0, 3}, {0, 3, 2, 1}, {0, 3, 3, 0}, {3, 0, 3, 0}}) {
        ASSERT_EQ(
            kmath_nmmatrix_subBlock_setRange(&block, &matrix, firstRow, lastRow, firstCol, lastCol),
            KMATH_OK);
        EXPECT_EQ(kmath_nmmatrix_setB(&block, 1.0), KMATH_OK);
        EXPECT_EQ(kmath_nmmatrix_setRandB(&block), KMATH_OK);
        EXPECT_TRUE(sameBits(matrix, before));
    }
}

TEST(BlockSet, OfAParentWithoutStorageDoesNothing)
{
    Matrix lost;
    loseStorage(lost, 5, 5);
    kmath_nmmatrix_subBlock block;
    kmath_nmmatrix_subBlock_setAll(&block, &lost);
    EXPECT_EQ(kmath_nmmatrix_setB(&block, 1.0), KMATH_OK);
    EXPECT_EQ(kmath_nmmatrix_setRandB(&block), KMATH_OK);
    EXPECT_EQ(kmath_nmmatrix_setRand(&lost), KMATH_OK);
}

TEST(BlockScale, MayReplaceTheParentOfAWholeView)
{
    const Matrix before = randomMatrix(6, 6);
    Matrix A = before;
    kmath_nmmatrix_subBlock all;
    kmath_nmmatrix_subBlock_setAll(&all, &A);
    ASSERT_EQ(kmath_nmmatrix_scaleBM(&all, 3.0, &A), KMATH_OK);
    EXPECT_TRUE(sameBits(A, build(6, 6, [&](int i, int j) { return before(i, j) * 3.0; })));
}

TEST(NmmatrixSubtractMat, SubtractsThroughTheRowPointers)
{
    for (const auto &[m, n] : shapes) {
        Matrix A = randomMatrix(m + 3, n + 2, 1);
        Matrix B = randomMatrix(m + 1, n + 4, 2);
        const Matrix beforeA = A;
        const Matrix beforeB = B;
        kmath_nmmatrix_resize_noClear(&A, m, n);
        kmath_nmmatrix_resize_noClear(&B, m, n);
        ASSERT_EQ(kmath_nmmatrix_subtractMat(&A, &B), KMATH_OK);
        EXPECT_TRUE(
            sameBits(A, build(m, n, [&](int i, int j) { return beforeA(i, j) - beforeB(i, j); })));
    }
}

TEST(NmmatrixSubtractMat, RefusesOtherShapesAndLostStorage)
{
    const Matrix before = randomMatrix(3, 6);
    Matrix A = before;
    Matrix B(6, 3);
    EXPECT_EQ(kmath_nmmatrix_subtractMat(&A, &B), KMATH_ERR_BAD_DIMENSIONS);
    loseStorage(B, 3, 6);
    EXPECT_EQ(kmath_nmmatrix_subtractMat(&A, &B), KMATH_ERR_NO_MEMORY);
    EXPECT_TRUE(sameBits(A, before));
    EXPECT_EQ(kmath_nmmatrix_subtractMat(&B, &A), KMATH_OK);
    EXPECT_EQ(kmath_nmmatrix_subtractMat(&A, &A), KMATH_OK);
    EXPECT_TRUE(sameBits(A, Matrix(3, 6)));
}

// The four operations with a diagonal.
struct Diagonal {
    const char *name;
    kmath_status (*compute)(kmath_nmmatrix *, const kmath_nmmatrix *);
    double (*element)(double a, int i, int j, const Matrix &d);
    bool needsSquare;
    bool countsRows;
};

double at(const Matrix &d, int k) { return d.rows() == 1 ? d(0, k) : d(k, 0); }

void PrintTo(const Diagonal &diagonal, std::ostream *out) { *out << diagonal.name; }

class NmmatrixDiagonal : public testing::TestWithParam<Diagonal>
{
};

INSTANTIATE_TEST_SUITE_P(
    , NmmatrixDiagonal,
    testing::Values(
        Diagonal{"multiplyDiag", kmath_nmmatrix_multiplyDiag,
                 [](double a, int, int j, const Matrix &d) { return a * at(d, j); }, false, false},
        Diagonal{"TmultiplyDiag", kmath_nmmatrix_TmultiplyDiag,
                 [](double a, int i, int, const Matrix &d) { return a * at(d, i); }, false, true},
        Diagonal{"addDiagMat", kmath_nmmatrix_addDiagMat,
                 [](double a, int i, int j, const Matrix &d) { return i == j ? a + at(d, i) : a; },
                 true, true},
        Diagonal{"subDiagMat", kmath_nmmatrix_subDiagMat,
                 [](double a, int i, int j, const Matrix &d) { return i == j ? a - at(d, i) : a; },
                 true, true}),
    [](const testing::TestParamInfo<Diagonal> &test) { return std::string(test.param.name); });

TEST_P(NmmatrixDiagonal, TakesARowOrAColumn)
{
    for (const auto &[m, n] : {std::pair{1, 1},
                               {2, 3},
                               {3, 2},
                               {9, 17},
                               {17, 9},
                               {5, 5},
                               {1, 6},
                               {6, 1},
                               {0, 3},
                               {3, 0},
                               {0, 0}}) {
        if (GetParam().needsSquare && m != n)
            continue;
        const int count = GetParam().countsRows ? m : n;
        for (const bool isRow : {true, false}) {
            Matrix A = randomMatrix(m, n);
            if (m > 0 && n > 0)
                A(m - 1, n - 1) = infinity;
            const Matrix before = A;
            const Matrix d = isRow ? randomMatrix(1, count, 2) : randomMatrix(count, 1, 2);
            ASSERT_EQ(GetParam().compute(&A, &d), KMATH_OK);
            EXPECT_TRUE(sameBits(
                A, build(m, n,
                         [&](int i, int j) { return GetParam().element(before(i, j), i, j, d); })))
                << m << ' ' << n << ' ' << isRow;
        }
    }
}

TEST_P(NmmatrixDiagonal, RefusesADiagonalThatDoesNotMatch)
{
    const Matrix before = randomMatrix(3, 3);
    for (const auto &[rows, cols] : {std::pair{1, 2},
                                     {2, 1},
                                     {4, 1},
                                     {1, 4},
                                     {2, 2},
                                     {3, 3},
                                     {3, 2},
                                     {2, 3},
                                     {0, 0},
                                     {0, 1},
                                     {1, 0},
                                     {1, 1},
                                     {3, 0}}) {
        Matrix A = before;
        const Matrix d(rows, cols);
        EXPECT_EQ(GetParam().compute(&A, &d), KMATH_ERR_BAD_DIMENSIONS) << rows << ' ' << cols;
        EXPECT_TRUE(sameBits(A, before));
    }
}

TEST_P(NmmatrixDiagonal, OfSizeOneIsMatchedByAnyLengthButNone)
{
    Matrix A{{3.0}};
    const Matrix d{{2.0, 5.0, 7.0}};
    EXPECT_EQ(GetParam().compute(&A, &d), KMATH_OK);
    EXPECT_EQ(A(0, 0), GetParam().element(3.0, 0, 0, d));
    for (const auto &[rows, cols] : {std::pair{0, 1}, {1, 0}}) {
        const Matrix none(rows, cols);
        EXPECT_EQ(GetParam().compute(&A, &none), KMATH_ERR_BAD_DIMENSIONS);
    }
}

TEST_P(NmmatrixDiagonal, ReadsTheDiagonalFlatAndTheMatrixThroughItsRows)
{
    Matrix A = randomMatrix(6, 7);
    const Matrix before = A;
    Matrix d = randomMatrix(8, 5, 2);
    const Matrix stored = d;
    kmath_nmmatrix_resize_noClear(&A, 4, 4);
    kmath_nmmatrix_resize_noClear(&d, 4, 1);
    ASSERT_EQ(GetParam().compute(&A, &d), KMATH_OK);
    const Matrix run = build(1, 4, [&](int, int j) { return stored(0, j); });
    EXPECT_TRUE(sameBits(
        A, build(4, 4, [&](int i, int j) { return GetParam().element(before(i, j), i, j, run); })));
}

TEST_P(NmmatrixDiagonal, OfLostStorageLacksMemory)
{
    Matrix lost;
    loseStorage(lost, 20, 1);
    const Matrix before = randomMatrix(20, 20);
    Matrix A = before;
    EXPECT_EQ(GetParam().compute(&A, &lost), KMATH_ERR_NO_MEMORY);
    EXPECT_TRUE(sameBits(A, before));
    loseStorage(lost, 20, 20);
    const Matrix d(20, 1);
    EXPECT_EQ(GetParam().compute(&lost, &d), KMATH_OK);
}

TEST(NmmatrixMultiplyDiag, CountsTheColumnsAndTheTransposedFormTheRows)
{
    const Matrix before = randomMatrix(2, 3);
    Matrix A = before;
    for (const auto &[rows, cols] : {std::pair{1, 2}, {2, 1}, {2, 2}, {3, 3}, {2, 3}}) {
        const Matrix d(rows, cols);
        EXPECT_EQ(kmath_nmmatrix_multiplyDiag(&A, &d), KMATH_ERR_BAD_DIMENSIONS);
    }
    for (const auto &[rows, cols] : {std::pair{1, 3}, {3, 1}, {2, 2}, {3, 3}, {2, 3}}) {
        const Matrix d(rows, cols);
        EXPECT_EQ(kmath_nmmatrix_TmultiplyDiag(&A, &d), KMATH_ERR_BAD_DIMENSIONS);
    }
    EXPECT_TRUE(sameBits(A, before));
}

TEST(NmmatrixDiagMat, RefusesAMatrixThatIsNotSquare)
{
    const Matrix before = randomMatrix(3, 4);
    Matrix A = before;
    for (const int n : {3, 4}) {
        const Matrix d(1, n);
        EXPECT_EQ(kmath_nmmatrix_addDiagMat(&A, &d), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(kmath_nmmatrix_subDiagMat(&A, &d), KMATH_ERR_BAD_DIMENSIONS);
    }
    EXPECT_TRUE(sameBits(A, before));
}

// Both flips under one description.
struct Flip {
    const char *name;
    kmath_status (*compute)(const kmath_nmmatrix *, kmath_nmmatrix *);
    double (*element)(const Matrix &a, int i, int j);
};

void PrintTo(const Flip &flip, std::ostream *out) { *out << flip.name; }

class NmmatrixFlip : public testing::TestWithParam<Flip>
{
};

INSTANTIATE_TEST_SUITE_P(
    , NmmatrixFlip,
    testing::Values(Flip{"flipLR", kmath_nmmatrix_flipLR,
                         [](const Matrix &a, int i, int j) { return a(i, a.cols() - 1 - j); }},
                    Flip{"flipUD", kmath_nmmatrix_flipUD,
                         [](const Matrix &a, int i, int j) { return a(a.rows() - 1 - i, j); }}),
    [](const testing::TestParamInfo<Flip> &test) { return std::string(test.param.name); });

TEST_P(NmmatrixFlip, ReversesTheOrder)
{
    for (const auto &[m, n] : shapes)
        for (const auto &[rows, cols] : {std::pair{0, 0}, {m, n}, {n, m}}) {
            const Matrix A = randomMatrix(m, n);
            Matrix C = randomMatrix(rows, cols, 2);
            ASSERT_EQ(GetParam().compute(&A, &C), KMATH_OK);
            EXPECT_TRUE(sameBits(
                C, build(m, n, [&](int i, int j) { return GetParam().element(A, i, j); })));
        }
}

TEST_P(NmmatrixFlip, GoesThroughTheRowPointers)
{
    Matrix A = randomMatrix(7, 8, 1);
    Matrix C = randomMatrix(9, 10, 2);
    const Matrix before = A;
    const Matrix beforeC = C;
    kmath_nmmatrix_resize_noClear(&A, 5, 6);
    kmath_nmmatrix_resize_noClear(&C, 5, 6);
    const double *const start = C->rows[0];
    ASSERT_EQ(GetParam().compute(&A, &C), KMATH_OK);
    const Matrix rectangle = build(5, 6, [&](int i, int j) { return before(i, j); });
    for (int i = 0; i < 9; ++i)
        for (int j = 0; j < 10; ++j)
            EXPECT_TRUE(sameBits(start[10 * i + j], i < 5 && j < 6
                                                        ? GetParam().element(rectangle, i, j)
                                                        : beforeC(i, j)));
}

TEST_P(NmmatrixFlip, KeepsTheStorageOrPassesAFailureOn)
{
    const Matrix A = randomMatrix(5, 6);
    Matrix C(5, 6);
    double *const start = C->rows[0];
    EXPECT_EQ(allocationsOf([&] { ASSERT_EQ(GetParam().compute(&A, &C), KMATH_OK); }), 0);
    EXPECT_EQ(C->rows[0], start);
    sweepAllocationFailures([&] {
        Matrix fresh;
        return GetParam().compute(&A, &fresh);
    });
}

TEST_P(NmmatrixFlip, OfLostStorageLacksMemory)
{
    Matrix lost;
    loseStorage(lost, 5, 6);
    const Matrix before = randomMatrix(2, 2);
    Matrix C = before;
    EXPECT_EQ(GetParam().compute(&lost, &C), KMATH_ERR_NO_MEMORY);
    EXPECT_TRUE(sameBits(C, before));
    EXPECT_EQ(GetParam().compute(&lost, &lost), KMATH_ERR_NO_MEMORY);
}

TEST(NmmatrixFlipLR, OfAMatrixIntoItselfMirrorsTheLeftHalf)
{
    Matrix A{{1, 2, 3, 4, 5}, {6, 7, 8, 9, 10}};
    ASSERT_EQ(kmath_nmmatrix_flipLR(&A, &A), KMATH_OK);
    EXPECT_TRUE(sameBits(A, Matrix{{1, 2, 3, 2, 1}, {6, 7, 8, 7, 6}}));
    Matrix even{{1, 2, 3, 4}};
    ASSERT_EQ(kmath_nmmatrix_flipLR(&even, &even), KMATH_OK);
    EXPECT_TRUE(sameBits(even, Matrix{{1, 2, 2, 1}}));
}

TEST(NmmatrixFlipUD, OfAMatrixIntoItselfMirrorsTheUpperHalf)
{
    Matrix A{{1, 2}, {3, 4}, {5, 6}, {7, 8}, {9, 10}};
    ASSERT_EQ(kmath_nmmatrix_flipUD(&A, &A), KMATH_OK);
    EXPECT_TRUE(sameBits(A, Matrix{{1, 2}, {3, 4}, {5, 6}, {3, 4}, {1, 2}}));
}

TEST(NmmatrixCopyBlock, CopiesTheRectangle)
{
    const Matrix A = randomMatrix(9, 12);
    for (const auto &[firstRow, lastRow, firstCol, lastCol] : {std::tuple{0, 8, 0, 11},
                                                               {2, 5, 3, 10},
                                                               {8, 8, 11, 11},
                                                               {4, 3, 0, 2},
                                                               {0, 2, 5, 4},
                                                               {3, 2, 3, 2},
                                                               {9, 8, 0, 11}}) {
        Matrix C{{1, 2}, {3, 4}};
        ASSERT_EQ(kmath_nmmatrix_copyBlock(&C, &A, firstRow, lastRow, firstCol, lastCol), KMATH_OK);
        EXPECT_TRUE(sameBits(
            C, build(lastRow - firstRow + 1, lastCol - firstCol + 1,
                     [&, r = firstRow, c = firstCol](int i, int j) { return A(r + i, c + j); })));
    }
}

TEST(NmmatrixCopyBlock, GoesThroughTheRowPointers)
{
    Matrix A = randomMatrix(7, 8, 1);
    const Matrix before = A;
    Matrix C = randomMatrix(7, 8, 2);
    kmath_nmmatrix_resize_noClear(&A, 5, 6);
    kmath_nmmatrix_resize_noClear(&C, 3, 4);
    double *const start = C->rows[0];
    ASSERT_EQ(kmath_nmmatrix_copyBlock(&C, &A, 1, 3, 2, 5), KMATH_OK);
    EXPECT_EQ(C->rows[0], start);
    EXPECT_TRUE(sameBits(C, build(3, 4, [&](int i, int j) { return before(1 + i, 2 + j); })));
}

TEST(NmmatrixCopyBlock, RefusesSizesThatAreNone)
{
    const Matrix A = randomMatrix(5, 5);
    const Matrix before = randomMatrix(2, 2);
    Matrix C = before;
    EXPECT_EQ(kmath_nmmatrix_copyBlock(&C, &A, 3, 1, 0, 1), KMATH_ERR_NEGATIVE_SIZE);
    EXPECT_EQ(kmath_nmmatrix_copyBlock(&C, &A, 0, 1, 4, 2), KMATH_ERR_NEGATIVE_SIZE);
    EXPECT_EQ(kmath_nmmatrix_copyBlock(&C, &A, INT_MAX, INT_MIN, 0, 1), KMATH_ERR_NEGATIVE_SIZE);
    EXPECT_EQ(kmath_nmmatrix_copyBlock(&C, &A, INT_MIN, INT_MAX, 0, 1), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(kmath_nmmatrix_copyBlock(&C, &A, 0, 1, 0, INT_MAX), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_TRUE(sameBits(C, before));
}

TEST(NmmatrixCopyBlock, PassesALackOfMemoryOn)
{
    Matrix lost;
    loseStorage(lost, 5, 5);
    Matrix C = randomMatrix(2, 2);
    const Matrix before = C;
    EXPECT_EQ(kmath_nmmatrix_copyBlock(&C, &lost, 0, 4, 0, 4), KMATH_ERR_NO_MEMORY);
    EXPECT_TRUE(sameBits(C, before));
    const Matrix A = randomMatrix(5, 5);
    sweepAllocationFailures([&] {
        Matrix fresh;
        return kmath_nmmatrix_copyBlock(&fresh, &A, 0, 4, 0, 4);
    });
}

std::vector<double> nextRandoms(unsigned seed, int count)
{
    std::srand(seed);
    std::vector<double> numbers;
    for (int k = 0; k < count; ++k)
        numbers.push_back((std::rand() % 10000) / 10000.0);
    return numbers;
}

TEST(NmmatrixSetRand, DrawsRowByRowFromTheGeneratorOfTheCLibrary)
{
    for (const auto &[m, n] : shapes) {
        const std::vector<double> numbers = nextRandoms(17, m * n + 1);
        Matrix A = randomMatrix(m, n);
        std::srand(17);
        EXPECT_EQ(kmath_nmmatrix_setRand(&A), KMATH_OK);
        EXPECT_TRUE(sameBits(A, build(m, n, [&, n = n](int i, int j) {
                                 return numbers[static_cast<std::size_t>(i * n + j)];
                             })));
        // One number is taken for an element, and no more.
        EXPECT_EQ((std::rand() % 10000) / 10000.0, numbers.back());
    }
}

TEST(NmmatrixSetRand, GivesTenThousandths)
{
    Matrix A(40, 40);
    Matrix B(40, 40);
    std::srand(3);
    kmath_nmmatrix_setRand(&A);
    std::srand(3);
    kmath_nmmatrix_setRand(&B);
    EXPECT_TRUE(sameBits(A, B));
    for (int i = 0; i < 40; ++i)
        for (int j = 0; j < 40; ++j) {
            EXPECT_TRUE(A(i, j) >= 0.0 && A(i, j) <= 0.9999);
            EXPECT_EQ(A(i, j), std::round(A(i, j) * 10000.0) / 10000.0);
        }
}

TEST(NmmatrixSetRandB, DrawsForTheViewThroughTheRowPointers)
{
    const std::vector<double> numbers = nextRandoms(23, 13);
    Matrix A = randomMatrix(8, 9);
    const Matrix before = A;
    kmath_nmmatrix_resize_noClear(&A, 6, 5);
    const double *const start = A->rows[0];
    kmath_nmmatrix_subBlock block = view(A, 1, 2, 4, 3);
    std::srand(23);
    EXPECT_EQ(kmath_nmmatrix_setRandB(&block), KMATH_OK);
    for (int i = 0; i < 8; ++i)
        for (int j = 0; j < 9; ++j) {
            const bool inside = i >= 1 && i < 5 && j >= 2 && j < 5;
            const auto k = static_cast<std::size_t>(inside ? 3 * (i - 1) + j - 2 : 0);
            EXPECT_TRUE(sameBits(start[9 * i + j], inside ? numbers[k] : before(i, j)));
        }
    EXPECT_EQ((std::rand() % 10000) / 10000.0, numbers.back());
}

} // namespace
