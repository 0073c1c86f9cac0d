#include <kmath/sub_block.h>

#include "dense/operand.hpp"
#include "oracle/products.hpp"
#include "support/matrices.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <ostream>
#include <random>
#include <string>

using namespace support;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// One of the ten products. kinds names a, b and c, each a view or a whole matrix.
struct Product {
    const char *name;
    const char *kinds;
    kmath_status (*compute)(Operand &a, Operand &b, Operand &c);
    Matrix (*oracle)(const Matrix &, const Matrix &);
    bool transposesA;
    bool transposesB;

    Matrix left(int m, int p) const { return make(m, p, transposesA, 1); }
    Matrix right(int p, int n) const { return make(p, n, transposesB, 2); }
    bool givesAMatrix() const { return kinds[2] == 'M'; }

  private:
    static Matrix make(int rows, int cols, bool transposed, std::uint64_t seed)
    {
        return transposed ? randomMatrix(cols, rows, seed) : randomMatrix(rows, cols, seed);
    }
};

void PrintTo(const Product &product, std::ostream *out) { *out << product.name; }

const Product products[] = {
    {"multiplyBBM", "BBM",
     [](Operand &a, Operand &b, Operand &c) {
         return kmath_nmmatrix_multiplyBBM(a.block(), b.block(), c.matrix());
     },
     oracle::product, false, false},
    {"multiplyBBB", "BBB",
     [](Operand &a, Operand &b, Operand &c) {
         return kmath_nmmatrix_multiplyBBB(a.block(), b.block(), c.block());
     },
     oracle::product, false, false},
    {"multiplyMBM", "MBM",
     [](Operand &a, Operand &b, Operand &c) {
         return kmath_nmmatrix_multiplyMBM(a.matrix(), b.block(), c.matrix());
     },
     oracle::product, false, false},
    {"multiplyMMB", "MMB",
     [](Operand &a, Operand &b, Operand &c) {
         return kmath_nmmatrix_multiplyMMB(a.matrix(), b.matrix(), c.block());
     },
     oracle::product, false, false},
    {"TmultiplyBBM", "BBM",
     [](Operand &a, Operand &b, Operand &c) {
         return kmath_nmmatrix_TmultiplyBBM(a.block(), b.block(), c.matrix());
     },
     oracle::Tproduct, true, false},
    {"TmultiplyMBM", "MBM",
     [](Operand &a, Operand &b, Operand &c) {
         return kmath_nmmatrix_TmultiplyMBM(a.matrix(), b.block(), c.matrix());
     },
     oracle::Tproduct, true, false},
    {"TmultiplyBBB", "BBB",
     [](Operand &a, Operand &b, Operand &c) {
         return kmath_nmmatrix_TmultiplyBBB(a.block(), b.block(), c.block());
     },
     oracle::Tproduct, true, false},
    {"multiplyTBMM", "BMM",
     [](Operand &a, Operand &b, Operand &c) {
         return kmath_nmmatrix_multiplyTBMM(a.block(), b.matrix(), c.matrix());
     },
     oracle::productT, false, true},
    {"multiplyTBBM", "BBM",
     [](Operand &a, Operand &b, Operand &c) {
         return kmath_nmmatrix_multiplyTBBM(a.block(), b.block(), c.matrix());
     },
     oracle::productT, false, true},
    {"multiplyTBBB", "BBB",
     [](Operand &a, Operand &b, Operand &c) {
         return kmath_nmmatrix_multiplyTBBB(a.block(), b.block(), c.block());
     },
     oracle::productT, false, true},
};

class BlockProduct : public testing::TestWithParam<Product>
{
  protected:
    void expectTextbookBits(const Matrix &A, const Matrix &B, unsigned seed = 1) const
    {
        const Matrix expected = GetParam().oracle(A, B);
        Operand a(GetParam().kinds[0], A, seed);
        Operand b(GetParam().kinds[1], B, seed + 1);
        Operand c(GetParam().kinds[2], Matrix(expected.rows(), expected.cols()), seed + 2);
        c.fill(nan);
        ASSERT_EQ(GetParam().compute(a, b, c), KMATH_OK);
        EXPECT_TRUE(sameBits(c.elements(), expected))
            << A.rows() << " x " << A.cols() << " and " << B.rows() << " x " << B.cols();
        EXPECT_TRUE(c.isUntouchedOutside());
        EXPECT_TRUE(a.isUntouched() && b.isUntouched());
    }
};

INSTANTIATE_TEST_SUITE_P(, BlockProduct, testing::ValuesIn(products),
                         [](const testing::TestParamInfo<Product> &test) {
                             return std::string(test.param.name);
                         });

TEST_P(BlockProduct, HasTheBitsOfTheTextbookLoop)
{
    unsigned seed = 0;
    for (const int m : {0, 1, 2, 3, 7, 8, 17, 40})
        for (const int p : {0, 1, 2, 3, 8, 9, 16, 40})
            for (const int n : {0, 1, 2, 3, 7, 8, 17, 40})
                expectTextbookBits(GetParam().left(m, p), GetParam().right(p, n), ++seed);
}

TEST_P(BlockProduct, HasThemForLongSums)
{
    for (const int p : {127, 128, 129, 300})
        expectTextbookBits(GetParam().left(21, p), GetParam().right(p, 19), 4);
}

TEST_P(BlockProduct, OfSmallIntegersIsExact)
{
    // [1 2 3; 4 5 6]·[1 0 2 1; 0 1 1 2; 3 1 0 1], worked by hand.
    Matrix A{{1, 2, 3}, {4, 5, 6}};
    Matrix B{{1, 0, 2, 1}, {0, 1, 1, 2}, {3, 1, 0, 1}};
    if (GetParam().transposesA)
        A = build(3, 2, [=](int i, int j) { return A(j, i); });
    if (GetParam().transposesB)
        B = build(4, 3, [=](int i, int j) { return B(j, i); });
    Operand a(GetParam().kinds[0], A);
    Operand b(GetParam().kinds[1], B, 2);
    Operand c(GetParam().kinds[2], Matrix(2, 4), 3);
    ASSERT_EQ(GetParam().compute(a, b, c), KMATH_OK);
    EXPECT_TRUE(sameBits(c.elements(), Matrix{{10, 5, 4, 8}, {22, 11, 13, 20}}));
}

TEST_P(BlockProduct, PassesSpecialValuesThrough)
{
    for (const int p : {3, 9, 40})
        for (const double special : {nan, infinity, -infinity, 1.7e308, 5e-324, -0.0}) {
            Matrix A = GetParam().left(5, p);
            Matrix B = GetParam().right(p, 21);
            A(0, 0) = special;
            B(B.rows() - 1, B.cols() - 1) = special;
            expectTextbookBits(A, B);
        }
}

TEST_P(BlockProduct, RefusesFactorsThatDoNotMatch)
{
    const Matrix A = GetParam().left(2, 3);
    const Matrix B = GetParam().right(4, 5);
    Operand a(GetParam().kinds[0], A);
    Operand b(GetParam().kinds[1], B);
    Operand c(GetParam().kinds[2], randomMatrix(2, 5));
    EXPECT_EQ(GetParam().compute(a, b, c), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_TRUE(c.isUntouched());
}

TEST_P(BlockProduct, NeverReshapesAView)
{
    if (GetParam().givesAMatrix())
        return;
    Operand a(GetParam().kinds[0], GetParam().left(2, 3));
    Operand b(GetParam().kinds[1], GetParam().right(3, 4));
    for (const auto &[rows, cols] : {std::pair{1, 4}, {3, 4}, {2, 3}, {2, 5}, {4, 2}, {0, 0}}) {
        Operand c('B', randomMatrix(rows, cols));
        EXPECT_EQ(GetParam().compute(a, b, c), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_TRUE(c.isUntouched());
    }
}

TEST_P(BlockProduct, KeepsTheStorageOfAResultOfTheRightShape)
{
    Operand a(GetParam().kinds[0], GetParam().left(20, 30));
    Operand b(GetParam().kinds[1], GetParam().right(30, 25));
    Operand c(GetParam().kinds[2], Matrix(20, 25));
    double *const start = c.matrix()->rows[0];
    EXPECT_EQ(allocationsOf([&] { ASSERT_EQ(GetParam().compute(a, b, c), KMATH_OK); }), 0);
    EXPECT_EQ(c.matrix()->rows[0], start);
}

TEST_P(BlockProduct, ReplacesTheStorageOfAMatrixOfAnotherShape)
{
    if (!GetParam().givesAMatrix())
        return;
    const Matrix A = GetParam().left(20, 30);
    const Matrix B = GetParam().right(30, 25);
    Operand a(GetParam().kinds[0], A);
    Operand b(GetParam().kinds[1], B);
    for (const auto &[rows, cols] : {std::pair{25, 20}, {2, 2}, {0, 0}, {20, 24}}) {
        Operand c('M', randomMatrix(rows, cols));
        EXPECT_EQ(allocationsOf([&] { ASSERT_EQ(GetParam().compute(a, b, c), KMATH_OK); }), 2);
        EXPECT_TRUE(sameBits(c.elements(), GetParam().oracle(A, B)));
    }
    sweepAllocationFailures([&] {
        Operand c('M', Matrix(3, 3));
        return GetParam().compute(a, b, c);
    });
}

TEST_P(BlockProduct, OfReversedRangesHasNoElements)
{
    // Minus one row of a makes minus one row of the product.
    Operand a('B', GetParam().left(3, 3));
    Operand b(GetParam().kinds[1], GetParam().right(3, 4));
    if (GetParam().kinds[0] != 'B')
        return;
    kmath_nmmatrix_subBlock &range = *a.block();
    (GetParam().transposesA ? range.lastCol : range.lastRow) -= 4;
    (GetParam().transposesA ? range.nCols : range.nRows) = -1;
    Operand c(GetParam().kinds[2], randomMatrix(3, 4));
    if (GetParam().givesAMatrix()) {
        EXPECT_EQ(GetParam().compute(a, b, c), KMATH_ERR_NEGATIVE_SIZE);
        EXPECT_EQ(c.matrix()->nRows, 0);
        EXPECT_EQ(c.matrix()->nCols, 0);
        EXPECT_EQ(c.matrix()->rows, nullptr);
    } else {
        EXPECT_EQ(GetParam().compute(a, b, c), KMATH_ERR_BAD_DIMENSIONS);
        c.block()->lastRow -= 4;
        c.block()->nRows = -1;
        EXPECT_EQ(GetParam().compute(a, b, c), KMATH_OK);
        EXPECT_TRUE(c.isUntouched());
    }
}

TEST_P(BlockProduct, OfANegativeNumberOfTermsIsZero)
{
    if (GetParam().kinds[0] != 'B' || GetParam().kinds[1] != 'B')
        return;
    Operand a('B', GetParam().left(2, 3));
    Operand b('B', GetParam().right(3, 4));
    Operand c(GetParam().kinds[2], randomMatrix(2, 4));
    (GetParam().transposesA ? a.block()->nRows : a.block()->nCols) = -2;
    (GetParam().transposesB ? b.block()->nCols : b.block()->nRows) = -2;
    EXPECT_EQ(GetParam().compute(a, b, c), KMATH_OK);
    EXPECT_TRUE(sameBits(c.elements(), Matrix(2, 4)));
}

TEST_P(BlockProduct, OfAnOperandWithoutStorageLacksMemory)
{
    const Matrix sound = randomMatrix(5, 5);
    for (int lost = 0; lost < 3; ++lost) {
        Operand operands[] = {{GetParam().kinds[0], sound, 3},
                              {GetParam().kinds[1], sound, 3},
                              {GetParam().kinds[2], sound, 3}};
        Matrix &whole = operands[lost].whole();
        loseStorage(whole, whole.rows(), whole.cols());
        const bool renewed = lost == 2 && GetParam().givesAMatrix();
        EXPECT_EQ(GetParam().compute(operands[0], operands[1], operands[2]),
                  renewed ? KMATH_OK : KMATH_ERR_NO_MEMORY);
        if (renewed) {
            EXPECT_TRUE(sameBits(whole, GetParam().oracle(sound, sound)));
        } else if (lost < 2) {
            EXPECT_TRUE(operands[2].isUntouched());
        }
    }
}

TEST_P(BlockProduct, StepsByTheNewColumnCountOfAShrunkParent)
{
    // a, b and c are 4 × 4 views or all of a matrix that went from 9 × 11 to 6 × 4 or 4 × 4.
    const Matrix original[] = {randomMatrix(9, 11, 1), randomMatrix(9, 11, 2),
                               randomMatrix(9, 11, 3)};
    Operand operands[] = {{'M', original[0]}, {'M', original[1]}, {'M', original[2]}};
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
    const Matrix expected = GetParam().oracle(seen(0), seen(1));
    EXPECT_FALSE(sameBits(seen(2), expected));
    ASSERT_EQ(GetParam().compute(operands[0], operands[1], operands[2]), KMATH_OK);
    EXPECT_TRUE(sameBits(seen(2), expected));
}

// Views side by side, and one above the other, in one parent.
TEST(BlockProducts, WorkBetweenViewsOfOneParent)
{
    const Matrix before = randomMatrix(30, 40);
    const auto part = [&](int firstRow, int firstCol, int rows, int cols) {
        return build(rows, cols, [&](int i, int j) { return before(firstRow + i, firstCol + j); });
    };
    Matrix parent = before;
    kmath_nmmatrix_subBlock a = view(parent, 0, 0, 9, 12);
    kmath_nmmatrix_subBlock b = view(parent, 0, 12, 12, 17);
    kmath_nmmatrix_subBlock c = view(parent, 12, 3, 9, 17);
    const Matrix A = part(0, 0, 9, 12);
    const Matrix B = part(0, 12, 12, 17);
    ASSERT_EQ(kmath_nmmatrix_multiplyBBB(&a, &b, &c), KMATH_OK);
    const Matrix AB = oracle::product(A, B);
    for (int i = 0; i < 30; ++i)
        for (int j = 0; j < 40; ++j) {
            const bool inside = i >= 12 && i < 21 && j >= 3 && j < 20;
            EXPECT_TRUE(sameBits(parent(i, j), inside ? AB(i - 12, j - 3) : before(i, j)));
        }

    // Both factors may be the same view, or overlap.
    parent = before;
    c = view(parent, 12, 3, 12, 12);
    ASSERT_EQ(kmath_nmmatrix_TmultiplyBBB(&a, &a, &c), KMATH_OK);
    EXPECT_TRUE(sameBits(elementsOf(c), oracle::Tproduct(A, A)));
    parent = before;
    c = view(parent, 12, 3, 9, 9);
    b = view(parent, 1, 2, 9, 12);
    ASSERT_EQ(kmath_nmmatrix_multiplyTBBB(&a, &b, &c), KMATH_OK);
    EXPECT_TRUE(sameBits(elementsOf(c), oracle::productT(A, part(1, 2, 9, 12))));
}

// Random views of one parent: a and b as they come, c in the other half of the rows or columns.
TEST(BlockProducts, OfRandomViewsOfOneParentHaveTheBitsOfTheTextbookLoop)
{
    std::mt19937 generator(7);
    const auto upTo = [&](int last) {
        return std::uniform_int_distribution<int>(0, last)(generator);
    };
    for (int trial = 0; trial < 300; ++trial) {
        Matrix parent = randomMatrix(40, 40, static_cast<std::uint64_t>(trial));
        const int m = upTo(20);
        const int p = upTo(20);
        const int n = upTo(20);
        const bool below = trial % 2 == 0;
        const auto anywhere = [&](int rows, int cols, bool result) {
            const int down = upTo(20 - rows) + (result && below ? 20 : 0);
            const int right = upTo(20 - cols) + (result && !below ? 20 : 0);
            return view(parent, down, right, rows, cols);
        };
        const int kind = trial % 3;
        kmath_nmmatrix_subBlock a = kind == 1 ? anywhere(p, m, false) : anywhere(m, p, false);
        kmath_nmmatrix_subBlock b = kind == 2 ? anywhere(n, p, false) : anywhere(p, n, false);
        kmath_nmmatrix_subBlock c = anywhere(m, n, true);
        const Matrix A = elementsOf(a);
        const Matrix B = elementsOf(b);
        Matrix expected = parent;
        const Matrix C = kind == 0   ? oracle::product(A, B)
                         : kind == 1 ? oracle::Tproduct(A, B)
                                     : oracle::productT(A, B);
        for (int i = 0; i < m; ++i)
            for (int j = 0; j < n; ++j)
                expected(c.firstRow + i, c.firstCol + j) = C(i, j);
        ASSERT_EQ(kind == 0   ? kmath_nmmatrix_multiplyBBB(&a, &b, &c)
                  : kind == 1 ? kmath_nmmatrix_TmultiplyBBB(&a, &b, &c)
                              : kmath_nmmatrix_multiplyTBBB(&a, &b, &c),
                  KMATH_OK);
        EXPECT_TRUE(sameBits(parent, expected)) << trial;
    }
}

TEST(BlockProducts, OfViewsOfNothingAreEmpty)
{
    kmath_nmmatrix_subBlock nothing;
    kmath_nmmatrix_subBlock_init(&nothing);
    Matrix c = randomMatrix(3, 3);
    EXPECT_EQ(kmath_nmmatrix_multiplyBBM(&nothing, &nothing, &c), KMATH_OK);
    EXPECT_EQ(c.rows(), 0);
    EXPECT_EQ(c.cols(), 0);
    EXPECT_EQ(kmath_nmmatrix_multiplyTBBB(&nothing, &nothing, &nothing), KMATH_OK);
}

} // namespace
