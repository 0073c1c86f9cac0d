#include "solvers/problems.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace support;

namespace
{

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

kmath_status direction(Solver &s, Matrix &N, const Matrix &g, Matrix &step, double lambda)
{
    return kmath_levmarqsolve_compSearchDirLinSys(&s, &N, &g, &step, lambda, nullptr);
}

// B·Bᵀ + n·I, well conditioned.
Matrix positiveDefinite(std::int32_t n, std::uint64_t seed = 1)
{
    const Matrix B = randomMatrix(n, n, seed);
    return build(n, n, [&](std::int32_t i, std::int32_t j) {
        double sum = i == j ? n : 0.0;
        for (std::int32_t k = 0; k < n; ++k)
            sum += B(i, k) * B(j, k);
        return sum;
    });
}

// The diagonal after λ has been added and subtracted again.
Matrix restored(const Matrix &N, double lambda)
{
    Matrix result = N;
    for (std::int32_t i = 0; i < N.rows(); ++i)
        result(i, i) = (N(i, i) + lambda) + -lambda;
    return result;
}

TEST(LevmarqsolveSearchDirection, AssertsItsPointers)
{
    Solver s;
    Matrix N = identity(2), step;
    const Matrix g(1, 2);
    const auto call = kmath_levmarqsolve_compSearchDirLinSys;
    EXPECT_EQ(assertedLine([&] { call(nullptr, &N, &g, &step, 1.0, nullptr); }), 369);
    EXPECT_EQ(assertedLine([&] { call(&s, nullptr, &g, &step, 1.0, nullptr); }), 369);
    EXPECT_EQ(assertedLine([&] { call(&s, &N, nullptr, &step, 1.0, nullptr); }), 369);
    EXPECT_EQ(assertedLine([&] { call(&s, &N, &g, nullptr, 1.0, nullptr); }), 369);
}

TEST(LevmarqsolveSearchDirection, SolvesTheDampedSystem)
{
    // (N + I)·δ = g with N + I = diag(4, 2).
    Solver s;
    Matrix N = diagonal({3.0, 1.0}), step;
    const Matrix g{{8.0, 16.0}};
    ASSERT_EQ(direction(s, N, g, step, 1.0), KMATH_OK);
    EXPECT_TRUE(sameBits(step, Matrix{{2.0, 8.0}}));
    EXPECT_TRUE(sameBits(N, diagonal({3.0, 1.0})));
}

TEST(LevmarqsolveSearchDirection, LeavesASmallResidualOnRandomSystems)
{
    for (const std::int32_t n : {1, 2, 3, 6, 7, 17, 40})
        for (const double lambda : {0.0, 0.01, 2.385, 1e6}) {
            Solver s;
            const Matrix original = positiveDefinite(n, static_cast<std::uint64_t>(n));
            const Matrix g = randomMatrix(1, n, 9);
            Matrix N = original, step;
            ASSERT_EQ(direction(s, N, g, step, lambda), KMATH_OK);
            ASSERT_EQ(step.rows(), 1);
            ASSERT_EQ(step.cols(), n);
            for (std::int32_t i = 0; i < n; ++i) {
                double sum = lambda * step(0, i);
                for (std::int32_t j = 0; j < n; ++j)
                    sum += original(i, j) * step(0, j);
                EXPECT_NEAR(sum, g(0, i), 1e-12);
            }
            EXPECT_TRUE(sameBits(N, restored(original, lambda)));
        }
}

TEST(LevmarqsolveSearchDirection, RestoresTheDiagonalByAddingTheNegative)
{
    Solver s;
    const Matrix original = diagonal({0.1, 3.0, 1e-9});
    for (const double lambda : {0.3, 1e10, 1e17, -0.05}) {
        Matrix N = original, step;
        const Matrix g{{1.0, 2.0, 3.0}};
        ASSERT_EQ(direction(s, N, g, step, lambda), KMATH_OK);
        EXPECT_TRUE(sameBits(N, restored(original, lambda)));
    }
}

TEST(LevmarqsolveSearchDirection, FallsBackAboveTheConditionLimit)
{
    // N + I = diag(4, 2) has condition 2. The pseudo-inverse inverts 4 and damps 2 to 2/t²,
    // t = 4/√1.5, so 2·1.5/16.
    Matrix N = diagonal({3.0, 1.0}), step;
    const Matrix g{{8.0, 16.0}};
    Solver s;
    s->maxConditionNumber = 1.5;
    ASSERT_EQ(direction(s, N, g, step, 1.0), KMATH_OK);
    ASSERT_EQ(step.rows(), 1);
    ASSERT_EQ(step.cols(), 2);
    EXPECT_NEAR(step(0, 0), 2.0, 1e-14);
    EXPECT_NEAR(step(0, 1), 3.0, 1e-14);
    EXPECT_TRUE(sameBits(N, diagonal({3.0, 1.0})));

    s->maxConditionNumber = 2.0; // at the limit the solve goes ahead
    ASSERT_EQ(direction(s, N, g, step, 1.0), KMATH_OK);
    EXPECT_EQ(step(0, 1), 8.0);
}

TEST(LevmarqsolveSearchDirection, TakesTheConditionOfASymmetricMatrix)
{
    // The lower triangle is that of the unit matrix, with condition 1; the singular values of the
    // whole are about 1000 and 0.001.
    Solver s;
    s->maxConditionNumber = 2.0;
    Matrix N{{1.0, 1000.0}, {0.0, 1.0}}, step;
    const Matrix g{{2002.0, 2.0}};
    ASSERT_EQ(direction(s, N, g, step, 0.0), KMATH_OK);
    EXPECT_TRUE(sameBits(step, Matrix{{2.0, 2.0}}));
}

TEST(LevmarqsolveSearchDirection, FallsBackForASingularMatrix)
{
    // [[1, 1], [1, 1]] has the pseudo-inverse ¼·[[1, 1], [1, 1]].
    Solver s;
    s->maxConditionNumber = 1e12; // rounding makes the smaller eigenvalue about 1e-17, not 0
    Matrix N{{1.0, 1.0}, {1.0, 1.0}}, step;
    const Matrix g{{3.0, 5.0}};
    ASSERT_EQ(direction(s, N, g, step, 0.0), KMATH_OK);
    EXPECT_NEAR(step(0, 0), 2.0, 1e-5);
    EXPECT_NEAR(step(0, 1), 2.0, 1e-5);
}

TEST(LevmarqsolveSearchDirection, GivesNoStepForAZeroMatrix)
{
    Solver s;
    Matrix N(3, 3), step;
    const Matrix g{{1.0, 2.0, 3.0}};
    ASSERT_EQ(direction(s, N, g, step, 0.0), KMATH_OK);
    EXPECT_TRUE(sameBits(step, Matrix(1, 3)));
}

TEST(LevmarqsolveSearchDirection, LeavesTheMatrixDampedWhenTheFallbackFails)
{
    for (const double poison : {nan, infinity}) {
        Solver s;
        Matrix N{{poison, 0.0}, {0.0, 3.0}}, step;
        const Matrix g{{1.0, 2.0}};
        EXPECT_EQ(direction(s, N, g, step, 0.5), KMATH_ERR_SINGULAR);
        EXPECT_EQ(N(1, 1), 3.5);
    }
    for (const double lambda : {nan, infinity}) {
        Solver s;
        Matrix N = identity(7), step;
        const Matrix g(1, 7);
        EXPECT_EQ(direction(s, N, g, step, lambda), KMATH_ERR_SINGULAR);
        EXPECT_TRUE(sameBits(N(6, 6), lambda));
    }
}

TEST(LevmarqsolveSearchDirection, RefusesShapesThatDoNotFit)
{
    Solver s;
    for (const Matrix &g : {Matrix(1, 4), Matrix(1, 2), Matrix()}) {
        Matrix N = identity(3), step;
        EXPECT_EQ(direction(s, N, g, step, 0.25), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(N(2, 2), 1.25);
    }
}

TEST(LevmarqsolveSearchDirection, MayWriteTheStepOverTheGradient)
{
    for (const double limit : {1e20, 1.5}) {
        Solver s;
        s->maxConditionNumber = limit;
        Matrix N = diagonal({3.0, 1.0}), step, both{{8.0, 16.0}};
        const Matrix g = both;
        ASSERT_EQ(direction(s, N, g, step, 1.0), KMATH_OK);
        ASSERT_EQ(direction(s, N, both, both, 1.0), KMATH_OK);
        EXPECT_TRUE(sameBits(both, step));
    }
}

TEST(LevmarqsolveSearchDirection, FallsBackWhenAnAllocationOfTheSolveFails)
{
    const Matrix original = positiveDefinite(7), g = randomMatrix(1, 7, 4);
    Matrix plain = original, expected;
    Solver s;
    ASSERT_EQ(direction(s, plain, g, expected, 0.5), KMATH_OK);

    kmath_status status = KMATH_OK;
    double difference = 0.0, change = 0.0;
    int failures = 0;
    sweepAllocationFailures(
        [&](bool failed) {
            // Only the step itself, which the fallback needs too, stays out of reach of a single
            // failure here: the next request for it is granted.
            EXPECT_EQ(status, KMATH_OK);
            EXPECT_LT(difference, 1e-12);
            EXPECT_LT(change, 1e-12);
            failures += failed;
        },
        [&] {
            failAllocation(-1);
            Matrix N = original, step;
            failAllocation(failures);
            status = direction(s, N, g, step, 0.5);
            difference = maxDifference(step, expected);
            change = maxDifference(N, original);
        });
    EXPECT_GT(failures, 0);
}

TEST(LevmarqsolveSearchDirection, PassesOutAFailingAllocationOfTheFallback)
{
    const Matrix g = randomMatrix(1, 7, 4);
    Solver s;
    s->maxConditionNumber = 0.5; // below any condition number
    kmath_status status = KMATH_OK;
    double diagonalElement = 0.0;
    int runs = 0, refused = 0;
    sweepAllocationFailures(
        [&](bool failed) {
            ++runs;
            refused += KMATH_IS_FAILURE(status);
            if (KMATH_IS_FAILURE(status)) {
                EXPECT_TRUE(failed);
                EXPECT_EQ(status, KMATH_ERR_NO_MEMORY);
                EXPECT_EQ(diagonalElement, 1.5); // still damped
            } else {
                EXPECT_EQ(diagonalElement, 1.0);
            }
        },
        [&] {
            failAllocation(-1);
            Matrix N = identity(7), step;
            failAllocation(runs);
            status = direction(s, N, g, step, 0.5);
            diagonalElement = N(6, 6);
        });
    EXPECT_GT(refused, 0);
}

} // namespace
