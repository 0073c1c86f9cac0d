#include "solvers/problems.hpp"
#include "solvers/script.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <vector>

using namespace support;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// Keeps a record of λ; the step is always 1.
kmath_status scriptedDirection(kmath_levmarqsolve *solver, kmath_nmmatrix *normalMatrix,
                               const kmath_nmmatrix *gradient, kmath_nmmatrix *step, double lambda,
                               void *userData)
{
    EXPECT_EQ(normalMatrix, &solver->normalMatrix);
    EXPECT_EQ(gradient, &solver->gradient);
    EXPECT_EQ(step, &solver->step);
    Script &script = scriptOf(userData);
    if (script.lambdas.size() == script.failingDirection)
        return ownFailure;
    script.lambdas.push_back(lambda);
    step->rows[0][0] = 1.0;
    return KMATH_OK;
}

struct ScriptedRun {
    Solver solver;
    Script script;
    double finalCost = -7.0;
    kmath_status status = KMATH_OK;

    explicit ScriptedRun(std::vector<double> residuals)
    {
        script.residuals = std::move(residuals);
        const Matrix p{{start}};
        kmath_levmarqsolve_setSys(&solver, scriptedResidual, scriptedJacobian, 1, 1, &p, 1,
                                  &script);
        solver->compSearchDir = scriptedDirection;
    }

    void minimize() { status = kmath_levmarqsolve_minimize(&solver, &finalCost); }
    double params() { return solver->params.rows[0][0]; }
    double lastResidual() { return solver->residuals.rows[0][0]; }
};

double raised(double lambda, int times = 1)
{
    for (int i = 0; i < times; ++i)
        lambda *= 10.0;
    return lambda;
}

TEST(LevmarqsolveMinimize, AssertsItsPointers)
{
    Solver s;
    double cost;
    EXPECT_EQ(assertedLine([&] { kmath_levmarqsolve_minimize(nullptr, &cost); }), 439);
    EXPECT_EQ(assertedLine([&] { kmath_levmarqsolve_minimize(&s, nullptr); }), 439);
    EXPECT_EQ(assertedLine([&] { kmath_levmarqsolve_minimize(&s, &cost); }), 0);
}

TEST(LevmarqsolveMinimize, RefusesARecordWithoutASystem)
{
    Solver fresh;
    double cost = 2.385;
    EXPECT_EQ(kmath_levmarqsolve_minimize(&fresh, &cost), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(cost, 2.385);
    EXPECT_EQ(fresh->lambda, 0.01);

    for (const bool residuals : {true, false})
        for (const std::int32_t count : {0, -1, INT32_MIN}) {
            ScriptedRun run({2.0});
            (residuals ? run.solver->nResiduals : run.solver->nParams) = count;
            run.minimize();
            EXPECT_EQ(run.status, KMATH_ERR_BAD_DIMENSIONS);
            EXPECT_EQ(run.script.evaluations, 0u);
            EXPECT_EQ(run.finalCost, -7.0);
        }
}

// Callbacks that take every matrix to have the size that the setting call promises.
int callbackCalls;

kmath_status fillResiduals(kmath_levmarqsolve *solver, const kmath_nmmatrix *params,
                           kmath_nmmatrix *residuals, void *)
{
    ++callbackCalls;
    for (std::int32_t k = 0; k < solver->nResiduals; ++k)
        residuals->rows[0][k] = params->rows[0][solver->nParams - 1];
    return KMATH_OK;
}

kmath_status fillDerivatives(kmath_levmarqsolve *solver, const kmath_nmmatrix *,
                             const kmath_nmmatrix *, kmath_nmmatrix *jacobian,
                             kmath_nmmatrix *gradient, kmath_nmmatrix *normalMatrix, void *)
{
    ++callbackCalls;
    for (std::int32_t i = 0; i < solver->nParams; ++i) {
        gradient->rows[0][i] = 0.0;
        for (std::int32_t j = 0; j < solver->nParams; ++j)
            normalMatrix->rows[i][j] = 0.0;
        for (std::int32_t k = 0; k < solver->nResiduals; ++k)
            jacobian->rows[i][k] = 0.0;
    }
    return KMATH_OK;
}

kmath_status fillStep(kmath_levmarqsolve *solver, kmath_nmmatrix *, const kmath_nmmatrix *,
                      kmath_nmmatrix *step, double, void *)
{
    ++callbackCalls;
    for (std::int32_t i = 0; i < solver->nParams; ++i)
        step->rows[0][i] = 0.0;
    return KMATH_OK;
}

TEST(LevmarqsolveMinimize, RefusesASystemWhoseSettingFailed)
{
    const auto set = [](Solver &s, const Matrix &p, int m) {
        return kmath_levmarqsolve_setSys(&s, fillResiduals, fillDerivatives, m, p.cols(), &p, 1,
                                         nullptr);
    };
    const Matrix larger = randomMatrix(1, 19);
    // Two allocations each for params, jacobian, residuals, normalMatrix, gradient and step. Those
    // for trialParams and spareResiduals, which follow, are made up for.
    for (std::int64_t number = 0; number < 16; ++number)
        for (const int before : {0, 2, 21}) { // residuals of an earlier, smaller system
            SCOPED_TRACE(testing::Message() << "allocation " << number << " after " << before);
            Solver s;
            s->compSearchDir = fillStep;
            if (before > 0) {
                ASSERT_EQ(set(s, randomMatrix(1, 18), before), KMATH_OK);
            }
            double cost = 2.385;
            callbackCalls = 0;
            failAllocation(number);
            const kmath_status status = set(s, larger, 21);
            const bool failed = allocationHasFailed();
            failAllocation(-1);
            if (failed) {
                ASSERT_EQ(status, KMATH_ERR_NO_MEMORY);
            }
            const bool complete = s->step.rows && s->step.nCols == 19;
            EXPECT_EQ(kmath_levmarqsolve_minimize(&s, &cost),
                      complete ? KMATH_OK : KMATH_ERR_BAD_DIMENSIONS);
            EXPECT_EQ(callbackCalls > 0, complete);
            EXPECT_EQ(cost == 2.385, !complete);
            if (before == 0) {
                EXPECT_EQ(complete, number >= 12);
            }
        }
}

TEST(LevmarqsolveMinimize, LeavesTheJacobianToAFunctionThatSizesItItself)
{
    ScriptedRun run({2.0, 1.0, 1.0});
    failAllocation(0);
    EXPECT_EQ(kmath_nmmatrix_resize(&run.solver->jacobian, 5, 5), KMATH_ERR_NO_MEMORY);
    failAllocation(-1);
    run.solver->allocJacobian = 0;
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    run.solver->allocJacobian = 1;
    run.minimize();
    EXPECT_EQ(run.status, KMATH_ERR_BAD_DIMENSIONS);
}

TEST(LevmarqsolveMinimize, EndsAfterOneEvaluationWhenTheCostIsWithinTolerance)
{
    for (const double residual : {0.0, 1e-15, -1e-15, 3e-16}) { // squares up to 1e-30
        ScriptedRun run({residual});
        run.solver->lambda = 0.37;
        run.minimize();
        EXPECT_EQ(run.status, KMATH_OK);
        EXPECT_EQ(run.script.evaluations, 1u);
        EXPECT_EQ(run.script.jacobians, 0u);
        EXPECT_EQ(run.finalCost, residual * residual);
        EXPECT_EQ(run.solver->lambda, 0.37);
        EXPECT_EQ(run.params(), start);
    }
    ScriptedRun above({1.0000001e-15});
    above.minimize();
    EXPECT_EQ(above.script.jacobians, 1u);
}

TEST(LevmarqsolveMinimize, SquaresItsTolerances)
{
    ScriptedRun within({3.0});
    within.solver->costTolerance = -3.0; // 9 is not above 9
    within.minimize();
    EXPECT_EQ(within.script.jacobians, 0u);

    ScriptedRun above({3.0, 2.0, 1.0});
    above.solver->costTolerance = 2.5; // 9 is above 6.25, 4 is not
    above.minimize();
    EXPECT_EQ(above.script.jacobians, 1u);
    EXPECT_EQ(above.finalCost, 4.0);
}

TEST(LevmarqsolveMinimize, EndsAfterOneEvaluationWithoutIterations)
{
    for (const std::int32_t iterations : {0, -1, INT32_MIN}) {
        ScriptedRun run({3.0});
        run.solver->maxIterations = iterations;
        run.minimize();
        EXPECT_EQ(run.status, KMATH_OK);
        EXPECT_EQ(run.script.evaluations, 1u);
        EXPECT_EQ(run.script.jacobians, 0u);
        EXPECT_EQ(run.finalCost, 9.0);
        EXPECT_EQ(run.solver->lambda, 0.01);
    }
}

TEST(LevmarqsolveMinimize, EndsWhenTheCostIsNotANumber)
{
    ScriptedRun run({nan, 0.0});
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.script.evaluations, 1u);
    EXPECT_TRUE(std::isnan(run.finalCost));
    EXPECT_EQ(run.solver->lambda, 0.01);

    ScriptedRun tolerance({3.0});
    tolerance.solver->costTolerance = nan;
    tolerance.minimize();
    EXPECT_EQ(tolerance.script.evaluations, 1u);
    EXPECT_EQ(tolerance.finalCost, 9.0);
}

TEST(LevmarqsolveMinimize, LowersTheDampingOnSuccessAndRaisesItOnRejection)
{
    // Costs 100; then 144 and 121, both rejected, and 64; then 49; then 0.
    ScriptedRun run({10.0, 12.0, 11.0, 8.0, 7.0, 0.0});
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.script.jacobians, 3u);

    const double l0 = 0.01, l1 = l0 * 10.0, l2 = l1 * 10.0, l3 = l2 * 0.1, l4 = l3 * 0.1;
    EXPECT_EQ(run.script.lambdas, (std::vector{l0, l1, l2, l3, l4}));
    EXPECT_EQ(run.solver->lambda, l4 * 0.1);

    // Each rejected try starts again from the accepted parameters.
    EXPECT_EQ(run.script.triedParams, (std::vector{10.0, 9.0, 9.0, 9.0, 8.0, 7.0}));
    EXPECT_EQ(run.params(), 7.0);
    EXPECT_EQ(run.finalCost, 0.0);
    EXPECT_EQ(run.lastResidual(), 0.0);
}

TEST(LevmarqsolveMinimize, AcceptsAnEqualCostAndEnds)
{
    ScriptedRun run({3.0, -3.0});
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.script.evaluations, 2u);
    EXPECT_EQ(run.params(), 9.0);
    EXPECT_EQ(run.solver->lambda, 0.01 * 0.1);
    EXPECT_EQ(run.finalCost, 9.0);
    EXPECT_EQ(run.lastResidual(), -3.0);
}

TEST(LevmarqsolveMinimize, EndsOnADecreaseBelowTheSquaredToleranceOnly)
{
    // Cost 25 falls to 16, by 9 exactly.
    ScriptedRun at({5.0, 4.0, 4.0});
    at.solver->decreaseTolerance = 3.0;
    at.minimize();
    EXPECT_EQ(at.script.jacobians, 2u);

    ScriptedRun below({5.0, 4.0, 4.0});
    below.solver->decreaseTolerance = std::nextafter(3.0, 4.0);
    below.minimize();
    EXPECT_EQ(below.script.jacobians, 1u);
    EXPECT_EQ(below.finalCost, 16.0);
    EXPECT_EQ(below.params(), 9.0);

    // With a tolerance of 0 even an equal cost does not end the iteration.
    ScriptedRun never({5.0, 5.0});
    never.solver->decreaseTolerance = 0.0;
    never.solver->maxIterations = 7;
    never.minimize();
    EXPECT_EQ(never.script.jacobians, 7u);
}

TEST(LevmarqsolveMinimize, EndsAtTheIterationCap)
{
    ScriptedRun run({9.0, 8.0, 7.0, 6.0, 5.0});
    run.solver->maxIterations = 3;
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.script.jacobians, 3u);
    EXPECT_EQ(run.params(), 7.0);
    EXPECT_EQ(run.finalCost, 36.0);
    EXPECT_EQ(run.solver->lambda, 0.01 * 0.1 * 0.1 * 0.1);
}

TEST(LevmarqsolveMinimize, RaisesTheDampingThroughAllRejectedTries)
{
    ScriptedRun run({2.0, 3.0});
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.script.evaluations, 16u);
    EXPECT_EQ(run.solver->lambda, raised(0.01, 15));
    EXPECT_EQ(run.params(), start);
    EXPECT_EQ(run.finalCost, 9.0); // of the last try, though it was rejected
    EXPECT_EQ(run.lastResidual(), 3.0);
    EXPECT_EQ(run.solver->trialParams.rows[0][0], start);
}

TEST(LevmarqsolveMinimize, DropsATryThatSucceedsAtTheCap)
{
    ScriptedRun run({4.0, 6.0, 5.0, 1.0});
    run.solver->maxTries = 3;
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.params(), start); // not 9
    EXPECT_EQ(run.finalCost, 1.0);  // though its cost is reported
    EXPECT_EQ(run.solver->lambda, raised(0.01, 2) * 0.1);
    EXPECT_EQ(run.solver->trialParams.rows[0][0], 9.0);
    EXPECT_EQ(run.lastResidual(), 1.0);
}

TEST(LevmarqsolveMinimize, NeverMovesWithASingleTry)
{
    ScriptedRun run({4.0, 0.0});
    run.solver->maxTries = 1;
    run.minimize();
    EXPECT_EQ(run.params(), start);
    EXPECT_EQ(run.finalCost, 0.0);
    EXPECT_EQ(run.script.jacobians, 1u);
}

TEST(LevmarqsolveMinimize, CountsTheTriesOfEachIterationAnew)
{
    ScriptedRun run({9.0, 10.0, 8.0, 10.0, 7.0, 10.0, 0.0});
    run.solver->maxTries = 3;
    run.minimize();
    EXPECT_EQ(run.script.jacobians, 3u);
    EXPECT_EQ(run.params(), 7.0);
    EXPECT_EQ(run.finalCost, 0.0);
}

TEST(LevmarqsolveMinimize, TriesOnUntilAcceptedWithoutACap)
{
    for (const std::int32_t cap : {0, -1, INT32_MIN})
        for (const std::size_t rejections : {1u, 15u, 300u, 900u}) {
            std::vector<double> residuals(rejections + 1, 3.0);
            residuals[0] = 2.0;
            residuals.push_back(0.0);
            ScriptedRun run(residuals);
            run.solver->maxTries = cap;
            run.minimize();
            EXPECT_EQ(run.status, KMATH_OK);
            EXPECT_EQ(run.script.evaluations, rejections + 2);
            EXPECT_EQ(run.params(), 9.0);
            EXPECT_EQ(run.finalCost, 0.0);
        }
}

TEST(LevmarqsolveMinimize, EndsWithoutACapWhenNothingIsEverAccepted)
{
    for (const double residual : {3.0, nan, infinity})
        for (const double lambda : {0.01, 0.0, -0.01, infinity, nan}) {
            ScriptedRun run({2.0, residual});
            run.solver->maxTries = 0;
            run.solver->lambda = lambda;
            run.minimize();
            EXPECT_EQ(run.status, KMATH_OK);
            EXPECT_EQ(run.script.evaluations, 1001u);
            EXPECT_EQ(run.params(), start);
            EXPECT_TRUE(sameBits(run.finalCost, residual * residual));
        }
}

TEST(LevmarqsolveMinimize, GoesOnFromAParameterWhoseCostIsNotANumber)
{
    ScriptedRun run({2.0, nan, nan, 0.0});
    run.minimize();
    EXPECT_EQ(run.script.triedParams, (std::vector{10.0, 9.0, 8.0, 7.0}));
    EXPECT_EQ(run.script.lambdas, (std::vector{0.01, 0.01 * 0.1, 0.01 * 0.1 * 0.1}));
    EXPECT_EQ(run.params(), 7.0);
    EXPECT_EQ(run.solver->lambda, 0.01 * 0.1 * 0.1 * 0.1);
}

TEST(LevmarqsolveMinimize, EndsAtTheTryCapWhenEveryCostIsNotANumber)
{
    ScriptedRun run({2.0, nan});
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.script.evaluations, 16u);
    EXPECT_TRUE(std::isnan(run.finalCost));
    EXPECT_EQ(run.params(), start);
}

TEST(LevmarqsolveMinimize, EndsAtTheIterationCapWhenTheCostStaysInfinite)
{
    ScriptedRun run(
        {1e200, -1e200}); // the squares overflow; infinite minus infinite is no decrease
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.script.jacobians, 100u);
    EXPECT_EQ(run.finalCost, infinity);
}

TEST(LevmarqsolveMinimize, WorksOnCopiesOfItsTuning)
{
    ScriptedRun run({9.0, 8.0, 7.0, 6.0, 0.0});
    struct Meddler {
        static kmath_status jacobian(kmath_levmarqsolve *solver, const kmath_nmmatrix *,
                                     const kmath_nmmatrix *, kmath_nmmatrix *, kmath_nmmatrix *,
                                     kmath_nmmatrix *, void *userData)
        {
            ++scriptOf(userData).jacobians;
            solver->lambda = 1e9;
            solver->maxIterations = 1;
            solver->maxTries = 1;
            solver->costTolerance = 1e9;
            solver->decreaseTolerance = 1e9;
            return KMATH_OK;
        }
    };
    run.solver->compJacobian = Meddler::jacobian;
    run.minimize();
    EXPECT_EQ(run.script.jacobians, 4u);
    EXPECT_EQ(run.finalCost, 0.0);
    EXPECT_EQ(run.solver->lambda, 0.01 * 0.1 * 0.1 * 0.1 * 0.1);
}

TEST(LevmarqsolveMinimize, StartsFromTheDampingThatTheLastCallLeft)
{
    ScriptedRun run({2.0, 3.0});
    run.minimize();
    const double left = run.solver->lambda;
    EXPECT_EQ(left, raised(0.01, 15));
    run.script.lambdas.clear();
    run.script.evaluations = 0;
    run.minimize();
    EXPECT_EQ(run.script.lambdas.front(), left);
    EXPECT_EQ(run.solver->lambda, raised(left, 15));
}

TEST(LevmarqsolveMinimize, PassesAFailureOutAndKeepsTheAcceptedParameters)
{
    const std::vector<double> falling{9.0, 8.0, 7.0, 6.0, 5.0, 4.0};
    for (std::size_t call = 0; call < 4; ++call) {
        const double accepted = call == 0 ? start : start - static_cast<double>(call - 1);
        ScriptedRun run(falling);
        run.script.failingEvaluation = call;
        run.minimize();
        EXPECT_EQ(run.status, ownFailure);
        EXPECT_EQ(run.params(), accepted);
        EXPECT_EQ(run.finalCost, -7.0);
        EXPECT_EQ(run.solver->lambda, 0.01);
        EXPECT_EQ(run.script.evaluations, call + 1);
    }
    for (std::size_t call = 0; call < 4; ++call)
        for (const bool jacobian : {true, false}) {
            ScriptedRun run(falling);
            (jacobian ? run.script.failingJacobian : run.script.failingDirection) = call;
            run.minimize();
            EXPECT_EQ(run.status, ownFailure);
            EXPECT_EQ(run.params(), start - static_cast<double>(call));
            EXPECT_EQ(run.finalCost, -7.0);
            EXPECT_EQ(run.solver->lambda, 0.01);
            EXPECT_EQ(run.script.evaluations, call + 1);
        }
}

TEST(LevmarqsolveMinimize, TakesAnyStatusWithoutTheTopBitForSuccess)
{
    ScriptedRun run({2.0, 0.0});
    run.solver->compSearchDir = [](kmath_levmarqsolve *, kmath_nmmatrix *, const kmath_nmmatrix *,
                                   kmath_nmmatrix *step, double, void *) -> kmath_status {
        step->rows[0][0] = 2.0;
        return 0x7FFFFFFF;
    };
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.params(), 8.0);
}

TEST(LevmarqsolveMinimize, RefusesANullStrategyOnlyWhereItIsNeeded)
{
    for (const bool jacobian : {true, false}) {
        ScriptedRun needed({2.0, 0.0}), unneeded({0.0});
        for (ScriptedRun *run : {&needed, &unneeded}) {
            if (jacobian)
                run->solver->compJacobian = nullptr;
            else
                run->solver->compSearchDir = nullptr;
            run->minimize();
        }
        EXPECT_EQ(needed.status, KMATH_ERR_FAILED);
        EXPECT_EQ(needed.finalCost, -7.0);
        EXPECT_EQ(unneeded.status, KMATH_OK);
    }
}

TEST(LevmarqsolveMinimize, RefusesAStrategyThatACallbackTakesAway)
{
    struct Callbacks {
        static kmath_status withoutJacobian(kmath_levmarqsolve *solver,
                                            const kmath_nmmatrix *params, kmath_nmmatrix *residuals,
                                            void *userData)
        {
            if (scriptOf(userData).evaluations == 2)
                solver->compJacobian = nullptr;
            return scriptedResidual(solver, params, residuals, userData);
        }
        static kmath_status withoutDirection(kmath_levmarqsolve *solver,
                                             const kmath_nmmatrix *params,
                                             const kmath_nmmatrix *residuals,
                                             kmath_nmmatrix *jacobian, kmath_nmmatrix *gradient,
                                             kmath_nmmatrix *normalMatrix, void *userData)
        {
            if (scriptOf(userData).jacobians == 1)
                solver->compSearchDir = nullptr;
            return scriptedJacobian(solver, params, residuals, jacobian, gradient, normalMatrix,
                                    userData);
        }
    };
    ScriptedRun jacobian({5.0, 4.0, 3.0, 2.0}), direction({5.0, 4.0, 3.0, 2.0});
    jacobian.solver->func = Callbacks::withoutJacobian;
    direction.solver->compJacobian = Callbacks::withoutDirection;
    for (ScriptedRun *run : {&jacobian, &direction}) {
        const double lambda = run->solver->lambda;
        run->minimize();
        EXPECT_EQ(run->status, KMATH_ERR_FAILED);
        EXPECT_EQ(run->finalCost, -7.0);
        EXPECT_EQ(run->solver->lambda, lambda);
    }
    EXPECT_EQ(jacobian.script.jacobians, 2u);
    EXPECT_EQ(jacobian.script.evaluations, 3u); // the second step was still accepted
    EXPECT_EQ(direction.script.jacobians, 2u);
    EXPECT_EQ(direction.script.evaluations, 2u);
}

TEST(LevmarqsolveMinimize, RefusesAStepOfTheWrongShape)
{
    ScriptedRun run({2.0, 0.0});
    run.solver->compSearchDir = [](kmath_levmarqsolve *, kmath_nmmatrix *, const kmath_nmmatrix *,
                                   kmath_nmmatrix *step, double,
                                   void *) { return kmath_nmmatrix_resize(step, 2, 1); };
    run.minimize();
    EXPECT_EQ(run.status, KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(run.params(), start);
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

TEST(LevmarqsolveMinimize, TakesThePlainCallbackBeforeTheIndexedOnes)
{
    ScriptedRun run({1.0, 0.0});
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

// Whole fits with the library's own Jacobian and search direction.

double costOf(Problem &problem, const kmath_nmmatrix &params)
{
    std::vector<double> r(static_cast<std::size_t>(problem.m));
    problem.residuals(params.rows[0], r.data());
    double cost = 0.0;
    for (const double residual : r)
        cost += residual * residual;
    return cost;
}

Problem rosenbrock()
{
    return {2, {-1.2, 1.0}, [](const double *p, double *r) {
                r[0] = 10.0 * (p[1] - p[0] * p[0]);
                r[1] = 1.0 - p[0];
            }};
}

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

// r = B·p − B·p* for a fixed full-rank B of 25 × 7 and p* = (1, −2, 3, …).
Problem linear()
{
    const Matrix B = randomMatrix(25, 7, 3);
    return {25, std::vector<double>(7, 0.0), [B](const double *p, double *r) {
                for (std::int32_t k = 0; k < 25; ++k) {
                    r[k] = 0.0;
                    for (std::int32_t j = 0; j < 7; ++j)
                        r[k] += B(k, j) * (p[j] - (j % 2 ? -1.0 - j : 1.0 + j));
                }
            }};
}

TEST(LevmarqsolveMinimize, FindsTheMinimumOfRosenbrocksValley)
{
    for (const Shape shape : allShapes) {
        Problem problem = rosenbrock();
        Solver s;
        set(s, problem, shape);
        double cost;
        ASSERT_EQ(kmath_levmarqsolve_minimize(&s, &cost), KMATH_OK);
        EXPECT_LT(cost, 1e-20);
        EXPECT_NEAR(s->params.rows[0][0], 1.0, 1e-8);
        EXPECT_NEAR(s->params.rows[0][1], 1.0, 1e-8);
    }
}

TEST(LevmarqsolveMinimize, ApproachesPowellsSingularMinimum)
{
    Problem problem = powellSingular();
    Solver s;
    set(s, problem);
    double cost;
    ASSERT_EQ(kmath_levmarqsolve_minimize(&s, &cost), KMATH_OK);
    EXPECT_LT(cost, 1e-12);
    for (int j = 0; j < 4; ++j)
        EXPECT_NEAR(s->params.rows[0][j], 0.0, 1e-2);
}

TEST(LevmarqsolveMinimize, FitsAnExponentialDecay)
{
    Problem problem = exponential();
    Solver s;
    set(s, problem);
    double cost;
    ASSERT_EQ(kmath_levmarqsolve_minimize(&s, &cost), KMATH_OK);
    EXPECT_NEAR(s->params.rows[0][0], 2.385, 1e-8);
    EXPECT_NEAR(s->params.rows[0][1], -1.3, 1e-8);
    EXPECT_NEAR(s->params.rows[0][2], 0.7, 1e-8);
    EXPECT_EQ(cost, costOf(problem, s->params));
}

TEST(LevmarqsolveMinimize, SolvesALinearProblemInAFewSteps)
{
    Problem problem = linear();
    Solver s;
    set(s, problem);
    s->maxIterations = 6;
    double cost;
    ASSERT_EQ(kmath_levmarqsolve_minimize(&s, &cost), KMATH_OK);
    EXPECT_LT(cost, 1e-18);
    for (int j = 0; j < 7; ++j)
        EXPECT_NEAR(s->params.rows[0][j], j % 2 ? -1.0 - j : 1.0 + j, 1e-9);
}

TEST(LevmarqsolveMinimize, LeavesOneParameterOfALinearProblemAtTheMean)
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
    ASSERT_EQ(kmath_levmarqsolve_minimize(&s, &cost), KMATH_OK);
    EXPECT_NEAR(s->params.rows[0][0], 3.0, 1e-6);
    EXPECT_NEAR(cost, 14.0, 1e-12);
}

TEST(LevmarqsolveMinimize, SurvivesAParameterWithoutInfluence)
{
    // The normal matrix is singular: the damping makes it regular, and without one the solve fails
    // and the pseudo-inverse moves the other parameter alone.
    Problem problem{2, {5.0, 4.0}, [](const double *p, double *r) {
                        r[0] = p[0] - 2.0;
                        r[1] = 2.0 * (p[0] - 2.0);
                    }};
    for (const double lambda : {0.01, 0.0}) {
        Solver s;
        set(s, problem);
        s->lambda = lambda;
        s->maxConditionNumber = 1e8;
        double cost;
        ASSERT_EQ(kmath_levmarqsolve_minimize(&s, &cost), KMATH_OK);
        EXPECT_NEAR(s->params.rows[0][0], 2.0, 1e-8);
        EXPECT_EQ(s->params.rows[0][1], 4.0);
    }
}

TEST(LevmarqsolveMinimize, HasTheSameBitsOnAnyNumberOfThreads)
{
    for (const Shape shape : allShapes)
        for (const std::int32_t interleave : {0, 1}) {
            Problem problem = waves(30, 9);
            Solver serial;
            set(serial, problem, shape);
            serial->maxIterations = 10;
            double serialCost;
            const kmath_status expected = kmath_levmarqsolve_minimize(&serial, &serialCost);
            for (const std::int32_t threads : {1, 2, 3, 8}) {
                const ThreadCount count(threads);
                Solver s;
                set(s, problem, shape);
                s->maxIterations = 10;
                s->useThreads = 1;
                s->interleaveColumns = interleave;
                double cost;
                EXPECT_EQ(kmath_levmarqsolve_minimize(&s, &cost), expected);
                EXPECT_TRUE(sameBits(cost, serialCost));
                EXPECT_TRUE(sameBits(s->lambda, serial->lambda));
                for (int j = 0; j < 9; ++j)
                    EXPECT_TRUE(sameBits(s->params.rows[0][j], serial->params.rows[0][j]));
            }
        }
}

TEST(LevmarqsolveMinimize, IncreasesNoCostInAnyFit)
{
    for (std::int32_t n = 1; n <= 12; ++n) {
        Problem problem = waves(2 * n, n);
        Solver s;
        set(s, problem);
        const double before = costOf(problem, s->params);
        double cost;
        ASSERT_EQ(kmath_levmarqsolve_minimize(&s, &cost), KMATH_OK);
        EXPECT_LE(costOf(problem, s->params), before);
    }
}

TEST(LevmarqsolveMinimize, EndsOnAnyBitsInItsNumbers)
{
    const double odd[] = {0.0,    -0.0,   nan,   infinity, -infinity, 1e308,
                          -1e308, 1e-320, 1e160, -0.01,    1e20};
    for (const double value : odd)
        for (int field = 0; field < 8; ++field)
            for (const std::int32_t tries : {15, 0}) {
                SCOPED_TRACE(testing::Message() << "field " << field << ", value " << value);
                Problem problem = rosenbrock();
                if (field == 0)
                    problem.start[0] = value;
                if (field == 6)
                    problem.residuals = [value](const double *p, double *r) {
                        r[0] = p[0];
                        r[1] = value;
                    };
                if (field == 7)
                    problem.residuals = [value](const double *p, double *r) {
                        r[0] = p[0] == -1.2 ? 1.0 : value; // only ever good at the start
                        r[1] = p[1];
                    };
                Solver s;
                set(s, problem);
                s->maxTries = tries;
                double *const tuning[] = {&s->decreaseTolerance, &s->costTolerance, &s->lambda,
                                          &s->jacobianStep, &s->maxConditionNumber};
                if (field >= 1 && field <= 5)
                    *tuning[field - 1] = value;
                double cost;
                const kmath_status status = kmath_levmarqsolve_minimize(&s, &cost);
                EXPECT_TRUE(status == KMATH_OK || status == KMATH_ERR_SINGULAR) << status;
            }
}

TEST(LevmarqsolveMinimize, LetsAnExceptionOfTheCallbackPass)
{
    for (const std::int32_t threads : {1, 3})
        for (int failing = 0; failing < 12; ++failing) {
            const ThreadCount count(threads);
            const std::int64_t before = liveBlocks();
            {
                Problem problem = waves(6, 3);
                Solver s;
                set(s, problem);
                s->useThreads = 1;
                const Matrix initial = problem.initialParams();
                std::atomic<int> calls{0};
                auto inner = problem.residuals;
                problem.residuals = [&](const double *p, double *r) {
                    if (calls++ == failing)
                        throw std::runtime_error("no residuals");
                    inner(p, r);
                };
                double cost = 2.385;
                EXPECT_THROW(kmath_levmarqsolve_minimize(&s, &cost), std::runtime_error);
                EXPECT_EQ(cost, 2.385);
                EXPECT_EQ(s->lambda, 0.01);
                // The first evaluation, the Jacobian and the first try come before any change.
                for (int j = 0; failing < 5 && j < 3; ++j)
                    EXPECT_EQ(s->params.rows[0][j], initial(0, j));
            }
            EXPECT_EQ(liveBlocks(), before);
        }
}

TEST(LevmarqsolveMinimize, SurvivesEveryFailingAllocation)
{
    for (const std::int32_t threads : {0, 3}) {
        const ThreadCount count(threads);
        Problem problem = linear();
        kmath_status status = KMATH_OK;
        double cost = 0.0, lambda = 0.0;
        int refused = 0, recovered = 0;
        sweepAllocationFailures(
            [&](bool failed) {
                if (KMATH_IS_FAILURE(status)) {
                    EXPECT_TRUE(failed);
                    EXPECT_EQ(status, KMATH_ERR_NO_MEMORY);
                    EXPECT_EQ(cost, 2.385);
                    EXPECT_EQ(lambda, 0.01);
                    ++refused;
                } else { // the solve failed and the pseudo-inverse took its place
                    EXPECT_LT(cost, 1.0);
                    recovered += failed;
                }
            },
            [&] {
                failAllocation(-1);
                Solver s;
                set(s, problem);
                failAllocation(refused + recovered);
                s->maxIterations = 2;
                s->useThreads = threads;
                cost = 2.385;
                status = kmath_levmarqsolve_minimize(&s, &cost);
                lambda = s->lambda;
            });
        EXPECT_GT(refused, 0);
        EXPECT_GT(recovered, 0);
    }
}

} // namespace
