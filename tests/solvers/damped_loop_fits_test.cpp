#include "solvers/damped_driver.hpp"
#include "solvers/damped_oracle.hpp"
#include "solvers/problems.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

using namespace support;

namespace
{

void expectOraclesBits(const Driver &driver, Problem problem, const Tuning &tuning)
{
    for (const Shape shape : allShapes) {
        const Outcome expected = DampedOracle{problem, tuning, driver}.minimize();

        int evaluations = 0;
        Problem counted = problem;
        counted.residuals = [&](const double *p, double *r) {
            ++evaluations;
            problem.residuals(p, r);
        };
        Solver s;
        set(s, counted, shape);
        s->decreaseTolerance = tuning.decreaseTolerance;
        s->costTolerance = tuning.costTolerance;
        s->lambda = tuning.lambda;
        s->jacobianStep = tuning.jacobianStep;
        s->maxConditionNumber = tuning.maxConditionNumber;
        s->maxIterations = tuning.maxIterations;
        s->maxTries = tuning.maxTries;
        double cost = unwritten;
        EXPECT_EQ(driver.minimize(&s, &cost), expected.status);
        EXPECT_EQ(evaluations, expected.evaluations);
        EXPECT_TRUE(sameBits(cost, expected.cost)) << cost << ' ' << expected.cost;
        EXPECT_TRUE(sameBits(s->lambda, expected.lambda)) << s->lambda;
        for (std::int32_t j = 0; j < problem.n(); ++j)
            EXPECT_TRUE(
                sameBits(s->params.rows[0][j], expected.params[static_cast<std::size_t>(j)]))
                << "parameter " << j;
    }
}

TEST_P(DampedLoop, HasTheBitsOfTheTextbookLoop)
{
    for (const std::int32_t n : {1, 2, 5, 9, 17})
        for (const std::int32_t m : {1, n, 2 * n + 3}) {
            SCOPED_TRACE(testing::Message() << m << " residuals, " << n << " parameters");
            Tuning tuning;
            tuning.maxIterations = 25;
            expectOraclesBits(driver, waves(m, n), tuning);
        }
    expectOraclesBits(driver, rosenbrocksValley(), {});
}

TEST_P(DampedLoop, HasTheBitsOfTheTextbookLoopUnderAnyTuning)
{
    const auto with = [](auto field, auto value) {
        Tuning tuning;
        tuning.maxIterations = 25;
        tuning.*field = value;
        return tuning;
    };
    const Problem problems[] = {rosenbrocksValley(), waves(8, 4), waves(3, 5)};
    for (const Problem &problem : problems) {
        for (const double lambda : {0.0, 1e-12, 1.0, 1e6, -0.5})
            expectOraclesBits(driver, problem, with(&Tuning::lambda, lambda));
        for (const double condition : {0.0, 10.0, 1e5})
            expectOraclesBits(driver, problem, with(&Tuning::maxConditionNumber, condition));
        for (const double tolerance : {0.0, 1e-3, 2.0}) {
            expectOraclesBits(driver, problem, with(&Tuning::costTolerance, tolerance));
            expectOraclesBits(driver, problem, with(&Tuning::decreaseTolerance, tolerance));
        }
        for (const int tries : {1, 2, 3})
            expectOraclesBits(driver, problem, with(&Tuning::maxTries, tries));
        for (const int iterations : {0, 1, 2})
            expectOraclesBits(driver, problem, with(&Tuning::maxIterations, iterations));
        for (const double step : {1e-3, -1e-8, 1e-12})
            expectOraclesBits(driver, problem, with(&Tuning::jacobianStep, step));
    }
}

// A wall of NaN or infinity beside the way: costs that cannot be compared take part in the bits.
TEST_P(DampedLoop, HasTheBitsOfTheTextbookLoopAroundPoles)
{
    for (const double beyond :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()})
        for (const double wall : {-0.9, -0.3, 0.2, 0.9}) {
            SCOPED_TRACE(testing::Message() << beyond << " beyond " << wall);
            Problem problem = rosenbrocksValley();
            problem.residuals = [=](const double *p, double *r) {
                r[0] = p[0] > wall ? beyond : 10.0 * (p[1] - p[0] * p[0]);
                r[1] = 1.0 - p[0];
            };
            Tuning tuning;
            tuning.lambda = 1e3;
            expectOraclesBits(driver, problem, tuning);
        }
}

// Known minima.

Problem powellSingular()
{
    return {4, {3.0, -1.0, 0.0, 1.0}, [](const double *p, double *r) {
                r[0] = p[0] + 10.0 * p[1];
                r[1] = std::sqrt(5.0) * (p[2] - p[3]);
                r[2] = (p[1] - 2.0 * p[2]) * (p[1] - 2.0 * p[2]);
                r[3] = std::sqrt(10.0) * (p[0] - p[3]) * (p[0] - p[3]);
            }};
}

// 40 samples of 2.385·exp(−1.3·t) + 0.7, free of noise.
Problem exponential()
{
    return {40, {1.0, -0.5, 0.0}, [](const double *p, double *r) {
                for (int k = 0; k < 40; ++k) {
                    const double t = 0.1 * k;
                    r[k] = p[0] * std::exp(p[1] * t) + p[2] - (2.385 * std::exp(-1.3 * t) + 0.7);
                }
            }};
}

TEST_P(DampedLoop, FindsTheMinimumOfRosenbrocksValley)
{
    for (const Shape shape : allShapes) {
        Problem problem = rosenbrocksValley();
        Solver s;
        set(s, problem, shape);
        double cost;
        ASSERT_EQ(driver.minimize(&s, &cost), KMATH_OK);
        EXPECT_LT(cost, 1e-20);
        EXPECT_NEAR(s->params.rows[0][0], 1.0, 1e-8);
        EXPECT_NEAR(s->params.rows[0][1], 1.0, 1e-8);
    }
}

TEST_P(DampedLoop, ApproachesPowellsSingularMinimum)
{
    Problem problem = powellSingular();
    Solver s;
    set(s, problem);
    double cost;
    ASSERT_EQ(driver.minimize(&s, &cost), KMATH_OK);
    EXPECT_LT(cost, 1e-12);
    for (int j = 0; j < 4; ++j)
        EXPECT_NEAR(s->params.rows[0][j], 0.0, 1e-2);
}

TEST_P(DampedLoop, FitsAnExponentialDecay)
{
    Problem problem = exponential();
    Solver s;
    set(s, problem);
    double cost;
    ASSERT_EQ(driver.minimize(&s, &cost), KMATH_OK);
    EXPECT_NEAR(s->params.rows[0][0], 2.385, 1e-8);
    EXPECT_NEAR(s->params.rows[0][1], -1.3, 1e-8);
    EXPECT_NEAR(s->params.rows[0][2], 0.7, 1e-8);
    EXPECT_EQ(cost, costOf(problem, s->params));
}

TEST_P(DampedLoop, SolvesALinearProblemInAFewSteps)
{
    Problem problem = linearProblem();
    Solver s;
    set(s, problem);
    s->maxIterations = 6;
    double cost;
    ASSERT_EQ(driver.minimize(&s, &cost), KMATH_OK);
    EXPECT_LT(cost, 1e-18);
    for (int j = 0; j < 7; ++j)
        EXPECT_NEAR(s->params.rows[0][j], j % 2 ? -1.0 - j : 1.0 + j, 1e-9);
}

TEST_P(DampedLoop, LeavesOneParameterOfALinearProblemAtTheMean)
{
    // Σ (p − x_k)² is least at the mean of 1, 2, 6: 3, where it is 4 + 1 + 9.
    Problem problem{3, {100.0}, [](const double *p, double *r) {
                        r[0] = p[0] - 1.0;
                        r[1] = p[0] - 2.0;
                        r[2] = p[0] - 6.0;
                    }};
    Solver s;
    set(s, problem);
    double cost;
    ASSERT_EQ(driver.minimize(&s, &cost), KMATH_OK);
    EXPECT_NEAR(s->params.rows[0][0], 3.0, 1e-6);
    EXPECT_NEAR(cost, 14.0, 1e-12);
}

TEST_P(DampedLoop, HasTheSameBitsOnAnyNumberOfThreads)
{
    for (const Shape shape : allShapes)
        for (const std::int32_t interleave : {0, 1}) {
            Problem problem = waves(30, 9);
            Solver serial;
            set(serial, problem, shape);
            double serialCost = unwritten;
            const kmath_status expected = driver.minimize(&serial, &serialCost);
            for (const std::int32_t threads : {1, 2, 3, 8}) {
                const ThreadCount count(threads);
                Solver s;
                set(s, problem, shape);
                s->useThreads = 1;
                s->interleaveColumns = interleave;
                double cost = unwritten;
                EXPECT_EQ(driver.minimize(&s, &cost), expected);
                EXPECT_TRUE(sameBits(cost, serialCost));
                EXPECT_TRUE(sameBits(s->lambda, serial->lambda));
                for (int j = 0; j < 9; ++j)
                    EXPECT_TRUE(sameBits(s->params.rows[0][j], serial->params.rows[0][j]));
            }
        }
}

TEST_P(DampedLoop, IncreasesNoCostInAnyFit)
{
    for (std::int32_t n = 1; n <= 12; ++n) {
        Problem problem = waves(2 * n, n);
        Solver s;
        set(s, problem);
        const double before = costOf(problem, s->params);
        double cost;
        ASSERT_EQ(driver.minimize(&s, &cost), KMATH_OK);
        EXPECT_LE(costOf(problem, s->params), before);
    }
}

} // namespace
