// The dense matrix and the n-vector seen from outside: where elements live, what a change of shape
// keeps, which operations walk rows and which the flat run, and what a refusal leaves behind.
#include "contract/textbook.hpp"
#include "support/services.hpp"

#include <kmath/platform.h>

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <limits>

namespace
{

using support::allocationsOf;
using support::assertedLine;
using support::build;
using support::failAllocation;
using support::liveBlocks;
using support::Matrix;
using support::randomMatrix;
using support::sameBits;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// 0, 1, 2 … in row-major order.
Matrix counting(int rows, int cols)
{
    return build(rows, cols, [&](int i, int j) { return i * cols + j; });
}

void expectInline(const Matrix &m)
{
    EXPECT_EQ(m->onHeap, 0);
    EXPECT_EQ(m->heapRows, nullptr);
    ASSERT_EQ(m->rows, m->inlineRows);
    for (int i = 0; i < m.rows(); ++i)
        EXPECT_EQ(m->rows[i], m->inlineData + i * m.cols());
}

void expectHeap(const Matrix &m)
{
    EXPECT_EQ(m->onHeap, 1);
    EXPECT_EQ(m->rows, m->heapRows);
    ASSERT_NE(m->rows, nullptr);
    for (int i = 0; i < m.rows(); ++i)
        EXPECT_EQ(m->rows[i], m->rows[0] + i * m.cols());
}

void expectEmpty(const kmath_nmmatrix *m)
{
    EXPECT_EQ(m->rows, nullptr);
    EXPECT_EQ(m->nRows, 0);
    EXPECT_EQ(m->nCols, 0);
    EXPECT_EQ(m->onHeap, 0);
    EXPECT_EQ(m->heapRows, nullptr);
}

/// A 5×5 matrix 0 … 24 shrunk in place to 3×3: stride 5, flat run 0 … 8.
Matrix *shrunk(Matrix &m)
{
    EXPECT_EQ(kmath_nmmatrix_resize_noClear(&m, 3, 3), KMATH_OK);
    return std::addressof(m);
}

/// The 25 doubles of a 5×5 block, whatever shape the record now claims.
std::vector<double> block25(const Matrix &m) { return {m->rows[0], m->rows[0] + 25}; }

// Where elements live.

TEST(DenseMatrixRules, ConstructLeavesAnEmptyRecordAndTheInlineAreasAlone)
{
    kmath_nmmatrix m;
    std::memset(&m, 0x5a, sizeof m);
    const kmath_nmmatrix before = m;
    EXPECT_EQ(kmath_nmmatrix_construct(&m), KMATH_OK);
    expectEmpty(&m);
    EXPECT_EQ(std::memcmp(m.inlineData, before.inlineData, sizeof m.inlineData), 0);
    EXPECT_EQ(std::memcmp(m.inlineRows, before.inlineRows, sizeof m.inlineRows), 0);
}

TEST(DenseMatrixRules, SixteenElementsInSixRowsStayInTheRecord)
{
    Matrix m;
    for (const auto &[rows, cols] :
         {std::pair{1, 1}, {4, 4}, {2, 8}, {6, 2}, {1, 16}, {6, 1}, {5, 3}, {3, 5}, {16, 0}}) {
        if (cols == 0)
            continue;
        EXPECT_EQ(allocationsOf([&, r = rows, c = cols] {
                      EXPECT_EQ(kmath_nmmatrix_resize(&m, r, c), KMATH_OK);
                  }),
                  0);
        expectInline(m);
        EXPECT_TRUE(sameBits(m, build(rows, cols, [](int, int) { return 0.0; })));
        kmath_nmmatrix_set(&m, nan);
    }
    for (const auto &[rows, cols] : {std::pair{7, 2}, {1, 17}, {7, 1}, {5, 5}, {17, 1}, {9, 9}}) {
        EXPECT_EQ(allocationsOf([&, r = rows, c = cols] {
                      EXPECT_EQ(kmath_nmmatrix_resize(&m, r, c), KMATH_OK);
                  }),
                  2);
        expectHeap(m);
        EXPECT_TRUE(sameBits(m, build(rows, cols, [](int, int) { return 0.0; })));
        kmath_nmmatrix_set(&m, nan);
    }
}

TEST(DenseMatrixRules, EmptyShapesTakeNoBlock)
{
    for (const auto &[rows, cols] :
         {std::pair{0, 3}, {3, 0}, {6, 0}, {0, 1000000}, {7, 0}, {1000000, 0}}) {
        Matrix m(5, 5);
        EXPECT_EQ(allocationsOf([&, r = rows, c = cols] {
                      EXPECT_EQ(kmath_nmmatrix_resize(&m, r, c), KMATH_OK);
                  }),
                  0);
        EXPECT_EQ(m.rows(), rows);
        EXPECT_EQ(m.cols(), cols);
        EXPECT_EQ(m->heapRows, nullptr);
        if (rows <= 6) {
            EXPECT_EQ(m->onHeap, 0);
            EXPECT_EQ(m->rows, m->inlineRows);
        } else {
            EXPECT_EQ(m->onHeap, 1);
            EXPECT_EQ(m->rows, nullptr);
        }
    }
}

TEST(DenseMatrixRules, DestructReleasesAndLeavesAReusableRecord)
{
    const std::int64_t live = liveBlocks();
    kmath_nmmatrix m;
    kmath_nmmatrix_construct(&m);
    for (const int n : {2, 9, 4, 20}) {
        EXPECT_EQ(kmath_nmmatrix_resize(&m, n, n), KMATH_OK);
        m.rows[n - 1][n - 1] = 5.0;
        EXPECT_EQ(kmath_nmmatrix_destruct(&m), KMATH_OK);
        expectEmpty(&m);
        EXPECT_EQ(liveBlocks(), live);
    }
    EXPECT_EQ(kmath_nmmatrix_destruct(&m), KMATH_OK);
}

TEST(DenseMatrixRules, ShapesBeyondMemoryAreCountedIn64Bits)
{
    struct {
        int rows, cols;
        std::size_t bytes;
    } const wrapping[] = {{65536, 65536, std::size_t{1} << 35}, {4, 1 << 30, std::size_t{1} << 35}};
    for (const auto &shape : wrapping) {
        Matrix m(5, 5);
        const std::int64_t live = liveBlocks();
        failAllocation(0);
        EXPECT_EQ(kmath_nmmatrix_resize(&m, shape.rows, shape.cols), KMATH_ERR_NO_MEMORY);
        EXPECT_TRUE(support::allocationHasFailed());
        failAllocation(-1);
        EXPECT_EQ(support::lastRequest(), shape.bytes);
        EXPECT_EQ(liveBlocks(), live - 2);
        EXPECT_EQ(m.rows(), shape.rows);
        EXPECT_EQ(m.cols(), shape.cols);
        EXPECT_EQ(m->onHeap, 1);
        EXPECT_EQ(m->rows, nullptr);
        EXPECT_EQ(kmath_nmmatrix_destruct(&m), KMATH_OK);
    }
    Matrix m(5, 5);
    const int most = std::numeric_limits<int>::max();
    EXPECT_EQ(allocationsOf(
                  [&] { EXPECT_EQ(kmath_nmmatrix_resize(&m, most, most), KMATH_ERR_NO_MEMORY); }),
              0);
    EXPECT_EQ(m->rows, nullptr);
    EXPECT_EQ(kmath_nmmatrix_resize(&m, 2, 2), KMATH_OK);
    expectInline(m);
}

TEST(DenseMatrixRules, ARefusedBlockFreesTheOtherAndLeavesTheNewShape)
{
    for (const int number : {0, 1}) {
        Matrix m(3, 3);
        const std::int64_t live = liveBlocks();
        failAllocation(number);
        EXPECT_EQ(kmath_nmmatrix_resize(&m, 8, 9), KMATH_ERR_NO_MEMORY);
        failAllocation(-1);
        EXPECT_EQ(liveBlocks(), live);
        EXPECT_EQ(m.rows(), 8);
        EXPECT_EQ(m.cols(), 9);
        EXPECT_EQ(m->onHeap, 1);
        EXPECT_EQ(m->rows, nullptr);
        EXPECT_EQ(m->heapRows, nullptr);
    }
}

// Constructors.

TEST(DenseMatrixRules, ConstructorsFill)
{
    kmath_nmmatrix m;
    ASSERT_EQ(kmath_nmmatrix_constructRowsCols(&m, 5, 7), KMATH_OK);
    EXPECT_EQ(m.nRows, 5);
    EXPECT_EQ(m.nCols, 7);
    for (int i = 0; i < 35; ++i)
        EXPECT_TRUE(sameBits(m.rows[0][i], 0.0));
    kmath_nmmatrix_destruct(&m);
    ASSERT_EQ(kmath_nmmatrix_constructRowsColsVal(&m, 2, 9, -1.5), KMATH_OK);
    for (int i = 0; i < 18; ++i)
        EXPECT_EQ(m.rows[0][i], -1.5);
    kmath_nmmatrix_destruct(&m);

    kmath_matrix6F six;
    kmath_vect6F column;
    for (int i = 0; i < 6; ++i) {
        column.v[i] = 0.1f * static_cast<float>(i);
        for (int j = 0; j < 6; ++j)
            six.m[i][j] = 0.1f * static_cast<float>(10 * i + j);
    }
    ASSERT_EQ(kmath_nmmatrix_constructMatrix6F(&m, &six), KMATH_OK);
    ASSERT_EQ(m.nRows, 6);
    ASSERT_EQ(m.nCols, 6);
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 6; ++j)
            EXPECT_EQ(m.rows[i][j], static_cast<double>(six.m[i][j]));
    kmath_nmmatrix_destruct(&m);
    ASSERT_EQ(kmath_nmmatrix_constructVect6F(&m, &column), KMATH_OK);
    ASSERT_EQ(m.nRows, 6);
    ASSERT_EQ(m.nCols, 1);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(m.rows[i][0], static_cast<double>(column.v[i]));
    kmath_nmmatrix_destruct(&m);

    const Matrix source = randomMatrix(6, 7);
    ASSERT_EQ(kmath_nmmatrix_constructCopy(&m, &source), KMATH_OK);
    EXPECT_EQ(m.nRows, 6);
    EXPECT_EQ(m.nCols, 7);
    for (int i = 0; i < 42; ++i)
        EXPECT_TRUE(sameBits(m.rows[0][i], source->rows[0][i]));
    EXPECT_NE(m.rows[0], source->rows[0]);
    kmath_nmmatrix_destruct(&m);
}

TEST(DenseMatrixRules, ANegativeShapeLeavesTheRecordUnconstructed)
{
    kmath_nmmatrix m, before;
    std::memset(&m, 0x5a, sizeof m);
    std::memcpy(&before, &m, sizeof m);
    EXPECT_EQ(kmath_nmmatrix_constructRowsCols(&m, -1, 3), KMATH_ERR_NEGATIVE_SIZE);
    EXPECT_EQ(kmath_nmmatrix_constructRowsCols(&m, 3, -1), KMATH_ERR_NEGATIVE_SIZE);
    EXPECT_EQ(kmath_nmmatrix_constructRowsColsVal(&m, 0, std::numeric_limits<int>::min(), 1.0),
              KMATH_ERR_NEGATIVE_SIZE);
    EXPECT_EQ(std::memcmp(&m, &before, sizeof m), 0);
}

TEST(DenseMatrixRules, AFailedConstructorLeavesTheObjectDestructed)
{
    const Matrix source = randomMatrix(6, 7);
    const kmath_matrix6F six = {};
    const std::function<kmath_status(kmath_nmmatrix *)> constructors[] = {
        [](kmath_nmmatrix *m) { return kmath_nmmatrix_constructRowsCols(m, 9, 9); },
        [](kmath_nmmatrix *m) { return kmath_nmmatrix_constructRowsColsVal(m, 9, 9, 1.0); },
        [&](kmath_nmmatrix *m) { return kmath_nmmatrix_constructMatrix6F(m, &six); },
        [&](kmath_nmmatrix *m) { return kmath_nmmatrix_constructCopy(m, &source); }};
    for (const auto &construct : constructors)
        for (const int number : {0, 1}) {
            const std::int64_t live = liveBlocks();
            kmath_nmmatrix m;
            std::memset(&m, 0x5a, sizeof m);
            failAllocation(number);
            EXPECT_EQ(construct(&m), KMATH_ERR_NO_MEMORY);
            failAllocation(-1);
            expectEmpty(&m);
            EXPECT_EQ(liveBlocks(), live);
        }
}

// Shape and copy.

TEST(DenseMatrixRules, ResizeToThePresentShapeKeepsEveryElement)
{
    for (const auto &[rows, cols] : {std::pair{3, 3}, {9, 9}}) {
        Matrix m = counting(rows, cols);
        const Matrix before = m;
        double *const first = m->rows[0];
        EXPECT_EQ(kmath_nmmatrix_resize(&m, rows, cols), KMATH_OK);
        EXPECT_TRUE(sameBits(m, before));
        EXPECT_EQ(m->rows[0], first);
        EXPECT_EQ(kmath_nmmatrix_resize_noClear(&m, rows, cols), KMATH_OK);
        EXPECT_TRUE(sameBits(m, before));
    }
}

TEST(DenseMatrixRules, NegativeShapesChangeNothing)
{
    Matrix m = counting(4, 5);
    const Matrix before = m;
    EXPECT_EQ(kmath_nmmatrix_resize(&m, -1, 2), KMATH_ERR_NEGATIVE_SIZE);
    EXPECT_EQ(kmath_nmmatrix_resize(&m, 2, -1), KMATH_ERR_NEGATIVE_SIZE);
    EXPECT_EQ(kmath_nmmatrix_resize_noClear(&m, -1, 2), KMATH_ERR_NEGATIVE_SIZE);
    EXPECT_EQ(kmath_nmmatrix_resize_noClear(&m, 2, -1), KMATH_ERR_NEGATIVE_SIZE);
    EXPECT_TRUE(sameBits(m, before));
}

TEST(DenseMatrixRules, AShapeThatFitsKeepsStorageAndStride)
{
    Matrix m = counting(5, 5);
    double *const first = m->rows[0];
    EXPECT_EQ(allocationsOf([&] { shrunk(m); }), 0);
    EXPECT_EQ(m.rows(), 3);
    EXPECT_EQ(m.cols(), 3);
    EXPECT_EQ(m->onHeap, 1);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(m->rows[i], first + 5 * i);
        for (int j = 0; j < 3; ++j)
            EXPECT_EQ(m(i, j), 5 * i + j);
    }
    Matrix small = counting(4, 4);
    EXPECT_EQ(kmath_nmmatrix_resize_noClear(&small, 2, 3), KMATH_OK);
    EXPECT_EQ(small->onHeap, 0);
    EXPECT_EQ(small(1, 2), 6.0);
}

TEST(DenseMatrixRules, AShapeThatDoesNotFitGoesToTheHeapCleared)
{
    for (const auto &[rows, cols] : {std::pair{3, 3}, {1, 3}, {3, 1}, {9, 9}}) {
        Matrix m = counting(2, 2);
        EXPECT_EQ(allocationsOf([&, r = rows, c = cols] {
                      EXPECT_EQ(kmath_nmmatrix_resize_noClear(&m, r, c), KMATH_OK);
                  }),
                  2);
        expectHeap(m);
        EXPECT_TRUE(sameBits(m, build(rows, cols, [](int, int) { return 0.0; })));
    }
    Matrix m(7, 7);
    const std::int64_t live = liveBlocks();
    failAllocation(0);
    EXPECT_EQ(kmath_nmmatrix_resize_noClear(&m, 8, 8), KMATH_ERR_NO_MEMORY);
    failAllocation(-1);
    EXPECT_EQ(liveBlocks(), live - 2);
}

TEST(DenseMatrixRules, FlatOperationsWalkTheStoredRunOfAShrunkMatrix)
{
    const auto expected = [](const std::function<double(int)> &element) {
        std::vector<double> run(25);
        for (int i = 0; i < 25; ++i)
            run[static_cast<std::size_t>(i)] = i < 9 ? element(i) : i;
        return run;
    };
    Matrix m = counting(5, 5);
    double sum = nan;
    EXPECT_EQ(kmath_nmmatrix_fnorm2(&*shrunk(m), &sum), KMATH_OK);
    EXPECT_EQ(sum, 204.0); // 0² + … + 8², not the squares of the 3×3 corner
    EXPECT_EQ(kmath_nmmatrix_scale(&m, 2.0), KMATH_OK);
    EXPECT_EQ(block25(m), expected([](int i) { return 2.0 * i; }));

    m = counting(5, 5);
    EXPECT_EQ(kmath_nmmatrix_add(&*shrunk(m), 0.5), KMATH_OK);
    EXPECT_EQ(block25(m), expected([](int i) { return i + 0.5; }));

    Matrix a = counting(5, 5), b = counting(5, 5);
    const Matrix plain = counting(3, 3);
    EXPECT_EQ(kmath_nmmatrix_addmat(&*shrunk(a), &plain), KMATH_OK);
    EXPECT_EQ(block25(a), expected([](int i) { return 2.0 * i; }));
    Matrix c = counting(3, 3);
    EXPECT_EQ(kmath_nmmatrix_addmat(&c, &*shrunk(b)), KMATH_OK);
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(c->rows[0][i], 2.0 * i);

    // The corner differs from 0 … 8, yet the runs agree.
    std::int32_t equal = 9;
    EXPECT_EQ(kmath_nmmatrix_compareEqual(&b, &plain, 0.0, &equal), KMATH_OK);
    EXPECT_EQ(equal, 1);
    b(2, 2) = 1e9; // stored as number 12 of the run
    EXPECT_EQ(kmath_nmmatrix_compareEqual(&b, &plain, 0.0, &equal), KMATH_OK);
    EXPECT_EQ(equal, 1);
    b->rows[0][8] += 1.0; // number 8, outside the 3×3 corner
    EXPECT_EQ(kmath_nmmatrix_compareEqual(&plain, &b, 0.0, &equal), KMATH_OK);
    EXPECT_EQ(equal, 0);
}

TEST(DenseMatrixRules, RowOperationsStayInTheCornerOfAShrunkMatrix)
{
    const auto inCorner = [](int i) { return i % 5 < 3 && i / 5 < 3; };
    Matrix m = counting(5, 5);
    EXPECT_EQ(kmath_nmmatrix_set(&*shrunk(m), -1.0), KMATH_OK);
    for (int i = 0; i < 25; ++i)
        EXPECT_EQ(m->rows[0][i], inCorner(i) ? -1.0 : i);

    m = counting(5, 5);
    EXPECT_EQ(kmath_nmmatrix_adddiag(&*shrunk(m), 100.0), KMATH_OK);
    for (int i = 0; i < 25; ++i)
        EXPECT_EQ(m->rows[0][i], inCorner(i) && i % 6 == 0 ? i + 100.0 : i);

    m = counting(5, 5);
    const Matrix ones = build(3, 3, [](int, int) { return 1.0; });
    EXPECT_EQ(kmath_nmmatrix_submat(&*shrunk(m), &ones), KMATH_OK);
    for (int i = 0; i < 25; ++i)
        EXPECT_EQ(m->rows[0][i], inCorner(i) ? i - 1.0 : i);

    m = counting(5, 5);
    shrunk(m);
    const Matrix corner = build(3, 3, [](int i, int j) { return 5.0 * i + j; });
    Matrix r;
    EXPECT_EQ(kmath_nmmatrix_assign(&r, &m), KMATH_OK);
    EXPECT_TRUE(sameBits(r, corner));
    expectInline(r);
    EXPECT_EQ(kmath_nmmatrix_transpose(&m, &r), KMATH_OK);
    EXPECT_TRUE(sameBits(r, textbook::transposed(corner)));
    EXPECT_EQ(kmath_nmmatrix_square(&m, &r), KMATH_OK);
    EXPECT_TRUE(sameBits(r, textbook::transposedTimes(corner, corner)));
    EXPECT_EQ(kmath_nmmatrix_Tsquare(&m, &r), KMATH_OK);
    EXPECT_TRUE(sameBits(r, textbook::timesTransposed(corner, corner)));

    // Into a shrunk matrix of the right shape: through its row pointers, stride kept.
    Matrix target = counting(5, 5);
    EXPECT_EQ(kmath_nmmatrix_assign(&*shrunk(target), &ones), KMATH_OK);
    for (int i = 0; i < 25; ++i)
        EXPECT_EQ(target->rows[0][i], inCorner(i) ? 1.0 : i);
}

TEST(DenseMatrixRules, AssignTakesShapeAndElements)
{
    for (const auto &[rows, cols] : {std::pair{1, 1}, {4, 4}, {9, 3}, {0, 5}, {7, 0}}) {
        const Matrix source = randomMatrix(rows, cols, 61);
        Matrix r = counting(5, 5);
        EXPECT_EQ(kmath_nmmatrix_assign(&r, &source), KMATH_OK);
        EXPECT_TRUE(sameBits(r, source));
    }
    Matrix m = randomMatrix(9, 9, 62);
    const Matrix before = m;
    double *const first = m->rows[0];
    EXPECT_EQ(kmath_nmmatrix_assign(&m, &m), KMATH_OK);
    EXPECT_TRUE(sameBits(m, before));
    const Matrix other = randomMatrix(9, 9, 63);
    EXPECT_EQ(allocationsOf([&] { kmath_nmmatrix_assign(&m, &other); }), 0);
    EXPECT_EQ(m->rows[0], first);
    EXPECT_TRUE(sameBits(m, other));
    support::sweepAllocationFailures([&] {
        Matrix r;
        return kmath_nmmatrix_assign(&r, &other);
    });
}

TEST(DenseMatrixRules, TransposeTurnsEveryShape)
{
    for (const auto &[rows, cols] :
         {std::pair{1, 1}, {3, 2}, {2, 3}, {9, 4}, {4, 9}, {1, 30}, {30, 1}, {0, 4}, {20, 20}}) {
        const Matrix A = randomMatrix(rows, cols, 64);
        Matrix T = counting(3, 3);
        EXPECT_EQ(kmath_nmmatrix_transpose(&A, &T), KMATH_OK);
        EXPECT_TRUE(sameBits(T, textbook::transposed(A)));
    }
    Matrix m = randomMatrix(3, 3, 65);
    const Matrix before = m;
    EXPECT_EQ(kmath_nmmatrix_transpose(&m, &m), KMATH_ERR_ALIASED);
    EXPECT_TRUE(sameBits(m, before));
    const Matrix large = randomMatrix(6, 9, 66);
    support::sweepAllocationFailures([&] {
        Matrix T;
        return kmath_nmmatrix_transpose(&large, &T);
    });
}

// Elements and reductions.

TEST(DenseMatrixRules, ElementWiseOperations)
{
    for (const auto &[rows, cols] : {std::pair{1, 1}, {3, 5}, {7, 9}, {1, 33}}) {
        const Matrix A = randomMatrix(rows, cols, 71), B = randomMatrix(rows, cols, 72);
        const auto expect = [&, r = rows, c = cols](const Matrix &m, const auto &element) {
            EXPECT_TRUE(sameBits(m, build(r, c, [&](int i, int j) { return element(i, j); })));
        };
        Matrix m = A;
        EXPECT_EQ(kmath_nmmatrix_set(&m, 0.1), KMATH_OK);
        expect(m, [](int, int) { return 0.1; });
        m = A;
        EXPECT_EQ(kmath_nmmatrix_adddiag(&m, 0.1), KMATH_OK);
        expect(m, [&](int i, int j) { return i == j ? A(i, j) + 0.1 : A(i, j); });
        m = A;
        EXPECT_EQ(kmath_nmmatrix_scale(&m, 0.1), KMATH_OK);
        expect(m, [&](int i, int j) { return A(i, j) * 0.1; });
        m = A;
        EXPECT_EQ(kmath_nmmatrix_add(&m, 0.1), KMATH_OK);
        expect(m, [&](int i, int j) { return A(i, j) + 0.1; });
        m = A;
        EXPECT_EQ(kmath_nmmatrix_addmat(&m, &B), KMATH_OK);
        expect(m, [&](int i, int j) { return A(i, j) + B(i, j); });
        m = A;
        EXPECT_EQ(kmath_nmmatrix_submat(&m, &B), KMATH_OK);
        expect(m, [&](int i, int j) { return A(i, j) - B(i, j); });
        double sum = nan;
        EXPECT_EQ(kmath_nmmatrix_fnorm2(&A, &sum), KMATH_OK);
        EXPECT_TRUE(sameBits(sum, textbook::sumOfSquares(A)));
        m = A;
        EXPECT_EQ(kmath_nmmatrix_submat(&m, &m), KMATH_OK);
        expect(m, [](int, int) { return 0.0; });
    }
    Matrix m(2, 5);
    EXPECT_EQ(kmath_nmmatrix_adddiag(&m, 1.0), KMATH_OK);
    EXPECT_TRUE(sameBits(m, Matrix{{1, 0, 0, 0, 0}, {0, 1, 0, 0, 0}}));
}

TEST(DenseMatrixRules, FNorm2IsTheSumOfSquaresWithoutRoot)
{
    const Matrix m = {{3, 0}, {0, -4}};
    double sum = nan;
    EXPECT_EQ(kmath_nmmatrix_fnorm2(&m, &sum), KMATH_OK);
    EXPECT_EQ(sum, 25.0);
    // Increasing order: the small squares vanish only when they come last.
    const Matrix last = {{1e8, 1, 1, 1, 1}}, first = {{1, 1, 1, 1, 1e8}};
    EXPECT_EQ(kmath_nmmatrix_fnorm2(&last, &sum), KMATH_OK);
    EXPECT_EQ(sum, 1e16);
    EXPECT_EQ(kmath_nmmatrix_fnorm2(&first, &sum), KMATH_OK);
    EXPECT_EQ(sum, 1e16 + 4);
    const Matrix none(0, 3);
    EXPECT_EQ(kmath_nmmatrix_fnorm2(&none, &sum), KMATH_OK);
    EXPECT_EQ(sum, 0.0);
}

TEST(DenseMatrixRules, ShapesThatDifferAreNeitherAddedNorSubtracted)
{
    Matrix a = counting(2, 3);
    const Matrix b = counting(3, 2), before = a;
    EXPECT_EQ(kmath_nmmatrix_addmat(&a, &b), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(kmath_nmmatrix_submat(&a, &b), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_TRUE(sameBits(a, before));
    Matrix none(0, 3);
    const Matrix other(3, 0), wider(0, 4);
    EXPECT_EQ(kmath_nmmatrix_addmat(&none, &other), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(kmath_nmmatrix_submat(&none, &wider), KMATH_ERR_BAD_DIMENSIONS);
}

TEST(DenseMatrixRules, EmptyMatricesAreLeftAlone)
{
    for (const auto &[rows, cols] : {std::pair{0, 0}, {0, 3}, {3, 0}, {9, 0}}) {
        Matrix m(rows, cols);
        const Matrix other(rows, cols);
        Matrix r;
        EXPECT_EQ(kmath_nmmatrix_set(&m, 1.0), KMATH_OK);
        EXPECT_EQ(kmath_nmmatrix_scale(&m, 1.0), KMATH_OK);
        EXPECT_EQ(kmath_nmmatrix_add(&m, 1.0), KMATH_OK);
        EXPECT_EQ(kmath_nmmatrix_adddiag(&m, 1.0), KMATH_OK);
        EXPECT_EQ(kmath_nmmatrix_addmat(&m, &other), KMATH_OK);
        EXPECT_EQ(kmath_nmmatrix_submat(&m, &other), KMATH_OK);
        EXPECT_EQ(kmath_nmmatrix_square(&m, &r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, Matrix(cols, cols)));
        EXPECT_EQ(kmath_nmmatrix_Tsquare(&m, &r), KMATH_OK);
        EXPECT_TRUE(sameBits(r, Matrix(rows, rows)));
    }
}

TEST(DenseMatrixRules, SquaresHaveTheBitsOfThePlainLoops)
{
    for (int rows = 1; rows < 12; ++rows)
        for (const int cols : {1, 2, 3, 7, 8, 9, 15, 16, 17, 25, 40}) {
            const Matrix A =
                randomMatrix(rows, cols, static_cast<std::uint64_t>(100 * rows + cols));
            Matrix R = counting(2, 2);
            EXPECT_EQ(kmath_nmmatrix_square(&A, &R), KMATH_OK);
            EXPECT_TRUE(sameBits(R, textbook::transposedTimes(A, A)));
            EXPECT_EQ(kmath_nmmatrix_Tsquare(&A, &R), KMATH_OK);
            EXPECT_TRUE(sameBits(R, textbook::timesTransposed(A, A)));
        }
    const Matrix minus = {{-0.0}, {-0.0}};
    Matrix R;
    EXPECT_EQ(kmath_nmmatrix_square(&minus, &R), KMATH_OK);
    EXPECT_FALSE(std::signbit(R(0, 0)));
}

TEST(DenseMatrixRules, SquaresRefuseTheirOwnArgument)
{
    Matrix A = counting(3, 3);
    const Matrix before = A;
    EXPECT_EQ(kmath_nmmatrix_square(&A, &A), KMATH_ERR_ALIASED);
    EXPECT_EQ(kmath_nmmatrix_Tsquare(&A, &A), KMATH_ERR_ALIASED);
    EXPECT_TRUE(sameBits(A, before));
    const Matrix B = counting(7, 7);
    Matrix R(7, 7);
    double *const first = R->rows[0];
    EXPECT_EQ(allocationsOf([&] {
                  kmath_nmmatrix_square(&B, &R);
                  kmath_nmmatrix_Tsquare(&B, &R);
              }),
              0);
    EXPECT_EQ(R->rows[0], first);
    support::sweepAllocationFailures([&] {
        Matrix fresh;
        return kmath_nmmatrix_square(&B, &fresh);
    });
    support::sweepAllocationFailures([&] {
        Matrix fresh;
        return kmath_nmmatrix_Tsquare(&B, &fresh);
    });
}

TEST(DenseMatrixRules, CompareEqualCountsTheBoundAsEqual)
{
    const auto equal = [](const Matrix &a, const Matrix &b, double tolerance) {
        std::int32_t flag = 9;
        EXPECT_EQ(kmath_nmmatrix_compareEqual(&a, &b, tolerance, &flag), KMATH_OK);
        return flag;
    };
    const Matrix a = counting(3, 7);
    EXPECT_EQ(equal(a, a, 0.0), 1);
    for (const auto &[i, j] : {std::pair{0, 0}, {1, 3}, {2, 6}}) {
        Matrix b = a;
        b(i, j) += 0.25;
        EXPECT_EQ(equal(a, b, 0.25), 1);
        EXPECT_EQ(equal(b, a, std::nextafter(0.25, 0.0)), 0);
        // Only a difference above the tolerance counts, and a NaN is above nothing.
        b(i, j) = nan;
        EXPECT_EQ(equal(a, b, 0.0), 1);
        b(i, j) = inf;
        EXPECT_EQ(equal(a, b, 1e300), 0);
        EXPECT_EQ(equal(b, b, 0.0), 1);
    }
    EXPECT_EQ(equal(a, a, -1.0), 0);
    EXPECT_EQ(equal(Matrix(0, 3), Matrix(0, 3), 0.0), 1);
    EXPECT_EQ(equal(Matrix(0, 3), Matrix(0, 3), -1.0), 1);
    EXPECT_EQ(equal(Matrix(0, 3), Matrix(3, 0), 0.0), 0);
    EXPECT_EQ(equal(Matrix(2, 3), Matrix(3, 2), 1e9), 0);
}

// The n-vector.

class NVector
{
  public:
    NVector() { EXPECT_EQ(kmath_nvector_construct(&v), KMATH_OK); }
    ~NVector() { EXPECT_EQ(kmath_nvector_destruct(&v), KMATH_OK); }
    NVector(const NVector &) = delete;
    NVector &operator=(const NVector &) = delete;
    kmath_nvector v = {reinterpret_cast<double *>(8), 77};
};

TEST(NVectorRules, HoldsOneDoubleMoreThanItsLength)
{
    NVector a;
    EXPECT_EQ(a.v.data, nullptr);
    EXPECT_EQ(a.v.n, 0);
    EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(kmath_nvector_resize(&a.v, 5), KMATH_OK); }), 1);
    EXPECT_EQ(support::lastRequest(), 6 * sizeof(double));
    EXPECT_EQ(a.v.n, 5);
    for (int i = 0; i <= 5; ++i) {
        EXPECT_TRUE(sameBits(a.v.data[i], 0.0));
        a.v.data[i] = i;
    }
    double *const block = a.v.data;
    EXPECT_EQ(kmath_nvector_resize(&a.v, 5), KMATH_OK);
    EXPECT_EQ(a.v.data, block);
    EXPECT_EQ(a.v.data[5], 5.0);
    EXPECT_EQ(kmath_nvector_resize(&a.v, 3), KMATH_OK);
    for (int i = 0; i <= 3; ++i)
        EXPECT_EQ(a.v.data[i], 0.0);
    const std::int64_t live = liveBlocks();
    EXPECT_EQ(kmath_nvector_resize(&a.v, 0), KMATH_OK);
    EXPECT_EQ(liveBlocks(), live - 1);
    EXPECT_EQ(a.v.data, nullptr);
}

TEST(NVectorRules, ANegativeLengthIsRefusedAndKept)
{
    NVector a;
    ASSERT_EQ(kmath_nvector_resize(&a.v, 4), KMATH_OK);
    const std::int64_t live = liveBlocks();
    EXPECT_EQ(kmath_nvector_resize(&a.v, -2), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(a.v.n, -2);
    EXPECT_EQ(a.v.data, nullptr);
    EXPECT_EQ(liveBlocks(), live - 1);
    EXPECT_EQ(kmath_nvector_resize(&a.v, -2), KMATH_OK); // equal lengths change nothing
    NVector b;
    EXPECT_EQ(kmath_nvector_assign(&b.v, &a.v), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(b.v.n, -2);
    EXPECT_EQ(kmath_nvector_assign(&b.v, &a.v), KMATH_OK);
    EXPECT_EQ(kmath_nvector_resize(&a.v, 2), KMATH_OK);
    EXPECT_EQ(a.v.data[2], 0.0);
}

TEST(NVectorRules, TheLengthIsStoredBeforeTheBlockIsTaken)
{
    NVector a;
    for (const int n : {7, std::numeric_limits<int>::max()}) {
        failAllocation(0);
        EXPECT_EQ(kmath_nvector_resize(&a.v, n), KMATH_ERR_NO_MEMORY);
        failAllocation(-1);
        EXPECT_EQ(support::lastRequest(), (static_cast<std::size_t>(n) + 1) * sizeof(double));
        EXPECT_EQ(a.v.n, n);
        EXPECT_EQ(a.v.data, nullptr);
    }
}

TEST(NVectorRules, AssignCopiesTheSpareElementToo)
{
    NVector a, b;
    ASSERT_EQ(kmath_nvector_resize(&a.v, 4), KMATH_OK);
    for (int i = 0; i <= 4; ++i)
        a.v.data[i] = 0.1 * i;
    for (const int length : {0, 4, 9}) {
        ASSERT_EQ(kmath_nvector_resize(&b.v, length), KMATH_OK);
        EXPECT_EQ(kmath_nvector_assign(&b.v, &a.v), KMATH_OK);
        ASSERT_EQ(b.v.n, 4);
        for (int i = 0; i <= 4; ++i)
            EXPECT_EQ(b.v.data[i], 0.1 * i);
    }
    double *const block = a.v.data;
    EXPECT_EQ(kmath_nvector_assign(&a.v, &a.v), KMATH_OK);
    EXPECT_EQ(a.v.data, block);
    EXPECT_EQ(a.v.data[4], 0.4);
    NVector none;
    EXPECT_EQ(kmath_nvector_assign(&b.v, &none.v), KMATH_OK);
    EXPECT_EQ(b.v.n, 0);
    EXPECT_EQ(b.v.data, nullptr);
    support::sweepAllocationFailures([&] {
        NVector fresh;
        return kmath_nvector_assign(&fresh.v, &a.v);
    });
}

// Null checks.

TEST(DenseMatrixRules, NullRecordsAreReportedWithTheirLines)
{
    Matrix m(2, 2), r(2, 2);
    double sum;
    std::int32_t equal;
    kmath_nvector v = {nullptr, 0};
    const std::pair<int, std::function<void()>> calls[] = {
        {121, [&] { kmath_nmmatrix_construct(nullptr); }},
        {235, [&] { kmath_nmmatrix_constructRowsCols(nullptr, 2, 2); }},
        {136, [&] { kmath_nmmatrix_destruct(nullptr); }},
        {68, [&] { kmath_nvector_construct(nullptr); }},
        {99, [&] { kmath_nvector_destruct(nullptr); }},
        {156, [&] { kmath_nmmatrix_resize(nullptr, 2, 2); }},
        {205, [&] { kmath_nmmatrix_resize_noClear(nullptr, 2, 2); }},
        {329, [&] { kmath_nmmatrix_assign(nullptr, &m); }},
        {329, [&] { kmath_nmmatrix_assign(&m, nullptr); }},
        {359, [&] { kmath_nmmatrix_transpose(nullptr, &r); }},
        {359, [&] { kmath_nmmatrix_transpose(&m, nullptr); }},
        {80, [&] { kmath_nvector_resize(nullptr, 2); }},
        {114, [&] { kmath_nvector_assign(nullptr, &v); }},
        {114, [&] { kmath_nvector_assign(&v, nullptr); }},
        {1214, [&] { kmath_nmmatrix_set(nullptr, 1); }},
        {644, [&] { kmath_nmmatrix_adddiag(nullptr, 1); }},
        {1067, [&] { kmath_nmmatrix_scale(nullptr, 1); }},
        {1091, [&] { kmath_nmmatrix_add(nullptr, 1); }},
        {1114, [&] { kmath_nmmatrix_addmat(nullptr, &m); }},
        {1114, [&] { kmath_nmmatrix_addmat(&m, nullptr); }},
        {1145, [&] { kmath_nmmatrix_submat(nullptr, &m); }},
        {1145, [&] { kmath_nmmatrix_submat(&m, nullptr); }},
        {736, [&] { kmath_nmmatrix_square(nullptr, &r); }},
        {736, [&] { kmath_nmmatrix_square(&m, nullptr); }},
        {777, [&] { kmath_nmmatrix_Tsquare(nullptr, &r); }},
        {777, [&] { kmath_nmmatrix_Tsquare(&m, nullptr); }},
        {1044, [&] { kmath_nmmatrix_fnorm2(nullptr, &sum); }},
    };
    for (const auto &[line, call] : calls)
        EXPECT_EQ(assertedLine(call), line);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_compareEqual(nullptr, &m, 0, &equal); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_compareEqual(&m, nullptr, 0, &equal); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_compareEqual(&m, &m, 0, nullptr); }), 0);
}

} // namespace
