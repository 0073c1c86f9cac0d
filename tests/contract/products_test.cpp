// The three whole-matrix products seen from outside: in bits against the plain triple loop, which
// shapes and which aliases are refused and in which order, and what happens to the result.
#include "contract/textbook.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <limits>

namespace
{

using support::allocationsOf;
using support::assertedLine;
using support::Matrix;
using support::randomMatrix;
using support::sameBits;
using textbook::wild;

struct Shape {
    int m, p, n;
};

const Shape shapes[] = {{1, 1, 1},  {2, 3, 4},   {3, 8, 3},    {3, 9, 5}, {4, 16, 4},  {5, 17, 7},
                        {7, 1, 7},  {1, 50, 1},  {17, 2, 33},  {6, 6, 6}, {33, 31, 1}, {1, 7, 40},
                        {13, 7, 8}, {40, 65, 9}, {64, 64, 64}, {0, 4, 3}, {3, 0, 4},   {3, 4, 0}};

TEST(ProductRules, HaveTheBitsOfThePlainLoops)
{
    std::uint64_t seed = 31;
    for (const Shape &s : shapes)
        for (const bool tame : {true, false}) {
            const auto make = [&](int rows, int cols) {
                return tame ? randomMatrix(rows, cols, ++seed) : wild(rows, cols, ++seed);
            };
            const Matrix A = make(s.m, s.p), B = make(s.p, s.n), At = make(s.p, s.m),
                         Bt = make(s.n, s.p);
            Matrix C = randomMatrix(2, 2);
            EXPECT_EQ(kmath_nmmatrix_multiply(&A, &B, &C), KMATH_OK);
            EXPECT_TRUE(sameBits(C, textbook::product(A, B))) << s.m << ' ' << s.p << ' ' << s.n;
            EXPECT_EQ(kmath_nmmatrix_Tmultiply(&At, &B, &C), KMATH_OK);
            EXPECT_TRUE(sameBits(C, textbook::transposedTimes(At, B)));
            EXPECT_EQ(kmath_nmmatrix_multiplyT(&A, &Bt, &C), KMATH_OK);
            EXPECT_TRUE(sameBits(C, textbook::timesTransposed(A, Bt)));
        }
}

TEST(ProductRules, ShapesFollowTheOperands)
{
    const Matrix A = randomMatrix(2, 3), B = randomMatrix(3, 4);
    Matrix C(5, 5);
    EXPECT_EQ(kmath_nmmatrix_multiply(&A, &B, &C), KMATH_OK);
    EXPECT_EQ(C.rows(), 2);
    EXPECT_EQ(C.cols(), 4);
    const Matrix none(0, 3);
    EXPECT_EQ(kmath_nmmatrix_multiply(&none, &B, &C), KMATH_OK);
    EXPECT_EQ(C.rows(), 0);
    EXPECT_EQ(C.cols(), 4);
    const Matrix thin(3, 0), flat(0, 4);
    EXPECT_EQ(kmath_nmmatrix_multiply(&thin, &flat, &C), KMATH_OK);
    EXPECT_TRUE(sameBits(C, Matrix(3, 4))); // empty sums are +0
}

TEST(ProductRules, SumsBeginAtPositiveZero)
{
    const Matrix A = {{-0.0, 0.0}}, B = {{1.0}, {-1.0}}, minus = {{-0.0}}, one = {{1.0}};
    Matrix C;
    EXPECT_EQ(kmath_nmmatrix_multiply(&minus, &one, &C), KMATH_OK);
    EXPECT_FALSE(std::signbit(C(0, 0)));
    EXPECT_EQ(kmath_nmmatrix_Tmultiply(&minus, &one, &C), KMATH_OK);
    EXPECT_FALSE(std::signbit(C(0, 0)));
    EXPECT_EQ(kmath_nmmatrix_multiplyT(&minus, &one, &C), KMATH_OK);
    EXPECT_FALSE(std::signbit(C(0, 0)));
    EXPECT_EQ(kmath_nmmatrix_multiply(&A, &B, &C), KMATH_OK);
    EXPECT_FALSE(std::signbit(C(0, 0)));
}

TEST(ProductRules, ShapesThatDisagreeAreRefusedAndLeaveTheResult)
{
    const Matrix A = randomMatrix(2, 3), B = randomMatrix(2, 4), before = randomMatrix(2, 2, 9);
    Matrix C = before;
    EXPECT_EQ(kmath_nmmatrix_multiply(&A, &A, &C), KMATH_ERR_BAD_DIMENSIONS);
    const Matrix tall = randomMatrix(3, 3);
    EXPECT_EQ(kmath_nmmatrix_Tmultiply(&A, &tall, &C), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(kmath_nmmatrix_multiplyT(&A, &B, &C), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_TRUE(sameBits(C, before));
}

TEST(ProductRules, TheShapeIsTestedBeforeTheAlias)
{
    Matrix A = randomMatrix(2, 3), S = randomMatrix(3, 3), B = randomMatrix(2, 2, 5);
    const Matrix oldA = A, oldS = S, oldB = B;
    EXPECT_EQ(kmath_nmmatrix_multiply(&A, &A, &A), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(kmath_nmmatrix_multiply(&S, &S, &S), KMATH_ERR_ALIASED);
    EXPECT_EQ(kmath_nmmatrix_multiply(&B, &A, &B), KMATH_ERR_ALIASED);
    EXPECT_EQ(kmath_nmmatrix_multiply(&B, &A, &A), KMATH_ERR_ALIASED);
    EXPECT_EQ(kmath_nmmatrix_Tmultiply(&A, &S, &S), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(kmath_nmmatrix_Tmultiply(&A, &B, &B), KMATH_ERR_ALIASED);
    EXPECT_EQ(kmath_nmmatrix_Tmultiply(&A, &B, &A), KMATH_ERR_ALIASED);
    EXPECT_EQ(kmath_nmmatrix_multiplyT(&A, &B, &A), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_TRUE(sameBits(A, oldA));
    EXPECT_TRUE(sameBits(S, oldS));
    EXPECT_TRUE(sameBits(B, oldB));
}

TEST(ProductRules, MultiplyTReplacesItsOwnOperands)
{
    for (const auto &[m, p] : {std::pair{3, 2}, {2, 3}, {4, 4}, {7, 20}, {20, 7}}) {
        const Matrix A = randomMatrix(m, p, 41), B = randomMatrix(m + 1, p, 42);
        Matrix C = A;
        EXPECT_EQ(kmath_nmmatrix_multiplyT(&C, &C, &C), KMATH_OK);
        EXPECT_TRUE(sameBits(C, textbook::timesTransposed(A, A)));
        C = A;
        EXPECT_EQ(kmath_nmmatrix_multiplyT(&C, &B, &C), KMATH_OK);
        EXPECT_TRUE(sameBits(C, textbook::timesTransposed(A, B)));
        C = B;
        EXPECT_EQ(kmath_nmmatrix_multiplyT(&A, &C, &C), KMATH_OK);
        EXPECT_TRUE(sameBits(C, textbook::timesTransposed(A, B)));
    }
}

TEST(ProductRules, AResultOfTheRightShapeKeepsItsStorage)
{
    const Matrix A = randomMatrix(20, 20, 1), B = randomMatrix(20, 20, 2);
    Matrix C(20, 20);
    kmath_nmmatrix_set(&C, std::numeric_limits<double>::quiet_NaN());
    double *const block = C->rows[0];
    EXPECT_EQ(allocationsOf([&] {
                  EXPECT_EQ(kmath_nmmatrix_multiply(&A, &B, &C), KMATH_OK);
                  EXPECT_EQ(kmath_nmmatrix_Tmultiply(&A, &B, &C), KMATH_OK);
                  EXPECT_EQ(kmath_nmmatrix_multiplyT(&A, &B, &C), KMATH_OK);
              }),
              0);
    EXPECT_EQ(C->rows[0], block);
    EXPECT_TRUE(sameBits(C, textbook::timesTransposed(A, B)));
    Matrix fresh;
    EXPECT_EQ(allocationsOf([&] { kmath_nmmatrix_multiply(&A, &B, &fresh); }), 2);
}

TEST(ProductRules, RowsAreFoundThroughTheRowPointers)
{
    Matrix A = randomMatrix(12, 12, 51), B = randomMatrix(12, 12, 52), C = randomMatrix(12, 12, 53);
    const auto corner = [](const Matrix &M, int n) {
        return support::build(n, n, [&](int i, int j) { return M(i, j); });
    };
    const Matrix a = corner(A, 9), b = corner(B, 9);
    for (Matrix *M : {std::addressof(A), std::addressof(B), std::addressof(C)})
        ASSERT_EQ(kmath_nmmatrix_resize_noClear(&*M, 9, 9), KMATH_OK);
    EXPECT_EQ(kmath_nmmatrix_multiply(&A, &B, &C), KMATH_OK);
    EXPECT_TRUE(sameBits(corner(C, 9), textbook::product(a, b)));
    EXPECT_EQ(kmath_nmmatrix_Tmultiply(&A, &B, &C), KMATH_OK);
    EXPECT_TRUE(sameBits(corner(C, 9), textbook::transposedTimes(a, b)));
    EXPECT_EQ(kmath_nmmatrix_multiplyT(&A, &B, &C), KMATH_OK);
    EXPECT_TRUE(sameBits(corner(C, 9), textbook::timesTransposed(a, b)));
}

TEST(ProductRules, ARefusedAllocationComesBackAndLeaksNothing)
{
    Matrix A = randomMatrix(9, 9, 1), B = randomMatrix(9, 9, 2);
    support::sweepAllocationFailures([&] {
        Matrix C;
        return kmath_nmmatrix_multiply(&A, &B, &C);
    });
    support::sweepAllocationFailures([&] {
        Matrix C;
        return kmath_nmmatrix_Tmultiply(&A, &B, &C);
    });
    support::sweepAllocationFailures([&] {
        Matrix C;
        return kmath_nmmatrix_multiplyT(&A, &B, &C);
    });
    Matrix wide = randomMatrix(5, 9, 3);
    const Matrix old = wide;
    support::sweepAllocationFailures([&] { return kmath_nmmatrix_multiplyT(&wide, &B, &wide); });
    EXPECT_TRUE(sameBits(wide, textbook::timesTransposed(old, B)));
}

TEST(ProductRules, NullMatricesAreReportedWithTheirLines)
{
    Matrix A(2, 2), C(2, 2);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_multiply(nullptr, &A, &C); }), 994);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_multiply(&A, nullptr, &C); }), 994);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_multiply(&A, &A, nullptr); }), 994);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_Tmultiply(nullptr, &A, &C); }), 942);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_Tmultiply(&A, nullptr, &C); }), 942);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_Tmultiply(&A, &A, nullptr); }), 942);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_multiplyT(nullptr, &A, &C); }), 842);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_multiplyT(&A, nullptr, &C); }), 842);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_multiplyT(&A, &A, nullptr); }), 842);
}

} // namespace
