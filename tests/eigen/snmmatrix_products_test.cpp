#include <kmath/snmmatrix.h>

#include "oracle/products.hpp"
#include "support/matrices.hpp"
#include "support/services.hpp"
#include "support/sparse.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

using namespace support;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

using Product = kmath_status (*)(const kmath_snmmatrix *, const kmath_nmmatrix *, kmath_nmmatrix *);

struct Side {
    const char *name;
    Product multiply;
    bool transposed;
};

class SparseProduct : public testing::TestWithParam<Side>
{
  protected:
    // B as the product takes it, from the p × n right-hand factor.
    Matrix operand(const Matrix &B) const
    {
        if (!GetParam().transposed)
            return B;
        return build(B.cols(), B.rows(), [&](int i, int j) { return B(j, i); });
    }

    Matrix product(const Sparse &S, const Matrix &B) const
    {
        const Matrix given = operand(B);
        Matrix C;
        EXPECT_EQ(GetParam().multiply(&S, &given, &C), KMATH_OK);
        return C;
    }

    // The sum over the entries of each row in the order of the sorted list.
    static Matrix expected(std::int32_t rows, const Elements &sorted, const Matrix &B)
    {
        return build(rows, B.cols(), [&](int i, int j) {
            double sum = 0.0;
            for (const auto &e : sorted)
                if (e.row == i)
                    sum += e.value * B(e.col, j);
            return sum;
        });
    }
};

Elements randomElements(std::int32_t rows, std::int32_t cols, std::int32_t count,
                        std::mt19937_64 &generator)
{
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    Elements elements(static_cast<std::size_t>(count));
    for (auto &e : elements)
        e = {static_cast<std::int32_t>(generator() % static_cast<unsigned>(rows)),
             static_cast<std::int32_t>(generator() % static_cast<unsigned>(cols)),
             value(generator)};
    return elements;
}

TEST_P(SparseProduct, AddsTheStoredEntries)
{
    const Sparse S(3, 2, {{0, 0, 2.0}, {0, 1, -1.0}, {2, 1, 4.0}});
    const Matrix B{{1.0, 2.0, 3.0}, {10.0, 20.0, 30.0}};
    EXPECT_TRUE(sameBits(product(S, B),
                         Matrix{{-8.0, -16.0, -24.0}, {0.0, 0.0, 0.0}, {40.0, 80.0, 120.0}}));
}

TEST_P(SparseProduct, AddsBothEntriesOfOneCell)
{
    const Sparse S(2, 2, {{1, 1, 2.0}, {1, 1, 3.5}, {0, 0, 1.0}});
    EXPECT_TRUE(sameBits(product(S, Matrix{{1.0}, {2.0}}), Matrix{{1.0}, {11.0}}));
}

TEST_P(SparseProduct, HasTheBitsOfThePlainSumOverEntries)
{
    // Entry counts around the groups of eight, duplicates among them, and columns around the lanes.
    std::mt19937_64 generator(11);
    for (const std::int32_t rows : {1, 2, 7})
        for (const std::int32_t cols : {1, 3, 17, 40})
            for (const std::int32_t perRow : {0, 1, 7, 8, 9, 15, 16, 17, 33})
                for (const std::int32_t n : {0, 1, 2, 5, 8, 19}) {
                    Elements elements = randomElements(rows, cols, perRow * rows, generator);
                    Sparse S;
                    ASSERT_EQ(S.set(rows, cols, elements), KMATH_OK);
                    const Matrix B = randomMatrix(cols, n, generator);
                    ASSERT_TRUE(sameBits(product(S, B), expected(rows, elements, B)))
                        << rows << " x " << cols << ", " << perRow << " a row, times " << n;
                }
}

TEST_P(SparseProduct, HasTheBitsOfTheDenseProduct)
{
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        const Matrix A = randomMatrix(9, 21, seed);
        Matrix kept = A;
        for (std::int32_t i = 0; i < A.rows(); ++i)
            for (std::int32_t j = 0; j < A.cols(); ++j)
                if (std::fabs(A(i, j)) <= 0.5)
                    kept(i, j) = 0.0; // adding ±0 leaves a sum from +0.0 as it is
        Sparse S;
        ASSERT_EQ(kmath_snmmatrix_setMat(&S, &A, 1.0, 0.5), KMATH_OK);
        const Matrix B = randomMatrix(21, 6, seed + 100);
        EXPECT_TRUE(sameBits(product(S, B), oracle::product(kept, B)));
    }
}

TEST_P(SparseProduct, SumsInStorageOrder)
{
    // In another order the small numbers would survive, or others would.
    Elements elements;
    for (std::int32_t j = 0; j < 19; ++j)
        elements.push_back({0, j, j % 3 == 0 ? 1e16 : j % 3 == 1 ? 1.0 : -1e16});
    Sparse S;
    ASSERT_EQ(S.set(1, 19, elements), KMATH_OK);
    const Matrix ones = build(19, 9, [](int, int) { return 1.0; });
    EXPECT_TRUE(sameBits(product(S, ones), expected(1, elements, ones)));
}

TEST_P(SparseProduct, StartsEachSumFromPlusZero)
{
    const Sparse S(2, 1, {{0, 0, -0.0}});
    EXPECT_TRUE(sameBits(product(S, Matrix{{1.0, -1.0}}), Matrix{{0.0, 0.0}, {0.0, 0.0}}));
}

TEST_P(SparseProduct, TouchesOnlyStoredEntries)
{
    // Row 0 stores column 1 alone, row 1 stores nothing, and row 2 stores a zero.
    const Sparse S(3, 3, {{0, 1, 2.0}, {2, 0, 0.0}});
    for (const double wild : {nan, infinity, -infinity}) {
        const Matrix C = product(S, Matrix{{wild, wild}, {3.0, wild}, {wild, wild}});
        EXPECT_EQ(C(0, 0), 6.0);
        EXPECT_TRUE(sameBits(C(0, 1), 2.0 * wild));
        EXPECT_TRUE(sameBits(C(1, 0), 0.0) && sameBits(C(1, 1), 0.0));
        EXPECT_TRUE(std::isnan(C(2, 0)) && std::isnan(C(2, 1)));
    }
}

TEST_P(SparseProduct, PassesOnNaNAndInfinityOfItsEntries)
{
    const Sparse S(3, 2, {{0, 0, nan}, {1, 0, infinity}, {2, 0, infinity}, {2, 1, -infinity}});
    const Matrix C = product(S, Matrix{{1.0}, {1.0}});
    EXPECT_TRUE(std::isnan(C(0, 0)));
    EXPECT_EQ(C(1, 0), infinity);
    EXPECT_TRUE(std::isnan(C(2, 0)));
}

TEST_P(SparseProduct, ResizesTheResultOrOverwritesItInPlace)
{
    const Sparse S(5, 4, {{0, 0, 1.0}, {4, 3, 2.0}});
    const Matrix B = randomMatrix(4, 6, 8);
    const Matrix given = operand(B);

    Matrix C = randomMatrix(2, 2, 9);
    ASSERT_EQ(GetParam().multiply(&S, &given, &C), KMATH_OK);
    const Matrix first = C;
    ASSERT_EQ(kmath_nmmatrix_set(&C, nan), KMATH_OK);
    const double *storage = C->rows[0];
    EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(GetParam().multiply(&S, &given, &C), KMATH_OK); }), 0);
    EXPECT_EQ(C->rows[0], storage);
    EXPECT_TRUE(sameBits(C, first));
}

TEST_P(SparseProduct, GoesThroughTheRowTables)
{
    Matrix wide = randomMatrix(9, 9, 4), C = randomMatrix(9, 9, 5);
    const Sparse S(3, 4, {{0, 0, 1.5}, {2, 3, -2.5}, {2, 1, 0.5}});
    const Matrix B = build(4, 4, [&](int i, int j) { return wide(i, j); });
    ASSERT_EQ(kmath_nmmatrix_resize_noClear(&wide, 4, 4), KMATH_OK);
    ASSERT_EQ(kmath_nmmatrix_resize_noClear(&C, 3, 4), KMATH_OK);
    ASSERT_EQ(GetParam().multiply(&S, &wide, &C), KMATH_OK);

    const Matrix given = operand(operand(B));
    Matrix expected;
    ASSERT_EQ(GetParam().multiply(&S, &given, &expected), KMATH_OK);
    EXPECT_TRUE(sameBits(C, expected));
}

TEST_P(SparseProduct, RefusesShapesThatDoNotMatch)
{
    const Sparse S(2, 3, {{0, 0, 1.0}});
    for (const std::int32_t p : {0, 2, 4}) {
        const Matrix given = operand(randomMatrix(p, 2, 3));
        Matrix C{{7.0, 8.0, 9.0}};
        EXPECT_EQ(GetParam().multiply(&S, &given, &C), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_TRUE(sameBits(C, Matrix{{7.0, 8.0, 9.0}}));
    }
    // The other dimension of B is free, and must not be the one that is looked at.
    const Matrix other = operand(randomMatrix(2, 3, 3));
    Matrix C;
    EXPECT_EQ(GetParam().multiply(&S, &other, &C), KMATH_ERR_BAD_DIMENSIONS);
}

TEST_P(SparseProduct, RefusesToOverwriteItsOperand)
{
    for (const std::int32_t rows : {3, 5}) {
        const Sparse S(rows, 3, {{0, 2, 1.0}, {1, 1, 2.0}});
        Matrix B = randomMatrix(3, 3, 6);
        const Matrix before = B;
        EXPECT_EQ(GetParam().multiply(&S, &B, &B), KMATH_ERR_ALIASED);
        EXPECT_TRUE(sameBits(B, before));

        Matrix wrong = randomMatrix(4, 4, 6);
        EXPECT_EQ(GetParam().multiply(&S, &wrong, &wrong), KMATH_ERR_BAD_DIMENSIONS);
    }
}

TEST_P(SparseProduct, RefusesAnOperandThatLostItsStorage)
{
    const Sparse S(2, 6, {{0, 5, 1.0}});
    Matrix B;
    loseStorage(B, 6, 6);
    Matrix C{{7.0}};
    EXPECT_EQ(GetParam().multiply(&S, &B, &C), KMATH_ERR_NO_MEMORY);
    EXPECT_TRUE(sameBits(C, Matrix{{7.0}}));
    EXPECT_EQ(GetParam().multiply(&S, &B, &B), KMATH_ERR_ALIASED);
}

TEST_P(SparseProduct, AsksAgainForAResultThatLostItsStorage)
{
    const Sparse S(6, 2, {{5, 1, 3.0}});
    const Matrix given = operand(randomMatrix(2, 6, 2));
    Matrix lost, C;
    loseStorage(lost, 6, 6);
    ASSERT_EQ(GetParam().multiply(&S, &given, &lost), KMATH_OK);
    ASSERT_EQ(GetParam().multiply(&S, &given, &C), KMATH_OK);
    EXPECT_TRUE(sameBits(lost, C));
}

TEST_P(SparseProduct, PassesOnAFailingAllocation)
{
    const Sparse S(6, 2, {{5, 1, 3.0}});
    const Matrix given = operand(randomMatrix(2, 7, 2));
    sweepAllocationFailures([&] {
        Matrix C;
        return GetParam().multiply(&S, &given, &C);
    });
}

TEST_P(SparseProduct, TakesEmptyFactors)
{
    struct Shape {
        std::int32_t m, p, n;
    };
    for (const Shape s : {Shape{0, 0, 0},
                          {0, 3, 2},
                          {3, 0, 2},
                          {3, 2, 0},
                          {100, 0, 50},
                          {100, 50, 0},
                          {0, 50, 100},
                          {1, 0, 1}}) {
        Sparse S;
        ASSERT_EQ(kmath_snmmatrix_resize(&S, s.m, s.p, 0), KMATH_OK);
        const Matrix C = product(S, Matrix(s.p, s.n));
        EXPECT_TRUE(sameBits(C, Matrix(s.m, s.n))) << s.m << ' ' << s.p << ' ' << s.n;
    }
    const Sparse constructed;
    EXPECT_EQ(product(constructed, Matrix(0, 4)).cols(), 4);
}

TEST_P(SparseProduct, IsZeroForAMatrixWithoutEntries)
{
    Sparse S(3, 4, {{0, 0, 1.0}, {2, 3, 2.0}});
    const Matrix B = randomMatrix(4, 2, 1);

    ASSERT_EQ(kmath_snmmatrix_resizeNNZ(&S, 5), KMATH_OK); // without row starts
    EXPECT_TRUE(sameBits(product(S, B), Matrix(3, 2)));
    ASSERT_EQ(kmath_snmmatrix_resize(&S, 3, 4, 5), KMATH_OK); // with none but zeros
    EXPECT_TRUE(sameBits(product(S, B), Matrix(3, 2)));
}

TEST_P(SparseProduct, StaysInsideAfterAGrowth)
{
    const Matrix A = randomMatrix(10, 10, 3);
    Sparse S;
    ASSERT_EQ(kmath_snmmatrix_setMat(&S, &A, 0.05, 0.5), KMATH_OK);
    const Matrix B = randomMatrix(10, 3, 4);
    Sparse whole;
    ASSERT_EQ(kmath_snmmatrix_setMat(&whole, &A, 1.0, 0.5), KMATH_OK);
    EXPECT_TRUE(sameBits(product(S, B), product(whole, B)));
}

TEST_P(SparseProduct, RunsOverFewEntriesOfManyRows)
{
    const std::int32_t n = 1000000;
    const Sparse S(n, n, {{0, n - 1, 2.0}, {n / 2, 0, 3.0}, {n - 1, n - 1, 5.0}});
    const Matrix x = build(n, 1, [](int i, int) { return 1.0 + i; });
    const Matrix y = product(S, x);
    EXPECT_EQ(y(0, 0), 2.0 * n);
    EXPECT_EQ(y(1, 0), 0.0);
    EXPECT_EQ(y(n / 2, 0), 3.0);
    EXPECT_EQ(y(n - 1, 0), 5.0 * n);
}

TEST_P(SparseProduct, RepeatsTheDenseProductOfATridiagonalMatrix)
{
    const std::int32_t n = 60;
    const Matrix A = build(n, n, [](int i, int j) {
        return i == j ? 2.385 : i - j == 1 || j - i == 1 ? -1.0 / 3.0 : 0.0;
    });
    Sparse S;
    ASSERT_EQ(kmath_snmmatrix_setMat(&S, &A, 0.06, 0.0), KMATH_OK);
    EXPECT_EQ(S.stored(), 3 * n - 2);
    const Matrix B = randomMatrix(n, 11, 12);
    EXPECT_TRUE(sameBits(product(S, B), oracle::product(A, B)));
}

INSTANTIATE_TEST_SUITE_P(Snmmatrix, SparseProduct,
                         testing::Values(Side{"SMM", kmath_snmmatrix_multiplySMM, false},
                                         Side{"TSMM", kmath_snmmatrix_multiplyTSMM, true}),
                         [](const auto &side) { return side.param.name; });

double rowNorm(const Sparse &S)
{
    double largest = nan;
    EXPECT_EQ(kmath_snmmatrix_oneRowNorm(&S, &largest), KMATH_OK);
    return largest;
}

TEST(SnmmatrixOneRowNorm, IsTheLargestSignedRowSum)
{
    EXPECT_EQ(rowNorm(Sparse(2, 2, {{0, 0, -1.0}, {0, 1, -2.0}, {1, 0, -3.0}})), 0.0);
    EXPECT_EQ(rowNorm(Sparse(2, 2, {{0, 0, 1.0}, {0, 1, -3.0}, {1, 0, 2.0}, {1, 1, 2.0}})), 4.0);
    EXPECT_EQ(rowNorm(Sparse(2, 2, {{0, 0, 5.0}, {0, 1, -3.0}, {1, 0, 1.0}})), 2.0);
    EXPECT_EQ(rowNorm(Sparse(1, 1, {{0, 0, 1.5}, {0, 0, 2.25}})), 3.75) << "both of one cell";
}

TEST(SnmmatrixOneRowNorm, IsZeroWithoutEntries)
{
    Sparse S;
    EXPECT_TRUE(sameBits(rowNorm(S), 0.0)) << "constructed";
    ASSERT_EQ(kmath_snmmatrix_resize(&S, 0, 5, 0), KMATH_OK);
    EXPECT_TRUE(sameBits(rowNorm(S), 0.0)) << "no rows";
    ASSERT_EQ(kmath_snmmatrix_resize(&S, 4, 5, 2), KMATH_OK);
    EXPECT_TRUE(sameBits(rowNorm(S), 0.0)) << "room alone";
    ASSERT_EQ(kmath_snmmatrix_resizeNNZ(&S, 3), KMATH_OK);
    EXPECT_TRUE(sameBits(rowNorm(S), 0.0)) << "no row starts";
    EXPECT_TRUE(sameBits(rowNorm(Sparse(1, 1, {{0, 0, -0.0}})), 0.0));
}

TEST(SnmmatrixOneRowNorm, SumsInStorageOrder)
{
    EXPECT_EQ(rowNorm(Sparse(1, 3, {{0, 0, 1e16}, {0, 1, 1.0}, {0, 2, -1e16}})), 0.0);
    EXPECT_EQ(rowNorm(Sparse(1, 3, {{0, 0, 1e16}, {0, 1, -1e16}, {0, 2, 1.0}})), 1.0);
}

TEST(SnmmatrixOneRowNorm, PassesOverNaN)
{
    EXPECT_EQ(rowNorm(Sparse(2, 1, {{0, 0, nan}, {1, 0, 2.5}})), 2.5);
    EXPECT_EQ(rowNorm(Sparse(2, 1, {{0, 0, 2.5}, {1, 0, nan}})), 2.5);
    EXPECT_EQ(rowNorm(Sparse(1, 2, {{0, 0, infinity}, {0, 1, -infinity}})), 0.0);
    EXPECT_EQ(rowNorm(Sparse(2, 1, {{0, 0, infinity}, {1, 0, 1.0}})), infinity);
    EXPECT_EQ(rowNorm(Sparse(1, 1, {{0, 0, -infinity}})), 0.0);
}

TEST(SnmmatrixOneRowNorm, LooksAtStoredEntriesOnly)
{
    Sparse S(2, 2, {{0, 0, 1.0}, {1, 1, 2.0}});
    Sparse roomy;
    ASSERT_EQ(kmath_snmmatrix_resize(&roomy, 2, 2, 4), KMATH_OK);
    roomy->rowStart[1] = 1;
    roomy->rowStart[2] = 2;
    for (int p = 0; p < 4; ++p)
        roomy->values[p] = 1.0 + p * p; // 1, 2 in use; 5, 10 beyond
    EXPECT_EQ(rowNorm(roomy), rowNorm(S));
}

TEST(Snmmatrix, ChecksNoPointer)
{
    const AssertionRecorder recorder;
    Sparse S(1, 1, {{0, 0, 1.0}});
    kmath_snmmatrix_setElements(&S, 1, 1, nullptr, 0);
    EXPECT_TRUE(recorder.lines().empty());
}

} // namespace
