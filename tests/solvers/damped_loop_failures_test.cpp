#include "solvers/script.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <vector>

using namespace support;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double untouched = 2.385;

TEST_P(DampedLoop, AssertsItsPointers)
{
    Solver s;
    double cost;
    EXPECT_EQ(assertedLine([&] { driver.minimize(nullptr, &cost); }), driver.assertionLine);
    EXPECT_EQ(assertedLine([&] { driver.minimize(&s, nullptr); }), driver.assertionLine);
    EXPECT_EQ(assertedLine([&] { driver.minimize(&s, &cost); }), 0);
}

// Records without a whole system.

TEST_P(DampedLoop, RefusesARecordWithoutASystem)
{
    Solver fresh;
    double cost = untouched;
    EXPECT_EQ(driver.minimize(&fresh, &cost), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(cost, untouched);
    EXPECT_EQ(fresh->lambda, l0);

    for (const bool residuals : {true, false})
        for (const std::int32_t count : {0, -1, INT32_MIN}) {
            ScriptedRun run(driver, {2.0});
            (residuals ? run.solver->nResiduals : run.solver->nParams) = count;
            run.minimize();
            EXPECT_EQ(run.status, KMATH_ERR_BAD_DIMENSIONS);
            EXPECT_EQ(run.script.evaluations, 0u);
            EXPECT_EQ(run.finalCost, scriptedCost);
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

TEST_P(DampedLoop, RefusesASystemWhoseSettingFailed)
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
            double cost = untouched;
            callbackCalls = 0;
            failAllocation(number);
            const kmath_status status = set(s, larger, 21);
            const bool failed = allocationHasFailed();
            failAllocation(-1);
            if (failed) {
                ASSERT_EQ(status, KMATH_ERR_NO_MEMORY);
            }
            const bool complete = s->step.rows && s->step.nCols == 19;
            EXPECT_EQ(driver.minimize(&s, &cost), complete ? KMATH_OK : KMATH_ERR_BAD_DIMENSIONS);
            EXPECT_EQ(callbackCalls > 0, complete);
            EXPECT_EQ(cost == untouched, !complete);
            if (before == 0) {
                EXPECT_TRUE(failed);
                EXPECT_EQ(complete, number >= 12);
            }
        }
}

TEST_P(DampedLoop, LeavesTheJacobianToAFunctionThatSizesItItself)
{
    ScriptedRun run(driver, {2.0, 1.0, 1.0});
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

// Callbacks that are missing or fail.

TEST_P(DampedLoop, RefusesANullJacobianFunctionOnlyWhereItIsNeeded)
{
    ScriptedRun needed(driver, {2.0, 0.0}), unneeded(driver, {0.0});
    for (ScriptedRun *run : {&needed, &unneeded}) {
        run->solver->compJacobian = nullptr;
        run->minimize();
    }
    EXPECT_EQ(needed.status, KMATH_ERR_FAILED);
    EXPECT_EQ(needed.finalCost, scriptedCost);
    EXPECT_EQ(unneeded.status, KMATH_OK);
}

TEST_P(DampedLoop, RefusesAJacobianFunctionThatACallbackTakesAway)
{
    ScriptedRun run(driver, {5.0, 4.0, 3.0, 2.0});
    run.solver->func = [](kmath_levmarqsolve *solver, const kmath_nmmatrix *params,
                          kmath_nmmatrix *residuals, void *userData) {
        if (scriptOf(userData).evaluations == 2)
            solver->compJacobian = nullptr;
        return scriptedResidual(solver, params, residuals, userData);
    };
    run.minimize();
    EXPECT_EQ(run.status, KMATH_ERR_FAILED);
    EXPECT_EQ(run.finalCost, scriptedCost);
    EXPECT_EQ(run.solver->lambda, l0);
    EXPECT_EQ(run.script.jacobians, 2u);
    EXPECT_EQ(run.script.evaluations, 3u); // the second step was still accepted
    EXPECT_EQ(run.params(), from(from(start, l0), l0 * 0.1));
}

TEST_P(DampedLoop, PassesAFailureOutAndKeepsTheAcceptedParameters)
{
    const std::vector<double> falling{9.0, 8.0, 7.0, 6.0, 0.0};
    std::vector<double> accepted{start};
    double lambda = l0;
    for (; accepted.size() < 5; lambda *= 0.1)
        accepted.push_back(from(accepted.back(), lambda));
    for (std::size_t call = 0; call < 6; ++call)
        for (const bool jacobian : {true, false}) {
            ScriptedRun run(driver, falling);
            (jacobian ? run.script.failingJacobian : run.script.failingEvaluation) = call;
            run.minimize();
            if (call >= (jacobian ? 4u : 5u)) { // 5 evaluations and 4 Jacobians are all there are
                EXPECT_EQ(run.status, KMATH_OK);
                EXPECT_EQ(run.params(), accepted[4]);
                run.expectLambda(lambda);
                continue;
            }
            EXPECT_EQ(run.status, ownFailure);
            EXPECT_EQ(run.finalCost, scriptedCost);
            EXPECT_EQ(run.params(), accepted[jacobian || call == 0 ? call : call - 1]);
            EXPECT_EQ(run.solver->lambda, l0);
            EXPECT_EQ(run.script.evaluations, call + 1);
        }
}

TEST_P(DampedLoop, TakesAnyStatusWithoutTheTopBitForSuccess)
{
    ScriptedRun run(driver, {2.0, 0.0});
    run.solver->func = [](kmath_levmarqsolve *solver, const kmath_nmmatrix *params,
                          kmath_nmmatrix *residuals, void *userData) -> kmath_status {
        scriptedResidual(solver, params, residuals, userData);
        return 0x7FFFFFFF;
    };
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.finalCost, 0.0);
    EXPECT_EQ(run.params(), from(start, l0));
}

TEST_P(DampedLoop, LetsAnExceptionOfTheCallbackPass)
{
    for (const std::int32_t n : {3, 18})
        for (const std::int32_t threads : {0, 1, 3}) {
            bool ended = false;
            for (int failing = 0; !ended && failing < 200; ++failing) {
                const ThreadCount count(threads);
                const std::int64_t before = liveBlocks();
                {
                    Problem problem = waves(n + 3, n);
                    const auto inner = problem.residuals;
                    std::atomic<int> calls{0};
                    problem.residuals = [&](const double *p, double *r) {
                        if (calls++ == failing)
                            throw std::runtime_error("no residuals");
                        inner(p, r);
                    };
                    Solver s;
                    set(s, problem);
                    s->useThreads = threads;
                    s->maxIterations = 2;
                    double cost = untouched;
                    try {
                        ASSERT_EQ(driver.minimize(&s, &cost), KMATH_OK);
                        ended = true;
                        EXPECT_LE(calls, failing);
                    } catch (const std::runtime_error &) {
                        EXPECT_EQ(cost, untouched);
                        EXPECT_EQ(s->lambda, l0);
                    }
                    // The first evaluation, the Jacobian and the first try come before any change.
                    for (std::int32_t j = 0; failing < n + 2 && j < n; ++j)
                        EXPECT_EQ(s->params.rows[0][j], problem.start[static_cast<std::size_t>(j)]);
                }
                EXPECT_EQ(liveBlocks(), before);
            }
            EXPECT_TRUE(ended);
        }
}

TEST_P(DampedLoop, SurvivesEveryFailingAllocation)
{
    for (const bool isLinear : {true, false})
        for (const std::int32_t threads : {0, 3}) {
            const ThreadCount count(threads);
            Problem problem = isLinear ? linearProblem() : waves(25, 18);
            kmath_status status = KMATH_OK;
            double cost = 0.0, costHere = 0.0, initialCost = 0.0, lambda = 0.0;
            bool moved = false;
            int refused = 0, survived = 0;
            sweepAllocationFailures(
                [&](bool failed) {
                    if (KMATH_IS_FAILURE(status)) {
                        EXPECT_TRUE(failed);
                        EXPECT_EQ(status, KMATH_ERR_NO_MEMORY);
                        EXPECT_EQ(cost, untouched);
                        EXPECT_EQ(lambda, l0);
                        ++refused;
                        return;
                    }
                    // In the solve: the pseudo-inverse took its place, or it is over, with the cost
                    // of where the parameters are.
                    survived += failed;
                    EXPECT_EQ(cost, costHere);
                    EXPECT_TRUE(!failed || moved || cost == initialCost);
                    if (driver.asksDirection)
                        EXPECT_LT(cost, isLinear ? 1.0 : initialCost);
                    else
                        EXPECT_EQ(lambda, l0);
                },
                [&] {
                    failAllocation(-1);
                    Solver s;
                    set(s, problem);
                    initialCost = costOf(problem, s->params);
                    failAllocation(refused + survived);
                    s->maxIterations = 2;
                    s->useThreads = threads;
                    cost = untouched;
                    status = driver.minimize(&s, &cost);
                    lambda = s->lambda;
                    moved = s->params.rows[0][0] != problem.start[0];
                    costHere = costOf(problem, s->params);
                });
            EXPECT_GT(refused, 0);
            EXPECT_GT(survived, 0);
        }
}

TEST_P(DampedLoop, EndsOnAnyBitsInItsNumbers)
{
    const double odd[] = {0.0,    -0.0,   nan,   infinity, -infinity, 1e308,
                          -1e308, 1e-320, 1e160, -0.01,    1e20};
    for (const Problem &smooth : {rosenbrocksValley(), waves(3, 2)})
        for (const double value : odd)
            for (int field = 0; field < 8; ++field)
                for (const std::int32_t tries : {15, 0}) {
                    SCOPED_TRACE(testing::Message() << "field " << field << ", value " << value);
                    Problem problem = smooth;
                    const std::int32_t m = smooth.m;
                    const double first = smooth.start[0];
                    if (field == 0)
                        problem.start[0] = value;
                    if (field == 6)
                        problem.residuals = [=](const double *p, double *r) {
                            std::fill(r, r + m, value);
                            r[0] = p[0];
                        };
                    if (field == 7)
                        problem.residuals = [=](const double *p, double *r) {
                            std::fill(r, r + m, p[1]);
                            r[0] = p[0] == first ? 1.0 : value; // only ever good at the start
                        };
                    Solver s;
                    set(s, problem);
                    s->maxTries = tries;
                    double *const tuning[] = {&s->decreaseTolerance, &s->costTolerance, &s->lambda,
                                              &s->jacobianStep, &s->maxConditionNumber};
                    if (field >= 1 && field <= 5)
                        *tuning[field - 1] = value;
                    const double lambda = s->lambda;
                    double cost;
                    const kmath_status status = driver.minimize(&s, &cost);
                    if (driver.asksDirection) {
                        EXPECT_TRUE(status == KMATH_OK || status == KMATH_ERR_SINGULAR) << status;
                    } else {
                        EXPECT_EQ(status, KMATH_OK);
                        EXPECT_TRUE(sameBits(s->lambda, lambda));
                    }
                }
}

} // namespace
