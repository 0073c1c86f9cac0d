#include "solvers/problems.hpp"
#include "solvers/script.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

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

// A scripted system with gradient 1 and normal matrix 0: the step is 1/λ, so that the parameters
// which are tried tell the damping.
kmath_status jacobianOfUnitGradient(kmath_levmarqsolve *solver, const kmath_nmmatrix *params,
                                    const kmath_nmmatrix *residuals, kmath_nmmatrix *jacobian,
                                    kmath_nmmatrix *gradient, kmath_nmmatrix *normalMatrix,
                                    void *userData)
{
    gradient->rows[0][0] = 1.0;
    normalMatrix->rows[0][0] = 0.0;
    return scriptedJacobian(solver, params, residuals, jacobian, gradient, normalMatrix, userData);
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
        kmath_levmarqsolve_setSys(&solver, scriptedResidual, jacobianOfUnitGradient, 1, 1, &p, 1,
                                  &script);
        solver->compSearchDir = nullptr; // not a driver that asks it
    }

    void minimize() { status = kmath_linsolve_minimize(&solver, &finalCost); }
    double params() { return solver->params.rows[0][0]; }
    double lastResidual() { return solver->residuals.rows[0][0]; }
};

double stepOf(double lambda)
{
    const Matrix N{{lambda}}, g{{1.0}};
    Matrix x;
    double condition;
    kmath_nmmatrix_solve(&N, &g, &x, 1, &condition, 1e20);
    return x(0, 0);
}

// Where a step from p under the damping leads.
double from(double p, double lambda) { return p - stepOf(lambda); }

constexpr double l0 = 0.01; // the default

TEST(LinsolveMinimize, AssertsItsPointers)
{
    Solver s;
    double cost;
    EXPECT_EQ(assertedLine([&] { kmath_linsolve_minimize(nullptr, &cost); }), 994);
    EXPECT_EQ(assertedLine([&] { kmath_linsolve_minimize(&s, nullptr); }), 994);
    EXPECT_EQ(assertedLine([&] { kmath_linsolve_minimize(&s, &cost); }), 0);
}

TEST(LinsolveMinimize, RefusesARecordWithoutASystem)
{
    Solver fresh;
    double cost = 2.385;
    EXPECT_EQ(kmath_linsolve_minimize(&fresh, &cost), KMATH_ERR_BAD_DIMENSIONS);
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

TEST(LinsolveMinimize, RefusesASystemWhoseSettingFailed)
{
    Problem problem = waves(21, 19);
    const Matrix p = problem.initialParams();
    for (std::int64_t number = 0; number < 16; ++number) {
        SCOPED_TRACE(number);
        int evaluations = 0;
        Problem counted = problem;
        counted.residuals = [&](const double *q, double *r) {
            ++evaluations;
            problem.residuals(q, r);
        };
        Solver s;
        failAllocation(number);
        const kmath_status set = kmath_levmarqsolve_setSys(
            &s, plainShape, kmath_levmarqsolve_compnumericjacob, 21, 19, &p, 1, &counted);
        failAllocation(-1);
        EXPECT_EQ(set, KMATH_ERR_NO_MEMORY);
        s->maxIterations = 1;
        double cost = 2.385;
        // trialParams and spareResiduals, the last two of the eight, are made up for.
        const bool complete = number >= 12;
        EXPECT_EQ(kmath_linsolve_minimize(&s, &cost),
                  complete ? KMATH_OK : KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(evaluations > 0, complete);
        EXPECT_EQ(cost != 2.385, complete);
    }
}

TEST(LinsolveMinimize, EndsAfterOneEvaluationWhenTheCostIsWithinTolerance)
{
    for (const double residual : {0.0, 1e-15, -1e-15, nan}) {
        ScriptedRun run({residual});
        run.minimize();
        EXPECT_EQ(run.status, KMATH_OK);
        EXPECT_EQ(run.script.evaluations, 1u);
        EXPECT_EQ(run.script.jacobians, 0u);
        EXPECT_TRUE(sameBits(run.finalCost, residual * residual));
        EXPECT_EQ(run.params(), start);
    }
    ScriptedRun above({1.0000001e-15});
    above.minimize();
    EXPECT_EQ(above.script.jacobians, 1u);
}

TEST(LinsolveMinimize, EndsAfterOneEvaluationWithoutIterations)
{
    for (const std::int32_t iterations : {0, -1, INT32_MIN}) {
        ScriptedRun run({3.0});
        run.solver->maxIterations = iterations;
        run.minimize();
        EXPECT_EQ(run.status, KMATH_OK);
        EXPECT_EQ(run.script.evaluations, 1u);
        EXPECT_EQ(run.script.jacobians, 0u);
        EXPECT_EQ(run.finalCost, 9.0);
    }
}

TEST(LinsolveMinimize, LowersTheDampingByTenAndRaisesItByTwelve)
{
    // Costs 100; then 144 and 121, both rejected, and 64; then 49; then 0.
    ScriptedRun run({10.0, 12.0, 11.0, 8.0, 7.0, 0.0});
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.script.jacobians, 3u);

    const double l1 = l0 * 12.0, l2 = l1 * 12.0, l3 = l2 * 0.1, l4 = l3 * 0.1;
    const double p1 = from(start, l2), p2 = from(p1, l3), p3 = from(p2, l4);
    EXPECT_EQ(run.script.triedParams,
              (std::vector{start, from(start, l0), from(start, l1), p1, p2, p3}));
    EXPECT_EQ(run.params(), p3);
    EXPECT_EQ(run.finalCost, 0.0);
    EXPECT_EQ(run.lastResidual(), 0.0);
}

TEST(LinsolveMinimize, TakesTheStepOfTheDampedNormalEquations)
{
    // (N + λI)·δ = g with N = diag(3, 1), λ = 1 and g = (8, −6): δ = (2, −3).
    Solver s;
    const Matrix p{{10.0, 20.0}};
    struct Callbacks {
        static kmath_status jacobian(kmath_levmarqsolve *, const kmath_nmmatrix *,
                                     const kmath_nmmatrix *, kmath_nmmatrix *,
                                     kmath_nmmatrix *gradient, kmath_nmmatrix *N, void *)
        {
            gradient->rows[0][0] = 8.0;
            gradient->rows[0][1] = -6.0;
            N->rows[0][0] = 3.0;
            N->rows[1][1] = 1.0;
            N->rows[0][1] = N->rows[1][0] = 0.0;
            return KMATH_OK;
        }
    };
    Script script;
    script.residuals = {2.0, 0.0};
    ASSERT_EQ(
        kmath_levmarqsolve_setSys(&s, scriptedResidual, Callbacks::jacobian, 1, 2, &p, 1, &script),
        KMATH_OK);
    s->lambda = 1.0;
    double cost;
    ASSERT_EQ(kmath_linsolve_minimize(&s, &cost), KMATH_OK);
    EXPECT_NEAR(s->step.rows[0][0], 2.0, 1e-14);
    EXPECT_NEAR(s->step.rows[0][1], -3.0, 1e-14);
    EXPECT_EQ(s->params.rows[0][0], 10.0 - s->step.rows[0][0]);
    EXPECT_EQ(s->params.rows[0][1], 20.0 - s->step.rows[0][1]);
    EXPECT_EQ(s->normalMatrix.rows[0][0], 3.0); // undamped again
    EXPECT_EQ(s->normalMatrix.rows[1][1], 1.0);
}

TEST(LinsolveMinimize, AcceptsAnEqualCostAndEnds)
{
    ScriptedRun run({3.0, -3.0});
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.script.evaluations, 2u);
    EXPECT_EQ(run.params(), from(start, l0));
    EXPECT_EQ(run.finalCost, 9.0);
}

TEST(LinsolveMinimize, EndsOnADecreaseBelowTheSquaredToleranceOnly)
{
    // Cost 25 falls to 16, by 9 exactly.
    for (const bool below : {false, true}) {
        ScriptedRun run({5.0, 4.0, 4.0});
        run.solver->decreaseTolerance = below ? std::nextafter(3.0, 4.0) : 3.0;
        run.minimize();
        EXPECT_EQ(run.script.jacobians, below ? 1u : 2u);
        EXPECT_EQ(run.finalCost, 16.0);
    }
}

TEST(LinsolveMinimize, LeavesParamsWhereFifteenTriesAreRejected)
{
    ScriptedRun run({2.0, 3.0});
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.script.evaluations, 16u);
    EXPECT_EQ(run.params(), start);
    EXPECT_EQ(run.finalCost, 9.0); // of the last try, though it was rejected
    EXPECT_EQ(run.lastResidual(), 3.0);
    EXPECT_EQ(run.solver->lambda, l0);
    double lambda = l0;
    for (std::size_t i = 1; i < 16; ++i, lambda *= 12.0)
        EXPECT_EQ(run.script.triedParams[i], from(start, lambda));
}

TEST(LinsolveMinimize, DropsATryThatSucceedsAtTheCap)
{
    ScriptedRun run({4.0, 6.0, 5.0, 1.0});
    run.solver->maxTries = 3;
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.params(), start);
    EXPECT_EQ(run.finalCost, 1.0);
    EXPECT_EQ(run.solver->trialParams.rows[0][0], from(start, l0 * 12.0 * 12.0));
}

TEST(LinsolveMinimize, CountsTheTriesOfEachIterationAnew)
{
    ScriptedRun run({9.0, 10.0, 8.0, 10.0, 7.0, 10.0, 0.0});
    run.solver->maxTries = 3;
    run.minimize();
    EXPECT_EQ(run.script.jacobians, 3u);
    EXPECT_EQ(run.finalCost, 0.0);
}

TEST(LinsolveMinimize, EndsAtTheIterationCap)
{
    ScriptedRun run({9.0, 8.0, 7.0, 6.0, 5.0});
    run.solver->maxIterations = 3;
    run.minimize();
    EXPECT_EQ(run.script.jacobians, 3u);
    EXPECT_EQ(run.finalCost, 36.0);
}

TEST(LinsolveMinimize, GoesOnFromAParameterWhoseCostIsNotANumber)
{
    ScriptedRun run({2.0, nan, nan, 0.0});
    run.minimize();
    const double p1 = from(start, l0), p2 = from(p1, l0 * 0.1), p3 = from(p2, l0 * 0.1 * 0.1);
    EXPECT_EQ(run.script.triedParams, (std::vector{start, p1, p2, p3}));
    EXPECT_EQ(run.params(), p3);
}

// The ends of a call. None of them writes the damping.

TEST(LinsolveMinimize, NeverWritesTheDamping)
{
    struct End {
        const char *name;
        std::vector<double> residuals;
        void (*arrange)(ScriptedRun &);
        kmath_status status;
    };
    const End ends[] = {
        {"within tolerance", {0.0}, [](ScriptedRun &) {}, KMATH_OK},
        {"accepted to the end", {3.0, 2.0, 0.0}, [](ScriptedRun &) {}, KMATH_OK},
        {"no decrease", {3.0, 3.0}, [](ScriptedRun &) {}, KMATH_OK},
        {"iteration cap",
         {9.0, 8.0, 7.0},
         [](ScriptedRun &run) { run.solver->maxIterations = 2; },
         KMATH_OK},
        {"try cap, rejected", {2.0, 3.0}, [](ScriptedRun &) {}, KMATH_OK},
        {"try cap, accepted",
         {2.0, 1.0},
         [](ScriptedRun &run) { run.solver->maxTries = 1; },
         KMATH_OK},
        {"refused solve",
         {2.0},
         [](ScriptedRun &run) { run.solver->maxConditionNumber = 0.5; },
         KMATH_OK},
        {"no Jacobian function",
         {2.0},
         [](ScriptedRun &run) { run.solver->compJacobian = nullptr; },
         KMATH_ERR_FAILED},
        {"failing residuals",
         {3.0, 4.0, 2.0, 1.0},
         [](ScriptedRun &run) { run.script.failingEvaluation = 3; },
         ownFailure},
        {"failing Jacobian",
         {3.0, 4.0, 2.0, 1.0},
         [](ScriptedRun &run) { run.script.failingJacobian = 1; },
         ownFailure},
    };
    for (const End &end : ends) {
        SCOPED_TRACE(end.name);
        ScriptedRun run(end.residuals);
        end.arrange(run);
        run.solver->lambda = 0.37;
        run.minimize();
        EXPECT_EQ(run.status, end.status);
        EXPECT_EQ(run.solver->lambda, 0.37);
        EXPECT_EQ(run.finalCost == -7.0, KMATH_IS_FAILURE(end.status));
    }
}

TEST(LinsolveMinimize, StartsEveryCallFromTheSameDamping)
{
    ScriptedRun run({2.0, 3.0});
    run.minimize();
    const std::vector<double> first = run.script.triedParams;
    run.script.triedParams.clear();
    run.script.evaluations = 0;
    run.minimize();
    EXPECT_EQ(run.script.triedParams, first);
}

TEST(LinsolveMinimize, EndsWithSuccessWhereTheSolveRefuses)
{
    for (const double limit : {0.5, 0.0, -1.0, nan}) { // a 1 × 1 matrix has condition 1
        ScriptedRun run({2.0, 0.0});
        run.solver->maxConditionNumber = limit;
        run.minimize();
        EXPECT_EQ(run.status, KMATH_OK);
        EXPECT_EQ(run.finalCost, 4.0);
        EXPECT_EQ(run.params(), start);
        EXPECT_EQ(run.script.evaluations, 1u);
        EXPECT_EQ(run.script.jacobians, 1u);
        EXPECT_EQ(run.solver->normalMatrix.rows[0][0], 0.0); // undamped all the same
    }
}

TEST(LinsolveMinimize, ReportsTheCostOfTheAcceptedParametersWhereTheSolveRefuses)
{
    // The second iteration's third try is refused, after two rejections.
    ScriptedRun run({5.0, 4.0, 6.0, 7.0, 0.0});
    struct Callbacks {
        static kmath_status residual(kmath_levmarqsolve *solver, const kmath_nmmatrix *params,
                                     kmath_nmmatrix *residuals, void *userData)
        {
            if (scriptOf(userData).evaluations == 3)
                solver->maxConditionNumber = 0.5;
            return scriptedResidual(solver, params, residuals, userData);
        }
    };
    run.solver->func = Callbacks::residual;
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.script.evaluations, 4u);
    EXPECT_EQ(run.script.jacobians, 2u);
    EXPECT_EQ(run.finalCost, 16.0); // neither 36 nor 49
    EXPECT_EQ(run.params(), from(start, l0));
    EXPECT_EQ(run.lastResidual(), 7.0);
}

TEST(LinsolveMinimize, LeavesARankDeficientSystemWhereItIs)
{
    // The second parameter has no influence: without a damping the normal matrix is singular.
    Problem problem{2, {5.0, 4.0}, [](const double *p, double *r) {
                        r[0] = p[0] - 2.0;
                        r[1] = 2.0 * (p[0] - 2.0);
                    }};
    for (const double lambda : {0.0, nan, infinity, -infinity}) {
        Solver s;
        set(s, problem);
        s->lambda = lambda;
        double cost;
        EXPECT_EQ(kmath_linsolve_minimize(&s, &cost), KMATH_OK);
        EXPECT_EQ(cost, 9.0 + 36.0);
        EXPECT_EQ(s->params.rows[0][0], 5.0);
        EXPECT_EQ(s->params.rows[0][1], 4.0);
    }
    Solver damped;
    set(damped, problem);
    double cost;
    EXPECT_EQ(kmath_linsolve_minimize(&damped, &cost), KMATH_OK);
    EXPECT_NEAR(damped->params.rows[0][0], 2.0, 1e-8);
    EXPECT_EQ(damped->params.rows[0][1], 4.0);
}

TEST(LinsolveMinimize, EndsWithSuccessOnANormalMatrixThatIsNotSquare)
{
    ScriptedRun run({2.0, 0.0});
    run.solver->compJacobian =
        [](kmath_levmarqsolve *, const kmath_nmmatrix *, const kmath_nmmatrix *, kmath_nmmatrix *,
           kmath_nmmatrix *, kmath_nmmatrix *N, void *) { return kmath_nmmatrix_resize(N, 2, 3); };
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.finalCost, 4.0);
}

TEST(LinsolveMinimize, RefusesAStepOfTheWrongShape)
{
    // A column as gradient makes a column of the step.
    Solver s;
    const Matrix p{{1.0, 2.0}};
    Script script;
    script.residuals = {2.0, 0.0};
    struct Callbacks {
        static kmath_status jacobian(kmath_levmarqsolve *, const kmath_nmmatrix *,
                                     const kmath_nmmatrix *, kmath_nmmatrix *,
                                     kmath_nmmatrix *gradient, kmath_nmmatrix *, void *)
        {
            return kmath_nmmatrix_resize(gradient, 2, 1);
        }
    };
    ASSERT_EQ(
        kmath_levmarqsolve_setSys(&s, scriptedResidual, Callbacks::jacobian, 1, 2, &p, 1, &script),
        KMATH_OK);
    double cost = 2.385;
    EXPECT_EQ(kmath_linsolve_minimize(&s, &cost), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(cost, 2.385);
    EXPECT_EQ(s->params.rows[0][0], 1.0);
}

TEST(LinsolveMinimize, TriesOnUntilAcceptedWithoutACap)
{
    for (const std::int32_t cap : {0, -1, INT32_MIN})
        for (const std::size_t rejections : {1u, 15u, 200u}) {
            std::vector<double> residuals(rejections + 1, 3.0);
            residuals[0] = 2.0;
            residuals.push_back(0.0);
            ScriptedRun run(residuals);
            run.solver->maxTries = cap;
            run.minimize();
            EXPECT_EQ(run.status, KMATH_OK);
            EXPECT_EQ(run.script.evaluations, rejections + 2);
            EXPECT_EQ(run.finalCost, 0.0);
        }
}

TEST(LinsolveMinimize, EndsWithoutACapWhenNothingIsEverAccepted)
{
    // Rejections raise the damping until it overflows, and an infinite one is refused.
    std::size_t tries = 0;
    for (double lambda = l0; lambda < infinity; lambda *= 12.0)
        ++tries;
    ScriptedRun rejected({2.0, 3.0});
    rejected.solver->maxTries = 0;
    rejected.minimize();
    EXPECT_EQ(rejected.status, KMATH_OK);
    EXPECT_EQ(rejected.script.evaluations, 1 + tries);
    EXPECT_EQ(rejected.finalCost, 4.0); // of the parameters that stayed
    EXPECT_EQ(rejected.params(), start);

    // With a damping that does not matter, as beside a large normal matrix, tries end at 1000.
    ScriptedRun undecided({2.0, nan});
    undecided.solver->maxTries = 0;
    undecided.solver->compJacobian = [](kmath_levmarqsolve *, const kmath_nmmatrix *,
                                        const kmath_nmmatrix *, kmath_nmmatrix *,
                                        kmath_nmmatrix *gradient, kmath_nmmatrix *N, void *) {
        gradient->rows[0][0] = N->rows[0][0] = 1.0;
        return KMATH_OK;
    };
    undecided.minimize();
    EXPECT_EQ(undecided.status, KMATH_OK);
    EXPECT_EQ(undecided.script.evaluations, 1001u);
    EXPECT_TRUE(std::isnan(undecided.finalCost));
    EXPECT_EQ(undecided.params(), start);
}

// Failures.

TEST(LinsolveMinimize, NeedsNoSearchDirection)
{
    ScriptedRun run({2.0, 0.0});
    run.solver->compSearchDir = [](kmath_levmarqsolve *, kmath_nmmatrix *, const kmath_nmmatrix *,
                                   kmath_nmmatrix *, double, void *) -> kmath_status {
        ADD_FAILURE() << "asked";
        return ownFailure;
    };
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.finalCost, 0.0);
}

TEST(LinsolveMinimize, RefusesANullJacobianFunctionOnlyWhereItIsNeeded)
{
    ScriptedRun needed({2.0, 0.0}), unneeded({0.0});
    for (ScriptedRun *run : {&needed, &unneeded}) {
        run->solver->compJacobian = nullptr;
        run->minimize();
    }
    EXPECT_EQ(needed.status, KMATH_ERR_FAILED);
    EXPECT_EQ(needed.finalCost, -7.0);
    EXPECT_EQ(unneeded.status, KMATH_OK);
}

TEST(LinsolveMinimize, PassesAFailureOutAndKeepsTheAcceptedParameters)
{
    const std::vector<double> falling{9.0, 8.0, 7.0, 6.0, 0.0};
    std::vector<double> accepted{start};
    for (double lambda = l0; accepted.size() < 5; lambda *= 0.1)
        accepted.push_back(from(accepted.back(), lambda));
    for (std::size_t call = 0; call < 6; ++call)
        for (const bool jacobian : {true, false}) {
            ScriptedRun run(falling);
            (jacobian ? run.script.failingJacobian : run.script.failingEvaluation) = call;
            run.minimize();
            if (call >= (jacobian ? 4u : 5u)) { // 5 evaluations and 4 Jacobians are all there are
                EXPECT_EQ(run.status, KMATH_OK);
                EXPECT_EQ(run.params(), accepted[4]);
                continue;
            }
            EXPECT_EQ(run.status, ownFailure);
            EXPECT_EQ(run.finalCost, -7.0);
            EXPECT_EQ(run.params(), accepted[jacobian || call == 0 ? call : call - 1]);
        }
}

TEST(LinsolveMinimize, TakesAnyStatusWithoutTheTopBitForSuccess)
{
    ScriptedRun run({2.0, 0.0});
    run.solver->func = [](kmath_levmarqsolve *solver, const kmath_nmmatrix *params,
                          kmath_nmmatrix *residuals, void *userData) -> kmath_status {
        scriptedResidual(solver, params, residuals, userData);
        return 0x7FFFFFFF;
    };
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.finalCost, 0.0);
}

TEST(LinsolveMinimize, LetsAnExceptionOfTheCallbackPass)
{
    for (const std::int32_t threads : {0, 3}) {
        bool ended = false;
        for (int failing = 0; !ended && failing < 200; ++failing) {
            const ThreadCount count(threads);
            const std::int64_t before = liveBlocks();
            {
                Problem problem = waves(20, 18);
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
                double cost = 2.385;
                try {
                    ASSERT_EQ(kmath_linsolve_minimize(&s, &cost), KMATH_OK);
                    ended = true;
                    EXPECT_LE(calls, failing);
                } catch (const std::runtime_error &) {
                    EXPECT_EQ(cost, 2.385);
                }
                EXPECT_EQ(s->lambda, 0.01);
            }
            EXPECT_EQ(liveBlocks(), before);
        }
        EXPECT_TRUE(ended);
    }
}

TEST(LinsolveMinimize, SurvivesEveryFailingAllocation)
{
    for (const std::int32_t threads : {0, 3}) {
        const ThreadCount count(threads);
        Problem problem = waves(25, 18);
        kmath_status status = KMATH_OK;
        double cost = 0.0, initialCost = 0.0;
        bool moved = false, told = false;
        int refused = 0, ended = 0;
        sweepAllocationFailures(
            [&](bool failed) {
                if (KMATH_IS_FAILURE(status)) {
                    EXPECT_TRUE(failed);
                    EXPECT_EQ(status, KMATH_ERR_NO_MEMORY);
                    EXPECT_EQ(cost, 2.385);
                    ++refused;
                } else { // in the solve: over, with the cost of where the parameters are
                    ended += failed;
                    EXPECT_TRUE(told);
                    EXPECT_TRUE(!failed || moved || cost == initialCost);
                }
            },
            [&] {
                failAllocation(-1);
                Solver s;
                set(s, problem);
                std::vector<double> r(25);
                problem.residuals(problem.start.data(), r.data());
                initialCost = 0.0;
                for (const double x : r)
                    initialCost += x * x;
                failAllocation(refused + ended);
                s->maxIterations = 2;
                s->useThreads = threads;
                cost = 2.385;
                status = kmath_linsolve_minimize(&s, &cost);
                EXPECT_EQ(s->lambda, 0.01);
                moved = s->params.rows[0][0] != problem.start[0];
                problem.residuals(s->params.rows[0], r.data());
                double costHere = 0.0;
                for (const double x : r)
                    costHere += x * x;
                told = cost == costHere;
            });
        EXPECT_GT(refused, 0);
        EXPECT_GT(ended, 0);
    }
}

TEST(LinsolveMinimize, EndsOnAnyBitsInItsNumbers)
{
    const double odd[] = {0.0,    -0.0,   nan,   infinity, -infinity, 1e308,
                          -1e308, 1e-320, 1e160, -0.01,    1e20};
    for (const double value : odd)
        for (int field = 0; field < 8; ++field)
            for (const std::int32_t tries : {15, 0}) {
                SCOPED_TRACE(testing::Message() << "field " << field << ", value " << value);
                Problem problem = waves(3, 2);
                if (field == 0)
                    problem.start[0] = value;
                if (field == 6)
                    problem.residuals = [value](const double *p, double *r) {
                        r[0] = p[0];
                        r[1] = r[2] = value;
                    };
                if (field == 7)
                    problem.residuals = [value](const double *p, double *r) {
                        r[0] = p[0] == 0.3 ? 1.0 : value; // only ever good at the start
                        r[1] = r[2] = p[1];
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
                EXPECT_EQ(kmath_linsolve_minimize(&s, &cost), KMATH_OK);
                EXPECT_TRUE(sameBits(s->lambda, lambda));
            }
}

// Whole fits.

TEST(LinsolveMinimize, FindsTheMinimumOfRosenbrocksValley)
{
    for (const Shape shape : allShapes) {
        Problem problem{2, {-1.2, 1.0}, [](const double *p, double *r) {
                            r[0] = 10.0 * (p[1] - p[0] * p[0]);
                            r[1] = 1.0 - p[0];
                        }};
        Solver s;
        set(s, problem, shape);
        double cost;
        ASSERT_EQ(kmath_linsolve_minimize(&s, &cost), KMATH_OK);
        EXPECT_LT(cost, 1e-20);
        EXPECT_NEAR(s->params.rows[0][0], 1.0, 1e-8);
        EXPECT_NEAR(s->params.rows[0][1], 1.0, 1e-8);
    }
}

TEST(LinsolveMinimize, SolvesALinearProblem)
{
    // r = B·p − B·p* for a fixed full-rank B and p* = (1, −2, 3, …).
    const Matrix B = randomMatrix(25, 7, 3);
    Problem problem{25, std::vector<double>(7, 0.0), [B](const double *p, double *r) {
                        for (std::int32_t k = 0; k < 25; ++k) {
                            r[k] = 0.0;
                            for (std::int32_t j = 0; j < 7; ++j)
                                r[k] += B(k, j) * (p[j] - (j % 2 ? -1.0 - j : 1.0 + j));
                        }
                    }};
    Solver s;
    set(s, problem);
    s->maxIterations = 6;
    double cost;
    ASSERT_EQ(kmath_linsolve_minimize(&s, &cost), KMATH_OK);
    EXPECT_LT(cost, 1e-18);
    for (int j = 0; j < 7; ++j)
        EXPECT_NEAR(s->params.rows[0][j], j % 2 ? -1.0 - j : 1.0 + j, 1e-9);
}

TEST(LinsolveMinimize, HasTheSameBitsOnAnyNumberOfThreads)
{
    Problem problem = waves(30, 9);
    Solver serial;
    set(serial, problem);
    double serialCost;
    ASSERT_EQ(kmath_linsolve_minimize(&serial, &serialCost), KMATH_OK);
    for (const std::int32_t threads : {1, 2, 3, 8}) {
        const ThreadCount count(threads);
        Solver s;
        set(s, problem);
        s->useThreads = 1;
        double cost;
        ASSERT_EQ(kmath_linsolve_minimize(&s, &cost), KMATH_OK);
        EXPECT_TRUE(sameBits(cost, serialCost));
        for (int j = 0; j < 9; ++j)
            EXPECT_TRUE(sameBits(s->params.rows[0][j], serial->params.rows[0][j]));
    }
}

} // namespace
