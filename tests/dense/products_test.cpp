#include "oracle/products.hpp"
#include "support/matrices.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <limits>

using namespace support;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// A·B, Aᵀ·B and A·Bᵀ under one description.
struct Product {
    const char *name;
    kmath_status (*compute)(const kmath_nmmatrix *, const kmath_nmmatrix *, kmath_nmmatrix *);
    Matrix (*oracle)(const Matrix &, const Matrix &);
    bool transposesA;
    bool transposesB;
    bool acceptsItsOperands;
    std::int32_t line;

    Matrix left(int m, int p, int seed = 1) const { return make(m, p, transposesA, seed); }
    Matrix right(int p, int n, int seed = 2) const { return make(p, n, transposesB, seed); }

  private:
    static Matrix make(int rows, int cols, bool transposed, int seed)
    {
        return transposed ? randomMatrix(cols, rows, static_cast<std::uint64_t>(seed))
                          : randomMatrix(rows, cols, static_cast<std::uint64_t>(seed));
    }
};

std::ostream &operator<<(std::ostream &out, const Product &product) { return out << product.name; }

// AᵀA and A·Aᵀ.
struct Square {
    const char *name;
    kmath_status (*compute)(const kmath_nmmatrix *, kmath_nmmatrix *);
    Matrix (*oracle)(const Matrix &);
    bool transposesFirst;
    std::int32_t line;
};

std::ostream &operator<<(std::ostream &out, const Square &square) { return out << square.name; }

class NmmatrixProduct : public testing::TestWithParam<Product>
{
};

class NmmatrixSquare : public testing::TestWithParam<Square>
{
};

template <class Param> std::string nameOf(const testing::TestParamInfo<Param> &test)
{
    return test.param.name;
}

INSTANTIATE_TEST_SUITE_P(, NmmatrixProduct,
                         testing::Values(Product{"multiply", kmath_nmmatrix_multiply,
                                                 oracle::product, false, false, false, 994},
                                         Product{"Tmultiply", kmath_nmmatrix_Tmultiply,
                                                 oracle::Tproduct, true, false, false, 942},
                                         Product{"multiplyT", kmath_nmmatrix_multiplyT,
                                                 oracle::productT, false, true, true, 842}),
                         nameOf<Product>);

INSTANTIATE_TEST_SUITE_P(
    , NmmatrixSquare,
    testing::Values(Square{"square", kmath_nmmatrix_square, oracle::square, true, 736},
                    Square{"Tsquare", kmath_nmmatrix_Tsquare, oracle::Tsquare, false, 777}),
    nameOf<Square>);

constexpr int sizes[] = {0, 1, 2, 3, 6, 7, 8, 9, 16, 17, 40, 67};

TEST_P(NmmatrixProduct, HasTheBitsOfTheTextbookLoop)
{
    for (const int m : sizes)
        for (const int p : sizes)
            for (const int n : sizes) {
                const Matrix A = GetParam().left(m, p);
                const Matrix B = GetParam().right(p, n);
                Matrix C{{nan}};
                ASSERT_EQ(GetParam().compute(&A, &B, &C), KMATH_OK);
                EXPECT_TRUE(sameBits(C, GetParam().oracle(A, B))) << m << ' ' << p << ' ' << n;
            }
}

TEST_P(NmmatrixProduct, OfSmallIntegersIsExact)
{
    // [1 2 3; 4 5 6]·[1 0 2 1; 0 1 1 2; 3 1 0 1], worked by hand.
    Matrix A{{1, 2, 3}, {4, 5, 6}};
    Matrix B{{1, 0, 2, 1}, {0, 1, 1, 2}, {3, 1, 0, 1}};
    const Matrix expected{{10, 5, 4, 8}, {22, 11, 13, 20}};
    if (GetParam().transposesA)
        A = build(3, 2, [=](int i, int j) { return A(j, i); });
    if (GetParam().transposesB)
        B = build(4, 3, [=](int i, int j) { return B(j, i); });
    Matrix C;
    ASSERT_EQ(GetParam().compute(&A, &B, &C), KMATH_OK);
    EXPECT_TRUE(sameBits(C, expected));
}

TEST_P(NmmatrixProduct, OfNoTermsIsZero)
{
    for (const auto &[m, n] : {std::pair{2, 3}, {9, 9}, {1, 40}}) {
        const Matrix A = GetParam().left(m, 0);
        const Matrix B = GetParam().right(0, n);
        Matrix C = randomMatrix(m, n);
        ASSERT_EQ(GetParam().compute(&A, &B, &C), KMATH_OK);
        EXPECT_TRUE(sameBits(C, Matrix(m, n)));
    }
}

TEST_P(NmmatrixProduct, KeepsTheStorageOfAResultOfTheRightShape)
{
    const Matrix A = GetParam().left(20, 30);
    const Matrix B = GetParam().right(30, 40);
    Matrix C = build(20, 40, [](int, int) { return nan; });
    double *const start = C->rows[0];
    EXPECT_EQ(allocationsOf([&] { ASSERT_EQ(GetParam().compute(&A, &B, &C), KMATH_OK); }), 0);
    EXPECT_EQ(C->rows[0], start);
    EXPECT_TRUE(sameBits(C, GetParam().oracle(A, B)));
}

TEST_P(NmmatrixProduct, AllocatesOnlyForAResultOfAnotherShape)
{
    const Matrix A = GetParam().left(20, 30);
    const Matrix B = GetParam().right(30, 40);
    Matrix C(2, 2);
    EXPECT_EQ(allocationsOf([&] { ASSERT_EQ(GetParam().compute(&A, &B, &C), KMATH_OK); }), 2);

    const Matrix smallA = GetParam().left(4, 300);
    const Matrix smallB = GetParam().right(300, 4);
    EXPECT_EQ(allocationsOf([&] { ASSERT_EQ(GetParam().compute(&smallA, &smallB, &C), KMATH_OK); }),
              0);
}

TEST_P(NmmatrixProduct, FollowsTheRowPointersOfShrunkMatrices)
{
    for (const auto &[m, p, n] : {std::tuple{3, 4, 2}, {10, 17, 19}}) {
        Matrix A = randomMatrix(50, 51, 1);
        Matrix B = randomMatrix(52, 53, 2);
        Matrix C = randomMatrix(54, 55, 3);
        const Matrix before = C;
        const bool TA = GetParam().transposesA;
        const bool TB = GetParam().transposesB;
        kmath_nmmatrix_resize_noClear(&A, TA ? p : m, TA ? m : p);
        kmath_nmmatrix_resize_noClear(&B, TB ? n : p, TB ? p : n);
        kmath_nmmatrix_resize_noClear(&C, m, n);
        double *const start = C->rows[0];
        ASSERT_EQ(GetParam().compute(&A, &B, &C), KMATH_OK);
        EXPECT_TRUE(sameBits(C, GetParam().oracle(A, B)));
        // Nothing beside the rectangle is written.
        for (int i = 0; i < 54; ++i)
            for (int j = i < m ? n : 0; j < 55; ++j)
                EXPECT_EQ(start[55 * i + j], before(i, j));
    }
}

TEST_P(NmmatrixProduct, PassesSpecialValuesThrough)
{
    for (const int p : {3, 9, 40})
        for (const double special : {nan, infinity, -infinity, 1.7e308, 5e-324, -0.0}) {
            Matrix A = GetParam().left(5, p);
            Matrix B = GetParam().right(p, 21);
            A(0, 0) = special;
            B(B.rows() - 1, B.cols() - 1) = special;
            Matrix C;
            ASSERT_EQ(GetParam().compute(&A, &B, &C), KMATH_OK);
            EXPECT_TRUE(sameBits(C, GetParam().oracle(A, B))) << special;
        }
}

TEST_P(NmmatrixProduct, RefusesMismatchedShapesAndLeavesTheResult)
{
    const Matrix A = GetParam().left(2, 3);
    const Matrix B = GetParam().right(4, 5);
    const Matrix before = randomMatrix(3, 3);
    Matrix C = before;
    EXPECT_EQ(GetParam().compute(&A, &B, &C), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_TRUE(sameBits(C, before));
}

TEST_P(NmmatrixProduct, TestsTheShapesBeforeTheAliasing)
{
    const Matrix before = randomMatrix(2, 3);
    Matrix A = before;
    const Matrix B = randomMatrix(7, 8);
    EXPECT_EQ(GetParam().compute(&A, &B, &A), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(GetParam().compute(&B, &A, &A), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_TRUE(sameBits(A, before));
}

TEST_P(NmmatrixProduct, RefusesOrReplacesItsOperands)
{
    for (const int n : {3, 20}) {
        const Matrix before = randomMatrix(n, n, 1);
        const Matrix other = randomMatrix(n, n, 2);
        const bool accepts = GetParam().acceptsItsOperands;
        const kmath_status expected = accepts ? KMATH_OK : KMATH_ERR_ALIASED;

        Matrix A = before;
        EXPECT_EQ(GetParam().compute(&A, &other, &A), expected);
        EXPECT_TRUE(sameBits(A, accepts ? GetParam().oracle(before, other) : before));
        A = before;
        EXPECT_EQ(GetParam().compute(&other, &A, &A), expected);
        EXPECT_TRUE(sameBits(A, accepts ? GetParam().oracle(other, before) : before));
        A = before;
        EXPECT_EQ(GetParam().compute(&A, &A, &A), expected);
        EXPECT_TRUE(sameBits(A, accepts ? GetParam().oracle(before, before) : before));
    }
}

TEST_P(NmmatrixProduct, PassesAFailingAllocationOn)
{
    const Matrix A = GetParam().left(5, 6);
    const Matrix B = GetParam().right(6, 7);
    sweepAllocationFailures([&] {
        Matrix C;
        return GetParam().compute(&A, &B, &C);
    });
}

TEST_P(NmmatrixProduct, ReportsItsAssertionLine)
{
    Matrix A(2, 2);
    Matrix B(2, 2);
    EXPECT_EQ(assertedLine([&] { GetParam().compute(nullptr, &A, &B); }), GetParam().line);
    EXPECT_EQ(assertedLine([&] { GetParam().compute(&A, nullptr, &B); }), GetParam().line);
    EXPECT_EQ(assertedLine([&] { GetParam().compute(&A, &B, nullptr); }), GetParam().line);
    Matrix C;
    EXPECT_EQ(assertedLine([&] { GetParam().compute(&A, &B, &C); }), 0);
}

TEST_P(NmmatrixProduct, OfAMatrixWithoutStorageLacksMemory)
{
    Matrix lost;
    loseStorage(lost, 5, 5);
    const Matrix sound = randomMatrix(5, 5, 1);
    const Matrix before = randomMatrix(5, 5, 2);
    Matrix C = before;
    EXPECT_EQ(GetParam().compute(&lost, &sound, &C), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(GetParam().compute(&sound, &lost, &C), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(GetParam().compute(&lost, &lost, &C), KMATH_ERR_NO_MEMORY);
    EXPECT_TRUE(sameBits(C, before));
    EXPECT_EQ(GetParam().compute(&sound, &sound, &lost), KMATH_OK);
    EXPECT_TRUE(sameBits(lost, GetParam().oracle(sound, sound)));
}

TEST(NmmatrixMultiplyT, OfATallMatrixWithItselfReplacesItBySquare)
{
    const Matrix before{{1, 2}, {3, 4}, {5, 6}};
    Matrix A = before;
    EXPECT_EQ(allocationsOf([&] { ASSERT_EQ(kmath_nmmatrix_multiplyT(&A, &A, &A), KMATH_OK); }), 0);
    EXPECT_TRUE(sameBits(A, Matrix{{5, 11, 17}, {11, 25, 39}, {17, 39, 61}}));
}

TEST(NmmatrixMultiplyT, TakesOneTemporaryWhenTheResultIsAnOperand)
{
    const Matrix before = randomMatrix(20, 20);
    const Matrix B = randomMatrix(20, 20, 2);
    Matrix A = before;
    EXPECT_EQ(allocationsOf([&] { ASSERT_EQ(kmath_nmmatrix_multiplyT(&A, &B, &A), KMATH_OK); }), 2);

    Matrix tall = randomMatrix(30, 2);
    const Matrix was = tall;
    for (const int number : {0, 1, 2, 3}) {
        const std::int64_t live = liveBlocks();
        failAllocation(number);
        EXPECT_EQ(kmath_nmmatrix_multiplyT(&tall, &was, &tall), KMATH_ERR_NO_MEMORY);
        failAllocation(-1);
        if (number < 2) { // the temporary was refused
            EXPECT_TRUE(sameBits(tall, was));
            EXPECT_EQ(liveBlocks(), live);
        } else { // the result was, which has no blocks left
            EXPECT_EQ(liveBlocks(), live - 2);
        }
        tall = was;
    }
}

TEST(NmmatrixTmultiply, RefusesItsSecondFactorAsResult)
{
    const Matrix A = randomMatrix(4, 4, 1);
    const Matrix before = randomMatrix(4, 7, 2);
    Matrix B = before;
    EXPECT_EQ(kmath_nmmatrix_Tmultiply(&A, &B, &B), KMATH_ERR_ALIASED);
    EXPECT_TRUE(sameBits(B, before));
}

TEST_P(NmmatrixSquare, HasTheBitsOfTheTextbookLoopAndIsSymmetric)
{
    for (const int rows : sizes)
        for (const int cols : sizes) {
            const Matrix A = randomMatrix(rows, cols);
            Matrix R{{nan}};
            ASSERT_EQ(GetParam().compute(&A, &R), KMATH_OK);
            EXPECT_TRUE(sameBits(R, GetParam().oracle(A))) << rows << ' ' << cols;
            for (int i = 0; i < R.rows(); ++i)
                for (int j = 0; j < i; ++j)
                    EXPECT_TRUE(sameBits(R(i, j), R(j, i)));
        }
}

TEST_P(NmmatrixSquare, OfSmallIntegersIsExact)
{
    const Matrix A{{1, 2}, {3, 4}, {5, 6}};
    Matrix R;
    ASSERT_EQ(GetParam().compute(&A, &R), KMATH_OK);
    const Matrix AtA{{35, 44}, {44, 56}};
    const Matrix AAt{{5, 11, 17}, {11, 25, 39}, {17, 39, 61}};
    EXPECT_TRUE(sameBits(R, GetParam().transposesFirst ? AtA : AAt));
}

TEST_P(NmmatrixSquare, KeepsTheStorageOfAResultOfTheRightShape)
{
    const Matrix A = randomMatrix(20, 20);
    Matrix R = build(20, 20, [](int, int) { return nan; });
    double *const start = R->rows[0];
    EXPECT_EQ(allocationsOf([&] { ASSERT_EQ(GetParam().compute(&A, &R), KMATH_OK); }), 0);
    EXPECT_EQ(R->rows[0], start);
    EXPECT_TRUE(sameBits(R, GetParam().oracle(A)));
}

TEST_P(NmmatrixSquare, FollowsTheRowPointersOfShrunkMatrices)
{
    Matrix A = randomMatrix(40, 41, 1);
    Matrix R = randomMatrix(42, 43, 2);
    const Matrix before = R;
    kmath_nmmatrix_resize_noClear(&A, 19, 19);
    kmath_nmmatrix_resize_noClear(&R, 19, 19);
    double *const start = R->rows[0];
    ASSERT_EQ(GetParam().compute(&A, &R), KMATH_OK);
    EXPECT_TRUE(sameBits(R, GetParam().oracle(A)));
    for (int i = 0; i < 42; ++i)
        for (int j = i < 19 ? 19 : 0; j < 43; ++j)
            EXPECT_EQ(start[43 * i + j], before(i, j));
}

TEST_P(NmmatrixSquare, PassesSpecialValuesThrough)
{
    for (const double special : {nan, infinity, -infinity, 1e200, -0.0}) {
        Matrix A = randomMatrix(21, 21);
        A(3, 4) = special;
        A(20, 20) = special;
        Matrix R;
        ASSERT_EQ(GetParam().compute(&A, &R), KMATH_OK);
        EXPECT_TRUE(sameBits(R, GetParam().oracle(A))) << special;
    }
}

TEST_P(NmmatrixSquare, RefusesItsOperandAsResult)
{
    const Matrix before = randomMatrix(5, 7);
    Matrix A = before;
    EXPECT_EQ(GetParam().compute(&A, &A), KMATH_ERR_ALIASED);
    EXPECT_TRUE(sameBits(A, before));
}

TEST_P(NmmatrixSquare, PassesAFailingAllocationOn)
{
    const Matrix A = randomMatrix(7, 7);
    sweepAllocationFailures([&] {
        Matrix R;
        return GetParam().compute(&A, &R);
    });
}

TEST_P(NmmatrixSquare, ReportsItsAssertionLine)
{
    Matrix A(2, 2);
    EXPECT_EQ(assertedLine([&] { GetParam().compute(nullptr, &A); }), GetParam().line);
    EXPECT_EQ(assertedLine([&] { GetParam().compute(&A, nullptr); }), GetParam().line);
}

TEST_P(NmmatrixSquare, OfAMatrixWithoutStorageLacksMemory)
{
    Matrix lost;
    loseStorage(lost, 5, 5);
    const Matrix sound = randomMatrix(5, 5);
    Matrix R = sound;
    EXPECT_EQ(GetParam().compute(&lost, &R), KMATH_ERR_NO_MEMORY);
    EXPECT_TRUE(sameBits(R, sound));
    EXPECT_EQ(GetParam().compute(&sound, &lost), KMATH_OK);
    EXPECT_TRUE(sameBits(lost, GetParam().oracle(sound)));
}

} // namespace
