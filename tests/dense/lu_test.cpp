#include <kmath/nmmatrix.h>

#include "oracle/lu.hpp"
#include "support/matrices.hpp"
#include "support/services.hpp"
#include "support/svd_checks.hpp"

#include <gtest/gtest.h>

#include <lapacke.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <vector>

using namespace support;

namespace
{

constexpr double epsilon = std::numeric_limits<double>::epsilon();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// Factors of a matrix and the array that came with them.
struct Factors {
    explicit Factors(const Matrix &A, std::int32_t strict = 0) : lu(A)
    {
        status = kmath_nmmatrix_LU(&lu, &perm, strict);
    }
    Factors(const Factors &) = delete;
    Factors &operator=(const Factors &) = delete;
    ~Factors()
    {
        void *block = perm;
        ksys_memory_free_internal(&block);
    }

    Matrix lu;
    std::int32_t *perm = nullptr;
    kmath_status status;
};

/// Work storage of solve_fast_and_loose for n unknowns.
struct Work {
    explicit Work(int n) : lu(n, n), scale(static_cast<std::size_t>(n)), perm(scale.size()) {}

    kmath_status solve(const Matrix &A, const Matrix &b, Matrix &x)
    {
        return kmath_nmmatrix_solve_fast_and_loose(&A, &b, &lu, scale.data(), perm.data(), &x);
    }

    Matrix lu;
    std::vector<double> scale;
    std::vector<std::int32_t> perm;
};

Matrix column(std::initializer_list<double> elements)
{
    Matrix b(static_cast<int>(elements.size()), 1);
    int i = 0;
    for (const double element : elements)
        b(i++, 0) = element;
    return b;
}

const Matrix threeByThree = {{2, 1, 1}, {4, -6, 0}, {-2, 7, 2}}; // (1, 2, 3) gives (7, −8, 18)

// Matrices to factorise, each with max row sum 1.

double rowSumNorm(const Matrix &A)
{
    double most = 0.0;
    for (int i = 0; i < A.rows(); ++i) {
        double sum = 0.0;
        for (int j = 0; j < A.cols(); ++j)
            sum += std::fabs(A(i, j));
        most = std::fmax(most, sum);
    }
    return most;
}

Matrix normalised(Matrix A)
{
    kmath_nmmatrix_scale(&A, 1.0 / rowSumNorm(A));
    return A;
}

Matrix conditioned(int n, double condition)
{
    return withSingularValues(n, n, geometricValues(n, condition), static_cast<std::uint64_t>(n));
}

struct Family {
    const char *name;
    std::function<Matrix(int)> make;
};

const std::vector<Family> families = {
    {"random", [](int n) { return randomMatrix(n, n, static_cast<std::uint64_t>(n)); }},
    {"graded", [](int n) { return gradedMatrix(n, n, static_cast<std::uint64_t>(n)); }},
    {"rank-deficient", [](int n) { return matrixOfRank(n, n, (n + 1) / 2, 2); }},
    {"condition 1", [](int n) { return conditioned(n, 1.0); }},
    {"condition 1e7", [](int n) { return conditioned(n, 1e7); }},
    {"condition 1e14", [](int n) { return conditioned(n, 1e14); }},
};

void forEachSystem(const std::function<void(const Matrix &A, const oracle::Factors &)> &judge)
{
    for (int n = 1; n <= 200; ++n)
        for (const Family &family : families) {
            SCOPED_TRACE(testing::Message() << family.name << " n = " << n);
            const Matrix A = normalised(family.make(n));
            judge(A, oracle::factorise(A, false));
        }
}

double largest(const Matrix &x)
{
    double most = 0.0;
    for (int i = 0; i < x.rows(); ++i)
        for (int j = 0; j < x.cols(); ++j)
            most = std::fmax(most, std::fabs(x(i, j)));
    return most;
}

/// ‖A·x − b‖ / (‖A‖·‖x‖·n·ε) for columns x and b.
double solveRatio(const Matrix &A, const Matrix &x, const Matrix &b)
{
    double most = 0.0;
    for (int i = 0; i < A.rows(); ++i) {
        double rest = -b(i, 0);
        for (int j = 0; j < A.cols(); ++j)
            rest += A(i, j) * x(j, 0);
        most = std::fmax(most, std::fabs(rest));
    }
    return most / (rowSumNorm(A) * largest(x) * A.rows() * epsilon);
}

/// ‖I − A·X‖ / (n·‖A‖·‖X‖·ε).
double inverseRatio(const Matrix &A, const Matrix &X)
{
    const int n = A.rows();
    Matrix rest = identity(n);
    for (int i = 0; i < n; ++i)
        for (int k = 0; k < n; ++k)
            for (int j = 0; j < n; ++j)
                rest(i, j) -= A(i, k) * X(k, j);
    return rowSumNorm(rest) / (n * rowSumNorm(A) * rowSumNorm(X) * epsilon);
}

// LU

TEST(NmmatrixLU, SwapsTheRowsOfTheExchangeMatrix)
{
    const Factors f({{0, 1}, {1, 0}}, 1);
    ASSERT_EQ(f.status, KMATH_OK);
    EXPECT_EQ(f.perm[0], 1);
    EXPECT_EQ(f.perm[1], 1);
    EXPECT_TRUE(sameBits(f.lu, identity(2)));
}

TEST(NmmatrixLU, HasTheBitsOfTheTextbookLoop)
{
    for (const int n : {1, 3, 6, 20, 61})
        for (const bool strict : {false, true}) {
            const Matrix A = randomMatrix(n, n, 9);
            const oracle::Factors expected = oracle::factorise(A, strict);
            const Factors f(A, strict);
            ASSERT_EQ(f.status, KMATH_OK);
            EXPECT_TRUE(sameBits(f.lu, expected.lu));
            EXPECT_EQ(std::vector(f.perm, f.perm + n), expected.perm);
        }
}

TEST(NmmatrixLU, RefusesAMatrixThatIsNotSquareAndLeavesEverything)
{
    Matrix A = {{1, 2, 3}, {4, 5, 6}};
    const Matrix before = A;
    std::int32_t mine = 0;
    std::int32_t *perm = &mine;
    EXPECT_EQ(kmath_nmmatrix_LU(&A, &perm, 0), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(perm, &mine);
    EXPECT_TRUE(sameBits(A, before));
}

TEST(NmmatrixLU, TreatsATinyPivotAsAskedAndFreesTheArrayWhenItFails)
{
    const Matrix A = {{1, 1}, {1, 1}};
    for (const std::int32_t strict : {1, -1, 2}) {
        const std::int64_t before = liveBlocks();
        Matrix lu = A;
        std::int32_t *perm = nullptr;
        EXPECT_EQ(kmath_nmmatrix_LU(&lu, &perm, strict), KMATH_ERR_SINGULAR);
        EXPECT_EQ(perm, nullptr);
        EXPECT_EQ(liveBlocks(), before);
    }
    const Factors f(A, 0);
    EXPECT_EQ(f.status, KMATH_OK);
    EXPECT_TRUE(sameBits(f.lu, Matrix({{1, 1}, {1, 1e-12}})));
}

TEST(NmmatrixLU, RefusesARowOfZerosEvenIfNotStrict)
{
    for (const std::int32_t strict : {0, 1}) {
        const Factors f({{1, 2, 3}, {0, 0, 0}, {3, 2, 1}}, strict);
        EXPECT_EQ(f.status, KMATH_ERR_SINGULAR);
        EXPECT_EQ(f.perm, nullptr);
    }
}

TEST(NmmatrixLU, LeavesWhatTheTextbookLoopLeavesWhenAPivotIsRefused)
{
    for (const int n : {2, 5, 12, 33}) {
        Matrix A = randomMatrix(n, n, 4);
        for (int j = 0; j < n; ++j) {
            A(j, n / 2) = 0.0;
            A(n - 1, j) = j == n / 2 ? 1e-15 : A(n - 1, j);
        }
        const oracle::Factors expected = oracle::factorise(A, true);
        ASSERT_FALSE(expected.regular);
        const Factors f(A, 1);
        EXPECT_EQ(f.status, KMATH_ERR_SINGULAR);
        EXPECT_TRUE(sameBits(f.lu, expected.lu));
    }
}

TEST(NmmatrixLU, FactorisesAMatrixWithoutRows)
{
    const Factors f(Matrix(0, 0), 1);
    EXPECT_EQ(f.status, KMATH_OK);
}

// LUbksub and LUbksubOW

TEST(NmmatrixLUbksub, SolvesForAColumnAndForARow)
{
    const Factors f(threeByThree);
    const Matrix b = {{7, -8, 18}};
    Matrix x;
    ASSERT_EQ(kmath_nmmatrix_LUbksub(&f.lu, &b, f.perm, &x), KMATH_OK);
    EXPECT_LT(maxDifference(x, {{1, 2, 3}}), 1e-14);

    Matrix y(2, 2);
    const Matrix upright = column({7, -8, 18});
    ASSERT_EQ(kmath_nmmatrix_LUbksub(&f.lu, &upright, f.perm, &y), KMATH_OK);
    EXPECT_LT(maxDifference(y, column({1, 2, 3})), 1e-14);
    EXPECT_TRUE(sameBits(y(2, 0), x(0, 2)));
}

TEST(NmmatrixLUbksub, MaySolveInPlace)
{
    const Factors f(threeByThree);
    Matrix b = column({7, -8, 18});
    ASSERT_EQ(kmath_nmmatrix_LUbksub(&f.lu, &b, f.perm, &b), KMATH_OK);
    EXPECT_LT(maxDifference(b, column({1, 2, 3})), 1e-14);
}

TEST(NmmatrixLUbksub, ReportsItsLineOnceInAnOrdinaryCall)
{
    const Factors f(threeByThree);
    const Matrix b = column({1, 1, 1});
    Matrix x;
    const AssertionRecorder recorder;
    EXPECT_EQ(kmath_nmmatrix_LUbksub(&f.lu, &b, f.perm, &x), KMATH_OK);
    EXPECT_EQ(recorder.lines(), std::vector<std::int32_t>{440});
}

TEST(NmmatrixLUbksub, ReportsItsLineForNullArguments)
{
    const Factors f(threeByThree);
    const Matrix b = column({1, 1, 1});
    Matrix x;
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_LUbksub(nullptr, &b, f.perm, &x); }), 440);
    EXPECT_TRUE(sameBits(x, b)); // copied before the assertion
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_LUbksub(&f.lu, &b, nullptr, &x); }), 440);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_LUbksub(&f.lu, nullptr, f.perm, &x); }), 440);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_LUbksub(&f.lu, nullptr, f.perm, nullptr); }), 440);
    // A null x alone passes the inverted test; copying into it is what reports.
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_LUbksub(&f.lu, &b, f.perm, nullptr); }), 329);
}

TEST(NmmatrixLUbksub, RefusesWrongShapesAfterCopying)
{
    const Factors f(threeByThree);
    const Matrix square = {{1, 2}, {3, 4}};
    for (const Matrix &b : {Matrix(2, 1), Matrix(4, 1), Matrix(1, 2), Matrix(1, 4), Matrix(1, 1),
                            Matrix(0, 1), Matrix(1, 0)}) {
        Matrix x = square;
        EXPECT_EQ(kmath_nmmatrix_LUbksub(&f.lu, &b, f.perm, &x), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_TRUE(sameBits(x, b));
    }
    const Matrix oblong(3, 4);
    const Matrix b = column({1, 2, 3});
    Matrix x;
    EXPECT_EQ(kmath_nmmatrix_LUbksub(&oblong, &b, f.perm, &x), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_TRUE(sameBits(x, b));
}

TEST(NmmatrixLUbksub, RefusesAPermutationThatNamesNoRow)
{
    const Factors f(threeByThree);
    for (const std::int32_t row : {-1, 3, INT32_MAX, INT32_MIN}) {
        const std::int32_t perm[] = {1, row, 2};
        const Matrix b = column({1, 2, 3});
        Matrix x = b;
        EXPECT_EQ(kmath_nmmatrix_LUbksub(&f.lu, &b, perm, &x), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(kmath_nmmatrix_LUbksubOW(&f.lu, &x, perm), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_TRUE(sameBits(x, b));
    }
}

TEST(NmmatrixLUbksub, TakesTheFirstElementsOfARectangle)
{
    const Factors f(threeByThree);
    const Matrix b = {{7, -8}, {18, 55}, {66, 77}};
    Matrix x;
    ASSERT_EQ(kmath_nmmatrix_LUbksub(&f.lu, &b, f.perm, &x), KMATH_OK);
    EXPECT_LT(maxDifference(x, {{1, 2}, {3, 55}, {66, 77}}), 1e-14);

    Matrix overwritten = b;
    ASSERT_EQ(kmath_nmmatrix_LUbksubOW(&f.lu, &overwritten, f.perm), KMATH_OK);
    EXPECT_TRUE(sameBits(overwritten, x));
}

TEST(NmmatrixLUbksub, RefusesARectangleWithTooFewElements)
{
    const Factors f(randomMatrix(7, 7));
    for (const Matrix &b : {Matrix(2, 3), Matrix(3, 2), Matrix(0, 5), Matrix(5, 0), Matrix(0, 0)}) {
        Matrix x = b;
        EXPECT_EQ(kmath_nmmatrix_LUbksub(&f.lu, &b, f.perm, &x), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(kmath_nmmatrix_LUbksubOW(&f.lu, &x, f.perm), KMATH_ERR_BAD_DIMENSIONS);
    }
    Matrix enough(4, 2);
    EXPECT_EQ(kmath_nmmatrix_LUbksubOW(&f.lu, &enough, f.perm), KMATH_OK);
}

TEST(NmmatrixLUbksubOW, ReadsAShrunkenColumnFromTheStoredRun)
{
    const Factors f(threeByThree);
    Matrix b = {{7, -8, 18, 4, 5}, {6, 7, 8, 9, 10}, {11, 12, 13, 14, 15}};
    double *const stored = b->rows[0];
    ASSERT_EQ(kmath_nmmatrix_resize_noClear(&b, 3, 1), KMATH_OK);
    ASSERT_EQ(kmath_nmmatrix_LUbksubOW(&f.lu, &b, f.perm), KMATH_OK);
    EXPECT_NEAR(stored[0], 1, 1e-14);
    EXPECT_NEAR(stored[1], 2, 1e-14);
    EXPECT_NEAR(stored[2], 3, 1e-14);
    EXPECT_EQ(stored[5], 6);
    EXPECT_EQ(stored[10], 11);
}

TEST(NmmatrixLUbksubOW, ReportsItsLineForNullArgumentsOnly)
{
    const Factors f(threeByThree);
    Matrix b = column({1, 1, 1});
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_LUbksubOW(nullptr, &b, f.perm); }), 413);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_LUbksubOW(&f.lu, nullptr, f.perm); }), 413);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_LUbksubOW(&f.lu, &b, f.perm); }), 0);
}

TEST(NmmatrixLUbksubOW, RefusesWrongShapesAndLeavesThem)
{
    const Factors f(threeByThree);
    for (const Matrix &b : {Matrix(2, 1), Matrix(4, 1), Matrix(1, 2), Matrix(1, 4)}) {
        Matrix x = b;
        EXPECT_EQ(kmath_nmmatrix_LUbksubOW(&f.lu, &x, f.perm), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_TRUE(sameBits(x, b));
    }
}

TEST(NmmatrixLUbksubOW, AllocatesNothing)
{
    const Factors f(randomMatrix(30, 30));
    Matrix b = randomMatrix(30, 1, 8);
    EXPECT_EQ(allocationsOf([&] { kmath_nmmatrix_LUbksubOW(&f.lu, &b, f.perm); }), 0);
}

TEST(NmmatrixLUbksubOW, SolvesAnEmptySystem)
{
    const Matrix none(0, 0);
    for (Matrix b : {Matrix(0, 1), Matrix(1, 0), Matrix(0, 0)})
        EXPECT_EQ(kmath_nmmatrix_LUbksubOW(&none, &b, nullptr), KMATH_OK);
}

TEST(NmmatrixLUbksubOW, LeavesASmallResidualWhereNoPivotWasReplaced)
{
    int judged = 0;
    forEachSystem([&](const Matrix &A, const oracle::Factors &expected) {
        if (expected.replaced != 0)
            return;
        const Matrix b = randomMatrix(A.rows(), 1, 17);
        const Factors f(A);
        ASSERT_EQ(f.status, KMATH_OK);
        Matrix x = b;
        ASSERT_EQ(kmath_nmmatrix_LUbksubOW(&f.lu, &x, f.perm), KMATH_OK);
        EXPECT_LT(solveRatio(A, x, b), 30.0);
        ++judged;
    });
    EXPECT_GT(judged, 200);
}

// solve

/// One call with everything that it gives back.
struct Solved {
    Solved(const Matrix &A, const Matrix &b, double maxCondition, std::int32_t method = 0)
    {
        status = kmath_nmmatrix_solve(&A, &b, &x, method, &condition, maxCondition);
    }

    Matrix x = {{5, 6}};
    double condition = -1.0;
    kmath_status status;
};

TEST(NmmatrixSolve, SolvesForAColumnAndForARow)
{
    const Solved upright(threeByThree, column({7, -8, 18}), 1e10);
    ASSERT_EQ(upright.status, KMATH_OK);
    EXPECT_LT(maxDifference(upright.x, column({1, 2, 3})), 1e-14);

    const Solved flat(threeByThree, {{7, -8, 18}}, 1e10);
    ASSERT_EQ(flat.status, KMATH_OK);
    EXPECT_LT(maxDifference(flat.x, {{1, 2, 3}}), 1e-14);
}

TEST(NmmatrixSolve, HasTheBitsOfFactorisingAndSubstituting)
{
    for (const int n : {1, 2, 4, 5, 13, 40}) {
        Matrix A = randomMatrix(n, n, 31);
        for (int j = 0; j < n; ++j)
            A(j, n / 2) = A(j, 0); // a pivot is replaced
        const Matrix b = randomMatrix(n, 1, 32);
        const Solved solved(A, b, INFINITY);
        ASSERT_EQ(solved.status, KMATH_OK);

        const oracle::Factors f = oracle::factorise(A, false);
        Matrix expected = b;
        oracle::substitute(f.lu, f.perm.data(), expected->rows[0]);
        EXPECT_TRUE(sameBits(solved.x, expected)) << n;
    }
}

TEST(NmmatrixSolve, AgreesWithLapack)
{
    for (const int n : {1, 2, 3, 6, 17, 50}) {
        const Matrix A = conditioned(n, 1e6), b = randomMatrix(n, 1, 5);
        const Solved solved(A, b, 1e7);
        ASSERT_EQ(solved.status, KMATH_OK);
        EXPECT_LT(solveRatio(A, solved.x, b), 30.0);

        Matrix factors = A, expected = b;
        std::vector<lapack_int> pivots(static_cast<std::size_t>(n));
        ASSERT_EQ(LAPACKE_dgesv(LAPACK_ROW_MAJOR, n, 1, factors->rows[0], n, pivots.data(),
                                expected->rows[0], 1),
                  0);
        EXPECT_LT(maxDifference(solved.x, expected), 1e6 * n * epsilon * largest(expected)) << n;
    }
}

TEST(NmmatrixSolve, RefusesAnIllConditionedMatrixAndSaysHowBadItIs)
{
    const Matrix A = diagonal({8, 2}), b = column({8, 4});
    const Solved refused(A, b, 3.9);
    EXPECT_EQ(refused.status, KMATH_ERR_SINGULAR);
    EXPECT_NEAR(refused.condition, 4.0, 1e-14);
    EXPECT_TRUE(sameBits(refused.x, Matrix({{5, 6}})));

    const Solved least(A, b, refused.condition); // equal is let through
    EXPECT_EQ(least.status, KMATH_OK);
    EXPECT_TRUE(sameBits(least.x, column({1, 2})));
    EXPECT_EQ(Solved(A, b, std::nextafter(refused.condition, 0.0)).status, KMATH_ERR_SINGULAR);
}

TEST(NmmatrixSolve, LetsNothingThroughANaNLimit)
{
    const Solved solved(identity(2), column({1, 2}), nan);
    EXPECT_EQ(solved.status, KMATH_ERR_SINGULAR);
    EXPECT_EQ(solved.condition, 1.0);
}

TEST(NmmatrixSolve, LetsNoNaNConditionThrough)
{
    const Solved solved({{INFINITY}}, column({1}), INFINITY, 1);
    EXPECT_EQ(solved.status, KMATH_ERR_SINGULAR);
    EXPECT_TRUE(std::isnan(solved.condition));
    EXPECT_TRUE(sameBits(solved.x, Matrix({{5, 6}})));
}

TEST(NmmatrixSolve, PassesTheConditionMethodThrough)
{
    // Singular values 1 and 2, but as a symmetric matrix it is read by its lower triangle alone.
    const Matrix A = {{0, 2}, {1, 0}};
    double general, symmetric;
    ASSERT_EQ(kmath_nmmatrix_conditionNumber(&A, 0, &general), KMATH_OK);
    ASSERT_EQ(kmath_nmmatrix_conditionNumber(&A, 1, &symmetric), KMATH_OK);
    ASSERT_NE(general, symmetric);
    EXPECT_EQ(Solved(A, column({1, 1}), 10, 0).condition, general);
    EXPECT_EQ(Solved(A, column({1, 1}), 10, 1).condition, symmetric);
    EXPECT_EQ(Solved(A, column({1, 1}), 10, 7).condition, symmetric);
}

TEST(NmmatrixSolve, ReplacesATinyPivotWhenTheConditionTestLetsItThrough)
{
    const Matrix A = {{1, 1}, {1, 1}}, b = column({1, 2});
    EXPECT_EQ(Solved(A, b, 1e10).status, KMATH_ERR_SINGULAR);
    const Solved solved(A, b, INFINITY);
    EXPECT_EQ(solved.status, KMATH_OK);
    // swapped: x₁ = (1 − 2) / 1e-12 and x₀ = 2 − x₁
    EXPECT_TRUE(sameBits(solved.x, column({2 - -1 / 1e-12, -1 / 1e-12})));
}

TEST(NmmatrixSolve, RefusesARowOfZeros)
{
    const Solved solved({{1, 2}, {0, 0}}, column({1, 2}), INFINITY);
    EXPECT_EQ(solved.status, KMATH_ERR_SINGULAR);
    EXPECT_TRUE(sameBits(solved.x, column({1, 2})));
}

TEST(NmmatrixSolve, MaySolveIntoItsArguments)
{
    double condition;
    Matrix b = column({7, -8, 18});
    ASSERT_EQ(kmath_nmmatrix_solve(&threeByThree, &b, &b, 0, &condition, 1e10), KMATH_OK);
    EXPECT_LT(maxDifference(b, column({1, 2, 3})), 1e-14);

    Matrix A = threeByThree;
    const Matrix c = column({7, -8, 18});
    ASSERT_EQ(kmath_nmmatrix_solve(&A, &c, &A, 0, &condition, 1e10), KMATH_OK);
    EXPECT_TRUE(sameBits(A, b));
}

TEST(NmmatrixSolve, RefusesWrongShapesAndLeavesEverything)
{
    const auto expectRefused = [](const Matrix &A, const Matrix &b) {
        const Solved solved(A, b, INFINITY);
        EXPECT_EQ(solved.status, KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(solved.condition, -1.0);
        EXPECT_TRUE(sameBits(solved.x, Matrix({{5, 6}})));
    };
    expectRefused(Matrix(2, 3), Matrix(2, 1));
    expectRefused(identity(3), Matrix(2, 1));
    expectRefused(identity(3), Matrix(1, 4));
    expectRefused(identity(7), Matrix(2, 3));
}

TEST(NmmatrixSolve, TakesTheFirstElementsOfARectangle)
{
    const Solved solved(threeByThree, {{7, -8}, {18, 55}}, 1e10);
    ASSERT_EQ(solved.status, KMATH_OK);
    EXPECT_LT(maxDifference(solved.x, {{1, 2}, {3, 55}}), 1e-14);
}

TEST(NmmatrixSolve, SolvesAnEmptySystemWhateverTheLimit)
{
    for (const double limit : {1e30, 1.0, nan}) {
        const Solved solved(Matrix(0, 0), Matrix(0, 1), limit);
        EXPECT_EQ(solved.status, KMATH_OK);
        EXPECT_EQ(solved.condition, 1e28);
        EXPECT_TRUE(sameBits(solved.x, Matrix(0, 1)));
    }
}

TEST(NmmatrixSolve, EndsForNumbersThatAreNotFinite)
{
    for (const double odd : {nan, static_cast<double>(INFINITY), -1e308, 5e-324})
        for (const std::int32_t method : {0, 1}) {
            const Matrix A = build(5, 5, [&](int i, int j) { return i == j ? 1.0 : odd; });
            const Matrix b = build(5, 1, [&](int, int) { return odd; });
            const Solved solved(A, b, INFINITY, method);
            EXPECT_TRUE(solved.status == KMATH_OK || solved.status == KMATH_ERR_SINGULAR);
        }
}

TEST(NmmatrixSolve, AssertsItsPointers)
{
    const Matrix A = identity(1), b = column({1});
    Matrix x;
    double condition;
    const auto solve = kmath_nmmatrix_solve;
    EXPECT_GT(assertedLine([&] { solve(nullptr, &b, &x, 0, &condition, 9); }), 0);
    EXPECT_GT(assertedLine([&] { solve(&A, nullptr, &x, 0, &condition, 9); }), 0);
    EXPECT_GT(assertedLine([&] { solve(&A, &b, nullptr, 0, &condition, 9); }), 0);
    EXPECT_GT(assertedLine([&] { solve(&A, &b, &x, 0, nullptr, 9); }), 0);
    EXPECT_EQ(assertedLine([&] { solve(&A, &b, &x, 0, &condition, 9); }), 0);
}

TEST(NmmatrixSolve, SurvivesEveryFailingAllocation)
{
    const Matrix A = randomMatrix(17, 17), b = randomMatrix(17, 1);
    for (const std::int32_t method : {0, 1})
        sweepAllocationFailures([&] {
            Matrix x;
            double condition;
            return kmath_nmmatrix_solve(&A, &b, &x, method, &condition, INFINITY);
        });
}

// solve_fast_and_loose

TEST(NmmatrixSolveFastAndLoose, AgreesWithLapack)
{
    for (const int n : {1, 2, 3, 6, 17, 50, 120}) {
        const Matrix A = conditioned(n, 1e3), b = randomMatrix(n, 1, 5);
        Work work(n);
        Matrix x;
        ASSERT_EQ(work.solve(A, b, x), KMATH_OK);

        Matrix factors = A, expected = b;
        std::vector<lapack_int> pivots(static_cast<std::size_t>(n));
        ASSERT_EQ(LAPACKE_dgesv(LAPACK_ROW_MAJOR, n, 1, factors->rows[0], n, pivots.data(),
                                expected->rows[0], 1),
                  0);
        EXPECT_LT(maxDifference(x, expected), 1e3 * n * epsilon * largest(expected)) << n;
    }
}

TEST(NmmatrixSolveFastAndLoose, AllocatesNothing)
{
    for (const int n : {1, 3, 4, 6, 40}) {
        const Matrix A = randomMatrix(n, n, 2);
        for (const Matrix &b : {randomMatrix(n, 1), randomMatrix(1, n)}) {
            Work work(n);
            Matrix x(b.rows(), b.cols());
            EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(work.solve(A, b, x), KMATH_OK); }), 0);
        }
    }
}

TEST(NmmatrixSolveFastAndLoose, ReusesLargerWorkStorageAsItIs)
{
    Work work(6);
    double *const stored = work.lu->rows[0];
    for (const int n : {3, 6, 1, 5}) { // also back to a larger shape
        const Matrix A = randomMatrix(n, n, 3), b = randomMatrix(n, 1);
        Matrix x(n, 1);
        EXPECT_EQ(allocationsOf([&] { ASSERT_EQ(work.solve(A, b, x), KMATH_OK); }), 0);
        EXPECT_EQ(work.lu.rows(), n);
        EXPECT_EQ(work.lu.cols(), n);
        EXPECT_EQ(work.lu->rows[0], stored);
        EXPECT_TRUE(sameBits(work.lu, oracle::factorise(A, true).lu));
        EXPECT_LT(solveRatio(A, x, b), 30.0);
    }
}

TEST(NmmatrixSolveFastAndLoose, RefusesATinyPivotWithTheRightHandSideInX)
{
    const Matrix b = column({3, 4});
    for (const Matrix &A : {Matrix({{1, 1}, {1, 1}}), Matrix({{1, 2}, {0, 0}})}) {
        Work work(2);
        Matrix x;
        EXPECT_EQ(work.solve(A, b, x), KMATH_ERR_SINGULAR);
        EXPECT_TRUE(sameBits(x, b));
    }
}

TEST(NmmatrixSolveFastAndLoose, MaySolveIntoItsArguments)
{
    Work work(3);
    Matrix b = column({7, -8, 18});
    ASSERT_EQ(work.solve(threeByThree, b, b), KMATH_OK);
    EXPECT_LT(maxDifference(b, column({1, 2, 3})), 1e-14);

    Matrix A = threeByThree;
    ASSERT_EQ(work.solve(A, column({7, -8, 18}), A), KMATH_OK);
    EXPECT_TRUE(sameBits(A, b));
}

TEST(NmmatrixSolveFastAndLoose, RefusesWrongShapesAndLeavesEverything)
{
    const auto expectRefused = [](const Matrix &A, const Matrix &b) {
        Work work(3);
        Matrix x = {{5, 6}};
        EXPECT_EQ(work.solve(A, b, x), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_TRUE(sameBits(x, Matrix({{5, 6}})));
        EXPECT_TRUE(sameBits(work.lu, Matrix(3, 3)));
    };
    expectRefused(Matrix(2, 3), Matrix(2, 1));
    expectRefused(identity(3), Matrix(2, 1));
    expectRefused(identity(3), Matrix(1, 4));
    expectRefused(identity(3), Matrix(2, 0));
    expectRefused(identity(7), Matrix(2, 3));
}

TEST(NmmatrixSolveFastAndLoose, RefusesWorkStorageThatIsNone)
{
    Matrix lu, x;
    double scale[2];
    std::int32_t perm[2];
    const Matrix A = identity(2), b = column({1, 2});
    EXPECT_EQ(kmath_nmmatrix_solve_fast_and_loose(&A, &b, &lu, scale, perm, &x),
              KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(lu.rows(), 0);
}

TEST(NmmatrixSolveFastAndLoose, SolvesAnEmptySystem)
{
    Matrix lu, x(2, 2);
    const Matrix A(0, 0), b(0, 1);
    EXPECT_EQ(kmath_nmmatrix_solve_fast_and_loose(&A, &b, &lu, nullptr, nullptr, &x), KMATH_OK);
    EXPECT_TRUE(sameBits(x, b));
}

TEST(NmmatrixSolveFastAndLoose, AssertsItsRecords)
{
    const Matrix A = identity(1), b = column({1});
    Work w(1);
    Matrix x;
    double *const scale = w.scale.data();
    std::int32_t *const perm = w.perm.data();
    const auto solve = kmath_nmmatrix_solve_fast_and_loose;
    EXPECT_GT(assertedLine([&] { solve(nullptr, &b, &w.lu, scale, perm, &x); }), 0);
    EXPECT_GT(assertedLine([&] { solve(&A, nullptr, &w.lu, scale, perm, &x); }), 0);
    EXPECT_GT(assertedLine([&] { solve(&A, &b, nullptr, scale, perm, &x); }), 0);
    EXPECT_GT(assertedLine([&] { solve(&A, &b, &w.lu, scale, perm, nullptr); }), 0);
    EXPECT_EQ(assertedLine([&] { solve(&A, &b, &w.lu, scale, perm, &x); }), 0);
}

// inverse

TEST(NmmatrixInverse, HasTheBitsOfOneSubstitutionAColumn)
{
    for (const int n : {1, 2, 3, 4, 6, 7, 19, 50}) {
        const Matrix A = randomMatrix(n, n, 11);
        Matrix X;
        ASSERT_EQ(kmath_nmmatrix_inverse(&A, &X), KMATH_OK);
        EXPECT_TRUE(sameBits(X, oracle::inverse(oracle::factorise(A, true))));
    }
}

TEST(NmmatrixInverse, MayReplaceItsArgument)
{
    for (const int n : {3, 9}) {
        const Matrix A = randomMatrix(n, n, 12);
        Matrix expected, X = A;
        ASSERT_EQ(kmath_nmmatrix_inverse(&A, &expected), KMATH_OK);
        ASSERT_EQ(kmath_nmmatrix_inverse(&X, &X), KMATH_OK);
        EXPECT_TRUE(sameBits(X, expected));
    }
}

TEST(NmmatrixInverse, IsSingularExactlyWhereAPivotIsTinyAndElseLeavesASmallResidual)
{
    int regular = 0, singular = 0;
    forEachSystem([&](const Matrix &A, const oracle::Factors &expected) {
        const Matrix before = A;
        Matrix X = {{4, 2}};
        const kmath_status status = kmath_nmmatrix_inverse(&A, &X);
        EXPECT_TRUE(sameBits(A, before));
        if (expected.replaced != 0) {
            EXPECT_EQ(status, KMATH_ERR_SINGULAR);
            EXPECT_TRUE(sameBits(X, Matrix({{4, 2}})));
            ++singular;
        } else {
            ASSERT_EQ(status, KMATH_OK);
            EXPECT_LT(inverseRatio(A, X), 30.0);
            ++regular;
        }
    });
    EXPECT_GT(regular, 200);
    EXPECT_GT(singular, 20);
}

TEST(NmmatrixInverse, RefusesOblongAndSingularMatrices)
{
    Matrix X = {{5}};
    for (const Matrix &A : {Matrix(2, 3), Matrix(0, 1)})
        EXPECT_EQ(kmath_nmmatrix_inverse(&A, &X), KMATH_ERR_BAD_DIMENSIONS);
    for (const Matrix &A : {Matrix({{1, 1}, {1, 1}}), Matrix({{0}}), Matrix({{1e-14}}),
                            Matrix({{1, 2}, {0, 0}}), Matrix({{nan, nan}, {1, 2}})})
        EXPECT_EQ(kmath_nmmatrix_inverse(&A, &X), KMATH_ERR_SINGULAR);
    EXPECT_TRUE(sameBits(X, Matrix({{5}})));
}

TEST(NmmatrixInverse, InvertsAnEmptyMatrix)
{
    const Matrix A(0, 0);
    Matrix X(3, 3);
    EXPECT_EQ(kmath_nmmatrix_inverse(&A, &X), KMATH_OK);
    EXPECT_EQ(X.rows(), 0);
    EXPECT_EQ(X.cols(), 0);
}

// determinant

double determinant(const Matrix &A)
{
    double det = nan;
    EXPECT_EQ(kmath_nmmatrix_determinant(&A, &det), KMATH_OK);
    return det;
}

TEST(NmmatrixDeterminant, KnowsSmallMatrices)
{
    EXPECT_EQ(determinant({{0, 1}, {1, 0}}), -1.0);
    EXPECT_EQ(determinant({{2.385}}), 2.385);
    EXPECT_EQ(determinant({{0.0}}), 0.0);
    EXPECT_EQ(determinant({{1e-300}}), 1e-300); // no pivot is replaced
    EXPECT_TRUE(std::isnan(determinant({{nan}})));
    EXPECT_NEAR(determinant(threeByThree), -16.0, 1e-13);
    EXPECT_EQ(determinant(Matrix(0, 0)), 1.0);
}

TEST(NmmatrixDeterminant, IsZeroForARowOfZerosAndSmallForATinyPivot)
{
    EXPECT_TRUE(sameBits(determinant({{1, 2}, {0, 0}}), 0.0));
    EXPECT_TRUE(sameBits(determinant({{0, 0}, {-1, 2}}), 0.0));
    EXPECT_EQ(determinant({{1, 1}, {1, 1}}), -1e-12);
}

TEST(NmmatrixDeterminant, MultipliesThePivotsUpwards)
{
    for (const int n : {2, 5, 18, 64}) {
        const Matrix A = randomMatrix(n, n, 21);
        const oracle::Factors f = oracle::factorise(A, false);
        double product = f.parity;
        for (int i = 0; i < n; ++i)
            product *= f.lu(i, i);
        EXPECT_TRUE(sameBits(determinant(A), product));
    }
}

TEST(NmmatrixDeterminant, AgreesWithReferenceValues)
{
    // det and condition number in the Frobenius or the spectral norm, computed with 60 digits
    struct Hilbert {
        int n;
        double det, condition;
    };
    constexpr Hilbert hilberts[] = {{3, 0.000462962962962962962962963, 524.0567775860608},
                                    {4, 1.653439153439153439153439e-7, 15513.738738932588},
                                    {6, 5.36729988735868773278883e-18, 14951058.640131217},
                                    {8, 2.737050113791513016642043e-33, 15257575741.646943},
                                    {10, 2.164179226431491869060595e-53, 16026286870216.883}};
    for (const Hilbert &h : hilberts) {
        const Matrix A = build(h.n, h.n, [](int i, int j) { return 1.0 / (i + j + 1); });
        EXPECT_NEAR(determinant(A) / h.det, 1.0, h.n * epsilon * h.condition) << h.n;
    }
    const Matrix frank =
        build(6, 6, [](int i, int j) { return j >= i - 1 ? 6 - std::max(i, j) : 0; });
    EXPECT_NEAR(determinant(frank), 1.0, 6 * epsilon * 13.0 / 0.077 * 10);
    Matrix pascal = build(6, 6, [](int, int) { return 1.0; });
    for (int i = 1; i < 6; ++i)
        for (int j = 1; j < 6; ++j)
            pascal(i, j) = pascal(i - 1, j) + pascal(i, j - 1);
    EXPECT_NEAR(determinant(pascal), 1.0, 6 * epsilon * 332.8463 / 0.0030044);
}

TEST(NmmatrixDeterminant, RefusesAnOblongMatrixAndLeavesTheResult)
{
    const Matrix A(2, 3);
    double det = 5.0;
    EXPECT_EQ(kmath_nmmatrix_determinant(&A, &det), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(det, 5.0);
}

// What all of them share

TEST(NmmatrixLuFamily, AssertsItsPointers)
{
    Matrix A = identity(2);
    std::int32_t *perm = nullptr;
    double det;
    EXPECT_GT(assertedLine([&] { kmath_nmmatrix_LU(nullptr, &perm, 0); }), 0);
    EXPECT_GT(assertedLine([&] { kmath_nmmatrix_LU(&A, nullptr, 0); }), 0);
    EXPECT_GT(assertedLine([&] { kmath_nmmatrix_inverse(nullptr, &A); }), 0);
    EXPECT_GT(assertedLine([&] { kmath_nmmatrix_inverse(&A, nullptr); }), 0);
    EXPECT_GT(assertedLine([&] { kmath_nmmatrix_determinant(nullptr, &det); }), 0);
    EXPECT_GT(assertedLine([&] { kmath_nmmatrix_determinant(&A, nullptr); }), 0);
    EXPECT_EQ(assertedLine([&] {
                  kmath_nmmatrix_inverse(&A, &A);
                  kmath_nmmatrix_determinant(&A, &det);
              }),
              0);
}

TEST(NmmatrixLuFamily, SurvivesEveryFailingAllocation)
{
    const int n = 9;
    const Matrix A = randomMatrix(n, n), b = randomMatrix(17, 1);
    Matrix lu = A;
    sweepAllocationFailures([&] {
        kmath_nmmatrix_assign(&lu, &A); // takes nothing, as the shape is the same
        std::int32_t *perm = nullptr;
        const kmath_status status = kmath_nmmatrix_LU(&lu, &perm, 1);
        void *block = perm;
        ksys_memory_free_internal(&block);
        return status;
    });
    sweepAllocationFailures([&] {
        Matrix X;
        return kmath_nmmatrix_inverse(&A, &X);
    });
    sweepAllocationFailures([&] {
        double det;
        return kmath_nmmatrix_determinant(&A, &det);
    });
    const Matrix large = randomMatrix(17, 17);
    const Factors f(large);
    sweepAllocationFailures([&] {
        Matrix x;
        return kmath_nmmatrix_LUbksub(&f.lu, &b, f.perm, &x);
    });
    Work work(17);
    sweepAllocationFailures([&] {
        Matrix x;
        return work.solve(large, b, x);
    });
}

TEST(NmmatrixLuFamily, LeavesWhatItShouldWhenAnAllocationFails)
{
    Matrix A = randomMatrix(9, 9);
    const Matrix before = A;
    double det = 5.0;
    for (int number = 0; number < 4; ++number) { // perm, the two blocks of the copy, scale
        failAllocation(number);
        EXPECT_EQ(kmath_nmmatrix_determinant(&A, &det), KMATH_ERR_NO_MEMORY);
        EXPECT_EQ(det, 5.0);
    }
    for (int number = 0; number < 2; ++number) { // perm, scale
        std::int32_t mine = 0, *perm = &mine;
        failAllocation(number);
        EXPECT_EQ(kmath_nmmatrix_LU(&A, &perm, 0), KMATH_ERR_NO_MEMORY);
        EXPECT_EQ(perm, nullptr);
    }
    failAllocation(-1);
    EXPECT_TRUE(sameBits(A, before));
}

TEST(NmmatrixLuFamily, ReportsAMatrixThatLostItsStorage)
{
    Matrix lost, lostColumn;
    failAllocation(0);
    ASSERT_EQ(kmath_nmmatrix_resize(&lost, 8, 8), KMATH_ERR_NO_MEMORY);
    failAllocation(0);
    ASSERT_EQ(kmath_nmmatrix_resize(&lostColumn, 8, 1), KMATH_ERR_NO_MEMORY);
    failAllocation(-1);

    const Factors f(identity(8));
    Work work(8);
    Matrix x = column({5, 6}), b = randomMatrix(8, 1);
    double det = 5.0;
    std::int32_t *perm = nullptr;
    EXPECT_EQ(kmath_nmmatrix_LU(&lost, &perm, 0), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(perm, nullptr);
    EXPECT_EQ(kmath_nmmatrix_determinant(&lost, &det), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(det, 5.0);
    EXPECT_EQ(kmath_nmmatrix_inverse(&lost, &x), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(kmath_nmmatrix_LUbksubOW(&lost, &b, f.perm), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(kmath_nmmatrix_LUbksubOW(&f.lu, &lostColumn, f.perm), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(kmath_nmmatrix_LUbksub(&f.lu, &lostColumn, f.perm, &x), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(work.solve(lost, b, x), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(work.solve(f.lu, lostColumn, x), KMATH_ERR_NO_MEMORY);
    EXPECT_TRUE(sameBits(x, column({5, 6})));
}

} // namespace
