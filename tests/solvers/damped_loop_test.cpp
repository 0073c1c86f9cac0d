#include "solvers/script.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

using namespace support;

namespace
{

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

INSTANTIATE_TEST_SUITE_P(, DampedLoop, testing::Values(levmarqsolve, linsolve),
                         testing::PrintToStringParamName());

TEST_P(DampedLoop, EndsAfterOneEvaluationWhenTheCostIsWithinTolerance)
{
    for (const double residual : {0.0, 1e-15, -1e-15, 3e-16}) { // squares up to 1e-30
        ScriptedRun run(driver, {residual});
        run.solver->lambda = 0.37;
        run.minimize();
        EXPECT_EQ(run.status, KMATH_OK);
        EXPECT_EQ(run.script.evaluations, 1u);
        EXPECT_EQ(run.script.jacobians, 0u);
        EXPECT_EQ(run.finalCost, residual * residual);
        EXPECT_EQ(run.solver->lambda, 0.37);
        EXPECT_EQ(run.params(), start);
    }
    ScriptedRun above(driver, {1.0000001e-15});
    above.minimize();
    EXPECT_EQ(above.script.jacobians, 1u);
}

TEST_P(DampedLoop, SquaresItsTolerances)
{
    ScriptedRun within(driver, {3.0});
    within.solver->costTolerance = -3.0; // 9 is not above 9
    within.minimize();
    EXPECT_EQ(within.script.jacobians, 0u);

    ScriptedRun above(driver, {3.0, 2.0, 1.0});
    above.solver->costTolerance = 2.5; // 9 is above 6.25, 4 is not
    above.minimize();
    EXPECT_EQ(above.script.jacobians, 1u);
    EXPECT_EQ(above.finalCost, 4.0);
}

TEST_P(DampedLoop, EndsAfterOneEvaluationWithoutIterations)
{
    for (const std::int32_t iterations : {0, -1, INT32_MIN}) {
        ScriptedRun run(driver, {3.0});
        run.solver->maxIterations = iterations;
        run.minimize();
        EXPECT_EQ(run.status, KMATH_OK);
        EXPECT_EQ(run.script.evaluations, 1u);
        EXPECT_EQ(run.script.jacobians, 0u);
        EXPECT_EQ(run.finalCost, 9.0);
        EXPECT_EQ(run.solver->lambda, l0);
    }
}

TEST_P(DampedLoop, EndsWhenTheCostIsNotANumber)
{
    ScriptedRun run(driver, {nan, 0.0});
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.script.evaluations, 1u);
    EXPECT_EQ(run.script.jacobians, 0u);
    EXPECT_TRUE(sameBits(run.finalCost, nan * nan));
    EXPECT_EQ(run.solver->lambda, l0);
    EXPECT_EQ(run.params(), start);

    ScriptedRun tolerance(driver, {3.0});
    tolerance.solver->costTolerance = nan;
    tolerance.minimize();
    EXPECT_EQ(tolerance.script.evaluations, 1u);
    EXPECT_EQ(tolerance.finalCost, 9.0);
}

TEST_P(DampedLoop, LowersTheDampingOnSuccessAndRaisesItOnRejection)
{
    // Costs 100; then 144 and 121, both rejected, and 64; then 49; then 0.
    ScriptedRun run(driver, {10.0, 12.0, 11.0, 8.0, 7.0, 0.0});
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.script.jacobians, 3u);

    // Each rejected try starts again from the accepted parameters.
    const double l1 = driver.raised(l0), l2 = driver.raised(l1), l3 = l2 * 0.1, l4 = l3 * 0.1;
    const double p1 = from(start, l2), p2 = from(p1, l3), p3 = from(p2, l4);
    EXPECT_EQ(run.script.triedParams,
              (std::vector{start, from(start, l0), from(start, l1), p1, p2, p3}));
    EXPECT_EQ(run.params(), p3);
    EXPECT_EQ(run.finalCost, 0.0);
    EXPECT_EQ(run.lastResidual(), 0.0);
    run.expectLambda(l4 * 0.1);
}

TEST_P(DampedLoop, AcceptsAnEqualCostAndEnds)
{
    ScriptedRun run(driver, {3.0, -3.0});
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.script.evaluations, 2u);
    EXPECT_EQ(run.params(), from(start, l0));
    EXPECT_EQ(run.finalCost, 9.0);
    EXPECT_EQ(run.lastResidual(), -3.0);
    run.expectLambda(l0 * 0.1);
}

TEST_P(DampedLoop, EndsOnADecreaseBelowTheSquaredToleranceOnly)
{
    // Cost 25 falls to 16, by 9 exactly.
    for (const bool below : {false, true}) {
        ScriptedRun run(driver, {5.0, 4.0, 4.0});
        run.solver->decreaseTolerance = below ? std::nextafter(3.0, 4.0) : 3.0;
        run.minimize();
        EXPECT_EQ(run.script.jacobians, below ? 1u : 2u);
        EXPECT_EQ(run.finalCost, 16.0);
        const double p1 = from(start, l0);
        EXPECT_EQ(run.params(), below ? p1 : from(p1, l0 * 0.1));
    }

    // With a tolerance of 0 even an equal cost does not end the iteration.
    ScriptedRun never(driver, {5.0, 5.0});
    never.solver->decreaseTolerance = 0.0;
    never.solver->maxIterations = 7;
    never.minimize();
    EXPECT_EQ(never.script.jacobians, 7u);
}

TEST_P(DampedLoop, EndsAtTheIterationCap)
{
    ScriptedRun run(driver, {9.0, 8.0, 7.0, 6.0, 5.0});
    run.solver->maxIterations = 3;
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.script.jacobians, 3u);
    EXPECT_EQ(run.params(), from(from(from(start, l0), l0 * 0.1), l0 * 0.1 * 0.1));
    EXPECT_EQ(run.finalCost, 36.0);
    run.expectLambda(l0 * 0.1 * 0.1 * 0.1);
}

TEST_P(DampedLoop, RaisesTheDampingThroughFifteenRejectedTriesAndStays)
{
    ScriptedRun run(driver, {2.0, 3.0});
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.script.evaluations, 16u);
    EXPECT_EQ(run.params(), start);
    EXPECT_EQ(run.finalCost, 9.0); // of the last try, though it was rejected
    EXPECT_EQ(run.lastResidual(), 3.0);
    EXPECT_EQ(run.solver->trialParams.rows[0][0], start);
    run.expectLambda(driver.raised(l0, 15));
    for (std::size_t i = 1; i < 16; ++i)
        EXPECT_EQ(run.script.triedParams[i], from(start, driver.raised(l0, i - 1)));
}

TEST_P(DampedLoop, DropsATryThatSucceedsAtTheCap)
{
    ScriptedRun run(driver, {4.0, 6.0, 5.0, 1.0});
    run.solver->maxTries = 3;
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.params(), start);
    EXPECT_EQ(run.finalCost, 1.0); // though its cost is reported
    EXPECT_EQ(run.lastResidual(), 1.0);
    EXPECT_EQ(run.solver->trialParams.rows[0][0], from(start, driver.raised(l0, 2)));
    run.expectLambda(driver.raised(l0, 2) * 0.1);
}

TEST_P(DampedLoop, NeverMovesWithASingleTry)
{
    ScriptedRun run(driver, {4.0, 0.0});
    run.solver->maxTries = 1;
    run.minimize();
    EXPECT_EQ(run.params(), start);
    EXPECT_EQ(run.finalCost, 0.0);
    EXPECT_EQ(run.script.jacobians, 1u);
}

TEST_P(DampedLoop, CountsTheTriesOfEachIterationAnew)
{
    ScriptedRun run(driver, {9.0, 10.0, 8.0, 10.0, 7.0, 10.0, 0.0});
    run.solver->maxTries = 3;
    run.minimize();
    EXPECT_EQ(run.script.jacobians, 3u);
    EXPECT_EQ(run.finalCost, 0.0);

    double lambda = l0, p = start;
    for (int iteration = 0; iteration < 3; ++iteration) {
        lambda = driver.raised(lambda);
        p = from(p, lambda);
        lambda *= 0.1;
    }
    EXPECT_EQ(run.params(), p);
}

TEST_P(DampedLoop, TriesOnUntilAcceptedWithoutACap)
{
    for (const std::int32_t cap : {0, -1, INT32_MIN})
        for (const std::size_t rejections : {1u, 15u, 200u}) {
            std::vector<double> residuals(rejections + 1, 3.0);
            residuals[0] = 2.0;
            residuals.push_back(0.0);
            ScriptedRun run(driver, residuals);
            run.solver->maxTries = cap;
            run.minimize();
            EXPECT_EQ(run.status, KMATH_OK);
            EXPECT_EQ(run.script.evaluations, rejections + 2);
            EXPECT_EQ(run.params(), from(start, driver.raised(l0, rejections)));
            EXPECT_EQ(run.finalCost, 0.0);
        }
}

TEST_P(DampedLoop, GoesOnFromAParameterWhoseCostIsNotANumber)
{
    ScriptedRun run(driver, {2.0, nan, nan, 0.0});
    run.minimize();
    const double p1 = from(start, l0), p2 = from(p1, l0 * 0.1), p3 = from(p2, l0 * 0.1 * 0.1);
    EXPECT_EQ(run.script.triedParams, (std::vector{start, p1, p2, p3}));
    EXPECT_EQ(run.params(), p3);
    run.expectLambda(l0 * 0.1 * 0.1 * 0.1);
}

TEST_P(DampedLoop, EndsAtTheTryCapWhenEveryCostIsNotANumber)
{
    ScriptedRun run(driver, {2.0, nan});
    run.solver->lambda = 1e3; // falls with each try, and the solve refuses a tiny one
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.script.evaluations, 16u);
    EXPECT_TRUE(std::isnan(run.finalCost));
    EXPECT_EQ(run.params(), start);
}

TEST_P(DampedLoop, EndsAtTheIterationCapWhenTheCostStaysInfinite)
{
    // The squares overflow; infinite minus infinite is no decrease.
    ScriptedRun run(driver, {1e200, -1e200});
    run.solver->lambda = 1e95; // not tiny even after the last iteration
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.script.jacobians, 100u);
    EXPECT_EQ(run.finalCost, std::numeric_limits<double>::infinity());
}

TEST_P(DampedLoop, WorksOnCopiesOfItsTuning)
{
    ScriptedRun run(driver, {9.0, 8.0, 7.0, 6.0, 0.0});
    run.solver->compJacobian = [](kmath_levmarqsolve *solver, const kmath_nmmatrix *params,
                                  const kmath_nmmatrix *residuals, kmath_nmmatrix *jacobian,
                                  kmath_nmmatrix *gradient, kmath_nmmatrix *normalMatrix,
                                  void *userData) {
        solver->lambda = 1e9;
        solver->maxIterations = 1;
        solver->maxTries = 1;
        solver->costTolerance = 1e9;
        solver->decreaseTolerance = 1e9;
        return scriptedJacobian(solver, params, residuals, jacobian, gradient, normalMatrix,
                                userData);
    };
    run.minimize();
    EXPECT_EQ(run.script.jacobians, 4u);
    EXPECT_EQ(run.finalCost, 0.0);
    EXPECT_EQ(run.script.triedParams[2], from(from(start, l0), l0 * 0.1));
    EXPECT_EQ(run.solver->lambda, driver.lambdaAfter(1e9, l0 * 0.1 * 0.1 * 0.1 * 0.1));
}

TEST_P(DampedLoop, StartsFromTheDampingOfTheRecord)
{
    ScriptedRun run(driver, {2.0, 3.0});
    run.solver->maxTries = 3;
    run.minimize();
    const double left = run.solver->lambda;
    run.expectLambda(driver.raised(l0, 3));
    run.script.triedParams.clear();
    run.script.evaluations = 0;
    run.minimize();
    EXPECT_EQ(run.script.triedParams,
              (std::vector{start, from(start, left), from(start, driver.raised(left)),
                           from(start, driver.raised(left, 2))}));
    EXPECT_EQ(run.solver->lambda, driver.lambdaAfter(l0, driver.raised(left, 3)));
}

// Full evaluations carry −1, no mask and job 0.

kmath_status expectFullI(kmath_levmarqsolve *, const kmath_nmmatrix *, kmath_nmmatrix *residuals,
                         std::int32_t paramIndex, std::int32_t *mask, void *userData)
{
    EXPECT_EQ(paramIndex, -1);
    EXPECT_EQ(mask, nullptr);
    residuals->rows[0][0] = 5.0 - static_cast<double>(scriptOf(userData).evaluations++);
    return KMATH_OK;
}

kmath_status expectFullIJ(kmath_levmarqsolve *solver, const kmath_nmmatrix *params,
                          kmath_nmmatrix *residuals, std::int32_t paramIndex, std::int32_t *mask,
                          std::int32_t jobIndex, void *userData)
{
    EXPECT_EQ(jobIndex, 0);
    return expectFullI(solver, params, residuals, paramIndex, mask, userData);
}

TEST_P(DampedLoop, TakesThePlainCallbackBeforeTheIndexedOnes)
{
    ScriptedRun run(driver, {1.0, 0.0});
    run.solver->funcI = expectFullI;
    run.solver->funcIJ = expectFullIJ;
    run.minimize();
    EXPECT_EQ(run.script.triedParams.size(), 2u); // only the plain one records them

    run.solver->func = nullptr;
    run.script.evaluations = 0;
    run.solver->funcIJ = nullptr;
    run.minimize();
    EXPECT_EQ(run.script.evaluations, 6u);

    run.solver->funcI = nullptr;
    run.solver->funcIJ = expectFullIJ;
    run.script.evaluations = 0;
    run.minimize();
    EXPECT_EQ(run.script.evaluations, 6u);
    EXPECT_EQ(run.finalCost, 0.0);
    EXPECT_EQ(run.script.triedParams.size(), 2u);
}

} // namespace
