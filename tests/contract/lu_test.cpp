// Factorisation, substitution, solving, inverse and determinant seen from outside: in bits against
// Crout's method written out, both sides of the tiny pivot, refusals and what they leave behind.
#include "contract/textbook.hpp"
#include "support/services.hpp"

#include <kmath/platform.h>

#include <gtest/gtest.h>

#include <bit>
#include <functional>
#include <limits>

namespace
{

using support::allocationsOf;
using support::assertedLine;
using support::build;
using support::diagonal;
using support::failAllocation;
using support::liveBlocks;
using support::Matrix;
using support::randomMatrix;
using support::sameBits;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double threshold = 1.0000000000000002e-14;
static_assert(std::bit_cast<std::uint64_t>(threshold) == 0x3D06849B86A12B9Cu);

/// Random, with ties for the pivot, graded by rows and columns, sparse, and nearly singular.
std::vector<Matrix> squareMatrices(int n)
{
    std::mt19937_64 generator(static_cast<std::uint64_t>(1000 + n));
    std::uniform_int_distribution<int> digit(-2, 2), exponent(-12, 12);
    std::vector<Matrix> all;
    all.push_back(randomMatrix(n, n, generator));
    all.push_back(build(n, n, [&](int, int) { return digit(generator); }));
    all.push_back(build(n, n, [&](int i, int j) {
        return digit(generator) * std::pow(10.0, i % 7 - 3) * std::pow(10.0, j % 5 - 2) +
               1e-3 * digit(generator);
    }));
    all.push_back(build(n, n, [&](int i, int j) {
        return i == (j + 1) % n ? std::pow(10.0, exponent(generator)) : 0.0;
    }));
    all.push_back(build(n, n, [&](int i, int j) { return 1.0 / (i + j + 1); }));
    all.push_back(build(n, n, [&](int i, int j) { return i + j; }));
    return all;
}

std::vector<double> column(int n, std::uint64_t seed, int leadingZeros = 0)
{
    const Matrix b = randomMatrix(n == 0 ? 1 : n, 1, seed);
    std::vector<double> v;
    for (int i = 0; i < n; ++i)
        v.push_back(i < leadingZeros ? 0.0 : b(i, 0));
    return v;
}

Matrix asColumn(const std::vector<double> &v)
{
    return build(static_cast<int>(v.size()), 1,
                 [&](int i, int) { return v[static_cast<std::size_t>(i)]; });
}

Matrix asRow(const std::vector<double> &v)
{
    return build(1, static_cast<int>(v.size()),
                 [&](int, int j) { return v[static_cast<std::size_t>(j)]; });
}

std::vector<double> solved(const Matrix &lu, const std::vector<std::int32_t> &perm,
                           std::vector<double> b)
{
    textbook::substitute(lu, perm, b.data());
    return b;
}

/// The permutation that LU handed out, which the caller frees.
class Permutation
{
  public:
    ~Permutation()
    {
        if (entries)
            ksys_memory_free_internal(reinterpret_cast<void **>(&entries));
    }
    std::int32_t *entries = nullptr;
};

const int orders[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 15, 16, 17, 33, 64};

// Factors.

TEST(LuRules, FactorsAndPermutationHaveTheBitsOfCroutsMethod)
{
    int refused = 0, accepted = 0;
    for (const int n : orders)
        for (const Matrix &A : squareMatrices(n))
            for (const bool strict : {false, true}) {
                Matrix lu = A, expected = A;
                std::vector<std::int32_t> perm;
                double parity;
                const bool ok = textbook::factorise(expected, perm, parity, strict);
                Permutation p;
                const std::int64_t live = liveBlocks();
                EXPECT_EQ(kmath_nmmatrix_LU(&lu, &p.entries, strict ? 3 : 0),
                          ok ? KMATH_OK : KMATH_ERR_SINGULAR);
                EXPECT_TRUE(sameBits(lu, expected)) << n << '\n' << A;
                if (ok) {
                    ASSERT_NE(p.entries, nullptr);
                    EXPECT_EQ(std::vector<std::int32_t>(p.entries, p.entries + n), perm);
                    EXPECT_EQ(liveBlocks(), live + 1);
                } else {
                    EXPECT_EQ(p.entries, nullptr);
                    EXPECT_EQ(liveBlocks(), live);
                }
                ++(ok ? accepted : refused);
            }
    EXPECT_GT(refused, 10);
    EXPECT_GT(accepted, 100);
}

TEST(LuRules, OneSwapIsRecordedWhereItHappens)
{
    Matrix a = {{0, 1}, {1, 0}};
    Permutation p;
    ASSERT_EQ(kmath_nmmatrix_LU(&a, &p.entries, 1), KMATH_OK);
    EXPECT_EQ(p.entries[0], 1);
    EXPECT_EQ(p.entries[1], 1);
    EXPECT_TRUE(sameBits(a, Matrix{{1, 0}, {0, 1}}));
}

TEST(LuRules, TiesGoToTheLaterRow)
{
    Matrix a = {{1, 2, 3}, {1, 5, 2}, {2, 4, 4}}; // relative sizes 1/3, 1/5, 1/2
    Permutation p;
    ASSERT_EQ(kmath_nmmatrix_LU(&a, &p.entries, 1), KMATH_OK);
    EXPECT_EQ(p.entries[0], 2);
    Matrix equal = {{1, 1, 0}, {1, 0, 1}, {1, 1, 1}};
    Permutation q;
    ASSERT_EQ(kmath_nmmatrix_LU(&equal, &q.entries, 1), KMATH_OK);
    EXPECT_EQ(q.entries[0], 2);
}

TEST(LuRules, APivotOfTenToTheMinusFourteenIsTiny)
{
    for (const double pivot : {1e-14, -1e-14, 1e-15, 0.0, threshold, -threshold, 2e-14}) {
        const bool tiny = std::fabs(pivot) < threshold;
        // The second row is not zero, and elimination leaves the pivot alone.
        const Matrix A = {{1, 1}, {0, pivot}};
        const Matrix safe = {{1, 0}, {1, pivot}};
        if (pivot == 0.0) {
            Matrix a = safe;
            Permutation p;
            EXPECT_EQ(kmath_nmmatrix_LU(&a, &p.entries, 1), KMATH_ERR_SINGULAR);
            continue;
        }
        for (const int strict : {0, 1, -1}) {
            Matrix a = A;
            Permutation p;
            EXPECT_EQ(kmath_nmmatrix_LU(&a, &p.entries, strict),
                      tiny && strict ? KMATH_ERR_SINGULAR : KMATH_OK)
                << pivot;
            if (!strict) {
                EXPECT_EQ(a(1, 1), tiny ? 1e-12 : pivot);
            }
        }
        double det = nan;
        EXPECT_EQ(kmath_nmmatrix_determinant(&A, &det), KMATH_OK);
        EXPECT_EQ(det, tiny ? 1e-12 : pivot);
        Matrix inverse;
        EXPECT_EQ(kmath_nmmatrix_inverse(&A, &inverse), tiny ? KMATH_ERR_SINGULAR : KMATH_OK);
    }
}

TEST(LuRules, ARowOfZerosIsRefusedEvenWhenTinyPivotsAreReplaced)
{
    for (const int n : {1, 2, 5, 17}) {
        Matrix a = randomMatrix(n, n, 81);
        for (int j = 0; j < n; ++j)
            a(n / 2, j) = 0.0;
        for (const int strict : {0, 1}) {
            Matrix copy = a;
            Permutation p;
            EXPECT_EQ(kmath_nmmatrix_LU(&copy, &p.entries, strict), KMATH_ERR_SINGULAR);
            EXPECT_EQ(p.entries, nullptr);
        }
        double det = nan;
        EXPECT_EQ(kmath_nmmatrix_determinant(&a, &det), KMATH_OK);
        EXPECT_TRUE(sameBits(det, 0.0));
    }
}

TEST(LuRules, OnlySquareMatricesAreFactorised)
{
    Matrix a = randomMatrix(2, 3);
    const Matrix before = a;
    Permutation p;
    EXPECT_EQ(kmath_nmmatrix_LU(&a, &p.entries, 1), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(p.entries, nullptr);
    EXPECT_TRUE(sameBits(a, before));
}

TEST(LuRules, LuGivesBackEverythingWhenAnAllocationFails)
{
    const Matrix A = randomMatrix(5, 5, 82);
    Matrix a = A;
    support::sweepAllocationFailures([&] {
        a = A; // same shape, no allocation
        Permutation p;
        const kmath_status status = kmath_nmmatrix_LU(&a, &p.entries, 1);
        EXPECT_EQ(p.entries == nullptr, status != KMATH_OK);
        return status;
    });
}

// Substitution.

TEST(LuRules, SubstitutionHasTheBitsOfTheTextbook)
{
    for (const int n : orders)
        for (const Matrix &A : squareMatrices(n)) {
            Matrix lu = A;
            std::vector<std::int32_t> perm;
            double parity;
            if (!textbook::factorise(lu, perm, parity, false))
                continue;
            for (const int zeros : {0, n / 2, n - 1, n}) {
                const std::vector<double> b = column(n, 83, zeros);
                const std::vector<double> x = solved(lu, perm, b);
                Matrix out = randomMatrix(3, 3);
                const Matrix asCol = asColumn(b), rowB = asRow(b);
                EXPECT_EQ(kmath_nmmatrix_LUbksub(&lu, &asCol, perm.data(), &out), KMATH_OK);
                EXPECT_TRUE(sameBits(out, asColumn(x)));
                EXPECT_EQ(kmath_nmmatrix_LUbksub(&lu, &rowB, perm.data(), &out), KMATH_OK);
                EXPECT_TRUE(sameBits(out, asRow(x)));
                Matrix inPlace = rowB;
                EXPECT_EQ(kmath_nmmatrix_LUbksubOW(&lu, &inPlace, perm.data()), KMATH_OK);
                EXPECT_TRUE(sameBits(inPlace, asRow(x)));
            }
        }
}

TEST(LuRules, LeadingZerosAreSkippedAndANanDoesNotStartTheSums)
{
    // The first columns of L hold what must not be multiplied by a leading zero.
    const Matrix lu = {{2, 0, 0}, {inf, 3, 0}, {nan, 0.5, 4}};
    const std::vector<std::int32_t> perm = {0, 1, 2};
    for (const double first : {0.0, -0.0, nan}) {
        const std::vector<double> b = {first, 1.0, 2.0};
        Matrix x = asRow(b);
        EXPECT_EQ(kmath_nmmatrix_LUbksubOW(&lu, &x, perm.data()), KMATH_OK);
        EXPECT_TRUE(sameBits(x, asRow(solved(lu, perm, b))));
        EXPECT_EQ(x(0, 2), 0.375);     // (2 − 0.5·1) / 4
        EXPECT_EQ(x(0, 1), 1.0 / 3.0); // U is diagonal
    }
    Matrix x = {{1.0, 1.0, 1.0}};
    EXPECT_EQ(kmath_nmmatrix_LUbksubOW(&lu, &x, perm.data()), KMATH_OK);
    EXPECT_TRUE(std::isnan(x(0, 2)));
}

TEST(LuRules, ADiagonalOfZerosIsDividedBy)
{
    const Matrix lu = {{0, 0}, {0, 1}};
    const std::vector<std::int32_t> perm = {0, 1};
    Matrix x = {{1, 1}};
    EXPECT_EQ(kmath_nmmatrix_LUbksubOW(&lu, &x, perm.data()), KMATH_OK);
    EXPECT_EQ(x(0, 0), inf);
}

TEST(LuRules, BksubReportsItsLineOnceOnEveryOrdinaryCall)
{
    Matrix a = randomMatrix(3, 3, 84), b = randomMatrix(3, 1, 85), x;
    Permutation p;
    ASSERT_EQ(kmath_nmmatrix_LU(&a, &p.entries, 1), KMATH_OK);
    {
        support::AssertionRecorder recorder;
        EXPECT_EQ(kmath_nmmatrix_LUbksub(&a, &b, p.entries, &x), KMATH_OK);
        EXPECT_EQ(recorder.lines(), std::vector<std::int32_t>{440});
    }
    {
        support::AssertionRecorder recorder;
        EXPECT_EQ(kmath_nmmatrix_LUbksubOW(&a, &b, p.entries), KMATH_OK);
        EXPECT_TRUE(recorder.lines().empty());
    }
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_LUbksubOW(nullptr, &b, p.entries); }), 413);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_LUbksubOW(&a, nullptr, p.entries); }), 413);
}

TEST(LuRules, BksubHasAssignedItsResultBeforeItLooksAtShapes)
{
    const Matrix square = randomMatrix(3, 3, 86), oblong = randomMatrix(2, 3, 87);
    const std::vector<std::int32_t> perm = {0, 1, 2};
    for (const Matrix &b : {randomMatrix(4, 1, 88), randomMatrix(1, 2, 88)}) {
        Matrix x = {{7}};
        support::AssertionRecorder recorder;
        EXPECT_EQ(kmath_nmmatrix_LUbksub(&square, &b, perm.data(), &x), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_TRUE(sameBits(x, b));
        EXPECT_EQ(recorder.lines(), std::vector<std::int32_t>{440});
        Matrix inPlace = b;
        EXPECT_EQ(kmath_nmmatrix_LUbksubOW(&square, &inPlace, perm.data()),
                  KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_TRUE(sameBits(inPlace, b));
    }
    const Matrix b = randomMatrix(3, 1, 88);
    Matrix x;
    EXPECT_EQ(kmath_nmmatrix_LUbksub(&oblong, &b, perm.data(), &x), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_TRUE(sameBits(x, b));
}

TEST(LuRules, ABlockLendsItsFirstElements)
{
    const Matrix A = randomMatrix(3, 3, 89);
    Matrix lu = A;
    std::vector<std::int32_t> perm;
    double parity;
    ASSERT_TRUE(textbook::factorise(lu, perm, parity, true));
    const Matrix b = randomMatrix(2, 4, 90);
    const std::vector<double> x = solved(lu, perm, {b(0, 0), b(0, 1), b(0, 2)});
    Matrix out, inPlace = b;
    EXPECT_EQ(kmath_nmmatrix_LUbksub(&lu, &b, perm.data(), &out), KMATH_OK);
    EXPECT_EQ(kmath_nmmatrix_LUbksubOW(&lu, &inPlace, perm.data()), KMATH_OK);
    for (const Matrix *r : {std::addressof(out), std::addressof(inPlace)}) {
        ASSERT_EQ(r->rows(), 2);
        ASSERT_EQ(r->cols(), 4);
        for (int j = 0; j < 3; ++j)
            EXPECT_TRUE(sameBits((*r)(0, j), x[static_cast<std::size_t>(j)]));
        EXPECT_TRUE(sameBits((*r)(0, 3), b(0, 3)));
        for (int j = 0; j < 4; ++j)
            EXPECT_TRUE(sameBits((*r)(1, j), b(1, j)));
    }
}

// The solve behind a condition test.

TEST(LuRules, SolveReplacesTinyPivotsAndLeavesTheConditionNumber)
{
    int singular = 0;
    for (const int n : orders)
        for (const Matrix &A : squareMatrices(n)) {
            Matrix lu = A;
            std::vector<std::int32_t> perm;
            double parity, condition = nan, separate = nan;
            const bool ok = textbook::factorise(lu, perm, parity, false);
            const std::vector<double> b = column(n, 91, n / 3);
            const Matrix rhs = n % 2 ? asColumn(b) : asRow(b);
            Matrix x, old = A;
            const kmath_status status = kmath_nmmatrix_solve(&A, &rhs, &x, 0, &condition, inf);
            EXPECT_EQ(status, ok ? KMATH_OK : KMATH_ERR_SINGULAR);
            if (ok) {
                const std::vector<double> expected = solved(lu, perm, b);
                EXPECT_TRUE(sameBits(x, n % 2 ? asColumn(expected) : asRow(expected)));
            }
            singular += !ok;
            ASSERT_EQ(kmath_nmmatrix_conditionNumber(&A, 0, &separate), KMATH_OK);
            EXPECT_TRUE(sameBits(condition, separate));
            EXPECT_TRUE(sameBits(A, old));
        }
    EXPECT_GT(singular, 0);
}

TEST(LuRules, SolveRefusesAConditionNumberAboveTheLimit)
{
    const Matrix A = diagonal({8, 2}), b = {{8}, {2}};
    Matrix x = {{5, 5, 5}};
    const Matrix before = x;
    double condition = nan;
    for (const int method : {0, 1, 7}) {
        x = before;
        EXPECT_EQ(kmath_nmmatrix_solve(&A, &b, &x, method, &condition, 3.0), KMATH_ERR_SINGULAR);
        EXPECT_NEAR(condition, 4.0, 1e-14);
        EXPECT_TRUE(sameBits(x, before));
        EXPECT_EQ(kmath_nmmatrix_solve(&A, &b, &x, method, &condition, nan), KMATH_ERR_SINGULAR);
        const double limit = condition;
        EXPECT_EQ(kmath_nmmatrix_solve(&A, &b, &x, method, &condition, limit), KMATH_OK);
        EXPECT_TRUE(sameBits(x, Matrix{{1}, {1}}));
        EXPECT_EQ(kmath_nmmatrix_solve(&A, &b, &x, method, &condition, std::nextafter(limit, 0.0)),
                  KMATH_ERR_SINGULAR);
    }
}

TEST(LuRules, SolvePassesTheMethodThrough)
{
    // Taken as symmetric, the matrix has another condition number than by its singular values.
    const Matrix A = {{1, 0}, {1000, 1}}, b = {{1}, {1}};
    Matrix x;
    double bySingularValues = nan, asSymmetric = nan, separate = nan;
    EXPECT_EQ(kmath_nmmatrix_solve(&A, &b, &x, 0, &bySingularValues, 1e20), KMATH_OK);
    kmath_nmmatrix_conditionNumber(&A, 0, &separate);
    EXPECT_TRUE(sameBits(bySingularValues, separate));
    EXPECT_NEAR(bySingularValues / 1e6, 1.0, 1e-3);
    EXPECT_EQ(kmath_nmmatrix_solve(&A, &b, &x, 1, &asSymmetric, 1e20), KMATH_OK);
    kmath_nmmatrix_conditionNumber(&A, 1, &separate);
    EXPECT_TRUE(sameBits(asSymmetric, separate));
    EXPECT_LT(asSymmetric, 10.0);
}

TEST(LuRules, SolveOfASingularMatrix)
{
    const Matrix zeroRow = {{1, 2}, {0, 0}}, ones = {{1, 1}, {1, 1}}, b = {{1}, {1}};
    Matrix x;
    double condition = nan;
    EXPECT_EQ(kmath_nmmatrix_solve(&zeroRow, &b, &x, 0, &condition, inf), KMATH_ERR_SINGULAR);
    EXPECT_EQ(kmath_nmmatrix_solve(&ones, &b, &x, 0, &condition, 1e10), KMATH_ERR_SINGULAR);
    EXPECT_GT(condition, 1e10);
    EXPECT_EQ(kmath_nmmatrix_solve(&ones, &b, &x, 0, &condition, 1e300), KMATH_OK);
    EXPECT_TRUE(sameBits(x, Matrix{{1}, {0}})); // the pivot 1e-12 in the place of 0
}

TEST(LuRules, SolveLooksAtShapesBeforeAnything)
{
    const Matrix square = randomMatrix(3, 3), oblong = randomMatrix(3, 2), b3 = randomMatrix(3, 1),
                 b4 = randomMatrix(4, 1), r2 = randomMatrix(1, 2);
    Matrix x = {{5}}, lu(3, 3);
    const Matrix before = x, luBefore = lu;
    double condition = 77.0, scale[4] = {};
    std::int32_t perm[4] = {};
    for (const auto &[A, b] : {std::pair{&oblong, &b3}, {&square, &b4}, {&square, &r2}}) {
        EXPECT_EQ(kmath_nmmatrix_solve(A, b, &x, 0, &condition, 1e20), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(kmath_nmmatrix_solve_fast_and_loose(A, b, &lu, scale, perm, &x),
                  KMATH_ERR_BAD_DIMENSIONS);
    }
    EXPECT_EQ(condition, 77.0);
    EXPECT_TRUE(sameBits(x, before));
    EXPECT_TRUE(sameBits(lu, luBefore));
}

TEST(LuRules, SolveReturnsTheStatusOfAFailingConditionNumber)
{
    const Matrix bad = {{1, nan}, {nan, 1}}, b = {{1}, {1}};
    Matrix x = {{5}};
    double condition;
    EXPECT_EQ(kmath_nmmatrix_solve(&bad, &b, &x, 0, &condition, inf), KMATH_ERR_SINGULAR);
    EXPECT_EQ(kmath_nmmatrix_solve(&bad, &b, &x, 1, &condition, inf), KMATH_ERR_SINGULAR);
    EXPECT_EQ(x.rows(), 1);
}

TEST(LuRules, SolversGiveBackEverythingWhenAnAllocationFails)
{
    for (const int n : {3, 7, 20})
        for (const int method : {0, 1}) {
            const Matrix A = support::randomSymmetric(n, 92), b = randomMatrix(n, 1, 93);
            double condition;
            support::sweepAllocationFailures([&] {
                Matrix x;
                return kmath_nmmatrix_solve(&A, &b, &x, method, &condition, inf);
            });
            support::sweepAllocationFailures([&] {
                Matrix inverse;
                return kmath_nmmatrix_inverse(&A, &inverse);
            });
            support::sweepAllocationFailures(
                [&] { return kmath_nmmatrix_determinant(&A, &condition); });
        }
}

// The solve in the caller's storage.

TEST(LuRules, FastSolveAllocatesNothingAndRefusesTinyPivots)
{
    for (const int n : orders)
        for (const Matrix &A : squareMatrices(n)) {
            Matrix expected = A, lu = randomMatrix(n, n), x(n, 1);
            std::vector<std::int32_t> perm, work(static_cast<std::size_t>(n));
            std::vector<double> scale(static_cast<std::size_t>(n));
            double parity;
            const bool ok = textbook::factorise(expected, perm, parity, true);
            const std::vector<double> b = column(n, 94, n / 4);
            const Matrix rhs = asColumn(b);
            kmath_status status = 1;
            EXPECT_EQ(allocationsOf([&] {
                          status = kmath_nmmatrix_solve_fast_and_loose(&A, &rhs, &lu, scale.data(),
                                                                       work.data(), &x);
                      }),
                      0);
            EXPECT_EQ(status, ok ? KMATH_OK : KMATH_ERR_SINGULAR);
            EXPECT_TRUE(sameBits(lu, expected));
            EXPECT_TRUE(sameBits(x, ok ? asColumn(solved(expected, perm, b)) : rhs));
            if (ok) {
                EXPECT_EQ(work, perm);
            }
        }
}

TEST(LuRules, FastSolveOverwritesTheShapeOfItsWorkMatrix)
{
    const Matrix A = randomMatrix(3, 3, 95), b = randomMatrix(1, 3, 96);
    Matrix lu(9, 9), expected = A, x(1, 3);
    double *const *const rows = lu->rows;
    double scale[3], parity;
    std::int32_t work[3];
    std::vector<std::int32_t> perm;
    ASSERT_TRUE(textbook::factorise(expected, perm, parity, true));
    EXPECT_EQ(allocationsOf([&] {
                  EXPECT_EQ(kmath_nmmatrix_solve_fast_and_loose(&A, &b, &lu, scale, work, &x),
                            KMATH_OK);
              }),
              0);
    EXPECT_EQ(lu.rows(), 3);
    EXPECT_EQ(lu.cols(), 3);
    EXPECT_EQ(lu->rows, rows);
    EXPECT_EQ(lu->rows[1], lu->rows[0] + 9);
    EXPECT_TRUE(sameBits(lu, expected));
    EXPECT_TRUE(sameBits(x, asRow(solved(expected, perm, {b(0, 0), b(0, 1), b(0, 2)}))));
}

// Inverse and determinant.

TEST(LuRules, InverseHasTheBitsOfTheSolvedUnitVectors)
{
    int refused = 0;
    for (const int n : orders)
        for (const Matrix &A : squareMatrices(n)) {
            Matrix lu = A, expected(n, n), inverse = randomMatrix(2, 5);
            std::vector<std::int32_t> perm;
            double parity;
            const bool ok = textbook::factorise(lu, perm, parity, true);
            EXPECT_EQ(kmath_nmmatrix_inverse(&A, &inverse), ok ? KMATH_OK : KMATH_ERR_SINGULAR);
            refused += !ok;
            if (!ok)
                continue;
            for (int j = 0; j < n; ++j) {
                std::vector<double> unit(static_cast<std::size_t>(n));
                unit[static_cast<std::size_t>(j)] = 1.0;
                unit = solved(lu, perm, unit);
                for (int i = 0; i < n; ++i)
                    expected(i, j) = unit[static_cast<std::size_t>(i)];
            }
            EXPECT_TRUE(sameBits(inverse, expected));
            Matrix inPlace = A;
            EXPECT_EQ(kmath_nmmatrix_inverse(&inPlace, &inPlace), KMATH_OK);
            EXPECT_TRUE(sameBits(inPlace, expected));
        }
    EXPECT_GT(refused, 5);
    const Matrix oblong(2, 3);
    Matrix r = {{5}};
    EXPECT_EQ(kmath_nmmatrix_inverse(&oblong, &r), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(r(0, 0), 5.0);
}

TEST(LuRules, DeterminantIsParityTimesThePivots)
{
    for (const int n : orders)
        for (const Matrix &A : squareMatrices(n)) {
            Matrix lu = A;
            std::vector<std::int32_t> perm;
            double expected = 0.0, det = nan;
            if (n == 1)
                expected = A(0, 0);
            else if (!textbook::factorise(lu, perm, expected, false))
                expected = 0.0;
            else
                for (int i = 0; i < n; ++i)
                    expected *= lu(i, i);
            EXPECT_EQ(kmath_nmmatrix_determinant(&A, &det), KMATH_OK);
            EXPECT_TRUE(sameBits(det, expected)) << n << ' ' << det << ' ' << expected;
        }
}

TEST(LuRules, DeterminantsOfSmallMatrices)
{
    double det = nan;
    const Matrix swap = {{0, 1}, {1, 0}}, ones = {{1, 1}, {1, 1}}, oblong(2, 3);
    EXPECT_EQ(kmath_nmmatrix_determinant(&swap, &det), KMATH_OK);
    EXPECT_EQ(det, -1.0);
    EXPECT_EQ(kmath_nmmatrix_determinant(&ones, &det), KMATH_OK);
    EXPECT_EQ(det, -1e-12);
    for (const double value : {0.0, -0.0, 1e-20, -7.5, nan, inf}) {
        const Matrix one = {{value}};
        EXPECT_EQ(kmath_nmmatrix_determinant(&one, &det), KMATH_OK);
        EXPECT_TRUE(sameBits(det, value));
    }
    det = 77.0;
    EXPECT_EQ(kmath_nmmatrix_determinant(&oblong, &det), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(det, 77.0);
    Matrix r;
    double scale[2];
    std::int32_t perm[2];
    const Matrix b = {{1, 1}};
    Matrix lu(2, 2);
    EXPECT_EQ(kmath_nmmatrix_inverse(&ones, &r), KMATH_ERR_SINGULAR);
    EXPECT_EQ(kmath_nmmatrix_solve_fast_and_loose(&ones, &b, &lu, scale, perm, &r),
              KMATH_ERR_SINGULAR);
}

TEST(LuRules, AMatrixWithoutRowsIsRegular)
{
    const Matrix none(0, 0), b(0, 1);
    Matrix x = {{5}}, inverse = {{5}};
    double det = nan, condition = nan;
    EXPECT_EQ(kmath_nmmatrix_determinant(&none, &det), KMATH_OK);
    EXPECT_EQ(det, 1.0);
    EXPECT_EQ(kmath_nmmatrix_inverse(&none, &inverse), KMATH_OK);
    EXPECT_EQ(inverse.rows(), 0);
    EXPECT_EQ(kmath_nmmatrix_solve(&none, &b, &x, 0, &condition, 1e30), KMATH_OK);
    EXPECT_EQ(x.rows(), 0);
    EXPECT_EQ(kmath_nmmatrix_solve(&none, &b, &x, 1, &condition, 1e30), KMATH_OK);
}

TEST(LuRules, NullArgumentsAreReported)
{
    Matrix a = support::identity(2), b(2, 1), x(2, 1), lu(2, 2);
    double condition, scale[2];
    std::int32_t perm[2], *out;
    const std::function<void()> calls[] = {
        [&] { kmath_nmmatrix_LU(nullptr, &out, 1); },
        [&] { kmath_nmmatrix_LU(&a, nullptr, 1); },
        [&] { kmath_nmmatrix_solve(nullptr, &b, &x, 0, &condition, 1e9); },
        [&] { kmath_nmmatrix_solve(&a, nullptr, &x, 0, &condition, 1e9); },
        [&] { kmath_nmmatrix_solve(&a, &b, nullptr, 0, &condition, 1e9); },
        [&] { kmath_nmmatrix_solve(&a, &b, &x, 0, nullptr, 1e9); },
        [&] { kmath_nmmatrix_solve_fast_and_loose(nullptr, &b, &lu, scale, perm, &x); },
        [&] { kmath_nmmatrix_solve_fast_and_loose(&a, nullptr, &lu, scale, perm, &x); },
        [&] { kmath_nmmatrix_solve_fast_and_loose(&a, &b, nullptr, scale, perm, &x); },
        [&] { kmath_nmmatrix_solve_fast_and_loose(&a, &b, &lu, scale, perm, nullptr); },
        [&] { kmath_nmmatrix_inverse(nullptr, &x); },
        [&] { kmath_nmmatrix_inverse(&a, nullptr); },
    };
    int number = 0;
    for (const auto &call : calls)
        EXPECT_NE(assertedLine(call), 0) << "call " << number++;
}

} // namespace
