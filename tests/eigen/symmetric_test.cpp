#include <kmath/eigen.h>

#include "eigen/reference_matrices.hpp"
#include "kernels/tridiagonal.hpp"
#include "support/matrices.hpp"
#include "support/services.hpp"
#include "support/vectors.hpp"

#include <gtest/gtest.h>
#include <lapacke.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

using namespace support;

namespace
{

constexpr double epsilon = std::numeric_limits<double>::epsilon();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

struct Solution {
    Doubles lambda;
    Matrix Z;
    kmath_status status;

    explicit Solution(const Matrix &A) : status(kmath_nmmatrix_symEigenvalues(&A, &lambda, &Z)) {}

    std::vector<double> sorted() const
    {
        std::vector<double> values = lambda.values();
        std::sort(values.begin(), values.end());
        return values;
    }
};

// ‖A·Z − Z·Λ‖/(‖A‖·n·ε) in the 1-norm; the absolute residual for A = 0.
double residualRatio(const Matrix &A, const Matrix &Z, const std::vector<double> &values)
{
    const std::int32_t n = A.rows();
    Matrix R(n, n);
    kmath::kernels().product(R, A, Z);
    for (std::int32_t i = 0; i < n; ++i)
        for (std::int32_t j = 0; j < n; ++j)
            R(i, j) -= Z(i, j) * values[static_cast<std::size_t>(j)];
    const double norm = oneNorm(A);
    return oneNorm(R) / (norm > 0.0 ? norm * n * epsilon : 1.0);
}

// ‖ZᵀZ − I‖/(n·ε)
double orthogonalityRatio(const Matrix &Z)
{
    const std::int32_t n = Z.rows();
    Matrix G(n, n);
    kmath::kernels().Tproduct(G, Z, Z);
    for (std::int32_t i = 0; i < n; ++i)
        G(i, i) -= 1.0;
    return oneNorm(G) / (n * epsilon);
}

std::vector<double> lapackValues(Matrix A)
{
    std::vector<double> values(static_cast<std::size_t>(A.rows()));
    EXPECT_EQ(
        LAPACKE_dsyev(LAPACK_ROW_MAJOR, 'N', 'L', A.rows(), A->rows[0], A.cols(), values.data()),
        0);
    return values;
}

void expectDecomposition(const Matrix &A, const std::vector<double> &expected)
{
    const Solution solution(A);
    ASSERT_EQ(solution.status, KMATH_OK);
    EXPECT_LT(residualRatio(A, solution.Z, solution.lambda.values()), 60.0);
    EXPECT_LT(orthogonalityRatio(solution.Z), 60.0);

    const std::vector<double> values = solution.sorted();
    ASSERT_EQ(values.size(), expected.size());
    for (std::size_t i = 0; i < values.size(); ++i)
        EXPECT_NEAR(values[i], expected[i], 10.0 * A.rows() * epsilon * oneNorm(A)) << i;
}

Matrix orthogonalMatrix(std::int32_t n, std::uint64_t seed)
{
    Matrix Q = randomSymmetric(n, seed);
    std::vector<double> values(static_cast<std::size_t>(n));
    LAPACKE_dsyev(LAPACK_ROW_MAJOR, 'V', 'L', n, Q->rows[0], n, values.data());
    return Q;
}

// Q·Λ·Qᵀ, symmetric to the last bit.
Matrix withEigenvalues(std::int32_t n, const std::function<double(std::int32_t)> &lambda)
{
    const Matrix Q = orthogonalMatrix(n, 23);
    const Matrix QL =
        build(n, n, [&](std::int32_t i, std::int32_t j) { return Q(i, j) * lambda(j); });
    Matrix A(n, n);
    kmath::kernels().productT(A, QL, Q);
    return build(n, n, [&](std::int32_t i, std::int32_t j) { return i >= j ? A(i, j) : A(j, i); });
}

// 1 down to 10^−15 over the n positions.
double grade(std::int32_t i, std::int32_t n)
{
    return std::pow(10.0, n < 2 ? 0.0 : -15.0 * i / (n - 1));
}

struct Family {
    const char *name;
    std::function<Matrix(std::int32_t)> make;
};

const std::vector<Family> families{
    {"random", [](std::int32_t n) { return randomSymmetric(n, static_cast<std::uint64_t>(n)); }},
    {"graded downwards",
     [](std::int32_t n) {
         const Matrix R = randomSymmetric(n, 29);
         return build(n, n, [&](std::int32_t i, std::int32_t j) {
             return R(i, j) * std::sqrt(grade(i, n) * grade(j, n));
         });
     }},
    {"graded upwards",
     [](std::int32_t n) {
         const Matrix R = randomSymmetric(n, 31);
         return build(n, n, [&](std::int32_t i, std::int32_t j) {
             return R(i, j) * std::sqrt(grade(n - 1 - i, n) * grade(n - 1 - j, n));
         });
     }},
    {"of graded eigenvalues",
     [](std::int32_t n) {
         return withEigenvalues(n,
                                [n](std::int32_t i) { return i % 2 ? -grade(i, n) : grade(i, n); });
     }},
    {"rank-deficient",
     [](std::int32_t n) {
         return withEigenvalues(n, [n](std::int32_t i) { return i < n / 2 ? 1.0 + i : 0.0; });
     }},
    {"clustered",
     [](std::int32_t n) {
         return withEigenvalues(n, [](std::int32_t i) { return i % 3 - 1.0 + i * 4.0 * epsilon; });
     }},
};

TEST(SymEigenvalues, HasSmallResidualsAndTheValuesOfLapackUpToOrder200)
{
    for (std::int32_t n = 1; n <= 200; ++n)
        for (std::size_t family = 0; family < families.size(); ++family) {
            // Large orders take the families in turn.
            if (n > 40 && n != 200 && static_cast<std::size_t>(n) % families.size() != family)
                continue;
            SCOPED_TRACE(testing::Message() << families[family].name << ", n = " << n);
            const Matrix A = families[family].make(n);
            expectDecomposition(A, lapackValues(A));
        }
}

TEST(SymEigenvalues, FindsTheKnownValuesOfReferenceMatrices)
{
    for (const reference::Case &known : reference::symmetricCases()) {
        SCOPED_TRACE(testing::Message() << known.name << ", n = " << known.A.rows());
        expectDecomposition(known.A, known.eigenvalues);
    }
}

TEST(SymEigenvalues, SeparatesThePairsOfWilkinsonsMatrix)
{
    const reference::Case W = reference::wilkinson21();
    const Solution solution(W.A);
    ASSERT_EQ(solution.status, KMATH_OK);
    const std::vector<double> values = solution.sorted();
    EXPECT_NEAR(values[20], 10.74619418290339343185746, 1e-14);
    EXPECT_NEAR(values[19], 10.74619418290332183228991, 1e-14);
}

TEST(SymEigenvalues, GivesTheElementOfA1x1Matrix)
{
    for (const double a : {2.385, -7.25, 0.0, 1e300, 5e-324, infinity, nan}) {
        const Solution solution(Matrix{{a}});
        ASSERT_EQ(solution.status, KMATH_OK);
        EXPECT_TRUE(support::sameBits(solution.lambda.values().at(0), a));
        EXPECT_TRUE(support::sameBits(solution.Z, Matrix{{1.0}}));
    }
}

TEST(SymEigenvalues, GivesADiagonalInItsOrderWithUnitVectors)
{
    for (const std::int32_t n : {1, 2, 3, 5, 6, 7, 17, 60}) {
        const Matrix R = randomMatrix(n, n, 37);
        const Matrix D = build(
            n, n, [&](std::int32_t i, std::int32_t j) { return i == j ? 100.0 * R(i, i) : 0.0; });
        const Solution solution(D);
        ASSERT_EQ(solution.status, KMATH_OK);
        const std::vector<double> values = solution.lambda.values();
        for (std::int32_t i = 0; i < n; ++i)
            EXPECT_EQ(values[static_cast<std::size_t>(i)], D(i, i)) << n;
        EXPECT_TRUE(support::sameBits(solution.Z, identity(n))) << n;
    }
}

// (5, 2; 2, 2) has the eigenvalues 6 and 1 along (2, 1) and (1, −2).
TEST(SymEigenvalues, KeepsEachVectorInTheColumnOfItsValue)
{
    const Solution solution(Matrix{{5, 2}, {2, 2}});
    ASSERT_EQ(solution.status, KMATH_OK);
    const std::vector<double> values = solution.lambda.values();
    for (std::int32_t i = 0; i < 2; ++i) {
        const double x = solution.Z(0, i);
        const double y = solution.Z(1, i);
        const bool six = values[static_cast<std::size_t>(i)] > 3.5;
        EXPECT_NEAR(values[static_cast<std::size_t>(i)], six ? 6.0 : 1.0, 8.0 * epsilon);
        EXPECT_NEAR(six ? x - 2.0 * y : 2.0 * x + y, 0.0, 8.0 * epsilon);
        EXPECT_NEAR(x * x + y * y, 1.0, 8.0 * epsilon);
    }
}

TEST(SymEigenvalues, SolvesConstantMatricesOfEveryOrderUpTo200)
{
    for (std::int32_t n = 1; n <= 200; ++n) {
        SCOPED_TRACE(n);
        const Matrix A = build(n, n, [](std::int32_t, std::int32_t) { return 2.385; });
        std::vector<double> expected(static_cast<std::size_t>(n), 0.0);
        expected.back() = 2.385 * n;
        if (n <= 40 || n % 16 == 0) {
            expectDecomposition(A, expected);
        } else {
            const Solution solution(A);
            ASSERT_EQ(solution.status, KMATH_OK);
            EXPECT_NEAR(solution.sorted().back(), 2.385 * n, 24.0 * n * n * epsilon);
        }
    }
}

TEST(SymEigenvalues, GivesZerosAndUnitVectorsForAZeroMatrix)
{
    for (const std::int32_t n : {1, 2, 4, 5, 6, 7, 40, 200}) {
        const Solution solution(Matrix(n, n));
        ASSERT_EQ(solution.status, KMATH_OK);
        EXPECT_EQ(solution.lambda.values(), std::vector<double>(static_cast<std::size_t>(n), 0.0));
        EXPECT_TRUE(support::sameBits(solution.Z, identity(n)));
    }
}

TEST(SymEigenvalues, GivesEmptyOutputsForAnEmptyMatrix)
{
    const Matrix empty(0, 0);
    Doubles lambda;
    Matrix Z(3, 5);
    ASSERT_EQ(kstd_vectord_resize(&lambda, 4), KMATH_OK);
    EXPECT_EQ(kmath_nmmatrix_symEigenvalues(&empty, &lambda, &Z), KMATH_OK);
    EXPECT_TRUE(lambda.values().empty());
    EXPECT_EQ(Z.rows(), 0);
    EXPECT_EQ(Z.cols(), 0);
}

TEST(SymEigenvalues, RefusesAMatrixThatIsNotSquareAndTouchesNothing)
{
    for (const Matrix &A : {Matrix(2, 3), Matrix(3, 2), Matrix(0, 3), Matrix(7, 8), Matrix(9, 1)}) {
        Doubles lambda;
        Matrix Z{{2.385}};
        EXPECT_EQ(kmath_nmmatrix_symEigenvalues(&A, &lambda, &Z), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_TRUE(lambda.values().empty());
        EXPECT_TRUE(support::sameBits(Z, Matrix{{2.385}}));
    }
}

TEST(SymEigenvalues, ReadsTheLowerTriangleAloneAndKeepsTheMatrix)
{
    for (const std::int32_t n : {2, 4, 6, 7, 20}) {
        const Matrix A = randomSymmetric(n, 41);
        const Matrix lower =
            build(n, n, [&](std::int32_t i, std::int32_t j) { return i >= j ? A(i, j) : nan; });
        const Matrix before = lower;
        const Solution whole(A), half(lower);
        ASSERT_EQ(half.status, KMATH_OK);
        EXPECT_EQ(whole.lambda.values(), half.lambda.values()) << n;
        EXPECT_TRUE(support::sameBits(whole.Z, half.Z)) << n;
        EXPECT_TRUE(support::sameBits(lower, before)) << n;
    }
}

TEST(SymEigenvalues, MayTurnTheMatrixItselfIntoTheVectors)
{
    for (const std::int32_t n : {3, 5, 9}) {
        const Matrix A = randomSymmetric(n, 43);
        const Solution apart(A);
        Matrix inPlace = A;
        Doubles lambda;
        ASSERT_EQ(kmath_nmmatrix_symEigenvalues(&inPlace, &lambda, &inPlace), KMATH_OK);
        EXPECT_EQ(lambda.values(), apart.lambda.values());
        EXPECT_TRUE(support::sameBits(inPlace, apart.Z));
    }
}

TEST(SymEigenvalues, HasTheBitsOfTheKernelWithoutVectors)
{
    for (const std::int32_t n : {1, 2, 3, 4, 5, 6, 7, 8, 33}) {
        Matrix A = randomSymmetric(n, 47);
        const Solution solution(A);
        std::vector<double> d(static_cast<std::size_t>(n)), e(d);
        kmath::tridiagonalise(A->rows, n, d.data(), e.data(), false);
        ASSERT_TRUE(kmath::implicitQL(d.data(), e.data(), n, nullptr));
        EXPECT_EQ(solution.lambda.values(), d) << n;
    }
}

// An uncoupled last row and column takes part in nothing, so the leading matrix of order 6 goes
// the long way with the same numbers.
TEST(SymEigenvalues, HasTheSameBitsOnThePathsOfOrder6And7)
{
    const Matrix small = randomSymmetric(6, 53);
    const Matrix large = build(7, 7, [&](std::int32_t i, std::int32_t j) {
        return i < 6 && j < 6 ? small(i, j) : i == j ? 2.385 : 0.0;
    });
    const Solution six(small), seven(large);
    ASSERT_EQ(six.status, KMATH_OK);
    ASSERT_EQ(seven.status, KMATH_OK);
    std::vector<double> values = six.lambda.values();
    values.push_back(2.385);
    EXPECT_EQ(seven.lambda.values(), values);
    const Matrix leading =
        build(6, 6, [&](std::int32_t i, std::int32_t j) { return seven.Z(i, j); });
    EXPECT_TRUE(support::sameBits(leading, six.Z));
}

TEST(SymEigenvalues, ScalesExactlyWithPowersOfTwo)
{
    for (const std::int32_t n : {2, 3, 6, 7, 20})
        for (const double scale : {0x1p-996, 0x1p-500, 0x1p500, 0x1p996}) {
            const Matrix A = randomSymmetric(n, 59);
            const Matrix scaled =
                build(n, n, [&](std::int32_t i, std::int32_t j) { return A(i, j) * scale; });
            const Solution plain(A), extreme(scaled);
            ASSERT_EQ(extreme.status, KMATH_OK) << scale;
            std::vector<double> expected = plain.lambda.values();
            for (double &value : expected)
                value *= scale;
            EXPECT_EQ(extreme.lambda.values(), expected) << scale;
            EXPECT_TRUE(support::sameBits(extreme.Z, plain.Z)) << scale;
        }
}

TEST(SymEigenvalues, ReportsSingularForWhatIsNotFinite)
{
    for (const double bad : {nan, infinity, -infinity})
        for (const std::int32_t n : {2, 6, 7, 30}) {
            Matrix A = randomSymmetric(n, 61);
            A(n - 1, 0) = bad;
            const std::int64_t before = liveBlocks();
            Doubles lambda;
            {
                Matrix Z;
                EXPECT_EQ(kmath_nmmatrix_symEigenvalues(&A, &lambda, &Z), KMATH_ERR_SINGULAR);
            }
            EXPECT_EQ(liveBlocks(), before + (n <= 6 ? 1 : 0));
        }
}

TEST(SymEigenvalues, EndsOnAnyBits)
{
    const double odd[] = {0.0,    -0.0,    1.0,      -1.0,
                          5e-324, 1e-300,  1e-160,   1e160,
                          1e300,  -1e300,  infinity, -infinity,
                          nan,    0x1p-52, 2.385e8,  std::numeric_limits<double>::max()};
    std::mt19937_64 generator(67);
    for (int round = 0; round < 2000; ++round) {
        const auto n = static_cast<std::int32_t>(1 + generator() % 12);
        const std::size_t choice = round % 2 ? std::size(odd) : 10; // every other one finite
        const Matrix A =
            build(n, n, [&](std::int32_t, std::int32_t) { return odd[generator() % choice]; });
        const Solution solution(A);
        EXPECT_TRUE(solution.status == KMATH_OK || solution.status == KMATH_ERR_SINGULAR) << A;
    }
}

TEST(SymEigenvalues, ReportsNullArguments)
{
    const Matrix A{{1.0}};
    Doubles lambda;
    Matrix Z;
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_symEigenvalues(nullptr, &lambda, &Z); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_symEigenvalues(&A, nullptr, &Z); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_symEigenvalues(&A, &lambda, nullptr); }), 0);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_symEigenvalues(&A, &lambda, &Z); }), 0);
}

TEST(SymEigenvalues, AllocatesNothingButItsOutputsUpToOrder6)
{
    for (std::int32_t n = 1; n <= 6; ++n) {
        const Matrix A = randomSymmetric(n, 71);
        Doubles lambda;
        Matrix Z;
        const auto solve = [&] { kmath_nmmatrix_symEigenvalues(&A, &lambda, &Z); };
        // The vectors of order 5 and 6 do not fit into their record: elements and a row table.
        EXPECT_EQ(allocationsOf(solve), n <= 4 ? 1 : 3) << n;
        EXPECT_EQ(allocationsOf(solve), 0) << n;
    }
}

TEST(SymEigenvalues, SurvivesEveryFailingAllocation)
{
    for (const std::int32_t n : {1, 4, 6, 7, 20}) {
        const Matrix A = randomSymmetric(n, 73);
        sweepAllocationFailures([&] {
            Doubles lambda;
            Matrix Z;
            return kmath_nmmatrix_symEigenvalues(&A, &lambda, &Z);
        });
    }
}

} // namespace
