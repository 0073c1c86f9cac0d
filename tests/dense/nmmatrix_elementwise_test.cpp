#include "support/matrices.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <utility>

using namespace support;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

constexpr std::pair<int, int> shapes[] = {{1, 1},   {2, 3},  {4, 4},  {1, 16}, {6, 1},
                                          {1, 17},  {7, 2},  {5, 5},  {3, 8},  {9, 9},
                                          {1, 100}, {31, 1}, {13, 7}, {17, 33}};
constexpr std::pair<int, int> emptyShapes[] = {{0, 0}, {0, 3}, {3, 0}, {9, 0}, {0, 1000}};

Matrix counting(std::int32_t rows, std::int32_t cols)
{
    return build(rows, cols, [=](int i, int j) { return 1.0 + i * cols + j; });
}

// A 3×3 matrix in the storage of a 5×5 one, which held 1 … 25: its rectangle is 1 2 3, 6 7 8,
// 11 12 13, its flat run 1 … 9.
struct Shrunk : Matrix {
    Shrunk() : Matrix(counting(5, 5)) { kmath_nmmatrix_resize_noClear(&*this, 3, 3); }

    Matrix storage() const
    {
        return build(5, 5, [this](int i, int j) { return (*this)->rows[0][5 * i + j]; });
    }
};

/// The 5×5 matrix 1 … 25 after the change of the elements of the rectangle.
template <class Change> Matrix rectangleChanged(Change change)
{
    return build(5, 5, [&](int i, int j) {
        const double element = 5 * i + j + 1;
        return i < 3 && j < 3 ? change(element, i, j) : element;
    });
}

/// The same after the change of the first nine stored elements.
template <class Change> Matrix runChanged(Change change)
{
    return build(5, 5, [&](int i, int j) {
        const int position = 5 * i + j;
        return position < 9 ? change(position + 1.0, position) : position + 1.0;
    });
}

TEST(NmmatrixSet, GivesEveryElementTheValue)
{
    for (const auto &[rows, cols] : shapes)
        for (const double value : {2.375, -0.0, nan, infinity}) {
            Matrix matrix = randomMatrix(rows, cols);
            ASSERT_EQ(kmath_nmmatrix_set(&matrix, value), KMATH_OK);
            EXPECT_TRUE(sameBits(matrix, build(rows, cols, [=](int, int) { return value; })));
        }
}

TEST(NmmatrixSet, FollowsTheRowPointers)
{
    Shrunk matrix;
    ASSERT_EQ(kmath_nmmatrix_set(&matrix, -1.0), KMATH_OK);
    EXPECT_TRUE(
        sameBits(matrix.storage(), rectangleChanged([](double, int, int) { return -1.0; })));
}

TEST(NmmatrixAdddiag, ChangesTheDiagonalOnly)
{
    Matrix wide = counting(2, 5);
    ASSERT_EQ(kmath_nmmatrix_adddiag(&wide, 0.5), KMATH_OK);
    EXPECT_TRUE(sameBits(wide, Matrix{{1.5, 2, 3, 4, 5}, {6, 7.5, 8, 9, 10}}));

    Matrix tall = counting(3, 2);
    ASSERT_EQ(kmath_nmmatrix_adddiag(&tall, -2.0), KMATH_OK);
    EXPECT_TRUE(sameBits(tall, Matrix{{-1, 2}, {3, 2}, {5, 6}}));

    for (const auto &[rows, cols] : shapes) {
        const Matrix before = randomMatrix(rows, cols);
        Matrix matrix = before;
        ASSERT_EQ(kmath_nmmatrix_adddiag(&matrix, 0.1), KMATH_OK);
        EXPECT_TRUE(sameBits(matrix, build(rows, cols, [&](int i, int j) {
                                 return i == j ? before(i, j) + 0.1 : before(i, j);
                             })));
    }
}

TEST(NmmatrixAdddiag, FollowsTheRowPointers)
{
    Shrunk matrix;
    ASSERT_EQ(kmath_nmmatrix_adddiag(&matrix, 100.0), KMATH_OK);
    EXPECT_TRUE(sameBits(matrix.storage(), rectangleChanged([](double element, int i, int j) {
                             return i == j ? element + 100.0 : element;
                         })));
}

TEST(NmmatrixScale, MultipliesEveryElement)
{
    for (const auto &[rows, cols] : shapes)
        for (const double factor : {-1.7, 0.0, nan, infinity}) {
            const Matrix before = randomMatrix(rows, cols);
            Matrix matrix = before;
            ASSERT_EQ(kmath_nmmatrix_scale(&matrix, factor), KMATH_OK);
            EXPECT_TRUE(sameBits(
                matrix, build(rows, cols, [&](int i, int j) { return before(i, j) * factor; })));
        }
}

TEST(NmmatrixScale, WalksTheStoredRun)
{
    Shrunk matrix;
    ASSERT_EQ(kmath_nmmatrix_scale(&matrix, -3.0), KMATH_OK);
    EXPECT_TRUE(
        sameBits(matrix.storage(), runChanged([](double element, int) { return element * -3.0; })));
}

TEST(NmmatrixAdd, AddsTheNumberToEveryElement)
{
    for (const auto &[rows, cols] : shapes)
        for (const double value : {0.3, -0.0, nan, -infinity}) {
            const Matrix before = randomMatrix(rows, cols);
            Matrix matrix = before;
            ASSERT_EQ(kmath_nmmatrix_add(&matrix, value), KMATH_OK);
            EXPECT_TRUE(sameBits(
                matrix, build(rows, cols, [&](int i, int j) { return before(i, j) + value; })));
        }
}

TEST(NmmatrixAdd, WalksTheStoredRun)
{
    Shrunk matrix;
    ASSERT_EQ(kmath_nmmatrix_add(&matrix, 0.5), KMATH_OK);
    EXPECT_TRUE(
        sameBits(matrix.storage(), runChanged([](double element, int) { return element + 0.5; })));
}

TEST(NmmatrixAddmat, AddsElementByElement)
{
    for (const auto &[rows, cols] : shapes) {
        const Matrix a = randomMatrix(rows, cols, 1);
        const Matrix b = randomMatrix(rows, cols, 2);
        Matrix sum = a;
        ASSERT_EQ(kmath_nmmatrix_addmat(&sum, &b), KMATH_OK);
        EXPECT_TRUE(
            sameBits(sum, build(rows, cols, [&](int i, int j) { return a(i, j) + b(i, j); })));
    }
}

TEST(NmmatrixAddmat, WalksTheStoredRunsOfBoth)
{
    Shrunk a;
    const Matrix nine = counting(3, 3);
    ASSERT_EQ(kmath_nmmatrix_addmat(&a, &nine), KMATH_OK);
    EXPECT_TRUE(
        sameBits(a.storage(), runChanged([](double element, int) { return 2.0 * element; })));

    Matrix sum = counting(3, 3);
    const Shrunk b;
    ASSERT_EQ(kmath_nmmatrix_addmat(&sum, &b), KMATH_OK);
    EXPECT_TRUE(sameBits(sum, build(3, 3, [](int i, int j) { return 2.0 * (3 * i + j + 1); })));
}

TEST(NmmatrixSubmat, SubtractsElementByElement)
{
    for (const auto &[rows, cols] : shapes) {
        const Matrix a = randomMatrix(rows, cols, 1);
        const Matrix b = randomMatrix(rows, cols, 2);
        Matrix difference = a;
        ASSERT_EQ(kmath_nmmatrix_submat(&difference, &b), KMATH_OK);
        EXPECT_TRUE(sameBits(difference,
                             build(rows, cols, [&](int i, int j) { return a(i, j) - b(i, j); })));
    }
}

TEST(NmmatrixSubmat, FollowsTheRowPointersOfBoth)
{
    Shrunk a;
    const Matrix nine = counting(3, 3);
    ASSERT_EQ(kmath_nmmatrix_submat(&a, &nine), KMATH_OK);
    EXPECT_TRUE(sameBits(a.storage(), rectangleChanged([](double element, int i, int j) {
                             return element - (3 * i + j + 1);
                         })));

    Matrix difference = counting(3, 3);
    const Shrunk b;
    ASSERT_EQ(kmath_nmmatrix_submat(&difference, &b), KMATH_OK);
    EXPECT_TRUE(sameBits(difference, Matrix{{0, 0, 0}, {-2, -2, -2}, {-4, -4, -4}}));
}

TEST(NmmatrixSums, AcceptAMatrixAsItsOwnOperand)
{
    const Matrix before = randomMatrix(6, 7);
    Matrix matrix = before;
    ASSERT_EQ(kmath_nmmatrix_addmat(&matrix, &matrix), KMATH_OK);
    EXPECT_TRUE(
        sameBits(matrix, build(6, 7, [&](int i, int j) { return before(i, j) + before(i, j); })));
    ASSERT_EQ(kmath_nmmatrix_submat(&matrix, &matrix), KMATH_OK);
    EXPECT_TRUE(sameBits(matrix, Matrix(6, 7)));
}

TEST(NmmatrixSums, RefuseDifferentShapesAndChangeNothing)
{
    for (const auto &[rows, cols] : {std::pair{3, 2}, {2, 4}, {0, 3}, {0, 0}, {6, 1}}) {
        Matrix a = counting(2, 3);
        const Matrix b = counting(rows, cols);
        EXPECT_EQ(kmath_nmmatrix_addmat(&a, &b), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(kmath_nmmatrix_submat(&a, &b), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_TRUE(sameBits(a, counting(2, 3)));
    }
    Matrix empty(0, 3);
    const Matrix otherEmpty(0, 2);
    EXPECT_EQ(kmath_nmmatrix_addmat(&empty, &otherEmpty), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(kmath_nmmatrix_submat(&empty, &otherEmpty), KMATH_ERR_BAD_DIMENSIONS);
}

TEST(NmmatrixFnorm2, IsThePlainSumOfSquaresWithoutARoot)
{
    const Matrix small{{1.0, -2.0}, {3.0, 4.0}};
    double sum = -1.0;
    ASSERT_EQ(kmath_nmmatrix_fnorm2(&small, &sum), KMATH_OK);
    EXPECT_EQ(sum, 30.0);

    for (const auto &[rows, cols] : shapes) {
        const Matrix matrix = randomMatrix(rows, cols);
        double expected = 0.0;
        for (int i = 0; i < rows; ++i)
            for (int j = 0; j < cols; ++j)
                expected += matrix(i, j) * matrix(i, j);
        ASSERT_EQ(kmath_nmmatrix_fnorm2(&matrix, &sum), KMATH_OK);
        EXPECT_TRUE(sameBits(sum, expected)) << rows << " x " << cols;
    }
}

TEST(NmmatrixFnorm2, PassesSpecialValuesThrough)
{
    double sum = 0.0;
    const Matrix withNaN{{1.0, nan}};
    kmath_nmmatrix_fnorm2(&withNaN, &sum);
    EXPECT_TRUE(sameBits(sum, nan));
    const Matrix withInfinity{{1.0, -infinity}};
    kmath_nmmatrix_fnorm2(&withInfinity, &sum);
    EXPECT_EQ(sum, infinity);
    const Matrix large{{1e200}};
    kmath_nmmatrix_fnorm2(&large, &sum);
    EXPECT_EQ(sum, infinity);
}

TEST(NmmatrixFnorm2, WalksTheStoredRun)
{
    const Shrunk matrix;
    double sum = 0.0;
    ASSERT_EQ(kmath_nmmatrix_fnorm2(&matrix, &sum), KMATH_OK);
    EXPECT_EQ(sum, 285.0); // 1² + … + 9², not the 3×3 rectangle
}

void expectHarmless(Matrix &matrix)
{
    const std::int32_t rows = matrix.rows();
    const std::int32_t cols = matrix.cols();
    double sum = -1.0;
    EXPECT_EQ(kmath_nmmatrix_set(&matrix, 1.0), KMATH_OK);
    EXPECT_EQ(kmath_nmmatrix_adddiag(&matrix, 1.0), KMATH_OK);
    EXPECT_EQ(kmath_nmmatrix_scale(&matrix, 2.0), KMATH_OK);
    EXPECT_EQ(kmath_nmmatrix_add(&matrix, 1.0), KMATH_OK);
    EXPECT_EQ(kmath_nmmatrix_fnorm2(&matrix, &sum), KMATH_OK);
    EXPECT_TRUE(sameBits(sum, 0.0));
    EXPECT_EQ(matrix.rows(), rows);
    EXPECT_EQ(matrix.cols(), cols);
}

TEST(NmmatrixElementwise, DoNothingToAnEmptyMatrix)
{
    for (const auto &[rows, cols] : emptyShapes) {
        Matrix matrix(rows, cols);
        const Matrix same(rows, cols);
        expectHarmless(matrix);
        EXPECT_EQ(kmath_nmmatrix_addmat(&matrix, &same), KMATH_OK);
        EXPECT_EQ(kmath_nmmatrix_submat(&matrix, &same), KMATH_OK);
    }
    Matrix emptied = counting(5, 5);
    kmath_nmmatrix_resize_noClear(&emptied, 3, 0);
    double *const start = emptied->rows[0];
    expectHarmless(emptied);
    EXPECT_EQ(start[0], 1.0);
}

// 3×0 by resize lies inside the record and has a row table, by resize_noClear it has none.
TEST(NmmatrixElementwise, DoNothingToEmptyMatricesOfWhichOneHasNoRowTable)
{
    Matrix inside(3, 0);
    Matrix nowhere;
    ASSERT_EQ(kmath_nmmatrix_resize_noClear(&nowhere, 3, 0), KMATH_OK);
    ASSERT_NE(inside->rows, nullptr);
    ASSERT_EQ(nowhere->rows, nullptr);
    expectHarmless(nowhere);
    for (const auto combine : {kmath_nmmatrix_addmat, kmath_nmmatrix_submat}) {
        EXPECT_EQ(combine(&inside, &nowhere), KMATH_OK);
        EXPECT_EQ(combine(&nowhere, &inside), KMATH_OK);
    }
}

TEST(NmmatrixElementwise, DoNothingToAMatrixWithoutStorage)
{
    Matrix lost;
    loseStorage(lost, 5, 5);
    expectHarmless(lost);

    Matrix sound = counting(5, 5);
    EXPECT_EQ(kmath_nmmatrix_addmat(&sound, &lost), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(kmath_nmmatrix_submat(&sound, &lost), KMATH_ERR_NO_MEMORY);
    EXPECT_TRUE(sameBits(sound, counting(5, 5)));
    EXPECT_EQ(kmath_nmmatrix_addmat(&lost, &sound), KMATH_OK);
    EXPECT_EQ(kmath_nmmatrix_submat(&lost, &sound), KMATH_OK);
}

TEST(NmmatrixElementwise, AllocateNothing)
{
    Matrix a = counting(40, 50);
    const Matrix b = counting(40, 50);
    double sum = 0.0;
    EXPECT_EQ(allocationsOf([&] {
                  kmath_nmmatrix_set(&a, 1.0);
                  kmath_nmmatrix_adddiag(&a, 1.0);
                  kmath_nmmatrix_scale(&a, 2.0);
                  kmath_nmmatrix_add(&a, 1.0);
                  kmath_nmmatrix_addmat(&a, &b);
                  kmath_nmmatrix_submat(&a, &b);
                  kmath_nmmatrix_fnorm2(&a, &sum);
              }),
              0);
}

TEST(NmmatrixElementwise, ReportTheirAssertionLines)
{
    Matrix matrix(2, 2);
    double sum = 0.0;
    EXPECT_EQ(assertedLine([] { kmath_nmmatrix_set(nullptr, 1.0); }), 1214);
    EXPECT_EQ(assertedLine([] { kmath_nmmatrix_adddiag(nullptr, 1.0); }), 644);
    EXPECT_EQ(assertedLine([] { kmath_nmmatrix_scale(nullptr, 1.0); }), 1067);
    EXPECT_EQ(assertedLine([] { kmath_nmmatrix_add(nullptr, 1.0); }), 1091);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_addmat(nullptr, &matrix); }), 1114);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_addmat(&matrix, nullptr); }), 1114);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_submat(nullptr, &matrix); }), 1145);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_submat(&matrix, nullptr); }), 1145);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_fnorm2(nullptr, &sum); }), 1044);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_fnorm2(&matrix, nullptr); }), 1044);
}

} // namespace
